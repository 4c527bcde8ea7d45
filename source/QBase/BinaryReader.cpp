#include "QBase/BinaryReader.h"

#include "QBase/ConstructFunction.h"
#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/StoredProperty.h"
#include "QBase/Table.h"

#include <algorithm>
#include <cstring>

namespace QBase
{

namespace
{

// The least bytes that one of each takes.
constexpr std::size_t TEXT_SIZE = 4;
constexpr std::size_t OBJECT_SIZE = 16;
constexpr std::size_t PROPERTY_SIZE = 5;
constexpr std::size_t CHILD_SIZE = 8;

// A value of the file: objects and texts stay with the reader, which holds them until the end.
class LentValue
{
public:
    LentValue() = default;
    LentValue(const LentValue&) = delete;
    LentValue& operator=(const LentValue&) = delete;
    ~LentValue() { ValueBits::Forget(mValue); }

    Value mValue;
};

constexpr int FLAG_ARRAY = 1;
constexpr int FLAG_DYNAMIC = 2;
constexpr int FLAGS_PER_TYPE = 4;

} // namespace

Value BinaryReader::Read()
{
    int textCount = 0;
    int objectCount = 0;
    if (!IsFine(mGuard.CheckBytes()) || !ReadCounts(textCount, objectCount) || !ReadTexts(textCount) ||
        !ReadObjects(objectCount)) {
        return Value();
    }
    if (mGraph.GetSize() == 0) {
        Error(QBASE_HERE, "File contains no objects to deserialize");
        return Value();
    }
    if (!ReadAllContents() || !CheckNesting()) {
        return Value();
    }
    mBytes.Finish();
    return mGraph.HandOver();
}

bool BinaryReader::ReadAllContents()
{
    for (mPosition = 0; mPosition < mGraph.GetSize(); ++mPosition) {
        mGraph.StopWithoutMemory();
        if (!ReadContents() || !CheckMemory()) {
            return false;
        }
    }
    return true;
}

bool BinaryReader::CheckNesting()
{
    if (!mGuard.HasNestingLimit()) {
        return true;
    }
    const int position = mGraph.FindDeeperThan(mGuard.GetMaxNesting());
    if (position == PositionIndex::NONE) {
        return true;
    }
    mPosition = position;
    return IsFine(mGuard.DescribeNesting(mGraph.GetAt(position), position));
}

std::string BinaryReader::Describe() const
{
    return mPosition >= 0 ? "object " + std::to_string(mPosition) : std::string();
}

bool BinaryReader::ReadCounts(int& rTextCount, int& rObjectCount)
{
    if (mBytes.GetRemaining() < 2 * sizeof(std::int32_t)) {
        return FailShort();
    }
    if (!mBytes.ReadCount(rTextCount, TEXT_SIZE)) {
        return Fail("invalid string count");
    }
    return mBytes.ReadCount(rObjectCount, OBJECT_SIZE) || Fail("invalid object count");
}

bool BinaryReader::ReadTexts(int count)
{
    mTexts.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        int size = 0;
        if (!mBytes.ReadCount(size, 1)) {
            return Fail("invalid string length");
        }
        if (size == 0) {
            mTexts.push_back(String::Null);
            continue;
        }
        if (!IsFine(mGuard.CheckStringLength(static_cast<std::size_t>(size)))) {
            return false;
        }
        unsigned char* const pText = mBytes.Take(static_cast<std::size_t>(size));
        if (pText == nullptr) {
            return FailShort();
        }
        if (std::memchr(pText, 0, static_cast<std::size_t>(size)) != nullptr) {
            return Fail("a string holds a zero byte");
        }
        // What follows gives way to a terminator for a moment.
        const unsigned char next = pText[size];
        pText[size] = 0;
        mTexts.emplace_back(reinterpret_cast<const char*>(pText));
        pText[size] = next;
    }
    return true;
}

