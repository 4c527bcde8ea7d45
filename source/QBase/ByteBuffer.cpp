#include "QBase/ByteBuffer.h"

#include "QBase/Platform/Platform.h"

#include <new>

namespace QBase
{

void ByteBuffer::Grow(std::size_t size)
{
    constexpr std::size_t LARGE = 4 * 1024 * 1024;
    std::size_t capacity = mCapacity + mCapacity / 2 + 256;
    if (capacity - mSize < size) {
        capacity = mSize + size;
    }
    void* const pData = std::realloc(mpData, capacity);
    if (pData == nullptr) {
        throw std::bad_alloc();
    }
    if (capacity >= LARGE) {
        Platform::PrepareToFill(pData, capacity);
    }
    mpData = static_cast<unsigned char*>(pData);
    mCapacity = capacity;
}

} // namespace QBase
