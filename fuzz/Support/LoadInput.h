// Inputs as files of a format, for the fuzzing targets of both.

#pragma once

#include "Support/FuzzRun.h"

#include "QBase/MemoryFile.h"

#include <cstddef>
#include <cstdint>

/// What the bytes give as a file of the format; null for what is none.
template <typename Format>
QBase::Ptr<QBase::Object> LoadInput(const std::uint8_t* pData, std::size_t size)
{
    if (size == 0) {
        return nullptr;
    }
    const QBase::Ptr<QBase::MemoryFile> pFile = QBase::MemoryFile::Construct(QBase::Value::Null);
    FUZZ_EXPECT(pFile->OpenBuffer(pData, static_cast<int>(size), "input", QBase::File::MODE_READ));
    const QBase::Ptr<Format> pSerializer = Format::Construct(QBase::Value::Null);
    return pSerializer->Deserialize(pFile).AsObject();
}

/// The graph after a save and a load; null when it holds what no file of the format can.
template <typename Format>
QBase::Ptr<QBase::Object> SaveAndLoad(QBase::Object* pRoot)
{
    const QBase::Ptr<Format> pSerializer = Format::Construct(QBase::Value::Null);
    const QBase::Ptr<QBase::MemoryFile> pFile = QBase::MemoryFile::Construct(QBase::Value::Null);
    FUZZ_EXPECT(pFile->Open("copy", QBase::File::MODE_READ | QBase::File::MODE_WRITE));
    if (!pSerializer->Serialize(pRoot, pFile)) {
        return nullptr;
    }
    pFile->SeekStart(0);
    const QBase::Ptr<QBase::Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();
    FUZZ_EXPECT(pLoaded);
    return pLoaded;
}
