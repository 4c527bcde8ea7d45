#include "QBase/Memory.h"

#include "QBase/BlockTrace.h"
#include "QBase/CriticalSection.h"
#include "QBase/Error.h"
#include "QBase/MemoryBlock.h"
#include "QBase/Platform/Platform.h"
#include "QBase/ThreadMemory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <new>

namespace QBase
{

namespace
{

bool IsType(std::int32_t type)
{
    return type >= 0 && type < NUM_ALLOC_TYPES;
}

// Statistics. Each thread counts into a tally of its own that no other thread writes; a reader adds all of
// them up. One thread's tally may be negative, when it frees what another allocated; the sums are not.

struct Tally
{
    std::atomic<std::int64_t> mBlocks[NUM_ALLOC_TYPES];
    std::atomic<std::int64_t> mBytes[NUM_ALLOC_TYPES];
};

// Small blocks. What a thread frees it keeps for itself, up to a number of blocks of each size, and hands out
// again first: most blocks of a graph come and go in such sizes. They stay marked as freed meanwhile, so that
// Free recognises them. Only blocks that never were resized are kept, since their room is known.

struct KeptBlock
{
    KeptBlock* mpNext; // behind the header
};

struct KeptBlocks
{
    KeptBlock* mpFirst;
    unsigned mCount;
};

#ifdef QBASE_WITHOUT_POOLS
constexpr unsigned MAX_KEPT_BLOCKS = 0; // of each size, for each thread
#else
constexpr unsigned MAX_KEPT_BLOCKS = 64; // of each size, for each thread
#endif
constexpr unsigned NUM_SMALL_SIZES = 16;

/// The place among the small sizes of a block with `size` bytes of data; NUM_SMALL_SIZES and more for others.
constexpr std::uint64_t SmallSizeOf(std::uint64_t size)
{
    return (size + 7) / 16; // room for 8, 24, 40 bytes and so on
}

/// What the system is asked for: sizes that the common allocators hand out without a rest.
constexpr std::uint64_t PhysicalTotal(std::uint64_t size)
{
    const std::uint64_t smallSize = SmallSizeOf(size);
    return smallSize < NUM_SMALL_SIZES ? smallSize * 16 + sizeof(BlockHeader) + 8
                                       : size + sizeof(BlockHeader);
}

static_assert(PhysicalTotal(0) >= sizeof(BlockHeader) + sizeof(KeptBlock));

struct ThreadTally : Tally
{
    ThreadTally* mpNext;
    ThreadTally* mpPrevious;
    KeptBlocks mKeptBlocks[NUM_SMALL_SIZES];
};

// What finished threads have left, and what threads count that have no tally of their own, because they are
// ending or no memory was left for one. Written by atomic additions.
constinit Tally sSharedTally{};

constinit ThreadTally* spThreadTallies = nullptr; // guarded by the lock

// A thread's tally lives apart from thread-local storage: after a fork the tallies of threads that the
// child does not have still count. These two are plain, so they can be read while a thread ends.
QBASE_FAST_THREAD_LOCAL constinit thread_local ThreadTally* spTally = nullptr;
constinit thread_local bool sbTallyClosed = false;
constinit thread_local unsigned sNumFailures = 0; // of this thread's requests
QBASE_FAST_THREAD_LOCAL constinit thread_local std::int64_t sForeignBytes = 0;

// Guards the list of tallies and everything about the trace. Never destroyed: blocks are freed until the
// last moment of the program.
union EternalSection
{
    constexpr EternalSection() : mSection() {}
    ~EternalSection() {}

