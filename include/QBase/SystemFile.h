// SystemFile is a File of the operating system, buffered by the C runtime.
//
//     Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
//     if (pFile->Open("Log.bin", File::MODE_WRITE)) {
//         pFile->Write(&record, sizeof(record));
//         pFile->Close(); // reports what could not be saved
//     }
//
// File names are UTF-8. MODE_READ needs an existing file; MODE_WRITE alone creates it or throws its contents
// away; both together need an existing file and keep its contents. No directory can be opened.
//
// Written bytes may stay in the buffer for a while, so a full disk can show as late as in Close. The last
// reference closes the file. Reading and writing may alternate freely at any position.
//
// A position or size that 32 bits cannot hold is reported and answered with -1; the file itself stays usable.
//
// Threads: nothing here locks; whoever shares a file guards it.

#pragma once

#include "QBase/File.h"

#include <cstdint>
#include <cstdio>

namespace QBase
{

class QBASE_API SystemFile : public File
{
    QBASE_OBJECT(SystemFile, File)

public:
    ~SystemFile() override;

    /// False, after a report, when there is no name, no mode, or no such file to be had.
    bool Open(const String& filename, int mode) override;

    /// Reports what could not be written; the file is closed even then.
    void Close() override;

    /// The bytes read, which may be fewer than `count` after a report.
    int Read(void* pData, int count) override;

    /// The bytes written, which may be fewer than `count` after a report.
    int Write(const void* pData, int count) override;

    /// True when everything written so far is on the disk and survives a power failure. False, after a
    /// report, when it does not, or the file is not open.
    bool FlushToDisk();

    /// On a closed file both report and answer 0.
    int Tell() override;
    int GetSize() override;

    String GetFilename() override;
    void SetFilename(const String& filename) override;

    /// Whether anything, be it a file or a directory, has that name.
    static bool Exists(const String& filename);

    /// Whether the file was there and is gone now.
    static bool Delete(const String& filename);

protected:
    explicit SystemFile(const Value& value);

    /// A copy has the name and is closed.
    SystemFile(const SystemFile& other);
    SystemFile& operator=(const SystemFile& other);

    /// Behind the end is fine; in front of the start is reported, and changes nothing.
    void Seek(SeekMode mode, int offset) override;

    /// The body of Close, for the destructor.
    void NonVirtualClose();

private:
    // The runtime allows a change between reading and writing only behind a seek.
    enum Transfer : int
    {
        TRANSFER_NONE, // since the file was opened or sought
        TRANSFER_READ,
        TRANSFER_WRITE
    };

    bool Turn(Transfer transfer) { return mLastTransfer == transfer || TurnAround(transfer); }
    bool TurnAround(Transfer transfer);
    int ToPosition(std::int64_t position);

    std::FILE* mpFile; // null while closed
    String mFilename;
    Transfer mLastTransfer;
};

} // namespace QBase
