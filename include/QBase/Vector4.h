// Vector4T is a plain record of four components: a homogeneous point, a plane or four numbers that belong
// together. Vector4 has float and Vector4i int components.
//
//     Vector4 position(3.0f, 4.0f, 5.0f, 1.0f);
//     position += Vector4(1.0f, 0.0f, 0.0f, 0.0f) * speed;
//
// A default-constructed vector is zero. The record is trivially copyable, its components lie one after the
// other without padding, so it can be copied byte by byte.
//
// Threads: nothing here is shared; different threads may use different vectors freely.

#pragma once

#include <type_traits>

namespace QBase
{

template <typename T>
class Vector4T
{
public:
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 0;

    constexpr Vector4T() = default;
    constexpr Vector4T(T xValue, T yValue, T zValue, T wValue) : x(xValue), y(yValue), z(zValue), w(wValue) {}

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector4T&) const = default;
};

using Vector4 = Vector4T<float>;
using Vector4i = Vector4T<int>;

static_assert(sizeof(Vector4) == 16 && sizeof(Vector4i) == 16);
static_assert(std::is_trivially_copyable_v<Vector4> && std::is_standard_layout_v<Vector4>);

} // namespace QBase
