#include "QBase/PacketApplier.h"

#include "QBase/DescribeClass.h"
#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/Property.h"
#include "QBase/Table.h"

#include <utility>

namespace QBase
{

namespace
{

constexpr const char* UNIT = "ObjectDiffSerializer";

// No bytes are the null string.
String MakeString(const unsigned char* pBytes, std::size_t size)
{
    return size == 0 ? String::Null
                     : String(std::string(reinterpret_cast<const char*>(pBytes), size).c_str());
}

// Texts and objects inside of values: a string, and a 32-bit object id.
struct WireReferences
{
    bool ReadText(ByteReader& rBytes, Value& rText)
    {
        std::int32_t count = 0;
        if (!rBytes.ReadCount(count, 1)) {
            return false;
        }
        const std::size_t size = static_cast<std::size_t>(count);
        rText = Value(MakeString(rBytes.Take(size), size));
        return true;
    }

    bool ReadObject(ByteReader& rBytes, Value& rObject)
    {
        std::int32_t id = 0;
        if (!rBytes.ReadInt(id)) {
            return false;
        }
        Object* const pObject = mObjects.Find(static_cast<std::uint32_t>(id));
        mbKnown = pObject != nullptr || id == 0;
        rObject = Value(pObject);
        return true;
    }

    const ObjectIdTable& mObjects;
    bool mbKnown = true;
};

bool IsTypeOnWire(int type)
{
    return type == Value::TYPE_VOID || ValueBytes::IsStorable(type);
}

// A new object of the class, held by the value.
Value ConstructObject(ClassInfoTable* pClass)
{
    static const String& sConstruct = *new String("Construct");
    Object* const pConstruct = pClass->Find(sConstruct);
    if (pConstruct == nullptr || !pConstruct->IsDerivedType(Function::ClassTable())) {
        return Value::Null;
    }
    return static_cast<Function*>(pConstruct)
        ->CallOn(nullptr, Value::Null, Value::Null, Value::Null, Value::Null, Value::Null);
}

// What the peer has in there comes as packets of its own; what the constructor put in would be in the way.
void ClearChildren(Object* pObject)
{
    if (pObject->IsDerivedType(List::ClassTable())) {
        static_cast<List*>(pObject)->Clear();
    } else if (pObject->IsDerivedType(Table::ClassTable()) &&
               !pObject->IsDerivedType(ClassInfoTable::ClassTable())) {
        static_cast<Table*>(pObject)->Clear();
    }
}

} // namespace

const PacketApplier::Operation PacketApplier::OPERATIONS[NUM_PACKET_KINDS] = {
    &PacketApplier::ApplyNewRoot,
    &PacketApplier::ApplyAddObject,
    &PacketApplier::ApplyRemoveObject,
    &PacketApplier::ApplyAddPropertyValue,
    &PacketApplier::ApplyModifyPropertyValue,
    &PacketApplier::ApplyRemoveProperty,
    &PacketApplier::ApplyAddPropertyArray,
    &PacketApplier::ApplyAddArrayElement,
    &PacketApplier::ApplyModifyArrayElement,
    &PacketApplier::ApplyDownsizeArray,
    &PacketApplier::ApplyAddTableChild,
    &PacketApplier::ApplyModifyTableChild,
    &PacketApplier::ApplyRemoveTableChild,
    &PacketApplier::ApplyAddListChild,
    &PacketApplier::ApplyModifyListChild,
    &PacketApplier::ApplyDownsizeList,
    &PacketApplier::ApplyFunction,
    &PacketApplier::ApplyFunctionCall,
};

bool PacketApplier::Apply()
{
    while (mBytes.GetRemaining() > 0 && !mStream.mbStopped && !mStream.mbRemoved) {
        mBytes.ReadByte(mKind);
        if (mKind >= NUM_PACKET_KINDS) {
            return Damaged(__LINE__, "the kind is unknown");
        }
        if (mStream.mbCallsOnly && mKind != PACKET_FUNCTION_CALL) {
            return Damaged(__LINE__, "the stream is for calls alone");
        }
        const Operation operation = OPERATIONS[mKind];
        (this->*operation)();
        if (QBASE_UNLIKELY(HasLackedMemory()) && !mStream.mbStopped) {
            return Damaged(__LINE__, "out of memory"); // what it set or inserted may be missing
        }
    }
    return mbApplied && !mStream.mbStopped && mBytes.GetRemaining() == 0;
}

void PacketApplier::ApplyNewRoot()
{
    std::uint32_t objectId = 0;
    Object* pObject = nullptr;
    if (Read(objectId) && FindReferred(objectId, pObject)) {
        mState.SetRoot(pObject);
    }
}

void PacketApplier::ApplyAddObject()
{
    std::uint8_t typeId = 0;
    std::uint32_t objectId = 0;
    if (!Read(typeId, objectId) ||
        !Require(objectId != NO_ID, "ASSERT( packet.objectId != NullObjectId )", __LINE__) ||
        !Require(mState.mObjects.Find(objectId) == nullptr, "ASSERT( !FindObject( packet.objectId ) )",
                 __LINE__) ||
        !Require(typeId < mState.mRegisteredTypes.size(),
                 "ASSERT( packet.typeId < mRegisteredTypes.GetSize() )", __LINE__)) {
        return;
    }
    ClassInfoTable* const pClass = mState.mRegisteredTypes[typeId];
    if (!MayAddObject(pClass)) {
        return;
    }
    const Value constructed = ConstructObject(pClass);
    Object* const pObject = constructed.AsObject();
    const bool bNew = pObject != nullptr && mState.mObjects.Find(pObject) == NO_ID;
    if (Require(bNew, "ASSERT( id.pObject )", __LINE__) &&
        Require(mState.mObjects.Find(objectId) == nullptr, "ASSERT( !FindObject( packet.objectId ) )",
                __LINE__) && // the class may have had an id given meanwhile
        LeftMemory(pObject)) {
        ClearChildren(pObject);
        mState.mObjects.Record(objectId, pObject);
    }
}

// Setters may act outside the program as well as constructors do.
bool PacketApplier::MayChange(Object* pObject)
{
    return mStream.mbTrusted || IsWithinLimits(__LINE__, mGuard.CheckChange(pObject));
}

bool PacketApplier::LeftMemory(Object* pObject)
{
    return mStream.mbTrusted || IsWithinLimits(__LINE__, mGuard.CheckMemory(pObject));
}

bool PacketApplier::MayAddObject(const ClassInfoTable* pClass)
{
    if (mStream.mbTrusted) {
        return true;
    }
    const auto [found, bNew] = mState.mClassTroubles.try_emplace(pClass);
    if (bNew) {
        found->second = mGuard.CheckClass(pClass, DescribeClass(pClass));
    }
    if (!IsWithinLimits(__LINE__, found->second)) {
        return false;
    }
    return mGuard.AllowsObjects(static_cast<std::int64_t>(mState.mObjects.GetSize()) + 1) ||
           IsWithinLimits(__LINE__, mGuard.DescribeNumObjects(DescribeClass(pClass)));
}

void PacketApplier::ApplyRemoveObject()
{
    std::uint32_t objectId = 0;
    if (!Read(objectId)) {
        return;
    }
    if (const Ptr<Object> pObject = FindObjectOf<Object>(objectId, "ASSERT( pObject )")) {
        mStream.mRemoved.Keep(pObject);
        mState.ForgetObject(pObject);
    }
}

void PacketApplier::ApplyAddPropertyValue()
{
    NewProperty added;
    WireValue value;
    if (!Read(added.mObjectId, added.mPropertyId, added.mType, added.mName) ||
        !ReadValue(added.mType, value) ||
        !FindPlace(added, false, "ASSERT( packet.propertyType == value.GetType() )") ||
        !Require(value.mbKnown, "ASSERT( pObject )", __LINE__)) {
        return;
    }
    if (added.mpProperty != nullptr) {
        added.mpProperty->Set(added.mpObject, value.mValue);
    } else if (added.mType != Value::TYPE_VOID &&
               !Require(added.mpObject->AddPropertyValueFromValue(added.mName, value.mValue) != nullptr,
                        "ASSERT( pProperty )", __LINE__)) {
        return;
    }
    mState.mProperties.Record(added.mPropertyId, added.mpObject, added.mName)->mType = added.mType;
    LeftMemory(added.mpObject);
}

void PacketApplier::ApplyModifyPropertyValue()
{
    std::uint32_t propertyId = 0;
    if (!Read(propertyId)) {
        return;
    }
    const NamedId* const pId = FindTypedProperty(propertyId);
    WireValue value;
    if (pId == nullptr || !ReadValue(pId->mType, value) ||
        !Require(value.mbKnown, "ASSERT( pObject )", __LINE__)) {
        return;
    }
    const Ptr<Object> pObject = pId->mpOwner;
    const Ptr<Property> pProperty = pObject->FindProperty(pId->mName);
    if (Require(pProperty != nullptr, "ASSERT( pProperty )", __LINE__) && RequireWritable(pProperty, false) &&
        MayChange(pObject)) {
        pProperty->Set(pObject, value.mValue);
        LeftMemory(pObject);
    }
}

void PacketApplier::ApplyRemoveProperty()
{
    RemovedName removed;
    if (!ReadRemovedName(mState.mProperties, "ASSERT( pObject )", removed)) {
        return;
    }
    Property* const pProperty = removed.mpOwner->FindProperty(removed.mName);
    if (pProperty != nullptr && pProperty->IsDynamic()) {
        removed.mpOwner->RemoveProperty(removed.mName);
    }
}

void PacketApplier::ApplyAddPropertyArray()
{
    NewProperty added;
    std::uint8_t type = 0;
    if (!Read(added.mObjectId, added.mPropertyId, type, added.mName)) {
        return;
    }
    added.mType = static_cast<Value::Type>(type);
    if (added.mType != Value::TYPE_VALUE && !ValueBytes::IsStorable(type)) {
        Damaged(__LINE__, "the type is unknown");
        return;
    }
    if (!FindPlace(added, true, "ASSERT( packet.propertyType == type )")) {
        return;
    }
    if (added.mpProperty != nullptr) {
        added.mpProperty->Clear(added.mpObject); // what the constructor put in
    } else {
        // No dynamic property can hold values of any type; the class of the peer's object must have it.
        Property* const pAdded = added.mType != Value::TYPE_VALUE
                                     ? added.mpObject->AddPropertyArray(added.mName, added.mType)
                                     : nullptr;
        if (!Require(pAdded != nullptr, "ASSERT( pProperty )", __LINE__)) {
            return;
        }
    }
    mState.mProperties.Record(added.mPropertyId, added.mpObject, added.mName)->mType = added.mType;
    LeftMemory(added.mpObject);
}

void PacketApplier::ApplyAddArrayElement()
{
    NewElement added;
    if (ReadElement(added) && Require(added.mpArray->GetSize(added.mpObject) == added.mIndex,
                                      "ASSERT( pProperty->GetSize( pObject ) == packet.index )", __LINE__)) {
        added.mpArray->Insert(added.mpObject, added.mValue);
        LeftMemory(added.mpObject);
    }
}

void PacketApplier::ApplyModifyArrayElement()
{
    NewElement changed;
    if (ReadElement(changed) && Require(changed.mIndex < changed.mpArray->GetSize(changed.mpObject),
                                        "ASSERT( packet.index == index )", __LINE__)) {
        changed.mpArray->SetAt(changed.mpObject, changed.mIndex, changed.mValue);
        LeftMemory(changed.mpObject);
    }
}

void PacketApplier::ApplyDownsizeArray()
{
    std::uint32_t propertyId = 0;
    std::uint16_t newSize = 0;
    if (!Read(propertyId, newSize)) {
        return;
    }
    const NamedId* const pId = mState.mProperties.Find(propertyId);
    if (!Require(pId != nullptr, "ASSERT( pObject )", __LINE__)) {
        return;
    }
    const Ptr<Object> pObject = pId->mpOwner;
    const Ptr<Property> pProperty = FindArray(*pId);
    if (pProperty == nullptr) {
        return;
    }
    for (int size = pProperty->GetSize(pObject); size > newSize; --size) {
        pProperty->RemoveAt(pObject, size - 1);
    }
    Require(pProperty->GetSize(pObject) == newSize, "ASSERT( packet.size == size )", __LINE__);
}

void PacketApplier::ApplyAddTableChild()
{
    std::uint32_t tableId = 0;
    std::uint32_t tableChildId = 0;
    std::uint32_t childId = 0;
    String name;
    Object* pChild = nullptr;
    if (!Read(tableId, tableChildId, childId, name) ||
        !RequireFreeId(mState.mTableChildren, tableChildId,
                       "ASSERT( !FindTableChild( packet.tableChildId ) )")) {
        return;
    }
    const Ptr<Table> pTable = FindObjectOf<Table>(tableId, "ASSERT( pTable )");
    if (pTable != nullptr && Require(name.size() != 0, "ASSERT( childName != String::Null )", __LINE__) &&
        FindReferred(childId, pChild) && MayChange(pTable)) {
        pTable->Insert(name, pChild);
        mState.mTableChildren.Record(tableChildId, pTable, name);
        LeftMemory(pTable);
    }
}

void PacketApplier::ApplyModifyTableChild()
{
    std::uint32_t tableChildId = 0;
    std::uint32_t childId = 0;
    Object* pChild = nullptr;
    if (!Read(tableChildId, childId)) {
        return;
    }
    const NamedId* const pId = mState.mTableChildren.Find(tableChildId);
    if (Require(pId != nullptr, "ASSERT( pTable )", __LINE__) && FindReferred(childId, pChild) &&
        MayChange(pId->mpOwner)) {
        const Ptr<Object> pTable = pId->mpOwner; // the old child may do anything when it goes
        const String name = pId->mName;
        static_cast<Table*>(static_cast<Object*>(pTable))->Insert(name, pChild);
    }
}

void PacketApplier::ApplyRemoveTableChild()
{
    RemovedName removed;
    if (ReadRemovedName(mState.mTableChildren, "ASSERT( pTable )", removed)) {
        static_cast<Table*>(static_cast<Object*>(removed.mpOwner))->Remove(removed.mName);
    }
}

void PacketApplier::ApplyAddListChild()
{
    ListPlace place;
    Object* pChild = nullptr;
    if (ReadListPlace(place) &&
        Require(place.mpList->GetSize() == place.mIndex, "ASSERT( pList->GetSize() == packet.index )",
                __LINE__) &&
        FindReferred(place.mChildId, pChild) && MayChange(place.mpList)) {
        place.mpList->Insert(pChild);
        LeftMemory(place.mpList);
    }
}

void PacketApplier::ApplyModifyListChild()
{
    ListPlace place;
    Object* pChild = nullptr;
    if (ReadListPlace(place) &&
        Require(place.mIndex < place.mpList->GetSize(), "ASSERT( packet.index == index )", __LINE__) &&
        FindReferred(place.mChildId, pChild) && MayChange(place.mpList)) {
        place.mpList->SetAt(place.mIndex, pChild);
    }
}

void PacketApplier::ApplyDownsizeList()
{
    std::uint32_t listId = 0;
    std::uint16_t newSize = 0;
    if (!Read(listId, newSize)) {
        return;
    }
    const Ptr<List> pList = FindObjectOf<List>(listId, "ASSERT( pList )");
    if (pList == nullptr || !MayChange(pList)) {
        return;
    }
    for (int size = pList->GetSize(); size > newSize; --size) {
        pList->RemoveAt(size - 1);
    }
    Require(pList->GetSize() == newSize, "ASSERT( packet.size == size )", __LINE__);
}

void PacketApplier::ApplyFunction()
{
    std::uint32_t objectId = 0;
    std::uint32_t functionId = 0;
    String name;
    if (!Read(objectId, functionId, name) ||
        !RequireFreeId(mState.mFunctions, functionId, "ASSERT( !FindFunction( packet.functionId ) )")) {
        return;
    }
    const Ptr<Object> pObject = FindObjectOf<Object>(objectId, "ASSERT( pObject )");
    if (pObject != nullptr &&
        Require(pObject->FindFunction(name) != nullptr, "ASSERT( pFunction )", __LINE__)) {
        mState.mFunctions.Record(functionId, pObject, name);
    }
}

// A call may come too late: what it speaks of was removed meanwhile. It is read to its end and skipped.
void PacketApplier::ApplyFunctionCall()
{
    std::uint32_t functionId = 0;
    std::uint8_t argCount = 0;
    if (!Read(functionId, argCount)) {
        return;
    }
    if (argCount > Function::MAX_ARGS) {
        Damaged(__LINE__, "the call has too many arguments");
        return;
    }
    WireValue args[Function::MAX_ARGS];
    bool bArgsKnown = true;
    for (int i = 0; i < argCount; ++i) {
        Value::Type type = Value::TYPE_VOID;
        if (!Read(type) || !ReadValue(type, args[i]) ||
            !Require(type == args[i].mValue.GetType(), "ASSERT( type == arg.GetType() )", __LINE__)) {
            return;
        }
        bArgsKnown = bArgsKnown && args[i].mbKnown;
    }
    const NamedId* const pId = mState.mFunctions.Find(functionId);
    if (pId == nullptr || !bArgsKnown) {
        Info("WARNING: Skipping invalid functionId '%u' - %s most likely already deleted", functionId,
             pId == nullptr ? "Object" : "Argument object");
        return;
    }
    const Ptr<Object> pObject = pId->mpOwner;
    const String name = pId->mName; // the call may remove the object
    if (!mStream.mbTrusted && mState.mAllowed.count(name) == 0) {
        Error(UNIT, __LINE__, "Failed to call '%s' on %s.%s - function not allowed", name.c_str(),
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str());
        mStream.mbStopped = true;
        return;
    }
    if (HasLackedMemory()) {
        return;
    }
    mState.NoteCaller(mStream);
    const std::int64_t memory = ThreadMemory::GetBytes();
    pObject->Call(name, args[0].mValue, args[1].mValue, args[2].mValue, args[3].mValue, args[4].mValue);
    mNumFailures = Memory::GetNumFailures(); // what the function does is the host's own affair
    const std::int64_t taken = ThreadMemory::GetBytes() - memory;
    mStream.mMemory -= taken;
    mGuard.Disregard(taken);
}

bool PacketApplier::Read(std::uint8_t& rNumber)
{
    return mBytes.ReadByte(rNumber) || Damaged(__LINE__, "the packet is cut off");
}

bool PacketApplier::Read(std::uint16_t& rNumber)
{
    const unsigned char* const p = mBytes.Take(2);
    if (p == nullptr) {
        return Damaged(__LINE__, "the packet is cut off");
    }
    rNumber = static_cast<std::uint16_t>(p[0] | p[1] << 8);
    return true;
}

bool PacketApplier::Read(std::uint32_t& rNumber)
{
    std::int32_t number = 0;
    if (!mBytes.ReadInt(number)) {
        return Damaged(__LINE__, "the packet is cut off");
    }
    rNumber = static_cast<std::uint32_t>(number);
    return true;
}

bool PacketApplier::Read(String& rText)
{
    std::int32_t count = 0;
    if (!mBytes.ReadCount(count, 1)) {
        return Damaged(__LINE__, "the packet is cut off");
    }
    const std::size_t size = static_cast<std::size_t>(count);
    if (!IsWithinLimits(__LINE__, mGuard.CheckStringLength(size))) {
        return false;
    }
    rText = MakeString(mBytes.Take(size), size);
    return true;
}

bool PacketApplier::Read(Value::Type& rType)
{
    std::uint8_t type = 0;
    if (!Read(type)) {
        return false;
    }
    rType = static_cast<Value::Type>(type);
    return IsTypeOnWire(type) || Damaged(__LINE__, "the type is unknown");
}

bool PacketApplier::ReadValue(Value::Type type, WireValue& rValue)
{
    if (type == Value::TYPE_VOID) {
        return true;
    }
    WireReferences references{mState.mObjects};
    if (!ValueBytes::Read(mBytes, type, rValue.mValue, references)) {
        return Damaged(__LINE__, "the packet is cut off");
    }
    if (type == Value::TYPE_STRING &&
        !IsWithinLimits(__LINE__, mGuard.CheckStringLength(rValue.mValue.AsString().size()))) {
        return false;
    }
    rValue.mbKnown = references.mbKnown;
    return true;
}

// An element of an array of any type brings its type along.
bool PacketApplier::ReadElement(NewElement& rElement)
{
    std::uint32_t propertyId = 0;
    if (!Read(propertyId, rElement.mIndex)) {
        return false;
    }
    const NamedId* const pId = FindTypedProperty(propertyId);
    if (pId == nullptr) {
        return false;
    }
    Value::Type type = pId->mType;
    WireValue value;
    if ((type == Value::TYPE_VALUE && !Read(type)) || !ReadValue(type, value) ||
        !Require(value.mbKnown, "ASSERT( pObject )", __LINE__)) {
        return false;
    }
    rElement.mValue = std::move(value.mValue);
    rElement.mpObject = pId->mpOwner;
    rElement.mpArray = FindArray(*pId);
    return rElement.mpArray != nullptr;
}

bool PacketApplier::ReadListPlace(ListPlace& rPlace)
{
    std::uint32_t listId = 0;
    if (!Read(listId, rPlace.mIndex, rPlace.mChildId)) {
        return false;
    }
    rPlace.mpList = FindObjectOf<List>(listId, "ASSERT( pList )");
    return rPlace.mpList != nullptr;
}

// The id is forgotten.
bool PacketApplier::ReadRemovedName(NamedIdTable& rTable, const char* pText, RemovedName& rRemoved)
{
    std::uint32_t id = 0;
    if (!Read(id)) {
        return false;
    }
    NamedId* const pId = rTable.Find(id);
    if (!Require(pId != nullptr, pText, __LINE__)) {
        return false;
    }
    rRemoved.mpOwner = pId->mpOwner;
    rRemoved.mName = pId->mName;
    if (!MayChange(rRemoved.mpOwner)) {
        return false;
    }
    rTable.Remove(pId);
    return true;
}

// The object that gets the property. A property of any type takes each.
bool PacketApplier::FindPlace(NewProperty& rNew, bool bArray, const char* pTypeText)
{
    if (!RequireFreeId(mState.mProperties, rNew.mPropertyId,
                       "ASSERT( !FindProperty( packet.propertyId ) )")) {
        return false;
    }
    rNew.mpObject = FindObjectOf<Object>(rNew.mObjectId, "ASSERT( pObject )");
    if (rNew.mpObject == nullptr || !MayChange(rNew.mpObject)) {
        return false;
    }
    rNew.mpProperty = rNew.mpObject->FindProperty(rNew.mName);
    if (rNew.mpProperty == nullptr) {
        return true;
    }
    const Value::Type type = rNew.mpProperty->GetType();
    return RequireWritable(rNew.mpProperty, bArray) &&
           Require(type == Value::TYPE_VALUE || type == rNew.mType, pTypeText, __LINE__);
}

// Without the property nobody knows how long the packet's value is.
const NamedId* PacketApplier::FindTypedProperty(std::uint32_t id)
{
    const NamedId* const pId = mState.mProperties.Find(id);
    if (!Require(pId != nullptr, "ASSERT( pObject )", __LINE__) && !mStream.mbStopped) {
        Damaged(__LINE__, "the length of its value is unknown");
    }
    return pId;
}

Property* PacketApplier::FindArray(const NamedId& property)
{
    Property* const pProperty = property.mpOwner->FindProperty(property.mName);
    return Require(pProperty != nullptr, "ASSERT( pProperty )", __LINE__) &&
                   RequireWritable(pProperty, true) && MayChange(property.mpOwner)
               ? pProperty
               : nullptr;
}

// The object that an id refers to; id 0 refers to none.
bool PacketApplier::FindReferred(std::uint32_t id, Object*& rpObject)
{
    rpObject = mState.mObjects.Find(id);
    return Require(rpObject != nullptr || id == NO_ID, "ASSERT( pObject )", __LINE__);
}

template <typename Class>
Ptr<Class> PacketApplier::FindObjectOf(std::uint32_t id, const char* pText)
{
    Object* const pObject = mState.mObjects.Find(id);
    const bool bFits = pObject != nullptr && pObject->IsDerivedType(Class::ClassTable());
    return Require(bFits, pText, __LINE__) ? static_cast<Class*>(pObject) : nullptr;
}

bool PacketApplier::RequireFreeId(NamedIdTable& rTable, std::uint32_t id, const char* pText)
{
    return Require(id != NO_ID && rTable.Find(id) == nullptr, pText, __LINE__);
}

bool PacketApplier::RequireWritable(Property* pProperty, bool bArray)
{
    return Require(!pProperty->IsExcluded(), "ASSERT( !pProperty->IsExcluded() )", __LINE__) &&
           Require(pProperty->IsArray() == bArray,
                   bArray ? "ASSERT( pProperty->IsArray() )" : "ASSERT( !pProperty->IsArray() )", __LINE__);
}

bool PacketApplier::IsWithinLimits(int line, const std::string& trouble)
{
    return mStream.mbTrusted || trouble.empty() || Damaged(line, trouble.c_str());
}

bool PacketApplier::Require(bool bHolds, const char* pText, int line)
{
    if (bHolds) {
        return true;
    }
    mbApplied = false;
    if (HasLackedMemory()) {
        return false; // nobody broke a promise
    }
    if (mStream.mbTrusted) {
        AssertFail(UNIT, line, pText);
    } else {
        Error(UNIT, line, "%s", pText);
        mStream.mbStopped = true;
    }
    return false;
}

bool PacketApplier::Damaged(int line, const char* pWhat)
{
    mStream.mbStopped = true;
    Error(UNIT, line, "Failed to read packet of kind %d from %s.%s - %s", mKind,
          mStream.mpStream->GetModuleName().c_str(), mStream.mpStream->GetClassName().c_str(), pWhat);
    return false;
}

} // namespace QBase