    CriticalSection mSection;
};
constinit EternalSection sLock;

void AddShared(const Tally& tally)
{
    for (int type = 0; type < NUM_ALLOC_TYPES; ++type) {
        sSharedTally.mBlocks[type].fetch_add(tally.mBlocks[type].load(std::memory_order_relaxed),
                                             std::memory_order_relaxed);
        sSharedTally.mBytes[type].fetch_add(tally.mBytes[type].load(std::memory_order_relaxed),
                                            std::memory_order_relaxed);
    }
}

// Folds a thread's tally into the shared one when the thread ends. What the thread still allocates or frees
// after that is counted in the shared one directly.
void CloseTally(void* p)
{
    ThreadTally* const pTally = static_cast<ThreadTally*>(p);
    sbTallyClosed = true;
    spTally = nullptr;

    for (KeptBlocks& rKept : pTally->mKeptBlocks) {
        while (KeptBlock* const pKept = rKept.mpFirst) {
            rKept.mpFirst = pKept->mpNext;
            Platform::FreeAligned(HeaderOf(pKept));
        }
    }
    CriticalSection::Block block(&sLock.mSection);
    AddShared(*pTally);
    (pTally->mpPrevious ? pTally->mpPrevious->mpNext : spThreadTallies) = pTally->mpNext;
    if (pTally->mpNext)
        pTally->mpNext->mpPrevious = pTally->mpPrevious;
    pTally->~ThreadTally();
    Platform::FreeAligned(pTally);
}

QBASE_NOINLINE ThreadTally* OpenTally()
{
    if (sbTallyClosed)
        return nullptr;

    void* p = Platform::AllocAligned(sizeof(ThreadTally));
    if (!p)
        return nullptr;

    ThreadTally* pTally = new (p) ThreadTally{};
    if (!Platform::AtThreadEnd(CloseTally, pTally)) {
        pTally->~ThreadTally();
        Platform::FreeAligned(pTally);
        return nullptr;
    }
    CriticalSection::Block block(&sLock.mSection);
    pTally->mpNext = spThreadTallies;
    if (spThreadTallies)
        spThreadTallies->mpPrevious = pTally;
    spThreadTallies = pTally;
    spTally = pTally;
    return pTally;
}

void AddOwn(std::atomic<std::int64_t>& count, std::int64_t change)
{
    // The owner is the only writer, so this needs no atomic addition.
    count.store(count.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
}

void Count(std::int32_t type, std::int64_t blocks, std::int64_t bytes)
{
    ThreadTally* pTally = spTally;
    if (QBASE_UNLIKELY(!pTally)) {
        pTally = OpenTally();
        if (!pTally) {
            sSharedTally.mBlocks[type].fetch_add(blocks, std::memory_order_relaxed);
            sSharedTally.mBytes[type].fetch_add(bytes, std::memory_order_relaxed);
            return;
        }
    }
    AddOwn(pTally->mBlocks[type], blocks);
    AddOwn(pTally->mBytes[type], bytes);
}

using AllCounts = std::atomic<std::int64_t> (Tally::*)[NUM_ALLOC_TYPES];

// The sum of one kind of count over the types from `first` to before `last`, of all threads.
std::int64_t Sum(AllCounts counts, int first, int last)
{
    CriticalSection::Block block(&sLock.mSection);
    std::int64_t sum = 0;
    for (int type = first; type < last; ++type) {
        sum += (sSharedTally.*counts)[type].load(std::memory_order_relaxed);
        for (const ThreadTally* pTally = spThreadTallies; pTally; pTally = pTally->mpNext)
            sum += (pTally->*counts)[type].load(std::memory_order_relaxed);
    }
    // Between two threads' tallies others may have freed; no count is below zero for that.
    return std::max<std::int64_t>(sum, 0);
}

// The trace. The list of traced blocks is an array in two blocks of Memory itself, a record and its storage,
// and holds exactly the blocks that are live; the report counts with them being there. The index that finds
// a block's place in the list lives outside of Memory.

struct TraceList
{
    int mSize;
    int mCapacity;
    BlockHeader** mpData; // a removed block's slot goes to the last one; the report sorts
};

struct TraceEntry
{
    int mSlot;
    std::uint64_t mSequence; // blocks in the order of their allocation
    Object* mpObject;        // the live object in the block, borrowed, or null
};

using TraceIndex = std::map<const BlockHeader*, TraceEntry, std::less<>>;

constexpr int FIRST_TRACE_CAPACITY = 8;

// All guarded by the lock.
constinit TraceList* spAllocList = nullptr;
constinit TraceIndex* spTraceIndex = nullptr;
constinit std::uint64_t sNextSequence = 0;
constinit bool sbGrowingTrace = false; // keeps the list's own storage out of the list

std::atomic<Memory::ObjectDescriber> spObjectDescriber{nullptr};
std::atomic<Memory::FailureHook> spFailureHook{nullptr};
std::atomic<unsigned> sBreakOnAlloc{0};

class GrowingTrace
{
public:
    GrowingTrace() { sbGrowingTrace = true; }
    ~GrowingTrace() { sbGrowingTrace = false; }
};

bool MakeTraceList()
{
    GrowingTrace growing;
    void* pList = Memory::Alloc(sizeof(TraceList), ALLOC_UNKNOWN, QBASE_HERE, true);
    void* pData =
        Memory::Alloc(FIRST_TRACE_CAPACITY * sizeof(BlockHeader*), ALLOC_UNKNOWN, QBASE_HERE, false);
    spTraceIndex = pList && pData ? new (std::nothrow) TraceIndex : nullptr;
    if (!spTraceIndex) {
        Memory::Free(pData, false);
        Memory::Free(pList, true);
        return false;
    }
    spAllocList = new (pList) TraceList{0, FIRST_TRACE_CAPACITY, static_cast<BlockHeader**>(pData)};
    return true;
}

void FreeTraceList()
{
    delete spTraceIndex;
    spTraceIndex = nullptr;
    Memory::Free(spAllocList->mpData, false);
    Memory::Free(spAllocList, true);
    spAllocList = nullptr;
}

bool GrowTraceList()
{
    if (spAllocList->mSize < spAllocList->mCapacity)
        return true;
    if (spAllocList->mCapacity > std::numeric_limits<int>::max() / 2)
        return false;

    const int capacity = spAllocList->mCapacity * 2;
    const std::uint64_t bytes = static_cast<std::uint64_t>(capacity) * sizeof(BlockHeader*);
    if (bytes > std::numeric_limits<unsigned>::max())
        return false;

    GrowingTrace growing;
    void* pData =
        Memory::Realloc(spAllocList->mpData, static_cast<unsigned>(bytes), ALLOC_UNKNOWN, QBASE_HERE);
    if (!pData)
        return false;
    spAllocList->mpData = static_cast<BlockHeader**>(pData);
    spAllocList->mCapacity = capacity;
    return true;
}

void TraceBlock(BlockHeader* pBlock)
{
    if (sbGrowingTrace || !GrowTraceList())
        return;
    try {
        spTraceIndex->insert_or_assign(pBlock, TraceEntry{spAllocList->mSize, sNextSequence, nullptr});
    } catch (const std::bad_alloc&) {
        return; // the block lives, only the report will not know it
    }
    ++sNextSequence;
    spAllocList->mpData[spAllocList->mSize++] = pBlock;
}

void UntraceBlock(const BlockHeader* pBlock)
{
    auto found = spTraceIndex->find(pBlock);
    if (found == spTraceIndex->end())
        return;

    const int slot = found->second.mSlot;
    spTraceIndex->erase(found);
    BlockHeader* pLast = spAllocList->mpData[--spAllocList->mSize];
    if (slot < spAllocList->mSize) {
        spAllocList->mpData[slot] = pLast;
        spTraceIndex->find(pLast)->second.mSlot = slot;
    }
}

// The entry of the traced block of type Object that holds the address, or null.
TraceEntry* FindTracedObjectBlock(const void* p)
{
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(p);
    auto found = spTraceIndex->upper_bound(reinterpret_cast<const BlockHeader*>(address));
    if (found == spTraceIndex->begin())
        return nullptr;
    --found;

    const BlockHeader* pBlock = found->first;
    const std::uintptr_t data = reinterpret_cast<std::uintptr_t>(pBlock + 1);
    const bool isInside = address >= data && address - data < pBlock->mSize;
    return isInside && pBlock->mType == ALLOC_OBJECT ? &found->second : nullptr;
}

void WriteRule(std::FILE* pOut, char character)
{
    char rule[79];
    std::memset(rule, character, 78);
    rule[78] = '\0';
    std::fprintf(pOut, "%s\n", rule);
}

void WriteObject(std::FILE* pOut, Object* pObject)
{
    Memory::ObjectDescription description{"?", "?", 0};
    Memory::ObjectDescriber pDescriber = spObjectDescriber.load(std::memory_order_acquire);
    if (pObject && pDescriber)
        description = pDescriber(pObject);
    std::fprintf(pOut, " [%s.%s] [%d refs]", description.mpModuleName, description.mpClassName,
                 description.mReferenceCount);
}

// The text in a block ends at its first zero byte, and at the latest where the block ends.
void WriteText(std::FILE* pOut, const BlockHeader* pBlock)
{
    const char* pText = reinterpret_cast<const char*>(pBlock + 1);
    const void* pEnd = std::memchr(pText, 0, pBlock->mSize);
    const std::size_t length = pEnd ? static_cast<std::size_t>(static_cast<const char*>(pEnd) - pText)
                                    : static_cast<std::size_t>(pBlock->mSize);
    std::fprintf(pOut, " [%s] [", "String");
    std::fwrite(pText, 1, length, pOut);
    std::fprintf(pOut, "]");
}

void WriteBlock(std::FILE* pOut, const BlockHeader* pBlock, Object* pObject)
{
    const int digits = static_cast<int>(sizeof(void*) * 2);
    std::fprintf(pOut, "[0x%0*llX] ", digits,
                 static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pBlock)));
    if (pBlock->mSize < 1024) {
        std::fprintf(pOut, "[%ub]", static_cast<unsigned>(pBlock->mSize));
    } else {
        std::fprintf(pOut, "[%ukb]", static_cast<unsigned>(pBlock->mSize >> 10));
    }

