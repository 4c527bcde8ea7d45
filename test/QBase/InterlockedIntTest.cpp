#include "QBase/InterlockedInt.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>

using namespace QBase;

TEST(InterlockedIntTest, StartsAtTheGivenValueAndAtZeroWithoutOne)
{
    EXPECT_EQ(InterlockedInt(-7).Value(), -7);
    EXPECT_EQ(InterlockedInt().Value(), 0);
}

TEST(InterlockedIntTest, IncrementAndDecrementReturnTheNewValue)
{
    InterlockedInt count(0);

    EXPECT_EQ(count.Increment(), 1);
    EXPECT_EQ(count.Decrement(), 0);
    EXPECT_EQ(count.Decrement(), -1);
    EXPECT_EQ(count.Value(), -1);
}

TEST(InterlockedIntTest, DecrementUnlessLastStopsAtOneAndChangesNothingThere)
{
    InterlockedInt count(3);

    EXPECT_TRUE(count.DecrementUnlessLast());
    EXPECT_TRUE(count.DecrementUnlessLast());
    EXPECT_EQ(count.Value(), 1);
    for (const int last : {1, 0, -1, INT_MIN}) {
        InterlockedInt other(last);
        EXPECT_FALSE(other.DecrementUnlessLast());
        EXPECT_EQ(other.Value(), last);
    }
}

TEST(InterlockedIntTest, DecrementUnlessLastLetsTwoThreadsTakeEverythingButTheLast)
{
    InterlockedInt count(100001);
    InterlockedInt taken(0);
    const auto take = [&] {
        while (count.DecrementUnlessLast()) {
            taken.Increment();
        }
    };

    std::thread other(take);
    take();
    other.join();

    EXPECT_EQ(count.Value(), 1);
    EXPECT_EQ(taken.Value(), 100000);
}

TEST(InterlockedIntTest, IncrementUnlessZeroLeavesZeroAlone)
{
    InterlockedInt nothing(0);
    EXPECT_FALSE(nothing.IncrementUnlessZero());
    EXPECT_EQ(nothing.Value(), 0);
    InterlockedInt count(1);
    EXPECT_TRUE(count.IncrementUnlessZero());
    EXPECT_EQ(count.Value(), 2);
}

TEST(InterlockedIntTest, WrapsAroundAtTheEndsOfTheRange)
{
    EXPECT_EQ(InterlockedInt(INT_MAX).Increment(), INT_MIN);
    EXPECT_EQ(InterlockedInt(INT_MIN).Decrement(), INT_MAX);
}

TEST(InterlockedIntTest, CopiesTakeTheValueAndCountOnTheirOwn)
{
    InterlockedInt first(5);
    InterlockedInt copied(first);
    InterlockedInt assigned(0);
    assigned = first;

    first.Increment();

    EXPECT_EQ(copied.Value(), 5);
    EXPECT_EQ(assigned.Value(), 5);
}

TEST(InterlockedIntTest, LosesNoStepOfTwoThreads)
{
    InterlockedInt count(0);
    auto countUp = [&count] {
        for (int i = 0; i < 100000; ++i)
            count.Increment();
    };

    std::thread other(countUp);
    countUp();
    other.join();

    EXPECT_EQ(count.Value(), 200000);
}

TEST(InterlockedIntTest, LetsExactlyOneOfTwoThreadsSeeTheLastDecrement)
{
    for (int round = 0; round < 500; ++round) {
        InterlockedInt count(2);
        int firstHalf = 0; // written by each thread before its decrement, read by the one that is last
        int secondHalf = 0;
        InterlockedInt last(0);
        auto drop = [&](int& half) {
            half = 1;
            if (count.Decrement() == 0) {
                last.Increment();
                EXPECT_EQ(firstHalf + secondHalf, 2);
            }
        };

        std::thread other([&] { drop(firstHalf); });
        drop(secondHalf);
        other.join();

        ASSERT_EQ(last.Value(), 1);
    }
}
