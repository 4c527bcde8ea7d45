// What the benchmarks of both formats have in common: trees are saved to one block of memory that is there
// already and loaded from it, so that only the serializers are measured. A participant is constructed from
// the number of nodes and offers
//
//     std::size_t Save();           // its tree into the block; the number of bytes, 0 when that failed
//     Root Load(std::size_t size);  // a new tree from the block, false as a bool when that failed
//     void Destroy(Root& rRoot);    // not measured

#pragma once

#include "Model.h"
#include "Rows.h"

#include "QBase/File.h"
#include "QBase/MemoryFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <streambuf>

namespace Bench
{

constexpr std::size_t BLOCK_SIZE = std::size_t(1) << 30; // bytes; the system finds memory for what is touched

inline char* TheBlock()
{
    static const std::unique_ptr<char[]> spBlock(new char[BLOCK_SIZE]);
    return spBlock.get();
}

// The block for peers that write to and read from streams of the standard library.
class BlockBuffer : public std::streambuf
{
public:
    explicit BlockBuffer(std::size_t size)
    {
        setp(TheBlock(), TheBlock() + BLOCK_SIZE);
        setg(TheBlock(), TheBlock(), TheBlock() + size);
    }

    std::size_t GetWrittenSize() const { return static_cast<std::size_t>(pptr() - pbase()); }
};

template <typename Participant>
void Save(benchmark::State& state, std::int64_t size)
{
    Participant participant(size);
    std::size_t numBytes = 0;
    for (auto _ : state) {
        numBytes = participant.Save();
        if (numBytes == 0) {
            state.SkipWithError("not saved");
            return;
        }
    }
    CountItems(state, size);
    state.counters["bytes"] = static_cast<double>(numBytes) / static_cast<double>(size);
}

template <typename Participant>
void Load(benchmark::State& state, std::int64_t size)
{
    Participant participant(size);
    const std::size_t numBytes = participant.Save();
    for (auto _ : state) {
        auto root = participant.Load(numBytes);
        if (!static_cast<bool>(root)) {
            state.SkipWithError("not loaded");
            return;
        }
        state.PauseTiming();
        participant.Destroy(root);
        state.ResumeTiming();
    }
    CountItems(state, size);
}

// QBase with one of its serializers.
template <typename Format>
class QBaseFormat
{
public:
    explicit QBaseFormat(std::int64_t size) : mpTree(GetTree(size)) {}

    std::size_t Save()
    {
        const Ptr<QBase::MemoryFile> pFile = Open(BLOCK_SIZE, QBase::File::MODE_WRITE);
        return mpSerializer->Serialize(mpTree, pFile) ? static_cast<std::size_t>(pFile->Tell()) : 0;
    }

    Ptr<Object> Load(std::size_t size)
    {
        return Ptr<Object>(mpSerializer->Deserialize(Open(size, QBase::File::MODE_READ)).AsObject());
    }

    void Destroy(Ptr<Object>& rpRoot) { rpRoot = nullptr; }

private:
    static Ptr<QBase::MemoryFile> Open(std::size_t size, int mode)
    {
        Ptr<QBase::MemoryFile> pFile = QBase::MemoryFile::Construct(Value::Null);
        pFile->OpenBuffer(TheBlock(), static_cast<int>(size), "block", mode);
        return pFile;
    }

    Object* mpTree;
    Ptr<Format> mpSerializer = Format::Construct(Value::Null);
};

} // namespace Bench
