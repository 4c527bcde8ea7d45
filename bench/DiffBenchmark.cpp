// The difference engine and replication: passes over graphs of objects with 8 properties each, unchanged and
// with one object in a hundred changed, snapshots, and passes that several peers receive.

#include "QBase/ClassInfoTable.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

using namespace QBase;

// Body has eight properties of the usual kinds.
class Body : public Object
{
    QBASE_OBJECT(Body, Object)

public:
    int mNumber = 0;
    int mLayer = 0;
    float mMass = 1.0f;
    bool mbVisible = true;
    String mName;
    Vector3 mPosition;
    Vector3 mVelocity;
    Color mColor;

protected:
    explicit Body(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(DiffBenchmark, Body)

void Body::Implement()
{
    AddProperty<&Body::mNumber>("Number");
    AddProperty<&Body::mLayer>("Layer");
    AddProperty<&Body::mMass>("Mass");
    AddProperty<&Body::mbVisible>("Visible");
    AddProperty<&Body::mName>("Name");
    AddProperty<&Body::mPosition>("Position");
    AddProperty<&Body::mVelocity>("Velocity");
    AddProperty<&Body::mColor>("Color");
}

// Sink counts what it is given: a hundred peers that kept their snapshots would measure the memory.
class Sink : public Stream
{
    QBASE_OBJECT(Sink, Stream)

public:
    int Write(const void*, int count) override
    {
        mNumBytes += count;
        return count;
    }
    int Read(void*, int) override { return 0; }
    int BytesAvailable() override { return 0; }

    std::int64_t mNumBytes = 0;

protected:
    explicit Sink(const Value& value) : Stream(value) {}
};

QBASE_IMPLEMENT(DiffBenchmark, Sink)

void Sink::Implement()
{}

namespace
{

// Bodies in lists of a thousand, since a packet has 16 bits for an index.
class Bodies
{
public:
    explicit Bodies(std::int64_t count) : mpRoot(List::Construct(Value::Null))
    {
        List* pGroup = nullptr;
        for (std::int64_t i = 0; i < count; ++i) {
            if (i % 1000 == 0) {
                pGroup = List::Construct(Value::Null);
                mpRoot->Insert(pGroup);
            }
            Body* const pBody = Body::Construct(Value::Null);
            pGroup->Insert(pBody);
            mBodies.push_back(pBody);
        }
    }

    // One property of one body in a hundred.
    void Change()
    {
        ++mPass;
        for (std::size_t i = 0; i < mBodies.size(); i += 100) {
            mBodies[i]->mNumber = mPass;
        }
    }

    std::int64_t NumChanges() const { return static_cast<std::int64_t>((mBodies.size() + 99) / 100); }

    Ptr<List> mpRoot;

private:
    std::vector<Body*> mBodies;
    int mPass = 0;
};

Ptr<ObjectDiffSerializer> MakeSerializer(Object* pRoot)
{
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Body::ClassTable());
    pSerializer->SetRoot(pRoot);
    return pSerializer;
}

void DiffUnchanged(benchmark::State& state)
{
    const Bodies bodies(state.range(0));
    const Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
    pDiff->SetRoot(bodies.mpRoot);
    pDiff->Execute(Value::Null);
    for (auto _ : state) {
        pDiff->Execute(Value::Null);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 8);
}

void DiffOnePercentChanged(benchmark::State& state)
{
    Bodies bodies(state.range(0));
    const Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
    pDiff->SetRoot(bodies.mpRoot);
    pDiff->Execute(Value::Null);
    for (auto _ : state) {
        bodies.Change();
        pDiff->Execute(Value::Null);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 8);
}

// Arguments: objects, peers. Bytes are those that one peer receives.
void ReplicateOnePercentChanged(benchmark::State& state)
{
    Bodies bodies(state.range(0));
    const Ptr<ObjectDiffSerializer> pSource = MakeSerializer(bodies.mpRoot);
    std::vector<Ptr<Sink>> peers;
    for (std::int64_t i = 0; i < state.range(1); ++i) {
        peers.push_back(Sink::Construct(Value::Null));
        pSource->AddOutStream(peers.back());
    }
    pSource->Execute(Value::Null);
    peers[0]->mNumBytes = 0;
    for (auto _ : state) {
        bodies.Change();
        pSource->Execute(Value::Null);
    }
    const std::int64_t numBytes = peers[0]->mNumBytes;
    state.SetItemsProcessed(state.iterations() * state.range(0) * 8);
    state.counters["BytesPerChange"] =
        static_cast<double>(numBytes) / static_cast<double>(state.iterations() * bodies.NumChanges());
}

void WriteSnapshot(benchmark::State& state)
{
    const Bodies bodies(state.range(0));
    const Ptr<ObjectDiffSerializer> pSource = MakeSerializer(bodies.mpRoot);
    pSource->Execute(Value::Null);
    const Ptr<Sink> pLate = Sink::Construct(Value::Null);
    for (auto _ : state) {
        pSource->SendSnapshot(pLate);
    }
    state.SetBytesProcessed(pLate->mNumBytes);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void ApplySnapshot(benchmark::State& state)
{
    const Bodies bodies(state.range(0));
    const Ptr<ObjectDiffSerializer> pSource = MakeSerializer(bodies.mpRoot);
    pSource->Execute(Value::Null);
    for (auto _ : state) {
        state.PauseTiming();
        const Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
        pSource->SendSnapshot(pStream);
        const Ptr<ObjectDiffSerializer> pReplica = MakeSerializer(nullptr);
        pReplica->AddInStream(pStream);
        state.ResumeTiming();
        pReplica->UpdateInput();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(DiffUnchanged)->Arg(10000)->Arg(100000);
BENCHMARK(DiffOnePercentChanged)->Arg(10000)->Arg(100000);
BENCHMARK(ReplicateOnePercentChanged)->ArgsProduct({{10000, 100000}, {1, 10, 100}});
BENCHMARK(WriteSnapshot)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(ApplySnapshot)->RangeMultiplier(10)->Range(1000, 1000000);

} // namespace
