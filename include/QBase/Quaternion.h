// QuaternionT is a plain record x, y, z, w of the quaternion w + xi + yj + zk. Quaternion has float
// components. Quaternions of length 1 stand for rotations in space; q and -q for the same one.
//
//     Quaternion turn = Quaternion::FromAxisAngle(Vector3::UnitZ(), Math<float>::HalfPi);
//     Vector3 up = turn.Rotate(Vector3::UnitX());                // UnitY()
//     Quaternion both = tilt * turn;                             // first turn, then tilt
//     Quaternion halfway = Quaternion::Slerp(from, to, 0.5f);
//
// Space is right-handed, a positive angle turns counter-clockwise for someone towards whom the axis points,
// and angles are radians. Products apply the right factor first, as matrices on column vectors do. Euler
// angles (x, y, z) turn first about the fixed x axis, then the fixed y axis, then the fixed z axis.
//
// A default-constructed quaternion is zero, like every other record, so that zeroed memory is a default
// quaternion; it stands for no rotation at all. Identity() is the rotation that turns nothing.
//
// Sources: product, conjugate, inverse and Slerp are Shoemake, "Animating Rotation with Quaternion Curves"
// (SIGGRAPH 1985); FromTo is Melax, "The Shortest Arc Quaternion" (Game Programming Gems, 2000); ToEuler is
// Bernardes and Viollet, "Quaternion to Euler Angles Conversion" (PLoS ONE 17, 2022). Rotate is the product
// q v q* multiplied out.
//
// Threads: nothing here is shared; different threads may use different quaternions freely.

#pragma once

#include "QBase/Math.h"
#include "QBase/Vector3.h"
#include "QBase/VectorLength.h"

#include <concepts>
#include <type_traits>

namespace QBase
{

template <typename T>
class QuaternionT
{
    static_assert(std::floating_point<T>, "QuaternionT<T> takes a floating-point type");

public:
    /// The components, w being the real one.
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 0;

    constexpr QuaternionT() = default;
    constexpr QuaternionT(T xValue, T yValue, T zValue, T wValue) : x(xValue), y(yValue), z(zValue), w(wValue)
    {}
    constexpr QuaternionT(const Vector3T<T>& xyz, T wValue) : x(xyz.x), y(xyz.y), z(xyz.z), w(wValue) {}

    template <typename U>
    constexpr explicit QuaternionT(const QuaternionT<U>& other)
        : x(static_cast<T>(other.x)), y(static_cast<T>(other.y)), z(static_cast<T>(other.z)),
          w(static_cast<T>(other.w))
    {}

    /// The rotation that turns nothing: (0, 0, 0, 1).
    static constexpr QuaternionT Identity() { return QuaternionT(0, 0, 0, 1); }

    /// The rotation by `angle` about `axis`, which may have any length; Identity() for a zero axis.
    static QuaternionT FromAxisAngle(const Vector3T<T>& axis, T angle);

    /// The rotation about the fixed x axis by angles.x, then about y by angles.y, then about z by angles.z.
    static QuaternionT FromEuler(const Vector3T<T>& angles);

    /// The smallest rotation that turns the direction `from` into the direction `to`. Half a turn about some
    /// perpendicular axis when they are opposite; Identity() when one is zero.
    static QuaternionT FromTo(const Vector3T<T>& from, const Vector3T<T>& to);

    /// Fills in a unit axis and the angle in [0, Pi] about it. The rotation that turns nothing, and the zero
    /// quaternion, have the axis UnitX() and the angle 0.
    void ToAxisAngle(Vector3T<T>* pAxis, T* pAngle) const;

    /// The angles that FromEuler takes: x and z in [-Pi, Pi], y in [-Pi/2, Pi/2]. Where y is a quarter turn,
    /// x and z turn about the same axis; all of it is then given in x. The zero quaternion gives zero.
    Vector3T<T> ToEuler() const;

    /// The first three components.
    constexpr Vector3T<T> ToVector3() const { return Vector3T<T>(x, y, z); }

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing. A quaternion
    /// and its negative are different although they stand for the same rotation.
    constexpr bool operator==(const QuaternionT&) const = default;

    constexpr QuaternionT operator-() const { return QuaternionT(-x, -y, -z, -w); }
    constexpr QuaternionT operator+(const QuaternionT& other) const;
    constexpr QuaternionT operator-(const QuaternionT& other) const;
    constexpr QuaternionT operator*(T scale) const
    {
        return QuaternionT(x * scale, y * scale, z * scale, w * scale);
    }
    constexpr QuaternionT operator/(T divisor) const
    {
        return QuaternionT(x / divisor, y / divisor, z / divisor, w / divisor);
    }
    friend constexpr QuaternionT operator*(T scale, const QuaternionT& quaternion)
    {
        return quaternion * scale;
    }

    /// The product: the rotation `other` followed by this one.
    constexpr QuaternionT operator*(const QuaternionT& other) const;

