// Vector2T is a plain record of two components: a point, a direction or a size in the plane. Vector2 has
// float and Vector2i int components.
//
//     Vector2 position(3.0f, 4.0f);
//     position += heading.Normalised() * speed; // heading may be zero: so is its Normalised()
//     Vector2i cell(position);                  // (3, 4): towards zero, clamped to the range of int
//
// The plane has its x axis to the right and its y axis up: positive angles and Cross turn counter-clockwise,
// from x to y.
//
// A default-constructed vector is zero. The record is trivially copyable and its components lie one after the
// other without padding, so it can be copied byte by byte. Operators on two vectors work component by
// component. What needs a root, an angle or a fraction exists for floating-point components only. Integer
// sums and products must fit their type; integer division is Math<T>::Divide.
//
// Threads: nothing here is shared; different threads may use different vectors freely.

#pragma once

#include "QBase/Math.h"
#include "QBase/VectorLength.h"

#include <concepts>
#include <type_traits>

namespace QBase
{

template <typename T>
class Vector2T
{
public:
    /// The components.
    T x = 0;
    T y = 0;

    constexpr Vector2T() = default;
    constexpr Vector2T(T xValue, T yValue) : x(xValue), y(yValue) {}

    /// The same number in every component.
    constexpr explicit Vector2T(T value) : x(value), y(value) {}

    /// Each component through Math<T>::Convert.
    template <typename U>
    constexpr explicit Vector2T(const Vector2T<U>& other)
        : x(Math<T>::Convert(other.x)), y(Math<T>::Convert(other.y))
    {}

    /// The vectors of length 1 along the axes.
    static constexpr Vector2T UnitX() { return Vector2T(1, 0); }
    static constexpr Vector2T UnitY() { return Vector2T(0, 1); }

    /// The component at `index`: 0 is x. An index outside is a broken promise and, when the program is
    /// resumed, gives the last component.
    constexpr T& operator[](int index);
    constexpr T operator[](int index) const;

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector2T&) const = default;

    constexpr Vector2T operator-() const { return Vector2T(-x, -y); }
    constexpr Vector2T operator+(const Vector2T& other) const { return Vector2T(x + other.x, y + other.y); }
    constexpr Vector2T operator-(const Vector2T& other) const { return Vector2T(x - other.x, y - other.y); }
    constexpr Vector2T operator*(const Vector2T& other) const { return Vector2T(x * other.x, y * other.y); }
    constexpr Vector2T operator/(const Vector2T& other) const
    {
        return Vector2T(Math<T>::Divide(x, other.x), Math<T>::Divide(y, other.y));
    }
    constexpr Vector2T operator*(T scale) const { return Vector2T(x * scale, y * scale); }
    constexpr Vector2T operator/(T divisor) const { return *this / Vector2T(divisor); }
    friend constexpr Vector2T operator*(T scale, const Vector2T& vector) { return vector * scale; }

    constexpr Vector2T& operator+=(const Vector2T& other) { return *this = *this + other; }
    constexpr Vector2T& operator-=(const Vector2T& other) { return *this = *this - other; }
    constexpr Vector2T& operator*=(const Vector2T& other) { return *this = *this * other; }
    constexpr Vector2T& operator/=(const Vector2T& other) { return *this = *this / other; }
    constexpr Vector2T& operator*=(T scale) { return *this = *this * scale; }
    constexpr Vector2T& operator/=(T divisor) { return *this = *this / divisor; }

    /// The sum of the products of the components.
    constexpr T Dot(const Vector2T& other) const { return x * other.x + y * other.y; }

    /// The area of the parallelogram over both vectors, positive when the shorter turn to `other` is
    /// counter-clockwise.
    constexpr T Cross(const Vector2T& other) const { return x * other.y - y * other.x; }

    /// This vector turned a quarter counter-clockwise.
    constexpr Vector2T Perpendicular() const { return Vector2T(-y, x); }

    /// The square of the length, which needs no root.
    constexpr T LengthSquared() const { return Dot(*this); }

    /// The size of the component farthest from zero.
    constexpr T LargestComponent() const { return Math<T>::Max(Math<T>::Abs(x), Math<T>::Abs(y)); }

    /// Right for components of any size: squares that do not fit are avoided.
    T Length() const requires std::floating_point<T> { return VectorLength(*this); }

