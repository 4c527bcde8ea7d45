// IOStream is a queue of bytes in memory: what is written at one end is read at the other, in order.
//
//     Ptr<IOStream> pQueue = IOStream::Construct(Value::Null);
//     pQueue->Write(packet, sizeof(packet));
//     const char* pHeader;
//     pQueue->Read(&pHeader, 8); // in place, without copying
//
// A read of more than there is takes nothing, so it can be tried again when more was written. The buffer
// grows and never shrinks; steady traffic goes through the same memory.
//
// Threads: nothing here locks; a producer and a consumer on different threads take turns under a lock of
// their own.

#pragma once

#include "QBase/Stream.h"

#include <cstdint>

namespace QBase
{

class QBASE_API IOStream : public Stream
{
    QBASE_OBJECT(IOStream, Stream)

public:
    ~IOStream() override;

    /// Appends `count` bytes and returns `count`; 0, with nothing written, after reporting a count that is
    /// negative or that no memory is left for.
    int Write(const void* pData, int count) override;

    /// Takes out `count` bytes and returns `count`; 0, with nothing taken, after reporting that there are
    /// fewer.
    int Read(void* pData, int count) override;

    /// The same without copying: `*ppData` points to the bytes until the next Write. Null on failure.
    int Read(void** ppData, int count);

    template <typename T>
    int Read(T** ppData, int count);

    int BytesAvailable() override { return mEnd - mReadPos; }

protected:
    explicit IOStream(const Value& value);

    /// The bytes of a stream stay where they are: a copy is fresh, an assignment changes nothing.
    IOStream(const IOStream& other);
    IOStream& operator=(const IOStream& other);

private:
    void CreateBuffer();
    bool MakeRoom(int count);
    bool Resize(std::int64_t capacity, std::int64_t room);
    void Compact();

    int mCapacity; // bytes the buffer counts as
    char* mpBuffer;
    int mEnd;           // one past the last byte
    int mReadPos;       // the first byte not read yet
    std::int64_t mRoom; // bytes the buffer has, at least its capacity
};

// Without this a `char**` would be taken for a plain buffer to copy to.
template <typename T>
int IOStream::Read(T** ppData, int count)
{
    void* pData = nullptr;
    const int numRead = Read(&pData, count);
    *ppData = static_cast<T*>(pData);
    return numRead;
}

} // namespace QBase