    // Objects and strings are told apart before the plain names, which name neither.
    if (pBlock->mType == ALLOC_OBJECT) {
        WriteObject(pOut, pObject);
    } else if (pBlock->mType == ALLOC_STRING) {
        WriteText(pOut, pBlock);
    } else {
        std::fprintf(pOut, " [%s]", pBlock->mType == ALLOC_HASHTABLE ? "HashTable" : "Unknown");
    }
    std::fprintf(pOut, "\n");
}

void WriteReport(std::FILE* pOut)
{
    std::sort(spAllocList->mpData, spAllocList->mpData + spAllocList->mSize,
              [](const BlockHeader* pLeft, const BlockHeader* pRight) {
                  return spTraceIndex->find(pLeft)->second.mSequence <
                         spTraceIndex->find(pRight)->second.mSequence;
              });

    WriteRule(pOut, '=');
    std::fprintf(pOut, " Quirl memory block trace:\n");
    WriteRule(pOut, '-');
    std::uint64_t bytes = 0;
    for (int i = 0; i < spAllocList->mSize; ++i) {
        const BlockHeader* pBlock = spAllocList->mpData[i];
        WriteBlock(pOut, pBlock, spTraceIndex->find(pBlock)->second.mpObject);
        bytes += pBlock->mSize;
    }
    WriteRule(pOut, '-');
    std::fprintf(pOut, " Total memory blocks traced: %d [%lldkb]\n", spAllocList->mSize,
                 static_cast<long long>(bytes >> 10));
    WriteRule(pOut, '=');
}

// Goes around the error handler and everything else that may allocate.
void ReportOutOfMemory(int line, unsigned size)
{
    ++sNumFailures;
    char text[96];
    std::snprintf(text, sizeof(text),
                  "ERROR: Memory (line %d): Failed to allocate %u bytes - out of memory\n", line, size);
    std::fputs(text, stderr);
    Platform::DebugOutput(text);
}

void* AllocWithHeader(std::uint64_t size)
{
    const std::uint64_t smallSize = SmallSizeOf(size);
    if (smallSize < NUM_SMALL_SIZES && spTally != nullptr) {
        KeptBlocks& rKept = spTally->mKeptBlocks[smallSize];
        if (KeptBlock* const pKept = rKept.mpFirst) {
            rKept.mpFirst = pKept->mpNext;
            --rKept.mCount;
            return HeaderOf(pKept);
        }
    }
    const std::uint64_t total = PhysicalTotal(size);
    if (total > std::numeric_limits<std::size_t>::max())
        return nullptr;
    return Platform::AllocAligned(static_cast<std::size_t>(total));
}

// Takes a freed block for the next one of its size; false when the system is to have it back.
bool KeepBlock(BlockHeader* pBlock)
{
    const std::uint64_t smallSize = SmallSizeOf(pBlock->mSize);
    if (smallSize >= NUM_SMALL_SIZES || pBlock->mReserve != 0 || spTally == nullptr) {
        return false;
    }
    KeptBlocks& rKept = spTally->mKeptBlocks[smallSize];
    if (rKept.mCount >= MAX_KEPT_BLOCKS) {
        return false;
    }
    rKept.mpFirst = new (pBlock + 1) KeptBlock{rKept.mpFirst};
    ++rKept.mCount;
    return true;
}

// The code of the reserve that a block gets when it grows to `size`: none when it grows by much; otherwise
// a quarter of the old size, so that growing on in small steps moves the contents only a few times.
std::uint8_t ChooseReserve(unsigned oldSize, unsigned size)
{
    const std::uint64_t enough = static_cast<std::uint64_t>(oldSize) + oldSize / 4;
    if (size >= enough || size < 64)
        return 0;
    const std::uint8_t code = ReserveCodeAbove(enough);
    const bool isAddressable =
        ReserveBytes(code) + sizeof(BlockHeader) <= std::numeric_limits<std::size_t>::max() / 2;
    return isAddressable ? code : 0;
}

std::uint64_t PhysicalSize(const BlockHeader* pBlock)
{
    return pBlock->mReserve ? ReserveBytes(pBlock->mReserve) : pBlock->mSize;
}

// Gives the block, wherever it then stands, a reserve. Null, and the block unchanged, when memory is short.
BlockHeader* MoveBlockToReserve(BlockHeader* pBlock, std::uint8_t reserve)
{
    const std::uint64_t total = ReserveBytes(reserve) + sizeof(BlockHeader);
    if (total > std::numeric_limits<std::size_t>::max())
        return nullptr;
    BlockHeader* pMoved =
        static_cast<BlockHeader*>(Platform::ReallocAligned(pBlock, static_cast<std::size_t>(total)));
    if (pMoved)
        pMoved->mReserve = reserve;
    return pMoved;
}

// Gives the block room for `room` bytes, of which `size` are counted, anywhere; null, and the block
// unchanged, when memory is short.
BlockHeader* MoveBlock(BlockHeader* pBlock, unsigned size, unsigned room)
{
    if (room > size)
        return MoveBlockToReserve(pBlock, ReserveCodeAbove(room));

    const std::uint8_t reserve = size > pBlock->mSize ? ChooseReserve(pBlock->mSize, size) : std::uint8_t{0};
    if (reserve != 0) {
        if (BlockHeader* pMoved = MoveBlockToReserve(pBlock, reserve))
            return pMoved;
    }

    const std::uint64_t total = PhysicalTotal(size);
    if (total > std::numeric_limits<std::size_t>::max())
        return nullptr;
    BlockHeader* pMoved =
        static_cast<BlockHeader*>(Platform::ReallocAligned(pBlock, static_cast<std::size_t>(total)));
    if (pMoved)
        pMoved->mReserve = 0;
    return pMoved;
}

// The same for a block that may be in the trace, which keeps its place there. Changing the key of an entry
// allocates nothing, so it cannot fail once the block has moved.
BlockHeader* MoveTracedBlock(BlockHeader* pBlock, unsigned size, unsigned room)
{
    CriticalSection::Block block(&sLock.mSection);
    TraceIndex::node_type entry = spTraceIndex->extract(pBlock);
    BlockHeader* pMoved = MoveBlock(pBlock, size, room);
    if (entry) {
        BlockHeader* pNow = pMoved ? pMoved : pBlock;
        entry.key() = pNow;
        spAllocList->mpData[entry.mapped().mSlot] = pNow;
        spTraceIndex->insert(std::move(entry));
    }
    return pMoved;
}

// Nothing but a live block passes, as far as a look at the header can tell.
bool IsLiveBlock(const BlockHeader* pBlock)
{
    return pBlock->mMark == BLOCK_LIVE && IsType(pBlock->mType);
}

} // namespace

