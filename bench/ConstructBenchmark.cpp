// Objects of a class that is known by name alone, made and destroyed.

#include "Model.h"
#include "PlainModel.h"
#include "Rows.h"

#include "QBase/Global.h"

#if QBASE_HAS_RTTR
#    include "Peers/RttrModel.h"
#endif
#if QBASE_HAS_QT
#    include "Peers/QtModel.h"
#endif
#if QBASE_HAS_GLIB
#    include "Peers/GObjectModel.h"
#endif

#include <string>

namespace Bench
{
namespace
{

void QBaseByName(benchmark::State& state)
{
    const String module = "Bench";
    const String name = "Taxi";
    for (auto _ : state) {
        const Ptr<Object> pTaxi = QBase::Construct(module, name);
        benchmark::DoNotOptimize(static_cast<Object*>(pTaxi));
    }
}

void QBaseDirectly(benchmark::State& state)
{
    for (auto _ : state) {
        const Ptr<Taxi> pTaxi = Taxi::Construct(Value::Null);
        benchmark::DoNotOptimize(static_cast<Taxi*>(pTaxi));
    }
}

#if QBASE_HAS_RTTR
// A shared pointer comes, as it does unless one asks for another; the variant's destructor drops it.
void RttrByName(benchmark::State& state)
{
    for (auto _ : state) {
        rttr::variant taxi = rttr::type::get_by_name("Bench::Taxi").create();
        benchmark::DoNotOptimize(taxi);
    }
}
#endif

#if QBASE_HAS_QT
void QtByName(benchmark::State& state)
{
    qRegisterMetaType<QtTaxi*>("QtTaxi*");
    for (auto _ : state) {
        QObject* const pTaxi = QMetaType::fromName("QtTaxi*").metaObject()->newInstance();
        benchmark::DoNotOptimize(pTaxi);
        delete pTaxi;
    }
}
#endif

#if QBASE_HAS_GLIB
void GObjectByName(benchmark::State& state)
{
    GetGTaxiType();
    for (auto _ : state) {
        GObject* const pTaxi = static_cast<GObject*>(g_object_new(g_type_from_name("BenchTaxi"), nullptr));
        benchmark::DoNotOptimize(pTaxi);
        g_object_unref(pTaxi);
    }
}
#endif

void Bound(benchmark::State& state)
{
    for (auto _ : state) {
        PlainVehicle* const pTaxi = new PlainTaxi();
        benchmark::DoNotOptimize(pTaxi);
        delete pTaxi;
    }
}

const bool sbEntered = [] {
    const Area area("construct");
    const std::string row = "construct and destroy by class name";
    area.Enter(row, "QBase", QBaseByName);
    area.Enter(row, "QBase, without the name", QBaseDirectly);
#if QBASE_HAS_RTTR
    area.Enter(row, "RTTR", RttrByName);
#endif
#if QBASE_HAS_QT
    area.Enter(row, "Qt", QtByName);
#endif
#if QBASE_HAS_GLIB
    area.Enter(row, "GObject", GObjectByName);
#endif
    area.Enter(row, "bound: new and delete", Bound);
    return true;
}();

} // namespace
} // namespace Bench
