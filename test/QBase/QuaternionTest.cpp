#include "QBase/Quaternion.h"
#include "Support/GlmComparison.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

namespace QBase
{
namespace
{

constexpr float quarter = Math<float>::HalfPi;

TEST(QuaternionTest, TheRecordIsPlainInTheOrderXyzw)
{
    static_assert(sizeof(Quaternion) == 16 && std::is_trivially_copyable_v<Quaternion> &&
                  std::is_standard_layout_v<Quaternion>);
    static_assert(offsetof(Quaternion, x) == 0 && offsetof(Quaternion, y) == 4 &&
                  offsetof(Quaternion, z) == 8 && offsetof(Quaternion, w) == 12);
}

TEST(QuaternionTest, ADefaultQuaternionIsZeroAndTheIdentityIsNot)
{
    static_assert(Quaternion() == Quaternion(0, 0, 0, 0));
    static_assert(Quaternion::Identity() == Quaternion(0, 0, 0, 1));
}

TEST(QuaternionTest, TheUnitsMultiplyAsHamiltonCarvedThem)
{
    constexpr Quaternion i(1, 0, 0, 0), j(0, 1, 0, 0), k(0, 0, 1, 0), minusOne(0, 0, 0, -1);
    static_assert(i * i == minusOne && j * j == minusOne && k * k == minusOne && i * j * k == minusOne);
    static_assert(i * j == k && j * k == i && k * i == j && j * i == -k);
}

TEST(QuaternionTest, APositiveAngleTurnsCounterClockwise)
{
    const Quaternion turn = Quaternion::FromAxisAngle(Vector3(0, 0, 5), quarter);
    EXPECT_TRUE(turn.Rotate(Vector3::UnitX()).IsNear(Vector3::UnitY()));
    EXPECT_TRUE(turn.Rotate(Vector3::UnitY()).IsNear(-Vector3::UnitX()));
    static_assert(Quaternion(1, 0, 0, 0).Rotate(Vector3(1, 2, 3)) == Vector3(1, -2, -3));
}

TEST(QuaternionTest, AProductAppliesItsRightFactorFirst)
{
    const Quaternion turn = Quaternion::FromAxisAngle(Vector3::UnitZ(), quarter);
    const Quaternion tilt = Quaternion::FromAxisAngle(Vector3::UnitX(), quarter);
    EXPECT_TRUE((tilt * turn).Rotate(Vector3::UnitX()).IsNear(Vector3::UnitZ()));
    EXPECT_TRUE((turn * tilt).Rotate(Vector3::UnitX()).IsNear(Vector3::UnitY()));
}

TEST(QuaternionTest, AZeroAxisTurnsNothing)
{
    EXPECT_EQ(Quaternion::FromAxisAngle(Vector3(), 1), Quaternion::Identity());
    EXPECT_EQ(Quaternion::FromTo(Vector3(), Vector3::UnitX()), Quaternion::Identity());
    EXPECT_EQ(Quaternion::FromTo(Vector3::UnitX(), Vector3()), Quaternion::Identity());
}

TEST(QuaternionTest, AxisAndAngleComeBack)
{
    Random random(3);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 axis = random.Vector3().Normalised();
        const float angle = random.Number(0.01f, Math<float>::Pi - 0.01f);
        Vector3 axisBack;
        float angleBack = 0;
        Quaternion::FromAxisAngle(axis, angle).ToAxisAngle(&axisBack, &angleBack);
        EXPECT_TRUE(axisBack.IsNear(axis, 1e-4f));
        EXPECT_NEAR(angleBack, angle, 1e-5);
        (-Quaternion::FromAxisAngle(axis, angle)).ToAxisAngle(&axisBack, &angleBack);
        EXPECT_TRUE(axisBack.IsNear(axis, 1e-4f));
        EXPECT_NEAR(angleBack, angle, 1e-5);
    }
}

TEST(QuaternionTest, NoRotationHasTheXAxisAndNoAngle)
{
    for (const Quaternion& quaternion : {Quaternion(), Quaternion::Identity(), -Quaternion::Identity()}) {
        Vector3 axis;
        float angle = 7;
        quaternion.ToAxisAngle(&axis, &angle);
        EXPECT_EQ(axis, Vector3::UnitX());
        EXPECT_EQ(angle, 0.0f);
    }
}

TEST(QuaternionTest, EulerAnglesTurnAboutTheFixedAxesXThenYThenZ)
{
    const Quaternion aboutX = Quaternion::FromAxisAngle(Vector3::UnitX(), 0.3f);
    const Quaternion aboutY = Quaternion::FromAxisAngle(Vector3::UnitY(), 0.5f);
    const Quaternion aboutZ = Quaternion::FromAxisAngle(Vector3::UnitZ(), 0.7f);
    EXPECT_TRUE(Quaternion::FromEuler(Vector3(0.3f, 0.5f, 0.7f)).IsNear(aboutZ * aboutY * aboutX));
}

TEST(QuaternionTest, EulerAnglesComeBack)
{
    Random random(4);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 angles(random.Number(-3.1f, 3.1f), random.Number(-1.5f, 1.5f),
                             random.Number(-3.1f, 3.1f));
        const Quaternion rotation = Quaternion::FromEuler(angles);
        EXPECT_TRUE(IsNearGlm(rotation, glm::quat(ToGlm(angles))));
        EXPECT_TRUE(rotation.ToEuler().IsNear(angles, 2e-5f))
            << angles.x << " " << angles.y << " " << angles.z;
        EXPECT_TRUE((rotation * 7.0f).ToEuler().IsNear(angles, 2e-5f));
    }
}

