#include "QBase/XmlWriter.h"

#include "QBase/FileFormat.h"
#include "QBase/StoredSize.h"
#include "QBase/ValueText.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace QBase
{

namespace
{

constexpr std::string_view CLOSING_TAG = "    </Object>\n";
constexpr std::string_view END = "</QuirlData>\n";

void AppendInt(ByteBuffer& rBuffer, int value)
{
    char* const p = reinterpret_cast<char*>(rBuffer.MakeRoom(16));
    rBuffer.Advance(static_cast<std::size_t>(std::to_chars(p, p + 16, value).ptr - p));
}

char* Put(char* p, std::string_view text)
{
    std::memcpy(p, text.data(), text.size());
    return p + text.size();
}

template <typename T>
char* PutValue(char* p, const void* pPayload)
{
    T value;
    std::memcpy(static_cast<void*>(&value), pPayload, sizeof(value));
    return ValueText::Write(p, value);
}

// The text of a value that is neither a text nor an object.
char* PutPlain(char* p, Value::Type type, const void* pPayload)
{
    switch (type) {
    case Value::TYPE_INT:
    case Value::TYPE_ENUM:
        return PutValue<int>(p, pPayload);
    case Value::TYPE_FLOAT:
        return PutValue<float>(p, pPayload);
    case Value::TYPE_BOOL:
        return PutValue<bool>(p, pPayload);
    case Value::TYPE_VECTOR2:
        return PutValue<Vector2>(p, pPayload);
    case Value::TYPE_VECTOR3:
        return PutValue<Vector3>(p, pPayload);
    case Value::TYPE_VECTOR4:
        return PutValue<Vector4>(p, pPayload);
    case Value::TYPE_VECTOR2I:
        return PutValue<Vector2i>(p, pPayload);
    case Value::TYPE_VECTOR3I:
        return PutValue<Vector3i>(p, pPayload);
    case Value::TYPE_VECTOR4I:
        return PutValue<Vector4i>(p, pPayload);
    case Value::TYPE_COLOR:
        return PutValue<Color>(p, pPayload);
    default:
        return PutValue<Quaternion>(p, pPayload);
    }
}

std::string_view OpeningOf(int index)
{
    return index >= 0 ? "            <Value" : "";
}

std::string_view ClosingOf(int index)
{
    return index >= 0 ? "</Value>\n" : "</Property>\n";
}

bool ReportNoName(const String& module, const String& className, const char* pWhat)
{
    Error(QBASE_HERE, "Failed to serialize %s of %s.%s - XML cannot store an empty name", pWhat,
          module.c_str(), className.c_str());
    return false;
}

bool ReportTooLarge()
{
    Error(QBASE_HERE, "Failed to serialize - the document would take more than %llu bytes",
          static_cast<unsigned long long>(GetLargestStoredSize()));
    return false;
}

} // namespace

// Moves a text to the end of a larger buffer, piece by piece from its end on, while other pieces come in
// between. The buffer is just as large as all of them, so nothing is overwritten before it has moved.
class XmlWriter::Spreading
{
public:
    Spreading(unsigned char* pText, std::size_t size, std::size_t newSize)
        : mpText(pText), mFrom(size), mTo(newSize)
    {}

    void Insert(std::string_view text)
    {
        mTo -= text.size();
        std::memcpy(mpText + mTo, text.data(), text.size());
    }

    /// What has not moved yet, from `start` on.
    void Move(std::size_t start)
    {
        const std::size_t size = mFrom - start;
        mFrom = start;
        mTo -= size;
        std::memmove(mpText + mTo, mpText + mFrom, size);
    }

private:
    unsigned char* mpText;
    std::size_t mFrom;
    std::size_t mTo;
};

const ByteBuffer* XmlWriter::Write(Object* pObject)
{
    return mWalk.Run(pObject) && Finish() ? &mText : nullptr;
}

bool XmlWriter::BeginObject(GraphClass& rClass)
{
    if (rClass.mText.empty()) {
        MakeTag(rClass);
    }
    ObjectRecord record{&rClass, 0, 0, 0, 0, 2, true};
    MakePath(record);
    mObjects.push_back(record);
    return mPaths.GetSize() + mText.GetSize() <= GetLargestStoredSize() || ReportTooLarge();
}

// Up to the quotes before the path.
void XmlWriter::MakeTag(GraphClass& rClass)
{
    mScratch.Truncate(0);
    mScratch.Append("    <Object Module=\"");
    XmlText::AppendEscaped(mScratch, rClass.mModule.buffer_utf8(), XmlText::ATTRIBUTE);
    mScratch.Append("\" Class=\"");
    XmlText::AppendEscaped(mScratch, rClass.mName.buffer_utf8(), XmlText::ATTRIBUTE);
    mScratch.Append("\" Path=\"");
    rClass.mText = mScratch.GetText();
}

bool XmlWriter::BeginProperty(GraphProperty& rProperty, Value::Type type, int count)
{
    if (rProperty.mText.empty() || rProperty.mTextType != type) {
        if (rProperty.mName.empty()) {
            return ReportNoName(mObjects.back().mpClass->mModule, mObjects.back().mpClass->mName,
                                "a property");
        }
        MakeTag(rProperty, type);
    }
    mText.Append(rProperty.mText);
    if (rProperty.mbArray) {
        mText.Append(count > 0 ? ">\n" : "/>\n");
    }
    mpProperty = &rProperty;
    mbArray = count > 0 && rProperty.mbArray;
    return true;
}

// Up to the ">", or "/>" when nothing follows.
void XmlWriter::MakeTag(GraphProperty& rProperty, Value::Type type)
{
    mScratch.Truncate(0);
    mScratch.Append("        <Property Name=\"");
    XmlText::AppendEscaped(mScratch, rProperty.mName.buffer_utf8(), XmlText::ATTRIBUTE);
    mScratch.Append("\" Type=\"");
    mScratch.Append(ValueText::GetTypeName(type));
    mScratch.Append(rProperty.mbDynamic ? "\" Dynamic=\"true\"" : "\"");
    if (rProperty.mbArray) {
        mScratch.Append(" Array=\"true\"");
    }
    rProperty.mText = mScratch.GetText();
    rProperty.mTextType = type;
}

void XmlWriter::WritePlain(Value::Type type, const void* pPayload, int index)
{
    constexpr std::size_t maxTags = 32; // bytes around the text
    char* const pBegin = reinterpret_cast<char*>(mText.MakeRoom(maxTags + ValueText::MAX_SIZE));
    char* p = Put(pBegin, OpeningOf(index));
    *p++ = '>';
    p = PutPlain(p, type, pPayload);
    p = Put(p, ClosingOf(index));
    mText.Advance(static_cast<std::size_t>(p - pBegin));
}

void XmlWriter::WriteText(const String& text, int index)
{
    mText.Append(OpeningOf(index));
    if (text.empty()) {
        mText.Append("/>\n");
        return;
    }
    mText.Append(">");
    XmlText::AppendEscaped(mText, text.buffer_utf8(), XmlText::CONTENT);
    mText.Append(ClosingOf(index));
}

void XmlWriter::WriteObject(Object* pObject, int index)
{
    mText.Append(OpeningOf(index));
    if (pObject == nullptr) {
        mText.Append("/>\n");
        return;
    }
    if (mpProperty->mTag < 0) {
        mpProperty->mTag = NumberName(mpProperty->mName);
    }
    mText.Append(">");
    WriteReference(pObject, index >= 0 ? Way::ELEMENT : Way::PROPERTY, index, mpProperty->mTag);
    mText.Append(ClosingOf(index));
}

void XmlWriter::EndProperty(GraphProperty&)
{
    if (mbArray) {
        mText.Append("        </Property>\n");
    }
}

bool XmlWriter::WritePlainProperty(GraphProperty& rProperty, const void* pPayload)
{
    if (!BeginProperty(rProperty, rProperty.mType, 1)) {
        return false;
    }
    WritePlain(rProperty.mType, pPayload, -1);
    return true;
}

bool XmlWriter::WriteEntry(const String& name, Object* pObject)
{
    if (name.empty()) {
        return ReportNoName(mObjects.back().mpClass->mModule, mObjects.back().mpClass->mName, "an entry");
    }
    mText.Append("        <Child Name=\"");
    XmlText::AppendEscaped(mText, name.buffer_utf8(), XmlText::ATTRIBUTE);
    WriteChild(pObject, Way::ENTRY, -1, pObject != nullptr ? NumberName(name) : -1);
    return true;
}

void XmlWriter::WriteItem(int index, Object* pObject)
{
    mText.Append("        <Child Index=\"");
    AppendInt(mText, index);
    WriteChild(pObject, Way::ITEM, index, -1);
}

void XmlWriter::WriteChild(Object* pObject, Way::Kind kind, int index, int name)
{
    if (pObject == nullptr) {
        mText.Append("\"/>\n");
        return;
    }
    mText.Append("\">");
    WriteReference(pObject, kind, index, name);
    mText.Append("</Child>\n");
}

int XmlWriter::NumberName(const String& name)
{
    mNames.push_back(name);
    return static_cast<int>(mNames.size()) - 1;
}

bool XmlWriter::EndObject()
{
    mObjects.back().mTextEnd = mText.GetSize();
    mObjects.back().mWaysEnd = mWays.size();
    return true;
}

void XmlWriter::WriteReference(Object* pObject, Way::Kind kind, int index, int name)
{
    const int position = mWalk.Refer(pObject, static_cast<unsigned>(mWays.size()));
    mWays.push_back({kind, static_cast<int>(mObjects.size()) - 1, index, name, mText.GetSize(), position});
}

bool XmlWriter::Finish()
{
    mScratch.Truncate(0);
    mScratch.Append("<?xml version=\"1.0\"?>\n<QuirlData id=\"");
    AppendInt(mScratch, FileFormat::ID);
    mScratch.Append("\" version=\"");
    AppendInt(mScratch, FileFormat::VERSION);
    mScratch.Append(mObjects.empty() ? "\"/>\n" : "\">\n");
    const std::string head(mScratch.GetText());
    if (mObjects.empty()) {
        mText.Append(head);
        return true;
    }
    std::uint64_t measured =
        head.size() + END.size(); // of few large paths that many refer to: beyond 32 bits
    for (std::size_t position = 0; position < mObjects.size(); ++position) {
        measured += MeasureObject(position);
    }
    if (measured > GetLargestStoredSize()) {
        return ReportTooLarge();
    }
    const std::size_t size = static_cast<std::size_t>(measured);
    const std::size_t oldSize = mText.GetSize();
    mText.MakeRoom(size - oldSize);
    mText.Advance(size - oldSize);
    Spreading text(mText.GetData(), oldSize, size);
    text.Insert(END);
    for (std::size_t position = mObjects.size(); position > 0; --position) {
        SpreadObject(position - 1, text);
    }
    text.Insert(head);
    return true;
}

// What SpreadObject makes.
std::uint64_t XmlWriter::MeasureObject(std::size_t position)
{
    const ObjectRecord& object = mObjects[position];
    const std::size_t textSize = object.mTextEnd - GetTextBegin(position);
    std::uint64_t size = object.mpClass->mText.size() + GetEscapedPath(position, XmlText::ATTRIBUTE).size();
    size += textSize > 0 ? 3 + textSize + CLOSING_TAG.size() : 4;
    for (std::size_t i = GetWaysBegin(position); i < object.mWaysEnd; ++i) {
        size += GetEscapedPath(static_cast<std::size_t>(mWays[i].mPosition), XmlText::CONTENT).size();
    }
    return size;
}

void XmlWriter::SpreadObject(std::size_t position, Spreading& rText)
{
    const ObjectRecord& object = mObjects[position];
    if (object.mTextEnd == GetTextBegin(position)) {
        rText.Insert("\"/>\n");
    } else {
        rText.Insert(CLOSING_TAG);
        for (std::size_t i = object.mWaysEnd; i > GetWaysBegin(position); --i) {
            const Way& way = mWays[i - 1];
            rText.Move(way.mGap);
            rText.Insert(GetEscapedPath(static_cast<std::size_t>(way.mPosition), XmlText::CONTENT));
        }
        rText.Move(GetTextBegin(position));
        rText.Insert("\">\n");
    }
    rText.Insert(GetEscapedPath(position, XmlText::ATTRIBUTE));
    rText.Insert(object.mpClass->mText);
}

// A path that another object has already gets a suffix: "#2", "#3" and so on.
void XmlWriter::MakePath(ObjectRecord& rObject)
{
    rObject.mPath = mPaths.GetSize();
    if (mWalk.GetPresentTag() == GraphWalk<XmlWriter>::NO_TAG) {
        mPaths.Append("root");
    } else {
        const Way& way = mWays[mWalk.GetPresentTag()];
        const ObjectRecord& owner = mObjects[static_cast<std::size_t>(way.mOwner)];
        AppendWay(way);
        rObject.mbVerbatimPath =
            owner.mbVerbatimPath &&
            XmlText::IsVerbatim(mPaths.GetText().substr(rObject.mPath + owner.mPathSize));
    }
    std::uint64_t key = PositionIndex::KeyOf(mPaths.GetText().substr(rObject.mPath));
    int holder = FindPath(key, mPaths.GetText().substr(rObject.mPath));
    if (holder != PositionIndex::NONE) {
        const std::size_t wantedEnd = mPaths.GetSize();
        int& rSuffix = mObjects[static_cast<std::size_t>(holder)].mNextSuffix;
        while (holder != PositionIndex::NONE) {
            mPaths.Truncate(wantedEnd);
            mPaths.Append("#");
            AppendInt(mPaths, rSuffix++);
            key = PositionIndex::KeyOf(mPaths.GetText().substr(rObject.mPath));
            holder = FindPath(key, mPaths.GetText().substr(rObject.mPath));
        }
    }
    rObject.mPathSize = mPaths.GetSize() - rObject.mPath;
    mPathIndex.Insert(key, static_cast<int>(mObjects.size()));
}

void XmlWriter::AppendWay(const Way& way)
{
    const ObjectRecord& owner = mObjects[static_cast<std::size_t>(way.mOwner)];
    mPaths.MakeRoom(owner.mPathSize); // before the text is looked at, which lies in there
    mPaths.Append(mPaths.GetText().substr(owner.mPath, owner.mPathSize));
    const bool bIndex = way.mKind == Way::ELEMENT || way.mKind == Way::ITEM;
    if (way.mKind == Way::PROPERTY || way.mKind == Way::ELEMENT) {
        mPaths.Append(".");
        mPaths.Append(mNames[static_cast<std::size_t>(way.mName)].buffer_utf8());
    }
    if (way.mKind == Way::ENTRY || bIndex) {
        mPaths.Append("[");
        if (bIndex) {
            AppendInt(mPaths, way.mIndex);
        } else {
            mPaths.Append(mNames[static_cast<std::size_t>(way.mName)].buffer_utf8());
        }
        mPaths.Append("]");
    }
}

int XmlWriter::FindPath(std::uint64_t key, std::string_view path) const
{
    return mPathIndex.Find(key,
                           [&](int position) { return GetPath(static_cast<std::size_t>(position)) == path; });
}

std::string_view XmlWriter::GetPath(std::size_t position) const
{
    return mPaths.GetText().substr(mObjects[position].mPath, mObjects[position].mPathSize);
}

// Valid until the next call.
std::string_view XmlWriter::GetEscapedPath(std::size_t position, XmlText::Place place)
{
    if (mObjects[position].mbVerbatimPath) {
        return GetPath(position);
    }
    mScratch.Truncate(0);
    XmlText::AppendEscaped(mScratch, GetPath(position), place);
    return mScratch.GetText();
}

} // namespace QBase
