// Work on another thread, with results for the thread that owns the objects: a ThreadExecutor runs an object
// again and again, and a DeferredList brings calls home.

#include "QBase/CriticalSection.h"
#include "QBase/DeferredList.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"
#include "QBase/ThreadExecutor.h"

#include <thread>

using namespace QBase;

// Belongs to the main thread, so nothing in it locks.
class Sum : public Object
{
    QBASE_OBJECT(Sum, Object)

public:
    int Get() const { return mSum; }
    void Add(int number) { mSum += number; }

protected:
    explicit Sum(const Value&) {}

private:
    int mSum = 0;
};

QBASE_IMPLEMENT(WorkerThread, Sum)

void Sum::Implement()
{
    AddFunction<&Sum::Add>("Add");
}

// Belongs to the executor's thread.
class Counter : public Object
{
    QBASE_OBJECT(Counter, Object)

public:
    Counter(DeferredList* pResults, Sum* pSum) : mpResults(pResults), mpSum(pSum) {}

    void Execute(const Value&) override
    {
        if (mNumber < 100) {
            mpResults->InsertCall(mpSum, "Add", ++mNumber); // from any thread
        }
    }

protected:
    explicit Counter(const Value&) {}

private:
    Ptr<DeferredList> mpResults;
    Ptr<Sum> mpSum;
    int mNumber = 0;
};

QBASE_IMPLEMENT(WorkerThread, Counter)

void Counter::Implement()
{}

int main()
{
    Ptr<DeferredList> pResults = DeferredList::Construct(Value::Null);
    Ptr<Sum> pSum = Sum::Construct(Value::Null);
    Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
    pExecutor->SetExecutable(new Counter(pResults, pSum));
    pExecutor->SetSleep(0); // milliseconds between two calls
    pExecutor->Start();

    while (pSum->Get() < 5050) {
        pResults->Execute(Value::Null); // on this thread: once per frame
        std::this_thread::yield();
    }
    pExecutor->Stop(); // waits for the call that is under way
    Info("1 + 2 + ... + 100 = %d", pSum->Get());
}
