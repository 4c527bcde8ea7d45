#include "QBase/AsciiSerializer.h"

#include "QBase/Error.h"
#include "QBase/File.h"
#include "QBase/Reflection.h"
#include "QBase/SerializerFrame.h"
#include "QBase/XmlReader.h"
#include "QBase/XmlWriter.h"

#include <memory>

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
{
    Describe("Saves and loads object graphs as XML");
}

AsciiSerializer::AsciiSerializer(const Value& value) : Serializer(value)
{}

bool AsciiSerializer::Serialize(Object* pObject, File* pFile)
{
    return SerializerFrame::Save(pObject, pFile, &Save);
}

Value AsciiSerializer::Deserialize(File* pFile)
{
    if (pFile == nullptr) {
        Error(QBASE_HERE, "File error");
        return Value();
    }
    return SerializerFrame::Load(pFile, &Load);
}

} // namespace QBase
