// GraphWalk collects an object and every object that can be reached from it, in the order in which they are
// first reached: depth first, an object's properties in their order, then a table's entries or a list's
// items. It reads each property exactly once and passes the values to a Sink, which writes them in its
// format, so that what is written is what was walked even where a getter answers differently each time.
//
//     class Sink
//     {
//         bool BeginObject(GraphClass& rClass); // the next position in the order
//         bool BeginProperty(GraphProperty& rProperty, Value::Type type, int count); // count 1 without array
//         void WritePlain(Value::Type type, const void* pPayload, int index);        // index -1 without
//         array void WriteText(const String& text, int index); void WriteObject(Object* pObject, int index);
//         void EndProperty(GraphProperty& rProperty);
//         bool WritePlainProperty(GraphProperty& rProperty, const void* pPayload); // all three for one value
//         bool WriteEntry(const String& name, Object* pObject); // of a table
//         void WriteItem(int index, Object* pObject);           // of a list
//         bool EndObject();
//         void Resolve(unsigned tag, int position);
//         void ResolveText(unsigned tag, const String& text);
//     };
//     GraphWalk<Sink> walk(sink);
//     walk.Run(pObject);     // false, after a report, for a graph that cannot be stored
//
// All values of an object arrive together, before the objects that it refers to are walked. For each object
// that it is given the Sink calls Refer, which answers the object's position or puts the object in line; the
// walk then goes there in its turn and says, by Resolve, which position it has. Texts can stand in the same
// line.
//
// Properties that are nothing but members are read where they stand; others through their Get. Everything
// that was reached is kept alive until the walk is destroyed. There is no recursion: depth and width are
// limited by memory only.

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/List.h"
#include "QBase/ObjectNumbers.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/StoredMember.h"
#include "QBase/StringConverter.h"
#include "QBase/Table.h"
#include "QBase/ValueBytes.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace QBase
{

// One property that counts, as all objects of a class have it. The tags and the texts are for the Sink: -1
// and empty at first.
struct GraphProperty
{
    GraphProperty(const PropertyList::Entry& entry, Object* pObject)
        : mpProperty(entry.mpProperty), mName(entry.mName), mType(entry.mType), mbArray(entry.mbArray),
          mbDynamic(entry.mpProperty->IsDynamic()), mMember(entry.mpProperty, pObject),
          mbPlainMember(mMember.IsKnown() && !mbArray && mType != Value::TYPE_STRING &&
                        mType != Value::TYPE_OBJECT)
    {}

    Property* mpProperty; // borrowed from a PropertyList
    const String& mName;
    Value::Type mType; // as declared
    bool mbArray;
    bool mbDynamic;
    int mTag = -1;
    std::string mText;
    Value::Type mTextType = Value::TYPE_VOID;
    StoredMember mMember;
    bool mbPlainMember; // most are: a single value of a plain type
};

struct GraphClass
{
    explicit GraphClass(const Object* pObject);

    String mModule;
    String mName;
    bool mbTable;
    bool mbList;
    int mModuleTag = -1;
    int mNameTag = -1;
    std::string mText;

    // Those of objects without properties of their own; listed when the first such object comes.
    std::unique_ptr<PropertyList> mpList;
    std::vector<GraphProperty> mProperties;
};

/// The report on values that no file can hold.
void ReportUnstorable(const Object* pObject, const GraphProperty& property, Value::Type type);
void ReportMixedArray(const Object* pObject, const GraphProperty& property, Value::Type type);

template <typename Sink>
class GraphWalk
{
public:
    explicit GraphWalk(Sink& rSink) : mSink(rSink) {}
    ~GraphWalk();
    GraphWalk(const GraphWalk&) = delete;
    GraphWalk& operator=(const GraphWalk&) = delete;

    /// Walks the graph; nothing when the object is null.
    bool Run(Object* pRoot);

    /// The position of an object, which is not null, if it was reached already. Otherwise NONE, and the
    /// object is put in line under a tag of the Sink's. For the Sink, while an object is written.
    int Refer(Object* pObject, unsigned tag);

    /// Puts a text in line.
    void AddText(const String& text, unsigned tag)
    {
        mSteps.push_back({~static_cast<int>(mTexts.size()), tag});
        mTexts.push_back(text);
    }

    /// True when an object is in line that the walk reaches before whatever is written next.
    bool IsObjectInLine() const { return mbObjectWaits; }

    static constexpr unsigned NO_TAG = ~0u;

    /// The tag of the object being written; NO_TAG for the first one.
    unsigned GetPresentTag() const { return mPresentTag; }

private:
    // A place in line: of an object by its number, of a text by the complement of its place in mTexts.
    struct Step
    {
        int mTarget;
        unsigned mTag;
    };

    // The places in line behind one object, which are given up when the walk has been everywhere.
    struct Frame
    {
        std::size_t mFirst; // in mSteps
        std::size_t mNext;
        std::size_t mEnd;
        std::size_t mFirstText; // in mTexts
    };

    int NumberObject(Object* pObject);
    void HoldObjects();
    int Arrive(int number);
    bool WriteObject(Object* pObject);
    bool WriteProperties(Object* pObject, GraphClass& rClass);
    bool WriteProperty(Object* pObject, GraphProperty& rProperty);
    bool WriteMember(Object* pObject, GraphProperty& rProperty);
    bool WriteValue(Object* pObject, GraphProperty& rProperty);
    bool WriteArray(Object* pObject, GraphProperty& rProperty);
    void WriteElement(Value::Type type, const Value& value, int index);
    bool WriteChildren(Object* pObject, const GraphClass& graphClass);
    GraphClass& FindClass(const Object* pObject);

    Sink& mSink;
    std::optional<KeepAlive> mKeepRoot; // outlives what the walk holds, the root among it
    std::vector<Step> mSteps;           // those of each frame behind those of the frame before
    std::vector<String> mTexts;
    std::vector<Frame> mFrames;

    ObjectNumbers mNumbers;      // of the objects that somebody referred to
    std::vector<int> mPositions; // by number, in the order of the walk; NONE for one that waits in line
    int mNumReached = 0;
    unsigned mPresentTag = NO_TAG;
    bool mbObjectWaits = false;
    bool mbHolds = false; // one reference on each of the objects

    std::vector<std::unique_ptr<GraphClass>> mClasses;
    PositionIndex mClassIndex;
    const ClassInfoTable* mpLastTable = nullptr;
    GraphClass* mpLastClass = nullptr;
};

template <typename Sink>
bool GraphWalk<Sink>::Run(Object* pRoot)
{
    if (pRoot == nullptr) {
        return true;
    }
    mKeepRoot.emplace(pRoot);
    if (Arrive(NumberObject(pRoot)) == PositionIndex::NONE) {
        return false;
    }
    while (!mFrames.empty()) {
        Frame& rFrame = mFrames.back();
        if (rFrame.mNext == rFrame.mEnd) {
            mSteps.resize(rFrame.mFirst);
            mTexts.resize(rFrame.mFirstText);
            mFrames.pop_back();
            continue;
        }
        const Step step = mSteps[rFrame.mNext++];
        if (step.mTarget < 0) {
            mSink.ResolveText(step.mTag, mTexts[static_cast<std::size_t>(~step.mTarget)]);
            continue;
        }
        mPresentTag = step.mTag;
        const int position = Arrive(step.mTarget);
        if (position == PositionIndex::NONE) {
            return false;
        }
        mSink.Resolve(step.mTag, position);
    }
    return true;
}

template <typename Sink>
GraphWalk<Sink>::~GraphWalk()
{
    if (mbHolds) {
        for (Object* const pObject : mNumbers.GetObjects()) {
            Object::DropReference(pObject);
        }
    }
}

template <typename Sink>
int GraphWalk<Sink>::Refer(Object* pObject, unsigned tag)
{
    const int number = NumberObject(pObject);
    const int position = mPositions[static_cast<std::size_t>(number)];
    if (position == PositionIndex::NONE) {
        mSteps.push_back({number, tag});
        mbObjectWaits = true;
    }
    return position;
}

template <typename Sink>
int GraphWalk<Sink>::NumberObject(Object* pObject)
{
    const int number = mNumbers.FindOrAdd(pObject);
    if (static_cast<std::size_t>(number) == mPositions.size()) {
        if (mbHolds) {
            Object::AddReference(pObject);
        }
        mPositions.push_back(PositionIndex::NONE);
    }
    return number;
}

// To be called before anything that may let go of objects.
template <typename Sink>
void GraphWalk<Sink>::HoldObjects()
{
    if (!mbHolds) {
        for (Object* const pObject : mNumbers.GetObjects()) {
            Object::AddReference(pObject);
        }
        mbHolds = true;
    }
}

// The position of an object, which is written and gets its frame when it was not reached before.
template <typename Sink>
int GraphWalk<Sink>::Arrive(int number)
{
    int& rPosition = mPositions[static_cast<std::size_t>(number)];
    if (rPosition != PositionIndex::NONE) {
        return rPosition;
    }
    const int position = rPosition = mNumReached++;
    const std::size_t firstStep = mSteps.size();
    const std::size_t firstText = mTexts.size();
    mbObjectWaits = false;
    if (!WriteObject(mNumbers.GetAt(number))) {
        return PositionIndex::NONE;
    }
    if (mSteps.size() > firstStep) {
        mFrames.push_back({firstStep, firstStep, mSteps.size(), firstText});
    }
    return position;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteObject(Object* pObject)
{
    GraphClass& rClass = FindClass(pObject);
    return mSink.BeginObject(rClass) && WriteProperties(pObject, rClass) && WriteChildren(pObject, rClass) &&
           mSink.EndObject();
}

template <typename Sink>
bool GraphWalk<Sink>::WriteProperties(Object* pObject, GraphClass& rClass)
{
    if (pObject->GetInstanceTable() == nullptr) {
        if (rClass.mpList == nullptr) {
            rClass.mpList = std::make_unique<PropertyList>(pObject);
            for (const PropertyList::Entry& entry : *rClass.mpList) {
                if (!entry.mbExcluded) {
                    rClass.mProperties.emplace_back(entry, pObject);
                }
            }
        }
        for (GraphProperty& rProperty : rClass.mProperties) {
            if (rProperty.mbPlainMember
                    ? !mSink.WritePlainProperty(rProperty, rProperty.mMember.Locate(pObject))
                    : !WriteProperty(pObject, rProperty)) {
                return false;
            }
        }
        return true;
    }
    const PropertyList list(pObject);
    for (const PropertyList::Entry& entry : list) {
        if (entry.mbExcluded) {
            continue;
        }
        GraphProperty property(entry, pObject);
        if (!WriteProperty(pObject, property)) {
            return false;
        }
    }
    return true;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteProperty(Object* pObject, GraphProperty& rProperty)
{
    if (rProperty.mMember.IsKnown()) {
        return WriteMember(pObject, rProperty);
    }
    HoldObjects();
    return rProperty.mbArray ? WriteArray(pObject, rProperty) : WriteValue(pObject, rProperty);
}

template <typename Sink>
bool GraphWalk<Sink>::WriteMember(Object* pObject, GraphProperty& rProperty)
{
    const StoredMember& member = rProperty.mMember;
    int size = 1;
    const void* pElement = rProperty.mbArray ? member.GetElements(pObject, size) : member.Locate(pObject);
    int index = rProperty.mbArray ? 0 : -1;
    if (!mSink.BeginProperty(rProperty, rProperty.mType, size)) {
        return false;
    }
    for (int i = 0; i < size; ++i, ++index, pElement = member.GetNext(pElement)) {
        if (rProperty.mType == Value::TYPE_STRING) {
            mSink.WriteText(*static_cast<const String*>(pElement), index);
        } else if (rProperty.mType == Value::TYPE_OBJECT) {
            mSink.WriteObject(member.GetObject(pElement), index);
        } else {
            mSink.WritePlain(rProperty.mType, pElement, index);
        }
    }
    mSink.EndProperty(rProperty);
    return true;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteValue(Object* pObject, GraphProperty& rProperty)
{
    const Value value = rProperty.mpProperty->Get(pObject);
    const Value::Type type = value.GetType();
    if (!ValueBytes::IsStorable(type)) {
        ReportUnstorable(pObject, rProperty, type);
        return false;
    }
    if (!mSink.BeginProperty(rProperty, type, 1)) {
        return false;
    }
    WriteElement(type, value, -1);
    mSink.EndProperty(rProperty);
    return true;
}

// The elements of a stored array are of one type. An array of "Value" takes that of its first element; an
// empty one has none to take and passes as "int".
template <typename Sink>
bool GraphWalk<Sink>::WriteArray(Object* pObject, GraphProperty& rProperty)
{
    const int size = std::max(0, rProperty.mpProperty->GetSize(pObject));
    Value element;
    Value::Type type = rProperty.mType;
    if (size > 0) {
        element = rProperty.mpProperty->GetAt(pObject, 0);
        type = element.GetType();
    } else if (type == Value::TYPE_VALUE) {
        type = Value::TYPE_INT;
    }
    if (!ValueBytes::IsStorable(type)) {
        ReportUnstorable(pObject, rProperty, type);
        return false;
    }
    if (!mSink.BeginProperty(rProperty, type, size)) {
        return false;
    }
    for (int i = 0; i < size; ++i) {
        if (i > 0) {
            element = rProperty.mpProperty->GetAt(pObject, i);
        }
        if (element.GetType() != type) {
            ReportMixedArray(pObject, rProperty, element.GetType());
            return false;
        }
        WriteElement(type, element, i);
    }
    mSink.EndProperty(rProperty);
    return true;
}

template <typename Sink>
void GraphWalk<Sink>::WriteElement(Value::Type type, const Value& value, int index)
{
    if (type == Value::TYPE_STRING) {
        mSink.WriteText(value.AsString(), index);
    } else if (type == Value::TYPE_OBJECT) {
        mSink.WriteObject(value.AsObject(), index);
    } else {
        mSink.WritePlain(type, ValueBits::GetPayload(value), index);
    }
}

template <typename Sink>
bool GraphWalk<Sink>::WriteChildren(Object* pObject, const GraphClass& graphClass)
{
    if (graphClass.mbTable) {
        for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
            if (!mSink.WriteEntry(node.GetKey(), node.GetValue())) {
                return false;
            }
        }
    } else if (graphClass.mbList) {
        int index = 0;
        for (const Ptr<Object>& pItem : static_cast<List*>(pObject)->GetObjects()) {
            mSink.WriteItem(index++, pItem);
        }
    }
    return true;
}

template <typename Sink>
GraphClass& GraphWalk<Sink>::FindClass(const Object* pObject)
{
    const ClassInfoTable* const pTable = pObject->GetClassTable();
    if (pTable == mpLastTable) {
        return *mpLastClass;
    }
    const std::uint64_t key = PositionIndex::KeyOf(pTable);
    int position = mClassIndex.Find(key);
    if (position == PositionIndex::NONE) {
        position = static_cast<int>(mClasses.size());
        mClassIndex.Insert(key, position);
        mClasses.push_back(std::make_unique<GraphClass>(pObject));
    }
    mpLastTable = pTable;
    mpLastClass = mClasses[static_cast<std::size_t>(position)].get();
    return *mpLastClass;
}

} // namespace QBase