    constexpr QuaternionT& operator+=(const QuaternionT& other) { return *this = *this + other; }
    constexpr QuaternionT& operator-=(const QuaternionT& other) { return *this = *this - other; }
    constexpr QuaternionT& operator*=(const QuaternionT& other) { return *this = *this * other; }
    constexpr QuaternionT& operator*=(T scale) { return *this = *this * scale; }
    constexpr QuaternionT& operator/=(T divisor) { return *this = *this / divisor; }

    /// The sum of the products of the components.
    constexpr T Dot(const QuaternionT& other) const
    {
        return x * other.x + y * other.y + z * other.z + w * other.w;
    }

    /// The square of the length, which needs no root.
    constexpr T LengthSquared() const { return Dot(*this); }

    /// The size of the component farthest from zero.
    constexpr T LargestComponent() const;

    /// Right for components of any size: squares that do not fit are avoided.
    T Length() const { return VectorLength(*this); }

    /// The quaternion of length 1 in the same direction; Identity() for one that is zero or not finite.
    QuaternionT Normalised() const;

    /// Scales to length 1. False, and nothing changed, for a quaternion that is zero or not finite.
    bool Normalise() { return NormaliseVector(*this); }

    /// (-x, -y, -z, w): for a rotation, the one that takes it back.
    constexpr QuaternionT Conjugate() const { return QuaternionT(-x, -y, -z, w); }

    /// The quaternion whose product with this one is Identity(), whatever the length; zero for the zero
    /// quaternion, which has none.
    QuaternionT Inverse() const;

    /// `vector` turned by this rotation, which must have length 1.
    constexpr Vector3T<T> Rotate(const Vector3T<T>& vector) const;

    /// The angle in [0, Pi] of the smallest rotation from this one to `other`. Both must have length 1.
    T AngleTo(const QuaternionT& other) const;

    /// The rotation at t on the way from `from` at 0 to `to` at 1, the shorter way round and at constant
    /// speed. Both must have length 1.
    static QuaternionT Slerp(const QuaternionT& from, const QuaternionT& to, T t);

    /// The same way as Slerp at a slightly uneven speed, for a fraction of the cost.
    static QuaternionT Nlerp(const QuaternionT& from, const QuaternionT& to, T t);

    constexpr bool IsFinite() const;

    /// Whether every component is near its partner in the sense of Math<T>::IsNear.
    constexpr bool IsNear(const QuaternionT& other, T tolerance = Math<T>::Tolerance) const;

