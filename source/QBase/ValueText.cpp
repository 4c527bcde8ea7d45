#include "QBase/ValueText.h"

#include "QBase/StringConverter.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace QBase
{

namespace ValueText
{

namespace
{

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

char ToLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool StartsWithIgnoringCase(const char* p, const char* pEnd, std::string_view word)
{
    if (static_cast<std::size_t>(pEnd - p) < word.size()) {
        return false;
    }
    for (const char c : word) {
        if (ToLower(*p++) != c) {
            return false;
        }
    }
    return true;
}

// The scanners take one number at `rp` the way scanf does: white space, a sign, the number. They answer
// false where scanf would stop, with `rp` anywhere.
bool Scan(const char*& rp, const char* pEnd, int& rValue)
{
    while (rp != pEnd && IsSpace(*rp)) {
        ++rp;
    }
    const bool bNegative = rp != pEnd && *rp == '-';
    if (rp != pEnd && (*rp == '-' || *rp == '+')) {
        ++rp;
    }
    if (rp == pEnd || !IsDigit(*rp)) {
        return false;
    }
    constexpr std::int64_t LIMIT = std::int64_t(std::numeric_limits<int>::max()) + 1;
    std::int64_t number = 0;
    for (; rp != pEnd && IsDigit(*rp); ++rp) {
        number = number * 10 + (*rp - '0');
        if (number > LIMIT) {
            number = LIMIT; // the digits that follow keep it there
        }
    }
    if (bNegative) {
        rValue = static_cast<int>(-number);
    } else {
        rValue = static_cast<int>(number < LIMIT ? number : LIMIT - 1);
    }
    return true;
}

// What a decimal number beyond the range of float stands for: whether it is huge or tiny shows in the place
// of its first digit that counts.
float OutOfRange(const char* p, const char* pEnd)
{
    std::int64_t place = 0; // of the first digit other than 0, in powers of ten
    bool bPointSeen = false;
    bool bDigitSeen = false;
    for (; p != pEnd && *p != 'e' && *p != 'E'; ++p) {
        if (*p == '.') {
            bPointSeen = true;
            continue;
        }
        bDigitSeen = bDigitSeen || *p != '0';
        if (bDigitSeen && !bPointSeen) {
            ++place;
        } else if (!bDigitSeen && bPointSeen) {
            --place;
        }
    }
    if (p != pEnd) {
        int exponent = 0;
        ++p;
        Scan(p, pEnd, exponent);
        place += exponent;
    }
    return place > 0 ? std::numeric_limits<float>::infinity() : 0.0f;
}

bool Scan(const char*& rp, const char* pEnd, float& rValue)
{
    while (rp != pEnd && IsSpace(*rp)) {
        ++rp;
    }
    const bool bNegative = rp != pEnd && *rp == '-';
    if (rp != pEnd && (*rp == '-' || *rp == '+')) {
        ++rp;
    }
    float number = 0.0f;
    if (StartsWithIgnoringCase(rp, pEnd, "inf")) {
        number = std::numeric_limits<float>::infinity();
        rp += StartsWithIgnoringCase(rp, pEnd, "infinity") ? 8 : 3;
    } else if (StartsWithIgnoringCase(rp, pEnd, "nan")) {
        number = std::numeric_limits<float>::quiet_NaN();
        rp += 3;
    } else {
        if (rp == pEnd || !(IsDigit(*rp) || *rp == '.')) {
            return false;
        }
        const std::from_chars_result result = std::from_chars(rp, pEnd, number);
        if (result.ec == std::errc::invalid_argument) {
            return false;
        }
        if (result.ec == std::errc::result_out_of_range) {
            number = OutOfRange(rp, result.ptr);
        }
        rp = result.ptr;
        if (rp != pEnd && (*rp == 'e' || *rp == 'E')) {
            return false; // an exponent without digits
        }
    }
    rValue = bNegative ? -number : number;
    return true;
}

// The whole text is one number, but for white space around it.
template <typename T>
bool ReadWhole(std::string_view text, T& rValue)
{
    const char* p = text.data();
    const char* const pEnd = p + text.size();
    T number{};
    if (p == pEnd || !Scan(p, pEnd, number)) {
        return false;
    }
    while (p != pEnd && IsSpace(*p)) {
        ++p;
    }
    if (p != pEnd) {
        return false;
    }
    rValue = number;
    return true;
}

// Numbers with one character of any kind between them, until one is missing.
template <typename T, int SIZE>
void ReadComponents(std::string_view text, T (&rComponents)[SIZE])
{
    const char* p = text.data();
    const char* const pEnd = p + text.size();
    for (int i = 0; i < SIZE; ++i) {
        if (!Scan(p, pEnd, rComponents[i]) || p == pEnd) {
            return;
        }
        ++p;
    }
}

char* WriteComponent(char* pBuffer, int value)
{
    return std::to_chars(pBuffer, pBuffer + MAX_SIZE / 4, value).ptr;
}

// The number times a million, rounded as printf rounds: to the nearest, and of two to the even one. False for
// a number that is none, or too large.
bool ToMillionths(float value, std::uint64_t& rMillionths)
{
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(value);
    const int biased = static_cast<int>(bits >> 23 & 0xFF);
    const std::uint64_t mantissa = (bits & 0x7FFFFF) | (biased != 0 ? 0x800000 : 0);
    const std::uint64_t product = mantissa * 1000000; // below 2 to the power of 44
    const int shift = 150 - std::max(biased, 1);      // the value is the mantissa divided by 2 to that power
    if (shift <= 0) {
        rMillionths = product << std::min(-shift, 19);
        return -shift <= 19;
    }
    if (shift > 45) {
        rMillionths = 0; // less than half a millionth
        return true;
    }
    const std::uint64_t half = std::uint64_t(1) << (shift - 1);
    const std::uint64_t rest = product & (2 * half - 1);
    rMillionths = product >> shift;
    rMillionths += rest > half || (rest == half && rMillionths % 2 != 0) ? 1 : 0;
    return true;
}

// Six decimals, then without the zeros that end them, nor a point that nothing follows.
char* WriteComponent(char* pBuffer, float value)
{
    std::uint64_t millionths = 0;
    if (!ToMillionths(value, millionths)) {
        char* const pEnd =
            std::to_chars(pBuffer, pBuffer + MAX_SIZE / 4, value, std::chars_format::fixed, 0).ptr;
        return pEnd; // a whole number, inf or nan
    }
    if (std::signbit(value)) {
        *pBuffer++ = '-';
    }
    char* pEnd = std::to_chars(pBuffer, pBuffer + MAX_SIZE / 4, millionths / 1000000).ptr;
    std::uint32_t decimals = static_cast<std::uint32_t>(millionths % 1000000);
    if (decimals == 0) {
        return pEnd;
    }
    *pEnd = '.';
    for (int place = 6; place > 0; --place, decimals /= 10) {
        pEnd[place] = static_cast<char>('0' + decimals % 10);
    }
    pEnd += 7;
    while (pEnd[-1] == '0') {
        --pEnd;
    }
    return pEnd;
}

template <typename T, int SIZE>
char* WriteComponents(char* pBuffer, const T (&components)[SIZE])
{
    char* p = WriteComponent(pBuffer, components[0]);
    for (int i = 1; i < SIZE; ++i) {
        *p++ = ' ';
        p = WriteComponent(p, components[i]);
    }
    return p;
}

int HexDigit(char c)
{
    if (IsDigit(c)) {
        return c - '0';
    }
    const char lower = ToLower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

char* Write(char* pBuffer, int value)
{
    return std::to_chars(pBuffer, pBuffer + MAX_SIZE, value).ptr;
}

char* Write(char* pBuffer, float value)
{
    return std::to_chars(pBuffer, pBuffer + MAX_SIZE, value, std::chars_format::fixed).ptr;
}

char* Write(char* pBuffer, bool value)
{
    const std::string_view text = value ? "true" : "false";
    std::memcpy(pBuffer, text.data(), text.size());
    return pBuffer + text.size();
}

char* Write(char* pBuffer, const Vector2& value)
{
    const float components[] = {value.x, value.y};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Vector3& value)
{
    const float components[] = {value.x, value.y, value.z};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Vector4& value)
{
    const float components[] = {value.x, value.y, value.z, value.w};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Vector2i& value)
{
    const int components[] = {value.x, value.y};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Vector3i& value)
{
    const int components[] = {value.x, value.y, value.z};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Vector4i& value)
{
    const int components[] = {value.x, value.y, value.z, value.w};
    return WriteComponents(pBuffer, components);
}

char* Write(char* pBuffer, const Color& value)
{
    const std::uint32_t bits = value.ToUint32();
    *pBuffer++ = '0';
    *pBuffer++ = 'x';
    for (int shift = 28; shift >= 0; shift -= 4) {
        *pBuffer++ = "0123456789ABCDEF"[(bits >> shift) & 15];
    }
    return pBuffer;
}

char* Write(char* pBuffer, const Quaternion& value)
{
    const float components[] = {value.x, value.y, value.z, value.w};
    return WriteComponents(pBuffer, components);
}

bool Read(std::string_view text, int& rValue)
{
    return ReadWhole(text, rValue);
}

bool Read(std::string_view text, float& rValue)
{
    return ReadWhole(text, rValue);
}

bool Read(std::string_view text, bool& rValue)
{
    rValue = text.size() == 4 && StartsWithIgnoringCase(text.data(), text.data() + 4, "true");
    return true;
}

bool Read(std::string_view text, Vector2& rValue)
{
    float components[2] = {};
    ReadComponents(text, components);
    rValue = Vector2(components[0], components[1]);
    return true;
}

bool Read(std::string_view text, Vector3& rValue)
{
    float components[3] = {};
    ReadComponents(text, components);
    rValue = Vector3(components[0], components[1], components[2]);
    return true;
}

bool Read(std::string_view text, Vector4& rValue)
{
    float components[4] = {};
    ReadComponents(text, components);
    rValue = Vector4(components[0], components[1], components[2], components[3]);
    return true;
}

bool Read(std::string_view text, Vector2i& rValue)
{
    int components[2] = {};
    ReadComponents(text, components);
    rValue = Vector2i(components[0], components[1]);
    return true;
}

bool Read(std::string_view text, Vector3i& rValue)
{
    int components[3] = {};
    ReadComponents(text, components);
    rValue = Vector3i(components[0], components[1], components[2]);
    return true;
}

bool Read(std::string_view text, Vector4i& rValue)
{
    int components[4] = {};
    ReadComponents(text, components);
    rValue = Vector4i(components[0], components[1], components[2], components[3]);
    return true;
}

// As strtoul with base 16 does: white space, a sign that negates, an optional prefix.
bool Read(std::string_view text, Color& rValue)
{
    const char* p = text.data();
    const char* const pEnd = p + text.size();
    while (p != pEnd && IsSpace(*p)) {
        ++p;
    }
    const bool bNegative = p != pEnd && *p == '-';
    if (p != pEnd && (*p == '-' || *p == '+')) {
        ++p;
    }
    if (StartsWithIgnoringCase(p, pEnd, "0x")) {
        p += 2;
    }
    constexpr std::uint64_t LIMIT = 0xFFFFFFFFu;
    std::uint64_t bits = 0;
    for (; p != pEnd && HexDigit(*p) >= 0; ++p) {
        bits = bits * 16 + static_cast<unsigned>(HexDigit(*p));
        if (bits > LIMIT) {
            rValue = Color::FromUint32(static_cast<std::uint32_t>(LIMIT));
            return true;
        }
    }
    const std::uint32_t word = static_cast<std::uint32_t>(bits);
    rValue = Color::FromUint32(bNegative ? 0u - word : word);
    return true;
}

bool Read(std::string_view text, Quaternion& rValue)
{
    float components[4] = {};
    ReadComponents(text, components);
    rValue = Quaternion(components[0], components[1], components[2], components[3]);
    return true;
}

std::string_view GetTypeName(Value::Type type)
{
    const String& name = StringConverter<Value::Type>::ToString(type);
    return {name.c_str(), static_cast<std::size_t>(name.size())};
}

Value::Type FindType(std::string_view name)
{
    for (int code = 0; code < Value::NUM_TYPES; ++code) {
        const Value::Type type = static_cast<Value::Type>(code);
        if (GetTypeName(type) == name) {
            return type;
        }
    }
    return Value::TYPE_VOID;
}

} // namespace ValueText

} // namespace QBase
