#include "QBase/BinaryReader.h"

#include "QBase/ConstructFunction.h"
#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/StoredProperty.h"
#include "QBase/Table.h"

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

// Whether the object at hand, or its contents, left memory enough.
bool BinaryReader::CheckMemory() const
{
    return IsFine(mGuard.CheckMemory(mGraph.GetAt(mPosition)));
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
    for (mPosition = 0; mPosition < count; ++mPosition) {
        int moduleIndex = 0;
        int nameIndex = 0;
        ObjectRecord record{};
        if (!ReadTextIndex(moduleIndex) || !ReadTextIndex(nameIndex) ||
            !mBytes.ReadInt(record.mPropertyCount) || !mBytes.ReadInt(record.mChildCount)) {
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
        if (!ReadProperty(pObject, rClass, place)) {
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
    const PropertyRecord record{nameIndex, GetText(nameIndex), static_cast<Value::Type>(type),
                                (flags & FLAG_ARRAY) != 0, (flags & FLAG_DYNAMIC) != 0};
    Property* const pFound = FindProperty(pObject, rClass, place, record);
    if (record.mbArray) {
        return ReadArray(pObject, record, pFound);
    }
    LentValue value;
    if (!ValueBytes::Read(mBytes, record.mType, value.mValue, *this)) {
        return record.mType == Value::TYPE_STRING || record.mType == Value::TYPE_OBJECT ? false : FailShort();
    }
    StoredProperty property(pObject, record.mName, record.mType, false, pFound);
    const bool bOverwrites = property.HoldsObjects();
    const Ptr<Property> pKept = bOverwrites ? pFound : nullptr; // what gives way may have a destructor
    property.Set(value.mValue);
    if (bOverwrites || !property.IsKept(value.mValue)) {
        mGraph.NoteLoss();
    }
    NoteReference(record.mType, property);
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

// What Object::FindProperty answers. Objects without properties of their own share the look-ups.
Property* BinaryReader::FindProperty(Object* pObject, Class& rClass, int place, const PropertyRecord& record)
{
    if (pObject->GetInstanceTable() != nullptr) {
        return FindOrAddStoredProperty(pObject, record.mName, record.mType, record.mbArray, record.mbDynamic);
    }
    const std::size_t slot = static_cast<std::size_t>(place);
    if (slot < rClass.mSlots.size() && rClass.mSlots[slot].mNameIndex == record.mNameIndex &&
        (rClass.mSlots[slot].mpProperty != nullptr || !record.mbDynamic)) {
        return rClass.mSlots[slot].mpProperty;
    }
    Property* const pProperty =
        FindOrAddStoredProperty(pObject, record.mName, record.mType, record.mbArray, record.mbDynamic);
    if (pObject->GetInstanceTable() == nullptr) {
        if (slot >= rClass.mSlots.size()) {
            rClass.mSlots.resize(slot + 1);
        }
        rClass.mSlots[slot] = {record.mNameIndex, pProperty};
    }
    return pProperty;
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
