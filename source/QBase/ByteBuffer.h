// ByteBuffer collects the bytes of a file before they are written at once. Its memory is outside the
// library's allocator, grows by half, and is never filled with zeros first.
//
//     ByteBuffer buffer;
//     buffer.Append("QObj", 4);
//     unsigned char* p = buffer.MakeRoom(16); // up to 16 bytes may be written there
//     buffer.Advance(7);                      // 7 of them were

#pragma once

#include "QBase/Export.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace QBase
{

class ByteBuffer
{
public:
    ByteBuffer() = default;
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;
    ~ByteBuffer() { std::free(mpData); }

    unsigned char* GetData() { return mpData; }
    const unsigned char* GetData() const { return mpData; }
    std::size_t GetSize() const { return mSize; }
    std::string_view GetText() const { return {reinterpret_cast<const char*>(mpData), mSize}; }

    /// The end of the bytes, with room for `size` more.
    unsigned char* MakeRoom(std::size_t size)
    {
        if (mCapacity - mSize < size) {
            Grow(size);
        }
        return mpData + mSize;
    }

    void Advance(std::size_t size) { mSize += size; }

    void Append(const void* pBytes, std::size_t size)
    {
        if (size > 0) {
            std::memcpy(MakeRoom(size), pBytes, size);
            mSize += size;
        }
    }

    void Append(std::string_view text) { Append(text.data(), text.size()); }

    /// Forgets the bytes from `size` on.
    void Truncate(std::size_t size) { mSize = size; }

private:
    // Like the standard containers, out of memory it throws.
    QBASE_API void Grow(std::size_t size);

    unsigned char* mpData = nullptr;
    std::size_t mSize = 0;
    std::size_t mCapacity = 0;
};

} // namespace QBase
