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
#include "QBase/XmlText.h"

#include <cstring>

namespace QBase
{

using tinyxml2::XMLAttribute;
using tinyxml2::XMLElement;
using tinyxml2::XMLNode;
using tinyxml2::XMLText;

namespace
{

bool IsNamed(const XMLElement* pElement, const char* pName)
{
    return std::strcmp(pElement->Name(), pName) == 0;
}

// A decimal attribute; 0 when it is missing or no number.
int ReadIntAttribute(const XMLElement* pElement, const char* pName)
{
    int value = 0;
    const char* const pText = pElement->Attribute(pName);
    if (pText != nullptr) {
        ValueText::Read(pText, value);
    }
    return value;
}

template <typename T>
bool ReadPlain(const char* pText, Value& rValue)
{
    T value{};
    if (!ValueText::Read(pText, value)) {
        return false;
    }
    rValue = Value(value);
    return true;
}

// Where the tag that starts at `start` ends; npos when it does not. Counts quoted values, of which each
// attribute has one.
std::size_t FindTagEnd(std::string_view text, std::size_t start, std::size_t& rNumAttributes)
{
    char quote = 0;
    for (std::size_t i = start; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '>') {
            return i;
        } else if (c == '"' || c == '\'') {
            quote = c;
            ++rNumAttributes;
        }
    }
    return text.npos;
}

// The parser holds each attribute of an element against all before it, which would keep it busy for hours
// with an element of a million. What has no end is left to the parser.
bool HasCrowdedElement(std::string_view text)
{
    constexpr std::size_t maxAttributes = 1000; // ours have five at most
    for (std::size_t i = text.find('<'); i != text.npos; i = text.find('<', i)) {
        std::size_t numAttributes = 0;
        const std::string_view tag = text.substr(i);
        if (tag.starts_with("<!--")) {
            i = text.find("-->", i + 4);
        } else if (tag.starts_with("<![CDATA[")) {
            i = text.find("]]>", i + 9);
        } else if (tag.starts_with("<!")) {
            i = text.find('>', i + 2);
        } else if (tag.starts_with("<?")) {
            i = text.find("?>", i + 2);
        } else {
            i = FindTagEnd(text, i, numAttributes);
        }
        if (numAttributes > maxAttributes) {
            return true;
        }
    }
    return false;
}

String ToString(std::string_view text)
{
    return text.empty() ? String::Null : String(text.data()); // all texts of a document end with a zero
}

} // namespace

std::string XmlReader::Describe() const
{
    if (mpObjectElement == nullptr) {
        return std::string();
    }
    constexpr std::size_t maxSize = 200; // of the path, which may be as long as the graph is deep
    const char* const pPath = mpObjectElement->Attribute("Path");
    std::string text;
    const std::string_view path = Unescape(pPath != nullptr ? pPath : "", text);
    const std::string line = "line " + std::to_string(mpPresentElement->GetLineNum());
    if (path.empty() || path.size() > maxSize) {
        return line;
    }
    return std::string(path) + ", " + line;
}

bool XmlReader::Parse(const char* pText, std::size_t size)
{
    if (std::memchr(pText, 0, size) != nullptr) {
        return ReportParseError("The text holds a zero byte");
    }
    if (HasCrowdedElement({pText, size})) {
        return ReportParseError("An element has more than 1000 attributes");
    }
    if (mDocument.Parse(pText, size) != tinyxml2::XML_SUCCESS) {
        return ReportParseError(mDocument.ErrorStr());
    }
    return CheckDocument();
}

// What the parser lets pass beside the root element.
bool XmlReader::CheckDocument() const
{
    bool bRoot = false;
    for (const XMLNode* pNode = mDocument.FirstChild(); pNode != nullptr; pNode = pNode->NextSibling()) {
        if (pNode->ToText() != nullptr) {
            return ReportParseError("Text outside the root element");
        }
        if (pNode->ToElement() == nullptr) {
            continue;
        }
        if (bRoot) {
            return ReportParseError("More than one root element");
        }
        bRoot = true;
    }
    return true;
}

