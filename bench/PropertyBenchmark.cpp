// Properties by name: an int of each of the three classes that an object is of, read or written in turn. Each
// participant is given names as it likes them best, made beforehand.

#include "Model.h"
#include "PlainModel.h"
#include "Rows.h"

#include "QBase/Global.h"
#include "QBase/PropertyHandle.h"

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

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace Bench
{
namespace
{

constexpr std::size_t NUM_NAMES = 3;
constexpr std::array<const char*, NUM_NAMES> g_Names = {"Licence", "Gears", "Seats"};

// A participant reads and writes the property of the index in g_Names.
template <typename Participant>
void Read(benchmark::State& state)
{
    Participant participant;
    for (auto _ : state) {
        for (std::size_t i = 0; i < NUM_NAMES; ++i) {
            benchmark::DoNotOptimize(participant.Read(i));
        }
    }
    CountItems(state, NUM_NAMES);
}

template <typename Participant>
void Write(benchmark::State& state)
{
    Participant participant;
    int value = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < NUM_NAMES; ++i) {
            participant.Write(i, ++value);
        }
        benchmark::ClobberMemory();
    }
    CountItems(state, NUM_NAMES);
}

class QBaseByName
{
public:
    int Read(std::size_t i) { return mpTaxi->FindProperty(mNames[i])->Get(mpTaxi).Get<int>(); }
    void Write(std::size_t i, int value) { mpTaxi->FindProperty(mNames[i])->Set(mpTaxi, value); }

private:
    Ptr<Object> mpTaxi = QBase::Construct("Bench", "Taxi");
    String mNames[NUM_NAMES] = {g_Names[0], g_Names[1], g_Names[2]};
};

// The names are C texts, which are interned first.
class QBaseByText
{
public:
    int Read(std::size_t i) { return mpTaxi->FindProperty(g_Names[i])->Get(mpTaxi).Get<int>(); }
    void Write(std::size_t i, int value) { mpTaxi->FindProperty(g_Names[i])->Set(mpTaxi, value); }

private:
    Ptr<Object> mpTaxi = QBase::Construct("Bench", "Taxi");
};

class QBaseByHandle
{
public:
    int Read(std::size_t i) { return mHandles[i].Get().Get<int>(); }
    void Write(std::size_t i, int value) { mHandles[i].Set(value); }

private:
    Ptr<Object> mpTaxi = QBase::Construct("Bench", "Taxi");
    QBase::PropertyHandle mHandles[NUM_NAMES] = {mpTaxi->GetPropertyHandle(g_Names[0]),
                                                 mpTaxi->GetPropertyHandle(g_Names[1]),
                                                 mpTaxi->GetPropertyHandle(g_Names[2])};
};

#if QBASE_HAS_RTTR
class RttrByName
{
public:
    int Read(std::size_t i)
    {
        return rttr::type::get(*mpTaxi).get_property(g_Names[i]).get_value(*mpTaxi).get_value<int>();
    }
    void Write(std::size_t i, int value)
    {
        rttr::type::get(*mpTaxi).get_property(g_Names[i]).set_value(*mpTaxi, value);
    }

private:
    std::unique_ptr<RttrVehicle> mpTaxi = std::make_unique<RttrTaxi>();
};

class RttrByHandle
{
public:
    int Read(std::size_t i) { return mProperties[i].get_value(*mpTaxi).get_value<int>(); }
    void Write(std::size_t i, int value) { mProperties[i].set_value(*mpTaxi, value); }

private:
    static rttr::property Find(const char* pName) { return rttr::type::get<RttrTaxi>().get_property(pName); }

    std::unique_ptr<RttrVehicle> mpTaxi = std::make_unique<RttrTaxi>();
    rttr::property mProperties[NUM_NAMES] = {Find(g_Names[0]), Find(g_Names[1]), Find(g_Names[2])};
};
#endif

#if QBASE_HAS_QT
class QtByName
{
public:
    int Read(std::size_t i) { return mpTaxi->property(g_Names[i]).toInt(); }
    void Write(std::size_t i, int value) { mpTaxi->setProperty(g_Names[i], value); }

private:
    std::unique_ptr<QObject> mpTaxi = std::make_unique<QtTaxi>();
};

class QtByHandle
{
public:
    int Read(std::size_t i) { return mProperties[i].read(mpTaxi.get()).toInt(); }
    void Write(std::size_t i, int value) { mProperties[i].write(mpTaxi.get(), value); }

private:
    static QMetaProperty Find(const char* pName)
    {
        return QtTaxi::staticMetaObject.property(QtTaxi::staticMetaObject.indexOfProperty(pName));
    }

    std::unique_ptr<QObject> mpTaxi = std::make_unique<QtTaxi>();
    QMetaProperty mProperties[NUM_NAMES] = {Find(g_Names[0]), Find(g_Names[1]), Find(g_Names[2])};
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

    int Read(std::size_t i)
    {
        GValue value = G_VALUE_INIT;
        g_object_get_property(mpTaxi, mNames[i], &value);
        return g_value_get_int(&value);
    }
    void Write(std::size_t i, int number)
    {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_INT);
        g_value_set_int(&value, number);
        g_object_set_property(mpTaxi, mNames[i], &value);
    }

private:
    const char* mNames[NUM_NAMES] = {"licence", "gears", "seats"};
    GObject* mpTaxi;
};
#endif

// A name's address leads to a place in a table of offsets; nothing is checked.
class Bound
{
public:
    Bound()
    {
        const char* const pStart = reinterpret_cast<const char*>(&mTaxi);
        const int* const fields[NUM_NAMES] = {&mTaxi.mLicence, &mTaxi.mGears, &mTaxi.mSeats};
        for (std::size_t i = 0; i < NUM_NAMES; ++i) {
            mOffsets[PlaceOf(i)] =
                static_cast<std::size_t>(reinterpret_cast<const char*>(fields[i]) - pStart);
        }
    }
    int Read(std::size_t i) { return *Find(i); }
    void Write(std::size_t i, int value) { *Find(i) = value; }

private:
    int* Find(std::size_t i)
    {
        return reinterpret_cast<int*>(reinterpret_cast<char*>(&mTaxi) + mOffsets[PlaceOf(i)]);
    }
    std::size_t PlaceOf(std::size_t i)
    {
        benchmark::DoNotOptimize(mNames[i]);
        return reinterpret_cast<std::uintptr_t>(mNames[i]) % NUM_PLACES;
    }

    static constexpr std::size_t NUM_PLACES = 64;
    static constexpr char sTexts[NUM_PLACES] = {};

    PlainTaxi mTaxi;
    const char* mNames[NUM_NAMES] = {sTexts + 3, sTexts + 18, sTexts + 40};
    std::size_t mOffsets[NUM_PLACES] = {};
};

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("properties");
    area.Enter("read an int by name", pParticipant, Read<Participant>);
    area.Enter("write an int by name", pParticipant, Write<Participant>);
}

const bool sbEntered = [] {
    Enter<QBaseByName>("QBase");
    Enter<QBaseByText>("QBase, name as C text");
    Enter<QBaseByHandle>("QBase, handle");
#if QBASE_HAS_RTTR
    Enter<RttrByName>("RTTR");
    Enter<RttrByHandle>("RTTR, handle");
#endif
#if QBASE_HAS_QT
    Enter<QtByName>("Qt");
    Enter<QtByHandle>("Qt, handle");
#endif
#if QBASE_HAS_GLIB
    Enter<GObjectByName>("GObject");
#endif
    Enter<Bound>("bound");
    return true;
}();

} // namespace
} // namespace Bench
