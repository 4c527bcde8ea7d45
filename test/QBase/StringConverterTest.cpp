#include "QBase/StringConverter.h"

#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace QBase;

namespace
{

template <typename T>
std::string TextOf(const T& value)
{
    return StringConverter<T>::ToString(value).c_str();
}

template <typename T>
T ValueOf(const char* pText)
{
    T value{};
    EXPECT_TRUE(StringConverter<T>::FromString(pText, value)) << pText;
    return value;
}

template <typename T>
void ExpectRefused(const char* pText, const T& before)
{
    T value = before;
    EXPECT_FALSE(StringConverter<T>::FromString(pText, value)) << (pText ? pText : "null");
    EXPECT_EQ(value, before);
}

std::uint32_t BitsOf(float value)
{
    return std::bit_cast<std::uint32_t>(value);
}

constexpr const char* TYPE_NAMES[] = {"void",    "int",     "float",   "bool",      "String",   "Object",
                                      "Vector2", "Vector3", "Vector4", "Vector2i",  "Vector3i", "Vector4i",
                                      "Color",   "Value",   "Enum",    "Quaternion"};

// What a static of another unit saw before main.
const std::string sNameSeenEarly = StringConverter<Value::Type>::ToString(Value::TYPE_QUATERNION).c_str();

} // namespace

TEST(StringConverterTest, EveryTypeHasItsNameAndEveryNameItsType)
{
    for (int code = 0; code < Value::NUM_TYPES; ++code) {
        const Value::Type type = static_cast<Value::Type>(code);
        EXPECT_STREQ(StringConverter<Value::Type>::ToString(type).c_str(), TYPE_NAMES[code]);
        EXPECT_EQ(StringConverter<Value::Type>::FromString(TYPE_NAMES[code]), type);
    }
}

