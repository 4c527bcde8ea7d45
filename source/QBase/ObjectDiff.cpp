#include "QBase/ObjectDiff.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/ObjectHash.h"
#include "QBase/PooledMemory.h"
#include "QBase/PropertyListData.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <memory_resource>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QBase
{

namespace
{

constexpr const char* UNIT = "ObjectDiff";

class ObjectState;

// What was seen of an array.
struct ArrayState
{
    std::vector<Value> mElements;
    std::vector<ObjectState*>
        mTargets; // the states of the objects in there, one for each element that may be
};

// What was seen of one property: of a single value the value itself, of an array its ArrayState. There is one
// for each property that lies in no field of each object of the graph, so it is kept small; as a base, Value
// leaves the flags room behind its type.
class PropertyState : public Value
{
public:
    PropertyState() = default;
    PropertyState(PropertyState&& other) noexcept : Value(std::move(other)) { TakeRest(other); }
    PropertyState& operator=(PropertyState&& other) noexcept
    {
        PropertyState taken(std::move(other));
        std::swap(static_cast<Value&>(*this), static_cast<Value&>(taken));
        std::swap(mbKnown, taken.mbKnown);
        std::swap(mbArray, taken.mbArray);
        std::swap(mDeclaredType, taken.mDeclaredType);
        std::swap(mpTarget, taken.mpTarget);
        return *this;
    }
    ~PropertyState()
    {
        if (mbArray) {
            delete mpArray;
        }
    }

    // False for a property that was never seen.
    bool IsKnown() const { return mbKnown; }
    bool IsArray() const { return mbArray; }

    // True for the known single value of a property that has not changed its type.
    bool IsValueOf(const PropertyList::Entry& entry) const
    {
        return mbKnown && !mbArray && !entry.mbArray && mDeclaredType == entry.mType;
    }

    // True when what is known is of the property's type and shape, so that it can be compared.
    bool Fits(const PropertyList::Entry& entry) const
    {
        return mDeclaredType == entry.mType && mbArray == entry.mbArray;
    }

    // As declared, also when that is "Value".
    Value::Type GetDeclaredType() const { return static_cast<Value::Type>(mDeclaredType); }

    const Value& GetValue() const { return *this; }
    void SetValue(const Value& value) { static_cast<Value&>(*this) = value; }
    ObjectState*& GetTarget() { return mpTarget; }
    ArrayState& GetArray() { return *mpArray; }

    void Know(Value::Type declaredType, bool bArray)
    {
        mbKnown = true;
        mDeclaredType = static_cast<std::uint8_t>(declaredType);
        if (bArray) {
            mpArray = new ArrayState;
            mbArray = true;
        }
    }

private:
    void TakeRest(PropertyState& other)
    {
        mbKnown = std::exchange(other.mbKnown, false);
        mbArray = std::exchange(other.mbArray, false);
        mDeclaredType = other.mDeclaredType;
        mpTarget = std::exchange(other.mpTarget, nullptr);
    }

    bool mbKnown = false;
    bool mbArray = false;
    std::uint8_t mDeclaredType = Value::TYPE_VOID;
    union
    {
        ObjectState* mpTarget = nullptr; // the state of the object in the value, if that was found already
        ArrayState* mpArray;             // owned, of an array
    };
};

// What was seen of the properties of one object, in one block: the states of those that take a call, then the
// bytes of the fields (FieldPlan), then a bit for each property that says whether its field was seen.
class SeenProperties
{
public:
    explicit SeenProperties(std::pmr::memory_resource& rMemory) : mpMemory(&rMemory) {}

    // Of the list's properties, none of which is known yet.
    SeenProperties(PropertyListData* pList, std::pmr::memory_resource& rMemory) : mpMemory(&rMemory)
    {
        const std::size_t numStates = pList->GetFieldPlan().GetNumOthers();
        mpBlock = static_cast<unsigned char*>(rMemory.allocate(BlockSize(*pList), BLOCK_ALIGNMENT));
        std::uninitialized_value_construct_n(reinterpret_cast<PropertyState*>(mpBlock), numStates);
        std::memset(mpBlock + FirstByte(*pList), 0, BlockSize(*pList) - FirstByte(*pList));
        mpList = pList;
        mpList->Access();
    }
    SeenProperties(SeenProperties&& other) noexcept
        : mpMemory(other.mpMemory), mpList(std::exchange(other.mpList, nullptr)), mpBlock(other.mpBlock)
    {}
    SeenProperties& operator=(SeenProperties&& other) noexcept
    {
        SeenProperties taken(std::move(other));
        std::swap(mpMemory, taken.mpMemory);
        std::swap(mpList, taken.mpList);
        std::swap(mpBlock, taken.mpBlock);
        return *this;
    }
    ~SeenProperties()
    {
        if (mpList == nullptr) {
            return;
        }
        for (std::size_t i = 0; i < GetEntries().size(); ++i) {
            if (GetEntries()[i].mType == Value::TYPE_STRING && IsFieldKnown(i)) {
                TakeFieldValue(i);
            }
        }
        std::destroy_n(States(), GetPlan().GetNumOthers());
        mpMemory->deallocate(mpBlock, BlockSize(*mpList), BLOCK_ALIGNMENT);
        mpList->Release();
    }

    // Null before the first list.
    PropertyListData* GetList() const { return mpList; }
    const std::vector<PropertyList::Entry>& GetEntries() const { return mpList->GetEntries(); }
    const FieldPlan& GetPlan() const { return mpList->GetFieldPlan(); }

    bool IsKnown(std::size_t index)
    {
        return GetPlan().IsField(index) ? IsFieldKnown(index) : GetState(index).IsKnown();
    }

    // The state of a property that is no field.
    PropertyState& GetState(std::size_t index) { return States()[GetPlan().GetPlace(index)]; }

    // The others take a property that is a field.
    bool IsFieldKnown(std::size_t index) const
    {
        return (mpBlock[FirstBit(*mpList) + index / 8] >> index % 8 & 1) != 0;
    }
    Value GetFieldValue(std::size_t index) const
    {
        return ValueBits::CopyFrom(FieldBytes(index), FieldSize(index), GetEntries()[index].mType);
    }
    void SetFieldValue(std::size_t index, Value value)
    {
        const Value old = IsFieldKnown(index) ? TakeFieldValue(index) : Value();
        ValueBits::MoveTo(FieldBytes(index), FieldSize(index), std::move(value));
        mpBlock[FirstBit(*mpList) + index / 8] |= static_cast<unsigned char>(1u << index % 8);
    }

    // What is known of a property, which is unknown then.
    PropertyState Take(std::size_t index)
    {
        if (!GetPlan().IsField(index)) {
            return std::move(GetState(index));
        }
        PropertyState state;
        state.Know(GetEntries()[index].mType, false);
        state.SetValue(TakeFieldValue(index));
        return state;
    }

    // False, and nothing taken, when a field cannot hold what is known under its name.
    bool Put(std::size_t index, PropertyState& rState)
    {
        if (!GetPlan().IsField(index)) {
            GetState(index) = std::move(rState);
            return true;
        }
        if (!rState.Fits(GetEntries()[index])) {
            return false;
        }
        SetFieldValue(index, rState.GetValue());
        return true;
    }

    // True when the fields are what was seen of them; all of those are known.
    bool IsUnchanged(const FieldPlan::Stretch& stretch, const Object* pObject) const
    {
        return GetPlan().IsUnchanged(stretch, pObject, mpBlock + FirstByte(*mpList));
    }
    bool IsUnchanged(const Object* pObject) const
    {
        return GetPlan().IsUnchanged(pObject, mpBlock + FirstByte(*mpList));
    }

private:
    static constexpr std::size_t BLOCK_ALIGNMENT = alignof(PropertyState);

    static std::size_t FirstByte(const PropertyListData& list)
    {
        return list.GetFieldPlan().GetNumOthers() * sizeof(PropertyState);
    }
    static std::size_t FirstBit(const PropertyListData& list)
    {
        return FirstByte(list) + list.GetFieldPlan().GetNumBytes();
    }
    static std::size_t BlockSize(const PropertyListData& list)
    {
        return FirstBit(list) + (list.GetEntries().size() + 7) / 8;
    }

    PropertyState* States() { return std::launder(reinterpret_cast<PropertyState*>(mpBlock)); }
    unsigned char* FieldBytes(std::size_t index) const
    {
        return mpBlock + FirstByte(*mpList) + GetPlan().GetPlace(index);
    }
    std::size_t FieldSize(std::size_t index) const { return GetEntries()[index].mField.mSize; }

    Value TakeFieldValue(std::size_t index)
    {
        mpBlock[FirstBit(*mpList) + index / 8] &= static_cast<unsigned char>(~(1u << index % 8));
        return ValueBits::MoveFrom(FieldBytes(index), FieldSize(index), GetEntries()[index].mType);
    }

    std::pmr::memory_resource* mpMemory;
    PropertyListData* mpList = nullptr; // holds one reference
    unsigned char* mpBlock = nullptr;   // owned; there with the list
};

// What was seen of a child of a table, or of a list, where it has no name. Null children are seen too.
struct ChildState
{
    String mName;
    Ptr<Object> mpChild;
    ObjectState* mpTarget = nullptr; // its state, where that was found already
};

// Those of a table in the walk order of the last pass, those of a list by index.
using ChildStates = std::vector<ChildState>;

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
    ObjectState(Object* pObject, std::uint8_t mark, std::pmr::memory_resource& rMemory)
        : mpObject(pObject), mMark(mark), mShape(pObject->IsDerivedType(Table::ClassTable())  ? Shape::TABLE
                                                 : pObject->IsDerivedType(List::ClassTable()) ? Shape::LIST
                                                                                              : Shape::PLAIN),
          mProperties(rMemory)
    {
        if (mShape != Shape::PLAIN) {
            mpChildren = std::make_unique<ChildStates>();
        }
    }
    ObjectState(const ObjectState&) = delete;
    ObjectState& operator=(const ObjectState&) = delete;

    // True when one comparison of all its fields tells whether anything of the object changed.
    bool HasOnlyFields() const
    {
        return mbPolled && mShape == Shape::PLAIN && mProperties.GetPlan().GetNumOthers() == 0;
    }

    Ptr<Object> mpObject;
    std::uint8_t mMark; // the pass in which the object was visited last
    Shape mShape;
    bool mbDescribed = false; // by the description under way
    bool mbPolled = false;    // all that mProperties speaks of, which is therefore known
    SeenProperties mProperties;
    std::unique_ptr<ChildStates> mpChildren; // of a table or a list
};

} // namespace

