// Matrix4 is a plain 4 x 4 float matrix of maps of homogeneous points: everything that Matrix3 does, and
// translation, camera and projection.
//
//     Matrix4 world = Matrix4::Compose(position, rotation, Vector3(2.0f));
//     Matrix4 view = Matrix4::LookAt(eye, target, Vector3::UnitY());
//     Matrix4 projection = Matrix4::Perspective(Math<float>::ToRadians(60.0f), 16.0f / 9.0f, 0.1f, 1000.0f);
//     Vector3 seen = (projection * view * world).ProjectPoint(corner);
//
// Matrices act on column vectors from the left, so a product applies its right factor first and the
// translation stands in the last column. The elements are stored column after column. Space is right-handed,
// angles are radians, and a positive angle turns counter-clockwise for someone towards whom the axis points.
// A camera looks along its negative z axis with y up; projections map what it sees to x and y in [-1, 1] and
// to depths growing with the distance. A default-constructed matrix is zero.
//
// Sources: LookAt, Perspective and Orthographic are the matrices of Shreiner and others, "OpenGL Programming
// Guide", and for the depths from 0 to 1 those of the Vulkan and Direct3D clip volumes; determinant and
// inverse are Eberly, "The Laplace Expansion Theorem: Computing the Determinants and Inverses of Matrices"
// (Geometric Tools, 2008), with the rounding bound of Higham, "Accuracy and Stability of Numerical
// Algorithms" (2002), section 3.1; Decompose is Thomas, "Decomposing a Matrix into Simple Transformations"
// (Graphics Gems II, 1991).
//
// Threads: nothing here is shared; different threads may use different matrices freely.

#pragma once

#include "QBase/Error.h"
#include "QBase/Math.h"
#include "QBase/Matrix3.h"
#include "QBase/Quaternion.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"

#include <type_traits>

namespace QBase
{

class Matrix4
{
public:
    /// The depths that a projection gives its near and far plane.
    enum ClipDepth
    {
        DEPTH_MINUS_ONE_TO_ONE,
        DEPTH_ZERO_TO_ONE
    };

    float elements[16] = {}; // column by column: elements[4 * column + row]

    constexpr Matrix4() = default;

    /// The map `linear` followed by a translation.
    constexpr explicit Matrix4(const Matrix3& linear, const Vector3& translation = Vector3());

    /// The map that changes nothing, and matrices from their rows or columns.
    static constexpr Matrix4 Identity() { return Scale(Vector3(1)); }
    static constexpr Matrix4 FromRows(const Vector4& row0, const Vector4& row1, const Vector4& row2,
                                      const Vector4& row3);
    static constexpr Matrix4 FromColumns(const Vector4& column0, const Vector4& column1,
                                         const Vector4& column2, const Vector4& column3);

    /// Moves by a vector.
    static constexpr Matrix4 Translation(const Vector3& translation)
    {
        return Matrix4(Matrix3::Identity(), translation);
    }

    /// Stretches each axis by its component.
    static constexpr Matrix4 Scale(const Vector3& scale) { return Matrix4(Matrix3::Scale(scale)); }

    /// Rotations by an angle in radians about an axis.
    static Matrix4 RotationX(float angle) { return Matrix4(Matrix3::RotationX(angle)); }
    static Matrix4 RotationY(float angle) { return Matrix4(Matrix3::RotationY(angle)); }
    static Matrix4 RotationZ(float angle) { return Matrix4(Matrix3::RotationZ(angle)); }

    /// The rotation by `angle` about `axis`, which may have any length; the identity for a zero axis.
    static Matrix4 Rotation(const Vector3& axis, float angle)
    {
        return Matrix4(Matrix3::Rotation(axis, angle));
    }

    /// The rotation of a quaternion of length 1.
    static constexpr Matrix4 Rotation(const Quaternion& rotation)
    {
        return Matrix4(Matrix3::Rotation(rotation));
    }

