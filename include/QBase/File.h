// File is a Stream with a name, a position and a size. Serializers and resources know files only through
// this class, so a MemoryFile stands in for a SystemFile anywhere.
//
//     Ptr<File> pFile = SystemFile::Construct(Value::Null);
//     if (pFile->Open("Solar.QXml", File::MODE_READ)) {
//         pFile->SeekEnd(-16);
//         pFile->Read(trailer, pFile->BytesAvailable());
//     }
//
// Positions and sizes are bytes in 32 bits, as they are in everything the library saves.
//
// Threads: nothing here locks; whoever shares a file guards it.

#pragma once

#include "QBase/Stream.h"

namespace QBase
{

class QBASE_API File : public Stream
{
    QBASE_OBJECT(File, Stream)

public:
    /// Open modes. Both together open for reading and writing.
    static constexpr int MODE_READ = 1;
    static constexpr int MODE_WRITE = 2;

    /// What the offset of Seek is counted from.
    enum SeekMode : int
    {
        SEEK_FROM_CURRENT = 0,
        SEEK_FROM_START = 1,
        SEEK_FROM_END = 2
    };

    /// The bytes between the position and the end.
    int BytesAvailable() override;

    /// Opens, after closing what was open. An empty name stands for the name given before.
    /// False, after a report, when that fails; the file is closed then.
    virtual bool Open(const String& filename, int mode) = 0;

    /// Closes what is open; a closed file stays closed.
    virtual void Close() = 0;

    /// The position, counted from the start.
    virtual int Tell() = 0;

    /// The size of the whole file. Leaves the position where it was.
    virtual int GetSize() = 0;

    /// The name of the last Open or SetFilename that gave one.
    virtual String GetFilename() = 0;

    /// Names the file without opening it.
    virtual void SetFilename(const String& filename) = 0;

    /// Moves the position by `offset`, to `offset`, or to `offset` behind the end.
    void SeekCurrent(int offset) { Seek(SEEK_FROM_CURRENT, offset); }
    void SeekStart(int offset) { Seek(SEEK_FROM_START, offset); }
    void SeekEnd(int offset) { Seek(SEEK_FROM_END, offset); }

protected:
    explicit File(const Value& value);
    File(const File& other) = default;
    File& operator=(const File& other) = default;

    /// Moves the position. One outside the file is up to the kind of file.
    virtual void Seek(SeekMode mode, int offset) = 0;
};

} // namespace QBase
