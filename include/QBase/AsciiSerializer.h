// AsciiSerializer keeps object graphs as XML that people can read and edit. docs/Formats.md describes the
// format.
//
//     Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
//     pSerializer->Serialize(pScene, pFile);
//     ...
//     Value scene = pSerializer->Deserialize(pFile);
//
// A document takes the whole file: loading begins at the file's start, wherever its position is. A chain of
// references makes paths as long as the chain, so a document grows with the square of the depth of its graph.
// What only binary files keep: float vectors beyond six decimals, the payload of a NaN, empty names.
//
// Threads: driven by one thread at a time, and the graph is to stand still meanwhile.

#pragma once

#include "QBase/Serializer.h"

namespace QBase
{

class QBASE_API AsciiSerializer : public Serializer
{
    QBASE_OBJECT(AsciiSerializer, Serializer)

public:
    /// As told for Serializer; writes nothing at all when it fails.
    bool Serialize(Object* pObject, File* pFile) override;
    Value Deserialize(File* pFile) override;

    /// Public, so that `new` makes one as well. The value does not matter.
    explicit AsciiSerializer(const Value& value = Value::Null);

protected:
    AsciiSerializer(const AsciiSerializer& other) = default;
    AsciiSerializer& operator=(const AsciiSerializer& other) = default;
};

} // namespace QBase
