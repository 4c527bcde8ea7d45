#include "QBase/Enum.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"

#include <typeindex>
#include <unordered_map>

namespace QBase
{

namespace
{

// Each module has a type_info of its own for an enumeration; they are equal.
std::unordered_map<std::type_index, Ptr<EnumInfoObject>>& EnumInfos()
{
    static auto& sInfos = *new std::unordered_map<std::type_index, Ptr<EnumInfoObject>>;
    return sInfos;
}

} // namespace

QBASE_IMPLEMENT(QBase, EnumInfoObject)

void EnumInfoObject::Implement()
{
    Describe("The names of the values of one enumeration");
    AddFunction<&EnumInfoObject::InsertEnum>("InsertEnum");
    AddFunction<&EnumInfoObject::GetKeyFromValue>("GetKeyFromValue");
    AddFunction<&EnumInfoObject::GetValueFromKey>("GetValueFromKey");
}

EnumInfoObject::EnumInfoObject(const Value&)
{}

void EnumInfoObject::InsertEnum(const String& key, int value)
{
    AddPropertyValueFromValue(key, Value(value));
}

int EnumInfoObject::GetValueFromKey(const String& key) const
{
    Property* const pProperty = FindProperty(key);
    return pProperty != nullptr && !pProperty->IsArray()
               ? pProperty->Get(const_cast<EnumInfoObject*>(this)).Get<int>()
               : 0;
}

const String& EnumInfoObject::GetKeyFromValue(int value) const
{
    for (const ClassInfoTable* pTable = GetInstanceOrClassTable(); pTable != nullptr;
         pTable = pTable->GetBaseClass()) {
        for (const auto& node : pTable->GetEntries()) {
            Object* const pEntry = node.GetValue();
            if (pEntry == nullptr || !pEntry->IsDerivedType(Property::ClassTable())) {
                continue;
            }
            Property* const pProperty = static_cast<Property*>(pEntry);
            const Value::Type type = pProperty->GetType();
            if (pProperty->IsArray() || (type != Value::TYPE_INT && type != Value::TYPE_ENUM)) {
                continue;
            }
            if (pProperty->Get(const_cast<EnumInfoObject*>(this)).Get<int>() == value) {
                return node.GetKey();
            }
        }
    }
    return String::Null;
}

void SetEnumInfo(const std::type_info& enumeration, EnumInfoObject* pInfo)
{
    EnumInfos()[enumeration] = pInfo;
}

EnumInfoObject* FindEnumInfo(const std::type_info& enumeration)
{
    const auto found = EnumInfos().find(enumeration);
    return found != EnumInfos().end() ? static_cast<EnumInfoObject*>(found->second) : nullptr;
}

} // namespace QBase
