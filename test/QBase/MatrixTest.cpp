#include "QBase/Matrix3.h"
#include "QBase/Matrix4.h"
#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/GlmComparison.h"

#include <glm/gtc/matrix_transform.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace QBase
{
namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr float quarter = Math<float>::HalfPi;
constexpr float infinity = Math<float>::Infinity;

TEST(MatrixTest, TheRecordsArePlainAndStoredColumnAfterColumn)
{
    static_assert(sizeof(Matrix3) == 36 && sizeof(Matrix4) == 64);
    static_assert(std::is_trivially_copyable_v<Matrix3> && std::is_standard_layout_v<Matrix3>);
    static_assert(std::is_trivially_copyable_v<Matrix4> && std::is_standard_layout_v<Matrix4>);
    constexpr Matrix4 matrix = Matrix4::FromRows(Vector4(11, 12, 13, 14), Vector4(21, 22, 23, 24),
                                                 Vector4(31, 32, 33, 34), Vector4(41, 42, 43, 44));
    static_assert(matrix.elements[0] == 11 && matrix.elements[1] == 21 && matrix.elements[4] == 12 &&
                  matrix.elements[12] == 14 && matrix.elements[15] == 44);
    static_assert(matrix(0, 3) == 14 && matrix(3, 0) == 41);
    static_assert(matrix.GetRow(1) == Vector4(21, 22, 23, 24) &&
                  matrix.GetColumn(1) == Vector4(12, 22, 32, 42));
    constexpr Matrix3 small = matrix.ToMatrix3();
    static_assert(small.elements[3] == 12 && small.GetRow(2) == Vector3(31, 32, 33));
}

TEST(MatrixTest, ADefaultMatrixIsZeroAndTheIdentityChangesNothing)
{
    static_assert(Matrix4() == Matrix4::Identity() * 0.0f && Matrix3() == Matrix3::Scale(Vector3()));
    static_assert(Matrix4::Identity() * Vector4(1, 2, 3, 4) == Vector4(1, 2, 3, 4));
    static_assert(Matrix3::Identity() * Vector3(1, 2, 3) == Vector3(1, 2, 3));
}

TEST(MatrixTest, RowsColumnsAndElementsCanBeSet)
{
    Matrix3 matrix;
    matrix.SetRow(0, Vector3(1, 2, 3));
    matrix.SetColumn(2, Vector3(7, 8, 9));
    matrix(1, 0) = 5;
    EXPECT_EQ(matrix, Matrix3::FromRows(Vector3(1, 2, 7), Vector3(5, 0, 8), Vector3(0, 0, 9)));
    Matrix4 large;
    large.SetRow(3, Vector4(1, 2, 3, 4));
    large.SetTranslation(Vector3(5, 6, 7));
    EXPECT_EQ(large.GetColumn(3), Vector4(5, 6, 7, 4));
    EXPECT_EQ(large.GetTranslation(), Vector3(5, 6, 7));
}

TEST(MatrixDeathTest, AnIndexOutsideAsserts)
{
    Matrix4 large;
    Matrix3 small;
    EXPECT_ASSERTION(large(4, 0) = 1, "row >= 0 && row < 4 && column >= 0 && column < 4");
    EXPECT_ASSERTION(small(0, -1) = 1, "row >= 0 && row < 3 && column >= 0 && column < 3");
    EXPECT_ASSERTION(large.SetRow(4, Vector4()), "row >= 0 && row < 4");
    EXPECT_ASSERTION(large.SetColumn(-1, Vector4()), "column >= 0 && column < 4");
    EXPECT_ASSERTION(small.SetRow(3, Vector3()), "row >= 0 && row < 3");
    EXPECT_ASSERTION(small.SetColumn(3, Vector3()), "column >= 0 && column < 3");
}

TEST(MatrixTest, AnIndexOutsideChangesNoOtherElementWhenResumed)
{
    CapturedMessages messages;
    ResumedAssertions resumed;
    Matrix4 large = Matrix4::Identity();
    Matrix3 small = Matrix3::Identity() * 2;
    large.SetRow(4, Vector4(7));
    large.SetColumn(-1, Vector4(7));
    small.SetRow(3, Vector3(7));
    small.SetColumn(3, Vector3(7));
    EXPECT_EQ(large, Matrix4::Identity());
    EXPECT_EQ(small(3, 0), 2.0f);
    EXPECT_EQ(small, Matrix3::Identity() * 2);
    EXPECT_EQ(resumed.GetCount(), 5);
    EXPECT_EQ(messages.TakeAll().size(), 5u);
}

TEST(MatrixTest, AProductAppliesItsRightFactorFirst)
{
    constexpr Matrix4 move = Matrix4::Translation(Vector3(1, 2, 3));
    constexpr Matrix4 stretch = Matrix4::Scale(Vector3(2, 3, 4));
    static_assert((move * stretch).TransformPoint(Vector3(1, 1, 1)) == Vector3(3, 5, 7));
    static_assert((stretch * move).TransformPoint(Vector3(1, 1, 1)) == Vector3(4, 9, 16));
    static_assert(move.TransformVector(Vector3(1, 1, 1)) == Vector3(1, 1, 1));
    static_assert(move.GetColumn(3) == Vector4(1, 2, 3, 1));
}

TEST(MatrixTest, SumsAndMultiplesWorkElementByElement)
{
    constexpr Matrix3 a = Matrix3::FromRows(Vector3(1, 2, 3), Vector3(4, 5, 6), Vector3(7, 8, 10));
    static_assert(a + a == 2 * a && a - a == Matrix3() && -a == a * -1);
    static_assert(a.Transposed().GetRow(0) == Vector3(1, 4, 7) && a.Transposed().Transposed() == a);
    constexpr Matrix4 b = Matrix4(a, Vector3(1, 2, 3));
    static_assert(b + b == 2 * b && b - b == Matrix4() && -b == b * -1);
    static_assert(b.Transposed().GetColumn(0) == b.GetRow(0));
    Matrix4 sum = b;
    sum += b;
    sum *= 0.5f;
    sum *= Matrix4::Identity();
    sum -= Matrix4();
    EXPECT_EQ(sum, b);
}

TEST(MatrixTest, APositiveAngleTurnsCounterClockwise)
{
    EXPECT_TRUE((Matrix3::RotationX(quarter) * Vector3::UnitY()).IsNear(Vector3::UnitZ()));
    EXPECT_TRUE((Matrix3::RotationY(quarter) * Vector3::UnitZ()).IsNear(Vector3::UnitX()));
    EXPECT_TRUE((Matrix3::RotationZ(quarter) * Vector3::UnitX()).IsNear(Vector3::UnitY()));
    EXPECT_TRUE(Matrix4::RotationX(1).IsNear(Matrix4::Rotation(Vector3::UnitX(), 1)));
    EXPECT_TRUE(Matrix4::RotationY(1).IsNear(Matrix4::Rotation(Vector3::UnitY(), 1)));
    EXPECT_TRUE(Matrix4::RotationZ(1).IsNear(Matrix4::Rotation(Vector3::UnitZ(), 1)));
    EXPECT_EQ(Matrix4::Rotation(Vector3(), 1), Matrix4::Identity());
}

TEST(MatrixTest, DeterminantsAreThoseWorkedOutByHand)
{
    static_assert(Matrix3::FromRows(Vector3(2, 0, 1), Vector3(1, 3, 2), Vector3(1, 1, 4)).Determinant() ==
                  18);
    static_assert(Matrix4::Scale(Vector3(2, 3, 4)).Determinant() == 24);
    static_assert(
        Matrix4::FromRows(Vector4(0, 1, 0, 0), Vector4(1, 0, 0, 0), Vector4(0, 0, 1, 0), Vector4(0, 0, 0, 1))
            .Determinant() == -1);
    static_assert(
        Matrix4::FromRows(Vector4(1, 2, 3, 4), Vector4(5, 6, 7, 8), Vector4(2, 6, 4, 8), Vector4(3, 1, 1, 2))
            .Determinant() == 72);
}

TEST(MatrixTest, InverseOfASingularMatrixReportsAndAnswersZero)
{
    CapturedMessages messages;
    EXPECT_EQ(Matrix4::Scale(Vector3(1, 0, 1)).Inverse(), Matrix4());
    const std::string error = messages.TakeError();
    EXPECT_THAT(error, StartsWith("ERROR: QBase/Matrix4 (line "));
    EXPECT_THAT(error, EndsWith("): Failed to invert matrix - it is singular"));

    EXPECT_EQ(Matrix3::FromRows(Vector3(1, 2, 3), Vector3(4, 5, 6), Vector3(7, 8, 9)).Inverse(), Matrix3());
    EXPECT_THAT(messages.TakeError(), EndsWith("): Failed to invert matrix - it is singular"));
}

TEST(MatrixTest, TryInverseOfASingularMatrixLeavesTheResultAlone)
{
    Matrix4 result = Matrix4::Identity();
    EXPECT_FALSE(Matrix4().TryInverse(&result));
    EXPECT_FALSE((Matrix4::Identity() * infinity).TryInverse(&result));
    EXPECT_FALSE((Matrix4::Identity() * std::numeric_limits<float>::denorm_min()).TryInverse(&result));
    EXPECT_EQ(result, Matrix4::Identity());
    Matrix3 small = Matrix3::Identity();
    EXPECT_FALSE(Matrix3().TryInverse(&small));
    EXPECT_FALSE((Matrix3::Identity() * infinity).TryInverse(&small));
    EXPECT_FALSE((Matrix3::Identity() * std::numeric_limits<float>::denorm_min()).TryInverse(&small));
    EXPECT_EQ(small, Matrix3::Identity());
}

TEST(MatrixTest, ASingularMatrixIsKnownDespiteTheRoundingOfItsDeterminant)
{
    // Whole numbers of 21 bits, so that the sum of the columns is exact while products of three are rounded.
    Random random(14);
    for (int i = 0; i < numRandomCases; ++i) {
        Matrix3 small;
        Matrix4 large;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 3; ++column) {
                large(row, column) = static_cast<float>(random.Integer(-2000000, 2000000));
            }
            large(row, 3) = large(row, 0) + large(row, 1) + large(row, 2);
        }
        small.SetColumn(0, large.GetColumn(0).ToVector3());
        small.SetColumn(1, large.GetColumn(1).ToVector3());
        small.SetColumn(2, small.GetColumn(0) + small.GetColumn(1));
        EXPECT_FALSE(small.TryInverse(&small));
        EXPECT_FALSE(large.TryInverse(&large));
    }
}