constinit std::atomic<unsigned> Memory::sSpecialCases{0};

bool Memory::IsTracing()
{
    return (sSpecialCases.load(std::memory_order_relaxed) & CASE_TRACING) != 0;
}

bool Memory::IsToFail(unsigned size, AllocType type)
{
    FailureHook pHook = spFailureHook.load(std::memory_order_acquire);
    return pHook && pHook(size, type);
}

void* Memory::Alloc(unsigned size, AllocType type, const char*, int, bool isObject)
{
    if (QBASE_UNLIKELY(!IsType(type))) {
        AssertFail(QBASE_HERE, "ASSERT( type >= 0 && type < NUM_ALLOC_TYPES )");
        return nullptr;
    }

    const bool isSpecial = sSpecialCases.load(std::memory_order_relaxed) != 0;
    const bool isToFail = QBASE_UNLIKELY(isSpecial) && IsToFail(size, type);
    void* p = isToFail ? nullptr : AllocWithHeader(size);
    if (QBASE_UNLIKELY(!p)) {
        ReportOutOfMemory(__LINE__, size);
        return nullptr;
    }

    BlockHeader* pBlock = new (p) BlockHeader{size, type, isObject, BLOCK_LIVE, 0, {}};
    void* pBlockData = pBlock + 1;
    if (type == ALLOC_STRING && size > 0)
        *static_cast<char*>(pBlockData) = '\0';

    Count(type, 1, size);
    if (QBASE_UNLIKELY(isSpecial) && IsTracing()) {
        CriticalSection::Block block(&sLock.mSection);
        TraceBlock(pBlock);
    }
    CheckAlignment(pBlockData);
    return pBlockData;
}

