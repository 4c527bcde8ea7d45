// Sixteen threads at everything that is made to be shared: what they count together is exact.

#include "QBase/DeferredList.h"
#include "QBase/InterlockedInt.h"
#include "QBase/Object.h"
#include "QBase/Reflection.h"
#include "QBase/String.h"
#include "QBase/ThreadExecutor.h"
#include "Support/Effort.h"
#include "Support/Sanitizer.h"
#include "Support/StringInspector.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;

namespace
{

constexpr int NUM_THREADS = 16;

// How often something is done by all threads together.
int NumTimes()
{
    return HAS_SANITIZER ? 800000 : Effort(10000000, 100000000);
}

void RunOnThreads(const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < NUM_THREADS; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& rThread : threads) {
        rThread.join();
    }
}

// Counts how often it is called, on any thread.
class Tally : public Object
{
    QBASE_OBJECT(Tally, Object)

public:
    void Add(int number) { mSum += number; } // guarded by the list that calls
    void Execute(const Value&) override { mCalls.Increment(); }

    long long mSum = 0;
    InterlockedInt mCalls;

protected:
    explicit Tally(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(ManyThreadsTest, Tally)

void Tally::Implement()
{
    AddFunction<&Tally::Add>("Add");
}

} // namespace

TEST(ManyThreadsTest, ReferencesOfSixteenThreadsAreCountedExactly)
{
    const Ptr<Object> pShared = Object::Construct(Value::Null);
    const int numTimes = NumTimes() / 4 / NUM_THREADS; // two references each time, one of them twice
    RunOnThreads([&](int) {
        for (int i = 0; i < numTimes; ++i) {
            const Ptr<Object> pOne = pShared;
            Ptr<Object> pOther = pOne;
            pOther = nullptr;
        }
    });
    EXPECT_EQ(pShared->GetReferenceCount(), 1);
}

TEST(ManyThreadsTest, ReferencesThatSixteenThreadsKeepAreCountedExactly)
{
    const Ptr<Object> pShared = Object::Construct(Value::Null);
    const int numTimes = NumTimes() / 4 / NUM_THREADS;
    RunOnThreads([&](int) {
        for (int i = 0; i < numTimes; ++i) {
            pShared->Access();
        }
    });
    EXPECT_EQ(pShared->GetReferenceCount(), 1 + numTimes * NUM_THREADS);
    RunOnThreads([&](int) {
        for (int i = 0; i < numTimes; ++i) {
            pShared->Release();
        }
    });
    EXPECT_EQ(pShared->GetReferenceCount(), 1);
}

TEST(ManyThreadsTest, CopiesOfStringsBySixteenThreadsAreCountedExactly)
{
    const String shared("what sixteen threads copy");
    const int before = StringInspector::ReferenceCount(shared);
    const int numTimes = NumTimes() / 2 / NUM_THREADS;
    RunOnThreads([&](int) {
        String last;
        for (int i = 0; i < numTimes; ++i) {
            const String copy = shared;
            last = copy;
        }
    });
    EXPECT_EQ(StringInspector::ReferenceCount(shared), before);
}

TEST(ManyThreadsTest, TextsThatSixteenThreadsMakeAndDropAreInternedOnce)
{
    const int numTimes = NumTimes() / 50 / NUM_THREADS;
    const String kept("number 7 of sixteen threads");
    const int before = StringInspector::ReferenceCount(kept);
    RunOnThreads([&](int) {
        for (int i = 0; i < numTimes; ++i) {
            const String text(("number " + std::to_string(i % 10) + " of sixteen threads").c_str());
            if (i % 10 == 7 && text != kept) {
                ADD_FAILURE() << text.c_str();
            }
        }
    });
    EXPECT_EQ(StringInspector::ReferenceCount(kept), before);
}

TEST(ManyThreadsTest, CallsThatSixteenThreadsDeferAllRunOnce)
{
    const Ptr<DeferredList> pList = DeferredList::Construct(Value::Null);
    const Ptr<Tally> pTally = Tally::Construct(Value::Null);
    const int numTimes = NumTimes() / 500 / NUM_THREADS;
    InterlockedInt numAtWork;
    std::thread owner([&] { // until all have finished and nothing is left
        while (numAtWork.Value() < NUM_THREADS) {
            pList->Execute(Value::Null);
            std::this_thread::yield();
        }
    });
    RunOnThreads([&](int thread) {
        for (int i = 0; i < numTimes; ++i) {
            if (i % 4 == 0) {
                pList->Insert(pTally);
            } else {
                pList->InsertCall(pTally, "Add", thread);
            }
        }
        numAtWork.Increment();
    });
    owner.join();
    pList->Execute(Value::Null);
    const int numObjects = (numTimes + 3) / 4;
    EXPECT_EQ(pTally->mCalls.Value(), numObjects * NUM_THREADS);
    EXPECT_EQ(pTally->mSum, (NUM_THREADS * (NUM_THREADS - 1) / 2) * (numTimes - numObjects));
    EXPECT_EQ(pTally->GetReferenceCount(), 1);
}

TEST(ManyThreadsTest, SixteenThreadExecutorsHoldWhatTheyExecuteAndLetGoOfIt)
{
    const Ptr<Tally> pTally = Tally::Construct(Value::Null);
    const int numCalls = NumTimes() / 1000;
    {
        std::vector<Ptr<ThreadExecutor>> executors;
        for (int i = 0; i < NUM_THREADS; ++i) {
            executors.push_back(ThreadExecutor::Construct(Value::Null));
            executors.back()->SetExecutable(Ptr<Object>(pTally));
            executors.back()->SetSleep(0);
        }
        EXPECT_EQ(pTally->GetReferenceCount(), 1 + NUM_THREADS);
        for (const Ptr<ThreadExecutor>& pExecutor : executors) {
            pExecutor->Start();
        }
        while (pTally->mCalls.Value() < numCalls) {
            std::this_thread::yield();
        }
        for (const Ptr<ThreadExecutor>& pExecutor : executors) {
            pExecutor->Stop();
        }
        const int numAtTheEnd = pTally->mCalls.Value();
        std::this_thread::yield();
        EXPECT_EQ(pTally->mCalls.Value(), numAtTheEnd);
        EXPECT_EQ(pTally->GetReferenceCount(), 1 + NUM_THREADS);
    }
    EXPECT_EQ(pTally->GetReferenceCount(), 1);
}
