// Bytes written by hand, with their meanings beside them, and files over bytes.
//
//     const std::string expected = Bytes("05 00 00 00" /* byte count */ "48 65 6C 6C 6F" /* Hello */);

#pragma once

#include "QBase/MemoryFile.h"
#include "QBase/Ptr.h"

#include <cstdlib>
#include <string>

/// The bytes of hexadecimal digits in pairs; blanks are passed over.
inline std::string Bytes(const std::string& digits)
{
    std::string bytes;
    std::string pair;
    for (const char c : digits) {
        if (c != ' ') {
            pair += c;
        }
        if (pair.size() == 2) {
            bytes += static_cast<char>(std::strtol(pair.c_str(), nullptr, 16));
            pair.clear();
        }
    }
    return bytes;
}

/// An empty file in memory, open for both directions.
inline QBase::Ptr<QBase::MemoryFile> EmptyFile(const char* pName = "memory")
{
    QBase::Ptr<QBase::MemoryFile> pFile = QBase::MemoryFile::Construct(QBase::Value::Null);
    pFile->Open(pName, QBase::File::MODE_READ | QBase::File::MODE_WRITE);
    return pFile;
}

/// A file of these bytes, which stands at its start.
inline QBase::Ptr<QBase::MemoryFile> FileOf(const std::string& bytes, const char* pName = "memory")
{
    QBase::Ptr<QBase::MemoryFile> pFile = EmptyFile(pName);
    if (!bytes.empty()) {
        pFile->Write(bytes.data(), static_cast<int>(bytes.size()));
    }
    pFile->SeekStart(0);
    return pFile;
}

/// All bytes of a file.
inline std::string ContentsOf(QBase::File* pFile)
{
    std::string bytes(static_cast<std::size_t>(pFile->GetSize()), '\0');
    pFile->SeekStart(0);
    if (!bytes.empty()) {
        pFile->Read(bytes.data(), static_cast<int>(bytes.size()));
    }
    return bytes;
}
