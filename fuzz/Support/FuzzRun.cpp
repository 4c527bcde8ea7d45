#include "Support/FuzzRun.h"

#include "QBase/Error.h"
#include "QBase/ErrorHooks.h"
#include "QBase/Memory.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Reflection.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unordered_set>
#include <vector>

using namespace QBase;

QBASE_IMPLEMENT(Fuzz, FuzzList)
QBASE_IMPLEMENT(Fuzz, FuzzTable)
QBASE_IMPLEMENT(Fuzz, FuzzNode)

namespace
{

// Reads a report, so that a text that is no text shows, and drops it.
class Silence : public Object
{
public:
    void Execute(const Value& value) override
    {
        if (value.GetType() != Value::TYPE_STRING) {
            FuzzFailure("FuzzRun", __LINE__, "a report is a text");
        }
    }
};

std::unordered_set<Object*>& Tracked()
{
    static std::unordered_set<Object*> objects;
    return objects;
}

void Track(Object* pObject)
{
    Tracked().insert(pObject);
}

void Untrack(Object* pObject)
{
    Tracked().erase(pObject);
}

// What stays for ever once it was used: locks and the like.
void WarmUp()
{
    static const bool bDone = [] {
        const String text("warm");
        const Ptr<Object> pHandler = new Silence;
        SetInfoHandler(pHandler);
        SetErrorHandler(pHandler);
        return true;
    }();
    (void)bDone;
}

void RemoveReferences(Object* pObject)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        const bool bReference = entry.mType == Value::TYPE_OBJECT || entry.mType == Value::TYPE_VALUE;
        if (bReference && entry.mbArray) {
            entry.mpProperty->Clear(pObject);
        } else if (bReference) {
            entry.mpProperty->Set(pObject, Value(nullptr));
        }
    }
    if (Table* const pTable = dynamic_cast<Table*>(pObject)) {
        pTable->Clear();
    } else if (List* const pList = dynamic_cast<List*>(pObject)) {
        pList->Clear();
    }
}

} // namespace

void FuzzFailure(const char* pFile, int line, const char* pText)
{
    std::fprintf(stderr, "%s:%d: it does not hold that %s\n", pFile, line, pText);
    std::abort();
}

FuzzRun::FuzzRun() : mNumBlocks(0)
{
    WarmUp();
    SetBreakHook([] {});
    mNumBlocks = Memory::GetTotalBlocksAllocated();
    mStartTime = std::clock();
}

FuzzRun::~FuzzRun()
{
    if (mbUndoesCycles) {
        const std::vector<Ptr<Object>> held(Tracked().begin(), Tracked().end());
        for (const Ptr<Object>& pObject : held) {
            RemoveReferences(pObject);
        }
    }
    FUZZ_EXPECT(Tracked().empty());
    FUZZ_EXPECT(Memory::GetTotalBlocksAllocated() == mNumBlocks);
#ifdef QBASE_FUZZ // a replay may run under any tool on any machine
    FUZZ_EXPECT(std::clock() - mStartTime <= CLOCKS_PER_SEC);
#endif
}

void FuzzRun::StopAtAssertions()
{
    SetBreakHook([] { FuzzFailure("FuzzRun", __LINE__, "no assertion fails"); });
}

void FuzzList::Implement()
{}

FuzzList::FuzzList(const Value& value) : List(value)
{
    Track(this);
}

FuzzList::~FuzzList()
{
    Untrack(this);
}

void FuzzTable::Implement()
{}

FuzzTable::FuzzTable(const Value& value) : Table(value)
{
    Track(this);
}

FuzzTable::~FuzzTable()
{
    Untrack(this);
}

void FuzzNode::Implement()
{
    AddEnum<Mood>("Mood", {{"Calm", CALM}, {"Eager", EAGER}});
    AddProperty<&FuzzNode::mNumber>("Number");
    AddProperty<&FuzzNode::mReal>("Real");
    AddProperty<&FuzzNode::mbFlag>("Flag");
    AddProperty<&FuzzNode::mText>("Text");
    AddProperty<&FuzzNode::mpNext>("Next");
    AddProperty<&FuzzNode::mVector2>("Vector2");
    AddProperty<&FuzzNode::mVector3>("Vector3");
    AddProperty<&FuzzNode::mVector4>("Vector4");
    AddProperty<&FuzzNode::mVector2i>("Vector2i");
    AddProperty<&FuzzNode::mVector3i>("Vector3i");
    AddProperty<&FuzzNode::mVector4i>("Vector4i");
    AddProperty<&FuzzNode::mColor>("Color");
    AddProperty<&FuzzNode::mQuaternion>("Quaternion");
    AddProperty<&FuzzNode::mMood>("Mood");
    AddProperty<&FuzzNode::mAny>("Any");
    AddProperty<&FuzzNode::mNumbers>("Numbers");
    AddProperty<&FuzzNode::mTexts>("Texts");
    AddProperty<&FuzzNode::mObjects>("Objects");
    AddProperty<&FuzzNode::mValues>("Values");
    AddFunction<&FuzzNode::Touch>("Touch");
}

FuzzNode::FuzzNode(const Value& value) : Object(value)
{
    Track(this);
}

FuzzNode::~FuzzNode()
{
    Untrack(this);
}

void FuzzNode::Touch(int number, const String& text)
{
    mNumber = number;
    mText = text;
}
