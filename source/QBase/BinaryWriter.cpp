#include "QBase/BinaryWriter.h"

#include "QBase/File.h"
#include "QBase/StoredSize.h"

namespace QBase
{

using ValueBytes::StoreInt;
using ValueBytes::WriteInt;

namespace
{

constexpr std::size_t COUNTS_SIZE = 8;   // of the two counts in front
constexpr std::size_t OBJECT_SIZE = 16;  // of a record in the object table
constexpr std::size_t PROPERTY_SIZE = 5; // of what a record says before the value

bool ReportTooLarge()
{
    Error(QBASE_HERE, "Failed to serialize - the graph would take more than %llu bytes",
          static_cast<unsigned long long>(GetLargestStoredSize()));
    return false;
}

} // namespace

bool BinaryWriter::Write(Object* pObject)
{
    if (!mWalk.Run(pObject)) {
        return false;
    }
    return GetSize() <= GetLargestStoredSize() || ReportTooLarge();
}

std::size_t BinaryWriter::GetSize() const
{
    return COUNTS_SIZE + mTextBytes + mObjects.GetSize() + mBody.GetSize();
}

// What stands before the objects' records is known last. A file may be a stream or a disk of any kind, so it
// gets everything in one piece.
bool BinaryWriter::WriteToFile(File* pFile)
{
    ByteBuffer bytes;
    bytes.MakeRoom(GetSize());
    WriteInt(bytes, static_cast<int>(mTexts.size()));
    WriteInt(bytes, mNumObjects);
    for (const String& text : mTexts) {
        ValueBytes::WriteString(bytes, text);
    }
    mObjects.MoveTo(bytes);
    mBody.MoveTo(bytes);
    const int count = static_cast<int>(bytes.GetSize()); // Write made sure that it fits
    return pFile->Write(bytes.GetData(), count) == count;
}

bool BinaryWriter::BeginObject(GraphClass& rClass)
{
    // The texts in line before this object have their numbers by now.
    const int module = NumberText(rClass.mModule, rClass.mModuleTag);
    const int name = NumberText(rClass.mName, rClass.mNameTag);
    unsigned char* const pRecord = mObjects.MakeRoom(OBJECT_SIZE);
    StoreInt(pRecord, module);
    StoreInt(pRecord + 4, name);
    mpCounts = pRecord + 8; // which come at the end
    mObjects.Advance(OBJECT_SIZE);
    ++mNumObjects;
    mNumProperties = 0;
    mNumChildren = 0;
    return true;
}

bool BinaryWriter::BeginProperty(GraphProperty& rProperty, Value::Type type, int count)
{
    ++mNumProperties;
    if (rProperty.mTag < 0) {
        rProperty.mTag = WriteTextIndex(rProperty.mName);
    } else {
        WriteInt(mBody, rProperty.mTag);
    }
    unsigned char* const pFlags = mBody.MakeRoom(1);
    *pFlags = GetFlags(rProperty, type);
    mBody.Advance(1);
    if (rProperty.mbArray) {
        WriteInt(mBody, count);
    }
    return true;
}

bool BinaryWriter::WritePlainProperty(GraphProperty& rProperty, const void* pPayload)
{
    if (QBASE_UNLIKELY(rProperty.mTag < 0)) {
        BeginProperty(rProperty, rProperty.mType, 1);
        WritePlain(rProperty.mType, pPayload, -1);
        return true;
    }
    ++mNumProperties;
    unsigned char* const pRecord = mBody.MakeRoom(PROPERTY_SIZE + Value::PAYLOAD_SIZE);
    StoreInt(pRecord, rProperty.mTag);
    pRecord[4] = GetFlags(rProperty, rProperty.mType);
    ValueBytes::CopyPayload(rProperty.mType, pRecord + PROPERTY_SIZE,
                            static_cast<const unsigned char*>(pPayload));
    mBody.Advance(PROPERTY_SIZE + ValueBytes::GetSize(rProperty.mType));
    return true;
}

// -1 is the number of null, and of an object until the walk has been there.
void BinaryWriter::WriteObject(Object* pObject, int)
{
    unsigned char* const pNumber = mBody.MakeRoom(4);
    StoreInt(pNumber, pObject != nullptr ? mWalk.Refer(pObject, mBody.GetPlace()) : -1);
    mBody.Advance(4);
}

bool BinaryWriter::WriteEntry(const String& name, Object* pObject)
{
    ++mNumChildren;
    WriteTextIndex(name);
    WriteObject(pObject, -1);
    return true;
}

void BinaryWriter::WriteItem(int index, Object* pObject)
{
    ++mNumChildren;
    WriteInt(mBody, index);
    WriteObject(pObject, index);
}

bool BinaryWriter::EndObject()
{
    if (mBody.GetSize() > GetLargestStoredSize()) {
        return ReportTooLarge();
    }
    StoreInt(mpCounts, mNumProperties);
    StoreInt(mpCounts + 4, mNumChildren);
    return true;
}

void BinaryWriter::Resolve(unsigned hole, int position)
{
    StoreInt(mBody.GetAt(hole), position);
}

// Texts are numbered in the order of the walk. A text behind a reference has to wait until the walk comes
// back from there, unless it has a number already. Answers the number, or -1.
int BinaryWriter::WriteTextIndex(const String& text)
{
    int number = mTextIndex.Find(KeyOf(text));
    if (number == PositionIndex::NONE && !mWalk.IsObjectInLine()) {
        number = FindOrAddText(text);
    }
    unsigned char* const pNumber = mBody.MakeRoom(4);
    if (number == PositionIndex::NONE) {
        mWalk.AddText(text, mBody.GetPlace());
    }
    StoreInt(pNumber, number);
    mBody.Advance(4);
    return number;
}

int BinaryWriter::NumberText(const String& text, int& rTag)
{
    if (rTag < 0) {
        rTag = FindOrAddText(text);
    }
    return rTag;
}

// The null string and an empty one are the same text.
int BinaryWriter::FindOrAddText(const String& text)
{
    int number = mTextIndex.Find(KeyOf(text));
    if (number != PositionIndex::NONE) {
        return number;
    }
    if (text.empty() && KeyOf(text) != KeyOf(String::Null)) {
        number = FindOrAddText(String::Null);
    } else {
        number = static_cast<int>(mTexts.size());
        mTexts.push_back(text);
        mTextBytes += 4 + text.size();
    }
    mTextIndex.Insert(KeyOf(text), number);
    return number;
}

} // namespace QBase