TEST(MatrixTest, NoScaleOrTranslationIsTakenForSingular)
{
    static_assert(Matrix4::Scale(Vector3(2, 4, 8)).Determinant() == 64);
    EXPECT_TRUE(Matrix4::Scale(Vector3(1e-20f)).Inverse().IsNear(Matrix4::Scale(Vector3(1e20f))));
    EXPECT_EQ(Matrix4::Translation(Vector3(1e30f, 0, 0)).Inverse(),
              Matrix4::Translation(Vector3(-1e30f, 0, 0)));
    EXPECT_TRUE(Matrix3::Scale(Vector3(1e-20f, 1e20f, 1))
                    .Inverse()
                    .IsNear(Matrix3::Scale(Vector3(1e20f, 1e-20f, 1))));
    Matrix4 itself = Matrix4::Scale(Vector3(2, 4, 8));
    EXPECT_TRUE(itself.TryInverse(&itself));
    EXPECT_EQ(itself, Matrix4::Scale(Vector3(0.5f, 0.25f, 0.125f)));
}

TEST(MatrixTest, LookAtPutsTheEyeInTheOriginAndTheTargetOnTheNegativeZAxis)
{
    const Vector3 eye(1, 2, 3), target(4, 6, 3);
    const Matrix4 view = Matrix4::LookAt(eye, target, Vector3::UnitZ());
    EXPECT_TRUE(view.TransformPoint(eye).IsNear(Vector3()));
    EXPECT_TRUE(view.TransformPoint(target).IsNear(Vector3(0, 0, -5)));
    EXPECT_TRUE(view.TransformVector(Vector3::UnitZ()).IsNear(Vector3::UnitY()));
}

