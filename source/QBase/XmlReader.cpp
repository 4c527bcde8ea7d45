#include "QBase/XmlReader.h"

#include "QBase/ConstructFunction.h"
#include "QBase/Enum.h"
#include "QBase/Error.h"
#include "QBase/FileFormat.h"
#include "QBase/Global.h"
#include "QBase/StoredProperty.h"
#include "QBase/StringConverter.h"
#include "QBase/ValueBytes.h"
#include "QBase/ValueText.h"

#include <vector>

namespace QBase
{

namespace
{

template <typename T>
bool ReadPlain(std::string_view text, Value& rValue)
{
    T value{};
    if (!ValueText::Read(text, value)) {
        return false;
    }
    rValue = Value(value);
    return true;
}

String ToString(std::string_view text)
{
    return text.empty() ? String::Null : String(text.data()); // the texts of all records end with a zero
}

} // namespace

std::string XmlReader::Describe() const
{
    if (mpObjectRecord == nullptr) {
        return std::string();
    }
    constexpr std::size_t maxSize = 200; // of the path, which may be as long as the graph is deep
    const std::string_view path = mRecords.GetText(mpObjectRecord->mPath);
    const std::string line = "line " + std::to_string(mLine);
    if (path.empty() || path.size() > maxSize) {
        return line;
    }
    return std::string(path) + ", " + line;
}

bool XmlReader::Parse(std::string_view text)
{
    const std::string trouble = mRecords.Parse(text);
    if (!trouble.empty()) {
        Error(QBASE_HERE, "Xml '%s' parse failed: %s", mFilename.c_str(), trouble.c_str());
        return false;
    }
    return true;
}

Value XmlReader::Read()
{
    if (!CheckHeader() || !ReadObjects() || !ReadAllContents() || !CheckNesting()) {
        return Value();
    }
    return mGraph.HandOver();
}

bool XmlReader::ReadAllContents()
{
    for (const ObjectRecord& record : mRecords.GetObjects()) {
        mGraph.StopWithoutMemory();
        if (!ReadContents(record, mGraph.GetAt(mPosition)) || !CheckMemory(mPosition)) {
            return false;
        }
        ++mPosition;
    }
    return true;
}

bool XmlReader::CheckNesting()
{
    if (!mGuard.HasNestingLimit()) {
        return true;
    }
    const int position = mGraph.FindDeeperThan(mGuard.GetMaxNesting());
    if (position == PositionIndex::NONE) {
        return true;
    }
    mpObjectRecord = &mRecords.GetObjects()[static_cast<std::size_t>(position)];
    mLine = mpObjectRecord->mLine;
    return IsFine(mGuard.DescribeNesting(mGraph.GetAt(position), position));
}

// True when nothing is in the way.
bool XmlReader::IsFine(const std::string& trouble) const
{
    if (QBASE_LIKELY(trouble.empty())) {
        return true;
    }
    const std::string place = mpObjectRecord != nullptr ? " in line " + std::to_string(mLine) : "";
    Error(QBASE_HERE, "Failed to deserialize file '%s' - %s%s", mFilename.c_str(), trouble.c_str(),
          place.c_str());
    return false;
}

bool XmlReader::CheckHeader() const
{
    if (mRecords.GetId() != FileFormat::ID) {
        Error(QBASE_HERE, "Deserialize failed, file id mismatch for file '%s'.", mFilename.c_str());
        return false;
    }
    const int version = mRecords.GetVersion();
    if (version != FileFormat::VERSION) {
        Error(QBASE_HERE, "Deserialize failed, file '%s' version is %d, expected %d", mFilename.c_str(),
              version, FileFormat::VERSION);
        return false;
    }
    return true;
}

bool XmlReader::ReadObjects()
{
    mGraph.Reserve(mRecords.GetObjects().size());
    for (const ObjectRecord& record : mRecords.GetObjects()) {
        mpObjectRecord = &record;
        mLine = record.mLine;
        if (!ReadObject(record)) {
            return false;
        }
    }
    if (mGraph.GetSize() == 0) {
        Error(QBASE_HERE, "File contains no objects to deserialize");
        return false;
    }
    return true;
}

bool XmlReader::ReadObject(const ObjectRecord& record)
{
    Ptr<Object> pObject = ConstructObject(record);
    if (pObject == nullptr) {
        return false;
    }
    const int position = mGraph.GetSize();
    mGraph.Add(std::move(pObject));
    if (!CheckMemory(position)) {
        return false;
    }
    const std::string_view path = GetPath(position);
    const std::uint64_t key = PositionIndex::KeyOf(path);
    if (mPathIndex.Find(key, [&](int other) { return GetPath(other) == path; }) == PositionIndex::NONE) {
        mPathIndex.Insert(key, position);
    }
    return true;
}

// What the global Construct does, with one look-up for a run of objects of one class.
Ptr<Object> XmlReader::ConstructObject(const ObjectRecord& record)
{
    const auto& [module, className] = mRecords.GetClassNames(record);
    if (mpLastConstruct == nullptr || record.mClass != mLastClass) {
        if (!CheckStringLength(module) || !CheckStringLength(className)) {
            return nullptr;
        }
        const String moduleName = ToString(module);
        const String name = ToString(className);
        const ClassInfoTable* const pFound = FindRegisteredClass(moduleName, name);
        if (!IsFine(mGuard.CheckClass(pFound, module + "." + className))) {
            return nullptr;
        }
        mpLastConstruct = FindConstructFunction(moduleName, name);
        if (mpLastConstruct == nullptr) {
            return Construct(moduleName, name); // says what is missing
        }
        mLastClass = record.mClass;
    }
    if (!mGuard.AllowsObjects(mGraph.GetSize() + 1)) {
        IsFine(mGuard.DescribeNumObjects(module + "." + className));
        return nullptr;
    }
    Value object =
        mpLastConstruct->Invoke(nullptr, Value::Null, Value::Null, Value::Null, Value::Null, Value::Null);
    return Ptr<Object>::Adopt(ValueBits::TakeObject(std::move(object)));
}

bool XmlReader::ReadContents(const ObjectRecord& record, Object* pObject)
{
    Class& rClass = mClasses.Find(pObject);
    mpObjectRecord = &record;
    mLine = record.mLine;
    LoadedContents contents(pObject, rClass);
    int place = 0;
    while (mNextContent < record.mContentsEnd) {
        const ContentRecord& content = mRecords.GetContents()[mNextContent++];
        bool bRead = true;
        mLine = content.mLine;
        if (content.mKind != XmlRecords::CHILD) {
            bRead = ReadProperty(content, pObject, rClass, place++);
        } else if (rClass.mbTable) {
            bRead = ReadEntry(content, static_cast<Table*>(pObject));
        } else if (rClass.mbList) {
            bRead = ReadItem(content, static_cast<List*>(pObject));
        } else {
            Error(QBASE_HERE, "Failed to deserialize unrecognized element %s", "Child");
            bRead = false;
        }
        if (!bRead) {
            return false;
        }
    }
    contents.Finish();
    return true;
}

bool XmlReader::ReadProperty(const ContentRecord& record, Object* pObject, Class& rClass, int place)
{
    const Value::Type type = record.GetType();
    const std::string_view name = mRecords.GetText(record.mName);
    if (!CheckStringLength(name)) {
        return false;
    }
    if (name.empty() || type == Value::TYPE_VOID) {
        Error(QBASE_HERE, "Failed to deserialize a property of %s.%s - invalid name or type",
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str());
        return false;
    }
    const Slot& slot = FindProperty(pObject, rClass, place, record);
    if (record.mKind == XmlRecords::ARRAY) {
        return ReadArray(pObject, type, slot);
    }
    Value value;
    if (!ReadValue(record, type, slot.mpProperty, value)) {
        Error(QBASE_HERE, "Failed to deserialize property %s.%s.%s - invalid value of type '%s'",
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), slot.mName.c_str(),
              StringConverter<Value::Type>::ToString(type).c_str());
        return false;
    }
    StoredProperty property(pObject, slot.mName, type, false, slot.mpProperty);
    const bool bOverwrites = property.HoldsObjects();
    property.Set(value);
    if (bOverwrites || !property.IsKept(value)) {
        mGraph.NoteLoss();
    }
    NoteReference(type, property);
    return true;
}

