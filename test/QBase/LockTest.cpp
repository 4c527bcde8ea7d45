#include "QBase/Lock.h"

#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace QBase;
using testing::EndsWith;

TEST(LockThreadsTest, LetsOneThreadThroughAtATimeByCallsFromData)
{
    const Ptr<Object> pLock = Lock::Construct(Value::Null);
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 5000; ++i) {
            pLock->Call("Enter");
            ++count;
            pLock->Call("Exit");
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 10000);
}

TEST(LockTest, TheThreadInsideMayEnterAgain)
{
    CapturedMessages messages;
    const Ptr<Lock> pLock = Lock::Construct(Value::Null);

    pLock->Enter();
    pLock->Enter();
    pLock->Exit();
    pLock->Exit();

    pLock->Exit();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to exit lock - this thread is not inside"));
}

TEST(LockTest, ExitOfAThreadThatIsNotInsideReportsAndLeavesTheOwnerInside)
{
    CapturedMessages messages;
    const Ptr<Lock> pLock = Lock::Construct(Value::Null);
    pLock->Enter();

    std::thread([&] { pLock->Exit(); }).join();

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to exit lock - this thread is not inside"));
    pLock->Exit();
}

TEST(LockThreadsTest, AClonedLockIsFreeAndOfItsOwn)
{
    Lock* const pLock = Lock::Construct(Value::Null);
    pLock->Enter();
    Lock* const pClone = pLock->Clone();

    std::thread([&] {
        pClone->Enter(); // would wait for ever
        pClone->Exit();
    }).join();

    delete pLock; // while entered
    pClone->Enter();
    delete pClone;
}

TEST(LockTest, ItsFunctionsAreReflected)
{
    const Ptr<Object> pLock = Lock::Construct(Value::Null);

    EXPECT_NE(pLock->FindFunction("Enter"), nullptr);
    EXPECT_NE(pLock->FindFunction("Exit"), nullptr);
    EXPECT_EQ(pLock->GetModuleName(), String("QBase"));
    EXPECT_EQ(pLock->GetClassName(), String("Lock"));
}
