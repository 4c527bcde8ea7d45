#include "QBase/BinarySerializer.h"

#include "QBase/BinaryReader.h"
#include "QBase/BinaryWriter.h"
#include "QBase/Error.h"
#include "QBase/File.h"
#include "QBase/FileFormat.h"
#include "QBase/Reflection.h"
#include "QBase/SerializerFrame.h"
#include "QBase/ValueBytes.h"

namespace QBase
{

namespace
{

constexpr int HEADER_SIZE = FileFormat::BINARY_HEADER_SIZE;

bool CheckVersion(int version, File* pFile)
{
    if (version == FileFormat::VERSION) {
        return true;
    }
    const String filename = pFile->GetFilename();
    if (version < FileFormat::VERSION) {
        Info("WARNING: File '%s' is stored in legacy version %d (system at version %d)", filename.c_str(),
             version, FileFormat::VERSION);
    }
    // The readers of versions 1 and 2 would stand in BinarySerializer01 and BinarySerializer02.
    Error(QBASE_HERE, "Deserialize failed, file '%s' version %d not supported (system at version %d)",
          filename.c_str(), version, FileFormat::VERSION);
    return false;
}

// Reads the header. A file that ends before it does has said so itself.
bool ReadHeader(File* pFile)
{
    unsigned char header[HEADER_SIZE];
    if (pFile->Read(header, HEADER_SIZE) != HEADER_SIZE) {
        return false;
    }
    if (ValueBytes::LoadInt(header) != FileFormat::ID) {
        Error(QBASE_HERE, "Deserialize failed, file id mismatch for file '%s'.",
              pFile->GetFilename().c_str());
        return false;
    }
    return CheckVersion(ValueBytes::LoadInt(header + 4), pFile);
}

// Both may run out of memory.
bool Save(Object* pObject, File* pFile)
{
    unsigned char header[HEADER_SIZE];
    ValueBytes::StoreInt(header, FileFormat::ID);
    ValueBytes::StoreInt(header + 4, FileFormat::VERSION);
    if (pFile->Write(header, HEADER_SIZE) != HEADER_SIZE) {
        return false;
    }
    BinaryWriter writer;
    return writer.Write(pObject) && writer.WriteToFile(pFile);
}

Value Load(File* pFile, const LoadLimits& limits)
{
    if (!ReadHeader(pFile)) {
        return Value();
    }
    BinaryReader reader(pFile, limits);
    return reader.Read();
}

} // namespace

QBASE_IMPLEMENT(QBase, BinarySerializer)

void BinarySerializer::Implement()
{
    Describe("Saves and loads object graphs in the compact binary format");
}

BinarySerializer::BinarySerializer(const Value& value) : Serializer(value)
{}

bool BinarySerializer::Serialize(Object* pObject, File* pFile)
{
    return SerializerFrame::Save(pObject, pFile, &Save);
}

Value BinarySerializer::Deserialize(File* pFile)
{
    return pFile != nullptr ? SerializerFrame::Load(pFile, GetLimits(), &Load) : Value();
}

} // namespace QBase
