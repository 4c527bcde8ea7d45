#include "QBase/Object.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/DynamicProperty.h"
#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Memory.h"
#include "QBase/NameIndex.h"
#include "QBase/Property.h"
#include "QBase/PropertyHandle.h"
#include "QBase/PropertyList.h"
#include "QBase/Reflection.h"
#include "QBase/StackState.h"

#include <new>
#include <vector>

namespace QBase
{

namespace
{

// Destruction nests: an object drops the next one, which drops the next. Beyond this depth objects wait in
// a list that the outermost destruction empties, so that a chain of any length fits any stack.
constexpr int MAX_DESTRUCTION_DEPTH = 256;

// While its destructor runs, an object's count is so high that references taken and dropped in there cannot
// destroy it a second time.
constexpr int COUNT_DURING_DESTRUCTION = 0x40000000;

class DestructionScope
{
public:
    DestructionScope() { ++CurrentStackState().mDestructionDepth; }
    ~DestructionScope() { --CurrentStackState().mDestructionDepth; } // also when an error handler throws
    DestructionScope(const DestructionScope&) = delete;
    DestructionScope& operator=(const DestructionScope&) = delete;
};

// For the report of a block trace. During a destructor this names the class whose destructor runs.
Memory::ObjectDescription DescribeObject(Object* pObject)
{
    return {pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), pObject->GetReferenceCount()};
}

} // namespace

const String& Object::ClassName()
{
    static const String& sName = *new String("Object");
    return sName;
}

const String& Object::ModuleName()
{
    static const String& sName = *new String("QBase");
    return sName;
}

ClassInfoTable* Object::spClassTable;

ClassInfoTable* Object::ClassTable()
{
    if (spClassTable != nullptr) {
        return spClassTable;
    }
    return RegisterReflectedClass(
        spClassTable, ModuleName(), ClassName(), false,
        [](const Value& value) { return Value(Construct(value)); }, &Object::Implement);
}

Implementor<Object> Object::sImplementor;

void Object::Implement()
{
    ClassTable()->SetDescription(
        String::Null,
        "The base of every class: counted references, properties of its own, functions by name");
    Memory::SetObjectDescriber(&DescribeObject);

    AddClassEntry(ClassTable(), "GetClassName", new Reflect::BoundFunction<Object, &Object::GetClassName>());
    AddClassEntry(ClassTable(), "GetModuleName",
                  new Reflect::BoundFunction<Object, &Object::GetModuleName>());
    AddClassEntry(ClassTable(), "GetReferenceCount",
                  new Reflect::BoundFunction<Object, &Object::GetReferenceCount>());
    AddClassEntry(ClassTable(), "Execute", new Reflect::BoundFunction<Object, &Object::Execute>());
    AddClassEntry(ClassTable(), "RemoveProperty",
                  new Reflect::BoundFunction<Object, &Object::RemoveProperty>());
}

Object* Object::Construct(const Value& value)
{
    return new ("Object", __LINE__) Object(value);
}

Object::Object() : mpInstanceTable(nullptr), mReferenceCount(0)
{
    Memory::MarkObject(this);
}

Object::Object(const Value&) : Object()
{}

Object::Object(const Object& other)
    : mpInstanceTable(other.mpInstanceTable), mReferenceCount(other.mReferenceCount.Value())
{
    Memory::MarkObject(this);
    if (mpInstanceTable != nullptr) {
        mpInstanceTable->AddSharer();
    }
}

Object& Object::operator=(const Object&)
{
    return *this;
}

Object::~Object()
{
    SetInstanceTable(nullptr); // what dies with the table finds this object without one
    Memory::UnmarkObject(this);
}

Object* Object::Clone()
{
    return new ("Object", __LINE__) Object(Value::Null);
}

Object* Object::Copy()
{
    Object* const pClone = Clone();
    if (pClone != nullptr) {
        CopyTo(pClone);
    }
    return pClone;
}

