// MemoryFile is a File over a block of memory: its own, which grows as it is written, or one of the caller.
//
//     Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
//     pFile->Open("snapshot", File::MODE_READ | File::MODE_WRITE);
//     serializer.Serialize(pRoot, pFile);
//     pFile->SeekStart(0);
//
//     pFile->OpenBuffer(pBytes, numBytes, "packet", File::MODE_READ); // reads the caller's bytes in place
//
// What would surprise:
// - The name is for messages only; nothing is looked up or created under it.
// - Reads and writes do all or nothing. Seeks outside the file are reported and stop at its ends.
// - A caller's buffer opened for writing alone keeps the size 0 whatever is written: Tell counts the bytes,
//   while seeks see an empty file. Open it for reading and writing to move about in it.
//
// Threads: nothing here locks; whoever shares a file guards it.

#pragma once

#include "QBase/File.h"

namespace QBase
{

class QBASE_API MemoryFile : public File
{
    QBASE_OBJECT(MemoryFile, File)

public:
    ~MemoryFile() override;

    /// Opens an empty file with memory of its own. False, after a report, when the flags name no mode.
    bool Open(const String& filename, int flags) override;

    /// Opens over `size` bytes of the caller, who keeps them until the file is closed. They are written to
    /// only when `flags` say so. False, after a report, when the flags name no mode or there is no buffer.
    bool OpenBuffer(const void* pBuffer, int size, const String& filename, int flags);

    /// Frees memory of its own. The name stays.
    void Close() override;

    /// Copies `count` bytes and returns `count`; 0, with nothing moved, after a report when the mode forbids
    /// it, fewer bytes are left, or no memory is.
    int Read(void* pData, int count) override;
    int Write(const void* pData, int count) override;

    int Tell() override { return mPosition; }
    int GetSize() override { return mSize; }
    String GetFilename() override { return mFilename; }
    void SetFilename(const String& filename) override { mFilename = filename; }

protected:
    /// A String names the file and lets it be read, empty as it is.
    explicit MemoryFile(const Value& value);

    /// A copy has its own copy of owned bytes, and shares a caller's buffer.
    MemoryFile(const MemoryFile& other);
    MemoryFile& operator=(const MemoryFile& other);

    /// Outside the file is reported, and stops at its end.
    void Seek(SeekMode mode, int offset) override;

private:
    bool IsOwned() const { return mFixedSize == 0; }
    void NonVirtualClose();
    void CopyContents(const MemoryFile& other);
    bool Grow(int end);

    char* mpBuffer; // owned, or borrowed when mFixedSize is not 0; null while there are no bytes
    int mSize;      // valid bytes, the bound of reads and seeks
    int mCapacity;  // bytes allocated for an owned buffer
    int mFixedSize; // bytes of a caller's buffer; 0 for an owned one
    int mPosition;
    int mFlags; // the open mode; 0 while closed
    String mFilename;
};

} // namespace QBase
