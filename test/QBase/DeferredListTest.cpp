#include "QBase/DeferredList.h"

#include "QBase/Memory.h"

#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/TestAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using testing::ElementsAre;
using testing::EndsWith;

namespace
{

class DeferredListTest : public testing::Test
{
protected:
    /// Writes its name down when it is executed, and a "~" before its name when it goes.
    Object* Entry(const std::string& name)
    {
        return new TestAction([this, name](const Value&) { mLog.push_back(name); },
                              [this, name] { mLog.push_back("~" + name); });
    }

    /// Writes down what it is called with.
    Object* Writer()
    {
        return new TestAction([this](const Value& value) { mLog.push_back(value.AsString().c_str()); });
    }

    void Execute() { mpList->Execute(Value::Null); }

    std::vector<std::string> mLog;
    Ptr<DeferredList> mpList = DeferredList::Construct(Value::Null);
};

using DeferredListThreadsTest = DeferredListTest;

} // namespace

TEST_F(DeferredListTest, AnEmptyListExecutesNothing)
{
    Execute();
    EXPECT_THAT(mLog, ElementsAre());
}

TEST_F(DeferredListTest, InsertedObjectsRunNewestFirstAndAreReleasedAfterAll)
{
    mpList->Insert(Entry("A"));
    mpList->Insert(Entry("B"));
    mpList->Insert(Entry("C"));

    Execute();

    EXPECT_THAT(mLog, ElementsAre("C", "B", "A", "~C", "~B", "~A"));
}

TEST_F(DeferredListTest, InsertedCallsRunOldestFirst)
{
    const Ptr<Object> pWriter = Writer();
    mpList->InsertCall(pWriter, "Act", "A");
    mpList->InsertCall(pWriter, "Act", "B");
    mpList->InsertCall(pWriter, "Act", "C");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("A", "B", "C"));
}

TEST_F(DeferredListTest, ObjectsRunBeforeAndCallsAfterEverythingQueued)
{
    const Ptr<Object> pWriter = Writer();
    const Ptr<Object> pX = Entry("X");
    const Ptr<Object> pY = Entry("Y");
    mpList->InsertCall(pWriter, "Act", "A");
    mpList->Insert(pX);
    mpList->InsertCall(pWriter, "Act", "B");
    mpList->Insert(pY);
    mpList->InsertCall(pWriter, "Act", "C");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("Y", "X", "A", "B", "C"));
    mLog.clear();
}

TEST_F(DeferredListTest, CallsBehindAnInsertedObjectKeepTheirOrder)
{
    const Ptr<Object> pWriter = Writer();
    mpList->Insert(pWriter); // a list of one, by Insert
    mpList->InsertCall(pWriter, "Act", "A");
    mpList->InsertCall(pWriter, "Act", "B");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("", "A", "B"));
}

TEST_F(DeferredListTest, TheListIsEmptyAfterExecuteAndTakesNewEntries)
{
    const Ptr<Object> pWriter = Writer();
    mpList->InsertCall(pWriter, "Act", "A");
    Execute();
    Execute();
    mpList->InsertCall(pWriter, "Act", "B");
    mpList->InsertCall(pWriter, "Act", "C");
    Execute();

    EXPECT_THAT(mLog, ElementsAre("A", "B", "C"));
    EXPECT_EQ(pWriter->GetReferenceCount(), 1);
}

TEST_F(DeferredListTest, EveryEntryGetsTheArgumentEvenWhenItsOwnerDropsIt)
{
    Value text = Value(String((std::string("only ") + "here").c_str()));
    mpList->Insert(Writer());
    mpList->Insert(new TestAction([&](const Value&) { text = Value::Null; }));

    mpList->Execute(text);

    EXPECT_THAT(mLog, ElementsAre("only here"));
}

TEST_F(DeferredListTest, ACallThatARunningEntryAddsRunsInTheSamePass)
{
    const Ptr<Object> pWriter = Writer();
    int depth = 0;
    const Ptr<Object> pAdder = new TestAction([&](const Value&) {
        if (++depth < 3) {
            mpList->InsertCall(pAdder, "Act");
            mpList->InsertCall(pWriter, "Act", "added");
        }
    });
    mpList->InsertCall(pAdder, "Act");
    mpList->InsertCall(pWriter, "Act", "queued");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("queued", "added", "added"));
    EXPECT_EQ(depth, 3);
}

TEST_F(DeferredListTest, AnObjectThatARunningEntryInsertsIsReleasedWithoutRunning)
{
    mpList->InsertCall(new TestAction([&](const Value&) { mpList->Insert(Entry("lost")); }), "Act");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("~lost"));
    Execute();
    EXPECT_THAT(mLog, ElementsAre("~lost"));
}

TEST_F(DeferredListTest, ANestedExecuteReportsAndReturns)
{
    CapturedMessages messages;
    mpList->InsertCall(mpList, "Execute");
    mpList->InsertCall(Writer(), "Act", "after");

    Execute();

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to execute deferred list - it is executing already"));
    EXPECT_THAT(mLog, ElementsAre("after"));
}

TEST_F(DeferredListTest, WhatADestructorInsertsStaysForTheNextPass)
{
    const Ptr<Object> pWriter = Writer();
    mpList->Insert(new TestAction({}, [&] {
        mpList->Insert(Entry("object"));
        mpList->InsertCall(pWriter, "Act", "call");
    }));

    Execute();
    EXPECT_THAT(mLog, ElementsAre());
    Execute();
    EXPECT_THAT(mLog, ElementsAre("object", "call", "~object"));
}

