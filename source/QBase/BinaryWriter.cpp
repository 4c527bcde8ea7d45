#include "QBase/BinaryWriter.h"

#include "QBase/StoredSize.h"

namespace QBase
{

using ValueBytes::StoreInt;
using ValueBytes::WriteInt;

namespace
{

constexpr std::size_t OBJECT_SIZE = 16; // of a record in the object table

bool ReportTooLarge()
{
    Error(QBASE_HERE, "Failed to serialize - the graph would take more than %llu bytes",
          static_cast<unsigned long long>(GetLargestStoredSize()));
    return false;
}

} // namespace

const ByteBuffer* BinaryWriter::Write(Object* pObject)
{
    if (!mWalk.Run(pObject)) {
        return nullptr;
    }
    const std::size_t frontSize = 8 + mTextBytes + mObjects.GetSize();
    if (frontSize + mBody.GetSize() > GetLargestStoredSize()) {
        ReportTooLarge();
        return nullptr;
    }
    ByteBuffer front;
    front.MakeRoom(frontSize);
    WriteInt(front, static_cast<int>(mTexts.size()));
    WriteInt(front, static_cast<int>(mObjects.GetSize() / OBJECT_SIZE));
    for (const String& text : mTexts) {
        ValueBytes::WriteString(front, text);
    }
    front.Append(mObjects.GetText());
    mBody.Prepend(front.GetText());
    return &mBody;
}

bool BinaryWriter::BeginObject(Object*, GraphClass& rClass)
{
    // The texts in line before this object have their numbers by now.
    WriteInt(mObjects, NumberText(rClass.mModule, rClass.mModuleTag));
    WriteInt(mObjects, NumberText(rClass.mName, rClass.mNameTag));
    WriteInt(mObjects, 0); // both counts come at the end
    WriteInt(mObjects, 0);
    mNumProperties = 0;
    mNumChildren = 0;
    return true;
}

bool BinaryWriter::BeginProperty(GraphProperty& rProperty, Value::Type type, int count)
{
    ++mNumProperties;
    if (rProperty.mTag >= 0) {
        WriteInt(mBody, rProperty.mTag);
    } else {
        rProperty.mTag = WriteTextIndex(rProperty.mName);
    }
    unsigned char* const pFlags = mBody.MakeRoom(5);
    *pFlags =
        static_cast<unsigned char>(type * 4 + (rProperty.mbDynamic ? 2 : 0) + (rProperty.mbArray ? 1 : 0));
    mBody.Advance(1);
    if (rProperty.mbArray) {
        WriteInt(mBody, count);
    }
    return true;
}

bool BinaryWriter::WriteEntry(const String& name, Value&& object)
{
    ++mNumChildren;
    WriteTextIndex(name);
    WriteObject(mBody, std::move(object));
    return true;
}

void BinaryWriter::WriteItem(int index, Value&& object)
{
    ++mNumChildren;
    WriteInt(mBody, index);
    WriteObject(mBody, std::move(object));
}

bool BinaryWriter::EndObject()
{
    if (mBody.GetSize() > GetLargestStoredSize()) {
        return ReportTooLarge();
    }
    unsigned char* const pCounts = mObjects.GetData() + mObjects.GetSize() - 8;
    StoreInt(pCounts, mNumProperties);
    StoreInt(pCounts + 4, mNumChildren);
    return true;
}

void BinaryWriter::Resolve(unsigned hole, int position)
{
    StoreInt(mBody.GetData() + hole, position);
}

void BinaryWriter::WriteText(ByteBuffer&, Value&& text)
{
    WriteTextIndex(text.AsString());
}

void BinaryWriter::WriteObject(ByteBuffer&, Value&& object)
{
    int number = -1; // that of null, and of an object until the walk has been there
    if (object.AsObject() != nullptr) {
        number = mWalk.Refer(std::move(object), GetHole());
    }
    WriteInt(mBody, number);
}

// Texts are numbered in the order of the walk. A text behind a reference has to wait until the walk comes
// back from there, unless it has a number already. Answers the number, or -1.
int BinaryWriter::WriteTextIndex(const String& text)
{
    const String& canonical = Canonical(text);
    int number = mTextIndex.Find(PositionIndex::KeyOf(canonical.c_str()));
    if (number == PositionIndex::NONE && !mWalk.IsObjectInLine()) {
        number = FindOrAddText(canonical);
    }
    if (number == PositionIndex::NONE) {
        mWalk.AddText(canonical, GetHole());
    }
    WriteInt(mBody, number);
    return number;
}

int BinaryWriter::NumberText(const String& text, int& rTag)
{
    if (rTag < 0) {
        rTag = FindOrAddText(Canonical(text));
    }
    return rTag;
}

int BinaryWriter::FindOrAddText(const String& text)
{
    const std::uint64_t key = PositionIndex::KeyOf(text.c_str());
    int number = mTextIndex.Find(key);
    if (number == PositionIndex::NONE) {
        number = static_cast<int>(mTexts.size());
        mTextIndex.Insert(key, number);
        mTexts.push_back(text);
        mTextBytes += 4 + text.size();
    }
    return number;
}

} // namespace QBase
