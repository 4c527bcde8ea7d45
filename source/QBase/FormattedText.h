// FormattedText is the result of a printf-style formatting behind an optional prefix: in place for short
// texts, in plain heap memory (not the library allocator's, whose counts messages do not touch) for long
// ones.
//
//     std::va_list arguments;
//     va_start(arguments, pFormat);
//     FormattedText text("ERROR: ", pFormat, arguments);
//     va_end(arguments);
//
// A format that the C library refuses is taken as the text itself; without memory for a long text its
// beginning is kept.

#pragma once

#include "QBase/Export.h"

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace QBase
{

class FormattedText
{
public:
    FormattedText(std::string_view prefix, const char* pFormat, std::va_list arguments) QBASE_PRINTF(3, 0);
    explicit FormattedText(std::string_view text);
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;
    ~FormattedText();

    const char* c_str() const { return mpText; }
    std::string_view View() const { return {mpText, mSize}; }

    /// Puts a line feed behind the text.
    void AppendLineFeed();

    /// Replaces every "%%" by "%", as a second formatting would; any other "%" stays.
    void CollapsePercents();

private:
    static constexpr std::size_t IN_PLACE = 1024;
    static constexpr std::size_t ROOM_BEHIND = 2; // a line feed and the terminator

    std::size_t Reserve(std::size_t size);
    void Append(std::string_view text, std::size_t room);

    char mInPlace[IN_PLACE];
    char* mpText = mInPlace;
    std::size_t mSize = 0; // bytes, the terminator not counted
};

/// The text without the UTF-8 sequence that its end cuts through, if there is one.
std::string_view WithoutCutSequence(std::string_view text);

} // namespace QBase
