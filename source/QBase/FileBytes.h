// FileBytes reads on from a file's position, block by block, as far as somebody asks. In the end the position
// is behind what was taken, so what follows is the next reader's. A block is no larger than what was taken
// before, but for a first small one: reading a file part by part costs no more than its size, however many
// parts there are.
//
//     FileBytes bytes(pFile);
//     bytes.ReadInt(count);
//     const unsigned char* pRecord = bytes.Take(16); // null, and nothing taken, when the file has fewer
//     bytes.Finish();

#pragma once

#include "QBase/ValueBytes.h"

#include <memory>

namespace QBase
{

class File;

class FileBytes : public ByteSource<FileBytes>
{
public:
    /// The file stays the caller's. Nothing is read yet.
    explicit FileBytes(File* pFile);

    /// Where the next byte stands in the file.
    std::size_t GetPosition() const { return mPosition - GetSizeAtHand(); }

    /// How many bytes the file has from there on.
    std::size_t GetRemaining() const { return mUnread + GetSizeAtHand(); }

    /// The next `size` bytes, or null. Valid until the next operation; they may be changed, and so may the
    /// byte behind them as long as it is put back. May run out of memory.
    unsigned char* Take(std::size_t size)
    {
        if (size > GetSizeAtHand() && !Fetch(size)) {
            return nullptr;
        }
        unsigned char* const pBytes = mpNext;
        mpNext += size;
        return pBytes;
    }

    /// The next `size` bytes without taking them; null when fewer are at hand, though the file may have them.
    const unsigned char* Peek(std::size_t size) const { return size <= GetSizeAtHand() ? mpNext : nullptr; }

    /// Goes back by `size` bytes, which were taken just before.
    void PutBack(std::size_t size) { mpNext -= size; }

    /// Leaves the file at the next byte. Once.
    void Finish();

private:
    std::size_t GetSizeAtHand() const { return static_cast<std::size_t>(mpEnd - mpNext); }
    bool Fetch(std::size_t size);
    void MakeRoom(std::size_t size);

    File* mpFile;
    std::size_t mPosition; // in the file, of what was not read yet
    std::size_t mUnread;   // bytes of the file from there on
    std::size_t mBlockSize;
    std::unique_ptr<unsigned char[]> mpBuffer; // with one byte to spare
    std::size_t mCapacity = 0;                 // without it
    unsigned char* mpNext = nullptr;
    unsigned char* mpEnd = nullptr;
};

} // namespace QBase
