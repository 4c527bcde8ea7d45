// Color is a plain record of four bytes in memory order red, green, blue, alpha.
//
//     Color orange(255, 128, 0); // opaque
//     Color shade(0, 0, 0, 128); // half transparent
//
// A default-constructed colour is zero: transparent black. As a Vector4 (red, green, blue, alpha) a colour
// runs from 0 to 1. The channels are taken as they are: whether they are linear or sRGB is up to the user.
//
// Threads: nothing here is shared; different threads may use different colours freely.

#pragma once

#include "QBase/Math.h"
#include "QBase/Vector4.h"

#include <cstdint>
#include <type_traits>

namespace QBase
{

class Color
{
public:
    /// The channels: 0 is none, 255 all of it. An alpha of 0 is transparent.
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 0;

    constexpr Color() = default;
    constexpr Color(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255)
        : r(red), g(green), b(blue), a(alpha)
    {}

    /// The colour of a 32-bit number whose lowest byte is red, then green, then blue, and whose highest
    /// byte is alpha, whatever the byte order of the machine.
    static constexpr Color FromUint32(std::uint32_t bits)
    {
        return Color(static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                     static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 24));
    }

    /// The number that FromUint32 takes.
    constexpr std::uint32_t ToUint32() const
    {
        return static_cast<std::uint32_t>(r) | static_cast<std::uint32_t>(g) << 8 |
               static_cast<std::uint32_t>(b) << 16 | static_cast<std::uint32_t>(a) << 24;
    }

    /// The nearest colour; components below 0, above 1 and NaN become 0, 255 and 0.
    static constexpr Color FromVector4(const Vector4& channels)
    {
        return Color(FromUnit(channels.x), FromUnit(channels.y), FromUnit(channels.z), FromUnit(channels.w));
    }

    /// The channels as 0 to 1.
    constexpr Vector4 ToVector4() const { return Vector4(ToUnit(r), ToUnit(g), ToUnit(b), ToUnit(a)); }

    constexpr bool operator==(const Color&) const = default;

    /// Each channel of one colour dimmed by that of the other, where 255 dims nothing; rounded to the
    /// nearest.
    constexpr Color operator*(const Color& other) const
    {
        return Color(Dim(r, other.r), Dim(g, other.g), Dim(b, other.b), Dim(a, other.a));
    }

    constexpr Color& operator*=(const Color& other) { return *this = *this * other; }

    /// From `from` at t = 0 to `to` at t = 1, rounded to the nearest; t is clamped to [0, 1].
    static constexpr Color Lerp(const Color& from, const Color& to, float t)
    {
        return FromVector4(Vector4::Lerp(from.ToVector4(), to.ToVector4(), Math<float>::Clamp(t, 0, 1)));
    }

    /// The same colour with another alpha.
    constexpr Color WithAlpha(std::uint8_t alpha) const { return Color(r, g, b, alpha); }

    /// The colour with red, green and blue dimmed by its alpha.
    constexpr Color Premultiplied() const { return *this * Color(a, a, a, 255); }

private:
    static constexpr std::uint8_t FromUnit(float value)
    {
        return static_cast<std::uint8_t>(Math<int>::Convert(Math<float>::Clamp(value, 0, 1) * 255 + 0.5f));
    }

    static constexpr float ToUnit(std::uint8_t channel) { return static_cast<float>(channel) / 255; }

    static constexpr std::uint8_t Dim(int channel, int factor)
    {
        return static_cast<std::uint8_t>((channel * factor + 127) / 255);
    }
};

static_assert(sizeof(Color) == 4);
static_assert(std::is_trivially_copyable_v<Color> && std::is_standard_layout_v<Color>);

} // namespace QBase
