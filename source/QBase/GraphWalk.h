// GraphWalk collects an object and every object that can be reached from it, in the order in which they are
// first reached: depth first, an object's properties in their order, then a table's entries or a list's
// items. It reads each property exactly once and passes the values to a Sink, which writes them in its
// format, so that what is written is what was walked even where a getter answers differently each time.
//
//     class Sink
//     {
//         bool BeginObject(Object* pObject, GraphClass& rClass); // the next position in the order
//         bool BeginProperty(GraphProperty& rProperty, Value::Type type, int count); // count 1 without array
//         void WriteValue(Value&& value, int index);             // index -1 without array
//         void EndProperty(GraphProperty& rProperty);
//         bool WriteEntry(const String& name, Value&& object);   // of a table
//         void WriteItem(int index, Value&& object);             // of a list
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
// Everything that was reached is kept alive until the walk is destroyed. There is no recursion: depth and
// width are limited by memory only.

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/List.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/StringConverter.h"
#include "QBase/Table.h"
#include "QBase/ValueBytes.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace QBase
{

// One property that counts, as all objects of a class have it. The tags are for the Sink: -1 at first.
struct GraphProperty
{
    GraphProperty(Property* pProperty, const String& name)
        : mpProperty(pProperty), mName(name), mType(pProperty->GetType()), mbArray(pProperty->IsArray()),
          mbDynamic(pProperty->IsDynamic())
    {}

    Property* mpProperty; // borrowed from a PropertyList
    const String& mName;
    Value::Type mType; // as declared
    bool mbArray;
    bool mbDynamic;
    int mTag = -1;
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
    int Refer(Value&& object, unsigned tag);

    /// Puts a text in line.
    void AddText(const String& text, unsigned tag)
    {
        mSteps.push_back({nullptr, tag, static_cast<unsigned>(mTexts.size())});
        mTexts.push_back(text);
    }

    /// True when an object is in line that the walk reaches before whatever is written next.
    bool IsObjectInLine() const { return mbObjectWaits; }

    static constexpr unsigned NO_TAG = ~0u;

    /// The tag of the object being written; NO_TAG for the first one.
    unsigned GetPresentTag() const { return mPresentTag; }

private:
    // A place in line.
    struct Step
    {
        Object* mpObject; // holds one reference; null for a text
        unsigned mTag;
        unsigned mText; // in mTexts
    };

    struct Frame
    {
        std::size_t mNext; // in mSteps
        std::size_t mEnd;
    };

    int Arrive(Object* pObject);
    bool WriteObject(Object* pObject);
    bool WriteProperties(Object* pObject, GraphClass& rClass);
    bool WriteProperty(Object* pObject, GraphProperty& rProperty);
    bool WriteArray(Object* pObject, GraphProperty& rProperty);
    bool WriteChildren(Object* pObject, const GraphClass& graphClass);
    GraphClass& FindClass(const Object* pObject);

    Sink& mSink;
    std::optional<KeepAlive> mKeepRoot; // outlives the steps, which may hold the root as well
    std::vector<Step> mSteps;
    std::vector<String> mTexts; // that wait, or waited
    std::vector<Frame> mFrames;
    PositionIndex mPositions; // of the objects reached
    unsigned mPresentTag = NO_TAG;
    int mNumObjects = 0;
    bool mbObjectWaits = false;

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
    if (Arrive(pRoot) == PositionIndex::NONE) {
        return false;
    }
    while (!mFrames.empty()) {
        Frame& rFrame = mFrames.back();
        if (rFrame.mNext == rFrame.mEnd) {
            mFrames.pop_back();
            continue;
        }
        const Step step = mSteps[rFrame.mNext++];
        if (step.mpObject == nullptr) {
            mSink.ResolveText(step.mTag, mTexts[step.mText]);
            continue;
        }
        mPresentTag = step.mTag;
        const int position = Arrive(step.mpObject);
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
    for (const Step& step : mSteps) {
        if (step.mpObject != nullptr) {
            Object::DropReference(step.mpObject);
        }
    }
}

template <typename Sink>
int GraphWalk<Sink>::Refer(Value&& object, unsigned tag)
{
    const int position = mPositions.Find(PositionIndex::KeyOf(object.AsObject()));
    if (position == PositionIndex::NONE) {
        mSteps.push_back({nullptr, tag, 0});
        mSteps.back().mpObject = ValueBits::TakeObject(std::move(object));
        mbObjectWaits = true;
    }
    return position;
}

// The position of the object, which is written and gets its frame when it was not reached before.
template <typename Sink>
int GraphWalk<Sink>::Arrive(Object* pObject)
{
    const std::uint64_t key = PositionIndex::KeyOf(pObject);
    const int known = mPositions.Find(key);
    if (known != PositionIndex::NONE) {
        return known;
    }
    const int position = mNumObjects++;
    mPositions.Insert(key, position);
    const std::size_t firstStep = mSteps.size();
    mbObjectWaits = false;
    if (!WriteObject(pObject)) {
        return PositionIndex::NONE;
    }
    if (mSteps.size() > firstStep) {
        mFrames.push_back({firstStep, mSteps.size()});
    }
    return position;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteObject(Object* pObject)
{
    GraphClass& rClass = FindClass(pObject);
    return mSink.BeginObject(pObject, rClass) && WriteProperties(pObject, rClass) &&
           WriteChildren(pObject, rClass) && mSink.EndObject();
}

template <typename Sink>
bool GraphWalk<Sink>::WriteProperties(Object* pObject, GraphClass& rClass)
{
    if (pObject->GetInstanceTable() == nullptr) {
        if (rClass.mpList == nullptr) {
            rClass.mpList = std::make_unique<PropertyList>(pObject);
            for (const PropertyList::Entry& entry : *rClass.mpList) {
                if (!entry.mpProperty->IsExcluded()) {
                    rClass.mProperties.emplace_back(entry.mpProperty, entry.mName);
                }
            }
        }
        for (GraphProperty& rProperty : rClass.mProperties) {
            if (!WriteProperty(pObject, rProperty)) {
                return false;
            }
        }
        return true;
    }
    const PropertyList list(pObject);
    for (const PropertyList::Entry& entry : list) {
        if (entry.mpProperty->IsExcluded()) {
            continue;
        }
        GraphProperty property(entry.mpProperty, entry.mName);
        if (!WriteProperty(pObject, property)) {
            return false;
        }
    }
    return true;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteProperty(Object* pObject, GraphProperty& rProperty)
{
    if (rProperty.mbArray) {
        return WriteArray(pObject, rProperty);
    }
    Value value = rProperty.mpProperty->Get(pObject);
    const Value::Type type = value.GetType();
    if (!ValueBytes::IsStorable(type)) {
        ReportUnstorable(pObject, rProperty, type);
        return false;
    }
    if (!mSink.BeginProperty(rProperty, type, 1)) {
        return false;
    }
    mSink.WriteValue(std::move(value), -1);
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
        mSink.WriteValue(std::move(element), i);
    }
    mSink.EndProperty(rProperty);
    return true;
}

template <typename Sink>
bool GraphWalk<Sink>::WriteChildren(Object* pObject, const GraphClass& graphClass)
{
    if (graphClass.mbTable) {
        for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
            if (!mSink.WriteEntry(node.GetKey(), Value(node.GetValue()))) {
                return false;
            }
        }
    } else if (graphClass.mbList) {
        int index = 0;
        for (const Ptr<Object>& pItem : static_cast<List*>(pObject)->GetObjects()) {
            mSink.WriteItem(index++, Value(pItem));
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
