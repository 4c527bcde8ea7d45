// Math<T> gathers the functions on single numbers that a program of points and angles needs, for float and
// double, so that templates name one place whatever their component type is.
//
//     float angle = Math<float>::ToRadians(90.0f);
//     float height = Math<float>::Sin(angle) * Math<float>::Sqrt(area);
//     Math<float>::Sqrt(-1.0f);  // 0, after reporting "Negative input to Sqrt"
//
// Angles are radians throughout the library. Min, Max, Clamp, Abs, Sign, Divide and Convert serve integers
// as well; the other members do not exist for them. What is not constexpr stands on the C library, whose
// functions C++20 does not evaluate at compile time.
//
// Sources: the tolerance of IsNear is the combined absolute and relative one of Ericson, "Real-Time Collision
// Detection" (2005), section 11.3.1; SmoothStep is the cubic of Perlin, "An Image Synthesizer" (1985), as
// given in the RenderMan interface.
//
// Threads: nothing here is shared.

#pragma once

#include "QBase/Error.h"

#include <cmath>
#include <concepts>
#include <limits>
#include <numbers>
#include <type_traits>
#include <utility>

namespace QBase
{

template <typename T>
class Math
{
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, "Math<T> takes a number type");

public:
    /// Constants. Infinity exists for floating-point numbers only; Largest is the largest finite number.
    static constexpr T Pi = std::numbers::pi_v<T>;
    static constexpr T TwoPi = 2 * std::numbers::pi_v<T>;
    static constexpr T HalfPi = std::numbers::pi_v<T> / 2;
    static constexpr T E = std::numbers::e_v<T>;
    static constexpr T SqrtTwo = std::numbers::sqrt2_v<T>;
    static constexpr T Epsilon = std::numeric_limits<T>::epsilon(); // gap between 1 and the next number
    static constexpr T Largest = (std::numeric_limits<T>::max)();
    static constexpr T Infinity = std::numeric_limits<T>::infinity();

    /// What IsNear takes when the caller names nothing: room for a short chain of rounded operations.
    static constexpr T Tolerance = 32 * std::numeric_limits<T>::epsilon();

    /// The smaller and the larger of two; the first when they are equal or either is NaN.
    static constexpr T Min(T first, T second) { return second < first ? second : first; }
    static constexpr T Max(T first, T second) { return first < second ? second : first; }

    /// `value` moved into [low, high]. NaN stays NaN; `low` must not exceed `high`.
    static constexpr T Clamp(T value, T low, T high)
    {
        return value < low ? low : high < value ? high : value;
    }

    /// The size without the sign. The lowest integer, whose size does not fit, gives the highest.
    static constexpr T Abs(T value);

    /// -1, 0 or 1; 0 for NaN.
    static constexpr T Sign(T value) { return static_cast<T>((T(0) < value) - (value < T(0))); }

    /// The quotient. Floating-point division follows IEEE 754. An integer divisor of 0 is a broken promise
    /// and, when the program is resumed, gives 0; the one quotient that does not fit gives the highest
    /// integer.
    static constexpr T Divide(T dividend, T divisor);

    /// `value` as a T. Into an integer the fraction is cut off, what lies outside becomes the nearest end of
    /// the range, and NaN becomes 0.
    template <typename U>
    static constexpr T Convert(U value);

    /// The square root; 0 after reporting a negative number. NaN gives NaN and -0 gives -0, without a report.
    static T Sqrt(T value) requires std::floating_point<T>;

    /// The natural logarithm; 0 after reporting a number that is not positive. NaN gives NaN without a
    /// report.
    static T Log(T value) requires std::floating_point<T>;

    /// e to the power of `value`.
    static T Exp(T value) requires std::floating_point<T> { return std::exp(value); }

    /// `base` to the power of `exponent`; NaN for a negative base and a broken exponent.
    static T Pow(T base, T exponent) requires std::floating_point<T> { return std::pow(base, exponent); }

    /// The sine of an angle in radians.
    static T Sin(T angle) requires std::floating_point<T> { return std::sin(angle); }

    /// The cosine of an angle in radians.
    static T Cos(T angle) requires std::floating_point<T> { return std::cos(angle); }

    /// The tangent of an angle in radians.
    static T Tan(T angle) requires std::floating_point<T> { return std::tan(angle); }

    /// The angle in [-Pi/2, Pi/2], and in [0, Pi]. The argument is clamped to [-1, 1] first, since the
    /// product of two unit vectors may step over an end by rounding.
    static T Asin(T sine) requires std::floating_point<T> { return std::asin(Clamp(sine, -1, 1)); }

    /// The angle in [0, Pi] whose cosine it is, which is clamped to [-1, 1] first.
    static T Acos(T cosine) requires std::floating_point<T> { return std::acos(Clamp(cosine, -1, 1)); }

    /// The angle in [-Pi/2, Pi/2].
    static T Atan(T tangent) requires std::floating_point<T> { return std::atan(tangent); }

    /// The angle of the point (x, y) seen from the origin, counter-clockwise from the x axis, in [-Pi, Pi].
    static T Atan2(T y, T x) requires std::floating_point<T> { return std::atan2(y, x); }

