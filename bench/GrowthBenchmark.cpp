// Whether costs stay linear: the time per object at a thousand to a million objects. Here the participants
// are the sizes. Rows of plain structures show what the sizes of the caches alone do.

#include "Model.h"
#include "PlainModel.h"
#include "SerializerModel.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/IOStream.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffSerializer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Bench
{
namespace
{

void InternNew(benchmark::State& state, std::int64_t size)
{
    std::vector<std::string> texts;
    for (std::int64_t i = 0; i < size; ++i) {
        texts.push_back("grown_" + std::to_string(i * 7919));
    }
    std::vector<String> names;
    names.reserve(texts.size());
    for (auto _ : state) {
        for (const std::string& text : texts) {
            names.push_back(text.c_str());
        }
        state.PauseTiming();
        names.clear();
        state.ResumeTiming();
    }
    CountItems(state, size);
}

void DiffUnchanged(benchmark::State& state, std::int64_t size)
{
    const Bodies bodies(size);
    const Ptr<QBase::ObjectDiff> pDiff = QBase::ObjectDiff::Construct(Value::Null);
    pDiff->SetRoot(bodies.GetRoot());
    pDiff->Execute(Value::Null);
    for (auto _ : state) {
        pDiff->Execute(Value::Null);
    }
    CountItems(state, size);
}

Ptr<QBase::ObjectDiffSerializer> MakeSerializer(Object* pRoot)
{
    Ptr<QBase::ObjectDiffSerializer> pSerializer = QBase::ObjectDiffSerializer::Construct(Value::Null);
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Body::ClassTable());
    pSerializer->SetRoot(pRoot);
    return pSerializer;
}

// All objects are sent whole to a peer that comes late.
void ReplicateSend(benchmark::State& state, std::int64_t size)
{
    const Bodies bodies(size);
    const Ptr<QBase::ObjectDiffSerializer> pSource = MakeSerializer(bodies.GetRoot());
    pSource->Execute(Value::Null);
    const Ptr<Sink> pLate = Sink::Construct(Value::Null);
    for (auto _ : state) {
        pSource->SendSnapshot(pLate);
    }
    CountItems(state, size);
}

void ReplicateReceive(benchmark::State& state, std::int64_t size)
{
    const Bodies bodies(size);
    const Ptr<QBase::ObjectDiffSerializer> pSource = MakeSerializer(bodies.GetRoot());
    pSource->Execute(Value::Null);
    for (auto _ : state) {
        state.PauseTiming();
        {
            const Ptr<QBase::IOStream> pStream = QBase::IOStream::Construct(Value::Null);
            pSource->SendSnapshot(pStream);
            const Ptr<QBase::ObjectDiffSerializer> pReplica = MakeSerializer(nullptr);
            pReplica->AddInStream(pStream);
            state.ResumeTiming();
            pReplica->UpdateInput();
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    CountItems(state, size);
}

// One pass that sends a change of one object in a hundred.
void ReplicateChanges(benchmark::State& state, std::int64_t size)
{
    Bodies bodies(size);
    const Ptr<QBase::ObjectDiffSerializer> pSource = MakeSerializer(bodies.GetRoot());
    pSource->AddOutStream(Sink::Construct(Value::Null));
    pSource->Execute(Value::Null);
    for (auto _ : state) {
        bodies.Change(100);
        pSource->Execute(Value::Null);
    }
    CountItems(state, size);
}

void CopyObjects(benchmark::State& state, std::int64_t size)
{
    const Bodies bodies(size);
    std::vector<Ptr<Object>> copies;
    copies.reserve(bodies.GetSize());
    for (auto _ : state) {
        for (std::size_t i = 0; i < bodies.GetSize(); ++i) {
            copies.emplace_back(bodies.GetAt(i)->Copy());
        }
        state.PauseTiming();
        copies.clear();
        state.ResumeTiming();
    }
    CountItems(state, size);
}

void CopyPlain(benchmark::State& state, std::int64_t size)
{
    std::vector<std::unique_ptr<PlainBody>> bodies;
    for (std::int64_t i = 0; i < size; ++i) {
        bodies.push_back(std::make_unique<PlainBody>());
    }
    std::vector<std::unique_ptr<PlainBody>> copies;
    copies.reserve(bodies.size());
    for (auto _ : state) {
        for (const auto& pBody : bodies) {
            copies.push_back(std::make_unique<PlainBody>(*pBody));
        }
        state.PauseTiming();
        copies.clear();
        state.ResumeTiming();
    }
    CountItems(state, size);
}

// The last reference to a tree goes, and all of its objects with it.
void ReleaseTree(benchmark::State& state, std::int64_t size)
{
    QBaseFormat<QBase::BinarySerializer> format(size);
    const std::size_t numBytes = format.Save();
    for (auto _ : state) {
        state.PauseTiming();
        Ptr<Object> pRoot = format.Load(numBytes);
        state.ResumeTiming();
        pRoot = nullptr;
    }
    CountItems(state, size);
}

void ReleasePlain(benchmark::State& state, std::int64_t size)
{
    for (auto _ : state) {
        state.PauseTiming();
        std::shared_ptr<SharedNode> pRoot = MakePlainTree<SharedNode>(size, MakeShared());
        state.ResumeTiming();
        pRoot = nullptr;
    }
    CountItems(state, size);
}

const bool sbEntered = [] {
    using Body = void (*)(benchmark::State&, std::int64_t);
    const std::pair<const char*, Body> rows[] = {
        {"intern a new name", InternNew},
        {"save, binary", Save<QBaseFormat<QBase::BinarySerializer>>},
        {"load, binary", Load<QBaseFormat<QBase::BinarySerializer>>},
        {"save, XML", Save<QBaseFormat<QBase::AsciiSerializer>>},
        {"load, XML", Load<QBaseFormat<QBase::AsciiSerializer>>},
        {"difference pass", DiffUnchanged},
        {"replicate: 1 % changed", ReplicateChanges},
        {"replicate: send everything", ReplicateSend},
        {"replicate: receive everything", ReplicateReceive},
        {"copy", CopyObjects},
        {"copy, plain structures", CopyPlain},
        {"release", ReleaseTree},
        {"release, plain structures", ReleasePlain},
    };
    const std::pair<const char*, std::int64_t> sizes[] = {
        {"1,000", 1000}, {"10,000", 10000}, {"100,000", 100000}, {"1,000,000", 1000000}};
    const Area area("growth");
    for (const auto& [pRow, body] : rows) {
        for (const auto& [pSize, size] : sizes) {
            area.Enter(pRow, pSize, body, size);
        }
    }
    return true;
}();

} // namespace
} // namespace Bench