// The states in the order in which their objects were first reached, and an index of them. A pass walks over
// all of them, so they lie close together, whatever else is allocated meanwhile.
class ObjectDiffSnapshot
{
public:
    ObjectDiffSnapshot() = default;
    ~ObjectDiffSnapshot()
    {
        for (ObjectState* const pState : mStates) {
            Destroy(pState);
        }
    }
    ObjectDiffSnapshot(const ObjectDiffSnapshot&) = delete;
    ObjectDiffSnapshot& operator=(const ObjectDiffSnapshot&) = delete;

    ObjectState* Find(const Object* pObject) const
    {
        const auto found = mIndex.find(pObject);
        return found != mIndex.end() ? found->second : nullptr;
    }

    ObjectState* Add(Object* pObject, std::uint8_t mark)
    {
        mStates.push_back(nullptr);
        mStates.back() = GetAllocator().new_object<ObjectState>(pObject, mark, mMemory);
        mIndex.emplace(pObject, mStates.back());
        return mStates.back();
    }

    std::size_t GetSize() const { return mStates.size(); }

    // For what is seen of the objects.
    std::pmr::memory_resource& GetMemory() { return mMemory; }

    // After a description, for the next one.
    void ForgetDescription()
    {
        for (ObjectState* const pState : mStates) {
            pState->mbDescribed = false;
        }
    }