bool XmlReader::ReportParseError(const char* pDescription) const
{
    Error(QBASE_HERE, "Xml '%s' parse failed: %s", mFilename.c_str(), pDescription);
    return false;
}

Value XmlReader::Read()
{
    const XMLElement* const pRoot = mDocument.RootElement();
    if (!CheckHeader(pRoot) || !ReadObjects(pRoot) || !ReadAllContents(pRoot) || !CheckNesting(pRoot)) {
        return Value();
    }
    return mGraph.HandOver();
}

bool XmlReader::ReadAllContents(const XMLElement* pRoot)
{
    for (const XMLElement* pElement = pRoot->FirstChildElement(); pElement != nullptr;
         pElement = pElement->NextSiblingElement()) {
        mGraph.StopWithoutMemory();
        if (!ReadContents(pElement, mGraph.GetAt(mPosition)) || !CheckMemory(mPosition)) {
            return false;
        }
        ++mPosition;
    }
    return true;
}

bool XmlReader::CheckNesting(const XMLElement* pRoot)
{
    if (!mGuard.HasNestingLimit()) {
        return true;
    }
    const int position = mGraph.FindDeeperThan(mGuard.GetMaxNesting());
    if (position == PositionIndex::NONE) {
        return true;
    }
    const XMLElement* pElement = pRoot->FirstChildElement();
    for (int i = 0; i < position; ++i) {
        pElement = pElement->NextSiblingElement();
    }
    mpObjectElement = mpPresentElement = pElement;
    return IsFine(mGuard.DescribeNesting(mGraph.GetAt(position), position));
}

// True when nothing is in the way.
bool XmlReader::IsFine(const std::string& trouble) const
{
    if (QBASE_LIKELY(trouble.empty())) {
        return true;
    }
    const std::string place =
        mpObjectElement != nullptr ? " in line " + std::to_string(mpPresentElement->GetLineNum()) : "";
    Error(QBASE_HERE, "Failed to deserialize file '%s' - %s%s", mFilename.c_str(), trouble.c_str(),
          place.c_str());
    return false;
}

bool XmlReader::CheckHeader(const XMLElement* pRoot) const
{
    if (pRoot == nullptr || ReadIntAttribute(pRoot, "id") != FileFormat::ID) {
        Error(QBASE_HERE, "Deserialize failed, file id mismatch for file '%s'.", mFilename.c_str());
        return false;
    }
    const int version = ReadIntAttribute(pRoot, "version");
    if (version != FileFormat::VERSION) {
        Error(QBASE_HERE, "Deserialize failed, file '%s' version is %d, expected %d", mFilename.c_str(),
              version, FileFormat::VERSION);
        return false;
    }
    return true;
}

bool XmlReader::ReadObjects(const XMLElement* pRoot)
{
    for (const XMLElement* pElement = pRoot->FirstChildElement(); pElement != nullptr;
         pElement = pElement->NextSiblingElement()) {
        mpObjectElement = mpPresentElement = pElement;
        if (!ReadObject(pElement)) {
            return false;
        }
    }
    if (mGraph.GetSize() == 0) {
        Error(QBASE_HERE, "File contains no objects to deserialize");
        return false;
    }
    return true;
}

bool XmlReader::ReadObject(const XMLElement* pElement)
{
    Ptr<Object> pObject = ConstructObject(pElement);
    if (pObject == nullptr) {
        return false;
    }
    const char* const pPath = pElement->Attribute("Path");
    std::string_view path = pPath != nullptr ? pPath : "";
    if (XmlText::HasEntities(path)) {
        mUnescapedPaths.emplace_back();
        path = Unescape(pPath, mUnescapedPaths.back());
    }
    const int position = mGraph.GetSize();
    mGraph.Add(std::move(pObject));
    if (!CheckMemory(position)) {
        return false;
    }
    mPaths.push_back(path);
    const std::uint64_t key = PositionIndex::KeyOf(path);
    const auto isSame = [&](int other) { return mPaths[static_cast<std::size_t>(other)] == path; };
    if (mPathIndex.Find(key, isSame) == PositionIndex::NONE) {
        mPathIndex.Insert(key, position);
    }
    return true;
}

