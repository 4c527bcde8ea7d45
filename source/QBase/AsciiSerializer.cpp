#include "QBase/AsciiSerializer.h"

#include "QBase/ByteBuffer.h"
#include "QBase/Error.h"
#include "QBase/File.h"
#include "QBase/Reflection.h"
#include "QBase/SerializerFrame.h"
#include "QBase/XmlReader.h"
#include "QBase/XmlWriter.h"

#include <algorithm>

namespace QBase
{

namespace
{

// Reads and parses the whole file, from its start. False when it is not to be had, or too long.
bool ParseFile(File* pFile, int size, XmlReader& rReader)
{
    if (size <= 0 || !rReader.IsAllowed()) {
        return false;
    }
    if (pFile->Tell() != 0) {
        pFile->SeekStart(0);
    }
    ByteBuffer text;
    if (pFile->Read(text.MakeRoom(static_cast<std::size_t>(size)), size) != size) {
        return false;
    }
    text.Advance(static_cast<std::size_t>(size));
    return rReader.Parse(text.GetText());
}

// Both may run out of memory.
bool Save(Object* pObject, File* pFile)
{
    XmlWriter writer;
    const ByteBuffer* const pDocument = writer.Write(pObject);
    if (pDocument == nullptr) {
        return false;
    }
    const int size = static_cast<int>(pDocument->GetSize()); // the writer makes none that is too large
    return pFile->Write(pDocument->GetData(), size) == size;
}

Value Load(File* pFile, const LoadLimits& limits)
{
    const int size = pFile->GetSize();
    XmlReader reader(pFile->GetFilename(), LoadGuard(limits, limits.mbTrusted, std::max(size, 0)));
    if (!ParseFile(pFile, size, reader)) {
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
    return SerializerFrame::Load(pFile, GetLimits(), &Load);
}

} // namespace QBase