    /// First the scale, then the rotation, then the translation.
    static constexpr Matrix4 Compose(const Vector3& translation, const Quaternion& rotation,
                                     const Vector3& scale);

    /// From the world to a camera in `eye` that looks at `target` and holds `up` upwards. With the target in
    /// the eye it looks along the negative z axis; with `up` zero or along the view, some direction is up.
    static Matrix4 LookAt(const Vector3& eye, const Vector3& target, const Vector3& up);

    /// The view through a window of the given aspect (width by height) and vertical opening angle in (0, Pi).
    /// The zero matrix, after a report, unless aspect and angle and 0 < nearDistance < farDistance make a
    /// view.
    static Matrix4 Perspective(float verticalAngle, float aspect, float nearDistance, float farDistance,
                               ClipDepth depth = DEPTH_MINUS_ONE_TO_ONE);

    /// The parallel view of a box, its distances counted in the direction of view. The zero matrix, after a
    /// report, for a box without extent in a direction.
    static Matrix4 Orthographic(float left, float right, float bottom, float top, float nearDistance,
                                float farDistance, ClipDepth depth = DEPTH_MINUS_ONE_TO_ONE);

    /// Takes an affine matrix apart, so that Compose of the parts gives it again when it holds no shear. In
    /// general it is Translation * Rotation * H * Scale where H has 1 on its diagonal and above it the shears
    /// of x by y (shear.x), x by z (shear.y) and y by z (shear.z). A mirroring matrix gets three negated
    /// scales. False, and nothing filled in, when the last row is not (0, 0, 0, 1) or the linear part is
    /// singular. `pShear` may be null.
    bool Decompose(Vector3* pTranslation, Quaternion* pRotation, Vector3* pScale,
                   Vector3* pShear = nullptr) const;

    /// The upper left part: what the matrix does to directions.
    constexpr Matrix3 ToMatrix3() const;
    constexpr Vector3 GetTranslation() const { return Vector3(elements[12], elements[13], elements[14]); }
    constexpr void SetTranslation(const Vector3& translation);

    /// The element in `row` and `column`, counted from 0. An index outside is a broken promise and, when the
    /// program is resumed, gives element (0, 0).
    constexpr float& operator()(int row, int column) { return elements[Index(row, column)]; }
    constexpr float operator()(int row, int column) const { return elements[Index(row, column)]; }

    /// Rows and columns, counted from 0. An index outside is a broken promise.
    constexpr Vector4 GetRow(int row) const;
    constexpr Vector4 GetColumn(int column) const;
    constexpr void SetRow(int row, const Vector4& values);
    constexpr void SetColumn(int column, const Vector4& values);

    /// Equal when all elements are, as plain numbers.
    constexpr bool operator==(const Matrix4&) const = default;

    constexpr Matrix4 operator-() const { return *this * -1.0f; }
    constexpr Matrix4 operator+(const Matrix4& other) const;
    constexpr Matrix4 operator-(const Matrix4& other) const;
    constexpr Matrix4 operator*(float scale) const;
    friend constexpr Matrix4 operator*(float scale, const Matrix4& matrix) { return matrix * scale; }

    /// The map `other` followed by this one.
    constexpr Matrix4 operator*(const Matrix4& other) const;
    constexpr Vector4 operator*(const Vector4& vector) const;

    constexpr Matrix4& operator+=(const Matrix4& other) { return *this = *this + other; }
    constexpr Matrix4& operator-=(const Matrix4& other) { return *this = *this - other; }
    constexpr Matrix4& operator*=(const Matrix4& other) { return *this = *this * other; }
    constexpr Matrix4& operator*=(float scale) { return *this = *this * scale; }

    /// Where an affine matrix takes a point, and a direction, which translation leaves alone.
    constexpr Vector3 TransformPoint(const Vector3& point) const
    {
        return (*this * Vector4(point, 1)).ToVector3();
    }
    constexpr Vector3 TransformVector(const Vector3& vector) const
    {
        return (*this * Vector4(vector, 0)).ToVector3();
    }

