// How many bytes of memory things take, as the allocator of the C library counts them: of a hundred thousand
// things each, nothing of which is given back meanwhile. Times mean nothing here.

#include "Model.h"
#include "PlainModel.h"
#include "Rows.h"

#include "QBase/Global.h"
#include "QBase/ObjectDiff.h"

#if QBASE_HAS_RTTR
#    include "Peers/RttrModel.h"
#endif
#if QBASE_HAS_QT
#    include "Peers/QtModel.h"

#    include <QMetaProperty>
#    include <QVariant>
#endif
#if QBASE_HAS_GLIB
#    include "Peers/GObjectModel.h"
#endif
#if QBASE_HAS_FLYWEIGHT
#    include <boost/flyweight.hpp>
#endif

#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

namespace Bench
{
namespace
{

constexpr std::size_t NUM_THINGS = 100000;

std::int64_t AllocatedBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks) + static_cast<std::int64_t>(info.hblkhd);
}

// Calls `make` with 0 to NUM_THINGS - 1. What it answers is kept in a row, which does not count.
template <typename Make>
void Measure(benchmark::State& state, Make make)
{
    using Thing = decltype(make(std::size_t(0)));
    for (auto _ : state) {
        std::vector<Thing> things;
        things.reserve(NUM_THINGS);
        const std::int64_t before = AllocatedBytes();
        for (std::size_t i = 0; i < NUM_THINGS; ++i) {
            things.push_back(make(i));
        }
        const auto numBytes = static_cast<double>(AllocatedBytes() - before);
        state.counters["bytes"] = numBytes / static_cast<double>(NUM_THINGS);
    }
}

std::string NameOf(std::size_t i)
{
    static int sGeneration = 0; // so that no name is known from another row
    sGeneration += i == 0 ? 1 : 0;
    return std::to_string(sGeneration) + "_" + std::to_string(10000000 + i);
}

// --- What a snapshot takes: `fill` makes one of NUM_THINGS bodies ---

template <typename Fill>
void MeasureSnapshot(benchmark::State& state, Fill fill)
{
    for (auto _ : state) {
        const std::int64_t before = AllocatedBytes();
        const auto snapshot = fill();
        const auto numBytes = static_cast<double>(AllocatedBytes() - before);
        benchmark::DoNotOptimize(&snapshot);
        state.counters["bytes"] = numBytes / static_cast<double>(NUM_THINGS);
    }
}

void QBaseSnapshot(benchmark::State& state)
{
    const Bodies bodies(NUM_THINGS);
    MeasureSnapshot(state, [&] {
        Ptr<QBase::ObjectDiff> pDiff = QBase::ObjectDiff::Construct(Value::Null);
        pDiff->SetRoot(bodies.GetRoot());
        pDiff->Execute(Value::Null);
        return pDiff;
    });
}

void MapSnapshot(benchmark::State& state)
{
    using Variant = std::variant<std::monostate, int, float, bool, std::string, PlainVector3, PlainColor>;
    using Known = std::unordered_map<std::string, Variant>;
    const std::vector<PlainBody> bodies(NUM_THINGS);
    MeasureSnapshot(state, [&] {
        std::unordered_map<const PlainBody*, Known> snapshot;
        for (const PlainBody& body : bodies) {
            snapshot[&body] = {{"Number", body.mNumber},     {"Layer", body.mLayer},
                               {"Mass", body.mMass},         {"Visible", body.mbVisible},
                               {"Name", body.mName},         {"Position", body.mPosition},
                               {"Velocity", body.mVelocity}, {"Color", body.mColor}};
        }
        return snapshot;
    });
}

void PlainSnapshot(benchmark::State& state)
{
    MeasureSnapshot(state, [] { return std::vector<PlainBody>(NUM_THINGS); });
}

#if QBASE_HAS_QT
void QtSnapshot(benchmark::State& state)
{
    const QtBody body;
    const QMetaObject& metaObject = QtBody::staticMetaObject;
    MeasureSnapshot(state, [&] {
        std::vector<QVariant> snapshot;
        snapshot.reserve(NUM_THINGS * 8);
        for (std::size_t i = 0; i < NUM_THINGS; ++i) {
            for (int p = metaObject.propertyOffset(); p < metaObject.propertyCount(); ++p) {
                snapshot.push_back(metaObject.property(p).read(&body));
            }
        }
        return snapshot;
    });
}
#endif