    // Lets go of everything, whatever was under way. Takes no memory.
    void Clear()
    {
        const std::vector<ObjectState*> states = std::move(mStates);
        mStates.clear();
        mIndex.clear();
        for (ObjectState* const pState : states) {
            Destroy(pState);
        }
    }

    // Removes all states of which `isGone` says so, in their order and the others in theirs; it may throw.
    template <typename IsGone>
    void RemoveIf(IsGone isGone)
    {
        std::size_t end = 0;
        for (ObjectState*& rpState : mStates) {
            ObjectState* const pState = rpState;
            if (!isGone(*pState)) {
                std::swap(mStates[end++], rpState);
                continue;
            }
            mIndex.erase(pState->mpObject);
            rpState = nullptr;
            Destroy(pState);
        }
        mStates.resize(end);
    }

private:
    std::pmr::polymorphic_allocator<> GetAllocator() { return &mMemory; }

    void Destroy(ObjectState* pState)
    {
        if (pState != nullptr) {
            GetAllocator().delete_object(pState);
        }
    }

    PooledMemory mMemory;
    std::vector<ObjectState*> mStates; // owned; null for the time that one is being made or removed
    std::pmr::unordered_map<const Object*, ObjectState*, ObjectHash> mIndex{&mMemory};
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
    // What an object under way needs now and then: what was read of it when its turn came.
    struct Reading
    {
        ArrayState mArray;                // the one at hand
        std::vector<PropertyState> mGone; // states of properties that the object has no more
        std::vector<String> mGoneNames;
        std::unordered_map<std::size_t, PropertyState>
            mMisfits; // by the index of the field that came instead
        ChildStates mChildren;
        std::unordered_map<const char*, std::size_t> mOldChildren; // by name: where the snapshot has one
    };

    // An object under way. A step may push the frame of another object; the next step of this one then goes
    // on where it stood.
    struct Frame
    {
        explicit Frame(ObjectState* pState) : mpState(pState) {}

        Reading& GetReading()
        {
            if (mpReading == nullptr) {
                mpReading = std::make_unique<Reading>();
            }
            return *mpReading;
        }

        ObjectState* mpState;
        bool mbPropertiesDone = false;
        bool mbRead = false;      // the value, elements or children at hand were read already
        bool mbUnchanged = false; // the elements or children at hand are those of the last pass
        bool mbPolled = false;    // the object of the value or child at hand was polled already
        std::size_t mIndex = 0;   // of the property or child at hand
        std::size_t mElement = 0; // of the array element whose object is polled next
        Value mValue;             // that of the property at hand
        std::unique_ptr<Reading> mpReading;
    };

    bool Enter(Object* pObject, ObjectState*& rpTarget);
    void Step();

    // Each does one step; false once there is no more to do.
    bool StepProperties(Frame& frame);
    bool StepChildren(Frame& frame);

    void MatchProperties(Frame& frame, PropertyListData* pList);
    void ForgetProperty(Object* pObject, const String& name, PropertyState& state);
    void PollFields(Frame& frame, std::size_t begin, std::size_t end);
    void PollField(Frame& frame, std::size_t index);
    bool PollProperty(Frame& frame, const PropertyList::Entry& entry, PropertyState& state);
    bool PollValue(Frame& frame, const PropertyList::Entry& entry, PropertyState& state);
    bool PollArray(Frame& frame, const PropertyList::Entry& entry, PropertyState& state);
    void ReadElements(Frame& frame, Property* pProperty, PropertyState& state);
    bool PollElements(Frame& frame, PropertyState& state);
    void AddElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state, Value& element);
    void ModifyElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state,
                       std::size_t index, const Value& element);

    void ReadChildren(Frame& frame);
    void CompareTableChild(Frame& frame, const ChildState& child);
    void CompareListChild(Frame& frame, const ChildState& child);
    void FinishChildren(Frame& frame);

    ObjectDiffSnapshot& mSnapshot;
    ObjectDiffHandler* mpHandler;
    std::uint8_t mMark;
    std::size_t mNumReached = 0;
    std::vector<Frame> mFrames;
};