bool XmlReader::ReadArray(Object* pObject, Value::Type type, const Slot& slot)
{
    StoredProperty property(pObject, slot.mName, type, true, slot.mpProperty);
    if (property.HoldsObjects()) {
        mGraph.NoteLoss();
    }
    property.BeginArray();
    const std::vector<ContentRecord>& contents = mRecords.GetContents();
    int index = 0;
    for (; mNextContent < contents.size() && contents[mNextContent].mKind == XmlRecords::VALUE;
         ++mNextContent) {
        if (!ValueBytes::IsStorable(type)) {
            Error(QBASE_HERE, "Invalid element type %s for array property value",
                  StringConverter<Value::Type>::ToString(type).c_str());
            return false;
        }
        const ContentRecord& record = contents[mNextContent];
        mLine = record.mLine;
        Value value;
        if (!ReadValue(record, type, slot.mpProperty, value)) {
            Error(QBASE_HERE, "Failed to deserialize property %s.%s.%s[%d] - invalid value of type '%s'",
                  pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), slot.mName.c_str(),
                  index, StringConverter<Value::Type>::ToString(type).c_str());
            return false;
        }
        property.Insert(index++, value);
        NoteReference(type, property);
    }
    if (!property.AreKept(index)) {
        mGraph.NoteLoss();
    }
    return true;
}

bool XmlReader::ReadEntry(const ContentRecord& record, Table* pTable)
{
    const std::string_view nameText = mRecords.GetText(record.mName);
    if (!CheckStringLength(nameText)) {
        return false;
    }
    const String name = ToString(nameText);
    Value entry;
    if (name.empty() || !ReadValue(record, Value::TYPE_OBJECT, nullptr, entry)) {
        Error(QBASE_HERE, "Failed to deserialize table entry %s", name.c_str());
        return false;
    }
    if (pTable->Find(name) != nullptr) {
        mGraph.NoteLoss();
    }
    pTable->Insert(name, entry.AsObject());
    mGraph.NoteReference(mPosition, mLastObject);
    return true;
}

