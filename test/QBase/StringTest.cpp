#include "QBase/String.h"

#include "QBase/Error.h"
#include "QBase/Memory.h"
#include "QBase/UTF8.h"
#include "Support/Assertions.h"
#include "Support/CallbackHandler.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/SmallStack.h"
#include "Support/StringInspector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utf8.h>
#include <vector>

using namespace QBase;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

// A name of 67 bytes. Its hash samples every third byte from the end, so that many of them collide.
std::string CollidingName(int number)
{
    const std::string digits = std::to_string(1000000 + number).substr(1);
    return std::string(30, 'a') + digits + std::string(67 - 30 - digits.size(), 'z');
}

// Texts that no other test uses, whose bucket is that of the given bytes.
std::vector<std::string> TextsInTheBucketOf(const char* pText, int count)
{
    const unsigned bucket =
        GenerateHash(pText, static_cast<unsigned>(std::strlen(pText))) % StringInspector::NumBuckets();
    std::vector<std::string> texts;
    for (int i = 0; static_cast<int>(texts.size()) < count; ++i) {
        const std::string text = "bucket" + std::to_string(i);
        if (GenerateHash(text.data(), static_cast<unsigned>(text.size())) % StringInspector::NumBuckets() ==
            bucket) {
            texts.push_back(text);
        }
    }
    return texts;
}

template <typename T>
concept ComparesWithLiteral = requires(const T& text)
{
    text == "x";
};
template <typename T>
concept Ordered = requires(const T& a, const T& b)
{
    a < b;
};

} // namespace

TEST(StringTest, NoTextAndNullPointersAreTheNullString)
{
    EXPECT_EQ(String(), String::Null);
    EXPECT_EQ(String(nullptr), String::Null);
    EXPECT_EQ(String(static_cast<const char*>(nullptr)), String::Null);
    EXPECT_EQ(String(static_cast<const wchar_t*>(nullptr)), String::Null);
    EXPECT_EQ(String::Null.size(), 0u);
    EXPECT_EQ(String::Null.length(), 0u);
    EXPECT_EQ(String::Null.hash(), 0u);
    EXPECT_TRUE(String::Null.empty());
    EXPECT_STREQ(String::Null.c_str(), "");
}

TEST(StringTest, AnEmptyTextIsAnotherEntryThanTheNullString)
{
    String empty("");
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_TRUE(empty.empty());
    EXPECT_NE(empty, String::Null);
    EXPECT_EQ(empty, String(""));
    EXPECT_EQ(empty, String(L""));
}

TEST(StringTest, EqualTextsShareOneEntry)
{
    String a("Camera");
    String b(std::string("Camera").c_str());
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_NE(a, String("camera"));
    EXPECT_EQ(StringInspector::ReferenceCount(a), 2);
    EXPECT_STREQ(static_cast<const char*>(a), "Camera");
    EXPECT_EQ(a.buffer_utf8(), "Camera");
}

TEST(StringTest, IsOnePointerWide)
{
    EXPECT_EQ(sizeof(String), sizeof(void*));
}

TEST(StringTest, AnEntryIsLaidOutAsTextLengthCountHashAndNext)
{
    const std::size_t text = sizeof(NarrowString);
    const std::size_t next = (text + 12 + alignof(void*) - 1) / alignof(void*) * alignof(void*);
    EXPECT_THAT(StringInspector::EntryLayout(), ElementsAre(0, text, text + 4, text + 8, next));
    EXPECT_EQ(StringInspector::NumBuckets(), 65537u);
}

TEST(StringTest, ComparisonWithALiteralAndOrderDoNotCompile)
{
    EXPECT_FALSE(ComparesWithLiteral<String>);
    EXPECT_FALSE(Ordered<String>);
}

TEST(StringTest, TheLastReferenceFreesTheEntryAtOnce)
{
    const auto blocks = Memory::GetBlocksAllocated(ALLOC_UNKNOWN);
    const auto texts = Memory::GetBlocksAllocated(ALLOC_STRING);
    {
        String first("a text that is too long to live inside of its entry");
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_UNKNOWN), blocks + 1);
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), texts + 1);
        String second(first);
        first = String::Null;
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_UNKNOWN), blocks + 1);
        EXPECT_EQ(StringInspector::ReferenceCount(second), 1);
    }
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_UNKNOWN), blocks);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_STRING), texts);
    EXPECT_THAT(StringInspector::Chain(GenerateHash("gone", 4) % StringInspector::NumBuckets()), IsEmpty());
}

