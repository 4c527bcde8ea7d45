// Vector3T is a plain record of three components: a point, a direction or a size in space. Vector3 has
// float and Vector3i int components.
//
//     Vector3 side = forward.Cross(Vector3::UnitY()).Normalised();
//     position += side * speed;
//     Vector3i cell(position);  // towards zero, clamped to the range of int
//
// Space is right-handed: UnitX().Cross(UnitY()) is UnitZ(), and a positive angle turns counter-clockwise for
// someone towards whom the axis points.
//
// A default-constructed vector is zero. The record is trivially copyable and its components lie one after the
// other without padding, so it can be copied byte by byte. Operators on two vectors work component by
// component. What needs a root, an angle or a fraction exists for floating-point components only. Integer
// sums and products must fit their type; integer division is Math<T>::Divide.
//
// Sources: AnyPerpendicular is Hughes and Moeller, "Building an Orthonormal Basis from a Unit Vector"
// (Journal of Graphics Tools 4, 1999); AngleTo is the arc tangent form of Kahan, "How Futile are Mindless
// Assessments of Roundoff in Floating-Point Computation?" (2006), which keeps its digits at small angles.
//
// Threads: nothing here is shared; different threads may use different vectors freely.

#pragma once

#include "QBase/Math.h"
#include "QBase/Vector2.h"
#include "QBase/VectorLength.h"

#include <concepts>
#include <type_traits>

namespace QBase
{

template <typename T>
class Vector3T
{
public:
    /// The components.
    T x = 0;
    T y = 0;
    T z = 0;

    constexpr Vector3T() = default;
    constexpr Vector3T(T xValue, T yValue, T zValue) : x(xValue), y(yValue), z(zValue) {}

    /// The same number in every component.
    constexpr explicit Vector3T(T value) : x(value), y(value), z(value) {}

    constexpr Vector3T(const Vector2T<T>& xy, T zValue) : x(xy.x), y(xy.y), z(zValue) {}

    /// Each component through Math<T>::Convert.
    template <typename U>
    constexpr explicit Vector3T(const Vector3T<U>& other)
        : x(Math<T>::Convert(other.x)), y(Math<T>::Convert(other.y)), z(Math<T>::Convert(other.z))
    {}

    /// The vectors of length 1 along the axes.
    static constexpr Vector3T UnitX() { return Vector3T(1, 0, 0); }
    static constexpr Vector3T UnitY() { return Vector3T(0, 1, 0); }
    static constexpr Vector3T UnitZ() { return Vector3T(0, 0, 1); }

    /// The first two components.
    constexpr Vector2T<T> ToVector2() const { return Vector2T<T>(x, y); }

    /// The component at `index`: 0 is x. An index outside is a broken promise and, when the program is
    /// resumed, gives the last component.
    constexpr T& operator[](int index);
    constexpr T operator[](int index) const;

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector3T&) const = default;

    constexpr Vector3T operator-() const { return Vector3T(-x, -y, -z); }
    constexpr Vector3T operator+(const Vector3T& other) const
    {
        return Vector3T(x + other.x, y + other.y, z + other.z);
    }
    constexpr Vector3T operator-(const Vector3T& other) const
    {
        return Vector3T(x - other.x, y - other.y, z - other.z);
    }
    constexpr Vector3T operator*(const Vector3T& other) const
    {
        return Vector3T(x * other.x, y * other.y, z * other.z);
    }
    constexpr Vector3T operator/(const Vector3T& other) const
    {
        return Vector3T(Math<T>::Divide(x, other.x), Math<T>::Divide(y, other.y),
                        Math<T>::Divide(z, other.z));
    }
    constexpr Vector3T operator*(T scale) const { return Vector3T(x * scale, y * scale, z * scale); }
    constexpr Vector3T operator/(T divisor) const { return *this / Vector3T(divisor); }
    friend constexpr Vector3T operator*(T scale, const Vector3T& vector) { return vector * scale; }

    constexpr Vector3T& operator+=(const Vector3T& other) { return *this = *this + other; }
    constexpr Vector3T& operator-=(const Vector3T& other) { return *this = *this - other; }
    constexpr Vector3T& operator*=(const Vector3T& other) { return *this = *this * other; }
    constexpr Vector3T& operator/=(const Vector3T& other) { return *this = *this / other; }
    constexpr Vector3T& operator*=(T scale) { return *this = *this * scale; }
    constexpr Vector3T& operator/=(T divisor) { return *this = *this / divisor; }

    /// The sum of the products of the components.
    constexpr T Dot(const Vector3T& other) const { return x * other.x + y * other.y + z * other.z; }

    /// Perpendicular to both, by the right-hand rule.
    constexpr Vector3T Cross(const Vector3T& other) const
    {
        return Vector3T(y * other.z - z * other.y, z * other.x - x * other.z, x * other.y - y * other.x);
    }

    /// The square of the length, which needs no root.
    constexpr T LengthSquared() const { return Dot(*this); }