bool BinaryReader::ReadObjects(int count)
{
    if (static_cast<std::size_t>(count) > mBytes.GetRemaining() / OBJECT_SIZE) {
        return Fail("invalid object count"); // now that the texts are known
    }
    mRecords.reserve(static_cast<std::size_t>(count));
    mGraph.Reserve(static_cast<std::size_t>(count));
    for (mPosition = 0; mPosition < count; ++mPosition) {
        const unsigned char* const pRecord = mBytes.Take(OBJECT_SIZE);
        if (pRecord == nullptr) {
            return FailShort();
        }
        const int moduleIndex = ValueBytes::LoadInt(pRecord);
        const int nameIndex = ValueBytes::LoadInt(pRecord + 4);
        const ObjectRecord record{ValueBytes::LoadInt(pRecord + 8), ValueBytes::LoadInt(pRecord + 12)};
        if (!CheckIndex(moduleIndex, mTexts.size()) || !CheckIndex(nameIndex, mTexts.size())) {
            return false;
        }
        Ptr<Object> pObject = ConstructObject(moduleIndex, nameIndex);
        if (pObject == nullptr) {
            return false;
        }
        mRecords.push_back(record);
        mGraph.Add(std::move(pObject));
        if (!CheckMemory()) {
            return false;
        }
    }
    return true;
}

bool BinaryReader::ReadContents()
{
    const ObjectRecord record = mRecords[static_cast<std::size_t>(mPosition)];
    if (record.mPropertyCount < 0 ||
        static_cast<std::size_t>(record.mPropertyCount) > mBytes.GetRemaining() / PROPERTY_SIZE) {
        return Fail("invalid property count");
    }
    Object* const pObject = mGraph.GetAt(mPosition);
    Class& rClass = mClasses.Find(pObject);
    LoadedContents contents(pObject, rClass);
    for (int place = 0; place < record.mPropertyCount; ++place) {
        const Slot* const pSlot = TakeExpectedHeader(pObject, rClass, static_cast<std::size_t>(place));
        if (pSlot != nullptr ? !ReadMember(pObject, *pSlot) : !ReadProperty(pObject, rClass, place)) {
            return false;
        }
    }
    if (record.mChildCount < 0 ||
        static_cast<std::size_t>(record.mChildCount) > mBytes.GetRemaining() / CHILD_SIZE) {
        return Fail("invalid child count");
    }
    if (record.mChildCount > 0 && !rClass.mbTable && !rClass.mbList) {
        Error(QBASE_HERE, "Failed to deserialize unrecognized element %s", "Child");
        return false;
    }
    for (int i = 0; i < record.mChildCount; ++i) {
        if (!ReadChild(pObject, rClass)) {
            return false;
        }
    }
    contents.Finish();
    return true;
}

// Most records have the name and the flags that the one at their place had in an object of the class before.
// Takes no more than these two, and nothing of any other record.
const BinaryReader::Slot* BinaryReader::TakeExpectedHeader(const Object* pObject, const Class& loadedClass,
                                                           std::size_t place)
{
    const unsigned char* const pHeader = mBytes.Peek(PROPERTY_SIZE);
    if (place >= loadedClass.mSlots.size() || pHeader == nullptr || pObject->GetInstanceTable() != nullptr) {
        return nullptr;
    }
    const Slot& slot = loadedClass.mSlots[place];
    if (ValueBytes::LoadInt(pHeader) != slot.mNameIndex || pHeader[4] != slot.mFlags) {
        return nullptr;
    }
    mBytes.Take(PROPERTY_SIZE);
    return &slot;
}

