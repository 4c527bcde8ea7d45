#include "QBase/DeferredList.h"

#include "QBase/DeferredCall.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"

namespace QBase
{

namespace
{

class Flagged
{
public:
    explicit Flagged(bool& rbFlag) : mrbFlag(rbFlag) { mrbFlag = true; }
    ~Flagged() { mrbFlag = false; } // also when an exception passes
    Flagged(const Flagged&) = delete;
    Flagged& operator=(const Flagged&) = delete;

private:
    bool& mrbFlag;
};

} // namespace

QBASE_IMPLEMENT(QBase, DeferredList)

void DeferredList::Implement()
{
    Describe("Executes what was inserted once, at the next Execute");
    AddFunction<&DeferredList::Insert>("Insert");
}

DeferredList::DeferredList(const Value&)
{}

DeferredList::DeferredList(const DeferredList& other) : Object(other)
{
    const CriticalSection::Block block(const_cast<CriticalSection*>(&other.mSection));
    for (const Ptr<Object>& pObject : other.mEntries) {
        InsertAtBack(pObject);
    }
}

void DeferredList::Insert(Object* pObject)
{
    if (pObject == nullptr) {
        Error(QBASE_HERE, "Failed to insert object to deferred list - no object");
        return;
    }
    const CriticalSection::Block block(&mSection);
    const bool bFirst = mEntries.begin() == mEntries.end();
    mEntries.Insert(pObject);
    if (bFirst) {
        mLast = mEntries.begin();
    }
}

void DeferredList::InsertCall(Object* pObject, const String& functionName, const Value& a1, const Value& a2,
                              const Value& a3, const Value& a4, const Value& a5)
{
    const Ptr<DeferredCall> pCall = DeferredCall::Construct(Value::Null);
    if (pCall == nullptr) {
        return; // the allocator has reported
    }
    pCall->Defer(pObject, functionName, a1, a2, a3, a4, a5);
    const CriticalSection::Block block(&mSection);
    InsertAtBack(pCall);
}

void DeferredList::InsertAtBack(Object* pObject)
{
    if (mEntries.begin() == mEntries.end()) {
        mEntries.Insert(pObject);
        mLast = mEntries.begin();
        return;
    }
    const Entries::Iterator last = mEntries.InsertBehind(mLast, pObject);
    if (last != mEntries.end()) {
        mLast = last;
    }
}

void DeferredList::Execute(const Value& value)
{
    const KeepAlive keepThis(this); // beyond the block, which leaves a member
    const CriticalSection::Block block(&mSection);
    if (mbExecuting) {
        Error(QBASE_HERE, "Failed to execute deferred list - it is executing already");
        return;
    }
    const Flagged executing(mbExecuting);
    const Value argument = value; // which may live in an entry's own arguments
    for (const Ptr<Object>& pObject : mEntries) {
        pObject->Execute(argument);
    }
    // Emptied before anything is released: what a destructor inserts stays for the next pass.
    const Entries executed = mEntries;
    mEntries.Clear();
}

} // namespace QBase
