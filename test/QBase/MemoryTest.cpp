#include "QBase/Memory.h"

#include "QBase/Allocator.h"
#include "QBase/List.h"
#include "QBase/MemoryBlock.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"

#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"
#include "Support/Patterns.h"
#include "Support/Sanitizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace
{

const char* const RULE_OUTSIDE =
    "==============================================================================\n";
const char* const RULE_INSIDE =
    "------------------------------------------------------------------------------\n";

void* AllocBlock(unsigned size, AllocType type = ALLOC_UNKNOWN, bool isObject = false)
{
    return Memory::Alloc(size, type, "MemoryTest", 1, isObject);
}

void* ReallocBlock(void* p, unsigned size, AllocType type = ALLOC_UNKNOWN)
{
    return Memory::Realloc(p, size, type, "MemoryTest", 1);
}

// The counts of every type, to see that nothing, or what, has changed.
struct Counts
{
    std::int64_t mBlocks[NUM_ALLOC_TYPES];
    std::int64_t mBytes[NUM_ALLOC_TYPES];

    bool operator==(const Counts&) const = default;

    static Counts Now()
    {
        Counts counts{};
        for (int type = 0; type < NUM_ALLOC_TYPES; ++type) {
            counts.mBlocks[type] = Memory::GetBlocksAllocated(static_cast<AllocType>(type));
            counts.mBytes[type] = Memory::GetBytesAllocated(static_cast<AllocType>(type));
        }
        return counts;
    }
};

// Ends the trace and gives its report.
std::string EndTrace(int* pNumBlocks = nullptr)
{
    std::FILE* pFile = std::tmpfile();
    const int numBlocks = Memory::EndBlockTrace(pFile);
    if (pNumBlocks)
        *pNumBlocks = numBlocks;
    std::rewind(pFile);
    std::string report;
    for (int character; (character = std::fgetc(pFile)) != EOF;)
        report.push_back(static_cast<char>(character));
    std::fclose(pFile);
    return report;
}

// A report whose block lines are `lines`.
std::string Report(const std::string& lines, int numBlocks, int kilobytes)
{
    return std::string(RULE_OUTSIDE) + " Quirl memory block trace:\n" + RULE_INSIDE + lines + RULE_INSIDE +
           " Total memory blocks traced: " + std::to_string(numBlocks) + " [" + std::to_string(kilobytes) +
           "kb]\n" + RULE_OUTSIDE;
}

// "[0x00007F...]", the way a block's header address is printed.
std::string AddressText(const void* pBlockData)
{
    std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pBlockData) - 16;
    std::string digits;
    for (std::size_t i = 0; i < sizeof(void*) * 2; ++i) {
        digits.insert(digits.begin(), "0123456789ABCDEF"[address % 16]);
        address /= 16;
    }
    return "[0x" + digits + "]";
}

Object* AsObject(void* p)
{
    return static_cast<Object*>(p);
}

// Describes every object by fixed words while it lives.
class FixedDescriber
{
public:
    FixedDescriber() : mpPrevious(Memory::SetObjectDescriber(&Describe)) {}
    ~FixedDescriber() { Memory::SetObjectDescriber(mpPrevious); }

    static Object* spDescribed;

private:
    static Memory::ObjectDescription Describe(Object* pObject)
    {
        spDescribed = pObject;
        return {"Solar", "Planet", 3};
    }

    Memory::ObjectDescriber mpPrevious;
};
Object* FixedDescriber::spDescribed = nullptr;

unsigned sAllocationsUntilFailure = 0;

// Fails every allocation after the next `numSuccesses`, while it lives.
class FailingAllocations
{
public:
    explicit FailingAllocations(unsigned numSuccesses)
    {
        sAllocationsUntilFailure = numSuccesses;
        Memory::SetFailureHook([](unsigned, AllocType) {
            if (sAllocationsUntilFailure == 0)
                return true;
            --sAllocationsUntilFailure;
            return false;
        });
    }
    ~FailingAllocations() { Memory::SetFailureHook(nullptr); }
};

} // namespace

TEST(MemoryTest, CountsTheRequestsOfAThreadForWhichThereWasNoMemory)
{
    const unsigned before = Memory::GetNumFailures();
    unsigned elsewhere = 1;
    {
        const CapturedConsole console;
        const FailingAllocations failing(0);
        EXPECT_EQ(Memory::Alloc(16, ALLOC_UNKNOWN, "MemoryTest", 1, false), nullptr);
        EXPECT_EQ(Memory::GetNumFailures(), before + 1);
        EXPECT_EQ(Memory::Realloc(nullptr, 16, ALLOC_UNKNOWN, "MemoryTest", 1), nullptr);
    }
    EXPECT_EQ(Memory::GetNumFailures(), before + 2);
    std::thread([&elsewhere] { elsewhere = Memory::GetNumFailures(); }).join();
    EXPECT_EQ(elsewhere, 0u);
}

