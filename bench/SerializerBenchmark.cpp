// Saving and loading a tree of objects with six scalars, a shared reference and ten children each, in both
// formats; beside the bare parse of the same document, without building any object.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/MemoryFile.h"
#include "QBase/Reflection.h"

#include <benchmark/benchmark.h>
#include <tinyxml2.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace QBase;

namespace Benchmarks
{

class Node : public Object
{
    QBASE_OBJECT(Node, Object)

public:
    int mId = 0;
    float mMass = 0.0f;
    bool mbVisible = false;
    String mLabel;
    Vector3 mPlace;
    Color mTint;
    Ptr<Object> mShared;
    Array<Ptr<Object>> mChildren;

protected:
    explicit Node(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(Benchmarks, Node)

void Node::Implement()
{
    AddProperty<&Node::mId>("Id");
    AddProperty<&Node::mMass>("Mass");
    AddProperty<&Node::mbVisible>("Visible");
    AddProperty<&Node::mLabel>("Label");
    AddProperty<&Node::mPlace>("Place");
    AddProperty<&Node::mTint>("Tint");
    AddProperty<&Node::mShared>("Shared");
    AddProperty<&Node::mChildren>("Children");
}

} // namespace Benchmarks

namespace
{

using Benchmarks::Node;

Ptr<Object> MakeTree(std::int64_t size)
{
    std::vector<Ptr<Node>> nodes;
    std::vector<Ptr<Object>> shared;
    for (int i = 0; i < 64; ++i) {
        shared.push_back(Ptr<Object>(Object::Construct(Value::Null)));
    }
    for (std::int64_t i = 0; i < size; ++i) {
        Ptr<Node> pNode = Node::Construct(Value::Null);
        pNode->mId = static_cast<int>(i);
        pNode->mMass = static_cast<float>(i) * 0.37f;
        pNode->mbVisible = i % 3 == 0;
        pNode->mLabel = String::Format("label %d", static_cast<int>(i % 1000));
        pNode->mPlace = Vector3(static_cast<float>(i), 0.5f, -1.25f);
        pNode->mTint = Color(1, 2, 3, static_cast<std::uint8_t>(i));
        pNode->mShared = shared[static_cast<std::size_t>(i % 64)];
        if (i > 0) {
            nodes[static_cast<std::size_t>((i - 1) / 10)]->mChildren.Insert(pNode);
        }
        nodes.push_back(pNode);
    }
    return Ptr<Object>(static_cast<Object*>(nodes[0]));
}

// A file over a block that is there already, so that only the serializer is measured.
class Block
{
public:
    Block() : mBytes(std::size_t(256) << 20) {}

    Ptr<MemoryFile> Open(int size, int mode)
    {
        Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
        pFile->OpenBuffer(mBytes.data(), size, "block", mode);
        return pFile;
    }

    int GetCapacity() const { return static_cast<int>(mBytes.size()); }
    const char* GetData() const { return mBytes.data(); }

private:
    std::vector<char> mBytes;
};

Block& TheBlock()
{
    static Block sBlock;
    return sBlock;
}

template <typename Format>
int Save(Object* pTree)
{
    const Ptr<Format> pSerializer = Format::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = TheBlock().Open(TheBlock().GetCapacity(), File::MODE_WRITE);
    return pSerializer->Serialize(pTree, pFile) ? pFile->Tell() : 0;
}

template <typename Format>
void SaveTree(benchmark::State& state)
{
    const Ptr<Object> pTree = MakeTree(state.range(0));
    int size = 0;
    for (auto _ : state) {
        size = Save<Format>(pTree);
        if (size == 0) {
            return state.SkipWithError("not saved");
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(SaveTree<BinarySerializer>)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveTree<AsciiSerializer>)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

template <typename Format>
void LoadTree(benchmark::State& state)
{
    const int size = Save<Format>(MakeTree(state.range(0)));
    const Ptr<Format> pSerializer = Format::Construct(Value::Null);
    for (auto _ : state) {
        Value tree = pSerializer->Deserialize(TheBlock().Open(size, File::MODE_READ));
        if (tree.IsVoid()) {
            return state.SkipWithError("not loaded");
        }
        state.PauseTiming(); // releasing the tree is another matter
        tree = Value();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(LoadTree<BinarySerializer>)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadTree<AsciiSerializer>)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

void ParseBareDocument(benchmark::State& state)
{
    const int size = Save<AsciiSerializer>(MakeTree(state.range(0)));
    for (auto _ : state) {
        tinyxml2::XMLDocument document;
        document.Parse(TheBlock().GetData(), static_cast<std::size_t>(size));
        benchmark::DoNotOptimize(document.RootElement());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(ParseBareDocument)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
