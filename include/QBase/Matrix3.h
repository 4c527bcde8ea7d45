// Matrix3T is a plain 3 x 3 matrix of linear maps in space: rotations, scales, shears. Matrix3 has float
// elements.
//
//     Matrix3 turn = Matrix3::RotationZ(Math<float>::HalfPi);
//     Vector3 up = turn * Vector3::UnitX();                // UnitY()
//     Matrix3 both = tilt * turn;                          // first turn, then tilt
//     float corner = both(0, 2);                           // row 0, column 2
//
// Matrices act on column vectors from the left, so a product applies its right factor first. The elements are
// stored column after column. Space is right-handed, angles are radians, and a positive angle turns
// counter-clockwise for someone towards whom the axis points. A default-constructed matrix is zero.
//
// Sources: determinant and inverse are the cofactor expansion (Cramer's rule), whose rounding error is
// bounded by the sum of its terms' sizes (Higham, "Accuracy and Stability of Numerical Algorithms", 2002,
// section 3.1); Rotation(axis, angle) is Rodrigues' formula by way of the quaternion; ToQuaternion chooses
// the largest component first as Shepperd, "Quaternion from Rotation Matrix" (Journal of Guidance and Control
// 1, 1978).
//
// Threads: nothing here is shared; different threads may use different matrices freely.

#pragma once

#include "QBase/Error.h"
#include "QBase/Math.h"
#include "QBase/Quaternion.h"
#include "QBase/Vector3.h"

#include <concepts>
#include <type_traits>

namespace QBase
{

template <typename T>
class Matrix3T
{
    static_assert(std::floating_point<T>, "Matrix3T<T> takes a floating-point type");

public:
    T elements[9] = {}; // column by column: elements[3 * column + row]

    constexpr Matrix3T() = default;

    template <typename U>
    constexpr explicit Matrix3T(const Matrix3T<U>& other);

    /// The map that changes nothing, and matrices from their rows or columns.
    static constexpr Matrix3T Identity() { return Scale(Vector3T<T>(1)); }
    static constexpr Matrix3T FromRows(const Vector3T<T>& row0, const Vector3T<T>& row1,
                                       const Vector3T<T>& row2);
    static constexpr Matrix3T FromColumns(const Vector3T<T>& column0, const Vector3T<T>& column1,
                                          const Vector3T<T>& column2);

    /// Stretches each axis by its component.
    static constexpr Matrix3T Scale(const Vector3T<T>& scale);

    /// Rotations by an angle in radians about an axis.
    static Matrix3T RotationX(T angle);
    static Matrix3T RotationY(T angle);
    static Matrix3T RotationZ(T angle);

    /// The rotation by `angle` about `axis`, which may have any length; the identity for a zero axis.
    static Matrix3T Rotation(const Vector3T<T>& axis, T angle)
    {
        return Rotation(QuaternionT<T>::FromAxisAngle(axis, angle));
    }

    /// The rotation of a quaternion of length 1.
    static constexpr Matrix3T Rotation(const QuaternionT<T>& rotation);

    /// The quaternion of this rotation, with w >= 0. The columns must be perpendicular, of length 1 and
    /// right-handed.
    QuaternionT<T> ToQuaternion() const;

    /// The element in `row` and `column`, counted from 0. An index outside is a broken promise and, when the
    /// program is resumed, gives element (0, 0).
    constexpr T& operator()(int row, int column) { return elements[Index(row, column)]; }
    constexpr T operator()(int row, int column) const { return elements[Index(row, column)]; }

    /// Rows and columns, counted from 0. An index outside is a broken promise.
    constexpr Vector3T<T> GetRow(int row) const;
    constexpr Vector3T<T> GetColumn(int column) const;
    constexpr void SetRow(int row, const Vector3T<T>& values);
    constexpr void SetColumn(int column, const Vector3T<T>& values);

    /// Equal when all elements are, as plain numbers.
    constexpr bool operator==(const Matrix3T&) const = default;

    constexpr Matrix3T operator-() const { return *this * T(-1); }
    constexpr Matrix3T operator+(const Matrix3T& other) const;
    constexpr Matrix3T operator-(const Matrix3T& other) const;
    constexpr Matrix3T operator*(T scale) const;
    friend constexpr Matrix3T operator*(T scale, const Matrix3T& matrix) { return matrix * scale; }

    /// The map `other` followed by this one.
    constexpr Matrix3T operator*(const Matrix3T& other) const;
    constexpr Vector3T<T> operator*(const Vector3T<T>& vector) const;

    constexpr Matrix3T& operator+=(const Matrix3T& other) { return *this = *this + other; }
    constexpr Matrix3T& operator-=(const Matrix3T& other) { return *this = *this - other; }
    constexpr Matrix3T& operator*=(const Matrix3T& other) { return *this = *this * other; }
    constexpr Matrix3T& operator*=(T scale) { return *this = *this * scale; }

