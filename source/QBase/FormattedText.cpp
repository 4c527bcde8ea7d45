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
    Append(Shorten(prefix, room));
    if (length < 0) {
        Append(Shorten(pFormat, room - mSize));
        return;
    }
    std::vsnprintf(mpText + mSize, room - mSize + 1, pFormat, arguments);
    // A room smaller than asked for may have cut the text inside a sequence.
    mSize = mSize + size <= room ? mSize + size : Shorten({mpText, room + 1}, room).size();
    mpText[mSize] = '\0';
}

FormattedText::FormattedText(std::string_view text)
{
    Append(Shorten(text, Reserve(text.size())));
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

void FormattedText::Append(std::string_view text)
{
    std::copy(text.begin(), text.end(), mpText + mSize);
    mSize += text.size();
    mpText[mSize] = '\0';
}

std::string_view Shorten(std::string_view text, std::size_t size)
{
    if (text.size() <= size) {
        return text;
    }
    const auto isContinuation = [&](std::size_t i) {
        return (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
    };
    std::size_t end = size;
    while (end > 0 && size - end < 4 && isContinuation(end)) {
        --end;
    }
    return text.substr(0, isContinuation(end) ? size : end);
}

} // namespace QBase
