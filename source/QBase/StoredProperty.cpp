#include "QBase/StoredProperty.h"

#include "QBase/Error.h"

namespace QBase
{

Property* FindOrAddStoredProperty(Object* pObject, const String& name, Value::Type type, bool bArray,
                                  bool bDynamic)
{
    Property* const pProperty = pObject->FindProperty(name);
    if (pProperty != nullptr || !bDynamic) {
        return pProperty;
    }
    return bArray ? pObject->AddPropertyArray(name, type) : pObject->AddPropertyValue(name, type);
}

bool StoredProperty::HoldsAny() const
{
    return mpProperty->IsArray() ? mpProperty->GetSize(mpObject) > 0
                                 : mpProperty->Get(mpObject).AsObject() != nullptr;
}

void StoredProperty::Warn() const
{
    Info("WARNING: Ignoring deserialized value %s.%s.%s, property is %s.", mpObject->GetModuleName().c_str(),
         mpObject->GetClassName().c_str(), mName.c_str(), mMisfit);
}

void StoredProperty::WarnElement(int index) const
{
    Info("WARNING: Ignoring deserialized array value %s.%s.%s[%d], property is %s.",
         mpObject->GetModuleName().c_str(), mpObject->GetClassName().c_str(), mName.c_str(), index, mMisfit);
}

} // namespace QBase
