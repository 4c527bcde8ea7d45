#include "QBase/ObjectDiff.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/List.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/PropertyList.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QBase
{

namespace
{

constexpr const char* UNIT = "ObjectDiff";

class ObjectState;

// What was seen of one property. A property that was never seen has no state yet.
struct PropertyState
{
    bool mbKnown = false;
    bool mbArray = false;
    Value::Type mType = Value::TYPE_VOID; // as declared, also when that is "Value"
    Value mValue;                         // of a single value
    std::vector<Value> mElements;         // of an array
    ObjectState* mpTarget = nullptr;      // the state of the object in mValue, if that was found already
    std::vector<ObjectState*> mTargets;   // the same for mElements
};

struct TableEntryState
{
    String mName;
    Ptr<Object> mpChild;
    ObjectState* mpTarget = nullptr;
};

struct ListEntryState
{
    Ptr<Object> mpChild;
    ObjectState* mpTarget = nullptr;
};

enum class Shape : std::uint8_t
{
    PLAIN,
    TABLE,
    LIST
};

// What was seen of one object. States are made, marked and destroyed by the pass alone.
class ObjectState
{
public:
    ObjectState(Object* pObject, std::uint8_t mark)
        : mpObject(pObject), mMark(mark), mShape(pObject->IsDerivedType(Table::ClassTable())  ? Shape::TABLE
                                                 : pObject->IsDerivedType(List::ClassTable()) ? Shape::LIST
                                                                                              : Shape::PLAIN)
    {}
    ~ObjectState()
    {
        if (mpList != nullptr) {
            mpList->Release();
        }
    }
    ObjectState(const ObjectState&) = delete;
    ObjectState& operator=(const ObjectState&) = delete;

    Ptr<Object> mpObject;
    std::uint8_t mMark; // the pass in which the object was visited last
    Shape mShape;
    PropertyListData* mpList = nullptr;     // holds one reference; the properties that mProperties speaks of
    std::vector<PropertyState> mProperties; // one for each entry of mpList
    std::vector<TableEntryState> mTable;    // in the walk order of the last pass
    std::vector<ListEntryState> mListed;    // by index, null children included
};

} // namespace

// The states in the order in which their objects were first reached, and an index of them.
class ObjectDiffSnapshot
{
public:
    std::vector<std::unique_ptr<ObjectState>> mStates;
    std::unordered_map<const Object*, ObjectState*> mIndex;
};

// ObjectDiffPass is one walk over the graph. It keeps its own stack of objects under way, so that the depth
// of the graph does not matter.
class ObjectDiffPass
{
public:
    ObjectDiffPass(ObjectDiffSnapshot& snapshot, ObjectDiffHandler* pHandler, std::uint8_t mark)
        : mSnapshot(snapshot), mpHandler(pHandler), mMark(mark)
    {}

    void PollRoot(Object* pRoot)
    {
        ObjectState* pIgnored = nullptr;
        Enter(pRoot, pIgnored);
        while (!mFrames.empty()) {
            Step();
        }
    }

    void SweepUnreachedObjects();

private:
    enum class Phase : std::uint8_t
    {
        PROPERTIES,
        CHILDREN,
        DONE
    };

    // An object under way. A step may push the frame of another object; the next step of this one then goes
    // on where it stood.
    struct Frame
    {
        ObjectState* mpState = nullptr;
        Phase mPhase = Phase::PROPERTIES;
        bool mbRead = false;              // the value, elements or children at hand were read already
        bool mbUnchanged = false;         // the children are those of the last pass
        bool mbPolled = false;            // the child at hand was polled already
        std::size_t mIndex = 0;           // of the property, table entry or list item at hand
        std::size_t mElement = 0;         // of the array element whose object is polled next
        Value mValue;                     // that of the property at hand
        std::vector<Value> mElements;     // those of the array at hand
        std::vector<PropertyState> mGone; // states of properties that the object has no more
        std::vector<String> mGoneNames;
        std::vector<TableEntryState> mTable; // the children as they stood when their turn came
        std::vector<ListEntryState> mListed;
        std::unordered_map<const char*, std::size_t>
            mOldTable; // by name: what the snapshot has of the children
    };

    bool Enter(Object* pObject, ObjectState*& rpTarget);
    void Step();

    // Each does one step; false once its phase is over.
    bool StepProperties(Frame& frame);
    bool StepTable(Frame& frame);
    bool StepList(Frame& frame);

    void MatchProperties(Frame& frame);
    void ForgetProperty(Object* pObject, const String& name, PropertyState& state);
    bool PollValue(Frame& frame, const PropertyList::Entry& entry, PropertyState& state);
    bool PollArray(Frame& frame, const PropertyList::Entry& entry, PropertyState& state);
    void CompareElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state,
                        std::size_t index, Value& element);

    void ReadTable(Frame& frame);
    void CompareTableEntry(Frame& frame, const TableEntryState& entry);
    void FinishTable(Frame& frame);
    void ReadList(Frame& frame);
    void CompareListEntry(Frame& frame, const ListEntryState& entry);
    void FinishList(Frame& frame);

    ObjectDiffSnapshot& mSnapshot;
    ObjectDiffHandler* mpHandler;
    std::uint8_t mMark;
    std::vector<Frame> mFrames;
};

