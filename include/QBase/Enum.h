// EnumInfoObject names the values of one enumeration, for text formats and tools.
//
//     Ptr<EnumInfoObject> pColors = EnumInfoObject::Construct(Value::Null);
//     pColors->InsertEnum("Red", 0);
//     pColors->InsertEnum("Green", 1);
//     pColors->GetKeyFromValue(1);      // "Green"
//
// Each enumerator is a dynamic "int" property of the object. Two keys may share a value; a key occurs once.
//
// Threads: nothing here locks; fill an enumeration while its class registers, then only read it.

#pragma once

#include "QBase/Object.h"

#include <typeinfo>

namespace QBase
{

class QBASE_API EnumInfoObject : public Object
{
    QBASE_OBJECT(EnumInfoObject, Object)

public:
    /// Adds an enumerator; a key that is taken is reported and changes nothing.
    void InsertEnum(const String& key, int value);

    /// The value of `key`; 0 for a key that was never inserted (FindProperty tells the two apart).
    int GetValueFromKey(const String& key) const;

    /// The first key, in table order, whose value is `value`; String::Null if there is none. Borrowed.
    const String& GetKeyFromValue(int value) const;

protected:
    explicit EnumInfoObject(const Value& value);
    EnumInfoObject(const EnumInfoObject& other) = default;
};

/// The names of a C++ enumeration, one object for all modules: what was last set, or null. Held for good;
/// borrowed.
QBASE_API void SetEnumInfo(const std::type_info& enumeration, EnumInfoObject* pInfo);
QBASE_API EnumInfoObject* FindEnumInfo(const std::type_info& enumeration);

} // namespace QBase
