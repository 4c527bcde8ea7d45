// XmlWriter turns one object graph into the text of an XML document.
//
//     XmlWriter writer;
//     writer.Write(pObject, document); // once
//
// The elements below each object are written while the graph is walked; where they refer to an object there
// is a gap, which its path fills when all paths are known.

#pragma once

#include "QBase/GraphWalk.h"
#include "QBase/XmlText.h"

#include <string_view>
#include <vector>

namespace QBase
{

class XmlWriter
{
public:
    XmlWriter() : mWalk(*this) {}

    /// Appends the document; false after a report.
    bool Write(Object* pObject, ByteBuffer& rDocument);

private:
    friend class GraphWalk<XmlWriter>;

    struct ObjectRecord
    {
        String mModule;
        String mClass;
        std::size_t mBodyEnd; // in mBody; where the next object's begins
        std::size_t mWaysEnd; // in mWays
        std::size_t mPath;    // in mPaths
        std::size_t mPathSize;
        int mNextSuffix; // of the next object whose path would be the same
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
        String mName;
        std::size_t mGap; // in mBody
        int mPosition;    // of the other
    };

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

    void BeginValue(int index);
    void EndValue(int index);
    void WriteChild(Object* pObject, Way::Kind kind, int index, const String& name);
    void WriteReference(Object* pObject, Way::Kind kind, int index, const String& name);
    bool WriteDocument(ByteBuffer& rDocument) const;
    void WriteObjectElement(ByteBuffer& rDocument, std::size_t position) const;

    void MakePath(ObjectRecord& rObject);
    void AppendWay(const Way& way);
    int FindPath(std::string_view path) const;
    std::string_view GetPath(int position) const;

    GraphWalk<XmlWriter> mWalk;
    std::vector<ObjectRecord> mObjects;
    std::vector<Way> mWays; // in the order of their owners
    ByteBuffer mBody;       // the elements below all objects, without the paths
    ByteBuffer mPaths;
    PositionIndex mPathIndex;
    const String* mpPropertyName = nullptr; // of the property being written
    bool mbArray = false;
};

} // namespace QBase