    /// Where a projection takes a point, divided by w. A point that it takes to infinity, with w = 0, has
    /// components that are not finite.
    constexpr Vector3 ProjectPoint(const Vector3& point) const;

    /// Rows and columns exchanged.
    constexpr Matrix4 Transposed() const;
    /// By how much the map changes volumes; 0 when it has no inverse.
    constexpr float Determinant() const { return static_cast<float>(ExpandByMinors().determinant); }

    /// The matrix whose product with this one is the identity. The zero matrix, after a report, when this one
    /// is singular.
    Matrix4 Inverse() const;

    /// Fills in the inverse. False, and `pInverse` untouched, when this matrix is singular: when its
    /// determinant is no larger than the rounding of its own calculation, or when the inverse does not fit
    /// finite numbers.
    constexpr bool TryInverse(Matrix4* pInverse) const;

    constexpr bool IsFinite() const;

    /// Whether every element is near its partner in the sense of Math<float>::IsNear.
    constexpr bool IsNear(const Matrix4& other, float tolerance = Math<float>::Tolerance) const;

private:
    // The 2 x 2 determinants of the upper and of the lower two rows, by pairs of columns 01, 02, 03, 12,
    // 13, 23. Products are taken in double, where those of four floats neither overflow nor vanish.
    struct Minors
    {
        double upper[6];
        double lower[6];
        double determinant;
        double rounding; // bound for the error of `determinant`
    };

    constexpr Minors ExpandByMinors() const;