TEST(StringTest, AssignmentToItselfKeepsTheText)
{
    String text("self");
    const String& same = text;
    text = same;
    EXPECT_STREQ(text.c_str(), "self");
    EXPECT_EQ(StringInspector::ReferenceCount(text), 1);
    static_assert(std::is_void_v<decltype(text = same)>);
}

TEST(StringTest, NobodyCountsWhoRefersToTheNullString)
{
    const int count = StringInspector::ReferenceCount(String::Null);
    const String a;
    const String b(a);
    const String c(nullptr);
    EXPECT_EQ(StringInspector::ReferenceCount(String::Null), count);
}

TEST(StringTest, TheNullStringOutlivesAnyNumberOfReleases)
{
    const int count = StringInspector::ReferenceCount(String::Null);
    for (int i = 0; i < 1000; ++i) {
        String a;
        String b(a);
        a = b;
    }
    EXPECT_EQ(StringInspector::ReferenceCount(String::Null), count);
}

// Of two entries in a bucket with the same text the newer one is met first, which may be a repaired one.
TEST(StringTest, ATextThatWasRepairedIntoTheBucketOfTheCleanOneIsFoundInItsStead)
{
    // Bytes that are repaired to `clean`, in whose bucket they fall.
    const auto bucketOf = [](const std::string& text) {
        return GenerateHash(text.data(), static_cast<unsigned>(text.size())) % StringInspector::NumBuckets();
    };
    std::string clean;
    std::string broken;
    for (int i = 0; broken.empty(); ++i) {
        clean = "repaired ?" + std::to_string(i);
        for (int byte = 0x80; byte < 0x100 && broken.empty(); ++byte) {
            std::string candidate = clean;
            candidate[9] = static_cast<char>(byte);
            if (bucketOf(candidate) == bucketOf(clean)) {
                broken = candidate;
            }
        }
        ASSERT_LT(i, 10000000);
    }
    CapturedMessages messages;
    const String given(clean.c_str());
    {
        const String repaired(broken.c_str());
        EXPECT_FALSE(repaired == given);
        EXPECT_TRUE(String(clean.c_str()) == repaired);
        EXPECT_THAT(messages.TakeError(), HasSubstr("Fixed invalid UTF8 string"));
    }
    EXPECT_TRUE(String(clean.c_str()) == given);
}

TEST(StringTest, HashMixesTheBytesFromTheLastToTheFirst)
{
    EXPECT_EQ(GenerateHash(nullptr, 0), 0u);
    EXPECT_EQ(GenerateHash("a", 1), 128u); // 1 xor (32 + 0 + 97)
    EXPECT_EQ(GenerateHash("Camera", 6), 0x554d5759u);
    EXPECT_EQ(GenerateHash("\xFF", 1), 0x11Eu); // bytes are unsigned
    EXPECT_EQ(GenerateHash(std::string(31, 'a').c_str(), 31), 0xBEDB7Bu);
    EXPECT_EQ(String("Camera").hash(), 0x554d5759u);
}

TEST(StringTest, HashOfMoreThan31BytesSamplesThem)
{
    std::string text;
    for (char character = 32; character < 96; ++character) {
        text += character;
    }
    EXPECT_EQ(GenerateHash(text.data(), 32), 0xA8D168BDu);
    EXPECT_EQ(GenerateHash(text.data(), 64), 0x1FD16D7Eu);

    // Of 64 bytes every third counts, from the last one down to the fourth.
    text[0] = text[1] = text[2] = text[4] = text[62] = 'x';
    EXPECT_EQ(GenerateHash(text.data(), 64), 0x1FD16D7Eu);
    text[3] = 'x';
    EXPECT_NE(GenerateHash(text.data(), 64), 0x1FD16D7Eu);
}

TEST(StringTest, LengthCountsCodePointsAndSizeBytes)
{
    String text("\xC3\xA9" /* é */);
    EXPECT_EQ(text.length(), 1u);
    EXPECT_EQ(text.size(), 2u);
    EXPECT_EQ(String("plain").length(), 5u);
}

struct Repair
{
    const char* mpName;
    const char* mpGiven;
    const char* mpRepaired;
    unsigned mLength;
};

class StringRepairTest : public testing::TestWithParam<Repair>
{};