TEST(MatrixTest, LookAtWithoutAViewOrAnUpStaysARotation)
{
    const Vector3 eye(1, 2, 3);
    EXPECT_TRUE(Matrix4::LookAt(eye, eye, Vector3::UnitY()).IsNear(Matrix4::Translation(-eye)));
    for (const Vector3& up : {Vector3(), Vector3(0, 3, 4), Vector3(0, -3, -4), Vector3(1e-9f, 3, 4)}) {
        const Matrix4 view = Matrix4::LookAt(Vector3(), Vector3(0, 3, 4), up);
        EXPECT_TRUE(view.IsFinite());
        EXPECT_NEAR(view.Determinant(), 1, 1e-5);
        EXPECT_TRUE(view.TransformPoint(Vector3(0, 3, 4)).IsNear(Vector3(0, 0, -5), 1e-5f));
    }
}

TEST(MatrixTest, LookAtAlongItsUpIsARotationInEveryDirection)
{
    Random random(15);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 target = random.Vector3();
        const Matrix4 view = Matrix4::LookAt(Vector3(), target, target * random.Number(0.1f, 9));
        EXPECT_TRUE((view * view.Transposed()).IsNear(Matrix4::Identity(), 1e-5f));
        EXPECT_TRUE(view.TransformPoint(target).IsNear(Vector3(0, 0, -target.Length()), 1e-5f));
    }
}