bool BinaryReader::ReadProperty(Object* pObject, Class& rClass, int place)
{
    int nameIndex = 0;
    unsigned char flags = 0;
    if (!ReadTextIndex(nameIndex)) {
        return false;
    }
    if (!mBytes.ReadByte(flags)) {
        return FailShort();
    }
    const int type = flags / FLAGS_PER_TYPE;
    if (!ValueBytes::IsStorable(type)) {
        return Fail("invalid property type");
    }
    const PropertyRecord record{nameIndex,
                                GetText(nameIndex),
                                flags,
                                static_cast<Value::Type>(type),
                                (flags & FLAG_ARRAY) != 0,
                                (flags & FLAG_DYNAMIC) != 0};
    const Slot& slot = FindSlot(pObject, rClass, place, record);
    if (slot.mFlags == flags) {
        return ReadMember(pObject, slot);
    }
    if (record.mbArray) {
        return ReadArray(pObject, record, slot.mpProperty);
    }
    LentValue value;
    if (!ValueBytes::Read(mBytes, record.mType, value.mValue, *this)) {
        return record.mType == Value::TYPE_STRING || record.mType == Value::TYPE_OBJECT ? false : FailShort();
    }
    StoredProperty property(pObject, record.mName, record.mType, false, slot.mpProperty);
    const bool bOverwrites = property.HoldsObjects();
    const Ptr<Property> pKept =
        bOverwrites ? slot.mpProperty : nullptr; // what gives way may have a destructor
    property.Set(value.mValue);
    if (bOverwrites || !property.IsKept(value.mValue)) {
        mGraph.NoteLoss();
    }
    NoteReference(record.mType, property);
    return true;
}

// What follows the header of a record whose values the member takes as they are.
bool BinaryReader::ReadMember(Object* pObject, const Slot& slot)
{
    if (slot.mbArray) {
        return ReadMemberArray(pObject, slot);
    }
    if (slot.mType == Value::TYPE_OBJECT) {
        return ReadMemberObject(pObject, slot);
    }
    if (slot.mType == Value::TYPE_STRING) {
        int index = 0;
        if (!ReadTextIndex(index)) {
            return false;
        }
        *static_cast<String*>(slot.mMember.Locate(pObject)) = GetText(index);
        return true;
    }
    const unsigned char* const pValue = mBytes.Take(ValueBytes::GetSize(slot.mType));
    if (pValue == nullptr) {
        return FailShort();
    }
    slot.mMember.SetPlain(pObject, pValue);
    return true;
}

bool BinaryReader::ReadMemberObject(Object* pObject, const Slot& slot)
{
    LentValue target;
    if (!ReadObject(mBytes, target.mValue)) {
        return false;
    }
    const void* const pMember = slot.mMember.Locate(pObject);
    const bool bOverwrites = slot.mMember.GetObject(pMember) != nullptr;
    slot.mpProperty->Set(pObject, target.mValue);
    if (bOverwrites || slot.mMember.GetObject(pMember) != target.mValue.AsObject()) {
        mGraph.NoteLoss();
    }
    mGraph.NoteReference(mPosition, mLastObject);
    return true;
}

bool BinaryReader::ReadMemberArray(Object* pObject, const Slot& slot)
{
    int count = 0;
    if (!mBytes.ReadCount(count, ValueBytes::GetSize(slot.mType))) {
        return Fail("invalid array size");
    }
    const bool bObjects = slot.mType == Value::TYPE_OBJECT;
    if (slot.mMember.GetSize(pObject) > 0) {
        if (bObjects) {
            mGraph.NoteLoss();
        }
        slot.mpProperty->Clear(pObject);
    }
    if (bObjects || slot.mType == Value::TYPE_STRING ? !ReadElements(pObject, slot, count)
                                                     : !ReadPlainElements(pObject, slot, count)) {
        return false;
    }
    if (slot.mMember.GetSize(pObject) != count) {
        mGraph.NoteLoss();
    }
    return true;
}

// Texts or objects.
bool BinaryReader::ReadElements(Object* pObject, const Slot& slot, int count)
{
    for (int i = 0; i < count; ++i) {
        LentValue value;
        if (!ValueBytes::Read(mBytes, slot.mType, value.mValue, *this)) {
            return false; // a bad index: there are bytes enough
        }
        slot.mpProperty->Insert(pObject, value.mValue);
        if (slot.mType == Value::TYPE_OBJECT) {
            mGraph.NoteReference(mPosition, mLastObject);
        }
    }
    return true;
}

bool BinaryReader::ReadPlainElements(Object* pObject, const Slot& slot, int count)
{
    constexpr int PART = 4096; // elements at hand at a time, however long the array is
    for (int done = 0; done < count; done += PART) {
        const int part = std::min(PART, count - done);
        const std::size_t size = ValueBytes::GetSize(slot.mType) * static_cast<std::size_t>(part);
        unsigned char* const pElements = mBytes.Take(size);
        if (pElements == nullptr) {
            return false; // the file has said so: there are bytes enough
        }
        ValueBytes::ToPayloads(slot.mType, pElements, part);
        slot.mMember.Append(pObject, pElements, part);
    }
    return true;
}

