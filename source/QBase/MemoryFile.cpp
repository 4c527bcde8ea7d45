#include "QBase/MemoryFile.h"

#include "QBase/Error.h"
#include "QBase/Memory.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

namespace QBase
{

namespace
{

constexpr int SMALLEST_GROWTH = 1024;

} // namespace

QBASE_IMPLEMENT(QBase, MemoryFile)

void MemoryFile::Implement()
{
    Describe("A file in memory");
}

MemoryFile::MemoryFile(const Value& value)
    : File(value), mpBuffer(nullptr), mSize(0), mCapacity(0), mFixedSize(0), mPosition(0), mFlags(0)
{
    if (value.GetType() == Value::TYPE_STRING) {
        mFilename = value.AsString();
        mFlags = MODE_READ;
    }
}

MemoryFile::MemoryFile(const MemoryFile& other)
    : File(other), mpBuffer(nullptr), mSize(0), mCapacity(0), mFixedSize(0), mPosition(0), mFlags(0)
{
    CopyContents(other);
}

MemoryFile& MemoryFile::operator=(const MemoryFile& other)
{
    if (this != &other) {
        NonVirtualClose();
        CopyContents(other);
    }
    return *this;
}

MemoryFile::~MemoryFile()
{
    NonVirtualClose();
}

bool MemoryFile::Open(const String& filename, int flags)
{
    Close();
    if (!filename.empty()) {
        mFilename = filename;
    }
    mFlags = flags;
    if ((flags & (MODE_READ | MODE_WRITE)) == 0) {
        Error(QBASE_HERE, "Failed to open memory file '%s' - invalid open flags", mFilename.c_str());
        return false;
    }
    return true;
}

bool MemoryFile::OpenBuffer(const void* pBuffer, int size, const String& filename, int flags)
{
    Close();
    if (!filename.empty()) {
        mFilename = filename;
    }
    if ((flags & (MODE_READ | MODE_WRITE)) == 0) {
        Error(QBASE_HERE, "Failed to open memory file '%s' - invalid open flags", mFilename.c_str());
        return false;
    }
    if (pBuffer == nullptr || size <= 0) {
        Error(QBASE_HERE, "Failed to open memory file '%s' - invalid buffer", mFilename.c_str());
        return false;
    }
    mpBuffer = static_cast<char*>(const_cast<void*>(pBuffer));
    mFixedSize = size;
    mSize = (flags & MODE_READ) != 0 ? size : 0;
    mFlags = flags;
    return true;
}

void MemoryFile::Close()
{
    NonVirtualClose();
}

int MemoryFile::Read(void* pData, int count)
{
    if ((mFlags & MODE_READ) == 0) {
        Error(QBASE_HERE, "Failed to read from memory file '%s' - not opened in read mode",
              mFilename.c_str());
        return 0;
    }
    if (count < 0 || count > mSize - mPosition) {
        Error(QBASE_HERE,
              "Failed to read from memory file '%s' - out of bounds trying to read %d/%d bytes at offset %d",
              mFilename.c_str(), count, mSize, mPosition);
        return 0;
    }
    if (count > 0) {
        std::memcpy(pData, mpBuffer + mPosition, static_cast<std::size_t>(count));
        mPosition += count;
    }
    return count;
}

int MemoryFile::Write(const void* pData, int count)
{
    if ((mFlags & MODE_WRITE) == 0) {
        Error(QBASE_HERE, "Failed to write to memory file '%s' - not opened in write mode",
              mFilename.c_str());
        return 0;
    }
    const int limit = IsOwned() ? INT_MAX : mFixedSize;
    if (count < 0 || count > limit - mPosition) {
        Error(QBASE_HERE,
              "Failed to write to memory file '%s' - out of bounds trying to write %d/%d bytes at offset %d",
              mFilename.c_str(), count, limit, mPosition);
        return 0;
    }
    if (count == 0) {
        return 0;
    }

    const int end = mPosition + count;
    if (IsOwned()) {
        if (end > mCapacity && !Grow(end)) {
            Error(QBASE_HERE, "Failed to write to memory file '%s' - out of memory", mFilename.c_str());
            return 0;
        }
        mSize = std::max(mSize, end);
    }
    // The size of a caller's buffer stays as it was opened.
    std::memcpy(mpBuffer + mPosition, pData, static_cast<std::size_t>(count));
    mPosition = end;
    return count;
}

void MemoryFile::Seek(SeekMode mode, int offset)
{
    std::int64_t position = offset;
    if (mode == SEEK_FROM_CURRENT) {
        position += mPosition;
    } else if (mode == SEEK_FROM_END) {
        position += mSize;
    }

    const std::int64_t nearest = std::clamp<std::int64_t>(position, 0, mSize);
    if (position != nearest) {
        const std::int64_t shown = std::clamp<std::int64_t>(position, INT_MIN, INT_MAX);
        Error(QBASE_HERE, "Failed to seek memory file '%s' - out of bounds at %d/%d", mFilename.c_str(),
              static_cast<int>(shown), mSize);
    }
    mPosition = static_cast<int>(nearest);
}

void MemoryFile::NonVirtualClose()
{
    if (IsOwned()) {
        Memory::Free(mpBuffer, false);
    }
    mpBuffer = nullptr;
    mSize = 0;
    mCapacity = 0;
    mFixedSize = 0;
    mPosition = 0;
    mFlags = 0;
}

// Leaves the file closed when there is no memory for the bytes.
void MemoryFile::CopyContents(const MemoryFile& other)
{
    mFilename = other.mFilename;
    if (!other.IsOwned()) {
        mpBuffer = other.mpBuffer;
    } else if (other.mpBuffer != nullptr) {
        void* const pBuffer =
            Memory::Alloc(static_cast<unsigned>(other.mCapacity), ALLOC_UNKNOWN, QBASE_HERE, false);
        if (pBuffer == nullptr) {
            Error(QBASE_HERE, "Failed to copy memory file '%s' - out of memory", mFilename.c_str());
            return;
        }
        mpBuffer = static_cast<char*>(pBuffer);
        std::memcpy(mpBuffer, other.mpBuffer, static_cast<std::size_t>(other.mSize));
    }
    mSize = other.mSize;
    mCapacity = other.mCapacity;
    mFixedSize = other.mFixedSize;
    mPosition = other.mPosition;
    mFlags = other.mFlags;
}

// Makes room for `end` bytes. False, and nothing changed, when memory is short.
bool MemoryFile::Grow(int end)
{
    const std::int64_t growth = std::max(end - mCapacity, SMALLEST_GROWTH);
    const int capacity = static_cast<int>(std::min<std::int64_t>(mCapacity + growth, INT_MAX));
    void* const pBuffer =
        Memory::Realloc(mpBuffer, static_cast<unsigned>(capacity), ALLOC_UNKNOWN, QBASE_HERE);
    if (pBuffer == nullptr) {
        return false;
    }
    mpBuffer = static_cast<char*>(pBuffer);
    mCapacity = capacity;
    return true;
}

} // namespace QBase