// ObjectDiffDescription tells a handler all that the last pass saw, as if everything were new: in the order
// and with the words of a first pass. The objects are not asked again, so whoever hears it, and then what
// changes from pass to pass, knows the same graph as those who heard every pass.
class ObjectDiffDescription
{
public:
    ObjectDiffDescription(ObjectDiffSnapshot& snapshot, ObjectDiffHandler& handler)
        : mSnapshot(snapshot), mHandler(handler)
    {}
    ~ObjectDiffDescription() { mSnapshot.ForgetDescription(); }
    ObjectDiffDescription(const ObjectDiffDescription&) = delete;
    ObjectDiffDescription& operator=(const ObjectDiffDescription&) = delete;

    void Describe(Object* pRoot)
    {
        Enter(pRoot, nullptr);
        while (!mFrames.empty()) {
            if (!DescribeProperties(mFrames.back()) && !DescribeChildren(mFrames.back())) {
                mFrames.pop_back();
            }
        }
    }

private:
    // An object under way, and where it goes on when its turn comes again.
    struct Frame
    {
        ObjectState* mpState;
        std::size_t mProperty = 0;
        std::size_t mElement = 0; // of the property at hand: whose object is described next
        std::size_t mChild = 0;
        bool mbEntered = false; // the object of the child at hand was described already
    };

    // True when the object was not described yet: it is then on top of the stack. Most who refer to an object
    // know its state.
    bool Enter(Object* pObject, ObjectState* pTarget)
    {
        if (pObject == nullptr) {
            return false;
        }
        ObjectState* const pState =
            pTarget != nullptr && pTarget->mpObject == pObject ? pTarget : mSnapshot.Find(pObject);
        if (pState == nullptr || pState->mbDescribed) {
            return false;
        }
        pState->mbDescribed = true;
        mHandler.OnAddObject(pObject);
        mFrames.push_back({pState});
        return true;
    }

    // Each is true when another object comes first.
    bool DescribeProperties(Frame& frame);
    bool EnterReferred(Frame& frame, PropertyState& property);
    bool DescribeChildren(Frame& frame);

    void DescribeProperty(Object* pObject, const PropertyList::Entry& entry, PropertyState& property);

    ObjectDiffSnapshot& mSnapshot;
    ObjectDiffHandler& mHandler;
    std::vector<Frame> mFrames;
};

bool ObjectDiffDescription::DescribeProperties(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    const std::vector<PropertyList::Entry>& entries = state.mProperties.GetEntries();
    for (; frame.mProperty < entries.size(); ++frame.mProperty) {
        const std::size_t index = frame.mProperty;
        if (entries[index].mbExcluded || !state.mProperties.IsKnown(index)) {
            continue;
        }
        if (state.mProperties.GetPlan().IsField(index)) {
            mHandler.OnAddPropertyValue(state.mpObject, entries[index].mName,
                                        state.mProperties.GetFieldValue(index));
            continue;
        }
        PropertyState& property = state.mProperties.GetState(index);
        if (EnterReferred(frame, property)) {
            return true;
        }
        frame.mElement = 0;
        DescribeProperty(state.mpObject, entries[frame.mProperty], property);
    }
    return false;
}

bool ObjectDiffDescription::EnterReferred(Frame& frame, PropertyState& property)
{
    if (!property.IsArray()) {
        return frame.mElement++ == 0 && Enter(property.GetValue().AsObject(), property.GetTarget());
    }
    const Value::Type type = property.GetDeclaredType();
    if (type != Value::TYPE_OBJECT && type != Value::TYPE_VALUE) {
        return false;
    }
    const ArrayState& array = property.GetArray();
    while (frame.mElement < array.mElements.size()) {
        const std::size_t i = frame.mElement++;
        if (Enter(array.mElements[i].AsObject(), array.mTargets[i])) {
            return true;
        }
    }
    return false;
}

void ObjectDiffDescription::DescribeProperty(Object* pObject, const PropertyList::Entry& entry,
                                             PropertyState& property)
{
    if (!property.IsArray()) {
        mHandler.OnAddPropertyValue(pObject, entry.mName, property.GetValue());
        return;
    }
    mHandler.OnAddPropertyArray(pObject, entry.mName, property.GetDeclaredType());
    int index = 0;
    for (const Value& element : property.GetArray().mElements) {
        mHandler.OnAddPropertyArrayElement(pObject, entry.mName, index++, element);
    }
}

bool ObjectDiffDescription::DescribeChildren(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    if (state.mShape == Shape::PLAIN) {
        return false;
    }
    Object* const pObject = state.mpObject;
    for (; frame.mChild < state.mpChildren->size(); ++frame.mChild) {
        const ChildState& child = (*state.mpChildren)[frame.mChild];
        if (!std::exchange(frame.mbEntered, true) && Enter(child.mpChild, child.mpTarget)) {
            return true;
        }
        frame.mbEntered = false;
        if (state.mShape == Shape::TABLE) {
            mHandler.OnAddTableChild(static_cast<Table*>(pObject), child.mName, child.mpChild);
        } else {
            mHandler.OnAddListChild(static_cast<List*>(pObject), static_cast<int>(frame.mChild),
                                    child.mpChild);
        }
    }
    return false;
}

QBASE_IMPLEMENT(QBase, ObjectDiff)