QBASE_IMPLEMENT(QBase, ObjectDiff)

void ObjectDiff::Implement()
{
    AddProperty<&ObjectDiff::GetRoot, &ObjectDiff::SetRoot>("Root");
}

ObjectDiff::ObjectDiff(const Value&) : mpSnapshot(new ObjectDiffSnapshot), mPassMark(0), mbExecuting(false)
{}

ObjectDiff::ObjectDiff(const ObjectDiff& other)
    : Object(other), mpRoot(other.mpRoot), mpSnapshot(new ObjectDiffSnapshot), mPassMark(0),
      mbExecuting(false)
{}

ObjectDiff& ObjectDiff::operator=(const ObjectDiff& other)
{
    mpRoot = other.mpRoot;
    return *this;
}

ObjectDiff::~ObjectDiff()
{
    delete mpSnapshot;
}

void ObjectDiff::Execute(const Value& value)
{
    Object* const pObject = value.AsObject();
    const bool bHandler = pObject != nullptr && pObject->IsDerivedType(ObjectDiffHandler::ClassTable());
    RunPass(bHandler ? static_cast<ObjectDiffHandler*>(pObject) : nullptr);
}

void ObjectDiff::RunPass(ObjectDiffHandler* pHandler)
{
    if (mbExecuting) {
        Error(UNIT, __LINE__, "Failed to execute object diff - it is executing already");
        return;
    }
    const KeepAlive keepThis(this);
    const KeepAlive keepHandler(pHandler);
    const Ptr<Object> pRoot = mpRoot;

    // An exception of a handler or a getter leaves a half-walked snapshot behind, which is worth nothing.
    struct Guard
    {
        ~Guard()
        {
            mDiff.mbExecuting = false;
            if (!mbFinished) {
                delete std::exchange(mDiff.mpSnapshot, new ObjectDiffSnapshot);
            }
        }
        ObjectDiff& mDiff;
        bool mbFinished = false;
    } guard{*this};
    mbExecuting = true;

    ++mPassMark;
    ObjectDiffPass pass(*mpSnapshot, pHandler, mPassMark);
    pass.PollRoot(pRoot);
    if (pHandler != nullptr && pRoot != mpReportedRoot) {
        pHandler->OnNewRoot(pRoot);
    }
    pass.SweepUnreachedObjects();
    mpReportedRoot = pRoot;
    guard.mbFinished = true;
}

