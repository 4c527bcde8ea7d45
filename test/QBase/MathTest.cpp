#include "QBase/Math.h"
#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>

namespace QBase
{
namespace
{

using testing::EndsWith;
using testing::StartsWith;

constexpr float infinity = Math<float>::Infinity;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(MathTest, SqrtOfANegativeNumberReportsAndAnswersZero)
{
    CapturedMessages messages;
    EXPECT_EQ(Math<float>::Sqrt(-1.0f), 0.0f);
    const std::string error = messages.TakeError();
    EXPECT_THAT(error, StartsWith("ERROR: QBase/Math (line "));
    EXPECT_THAT(error, EndsWith("): Negative input to Sqrt"));

    EXPECT_EQ(Math<double>::Sqrt(-1e-300), 0.0);
    EXPECT_THAT(messages.TakeError(), EndsWith("): Negative input to Sqrt"));
}

TEST(MathTest, SqrtOfOtherNumbersReportsNothing)
{
    CapturedMessages messages;
    EXPECT_EQ(Math<float>::Sqrt(9.0f), 3.0f);
    EXPECT_EQ(Math<double>::Sqrt(2.25), 1.5);
    EXPECT_EQ(Math<float>::Sqrt(0.0f), 0.0f);
    EXPECT_TRUE(std::signbit(Math<float>::Sqrt(-0.0f)));
    EXPECT_EQ(Math<float>::Sqrt(infinity), infinity);
    EXPECT_TRUE(Math<float>::IsNan(Math<float>::Sqrt(notANumber)));
}

TEST(MathTest, LogOfANumberThatIsNotPositiveReportsAndAnswersZero)
{
    CapturedMessages messages;
    for (float value : {0.0f, -0.0f, -1.0f, -infinity}) {
        EXPECT_EQ(Math<float>::Log(value), 0.0f);
        const std::string error = messages.TakeError();
        EXPECT_THAT(error, StartsWith("ERROR: QBase/Math (line "));
        EXPECT_THAT(error, EndsWith("): Nonpositive input to Log"));
    }
    EXPECT_EQ(Math<double>::Log(0), 0.0);
    EXPECT_THAT(messages.TakeError(), EndsWith("): Nonpositive input to Log"));
}

TEST(MathTest, LogOfOtherNumbersReportsNothing)
{
    CapturedMessages messages;
    EXPECT_EQ(Math<float>::Log(1.0f), 0.0f);
    EXPECT_NEAR(Math<double>::Log(Math<double>::E), 1.0, 1e-15);
    EXPECT_TRUE(Math<float>::IsNan(Math<float>::Log(notANumber)));
}

TEST(MathTest, MinAndMaxTakeTheFirstOfEquals)
{
    static_assert(Math<int>::Min(2, 3) == 2 && Math<int>::Max(2, 3) == 3);
    static_assert(Math<float>::Min(-1.5f, 2.5f) == -1.5f && Math<float>::Max(-1.5f, 2.5f) == 2.5f);
    EXPECT_TRUE(std::signbit(Math<float>::Min(-0.0f, 0.0f)));
    EXPECT_FALSE(std::signbit(Math<float>::Max(0.0f, -0.0f)));
    EXPECT_EQ(Math<float>::Min(1.0f, notANumber), 1.0f);
    EXPECT_TRUE(Math<float>::IsNan(Math<float>::Max(notANumber, 1.0f)));
}

TEST(MathTest, ClampMovesIntoTheRangeAndKeepsNan)
{
    static_assert(Math<int>::Clamp(-5, 0, 10) == 0 && Math<int>::Clamp(15, 0, 10) == 10);
    static_assert(Math<double>::Clamp(5.0, 0.0, 10.0) == 5.0);
    EXPECT_TRUE(Math<float>::IsNan(Math<float>::Clamp(notANumber, 0.0f, 1.0f)));
}

TEST(MathTest, AbsOfTheLowestIntegerIsTheHighest)
{
    static_assert(Math<int>::Abs(INT_MIN) == INT_MAX && Math<int>::Abs(-7) == 7);
    static_assert(Math<unsigned>::Abs(7u) == 7u);
    EXPECT_FALSE(std::signbit(Math<float>::Abs(-0.0f)));
    EXPECT_EQ(Math<float>::Abs(-infinity), infinity);
}

TEST(MathTest, SignIsOfThreeKinds)
{
    static_assert(Math<int>::Sign(-7) == -1 && Math<float>::Sign(0.0f) == 0 &&
                  Math<double>::Sign(1e-300) == 1);
    EXPECT_EQ(Math<float>::Sign(notANumber), 0.0f);
}

TEST(MathTest, TheIntegerQuotientThatDoesNotFitIsTheHighestInteger)
{
    static_assert(Math<int>::Divide(INT_MIN, -1) == INT_MAX && Math<int>::Divide(-7, 2) == -3);
    EXPECT_EQ(Math<float>::Divide(1.0f, 0.0f), infinity);
}

TEST(MathDeathTest, DividingAnIntegerByZeroAsserts)
{
    EXPECT_ASSERTION(Math<int>::Divide(1, 0), "divisor != 0");
}

TEST(MathTest, DividingAnIntegerByZeroGivesZeroWhenResumed)
{
    CapturedMessages messages;
    ResumedAssertions resumed;
    EXPECT_EQ(Math<int>::Divide(1, 0), 0);
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( divisor != 0 )"));
}

TEST(MathTest, ConvertSaturatesAndCutsOffFractions)
{
    static_assert(Math<int>::Convert(-2.9f) == -2 && Math<int>::Convert(2.9) == 2);
    static_assert(Math<int>::Convert(3e9f) == INT_MAX && Math<int>::Convert(-3e9) == INT_MIN);
    static_assert(Math<int>::Convert(2147483520.0f) == 2147483520 &&
                  Math<int>::Convert(2147483648.0f) == INT_MAX);
    static_assert(Math<int>::Convert(2147483647.0) == INT_MAX &&
                  Math<int>::Convert(-2147483648.0) == INT_MIN);
    static_assert(Math<unsigned>::Convert(-1) == 0u && Math<int>::Convert(4000000000u) == INT_MAX);
    static_assert(Math<float>::Convert(3) == 3.0f);
    EXPECT_EQ(Math<int>::Convert(notANumber), 0);
    EXPECT_EQ(Math<int>::Convert(infinity), INT_MAX);
}

TEST(MathTest, AsinAndAcosForgiveRoundingPastTheEnds)
{
    EXPECT_EQ(Math<float>::Acos(1.0000001f), 0.0f);
    EXPECT_FLOAT_EQ(Math<float>::Acos(-1.0000001f), Math<float>::Pi);
    EXPECT_FLOAT_EQ(Math<float>::Asin(1.0000001f), Math<float>::HalfPi);
    EXPECT_DOUBLE_EQ(Math<double>::Acos(0.5), Math<double>::Pi / 3);
}

TEST(MathTest, AnglesAreRadians)
{
    static_assert(Math<double>::IsNear(Math<double>::ToRadians(180), Math<double>::Pi));
    static_assert(Math<float>::IsNear(Math<float>::ToDegrees(Math<float>::HalfPi), 90));
    EXPECT_NEAR(Math<double>::Sin(Math<double>::ToRadians(30)), 0.5, 1e-15);
    EXPECT_NEAR(Math<double>::Tan(Math<double>::ToRadians(45)), 1.0, 1e-15);
    EXPECT_NEAR(Math<double>::Cos(Math<double>::ToRadians(60)), 0.5, 1e-15);
    EXPECT_DOUBLE_EQ(Math<double>::Atan2(1, -1), Math<double>::ToRadians(135));
    EXPECT_DOUBLE_EQ(Math<double>::Atan(1), Math<double>::ToRadians(45));
}

TEST(MathTest, WrapAngleKeepsTheDirection)
{
    for (int i = -80; i < 80; ++i) {
        const double angle = i * 0.37;
        const double wrapped = Math<double>::WrapAngle(angle);
        EXPECT_LE(Math<double>::Abs(wrapped), Math<double>::Pi);
        EXPECT_NEAR(std::sin(wrapped), std::sin(angle), 1e-13);
        EXPECT_NEAR(std::cos(wrapped), std::cos(angle), 1e-13);
    }
}

TEST(MathTest, ModTakesTheSignOfTheStep)
{
    EXPECT_EQ(Math<float>::Mod(7, 3), 1.0f);
    EXPECT_EQ(Math<float>::Mod(-1, 3), 2.0f);
    EXPECT_EQ(Math<float>::Mod(1, -3), -2.0f);
    EXPECT_EQ(Math<float>::Mod(-6, 3), 0.0f);
    EXPECT_TRUE(Math<float>::IsNan(Math<float>::Mod(1, 0)));
}

TEST(MathTest, RoundingPowersAndExponentialsAreThoseOfTheCLibrary)
{
    EXPECT_EQ(Math<float>::Floor(-1.5f), -2.0f);
    EXPECT_EQ(Math<float>::Ceil(-1.5f), -1.0f);
    EXPECT_EQ(Math<float>::Round(-1.5f), -2.0f);
    EXPECT_EQ(Math<float>::Round(2.4f), 2.0f);
    EXPECT_DOUBLE_EQ(Math<double>::Exp(1), Math<double>::E);
    EXPECT_EQ(Math<float>::Pow(2, 10), 1024.0f);
}

TEST(MathTest, LerpHitsBothEndsExactly)
{
    static_assert(Math<float>::Lerp(1e8f, 1.0f, 1.0f) == 1.0f && Math<float>::Lerp(1e8f, 1.0f, 0.0f) == 1e8f);
    static_assert(Math<float>::Lerp(2.0f, 4.0f, 0.5f) == 3.0f && Math<float>::Lerp(2.0f, 4.0f, 2.0f) == 6.0f);
}

TEST(MathTest, SmoothStepIsFlatAtBothEnds)
{
    static_assert(Math<float>::SmoothStep(0, 2, -1) == 0 && Math<float>::SmoothStep(0, 2, 3) == 1);
    static_assert(Math<float>::SmoothStep(0, 2, 1) == 0.5f);
    static_assert(Math<float>::SmoothStep(1, 1, 0.5f) == 0 && Math<float>::SmoothStep(1, 1, 2) == 1);
    EXPECT_LT(Math<double>::SmoothStep(0, 1, 0.001), 0.00001);
}

TEST(MathTest, IsNearIsAbsoluteUpToOneAndRelativeAbove)
{
    static_assert(Math<float>::IsNear(1e-9f, 0.0f) && !Math<float>::IsNear(1e-3f, 0.0f));
    static_assert(Math<float>::IsNear(1e9f, 1e9f + 1000.0f) && !Math<float>::IsNear(1e9f, 1.001e9f));
    static_assert(Math<float>::IsNear(1.0f, 1.4f, 0.5f));
    EXPECT_TRUE(Math<float>::IsNear(infinity, infinity));
    EXPECT_FALSE(Math<float>::IsNear(infinity, -infinity));
    EXPECT_FALSE(Math<float>::IsNear(infinity, 1.0f));
    EXPECT_FALSE(Math<float>::IsNear(notANumber, notANumber));
    EXPECT_FALSE(Math<float>::IsNear(Math<float>::Largest, -Math<float>::Largest));
}

TEST(MathTest, IsFiniteKnowsInfinityAndNan)
{
    static_assert(Math<float>::IsFinite(Math<float>::Largest) && !Math<float>::IsFinite(infinity));
    EXPECT_FALSE(Math<float>::IsFinite(notANumber));
    EXPECT_TRUE(Math<float>::IsNan(notANumber));
    EXPECT_FALSE(Math<float>::IsNan(infinity));
}

template <typename T>
concept HasSqrt = requires(T value)
{
    Math<T>::Sqrt(value);
};

TEST(MathTest, IntegersHaveNoRoots)
{
    static_assert(HasSqrt<float> && HasSqrt<double> && !HasSqrt<int>);
}

} // namespace
} // namespace QBase
