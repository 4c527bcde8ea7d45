#include "QBase/ThreadExecutor.h"

#include "QBase/BinarySerializer.h"
#include "QBase/FileSerializer.h"
#include "QBase/Memory.h"
#include "QBase/MemoryFile.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/SystemFile.h"
#include "QBase/ThreadTable.h"

#include "Support/CapturedMessages.h"
#include "Support/TempFolder.h"
#include "Support/TestAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <thread>
#include <vector>

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

// Sleeps are counted and take no longer than it takes to let other threads run.
class ThreadExecutorThreadsTest : public testing::Test
{
protected:
    ThreadExecutorThreadsTest()
    {
        sSleeps = 0;
        sLastSleep = 0;
        SetSleepHook([](unsigned milliseconds) {
            sLastSleep = milliseconds;
            ++sSleeps;
            LetOthersRun();
        });
    }
    ~ThreadExecutorThreadsTest() override { SetSleepHook(nullptr); }

    // On a busy machine a yield waits for everybody else's turn, and a short sleep for nobody's.
    static void LetOthersRun() { std::this_thread::sleep_for(std::chrono::microseconds(10)); }

    static void WaitFor(const std::function<bool()>& condition)
    {
        while (!condition()) {
            LetOthersRun();
        }
    }

    static Ptr<ThreadExecutor> NewExecutor(Object* pExecutable)
    {
        const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
        pExecutor->SetExecutable(pExecutable);
        return pExecutor;
    }

    /// Counts its runs.
    Object* Counter()
    {
        return new TestAction([this](const Value&) { ++mRuns; });
    }

    std::atomic<int> mRuns{0};
    inline static std::atomic<int> sSleeps{0};
    inline static std::atomic<unsigned> sLastSleep{0};
};

} // namespace

TEST_F(ThreadExecutorThreadsTest, ANewExecutorHasTenMillisecondsOfSleepAndNothingToExecute)
{
    const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);

    EXPECT_EQ(pExecutor->GetSleep(), 10);
    EXPECT_EQ(pExecutor->GetExecutable(), nullptr);
    EXPECT_TRUE(pExecutor->GetExecutableArg().IsVoid());
}

TEST_F(ThreadExecutorThreadsTest, WithoutAnExecutableItOnlySleeps)
{
    const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);

    pExecutor->Start();
    WaitFor([] { return sSleeps >= 3; });
    pExecutor->Stop();

    EXPECT_EQ(sLastSleep, 10u);
    const int sleeps = sSleeps;
    std::this_thread::yield();
    EXPECT_EQ(sSleeps, sleeps);
}

TEST_F(ThreadExecutorThreadsTest, CallsTheExecutableWithItsArgumentAgainAndAgainOnOneOtherThread)
{
    std::set<std::thread::id> threads;
    std::atomic<int> sum{0};
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(new TestAction([&](const Value& value) {
        threads.insert(std::this_thread::get_id());
        sum += value.Get<int>();
    }));
    pExecutor->SetExecutableArg(3);

    pExecutor->Start();
    WaitFor([&] { return sum >= 30; });
    pExecutor->Stop();

    EXPECT_EQ(threads.size(), 1u);
    EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
    EXPECT_EQ(sum % 3, 0);
    EXPECT_EQ(sum / 3, sSleeps); // one sleep behind every call
}

TEST_F(ThreadExecutorThreadsTest, ASleepOfZeroStillSleepsForZeroAndANegativeOneCountsAsZero)
{
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(Counter());
    pExecutor->SetSleep(0);
    sLastSleep = 99;
    pExecutor->Start();
    WaitFor([] { return sSleeps >= 2; });
    EXPECT_EQ(sLastSleep, 0u);
    pExecutor->Stop();

    pExecutor->SetSleep(-1);
    sLastSleep = 99;
    pExecutor->Start();
    WaitFor([] { return sLastSleep != 99; });
    pExecutor->Stop();
    EXPECT_EQ(sLastSleep, 0u);
    EXPECT_EQ(pExecutor->GetSleep(), -1);
}

TEST_F(ThreadExecutorThreadsTest, StopWithoutAThreadDoesNothing)
{
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(Counter());

    pExecutor->Stop();
    pExecutor->Start();
    pExecutor->Stop();
    const int runs = mRuns;
    pExecutor->Stop();

    EXPECT_EQ(mRuns, runs);
}

