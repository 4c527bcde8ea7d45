// Color is a plain record of four bytes in memory order red, green, blue, alpha.
//
//     Color orange(255, 128, 0); // opaque
//     Color shade(0, 0, 0, 128); // half transparent
//
// A default-constructed colour is zero: transparent black.
//
// Threads: nothing here is shared; different threads may use different colours freely.

#pragma once

#include <cstdint>
#include <type_traits>

namespace QBase
{

class Color
{
public:
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

    constexpr bool operator==(const Color&) const = default;
};

static_assert(sizeof(Color) == 4);
static_assert(std::is_trivially_copyable_v<Color> && std::is_standard_layout_v<Color>);

} // namespace QBase
