#include "QBase/IOStream.h"

#include "QBase/Error.h"
#include "QBase/Memory.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace QBase
{

namespace
{

constexpr int INITIAL_CAPACITY = 8192;
constexpr int SMALLEST_GROWTH = 1024;

} // namespace

QBASE_IMPLEMENT(QBase, IOStream)

void IOStream::Implement()
{
    Describe("A stream in memory: what is written is read in the same order");
}

IOStream::IOStream(const Value& value) : Stream(value)
{
    CreateBuffer();
}

IOStream::IOStream(const IOStream& other) : Stream(other)
{
    CreateBuffer();
}

IOStream& IOStream::operator=(const IOStream&)
{
    return *this;
}

IOStream::~IOStream()
{
    Memory::Free(mpBuffer, false);
}

int IOStream::Write(const void* pData, int count)
{
    if (count < 0 || count > INT_MAX - BytesAvailable()) {
        Error(QBASE_HERE, "Failed to write to IOStream - invalid count %d", count);
        return 0;
    }
    if (mReadPos == mEnd) {
        mReadPos = 0;
        mEnd = 0;
    }
    if (count == 0) {
        return 0;
    }
    if (count > mRoom - mEnd || count > mCapacity - BytesAvailable()) {
        if (!MakeRoom(count)) {
            Error(QBASE_HERE, "Failed to write to IOStream - out of memory");
            return 0;
        }
    }
    std::memcpy(mpBuffer + mEnd, pData, static_cast<std::size_t>(count));
    mEnd += count;
    return count;
}

int IOStream::Read(void* pData, int count)
{
    void* pBytes = nullptr;
    const int numRead = Read(&pBytes, count);
    if (numRead > 0) {
        std::memcpy(pData, pBytes, static_cast<std::size_t>(numRead));
    }
    return numRead;
}

int IOStream::Read(void** ppData, int count)
{
    const unsigned available = static_cast<unsigned>(BytesAvailable());
    if (static_cast<unsigned>(count) > available) {
        Error(QBASE_HERE, "Failed to read from IOStream - out of bounds trying to read %d/%u bytes", count,
              available);
        *ppData = nullptr;
        return 0;
    }
    *ppData = mpBuffer + mReadPos;
    mReadPos += count;
    return count;
}

// Without memory for it the stream begins without a buffer, and the first write tries again.
void IOStream::CreateBuffer()
{
    mpBuffer = static_cast<char*>(Memory::Alloc(INITIAL_CAPACITY, ALLOC_UNKNOWN, QBASE_HERE, false));
    mCapacity = mpBuffer != nullptr ? INITIAL_CAPACITY : 0;
    mEnd = 0;
    mReadPos = 0;
    mRoom = mCapacity;
}

// Lets `count` bytes follow the last one. The capacity grows as if the unread bytes stood at the start of
// the buffer; they are moved there only now and then, when at least as many bytes were read since, so that
// a long backlog does not move with each write. Room beyond the capacity makes that possible. False, and
// nothing lost, when memory is short.
bool IOStream::MakeRoom(int count)
{
    const std::int64_t numUnread = BytesAvailable();
    const std::int64_t needed = numUnread + count;
    std::int64_t capacity = mCapacity;
    if (needed > capacity) {
        capacity = std::min<std::int64_t>(std::max(needed, capacity + SMALLEST_GROWTH), INT_MAX);
        if (!Resize(capacity, mReadPos == 0 ? capacity : mRoom)) {
            return false;
        }
    }
    if (count <= mRoom - mEnd) {
        return true;
    }
    if (mReadPos < numUnread) {
        Resize(capacity, std::min<std::int64_t>(3 * needed, INT_MAX)); // without it moving is only slower
    }
    if (count > mRoom - mEnd) {
        Compact();
    }
    return true;
}

// Gives the buffer a capacity, which Memory counts, and room for at least as many bytes.
bool IOStream::Resize(std::int64_t capacity, std::int64_t room)
{
    room = std::max({capacity, room, mRoom});
    void* const pBuffer = Memory::ReallocWithRoom(mpBuffer, static_cast<unsigned>(capacity),
                                                  static_cast<unsigned>(room), ALLOC_UNKNOWN, QBASE_HERE);
    if (pBuffer == nullptr) {
        return false;
    }
    mpBuffer = static_cast<char*>(pBuffer);
    mCapacity = static_cast<int>(capacity);
    mRoom = room;
    return true;
}

void IOStream::Compact()
{
    const int numUnread = BytesAvailable();
    std::memmove(mpBuffer, mpBuffer + mReadPos, static_cast<std::size_t>(numUnread));
    mReadPos = 0;
    mEnd = numUnread;
}

} // namespace QBase
