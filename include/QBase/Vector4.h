// Vector4T is a plain record of four components: a homogeneous point, a plane or four numbers that belong
// together. Vector4 has float and Vector4i int components.
//
//     Vector4 corner(position, 1.0f);
//     Vector4 clip = projection * corner;
//
// As a homogeneous point it stands for (x/w, y/w, z/w); directions have w = 0. Dot and Length are those of
// four dimensions.
//
// A default-constructed vector is zero. The record is trivially copyable and its components lie one after the
// other without padding, so it can be copied byte by byte. Operators on two vectors work component by
// component. What needs a root, an angle or a fraction exists for floating-point components only. Integer
// sums and products must fit their type; integer division is Math<T>::Divide.
//
// Threads: nothing here is shared; different threads may use different vectors freely.

#pragma once

#include "QBase/Math.h"
#include "QBase/Vector3.h"
#include "QBase/VectorLength.h"

#include <concepts>
#include <type_traits>

namespace QBase
{

template <typename T>
class Vector4T
{
public:
    /// The components.
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 0;

    constexpr Vector4T() = default;
    constexpr Vector4T(T xValue, T yValue, T zValue, T wValue) : x(xValue), y(yValue), z(zValue), w(wValue) {}

    /// The same number in every component.
    constexpr explicit Vector4T(T value) : x(value), y(value), z(value), w(value) {}

    constexpr Vector4T(const Vector3T<T>& xyz, T wValue) : x(xyz.x), y(xyz.y), z(xyz.z), w(wValue) {}

    /// Each component through Math<T>::Convert.
    template <typename U>
    constexpr explicit Vector4T(const Vector4T<U>& other)
        : x(Math<T>::Convert(other.x)), y(Math<T>::Convert(other.y)), z(Math<T>::Convert(other.z)),
          w(Math<T>::Convert(other.w))
    {}

    /// The vectors of length 1 along the axes.
    static constexpr Vector4T UnitX() { return Vector4T(1, 0, 0, 0); }
    static constexpr Vector4T UnitY() { return Vector4T(0, 1, 0, 0); }
    static constexpr Vector4T UnitZ() { return Vector4T(0, 0, 1, 0); }
    static constexpr Vector4T UnitW() { return Vector4T(0, 0, 0, 1); }

    /// The first three components as they are, without a division by w.
    constexpr Vector3T<T> ToVector3() const { return Vector3T<T>(x, y, z); }

    /// The component at `index`: 0 is x. An index outside is a broken promise and, when the program is
    /// resumed, gives the last component.
    constexpr T& operator[](int index);
    constexpr T operator[](int index) const;

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector4T&) const = default;

    constexpr Vector4T operator-() const { return Vector4T(-x, -y, -z, -w); }
    constexpr Vector4T operator+(const Vector4T& other) const
    {
        return Vector4T(x + other.x, y + other.y, z + other.z, w + other.w);
    }
    constexpr Vector4T operator-(const Vector4T& other) const
    {
        return Vector4T(x - other.x, y - other.y, z - other.z, w - other.w);
    }
    constexpr Vector4T operator*(const Vector4T& other) const
    {
        return Vector4T(x * other.x, y * other.y, z * other.z, w * other.w);
    }
    constexpr Vector4T operator/(const Vector4T& other) const
    {
        return Vector4T(Math<T>::Divide(x, other.x), Math<T>::Divide(y, other.y), Math<T>::Divide(z, other.z),
                        Math<T>::Divide(w, other.w));
    }
    constexpr Vector4T operator*(T scale) const
    {
        return Vector4T(x * scale, y * scale, z * scale, w * scale);
    }
    constexpr Vector4T operator/(T divisor) const { return *this / Vector4T(divisor); }
    friend constexpr Vector4T operator*(T scale, const Vector4T& vector) { return vector * scale; }

    constexpr Vector4T& operator+=(const Vector4T& other) { return *this = *this + other; }
    constexpr Vector4T& operator-=(const Vector4T& other) { return *this = *this - other; }
    constexpr Vector4T& operator*=(const Vector4T& other) { return *this = *this * other; }
    constexpr Vector4T& operator/=(const Vector4T& other) { return *this = *this / other; }
    constexpr Vector4T& operator*=(T scale) { return *this = *this * scale; }
    constexpr Vector4T& operator/=(T divisor) { return *this = *this / divisor; }

    /// The sum of the products of the components.
    constexpr T Dot(const Vector4T& other) const
    {
        return x * other.x + y * other.y + z * other.z + w * other.w;
    }

