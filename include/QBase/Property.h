// Property describes one named slot of an object, a single value or an array of values of one type, and
// reads and writes it. Every reader of object state goes through these operations, always passing the object
// that is meant: a class's property is shared by all its objects.
//
//     Property* pRadius = pMoon->FindProperty("Radius");
//     pRadius->Set(pMoon, 1821.6f);
//     pRadius->Get(pMoon).Get<float>();
//
// Class properties are added by a class's Implement (Reflection.h) and live as long as the class. Dynamic
// properties are added to one object by Object::AddPropertyValue and its siblings, keep their value in
// themselves and die with the object or in Object::RemoveProperty.
//
// Type, shape, exclusion and dynamism of a property never change.
//
// An array operation on a single value is reported and answered with a neutral result, and the other way
// round. The object is trusted to have the property.
//
// Threads: nothing here locks; whoever shares the object guards it.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class EnumInfoObject;

// PropertyField reaches the member that a property is nothing but a name for, without a Value in between: for
// those who read or set the properties of many objects. Get and Set, or the operations of an array, do
// nothing else than read and change the member.
//
// A single value is what a Value of the property's type holds: an int, a float and so on, a String, a pointer
// or Ptr to an object. An array is an Array of these.
struct PropertyField
{
    /// The member of an object that has the property. All such objects have it at the same distance.
    void* (*mpLocate)(Object* pObject);

    /// The object behind a single pointer or one among the elements; no function for other types. Borrowed.
    Object* (*mpGetObject)(const void* pPointer);

    /// The first element, and how many there are, one behind the other. Borrowed until the next change. No
    /// functions for a single value.
    const void* (*mpGetElements)(const void* pArray, int& rSize);

    /// Appends elements of a plain type from anywhere; any byte but 0 is a true "bool". No function for texts
    /// and objects.
    void (*mpAppend)(void* pArray, const void* pElements, int count);

    std::size_t mElementSize; // in bytes
};

class QBASE_API Property : public Object
{
    QBASE_OBJECT(Property, Object)

public:
    /// What Set does.
    enum WriteAccess : std::int32_t
    {
        WRITABLE = 0,
        READ_ONLY = 1, // Set is reported and changes nothing
        CONSTANT = 2   // that, and the value is the same for all objects: Get takes null as well
    };

    /// The type of the value, or of each element of an array.
    virtual Value::Type GetType() const = 0;
    virtual bool IsArray() const = 0;

    /// True when the serializers and the difference engine pass the property over.
    virtual bool IsExcluded() const = 0;

    /// True when the property was added to one object at run time.
    virtual bool IsDynamic() const = 0;

    /// The names of an "Enum" property's values; null for others. Borrowed.
    virtual EnumInfoObject* GetEnumInfo() = 0;

    /// The value of `pObject`; Set converts as Value::Get does. A void Value, after a report, of an array.
    virtual Value Get(Object* pObject) = 0;
    virtual void Set(Object* pObject, const Value& value) = 0;

    /// Appends.
    virtual void Insert(Object* pObject, const Value& value) = 0;
    virtual void InsertAt(Object* pObject, int index, const Value& value) = 0;

    /// Removes the first equal element.
    virtual void Remove(Object* pObject, const Value& value) = 0;
    virtual void RemoveAt(Object* pObject, int index) = 0;

    /// The index of the first equal element, or -1.
    virtual int Find(Object* pObject, const Value& value) const = 0;
    virtual void SetAt(Object* pObject, int index, const Value& value) = 0;
    virtual Value GetAt(Object* pObject, int index) = 0;
    virtual void Clear(Object* pObject) = 0;
    virtual int GetSize(Object* pObject) const = 0;

    /// For those who watch a single value: false when it equals `known`; otherwise true with the value in
    /// `rValue`. Reads the property once, as Get does, without a Value when nothing changed.
    virtual bool GetIfChanged(Object* pObject, const Value& known, Value& rValue);

    /// The same for one element of an array.
    virtual bool GetAtIfChanged(Object* pObject, int index, const Value& known, Value& rValue);

    virtual WriteAccess GetWriteAccess() const;

    /// The class whose objects have this property; null for a dynamic one, which asks for no object.
    ClassInfoTable* GetOwnerClass() const { return mpOwnerClass; }

    /// The member behind the property; null for a property that is more than a member, or less. Never
    /// changes.
    virtual const PropertyField* GetField() const;

protected:
    Property();
    explicit Property(const Value& value);
    explicit Property(ClassInfoTable* pOwnerClass);

private:
    // The reflected forms take any object that a script passes and check it first.
    Value CheckedGet(Object* pObject);
    void CheckedSet(Object* pObject, const Value& value);
    void CheckedInsert(Object* pObject, const Value& value);
    void CheckedInsertAt(Object* pObject, int index, const Value& value);
    void CheckedRemove(Object* pObject, const Value& value);
    void CheckedRemoveAt(Object* pObject, int index);
    int CheckedFind(Object* pObject, const Value& value);
    void CheckedSetAt(Object* pObject, int index, const Value& value);
    Value CheckedGetAt(Object* pObject, int index);
    void CheckedClear(Object* pObject);
    int CheckedGetSize(Object* pObject);
    bool CheckObject(Object* pObject, const char* pOperation) const;
    bool CheckIndex(Object* pObject, int index, int limit, const char* pOperation) const;

    ClassInfoTable* mpOwnerClass; // borrowed: class tables are never released
};

// ValuePropertyCommon is the base of every single value: it reports array operations.
class QBASE_API ValuePropertyCommon : public Property
{
    QBASE_OBJECT(ValuePropertyCommon, Property)

public:
    bool IsArray() const override;
    bool IsExcluded() const override;
    bool IsDynamic() const override;
    EnumInfoObject* GetEnumInfo() override;
    void Insert(Object* pObject, const Value& value) override;
    void InsertAt(Object* pObject, int index, const Value& value) override;
    void Remove(Object* pObject, const Value& value) override;
    void RemoveAt(Object* pObject, int index) override;
    int Find(Object* pObject, const Value& value) const override;
    void SetAt(Object* pObject, int index, const Value& value) override;
    Value GetAt(Object* pObject, int index) override;
    void Clear(Object* pObject) override;
    int GetSize(Object* pObject) const override;

protected:
    using Property::Property;
    ValuePropertyCommon() = default;
};

// ArrayPropertyCommon is the base of every array: it reports Get and Set.
class QBASE_API ArrayPropertyCommon : public Property
{
    QBASE_OBJECT(ArrayPropertyCommon, Property)

public:
    bool IsArray() const override;
    bool IsExcluded() const override;
    bool IsDynamic() const override;
    EnumInfoObject* GetEnumInfo() override;
    Value Get(Object* pObject) override;
    void Set(Object* pObject, const Value& value) override;

protected:
    using Property::Property;
    ArrayPropertyCommon() = default;
};

/// The reports of the concrete class properties.
QBASE_API void ReportSetConstant();
QBASE_API void ReportSetReadOnly();
QBASE_API void ReportForeignObject(Object* pObject, ClassInfoTable* pExpectedClass);

} // namespace QBase
