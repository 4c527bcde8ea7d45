#include "QBase/PooledMemory.h"

#include "Support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory_resource>
#include <new>
#include <vector>

using namespace QBase;

namespace
{

struct Piece
{
    unsigned char* mpBytes;
    std::size_t mSize;
    std::size_t mAlignment;
    unsigned char mMark;
};

// Not 16: for that, new is asked without a word, and not every system keeps what the compiler promises.
constexpr std::size_t ALIGNMENTS[] = {1, 2, 4, 8, 32, 64};

bool IsWhole(const Piece& piece)
{
    for (std::size_t i = 0; i < piece.mSize; ++i) {
        if (piece.mpBytes[i] != piece.mMark) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(PooledMemoryTest, PiecesOfAllSizesAndAlignmentsAreApartAndKeepTheirBytes)
{
    PooledMemory memory;
    std::vector<Piece> pieces;
    std::uint32_t random = 1;
    for (int round = 0; round < 20000; ++round) {
        random = random * 1664525 + 1013904223;
        if (random >> 31 == 0 || pieces.empty()) {
            const std::size_t size = random >> 8 & 0x7FF;
            const std::size_t alignment = ALIGNMENTS[(random >> 20) % std::size(ALIGNMENTS)];
            const unsigned char mark = static_cast<unsigned char>(round);
            unsigned char* const pBytes = static_cast<unsigned char*>(memory.allocate(size, alignment));
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pBytes) % alignment, 0u);
            std::memset(pBytes, mark, size);
            pieces.push_back({pBytes, size, alignment, mark});
        } else {
            Piece& rPiece = pieces[random % pieces.size()];
            EXPECT_TRUE(IsWhole(rPiece));
            memory.deallocate(rPiece.mpBytes, rPiece.mSize, rPiece.mAlignment);
            rPiece = pieces.back();
            pieces.pop_back();
        }
    }
    for (const Piece& piece : pieces) {
        EXPECT_TRUE(IsWhole(piece));
        memory.deallocate(piece.mpBytes, piece.mSize, piece.mAlignment);
    }
}

TEST(PooledMemoryTest, SmallThingsTakeFewBlocksAndWhatIsGivenBackTakesNone)
{
    PooledMemory memory;
    const CountedAllocations allocations;
    std::vector<void*> things;
    things.reserve(100000);
    for (int i = 0; i < 100000; ++i) {
        things.push_back(memory.allocate(100, 8));
    }
    const std::int64_t numBlocks = allocations.GetCount();
    EXPECT_LE(numBlocks, 60); // chunks of 256 KiB, after smaller ones
    for (int round = 0; round < 3; ++round) {
        for (void* const p : things) {
            memory.deallocate(p, 100, 8);
        }
        for (void*& rp : things) {
            rp = memory.allocate(100, 8);
        }
    }
    EXPECT_EQ(allocations.GetCount(), numBlocks);
    for (void* const p : things) {
        memory.deallocate(p, 100, 8);
    }
}

TEST(PooledMemoryTest, MemoryThatRunsOutLeavesThePoolAsItWas)
{
    for (int numThings = 0; numThings < 100; ++numThings) {
        PooledMemory memory;
        std::vector<void*> things;
        for (int i = 0; i < numThings; ++i) {
            things.push_back(memory.allocate(48, 8));
            std::memset(things.back(), 1, 48);
        }
        for (const std::size_t size : {48u, 4000u}) {
            try {
                const FailingNew failing(1);
                memory.deallocate(memory.allocate(size, 8), size, 8);
            } catch (const std::bad_alloc&) {
                memory.deallocate(memory.allocate(size, 8), size, 8);
            }
        }
        for (void* const p : things) {
            EXPECT_EQ(*static_cast<unsigned char*>(p), 1);
            memory.deallocate(p, 48, 8);
        }
    }
}