void Object::CopyTo(Object* pTarget)
{
    if (pTarget == nullptr || pTarget == this) {
        return;
    }
    const KeepAlive keepSource(this);
    const KeepAlive keepTarget(pTarget);
    if (mpInstanceTable != nullptr && pTarget->mpInstanceTable == mpInstanceTable) {
        pTarget->SetInstanceTable(nullptr); // a clone's values would be our own
    }
    for (const PropertyList::Entry& entry : PropertyList(this)) {
        Property* const pSource = entry.mpProperty;
        if (entry.mbExcluded) {
            continue;
        }
        const Value::Type type = entry.mType;
        const bool bArray = entry.mbArray;
        Ptr<Property> pCopy = pTarget->FindProperty(entry.mName);
        if (pCopy == nullptr && pSource->IsDynamic()) {
            pCopy = bArray ? pTarget->AddPropertyArray(entry.mName, type)
                           : pTarget->AddPropertyValue(entry.mName, type);
        }
        if (pCopy == nullptr || pCopy->GetType() != type || pCopy->IsArray() != bArray ||
            pCopy->IsExcluded()) {
            continue;
        }
        if (!bArray) {
            pCopy->Set(pTarget, pSource->Get(this));
            continue;
        }
        std::vector<Value> elements;
        const int size = pSource->GetSize(this);
        elements.reserve(static_cast<std::size_t>(size > 0 ? size : 0));
        for (int i = 0; i < size; ++i) {
            elements.push_back(pSource->GetAt(this, i));
        }
        pCopy->Clear(pTarget);
        for (const Value& element : elements) {
            pCopy->Insert(pTarget, element);
        }
    }
}

ClassInfoTable* Object::GetClassTable() const
{
    return ClassTable();
}

const String& Object::GetClassName() const
{
    return ClassName();
}

const String& Object::GetModuleName() const
{
    return ModuleName();
}

void Object::Execute(const Value&)
{}

QBASE_NULL_THIS_BEGIN

Object* Object::Access()
{
    if (this == nullptr) {
        return nullptr;
    }
    AddReference(this);
    return this;
}

Object* Object::Release()
{
    if (this == nullptr) {
        return nullptr;
    }
    if (mReferenceCount.Decrement() > 0) {
        return this;
    }
    Destroy(this);
    return nullptr;
}

QBASE_NULL_THIS_END

bool Object::IsExactType(ClassInfoTable* pClassTable) const
{
    return GetClassTable() == pClassTable;
}

bool Object::IsDerivedType(ClassInfoTable* pClassTable) const
{
    return pClassTable != nullptr && GetClassTable()->IsDerivedFrom(pClassTable);
}

ClassInfoTable* Object::GetInstanceOrClassTable() const
{
    return mpInstanceTable != nullptr ? mpInstanceTable : GetClassTable();
}

void Object::SetInstanceTable(ClassInfoTable* pTable)
{
    if (pTable != nullptr) {
        AddReference(pTable);
    }
    ClassInfoTable* const pOld = mpInstanceTable;
    mpInstanceTable = pTable;
    if (pOld != nullptr) {
        pOld->ReleaseByHolder();
    }
}

ClassInfoTable* Object::GetOrCreateInstanceTable()
{
    if (mpInstanceTable == nullptr) {
        ClassInfoTable* const pTable = ClassInfoTable::Construct(Value(g_InstanceTableSize));
        if (pTable == nullptr) {
            return nullptr;
        }
        pTable->SetBaseClass(GetClassTable());
        SetInstanceTable(pTable);
    }
    return mpInstanceTable;
}

Property* Object::FindProperty(const String& name) const
{
    return static_cast<Property*>(GetInstanceOrClassTable()->FindDerivedOfKind(name, EntryKind::PROPERTY));
}

Function* Object::FindFunction(const String& name) const
{
    return static_cast<Function*>(GetInstanceOrClassTable()->FindDerivedOfKind(name, EntryKind::FUNCTION));
}

PropertyHandle Object::GetPropertyHandle(const String& name)
{
    return PropertyHandle(this, FindProperty(name));
}

Property* Object::AddDynamicProperty(const String& name, Value::Type type, bool bArray)
{
    const char* const pShape = bArray ? "array" : "value";
    if (FindProperty(name) != nullptr) {
        Error(QBASE_HERE, "Failed to add property %s '%s' to '%s.%s' - property already exists", pShape,
              name.c_str(), GetModuleName().c_str(), GetClassName().c_str());
        return nullptr;
    }
    const unsigned numFailures = Memory::GetNumFailures();
    ClassInfoTable* const pTable = GetOrCreateInstanceTable();
    Property* const pProperty = pTable == nullptr ? nullptr
                                : bArray          ? CreateDynamicArray(type)
                                                  : CreateDynamicValue(type);
    if (pProperty == nullptr) {
        const bool bOutOfMemory = Memory::GetNumFailures() != numFailures;
        Error(QBASE_HERE, "Failed to add property %s '%s' to '%s.%s' - %s", pShape, name.c_str(),
              GetModuleName().c_str(), GetClassName().c_str(),
              bOutOfMemory ? "out of memory" : "invalid property type");
        return nullptr;
    }
    const Ptr<Property> pKept = pProperty; // without memory for the entry, it goes
    pTable->Insert(name, pProperty);
    return pTable->Find(name) == pProperty ? pProperty : nullptr;
}