    /// Rows and columns exchanged.
    constexpr Matrix3T Transposed() const;
    /// By how much the map changes volumes; 0 when it has no inverse.
    constexpr T Determinant() const;

    /// The matrix whose product with this one is the identity. The zero matrix, after a report, when this one
    /// is singular.
    Matrix3T Inverse() const;

    /// Fills in the inverse. False, and `pInverse` untouched, when this matrix is singular: when its
    /// determinant is no larger than the rounding of its own calculation, or when the inverse does not fit
    /// finite numbers.
    constexpr bool TryInverse(Matrix3T* pInverse) const;

    constexpr bool IsFinite() const;

    /// Whether every element is near its partner in the sense of Math<T>::IsNear.
    constexpr bool IsNear(const Matrix3T& other, T tolerance = Math<T>::Tolerance) const;

private:
    // Products of floats are taken in double, where they neither overflow nor vanish.
    using Wide = std::conditional_t<(sizeof(T) < sizeof(double)), double, T>;

    static constexpr int Index(int row, int column)
    {
        return QBASE_ASSERT(row >= 0 && row < 3 && column >= 0 && column < 3) ? 3 * column + row : 0;
    }
};

template <typename T>
template <typename U>
constexpr Matrix3T<T>::Matrix3T(const Matrix3T<U>& other)
{
    for (int i = 0; i < 9; ++i) {
        elements[i] = static_cast<T>(other.elements[i]);
    }
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::FromRows(const Vector3T<T>& row0, const Vector3T<T>& row1,
                                            const Vector3T<T>& row2)
{
    return FromColumns(row0, row1, row2).Transposed();
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::FromColumns(const Vector3T<T>& column0, const Vector3T<T>& column1,
                                               const Vector3T<T>& column2)
{
    Matrix3T result;
    result.SetColumn(0, column0);
    result.SetColumn(1, column1);
    result.SetColumn(2, column2);
    return result;
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::Scale(const Vector3T<T>& scale)
{
    Matrix3T result;
    result.elements[0] = scale.x;
    result.elements[4] = scale.y;
    result.elements[8] = scale.z;
    return result;
}

template <typename T>
Matrix3T<T> Matrix3T<T>::RotationX(T angle)
{
    const T sine = Math<T>::Sin(angle);
    const T cosine = Math<T>::Cos(angle);
    return FromRows({1, 0, 0}, {0, cosine, -sine}, {0, sine, cosine});
}

template <typename T>
Matrix3T<T> Matrix3T<T>::RotationY(T angle)
{
    const T sine = Math<T>::Sin(angle);
    const T cosine = Math<T>::Cos(angle);
    return FromRows({cosine, 0, sine}, {0, 1, 0}, {-sine, 0, cosine});
}

template <typename T>
Matrix3T<T> Matrix3T<T>::RotationZ(T angle)
{
    const T sine = Math<T>::Sin(angle);
    const T cosine = Math<T>::Cos(angle);
    return FromRows({cosine, -sine, 0}, {sine, cosine, 0}, {0, 0, 1});
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::Rotation(const QuaternionT<T>& rotation)
{
    const T x = rotation.x, y = rotation.y, z = rotation.z, w = rotation.w;
    return FromRows({1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
                    {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
                    {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)});
}

template <typename T>
QuaternionT<T> Matrix3T<T>::ToQuaternion() const
{
    const Matrix3T& m = *this;
    // Four times the square of each component; the largest is at least 1 for a rotation, so that the root and
    // the division keep their digits.
    const T squareX = 1 + m(0, 0) - m(1, 1) - m(2, 2);
    const T squareY = 1 - m(0, 0) + m(1, 1) - m(2, 2);
    const T squareZ = 1 - m(0, 0) - m(1, 1) + m(2, 2);
    const T squareW = 1 + m(0, 0) + m(1, 1) + m(2, 2);
    const T largest = Math<T>::Max(Math<T>::Max(squareX, squareY), Math<T>::Max(squareZ, squareW));

    QuaternionT<T> result;
    if (largest == squareW)
        result = {m(2, 1) - m(1, 2), m(0, 2) - m(2, 0), m(1, 0) - m(0, 1), squareW};
    else if (largest == squareX)
        result = {squareX, m(0, 1) + m(1, 0), m(0, 2) + m(2, 0), m(2, 1) - m(1, 2)};
    else if (largest == squareY)
        result = {m(0, 1) + m(1, 0), squareY, m(1, 2) + m(2, 1), m(0, 2) - m(2, 0)};
    else
        result = {m(0, 2) + m(2, 0), m(1, 2) + m(2, 1), squareZ, m(1, 0) - m(0, 1)};
    result = result.Normalised();
    return result.w < 0 ? -result : result;
}

template <typename T>
constexpr Vector3T<T> Matrix3T<T>::GetRow(int row) const
{
    return Vector3T<T>((*this)(row, 0), (*this)(row, 1), (*this)(row, 2));
}

template <typename T>
constexpr Vector3T<T> Matrix3T<T>::GetColumn(int column) const
{
    return Vector3T<T>((*this)(0, column), (*this)(1, column), (*this)(2, column));
}

template <typename T>
constexpr void Matrix3T<T>::SetRow(int row, const Vector3T<T>& values)
{
    if (!QBASE_ASSERT(row >= 0 && row < 3))
        return;
    elements[row] = values.x;
    elements[3 + row] = values.y;
    elements[6 + row] = values.z;
}

template <typename T>
constexpr void Matrix3T<T>::SetColumn(int column, const Vector3T<T>& values)
{
    if (!QBASE_ASSERT(column >= 0 && column < 3))
        return;
    elements[3 * column] = values.x;
    elements[3 * column + 1] = values.y;
    elements[3 * column + 2] = values.z;
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::operator+(const Matrix3T& other) const
{
    Matrix3T result;
    for (int i = 0; i < 9; ++i) {
        result.elements[i] = elements[i] + other.elements[i];
    }
    return result;
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::operator-(const Matrix3T& other) const
{
    Matrix3T result;
    for (int i = 0; i < 9; ++i) {
        result.elements[i] = elements[i] - other.elements[i];
    }
    return result;
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::operator*(T scale) const
{
    Matrix3T result;
    for (int i = 0; i < 9; ++i) {
        result.elements[i] = elements[i] * scale;
    }
    return result;
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::operator*(const Matrix3T& other) const
{
    // Whole columns at a time, which compilers turn into vector instructions.
    const Vector3T<T> x = GetColumn(0), y = GetColumn(1), z = GetColumn(2);
    Matrix3T result;
    for (int column = 0; column < 3; ++column) {
        const T* e = other.elements + 3 * column;
        result.SetColumn(column, x * e[0] + y * e[1] + z * e[2]);
    }
    return result;
}

template <typename T>
constexpr Vector3T<T> Matrix3T<T>::operator*(const Vector3T<T>& vector) const
{
    const T* e = elements;
    return Vector3T<T>(e[0] * vector.x + e[3] * vector.y + e[6] * vector.z,
                       e[1] * vector.x + e[4] * vector.y + e[7] * vector.z,
                       e[2] * vector.x + e[5] * vector.y + e[8] * vector.z);
}

template <typename T>
constexpr Matrix3T<T> Matrix3T<T>::Transposed() const
{
    Matrix3T result;
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 3; ++row) {
            result.elements[3 * column + row] = elements[3 * row + column];
        }
    }
    return result;
}

template <typename T>
constexpr T Matrix3T<T>::Determinant() const
{
    const Matrix3T<Wide> m(*this);
    return static_cast<T>(m.GetColumn(0).Dot(m.GetColumn(1).Cross(m.GetColumn(2))));
}

template <typename T>
Matrix3T<T> Matrix3T<T>::Inverse() const
{
    Matrix3T result;
    if (!TryInverse(&result))
        Error(QBASE_HERE, "Failed to invert matrix - it is singular");
    return result;
}

template <typename T>
constexpr bool Matrix3T<T>::TryInverse(Matrix3T* pInverse) const
{
    // The rows of the inverse are the cross products of the columns, divided by the determinant.
    const Matrix3T<Wide> m(*this);
    const Vector3T<Wide> a = m.GetColumn(0), b = m.GetColumn(1), c = m.GetColumn(2);
    const Vector3T<Wide> bc = b.Cross(c), ca = c.Cross(a), ab = a.Cross(b);
    const Wide determinant = a.Dot(bc);

    const Vector3T<Wide> sizeB = b.Abs(), sizeC = c.Abs();
    const Vector3T<Wide> sizeBC(sizeB.y * sizeC.z + sizeB.z * sizeC.y, sizeB.z * sizeC.x + sizeB.x * sizeC.z,
                                sizeB.x * sizeC.y + sizeB.y * sizeC.x);
    const Wide rounding = 8 * Math<Wide>::Epsilon * a.Abs().Dot(sizeBC);
    if (!(Math<Wide>::Abs(determinant) > rounding) || !Math<Wide>::IsFinite(determinant))
        return false;
    const Matrix3T inverse(Matrix3T<Wide>::FromRows(bc / determinant, ca / determinant, ab / determinant));
    if (!inverse.IsFinite())
        return false;
    *pInverse = inverse;
    return true;
}

template <typename T>
constexpr bool Matrix3T<T>::IsFinite() const
{
    for (T element : elements) {
        if (!Math<T>::IsFinite(element))
            return false;
    }
    return true;
}

template <typename T>
constexpr bool Matrix3T<T>::IsNear(const Matrix3T& other, T tolerance) const
{
    for (int i = 0; i < 9; ++i) {
        if (!Math<T>::IsNear(elements[i], other.elements[i], tolerance))
            return false;
    }
    return true;
}

/// With float elements.
using Matrix3 = Matrix3T<float>;

static_assert(sizeof(Matrix3) == 36);
static_assert(std::is_trivially_copyable_v<Matrix3> && std::is_standard_layout_v<Matrix3>);

} // namespace QBase
