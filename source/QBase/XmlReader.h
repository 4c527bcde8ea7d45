// XmlReader rebuilds an object graph from the text of an XML document.
//
//     XmlReader reader(filename, guard);
//     if (reader.IsAllowed() && reader.Parse(pText, size))
//         Value root = reader.Read();   // void after a report; once

#pragma once

#include "QBase/BuiltGraph.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/LoadGuard.h"
#include "QBase/LoadPlace.h"
#include "QBase/LoadedClasses.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/Table.h"

#include <tinyxml2.h>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace QBase
{

class StoredProperty;

class XmlReader final : private LoadPlace
{
public:
    XmlReader(const String& filename, const LoadGuard& guard)
        : mFilename(filename), mGuard(guard), mDocument(false, tinyxml2::PRESERVE_WHITESPACE)
    {}

    /// False, after a report, when the text is too long for the host's limits.
    bool IsAllowed() const { return IsFine(mGuard.CheckBytes()); }

    /// False, after a report, when the text is no well-formed document.
    bool Parse(const char* pText, std::size_t size);
    Value Read();

private:
    // What the class of an object has under the name at one place among its elements.
    struct Slot
    {
        String mName;
        Ptr<Property> mpProperty; // null for a name that the class does not know
    };
    using Class = LoadedClasses<Slot>::Class;

    // The attributes of a "Property" element.
    struct PropertyElement
    {
        std::string_view mName; // borrowed from the document, or from mNameText
        Value::Type mType;
        bool mbArray;
        bool mbDynamic;
    };

    std::string Describe() const override;
    bool CheckDocument() const;
    bool ReportParseError(const char* pDescription) const;
    bool CheckHeader(const tinyxml2::XMLElement* pRoot) const;
    bool CheckMemory(int position) const { return IsFine(mGuard.CheckMemory(mGraph.GetAt(position))); }
    bool CheckStringLength(std::string_view text) const
    {
        return IsFine(mGuard.CheckStringLength(text.size()));
    }
    bool CheckNesting(const tinyxml2::XMLElement* pRoot);
    bool IsFine(const std::string& trouble) const;
    Ptr<Object> ConstructObject(const tinyxml2::XMLElement* pElement);
    bool ReadObjects(const tinyxml2::XMLElement* pRoot);
    bool ReadAllContents(const tinyxml2::XMLElement* pRoot);
    bool ReadObject(const tinyxml2::XMLElement* pElement);
    bool ReadContents(const tinyxml2::XMLElement* pElement, Object* pObject);
    bool ReadProperty(const tinyxml2::XMLElement* pElement, Object* pObject, Class& rClass, int place);
    bool ReadArray(const tinyxml2::XMLElement* pElement, Object* pObject, Value::Type type, const Slot& slot);
    bool ReadEntry(const tinyxml2::XMLElement* pElement, Table* pTable);
    bool ReadItem(const tinyxml2::XMLElement* pElement, List* pList);
    bool ReadValue(const tinyxml2::XMLElement* pElement, Value::Type type, Property* pProperty,
                   Value& rValue);
    bool ReadEnum(const char* pText, Property* pProperty, Value& rValue) const;

    PropertyElement ReadAttributes(const tinyxml2::XMLElement* pElement);
    const Slot& FindProperty(Object* pObject, Class& rClass, int place, const PropertyElement& element);
    void NoteReference(Value::Type type, const StoredProperty& property);

    const char* GetText(const tinyxml2::XMLElement* pElement);
    static std::string_view Unescape(const char* pText, std::string& rScratch);
    bool FindObject(std::string_view path, Value& rObject);

    String mFilename;
    LoadGuard mGuard;
    tinyxml2::XMLDocument mDocument;
    BuiltGraph mGraph;
    const tinyxml2::XMLElement* mpObjectElement = nullptr;  // of the object that is being made, or filled
    const tinyxml2::XMLElement* mpPresentElement = nullptr; // there, or below it
    int mPosition = 0;                                      // of the object whose contents are being read
    int mLastObject = -1;                                   // the position that FindObject found; -1 for null
    std::deque<std::string> mUnescapedPaths;                // of those that stand escaped in the document
    std::vector<std::string_view> mPaths;                   // by position
    PositionIndex mPathIndex;

    LoadedClasses<Slot> mClasses;
    Slot mOwnSlot; // of an object with properties of its own

    std::string mLastModule; // of the object before
    std::string mLastClassName;
    Ptr<Function> mpLastConstruct;
    std::string mText; // scratch
    std::string mNameText;
};

} // namespace QBase