TEST(MemoryTest, TheHeaderIsSixteenBytesInFrontOfTheData)
{
    EXPECT_EQ(sizeof(BlockHeader), 16u);
    EXPECT_EQ(offsetof(BlockHeader, mSize), 0u);
    EXPECT_EQ(offsetof(BlockHeader, mType), 4u);
    EXPECT_EQ(offsetof(BlockHeader, mbNeedDelete), 8u);

    void* p = AllocBlock(0x11223344 & 0xFFFF, ALLOC_HASHTABLE, true);
    unsigned char header[16];
    std::memcpy(header, static_cast<unsigned char*>(p) - 16, 16);
    const unsigned char expected[9] = {0x44, 0x33, 0, 0 /* size */, 3, 0, 0, 0 /* HashTable */,
                                       1 /* object */};
    EXPECT_EQ(std::memcmp(header, expected, 9), 0);
    Memory::Free(p, true);
}

TEST(MemoryTest, BlocksOfEverySizeAreAlignedToSixteenBytes)
{
    for (unsigned size = 0; size <= 100; ++size) {
        void* p = AllocBlock(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u) << size;
        p = ReallocBlock(p, size * 50);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u) << size;
        Memory::Free(p, false);
    }
}

TEST(MemoryTest, CountsBlocksAndBytesOfEachTypeAndInTotal)
{
    for (int i = 0; i < NUM_ALLOC_TYPES; ++i) {
        const AllocType type = static_cast<AllocType>(i);
        const Counts before = Counts::Now();
        const std::int64_t totalBlocks = Memory::GetTotalBlocksAllocated();
        const std::int64_t totalBytes = Memory::GetTotalBytesAllocated();
        Counts expected = before;
        expected.mBlocks[i] += 2;
        expected.mBytes[i] += 107;

        void* pFirst = AllocBlock(100, type);
        void* pSecond = AllocBlock(7, type, true);

        EXPECT_EQ(Memory::GetAllocType(pFirst), type);
        EXPECT_TRUE(Counts::Now() == expected);
        EXPECT_EQ(Memory::GetTotalBlocksAllocated(), totalBlocks + 2);
        EXPECT_EQ(Memory::GetTotalBytesAllocated(), totalBytes + 107);
        EXPECT_EQ(Memory::GetTrackingOverheadBytes(), (totalBlocks + 2) * 16);

        Memory::Free(pFirst, false);
        Memory::Free(pSecond, true);
        EXPECT_TRUE(Counts::Now() == before);
    }
}

TEST(MemoryTest, FreeOfNullDoesNothing)
{
    const Counts before = Counts::Now();
    Memory::Free(nullptr, false);
    Memory::Free(nullptr, true);
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, FreeWithTheWrongObjectFlagAssertsAndLeavesTheBlockAndTheCounts)
{
    for (bool isObject : {false, true}) {
        void* p = AllocBlock(64, ALLOC_OBJECT, isObject);
        const Counts before = Counts::Now();
        {
            CapturedConsole console;
            ResumedAssertions resumed;
            Memory::Free(p, !isObject);
            EXPECT_EQ(resumed.GetCount(), 1);
            const std::string errors = console.TakeErrors();
            EXPECT_THAT(errors, StartsWith("ERROR: Memory (line "));
            EXPECT_THAT(errors, EndsWith("): ASSERT( bIsDelete == pBlock->mbNeedDelete )\n"));
        }
        EXPECT_TRUE(Counts::Now() == before);
        std::memset(p, 0xAB, 64); // still there
        Memory::Free(p, isObject);
    }
}

TEST(MemoryDeathTest, FreeWithTheWrongObjectFlagStopsAtTheBreak)
{
    void* p = AllocBlock(1);
    EXPECT_ASSERTION(Memory::Free(p, true), "bIsDelete == pBlock->mbNeedDelete");
    Memory::Free(p, false);
}

TEST(MemoryTest, FreeOfWhatIsNoLiveBlockAssertsAndChangesNothing)
{
    alignas(16) char foreign[64] = {};
    BlockHeader freed{8, FREED_TYPE, 0, BLOCK_FREED, 0, {}};
    std::memcpy(foreign + 32, &freed, sizeof(freed));
    const Counts before = Counts::Now();
    for (char* p : {foreign + 16, foreign + 48}) {
        CapturedConsole console;
        ResumedAssertions resumed;
        Memory::Free(p, false);
        EXPECT_EQ(ReallocBlock(p, 100), nullptr);
        EXPECT_EQ(resumed.GetCount(), 2);
        EXPECT_THAT(console.TakeErrors(), HasSubstr("ASSERT( IsLiveBlock(pBlock) )"));
    }
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, CountsOfATypeOutOfRangeAssertAndAreZero)
{
    for (int type : {-1, 4}) {
        for (auto pCount : {&Memory::GetBlocksAllocated, &Memory::GetBytesAllocated}) {
            CapturedConsole console;
            ResumedAssertions resumed;
            EXPECT_EQ(pCount(static_cast<AllocType>(type)), 0);
            EXPECT_EQ(resumed.GetCount(), 1);
            EXPECT_THAT(console.TakeErrors(), EndsWith("ASSERT( type >= 0 && type < NUM_ALLOC_TYPES )\n"));
        }
    }
}

