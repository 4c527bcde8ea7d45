// Calls of a function by name: two arguments, one of which is converted to no other type, and an int in
// return.

#include "Model.h"
#include "PlainModel.h"
#include "Rows.h"

#include "QBase/Function.h"
#include "QBase/Global.h"

#if QBASE_HAS_RTTR
#    include "Peers/RttrModel.h"
#endif
#if QBASE_HAS_QT
#    include "Peers/QtModel.h"

#    include <QMetaMethod>
#endif
#if QBASE_HAS_GLIB
#    include "Peers/GObjectModel.h"
#endif

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Bench
{
namespace
{

template <typename Participant>
void Call(benchmark::State& state)
{
    Participant participant;
    for (auto _ : state) {
        benchmark::DoNotOptimize(participant.Call(3, 2.5f));
    }
}

class QBaseByName
{
public:
    int Call(int distance, float speed) { return mpTaxi->Call(mName, distance, speed).Get<int>(); }

private:
    Ptr<Object> mpTaxi = QBase::Construct("Bench", "Taxi");
    String mName = "Drive";
};

class QBaseByFunction
{
public:
    int Call(int distance, float speed)
    {
        return mpFunction->CallOn(mpTaxi, distance, speed, Value::Null, Value::Null, Value::Null).Get<int>();
    }

private:
    Ptr<Object> mpTaxi = QBase::Construct("Bench", "Taxi");
    QBase::Function* mpFunction = mpTaxi->FindFunction("Drive");
};

#if QBASE_HAS_RTTR
class RttrByName
{
public:
    int Call(int distance, float speed)
    {
        return rttr::type::get(*mpTaxi).get_method("Drive").invoke(*mpTaxi, distance, speed).get_value<int>();
    }

private:
    std::unique_ptr<RttrVehicle> mpTaxi = std::make_unique<RttrTaxi>();
};

class RttrByMethod
{
public:
    int Call(int distance, float speed) { return mMethod.invoke(*mpTaxi, distance, speed).get_value<int>(); }

private:
    std::unique_ptr<RttrVehicle> mpTaxi = std::make_unique<RttrTaxi>();
    rttr::method mMethod = rttr::type::get<RttrTaxi>().get_method("Drive");
};
#endif

#if QBASE_HAS_QT
class QtByName
{
public:
    int Call(int distance, float speed)
    {
        int result = 0;
        QMetaObject::invokeMethod(mpTaxi.get(), "Drive", Qt::DirectConnection, Q_RETURN_ARG(int, result),
                                  Q_ARG(int, distance), Q_ARG(float, speed));
        return result;
    }

private:
    std::unique_ptr<QObject> mpTaxi = std::make_unique<QtTaxi>();
};

class QtByMethod
{
public:
    int Call(int distance, float speed)
    {
        int result = 0;
        mMethod.invoke(mpTaxi.get(), Qt::DirectConnection, Q_RETURN_ARG(int, result), Q_ARG(int, distance),
                       Q_ARG(float, speed));
        return result;
    }

private:
    std::unique_ptr<QObject> mpTaxi = std::make_unique<QtTaxi>();
    QMetaMethod mMethod =
        QtTaxi::staticMetaObject.method(QtTaxi::staticMetaObject.indexOfMethod("Drive(int,float)"));
};
#endif

#if QBASE_HAS_GLIB
class GObjectByName
{
public:
    GObjectByName() : mpTaxi(static_cast<GObject*>(g_object_new(GetGTaxiType(), nullptr))) {}
    ~GObjectByName() { g_object_unref(mpTaxi); }
    GObjectByName(const GObjectByName&) = delete;
    GObjectByName& operator=(const GObjectByName&) = delete;

    int Call(int distance, float speed)
    {
        int result = 0;
        g_signal_emit_by_name(mpTaxi, "drive", distance, static_cast<double>(speed), &result);
        return result;
    }

private:
    GObject* mpTaxi;
};
#endif

// A name's address leads to a place in a table of functions, which take their arguments from an array.
class Bound
{
public:
    Bound() { mFunctions[PlaceOf()] = Drive; }

    int Call(int distance, float speed)
    {
        const Argument arguments[] = {{.mInt = distance}, {.mFloat = speed}};
        return mFunctions[PlaceOf()](&mTaxi, arguments);
    }

private:
    union Argument
    {
        int mInt;
        float mFloat;
    };
    using Function = int (*)(PlainTaxi*, const Argument*);

    static int Drive(PlainTaxi* pTaxi, const Argument* pArguments)
    {
        return pTaxi->Drive(pArguments[0].mInt, pArguments[1].mFloat);
    }
    std::size_t PlaceOf()
    {
        benchmark::DoNotOptimize(mpName);
        return reinterpret_cast<std::uintptr_t>(mpName) % NUM_PLACES;
    }

    static constexpr std::size_t NUM_PLACES = 64;

    PlainTaxi mTaxi;
    const char* mpName = "Drive";
    Function mFunctions[NUM_PLACES] = {};
};

const bool sbEntered = [] {
    const Area area("calls");
    const std::string row = "call with 2 arguments by name";
    area.Enter(row, "QBase", Call<QBaseByName>);
    area.Enter(row, "QBase, function found", Call<QBaseByFunction>);
#if QBASE_HAS_RTTR
    area.Enter(row, "RTTR", Call<RttrByName>);
    area.Enter(row, "RTTR, method found", Call<RttrByMethod>);
#endif
#if QBASE_HAS_QT
    area.Enter(row, "Qt", Call<QtByName>);
    area.Enter(row, "Qt, method found", Call<QtByMethod>);
#endif
#if QBASE_HAS_GLIB
    area.Enter(row, "GObject", Call<GObjectByName>);
#endif
    area.Enter(row, "bound", Call<Bound>);
    return true;
}();

} // namespace
} // namespace Bench