    /// An angle in the other unit.
    static constexpr T ToRadians(T degrees) requires std::floating_point<T> { return degrees * (Pi / 180); }

    /// An angle in the other unit.
    static constexpr T ToDegrees(T radians) requires std::floating_point<T> { return radians * (180 / Pi); }

    /// The same direction as an angle in [-Pi, Pi].
    static T WrapAngle(T angle) requires std::floating_point<T> { return std::remainder(angle, TwoPi); }

    /// The largest whole number that is not larger.
    static T Floor(T value) requires std::floating_point<T> { return std::floor(value); }

    /// The smallest whole number that is not smaller.
    static T Ceil(T value) requires std::floating_point<T> { return std::ceil(value); }

    /// The nearest whole number; halves go away from zero.
    static T Round(T value) requires std::floating_point<T> { return std::round(value); }

    /// What is left of `value` after whole steps of `step`, with the sign of `step`: -1 by 3 leaves 2. NaN
    /// for a step of 0.
    static T Mod(T value, T step) requires std::floating_point<T>;

    /// From `from` at t = 0 to `to` at t = 1, both hit exactly; t outside [0, 1] goes on in a straight line.
    static constexpr T Lerp(T from, T to, T t) requires std::floating_point<T>
    {
        return from * (1 - t) + to * t;
    }

    /// 0 up to `low`, 1 from `high` on, and a rise of slope 0 at both ends between them. A step when the ends
    /// are equal.
    static constexpr T SmoothStep(T low, T high, T value) requires std::floating_point<T>;

    /// Whether it is no number.
    static constexpr bool IsNan(T value) requires std::floating_point<T> { return value != value; }

    /// Whether it is a number and not infinite.
    static constexpr bool IsFinite(T value) requires std::floating_point<T>
    {
        return value >= -Largest && value <= Largest;
    }

    /// Whether two numbers differ by no more than `tolerance`, taken absolutely up to size 1 and relatively
    /// above. Equal infinities are near, NaN is near nothing.
    static constexpr bool IsNear(T first, T second, T tolerance = Tolerance) requires std::floating_point<T>;
};

template <typename T>
constexpr T Math<T>::Abs(T value)
{
    if constexpr (std::is_unsigned_v<T>) {
        return value;
    } else if constexpr (std::is_integral_v<T>) {
        if (value == std::numeric_limits<T>::lowest())
            return Largest;
    }
    return value < 0 ? static_cast<T>(-value) : static_cast<T>(value + T(0)); // -0 + 0 is 0
}

template <typename T>
constexpr T Math<T>::Divide(T dividend, T divisor)
{
    if constexpr (std::is_integral_v<T>) {
        if (!QBASE_ASSERT(divisor != 0))
            return 0;
        if constexpr (std::is_signed_v<T>) {
            if (dividend == std::numeric_limits<T>::lowest() && divisor == -1)
                return Largest;
        }
    }
    return static_cast<T>(dividend / divisor);
}

template <typename T>
template <typename U>
constexpr T Math<T>::Convert(U value)
{
    if constexpr (std::is_integral_v<T> && std::is_floating_point_v<U>) {
        // One past the highest T is a power of two, which every U holds exactly; the highest T itself may not
        // be.
        constexpr U end = static_cast<U>(Largest / 2 + 1) * 2;
        if (value != value)
            return 0;
        if (value <= static_cast<U>(std::numeric_limits<T>::lowest()))
            return std::numeric_limits<T>::lowest();
        if (value >= end)
            return Largest;
    } else if constexpr (std::is_integral_v<T> && std::is_integral_v<U>) {
        if (std::cmp_less(value, std::numeric_limits<T>::lowest()))
            return std::numeric_limits<T>::lowest();
        if (std::cmp_greater(value, Largest))
            return Largest;
    }
    return static_cast<T>(value);
}

template <typename T>
T Math<T>::Sqrt(T value) requires std::floating_point<T>
{
    if (value < 0) {
        Error(QBASE_HERE, "Negative input to Sqrt");
        return 0;
    }
    return std::sqrt(value);
}

template <typename T>
T Math<T>::Log(T value) requires std::floating_point<T>
{
    if (value <= 0) {
        Error(QBASE_HERE, "Nonpositive input to Log");
        return 0;
    }
    return std::log(value);
}

template <typename T>
T Math<T>::Mod(T value, T step) requires std::floating_point<T>
{
    const T rest = std::fmod(value, step);
    return rest != 0 && (rest < 0) != (step < 0) ? rest + step : rest;
}

template <typename T>
constexpr T Math<T>::SmoothStep(T low, T high, T value) requires std::floating_point<T>
{
    if (value <= low)
        return 0;
    if (value >= high)
        return 1;
    const T t = (value - low) / (high - low);
    return t * t * (3 - 2 * t);
}

template <typename T>
constexpr bool Math<T>::IsNear(T first, T second, T tolerance) requires std::floating_point<T>
{
    if (first == second)
        return true;
    const T difference = Abs(first - second);
    const T size = Max(1, Max(Abs(first), Abs(second)));
    return IsFinite(difference) && difference <= tolerance * size;
}

} // namespace QBase