// What the global Construct does, with one look-up for a run of objects of one class.
Ptr<Object> XmlReader::ConstructObject(const XMLElement* pElement)
{
    const char* const pModule = pElement->Attribute("Module");
    const char* const pClass = pElement->Attribute("Class");
    const std::string_view module = Unescape(pModule != nullptr ? pModule : "", mText);
    const std::string_view className = Unescape(pClass != nullptr ? pClass : "", mNameText);
    if (mpLastConstruct == nullptr || module != mLastModule || className != mLastClassName) {
        if (!CheckStringLength(module) || !CheckStringLength(className)) {
            return nullptr;
        }
        const String moduleName = ToString(module);
        const String name = ToString(className);
        const ClassInfoTable* const pFound = FindRegisteredClass(moduleName, name);
        if (!IsFine(mGuard.CheckClass(pFound, std::string(module).append(".").append(className)))) {
            return nullptr;
        }
        mpLastConstruct = FindConstructFunction(moduleName, name);
        if (mpLastConstruct == nullptr) {
            return Construct(moduleName, name); // says what is missing
        }
        mLastModule = module;
        mLastClassName = className;
    }
    if (!mGuard.AllowsObjects(mGraph.GetSize() + 1)) {
        IsFine(mGuard.DescribeNumObjects(mLastModule + "." + mLastClassName));
        return nullptr;
    }
    Value object =
        mpLastConstruct->Invoke(nullptr, Value::Null, Value::Null, Value::Null, Value::Null, Value::Null);
    return Ptr<Object>::Adopt(ValueBits::TakeObject(std::move(object)));
}

bool XmlReader::ReadContents(const XMLElement* pElement, Object* pObject)
{
    Class& rClass = mClasses.Find(pObject);
    mpObjectElement = mpPresentElement = pElement;
    LoadedContents contents(pObject, rClass);
    int place = 0;
    for (const XMLElement* pChild = pElement->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        bool bRead = true;
        mpPresentElement = pChild;
        if (IsNamed(pChild, "Property")) {
            bRead = ReadProperty(pChild, pObject, rClass, place++);
        } else if (!IsNamed(pChild, "Child")) {
            continue;
        } else if (rClass.mbTable) {
            bRead = ReadEntry(pChild, static_cast<Table*>(pObject));
        } else if (rClass.mbList) {
            bRead = ReadItem(pChild, static_cast<List*>(pObject));
        } else {
            Error(QBASE_HERE, "Failed to deserialize unrecognized element %s", pChild->Name());
            bRead = false;
        }
        if (!bRead) {
            return false;
        }
    }
    contents.Finish();
    return true;
}

bool XmlReader::ReadProperty(const XMLElement* pElement, Object* pObject, Class& rClass, int place)
{
    const PropertyElement element = ReadAttributes(pElement);
    if (!CheckStringLength(element.mName)) {
        return false;
    }
    if (element.mName.empty() || element.mType == Value::TYPE_VOID) {
        Error(QBASE_HERE, "Failed to deserialize a property of %s.%s - invalid name or type",
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str());
        return false;
    }
    const Slot& slot = FindProperty(pObject, rClass, place, element);
    if (element.mbArray) {
        return ReadArray(pElement, pObject, element.mType, slot);
    }
    Value value;
    if (!ReadValue(pElement, element.mType, slot.mpProperty, value)) {
        Error(QBASE_HERE, "Failed to deserialize property %s.%s.%s - invalid value of type '%s'",
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), slot.mName.c_str(),
              StringConverter<Value::Type>::ToString(element.mType).c_str());
        return false;
    }
    StoredProperty property(pObject, slot.mName, element.mType, false, slot.mpProperty);
    const bool bOverwrites = property.HoldsObjects();
    property.Set(value);
    if (bOverwrites || !property.IsKept(value)) {
        mGraph.NoteLoss();
    }
    NoteReference(element.mType, property);
    return true;
}

