#include "QBase/XmlText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace QBase
{

namespace XmlText
{

namespace
{

enum Treatment : unsigned char
{
    VERBATIM,
    NUMBER_IN_ATTRIBUTE, // tab and line feed
    NUMBER,              // all other control characters
    NAME
};

constexpr std::array<Treatment, 256> MakeTreatments()
{
    std::array<Treatment, 256> treatments{};
    for (int c = 0; c < 0x20; ++c) {
        treatments[static_cast<std::size_t>(c)] = NUMBER;
    }
    treatments[0x7F] = NUMBER;
    treatments['\t'] = NUMBER_IN_ATTRIBUTE;
    treatments['\n'] = NUMBER_IN_ATTRIBUTE;
    treatments['&'] = NAME;
    treatments['<'] = NAME;
    treatments['>'] = NAME;
    treatments['"'] = NAME;
    return treatments;
}

constexpr std::array<Treatment, 256> TREATMENTS = MakeTreatments();

bool IsBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsAllBlank(std::string_view text)
{
    for (const char c : text) {
        if (!IsBlank(c)) {
            return false;
        }
    }
    return !text.empty();
}

void AppendNumber(ByteBuffer& rDocument, char c)
{
    char number[8] = "&#";
    char* p = std::to_chars(number + 2, number + 6, static_cast<int>(c)).ptr;
    *p++ = ';';
    rDocument.Append(number, static_cast<std::size_t>(p - number));
}

std::string_view NameOf(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        return "&quot;";
    }
}

void AppendCodePoint(std::string& rText, std::uint32_t codePoint)
{
    const auto append = [&](std::uint32_t byte) { rText.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        append(codePoint);
    } else if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6);
        append(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        append(0xE0 | codePoint >> 12);
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    } else {
        append(0xF0 | codePoint >> 18);
        append(0x80 | (codePoint >> 12 & 0x3F));
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    }
}

// The entity at the start of `text`, which begins with "&". The bytes it takes; 0 when it is none.
std::size_t AppendEntity(std::string& rText, std::string_view text)
{
    struct Entity
    {
        std::string_view mName;
        char mCharacter;
    };
    static constexpr Entity ENTITIES[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (const Entity& entity : ENTITIES) {
        if (text.starts_with(entity.mName)) {
            rText.push_back(entity.mCharacter);
            return entity.mName.size();
        }
    }
    if (!text.starts_with("&#")) {
        return 0;
    }
    const bool bHexadecimal = text.size() > 2 && text[2] == 'x';
    const char* const pEnd = text.data() + text.size();
    std::uint32_t codePoint = 0;
    const auto [p, error] =
        std::from_chars(text.data() + (bHexadecimal ? 3 : 2), pEnd, codePoint, bHexadecimal ? 16 : 10);
    const bool bSurrogate = codePoint >= 0xD800 && codePoint < 0xE000;
    if (error != std::errc() || p == pEnd || *p != ';' || codePoint == 0 || codePoint > 0x10FFFF ||
        bSurrogate) {
        return 0;
    }
    AppendCodePoint(rText, codePoint);
    return static_cast<std::size_t>(p + 1 - text.data());
}

} // namespace

void AppendEscaped(ByteBuffer& rDocument, std::string_view text, Place place)
{
    std::size_t done = 0;
    if (place == CONTENT && IsAllBlank(text)) {
        AppendNumber(rDocument, text[0]);
        done = 1;
    }
    for (std::size_t i = done; i < text.size(); ++i) {
        const Treatment treatment = TREATMENTS[static_cast<unsigned char>(text[i])];
        if (treatment == VERBATIM || (treatment == NUMBER_IN_ATTRIBUTE && place == CONTENT)) {
            continue;
        }
        rDocument.Append(text.substr(done, i - done));
        done = i + 1;
        if (treatment == NAME) {
            rDocument.Append(NameOf(text[i]));
        } else {
            AppendNumber(rDocument, text[i]);
        }
    }
    rDocument.Append(text.substr(done));
}

bool IsVerbatim(std::string_view text)
{
    return !IsAllBlank(text) && std::all_of(text.begin(), text.end(), [](char c) {
        return TREATMENTS[static_cast<unsigned char>(c)] == VERBATIM;
    });
}

void AppendUnescaped(std::string& rText, std::string_view escaped)
{
    while (true) {
        const std::size_t start = escaped.find('&');
        rText.append(escaped.substr(0, start));
        if (start == std::string_view::npos) {
            return;
        }
        escaped.remove_prefix(start);
        const std::size_t size = AppendEntity(rText, escaped);
        if (size == 0) {
            rText.push_back('&');
        }
        escaped.remove_prefix(size == 0 ? 1 : size);
    }
}

} // namespace XmlText

} // namespace QBase
