#include "QBase/AsciiSerializer.h"

#include "QBase/Error.h"
#include "QBase/File.h"
#include "QBase/Reflection.h"
#include "QBase/XmlReader.h"
#include "QBase/XmlWriter.h"

#include <memory>
#include <new>

namespace QBase
{

namespace
{

// Reads and parses the whole file, from its start.
bool ParseFile(File* pFile, XmlReader& rReader)
{
    const int size = pFile->GetSize();
    if (size <= 0) {
        return false;
    }
    if (pFile->Tell() != 0) {
        pFile->SeekStart(0);
    }
    const std::unique_ptr<char[]> pText(new char[static_cast<std::size_t>(size) + 1]);
    if (pFile->Read(pText.get(), size) != size) {
        return false;
    }
    pText[static_cast<std::size_t>(size)] = '\0';
    return rReader.Parse(pText.get(), static_cast<std::size_t>(size));
}

// Both may run out of memory.
bool Save(Object* pObject, File* pFile)
{
    XmlWriter writer;
    ByteBuffer document;
    if (!writer.Write(pObject, document)) {
        return false;
    }
    const int size = static_cast<int>(document.GetSize()); // the writer makes none that is too large
    return pFile->Write(document.GetData(), size) == size;
}

Value Load(File* pFile)
{
    XmlReader reader(pFile->GetFilename());
    if (!ParseFile(pFile, reader)) {
        Error(QBASE_HERE, "File error");
        return Value();
    }
    return reader.Read();
}

} // namespace

QBASE_IMPLEMENT(QBase, AsciiSerializer)

void AsciiSerializer::Implement()
{}

AsciiSerializer::AsciiSerializer(const Value& value) : Serializer(value)
{}

bool AsciiSerializer::Serialize(Object* pObject, File* pFile)
{
    if (pFile == nullptr) {
        return false;
    }
    const KeepAlive keepFile(pFile);
    try {
        return Save(pObject, pFile);
    } catch (const std::bad_alloc&) {
        Error(QBASE_HERE, "Failed to serialize to file '%s' - out of memory", pFile->GetFilename().c_str());
        return false;
    }
}

Value AsciiSerializer::Deserialize(File* pFile)
{
    if (pFile == nullptr) {
        Error(QBASE_HERE, "File error");
        return Value();
    }
    const KeepAlive keepFile(pFile);
    try {
        return Load(pFile);
    } catch (const std::bad_alloc&) {
        Error(QBASE_HERE, "Failed to deserialize file '%s' - out of memory", pFile->GetFilename().c_str());
        return Value();
    }
}

} // namespace QBase