    /// The size of the component farthest from zero.
    constexpr T LargestComponent() const
    {
        return Math<T>::Max(Math<T>::Max(Math<T>::Abs(x), Math<T>::Abs(y)), Math<T>::Abs(z));
    }

    /// Right for components of any size: squares that do not fit are avoided.
    T Length() const requires std::floating_point<T> { return VectorLength(*this); }

    /// The length of the difference.
    T DistanceTo(const Vector3T& other) const requires std::floating_point<T>
    {
        return (other - *this).Length();
    }

    /// The vector of length 1 in the same direction; `fallback` when there is none, for a vector that is zero
    /// or not finite.
    Vector3T Normalised(const Vector3T& fallback = Vector3T()) const requires std::floating_point<T>
    {
        Vector3T result = *this;
        return NormaliseVector(result) ? result : fallback;
    }

    /// Scales to length 1. False, and nothing changed, for a vector that is zero or not finite.
    bool Normalise() requires std::floating_point<T> { return NormaliseVector(*this); }

    /// The angle between both, in [0, Pi]; 0 when either is zero.
    T AngleTo(const Vector3T& other) const requires std::floating_point<T>
    {
        return Math<T>::Atan2(Cross(other).Length(), Dot(other));
    }

    /// A unit vector perpendicular to this one; UnitX() for the zero vector.
    Vector3T AnyPerpendicular() const requires std::floating_point<T>;

    /// The part of this vector that lies along `axis`; zero along a zero axis.
    Vector3T ProjectedOnto(const Vector3T& axis) const requires std::floating_point<T>
    {
        const Vector3T direction = axis.Normalised();
        return direction * Dot(direction);
    }

    /// This vector thrown back by the plane through the origin with the unit normal `normal`.
    constexpr Vector3T Reflected(const Vector3T& normal) const { return *this - normal * (2 * Dot(normal)); }

    /// From `from` at t = 0 to `to` at t = 1, both hit exactly.
    static constexpr Vector3T Lerp(const Vector3T& from, const Vector3T& to,
                                   T t) requires std::floating_point<T>
    {
        return from * (1 - t) + to * t;
    }

    /// The smaller of each pair of components.
    static constexpr Vector3T Min(const Vector3T& first, const Vector3T& second)
    {
        return Vector3T(Math<T>::Min(first.x, second.x), Math<T>::Min(first.y, second.y),
                        Math<T>::Min(first.z, second.z));
    }

    /// The larger of each pair of components.
    static constexpr Vector3T Max(const Vector3T& first, const Vector3T& second)
    {
        return Vector3T(Math<T>::Max(first.x, second.x), Math<T>::Max(first.y, second.y),
                        Math<T>::Max(first.z, second.z));
    }

    /// Each component moved between its partners; see Math::Clamp.
    static constexpr Vector3T Clamp(const Vector3T& value, const Vector3T& low, const Vector3T& high)
    {
        return Vector3T(Math<T>::Clamp(value.x, low.x, high.x), Math<T>::Clamp(value.y, low.y, high.y),
                        Math<T>::Clamp(value.z, low.z, high.z));
    }

    /// Each component without its sign.
    constexpr Vector3T Abs() const { return Vector3T(Math<T>::Abs(x), Math<T>::Abs(y), Math<T>::Abs(z)); }

    constexpr bool IsFinite() const requires std::floating_point<T>
    {
        return Math<T>::IsFinite(x) && Math<T>::IsFinite(y) && Math<T>::IsFinite(z);
    }

    /// Whether every component is near its partner in the sense of Math<T>::IsNear.
    constexpr bool IsNear(const Vector3T& other,
                          T tolerance = Math<T>::Tolerance) const requires std::floating_point<T>
    {
        return Math<T>::IsNear(x, other.x, tolerance) && Math<T>::IsNear(y, other.y, tolerance) &&
               Math<T>::IsNear(z, other.z, tolerance);
    }
};

template <typename T>
constexpr T& Vector3T<T>::operator[](int index)
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 3));
    return index == 0 ? x : index == 1 ? y : z;
}

template <typename T>
constexpr T Vector3T<T>::operator[](int index) const
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 3));
    return index == 0 ? x : index == 1 ? y : z;
}

template <typename T>
Vector3T<T> Vector3T<T>::AnyPerpendicular() const requires std::floating_point<T>
{
    // Dropping the component nearest to zero keeps the other two well away from it.
    const Vector3T size = Abs();
    if (size.x <= size.y && size.x <= size.z)
        return Vector3T(0, -z, y).Normalised(UnitX());
    if (size.y <= size.z)
        return Vector3T(-z, 0, x).Normalised(UnitX());
    return Vector3T(-y, x, 0).Normalised(UnitX());
}

/// With float and with int components.
using Vector3 = Vector3T<float>;
using Vector3i = Vector3T<int>;

static_assert(sizeof(Vector3) == 12 && sizeof(Vector3i) == 12);
static_assert(std::is_trivially_copyable_v<Vector3> && std::is_standard_layout_v<Vector3>);
static_assert(std::is_trivially_copyable_v<Vector3i> && std::is_standard_layout_v<Vector3i>);

} // namespace QBase