    /// The square of the length, which needs no root.
    constexpr T LengthSquared() const { return Dot(*this); }

    /// The size of the component farthest from zero.
    constexpr T LargestComponent() const
    {
        return Math<T>::Max(Math<T>::Max(Math<T>::Max(Math<T>::Abs(x), Math<T>::Abs(y)), Math<T>::Abs(z)),
                            Math<T>::Abs(w));
    }

    /// Right for components of any size: squares that do not fit are avoided.
    T Length() const requires std::floating_point<T> { return VectorLength(*this); }

    /// The length of the difference.
    T DistanceTo(const Vector4T& other) const requires std::floating_point<T>
    {
        return (other - *this).Length();
    }

    /// The vector of length 1 in the same direction; `fallback` when there is none, for a vector that is zero
    /// or not finite.
    Vector4T Normalised(const Vector4T& fallback = Vector4T()) const requires std::floating_point<T>
    {
        Vector4T result = *this;
        return NormaliseVector(result) ? result : fallback;
    }

    /// Scales to length 1. False, and nothing changed, for a vector that is zero or not finite.
    bool Normalise() requires std::floating_point<T> { return NormaliseVector(*this); }

    /// From `from` at t = 0 to `to` at t = 1, both hit exactly.
    static constexpr Vector4T Lerp(const Vector4T& from, const Vector4T& to,
                                   T t) requires std::floating_point<T>
    {
        return from * (1 - t) + to * t;
    }

    /// The smaller of each pair of components.
    static constexpr Vector4T Min(const Vector4T& first, const Vector4T& second)
    {
        return Vector4T(Math<T>::Min(first.x, second.x), Math<T>::Min(first.y, second.y),
                        Math<T>::Min(first.z, second.z), Math<T>::Min(first.w, second.w));
    }

    /// The larger of each pair of components.
    static constexpr Vector4T Max(const Vector4T& first, const Vector4T& second)
    {
        return Vector4T(Math<T>::Max(first.x, second.x), Math<T>::Max(first.y, second.y),
                        Math<T>::Max(first.z, second.z), Math<T>::Max(first.w, second.w));
    }

    /// Each component moved between its partners; see Math::Clamp.
    static constexpr Vector4T Clamp(const Vector4T& value, const Vector4T& low, const Vector4T& high)
    {
        return Vector4T(Math<T>::Clamp(value.x, low.x, high.x), Math<T>::Clamp(value.y, low.y, high.y),
                        Math<T>::Clamp(value.z, low.z, high.z), Math<T>::Clamp(value.w, low.w, high.w));
    }

    /// Each component without its sign.
    constexpr Vector4T Abs() const
    {
        return Vector4T(Math<T>::Abs(x), Math<T>::Abs(y), Math<T>::Abs(z), Math<T>::Abs(w));
    }

    constexpr bool IsFinite() const requires std::floating_point<T>
    {
        return Math<T>::IsFinite(x) && Math<T>::IsFinite(y) && Math<T>::IsFinite(z) && Math<T>::IsFinite(w);
    }

    /// Whether every component is near its partner in the sense of Math<T>::IsNear.
    constexpr bool IsNear(const Vector4T& other,
                          T tolerance = Math<T>::Tolerance) const requires std::floating_point<T>
    {
        return Math<T>::IsNear(x, other.x, tolerance) && Math<T>::IsNear(y, other.y, tolerance) &&
               Math<T>::IsNear(z, other.z, tolerance) && Math<T>::IsNear(w, other.w, tolerance);
    }
};

template <typename T>
constexpr T& Vector4T<T>::operator[](int index)
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 4));
    return index == 0 ? x : index == 1 ? y : index == 2 ? z : w;
}

template <typename T>
constexpr T Vector4T<T>::operator[](int index) const
{
    static_cast<void>(QBASE_ASSERT(index >= 0 && index < 4));
    return index == 0 ? x : index == 1 ? y : index == 2 ? z : w;
}

/// With float and with int components.
using Vector4 = Vector4T<float>;
using Vector4i = Vector4T<int>;

static_assert(sizeof(Vector4) == 16 && sizeof(Vector4i) == 16);
static_assert(std::is_trivially_copyable_v<Vector4> && std::is_standard_layout_v<Vector4>);
static_assert(std::is_trivially_copyable_v<Vector4i> && std::is_standard_layout_v<Vector4i>);

} // namespace QBase