TEST_F(ThreadExecutorThreadsTest, IsRunningFromItsStartToTheEndOfItsThread)
{
    std::atomic<bool> bStop{false};
    Ptr<ThreadExecutor> pExecutor;
    pExecutor = NewExecutor(new TestAction([&](const Value&) {
        EXPECT_TRUE(pExecutor->IsRunning());
        if (bStop) {
            pExecutor->Stop();
        }
    }));
    EXPECT_FALSE(pExecutor->IsRunning());
    pExecutor->Start();
    EXPECT_TRUE(pExecutor->IsRunning());
    bStop = true;
    WaitFor([&] { return !pExecutor->IsRunning(); });
    bStop = false;
    pExecutor->Start();
    EXPECT_TRUE(pExecutor->IsRunning());
    pExecutor->Stop();
    EXPECT_FALSE(pExecutor->IsRunning());
}

TEST_F(ThreadExecutorThreadsTest, StopWaitsForTheCallAndTheSleepBehindIt)
{
    std::atomic<bool> bEntered{false};
    std::atomic<bool> bDone{false};
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(new TestAction([&](const Value&) {
        bEntered = true;
        std::this_thread::yield();
        bDone = true;
    }));
    pExecutor->Start();
    WaitFor([&] { return bEntered.load(); });
    pExecutor->Stop();

    EXPECT_TRUE(bDone);
    EXPECT_GE(sSleeps, 1);
}

TEST_F(ThreadExecutorThreadsTest, StartingTwiceLeavesOneThread)
{
    std::atomic<int> inside{0};
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(new TestAction([&](const Value&) {
        EXPECT_EQ(inside.fetch_add(1), 0);
        std::this_thread::yield();
        ++mRuns;
        inside.fetch_sub(1);
    }));
    pExecutor->Start();
    pExecutor->Start();
    WaitFor([&] { return mRuns >= 20; });
    pExecutor->Stop();
    const int runs = mRuns;
    std::this_thread::yield();
    EXPECT_EQ(mRuns, runs);
}

TEST_F(ThreadExecutorThreadsTest, DestroyingARunningExecutorJoinsItsThread)
{
    bool bGone = false;
    Ptr<ThreadExecutor> pExecutor =
        NewExecutor(new TestAction([&](const Value&) { ++mRuns; }, [&] { bGone = true; }));
    pExecutor->Start();
    WaitFor([&] { return mRuns > 0; });

    pExecutor = nullptr;

    EXPECT_TRUE(bGone);
}

TEST_F(ThreadExecutorThreadsTest, AFailedStartReportsAndLeavesTheExecutorStopped)
{
    CapturedMessages messages;
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(Counter());
    SetStartHook([] { return false; });
    pExecutor->Start();
    SetStartHook(nullptr);
    EXPECT_FALSE(pExecutor->IsRunning());

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to start thread - the system starts no more threads"));
    pExecutor->Stop();
    EXPECT_EQ(mRuns, 0);
    pExecutor->Start();
    WaitFor([&] { return mRuns > 0; });
    pExecutor->Stop();
}

TEST_F(ThreadExecutorThreadsTest, PropertiesMayChangeAHundredThousandTimesWhileItRuns)
{
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(Counter());
    pExecutor->SetSleep(0);
    pExecutor->Start();
    for (int i = 0; i < 100000; ++i) {
        switch (i % 4) {
        case 0:
            pExecutor->SetExecutable(i % 8 == 0 ? Counter() : nullptr);
            break;
        case 1:
            pExecutor->SetExecutableArg(i % 8 == 1 ? Value("text") : Value(Counter()));
            break;
        case 2:
            pExecutor->SetSleep(i % 3);
            break;
        default:
            EXPECT_EQ(pExecutor->GetSleep(), (i - 1) % 3);
            break;
        }
    }
    pExecutor->Stop();
}

TEST_F(ThreadExecutorThreadsTest, AnExecutableThatIsReplacedWhileItRunsLivesToTheEndOfItsCall)
{
    std::atomic<bool> bEntered{false};
    std::atomic<bool> bReplaced{false};
    std::atomic<bool> bGone{false};
    bool bGoneInside = true;
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(new TestAction(
        [&](const Value&) {
            bEntered = true;
            WaitFor([&] { return bReplaced.load(); });
            bGoneInside = bGone;
        },
        [&] { bGone = true; }));
    pExecutor->Start();
    WaitFor([&] { return bEntered.load(); });
    pExecutor->SetExecutable(nullptr);
    bReplaced = true;
    pExecutor->Stop();

    EXPECT_FALSE(bGoneInside);
    EXPECT_TRUE(bGone);
}

