// Vector3T is a plain record of three components: a point, a direction or a size in space. Vector3 has
// float and Vector3i int components.
//
//     Vector3 position(3.0f, 4.0f, 5.0f);
//     position += Vector3(1.0f, 0.0f, 0.0f) * speed;
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
class Vector3T
{
public:
    T x = 0;
    T y = 0;
    T z = 0;

    constexpr Vector3T() = default;
    constexpr Vector3T(T xValue, T yValue, T zValue) : x(xValue), y(yValue), z(zValue) {}

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector3T&) const = default;
};

using Vector3 = Vector3T<float>;
using Vector3i = Vector3T<int>;

static_assert(sizeof(Vector3) == 12 && sizeof(Vector3i) == 12);
static_assert(std::is_trivially_copyable_v<Vector3> && std::is_standard_layout_v<Vector3>);

} // namespace QBase