TEST(MemoryTest, AllocOfATypeOutOfRangeAssertsAndGivesNull)
{
    for (int type : {-1, 4}) {
        CapturedConsole console;
        ResumedAssertions resumed;
        EXPECT_EQ(AllocBlock(1, static_cast<AllocType>(type)), nullptr);
        EXPECT_EQ(resumed.GetCount(), 1);
        EXPECT_THAT(console.TakeErrors(), EndsWith("ASSERT( type >= 0 && type < NUM_ALLOC_TYPES )\n"));
    }
}

TEST(MemoryTest, AMisalignedBlockWouldAssertInTheFixedWords)
{
    alignas(16) const char data[32] = {};
    CapturedConsole console;
    ResumedAssertions resumed;

    CheckAlignment(data + 16);
    EXPECT_EQ(resumed.GetCount(), 0);
    CheckAlignment(data + 8);

    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_THAT(console.TakeErrors(), EndsWith("ASSERT( (((unsigned int)pBlockData) % 16) == 0 )\n"));
}

TEST(MemoryTest, SetBreakOnAllocReportsThatItIsDisabled)
{
    CapturedConsole console;
    Memory::SetBreakOnAlloc(17);
    EXPECT_THAT(console.TakeErrors(), EndsWith("): Block alloc id tracking is disabled.\n"));
}

TEST(MemoryTest, ReallocOfNullActsAsAPlainAlloc)
{
    const Counts before = Counts::Now();
    void* p = ReallocBlock(nullptr, 10, ALLOC_STRING);
    EXPECT_EQ(Memory::GetAllocType(p), ALLOC_STRING);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), before.mBlocks[ALLOC_STRING] + 1);
    Memory::Free(p, false);
}

TEST(MemoryTest, ReallocKeepsTheContentsUpToTheSmallerSizeAndCountsBytesOnly)
{
    const Counts before = Counts::Now();
    char* p = static_cast<char*>(AllocBlock(4, ALLOC_HASHTABLE));
    std::memcpy(p, "abcd", 4);
    unsigned sizes[] = {5, 100, 101, 100000, 60000, 59999, 90000, 4, 16, 4};
    for (unsigned size : sizes) {
        p = static_cast<char*>(ReallocBlock(p, size, ALLOC_HASHTABLE));
        EXPECT_EQ(std::memcmp(p, "abcd", 4), 0) << size;
        std::memset(p + 4, 0xAB, size - 4); // every byte asked for is there
        EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_HASHTABLE), before.mBytes[ALLOC_HASHTABLE] + size);
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_HASHTABLE), before.mBlocks[ALLOC_HASHTABLE] + 1);
    }
    p = static_cast<char*>(ReallocBlock(p, 0, ALLOC_HASHTABLE));
    EXPECT_NE(p, nullptr);
    Memory::Free(p, false);
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, ReallocKeepsTheObjectFlag)
{
    void* p = AllocBlock(10, ALLOC_OBJECT, true);
    p = ReallocBlock(p, 10000, ALLOC_OBJECT);
    Memory::Free(p, true);
}

TEST(MemoryTest, ReallocOfAnotherTypeAssertsAndLeavesTheBlock)
{
    void* p = AllocBlock(10, ALLOC_STRING);
    const Counts before = Counts::Now();
    {
        CapturedConsole console;
        ResumedAssertions resumed;
        EXPECT_EQ(ReallocBlock(p, 20, ALLOC_HASHTABLE), nullptr);
        EXPECT_EQ(resumed.GetCount(), 1);
        EXPECT_THAT(console.TakeErrors(), EndsWith("ASSERT( pBlock->mType == type )\n"));
    }
    EXPECT_TRUE(Counts::Now() == before);
    Memory::Free(p, false);
}

TEST(MemoryTest, GrowingInSmallStepsSeldomNeedsNewRoom)
{
    const std::int64_t before = Memory::GetBytesAllocated(ALLOC_UNKNOWN);
    void* p = AllocBlock(8192);
    int numResizes = 0;
    for (unsigned size = 9216; size <= 64u * 1024 * 1024; size += 1024) {
        const std::uint8_t reserve = HeaderOf(p)->mReserve;
        p = ReallocBlock(p, size);
        numResizes += HeaderOf(p)->mReserve != reserve;
        ASSERT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before + size); // the reserve is never counted
    }
    EXPECT_LT(numResizes, 60); // of 65,528 steps
    Memory::Free(p, false);
}