    static constexpr int Index(int row, int column)
    {
        return QBASE_ASSERT(row >= 0 && row < 4 && column >= 0 && column < 4) ? 4 * column + row : 0;
    }
};

constexpr Matrix4::Matrix4(const Matrix3& linear, const Vector3& translation)
{
    SetColumn(0, Vector4(linear.GetColumn(0), 0));
    SetColumn(1, Vector4(linear.GetColumn(1), 0));
    SetColumn(2, Vector4(linear.GetColumn(2), 0));
    SetColumn(3, Vector4(translation, 1));
}

constexpr Matrix4 Matrix4::FromRows(const Vector4& row0, const Vector4& row1, const Vector4& row2,
                                    const Vector4& row3)
{
    return FromColumns(row0, row1, row2, row3).Transposed();
}

constexpr Matrix4 Matrix4::FromColumns(const Vector4& column0, const Vector4& column1, const Vector4& column2,
                                       const Vector4& column3)
{
    Matrix4 result;
    result.SetColumn(0, column0);
    result.SetColumn(1, column1);
    result.SetColumn(2, column2);
    result.SetColumn(3, column3);
    return result;
}

constexpr Matrix4 Matrix4::Compose(const Vector3& translation, const Quaternion& rotation,
                                   const Vector3& scale)
{
    return Matrix4(Matrix3::Rotation(rotation) * Matrix3::Scale(scale), translation);
}

inline Matrix4 Matrix4::LookAt(const Vector3& eye, const Vector3& target, const Vector3& up)
{
    const Vector3 forward = (target - eye).Normalised(-Vector3::UnitZ());
    Vector3 side = forward.Cross(up.Normalised());
    if (side.Length() <= Math<float>::Tolerance || !side.Normalise())
        side = forward.AnyPerpendicular();
    const Matrix3 turn = Matrix3::FromRows(side, side.Cross(forward), -forward);
    return Matrix4(turn, -(turn * eye));
}

inline Matrix4 Matrix4::Perspective(float verticalAngle, float aspect, float nearDistance, float farDistance,
                                    ClipDepth depth)
{
    const bool bView = verticalAngle > 0 && verticalAngle < Math<float>::Pi && aspect > 0 &&
                       nearDistance > 0 && farDistance > nearDistance && Math<float>::IsFinite(aspect) &&
                       Math<float>::IsFinite(farDistance);
    if (!bView) {
        Error(QBASE_HERE, "Failed to make perspective matrix from angle %g, aspect %g, distances %g to %g",
              static_cast<double>(verticalAngle), static_cast<double>(aspect),
              static_cast<double>(nearDistance), static_cast<double>(farDistance));
        return Matrix4();
    }
    const float height = 1 / Math<float>::Tan(verticalAngle / 2);
    const float range = farDistance - nearDistance;
    Matrix4 result;
    result(0, 0) = height / aspect;
    result(1, 1) = height;
    result(3, 2) = -1;
    if (depth == DEPTH_ZERO_TO_ONE) {
        result(2, 2) = -farDistance / range;
        result(2, 3) = -farDistance / range * nearDistance;
    } else {
        result(2, 2) = -(farDistance + nearDistance) / range;
        result(2, 3) = -2 * farDistance / range * nearDistance;
    }
    return result;
}

inline Matrix4 Matrix4::Orthographic(float left, float right, float bottom, float top, float nearDistance,
                                     float farDistance, ClipDepth depth)
{
    const Vector3 size(right - left, top - bottom, farDistance - nearDistance);
    if (!size.IsFinite() || size.x == 0 || size.y == 0 || size.z == 0) {
        Error(QBASE_HERE, "Failed to make orthographic matrix from a box of size %g by %g by %g",
              static_cast<double>(size.x), static_cast<double>(size.y), static_cast<double>(size.z));
        return Matrix4();
    }
    Matrix4 result = Scale(Vector3(2 / size.x, 2 / size.y, -2 / size.z));
    result.SetTranslation(-Vector3(right + left, top + bottom, farDistance + nearDistance) / size);
    if (depth == DEPTH_ZERO_TO_ONE) {
        result(2, 2) = -1 / size.z;
        result(2, 3) = -nearDistance / size.z;
    }
    return result;
}

inline bool Matrix4::Decompose(Vector3* pTranslation, Quaternion* pRotation, Vector3* pScale,
                               Vector3* pShear) const
{
    Matrix3 inverse;
    if (GetRow(3) != Vector4::UnitW() || !ToMatrix3().TryInverse(&inverse))
        return false;

    // Gram-Schmidt on the columns: each loses its parts along the ones before, which are the shears, and its
    // length, which is the scale.
    const Matrix3T<double> linear(ToMatrix3());
    Vector3T<double> x = linear.GetColumn(0), y = linear.GetColumn(1), z = linear.GetColumn(2);
    Vector3T<double> scale, shear;
    scale.x = x.Length();
    x /= scale.x;
    shear.x = x.Dot(y);
    y -= x * shear.x;
    scale.y = y.Length();
    y /= scale.y;
    shear.y = x.Dot(z);
    z -= x * shear.y;
    shear.z = y.Dot(z);
    z -= y * shear.z;
    scale.z = z.Length();
    z /= scale.z;
    if (!(scale.x > 0) || !(scale.y > 0) || !(scale.z > 0))
        return false;
    shear /= Vector3T<double>(scale.y, scale.z, scale.z);

    if (x.Cross(y).Dot(z) < 0) {
        x = -x;
        y = -y;
        z = -z;
        scale = -scale;
    }
    *pTranslation = GetTranslation();
    *pRotation = Quaternion(Matrix3T<double>::FromColumns(x, y, z).ToQuaternion());
    *pScale = Vector3(scale);
    if (pShear)
        *pShear = Vector3(shear);
    return true;
}

constexpr Matrix3 Matrix4::ToMatrix3() const
{
    return Matrix3::FromColumns(GetColumn(0).ToVector3(), GetColumn(1).ToVector3(), GetColumn(2).ToVector3());
}

constexpr void Matrix4::SetTranslation(const Vector3& translation)
{
    elements[12] = translation.x;
    elements[13] = translation.y;
    elements[14] = translation.z;
}

constexpr Vector4 Matrix4::GetRow(int row) const
{
    return Vector4((*this)(row, 0), (*this)(row, 1), (*this)(row, 2), (*this)(row, 3));
}

constexpr Vector4 Matrix4::GetColumn(int column) const
{
    return Vector4((*this)(0, column), (*this)(1, column), (*this)(2, column), (*this)(3, column));
}

constexpr void Matrix4::SetRow(int row, const Vector4& values)
{
    if (!QBASE_ASSERT(row >= 0 && row < 4))
        return;
    elements[row] = values.x;
    elements[4 + row] = values.y;
    elements[8 + row] = values.z;
    elements[12 + row] = values.w;
}

constexpr void Matrix4::SetColumn(int column, const Vector4& values)
{
    if (!QBASE_ASSERT(column >= 0 && column < 4))
        return;
    elements[4 * column] = values.x;
    elements[4 * column + 1] = values.y;
    elements[4 * column + 2] = values.z;
    elements[4 * column + 3] = values.w;
}

constexpr Matrix4 Matrix4::operator+(const Matrix4& other) const
{
    Matrix4 result;
    for (int i = 0; i < 16; ++i) {
        result.elements[i] = elements[i] + other.elements[i];
    }
    return result;
}

constexpr Matrix4 Matrix4::operator-(const Matrix4& other) const
{
    Matrix4 result;
    for (int i = 0; i < 16; ++i) {
        result.elements[i] = elements[i] - other.elements[i];
    }
    return result;
}

constexpr Matrix4 Matrix4::operator*(float scale) const
{
    Matrix4 result;
    for (int i = 0; i < 16; ++i) {
        result.elements[i] = elements[i] * scale;
    }
    return result;
}

constexpr Matrix4 Matrix4::operator*(const Matrix4& other) const
{
    // Whole columns at a time, which compilers turn into vector instructions.
    const Vector4 x = GetColumn(0), y = GetColumn(1), z = GetColumn(2), w = GetColumn(3);
    Matrix4 result;
    for (int column = 0; column < 4; ++column) {
        const float* e = other.elements + 4 * column;
        result.SetColumn(column, x * e[0] + y * e[1] + z * e[2] + w * e[3]);
    }
    return result;
}

constexpr Vector4 Matrix4::operator*(const Vector4& vector) const
{
    const float* e = elements;
    return Vector4(e[0] * vector.x + e[4] * vector.y + e[8] * vector.z + e[12] * vector.w,
                   e[1] * vector.x + e[5] * vector.y + e[9] * vector.z + e[13] * vector.w,
                   e[2] * vector.x + e[6] * vector.y + e[10] * vector.z + e[14] * vector.w,
                   e[3] * vector.x + e[7] * vector.y + e[11] * vector.z + e[15] * vector.w);
}

constexpr Vector3 Matrix4::ProjectPoint(const Vector3& point) const
{
    const Vector4 projected = *this * Vector4(point, 1);
    return projected.ToVector3() / projected.w;
}

constexpr Matrix4 Matrix4::Transposed() const
{
    Matrix4 result;
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            result.elements[4 * column + row] = elements[4 * row + column];
        }
    }
    return result;
}

