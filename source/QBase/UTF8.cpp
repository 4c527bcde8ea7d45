#include "QBase/UTF8.h"

#include "QBase/Utf8Library.h"

#include <cstdint>
#include <iterator>

namespace QBase
{

unsigned UTF8::Length(const NarrowString& text)
{
    unsigned length = 0;
    const char* pEnd = text.data() + text.size();
    for (const char* pNext = text.data(); pNext != pEnd; ++length) {
        utf8::next(pNext, pEnd);
    }
    return length;
}

void UTF8::Append(NarrowString& text, unsigned codePoint)
{
    char encoded[4];
    const char* pEnd = utf8::append(codePoint, encoded);
    text.append(encoded, static_cast<std::size_t>(pEnd - encoded));
}

void UTF8::EraseFromEnd(NarrowString& text, int count)
{
    const std::int64_t keep = std::int64_t{Length(text)} - count;
    if (keep <= 0) {
        text.clear();
        return;
    }

    const char* pBegin = text.data();
    utf8::iterator<const char*> end(pBegin, pBegin, pBegin + text.size());
    for (std::int64_t i = 0; i < keep; ++i) {
        ++end;
    }
    text.resize(static_cast<std::size_t>(end.base() - pBegin));
}

} // namespace QBase