TEST_F(ThreadExecutorThreadsTest, ADestructorOfAReplacedExecutableMayUseTheExecutor)
{
    const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
    pExecutor->SetExecutable(new TestAction({}, [&] { pExecutor->SetExecutableArg("from destructor"); }));

    pExecutor->SetExecutable(nullptr);

    EXPECT_EQ(pExecutor->GetExecutableArg(), Value("from destructor"));
}

TEST_F(ThreadExecutorThreadsTest, AnExecutableMayStopItsExecutor)
{
    Ptr<ThreadExecutor> pExecutor;
    pExecutor = NewExecutor(new TestAction([&](const Value&) {
        ++mRuns;
        pExecutor->Stop();
    }));
    constexpr int numStarts = 2000;
    for (int i = 0; i < numStarts; ++i) {
        pExecutor->Start();
        WaitFor([&] { return mRuns > i; });
        pExecutor->Stop(); // joins
        ASSERT_EQ(mRuns, i + 1);
    }
    pExecutor->Start();
    WaitFor([&] { return mRuns > numStarts; });
    pExecutor->SetExecutable(Counter()); // the thread that stopped itself is joined by Start
    pExecutor->Start();
    WaitFor([&] { return mRuns > numStarts + 2; });
    pExecutor->Stop();
}

TEST_F(ThreadExecutorThreadsTest, AnExecutableMayStartItsExecutorWhichTakesItsStopBack)
{
    Ptr<ThreadExecutor> pExecutor;
    pExecutor = NewExecutor(new TestAction([&](const Value&) {
        ++mRuns;
        pExecutor->Stop();
        pExecutor->Start();
    }));
    pExecutor->Start();
    WaitFor([&] { return mRuns >= 100; });
    pExecutor->Stop(); // which the Start in there does not take back
    const int runs = mRuns;
    std::this_thread::yield();
    EXPECT_EQ(mRuns, runs);
}

TEST_F(ThreadExecutorThreadsTest, AnExecutableMayDropTheLastReferenceOnItsExecutor)
{
    for (int i = 0; i < 2000; ++i) {
        const std::int64_t blocks = Memory::GetTotalBlocksAllocated();
        std::atomic<bool> bStarted{false};
        std::atomic<int> runs{0};
        Ptr<ThreadExecutor> pExecutor;
        pExecutor = NewExecutor(new TestAction([&](const Value&) {
            WaitFor([&] { return bStarted.load(); });
            ++runs;
            pExecutor = nullptr;
        }));
        pExecutor->Start();
        bStarted = true;
        WaitFor([&] { return Memory::GetTotalBlocksAllocated() == blocks; });
        ASSERT_EQ(runs, 1);
    }
}

TEST_F(ThreadExecutorThreadsTest, StartStopAndDestructionThousandsOfTimes)
{
    const Ptr<Object> pCounter = Counter();
    for (int i = 0; i < 2000; ++i) {
        const Ptr<ThreadExecutor> pExecutor = NewExecutor(pCounter);
        pExecutor->Start();
        if (i % 2 == 0) {
            pExecutor->Stop();
        }
        if (i % 3 == 0) {
            pExecutor->Start();
        }
    }
    EXPECT_EQ(pCounter->GetReferenceCount(), 1);
}

TEST_F(ThreadExecutorThreadsTest, AnExecutableMayStopItsExecutorWhileAnotherThreadStartsStopsOrDestroysIt)
{
    std::atomic<int> inside{0};
    for (int i = 0; i < 3000; ++i) {
        Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
        ThreadExecutor* const pBorrowed = pExecutor; // whose destructor waits for the call
        pExecutor->SetExecutable(new TestAction([&inside, pBorrowed, i](const Value&) {
            EXPECT_EQ(inside.fetch_add(1), 0);
            pBorrowed->Stop();
            if (i % 2 == 0) {
                pBorrowed->Start();
            }
            inside.fetch_sub(1);
        }));
        pExecutor->Start();
        switch (i % 3) {
        case 0:
            pExecutor->Start();
            break;
        case 1:
            pExecutor->Stop();
            EXPECT_FALSE(pExecutor->IsRunning());
            break;
        default:
            break;
        }
        pExecutor = nullptr;
        ASSERT_EQ(inside, 0);
    }
}

