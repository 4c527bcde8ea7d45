// XmlRecords is what the text of an XML document says about objects: flat records in the order of the
// document, with its texts unescaped and behind each other. They take a fraction of the tree that the parser
// makes, which is gone when they are read.
//
//     XmlRecords records;
//     std::string trouble = records.Parse(text);           // empty for a well-formed document; once
//     for (const XmlRecords::ObjectRecord& object : records.GetObjects())
//         records.GetText(object.mPath);
//
// Nothing but well-formedness is checked: what is missing is empty, 0 or "void".

#pragma once

#include "QBase/ByteBuffer.h"
#include "QBase/PositionIndex.h"
#include "QBase/Value.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tinyxml2
{
class XMLDocument;
class XMLElement;
} // namespace tinyxml2

namespace QBase
{

class XmlOutline;

class XmlRecords
{
public:
    static constexpr std::uint32_t NO_TEXT = ~std::uint32_t(0);

    // A text among those of all records.
    struct Text
    {
        std::uint32_t mStart = NO_TEXT;
        std::uint32_t mSize = 0;

        bool IsThere() const { return mStart != NO_TEXT; }
    };

    // The names of a class as a document has them.
    struct ClassNames
    {
        std::string mModule;
        std::string mName;
    };

    // An element below the root.
    struct ObjectRecord
    {
        std::uint32_t mClass; // among the ClassNames
        int mLine;
        Text mPath;
        std::uint32_t mContentsEnd; // behind its ContentRecords, which begin where those before it end
    };

    enum Kind : unsigned char
    {
        PROPERTY,
        ARRAY, // its VALUEs follow
        VALUE,
        CHILD
    };

    // An element below that of an object, or a "Value" below that.
    struct ContentRecord
    {
        Kind mKind;
        bool mbDynamic;
        std::uint16_t mType; // a Value::Type
        int mLine;
        Text mName;
        Text mText; // of all but an ARRAY; not there when the element has none

        Value::Type GetType() const { return static_cast<Value::Type>(mType); }
    };

    /// What is wrong with the document, in the parser's words; empty when nothing is.
    std::string Parse(std::string_view document);

    int GetId() const { return mId; }
    int GetVersion() const { return mVersion; }
    const std::vector<ObjectRecord>& GetObjects() const { return mObjects; }
    const std::vector<ContentRecord>& GetContents() const { return mContents; }
    const ClassNames& GetClassNames(const ObjectRecord& object) const { return mClasses[object.mClass]; }

    /// Empty for one that is not there. Ends with a zero. Borrowed.
    std::string_view GetText(const Text& text) const
    {
        const char* const pTexts = reinterpret_cast<const char*>(mTexts.GetData());
        return text.IsThere() ? std::string_view(pTexts + text.mStart, text.mSize) : std::string_view("");
    }

private:
    void Clear();
    bool ParseParts(const XmlOutline& outline);
    std::string ParseWhole(std::string_view document);
    static std::string CheckTopLevel(const tinyxml2::XMLDocument& document);
    void NoteRoot(const tinyxml2::XMLElement* pRoot);
    void AddObject(const tinyxml2::XMLElement* pElement);
    void AddProperty(const tinyxml2::XMLElement* pElement);
    void AddChild(const tinyxml2::XMLElement* pElement);
    int GetLine(const tinyxml2::XMLElement* pElement) const;
    std::uint32_t FindClass(std::string_view module, std::string_view name);
    Text AddText(const tinyxml2::XMLElement* pElement);
    Text AddAttribute(const char* pText);
    void AppendUnescaped(std::string_view text);
    Text Finish(std::size_t start);

    int mId = 0;
    int mVersion = 0;
    int mLineOffset = 0; // from lines of the part that is being parsed to lines of the document
    std::vector<ObjectRecord> mObjects;
    std::vector<ContentRecord> mContents;
    std::vector<ClassNames> mClasses;
    PositionIndex mClassIndex;
    std::uint32_t mLastClass = 0;
    ByteBuffer mTexts;
    std::string mScratch;
    std::string mNameScratch;
};

} // namespace QBase
