#include "QBase/Timer.h"

#include "QBase/TimerClock.h"

#include <gtest/gtest.h>

#include <vector>

using namespace QBase;

namespace
{

// A clock that reads what the test wrote down.
class TimerTest : public testing::Test
{
protected:
    TimerTest()
    {
        spScript = &mScript;
        SetClockHook([] {
            const std::uint32_t reading = spScript->front();
            spScript->erase(spScript->begin());
            return reading;
        });
    }
    ~TimerTest() override { SetClockHook(nullptr); }

    void TickAt(std::uint32_t reading)
    {
        mScript = {reading};
        mpTimer->Execute(Value::Null);
        EXPECT_TRUE(mScript.empty()); // read exactly once
    }

    std::vector<std::uint32_t> mScript;
    Ptr<Timer> mpTimer = Timer::Construct(Value::Null);

    inline static std::vector<std::uint32_t>* spScript = nullptr;
};

} // namespace

TEST_F(TimerTest, AnswersZeroBeforeAndAfterTheFirstTick)
{
    EXPECT_EQ(mpTimer->GetDt(), 0);
    EXPECT_EQ(mpTimer->GetTime(), 0);
    TickAt(12345);
    EXPECT_EQ(mpTimer->GetDt(), 0);
    EXPECT_EQ(mpTimer->GetTime(), 0);
}

TEST_F(TimerTest, MeasuresTheTimeSinceThePreviousAndTheFirstTick)
{
    TickAt(1000);
    TickAt(1020);
    EXPECT_EQ(mpTimer->GetDt(), 20);
    EXPECT_EQ(mpTimer->GetTime(), 20);
    TickAt(1050);
    EXPECT_EQ(mpTimer->GetDt(), 30);
    EXPECT_EQ(mpTimer->GetTime(), 50);
}

TEST_F(TimerTest, AFirstReadingOfZeroLeavesTheTimerUnstarted)
{
    TickAt(0);
    TickAt(5); // starts it
    EXPECT_EQ(mpTimer->GetDt(), 0);
    EXPECT_EQ(mpTimer->GetTime(), 0);
    TickAt(0xFFFFFFF0u);
    EXPECT_EQ(mpTimer->GetDt(), -21); // 0xFFFFFFEB
    EXPECT_EQ(mpTimer->GetTime(), -21);
    TickAt(0x10);
    EXPECT_EQ(mpTimer->GetDt(), 0x20);
    EXPECT_EQ(mpTimer->GetTime(), 11);
}

TEST_F(TimerTest, DifferencesStayRightAcrossTheWrapOfTheClock)
{
    TickAt(0xFFFFFFF0u);
    TickAt(0); // a later reading of 0 does not start it again
    EXPECT_EQ(mpTimer->GetDt(), 16);
    TickAt(0x10);
    EXPECT_EQ(mpTimer->GetDt(), 16);
    EXPECT_EQ(mpTimer->GetTime(), 32);
}

TEST_F(TimerTest, AnswersStayTheSameBetweenTicks)
{
    TickAt(1);
    TickAt(8);
    mScript = {100};
    EXPECT_EQ(mpTimer->GetDt(), 7);
    EXPECT_EQ(mpTimer->GetTime(), 7);
    EXPECT_EQ(mScript.size(), 1u);
}

TEST_F(TimerTest, AClonedTimerGoesOnFromTheSameTicks)
{
    TickAt(100);
    TickAt(130);
    Timer* const pClone = mpTimer->Clone();
    mScript = {150};
    pClone->Execute(Value::Null);

    EXPECT_EQ(pClone->GetDt(), 20);
    EXPECT_EQ(pClone->GetTime(), 50);
    EXPECT_EQ(mpTimer->GetTime(), 30);
    delete pClone;
}

TEST_F(TimerTest, IsDrivenAndReadByCalls)
{
    mScript = {10, 25};
    mpTimer->Call("Execute");
    mpTimer->Call("Execute");

    EXPECT_EQ(mpTimer->Call("GetDt"), Value(15));
    EXPECT_EQ(mpTimer->Call("GetTime"), Value(15));
}

TEST(TimerClockTest, TheSystemsClockDoesNotGoBack)
{
    const Ptr<Timer> pTimer = Timer::Construct(Value::Null);
    for (int i = 0; i < 10000; ++i) {
        pTimer->Execute(Value::Null);
        ASSERT_GE(pTimer->GetDt(), 0);
    }
    EXPECT_GE(pTimer->GetTime(), 0);
}
