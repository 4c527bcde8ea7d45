// Memory hands out and takes back every block of the library: objects, string entries, buffers. It counts
// live blocks and bytes per type and, between StartBlockTrace and EndBlockTrace, remembers each block that
// is allocated, to report those that were not freed.
//
//     void* pBuffer = Memory::Alloc(4096, ALLOC_UNKNOWN, QBASE_HERE, false);
//     Memory::Free(pBuffer, false);
//
//     Memory::StartBlockTrace();
//     LoadScene();
//     Memory::EndBlockTrace(stdout); // one line per block that LoadScene left behind
//
// Blocks are aligned to 16 bytes. Each has an object flag, true for blocks that hold an object; Free has to
// name the same flag. When the system has no memory left, Alloc and Realloc say so on standard error
// (through no handler, which would need memory itself) and return null.
//
// Threads: all but the tracing may be called by any thread at any time, also before main and while the
// program ends. Each thread counts in a record of its own, so no lock is taken while no trace runs; the
// totals are exact as soon as the threads that allocate have come to rest. StartBlockTrace and
// EndBlockTrace are called while no other thread allocates.

#pragma once

#include "QBase/Export.h"

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace QBase
{

class Object;

/// What a block is for. The counts are kept by it.
enum AllocType : int
{
    ALLOC_UNKNOWN,
    ALLOC_OBJECT,
    ALLOC_STRING,
    ALLOC_HASHTABLE,
    NUM_ALLOC_TYPES
};

class QBASE_API Memory
{
public:
    /// What the report prints of the object in a block.
    struct ObjectDescription
    {
        /// Borrowed texts, and the count at that moment.
        const char* mpModuleName;
        const char* mpClassName;
        int mReferenceCount;
    };
    /// Describes the object that lies in a block.
    using ObjectDescriber = ObjectDescription (*)(Object* pObject);

    /// Answers true to let an allocation fail as if the system had no memory left.
    using FailureHook = bool (*)(unsigned size, AllocType type);

    Memory() = delete;

    /// A block of `size` bytes, or null. The source file and line are accepted and not recorded.
    static void* Alloc(unsigned size, AllocType type, const char* pFile, int line, bool isObject);

    /// Gives a block back; null does nothing. A wrong object flag asserts and the block stays allocated.
    static void Free(void* p, bool isObject);

    /// Resizes a block, keeping its contents up to the smaller size and its object flag. Null acts as a plain
    /// Alloc. On failure null, and the block stays as it was. Growing in small steps takes linear time.
    static void* Realloc(void* p, unsigned size, AllocType type, const char* pFile, int line);

    /// The same for a block with room for `room` bytes if that is more than `size`. The counts know `size`
    /// alone, and only a further call with the same room is sure to keep what stands behind it.
    static void* ReallocWithRoom(void* p, unsigned size, unsigned room, AllocType type, const char* pFile,
                                 int line);

    /// The type that the block was allocated with.
    static AllocType GetAllocType(const void* p);

    /// The live blocks, and the bytes asked for, in total and of one type. A type that does not exist asserts
    /// and answers 0.
    static std::int64_t GetTotalBlocksAllocated();
    static std::int64_t GetTotalBytesAllocated();
    static std::int64_t GetBlocksAllocated(AllocType type);
    static std::int64_t GetBytesAllocated(AllocType type);

    /// How many requests of this thread found no memory so far; it wraps. Work that must be whole or not be
    /// at all compares the number before with the number after.
    static unsigned GetNumFailures();

    /// The bytes taken by the headers of all live blocks; no other count includes them.
    static std::int64_t GetTrackingOverheadBytes();

    /// Allocations carry no ids: the number is stored, reported as disabled, and has no effect.
    static void SetBreakOnAlloc(unsigned id);

    /// Begins to remember allocated blocks. During a trace, calling it again goes on with the same list.
    static void StartBlockTrace();

    /// Ends the trace, writes the blocks still live to `pOut` in the order of their allocation, and returns
    /// their number. A null `pOut` writes nothing. Without a trace it asserts and returns 0.
    static int EndBlockTrace(std::FILE* pOut);

    /// Object's constructors and destructor tell where in its block an object lives, so that the report only
    /// ever asks objects that exist. Costs one test while no trace runs.
    static void MarkObject(Object* pObject)
    {
        if (QBASE_UNLIKELY(sSpecialCases.load(std::memory_order_relaxed) & CASE_TRACING))
            MarkTracedObject(pObject);
    }
    static void UnmarkObject(Object* pObject)
    {
        if (QBASE_UNLIKELY(sSpecialCases.load(std::memory_order_relaxed) & CASE_TRACING))
            UnmarkTracedObject(pObject);
    }

    /// The object layer says here how the report describes an object. Returns what said so before.
    static ObjectDescriber SetObjectDescriber(ObjectDescriber pDescriber);

    /// Lets tests see what happens when memory runs out; null ends it. Asked on each Alloc, and on each
    /// Realloc that grows a block.
    static void SetFailureHook(FailureHook pHook);

private:
    // What makes an allocation leave the short path. Zero in ordinary running.
    enum SpecialCase : unsigned
    {
        CASE_TRACING = 1,
        CASE_FAILURE_HOOK = 2
    };

    static bool IsTracing();
    static bool IsToFail(unsigned size, AllocType type);
    static void MarkTracedObject(Object* pObject);
    static void UnmarkTracedObject(Object* pObject);

    static std::atomic<unsigned> sSpecialCases;
};

} // namespace QBase