TEST(MemoryTest, ReserveCodesStandForSizesAFifthApartAtMost)
{
    EXPECT_EQ(ReserveBytes(1), 16u);
    EXPECT_EQ(ReserveBytes(2), 20u);
    EXPECT_EQ(ReserveBytes(5), 32u);
    for (unsigned code = 1; code < 120; ++code) {
        const std::uint64_t bytes = ReserveBytes(code);
        EXPECT_LT(bytes, ReserveBytes(code + 1));
        EXPECT_LE(ReserveBytes(code + 1), bytes + bytes / 4);
        EXPECT_EQ(ReserveCodeBelow(bytes), code);
        EXPECT_EQ(ReserveCodeAbove(bytes), code);
        EXPECT_EQ(ReserveCodeBelow(bytes + 1), code);
        EXPECT_EQ(ReserveCodeAbove(bytes + 1), code + 1);
    }
    EXPECT_EQ(ReserveCodeBelow(15), 0);
}

TEST(MemoryTest, AllocReportsAndGivesNullWhenMemoryRunsOut)
{
    const Counts before = Counts::Now();
    CapturedConsole console;
    void* pFirst = nullptr;
    void* pSecond = nullptr;
    {
        FailingAllocations failing(1);
        pFirst = AllocBlock(10);
        pSecond = AllocBlock(20);
    }
    EXPECT_NE(pFirst, nullptr);
    EXPECT_EQ(pSecond, nullptr);
    const std::string errors = console.TakeErrors();
    EXPECT_THAT(errors, StartsWith("ERROR: Memory (line "));
    EXPECT_THAT(errors, EndsWith("): Failed to allocate 20 bytes - out of memory\n"));
    Memory::Free(pFirst, false);
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, ReallocThatFailsLeavesTheBlockAsItWas)
{
    char* p = static_cast<char*>(AllocBlock(4));
    std::memcpy(p, "abcd", 4);
    const Counts before = Counts::Now();
    {
        CapturedConsole console;
        FailingAllocations failing(0);
        EXPECT_EQ(ReallocBlock(p, 1000), nullptr);
        EXPECT_EQ(ReallocBlock(p, 2), p); // shrinking needs no memory
        EXPECT_THAT(console.TakeErrors(), EndsWith("Failed to allocate 1000 bytes - out of memory\n"));
    }
    EXPECT_EQ(std::memcmp(p, "ab", 2), 0);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before.mBytes[ALLOC_UNKNOWN] - 2);
    Memory::Free(p, false);
}

TEST(MemoryTest, ASizeThatWrapsAroundWithItsHeaderIsNeverCutShort)
{
    if (HAS_SANITIZER)
        GTEST_SKIP() << "four gigabytes";
    const Counts before = Counts::Now();
    CapturedConsole console;
    char* p = static_cast<char*>(AllocBlock(0xFFFFFFF8u));
    if (p) {
        p[0xFFFFFFF7u] = 1; // the last byte is there
        EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before.mBytes[ALLOC_UNKNOWN] + 0xFFFFFFF8ll);
        Memory::Free(p, false);
    } else {
        EXPECT_THAT(console.TakeErrors(), EndsWith("Failed to allocate 4294967288 bytes - out of memory\n"));
    }
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, TheTraceListIsTwoBlocksOfTypeUnknown)
{
    const Counts before = Counts::Now();
    Memory::StartBlockTrace();
    const Counts during = Counts::Now();
    int numBlocks = -1;
    const std::string report = EndTrace(&numBlocks);

    EXPECT_EQ(during.mBlocks[ALLOC_UNKNOWN], before.mBlocks[ALLOC_UNKNOWN] + 2);
    EXPECT_EQ(during.mBytes[ALLOC_UNKNOWN],
              before.mBytes[ALLOC_UNKNOWN] + static_cast<int>(8 + sizeof(void*) + 8 * sizeof(void*)));
    EXPECT_TRUE(Counts::Now() == before);
    EXPECT_EQ(numBlocks, 0);
    EXPECT_EQ(report, Report("", 0, 0));
}

TEST(MemoryTest, TheTraceListDoublesAndIsNotInItself)
{
    const std::int64_t pointer = sizeof(void*);
    Memory::StartBlockTrace();
    const std::int64_t before = Memory::GetBytesAllocated(ALLOC_UNKNOWN);
    std::vector<void*> blocks;
    for (int i = 0; i < 8; ++i)
        blocks.push_back(AllocBlock(0));
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before);
    blocks.push_back(AllocBlock(0));
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before + 8 * pointer);

    // A removed block makes room again.
    for (int i = 0; i < 1000; ++i)
        Memory::Free(AllocBlock(0), false);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), before + 8 * pointer);

    EXPECT_EQ(Memory::EndBlockTrace(nullptr), 9);
    for (void* p : blocks)
        Memory::Free(p, false);
}

