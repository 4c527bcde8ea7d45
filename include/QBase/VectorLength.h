// VectorLength.h measures and normalises vectors and quaternions of any size, once for all of them.
//
//     float length = VectorLength(Vector3(3e30f, 4e30f, 0.0f)); // 5e30, although the squares do not fit
//
// The plain root of the squares is taken where the squares fit; otherwise the vector is scaled by its largest
// component first, as Blue, "A Portable Fortran Program to Find the Euclidean Norm of a Vector" (ACM TOMS 4,
// 1978) does for long vectors.
//
// Threads: nothing here is shared.

#pragma once

#include "QBase/Math.h"

#include <cmath>
#include <limits>

namespace QBase
{

/// Whether a sum of squares lost nothing that matters to overflow or underflow.
template <typename T>
constexpr bool IsSafeSquare(T square)
{
    return square >= (std::numeric_limits<T>::min)() / Math<T>::Epsilon && square <= Math<T>::Largest;
}

/// The length: infinite for an infinite component, NaN for a NaN.
template <typename Vector>
auto VectorLength(const Vector& vector)
{
    const auto square = vector.LengthSquared();
    using T = decltype(+square);
    if (IsSafeSquare(square) || Math<T>::IsNan(square))
        return std::sqrt(square);
    const T largest = vector.LargestComponent();
    if (largest == 0 || !Math<T>::IsFinite(largest))
        return largest;
    return std::sqrt((vector / largest).LengthSquared()) * largest;
}

/// Scales `vector` to length 1. False, and nothing changed, when it has no direction: when it is zero or not
/// finite.
template <typename Vector>
bool NormaliseVector(Vector& vector)
{
    auto square = vector.LengthSquared();
    using T = decltype(+square);
    if (!IsSafeSquare(square)) {
        const T largest = vector.LargestComponent();
        if (Math<T>::IsNan(square) || largest == 0 || !Math<T>::IsFinite(largest))
            return false;
        vector /= largest;
        square = vector.LengthSquared();
    }
    vector /= std::sqrt(square);
    return true;
}

} // namespace QBase
