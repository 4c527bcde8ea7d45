#include "QBase/UTF8.h"

#include <gtest/gtest.h>

#include <climits>
#include <utf8.h>

using namespace QBase;

namespace
{

// What the action throws, caught by type as a host would.
template <typename Exception, typename Action>
std::string MessageOf(Action action)
{
    try {
        action();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST(UTF8Test, LengthCountsCodePointsOfAnyWidth)
{
    EXPECT_EQ(UTF8::Length(""), 0u);
    EXPECT_EQ(UTF8::Length("abc"), 3u);
    EXPECT_EQ(UTF8::Length("\xC3\xA9" /* é */ "\xE2\x82\xAC" /* € */ "\xF0\x9F\x98\x80" /* emoji */), 3u);
    EXPECT_EQ(UTF8::Length(NarrowString("a\0b", 3)), 3u);
}

TEST(UTF8Test, LengthOfMalformedTextRaisesTheLibrarysExceptions)
{
    EXPECT_EQ(MessageOf<utf8::invalid_utf8>([] { UTF8::Length("a\xFF"); }), "Invalid UTF-8");
    EXPECT_EQ(MessageOf<utf8::not_enough_room>([] { UTF8::Length("a\xE2\x82"); }), "Not enough space");
    EXPECT_EQ(MessageOf<utf8::invalid_code_point>([] { UTF8::Length("\xED\xA0\x80"); }),
              "Invalid code point");
}

TEST(UTF8Test, AppendEncodesOneToFourBytes)
{
    NarrowString text;
    UTF8::Append(text, 0x41);
    UTF8::Append(text, 0xE9);
    UTF8::Append(text, 0x20AC);
    UTF8::Append(text, 0x1F600);
    EXPECT_EQ(text, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(UTF8Test, AppendOfWhatIsNoCodePointRaisesAndLeavesTheTextAlone)
{
    for (const unsigned wrong : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        NarrowString text("x");
        EXPECT_EQ(MessageOf<utf8::invalid_code_point>([&] { UTF8::Append(text, wrong); }),
                  "Invalid code point");
        EXPECT_EQ(text, "x");
    }
}

TEST(UTF8Test, EraseFromEndNeverSplitsASequence)
{
    NarrowString text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    UTF8::EraseFromEnd(text, 1);
    EXPECT_EQ(text, "a\xC3\xA9\xE2\x82\xAC");
    UTF8::EraseFromEnd(text, 2);
    EXPECT_EQ(text, "a");
}

TEST(UTF8Test, EraseFromEndOfNothingLeavesTheTextAlone)
{
    NarrowString text("caf\xC3\xA9");
    UTF8::EraseFromEnd(text, 0);
    EXPECT_EQ(text, "caf\xC3\xA9");
}

TEST(UTF8Test, EraseFromEndOfAllOrMoreEmptiesTheText)
{
    for (const int count : {4, 5, INT_MAX}) {
        NarrowString text("caf\xC3\xA9");
        UTF8::EraseFromEnd(text, count);
        EXPECT_EQ(text, "");
    }
}

TEST(UTF8Test, EraseFromEndOfANegativeCountRaisesAndLeavesTheTextAlone)
{
    for (const int count : {-1, INT_MIN}) {
        NarrowString text("caf\xC3\xA9");
        EXPECT_EQ(MessageOf<utf8::not_enough_room>([&] { UTF8::EraseFromEnd(text, count); }),
                  "Not enough space");
        EXPECT_EQ(text, "caf\xC3\xA9");
    }
}

TEST(UTF8Test, EraseFromEndOfMalformedTextRaisesAndLeavesTheTextAlone)
{
    NarrowString text("abc\xFF");
    EXPECT_EQ(MessageOf<utf8::invalid_utf8>([&] { UTF8::EraseFromEnd(text, 1); }), "Invalid UTF-8");
    EXPECT_EQ(text, "abc\xFF");
}
