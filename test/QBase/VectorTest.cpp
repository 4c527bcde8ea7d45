#include "QBase/Vector2.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"
#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/GlmComparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <limits>

namespace QBase
{
namespace
{

constexpr float infinity = Math<float>::Infinity;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

template <typename Vector>
constexpr bool isPlain = std::is_trivially_copyable_v<Vector>&& std::is_standard_layout_v<Vector> &&
                         !std::is_polymorphic_v<Vector>;

TEST(VectorTest, TheRecordsArePlainAndOfFixedLayout)
{
    static_assert(isPlain<Vector2> && isPlain<Vector3> && isPlain<Vector4>);
    static_assert(isPlain<Vector2i> && isPlain<Vector3i> && isPlain<Vector4i>);
    static_assert(sizeof(Vector2) == 8 && sizeof(Vector3) == 12 && sizeof(Vector4) == 16);
    static_assert(sizeof(Vector2i) == 8 && sizeof(Vector3i) == 12 && sizeof(Vector4i) == 16);
    static_assert(offsetof(Vector4, x) == 0 && offsetof(Vector4, y) == 4 && offsetof(Vector4, z) == 8 &&
                  offsetof(Vector4, w) == 12);
}

TEST(VectorTest, ADefaultVectorIsZero)
{
    static_assert(Vector2() == Vector2(0, 0) && Vector3() == Vector3(0, 0, 0) &&
                  Vector4() == Vector4(0, 0, 0, 0));
    static_assert(Vector2i() == Vector2i(0, 0) && Vector3i() == Vector3i(0, 0, 0));
}

TEST(VectorTest, VectorsAreBuiltFromShorterOnesAndTakenApart)
{
    static_assert(Vector3(Vector2(1, 2), 3) == Vector3(1, 2, 3) &&
                  Vector3(1, 2, 3).ToVector2() == Vector2(1, 2));
    static_assert(Vector4(Vector3(1, 2, 3), 4) == Vector4(1, 2, 3, 4));
    static_assert(Vector4(1, 2, 3, 4).ToVector3() == Vector3(1, 2, 3));
    static_assert(Vector3(7) == Vector3(7, 7, 7));
    static_assert(Vector2::UnitY() == Vector2(0, 1) && Vector4::UnitW() == Vector4(0, 0, 0, 1));
}

TEST(VectorTest, EqualityIsThatOfPlainNumbers)
{
    static_assert(Vector2(0.0f, 1.0f) == Vector2(-0.0f, 1.0f) && Vector3i(1, 2, 3) != Vector3i(1, 2, 4));
    EXPECT_FALSE(Vector2(notANumber, 0) == Vector2(notANumber, 0));
}

TEST(VectorTest, ConversionToIntegersSaturatesAndCutsOff)
{
    static_assert(Vector3i(Vector3(-1.9f, 3e10f, 2.5f)) == Vector3i(-1, INT_MAX, 2));
    static_assert(Vector2(Vector2i(3, -4)) == Vector2(3.0f, -4.0f));
    EXPECT_EQ(Vector4i(Vector4(notANumber, -infinity, infinity, 0)), Vector4i(0, INT_MIN, INT_MAX, 0));
}

TEST(VectorTest, AnIndexNamesTheComponents)
{
    constexpr Vector4i vector(10, 11, 12, 13);
    static_assert(vector[0] == 10 && vector[1] == 11 && vector[2] == 12 && vector[3] == 13);
    Vector3 changed(1, 2, 3);
    changed[2] = 9;
    EXPECT_EQ(changed, Vector3(1, 2, 9));
    Vector2 flat(1, 2);
    flat[0] += 4;
    EXPECT_EQ(flat, Vector2(5, 2));
}

TEST(VectorDeathTest, AnIndexOutsideAsserts)
{
    EXPECT_ASSERTION(static_cast<void>(Vector2()[-1]), "index >= 0 && index < 2");
    EXPECT_ASSERTION(static_cast<void>(Vector3()[3]), "index >= 0 && index < 3");
    EXPECT_ASSERTION(static_cast<void>(Vector4()[4]), "index >= 0 && index < 4");
    EXPECT_ASSERTION(static_cast<void>(Vector3i(1, 2, 3) / 0), "divisor != 0");
}

TEST(VectorTest, AnIndexOutsideGivesTheLastComponentWhenResumed)
{
    CapturedMessages messages;
    ResumedAssertions resumed;
    EXPECT_EQ(Vector2(1, 2)[-1], 2.0f);
    EXPECT_EQ(Vector3(1, 2, 3)[INT_MAX], 3.0f);
    EXPECT_EQ(Vector4(1, 2, 3, 4)[INT_MIN], 4.0f);
    EXPECT_EQ(resumed.GetCount(), 3);
    EXPECT_EQ(messages.TakeAll().size(), 3u);
}

TEST(VectorTest, OperatorsWorkComponentByComponent)
{
    static_assert(Vector3(1, 2, 3) + Vector3(4, 5, 6) == Vector3(5, 7, 9));
    static_assert(Vector3(1, 2, 3) - Vector3(4, 6, 8) == Vector3(-3, -4, -5));
    static_assert(Vector3(1, 2, 3) * Vector3(4, 5, 6) == Vector3(4, 10, 18));
    static_assert(Vector3(8, 9, 10) / Vector3(4, 3, 2) == Vector3(2, 3, 5));
    static_assert(2 * Vector2(1, 2) == Vector2(1, 2) * 2 && -Vector2(1, 2) == Vector2(-1, -2));
    static_assert(Vector4i(7, -7, 1, 0) / 2 == Vector4i(3, -3, 0, 0));
    static_assert(Vector2i(INT_MIN, 4) / -1 == Vector2i(INT_MAX, -4));
    Vector4 sum(1, 2, 3, 4);
    sum += Vector4(1);
    sum *= 2;
    sum -= Vector4(2);
    sum /= 2;
    EXPECT_EQ(sum, Vector4(1, 2, 3, 4));
}

TEST(VectorTest, CrossFollowsTheRightHand)
{
    static_assert(Vector3::UnitX().Cross(Vector3::UnitY()) == Vector3::UnitZ());
    static_assert(Vector3i(1, 2, 3).Cross(Vector3i(4, 5, 6)) == Vector3i(-3, 6, -3));
    static_assert(Vector2::UnitX().Cross(Vector2::UnitY()) == 1);
    static_assert(Vector2::UnitX().Perpendicular() == Vector2::UnitY());
    static_assert(Vector4i(1, 2, 3, 4).Dot(Vector4i(5, 6, 7, 8)) == 70 &&
                  Vector3i(1, -2, 2).LengthSquared() == 9);
}

TEST(VectorTest, MinMaxClampAndLerpServeEachComponent)
{
    static_assert(Vector2i::Min(Vector2i(1, 5), Vector2i(3, 2)) == Vector2i(1, 2));
    static_assert(Vector3::Max(Vector3(1, 5, 0), Vector3(3, 2, -1)) == Vector3(3, 5, 0));
    static_assert(Vector4i::Clamp(Vector4i(-5, 5, 15, 0), Vector4i(0), Vector4i(10)) ==
                  Vector4i(0, 5, 10, 0));
    static_assert(Vector2::Lerp(Vector2(0, 10), Vector2(10, 30), 0.25f) == Vector2(2.5f, 15));
    static_assert(Vector3::Lerp(Vector3(1e8f), Vector3(1), 1) == Vector3(1));
    static_assert(Vector3i(-1, 2, INT_MIN).Abs() == Vector3i(1, 2, INT_MAX));
    static_assert(Vector3(1, -4, 3).LargestComponent() == 4);
}

TEST(VectorTest, LengthIsRightForComponentsOfAnySize)
{
    EXPECT_EQ(Vector2(3, 4).Length(), 5.0f);
    EXPECT_FLOAT_EQ(Vector2(3e30f, 4e30f).Length(), 5e30f);
    EXPECT_FLOAT_EQ(Vector3(2e-30f, 3e-30f, 6e-30f).Length(), 7e-30f);
    EXPECT_EQ(Vector4().Length(), 0.0f);
    EXPECT_EQ(Vector3(1, infinity, 2).Length(), infinity);
    EXPECT_TRUE(Math<float>::IsNan(Vector2(notANumber, 1).Length()));
    EXPECT_TRUE(Math<float>::IsNan(Vector2(1, notANumber).Length()));
    EXPECT_EQ(Vector3(1, 2, 3).DistanceTo(Vector3(3, 5, 9)), 7.0f);
}

TEST(VectorTest, NormalisingKeepsTheDirectionOfAnySize)
{
    EXPECT_TRUE(Vector2(3e30f, 4e30f).Normalised().IsNear(Vector2(0.6f, 0.8f)));
    EXPECT_TRUE(Vector3(0, -3e-38f, 4e-38f).Normalised().IsNear(Vector3(0, -0.6f, 0.8f)));
    EXPECT_EQ(Vector2(std::numeric_limits<float>::denorm_min(), 0).Normalised(), Vector2(1, 0));
    EXPECT_EQ(Vector4(0, 0, 2, 0).Normalised(), Vector4::UnitZ());
}

TEST(VectorTest, AVectorWithoutDirectionNormalisesToTheFallback)
{
    EXPECT_EQ(Vector3().Normalised(), Vector3());
    EXPECT_EQ(Vector3().Normalised(Vector3::UnitX()), Vector3::UnitX());
    EXPECT_EQ(Vector2(infinity, 1).Normalised(), Vector2());
    EXPECT_EQ(Vector2(1, notANumber).Normalised(), Vector2());

    Vector3 zero;
    EXPECT_FALSE(zero.Normalise());
    EXPECT_EQ(zero, Vector3());
    Vector2 endless(infinity, 1);
    EXPECT_FALSE(endless.Normalise());
    EXPECT_EQ(endless, Vector2(infinity, 1));
    Vector2 good(0, 5);
    EXPECT_TRUE(good.Normalise());
    EXPECT_EQ(good, Vector2(0, 1));
}

TEST(VectorTest, AnglesKeepTheirDigitsWhenSmall)
{
    EXPECT_NEAR(Vector3(1, 0, 0).AngleTo(Vector3(1, 1e-5f, 0)), 1e-5f, 1e-10f);
    EXPECT_FLOAT_EQ(Vector3(2, 0, 0).AngleTo(Vector3(-3, 0, 0)), Math<float>::Pi);
    EXPECT_EQ(Vector3().AngleTo(Vector3(1, 0, 0)), 0.0f);
    EXPECT_FLOAT_EQ(Vector2(0, 2).Angle(), Math<float>::HalfPi);
    EXPECT_FLOAT_EQ(Vector2(0, 2).AngleTo(Vector2(3, 0)), -Math<float>::HalfPi);
    EXPECT_TRUE(Vector2(2, 0).Rotated(Math<float>::HalfPi).IsNear(Vector2(0, 2)));
}

TEST(VectorTest, ProjectionAndReflectionSplitAVector)
{
    EXPECT_EQ(Vector3(1, 2, 3).ProjectedOnto(Vector3(0, 10, 0)), Vector3(0, 2, 0));
    EXPECT_EQ(Vector3(1, 2, 3).ProjectedOnto(Vector3()), Vector3());
    static_assert(Vector2(1, -1).Reflected(Vector2::UnitY()) == Vector2(1, 1));
}

TEST(VectorTest, IsNearComparesEachComponent)
{
    static_assert(Vector3(1, 2, 3).IsNear(Vector3(1, 2, 3.000001f)) &&
                  !Vector3(1, 2, 3).IsNear(Vector3(1, 2, 3.1f)));
    static_assert(Vector2(1, 2).IsNear(Vector2(1.1f, 2), 0.2f));
    static_assert(Vector4(1, 2, 3, 4).IsFinite());
    EXPECT_FALSE(Vector4(1, 2, 3, infinity).IsFinite());
    EXPECT_FALSE(Vector3(notANumber, 2, 3).IsFinite());
}

TEST(VectorTest, AnyPerpendicularIsAUnitVectorAtARightAngle)
{
    Random random(1);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 vector = random.Vector3();
        const Vector3 perpendicular = vector.AnyPerpendicular();
        EXPECT_NEAR(perpendicular.Length(), 1, 1e-6);
        EXPECT_NEAR(perpendicular.Dot(vector), 0, 1e-5);
    }
    EXPECT_EQ(Vector3::UnitX().AnyPerpendicular().Dot(Vector3::UnitX()), 0.0f);
    EXPECT_EQ(Vector3::UnitZ().AnyPerpendicular().Length(), 1.0f);
    EXPECT_EQ(Vector3().AnyPerpendicular(), Vector3::UnitX());
}

TEST(VectorTest, AgreesWithGlmOnRandomVectors)
{
    Random random(2);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector2 a2 = random.Vector2(), b2 = random.Vector2();
        const Vector3 a3 = random.Vector3(), b3 = random.Vector3();
        const Vector4 a4 = random.Vector4(), b4 = random.Vector4();
        const float t = random.Number(0, 1);
        EXPECT_TRUE(IsNearGlm(a2 + b2 * t, ToGlm(a2) + ToGlm(b2) * t));
        EXPECT_TRUE(IsNearGlm(a3 * b3 - a3 / t, ToGlm(a3) * ToGlm(b3) - ToGlm(a3) / t));
        EXPECT_NEAR(a2.Dot(b2), glm::dot(ToGlm(a2), ToGlm(b2)), 1e-4);
        EXPECT_NEAR(a3.Dot(b3), glm::dot(ToGlm(a3), ToGlm(b3)), 1e-4);
        EXPECT_NEAR(a4.Dot(b4), glm::dot(ToGlm(a4), ToGlm(b4)), 1e-4);
        EXPECT_TRUE(IsNearGlm(a3.Cross(b3), glm::cross(ToGlm(a3), ToGlm(b3))));
        EXPECT_TRUE(IsNearGlm(a4.Length(), glm::length(ToGlm(a4))));
        EXPECT_TRUE(IsNearGlm(a3.DistanceTo(b3), glm::distance(ToGlm(a3), ToGlm(b3))));
        EXPECT_TRUE(IsNearGlm(a2.Normalised(), glm::normalize(ToGlm(a2))));
        EXPECT_TRUE(IsNearGlm(a3.Normalised(), glm::normalize(ToGlm(a3))));
        EXPECT_TRUE(IsNearGlm(a4.Normalised(), glm::normalize(ToGlm(a4))));
        EXPECT_TRUE(IsNearGlm(Vector4::Lerp(a4, b4, t), glm::mix(ToGlm(a4), ToGlm(b4), t)));
        EXPECT_TRUE(IsNearGlm(Vector4::Min(a4, b4), glm::min(ToGlm(a4), ToGlm(b4)), 0));
        EXPECT_TRUE(IsNearGlm(Vector3::Max(a3, b3), glm::max(ToGlm(a3), ToGlm(b3)), 0));
        const Vector3 normal = b3.Normalised();
        EXPECT_TRUE(IsNearGlm(a3.Reflected(normal), glm::reflect(ToGlm(a3), ToGlm(normal))));
    }
}

template <typename Vector>
concept HasLength = requires(Vector vector)
{
    vector.Length();
};

TEST(VectorTest, IntegerVectorsHaveNoRoots)
{
    static_assert(HasLength<Vector2> && HasLength<Vector3> && HasLength<Vector4> &&
                  HasLength<Vector3T<double>>);
    static_assert(!HasLength<Vector2i> && !HasLength<Vector3i> && !HasLength<Vector4i>);
}

} // namespace
} // namespace QBase