    /// Whether both stand for nearly the same rotation: near each other or each other's negative.
    constexpr bool IsNearRotation(const QuaternionT& other, T tolerance = Math<T>::Tolerance) const
    {
        return IsNear(other, tolerance) || IsNear(-other, tolerance);
    }
};

template <typename T>
QuaternionT<T> QuaternionT<T>::FromAxisAngle(const Vector3T<T>& axis, T angle)
{
    Vector3T<T> direction = axis;
    if (!direction.Normalise())
        return Identity();
    return QuaternionT(direction * Math<T>::Sin(angle / 2), Math<T>::Cos(angle / 2));
}

template <typename T>
QuaternionT<T> QuaternionT<T>::FromEuler(const Vector3T<T>& angles)
{
    const QuaternionT aboutX(Math<T>::Sin(angles.x / 2), 0, 0, Math<T>::Cos(angles.x / 2));
    const QuaternionT aboutY(0, Math<T>::Sin(angles.y / 2), 0, Math<T>::Cos(angles.y / 2));
    const QuaternionT aboutZ(0, 0, Math<T>::Sin(angles.z / 2), Math<T>::Cos(angles.z / 2));
    return aboutZ * aboutY * aboutX;
}

template <typename T>
QuaternionT<T> QuaternionT<T>::FromTo(const Vector3T<T>& from, const Vector3T<T>& to)
{
    Vector3T<T> start = from;
    Vector3T<T> end = to;
    if (!start.Normalise() || !end.Normalise())
        return Identity();
    // The half-way vector between the unit vectors lies at half the angle, so that the product of one with it
    // is the rotation itself. Opposite directions have none.
    const Vector3T<T> sum = start + end;
    Vector3T<T> half = sum;
    if (sum.Length() <= Math<T>::Tolerance || !half.Normalise())
        return QuaternionT(start.AnyPerpendicular(), 0);
    return QuaternionT(start.Cross(half), start.Dot(half)).Normalised();
}

template <typename T>
void QuaternionT<T>::ToAxisAngle(Vector3T<T>* pAxis, T* pAngle) const
{
    const QuaternionT shorter = w < 0 ? -*this : *this;
    Vector3T<T> axis = shorter.ToVector3();
    const T sine = axis.Length();
    if (!axis.Normalise()) {
        *pAxis = Vector3T<T>::UnitX();
        *pAngle = 0;
        return;
    }
    *pAxis = axis;
    *pAngle = 2 * Math<T>::Atan2(sine, shorter.w);
}

template <typename T>
Vector3T<T> QuaternionT<T>::ToEuler() const
{
    // (a, b) points at half the sum of x and z and has the length of the cosine of Pi/4 + y/2; (c, d) does so
    // for half of z - x and the sine. Near a quarter turn one pair is noise, which the sum and difference
    // cancel.
    const T a = w - y, b = x + z, c = w + y, d = z - x;
    const T lengthOfSum = std::hypot(a, b);
    const T lengthOfDifference = std::hypot(c, d);
    if (lengthOfSum == 0 && lengthOfDifference == 0)
        return Vector3T<T>();
    const T halfSum = Math<T>::Atan2(b, a);
    const T halfDifference = Math<T>::Atan2(d, c);
    const T noise = 4 * Math<T>::Epsilon * (lengthOfSum + lengthOfDifference);
    if (lengthOfSum <= noise)
        return Vector3T<T>(Math<T>::WrapAngle(-2 * halfDifference), Math<T>::HalfPi, 0);
    if (lengthOfDifference <= noise)
        return Vector3T<T>(Math<T>::WrapAngle(2 * halfSum), -Math<T>::HalfPi, 0);
    return Vector3T<T>(Math<T>::WrapAngle(halfSum - halfDifference),
                       2 * Math<T>::Atan2(lengthOfDifference, lengthOfSum) - Math<T>::HalfPi,
                       Math<T>::WrapAngle(halfSum + halfDifference));
}

template <typename T>
constexpr QuaternionT<T> QuaternionT<T>::operator+(const QuaternionT& other) const
{
    return QuaternionT(x + other.x, y + other.y, z + other.z, w + other.w);
}

template <typename T>
constexpr QuaternionT<T> QuaternionT<T>::operator-(const QuaternionT& other) const
{
    return QuaternionT(x - other.x, y - other.y, z - other.z, w - other.w);
}

template <typename T>
constexpr QuaternionT<T> QuaternionT<T>::operator*(const QuaternionT& other) const
{
    return QuaternionT(w * other.x + x * other.w + y * other.z - z * other.y,
                       w * other.y - x * other.z + y * other.w + z * other.x,
                       w * other.z + x * other.y - y * other.x + z * other.w,
                       w * other.w - x * other.x - y * other.y - z * other.z);
}

template <typename T>
constexpr T QuaternionT<T>::LargestComponent() const
{
    return Math<T>::Max(Math<T>::Max(Math<T>::Abs(x), Math<T>::Abs(y)),
                        Math<T>::Max(Math<T>::Abs(z), Math<T>::Abs(w)));
}

template <typename T>
QuaternionT<T> QuaternionT<T>::Normalised() const
{
    QuaternionT result = *this;
    return NormaliseVector(result) ? result : Identity();
}

template <typename T>
QuaternionT<T> QuaternionT<T>::Inverse() const
{
    QuaternionT unit = *this;
    if (!unit.Normalise())
        return QuaternionT();
    return unit.Conjugate() / Length();
}

template <typename T>
constexpr Vector3T<T> QuaternionT<T>::Rotate(const Vector3T<T>& vector) const
{
    const Vector3T<T> axis = ToVector3();
    const Vector3T<T> twiceCross = axis.Cross(vector) * T(2);
    return vector + twiceCross * w + axis.Cross(twiceCross);
}

template <typename T>
T QuaternionT<T>::AngleTo(const QuaternionT& other) const
{
    const QuaternionT difference = Conjugate() * other;
    return 2 * Math<T>::Atan2(difference.ToVector3().Length(), Math<T>::Abs(difference.w));
}

template <typename T>
QuaternionT<T> QuaternionT<T>::Slerp(const QuaternionT& from, const QuaternionT& to, T t)
{
    const QuaternionT end = from.Dot(to) < 0 ? -to : to;
    // Half the length of the difference and of the sum are the sine and cosine of half the angle; unlike the
    // arc cosine of the product they keep their digits when the rotations are close.
    const T angle = 2 * Math<T>::Atan2((end - from).Length(), (end + from).Length());
    const T sine = Math<T>::Sin(angle);
    if (sine <= Math<T>::Epsilon)
        return Nlerp(from, to, t);
    return from * (Math<T>::Sin((1 - t) * angle) / sine) + end * (Math<T>::Sin(t * angle) / sine);
}

template <typename T>
QuaternionT<T> QuaternionT<T>::Nlerp(const QuaternionT& from, const QuaternionT& to, T t)
{
    const QuaternionT end = from.Dot(to) < 0 ? -to : to;
    return (from * (1 - t) + end * t).Normalised();
}

template <typename T>
constexpr bool QuaternionT<T>::IsFinite() const
{
    return Math<T>::IsFinite(x) && Math<T>::IsFinite(y) && Math<T>::IsFinite(z) && Math<T>::IsFinite(w);
}

template <typename T>
constexpr bool QuaternionT<T>::IsNear(const QuaternionT& other, T tolerance) const
{
    return Math<T>::IsNear(x, other.x, tolerance) && Math<T>::IsNear(y, other.y, tolerance) &&
           Math<T>::IsNear(z, other.z, tolerance) && Math<T>::IsNear(w, other.w, tolerance);
}

/// With float components.
using Quaternion = QuaternionT<float>;

static_assert(sizeof(Quaternion) == 16);
static_assert(std::is_trivially_copyable_v<Quaternion> && std::is_standard_layout_v<Quaternion>);

} // namespace QBase
