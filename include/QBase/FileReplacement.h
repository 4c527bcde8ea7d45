// FileReplacement saves a file so that its name leads to the old contents or to the new ones at any time,
// whatever happens meanwhile: a full disk, an error, the end of the program or of the power.
//
//     FileReplacement replacement("scene.QXml");
//     if (replacement.GetFile() != nullptr && pSerializer->Serialize(pScene, replacement.GetFile()))
//         replacement.Commit();  // until here scene.QXml is as it was
//
// The contents are written to a new file beside the target, named ".qbase-NUMBER-NUMBER.tmp", brought to the
// disk, and put in the target's place in one step. A replacement that is not committed removes its file; only
// a program that is killed leaves one behind. The new file has the access rights of the old one. Where the
// name is a symbolic link, the file that it leads to is replaced. Only ordinary files can be: what is put in
// the place of a device or a pipe would destroy it. A write-protected file is left alone.
//
// Threads: a replacement is used by one thread; any number may be under way.

#pragma once

#include "QBase/Export.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"
#include "QBase/SystemFile.h"

#include <string>

namespace QBase
{

class QBASE_API FileReplacement
{
public:
    explicit FileReplacement(const String& filename);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// The file to write to, open and empty; null, after a report, when there can be none, and once the
    /// replacement is committed. Another program may write to it by its name. Borrowed.
    SystemFile* GetFile() const { return mpFile; }

    /// Puts the new contents in the target's place. False, after a report, when that failed: the target is
    /// as it was then.
    bool Commit();

private:
    bool Reserve();
    void Discard();

    String mFilename;
    std::string mTarget;    // behind all links
    std::string mDirectory; // of the target, with a closing separator; empty for the working directory
    std::string mTemporary; // empty while there is none
    Ptr<SystemFile> mpFile;
};

} // namespace QBase