inline Matrix4 Matrix4::Inverse() const
{
    Matrix4 result;
    if (!TryInverse(&result))
        Error(QBASE_HERE, "Failed to invert matrix - it is singular");
    return result;
}

constexpr bool Matrix4::TryInverse(Matrix4* pInverse) const
{
    const Minors minors = ExpandByMinors();
    if (!(Math<double>::Abs(minors.determinant) > minors.rounding) ||
        !Math<double>::IsFinite(minors.determinant))
        return false;

    double m[4][4] = {}; // row by column
    for (int i = 0; i < 16; ++i) {
        m[i % 4][i / 4] = elements[i];
    }
    const double* s = minors.upper; // the pairs of columns 01, 02, 03, 12, 13, 23
    const double* c = minors.lower;
    const double adjugate[16] = {
        m[1][1] * c[5] - m[1][2] * c[4] + m[1][3] * c[3], m[1][2] * c[2] - m[1][0] * c[5] - m[1][3] * c[1],
        m[1][0] * c[4] - m[1][1] * c[2] + m[1][3] * c[0], m[1][1] * c[1] - m[1][0] * c[3] - m[1][2] * c[0],
        m[0][2] * c[4] - m[0][1] * c[5] - m[0][3] * c[3], m[0][0] * c[5] - m[0][2] * c[2] + m[0][3] * c[1],
        m[0][1] * c[2] - m[0][0] * c[4] - m[0][3] * c[0], m[0][0] * c[3] - m[0][1] * c[1] + m[0][2] * c[0],
        m[3][1] * s[5] - m[3][2] * s[4] + m[3][3] * s[3], m[3][2] * s[2] - m[3][0] * s[5] - m[3][3] * s[1],
        m[3][0] * s[4] - m[3][1] * s[2] + m[3][3] * s[0], m[3][1] * s[1] - m[3][0] * s[3] - m[3][2] * s[0],
        m[2][2] * s[4] - m[2][1] * s[5] - m[2][3] * s[3], m[2][0] * s[5] - m[2][2] * s[2] + m[2][3] * s[1],
        m[2][1] * s[2] - m[2][0] * s[4] - m[2][3] * s[0], m[2][0] * s[3] - m[2][1] * s[1] + m[2][2] * s[0]};
    const double scale = 1 / minors.determinant;
    Matrix4 inverse;
    for (int i = 0; i < 16; ++i) {
        inverse.elements[i] = static_cast<float>(adjugate[i] * scale);
    }
    if (!inverse.IsFinite())
        return false;
    *pInverse = inverse;
    return true;
}

