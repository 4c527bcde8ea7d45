// XmlText escapes texts so that a document gives them back byte for byte, line ends, blanks and control
// characters included, and undoes it.
//
//     XmlText::AppendEscaped(buffer, "a < b\r\n", XmlText::CONTENT); // a &lt; b&#13;\n
//     XmlText::AppendUnescaped(text, "a &lt; b");                   // a < b
//
// The document parser is told to leave entities alone, since it would lose some of these: it drops a content
// of blanks only, and reads a carriage return as a line feed.

#pragma once

#include "QBase/ByteBuffer.h"

#include <string>
#include <string_view>

namespace QBase
{

namespace XmlText
{

enum Place
{
    CONTENT,  // of an element; tabs and line feeds stand for themselves
    ATTRIBUTE // in double quotes
};

void AppendEscaped(ByteBuffer& rDocument, std::string_view text, Place place);

/// True for a text that AppendEscaped leaves as it is, wherever it stands.
bool IsVerbatim(std::string_view text);

/// The five named entities and numbers of code points; anything else behind an "&" stays as it is.
void AppendUnescaped(std::string& rText, std::string_view escaped);

/// True when AppendUnescaped would change something.
inline bool HasEntities(std::string_view text)
{
    return text.find('&') != std::string_view::npos;
}

} // namespace XmlText

} // namespace QBase