TEST_F(DeferredListTest, AnEntryMayDropTheLastReferenceOnTheList)
{
    mpList->Insert(Writer());
    mpList->Insert(new TestAction([&](const Value&) { mpList = nullptr; }));
    DeferredList* const pList = mpList;

    pList->Execute("still here");

    EXPECT_THAT(mLog, ElementsAre("still here"));
    EXPECT_EQ(mpList, nullptr);
}

TEST_F(DeferredListTest, AListThatNobodyRefersToSurvivesItsExecute)
{
    DeferredList* const pList = DeferredList::Construct(Value::Null);
    pList->Insert(Writer());

    pList->Execute("raw");

    EXPECT_EQ(pList->GetReferenceCount(), 0);
    delete pList;
    EXPECT_THAT(mLog, ElementsAre("raw"));
}

TEST_F(DeferredListTest, EntriesThatNeverRanAreReleasedWithTheList)
{
    mpList->Insert(Entry("A"));
    mpList = nullptr;
    EXPECT_THAT(mLog, ElementsAre("~A"));
}

TEST_F(DeferredListTest, InsertOfNoObjectReportsAndChangesNothing)
{
    CapturedMessages messages;

    mpList->Insert(nullptr);

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to insert object to deferred list - no object"));
    Execute();
}

TEST_F(DeferredListTest, ACallWithoutAnObjectRunsWithoutEffect)
{
    mpList->InsertCall(nullptr, "Act", 1);
    Execute();
}

TEST_F(DeferredListTest, InsertIsReflected)
{
    mpList->Call("Insert", Value(Writer()));
    mpList->Call("Execute", Value("by call"));

    EXPECT_THAT(mLog, ElementsAre("by call"));
}

TEST_F(DeferredListTest, AClonedListQueuesTheSameObjectsOnItsOwn)
{
    DeferredList* const pList = DeferredList::Construct(Value::Null);
    const Ptr<Object> pWriter = Writer();
    pList->InsertCall(pWriter, "Act", "A");
    pList->InsertCall(pWriter, "Act", "B");
    DeferredList* const pClone = pList->Clone();
    pClone->InsertCall(pWriter, "Act", "C");

    pList->Execute(Value::Null);
    EXPECT_THAT(mLog, ElementsAre("A", "B"));
    delete pList;
    pClone->Execute(Value::Null);
    EXPECT_THAT(mLog, ElementsAre("A", "B", "A", "B", "C"));
    delete pClone;
}

// Of a size that a walk to the end for each of them could not finish.
TEST_F(DeferredListTest, HalfAMillionCallsKeepTheirOrder)
{
    constexpr int numCalls = 500000;
    int next = 0;
    bool bInOrder = true;
    const Ptr<Object> pCounter =
        new TestAction([&](const Value& value) { bInOrder &= value.Get<int>() == next++; });
    for (int i = 0; i < numCalls; ++i) {
        mpList->InsertCall(pCounter, "Act", i);
    }

    Execute();

    EXPECT_EQ(next, numCalls);
    EXPECT_TRUE(bInOrder);
}

TEST_F(DeferredListThreadsTest, EveryCallOfSeveralProducersRunsOnceAndInItsProducersOrder)
{
    constexpr int numProducers = 4;
    constexpr int numCalls = 5000;
    int next[numProducers] = {};
    bool bInOrder = true;
    const Ptr<Object> pCounter = new TestAction([&](const Value& value) {
        const Vector2i call = value.Get<Vector2i>();
        bInOrder &= call.y == next[call.x]++;
    });
    std::atomic<int> running{numProducers};
    std::vector<std::thread> producers;
    for (int producer = 0; producer < numProducers; ++producer) {
        producers.emplace_back([&, producer] {
            for (int i = 0; i < numCalls; ++i) {
                mpList->InsertCall(pCounter, "Act", Vector2i(producer, i));
            }
            --running;
        });
    }
    while (running > 0) {
        Execute();
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    Execute();

    EXPECT_TRUE(bInOrder);
    EXPECT_THAT(next, testing::Each(numCalls));
}

TEST_F(DeferredListThreadsTest, EveryObjectOfSeveralProducersRunsOnce)
{
    constexpr int numProducers = 3;
    constexpr int numObjects = 3000;
    int runs = 0;
    std::atomic<int> gone{0};
    std::atomic<int> running{numProducers};
    std::vector<std::thread> producers;
    for (int producer = 0; producer < numProducers; ++producer) {
        producers.emplace_back([&] {
            for (int i = 0; i < numObjects; ++i) {
                mpList->Insert(new TestAction([&](const Value&) { ++runs; }, [&] { ++gone; }));
            }
            --running;
        });
    }
    while (running > 0) {
        Execute();
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    Execute();

    EXPECT_EQ(runs, numProducers * numObjects);
    EXPECT_EQ(gone, numProducers * numObjects);
}

TEST_F(DeferredListTest, WithoutMemoryACallIsLostButTheQueueStaysWhole)
{
    CapturedConsole console;
    const Ptr<Object> pWriter = Writer();
    mpList->InsertCall(pWriter, "Act", "A");
    const String act("Act");
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_OBJECT; });
    mpList->InsertCall(pWriter, act);
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_UNKNOWN; });
    mpList->InsertCall(pWriter, act);
    Memory::SetFailureHook(nullptr);
    mpList->InsertCall(pWriter, "Act", "B");

    Execute();

    EXPECT_THAT(mLog, ElementsAre("A", "B"));
}

TEST_F(DeferredListTest, AfterAnExceptionTheQueueIsStillThereAndExecutesAgain)
{
    bool bThrow = true;
    mpList->Insert(new TestAction([&](const Value&) {
        if (bThrow) {
            throw std::runtime_error("passes");
        }
        mLog.push_back("ran");
    }));

    EXPECT_THROW(Execute(), std::runtime_error);
    bThrow = false;
    Execute();

    EXPECT_THAT(mLog, ElementsAre("ran"));
}
