// XmlWriter turns one object graph into the text of an XML document.
//
//     XmlWriter writer;
//     const ByteBuffer* pDocument = writer.Write(pObject); // once
//
// The elements below each object are written while the graph is walked; where they refer to an object there
// is a gap, which its path fills when all paths are known. Then the text is spread out to make room for the
// paths and the objects' own tags, so that it is in memory only once: documents are large, and memory that
// was not in use before costs more than what is written into it.

#pragma once

#include "QBase/GraphWalk.h"
#include "QBase/XmlText.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace QBase
{

class XmlWriter
{
public:
    XmlWriter() : mWalk(*this) {}

    /// The document; null after a report. Borrowed.
    const ByteBuffer* Write(Object* pObject);

private:
    friend class GraphWalk<XmlWriter>;

    struct ObjectRecord
    {
        const GraphClass* mpClass;
        std::size_t mTextEnd; // in mText; where the next object's begins
        std::size_t mWaysEnd; // in mWays
        std::size_t mPath;    // in mPaths
        std::size_t mPathSize;
        int mNextSuffix;     // of the next object whose path would be the same
        bool mbVerbatimPath; // nothing in the path is escaped
    };

    // How one object leads to another, and the gap in the text for the other's path.
    struct Way
    {
        enum Kind
        {
            PROPERTY, // "owner.name"
            ELEMENT,  // "owner.name[index]"
            ENTRY,    // "owner[name]"
            ITEM      // "owner[index]"
        };
        Kind mKind;
        int mOwner;
        int mIndex;
        int mName;        // in mNames
        std::size_t mGap; // in mText
        int mPosition;    // of the other
    };

    class Spreading;

    bool BeginObject(GraphClass& rClass);
    bool BeginProperty(GraphProperty& rProperty, Value::Type type, int count);
    void WritePlain(Value::Type type, const void* pPayload, int index);
    void WriteText(const String& text, int index);
    void WriteObject(Object* pObject, int index);
    void EndProperty(GraphProperty& rProperty);
    bool WritePlainProperty(GraphProperty& rProperty, const void* pPayload);
    bool WriteEntry(const String& name, Object* pObject);
    void WriteItem(int index, Object* pObject);
    bool EndObject();
    void Resolve(unsigned way, int position) { mWays[way].mPosition = position; }
    void ResolveText(unsigned, const String&) {}

    void MakeTag(GraphProperty& rProperty, Value::Type type);
    void MakeTag(GraphClass& rClass);
    int NumberName(const String& name);
    void WriteChild(Object* pObject, Way::Kind kind, int index, int name);
    void WriteReference(Object* pObject, Way::Kind kind, int index, int name);

    bool Finish();
    std::uint64_t MeasureObject(std::size_t position);
    void SpreadObject(std::size_t position, Spreading& rText);

    void MakePath(ObjectRecord& rObject);
    void AppendWay(const Way& way);
    int FindPath(std::uint64_t key, std::string_view path) const;
    std::string_view GetPath(std::size_t position) const;
    std::string_view GetEscapedPath(std::size_t position, XmlText::Place place);

    // Where the object's part begins.
    std::size_t GetTextBegin(std::size_t position) const
    {
        return position > 0 ? mObjects[position - 1].mTextEnd : 0;
    }
    std::size_t GetWaysBegin(std::size_t position) const
    {
        return position > 0 ? mObjects[position - 1].mWaysEnd : 0;
    }

    GraphWalk<XmlWriter> mWalk;
    std::vector<ObjectRecord> mObjects;
    std::vector<Way> mWays;     // in the order of their owners
    std::vector<String> mNames; // of properties and entries that lead somewhere
    ByteBuffer mText;           // the elements below all objects, without the paths; in the end, everything
    ByteBuffer mPaths;
    PositionIndex mPathIndex;
    ByteBuffer mScratch;
    GraphProperty* mpProperty = nullptr; // the one being written
    bool mbArray = false;
};

} // namespace QBase
