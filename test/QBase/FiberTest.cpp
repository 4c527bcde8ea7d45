#include "QBase/Fiber.h"

#include "QBase/List.h"
#include "QBase/Object.h"

#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/CountedAllocations.h"
#include "Support/Paths.h"
#include "Support/System.h"
#include "Support/TestAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

// A fiber that runs a piece of a test and then switches back to the thread for good.
class Script
{
public:
    explicit Script(std::function<void(Script&)> body, std::size_t stackSize = 0)
        : mBody(std::move(body)), mpFiber(Fiber::Create(&Script::Run, stackSize, this))
    {}
    ~Script() { Fiber::Delete(mpFiber); }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    void* GetHandle() const { return mpFiber; }
    bool IsDone() const { return mbDone; }

    /// Called outside: goes on until the next Wait or the end.
    void Resume()
    {
        mpCaller = Fiber::CreateFromThread();
        Fiber::SwitchTo(mpFiber);
        Fiber::DeleteFromThread(mpCaller);
    }

    /// Called inside.
    void Wait() { Fiber::SwitchTo(mpCaller); }

private:
    static void QBASE_ENTRY Run(void* pParameter)
    {
        Script& script = *static_cast<Script*>(pParameter);
        script.mBody(script);
        script.mbDone = true;
        for (;;) {
            script.Wait();
        }
    }

    std::function<void(Script&)> mBody;
    void* mpCaller = nullptr;
    bool mbDone = false;
    void* mpFiber;
};

void QBASE_ENTRY ReturnAtOnce(void* pParameter)
{
    ++*static_cast<int*>(pParameter);
}

class Converted
{
public:
    Converted() : mpFiber(Fiber::CreateFromThread()) {}
    ~Converted() { Fiber::DeleteFromThread(mpFiber); }
    Converted(const Converted&) = delete;
    Converted& operator=(const Converted&) = delete;

    void* GetHandle() const { return mpFiber; }

private:
    void* mpFiber;
};

} // namespace

TEST(FiberTest, NestedConversionsGiveTheSameHandleAndOnlyTheLastDeleteUndoesThem)
{
    CapturedMessages messages;
    Script script([](Script&) {});

    void* const pFirst = Fiber::CreateFromThread();
    void* const pSecond = Fiber::CreateFromThread();
    EXPECT_NE(pFirst, nullptr);
    EXPECT_EQ(pFirst, pSecond);

    Fiber::DeleteFromThread(pFirst);
    script.Resume(); // converts and undoes once more
    EXPECT_TRUE(script.IsDone());
    Fiber::SwitchTo(script.GetHandle()); // still a fiber

    Fiber::DeleteFromThread(nullptr); // the argument is not used
    Fiber::SwitchTo(script.GetHandle());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to switch to fiber - the thread is no fiber"));
}

TEST(FiberTest, DeletingAConversionTooManyReportsAndChangesNothing)
{
    CapturedMessages messages;

    Fiber::DeleteFromThread(nullptr);

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to convert fiber to thread - the thread is no fiber"));
    void* const pFiber = Fiber::CreateFromThread();
    Fiber::DeleteFromThread(pFiber);
    Fiber::DeleteFromThread(pFiber);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to convert fiber to thread - the thread is no fiber"));
}

TEST(FiberTest, AFiberStartsAtTheFirstSwitchAndGoesOnWhereItSwitchedAway)
{
    std::string text;
    Script script([&](Script& self) {
        text += 'b';
        self.Wait();
        text += 'd';
    });

    text += 'a';
    script.Resume();
    text += 'c';
    script.Resume();
    text += 'e';

    EXPECT_EQ(text, "abcde");
}

TEST(FiberThreadsTest, PingPongOfAHundredThousandSwitches)
{
    int count = 0;
    Script script([&](Script& self) {
        for (;;) {
            ++count;
            self.Wait();
        }
    });
    for (int i = 0; i < 50000; ++i) {
        script.Resume();
    }
    EXPECT_EQ(count, 50000);
}

TEST(FiberTest, FibersMaySwitchAmongEachOther)
{
    std::string text;
    Script* pSecond = nullptr;
    Script first([&](Script&) {
        text += '1';
        Fiber::SwitchTo(pSecond->GetHandle());
        text += '3';
    });
    Script second([&](Script&) {
        text += '2';
        Fiber::SwitchTo(first.GetHandle());
        text += '4';
    });
    pSecond = &second;

    first.Resume();

    EXPECT_EQ(text, "123");
}

