// ByteQueue is a queue of bytes in one block of memory.
//
//     queue.Append(pBytes, numBytes);
//     queue.GetData();               // the first of queue.GetSize() bytes
//     queue.Drop(8);
//
// Threads: nothing here locks.

#pragma once

#include <cstddef>
#include <vector>

namespace QNet
{

class ByteQueue
{
public:
    std::size_t GetSize() const { return mBytes.size() - mStart; }
    const unsigned char* GetData() const { return mBytes.data() + mStart; }

    void Append(const void* pData, std::size_t size)
    {
        // Moving is worth it only when there is less to move than was taken out since.
        if (mStart > 0 && mStart >= GetSize() && mBytes.size() + size > mBytes.capacity()) {
            mBytes.erase(mBytes.begin(), mBytes.begin() + static_cast<std::ptrdiff_t>(mStart));
            mStart = 0;
        }
        const unsigned char* const pBytes = static_cast<const unsigned char*>(pData);
        mBytes.insert(mBytes.end(), pBytes, pBytes + size);
    }

    void Drop(std::size_t size)
    {
        mStart += size;
        if (mStart == mBytes.size()) {
            Clear();
        }
    }

    void Clear()
    {
        constexpr std::size_t worthKeeping = 1024 * 1024;
        mStart = 0;
        mBytes.clear();
        if (mBytes.capacity() > worthKeeping) {
            mBytes.shrink_to_fit();
        }
    }

private:
    std::vector<unsigned char> mBytes;
    std::size_t mStart = 0; // bytes before it were taken out
};

} // namespace QNet
