#include "QBase/Thread.h"

#include "QBase/ThreadTable.h"

#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

unsigned QBASE_ENTRY ReturnTheArgument(void* pArgument)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pArgument));
}

void* AsArgument(unsigned number)
{
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(number));
}

unsigned QBASE_ENTRY WaitForTheGate(void* pArgument)
{
    const std::atomic<bool>& gate = *static_cast<const std::atomic<bool>*>(pArgument);
    while (!gate.load()) {
        std::this_thread::yield();
    }
    return 7;
}

unsigned QBASE_ENTRY FinishOneself(void* pArgument)
{
    *static_cast<unsigned*>(pArgument) = GetCurrentThreadHandle();
    return Thread::Finish(GetCurrentThreadHandle()) + 40;
}

} // namespace

TEST(ThreadThreadsTest, FinishReturnsWhatTheEntryFunctionReturned)
{
    const unsigned handle = Thread::Start(ReturnTheArgument, AsArgument(0xFEDCBA98u));

    EXPECT_NE(handle, 0u);
    EXPECT_EQ(Thread::Finish(handle), 0xFEDCBA98u);
}

TEST(ThreadThreadsTest, HasExitedIsFalseWhileTheEntryFunctionRunsAndTrueAfterIt)
{
    std::atomic<bool> gate{false};
    const unsigned handle = Thread::Start(WaitForTheGate, &gate);

    EXPECT_FALSE(Thread::HasExited(handle));
    gate.store(true);
    while (!Thread::HasExited(handle)) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(Thread::HasExited(handle));
    EXPECT_EQ(Thread::Finish(handle), 7u);
    EXPECT_TRUE(Thread::HasExited(handle));
}

TEST(ThreadThreadsTest, FinishingASecondTimeAndAnUnknownHandleGiveZeroAtOnce)
{
    const unsigned handle = Thread::Start(ReturnTheArgument, AsArgument(3));
    EXPECT_EQ(Thread::Finish(handle), 3u);

    EXPECT_EQ(Thread::Finish(handle), 0u);
    EXPECT_EQ(Thread::Finish(0), 0u);
    EXPECT_EQ(Thread::Finish(123456789), 0u);
    EXPECT_TRUE(Thread::HasExited(0));
    EXPECT_TRUE(Thread::HasExited(123456789));
}

TEST(ThreadThreadsTest, FinishOfTheOwnThreadReportsAndGivesZero)
{
    CapturedMessages messages;
    unsigned own = 0;
    const unsigned handle = Thread::Start(FinishOneself, &own);

    EXPECT_EQ(Thread::Finish(handle), 40u);
    EXPECT_EQ(own, handle);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to finish thread " + std::to_string(handle) +
                                               " - it would wait for itself"));
}

TEST(ThreadThreadsTest, AThreadThatWasNotStartedHereHasNoHandle)
{
    EXPECT_EQ(GetCurrentThreadHandle(), 0u);
}

TEST(ThreadThreadsTest, TenThousandThreadsOneAfterTheOtherAllReturnTheirOwnCode)
{
    for (unsigned i = 0; i < 10000; ++i) {
        const unsigned handle = Thread::Start(ReturnTheArgument, AsArgument(i));
        ASSERT_NE(handle, 0u);
        ASSERT_EQ(Thread::Finish(handle), i);
    }
}

TEST(ThreadThreadsTest, HandlesOfUnfinishedThreadsAreAllDifferentEvenWhenTheNumbersWrapAround)
{
    SetNextThreadHandle(0xFFFFFFFEu);
    std::set<unsigned> handles;
    for (unsigned i = 0; i < 4; ++i) {
        handles.insert(Thread::Start(ReturnTheArgument, AsArgument(i)));
    }
    SetNextThreadHandle(*handles.begin());
    handles.insert(Thread::Start(ReturnTheArgument, AsArgument(4)));

    EXPECT_EQ(handles.size(), 5u);
    EXPECT_FALSE(handles.contains(0));
    EXPECT_TRUE(handles.contains(0xFFFFFFFFu));
    unsigned sum = 0;
    for (const unsigned handle : handles) {
        sum += Thread::Finish(handle);
    }
    EXPECT_EQ(sum, 10u);
}

TEST(ThreadThreadsTest, SeveralThreadsMayFinishTheSameThread)
{
    for (int round = 0; round < 3000; ++round) {
        std::atomic<bool> gate{false};
        const unsigned handle = Thread::Start(WaitForTheGate, &gate);
        std::atomic<unsigned> sum{0};
        const auto finish = [&] {
            const unsigned code = Thread::Finish(handle);
            EXPECT_TRUE(Thread::HasExited(handle));
            sum += code;
        };
        std::thread first(finish);
        std::thread second(finish);
        gate.store(true);
        first.join();
        second.join();
        EXPECT_TRUE(sum == 7u || sum == 14u) << sum; // the later one may find the handle given back
    }
}

TEST(ThreadThreadsTest, StartWithoutAnEntryFunctionReportsAndGivesZero)
{
    CapturedMessages messages;

    EXPECT_EQ(Thread::Start(nullptr, nullptr), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to start thread - no entry function"));
}

TEST(ThreadThreadsTest, StartReportsAndGivesZeroWhenTheSystemStartsNoMoreThreads)
{
    CapturedMessages messages;
    SetStartHook([] { return false; });

    EXPECT_EQ(Thread::Start(ReturnTheArgument, nullptr), 0u);

    SetStartHook(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to start thread - the system starts no more threads"));
}
