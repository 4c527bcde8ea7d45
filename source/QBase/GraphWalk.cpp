#include "QBase/GraphWalk.h"

namespace QBase
{

GraphClass::GraphClass(const Object* pObject)
    : mModule(pObject->GetModuleName()), mName(pObject->GetClassName()),
      mbTable(pObject->IsDerivedType(Table::ClassTable())), mbList(pObject->IsDerivedType(List::ClassTable()))
{}

void ReportUnstorable(const Object* pObject, const GraphProperty& property, Value::Type type)
{
    Error(QBASE_HERE, "Failed to serialize property %s.%s.%s - a value of type '%s' cannot be stored",
          pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), property.mName.c_str(),
          StringConverter<Value::Type>::ToString(type).c_str());
}

void ReportMixedArray(const Object* pObject, const GraphProperty& property, Value::Type type)
{
    Error(QBASE_HERE,
          "Failed to serialize property %s.%s.%s - an element of type '%s' differs from those before it",
          pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), property.mName.c_str(),
          StringConverter<Value::Type>::ToString(type).c_str());
}

} // namespace QBase
