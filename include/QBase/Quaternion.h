// QuaternionT is a plain record x, y, z, w of the quaternion w + xi + yj + zk. Quaternion has float
// components. Quaternions of length 1 stand for rotations in space.
//
//     Quaternion turn = Quaternion::Identity();
//
// A default-constructed quaternion is zero, like every other record, so that zeroed memory is a default
// quaternion; it stands for no rotation at all. Identity() is the rotation that turns nothing.
//
// Threads: nothing here is shared; different threads may use different quaternions freely.

#pragma once

#include <type_traits>

namespace QBase
{

template <typename T>
class QuaternionT
{
public:
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 0;

    constexpr QuaternionT() = default;
    constexpr QuaternionT(T xValue, T yValue, T zValue, T wValue) : x(xValue), y(yValue), z(zValue), w(wValue)
    {}

    /// The rotation that turns nothing: (0, 0, 0, 1).
    static constexpr QuaternionT Identity() { return QuaternionT(0, 0, 0, 1); }

    /// Equal when all components are; as for plain numbers, 0 equals -0 and NaN equals nothing. A
    /// quaternion and its negative are different although they stand for the same rotation.
    constexpr bool operator==(const QuaternionT&) const = default;
};

using Quaternion = QuaternionT<float>;

static_assert(sizeof(Quaternion) == 16);
static_assert(std::is_trivially_copyable_v<Quaternion> && std::is_standard_layout_v<Quaternion>);

} // namespace QBase