TEST(MemoryTest, ReportsOneBlockOfEachTypeInTheFixedForm)
{
    Memory::StartBlockTrace();
    void* pUnknown = AllocBlock(1000);
    void* pObject = AllocBlock(24, ALLOC_OBJECT, true);
    char* pString = static_cast<char*>(AllocBlock(10, ALLOC_STRING));
    std::strcpy(pString, "Moon");
    void* pTable = AllocBlock(2000, ALLOC_HASHTABLE);
    FixedDescriber describer;
    Memory::MarkObject(AsObject(pObject));

    int numBlocks = 0;
    const std::string report = EndTrace(&numBlocks);

    EXPECT_EQ(numBlocks, 4);
    EXPECT_EQ(report, Report(AddressText(pUnknown) + " [1000b] [Unknown]\n" + AddressText(pObject) +
                                 " [24b] [Solar.Planet] [3 refs]\n" + AddressText(pString) +
                                 " [10b] [String] [Moon]\n" + AddressText(pTable) + " [1kb] [HashTable]\n",
                             4, 2)); // 3034 bytes, shifted right by 10
    Memory::Free(pUnknown, false);
    Memory::Free(pObject, true);
    Memory::Free(pString, false);
    Memory::Free(pTable, false);
}

TEST(MemoryTest, ReportsBytesBelow1024AndKilobytesFromThereOn)
{
    Memory::StartBlockTrace();
    void* pBytes = AllocBlock(1023);
    void* pKilobytes = AllocBlock(1024);
    const std::string report = EndTrace();

    EXPECT_THAT(report, HasSubstr(AddressText(pBytes) + " [1023b] [Unknown]\n"));
    EXPECT_THAT(report, HasSubstr(AddressText(pKilobytes) + " [1kb] [Unknown]\n"));
    const std::string line = report.substr(report.find("[0x"), sizeof(void*) * 2 + 12);
    EXPECT_THAT(line, MatchesPattern("\\[0x[0-9A-F]+] \\[1023b]"));
    Memory::Free(pBytes, false);
    Memory::Free(pKilobytes, false);
}

TEST(MemoryTest, ListsOnlyBlocksThatWereAllocatedDuringTheTraceAndStillLive)
{
    void* pBefore = AllocBlock(100);
    void* pBeforeAndFreed = AllocBlock(101);
    Memory::StartBlockTrace();
    void* pFreed = AllocBlock(102);
    void* pLive = AllocBlock(103);
    Memory::Free(pFreed, false);
    Memory::Free(pBeforeAndFreed, false);
    const std::string report = EndTrace();

    EXPECT_EQ(report, Report(AddressText(pLive) + " [103b] [Unknown]\n", 1, 0));
    Memory::Free(pBefore, false);
    Memory::Free(pLive, false);
}

TEST(MemoryTest, ListsBlocksInTheOrderOfTheirAllocationWhateverWasFreedBetween)
{
    Memory::StartBlockTrace();
    std::vector<void*> blocks;
    for (unsigned i = 0; i < 50; ++i)
        blocks.push_back(AllocBlock(i));
    std::string lines;
    for (unsigned i = 0; i < 50; ++i) {
        if (i % 3 == 0) {
            Memory::Free(blocks[i], false);
            blocks[i] = nullptr;
        } else {
            lines += AddressText(blocks[i]) + " [" + std::to_string(i) + "b] [Unknown]\n";
        }
    }
    void* pLast = AllocBlock(999);
    lines += AddressText(pLast) + " [999b] [Unknown]\n";

    EXPECT_EQ(EndTrace(), Report(lines, 34, 1));
    for (void* p : blocks)
        Memory::Free(p, false);
    Memory::Free(pLast, false);
}

TEST(MemoryTest, EndWithoutStartAssertsAndReturnsZero)
{
    CapturedConsole console;
    ResumedAssertions resumed;
    EXPECT_EQ(Memory::EndBlockTrace(stdout), 0);
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_EQ(console.TakeOutput(), "");
    EXPECT_THAT(console.TakeErrors(), EndsWith("ASSERT( spAllocList )\n"));
}

TEST(MemoryDeathTest, EndWithoutStartStopsAtTheBreak)
{
    EXPECT_ASSERTION(Memory::EndBlockTrace(stdout), "spAllocList");
}

TEST(MemoryTest, ASecondStartGoesOnWithTheSameList)
{
    Memory::StartBlockTrace();
    void* pFirst = AllocBlock(1);
    const Counts during = Counts::Now();
    Memory::StartBlockTrace();
    EXPECT_TRUE(Counts::Now() == during);
    void* pSecond = AllocBlock(2);

    EXPECT_EQ(
        EndTrace(),
        Report(AddressText(pFirst) + " [1b] [Unknown]\n" + AddressText(pSecond) + " [2b] [Unknown]\n", 2, 0));
    Memory::Free(pFirst, false);
    Memory::Free(pSecond, false);
}

TEST(MemoryTest, EndOnANullFileEndsTheTraceAndCountsTheBlocks)
{
    Memory::StartBlockTrace();
    void* p = AllocBlock(1);
    EXPECT_EQ(Memory::EndBlockTrace(nullptr), 1);
    Memory::Free(p, false);

    Memory::StartBlockTrace();
    EXPECT_EQ(EndTrace(), Report("", 0, 0));
}

