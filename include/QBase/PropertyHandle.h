// PropertyHandle pairs an object with one of its properties.
//
//     PropertyHandle radius = pMoon->GetPropertyHandle("Radius");
//     if (radius.IsValid())
//         radius.Set(1821.6f);
//
// It holds neither: the object and the property must outlive the handle, and only a valid handle may be
// used.
//
// Threads: nothing here locks; whoever shares the object guards it.

#pragma once

#include "QBase/Property.h"

namespace QBase
{

class PropertyHandle
{
public:
    PropertyHandle(Object* pObject, Property* pProperty) : mpObject(pObject), mpProperty(pProperty) {}

    bool IsValid() const { return mpObject != nullptr && mpProperty != nullptr; }
    Object* GetOwner() const { return mpObject; }
    Property* GetProperty() const { return mpProperty; }

    /// Each calls the operation of the property that has its name.
    bool IsArray() const { return mpProperty->IsArray(); }
    Value::Type GetType() const { return mpProperty->GetType(); }
    Value Get() const { return mpProperty->Get(mpObject); }
    void Set(const Value& value) { mpProperty->Set(mpObject, value); }
    void Insert(const Value& value) { mpProperty->Insert(mpObject, value); }
    void InsertAt(int index, const Value& value) { mpProperty->InsertAt(mpObject, index, value); }
    void Remove(const Value& value) { mpProperty->Remove(mpObject, value); }
    void RemoveAt(int index) { mpProperty->RemoveAt(mpObject, index); }
    int Find(const Value& value) const { return mpProperty->Find(mpObject, value); }
    void SetAt(int index, const Value& value) { mpProperty->SetAt(mpObject, index, value); }
    Value GetAt(int index) const { return mpProperty->GetAt(mpObject, index); }
    void Clear() { mpProperty->Clear(mpObject); }
    int GetSize() const { return mpProperty->GetSize(mpObject); }

private:
    Object* mpObject;     // borrowed
    Property* mpProperty; // borrowed
};

} // namespace QBase