TEST(QuaternionTest, TheRotationSurvivesEulerAnglesNearAQuarterTurn)
{
    Random random(5);
    for (float distance : {0.0f, 1e-7f, 1e-6f, 1e-5f, 1e-4f, 1e-3f}) {
        for (int i = 0; i < 200; ++i) {
            const float side = i % 2 ? 1.0f : -1.0f;
            const Vector3 angles(random.Number(-3, 3), side * (quarter - distance), random.Number(-3, 3));
            const Quaternion rotation = Quaternion::FromEuler(angles);
            EXPECT_TRUE(Quaternion::FromEuler(rotation.ToEuler()).IsNearRotation(rotation, 1e-5f))
                << distance << " from the quarter turn";
        }
    }
    const Vector3 locked = Quaternion::FromEuler(Vector3(0.5f, quarter, 0.2f)).ToEuler();
    EXPECT_TRUE(locked.IsNear(Vector3(0.3f, quarter, 0), 1e-5f));
    const Vector3 lockedBelow = Quaternion::FromEuler(Vector3(0.5f, -quarter, 0.2f)).ToEuler();
    EXPECT_TRUE(lockedBelow.IsNear(Vector3(0.7f, -quarter, 0), 1e-5f));
    EXPECT_EQ(Quaternion().ToEuler(), Vector3());
}

TEST(QuaternionTest, FromToTurnsOneDirectionIntoAnother)
{
    Random random(6);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 from = random.Vector3(), to = random.Vector3();
        const Quaternion turn = Quaternion::FromTo(from, to);
        EXPECT_TRUE(turn.Rotate(from.Normalised()).IsNear(to.Normalised(), 1e-5f));
        EXPECT_NEAR(turn.AngleTo(Quaternion::Identity()), from.AngleTo(to), 1e-5);
        const Quaternion back = Quaternion::FromTo(from, -from);
        EXPECT_TRUE(back.Rotate(from).IsNear(-from, 1e-5f));
        EXPECT_NEAR(back.Length(), 1, 1e-6);
    }
    EXPECT_TRUE(Quaternion::FromTo(Vector3(1, 2, 3), Vector3(2, 4, 6)).IsNear(Quaternion::Identity()));
}

TEST(QuaternionTest, InverseUndoesQuaternionsOfAnyLength)
{
    Random random(7);
    for (int i = 0; i < numRandomCases; ++i) {
        const Quaternion quaternion = random.Rotation() * random.Number(0.001f, 1000);
        EXPECT_TRUE((quaternion * quaternion.Inverse()).IsNear(Quaternion::Identity(), 1e-5f));
    }
    EXPECT_TRUE(Quaternion(0, 0, 0, 1e25f).Inverse().IsNear(Quaternion(0, 0, 0, 1e-25f)));
    EXPECT_EQ(Quaternion().Inverse(), Quaternion());
    static_assert(Quaternion(1, 2, 3, 4).Conjugate() == Quaternion(-1, -2, -3, 4));
}

