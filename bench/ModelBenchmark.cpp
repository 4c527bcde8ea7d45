// The object model by name: reading and writing properties, calling functions, making objects, and the Values
// and Strings that travel with them.

#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/PropertyHandle.h"
#include "QBase/Reflection.h"

#include <benchmark/benchmark.h>

#include <string>
#include <variant>
#include <vector>

using namespace QBase;

namespace
{

// Twelve properties over three levels of classes.
class Vehicle : public Object
{
    QBASE_OBJECT(Vehicle, Object)

protected:
    using Object::Object;

    int mWheels = 4;
    int mSeats = 5;
    float mWeight = 1.5f;
    String mName;
};

class Car : public Vehicle
{
    QBASE_OBJECT(Car, Vehicle)

protected:
    using Vehicle::Vehicle;

    int mDoors = 3;
    int mGears = 6;
    float mPower = 90.0f;
    String mMaker;
};

class Taxi : public Car
{
    QBASE_OBJECT(Taxi, Car)

public:
    int Drive(int distance, float speed) { return mFare += distance + static_cast<int>(speed); }

protected:
    using Car::Car;

    int mFare = 0;
    int mLicence = 17;
    float mRate = 2.5f;
    String mDriver;
};

QBASE_IMPLEMENT(Bench, Vehicle)
QBASE_IMPLEMENT(Bench, Car)
QBASE_IMPLEMENT(Bench, Taxi)

void Vehicle::Implement()
{
    AddProperty<&Vehicle::mWheels>("Wheels");
    AddProperty<&Vehicle::mSeats>("Seats");
    AddProperty<&Vehicle::mWeight>("Weight");
    AddProperty<&Vehicle::mName>("Name");
}

void Car::Implement()
{
    AddProperty<&Car::mDoors>("Doors");
    AddProperty<&Car::mGears>("Gears");
    AddProperty<&Car::mPower>("Power");
    AddProperty<&Car::mMaker>("Maker");
}

void Taxi::Implement()
{
    AddProperty<&Taxi::mFare>("Fare");
    AddProperty<&Taxi::mLicence>("Licence");
    AddProperty<&Taxi::mRate>("Rate");
    AddProperty<&Taxi::mDriver>("Driver");
    AddFunction<&Taxi::Drive>("Drive");
}

// Level 0 is the object's own class, 2 the base of its base.
const char* NameOnLevel(const benchmark::State& state)
{
    const char* const names[] = {"Licence", "Gears", "Seats"};
    return names[state.range(0)];
}

void ReadPropertyByName(benchmark::State& state)
{
    const Ptr<Object> pTaxi = Construct("Bench", "Taxi");
    const String name = NameOnLevel(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(pTaxi->FindProperty(name)->Get(pTaxi).Get<int>());
    }
}

void WritePropertyByName(benchmark::State& state)
{
    const Ptr<Object> pTaxi = Construct("Bench", "Taxi");
    const String name = NameOnLevel(state);
    int value = 0;
    for (auto _ : state) {
        pTaxi->FindProperty(name)->Set(pTaxi, ++value);
    }
}

void ReadPropertyByHandle(benchmark::State& state)
{
    const Ptr<Object> pTaxi = Construct("Bench", "Taxi");
    const PropertyHandle handle = pTaxi->GetPropertyHandle("Licence");
    for (auto _ : state) {
        benchmark::DoNotOptimize(handle.Get().Get<int>());
    }
}

void CallByName(benchmark::State& state)
{
    const Ptr<Object> pTaxi = Construct("Bench", "Taxi");
    const String name = "Drive";
    for (auto _ : state) {
        benchmark::DoNotOptimize(pTaxi->Call(name, 3, 2.5f).Get<int>());
    }
}

void ConstructByName(benchmark::State& state)
{
    const String module = "Bench";
    const String name = "Taxi";
    for (auto _ : state) {
        benchmark::DoNotOptimize(Construct(module, name, Value::Null));
    }
}

void ConstructDirectly(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Ptr<Taxi>(Taxi::Construct(Value::Null)));
    }
}

// --- Values ---

struct IntPayload
{
    int mValue = 7;
};
struct TextPayload
{
    String mValue = "Io";
};
struct ObjectPayload
{
    Ptr<Object> mValue = List::Construct(Value::Null);
};

template <typename Payload>
void MakeValue(benchmark::State& state)
{
    Payload payload;
    for (auto _ : state) {
        benchmark::DoNotOptimize(payload);
        benchmark::DoNotOptimize(Value(payload.mValue));
    }
}

template <typename Payload>
void CopyValue(benchmark::State& state)
{
    Value value = Payload().mValue;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(Value(value));
    }
}

template <typename Payload>
void CopyVariant(benchmark::State& state)
{
    std::variant<std::monostate, int, float, bool, String, Ptr<Object>> value = Payload().mValue;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        auto copy = value;
        benchmark::DoNotOptimize(copy);
    }
}

// --- Strings ---

std::vector<std::string> MakeNames(int count)
{
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        names.push_back("name_" + std::to_string(i * 7919));
    }
    return names;
}

void InternExistingName(benchmark::State& state)
{
    static const std::vector<std::string> sNames = MakeNames(100000);
    std::vector<String> kept;
    for (int i = 0; i < state.range(0); ++i) {
        kept.push_back(sNames[static_cast<std::size_t>(i)].c_str());
    }
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * 977;
    for (auto _ : state) {
        next = (next + 7919) % kept.size();
        benchmark::DoNotOptimize(String(sNames[next].c_str()));
    }
}

void InternNewName(benchmark::State& state)
{
    const std::vector<std::string> names = MakeNames(1000);
    for (auto _ : state) {
        for (const std::string& name : names) {
            benchmark::DoNotOptimize(String(name.c_str()));
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

} // namespace

BENCHMARK(ReadPropertyByName)->DenseRange(0, 2);
BENCHMARK(WritePropertyByName)->DenseRange(0, 2);
BENCHMARK(ReadPropertyByHandle);
BENCHMARK(CallByName)->ThreadRange(1, 2);
BENCHMARK(ConstructByName)->ThreadRange(1, 2);
BENCHMARK(ConstructDirectly);
BENCHMARK(MakeValue<IntPayload>);
BENCHMARK(MakeValue<TextPayload>);
BENCHMARK(MakeValue<ObjectPayload>);
BENCHMARK(CopyValue<IntPayload>);
BENCHMARK(CopyValue<TextPayload>);
BENCHMARK(CopyValue<ObjectPayload>);
BENCHMARK(CopyVariant<IntPayload>);
BENCHMARK(CopyVariant<TextPayload>);
BENCHMARK(CopyVariant<ObjectPayload>);
BENCHMARK(InternExistingName)->Arg(1000)->Arg(100000)->ThreadRange(1, 2);
BENCHMARK(InternNewName);
