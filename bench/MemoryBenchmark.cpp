// Blocks of memory: one allocated and freed in turn, and sixty-four allocated and then freed.

#include "Rows.h"

#include "QBase/Memory.h"

#if QBASE_HAS_MIMALLOC
#    include <dlfcn.h>
#endif

#include <cstddef>
#include <cstdlib>
#include <string>

namespace Bench
{
namespace
{

constexpr int NUM_BLOCKS = 64;

struct QBaseHeap
{
    static void* Allocate(std::size_t size)
    {
        return QBase::Memory::Alloc(static_cast<unsigned>(size), QBase::ALLOC_UNKNOWN, "MemoryBenchmark",
                                    __LINE__, false);
    }
    static void Free(void* p) { QBase::Memory::Free(p, false); }
};

struct GlibcHeap
{
    static void* Allocate(std::size_t size) { return std::malloc(size); }
    static void Free(void* p) { std::free(p); }
};

#if QBASE_HAS_MIMALLOC
// Loaded and not linked: its library would put itself in the place of malloc.
struct Mimalloc
{
    static void* Allocate(std::size_t size) { return spAllocate(size); }
    static void Free(void* p) { spFree(p); }

    static bool Load()
    {
        void* const pLibrary = dlopen(QBASE_MIMALLOC, RTLD_NOW | RTLD_LOCAL);
        if (pLibrary == nullptr) {
            return false;
        }
        spAllocate = reinterpret_cast<void* (*)(std::size_t)>(dlsym(pLibrary, "mi_malloc"));
        spFree = reinterpret_cast<void (*)(void*)>(dlsym(pLibrary, "mi_free"));
        return spAllocate != nullptr && spFree != nullptr;
    }

    static inline void* (*spAllocate)(std::size_t) = nullptr;
    static inline void (*spFree)(void*) = nullptr;
};
#endif

// A thread's own list of free blocks of one size.
struct Bound
{
    struct Block
    {
        Block* mpNext;
        char mBytes[120];
    };

    static void* Allocate(std::size_t)
    {
        Block* const pBlock = sBlocks.mpFree;
        sBlocks.mpFree = pBlock->mpNext;
        return pBlock;
    }
    static void Free(void* p)
    {
        Block* const pBlock = static_cast<Block*>(p);
        pBlock->mpNext = sBlocks.mpFree;
        sBlocks.mpFree = pBlock;
    }

    struct Blocks
    {
        Blocks()
        {
            for (Block& rBlock : mBlocks) {
                rBlock.mpNext = mpFree;
                mpFree = &rBlock;
            }
        }
        Block mBlocks[NUM_BLOCKS + 1] = {};
        Block* mpFree = nullptr;
    };
    static inline thread_local Blocks sBlocks;
};

template <typename Heap>
void Pair(benchmark::State& state, std::size_t size)
{
    for (auto _ : state) {
        void* p = Heap::Allocate(size);
        benchmark::DoNotOptimize(p);
        Heap::Free(p);
    }
}

template <typename Heap>
void Many(benchmark::State& state, std::size_t size)
{
    void* blocks[NUM_BLOCKS];
    for (auto _ : state) {
        for (void*& rp : blocks) {
            rp = Heap::Allocate(size);
        }
        benchmark::DoNotOptimize(blocks);
        for (void* p : blocks) {
            Heap::Free(p);
        }
    }
    CountItems(state, NUM_BLOCKS);
}

template <typename Heap>
void Enter(const char* pParticipant)
{
    const Area area("memory");
    for (const std::size_t size : {16, 64, 120}) {
        area.Enter("a block of " + std::to_string(size) + " bytes", pParticipant, Pair<Heap>, size);
    }
    area.Enter("64 blocks of 64 bytes", pParticipant, Many<Heap>, std::size_t(64));
    area.Enter("64 blocks of 64 bytes, 2 threads", pParticipant, Many<Heap>, std::size_t(64))
        ->Threads(2)
        ->UseRealTime();
}

const bool sbEntered = [] {
    Enter<QBaseHeap>("QBase");
    Enter<GlibcHeap>("glibc");
#if QBASE_HAS_MIMALLOC
    if (Mimalloc::Load()) {
        Enter<Mimalloc>("mimalloc");
    }
#endif
    Enter<Bound>("bound: a list of free blocks");
    return true;
}();

} // namespace
} // namespace Bench