TEST_P(StringRepairTest, EachInvalidSequenceBecomesOneQuestionMark)
{
    const Repair& repair = GetParam();
    CapturedMessages messages;
    String text(repair.mpGiven);

    EXPECT_STREQ(text.c_str(), repair.mpRepaired);
    EXPECT_EQ(text.length(), repair.mLength);
    EXPECT_EQ(text.hash(), GenerateHash(repair.mpGiven, static_cast<unsigned>(std::strlen(repair.mpGiven))));
    EXPECT_EQ(messages.TakeError(),
              "ERROR: String (line 185): Fixed invalid UTF8 string '" + std::string(repair.mpRepaired) + "'");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, StringRepairTest,
    testing::Values(Repair{"StrayFF", "\xFF", "?", 1}, Repair{"StrayTrail", "a\x80z", "a?z", 3},
                    Repair{"TwoStrayTrails", "\x80\xBF", "??", 2}, Repair{"TruncatedTwo", "a\xC3", "a?", 2},
                    Repair{"TruncatedThree", "a\xE2\x82", "a?", 2},
                    Repair{"TruncatedFour", "a\xF0\x9F\x98", "a?", 2},
                    Repair{"IncompleteInside", "\xE2\x82z", "?z", 2},
                    Repair{"LeadThenLead", "\xC3\xC3\xA9", "?\xC3\xA9", 2},
                    Repair{"OverlongTwo", "\xC0\xAFz", "?z", 2},
                    Repair{"OverlongThree", "\xE0\x80\xAFz", "?z", 2},
                    Repair{"OverlongFour", "\xF0\x80\x80\xAFz", "?z", 2},
                    Repair{"LeadSurrogate", "\xED\xA0\x80z", "?z", 2},
                    Repair{"SurrogatePair", "\xED\xA0\xBD\xED\xB8\x80", "??", 2},
                    Repair{"BeyondTheLastCodePoint", "\xF4\x90\x80\x80z", "?z", 2},
                    Repair{"F5", "\xF5\x80\x80\x80z", "?z", 2},
                    Repair{"F8", "\xF8\x88\x80\x80\x80z", "?????z", 6}, Repair{"FE", "\xFE\xFFz", "??z", 3},
                    Repair{"ValidAround", "\xC3\xA9\xFF\xE2\x82\xAC", "\xC3\xA9?\xE2\x82\xAC", 3}),
    [](const auto& repair) { return std::string(repair.param.mpName); });

TEST(StringTest, EachConstructionFromInvalidBytesMakesAnEntryAndAReportOfItsOwn)
{
    CapturedMessages messages;
    String clean("?");
    String first("\xFF");
    String second("\xFF");

    EXPECT_THAT(messages.TakeAll(), ElementsAre("ERROR: String (line 185): Fixed invalid UTF8 string '?'",
                                                "ERROR: String (line 185): Fixed invalid UTF8 string '?'"));
    EXPECT_NE(first, second);
    EXPECT_NE(first, clean);
    EXPECT_NE(second, clean);
    EXPECT_EQ(first.hash(), 0x11Eu);
    EXPECT_EQ(clean.hash(), GenerateHash("?", 1));
}

TEST(StringTest, ARepairedTextIsFoundByItsCleanFormWhenBothShareABucket)
{
    const auto bucketOf = [](const std::string& text) {
        return GenerateHash(text.data(), static_cast<unsigned>(text.size())) % StringInspector::NumBuckets();
    };
    std::string given;
    std::string clean;
    for (int i = 0; given.empty() || bucketOf(given) != bucketOf(clean); ++i) {
        ASSERT_LT(i, 10000000);
        given = std::to_string(i) + "\xFF.";
        clean = std::to_string(i) + "?.";
    }
    CapturedMessages messages;
    String first(given.c_str());
    EXPECT_EQ(String(clean.c_str()), first);
    String second(given.c_str());
    EXPECT_NE(first, second);
    EXPECT_EQ(String(clean.c_str()), second); // the newest
    EXPECT_EQ(messages.TakeAll().size(), 2u);

    const std::vector<std::string> others = TextsInTheBucketOf(given.c_str(), 40); // now the chain is long
    std::vector<String> kept;
    for (const std::string& text : others) {
        kept.emplace_back(text.c_str());
    }
    EXPECT_EQ(String(clean.c_str()), second);
    second = String::Null;
    EXPECT_EQ(String(clean.c_str()), first);
}