bool XmlReader::ReadItem(const ContentRecord& record, List* pList)
{
    Value item;
    if (!ReadValue(record, Value::TYPE_OBJECT, nullptr, item)) {
        Error(QBASE_HERE, "Failed to deserialize list");
        return false;
    }
    pList->Insert(item.AsObject());
    mGraph.NoteReference(mPosition, mLastObject);
    return true;
}

bool XmlReader::ReadValue(const ContentRecord& record, Value::Type type, Property* pProperty, Value& rValue)
{
    const std::string_view text = mRecords.GetText(record.mText);
    if (type == Value::TYPE_STRING) {
        if (!CheckStringLength(text)) {
            return false;
        }
        rValue = Value(ToString(text));
        return true;
    }
    if (type == Value::TYPE_OBJECT) {
        return FindObject(text, rValue);
    }
    if (!record.mText.IsThere()) {
        return false;
    }
    switch (type) {
    case Value::TYPE_INT:
        return ReadPlain<int>(text, rValue);
    case Value::TYPE_FLOAT:
        return ReadPlain<float>(text, rValue);
    case Value::TYPE_BOOL:
        return ReadPlain<bool>(text, rValue);
    case Value::TYPE_VECTOR2:
        return ReadPlain<Vector2>(text, rValue);
    case Value::TYPE_VECTOR3:
        return ReadPlain<Vector3>(text, rValue);
    case Value::TYPE_VECTOR4:
        return ReadPlain<Vector4>(text, rValue);
    case Value::TYPE_VECTOR2I:
        return ReadPlain<Vector2i>(text, rValue);
    case Value::TYPE_VECTOR3I:
        return ReadPlain<Vector3i>(text, rValue);
    case Value::TYPE_VECTOR4I:
        return ReadPlain<Vector4i>(text, rValue);
    case Value::TYPE_COLOR:
        return ReadPlain<Color>(text, rValue);
    case Value::TYPE_ENUM:
        return ReadEnum(text, pProperty, rValue);
    case Value::TYPE_QUATERNION:
        return ReadPlain<Quaternion>(text, rValue);
    default:
        return false;
    }
}

// A number, or a name of the property's enumeration.
bool XmlReader::ReadEnum(std::string_view text, Property* pProperty, Value& rValue) const
{
    int number = 0;
    if (!ValueText::Read(text, number)) {
        EnumInfoObject* const pNames = pProperty != nullptr ? pProperty->GetEnumInfo() : nullptr;
        const String key(text.data());
        if (pNames == nullptr || pNames->FindProperty(key) == nullptr) {
            return false;
        }
        number = pNames->GetValueFromKey(key);
    }
    rValue = ValueBits::MakePlain(Value::TYPE_ENUM, &number, sizeof(number));
    return true;
}

// What Object::FindProperty answers. Objects without properties of their own share the look-ups. The answer
// is valid until the next call.
const XmlReader::Slot& XmlReader::FindProperty(Object* pObject, Class& rClass, int place,
                                               const ContentRecord& record)
{
    const std::string_view name = mRecords.GetText(record.mName);
    const std::size_t index = static_cast<std::size_t>(place);
    if (pObject->GetInstanceTable() == nullptr && index < rClass.mSlots.size()) {
        const Slot& slot = rClass.mSlots[index];
        if (std::string_view(slot.mName.buffer_utf8()) == name &&
            (slot.mpProperty != nullptr || !record.mbDynamic)) {
            return slot;
        }
    }
    mOwnSlot.mName = String(name.data());
    mOwnSlot.mpProperty = FindOrAddStoredProperty(pObject, mOwnSlot.mName, record.GetType(),
                                                  record.mKind == XmlRecords::ARRAY, record.mbDynamic);
    if (pObject->GetInstanceTable() != nullptr) {
        return mOwnSlot;
    }
    if (index >= rClass.mSlots.size()) {
        rClass.mSlots.resize(index + 1);
    }
    return rClass.mSlots[index] = mOwnSlot;
}

void XmlReader::NoteReference(Value::Type type, const StoredProperty& property)
{
    if (type == Value::TYPE_OBJECT && property.Fits()) {
        mGraph.NoteReference(mPosition, mLastObject);
    }
}

// An empty path is null.
bool XmlReader::FindObject(std::string_view path, Value& rObject)
{
    if (path.empty()) {
        mLastObject = PositionIndex::NONE;
        rObject = Value(nullptr);
        return true;
    }
    const int position = mPathIndex.Find(PositionIndex::KeyOf(path),
                                         [&](int candidate) { return GetPath(candidate) == path; });
    if (position == PositionIndex::NONE) {
        Error(QBASE_HERE, "Unable to find object with path %s", path.data());
        return false;
    }
    mLastObject = position;
    rObject = Value(mGraph.GetAt(position));
    return true;
}

} // namespace QBase
