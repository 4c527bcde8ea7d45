// ByteBlocks collects bytes that nobody needs in one piece yet, in blocks that never move: however many they
// get, none is copied before the end. Its memory is outside the library's allocator.
//
//     ByteBlocks blocks;
//     unsigned char* p = blocks.MakeRoom(16);      // up to 16 bytes may be written there
//     const unsigned place = blocks.GetPlace();    // of the first of them
//     blocks.Advance(7);                           // 7 of them were
//     blocks.GetAt(place)[0] = 1;
//     blocks.MoveTo(buffer);                       // in their order, at last

#pragma once

#include "QBase/ByteBuffer.h"
#include "QBase/Export.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace QBase
{

class ByteBlocks
{
public:
    /// The end of the bytes, with room for `size` more, which are few. Out of memory it throws, like the
    /// standard containers.
    unsigned char* MakeRoom(std::size_t size)
    {
        if (static_cast<std::size_t>(mpEnd - mpNext) < size) {
            AddBlock();
        }
        return mpNext;
    }

    void Advance(std::size_t size) { mpNext += size; }

    /// Where the room is that was made last, for GetAt.
    unsigned GetPlace() const
    {
        return static_cast<unsigned>((mBlocks.size() - 1) * LARGEST_BLOCK + GetSizeOfLast());
    }
    unsigned char* GetAt(unsigned place)
    {
        return mBlocks[place / LARGEST_BLOCK].mpData.get() + place % LARGEST_BLOCK;
    }

    std::size_t GetSize() const { return mSizeBefore + GetSizeOfLast(); }

    /// Appends all bytes to `rBuffer` and lets each block go once it is copied. Ends the collection.
    QBASE_API void MoveTo(ByteBuffer& rBuffer);

private:
    struct Block
    {
        std::unique_ptr<unsigned char[]> mpData;
        std::size_t mSize;
    };

    // Each block is as large as all before it, within these bounds.
    static constexpr std::size_t SMALLEST_BLOCK = 4 * 1024;
    static constexpr std::size_t LARGEST_BLOCK = 8 * 1024 * 1024;

    std::size_t GetSizeOfLast() const
    {
        return mBlocks.empty() ? 0 : static_cast<std::size_t>(mpNext - mBlocks.back().mpData.get());
    }

    void CloseLast()
    {
        if (!mBlocks.empty()) {
            mBlocks.back().mSize = GetSizeOfLast();
        }
    }

    QBASE_API void AddBlock();

    std::vector<Block> mBlocks;
    std::size_t mSizeBefore = 0; // of all blocks but the last
    unsigned char* mpNext = nullptr;
    unsigned char* mpEnd = nullptr;
};

} // namespace QBase
