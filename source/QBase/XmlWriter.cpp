#include "QBase/XmlWriter.h"

#include "QBase/FileFormat.h"
#include "QBase/StoredSize.h"
#include "QBase/ValueText.h"

#include <charconv>
#include <cstring>

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
void AppendValue(ByteBuffer& rBuffer, const void* pPayload)
{
    T value;
    std::memcpy(static_cast<void*>(&value), pPayload, sizeof(value));
    char* const p = reinterpret_cast<char*>(rBuffer.MakeRoom(ValueText::MAX_SIZE));
    rBuffer.Advance(static_cast<std::size_t>(ValueText::Write(p, value) - p));
}

// The text of a value that is neither a text nor an object.
void AppendPlain(ByteBuffer& rBuffer, Value::Type type, const void* pPayload)
{
    switch (type) {
    case Value::TYPE_INT:
    case Value::TYPE_ENUM:
        return AppendValue<int>(rBuffer, pPayload);
    case Value::TYPE_FLOAT:
        return AppendValue<float>(rBuffer, pPayload);
    case Value::TYPE_BOOL:
        return AppendValue<bool>(rBuffer, pPayload);
    case Value::TYPE_VECTOR2:
        return AppendValue<Vector2>(rBuffer, pPayload);
    case Value::TYPE_VECTOR3:
        return AppendValue<Vector3>(rBuffer, pPayload);
    case Value::TYPE_VECTOR4:
        return AppendValue<Vector4>(rBuffer, pPayload);
    case Value::TYPE_VECTOR2I:
        return AppendValue<Vector2i>(rBuffer, pPayload);
    case Value::TYPE_VECTOR3I:
        return AppendValue<Vector3i>(rBuffer, pPayload);
    case Value::TYPE_VECTOR4I:
        return AppendValue<Vector4i>(rBuffer, pPayload);
    case Value::TYPE_COLOR:
        return AppendValue<Color>(rBuffer, pPayload);
    default:
        return AppendValue<Quaternion>(rBuffer, pPayload);
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

bool XmlWriter::BeginObject(GraphClass& rClass)
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

void XmlWriter::WritePlain(Value::Type type, const void* pPayload, int index)
{
    BeginValue(index);
    mBody.Append(">");
    AppendPlain(mBody, type, pPayload);
    EndValue(index);
}

void XmlWriter::WriteText(const String& text, int index)
{
    BeginValue(index);
    if (text.empty()) {
        mBody.Append("/>\n");
        return;
    }
    mBody.Append(">");
    XmlText::AppendEscaped(mBody, text.buffer_utf8(), XmlText::CONTENT);
    EndValue(index);
}

void XmlWriter::WriteObject(Object* pObject, int index)
{
    BeginValue(index);
    if (pObject == nullptr) {
        mBody.Append("/>\n");
        return;
    }
    mBody.Append(">");
    WriteReference(pObject, index >= 0 ? Way::ELEMENT : Way::PROPERTY, index, *mpPropertyName);
    EndValue(index);
}

// The tag of the value's element is open behind this: that of an array's element, or that of the property.
void XmlWriter::BeginValue(int index)
{
    if (index >= 0) {
        mBody.Append("            <Value");
    }
}

void XmlWriter::EndValue(int index)
{
    mBody.Append(index >= 0 ? "</Value>\n" : "</Property>\n");
}

void XmlWriter::EndProperty(GraphProperty&)
{
    if (mbArray) {
        mBody.Append("        </Property>\n");
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
        return ReportNoName(mObjects.back().mModule, mObjects.back().mClass, "an entry");
    }
    mBody.Append("        <Child Name=\"");
    XmlText::AppendEscaped(mBody, name.buffer_utf8(), XmlText::ATTRIBUTE);
    WriteChild(pObject, Way::ENTRY, 0, name);
    return true;
}

void XmlWriter::WriteItem(int index, Object* pObject)
{
    mBody.Append("        <Child Index=\"");
    AppendInt(mBody, index);
    WriteChild(pObject, Way::ITEM, index, String::Null);
}

void XmlWriter::WriteChild(Object* pObject, Way::Kind kind, int index, const String& name)
{
    if (pObject == nullptr) {
        mBody.Append("\"/>\n");
        return;
    }
    mBody.Append("\">");
    WriteReference(pObject, kind, index, name);
    mBody.Append("</Child>\n");
}

bool XmlWriter::EndObject()
{
    mObjects.back().mBodyEnd = mBody.GetSize();
    mObjects.back().mWaysEnd = mWays.size();
    return true;
}

void XmlWriter::WriteReference(Object* pObject, Way::Kind kind, int index, const String& name)
{
    const int position = mWalk.Refer(pObject, static_cast<unsigned>(mWays.size()));
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
        WriteObjectElement(rDocument, position);
        if (rDocument.GetSize() > GetLargestStoredSize()) {
            return ReportTooLarge();
        }
    }
    rDocument.Append("</QuirlData>\n");
    return true;
}

void XmlWriter::WriteObjectElement(ByteBuffer& rDocument, std::size_t position) const
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
