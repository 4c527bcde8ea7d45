// StoredMember is how a serializer reaches the member behind a property, found out once for all objects of a
// class: most properties of most classes are members, and most of a graph's values are theirs.
//
//     StoredMember member(pProperty, pObject); // any object that has the property
//     if (member.IsKnown())
//         const void* pValue = member.Locate(pOther);
//
// It borrows the property. A property that is more than a member, or whose bytes are not those of its Value,
// is not known, and has to be read and set by its own operations.

#pragma once

#include "QBase/Property.h"
#include "QBase/ValueBytes.h"

#include <cstddef>

namespace QBase
{

class StoredMember
{
public:
    StoredMember() = default;
    StoredMember(const Property* pProperty, Object* pObject)
        : mpField(FindField(pProperty)), mType(pProperty->GetType()),
          mDistance(mpField != nullptr ? Measure(pObject) : 0)
    {}

    bool IsKnown() const { return mpField != nullptr; }

    /// The value, or the Array, of an object. Borrowed.
    void* Locate(Object* pObject) const { return reinterpret_cast<char*>(pObject) + mDistance; }

    /// The elements of an Array. Borrowed.
    const void* GetElements(Object* pObject, int& rSize) const
    {
        return mpField->mpGetElements(Locate(pObject), rSize);
    }
    int GetSize(Object* pObject) const
    {
        int size = 0;
        GetElements(pObject, size);
        return size;
    }
    const void* GetNext(const void* pElement) const
    {
        return static_cast<const char*>(pElement) + mpField->mElementSize;
    }

    /// The object behind a value or an element of type "Object". Borrowed.
    Object* GetObject(const void* pElement) const { return mpField->mpGetObject(pElement); }

    /// Sets a single value of a plain type from its bytes in a file.
    void SetPlain(Object* pObject, const unsigned char* pBytes) const
    {
        unsigned char* const pMember = static_cast<unsigned char*>(Locate(pObject));
        if (mType == Value::TYPE_BOOL) {
            *pMember = *pBytes != 0 ? 1 : 0;
        } else {
            ValueBytes::CopyPayload(mType, pMember, pBytes);
        }
    }

    /// Appends elements of a plain type, one payload behind the other, to an Array.
    void Append(Object* pObject, const void* pElements, int count) const
    {
        mpField->mpAppend(Locate(pObject), pElements, count);
    }

private:
    static const PropertyField* FindField(const Property* pProperty)
    {
        const PropertyField* const pField = pProperty->GetField();
        const Value::Type type = pProperty->GetType();
        if (pField == nullptr || type == Value::TYPE_STRING || type == Value::TYPE_OBJECT) {
            return pField;
        }
        return ValueBytes::IsStorable(type) && pField->mElementSize == ValueBytes::GetSize(type) ? pField
                                                                                                 : nullptr;
    }

    std::ptrdiff_t Measure(Object* pObject) const
    {
        return static_cast<char*>(mpField->mpLocate(pObject)) - reinterpret_cast<char*>(pObject);
    }

    const PropertyField* mpField = nullptr; // borrowed from the property
    Value::Type mType = Value::TYPE_VOID;
    std::ptrdiff_t mDistance = 0; // of the member from the object
};

} // namespace QBase
