#include "QBase/Color.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>

namespace QBase
{
namespace
{

TEST(ColorTest, TheFourBytesLieInTheOrderRedGreenBlueAlpha)
{
    static_assert(sizeof(Color) == 4 && std::is_trivially_copyable_v<Color> &&
                  std::is_standard_layout_v<Color>);
    static_assert(offsetof(Color, r) == 0 && offsetof(Color, g) == 1 && offsetof(Color, b) == 2 &&
                  offsetof(Color, a) == 3);
    const Color color(0x11, 0x22, 0x33, 0x44);
    EXPECT_EQ(std::memcmp(&color, "\x11\x22\x33\x44", 4), 0);
}

TEST(ColorTest, ADefaultColorIsAllZero)
{
    static_assert(Color() == Color(0, 0, 0, 0));
    static_assert(Color(1, 2, 3).a == 255);
}

TEST(ColorTest, TheLowestByteOfItsNumberIsRed)
{
    static_assert(Color(0x11, 0x22, 0x33, 0x44).ToUint32() == 0x44332211u);
    static_assert(Color::FromUint32(0x44332211u) == Color(0x11, 0x22, 0x33, 0x44));
    static_assert(Color(255, 255, 255, 255).ToUint32() == 0xFFFFFFFFu);
}

TEST(ColorTest, EveryChannelSurvivesTheWayThroughVector4)
{
    for (int i = 0; i < 256; ++i) {
        const Color color(static_cast<std::uint8_t>(i), 0, 255, static_cast<std::uint8_t>(255 - i));
        EXPECT_EQ(Color::FromVector4(color.ToVector4()), color);
    }
    static_assert(Color(255, 0, 51, 255).ToVector4() == Vector4(1.0f, 0.0f, 0.2f, 1.0f));
}

TEST(ColorTest, ComponentsOutsideTheUnitRangeAreClamped)
{
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(Color::FromVector4(Vector4(-1.0f, 2.0f, notANumber, 0.5f)), Color(0, 255, 0, 128));
}

TEST(ColorTest, LerpRoundsToTheNearestAndStaysBetween)
{
    static_assert(Color::Lerp(Color(0, 0, 0, 0), Color(255, 100, 10, 1), 0.5f) == Color(128, 50, 5, 1));
    static_assert(Color::Lerp(Color(1, 2, 3), Color(7, 8, 9), 0.0f) == Color(1, 2, 3));
    static_assert(Color::Lerp(Color(1, 2, 3), Color(7, 8, 9), 5.0f) == Color(7, 8, 9));
}

TEST(ColorTest, AProductDimsEachChannelAndWhiteDimsNothing)
{
    for (int i = 0; i < 256; ++i) {
        const Color color(static_cast<std::uint8_t>(i), 1, 2, 3);
        EXPECT_EQ(color * Color(255, 255, 255, 255), color);
        EXPECT_EQ(color * Color(0, 0, 0, 0), Color());
    }
    static_assert(Color(255, 128, 1, 200) * Color(128, 128, 128, 255) == Color(128, 64, 1, 200));
}

TEST(ColorTest, PremultipliedDimsByAlphaAndKeepsIt)
{
    static_assert(Color(255, 100, 0, 128).Premultiplied() == Color(128, 50, 0, 128));
    static_assert(Color(9, 8, 7).WithAlpha(6) == Color(9, 8, 7, 6));
}

} // namespace
} // namespace QBase