bool BinaryReader::ReadArray(Object* pObject, const PropertyRecord& record, Property* pProperty)
{
    int count = 0;
    if (!mBytes.ReadCount(count, ValueBytes::GetSize(record.mType))) {
        return Fail("invalid array size");
    }
    const Ptr<Property> pKept = pProperty; // what the array loses and gets may have destructors and setters
    StoredProperty property(pObject, record.mName, record.mType, true, pProperty);
    if (property.HoldsObjects()) {
        mGraph.NoteLoss();
    }
    property.BeginArray();
    for (int i = 0; i < count; ++i) {
        LentValue value;
        if (!ValueBytes::Read(mBytes, record.mType, value.mValue, *this)) {
            return false; // a bad index: there are bytes enough
        }
        property.Insert(i, value.mValue);
        NoteReference(record.mType, property);
    }
    if (!property.AreKept(count)) {
        mGraph.NoteLoss();
    }
    return true;
}

bool BinaryReader::ReadChild(Object* pObject, const Class& loadedClass)
{
    if (loadedClass.mbList) {
        int index = 0; // items take the order of their records
        Object* pItem = nullptr;
        if (!mBytes.ReadInt(index)) {
            return FailShort();
        }
        if (!ReadReference(pItem)) {
            return false;
        }
        static_cast<List*>(pObject)->Insert(pItem);
        mGraph.NoteReference(mPosition, mLastObject);
        return true;
    }
    int nameIndex = 0;
    Object* pEntry = nullptr;
    if (!ReadTextIndex(nameIndex) || !ReadReference(pEntry)) {
        return false;
    }
    Table* const pTable = static_cast<Table*>(pObject);
    const String& name = GetText(nameIndex);
    if (pTable->Find(name) != nullptr) {
        mGraph.NoteLoss();
    }
    pTable->Insert(name, pEntry);
    mGraph.NoteReference(mPosition, mLastObject);
    return true;
}

bool BinaryReader::ReadText(FileBytes&, Value& rText)
{
    int index = 0;
    if (!ReadTextIndex(index)) {
        return false;
    }
    ValueBits::Lend(rText, GetText(index));
    return true;
}

bool BinaryReader::ReadObject(FileBytes&, Value& rObject)
{
    Object* pObject = nullptr;
    if (!ReadReference(pObject)) {
        return false;
    }
    ValueBits::Lend(rObject, pObject);
    return true;
}

bool BinaryReader::ReadReference(Object*& rpObject)
{
    int index = 0;
    if (!mBytes.ReadInt(index)) {
        return FailShort();
    }
    if (!CheckIndex(index, static_cast<std::size_t>(mGraph.GetSize()))) {
        return false;
    }
    mLastObject = index;
    rpObject = index < 0 ? nullptr : mGraph.GetAt(index);
    return true;
}

bool BinaryReader::ReadTextIndex(int& rIndex)
{
    if (!mBytes.ReadInt(rIndex)) {
        return FailShort();
    }
    return CheckIndex(rIndex, mTexts.size());
}