void Memory::Free(void* p, bool isObject)
{
    if (!p)
        return;

    BlockHeader* pBlock = HeaderOf(p);
    if (QBASE_UNLIKELY(!IsLiveBlock(pBlock))) {
        AssertFail(QBASE_HERE, "ASSERT( IsLiveBlock(pBlock) )");
        return;
    }
    const bool bIsDelete = isObject;
    if (!QBASE_ASSERT(bIsDelete == pBlock->mbNeedDelete))
        return;

    Count(pBlock->mType, -1, -static_cast<std::int64_t>(pBlock->mSize));
    if (QBASE_UNLIKELY(IsTracing())) {
        CriticalSection::Block block(&sLock.mSection);
        UntraceBlock(pBlock);
    }

    pBlock->mType = FREED_TYPE;
    pBlock->mMark = BLOCK_FREED;
    if (!KeepBlock(pBlock)) {
        Platform::FreeAligned(pBlock);
    }
}

void* Memory::Realloc(void* p, unsigned size, AllocType type, const char* pFile, int line)
{
    return ReallocWithRoom(p, size, size, type, pFile, line);
}

void* Memory::ReallocWithRoom(void* p, unsigned size, unsigned room, AllocType type, const char* pFile,
                              int line)
{
    if (!p) {
        p = Alloc(size, type, pFile, line, false);
        if (!p || room <= size)
            return p;
        void* const pRoomy = ReallocWithRoom(p, size, room, type, pFile, line);
        if (!pRoomy)
            Free(p, false);
        return pRoomy;
    }

    BlockHeader* pBlock = HeaderOf(p);
    if (QBASE_UNLIKELY(!IsLiveBlock(pBlock))) {
        AssertFail(QBASE_HERE, "ASSERT( IsLiveBlock(pBlock) )");
        return nullptr;
    }
    if (!QBASE_ASSERT(pBlock->mType == type))
        return nullptr;

    const unsigned oldSize = pBlock->mSize;
    const bool isSpecial = sSpecialCases.load(std::memory_order_relaxed) != 0;
    const std::uint64_t physicalSize = PhysicalSize(pBlock);
    const unsigned needed = std::max(size, room);
    const bool isGrowing = size > oldSize || needed > physicalSize;
    if (QBASE_UNLIKELY(isSpecial) && isGrowing && IsToFail(needed, type)) {
        ReportOutOfMemory(__LINE__, needed);
        return nullptr;
    }

    if (needed > physicalSize || needed < physicalSize / 2) {
        pBlock =
            QBASE_UNLIKELY(IsTracing()) ? MoveTracedBlock(pBlock, size, room) : MoveBlock(pBlock, size, room);
        if (!pBlock) {
            ReportOutOfMemory(__LINE__, needed);
            return nullptr;
        }
    } else if (pBlock->mReserve == 0 && size < oldSize) {
        pBlock->mReserve = ReserveCodeBelow(oldSize);
        if (PhysicalSize(pBlock) < size)
            pBlock->mReserve = 0;
    }

    pBlock->mSize = size;
    void* pBlockData = pBlock + 1;
    if (type == ALLOC_STRING && oldSize == 0 && size > 0)
        *static_cast<char*>(pBlockData) = '\0';
    Count(type, 0, static_cast<std::int64_t>(size) - static_cast<std::int64_t>(oldSize));
    return pBlockData;
}

