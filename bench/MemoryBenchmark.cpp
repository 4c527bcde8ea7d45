// What a block of Memory costs beside one of the C runtime, alone and with all processors allocating.

#include "QBase/CriticalSection.h"
#include "QBase/InterlockedInt.h"
#include "QBase/Memory.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <mutex>

using namespace QBase;

namespace
{

constexpr int NUM_BLOCKS = 64; // live at a time, as when a graph is built and dropped

template <typename Allocate, typename Release>
void AllocateAndRelease(benchmark::State& state, Allocate allocate, Release release)
{
    const unsigned size = static_cast<unsigned>(state.range(0));
    void* blocks[NUM_BLOCKS];
    for (auto _ : state) {
        for (void*& p : blocks)
            p = allocate(size);
        benchmark::DoNotOptimize(blocks);
        for (void* p : blocks)
            release(p);
    }
    state.SetItemsProcessed(state.iterations() * NUM_BLOCKS);
}

void* AllocUnknown(unsigned size)
{
    return Memory::Alloc(size, ALLOC_UNKNOWN, "MemoryBenchmark", __LINE__, false);
}

void FreeUnknown(void* p)
{
    Memory::Free(p, false);
}

void BM_Malloc(benchmark::State& state)
{
    AllocateAndRelease(
        state, [](unsigned size) { return std::malloc(size + 16); }, std::free);
}

void BM_Memory(benchmark::State& state)
{
    AllocateAndRelease(state, AllocUnknown, FreeUnknown);
}

void BM_MemoryTracing(benchmark::State& state)
{
    Memory::StartBlockTrace();
    AllocateAndRelease(state, AllocUnknown, FreeUnknown);
    Memory::EndBlockTrace(nullptr);
}

// One item is a kibibyte that a block grows by.
void BM_MemoryGrowInSmallSteps(benchmark::State& state)
{
    const unsigned end = static_cast<unsigned>(state.range(0));
    for (auto _ : state) {
        void* p = nullptr;
        for (unsigned size = 1024; size <= end; size += 1024)
            p = Memory::Realloc(p, size, ALLOC_UNKNOWN, "MemoryBenchmark", __LINE__);
        Memory::Free(p, false);
    }
    state.SetItemsProcessed(state.iterations() * (end / 1024));
}

void BM_CriticalSection(benchmark::State& state)
{
    CriticalSection section;
    for (auto _ : state)
        CriticalSection::Block block(&section);
}

void BM_RecursiveMutex(benchmark::State& state)
{
    std::recursive_mutex mutex;
    for (auto _ : state)
        std::lock_guard<std::recursive_mutex> guard(mutex);
}

void BM_InterlockedInt(benchmark::State& state)
{
    static InterlockedInt sCount(0); // shared by all threads of the benchmark
    for (auto _ : state) {
        benchmark::DoNotOptimize(sCount.Increment());
        benchmark::DoNotOptimize(sCount.Decrement());
    }
}

BENCHMARK(BM_Malloc)->Arg(16)->Arg(64)->Arg(1024)->ThreadRange(1, 4);
BENCHMARK(BM_Memory)->Arg(16)->Arg(64)->Arg(1024)->ThreadRange(1, 4);
BENCHMARK(BM_MemoryTracing)->Arg(64);
BENCHMARK(BM_MemoryGrowInSmallSteps)->Arg(1 << 20)->Arg(64 << 20);
BENCHMARK(BM_CriticalSection);
BENCHMARK(BM_RecursiveMutex);
BENCHMARK(BM_InterlockedInt)->ThreadRange(1, 4);

} // namespace