void ObjectDiff::Implement()
{
    Describe("Finds what has changed in an object graph since the last pass, and tells a handler");
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
    try {
        RunPass(bHandler ? static_cast<ObjectDiffHandler*>(pObject) : nullptr);
    } catch (const std::bad_alloc&) {
        Error(UNIT, __LINE__, "Failed to execute object diff - out of memory");
    }
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
                mDiff.mpSnapshot->Clear();
            }
        }
        ObjectDiff& mDiff;
        bool mbFinished = false;
    } guard{*this};
    mbExecuting = true;
    const unsigned numFailures = Memory::GetNumFailures();

    ++mPassMark;
    ObjectDiffPass pass(*mpSnapshot, pHandler, mPassMark);
    pass.PollRoot(pRoot);
    if (pHandler != nullptr && pRoot != mpReportedRoot) {
        pHandler->OnNewRoot(pRoot);
    }
    pass.SweepUnreachedObjects();
    mpReportedRoot = pRoot;
    if (Memory::GetNumFailures() != numFailures) {
        throw std::bad_alloc(); // a getter may have answered less than there is
    }
    guard.mbFinished = true;
}

bool ObjectDiff::HasSnapshot() const
{
    return mpSnapshot->GetSize() > 0;
}

void ObjectDiff::DescribeSnapshot(ObjectDiffHandler* pHandler)
{
    struct Guard
    {
        ~Guard() { mrbExecuting = false; }
        bool& mrbExecuting;
    } const guard{mbExecuting};
    mbExecuting = true;
    ObjectDiffDescription(*mpSnapshot, *pHandler).Describe(mpReportedRoot);
    if (mpReportedRoot != nullptr) {
        pHandler->OnNewRoot(mpReportedRoot);
    }
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
        pState = mSnapshot.Find(pObject);
    }
    if (pState == nullptr) {
        const Ptr<Object> pHeld = pObject;
        if (mpHandler != nullptr) {
            mpHandler->OnAddObject(pObject);
        }
        const std::uint8_t previousMark = static_cast<std::uint8_t>(mMark - 1);
        pState = mSnapshot.Add(pObject, previousMark);
    }
    rpTarget = pState;
    if (pState->mMark == mMark) {
        return false;
    }
    pState->mMark = mMark;
    ++mNumReached;
    PropertyListData* const pList = PropertyList::GetCurrent(pObject);
    const bool bSameList = pList == pState->mProperties.GetList();
    if (bSameList && pState->HasOnlyFields() && pState->mProperties.IsUnchanged(pObject)) {
        return false; // which is what mostly happens
    }
    mFrames.emplace_back(pState);
    if (!bSameList) {
        MatchProperties(mFrames.back(), pList);
    }
    return true;
}

void ObjectDiffPass::Step()
{
    // A step that pushes a frame returns at once, since the push may have moved this one.
    Frame& frame = mFrames.back();
    if (!frame.mbPropertiesDone) {
        if (StepProperties(frame)) {
            return;
        }
        frame.mbPropertiesDone = true;
        frame.mIndex = 0;
    }
    if (frame.mpState->mShape == Shape::PLAIN || !StepChildren(frame)) {
        mFrames.pop_back();
    }
}

// Lines what was seen up with the properties that the object has now.
void ObjectDiffPass::MatchProperties(Frame& frame, PropertyListData* pList)
{
    ObjectState& state = *frame.mpState;
    SeenProperties& rOld = state.mProperties;
    SeenProperties matched(pList, mSnapshot.GetMemory());
    const auto& entries = pList->GetEntries();
    if (rOld.GetList() != nullptr) {
        Reading& reading = frame.GetReading();
        const auto& oldEntries = rOld.GetEntries();
        std::unordered_map<const char*, std::size_t> oldByName;
        for (std::size_t i = 0; i < oldEntries.size(); ++i) {
            if (!oldEntries[i].mbExcluded && rOld.IsKnown(i)) {
                oldByName.emplace(oldEntries[i].mName.c_str(), i);
            }
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const auto found =
                entries[i].mbExcluded ? oldByName.end() : oldByName.find(entries[i].mName.c_str());
            if (found != oldByName.end()) {
                PropertyState taken = rOld.Take(found->second);
                if (!matched.Put(i, taken)) {
                    reading.mMisfits.emplace(i, std::move(taken));
                }
            }
        }
        for (std::size_t i = 0; i < oldEntries.size(); ++i) {
            if (!oldEntries[i].mbExcluded && rOld.IsKnown(i)) {
                reading.mGone.push_back(rOld.Take(i));
                reading.mGoneNames.push_back(oldEntries[i].mName);
            }
        }
    }
    state.mProperties = std::move(matched);
    state.mbPolled = false;
}