TEST(MatrixTest, PerspectiveMapsTheNearAndFarPlaneToTheEndsOfDepth)
{
    const Matrix4 both = Matrix4::Perspective(quarter, 2, 1, 10);
    EXPECT_TRUE(both.ProjectPoint(Vector3(2, 1, -1)).IsNear(Vector3(1, 1, -1)));
    EXPECT_TRUE(both.ProjectPoint(Vector3(-20, -10, -10)).IsNear(Vector3(-1, -1, 1)));
    const Matrix4 positive = Matrix4::Perspective(quarter, 2, 1, 10, Matrix4::DEPTH_ZERO_TO_ONE);
    EXPECT_TRUE(positive.ProjectPoint(Vector3(2, 1, -1)).IsNear(Vector3(1, 1, 0)));
    EXPECT_TRUE(positive.ProjectPoint(Vector3(-20, -10, -10)).IsNear(Vector3(-1, -1, 1)));
    EXPECT_FALSE(both.ProjectPoint(Vector3(1, 1, 0)).IsFinite());
}

TEST(MatrixTest, PerspectiveWithoutAViewReportsAndAnswersZero)
{
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    const float bad[][4] = {{0, 1, 1, 10},         {Math<float>::Pi, 1, 1, 10},
                            {1, 0, 1, 10},         {1, 1, 0, 10},
                            {1, 1, 10, 10},        {1, 1, 10, 1},
                            {1, 1, 1, infinity},   {1, infinity, 1, 10},
                            {notANumber, 1, 1, 10}};
    CapturedMessages messages;
    for (const float* p : bad) {
        EXPECT_EQ(Matrix4::Perspective(p[0], p[1], p[2], p[3]), Matrix4());
        EXPECT_THAT(messages.TakeError(), HasSubstr("): Failed to make perspective matrix from angle "));
    }
    EXPECT_EQ(Matrix4::Perspective(1, 2, 3, 0.5f), Matrix4());
    EXPECT_THAT(messages.TakeError(), EndsWith("from angle 1, aspect 2, distances 3 to 0.5"));
}

TEST(MatrixTest, OrthographicMapsTheBoxToTheUnitCube)
{
    const Matrix4 both = Matrix4::Orthographic(-2, 6, 1, 3, 1, 11);
    EXPECT_TRUE(both.TransformPoint(Vector3(-2, 1, -1)).IsNear(Vector3(-1, -1, -1)));
    EXPECT_TRUE(both.TransformPoint(Vector3(6, 3, -11)).IsNear(Vector3(1, 1, 1)));
    const Matrix4 positive = Matrix4::Orthographic(-2, 6, 1, 3, 1, 11, Matrix4::DEPTH_ZERO_TO_ONE);
    EXPECT_TRUE(positive.TransformPoint(Vector3(-2, 1, -1)).IsNear(Vector3(-1, -1, 0)));
    EXPECT_TRUE(positive.TransformPoint(Vector3(6, 3, -11)).IsNear(Vector3(1, 1, 1)));
}

TEST(MatrixTest, OrthographicOfAFlatBoxReportsAndAnswersZero)
{
    CapturedMessages messages;
    EXPECT_EQ(Matrix4::Orthographic(1, 1, 0, 2, 0, 3), Matrix4());
    EXPECT_THAT(messages.TakeError(),
                EndsWith("): Failed to make orthographic matrix from a box of size 0 by 2 by 3"));
    EXPECT_EQ(Matrix4::Orthographic(0, 1, 0, infinity, 0, 3), Matrix4());
    EXPECT_THAT(messages.TakeError(), EndsWith("from a box of size 1 by inf by 3"));
}

