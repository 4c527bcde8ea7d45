// A folder of its own for the files of one test, deleted with everything in it.
//
//     TempFolder folder;
//     pFile->Open(folder.Path("a.bin"), File::MODE_WRITE);

#pragma once

#include "QBase/String.h"

#include <string>

class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The path of a file in the folder; "" gives the folder itself.
    QBase::String Path(const char* pName) const;

    /// Makes a file with these bytes. Its path.
    QBase::String Write(const char* pName, const std::string& bytes) const;

    /// The bytes of a file of the folder.
    std::string Read(const char* pName) const;

private:
    std::string mPath; // without a closing separator
};