// Makes sure that the object has a state and, unless this pass was there already, puts it on top of the
// stack; true then. `rpTarget` remembers the state with whoever refers to the object: looking it up is then
// needed once only.
bool ObjectDiffPass::Enter(Object* pObject, ObjectState*& rpTarget)
{
    if (pObject == nullptr) {
        rpTarget = nullptr;
        return false;
    }
    ObjectState* pState = rpTarget != nullptr && rpTarget->mpObject == pObject ? rpTarget : nullptr;
    if (pState == nullptr) {
        const auto found = mSnapshot.mIndex.find(pObject);
        if (found != mSnapshot.mIndex.end()) {
            pState = found->second;
        }
    }
    if (pState == nullptr) {
        const Ptr<Object> pHeld = pObject;
        if (mpHandler != nullptr) {
            mpHandler->OnAddObject(pObject);
        }
        const std::uint8_t previousMark = static_cast<std::uint8_t>(mMark - 1);
        mSnapshot.mStates.push_back(std::make_unique<ObjectState>(pObject, previousMark));
        pState = mSnapshot.mStates.back().get();
        mSnapshot.mIndex.emplace(pObject, pState);
    }
    rpTarget = pState;
    if (pState->mMark == mMark) {
        return false;
    }
    pState->mMark = mMark;
    mFrames.emplace_back();
    mFrames.back().mpState = pState;
    MatchProperties(mFrames.back());
    return true;
}

void ObjectDiffPass::Step()
{
    // A step that pushes a frame returns at once, since the push may have moved this one.
    Frame& frame = mFrames.back();
    switch (frame.mPhase) {
    case Phase::PROPERTIES:
        if (!StepProperties(frame)) {
            frame.mPhase = frame.mpState->mShape == Shape::PLAIN ? Phase::DONE : Phase::CHILDREN;
            frame.mIndex = 0;
            frame.mbRead = false;
        }
        break;
    case Phase::CHILDREN:
        if (!(frame.mpState->mShape == Shape::TABLE ? StepTable(frame) : StepList(frame))) {
            frame.mPhase = Phase::DONE;
        }
        break;
    case Phase::DONE:
        mFrames.pop_back();
        break;
    }
}

// Lines the states up with the properties that the object has now. As a rule they are the same as in the
// last pass, and nothing is done.
void ObjectDiffPass::MatchProperties(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    PropertyListData* const pList = PropertyList::GetCurrent(state.mpObject);
    if (pList == state.mpList) {
        return;
    }
    pList->Access();
    const auto& entries = pList->GetEntries();
    std::vector<PropertyState> matched(entries.size());
    if (state.mpList != nullptr) {
        const auto& oldEntries = state.mpList->GetEntries();
        std::unordered_map<const char*, std::size_t> oldByName;
        for (std::size_t i = 0; i < oldEntries.size(); ++i) {
            if (state.mProperties[i].mbKnown) {
                oldByName.emplace(oldEntries[i].mName.c_str(), i);
            }
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const auto found =
                entries[i].mbExcluded ? oldByName.end() : oldByName.find(entries[i].mName.c_str());
            if (found != oldByName.end()) {
                matched[i] = std::move(state.mProperties[found->second]);
                state.mProperties[found->second].mbKnown = false;
            }
        }
        for (std::size_t i = 0; i < oldEntries.size(); ++i) {
            if (state.mProperties[i].mbKnown) {
                frame.mGone.push_back(std::move(state.mProperties[i]));
                frame.mGoneNames.push_back(oldEntries[i].mName);
            }
        }
        state.mpList->Release();
    }
    state.mpList = pList;
    state.mProperties = std::move(matched);
}

bool ObjectDiffPass::StepProperties(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    const auto& entries = state.mpList->GetEntries();
    while (frame.mIndex < entries.size()) {
        const PropertyList::Entry& entry = entries[frame.mIndex];
        if (!entry.mbExcluded) {
            PropertyState& property = state.mProperties[frame.mIndex];
            if (property.mbKnown && (property.mType != entry.mType || property.mbArray != entry.mbArray)) {
                ForgetProperty(state.mpObject, entry.mName, property);
            }
            if (entry.mbArray ? PollArray(frame, entry, property) : PollValue(frame, entry, property)) {
                return true;
            }
        }
        ++frame.mIndex;
    }
    for (std::size_t i = 0; i < frame.mGone.size(); ++i) {
        ForgetProperty(state.mpObject, frame.mGoneNames[i], frame.mGone[i]);
    }
    frame.mGone.clear();
    return false;
}

