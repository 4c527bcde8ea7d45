// UTF8 holds three operations on plain UTF-8 texts, counted in code points instead of bytes.
//
//     NarrowString text("caf");
//     UTF8::Append(text, 0xE9);      // "café": 5 bytes,
//     UTF8::Length(text);            // 4 code points
//     UTF8::EraseFromEnd(text, 2);   // "ca"
//
// Malformed text and numbers that are no code point raise the exceptions of the UTF-8 library (all derived
// from std::exception: "Invalid UTF-8", "Not enough space", "Invalid code point", ...); the text is then
// left as it was.
//
// Threads: no state; guard the text like any other standard string.

#pragma once

#include "QBase/Allocator.h"
#include "QBase/Export.h"

namespace QBase
{

class QBASE_API UTF8
{
public:
    /// The number of code points.
    static unsigned Length(const NarrowString& text);

    /// Appends the encoding of one code point.
    static void Append(NarrowString& text, unsigned codePoint);

    /// Removes the last `count` code points; a count beyond the length empties the text. A negative count
    /// asks for more than there is and raises "Not enough space".
    static void EraseFromEnd(NarrowString& text, int count);
};

} // namespace QBase