bool XmlReader::ReadArray(const XMLElement* pElement, Object* pObject, Value::Type type, const Slot& slot)
{
    StoredProperty property(pObject, slot.mName, type, true, slot.mpProperty);
    if (property.HoldsObjects()) {
        mGraph.NoteLoss();
    }
    property.BeginArray();
    int index = 0;
    for (const XMLElement* pValue = pElement->FirstChildElement("Value"); pValue != nullptr;
         pValue = pValue->NextSiblingElement("Value")) {
        if (!ValueBytes::IsStorable(type)) {
            Error(QBASE_HERE, "Invalid element type %s for array property value",
                  StringConverter<Value::Type>::ToString(type).c_str());
            return false;
        }
        mpPresentElement = pValue;
        Value value;
        if (!ReadValue(pValue, type, slot.mpProperty, value)) {
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

bool XmlReader::ReadEntry(const XMLElement* pElement, Table* pTable)
{
    const char* const pName = pElement->Attribute("Name");
    const std::string_view nameText = Unescape(pName != nullptr ? pName : "", mNameText);
    if (!CheckStringLength(nameText)) {
        return false;
    }
    const String name = ToString(nameText);
    Value entry;
    if (name.empty() || !ReadValue(pElement, Value::TYPE_OBJECT, nullptr, entry)) {
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

bool XmlReader::ReadItem(const XMLElement* pElement, List* pList)
{
    Value item;
    if (!ReadValue(pElement, Value::TYPE_OBJECT, nullptr, item)) {
        Error(QBASE_HERE, "Failed to deserialize list");
        return false;
    }
    pList->Insert(item.AsObject());
    mGraph.NoteReference(mPosition, mLastObject);
    return true;
}

bool XmlReader::ReadValue(const XMLElement* pElement, Value::Type type, Property* pProperty, Value& rValue)
{
    const char* const pText = GetText(pElement);
    if (type == Value::TYPE_STRING) {
        if (pText != nullptr && !CheckStringLength(pText)) {
            return false;
        }
        rValue = Value(pText != nullptr ? ToString(pText) : String::Null);
        return true;
    }
    if (type == Value::TYPE_OBJECT) {
        return FindObject(pText != nullptr ? pText : "", rValue);
    }
    if (pText == nullptr) {
        return false;
    }
    switch (type) {
    case Value::TYPE_INT:
        return ReadPlain<int>(pText, rValue);
    case Value::TYPE_FLOAT:
        return ReadPlain<float>(pText, rValue);
    case Value::TYPE_BOOL:
        return ReadPlain<bool>(pText, rValue);
    case Value::TYPE_VECTOR2:
        return ReadPlain<Vector2>(pText, rValue);
    case Value::TYPE_VECTOR3:
        return ReadPlain<Vector3>(pText, rValue);
    case Value::TYPE_VECTOR4:
        return ReadPlain<Vector4>(pText, rValue);
    case Value::TYPE_VECTOR2I:
        return ReadPlain<Vector2i>(pText, rValue);
    case Value::TYPE_VECTOR3I:
        return ReadPlain<Vector3i>(pText, rValue);
    case Value::TYPE_VECTOR4I:
        return ReadPlain<Vector4i>(pText, rValue);
    case Value::TYPE_COLOR:
        return ReadPlain<Color>(pText, rValue);
    case Value::TYPE_ENUM:
        return ReadEnum(pText, pProperty, rValue);
    case Value::TYPE_QUATERNION:
        return ReadPlain<Quaternion>(pText, rValue);
    default:
        return false;
    }
}

// A number, or a name of the property's enumeration.
bool XmlReader::ReadEnum(const char* pText, Property* pProperty, Value& rValue) const
{
    int number = 0;
    if (!ValueText::Read(pText, number)) {
        EnumInfoObject* const pNames = pProperty != nullptr ? pProperty->GetEnumInfo() : nullptr;
        const String key(pText);
        if (pNames == nullptr || pNames->FindProperty(key) == nullptr) {
            return false;
        }
        number = pNames->GetValueFromKey(key);
    }
    rValue = ValueBits::MakePlain(Value::TYPE_ENUM, &number, sizeof(number));
    return true;
}

XmlReader::PropertyElement XmlReader::ReadAttributes(const XMLElement* pElement)
{
    PropertyElement element{{}, Value::TYPE_VOID, false, false};
    for (const XMLAttribute* p = pElement->FirstAttribute(); p != nullptr; p = p->Next()) {
        const std::string_view name = p->Name();
        if (name == "Name") {
            element.mName = Unescape(p->Value(), mNameText);
        } else if (name == "Type") {
            element.mType = ValueText::FindType(p->Value());
        } else if (name == "Array") {
            element.mbArray = std::strcmp(p->Value(), "true") == 0;
        } else if (name == "Dynamic") {
            element.mbDynamic = std::strcmp(p->Value(), "true") == 0;
        }
    }
    return element;
}

// What Object::FindProperty answers. Objects without properties of their own share the look-ups. The answer
// is valid until the next call.
const XmlReader::Slot& XmlReader::FindProperty(Object* pObject, Class& rClass, int place,
                                               const PropertyElement& element)
{
    const std::size_t index = static_cast<std::size_t>(place);
    if (pObject->GetInstanceTable() == nullptr && index < rClass.mSlots.size()) {
        const Slot& slot = rClass.mSlots[index];
        if (std::string_view(slot.mName.buffer_utf8()) == element.mName &&
            (slot.mpProperty != nullptr || !element.mbDynamic)) {
            return slot;
        }
    }
    mOwnSlot.mName = String(element.mName.data());
    mOwnSlot.mpProperty =
        FindOrAddStoredProperty(pObject, mOwnSlot.mName, element.mType, element.mbArray, element.mbDynamic);
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

// All text of an element, whatever comments or elements stand in between; null when there is none. Valid
// until the next call.
const char* XmlReader::GetText(const XMLElement* pElement)
{
    const char* pText = nullptr; // borrowed from the document as long as there is one plain piece
    for (const XMLNode* pNode = pElement->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling()) {
        const XMLText* const pPiece = pNode->ToText();
        if (pPiece == nullptr) {
            continue;
        }
        const std::string_view piece = pPiece->Value();
        const bool bEscaped = !pPiece->CData() && XmlText::HasEntities(piece);
        if (pText == nullptr && !bEscaped) {
            pText = piece.data();
            continue;
        }
        if (pText != mText.c_str()) {
            mText = pText != nullptr ? pText : "";
        }
        if (bEscaped) {
            XmlText::AppendUnescaped(mText, piece);
        } else {
            mText += piece;
        }
        pText = mText.c_str();
    }
    return pText;
}

// The text itself where nothing is escaped; otherwise it is made in `rScratch`. Ends with a zero.
std::string_view XmlReader::Unescape(const char* pText, std::string& rScratch)
{
    const std::string_view text = pText;
    if (!XmlText::HasEntities(text)) {
        return text;
    }
    rScratch.clear();
    XmlText::AppendUnescaped(rScratch, text);
    return rScratch;
}

// An empty path is null.
bool XmlReader::FindObject(std::string_view path, Value& rObject)
{
    if (path.empty()) {
        mLastObject = PositionIndex::NONE;
        rObject = Value(nullptr);
        return true;
    }
    const int position = mPathIndex.Find(PositionIndex::KeyOf(path), [&](int candidate) {
        return mPaths[static_cast<std::size_t>(candidate)] == path;
    });
    if (position == PositionIndex::NONE) {
        Error(QBASE_HERE, "Unable to find object with path %s", path.data());
        return false;
    }
    mLastObject = position;
    rObject = Value(mGraph.GetAt(position));
    return true;
}

} // namespace QBase