TEST_F(ThreadExecutorThreadsTest, OfTheLastTwoReferencesTheExecutableAndAnotherThreadMayEachDropOne)
{
    const std::int64_t blocks = Memory::GetTotalBlocksAllocated();
    for (int i = 0; i < 3000; ++i) {
        std::atomic<bool> bGone{false};
        Ptr<ThreadExecutor> pOwn = ThreadExecutor::Construct(Value::Null);
        Ptr<ThreadExecutor> pOther = pOwn;
        pOwn->SetExecutable(
            new TestAction([&](const Value&) { pOther = nullptr; }, [&] { bGone.store(true); }));
        pOwn->Start();
        pOwn = nullptr; // joins the thread, or leaves that to the thread itself
        WaitFor([&] { return bGone.load(); });
    }
    WaitFor([&] { return Memory::GetTotalBlocksAllocated() == blocks; });
}

TEST_F(ThreadExecutorThreadsTest, SeveralThreadsMayStartAndStopOneExecutor)
{
    std::atomic<int> inside{0};
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(new TestAction([&](const Value&) {
        EXPECT_EQ(inside.fetch_add(1), 0);
        inside.fetch_sub(1);
    }));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 1000; ++i) {
                if ((i + thread) % 2 == 0) {
                    pExecutor->Start();
                } else {
                    pExecutor->Stop();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    pExecutor->Stop();
    EXPECT_EQ(inside, 0);
}

TEST_F(ThreadExecutorThreadsTest, AClonedExecutorIsStoppedAndHasTheSameProperties)
{
    const Ptr<Object> pCounter = Counter();
    ThreadExecutor* const pExecutor = ThreadExecutor::Construct(Value::Null);
    pExecutor->SetExecutable(pCounter);
    pExecutor->SetExecutableArg("argument");
    pExecutor->SetSleep(5);
    pExecutor->Start();
    ThreadExecutor* const pClone = pExecutor->Clone();
    delete pExecutor;

    const int runs = mRuns;
    std::this_thread::yield();
    EXPECT_EQ(mRuns, runs);
    EXPECT_EQ(pClone->GetExecutable(), pCounter);
    EXPECT_EQ(pClone->GetExecutableArg(), Value("argument"));
    EXPECT_EQ(pClone->GetSleep(), 5);
    pClone->Start();
    WaitFor([&] { return mRuns > runs; });
    delete pClone;
    EXPECT_EQ(pCounter->GetReferenceCount(), 1);
}

TEST_F(ThreadExecutorThreadsTest, IsSetUpAndDrivenByNamesAlone)
{
    const Ptr<Object> pExecutor = ThreadExecutor::Construct(Value::Null);
    const Ptr<Object> pCounter = Counter();
    pExecutor->FindProperty("Executable")->Set(pExecutor, pCounter);
    pExecutor->FindProperty("ExecutableArg")->Set(pExecutor, 4);
    pExecutor->FindProperty("Sleep")->Set(pExecutor, 1);

    pExecutor->Call("Start");
    WaitFor([&] { return mRuns > 3; });
    pExecutor->Call("Stop");

    EXPECT_EQ(pExecutor->FindProperty("Executable")->Get(pExecutor).AsObject(), pCounter);
    EXPECT_EQ(pExecutor->FindProperty("ExecutableArg")->Get(pExecutor), Value(4));
    EXPECT_EQ(sLastSleep, 1u);
}

namespace
{

// Adds up what it is executed with, as files can say it.
class Adder : public Object
{
    QBASE_OBJECT(Adder, Object)

public:
    void Execute(const Value& value) override { sSum += value.Get<int>(); }

    inline static std::atomic<int> sSum{0};

private:
    explicit Adder(const Value&) {}
    Adder(const Adder&) = default;
};

QBASE_IMPLEMENT(Test, Adder)

void Adder::Implement()
{}

constexpr char EXECUTOR_FILE[] = R"(<?xml version="1.0"?>
<QuirlData id="1784827729" version="3">
    <Object Module="QBase" Class="ThreadExecutor" Path="root">
        <Property Name="Executable" Type="Object">root.Executable</Property>
        <Property Name="ExecutableArg" Type="int">5</Property>
        <Property Name="Sleep" Type="int">3</Property>
    </Object>
    <Object Module="Test" Class="Adder" Path="root.Executable" />
</QuirlData>
)";

// Starts and stops a loaded executor by nothing but names.
void RunLoadedExecutor(const String& path, const std::atomic<unsigned>& lastSleep)
{
    Adder::sSum = 0;
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pExecutor = pLoader->Deserialize(path).AsObject();
    ASSERT_NE(pExecutor, nullptr);
    EXPECT_EQ(pExecutor->GetClassName(), String("ThreadExecutor"));
    EXPECT_EQ(Adder::sSum, 0); // loading starts nothing

    pExecutor->Call("Start");
    while (Adder::sSum < 15) {
        std::this_thread::sleep_for(std::chrono::microseconds(10));
    }
    pExecutor->Call("Stop");

    EXPECT_EQ(Adder::sSum % 5, 0);
    EXPECT_EQ(lastSleep, 3u);
}

} // namespace