bool ObjectDiffPass::StepProperties(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    Object* const pObject = state.mpObject;
    SeenProperties& rProperties = state.mProperties;
    const std::vector<PropertyList::Entry>& entries = rProperties.GetEntries();
    std::size_t i = frame.mIndex;
    while (i < entries.size()) {
        const FieldPlan::Stretch& stretch = rProperties.GetPlan().GetStretch(i);
        if (stretch.mEnd != 0) {
            if (!state.mbPolled || !rProperties.IsUnchanged(stretch, pObject)) {
                PollFields(frame, i, stretch.mEnd);
            }
            i = stretch.mEnd;
            continue;
        }
        const PropertyList::Entry& entry = entries[i];
        PropertyState& rProperty = rProperties.GetState(i);
        if (!frame.mbRead && rProperty.IsValueOf(entry)) {
            frame.mbRead = entry.mpProperty->GetIfChanged(pObject, rProperty.GetValue(), frame.mValue);
            if (!frame.mbRead && rProperty.GetValue().GetType() != Value::TYPE_OBJECT) {
                ++i; // which is what mostly happens
                continue;
            }
        }
        frame.mIndex = i++;
        if (PollProperty(frame, entry, rProperty)) {
            return true;
        }
    }
    state.mbPolled = true;
    if (frame.mpReading != nullptr) {
        Reading& reading = *frame.mpReading;
        for (std::size_t gone = 0; gone < reading.mGone.size(); ++gone) {
            ForgetProperty(state.mpObject, reading.mGoneNames[gone], reading.mGone[gone]);
        }
        reading.mGone.clear();
    }
    return false;
}

// Polls properties that lie in fields, some of which may have changed.
QBASE_NOINLINE void ObjectDiffPass::PollFields(Frame& frame, std::size_t begin, std::size_t end)
{
    for (std::size_t i = begin; i < end; ++i) {
        if (!frame.mpState->mProperties.GetEntries()[i].mbExcluded) {
            PollField(frame, i);
        }
    }
}

void ObjectDiffPass::PollField(Frame& frame, std::size_t index)
{
    Object* const pObject = frame.mpState->mpObject;
    SeenProperties& rProperties = frame.mpState->mProperties;
    const PropertyList::Entry& entry = rProperties.GetEntries()[index];
    if (frame.mpReading != nullptr) {
        const auto misfit = frame.mpReading->mMisfits.find(index);
        if (misfit != frame.mpReading->mMisfits.end()) {
            ForgetProperty(pObject, entry.mName, misfit->second);
            frame.mpReading->mMisfits.erase(misfit);
        }
    }
    if (!rProperties.IsFieldKnown(index)) {
        const Value value = entry.mpProperty->Get(pObject);
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyValue(pObject, entry.mName, value);
        }
        rProperties.SetFieldValue(index, value);
        return;
    }
    const Value oldValue = rProperties.GetFieldValue(index);
    Value value;
    if (entry.mpProperty->GetIfChanged(pObject, oldValue, value)) {
        if (mpHandler != nullptr) {
            mpHandler->OnModifyPropertyValue(pObject, entry.mName, value, oldValue);
        }
        rProperties.SetFieldValue(index, value);
    }
}

void ObjectDiffPass::ForgetProperty(Object* pObject, const String& name, PropertyState& state)
{
    const PropertyState gone = std::move(state);
    if (mpHandler == nullptr) {
        return;
    }
    if (gone.IsArray()) {
        mpHandler->OnRemovePropertyArray(pObject, name, gone.GetDeclaredType());
    } else {
        mpHandler->OnRemovePropertyValue(pObject, name, gone.GetValue());
    }
}

// Polls what may have changed. Not inlined, so that the loop over all that did not stays short.
QBASE_NOINLINE bool ObjectDiffPass::PollProperty(Frame& frame, const PropertyList::Entry& entry,
                                                 PropertyState& state)
{
    if (state.IsKnown() && !state.Fits(entry)) {
        ForgetProperty(frame.mpState->mpObject, entry.mName, state);
    }
    return entry.mbArray ? PollArray(frame, entry, state) : PollValue(frame, entry, state);
}

// True when the object that the value refers to has to be polled first; the value is kept meanwhile. A known
// value was read already; it is in the frame if it changed.
bool ObjectDiffPass::PollValue(Frame& frame, const PropertyList::Entry& entry, PropertyState& state)
{
    Object* const pObject = frame.mpState->mpObject;
    if (!frame.mbPolled) {
        if (!frame.mbRead && state.IsKnown()) {
            ++frame.mIndex; // there is nothing left to do here when this object's turn comes again
            return Enter(state.GetValue().AsObject(), state.GetTarget());
        }
        if (!frame.mbRead) {
            frame.mValue = entry.mpProperty->Get(pObject);
            frame.mbRead = true;
        }
        frame.mbPolled = true;
        if (Enter(frame.mValue.AsObject(), state.GetTarget())) { // without an object, forgets the old one's
            return true;
        }
    }
    frame.mbRead = false;
    frame.mbPolled = false;
    const Value value = std::move(frame.mValue);
    if (!state.IsKnown()) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyValue(pObject, entry.mName, value);
        }
        state.Know(entry.mType, false);
        state.SetValue(value);
        return false;
    }
    if (value == state.GetValue()) {
        return false;
    }
    QBASE_ASSERT_TEXT(entry.mpProperty->GetType() == state.GetDeclaredType(), UNIT, __LINE__,
                      "ASSERT( pProperty->GetType() == pPropertyState->GetType() )");
    QBASE_ASSERT_TEXT(!state.IsArray(), UNIT, __LINE__, "ASSERT( !pPropertyState->IsArray() )");
    if (mpHandler != nullptr) {
        const Value oldValue = state.GetValue();
        mpHandler->OnModifyPropertyValue(pObject, entry.mName, value, oldValue);
    }
    state.SetValue(value);
    return false;
}