TEST(FiberTest, ADeletedFiberJustGoesAndNothingOnItsStackIsDestroyed)
{
    struct Counter
    {
        explicit Counter(int& count) : mCount(count) {}
        ~Counter() { ++mCount; }
        int& mCount;
    };
    int destroyed = 0;
    bool bWentOn = false;
    {
        Script script([&](Script& self) {
            Counter counter(destroyed);
            self.Wait();
            bWentOn = true;
        });
        script.Resume();
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_FALSE(bWentOn);
}

TEST(FiberTest, AFiberThatNeverRanCanBeDeleted)
{
    int count = 0;
    Fiber::Delete(Fiber::Create(ReturnAtOnce, 0, &count));
    EXPECT_EQ(count, 0);
}

TEST(FiberTest, AReturningEntryIsReportedAndTheThreadsOwnFiberGoesOn)
{
    CapturedMessages messages;
    const Converted converted;
    int count = 0;
    void* const pFiber = Fiber::Create(ReturnAtOnce, 0, &count);

    Fiber::SwitchTo(pFiber);

    EXPECT_EQ(count, 1);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to return from fiber - it switches to the thread's own fiber instead"));
    Fiber::SwitchTo(pFiber);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to switch to fiber - its entry function has returned"));
    EXPECT_EQ(count, 1);
    Fiber::Delete(pFiber);
}

TEST(FiberThreadsTest, WrongSwitchesReportAndReturnAtOnce)
{
    CapturedMessages messages;
    Script script([](Script&) {});
    const Converted converted;

    Fiber::SwitchTo(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to switch to fiber - no fiber"));
    Fiber::SwitchTo(converted.GetHandle());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to switch to fiber - it is running"));
    std::thread([&] {
        const Converted other;
        Fiber::SwitchTo(converted.GetHandle());
    }).join();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to switch to fiber - it is another thread's own"));
    std::thread([&] { Fiber::SwitchTo(script.GetHandle()); }).join();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to switch to fiber - the thread is no fiber"));
}

TEST(FiberTest, WrongDeletesReportAndChangeNothing)
{
    CapturedMessages messages;
    bool bWentOn = false;
    Script script([&](Script& self) {
        Fiber::Delete(self.GetHandle());
        bWentOn = true;
        Fiber::DeleteFromThread(self.GetHandle());
    });
    script.Resume();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to delete fiber - it is running"));
    EXPECT_TRUE(bWentOn);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to convert fiber to thread - another fiber is running on it"));

    Fiber::Delete(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to delete fiber - no fiber"));
    const Converted converted;
    Fiber::Delete(converted.GetHandle());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to delete fiber - it is a thread's own"));
}

TEST(FiberTest, CreateReportsAMissingEntryAndAStackThatNoSystemHas)
{
    CapturedMessages messages;

    EXPECT_EQ(Fiber::Create(nullptr, 0, nullptr), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to create fiber - no entry function"));
    int count = 0;
    EXPECT_EQ(Fiber::Create(ReturnAtOnce, SIZE_MAX, &count), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to create fiber with a stack of " +
                                               std::to_string(SIZE_MAX) + " bytes - out of memory"));
    EXPECT_EQ(Fiber::Create(ReturnAtOnce, SIZE_MAX / 2 - 1, &count), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(" bytes - out of memory"));
}

namespace
{

// Fills about `size` bytes of stack.
int UseStack(std::size_t size)
{
    volatile char block[1024];
    block[0] = static_cast<char>(size);
    return size > sizeof(block) ? UseStack(size - sizeof(block)) + block[0] : block[0];
}

} // namespace

TEST(FiberTest, AStackHasTheSizeAskedForAndAMebibyteWithout)
{
    Script usual([](Script&) { UseStack(std::size_t(400) << 10); });
    usual.Resume();
    EXPECT_TRUE(usual.IsDone());

    Script large([](Script&) { UseStack(std::size_t(3) << 20); }, std::size_t(8) << 20);
    large.Resume();
    EXPECT_TRUE(large.IsDone());
}

TEST(FiberDeathTest, AStackThatOverflowsStopsTheProgram)
{
    EXPECT_EXIT(
        {
            Script script([](Script&) { UseStack(std::size_t(8) << 20); }, std::size_t(64) << 10);
            script.Resume();
        },
        IsStackOverflow, "");
}

TEST(FiberTest, ExceptionsBeingHandledBelongToTheirFiber)
{
    std::string caught;
    const auto throwAndWait = [&](const char* pText) {
        return [&caught, pText](Script& self) {
            try {
                try {
                    throw std::runtime_error(pText);
                } catch (const std::runtime_error&) {
                    self.Wait();
                    throw; // the one of this fiber
                }
            } catch (const std::runtime_error& error) {
                caught += error.what();
            }
        };
    };
    Script first(throwAndWait("first "));
    Script second(throwAndWait("second "));

    first.Resume();
    second.Resume();
    first.Resume();
    second.Resume();

    EXPECT_EQ(caught, "first second ");
    EXPECT_EQ(std::uncaught_exceptions(), 0);
    EXPECT_EQ(std::current_exception(), nullptr);
}

TEST(FiberTest, AListThatExecutesOnOneFiberMayExecuteOnAnother)
{
    Script* pScript = nullptr;
    int runs = 0;
    const Ptr<List> pList = List::Construct(Value::Null);
    pList->Insert(new TestAction([&](const Value&) {
        ++runs;
        if (!pScript->IsDone() && runs == 1) {
            pScript->Wait(); // leaves in the middle of the walk
        }
    }));
    Script script([&](Script&) { pList->Execute(Value::Null); });
    pScript = &script;

    script.Resume();
    pList->Execute(Value::Null);
    EXPECT_EQ(runs, 2);
    script.Resume();
    EXPECT_TRUE(script.IsDone());
    pList->Execute(Value::Null);
    EXPECT_EQ(runs, 3);
}

TEST(FiberThreadsTest, AThreadThatEndsAsAFiberLeavesNothingBehind)
{
    std::thread([] { Fiber::CreateFromThread(); }).join();
}

TEST(FiberThreadsTest, AFiberMayGoOnOnAnotherThread)
{
    // Compilers know that a function runs on one thread and ask for its id once; but not through this.
    std::thread::id (*volatile pGetId)() = &std::this_thread::get_id;
    std::vector<std::thread::id> threads;
    Script script([&](Script& self) {
        for (int i = 0; i < 4; ++i) {
            threads.push_back(pGetId());
            self.Wait();
        }
    });
    std::thread::id other;
    for (int i = 0; i < 2; ++i) {
        script.Resume();
        std::thread thread([&] {
            script.Resume();
            EXPECT_EQ(threads.back(), std::this_thread::get_id());
        });
        thread.join();
    }
    EXPECT_EQ(threads.size(), 4u);
    EXPECT_EQ(threads[2], std::this_thread::get_id());
}

TEST(FiberThreadsTest, ExceptionsBeingHandledGoWithTheirFiberToAnotherThread)
{
    std::string caught;
    Script script([&](Script& self) {
        try {
            try {
                throw std::runtime_error("taken along");
            } catch (const std::runtime_error&) {
                self.Wait();
                throw; // on the other thread
            }
        } catch (const std::runtime_error& error) {
            caught = error.what();
        }
    });

    script.Resume();
    EXPECT_EQ(std::current_exception(), nullptr); // it is the fiber's, not the thread's
    std::thread([&] {
        script.Resume();
        EXPECT_EQ(std::current_exception(), nullptr);
    }).join();

    EXPECT_EQ(caught, "taken along");
    EXPECT_EQ(std::current_exception(), nullptr);
}

TEST(FiberThreadsTest, OfTwoThreadsThatSwitchToOneFiberOneIsRefusedOrBothTakeTurns)
{
    CapturedMessages messages;
    std::atomic<int> inside{0};
    std::atomic<int> runs{0};
    struct Shared
    {
        std::atomic<int>& mInside;
        std::atomic<int>& mRuns;
        void* mpBack = nullptr;

        static void QBASE_ENTRY Run(void* pParameter)
        {
            Shared& state = *static_cast<Shared*>(pParameter);
            for (;;) {
                EXPECT_EQ(state.mInside.fetch_add(1), 0);
                ++state.mRuns;
                state.mInside.fetch_sub(1);
                Fiber::SwitchTo(Fiber::CreateFromThread()); // the own fiber of whatever thread this is
            }
        }
    } shared{inside, runs};
    void* const pFiber = Fiber::Create(Shared::Run, 0, &shared);
    const auto work = [&] {
        Fiber::CreateFromThread();
        for (int i = 0; i < 2000; ++i) {
            Fiber::SwitchTo(pFiber);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();

    const std::vector<std::string> refused = messages.TakeAll();
    EXPECT_EQ(static_cast<int>(refused.size()) + runs.load(), 4000);
    EXPECT_THAT(refused, testing::Each(EndsWith("Failed to switch to fiber - it is running")));
    Fiber::Delete(pFiber);
}

TEST(FiberThreadsTest, ThreadsWithFibersOfTheirOwnDoNotMeet)
{
    std::vector<std::thread> threads;
    std::atomic<int> total{0};
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            int count = 0;
            Script script([&](Script& self) {
                for (;;) {
                    ++count;
                    self.Wait();
                }
            });
            for (int j = 0; j < 5000; ++j) {
                script.Resume();
            }
            total += count;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(total, 15000);
}

TEST(FiberTest, WithoutBoostFibersSwitchByUcontext)
{
    if (!IsBuilt("UcontextFibers")) {
        GTEST_SKIP() << "this system has fibers of its own";
    }
    // Sanitizers warn of what they know little about before it begins.
    EXPECT_THAT(
        RunProgram(BinaryPath("UcontextFibers")).mOutput,
        EndsWith("50000 switches there and back, exceptions apart, 0 destroyed, caught 'of the fiber'\n"));
}

TEST(FiberThreadTest, AThreadThatIsShortOfMemoryIsReportedAndBecomesAFiberLater)
{
    if (!IsBuilt("UcontextFibers")) {
        GTEST_SKIP() << "what the library asks for cannot be made to fail here";
    }
    CapturedMessages messages;
    std::thread([] {
        for (int after = 0; after < 2; ++after) { // the thread's record, then its fiber
            const FailingNew failing(1, after);
            EXPECT_EQ(Fiber::CreateFromThread(), nullptr);
        }
        void* const pOwn = Fiber::CreateFromThread();
        EXPECT_NE(pOwn, nullptr);
        Fiber::DeleteFromThread(pOwn);
    }).join();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to convert thread to fiber - out of memory"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to convert thread to fiber - out of memory"));
}