TEST(StringTest, ManyRepairedTextsInOneBucketAreReleasedInAnyOrder)
{
    CapturedMessages messages;
    std::vector<String> texts;
    for (int i = 0; i < 100; ++i) {
        texts.emplace_back("\xFE");
    }
    const unsigned bucket = StringInspector::BucketOf(texts[0]);
    EXPECT_EQ(StringInspector::Chain(bucket).size(), 100u);
    for (int i = 0; i < 100; i += 2) {
        texts[static_cast<std::size_t>(i)] = String::Null;
    }
    EXPECT_EQ(StringInspector::Chain(bucket).size(), 50u);
    while (!texts.empty()) {
        texts.pop_back();
    }
    EXPECT_THAT(StringInspector::Chain(bucket), IsEmpty());
    EXPECT_EQ(messages.TakeAll().size(), 100u);
}

TEST(StringTest, AHandlerOfTheRepairReportMayInternIntoTheSameBucket)
{
    constexpr char given[] = "repaired in a full bucket \xFF";
    const std::vector<std::string> texts = TextsInTheBucketOf(given, 20);
    std::vector<String> kept;
    SetErrorHandler(new CallbackHandler([&](const Value&) {
        for (const std::string& text : texts) {
            kept.emplace_back(text.c_str());
        }
    }));
    String repaired(given);
    SetErrorHandler(nullptr);

    const unsigned bucket = StringInspector::BucketOf(repaired);
    EXPECT_EQ(StringInspector::Chain(bucket).size(), 21u);
    EXPECT_EQ(StringInspector::Chain(bucket).front(), "repaired in a full bucket ?");
    for (std::size_t i = 0; i < kept.size(); ++i) {
        EXPECT_EQ(String(texts[i].c_str()), kept[i]);
    }
    kept.clear();
    repaired = String::Null;
    EXPECT_THAT(StringInspector::Chain(bucket), IsEmpty());
}

TEST(StringTest, AHandlerThatThrowsLeavesTheTableUsableForOtherThreads)
{
    SetErrorHandler(new CallbackHandler([](const Value&) { throw std::runtime_error("handler"); }));
    EXPECT_THROW(String("thrown \xFF"), std::runtime_error);
    SetErrorHandler(nullptr);
    std::thread([] { EXPECT_STREQ(String("from another thread").c_str(), "from another thread"); }).join();
}

TEST(StringTest, TheNewestEntryHeadsItsChain)
{
    const std::vector<std::string> texts = TextsInTheBucketOf("order", 3);
    String first(texts[0].c_str());
    String second(texts[1].c_str());
    String third(texts[2].c_str());
    const unsigned bucket = StringInspector::BucketOf(first);
    EXPECT_THAT(StringInspector::Chain(bucket), ElementsAre(texts[2], texts[1], texts[0]));

    second = String::Null;
    EXPECT_THAT(StringInspector::Chain(bucket), ElementsAre(texts[2], texts[0]));
    third = String::Null;
    EXPECT_THAT(StringInspector::Chain(bucket), ElementsAre(texts[0]));
}

TEST(StringTest, LongChainsKeepTheOrderAndTheFindingOfAWalk)
{
    const std::vector<std::string> texts = TextsInTheBucketOf("long chain", 60);
    std::vector<std::string> expected;
    std::vector<String> strings;
    for (const std::string& text : texts) {
        strings.emplace_back(text.c_str());
        expected.insert(expected.begin(), text);
        EXPECT_EQ(StringInspector::Chain(StringInspector::BucketOf(strings[0])), expected);
    }
    const unsigned bucket = StringInspector::BucketOf(strings[0]);
    while (!strings.empty()) {
        for (const String& string : strings) {
            EXPECT_EQ(String(std::string(string.c_str()).c_str()), string);
        }
        const std::size_t next = strings.size() * 7 / 11; // neither the oldest nor the newest
        expected.erase(std::find(expected.begin(), expected.end(), strings[next].c_str()));
        strings.erase(strings.begin() + static_cast<std::ptrdiff_t>(next));
        EXPECT_EQ(StringInspector::Chain(bucket), expected);
    }
}

