#include "QBase/XmlWriter.h"

#include "QBase/FileFormat.h"
#include "QBase/StoredSize.h"
#include "QBase/ValueText.h"

#include <charconv>

namespace QBase
{

namespace
{

void AppendInt(ByteBuffer& rBuffer, int value)
{
    char* const p = reinterpret_cast<char*>(rBuffer.MakeRoom(16));
    rBuffer.Advance(static_cast<std::size_t>(std::to_chars(p, p + 16, value).ptr - p));
}

template <typename T>
void AppendValue(ByteBuffer& rBuffer, const T& value)
{
    char* const p = reinterpret_cast<char*>(rBuffer.MakeRoom(ValueText::MAX_SIZE));
    rBuffer.Advance(static_cast<std::size_t>(ValueText::Write(p, value) - p));
}

// The text of a value that is neither a text nor an object.
void AppendPlain(ByteBuffer& rBuffer, const Value& value)
{
    switch (value.GetType()) {
    case Value::TYPE_INT:
    case Value::TYPE_ENUM:
        return AppendValue(rBuffer, value.Get<int>());
    case Value::TYPE_FLOAT:
        return AppendValue(rBuffer, value.Get<float>());
    case Value::TYPE_BOOL:
        return AppendValue(rBuffer, value.Get<bool>());
    case Value::TYPE_VECTOR2:
        return AppendValue(rBuffer, value.Get<Vector2>());
    case Value::TYPE_VECTOR3:
        return AppendValue(rBuffer, value.Get<Vector3>());
    case Value::TYPE_VECTOR4:
        return AppendValue(rBuffer, value.Get<Vector4>());
    case Value::TYPE_VECTOR2I:
        return AppendValue(rBuffer, value.Get<Vector2i>());
    case Value::TYPE_VECTOR3I:
        return AppendValue(rBuffer, value.Get<Vector3i>());
    case Value::TYPE_VECTOR4I:
        return AppendValue(rBuffer, value.Get<Vector4i>());
    case Value::TYPE_COLOR:
        return AppendValue(rBuffer, value.Get<Color>());
    default:
        return AppendValue(rBuffer, value.Get<Quaternion>());
    }
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

bool XmlWriter::Write(Object* pObject, ByteBuffer& rDocument)
{
    return mWalk.Run(pObject) && WriteDocument(rDocument);
}

bool XmlWriter::BeginObject(Object*, GraphClass& rClass)
{
    ObjectRecord record{rClass.mModule, rClass.mName, 0, 0, 0, 0, 2};
    MakePath(record);
    mObjects.push_back(record);
    return mPaths.GetSize() + mBody.GetSize() <= GetLargestStoredSize() || ReportTooLarge();
}

bool XmlWriter::BeginProperty(GraphProperty& rProperty, Value::Type type, int count)
{
    if (rProperty.mName.empty()) {
        return ReportNoName(mObjects.back().mModule, mObjects.back().mClass, "a property");
    }
    mBody.Append("        <Property Name=\"");
    XmlText::AppendEscaped(mBody, rProperty.mName.buffer_utf8(), XmlText::ATTRIBUTE);
    mBody.Append("\" Type=\"");
    mBody.Append(ValueText::GetTypeName(type));
    mBody.Append(rProperty.mbDynamic ? "\" Dynamic=\"true\"" : "\"");
    if (rProperty.mbArray) {
        mBody.Append(count > 0 ? " Array=\"true\">\n" : " Array=\"true\"/>\n");
    }
    mpPropertyName = &rProperty.mName;
    mbArray = count > 0 && rProperty.mbArray;
    return true;
}

// The element's tag is open: ">" and the value, or nothing but "/>".
void XmlWriter::WriteValue(Value&& value, int index)
{
    const bool bElement = index >= 0;
    const std::string_view name = bElement ? "Value" : "Property";
    if (bElement) {
        mBody.Append("            <Value");
    }
    if (value.GetType() == Value::TYPE_OBJECT
            ? value.AsObject() == nullptr
            : value.GetType() == Value::TYPE_STRING && value.AsString().empty()) {
        mBody.Append("/>\n");
        return;
    }
    mBody.Append(">");
    if (value.GetType() == Value::TYPE_OBJECT) {
        WriteReference(std::move(value), bElement ? Way::ELEMENT : Way::PROPERTY, index, *mpPropertyName);
    } else if (value.GetType() == Value::TYPE_STRING) {
        XmlText::AppendEscaped(mBody, value.AsString().buffer_utf8(), XmlText::CONTENT);
    } else {
        AppendPlain(mBody, value);
    }
    mBody.Append("</");
    mBody.Append(name);
    mBody.Append(">\n");
}

void XmlWriter::EndProperty(GraphProperty&)
{
    if (mbArray) {
        mBody.Append("        </Property>\n");
    }
}

bool XmlWriter::WriteEntry(const String& name, Value&& object)
{
    if (name.empty()) {
        return ReportNoName(mObjects.back().mModule, mObjects.back().mClass, "an entry");
    }
    mBody.Append("        <Child Name=\"");
    XmlText::AppendEscaped(mBody, name.buffer_utf8(), XmlText::ATTRIBUTE);
    WriteChild(std::move(object), Way::ENTRY, 0, name);
    return true;
}

void XmlWriter::WriteItem(int index, Value&& object)
{
    mBody.Append("        <Child Index=\"");
    AppendInt(mBody, index);
    WriteChild(std::move(object), Way::ITEM, index, String::Null);
}

void XmlWriter::WriteChild(Value&& object, Way::Kind kind, int index, const String& name)
{
    if (object.AsObject() == nullptr) {
        mBody.Append("\"/>\n");
        return;
    }
    mBody.Append("\">");
    WriteReference(std::move(object), kind, index, name);
    mBody.Append("</Child>\n");
}

bool XmlWriter::EndObject()
{
    mObjects.back().mBodyEnd = mBody.GetSize();
    mObjects.back().mWaysEnd = mWays.size();
    return true;
}

void XmlWriter::WriteReference(Value&& object, Way::Kind kind, int index, const String& name)
{
    const int position = mWalk.Refer(std::move(object), static_cast<unsigned>(mWays.size()));
    mWays.push_back({kind, static_cast<int>(mObjects.size()) - 1, index, name, mBody.GetSize(), position});
}

bool XmlWriter::WriteDocument(ByteBuffer& rDocument) const
{
    rDocument.Append("<?xml version=\"1.0\"?>\n<QuirlData id=\"");
    AppendInt(rDocument, FileFormat::ID);
    rDocument.Append("\" version=\"");
    AppendInt(rDocument, FileFormat::VERSION);
    if (mObjects.empty()) {
        rDocument.Append("\"/>\n");
        return true;
    }
    rDocument.Append("\">\n");
    rDocument.MakeRoom(mBody.GetSize() + 2 * mPaths.GetSize() + mObjects.size() * 64);
    for (std::size_t position = 0; position < mObjects.size(); ++position) {
        WriteObject(rDocument, position);
        if (rDocument.GetSize() > GetLargestStoredSize()) {
            return ReportTooLarge();
        }
    }
    rDocument.Append("</QuirlData>\n");
    return true;
}

void XmlWriter::WriteObject(ByteBuffer& rDocument, std::size_t position) const
{
    const ObjectRecord& object = mObjects[position];
    rDocument.Append("    <Object Module=\"");
    XmlText::AppendEscaped(rDocument, object.mModule.buffer_utf8(), XmlText::ATTRIBUTE);
    rDocument.Append("\" Class=\"");
    XmlText::AppendEscaped(rDocument, object.mClass.buffer_utf8(), XmlText::ATTRIBUTE);
    rDocument.Append("\" Path=\"");
    XmlText::AppendEscaped(rDocument, GetPath(static_cast<int>(position)), XmlText::ATTRIBUTE);
    const std::string_view body = mBody.GetText();
    std::size_t done = position > 0 ? mObjects[position - 1].mBodyEnd : 0;
    if (done == object.mBodyEnd) {
        rDocument.Append("\"/>\n");
        return;
    }
    rDocument.Append("\">\n");
    for (std::size_t i = position > 0 ? mObjects[position - 1].mWaysEnd : 0; i < object.mWaysEnd; ++i) {
        const Way& way = mWays[i];
        rDocument.Append(body.substr(done, way.mGap - done));
        done = way.mGap;
        XmlText::AppendEscaped(rDocument, GetPath(way.mPosition), XmlText::CONTENT);
    }
    rDocument.Append(body.substr(done, object.mBodyEnd - done));
    rDocument.Append("    </Object>\n");
}

// A path that another object has already gets a suffix: "#2", "#3" and so on.
void XmlWriter::MakePath(ObjectRecord& rObject)
{
    rObject.mPath = mPaths.GetSize();
    if (mWalk.GetPresentTag() == GraphWalk<XmlWriter>::NO_TAG) {
        mPaths.Append("root");
    } else {
        AppendWay(mWays[mWalk.GetPresentTag()]);
    }
    int holder = FindPath(mPaths.GetText().substr(rObject.mPath));
    if (holder != PositionIndex::NONE) {
        const std::size_t wantedEnd = mPaths.GetSize();
        int& rSuffix = mObjects[static_cast<std::size_t>(holder)].mNextSuffix;
        while (holder != PositionIndex::NONE) {
            mPaths.Truncate(wantedEnd);
            mPaths.Append("#");
            AppendInt(mPaths, rSuffix++);
            holder = FindPath(mPaths.GetText().substr(rObject.mPath));
        }
    }
    rObject.mPathSize = mPaths.GetSize() - rObject.mPath;
    mPathIndex.Insert(PositionIndex::KeyOf(mPaths.GetText().substr(rObject.mPath)),
                      static_cast<int>(mObjects.size()));
}

void XmlWriter::AppendWay(const Way& way)
{
    const ObjectRecord& owner = mObjects[static_cast<std::size_t>(way.mOwner)];
    mPaths.MakeRoom(owner.mPathSize); // before the text is looked at, which lies in there
    mPaths.Append(mPaths.GetText().substr(owner.mPath, owner.mPathSize));
    const bool bIndex = way.mKind == Way::ELEMENT || way.mKind == Way::ITEM;
    if (way.mKind == Way::PROPERTY || way.mKind == Way::ELEMENT) {
        mPaths.Append(".");
        mPaths.Append(way.mName.buffer_utf8());
    }
    if (way.mKind == Way::ENTRY || bIndex) {
        mPaths.Append("[");
        if (bIndex) {
            AppendInt(mPaths, way.mIndex);
        } else {
            mPaths.Append(way.mName.buffer_utf8());
        }
        mPaths.Append("]");
    }
}

int XmlWriter::FindPath(std::string_view path) const
{
    return mPathIndex.Find(PositionIndex::KeyOf(path),
                           [&](int position) { return GetPath(position) == path; });
}

std::string_view XmlWriter::GetPath(int position) const
{
    const ObjectRecord& object = mObjects[static_cast<std::size_t>(position)];
    return mPaths.GetText().substr(object.mPath, object.mPathSize);
}

} // namespace QBase
