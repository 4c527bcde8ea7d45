#include "QBase/FileSerializer.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"
#include "QBase/SystemFile.h"

namespace QBase
{

QBASE_IMPLEMENT(QBase, FileSerializer)

void FileSerializer::Implement()
{
    Describe("Saves and loads by path: XML where it contains QXml, binary elsewhere");
    AddFunction<&FileSerializer::Deserialize>("Deserialize");
    AddFunction<&FileSerializer::SetLimit>("SetLimit");
    AddFunction<&FileSerializer::AllowClass>("AllowClass");
    AddFunction<&FileSerializer::SetFilesTrusted>("SetFilesTrusted");
}

FileSerializer::FileSerializer(const Value& value) : Object(value)
{}

Value FileSerializer::Deserialize(const String& path)
{
    if (path.empty()) {
        Error(QBASE_HERE, "Failed to load object - empty path");
        return Value();
    }
    const Ptr<Serializer> pSerializer = ConstructSerializerForFile(path);
    const Ptr<File> pFile = SystemFile::Construct(Value::Null);
    if (pSerializer == nullptr || pFile == nullptr || !pFile->Open(path, File::MODE_READ)) {
        Error(QBASE_HERE, "Failed to load object from '%s' - file open failed", path.c_str());
        return Value();
    }
    pSerializer->SetLimits(mLimits);
    Value object = pSerializer->Deserialize(pFile);
    if (object.AsObject() == nullptr) {
        Error(QBASE_HERE, "Failed to load object from '%s' - %s.%s deserialize failed", path.c_str(),
              pSerializer->GetModuleName().c_str(), pSerializer->GetClassName().c_str());
        return Value();
    }
    return object;
}

Ptr<Serializer> FileSerializer::ConstructSerializerForFile(const String& path)
{
    if (path.buffer_utf8().find("QXml") != NarrowString::npos) {
        return AsciiSerializer::Construct(Value::Null);
    }
    return BinarySerializer::Construct(Value::Null);
}

} // namespace QBase