    /// The length of the difference.
    T DistanceTo(const Vector2T& other) const requires std::floating_point<T>
    {
        return (other - *this).Length();
    }

    /// The vector of length 1 in the same direction; `fallback` when there is none, for a vector that is zero
    /// or not finite.
    Vector2T Normalised(const Vector2T& fallback = Vector2T()) const requires std::floating_point<T>
    {
        Vector2T result = *this;
        return NormaliseVector(result) ? result : fallback;
    }

    /// Scales to length 1. False, and nothing changed, for a vector that is zero or not finite.
    bool Normalise() requires std::floating_point<T> { return NormaliseVector(*this); }

    /// The angle from the x axis, counter-clockwise, in [-Pi, Pi]; 0 for the zero vector.
    T Angle() const requires std::floating_point<T> { return Math<T>::Atan2(y, x); }

    /// The angle from here to `other`, counter-clockwise, in [-Pi, Pi].
    T AngleTo(const Vector2T& other) const requires std::floating_point<T>
    {
        return Math<T>::Atan2(Cross(other), Dot(other));
    }

    /// This vector turned counter-clockwise.
    Vector2T Rotated(T angle) const requires std::floating_point<T>
    {
        const T sine = Math<T>::Sin(angle);
        const T cosine = Math<T>::Cos(angle);
        return Vector2T(x * cosine - y * sine, x * sine + y * cosine);
    }

    /// The part of this vector that lies along `axis`; zero along a zero axis.
    Vector2T ProjectedOnto(const Vector2T& axis) const requires std::floating_point<T>
    {
        const Vector2T direction = axis.Normalised();
        return direction * Dot(direction);
    }

    /// This vector thrown back by the plane through the origin with the unit normal `normal`.
    constexpr Vector2T Reflected(const Vector2T& normal) const { return *this - normal * (2 * Dot(normal)); }

    /// From `from` at t = 0 to `to` at t = 1, both hit exactly.
    static constexpr Vector2T Lerp(const Vector2T& from, const Vector2T& to,
                                   T t) requires std::floating_point<T>
    {
        return from * (1 - t) + to * t;
    }

    /// The smaller of each pair of components.
    static constexpr Vector2T Min(const Vector2T& first, const Vector2T& second)
    {
        return Vector2T(Math<T>::Min(first.x, second.x), Math<T>::Min(first.y, second.y));
    }

    /// The larger of each pair of components.
    static constexpr Vector2T Max(const Vector2T& first, const Vector2T& second)
    {
        return Vector2T(Math<T>::Max(first.x, second.x), Math<T>::Max(first.y, second.y));
    }

    /// Each component moved between its partners; see Math::Clamp.
    static constexpr Vector2T Clamp(const Vector2T& value, const Vector2T& low, const Vector2T& high)
    {
        return Vector2T(Math<T>::Clamp(value.x, low.x, high.x), Math<T>::Clamp(value.y, low.y, high.y));
    }

    /// Each component without its sign.
    constexpr Vector2T Abs() const { return Vector2T(Math<T>::Abs(x), Math<T>::Abs(y)); }

    constexpr bool IsFinite() const requires std::floating_point<T>
    {
        return Math<T>::IsFinite(x) && Math<T>::IsFinite(y);
    }

    /// Whether every component is near its partner in the sense of Math<T>::IsNear.
    constexpr bool IsNear(const Vector2T& other,
                          T tolerance = Math<T>::Tolerance) const requires std::floating_point<T>
    {
        return Math<T>::IsNear(x, other.x, tolerance) && Math<T>::IsNear(y, other.y, tolerance);
    }
};

template <typename T>
constexpr T& Vector2T<T>::operator[](int index)
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 2));
    return index == 0 ? x : y;
}

template <typename T>
constexpr T Vector2T<T>::operator[](int index) const
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 2));
    return index == 0 ? x : y;
}

/// With float and with int components.
using Vector2 = Vector2T<float>;
using Vector2i = Vector2T<int>;

static_assert(sizeof(Vector2) == 8 && sizeof(Vector2i) == 8);
static_assert(std::is_trivially_copyable_v<Vector2> && std::is_standard_layout_v<Vector2>);
static_assert(std::is_trivially_copyable_v<Vector2i> && std::is_standard_layout_v<Vector2i>);

} // namespace QBase
