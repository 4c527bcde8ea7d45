#include "QBase/Serializer.h"

#include "QBase/File.h"
#include "QBase/LoadPlace.h"
#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, Serializer)

void Serializer::Implement()
{
    Describe("Saves an object graph to a file and loads it");
    AddFunction<&Serializer::Serialize>("Serialize");
    AddFunction<&Serializer::Deserialize>("Deserialize");
    AddFunction<&Serializer::SetLimit>("SetLimit");
    AddFunction<&Serializer::AllowClass>("AllowClass");
    AddFunction<&Serializer::SetFilesTrusted>("SetFilesTrusted");
}

Serializer::Serializer(const Value& value) : Object(value)
{}

String Serializer::GetPlace()
{
    const LoadPlace* const pPlace = LoadPlace::Current();
    return pPlace != nullptr ? String(pPlace->Describe().c_str()) : String::Null;
}

} // namespace QBase
