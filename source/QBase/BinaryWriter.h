// BinaryWriter turns one object graph into the bytes that follow the header of a binary file.
//
//     BinaryWriter writer;
//     writer.Write(pObject, bytes); // once

#pragma once

#include "QBase/GraphWalk.h"

namespace QBase
{

class BinaryWriter
{
public:
    BinaryWriter() : mWalk(*this) {}

    /// The bytes of the graph; null after a report. Borrowed.
    const ByteBuffer* Write(Object* pObject);

private:
    friend class GraphWalk<BinaryWriter>;
    template <typename References>
    friend void ValueBytes::Write(ByteBuffer& rBytes, Value&& value, References& rReferences);

    // One text of the graph. The null string and an empty one are the same.
    static const String& Canonical(const String& text) { return text.empty() ? String::Null : text; }

    bool BeginObject(Object* pObject, GraphClass& rClass);
    bool BeginProperty(GraphProperty& rProperty, Value::Type type, int count);
    void WriteValue(Value&& value, int) { ValueBytes::Write(mBody, std::move(value), *this); }
    void EndProperty(GraphProperty&) {}
    bool WriteEntry(const String& name, Value&& object);
    void WriteItem(int index, Value&& object);
    bool EndObject();
    void Resolve(unsigned hole, int position);
    void ResolveText(unsigned hole, const String& text) { Resolve(hole, FindOrAddText(text)); }

    // Where the next byte goes. An object's own part beyond the limit ends the walk when it is finished.
    unsigned GetHole() const { return static_cast<unsigned>(mBody.GetSize()); }

    void WriteText(ByteBuffer& rBytes, Value&& text);
    void WriteObject(ByteBuffer& rBytes, Value&& object);
    int WriteTextIndex(const String& text);
    int NumberText(const String& text, int& rTag);
    int FindOrAddText(const String& text);

    GraphWalk<BinaryWriter> mWalk;
    ByteBuffer mObjects;        // the object table
    ByteBuffer mBody;           // the properties and children of all objects; in the end, everything
    std::vector<String> mTexts; // the string table
    std::size_t mTextBytes = 0; // that it will take
    PositionIndex mTextIndex;   // by the address of the interned text
    int mNumProperties = 0;     // of the present object
    int mNumChildren = 0;
};

} // namespace QBase