TEST(StringConverterTest, TheNameOfACodeOutsideTheTypesIsVoid)
{
    for (const int code : {16, -1, 255, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const String& name = StringConverter<Value::Type>::ToString(static_cast<Value::Type>(code));
        EXPECT_STREQ(name.c_str(), "void");
    }
}

TEST(StringConverterTest, ATextThatIsNoTypeNameGivesVoid)
{
    for (const char* pText : {"vector2", "INT", "int ", " int", "", "Matrix4"}) {
        EXPECT_EQ(StringConverter<Value::Type>::FromString(pText), Value::TYPE_VOID) << pText;
    }
}

TEST(StringConverterTest, TheNamesAreOneArrayOfStringsThatExistBeforeOtherStatics)
{
    const String* const pFirst = &StringConverter<Value::Type>::ToString(Value::TYPE_VOID);
    for (int code = 0; code < Value::NUM_TYPES; ++code) {
        EXPECT_EQ(&StringConverter<Value::Type>::ToString(static_cast<Value::Type>(code)), pFirst + code);
    }
    EXPECT_EQ(sNameSeenEarly, "Quaternion");
}

TEST(StringConverterTest, BoolIsTrueForTheWordTrueInAnyCaseAndFalseForAllElse)
{
    EXPECT_EQ(TextOf(true), "true");
    EXPECT_EQ(TextOf(false), "false");
    for (const char* pText : {"true", "TRUE", "True", "tRuE"}) {
        EXPECT_TRUE(ValueOf<bool>(pText)) << pText;
    }
    for (const char* pText : {"1", "yes", "false", "", " true", "true ", "truee", "tru"}) {
        EXPECT_FALSE(ValueOf<bool>(pText)) << pText;
    }
}

TEST(StringConverterTest, IntIsDecimalAndReadsAsAWholeNumber)
{
    EXPECT_EQ(TextOf(0), "0");
    EXPECT_EQ(TextOf(-17), "-17");
    EXPECT_EQ(TextOf(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(TextOf(std::numeric_limits<int>::max()), "2147483647");
    EXPECT_EQ(ValueOf<int>("-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(ValueOf<int>("2147483647"), std::numeric_limits<int>::max());
    EXPECT_EQ(ValueOf<int>(" \t\r\n+12 \n"), 12);
    EXPECT_EQ(ValueOf<int>("007"), 7);
    for (const char* pText : {"", " ", "x", "5x", "5 5", "1.5", "0x10", "-", "+-1", "--1", "1e3"}) {
        ExpectRefused(pText, 41);
    }
}

TEST(StringConverterTest, AnIntTooLargeForItsTypeIsTheNearestOne)
{
    EXPECT_EQ(ValueOf<int>("2147483648"), std::numeric_limits<int>::max());
    EXPECT_EQ(ValueOf<int>("99999999999999999999999999999999"), std::numeric_limits<int>::max());
    EXPECT_EQ(ValueOf<int>("-2147483649"), std::numeric_limits<int>::min());
    EXPECT_EQ(ValueOf<int>("-99999999999999999999999999999999"), std::numeric_limits<int>::min());
}

TEST(StringConverterTest, FloatIsTheShortestTextWithoutExponentThatReadsBack)
{
    EXPECT_EQ(TextOf(1.5f), "1.5");
    EXPECT_EQ(TextOf(2.0f), "2");
    EXPECT_EQ(TextOf(0.25f), "0.25");
    EXPECT_EQ(TextOf(0.1f), "0.1");
    EXPECT_EQ(TextOf(-0.0f), "-0");
    EXPECT_EQ(TextOf(1e-7f), "0.0000001");
    EXPECT_EQ(TextOf(1.0f / 3.0f), "0.33333334");
    EXPECT_EQ(TextOf(std::numeric_limits<float>::max()), "340282346638528859811704183484516925440");
    EXPECT_EQ(TextOf(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(TextOf(-std::numeric_limits<float>::infinity()), "-inf");
    EXPECT_EQ(TextOf(std::numeric_limits<float>::quiet_NaN()), "nan");
}

TEST(StringConverterTest, EveryFloatButTheKindsOfNanReadsBackBitForBit)
{
    const float special[] = {0.0f,
                             -0.0f,
                             1e-7f,
                             1.0f / 3.0f,
                             std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::lowest(),
                             std::numeric_limits<float>::min(),
                             std::numeric_limits<float>::denorm_min(),
                             std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
    for (const float value : special) {
        EXPECT_EQ(BitsOf(ValueOf<float>(TextOf(value).c_str())), BitsOf(value)) << value;
    }
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        const float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        if (!std::isnan(value)) {
            ASSERT_EQ(BitsOf(ValueOf<float>(TextOf(value).c_str())), BitsOf(value)) << value;
        }
    }
}

TEST(StringConverterTest, FloatReadsAllOrdinaryNotations)
{
    EXPECT_EQ(ValueOf<float>("1e3"), 1000.0f);
    EXPECT_EQ(ValueOf<float>("1.5E-1"), 0.15f);
    EXPECT_EQ(ValueOf<float>(" +.5 "), 0.5f);
    EXPECT_EQ(ValueOf<float>("5."), 5.0f);
    EXPECT_EQ(ValueOf<float>("INFINITY"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(ValueOf<float>("-Inf"), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(ValueOf<float>("NaN")));
    EXPECT_EQ(BitsOf(ValueOf<float>("-nan")), 0xFFC00000u);
    for (const char* pText :
         {"", ".", "-", "e5", "1e", "1e+", "1,5", "1 2", "abc", "0x10", "infinite", "--1"}) {
        ExpectRefused(pText, 41.0f);
    }
}

TEST(StringConverterTest, AFloatBeyondTheRangeIsInfiniteOrZero)
{
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(ValueOf<float>("1e39"), infinity);
    EXPECT_EQ(ValueOf<float>("-1e39"), -infinity);
    EXPECT_EQ(ValueOf<float>("1e99999999999999999999"), infinity);
    EXPECT_EQ(ValueOf<float>(("1" + std::string(400, '0')).c_str()), infinity);
    EXPECT_EQ(BitsOf(ValueOf<float>("1e-99")), BitsOf(0.0f));
    EXPECT_EQ(BitsOf(ValueOf<float>("-1e-99")), BitsOf(-0.0f));
    EXPECT_EQ(BitsOf(ValueOf<float>(("0." + std::string(400, '0') + "1").c_str())), BitsOf(0.0f));
}

TEST(StringConverterTest, StringIsItself)
{
    EXPECT_EQ(StringConverter<String>::ToString("a \n<b>"), String("a \n<b>"));
    EXPECT_EQ(ValueOf<String>("a \n<b>"), String("a \n<b>"));
}

TEST(StringConverterTest, ANullTextIsRefusedAndLeavesTheTargetAlone)
{
    ExpectRefused(nullptr, 7);
    ExpectRefused(nullptr, 7.0f);
    ExpectRefused(nullptr, true);
    ExpectRefused(nullptr, String("seven"));
    ExpectRefused(nullptr, Vector2(1, 2));
    ExpectRefused(nullptr, Vector4i(1, 2, 3, 4));
    ExpectRefused(nullptr, Color(1, 2, 3, 4));
    ExpectRefused(nullptr, Quaternion(1, 2, 3, 4));
}

TEST(StringConverterTest, IntegerVectorsAreDecimalsWithSingleSpaces)
{
    EXPECT_EQ(TextOf(Vector2i(1, -2)), "1 -2");
    EXPECT_EQ(TextOf(Vector3i(1, -2, 3)), "1 -2 3");
    EXPECT_EQ(TextOf(Vector4i(-2147483647 - 1, 2147483647, 0, 4)), "-2147483648 2147483647 0 4");
}

TEST(StringConverterTest, VectorsTakeAnySingleCharacterBetweenTwoNumbers)
{
    EXPECT_EQ(ValueOf<Vector2i>("3,4"), Vector2i(3, 4));
    EXPECT_EQ(ValueOf<Vector2i>("3 4"), Vector2i(3, 4));
    EXPECT_EQ(ValueOf<Vector2i>("3;4"), Vector2i(3, 4));
    EXPECT_EQ(ValueOf<Vector3i>("1x2y3"), Vector3i(1, 2, 3));
    EXPECT_EQ(ValueOf<Vector4i>("1,2 3;4"), Vector4i(1, 2, 3, 4));
    EXPECT_EQ(ValueOf<Vector2>("0.5,-2"), Vector2(0.5f, -2));
    EXPECT_EQ(ValueOf<Quaternion>("1 2,3 4"), Quaternion(1, 2, 3, 4));
    // Numbers skip the white space in front of them; the one character between is skipped first.
    EXPECT_EQ(ValueOf<Vector2i>("  3,   4"), Vector2i(3, 4));
    EXPECT_EQ(ValueOf<Vector2i>("3    4"), Vector2i(3, 4));
    EXPECT_EQ(ValueOf<Vector2i>("3 , 4"), Vector2i(3, 0));
    EXPECT_EQ(ValueOf<Vector2i>("3-4"), Vector2i(3, 4)); // the one character is the sign
    EXPECT_EQ(ValueOf<Vector2i>("3--4"), Vector2i(3, -4));
}

TEST(StringConverterTest, ComponentsThatAreMissingAreZero)
{
    EXPECT_EQ(ValueOf<Vector2i>("7"), Vector2i(7, 0));
    EXPECT_EQ(ValueOf<Vector4i>("7 8"), Vector4i(7, 8, 0, 0));
    EXPECT_EQ(ValueOf<Vector3i>("x 8 9"), Vector3i(0, 0, 0));
    EXPECT_EQ(ValueOf<Vector3>(""), Vector3(0, 0, 0));
    EXPECT_EQ(ValueOf<Vector3>("1.5 "), Vector3(1.5f, 0, 0));
    EXPECT_EQ(ValueOf<Vector2>("1 2 3"), Vector2(1, 2));
    EXPECT_EQ(ValueOf<Vector2>("1e 2"), Vector2(0, 0)); // as scanf, which cannot step back to the 1
    EXPECT_EQ(ValueOf<Vector2i>("99999999999 -99999999999"),
              Vector2i(std::numeric_limits<int>::max(), std::numeric_limits<int>::min()));
}

TEST(StringConverterTest, FloatVectorsHaveSixDecimalsWithoutTheZerosThatEndThem)
{
    EXPECT_EQ(TextOf(Vector2(1.0f, 0.5f)), "1 0.5");
    EXPECT_EQ(TextOf(Vector2(100.0f, 0.0f)), "100 0");
    EXPECT_EQ(TextOf(Vector3(1.5f, 2.0f, 0.25f)), "1.5 2 0.25");
    EXPECT_EQ(TextOf(Vector3(0.0000001f, -0.0f, 10.10f)), "0 -0 10.1");
    EXPECT_EQ(TextOf(Vector2(1.0f / 3.0f, 1234567.8f)), "0.333333 1234567.75");
    EXPECT_EQ(TextOf(Quaternion(0, 0, 0.70710678f, 0.70710678f)), "0 0 0.707107 0.707107");
    EXPECT_EQ(
        TextOf(Vector2(std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity())),
        "nan -inf");
}

TEST(StringConverterTest, TheSixDecimalsAreThoseOfPrintf)
{
    const auto expected = [](float number) {
        char text[64];
        std::snprintf(text, sizeof(text), "%.6f", static_cast<double>(number));
        std::string trimmed = text;
        if (trimmed.find('.') != std::string::npos) {
            trimmed.erase(trimmed.find_last_not_of('0') + 1);
            trimmed.erase(trimmed.find_last_not_of('.') + 1);
        }
        return trimmed;
    };
    std::vector<float> numbers = {0.0f,       -0.0f,         0.5f,          0.0078125f,   0.0234375f,
                                  5e-7f,      4.9999e-7f,    1e-6f,         0.9999995f,   8388608.5f,
                                  16777216.f, -1e-30f,       4.3980465e12f, 8.796093e12f, 1.7592186e13f,
                                  1e30f,      3.4028235e38f, 1e-45f};
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        numbers.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
        // In the range of coordinates, and halfway between two sixth decimals.
        numbers.push_back(static_cast<float>(static_cast<int>(random() % 2000001) - 1000000) / 977.0f);
        numbers.push_back(static_cast<float>(2 * (random() % 4096) + 1) / 128.0f);
    }
    for (const float number : numbers) {
        if (!std::isnan(number)) {
            const String text = StringConverter<Vector2>::ToString(Vector2(number, -number));
            ASSERT_EQ(text, String((expected(number) + " " + expected(-number)).c_str()));
        }
    }
}

TEST(StringConverterTest, TheLargestVectorFitsTheBuffer)
{
    const float lowest = std::numeric_limits<float>::lowest();
    const std::string component = "-340282346638528859811704183484516925440";
    const std::string text = component + " " + component + " " + component + " " + component;
    EXPECT_EQ(TextOf(Vector4(lowest, lowest, lowest, lowest)), text);
    EXPECT_EQ(ValueOf<Vector4>(text.c_str()), Vector4(lowest, lowest, lowest, lowest));
}

TEST(StringConverterTest, ColorIsOneHexadecimalNumberWithAlphaFirst)
{
    const Color color(0x11, 0x22, 0x33, 0x44);
    EXPECT_EQ(TextOf(color), "0x44332211");
    EXPECT_EQ(ValueOf<Color>("0x44332211"), color);
    EXPECT_EQ(TextOf(Color(1, 0, 0, 0)), "0x00000001");
    EXPECT_EQ(TextOf(Color(0xAB, 0xCD, 0xEF, 0xFF)), "0xFFEFCDAB");
}

TEST(StringConverterTest, ColorReadsAsStrtoulDoesAndNeverFails)
{
    const Color color(0x11, 0x22, 0x33, 0x44);
    for (const char* pText : {"44332211", " 0X44332211", "+0x44332211", "44332211g", "0x44332211 0x5"}) {
        EXPECT_EQ(ValueOf<Color>(pText), color) << pText;
    }
    EXPECT_EQ(ValueOf<Color>("ff"), Color(0xFF, 0, 0, 0));
    EXPECT_EQ(ValueOf<Color>("-1"), Color(0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_EQ(ValueOf<Color>("0x1FFFFFFFF"), Color(0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_EQ(ValueOf<Color>("0xFFFFFFFFFFFFFFFFFFFFFF00"), Color(0xFF, 0xFF, 0xFF, 0xFF));
    for (const char* pText : {"", "red", "0x", "#112233"}) {
        EXPECT_EQ(ValueOf<Color>(pText), Color(0, 0, 0, 0)) << pText;
    }
}

TEST(StringConverterTest, TheLocaleChangesNothing)
{
    // A locale whose numbers have a decimal comma, since the system may have none installed: magic, number of
    // fields, offset of each field, then the fields (decimal point, separator, grouping, the first two as
    // wide characters, code set).
    const TempFolder folder;
    const std::uint32_t header[] = {0x20031114, 6, 32, 34, 36, 40, 44, 48};
    const std::uint32_t wide[] = {',', '.'};
    std::string bytes(reinterpret_cast<const char*>(header), sizeof(header));
    bytes += std::string(",\0.\0\3\0\0\0", 8);
    bytes.append(reinterpret_cast<const char*>(wide), sizeof(wide));
    bytes += std::string("UTF-8\0", 6);
    std::filesystem::create_directory(folder.Path("comma").c_str());
    folder.Write("comma/LC_NUMERIC", bytes);
    const bool bKnowsSuchFiles = std::filesystem::exists(BinaryPath("Harbour_Release.so"));
    const std::string place = bKnowsSuchFiles ? std::string("LOCPATH=") + folder.Path("").c_str() + " " : "";

    const std::string output = RunProgram(place + BinaryPath("CommaLocale")).mOutput;

    if (!bKnowsSuchFiles && output.find("no locale") != std::string::npos) {
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    EXPECT_THAT(output, testing::EndsWith("\n1,5\n" // the C library's
                                          "1.5 0.25\n"
                                          "1.5 0.25 -0.5 0.1\n"
                                          "1.5\n"
                                          "1234567\n"
                                          "3 4\n"
                                          "1.5 2.5\n"
                                          "1.5\n"));
}
