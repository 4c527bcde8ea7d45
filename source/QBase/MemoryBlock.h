// MemoryBlock.h: the header in front of every block of Memory, and the sizes that Realloc reserves.
//
//     +0 mSize  +4 mType  +8 mbNeedDelete  +9 mMark  +10 mReserve  +11..15 unused  +16 the block's data

#pragma once

#include "QBase/Error.h"
#include "QBase/Memory.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace QBase
{

struct BlockHeader
{
    std::uint32_t mSize;       // bytes asked for; what the statistics count
    std::int32_t mType;        // AllocType
    std::uint8_t mbNeedDelete; // the object flag
    std::uint8_t mMark;        // BLOCK_LIVE while the block is allocated
    std::uint8_t mReserve;     // ReserveCode of the bytes physically there; 0 when they are mSize
    std::uint8_t mUnused[5];
};

static_assert(sizeof(BlockHeader) == 16, "The data keeps the 16-byte alignment of the header");

constexpr std::uint8_t BLOCK_LIVE = 0xB1;
constexpr std::uint8_t BLOCK_FREED = 0xFD;
constexpr std::int32_t FREED_TYPE = 0x7DDDDDDD; // a type that no block has

inline BlockHeader* HeaderOf(void* p)
{
    return static_cast<BlockHeader*>(p) - 1;
}

inline const BlockHeader* HeaderOf(const void* p)
{
    return static_cast<const BlockHeader*>(p) - 1;
}

inline void CheckAlignment(const void* pBlockData)
{
    // The words are those that hosts search their logs for; the cast they name would not fit a pointer.
    QBASE_ASSERT_TEXT(reinterpret_cast<std::uintptr_t>(pBlockData) % 16 == 0, "Memory", __LINE__,
                      "ASSERT( (((unsigned int)pBlockData) % 16) == 0 )");
}

// A reserve is a number of bytes that fits one header byte: four steps for each power of two, so rounding
// changes it by at most a fifth. Code c stands for (4 + (c - 1) % 4) * 4 << (c - 1) / 4: 16, 20, 24, 28,
// 32, 40 and so on. Code 0 stands for no reserve.

constexpr std::uint64_t ReserveBytes(unsigned code)
{
    return static_cast<std::uint64_t>(4 + (code - 1) % 4) * 4 << (code - 1) / 4;
}

/// The code of the largest reserve not above `bytes`; 0 below 16.
constexpr std::uint8_t ReserveCodeBelow(std::uint64_t bytes)
{
    if (bytes < 16)
        return 0;
    const unsigned exponent = static_cast<unsigned>(std::bit_width(bytes)) - 5;    // 0 for 16 to 31
    const unsigned quarter = static_cast<unsigned>((bytes >> (exponent + 2)) & 3); // after the first bit
    return static_cast<std::uint8_t>(exponent * 4 + quarter + 1);
}

/// The code of the smallest reserve of at least `bytes`.
constexpr std::uint8_t ReserveCodeAbove(std::uint64_t bytes)
{
    const std::uint8_t below = ReserveCodeBelow(bytes);
    return below != 0 && ReserveBytes(below) == bytes ? below : static_cast<std::uint8_t>(below + 1);
}

} // namespace QBase