TEST(MatrixTest, DecomposeFindsThePartsThatWereComposed)
{
    Random random(9);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 translation = random.Vector3();
        const Quaternion rotation = random.Rotation();
        const float mirror = i % 2 ? 1.0f : -1.0f;
        const Vector3 scale =
            mirror * Vector3(random.Number(0.1f, 9), random.Number(0.1f, 9), random.Number(0.1f, 9));
        Vector3 translationBack, scaleBack, shearBack;
        Quaternion rotationBack;
        ASSERT_TRUE(Matrix4::Compose(translation, rotation, scale)
                        .Decompose(&translationBack, &rotationBack, &scaleBack, &shearBack));
        EXPECT_EQ(translationBack, translation);
        EXPECT_TRUE(rotationBack.IsNearRotation(rotation, 1e-5f));
        EXPECT_TRUE(scaleBack.IsNear(scale, 1e-5f));
        EXPECT_NEAR(shearBack.Length(), 0, 2e-4);
    }
}

TEST(MatrixTest, DecomposeOfAnyAffineMatrixMultipliesBackToIt)
{
    Random random(10);
    for (int i = 0; i < numRandomCases; ++i) {
        const Matrix4 matrix(random.Matrix3(), random.Vector3());
        Vector3 translation, scale, shear;
        Quaternion rotation;
        ASSERT_TRUE(matrix.Decompose(&translation, &rotation, &scale, &shear));
        const Matrix4 shearing(
            Matrix3::FromRows(Vector3(1, shear.x, shear.y), Vector3(0, 1, shear.z), Vector3::UnitZ()));
        const Matrix4 product = Matrix4::Translation(translation) * Matrix4::Rotation(rotation) * shearing *
                                Matrix4::Scale(scale);
        EXPECT_TRUE(product.IsNear(matrix, 1e-4f));
    }
}

TEST(MatrixTest, DecomposeOfASingularOrProjectiveMatrixFillsInNothing)
{
    Vector3 translation(1, 2, 3), scale(4, 5, 6);
    Quaternion rotation(7, 8, 9, 10);
    EXPECT_FALSE(Matrix4::Scale(Vector3(1, 0, 1)).Decompose(&translation, &rotation, &scale));
    EXPECT_FALSE(Matrix4::Perspective(1, 1, 1, 10).Decompose(&translation, &rotation, &scale));
    EXPECT_FALSE(Matrix4().Decompose(&translation, &rotation, &scale));
    EXPECT_EQ(translation, Vector3(1, 2, 3));
    EXPECT_EQ(scale, Vector3(4, 5, 6));
    EXPECT_EQ(rotation, Quaternion(7, 8, 9, 10));
}

TEST(MatrixTest, QuaternionsComeBackFromEveryRotation)
{
    Random random(11);
    for (int i = 0; i < numRandomCases; ++i) {
        const Quaternion rotation = random.Rotation();
        const Quaternion back = Matrix3::Rotation(rotation).ToQuaternion();
        EXPECT_TRUE(back.IsNearRotation(rotation, 1e-5f));
        EXPECT_GE(back.w, 0.0f);
    }
    for (const Vector3& axis : {Vector3::UnitX(), Vector3::UnitY(), Vector3::UnitZ()}) {
        const Quaternion half(axis, 0); // half a turn: the largest component is not w
        EXPECT_TRUE(Matrix3::Rotation(half).ToQuaternion().IsNearRotation(half));
    }
}

TEST(MatrixTest, IsNearComparesEveryElement)
{
    for (int i = 0; i < 16; ++i) {
        Matrix4 other = Matrix4::Identity();
        other.elements[i] += 0.01f;
        EXPECT_FALSE(other.IsNear(Matrix4::Identity()));
        EXPECT_TRUE(other.IsNear(Matrix4::Identity(), 0.02f));
        other.elements[i] = infinity;
        EXPECT_FALSE(other.IsFinite());
    }
    for (int i = 0; i < 9; ++i) {
        Matrix3 other = Matrix3::Identity();
        other.elements[i] += 0.01f;
        EXPECT_FALSE(other.IsNear(Matrix3::Identity()));
        EXPECT_TRUE(other.IsNear(Matrix3::Identity(), 0.02f));
        other.elements[i] = infinity;
        EXPECT_FALSE(other.IsFinite());
    }
}

TEST(MatrixTest, DoubleMatricesServeAsWell)
{
    const Matrix3T<double> matrix(Matrix3::FromRows(Vector3(2, 0, 1), Vector3(1, 3, 2), Vector3(1, 1, 4)));
    EXPECT_TRUE((matrix * matrix.Inverse()).IsNear(Matrix3T<double>::Identity(), 1e-14));
}

