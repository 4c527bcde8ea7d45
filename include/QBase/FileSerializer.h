// FileSerializer loads an object graph from a path. A path that contains "QXml" anywhere is read as XML,
// every other one as binary; what is in the file does not matter.
//
//     Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
//     Ptr<Object> pScene = pLoader->Deserialize("levels/Harbour.QXml").AsObject();
//
// To save, open a SystemFile and call Serialize of the serializer that fits the path.
//
// Threads: driven by one thread at a time; nothing but the limits is kept between two calls.

#pragma once

#include "QBase/LoadLimits.h"
#include "QBase/Object.h"

namespace QBase
{

class Serializer;

class QBASE_API FileSerializer : public Object
{
    QBASE_OBJECT(FileSerializer, Object)

public:
    /// The file's first object as a Value, or the void Value after a report.
    Value Deserialize(const String& path);

    /// As those of Serializer.
    void SetLimits(const LoadLimits& limits) { mLimits = limits; }
    const LoadLimits& GetLimits() const { return mLimits; }
    bool SetLimit(const String& name, int limit) { return mLimits.Set(name, limit); }
    void AllowClass(const String& name) { mLimits.mClasses.push_back(name); }
    void SetFilesTrusted(bool bTrusted) { mLimits.mbTrusted = bTrusted; }

protected:
    explicit FileSerializer(const Value& value);
    FileSerializer(const FileSerializer& other) = default;
    FileSerializer& operator=(const FileSerializer& other) = default;

private:
    static Ptr<Serializer> ConstructSerializerForFile(const String& path);

    LoadLimits mLimits;
};

} // namespace QBase