TEST(MemoryTest, AStartThatFindsNoMemoryReportsAndLeavesNothingBehind)
{
    const Counts before = Counts::Now();
    for (unsigned numSuccesses : {0u, 1u}) {
        CapturedConsole console;
        {
            FailingAllocations failing(numSuccesses);
            Memory::StartBlockTrace();
        }
        EXPECT_THAT(console.TakeErrors(), HasSubstr("Failed to allocate"));
    }
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, AReallocatedBlockKeepsItsPlaceInTheTrace)
{
    Memory::StartBlockTrace();
    void* pFirst = AllocBlock(10);
    void* pSecond = AllocBlock(20);
    void* pOld = AllocBlock(30);
    pFirst = ReallocBlock(pFirst, 1000000);
    Memory::Free(pOld, false);

    EXPECT_EQ(EndTrace(), Report(AddressText(pFirst) + " [976kb] [Unknown]\n" + AddressText(pSecond) +
                                     " [20b] [Unknown]\n",
                                 2, 976));
    Memory::Free(pFirst, false);
    Memory::Free(pSecond, false);
}

TEST(MemoryTest, ReallocDuringATraceLeavesOlderBlocksOutOfIt)
{
    void* p = AllocBlock(10);
    Memory::StartBlockTrace();
    p = ReallocBlock(p, 1000000);
    EXPECT_EQ(EndTrace(), Report("", 0, 0));
    Memory::Free(p, false);
}

// Freed blocks are kept for the next ones of their size, whatever became of them in between.
TEST(MemoryTest, BlocksThatAreTakenAgainHaveRoomForAllOfTheirBytes)
{
    struct Filled
    {
        unsigned char* mpBytes;
        unsigned mSize;
        unsigned char mFilling;
    };
    const std::int64_t bytesBefore = Memory::GetBytesAllocated(ALLOC_UNKNOWN);
    for (int round = 0; round < 3; ++round) {
        std::vector<Filled> blocks;
        for (unsigned i = 0; i < 600; ++i) {
            Filled filled{nullptr, (i * 7 + static_cast<unsigned>(round)) % 280,
                          static_cast<unsigned char>(i)};
            void* p = AllocBlock(filled.mSize);
            if (i % 5 == 0) { // resized ones take part as well
                filled.mSize = filled.mSize / 2 + i % 40;
                p = Memory::Realloc(p, filled.mSize, ALLOC_UNKNOWN, "MemoryTest", __LINE__);
            }
            ASSERT_NE(p, nullptr);
            filled.mpBytes = static_cast<unsigned char*>(p);
            std::memset(p, filled.mFilling, filled.mSize);
            blocks.push_back(filled);
        }
        for (const Filled& filled : blocks) {
            const std::vector<unsigned char> expected(filled.mSize, filled.mFilling);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), filled.mpBytes)) << filled.mSize;
            Memory::Free(filled.mpBytes, false);
        }
    }
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), bytesBefore);
}

TEST(MemoryDeathTest, ABlockFreedTwiceIsFoundOut)
{
    if (HAS_SANITIZER) {
        GTEST_SKIP() << "the sanitizer finds it first";
    }
    void* const p = AllocBlock(40);
    Memory::Free(p, false);
    EXPECT_ASSERTION(Memory::Free(p, false), "IsLiveBlock(pBlock)");
}

TEST(MemoryTest, TracingManyBlocksThatAreFreedInAnyOrderTakesLinearTime)
{
    Memory::StartBlockTrace();
    std::vector<void*> blocks;
    for (int i = 0; i < 200000; ++i)
        blocks.push_back(AllocBlock(8));
    for (std::size_t i = 0; i < blocks.size(); ++i) // from both ends inwards
        Memory::Free(blocks[i % 2 ? i / 2 : blocks.size() - 1 - i / 2], false);
    EXPECT_EQ(EndTrace(), Report("", 0, 0));
}

TEST(MemoryTest, AStringBlockIsPrintedUpToItsFirstZeroOrItsEnd)
{
    Memory::StartBlockTrace();
    char* pUnterminated = static_cast<char*>(AllocBlock(5, ALLOC_STRING));
    std::memcpy(pUnterminated, "abcde", 5);
    void* pEmpty = AllocBlock(0, ALLOC_STRING);
    NarrowString reserved;
    reserved.reserve(1000);
    WideString wide(40, L'w'); // its second byte is zero
    const std::string report = EndTrace();

    EXPECT_THAT(report, HasSubstr(AddressText(pUnterminated) + " [5b] [String] [abcde]\n"));
    EXPECT_THAT(report, HasSubstr(AddressText(pEmpty) + " [0b] [String] []\n"));
    EXPECT_THAT(report, HasSubstr(AddressText(reserved.data()) + " [1001b] [String] []\n"));
    EXPECT_THAT(report, HasSubstr(AddressText(wide.data()) + " ["));
    EXPECT_THAT(report, HasSubstr("b] [String] [w]\n"));
    Memory::Free(pUnterminated, false);
    Memory::Free(pEmpty, false);
}