constexpr bool Matrix4::IsFinite() const
{
    for (float element : elements) {
        if (!Math<float>::IsFinite(element))
            return false;
    }
    return true;
}

constexpr bool Matrix4::IsNear(const Matrix4& other, float tolerance) const
{
    for (int i = 0; i < 16; ++i) {
        if (!Math<float>::IsNear(elements[i], other.elements[i], tolerance))
            return false;
    }
    return true;
}

constexpr Matrix4::Minors Matrix4::ExpandByMinors() const
{
    Minors minors = {};
    double upperSize[6] = {}, lowerSize[6] = {};
    const auto expandPair = [&](int pair, int left, int right) {
        const float* pLeft = elements + 4 * left;
        const float* pRight = elements + 4 * right;
        const double upperDown = static_cast<double>(pLeft[0]) * pRight[1];
        const double upperUp = static_cast<double>(pLeft[1]) * pRight[0];
        const double lowerDown = static_cast<double>(pLeft[2]) * pRight[3];
        const double lowerUp = static_cast<double>(pLeft[3]) * pRight[2];
        minors.upper[pair] = upperDown - upperUp;
        minors.lower[pair] = lowerDown - lowerUp;
        upperSize[pair] = Math<double>::Abs(upperDown) + Math<double>::Abs(upperUp);
        lowerSize[pair] = Math<double>::Abs(lowerDown) + Math<double>::Abs(lowerUp);
    };
    expandPair(0, 0, 1);
    expandPair(1, 0, 2);
    expandPair(2, 0, 3);
    expandPair(3, 1, 2);
    expandPair(4, 1, 3);
    expandPair(5, 2, 3);
    // Each pair of columns above goes with the other two below; pair and partner add up to 5.
    constexpr double signs[6] = {1, -1, 1, 1, -1, 1};
    double size = 0;
    for (int i = 0; i < 6; ++i) {
        minors.determinant += signs[i] * minors.upper[i] * minors.lower[5 - i];
        size += upperSize[i] * lowerSize[5 - i];
    }
    minors.rounding = 8 * Math<double>::Epsilon * size;
    return minors;
}

static_assert(sizeof(Matrix4) == 64);
static_assert(std::is_trivially_copyable_v<Matrix4> && std::is_standard_layout_v<Matrix4>);

} // namespace QBase
