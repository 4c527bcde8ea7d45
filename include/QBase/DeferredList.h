// DeferredList is a queue of work between threads: any thread adds to it, and its owner executes and empties
// it at a point of its own choosing, for instance once in a frame.
//
//     // any thread
//     pList->InsertCall(pDoor, "Open", 90.0f);
//     // the owner
//     pList->Execute(Value::Null);
//
// What would surprise:
// - InsertCall adds behind everything queued, Insert in front of it. So calls run in the order of their
//   insertion, and inserted objects in the opposite order, before the calls.
// - What a running entry adds with InsertCall runs in the same pass. What it adds with Insert stands before
//   the walk's position: it is released with the rest at the end of the pass and never runs.
// - Execute holds the queue for the whole pass; whoever inserts meanwhile waits until it is through.
//
// A clone queues the same objects on its own.
//
// Threads: made to be shared.

#pragma once

#include "QBase/CriticalSection.h"
#include "QBase/LinkedList.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"

namespace QBase
{

class QBASE_API DeferredList : public Object
{
    QBASE_OBJECT(DeferredList, Object)

public:
    /// Adds any object at the front; its Execute is what runs. Reports a missing object.
    void Insert(Object* pObject);

    /// Adds a DeferredCall at the back, in constant time.
    void InsertCall(Object* pObject, const String& functionName, const Value& a1 = Value::Null,
                    const Value& a2 = Value::Null, const Value& a3 = Value::Null,
                    const Value& a4 = Value::Null, const Value& a5 = Value::Null);

    /// Executes every queued object with `value`, from front to back, and leaves the list empty. Reports, and
    /// does nothing else, when one of them calls it again.
    void Execute(const Value& value) override;

protected:
    explicit DeferredList(const Value& value);
    DeferredList(const DeferredList& other);
    DeferredList& operator=(const DeferredList& other) = delete;

private:
    using Entries = LinkedList<Ptr<Object>>;

    void InsertAtBack(Object* pObject);

    CriticalSection mSection; // guards all of what follows
    Entries mEntries;
    Entries::Iterator mLast; // the last entry; of no meaning while there is none
    bool mbExecuting = false;
};

} // namespace QBase
