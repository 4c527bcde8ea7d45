// Vector2T is a plain record of two components: a point, a direction or a size in the plane. Vector2 has
// float and Vector2i int components.
//
//     Vector2 position(3.0f, 4.0f);
//     position += Vector2(1.0f, 0.0f) * speed;
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
class Vector2T
{
public:
    T x = 0;
    T y = 0;

    constexpr Vector2T() = default;
    constexpr Vector2T(T xValue, T yValue) : x(xValue), y(yValue) {}

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing.
    constexpr bool operator==(const Vector2T&) const = default;
};

using Vector2 = Vector2T<float>;
using Vector2i = Vector2T<int>;

static_assert(sizeof(Vector2) == 8 && sizeof(Vector2i) == 8);
static_assert(std::is_trivially_copyable_v<Vector2> && std::is_standard_layout_v<Vector2>);

} // namespace QBase