TEST(MemoryTest, AStringBlockIsEmptyTextBeforeItIsFilled)
{
    void* p = AllocBlock(8, ALLOC_STRING);
    EXPECT_EQ(*static_cast<char*>(p), '\0');
    Memory::Free(p, false);

    p = ReallocBlock(AllocBlock(0, ALLOC_STRING), 8, ALLOC_STRING);
    EXPECT_EQ(*static_cast<char*>(p), '\0');
    Memory::Free(p, false);
}

TEST(MemoryTest, AnObjectBlockWithoutAnObjectIsReportedWithoutAskingIt)
{
    FixedDescriber describer;
    FixedDescriber::spDescribed = nullptr;
    Memory::StartBlockTrace();
    void* pRaw = AllocBlock(64, ALLOC_OBJECT, true);
    std::memset(pRaw, 0xAB, 64);
    void* pDestroyed = AllocBlock(64, ALLOC_OBJECT, true);
    Memory::MarkObject(AsObject(pDestroyed));
    Memory::UnmarkObject(AsObject(pDestroyed));

    EXPECT_EQ(EndTrace(), Report(AddressText(pRaw) + " [64b] [?.?] [0 refs]\n" + AddressText(pDestroyed) +
                                     " [64b] [?.?] [0 refs]\n",
                                 2, 0));
    EXPECT_EQ(FixedDescriber::spDescribed, nullptr);
    Memory::Free(pRaw, true);
    Memory::Free(pDestroyed, true);
}

TEST(MemoryTest, TheFirstObjectInABlockIsTheOneReportedWhereverItStands)
{
    FixedDescriber describer;
    Memory::StartBlockTrace();
    char* pBlock = static_cast<char*>(AllocBlock(64, ALLOC_OBJECT, true));
    Memory::MarkObject(AsObject(pBlock + 8));  // behind another base class
    Memory::MarkObject(AsObject(pBlock + 32)); // a member
    Memory::UnmarkObject(AsObject(pBlock + 32));
    Memory::MarkObject(AsObject(pBlock + 64)); // behind the block

    EXPECT_THAT(EndTrace(), HasSubstr("[Solar.Planet] [3 refs]"));
    EXPECT_EQ(FixedDescriber::spDescribed, AsObject(pBlock + 8));
    Memory::Free(pBlock, true);
}

TEST(MemoryTest, ObjectsOutsideOfObjectBlocksAreNotMarked)
{
    FixedDescriber describer;
    char onTheStack[64];
    Memory::StartBlockTrace();
    void* pArray = AllocBlock(64);
    Memory::MarkObject(AsObject(pArray));
    Memory::MarkObject(AsObject(onTheStack));
    Memory::UnmarkObject(AsObject(onTheStack));

    EXPECT_EQ(EndTrace(), Report(AddressText(pArray) + " [64b] [Unknown]\n", 1, 0));
    Memory::Free(pArray, false);
}

TEST(MemoryTest, ReportsObjectsByModuleClassAndReferenceCount)
{
    Memory::StartBlockTrace();
    Ptr<Object> pFirst = Object::Construct(Value::Null);
    Ptr<Object> pSecond = pFirst;
    Ptr<List> pList = List::Construct(Value::Null);
    Ptr<Object> pDropped = Object::Construct(Value::Null);
    pDropped = nullptr;
    const std::string report = EndTrace();

    const std::string size = " [" + std::to_string(sizeof(Object)) + "b]";
    const std::string objectLine = AddressText(pFirst) + size + " [QBase.Object] [2 refs]\n";
    const std::string listLine =
        AddressText(pList) + " [" + std::to_string(sizeof(List)) + "b] [QBase.List] [1 refs]\n";
    EXPECT_THAT(report, StartsWith(Report("", 0, 0).substr(0, 78 * 2 + 2 + 27) + objectLine + listLine));
    EXPECT_EQ(report.find(size, report.find(objectLine) + objectLine.size()), std::string::npos);
}