AllocType Memory::GetAllocType(const void* p)
{
    return static_cast<AllocType>(HeaderOf(p)->mType);
}

std::int64_t Memory::GetTotalBlocksAllocated()
{
    return Sum(&Tally::mBlocks, 0, NUM_ALLOC_TYPES);
}

std::int64_t Memory::GetTotalBytesAllocated()
{
    return Sum(&Tally::mBytes, 0, NUM_ALLOC_TYPES);
}

std::int64_t Memory::GetBlocksAllocated(AllocType type)
{
    if (!QBASE_ASSERT(type >= 0 && type < NUM_ALLOC_TYPES))
        return 0;
    return Sum(&Tally::mBlocks, type, type + 1);
}

std::int64_t Memory::GetBytesAllocated(AllocType type)
{
    if (!QBASE_ASSERT(type >= 0 && type < NUM_ALLOC_TYPES))
        return 0;
    return Sum(&Tally::mBytes, type, type + 1);
}

std::int64_t ThreadMemory::GetBytes()
{
    std::int64_t sum = sForeignBytes;
    if (const ThreadTally* const pTally = spTally) {
        for (const std::atomic<std::int64_t>& bytes : pTally->mBytes)
            sum += bytes.load(std::memory_order_relaxed);
    }
    return sum;
}

