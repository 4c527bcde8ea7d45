// BinaryWriter turns one object graph into the bytes that follow the header of a binary file.
//
//     BinaryWriter writer;
//     if (writer.Write(pObject))    // once
//         writer.WriteToFile(pFile);

#pragma once

#include "QBase/ByteBlocks.h"
#include "QBase/GraphWalk.h"

namespace QBase
{

class File;

class BinaryWriter
{
public:
    BinaryWriter() : mWalk(*this) {}

    /// Collects the bytes of the graph; false after a report.
    bool Write(Object* pObject);

    /// False when the file does not take them all.
    bool WriteToFile(File* pFile);

private:
    friend class GraphWalk<BinaryWriter>;

    std::size_t GetSize() const; // of the file without its header

    // Texts are interned: each has one address.
    static std::uint64_t KeyOf(const String& text) { return PositionIndex::KeyOf(&text.buffer_utf8()); }

    bool BeginObject(GraphClass& rClass);
    bool BeginProperty(GraphProperty& rProperty, Value::Type type, int count);
    void WritePlain(Value::Type type, const void* pPayload, int)
    {
        ValueBytes::WritePlain(mBody, type, pPayload);
    }
    void WriteText(const String& text, int) { WriteTextIndex(text); }
    void WriteObject(Object* pObject, int);
    void EndProperty(GraphProperty&) {}
    bool WritePlainProperty(GraphProperty& rProperty, const void* pPayload);
    bool WriteEntry(const String& name, Object* pObject);
    void WriteItem(int index, Object* pObject);
    bool EndObject();
    void Resolve(unsigned hole, int position);
    void ResolveText(unsigned hole, const String& text) { Resolve(hole, FindOrAddText(text)); }

    static unsigned char GetFlags(const GraphProperty& property, Value::Type type)
    {
        return static_cast<unsigned char>(type * 4 + (property.mbDynamic ? 2 : 0) +
                                          (property.mbArray ? 1 : 0));
    }
    int WriteTextIndex(const String& text);
    int NumberText(const String& text, int& rTag);
    int FindOrAddText(const String& text);

    GraphWalk<BinaryWriter> mWalk;
    ByteBlocks mObjects; // the object table
    ByteBlocks mBody;    // the properties and children of all objects
    int mNumObjects = 0;
    unsigned char* mpCounts = nullptr; // of properties and children, in the present object's record
    std::vector<String> mTexts;        // the string table
    std::size_t mTextBytes = 0;        // that it will take
    PositionIndex mTextIndex;          // by KeyOf
    int mNumProperties = 0;            // of the present object
    int mNumChildren = 0;
};

} // namespace QBase