// What the global Construct does, with the look-up done once per class of the file.
Ptr<Object> BinaryReader::ConstructObject(int moduleIndex, int nameIndex)
{
    const std::uint64_t key = static_cast<std::uint64_t>(static_cast<std::uint32_t>(moduleIndex)) << 32 |
                              static_cast<std::uint32_t>(nameIndex);
    if (key != mLastClassKey || mStoredClasses.empty()) {
        mLastStoredClass = mStoredClassIndex.Find(key);
        if (mLastStoredClass == PositionIndex::NONE) {
            mLastStoredClass = static_cast<int>(mStoredClasses.size());
            mStoredClassIndex.Insert(key, mLastStoredClass);
            const String& module = GetText(moduleIndex);
            const String& name = GetText(nameIndex);
            mStoredClasses.push_back({module, name, FindConstructFunction(module, name),
                                      mGuard.CheckClass(FindRegisteredClass(module, name),
                                                        std::string(module.c_str()) + "." + name.c_str())});
        }
        mLastClassKey = key;
    }
    const StoredClass& storedClass = mStoredClasses[static_cast<std::size_t>(mLastStoredClass)];
    if (!IsFine(storedClass.mTrouble)) {
        return nullptr;
    }
    if (!mGuard.AllowsObjects(mPosition + 1)) {
        IsFine(mGuard.DescribeNumObjects(std::string(storedClass.mModule.c_str()) + "." +
                                         storedClass.mName.c_str()));
        return nullptr;
    }
    if (storedClass.mpConstruct == nullptr) {
        return Construct(storedClass.mModule, storedClass.mName); // says what is missing
    }
    Value object = storedClass.mpConstruct->Invoke(nullptr, Value::Null, Value::Null, Value::Null,
                                                   Value::Null, Value::Null);
    return Ptr<Object>::Adopt(ValueBits::TakeObject(std::move(object)));
}

void BinaryReader::NoteReference(Value::Type type, const StoredProperty& property)
{
    if (type == Value::TYPE_OBJECT && property.Fits()) {
        mGraph.NoteReference(mPosition, mLastObject);
    }
}

// What the object has under the record's name. Objects without properties of their own share the look-ups.
// The answer is valid until the next call.
const BinaryReader::Slot& BinaryReader::FindSlot(Object* pObject, Class& rClass, int place,
                                                 const PropertyRecord& record)
{
    const std::size_t index = static_cast<std::size_t>(place);
    if (pObject->GetInstanceTable() == nullptr && index < rClass.mSlots.size()) {
        const Slot& slot = rClass.mSlots[index];
        if (slot.mNameIndex == record.mNameIndex && (slot.mpProperty != nullptr || !record.mbDynamic)) {
            return slot;
        }
    }
    Property* const pProperty =
        FindOrAddStoredProperty(pObject, record.mName, record.mType, record.mbArray, record.mbDynamic);
    if (pObject->GetInstanceTable() != nullptr) {
        mOwnSlot.mpProperty = pProperty;
        return mOwnSlot;
    }
    if (index >= rClass.mSlots.size()) {
        rClass.mSlots.resize(index + 1);
    }
    return rClass.mSlots[index] = MakeSlot(pObject, record, pProperty);
}

BinaryReader::Slot BinaryReader::MakeSlot(Object* pObject, const PropertyRecord& record, Property* pProperty)
{
    Slot slot;
    slot.mNameIndex = record.mNameIndex;
    slot.mpProperty = pProperty;
    const StoredProperty property(pObject, record.mName, record.mType, record.mbArray, pProperty);
    if (!property.Fits() || pProperty->GetType() != record.mType) {
        return slot;
    }
    slot.mMember = StoredMember(pProperty, pObject);
    if (slot.mMember.IsKnown()) {
        slot.mFlags = record.mFlags;
        slot.mType = record.mType;
        slot.mbArray = record.mbArray;
    }
    return slot;
}

// -1 stands for nothing; any other index has to be inside the table.
bool BinaryReader::CheckIndex(int index, std::size_t size) const
{
    if (index == -1 || (index >= 0 && static_cast<std::size_t>(index) < size)) {
        return true;
    }
    // The words of the assertion, without its break: the file is wrong, not the program.
    Error("QBase/Array", __LINE__, "ASSERT( index >= 0 && index < mSize )");
    return false;
}

bool BinaryReader::Fail(const char* pWhat) const
{
    Error(QBASE_HERE, "Failed to deserialize file '%s' - %s at byte %llu", mFilename.c_str(), pWhat,
          static_cast<unsigned long long>(mBytes.GetPosition()));
    return false;
}

// True when nothing is in the way.
bool BinaryReader::IsFine(const std::string& trouble) const
{
    if (QBASE_LIKELY(trouble.empty())) {
        return true;
    }
    return Fail(trouble.c_str());
}

} // namespace QBase