TEST(QuaternionTest, NormalisingWithoutDirectionGivesTheIdentity)
{
    EXPECT_EQ(Quaternion().Normalised(), Quaternion::Identity());
    EXPECT_EQ(Quaternion(0, 0, 1e30f, 0).Normalised(), Quaternion(0, 0, 1, 0));
    EXPECT_EQ(Quaternion(Math<float>::Infinity, 0, 0, 1).Normalised(), Quaternion::Identity());
    Quaternion zero;
    EXPECT_FALSE(zero.Normalise());
    EXPECT_EQ(zero, Quaternion());
}

TEST(QuaternionTest, SlerpGoesTheShorterWayAtConstantSpeed)
{
    const Quaternion from = Quaternion::Identity();
    const Quaternion to = Quaternion::FromAxisAngle(Vector3::UnitY(), 2);
    for (float t : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}) {
        const Quaternion expected = Quaternion::FromAxisAngle(Vector3::UnitY(), 2 * t);
        EXPECT_TRUE(Quaternion::Slerp(from, to, t).IsNear(expected));
        EXPECT_TRUE(Quaternion::Slerp(from, -to, t).IsNear(expected));
    }
    const Quaternion close = Quaternion::FromAxisAngle(Vector3::UnitY(), 1e-4f);
    EXPECT_NEAR(Quaternion::Slerp(from, close, 0.5f).y, 2.5e-5f, 1e-10f);
    EXPECT_EQ(Quaternion::Slerp(from, from, 0.5f), from);
    EXPECT_EQ(Quaternion::Slerp(from, -from, 0.5f), from);
}

TEST(QuaternionTest, NlerpStaysOnTheWayOfSlerp)
{
    const Quaternion to = Quaternion::FromAxisAngle(Vector3::UnitY(), 2);
    EXPECT_TRUE(Quaternion::Nlerp(Quaternion::Identity(), -to, 0.5f)
                    .IsNear(Quaternion::FromAxisAngle(Vector3::UnitY(), 1)));
    EXPECT_NEAR(Quaternion::Nlerp(Quaternion::Identity(), to, 0.2f).Length(), 1, 1e-6);
}

TEST(QuaternionTest, AQuaternionAndItsNegativeAreTheSameRotation)
{
    constexpr Quaternion quaternion(0.5f, 0.5f, 0.5f, 0.5f);
    static_assert(quaternion != -quaternion && !quaternion.IsNear(-quaternion));
    static_assert(quaternion.IsNearRotation(-quaternion) &&
                  !quaternion.IsNearRotation(Quaternion::Identity()));
    static_assert(quaternion.IsFinite());
    EXPECT_FALSE(Quaternion(0, 0, 0, std::numeric_limits<float>::quiet_NaN()).IsFinite());
}

TEST(QuaternionTest, AgreesWithGlmOnRandomRotations)
{
    Random random(8);
    for (int i = 0; i < numRandomCases; ++i) {
        const Quaternion a = random.Rotation(), b = random.Rotation();
        const Vector3 vector = random.Vector3();
        const float angle = random.Number(-6, 6), t = random.Number(0, 1);
        EXPECT_TRUE(IsNearGlm(a * b, ToGlm(a) * ToGlm(b)));
        EXPECT_TRUE(IsNearGlm(a + b * t, ToGlm(a) + ToGlm(b) * t));
        EXPECT_TRUE(IsNearGlm(a - b / 2.0f, ToGlm(a) - ToGlm(b) / 2.0f));
        EXPECT_TRUE(IsNearGlm(a.Rotate(vector), ToGlm(a) * ToGlm(vector)));
        EXPECT_TRUE(IsNearGlm(a.Inverse(), glm::inverse(ToGlm(a))));
        EXPECT_NEAR(a.Dot(b), glm::dot(ToGlm(a), ToGlm(b)), 1e-5);
        EXPECT_TRUE(IsNearGlm(Quaternion::Slerp(a, b, t), glm::slerp(ToGlm(a), ToGlm(b), t), 3e-5f));
        EXPECT_TRUE(IsNearGlm(Quaternion::FromAxisAngle(vector, angle),
                              glm::angleAxis(angle, glm::normalize(ToGlm(vector)))));
    }
}

} // namespace
} // namespace QBase