Property* Object::AddPropertyValue(const String& name, Value::Type type)
{
    return AddDynamicProperty(name, type, false);
}

Property* Object::AddPropertyArray(const String& name, Value::Type type)
{
    return AddDynamicProperty(name, type, true);
}

Property* Object::AddPropertyValueFromValue(const String& name, const Value& value)
{
    Property* const pProperty = AddPropertyValue(name, value.GetType());
    if (pProperty != nullptr) {
        pProperty->Set(this, value);
    }
    return pProperty;
}

Property* Object::AddPropertyArrayFromValue(const String& name, const Value& value)
{
    return AddPropertyArray(name, value.GetType());
}

bool Object::RemoveProperty(const String& name)
{
    Object* const pEntry = mpInstanceTable != nullptr ? mpInstanceTable->Find(name) : nullptr;
    if (pEntry == nullptr || !IsObjectOf(pEntry, Property::ClassTable())) {
        Error(QBASE_HERE, "Failed to remove property '%s' from '%s.%s' - dynamic property not found",
              name.c_str(), GetModuleName().c_str(), GetClassName().c_str());
        return false;
    }
    mpInstanceTable->Remove(name);
    return true;
}

Value Object::Call(const String& name, const Value& a1, const Value& a2, const Value& a3, const Value& a4,
                   const Value& a5)
{
    Function* const pFunction = FindFunction(name);
    if (pFunction == nullptr) {
        Error("Object", __LINE__, "Object Call failed: %s.%s:%s", GetModuleName().c_str(),
              GetClassName().c_str(), name.c_str());
        return Value::Null;
    }
    return pFunction->CallOn(this, a1, a2, a3, a4, a5);
}

void Object::Destroy(Object* pObject)
{
    pObject->mReferenceCount = InterlockedInt(COUNT_DURING_DESTRUCTION);
    if (CurrentStackState().mDestructionDepth >= MAX_DESTRUCTION_DEPTH && LetWait(pObject)) {
        return;
    }
    const DestructionScope scope;
    DestroyNow(pObject);
    const StackState& state = CurrentStackState();
    if (state.mDestructionDepth == 1 && state.mpWaitingObjects != nullptr) {
        DestroyWaiting();
    }
}

// False when there is no memory to remember the object.
bool Object::LetWait(Object* pObject)
{
    std::vector<Object*>*& rpWaiting = CurrentStackState().mpWaitingObjects;
    try {
        if (rpWaiting == nullptr) {
            rpWaiting = new std::vector<Object*>;
        }
        rpWaiting->push_back(pObject);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void Object::DestroyWaiting()
{
    std::vector<Object*>* const pWaiting = CurrentStackState().mpWaitingObjects;
    while (!pWaiting->empty()) {
        Object* const pNext = pWaiting->back();
        pWaiting->pop_back();
        DestroyNow(pNext);
    }
    CurrentStackState().mpWaitingObjects = nullptr;
    delete pWaiting;
}

void Object::DestroyNow(Object* pObject)
{
    void* const pBlock = dynamic_cast<void*>(pObject); // the block starts at the most derived object
    pObject->~Object();
    Memory::Free(pBlock, true);
}

void* Object::operator new(std::size_t size) noexcept
{
    return operator new(size, "Object", __LINE__);
}

void* Object::operator new(std::size_t size, const char* pFile, int line) noexcept
{
    if (size > 0xFFFFFFFFu) {
        return nullptr;
    }
    return Memory::Alloc(static_cast<unsigned>(size), ALLOC_OBJECT, pFile, line, true);
}

void Object::operator delete(void* pBlock)
{
    Memory::Free(pBlock, true);
}

void Object::operator delete(void* pBlock, const char*, int)
{
    Memory::Free(pBlock, true);
}

KeepAlive::KeepAlive(Object* pObject)
    : mpObject(pObject), mbWasReferenced(pObject != nullptr && pObject->GetReferenceCount() > 0)
{
    if (mpObject != nullptr) {
        Object::AddReference(mpObject);
    }
}

KeepAlive::~KeepAlive()
{
    if (mpObject != nullptr && mpObject->mReferenceCount.Decrement() <= 0 && mbWasReferenced) {
        Object::Destroy(mpObject);
    }
}

} // namespace QBase
