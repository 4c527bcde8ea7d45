#include "QBase/Allocator.h"

#include "Support/CapturedConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

using namespace QBase;

TEST(AllocatorTest, TakesPlainBlocksOfTypeStringAndGivesThemBack)
{
    const std::int64_t blocks = Memory::GetBlocksAllocated(ALLOC_STRING);
    const std::int64_t bytes = Memory::GetBytesAllocated(ALLOC_STRING);
    Allocator<int> allocator;

    int* p = allocator.allocate(10);
    EXPECT_EQ(Memory::GetAllocType(p), ALLOC_STRING);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), blocks + 1);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_STRING), bytes + 40);

    allocator.deallocate(p, 10); // would assert if the block had the object flag
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), blocks);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_STRING), bytes);
}

TEST(AllocatorTest, CarriesTheNarrowAndWideStrings)
{
    const std::int64_t blocks = Memory::GetBlocksAllocated(ALLOC_STRING);
    {
        NarrowString narrow(100, 'n');
        WideString wide(100, L'w');
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), blocks + 2);
    }
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), blocks);
}

TEST(AllocatorTest, WorksForContainersThatRebindIt)
{
    std::vector<int, Allocator<int>> numbers(5, 7);
    EXPECT_EQ(numbers.size(), 5u);
    EXPECT_TRUE(Allocator<int>(Allocator<char>()) == Allocator<int>());
}

TEST(AllocatorTest, ItsMaximumIsWhatOneBlockCanHold)
{
    const std::size_t bytes = std::min<std::size_t>(0xFFFFFFFFu, std::numeric_limits<std::ptrdiff_t>::max());
    EXPECT_EQ(Allocator<char>().max_size(), bytes);
    EXPECT_EQ(Allocator<std::int64_t>().max_size(), bytes / 8);
}

TEST(AllocatorTest, ThrowsForSizesThatWouldWrapAroundIn32Bits)
{
    struct Wide // 4 bytes on every system, unlike wchar_t
    {
        std::uint32_t mCodePoint;
    };
    const std::int64_t blocks = Memory::GetTotalBlocksAllocated();

    EXPECT_THROW((void)Allocator<wchar_t>().allocate(1u << 30), std::bad_alloc);
    EXPECT_THROW((void)Allocator<wchar_t>().allocate(std::numeric_limits<std::size_t>::max()),
                 std::bad_alloc);
    EXPECT_THROW((void)Allocator<Wide>().allocate(std::size_t{1} << 30), std::bad_alloc);
    EXPECT_THROW((void)Allocator<Wide>().allocate(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_THROW((void)Allocator<char>().allocate(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_EQ(Memory::GetTotalBlocksAllocated(), blocks);
}

TEST(AllocatorTest, ThrowsWhenMemoryRunsOut)
{
    CapturedConsole console;
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });
    bool isThrown = false;
    try {
        (void)Allocator<char>().allocate(100);
    } catch (const std::bad_alloc&) {
        isThrown = true;
    }
    Memory::SetFailureHook(nullptr);

    EXPECT_TRUE(isThrown);
    EXPECT_THAT(console.TakeErrors(), ::testing::EndsWith("Failed to allocate 100 bytes - out of memory\n"));
}