#if QBASE_HAS_GLIB
struct Unref
{
    void operator()(GObject* pObject) const { g_object_unref(pObject); }
};
using GObjectPointer = std::unique_ptr<GObject, Unref>;

GObjectPointer MakeGObject(GType type)
{
    return GObjectPointer(static_cast<GObject*>(g_object_new(type, nullptr)));
}
#endif

// A property that one object alone has; 8 bytes of each Value or QVariant are those of its payload.
void QBaseOwnProperty(benchmark::State& state)
{
    std::vector<Ptr<Object>> objects;
    for (std::size_t i = 0; i < NUM_THINGS; ++i) {
        objects.emplace_back(Object::Construct(Value::Null));
        objects.back()->AddPropertyValueFromValue("First", 1);
    }
    Measure(state, [&](std::size_t i) { return objects[i]->AddPropertyValueFromValue("Second", 2); });
}

#if QBASE_HAS_QT
void QtOwnProperty(benchmark::State& state)
{
    std::vector<std::unique_ptr<QObject>> objects;
    for (std::size_t i = 0; i < NUM_THINGS; ++i) {
        objects.push_back(std::make_unique<QObject>());
        objects.back()->setProperty("First", 1);
    }
    Measure(state, [&](std::size_t i) { return objects[i]->setProperty("Second", 2); });
}
#endif

template <typename Make>
void Enter(const char* pRow, const char* pParticipant, Make make)
{
    Area("bytes").Enter(pRow, pParticipant, Measure<Make>, make)->Iterations(1);
}

const bool sbEntered = [] {
    const char* pRow = "an object without properties";
    Enter(pRow, "QBase", [](std::size_t) { return Ptr<Object>(Object::Construct(Value::Null)); });
#if QBASE_HAS_QT
    Enter(pRow, "Qt", [](std::size_t) { return std::make_unique<QObject>(); });
#endif
#if QBASE_HAS_GLIB
    Enter(pRow, "GObject", [](std::size_t) { return MakeGObject(G_TYPE_OBJECT); });
#endif

    pRow = "an object of 12 properties";
    Enter(pRow, "QBase", [](std::size_t) { return Ptr<Object>(Taxi::Construct(Value::Null)); });
#if QBASE_HAS_RTTR
    Enter(pRow, "RTTR", [](std::size_t) { return std::make_unique<RttrTaxi>(); });
#endif
#if QBASE_HAS_QT
    Enter(pRow, "Qt", [](std::size_t) { return std::make_unique<QtTaxi>(); });
#endif
#if QBASE_HAS_GLIB
    Enter(pRow, "GObject", [](std::size_t) { return MakeGObject(GetGTaxiType()); });
#endif
    Enter(pRow, "bound: a structure", [](std::size_t) { return std::make_unique<PlainTaxi>(); });

    const Area area("bytes");
    pRow = "a property of one object alone";
    area.Enter(pRow, "QBase", QBaseOwnProperty)->Iterations(1);
#if QBASE_HAS_QT
    area.Enter(pRow, "Qt", QtOwnProperty)->Iterations(1);
#endif

    pRow = "a name of 10 letters";
    Enter(pRow, "QBase", [](std::size_t i) { return String(NameOf(i).c_str()); });
    Enter(pRow, "unordered_set", [](std::size_t i) {
        static std::unordered_set<std::string> sNames;
        return &*sNames.insert(NameOf(i)).first;
    });
#if QBASE_HAS_GLIB
    Enter(pRow, "GLib quark", [](std::size_t i) { return g_intern_string(NameOf(i).c_str()); });
#endif
#if QBASE_HAS_FLYWEIGHT
    Enter(pRow, "Boost.Flyweight", [](std::size_t i) { return boost::flyweight<std::string>(NameOf(i)); });
#endif

    pRow = "a watched object of 8 properties";
    area.Enter(pRow, "QBase", QBaseSnapshot)->Iterations(1);
    area.Enter(pRow, "maps of maps", MapSnapshot)->Iterations(1);
#if QBASE_HAS_QT
    area.Enter(pRow, "Qt, a row of QVariants", QtSnapshot)->Iterations(1);
#endif
    area.Enter(pRow, "bound: a second structure", PlainSnapshot)->Iterations(1);
    return true;
}();

} // namespace
} // namespace Bench
