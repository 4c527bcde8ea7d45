#include "QBase/SystemFile.h"

#include "QBase/Error.h"
#include "QBase/Platform/Platform.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <climits>

namespace QBase
{

namespace
{

// Null when the mode asks for nothing.
const char* RuntimeMode(int mode)
{
    switch (mode & (File::MODE_READ | File::MODE_WRITE)) {
    case File::MODE_READ | File::MODE_WRITE:
        return "rb+";
    case File::MODE_READ:
        return "rb";
    case File::MODE_WRITE:
        return "wb";
    default:
        return nullptr;
    }
}

int RuntimeOrigin(File::SeekMode mode)
{
    switch (mode) {
    case File::SEEK_FROM_CURRENT:
        return SEEK_CUR;
    case File::SEEK_FROM_END:
        return SEEK_END;
    default:
        return SEEK_SET;
    }
}

} // namespace

QBASE_IMPLEMENT(QBase, SystemFile)

void SystemFile::Implement()
{
    Describe("A file of the operating system");
    SetActsOutside();
    AddFunction<&SystemFile::Exists>("Exists");
    AddFunction<&SystemFile::Delete>("Delete");
}

SystemFile::SystemFile(const Value& value) : File(value), mpFile(nullptr), mLastTransfer(TRANSFER_NONE)
{}

SystemFile::SystemFile(const SystemFile& other)
    : File(other), mpFile(nullptr), mFilename(other.mFilename), mLastTransfer(TRANSFER_NONE)
{}

SystemFile& SystemFile::operator=(const SystemFile& other)
{
    if (this != &other) {
        NonVirtualClose();
        mFilename = other.mFilename;
    }
    return *this;
}

SystemFile::~SystemFile()
{
    NonVirtualClose();
}

bool SystemFile::Open(const String& filename, int mode)
{
    Close();
    if (!filename.empty()) {
        mFilename = filename;
    }
    if (mFilename.empty()) {
        Error(QBASE_HERE, "Failed to open file 'null' - invalid filename");
        return false;
    }
    const char* const pMode = RuntimeMode(mode);
    if (pMode == nullptr) {
        Error(QBASE_HERE, "Failed to open file '%s' - invalid open mode", mFilename.c_str());
        return false;
    }
    mpFile = Platform::OpenFile(mFilename.c_str(), pMode);
    mLastTransfer = TRANSFER_NONE;
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to open file '%s'", mFilename.c_str());
        return false;
    }
    return true;
}

void SystemFile::Close()
{
    NonVirtualClose();
}

int SystemFile::Read(void* pData, int count)
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to read from file '%s' - file not open", mFilename.c_str());
        return 0;
    }
    if (!Turn(TRANSFER_READ)) {
        return 0;
    }
    const int numRead = count > 0 ? Platform::ReadFile(mpFile, pData, count) : 0;
    if (QBASE_UNLIKELY(numRead != count)) {
        Error(QBASE_HERE, "Failed to read from file '%s' - %d/%d bytes read", mFilename.c_str(), numRead,
              count);
    }
    return numRead;
}

int SystemFile::Write(const void* pData, int count)
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to write to file '%s' - file not open", mFilename.c_str());
        return 0;
    }
    if (!Turn(TRANSFER_WRITE)) {
        return 0;
    }
    const int numWritten = count > 0 ? Platform::WriteFile(mpFile, pData, count) : 0;
    if (QBASE_UNLIKELY(numWritten != count)) {
        Error(QBASE_HERE, "Failed to write to file '%s' - %d/%d bytes written", mFilename.c_str(), numWritten,
              count);
    }
    return numWritten;
}

bool SystemFile::FlushToDisk()
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to flush file '%s' - file not open", mFilename.c_str());
        return false;
    }
    if (!Platform::FlushFileToDisk(mpFile)) {
        Error(QBASE_HERE, "Failed to flush file '%s'", mFilename.c_str());
        return false;
    }
    return true;
}

void SystemFile::Seek(SeekMode mode, int offset)
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to seek file '%s' - file not open", mFilename.c_str());
        return;
    }
    if (!Platform::SeekFile(mpFile, offset, RuntimeOrigin(mode))) {
        // Hosts search their logs for this text as it stands, without the closing quote.
        Error(QBASE_HERE, "Failed to seek file '%s", mFilename.c_str());
        return;
    }
    mLastTransfer = TRANSFER_NONE;
}

int SystemFile::Tell()
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to tell file '%s' - file not open", mFilename.c_str());
        return 0;
    }
    return ToPosition(Platform::TellFile(mpFile));
}

int SystemFile::GetSize()
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to get size for file '%s' - file not open", mFilename.c_str());
        return 0;
    }
    const std::int64_t position = Platform::TellFile(mpFile);
    if (position < 0) {
        return ToPosition(position);
    }

    std::int64_t size = Platform::FileSize(mpFile);
    if (size >= 0) {
        // Bytes that are still in the buffer end where the last write did.
        return ToPosition(mLastTransfer == TRANSFER_WRITE ? std::max(size, position) : size);
    }

    // A device has no size on record, but may be sought.
    Seek(SEEK_FROM_END, 0);
    size = Platform::TellFile(mpFile);
    if (!Platform::SeekFile(mpFile, position, SEEK_SET)) {
        Error(QBASE_HERE, "Failed to seek file '%s", mFilename.c_str());
    }
    return ToPosition(size);
}

String SystemFile::GetFilename()
{
    return mFilename;
}

void SystemFile::SetFilename(const String& filename)
{
    mFilename = filename;
}

bool SystemFile::Exists(const String& filename)
{
    return Platform::FileExists(filename.c_str());
}

bool SystemFile::Delete(const String& filename)
{
    return Platform::RemoveFile(filename.c_str());
}

void SystemFile::NonVirtualClose()
{
    if (mpFile == nullptr) {
        return;
    }
    std::FILE* const pFile = mpFile;
    mpFile = nullptr;
    if (!Platform::CloseFile(pFile)) {
        Error(QBASE_HERE, "Failed to close file '%s'", mFilename.c_str());
    }
}

// Prepares a read behind a write, or a write behind a read. False, after a report, when bytes still in the
// buffer could not be written.
bool SystemFile::TurnAround(Transfer transfer)
{
    if (mLastTransfer != TRANSFER_NONE && !Platform::SeekFile(mpFile, 0, SEEK_CUR)) {
        Error(QBASE_HERE, "Failed to seek file '%s", mFilename.c_str());
        return false;
    }
    mLastTransfer = transfer;
    return true;
}

// A position as callers get it: -1, after a report, when there is none or 32 bits cannot hold it.
int SystemFile::ToPosition(std::int64_t position)
{
    if (position < 0 || position > INT_MAX) {
        Error(QBASE_HERE, "Failed to tell file '%s'", mFilename.c_str());
        return -1;
    }
    return static_cast<int>(position);
}

} // namespace QBase