void ObjectDiffPass::ForgetProperty(Object* pObject, const String& name, PropertyState& state)
{
    const PropertyState gone = std::exchange(state, PropertyState());
    if (mpHandler == nullptr) {
        return;
    }
    if (gone.mbArray) {
        mpHandler->OnRemovePropertyArray(pObject, name, gone.mType);
    } else {
        mpHandler->OnRemovePropertyValue(pObject, name, gone.mValue);
    }
}

// True when the object that the value refers to has to be polled first; the value is kept meanwhile.
bool ObjectDiffPass::PollValue(Frame& frame, const PropertyList::Entry& entry, PropertyState& state)
{
    Object* const pObject = frame.mpState->mpObject;
    if (!frame.mbRead) {
        Value value = entry.mpProperty->Get(pObject);
        if (value.AsObject() == nullptr) {
            if (state.mbKnown && value == state.mValue) {
                return false;
            }
            frame.mValue = std::move(value);
        } else {
            frame.mValue = std::move(value);
            frame.mbRead = true;
            if (Enter(frame.mValue.AsObject(), state.mpTarget)) {
                return true;
            }
        }
    }
    frame.mbRead = false;
    const Value value = std::move(frame.mValue);
    if (!state.mbKnown) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyValue(pObject, entry.mName, value);
        }
        state.mbKnown = true;
        state.mType = entry.mType;
        state.mValue = value;
        return false;
    }
    if (value == state.mValue) {
        return false;
    }
    QBASE_ASSERT_TEXT(entry.mpProperty->GetType() == state.mType, UNIT, __LINE__,
                      "ASSERT( pProperty->GetType() == pPropertyState->GetType() )");
    QBASE_ASSERT_TEXT(!state.mbArray, UNIT, __LINE__, "ASSERT( !pPropertyState->IsArray() )");
    const Value oldValue = state.mValue;
    if (mpHandler != nullptr) {
        mpHandler->OnModifyPropertyValue(pObject, entry.mName, value, oldValue);
    }
    state.mValue = value;
    return false;
}

// True when the object of an element has to be polled first; the elements are kept meanwhile.
bool ObjectDiffPass::PollArray(Frame& frame, const PropertyList::Entry& entry, PropertyState& state)
{
    Object* const pObject = frame.mpState->mpObject;
    const bool bMayRefer = entry.mType == Value::TYPE_OBJECT || entry.mType == Value::TYPE_VALUE;
    if (bMayRefer) {
        if (!frame.mbRead) {
            const int size = entry.mpProperty->GetSize(pObject);
            frame.mElements.clear();
            for (int i = 0; i < size && i < entry.mpProperty->GetSize(pObject); ++i) {
                frame.mElements.push_back(entry.mpProperty->GetAt(pObject, i));
            }
            state.mTargets.resize(frame.mElements.size());
            frame.mElement = 0;
            frame.mbRead = true;
        }
        while (frame.mElement < frame.mElements.size()) {
            const std::size_t i = frame.mElement++;
            if (Enter(frame.mElements[i].AsObject(), state.mTargets[i])) {
                return true;
            }
        }
        frame.mbRead = false;
    }
    if (!state.mbKnown) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyArray(pObject, entry.mName, entry.mType);
        }
        state.mbKnown = true;
        state.mbArray = true;
        state.mType = entry.mType;
    }
    std::size_t size = 0;
    if (bMayRefer) {
        std::vector<Value> elements = std::move(frame.mElements);
        size = elements.size();
        for (std::size_t i = 0; i < size; ++i) {
            CompareElement(pObject, entry, state, i, elements[i]);
        }
    } else {
        const int count = entry.mpProperty->GetSize(pObject);
        for (int i = 0; i < count && i < entry.mpProperty->GetSize(pObject); ++i) {
            Value element = entry.mpProperty->GetAt(pObject, i);
            CompareElement(pObject, entry, state, size++, element);
        }
    }
    if (state.mElements.size() > size) {
        if (mpHandler != nullptr) {
            mpHandler->OnDownsizePropertyArray(pObject, entry.mName, static_cast<int>(size), entry.mType);
        }
        state.mElements.resize(size);
    }
    return false;
}

