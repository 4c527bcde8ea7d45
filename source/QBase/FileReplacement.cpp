#include "QBase/FileReplacement.h"

#include "QBase/Error.h"
#include "QBase/Platform/Platform.h"
#include "QBase/Value.h"

#include <atomic>

namespace QBase
{

namespace
{

std::string DirectoryOf(const std::string& path)
{
    const std::size_t separator = path.find_last_of(Platform::PathSeparators());
    return separator == path.npos ? std::string() : path.substr(0, separator + 1);
}

} // namespace

FileReplacement::FileReplacement(const String& filename)
    : mFilename(filename), mTarget(Platform::ResolveLinks(filename.c_str())), mDirectory(DirectoryOf(mTarget))
{
    if (Platform::FileExists(mTarget.c_str()) && !Platform::IsOrdinaryFile(mTarget.c_str())) {
        Error(QBASE_HERE, "Failed to replace file '%s' - not an ordinary file", mFilename.c_str());
        return;
    }
    if (Platform::IsWriteProtected(mTarget.c_str())) {
        Error(QBASE_HERE, "Failed to replace file '%s' - it is write-protected", mFilename.c_str());
        return;
    }
    if (!Reserve()) {
        Error(QBASE_HERE, "Failed to replace file '%s' - cannot create a file beside it", mFilename.c_str());
        return;
    }
    mpFile = static_cast<SystemFile*>(SystemFile::Construct(Value::Null));
    if (mpFile != nullptr && !mpFile->Open(mTemporary.c_str(), File::MODE_WRITE)) {
        Discard();
    }
}

FileReplacement::~FileReplacement()
{
    Discard();
}

bool FileReplacement::Commit()
{
    if (mpFile == nullptr) {
        Error(QBASE_HERE, "Failed to replace file '%s' - nothing was written", mFilename.c_str());
        return false;
    }
    const bool bSaved = mpFile->FlushToDisk();
    mpFile->Close();
    if (!bSaved || !Platform::CopyAccessRights(mTarget.c_str(), mTemporary.c_str()) ||
        !Platform::RenameFileOver(mTemporary.c_str(), mTarget.c_str())) {
        Error(QBASE_HERE, "Failed to replace file '%s' - %s", mFilename.c_str(),
              bSaved ? "cannot take its place" : "cannot bring the new contents to the disk");
        Discard();
        return false;
    }
    mTemporary.clear();
    mpFile = nullptr;
    // The contents are safe in either place; a failure here only delays the name.
    Platform::FlushDirectoryToDisk(mDirectory.empty() ? "." : mDirectory.c_str());
    return true;
}

// Takes a name that no other replacement, of any program, has. Names do not grow with the target's, which may
// be as long as the system allows.
bool FileReplacement::Reserve()
{
    static std::atomic<unsigned> sCounter{0};
    constexpr int maxAttempts = 100; // a killed program with our number may have left some
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        mTemporary = mDirectory + ".qbase-" + std::to_string(Platform::ProcessId()) + "-" +
                     std::to_string(++sCounter) + ".tmp";
        if (std::FILE* const pFile = Platform::OpenFile(mTemporary.c_str(), "wbx")) {
            std::fclose(pFile);
            return true;
        }
        if (!Platform::FileExists(mTemporary.c_str())) {
            break;
        }
    }
    mTemporary.clear();
    return false;
}

void FileReplacement::Discard()
{
    mpFile = nullptr;
    if (!mTemporary.empty()) {
        Platform::RemoveFile(mTemporary.c_str());
        mTemporary.clear();
    }
}

} // namespace QBase