TEST_F(ThreadExecutorThreadsTest, IsBuiltFromAnObjectFileAndDrivenByCalls)
{
    const TempFolder folder;
    const String text = folder.Write("executor.QXml", EXECUTOR_FILE);
    RunLoadedExecutor(text, sLastSleep);

    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pExecutor = pLoader->Deserialize(text).AsObject();
    ASSERT_NE(pExecutor, nullptr);
    const Ptr<BinarySerializer> pSaver = BinarySerializer::Construct(Value::Null);
    Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
    ASSERT_TRUE(pFile->Open(folder.Path("executor.qobj"), File::MODE_WRITE));
    EXPECT_TRUE(pSaver->Serialize(pExecutor, pFile));
    pFile->Close();
    RunLoadedExecutor(folder.Path("executor.qobj"), sLastSleep);
}

namespace
{

constexpr char DEFERRED_FILE[] = R"(<?xml version="1.0"?>
<QuirlData id="1784827729" version="3">
    <Object Module="QBase" Class="ThreadExecutor" Path="root">
        <Property Name="Executable" Type="Object">root.Executable</Property>
    </Object>
    <Object Module="QBase" Class="DeferredCall" Path="root.Executable">
        <Property Name="FunctionName" Type="String">Execute</Property>
        <Property Name="Object" Type="Object">root.Executable.Object</Property>
    </Object>
    <Object Module="Test" Class="Adder" Path="root.Executable.Object" />
</QuirlData>
)";

} // namespace

TEST_F(ThreadExecutorThreadsTest, ADeferredCallFromAnObjectFileMayBeWhatItExecutes)
{
    const TempFolder folder;
    Adder::sSum = 0;
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pExecutor =
        pLoader->Deserialize(folder.Write("deferred.QXml", DEFERRED_FILE)).AsObject();
    ASSERT_NE(pExecutor, nullptr);
    const Ptr<Object> pCall = pExecutor->FindProperty("Executable")->Get(pExecutor).AsObject();
    ASSERT_NE(pCall, nullptr);
    pCall->Call("SetArgs", 7);

    pExecutor->Call("Start");
    WaitFor([] { return Adder::sSum >= 70; });
    pExecutor->Call("Stop");

    EXPECT_EQ(Adder::sSum % 7, 0);
}

TEST_F(ThreadExecutorThreadsTest, IsSavedOnceItsArgumentIsSetAndComesBackStopped)
{
    CapturedMessages messages;
    const Ptr<ThreadExecutor> pExecutor = NewExecutor(Adder::Construct(Value::Null));
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    ASSERT_TRUE(pFile->Open("executor", File::MODE_READ | File::MODE_WRITE));
    EXPECT_FALSE(pSerializer->Serialize(pExecutor, pFile));
    EXPECT_THAT(messages.TakeError(), HasSubstr("ExecutableArg"));

    ASSERT_TRUE(pFile->Open("executor", File::MODE_READ | File::MODE_WRITE));
    pExecutor->SetExecutableArg(0);
    pExecutor->Start();
    EXPECT_TRUE(pSerializer->Serialize(pExecutor, pFile));
    pExecutor->Stop();
    pFile->SeekStart(0);
    const Ptr<Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();

    ASSERT_NE(pLoaded, nullptr);
    ThreadExecutor* const pCopy = static_cast<ThreadExecutor*>(static_cast<Object*>(pLoaded));
    EXPECT_FALSE(pCopy->IsRunning());
    EXPECT_EQ(pCopy->GetExecutableArg(), Value(0));
    EXPECT_EQ(pCopy->GetSleep(), 10);
    EXPECT_EQ(pCopy->GetExecutable()->GetClassName(), String("Adder"));
}