TEST(MatrixTest, AgreesWithGlmOnRandomMatrices)
{
    Random random(12);
    for (int i = 0; i < numRandomCases; ++i) {
        const Matrix3 a3 = random.Matrix3(), b3 = random.Matrix3();
        const Matrix4 a4 = random.Matrix4(), b4 = random.Matrix4();
        const Vector3 v3 = random.Vector3();
        const Vector4 v4 = random.Vector4();
        EXPECT_TRUE(IsNearGlm(a3 * b3, ToGlm(a3) * ToGlm(b3)));
        EXPECT_TRUE(IsNearGlm(a4 * b4, ToGlm(a4) * ToGlm(b4)));
        EXPECT_TRUE(IsNearGlm(a3 * v3, ToGlm(a3) * ToGlm(v3)));
        EXPECT_TRUE(IsNearGlm(a4 * v4, ToGlm(a4) * ToGlm(v4)));
        EXPECT_TRUE(IsNearGlm(a4.Transposed(), glm::transpose(ToGlm(a4)), 0));
        // Determinants of thousands are compared against the size of their terms.
        EXPECT_NEAR(a3.Determinant(), glm::determinant(ToGlm(a3)), 6000 * 1e-6);
        EXPECT_NEAR(a4.Determinant(), glm::determinant(ToGlm(a4)), 240000 * 1e-6);
        // The reference inverse is taken in double, where its own rounding does not blur the comparison.
        EXPECT_TRUE(IsNearGlm(a3.Inverse(), glm::mat3(glm::inverse(glm::dmat3(ToGlm(a3))))));
        EXPECT_TRUE(IsNearGlm(a4.Inverse(), glm::mat4(glm::inverse(glm::dmat4(ToGlm(a4))))));
    }
}

TEST(MatrixTest, AgreesWithGlmOnRandomTransformations)
{
    Random random(13);
    for (int i = 0; i < numRandomCases; ++i) {
        const Vector3 a = random.Vector3(), b = random.Vector3(), up = random.Vector3();
        const Quaternion rotation = random.Rotation();
        const float angle = random.Number(-6, 6);
        EXPECT_TRUE(IsNearGlm(Matrix4::Translation(a), glm::translate(glm::mat4(1), ToGlm(a)), 0));
        EXPECT_TRUE(IsNearGlm(Matrix4::Scale(a), glm::scale(glm::mat4(1), ToGlm(a)), 0));
        EXPECT_TRUE(IsNearGlm(Matrix4::Rotation(a, angle), glm::rotate(glm::mat4(1), angle, ToGlm(a))));
        EXPECT_TRUE(IsNearGlm(Matrix4::Rotation(rotation), glm::mat4_cast(ToGlm(rotation))));
        EXPECT_TRUE(IsNearGlm(Matrix4::LookAt(a, b, up), glm::lookAt(ToGlm(a), ToGlm(b), ToGlm(up)), 1e-4f));

        const float opening = random.Number(0.1f, 3), aspect = random.Number(0.2f, 5);
        const float nearest = random.Number(0.1f, 1), farthest = nearest + random.Number(1, 1000);
        EXPECT_TRUE(IsNearGlm(Matrix4::Perspective(opening, aspect, nearest, farthest),
                              glm::perspectiveRH_NO(opening, aspect, nearest, farthest)));
        EXPECT_TRUE(
            IsNearGlm(Matrix4::Perspective(opening, aspect, nearest, farthest, Matrix4::DEPTH_ZERO_TO_ONE),
                      glm::perspectiveRH_ZO(opening, aspect, nearest, farthest)));
        const float left = a.x, right = a.x + aspect, bottom = a.y, top = a.y + opening;
        EXPECT_TRUE(IsNearGlm(Matrix4::Orthographic(left, right, bottom, top, nearest, farthest),
                              glm::orthoRH_NO(left, right, bottom, top, nearest, farthest)));
        EXPECT_TRUE(IsNearGlm(
            Matrix4::Orthographic(left, right, bottom, top, nearest, farthest, Matrix4::DEPTH_ZERO_TO_ONE),
            glm::orthoRH_ZO(left, right, bottom, top, nearest, farthest)));
    }
}

} // namespace
} // namespace QBase