// A walk per name would take some 10^10 steps.
TEST(StringTest, TwoHundredThousandCollidingNamesCostNoWalks)
{
    constexpr int count = 200000;
    std::vector<String> names;
    std::unordered_set<unsigned> buckets;
    for (int i = 0; i < count; ++i) {
        names.emplace_back(CollidingName(i).c_str());
        buckets.insert(StringInspector::BucketOf(names.back()));
    }
    EXPECT_LE(buckets.size(), 1000u);
    for (int i = 0; i < count; i += 7) {
        EXPECT_EQ(String(CollidingName(i).c_str()), names[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(std::unordered_set<String>(names.begin(), names.end()).size(), std::size_t{count});
    for (std::size_t i = 0; i < names.size(); i += 2) {
        names[i] = String::Null;
    }
    names.clear();
    for (const unsigned bucket : buckets) {
        EXPECT_THAT(StringInspector::Chain(bucket), IsEmpty());
    }
}

TEST(StringTest, LongNarrowTextsThatDifferBetweenTheSampledBytesAreDifferent)
{
    std::string text(4000, 'x');
    String a(text.c_str());
    text[1] = 'y';
    String b(text.c_str());
    EXPECT_EQ(a.hash(), b.hash());
    EXPECT_NE(a, b);
}

TEST(StringTest, WideTextIsReadAsUtf16)
{
    EXPECT_EQ(String(L"caf\xE9"), String("caf\xC3\xA9"));
    const wchar_t pair[] = {0xD83D, 0xDE00, 0};
    EXPECT_EQ(String(pair), String("\xF0\x9F\x98\x80"));
}

TEST(StringTest, AWideCharacterThatHoldsAnyCodePointMeansThatCodePoint)
{
    if constexpr (sizeof(wchar_t) > 2) {
        const wchar_t single[] = {static_cast<wchar_t>(0x1F600), 0};
        EXPECT_EQ(String(single), String("\xF0\x9F\x98\x80"));
        const wchar_t last[] = {static_cast<wchar_t>(0x10FFFF), 0};
        EXPECT_EQ(String(last), String("\xF4\x8F\xBF\xBF"));
    }
}

TEST(StringTest, InvalidWideTextRaisesTheLibrarysExceptions)
{
    const wchar_t texts[][4] = {
        {0xD83D, 0}, {0xDE00, 0}, {'a', 0xD83D, 'b', 0}, {0xDE00, 0xD83D, 0}, {0xD83D, 0xD83D, 0xDE00, 0}};
    for (const wchar_t* pText : texts) {
        try {
            String text(pText);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const utf8::invalid_utf16& exception) {
            EXPECT_STREQ(exception.what(), "Invalid UTF-16");
        }
    }
    if constexpr (sizeof(wchar_t) > 2) {
        const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), 0};
        try {
            String text(beyond);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const utf8::invalid_code_point& exception) {
            EXPECT_STREQ(exception.what(), "Invalid code point");
        }
        const wchar_t negative[] = {static_cast<wchar_t>(-1), 0};
        EXPECT_THROW(String text(negative), utf8::invalid_code_point);
    }
}

TEST(StringTest, Utf16HasOneUnitPerElementAndReadsBack)
{
    String text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    const WideString wide = text.buffer_utf16();
    EXPECT_THAT(std::vector<unsigned>(wide.begin(), wide.end()),
                ElementsAre(0x61u, 0xE9u, 0x20ACu, 0xD83Du, 0xDE00u));
    EXPECT_EQ(String(wide.c_str()), text);
    EXPECT_EQ(String("\xF0\x9F\x98\x80").buffer_utf16().size(), 2u);
}

TEST(StringTest, FormatInternsItsResult)
{
    EXPECT_EQ(String::Format("%s %d", "Camera", 7), String("Camera 7"));
    EXPECT_EQ(String::Format("%s", ""), String(""));
    EXPECT_EQ(String::Format(nullptr), String::Null);
    for (const int width : {1020, 1021, 1022, 1023, 1024, 1025, 100000}) {
        EXPECT_EQ(String::Format("%*d", width, 5).size(), static_cast<unsigned>(width));
    }
}

TEST(StringTest, FormatOfAHugeTextNeedsLittleStack)
{
    const std::string huge(64 << 20, 'h');
    RunOnSmallStack(256 << 10, [&] {
        const String text = String::Format("<%s>", huge.c_str());
        EXPECT_EQ(text.size(), huge.size() + 2);
        EXPECT_EQ(text.c_str()[huge.size() + 1], '>');
    });
}

TEST(StringTest, AFormatThatTheCLibraryRefusesIsTheTextItself)
{
    const wchar_t unprintable[] = {static_cast<wchar_t>(0xD800), 0};
    if (std::snprintf(nullptr, 0, "%ls", unprintable) >= 0) {
        GTEST_SKIP() << "the C library of this system prints everything";
    }
    EXPECT_STREQ(String::Format("as it stands: %ls", unprintable).c_str(), "as it stands: %ls");
}

TEST(StringTest, AnEntryWithoutMemoryRaisesBadAllocAndLeavesTheTableAlone)
{
    CapturedConsole console; // the allocator says so, too
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_STRING; });
    EXPECT_THROW(String("a text that is too long to live inside of its entry"), std::bad_alloc);
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });
    EXPECT_THROW(String("short"), std::bad_alloc);
    Memory::SetFailureHook(nullptr);
    EXPECT_STREQ(String("short").c_str(), "short");
}