void ObjectDiffPass::CompareElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state,
                                    std::size_t index, Value& element)
{
    if (index >= state.mElements.size()) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyArrayElement(pObject, entry.mName, static_cast<int>(index), element);
        }
        state.mElements.push_back(std::move(element));
        return;
    }
    if (element == state.mElements[index]) {
        return;
    }
    QBASE_ASSERT_TEXT(entry.mpProperty->GetType() == state.mType, UNIT, __LINE__,
                      "ASSERT( pProperty->GetType() == pPropertyState->GetType() )");
    QBASE_ASSERT_TEXT(state.mbArray, UNIT, __LINE__, "ASSERT( pPropertyState->IsArray() )");
    const Value oldElement = std::exchange(state.mElements[index], element);
    if (mpHandler != nullptr) {
        mpHandler->OnModifyPropertyArrayElement(pObject, entry.mName, static_cast<int>(index), element,
                                                oldElement);
    }
}

// Reads a table's children once. As a rule they are those of the last pass, in the same order; the snapshot
// then serves as the list of children to poll.
void ObjectDiffPass::ReadTable(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    const Table* const pTable = static_cast<Table*>(static_cast<Object*>(state.mpObject));
    frame.mbRead = true;
    frame.mbUnchanged = true;
    std::size_t count = 0;
    for (const auto& node : pTable->GetEntries()) {
        if (count >= state.mTable.size() || !(state.mTable[count].mName == node.GetKey()) ||
            !(state.mTable[count].mpChild == node.GetValue())) {
            frame.mbUnchanged = false;
            break;
        }
        ++count;
    }
    if (frame.mbUnchanged && count == state.mTable.size()) {
        return;
    }
    frame.mbUnchanged = false;
    for (const auto& node : pTable->GetEntries()) {
        frame.mTable.push_back({node.GetKey(), node.GetValue()});
    }
    for (std::size_t i = 0; i < state.mTable.size(); ++i) {
        frame.mOldTable.emplace(state.mTable[i].mName.c_str(), i);
    }
}

bool ObjectDiffPass::StepTable(Frame& frame)
{
    if (!frame.mbRead) {
        ReadTable(frame);
    }
    std::vector<TableEntryState>& children = frame.mbUnchanged ? frame.mpState->mTable : frame.mTable;
    while (frame.mIndex < children.size()) {
        TableEntryState& entry = children[frame.mIndex];
        if (!frame.mbPolled) {
            frame.mbPolled = true;
            if (Enter(entry.mpChild, entry.mpTarget)) {
                return true;
            }
        }
        frame.mbPolled = false;
        if (!frame.mbUnchanged) {
            CompareTableEntry(frame, entry);
        }
        ++frame.mIndex;
    }
    if (!frame.mbUnchanged) {
        FinishTable(frame);
    }
    return false;
}

void ObjectDiffPass::CompareTableEntry(Frame& frame, const TableEntryState& entry)
{
    ObjectState& state = *frame.mpState;
    Table* const pTable = static_cast<Table*>(static_cast<Object*>(state.mpObject));
    const auto found = frame.mOldTable.find(entry.mName.c_str());
    if (found == frame.mOldTable.end()) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddTableChild(pTable, entry.mName, entry.mpChild);
        }
        return;
    }
    const Ptr<Object> pOldChild = state.mTable[found->second].mpChild;
    frame.mOldTable.erase(found); // what stays in there has gone from the table
    if (mpHandler != nullptr && !(pOldChild == entry.mpChild)) {
        mpHandler->OnModifyTableChild(pTable, entry.mName, entry.mpChild, pOldChild);
    }
}

