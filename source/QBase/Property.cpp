#include "QBase/Property.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/DescribeClass.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"

namespace QBase
{

namespace
{

constexpr const char* UNIT = "QBase/Property";

} // namespace

QBASE_IMPLEMENT_ABSTRACT(QBase, Property)
QBASE_IMPLEMENT_ABSTRACT(QBase, ValuePropertyCommon)
QBASE_IMPLEMENT_ABSTRACT(QBase, ArrayPropertyCommon)

void Property::Implement()
{
    Describe("A named slot of an object: a value or an array of values of one type");
    AddFunction<&Property::GetType>("GetType");
    AddFunction<&Property::IsArray>("IsArray");
    AddFunction<&Property::IsExcluded>("IsExcluded");
    AddFunction<&Property::IsDynamic>("IsDynamic");
    AddFunction<&Property::GetEnumInfo>("GetEnumInfo");
    AddFunction<&Property::CheckedGet>("Get");
    AddFunction<&Property::CheckedSet>("Set");
    AddFunction<&Property::CheckedInsert>("Insert");
    AddFunction<&Property::CheckedInsertAt>("InsertAt");
    AddFunction<&Property::CheckedRemove>("Remove");
    AddFunction<&Property::CheckedRemoveAt>("RemoveAt");
    AddFunction<&Property::CheckedFind>("Find");
    AddFunction<&Property::CheckedSetAt>("SetAt");
    AddFunction<&Property::CheckedGetAt>("GetAt");
    AddFunction<&Property::CheckedClear>("Clear");
    AddFunction<&Property::CheckedGetSize>("GetSize");
}

void ValuePropertyCommon::Implement()
{
    Describe("The base of every property with a single value");
}
void ArrayPropertyCommon::Implement()
{
    Describe("The base of every property with an array");
}

Property::Property() : mpOwnerClass(nullptr)
{}
Property::Property(const Value& value) : Object(value), mpOwnerClass(nullptr)
{}
Property::Property(ClassInfoTable* pOwnerClass) : mpOwnerClass(pOwnerClass)
{}

namespace
{

bool TakeIfDifferent(Value value, const Value& known, Value& rValue)
{
    if (value == known) {
        return false;
    }
    rValue = std::move(value);
    return true;
}

} // namespace

bool Property::GetIfChanged(Object* pObject, const Value& known, Value& rValue)
{
    return TakeIfDifferent(Get(pObject), known, rValue);
}

bool Property::GetAtIfChanged(Object* pObject, int index, const Value& known, Value& rValue)
{
    return TakeIfDifferent(GetAt(pObject, index), known, rValue);
}

Property::WriteAccess Property::GetWriteAccess() const
{
    return WRITABLE;
}

const PropertyField* Property::GetField() const
{
    return nullptr;
}

bool Property::CheckObject(Object* pObject, const char* pOperation) const
{
    if (mpOwnerClass == nullptr || (pObject != nullptr && pObject->IsDerivedType(mpOwnerClass))) {
        return true;
    }
    Error(UNIT, __LINE__, "Failed to %s property - the object is not of the property's class", pOperation);
    return false;
}

bool Property::CheckIndex(Object* pObject, int index, int limit, const char* pOperation) const
{
    if (!IsArray()) {
        return true; // the operation itself says what is wrong
    }
    const int size = GetSize(pObject);
    if (index >= 0 && index < size + limit) {
        return true;
    }
    Error(UNIT, __LINE__, "Failed to %s property - index %d is outside the array of size %d", pOperation,
          index, size);
    return false;
}

Value Property::CheckedGet(Object* pObject)
{
    return CheckObject(pObject, "Get") ? Get(pObject) : Value();
}

void Property::CheckedSet(Object* pObject, const Value& value)
{
    if (CheckObject(pObject, "Set")) {
        Set(pObject, value);
    }
}

void Property::CheckedInsert(Object* pObject, const Value& value)
{
    if (CheckObject(pObject, "Insert")) {
        Insert(pObject, value);
    }
}

void Property::CheckedInsertAt(Object* pObject, int index, const Value& value)
{
    if (CheckObject(pObject, "InsertAt") && CheckIndex(pObject, index, 1, "InsertAt")) {
        InsertAt(pObject, index, value);
    }
}

void Property::CheckedRemove(Object* pObject, const Value& value)
{
    if (CheckObject(pObject, "Remove")) {
        Remove(pObject, value);
    }
}

void Property::CheckedRemoveAt(Object* pObject, int index)
{
    if (CheckObject(pObject, "RemoveAt") && CheckIndex(pObject, index, 0, "RemoveAt")) {
        RemoveAt(pObject, index);
    }
}

int Property::CheckedFind(Object* pObject, const Value& value)
{
    return CheckObject(pObject, "Find") ? Find(pObject, value) : -1;
}

void Property::CheckedSetAt(Object* pObject, int index, const Value& value)
{
    if (CheckObject(pObject, "SetAt") && CheckIndex(pObject, index, 0, "SetAt")) {
        SetAt(pObject, index, value);
    }
}

Value Property::CheckedGetAt(Object* pObject, int index)
{
    return CheckObject(pObject, "GetAt") && CheckIndex(pObject, index, 0, "GetAt") ? GetAt(pObject, index)
                                                                                   : Value();
}

void Property::CheckedClear(Object* pObject)
{
    if (CheckObject(pObject, "Clear")) {
        Clear(pObject);
    }
}

int Property::CheckedGetSize(Object* pObject)
{
    return CheckObject(pObject, "GetSize") ? GetSize(pObject) : 0;
}

bool ValuePropertyCommon::IsArray() const
{
    return false;
}

bool ValuePropertyCommon::IsExcluded() const
{
    return false;
}

bool ValuePropertyCommon::IsDynamic() const
{
    return false;
}

EnumInfoObject* ValuePropertyCommon::GetEnumInfo()
{
    return nullptr;
}

void ValuePropertyCommon::Insert(Object*, const Value&)
{
    Error(UNIT, __LINE__, "Tried to Insert value to non-array property");
}

void ValuePropertyCommon::InsertAt(Object*, int, const Value&)
{
    Error(UNIT, __LINE__, "Tried to InsertAt value to non-array property");
}

void ValuePropertyCommon::Remove(Object*, const Value&)
{
    Error(UNIT, __LINE__, "Tried to Remove value from non-array property");
}

void ValuePropertyCommon::RemoveAt(Object*, int)
{
    Error(UNIT, __LINE__, "Tried to RemoveAt value from non-array property");
}

int ValuePropertyCommon::Find(Object*, const Value&) const
{
    Error(UNIT, __LINE__, "Tried to Find value from non-array property");
    return -1;
}

void ValuePropertyCommon::SetAt(Object*, int, const Value&)
{
    Error(UNIT, __LINE__, "Tried to SetAt value to non-array property");
}

Value ValuePropertyCommon::GetAt(Object*, int)
{
    Error(UNIT, __LINE__, "Tried to GetAt value from non-array property");
    return Value();
}

void ValuePropertyCommon::Clear(Object*)
{
    Error(UNIT, __LINE__, "Tried to Clear non-array property");
}

int ValuePropertyCommon::GetSize(Object*) const
{
    Error(UNIT, __LINE__, "Tried to GetSize from non-array property");
    return 0;
}

bool ArrayPropertyCommon::IsArray() const
{
    return true;
}

bool ArrayPropertyCommon::IsExcluded() const
{
    return false;
}

bool ArrayPropertyCommon::IsDynamic() const
{
    return false;
}

EnumInfoObject* ArrayPropertyCommon::GetEnumInfo()
{
    return nullptr;
}

Value ArrayPropertyCommon::Get(Object*)
{
    Error(UNIT, __LINE__, "Tried to Get array property");
    return Value();
}

void ArrayPropertyCommon::Set(Object*, const Value&)
{
    Error(UNIT, __LINE__, "Tried to Set array property");
}

void ReportSetConstant()
{
    Error(UNIT, __LINE__, "Tried to Set Constant value");
}

void ReportSetReadOnly()
{
    Error(UNIT, __LINE__, "Tried to Set read-only property");
}

void ReportForeignObject(Object* pObject, ClassInfoTable* pExpectedClass)
{
    const std::string expected = DescribeClass(pExpectedClass);
    if (pObject == nullptr) {
        Error(UNIT, __LINE__, "Failed to set property - the value is no object, expected '%s'",
              expected.c_str());
        return;
    }
    Error(UNIT, __LINE__, "Failed to set property - object is '%s.%s', expected '%s'",
          pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), expected.c_str());
}

} // namespace QBase