// True when the object of an element has to be polled first; the elements are kept meanwhile.
bool ObjectDiffPass::PollArray(Frame& frame, const PropertyList::Entry& entry, PropertyState& state)
{
    Object* const pObject = frame.mpState->mpObject;
    Property* const pProperty = entry.mpProperty;
    const bool bMayRefer = entry.mType == Value::TYPE_OBJECT || entry.mType == Value::TYPE_VALUE;
    if (bMayRefer) {
        if (!frame.mbRead) {
            ReadElements(frame, pProperty, state);
        }
        if (PollElements(frame, state)) {
            return true;
        }
        frame.mbRead = false;
        if (std::exchange(frame.mbUnchanged, false)) {
            return false;
        }
    }
    if (!state.IsKnown()) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddPropertyArray(pObject, entry.mName, entry.mType);
        }
        state.Know(entry.mType, true);
        QBASE_ASSERT_TEXT(state.IsKnown(), UNIT, __LINE__, "ASSERT( pPropertyState )");
    }
    ArrayState& array = state.GetArray();
    std::size_t size = 0;
    if (bMayRefer) {
        ArrayState read = std::exchange(frame.GetReading().mArray, ArrayState());
        for (Value& rElement : read.mElements) {
            if (size >= array.mElements.size()) {
                AddElement(pObject, entry, state, rElement);
            } else if (rElement != array.mElements[size]) {
                ModifyElement(pObject, entry, state, size, rElement);
            }
            ++size;
        }
        array.mTargets = std::move(read.mTargets);
    } else {
        const int count = pProperty->GetSize(pObject);
        for (int i = 0; i < count && i < pProperty->GetSize(pObject); ++i) {
            if (size < array.mElements.size()) {
                Value element;
                if (pProperty->GetAtIfChanged(pObject, i, array.mElements[size], element)) {
                    ModifyElement(pObject, entry, state, size, element);
                }
            } else {
                Value element = pProperty->GetAt(pObject, i);
                AddElement(pObject, entry, state, element);
            }
            ++size;
        }
    }
    if (array.mElements.size() > size) {
        if (mpHandler != nullptr) {
            mpHandler->OnDownsizePropertyArray(pObject, entry.mName, static_cast<int>(size), entry.mType);
        }
        array.mElements.resize(size);
    }
    return false;
}

// Reads the elements of an array once. As a rule they are those of the last pass; the snapshot then serves as
// the list of elements to poll.
void ObjectDiffPass::ReadElements(Frame& frame, Property* pProperty, PropertyState& state)
{
    Object* const pObject = frame.mpState->mpObject;
    const std::vector<Value>* const pSeen = state.IsKnown() ? &state.GetArray().mElements : nullptr;
    const int size = pProperty->GetSize(pObject);
    frame.mbRead = true;
    frame.mbUnchanged = pSeen != nullptr && pSeen->size() == static_cast<std::size_t>(size);
    frame.mElement = 0;
    for (int i = 0; i < size && i < pProperty->GetSize(pObject); ++i) {
        Value element;
        if (frame.mbUnchanged) {
            if (!pProperty->GetAtIfChanged(pObject, i, (*pSeen)[static_cast<std::size_t>(i)], element)) {
                continue;
            }
            frame.mbUnchanged = false;
            frame.GetReading().mArray.mElements.assign(pSeen->begin(), pSeen->begin() + i);
        } else {
            element = pProperty->GetAt(pObject, i);
        }
        frame.GetReading().mArray.mElements.push_back(std::move(element));
    }
    if (!frame.mbUnchanged) {
        ArrayState& array = frame.GetReading().mArray;
        if (state.IsKnown()) {
            array.mTargets = state.GetArray().mTargets; // most are right, the others are noticed
        }
        array.mTargets.resize(array.mElements.size());
    }
}

// True when an object was entered; the others come when this one's turn comes again.
bool ObjectDiffPass::PollElements(Frame& frame, PropertyState& state)
{
    ArrayState& array = frame.mbUnchanged ? state.GetArray() : frame.GetReading().mArray;
    while (frame.mElement < array.mElements.size()) {
        const std::size_t i = frame.mElement++;
        if (Enter(array.mElements[i].AsObject(), array.mTargets[i])) {
            return true;
        }
    }
    return false;
}

void ObjectDiffPass::AddElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state,
                                Value& element)
{
    std::vector<Value>& elements = state.GetArray().mElements;
    if (mpHandler != nullptr) {
        mpHandler->OnAddPropertyArrayElement(pObject, entry.mName, static_cast<int>(elements.size()),
                                             element);
    }
    elements.push_back(std::move(element));
}

void ObjectDiffPass::ModifyElement(Object* pObject, const PropertyList::Entry& entry, PropertyState& state,
                                   std::size_t index, const Value& element)
{
    QBASE_ASSERT_TEXT(entry.mpProperty->GetType() == state.GetDeclaredType(), UNIT, __LINE__,
                      "ASSERT( pProperty->GetType() == pPropertyState->GetType() )");
    QBASE_ASSERT_TEXT(state.IsArray(), UNIT, __LINE__, "ASSERT( pPropertyState->IsArray() )");
    const Value oldElement = std::exchange(state.GetArray().mElements[index], element);
    if (mpHandler != nullptr) {
        mpHandler->OnModifyPropertyArrayElement(pObject, entry.mName, static_cast<int>(index), element,
                                                oldElement);
    }
}