TEST(StringThreadsTest, ThreadsShareTextsAndTheLastOneFreesThem)
{
    constexpr int rounds = 20000;
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < rounds; ++i) {
                const std::string text = "shared " + std::to_string(i % 13);
                String a(text.c_str());
                String b(a);
                String c(text.c_str());
                String own(("own " + std::to_string(thread)).c_str());
                a = own;
                if (b != c || b.buffer_utf8() != text.c_str() || a == b) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(StringThreadsTest, TextsThatTwoThreadsMakeAndDropAtOnceNeverMixUp)
{
    // Few texts, so that one thread looks up what the other is just dropping; half of them in one bucket,
    // whose chain gets and loses its index.
    std::vector<std::string> texts = TextsInTheBucketOf("crowded", 10);
    for (int i = 0; i < 10; ++i) {
        texts.push_back("alone " + std::to_string(i));
    }
    const auto work = [&](unsigned seed, int& rWrong) {
        std::mt19937 random(seed);
        std::vector<String> kept(8);
        for (int round = 0; round < 50000; ++round) {
            const std::string& text = texts[random() % texts.size()];
            const String first(text.c_str());
            const String second(text.c_str());
            rWrong += first != second || first.buffer_utf8() != NarrowString(text.c_str());
            kept[random() % kept.size()] = random() % 2 ? first : String::Null;
        }
    };
    int wrong = 0;
    int otherWrong = 0;
    std::thread other([&] { work(1, otherWrong); });
    work(2, wrong);
    other.join();
    EXPECT_EQ(wrong + otherWrong, 0);
    const unsigned bucket = GenerateHash("crowded", 7) % StringInspector::NumBuckets();
    EXPECT_THAT(StringInspector::Chain(bucket), IsEmpty());
}

TEST(StringThreadsTest, InvalidTextsFromTwoThreadsAreAllRepairedAndReported)
{
    CapturedMessages messages;
    const auto work = [] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_STREQ(String("thread \xFF").c_str(), "thread ?");
        }
    };
    std::thread other(work);
    work();
    other.join();
    const std::vector<std::string> all = messages.TakeAll();
    EXPECT_EQ(all.size(), 400u);
    EXPECT_THAT(all, testing::Each("ERROR: String (line 185): Fixed invalid UTF8 string 'thread ?'"));
}

TEST(StringThreadsTest, InvalidTextsFromTwoThreadsAreAllReportedOnTheConsoleWithoutAHandler)
{
    CapturedConsole console;
    const auto work = [] {
        for (int i = 0; i < 200; ++i) {
            EXPECT_STREQ(String("thread \xFF").c_str(), "thread ?");
        }
    };
    std::thread other(work);
    work();
    other.join();
    std::string expected;
    for (int i = 0; i < 400; ++i) {
        expected += "ERROR: String (line 185): Fixed invalid UTF8 string 'thread ?'\n";
    }
    EXPECT_EQ(console.TakeErrors(), expected);
}

TEST(StringDeathTest, AHandlerThatThrowsOutOfADestructorEndsTheProgram)
{
    const auto dropWithThrowingHandler = [] {
        SetErrorHandler(new CallbackHandler([](const Value&) { throw std::runtime_error("handler"); }));
        try {
            StringInspector::DestroyStrayString();
        } catch (const std::runtime_error&) {
            std::_Exit(0);
        }
    };
    EXPECT_DEATH(dropWithThrowingHandler(), "");
}

TEST(StringDeathTest, AnEntryThatIsInNoBucketAsserts)
{
    EXPECT_ASSERTION(StringInspector::DropStrayEntry(), "pEntryNode");

    CapturedMessages messages;
    ResumedAssertions resumed;
    StringInspector::DropStrayEntry();
    EXPECT_EQ(messages.TakeError(), "ERROR: String (line 218): ASSERT( pEntryNode )");
    EXPECT_EQ(resumed.GetCount(), 1);
}
