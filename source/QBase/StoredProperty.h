// StoredProperty applies what a file or a stream says about a property to an object whose class may have
// changed since: the property is looked up, or added when it was a dynamic one, and values that no longer
// fit are passed over with a warning that names them. A property that its class has excluded since counts as
// none: it may be read-only or a constant, and what it holds is not for files.
//
//     StoredProperty property(pObject, name, type, bArray, FindStoredProperty(pObject, record));
//     property.Set(value);                              // or, for an array:
//     property.BeginArray();
//     property.Insert(0, value);
//
// It holds nothing: the caller keeps object and property alive.

#pragma once

#include "QBase/Property.h"

namespace QBase
{

/// The object's property of that name; when there is none and it is marked dynamic, a new one of that type
/// and shape. Null when neither is to be had. Borrowed.
Property* FindOrAddStoredProperty(Object* pObject, const String& name, Value::Type type, bool bArray,
                                  bool bDynamic);

class StoredProperty
{
public:
    StoredProperty(Object* pObject, const String& name, Value::Type type, bool bArray, Property* pProperty)
        : mpObject(pObject), mName(name), mpProperty(pProperty), mMisfit(FindMisfit(pProperty, type, bArray))
    {}

    /// True when values are stored, false when they are passed over.
    bool Fits() const { return mMisfit == nullptr; }

    /// True when the property holds objects, which give way to what is stored.
    bool HoldsObjects() const
    {
        return mMisfit == nullptr && CanHoldObjects(mpProperty->GetType()) && HoldsAny();
    }

    /// After Set: false when a setter refused the object.
    bool IsKept(const Value& value) const
    {
        return mMisfit != nullptr || value.GetType() != Value::TYPE_OBJECT ||
               mpProperty->Get(mpObject).AsObject() == value.AsObject();
    }

    /// After `count` times Insert: false when a setter refused some.
    bool AreKept(int count) const { return mMisfit != nullptr || mpProperty->GetSize(mpObject) == count; }

    /// Stores a single value, or warns.
    void Set(const Value& value)
    {
        if (mMisfit == nullptr) {
            mpProperty->Set(mpObject, value);
        } else {
            Warn();
        }
    }

    /// Empties the array, whatever the class put into it, before the stored elements come.
    void BeginArray()
    {
        if (mMisfit == nullptr) {
            mpProperty->Clear(mpObject);
        }
    }

    /// Appends the element stored at `index`, or warns.
    void Insert(int index, const Value& value)
    {
        if (mMisfit == nullptr) {
            mpProperty->Insert(mpObject, value);
        } else {
            WarnElement(index);
        }
    }

private:
    static const char* FindMisfit(const Property* pProperty, Value::Type type, bool bArray);
    static bool CanHoldObjects(Value::Type type)
    {
        return type == Value::TYPE_OBJECT || type == Value::TYPE_VALUE;
    }
    bool HoldsAny() const;
    void Warn() const;
    void WarnElement(int index) const;

    Object* mpObject;
    const String& mName;
    Property* mpProperty;
    const char* mMisfit; // what is wrong, as the warning says it; null for a value that fits
};

inline const char* StoredProperty::FindMisfit(const Property* pProperty, Value::Type type, bool bArray)
{
    if (pProperty == nullptr || pProperty->IsExcluded()) {
        return "invalid";
    }
    if (pProperty->IsArray() != bArray) {
        return bArray ? "not an array" : "an array";
    }
    const Value::Type declared = pProperty->GetType();
    return declared == type || declared == Value::TYPE_VALUE ? nullptr : "of different type";
}

} // namespace QBase