namespace
{

bool IsSeenTable(const ChildStates& seen, const Object* pObject)
{
    const auto& entries = static_cast<const Table*>(pObject)->GetEntries();
    return std::equal(entries.begin(), entries.end(), seen.begin(), seen.end(),
                      [](const auto& node, const ChildState& child) {
                          return child.mName == node.GetKey() && child.mpChild == node.GetValue();
                      });
}

bool IsSeenList(const ChildStates& seen, const Object* pObject)
{
    const Array<Ptr<Object>>& objects = static_cast<const List*>(pObject)->GetObjects();
    return std::equal(
        objects.begin(), objects.end(), seen.begin(), seen.end(),
        [](const Ptr<Object>& pChild, const ChildState& child) { return child.mpChild == pChild; });
}

} // namespace

// Reads the children once. As a rule they are those of the last pass, in the same order; the snapshot then
// serves as the list of children to poll.
void ObjectDiffPass::ReadChildren(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    Object* const pObject = state.mpObject;
    const bool bTable = state.mShape == Shape::TABLE;
    frame.mbRead = true;
    frame.mbUnchanged =
        bTable ? IsSeenTable(*state.mpChildren, pObject) : IsSeenList(*state.mpChildren, pObject);
    if (frame.mbUnchanged) {
        return;
    }
    Reading& reading = frame.GetReading();
    if (!bTable) {
        for (const Ptr<Object>& pChild : static_cast<List*>(pObject)->GetObjects()) {
            reading.mChildren.push_back({String::Null, pChild});
        }
        return;
    }
    for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
        reading.mChildren.push_back({node.GetKey(), node.GetValue()});
    }
    for (std::size_t i = 0; i < state.mpChildren->size(); ++i) {
        reading.mOldChildren.emplace((*state.mpChildren)[i].mName.c_str(), i);
    }
}

bool ObjectDiffPass::StepChildren(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    if (!frame.mbRead) {
        ReadChildren(frame);
    }
    ChildStates& children = frame.mbUnchanged ? *state.mpChildren : frame.GetReading().mChildren;
    while (frame.mIndex < children.size()) {
        ChildState& child = children[frame.mIndex];
        if (!frame.mbPolled) {
            frame.mbPolled = true;
            if (Enter(child.mpChild, child.mpTarget)) {
                return true;
            }
        }
        frame.mbPolled = false;
        if (!frame.mbUnchanged && state.mShape == Shape::TABLE) {
            CompareTableChild(frame, child);
        } else if (!frame.mbUnchanged) {
            CompareListChild(frame, child);
        }
        ++frame.mIndex;
    }
    if (!frame.mbUnchanged) {
        FinishChildren(frame);
    }
    return false;
}

void ObjectDiffPass::CompareTableChild(Frame& frame, const ChildState& child)
{
    ObjectState& state = *frame.mpState;
    Table* const pTable = static_cast<Table*>(static_cast<Object*>(state.mpObject));
    auto& oldChildren = frame.GetReading().mOldChildren;
    const auto found = oldChildren.find(child.mName.c_str());
    if (found == oldChildren.end()) {
        if (mpHandler != nullptr) {
            mpHandler->OnAddTableChild(pTable, child.mName, child.mpChild);
        }
        return;
    }
    const Ptr<Object> pOldChild = (*state.mpChildren)[found->second].mpChild;
    oldChildren.erase(found); // what stays in there has gone from the table
    if (mpHandler != nullptr && pOldChild != child.mpChild) {
        mpHandler->OnModifyTableChild(pTable, child.mName, child.mpChild, pOldChild);
    }
}

void ObjectDiffPass::CompareListChild(Frame& frame, const ChildState& child)
{
    if (mpHandler == nullptr) {
        return;
    }
    const ChildStates& seen = *frame.mpState->mpChildren;
    List* const pList = static_cast<List*>(static_cast<Object*>(frame.mpState->mpObject));
    const int index = static_cast<int>(frame.mIndex);
    if (frame.mIndex >= seen.size()) {
        mpHandler->OnAddListChild(pList, index, child.mpChild);
    } else if (seen[frame.mIndex].mpChild != child.mpChild) {
        const Ptr<Object> pOldChild = seen[frame.mIndex].mpChild;
        mpHandler->OnModifyListChild(pList, index, child.mpChild, pOldChild);
    }
}

// Reports what has gone; what was read is what is known now.
void ObjectDiffPass::FinishChildren(Frame& frame)
{
    ObjectState& state = *frame.mpState;
    Object* const pObject = state.mpObject;
    Reading& reading = frame.GetReading();
    if (mpHandler != nullptr && state.mShape == Shape::TABLE) {
        for (const ChildState& old : *state.mpChildren) {
            if (reading.mOldChildren.count(old.mName.c_str()) != 0) {
                mpHandler->OnRemoveTableChild(static_cast<Table*>(pObject), old.mName);
            }
        }
    } else if (mpHandler != nullptr && reading.mChildren.size() < state.mpChildren->size()) {
        mpHandler->OnDownsizeList(static_cast<List*>(pObject), static_cast<int>(reading.mChildren.size()));
    }
    std::swap(*state.mpChildren, reading.mChildren);
}

void ObjectDiffPass::SweepUnreachedObjects()
{
    if (mNumReached == mSnapshot.GetSize()) {
        return;
    }
    mSnapshot.RemoveIf([this](const ObjectState& state) {
        const bool bGone = state.mMark != mMark;
        if (bGone && mpHandler != nullptr) {
            mpHandler->OnRemoveObject(state.mpObject);
        }
        return bGone;
    });
}

} // namespace QBase
