#include "QNet/FrameStream.h"

#include "QNet/ClassDescription.h"

#include "QBase/Error.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

using namespace QBase;

namespace QNet
{

QBASE_IMPLEMENT_ABSTRACT(QNet, FrameStream)

void FrameStream::Implement()
{
    Describe("Lets the frames of another stream through as soon as each is whole");
}

FrameStream::FrameStream(Stream* pStream, Unit unit, int sizeLimit)
    : Stream(Value::Null), mpStream(pStream), mUnit(unit), mSizeLimit(static_cast<std::size_t>(sizeLimit))
{}

int FrameStream::Read(void* pData, int count)
{
    if (count < 0 || static_cast<std::size_t>(count) > mReady.GetSize()) {
        Error(QBASE_HERE, "Failed to read from FrameStream - out of bounds trying to read %d/%d bytes", count,
              static_cast<int>(mReady.GetSize()));
        return 0;
    }
    if (count > 0) {
        std::memcpy(pData, mReady.GetData(), static_cast<std::size_t>(count));
        mReady.Drop(static_cast<std::size_t>(count));
    }
    return count;
}

int FrameStream::BytesAvailable()
{
    constexpr std::size_t most = static_cast<std::size_t>(std::numeric_limits<int>::max());
    return static_cast<int>(std::min(mReady.GetSize(), most));
}

void FrameStream::TakeArrived()
{
    const int available = mpStream->BytesAvailable();
    if (available <= 0) {
        return;
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(available));
    const int numRead = mpStream->Read(bytes.data(), available);
    mArrived.Append(bytes.data(), static_cast<std::size_t>(std::max(numRead, 0)));
    FindWholeUnits();
}

void FrameStream::FindWholeUnits()
{
    while (!mbOverLimit && mArrived.GetSize() >= mNumWhole + SIZE_BYTES) {
        const std::size_t size = LoadInt(reinterpret_cast<const char*>(mArrived.GetData() + mNumWhole));
        if (size == 0) {
            LetThrough(mNumWhole);
            mArrived.Drop(SIZE_BYTES);
            continue;
        }
        if (size > mSizeLimit) {
            mbOverLimit = true;
            break;
        }
        if (mArrived.GetSize() - mNumWhole - SIZE_BYTES < size) {
            break;
        }
        mNumWhole += SIZE_BYTES + size;
        if (mUnit == WHOLE_FRAMES) {
            LetThrough(mNumWhole);
        }
    }
    if (mbOverLimit && mArrived.GetSize() > 0) {
        LetThrough(mArrived.GetSize());
    }
}

void FrameStream::LetThrough(std::size_t size)
{
    if (size > 0) {
        mReady.Append(mArrived.GetData(), size);
        mArrived.Drop(size);
        ++mNumUnits;
    }
    mNumWhole = 0;
}

} // namespace QNet