void ThreadMemory::AddForeign(std::int64_t numBytes)
{
    sForeignBytes += numBytes;
}

unsigned Memory::GetNumFailures()
{
    return sNumFailures;
}

std::int64_t Memory::GetTrackingOverheadBytes()
{
    return GetTotalBlocksAllocated() * static_cast<std::int64_t>(sizeof(BlockHeader));
}

void Memory::SetBreakOnAlloc(unsigned id)
{
    sBreakOnAlloc.store(id, std::memory_order_relaxed);
    Error(QBASE_HERE, "Block alloc id tracking is disabled.");
}

void Memory::StartBlockTrace()
{
    sSpecialCases.fetch_and(~static_cast<unsigned>(CASE_TRACING));
    CriticalSection::Block block(&sLock.mSection);
    if (!spAllocList && !MakeTraceList())
        return;
    sSpecialCases.fetch_or(CASE_TRACING);
}

int Memory::EndBlockTrace(std::FILE* pOut)
{
    sSpecialCases.fetch_and(~static_cast<unsigned>(CASE_TRACING));
    if (!QBASE_ASSERT(spAllocList))
        return 0;

    CriticalSection::Block block(&sLock.mSection);
    if (pOut)
        WriteReport(pOut);
    const int numBlocks = spAllocList->mSize;
    FreeTraceList();
    return numBlocks;
}

Memory::ObjectDescriber Memory::SetObjectDescriber(ObjectDescriber pDescriber)
{
    return spObjectDescriber.exchange(pDescriber, std::memory_order_acq_rel);
}

void Memory::SetFailureHook(FailureHook pHook)
{
    spFailureHook.store(pHook, std::memory_order_release);
    if (pHook) {
        sSpecialCases.fetch_or(CASE_FAILURE_HOOK);
    } else {
        sSpecialCases.fetch_and(~static_cast<unsigned>(CASE_FAILURE_HOOK));
    }
}

void Memory::MarkTracedObject(Object* pObject)
{
    CriticalSection::Block block(&sLock.mSection);
    // An object inside another one is constructed after the base part of the outer one, which stays marked.
    TraceEntry* pEntry = spTraceIndex ? FindTracedObjectBlock(pObject) : nullptr;
    if (pEntry && !pEntry->mpObject)
        pEntry->mpObject = pObject;
}

void Memory::UnmarkTracedObject(Object* pObject)
{
    CriticalSection::Block block(&sLock.mSection);
    TraceEntry* pEntry = spTraceIndex ? FindTracedObjectBlock(pObject) : nullptr;
    if (pEntry && pEntry->mpObject == pObject)
        pEntry->mpObject = nullptr;
}

bool BlockTrace::IsRunning()
{
    CriticalSection::Block block(&sLock.mSection);
    return spTraceIndex != nullptr;
}

std::uint64_t BlockTrace::GetMark()
{
    CriticalSection::Block block(&sLock.mSection);
    return sNextSequence;
}

std::vector<std::pair<std::uint64_t, Object*>> BlockTrace::GetObjects()
{
    CriticalSection::Block block(&sLock.mSection);
    std::vector<std::pair<std::uint64_t, Object*>> objects;
    if (spTraceIndex != nullptr) {
        for (const auto& [pBlock, entry] : *spTraceIndex) {
            if (entry.mpObject != nullptr) {
                objects.emplace_back(entry.mSequence, entry.mpObject);
            }
        }
    }
    std::sort(objects.begin(), objects.end());
    return objects;
}

} // namespace QBase
