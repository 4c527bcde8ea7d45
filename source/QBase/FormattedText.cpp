#include "QBase/FormattedText.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace QBase
{

FormattedText::FormattedText(std::string_view prefix, const char* pFormat, std::va_list arguments)
{
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, pFormat, measured);
    va_end(measured);

    const std::size_t size = length < 0 ? std::strlen(pFormat) : static_cast<std::size_t>(length);
    const std::size_t room = Reserve(prefix.size() + size);
    Append(prefix, room);
    if (length < 0) {
        Append(pFormat, room);
        return;
    }
    std::vsnprintf(mpText + mSize, room - mSize + 1, pFormat, arguments);
    const bool bCut = mSize + size > room;
    mSize = bCut ? WithoutCutSequence({mpText, room}).size() : mSize + size;
    mpText[mSize] = '\0';
}

FormattedText::FormattedText(std::string_view text)
{
    Append(text, Reserve(text.size()));
}

FormattedText::~FormattedText()
{
    if (mpText != mInPlace) {
        std::free(mpText);
    }
}

void FormattedText::AppendLineFeed()
{
    mpText[mSize++] = '\n';
    mpText[mSize] = '\0';
}

void FormattedText::CollapsePercents()
{
    std::size_t kept = 0;
    for (std::size_t i = 0; i < mSize; ++i) {
        if (mpText[i] == '%' && i + 1 < mSize && mpText[i + 1] == '%') {
            ++i;
        }
        mpText[kept++] = mpText[i];
    }
    mSize = kept;
    mpText[mSize] = '\0';
}

// Makes room for `size` bytes and what may stand behind them; gives the size there is room for.
std::size_t FormattedText::Reserve(std::size_t size)
{
    if (size <= IN_PLACE - ROOM_BEHIND) {
        return size;
    }
    if (void* pHeap = std::malloc(size + ROOM_BEHIND)) {
        mpText = static_cast<char*>(pHeap);
        return size;
    }
    return IN_PLACE - ROOM_BEHIND;
}

// As much of the text as leaves the whole within `room`.
void FormattedText::Append(std::string_view text, std::size_t room)
{
    if (text.size() > room - mSize) {
        text = WithoutCutSequence(text.substr(0, room - mSize));
    }
    std::copy(text.begin(), text.end(), mpText + mSize);
    mSize += text.size();
    mpText[mSize] = '\0';
}

std::string_view WithoutCutSequence(std::string_view text)
{
    std::size_t trail = 0; // bytes behind the last one that begins a sequence
    while (trail < 3 && trail < text.size() && (text[text.size() - 1 - trail] & 0xC0) == 0x80) {
        ++trail;
    }
    if (trail == text.size()) {
        return text;
    }
    const auto lead = static_cast<unsigned char>(text[text.size() - 1 - trail]);
    const std::size_t expected = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    return trail < expected ? text.substr(0, text.size() - 1 - trail) : text;
}

} // namespace QBase
