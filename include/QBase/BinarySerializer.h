// BinarySerializer keeps object graphs as compact little-endian bytes: names and texts once, references as
// numbers. docs/Formats.md describes the format.
//
//     Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
//     pSerializer->Serialize(pScene, pFile);
//     ...
//     Value scene = pSerializer->Deserialize(pFile);
//
// A graph may stand anywhere in a file: saving and loading begin at the file's position, and after loading
// the position is behind the graph's last byte (after a load that failed it is anywhere). Saving takes two
// writes. Loading reads block by block and little beyond the graph, so a file of many graphs costs no more
// than its size.
//
// Threads: driven by one thread at a time, and the graph is to stand still meanwhile.

#pragma once

#include "QBase/Serializer.h"

namespace QBase
{

class QBASE_API BinarySerializer : public Serializer
{
    QBASE_OBJECT(BinarySerializer, Serializer)

public:
    bool Serialize(Object* pObject, File* pFile) override;
    Value Deserialize(File* pFile) override;

    /// Public, so that `new` makes one as well. The value does not matter.
    explicit BinarySerializer(const Value& value = Value::Null);

protected:
    BinarySerializer(const BinarySerializer& other) = default;
    BinarySerializer& operator=(const BinarySerializer& other) = default;
};

} // namespace QBase
