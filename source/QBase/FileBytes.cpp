#include "QBase/FileBytes.h"

#include "QBase/File.h"

#include <algorithm>

namespace QBase
{

namespace
{

constexpr std::size_t FIRST_BLOCK_SIZE = 16 * 1024;
constexpr std::size_t LARGEST_BLOCK_SIZE = 256 * 1024; // what the nearer caches hold beside the graph

// A file in trouble answers with a negative number, after a report.
std::size_t ToSize(int count)
{
    return static_cast<std::size_t>(std::max(count, 0));
}

} // namespace

FileBytes::FileBytes(File* pFile)
    : mpFile(pFile), mPosition(ToSize(pFile->Tell())), mUnread(ToSize(pFile->BytesAvailable())),
      mBlockSize(FIRST_BLOCK_SIZE)
{}

void FileBytes::Finish()
{
    if (GetSizeAtHand() > 0) {
        mpFile->SeekCurrent(-static_cast<int>(GetSizeAtHand()));
    }
}

// Brings at least `size` bytes to hand. False, and nothing lost, when the file has fewer; a file that cannot
// be read has said so itself.
bool FileBytes::Fetch(std::size_t size)
{
    const std::size_t missing = size - GetSizeAtHand();
    if (missing > mUnread) {
        return false;
    }
    const std::size_t count = std::min(std::max(missing, mBlockSize), mUnread);
    MakeRoom(GetSizeAtHand() + count);
    const int numRead = mpFile->Read(mpEnd, static_cast<int>(count)); // a file's size is an int
    if (numRead != static_cast<int>(count)) {
        mUnread = 0;
        return false;
    }
    mpEnd += count;
    mPosition += count;
    mUnread -= count;
    mBlockSize = std::min(2 * mBlockSize, LARGEST_BLOCK_SIZE);
    return true;
}

// Moves what is at hand to the start of a buffer of at least `size` bytes.
void FileBytes::MakeRoom(std::size_t size)
{
    const std::size_t sizeAtHand = GetSizeAtHand();
    if (size <= mCapacity) {
        std::copy(mpNext, mpEnd, mpBuffer.get());
    } else {
        std::unique_ptr<unsigned char[]> pBuffer(new unsigned char[size + 1]);
        std::copy(mpNext, mpEnd, pBuffer.get());
        mpBuffer = std::move(pBuffer);
        mCapacity = size;
    }
    mpNext = mpBuffer.get();
    mpEnd = mpNext + sizeAtHand;
}

} // namespace QBase
