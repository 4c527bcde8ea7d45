#include "QBase/XmlRecords.h"

#include "QBase/ValueText.h"
#include "QBase/XmlOutline.h"
#include "QBase/XmlText.h"

#include <tinyxml2.h>

#include <cstring>
#include <utility>

namespace QBase
{

using tinyxml2::XMLAttribute;
using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;
using tinyxml2::XMLNode;
using tinyxml2::XMLText;

namespace
{

// The parser is to leave entities alone, which XmlText undoes.
class Tree : public XMLDocument
{
public:
    Tree() : XMLDocument(false, tinyxml2::PRESERVE_WHITESPACE) {}

    bool ParseText(std::string_view text) { return Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS; }
};

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

// The text itself where nothing is escaped; otherwise it is made in `rScratch`.
std::string_view Unescape(std::string_view text, std::string& rScratch)
{
    if (!XmlText::HasEntities(text)) {
        return text;
    }
    rScratch.clear();
    XmlText::AppendUnescaped(rScratch, text);
    return rScratch;
}

} // namespace

std::string XmlRecords::Parse(std::string_view document)
{
    if (document.find('\0') != document.npos) {
        return "The text holds a zero byte";
    }
    const XmlOutline outline(document);
    if (outline.HasCrowdedElement()) {
        return "An element has more than 1000 attributes";
    }
    if (!outline.GetParts().empty()) {
        mContents.reserve(outline.GetNumElements());
        mTexts.MakeRoom(document.size()); // of which texts are a part
        if (ParseParts(outline)) {
            return std::string();
        }
    }
    Clear();
    return ParseWhole(document);
}

void XmlRecords::Clear()
{
    mLineOffset = 0;
    mObjects.clear();
    mContents.clear();
    mClasses.clear();
    mClassIndex = PositionIndex();
    mTexts.Truncate(0);
}

// False for a document in which something is wrong. What it is, and in which line, shows when all of it is
// parsed.
bool XmlRecords::ParseParts(const XmlOutline& outline)
{
    Tree tree;
    if (!tree.ParseText(outline.GetFrame()) || !CheckTopLevel(tree).empty()) {
        return false;
    }
    const XMLElement* const pRoot = tree.RootElement();
    if (pRoot == nullptr || pRoot->FirstChildElement() != nullptr) {
        return false;
    }
    NoteRoot(pRoot);
    for (const XmlOutline::Part& part : outline.GetParts()) {
        if (!tree.ParseText(part.mText)) {
            return false;
        }
        mLineOffset = part.mLine - 1;
        int numElements = 0;
        for (const XMLNode* pNode = tree.FirstChild(); pNode != nullptr; pNode = pNode->NextSibling()) {
            if (pNode->ToElement() == nullptr) {
                return false;
            }
            AddObject(pNode->ToElement());
            ++numElements;
        }
        if (numElements != part.mNumElements) {
            return false;
        }
    }
    return true;
}

std::string XmlRecords::ParseWhole(std::string_view document)
{
    Tree tree;
    if (!tree.ParseText(document)) {
        return tree.ErrorStr();
    }
    std::string trouble = CheckTopLevel(tree);
    const XMLElement* const pRoot = tree.RootElement();
    if (!trouble.empty() || pRoot == nullptr) {
        return trouble;
    }
    NoteRoot(pRoot);
    for (const XMLElement* pElement = pRoot->FirstChildElement(); pElement != nullptr;
         pElement = pElement->NextSiblingElement()) {
        AddObject(pElement);
    }
    return trouble;
}

// What the parser lets pass beside the root element.
std::string XmlRecords::CheckTopLevel(const XMLDocument& document)
{
    bool bRoot = false;
    for (const XMLNode* pNode = document.FirstChild(); pNode != nullptr; pNode = pNode->NextSibling()) {
        if (pNode->ToText() != nullptr) {
            return "Text outside the root element";
        }
        if (pNode->ToElement() == nullptr) {
            continue;
        }
        if (bRoot) {
            return "More than one root element";
        }
        bRoot = true;
    }
    return std::string();
}

void XmlRecords::NoteRoot(const XMLElement* pRoot)
{
    mId = ReadIntAttribute(pRoot, "id");
    mVersion = ReadIntAttribute(pRoot, "version");
}

void XmlRecords::AddObject(const XMLElement* pElement)
{
    const char* pModule = "";
    const char* pClass = "";
    const char* pPath = "";
    for (const XMLAttribute* p = pElement->FirstAttribute(); p != nullptr; p = p->Next()) {
        const std::string_view name = p->Name();
        if (name == "Module") {
            pModule = p->Value();
        } else if (name == "Class") {
            pClass = p->Value();
        } else if (name == "Path") {
            pPath = p->Value();
        }
    }
    const std::uint32_t classIndex = FindClass(Unescape(pModule, mScratch), Unescape(pClass, mNameScratch));
    const Text path = AddAttribute(pPath);
    for (const XMLElement* pChild = pElement->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        if (IsNamed(pChild, "Property")) {
            AddProperty(pChild);
        } else if (IsNamed(pChild, "Child")) {
            AddChild(pChild);
        }
    }
    mObjects.push_back({classIndex, GetLine(pElement), path, static_cast<std::uint32_t>(mContents.size())});
}

void XmlRecords::AddProperty(const XMLElement* pElement)
{
    const char* pName = "";
    Value::Type type = Value::TYPE_VOID;
    bool bArray = false;
    bool bDynamic = false;
    for (const XMLAttribute* p = pElement->FirstAttribute(); p != nullptr; p = p->Next()) {
        const std::string_view name = p->Name();
        if (name == "Name") {
            pName = p->Value();
        } else if (name == "Type") {
            type = ValueText::FindType(p->Value());
        } else if (name == "Array") {
            bArray = std::strcmp(p->Value(), "true") == 0;
        } else if (name == "Dynamic") {
            bDynamic = std::strcmp(p->Value(), "true") == 0;
        }
    }
    const Text name = AddAttribute(pName);
    const auto typeCode = static_cast<std::uint16_t>(type);
    if (!bArray) {
        mContents.push_back({PROPERTY, bDynamic, typeCode, GetLine(pElement), name, AddText(pElement)});
        return;
    }
    mContents.push_back({ARRAY, bDynamic, typeCode, GetLine(pElement), name, Text()});
    for (const XMLElement* pValue = pElement->FirstChildElement("Value"); pValue != nullptr;
         pValue = pValue->NextSiblingElement("Value")) {
        mContents.push_back({VALUE, false, typeCode, GetLine(pValue), Text(), AddText(pValue)});
    }
}

void XmlRecords::AddChild(const XMLElement* pElement)
{
    const char* const pName = pElement->Attribute("Name");
    const Text name = AddAttribute(pName != nullptr ? pName : "");
    mContents.push_back({CHILD, false, Value::TYPE_OBJECT, GetLine(pElement), name, AddText(pElement)});
}

int XmlRecords::GetLine(const XMLElement* pElement) const
{
    return mLineOffset + pElement->GetLineNum();
}

std::uint32_t XmlRecords::FindClass(std::string_view module, std::string_view name)
{
    const auto isSame = [&](std::size_t index) {
        return mClasses[index].mName == name && mClasses[index].mModule == module;
    };
    if (mLastClass < mClasses.size() && isSame(mLastClass)) {
        return mLastClass;
    }
    const std::uint64_t key = PositionIndex::KeyOf(module) * 31 + PositionIndex::KeyOf(name);
    int found = mClassIndex.Find(key, [&](int index) { return isSame(static_cast<std::size_t>(index)); });
    if (found == PositionIndex::NONE) {
        found = static_cast<int>(mClasses.size());
        mClassIndex.Insert(key, found);
        mClasses.push_back({std::string(module), std::string(name)});
    }
    return mLastClass = static_cast<std::uint32_t>(found);
}

// All text of an element, whatever comments or elements stand in between.
XmlRecords::Text XmlRecords::AddText(const XMLElement* pElement)
{
    const std::size_t start = mTexts.GetSize();
    bool bAny = false;
    for (const XMLNode* pNode = pElement->FirstChild(); pNode != nullptr; pNode = pNode->NextSibling()) {
        const XMLText* const pPiece = pNode->ToText();
        if (pPiece == nullptr) {
            continue;
        }
        bAny = true;
        if (pPiece->CData()) {
            mTexts.Append(pPiece->Value());
        } else {
            AppendUnescaped(pPiece->Value());
        }
    }
    return bAny ? Finish(start) : Text();
}

XmlRecords::Text XmlRecords::AddAttribute(const char* pText)
{
    const std::size_t start = mTexts.GetSize();
    AppendUnescaped(pText);
    return Finish(start);
}

void XmlRecords::AppendUnescaped(std::string_view text)
{
    mTexts.Append(Unescape(text, mScratch));
}

XmlRecords::Text XmlRecords::Finish(std::size_t start)
{
    const std::size_t size = mTexts.GetSize() - start;
    *mTexts.MakeRoom(1) = 0;
    mTexts.Advance(1);
    return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(size)};
}

} // namespace QBase
