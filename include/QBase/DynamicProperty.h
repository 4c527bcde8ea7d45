// DynamicProperty.h holds the properties that are added to one object at run time. Each keeps its value, or
// its array of values, in itself; the object argument of the operations is not used.
//
//     pMoon->AddPropertyValueFromValue("Discovered", 1610);
//     pMoon->AddPropertyArray("Visits", Value::TYPE_INT)->Insert(pMoon, 1979);
//
// Storage of a plain type takes the payload of any plain value bit for bit, whatever its type: a float set
// into an "int" stores the float's bits. "String" and "Object" storage takes its own type; a void value
// empties it; any other type is reported and changes nothing.
//
// Threads: nothing here locks; a property is guarded together with its object.

#pragma once

#include "QBase/Property.h"

namespace QBase
{

/// A property of that type, or null for a type that no dynamic property has ("void", "Value", unknown
/// codes). With reference count 0.
QBASE_API Property* CreateDynamicValue(Value::Type type);
QBASE_API Property* CreateDynamicArray(Value::Type type);

} // namespace QBase
