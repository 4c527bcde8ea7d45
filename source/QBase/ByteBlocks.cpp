#include "QBase/ByteBlocks.h"

#include "QBase/Platform/Platform.h"

#include <algorithm>
#include <utility>

namespace QBase
{

void ByteBlocks::MoveTo(ByteBuffer& rBuffer)
{
    CloseLast();
    for (Block& rBlock : mBlocks) {
        rBuffer.Append(rBlock.mpData.get(), rBlock.mSize);
        rBlock.mpData.reset();
    }
}

void ByteBlocks::AddBlock()
{
    constexpr std::size_t LARGE = 2 * 1024 * 1024;
    const std::size_t capacity = std::clamp(GetSize(), SMALLEST_BLOCK, LARGEST_BLOCK);
    std::unique_ptr<unsigned char[]> pData(new unsigned char[capacity]);
    if (capacity >= LARGE) {
        Platform::PrepareToFill(pData.get(), capacity);
    }
    CloseLast();
    mSizeBefore = GetSize();
    mBlocks.push_back({std::move(pData), 0});
    mpNext = mBlocks.back().mpData.get();
    mpEnd = mpNext + capacity;
}

} // namespace QBase
