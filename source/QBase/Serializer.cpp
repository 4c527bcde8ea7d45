#include "QBase/Serializer.h"

#include "QBase/File.h"
#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, Serializer)

void Serializer::Implement()
{
    AddFunction<&Serializer::Serialize>("Serialize");
    AddFunction<&Serializer::Deserialize>("Deserialize");
}

Serializer::Serializer(const Value& value) : Object(value)
{}

} // namespace QBase