void ObjectDiffPass::FinishTable(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    Table* const pTable = static_cast<Table*>(static_cast<Object*>(state.mpObject));
    if (mpHandler != nullptr && !frame.mOldTable.empty()) {
        for (const TableEntryState& old : state.mTable) {
            if (frame.mOldTable.count(old.mName.c_str()) != 0) {
                mpHandler->OnRemoveTableChild(pTable, old.mName);
            }
        }
    }
    std::swap(state.mTable, frame.mTable);
}

void ObjectDiffPass::ReadList(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    const Array<Ptr<Object>>& objects =
        static_cast<List*>(static_cast<Object*>(state.mpObject))->GetObjects();
    frame.mbRead = true;
    frame.mbUnchanged = static_cast<std::size_t>(objects.GetSize()) == state.mListed.size();
    for (int i = 0; frame.mbUnchanged && i < objects.GetSize(); ++i) {
        frame.mbUnchanged = objects[i] == state.mListed[static_cast<std::size_t>(i)].mpChild;
    }
    if (frame.mbUnchanged) {
        return;
    }
    frame.mListed.reserve(static_cast<std::size_t>(objects.GetSize()));
    for (const Ptr<Object>& pObject : objects) {
        frame.mListed.push_back({pObject});
    }
}

bool ObjectDiffPass::StepList(Frame& frame)
{
    if (!frame.mbRead) {
        ReadList(frame);
    }
    std::vector<ListEntryState>& children = frame.mbUnchanged ? frame.mpState->mListed : frame.mListed;
    while (frame.mIndex < children.size()) {
        ListEntryState& entry = children[frame.mIndex];
        if (!frame.mbPolled) {
            frame.mbPolled = true;
            if (Enter(entry.mpChild, entry.mpTarget)) {
                return true;
            }
        }
        frame.mbPolled = false;
        if (!frame.mbUnchanged) {
            CompareListEntry(frame, entry);
        }
        ++frame.mIndex;
    }
    if (!frame.mbUnchanged) {
        FinishList(frame);
    }
    return false;
}

void ObjectDiffPass::CompareListEntry(Frame& frame, const ListEntryState& entry)
{
    ObjectState& state = *frame.mpState;
    if (mpHandler == nullptr) {
        return;
    }
    List* const pList = static_cast<List*>(static_cast<Object*>(state.mpObject));
    const int index = static_cast<int>(frame.mIndex);
    if (frame.mIndex >= state.mListed.size()) {
        mpHandler->OnAddListChild(pList, index, entry.mpChild);
    } else if (!(state.mListed[frame.mIndex].mpChild == entry.mpChild)) {
        const Ptr<Object> pOldChild = state.mListed[frame.mIndex].mpChild;
        mpHandler->OnModifyListChild(pList, index, entry.mpChild, pOldChild);
    }
}

void ObjectDiffPass::FinishList(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    if (mpHandler != nullptr && frame.mListed.size() < state.mListed.size()) {
        List* const pList = static_cast<List*>(static_cast<Object*>(state.mpObject));
        mpHandler->OnDownsizeList(pList, static_cast<int>(frame.mListed.size()));
    }
    std::swap(state.mListed, frame.mListed);
}

// One sweep closes all gaps; the order of the others stays.
void ObjectDiffPass::SweepUnreachedObjects()
{
    std::vector<std::unique_ptr<ObjectState>>& states = mSnapshot.mStates;
    std::size_t firstGone = 0;
    while (firstGone < states.size() && states[firstGone]->mMark == mMark) {
        ++firstGone;
    }
    if (firstGone == states.size()) {
        return;
    }
    std::size_t end = firstGone;
    for (std::size_t i = firstGone; i < states.size(); ++i) {
        if (states[i]->mMark == mMark) {
            states[end++] = std::move(states[i]);
            continue;
        }
        const std::unique_ptr<ObjectState> pGone = std::move(states[i]);
        mSnapshot.mIndex.erase(pGone->mpObject);
        if (mpHandler != nullptr) {
            mpHandler->OnRemoveObject(pGone->mpObject);
        }
    }
    states.resize(end);
}

} // namespace QBase