TEST(MemoryTest, ReportsFromInsideAConstructorAndADestructorAskOnlyWhatExists)
{
    struct Reporter : Object
    {
        std::string mDuringConstruction;
        std::string* mpDuringDestruction;

        explicit Reporter(std::string* pDuringDestruction) : mpDuringDestruction(pDuringDestruction)
        {
            mDuringConstruction = EndTrace();
            Memory::StartBlockTrace();
        }
        Reporter(std::string* pDuringDestruction, std::nullptr_t) : mpDuringDestruction(pDuringDestruction) {}
        ~Reporter() override { *mpDuringDestruction = EndTrace(); }
    };
    std::string duringDestruction;

    Memory::StartBlockTrace();
    Ptr<Reporter> pReporter = new ("MemoryTest", __LINE__) Reporter(&duringDestruction);
    EXPECT_THAT(pReporter->mDuringConstruction, HasSubstr(" [QBase.Object] [0 refs]\n"));
    EXPECT_EQ(Memory::EndBlockTrace(nullptr), 0); // the reporter is older than the second trace

    Memory::StartBlockTrace();
    Ptr<Reporter> pQuiet = new ("MemoryTest", __LINE__) Reporter(&duringDestruction, nullptr);
    pQuiet = nullptr;
    EXPECT_THAT(duringDestruction, HasSubstr(" [QBase.Object] ["));

    Memory::StartBlockTrace(); // for the destructor of the first
    pReporter = nullptr;
    EXPECT_EQ(duringDestruction, Report("", 0, 0));
}

TEST(MemoryTest, SumsGoPastFourGigabytes)
{
    if (HAS_SANITIZER || sizeof(void*) == 4)
        GTEST_SKIP() << "five gigabytes";
    const std::int64_t before = Memory::GetTotalBytesAllocated();
    Memory::StartBlockTrace();
    const std::int64_t listBytes = Memory::GetTotalBytesAllocated() - before;
    void* blocks[5];
    for (void*& p : blocks)
        p = AllocBlock(1u << 30); // never touched, so it takes address space only
    EXPECT_EQ(Memory::GetTotalBytesAllocated(), before + listBytes + (std::int64_t{5} << 30));
    EXPECT_THAT(EndTrace(), HasSubstr(" Total memory blocks traced: 5 [5242880kb]\n"));
    for (void* p : blocks)
        Memory::Free(p, false);
    EXPECT_EQ(Memory::GetTotalBytesAllocated(), before);
}

TEST(MemoryTest, CountsStayExactWhenThreadsFreeWhatOthersAllocated)
{
    const Counts before = Counts::Now();
    std::vector<void*> blocks(4000);
    auto allocate = [&blocks](std::size_t first) {
        for (std::size_t i = first; i < blocks.size(); i += 2) {
            blocks[i] = AllocBlock(10, ALLOC_HASHTABLE);
            Memory::Free(AllocBlock(100, ALLOC_STRING), false);
        }
    };
    std::thread first(allocate, 0);
    std::thread second(allocate, 1);
    for (int i = 0; i < 100; ++i) // readers see some moment of it
        EXPECT_GE(Memory::GetTotalBlocksAllocated(), 0);
    first.join();
    second.join();
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_HASHTABLE), before.mBlocks[ALLOC_HASHTABLE] + 4000);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_HASHTABLE), before.mBytes[ALLOC_HASHTABLE] + 40000);

    std::thread([&blocks] {
        for (void* p : blocks)
            Memory::Free(p, false);
    }).join();
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryTest, CountsBlocksOfAThreadThatIsEnding)
{
    static void* pLate; // not a member below: some runtime libraries free thread-local objects too early
    struct AllocatesWhenTheThreadEnds
    {
        ~AllocatesWhenTheThreadEnds() { pLate = AllocBlock(77, ALLOC_HASHTABLE); }
    };
    const Counts before = Counts::Now();
    pLate = nullptr;

    std::thread([] {
        // Made first, so destroyed after the thread's counts have been closed.
        static thread_local AllocatesWhenTheThreadEnds sLast;
        (void)sLast;
        Memory::Free(AllocBlock(1), false);
    }).join();

    ASSERT_NE(pLate, nullptr);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_HASHTABLE), before.mBlocks[ALLOC_HASHTABLE] + 1);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_HASHTABLE), before.mBytes[ALLOC_HASHTABLE] + 77);
    Memory::Free(pLate, false);
    EXPECT_TRUE(Counts::Now() == before);
}

TEST(MemoryDeathTest, CountsBlocksWhileTheProgramEnds)
{
    struct UsesMemoryAtExit
    {
        Counts mBefore = Counts::Now();
        void* mpEarly = AllocBlock(50);

        ~UsesMemoryAtExit()
        {
            void* pLate = AllocBlock(10);
            Memory::Free(mpEarly, false);
            Memory::Free(pLate, false);
            std::_Exit(Counts::Now() == mBefore ? 42 : 1);
        }
    };
    EXPECT_EXIT(
        {
            static UsesMemoryAtExit sUser;
            (void)sUser;
            std::exit(2);
        },
        ::testing::ExitedWithCode(42), "");
}

TEST(MemoryTest, ThreadsMayTraceTogether)
{
    Memory::StartBlockTrace();
    auto allocate = [] {
        for (int i = 0; i < 2000; ++i)
            Memory::Free(ReallocBlock(AllocBlock(10), 10000), false);
    };
    std::thread first(allocate);
    std::thread second(allocate);
    first.join();
    second.join();
    EXPECT_EQ(EndTrace(), Report("", 0, 0));
}
