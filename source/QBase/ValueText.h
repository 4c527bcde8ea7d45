// ValueText writes and reads the text forms of values in character buffers, without interning anything:
// StringConverter offers the forms to users, the XML serializer writes and reads thousands of them.
//
//     char buffer[ValueText::MAX_SIZE];
//     char* pEnd = ValueText::Write(buffer, Vector2(1.0f, 0.5f));
//     Vector2 read;
//     ValueText::Read(std::string_view(buffer, pEnd - buffer), read);

#pragma once

#include "QBase/Value.h"

#include <string_view>

namespace QBase
{

namespace ValueText
{

// The longest text is a Vector4 of four -FLT_MAX: 47 characters each with six decimals, before they are
// trimmed. (The longest single float is a denormal of 48.)
inline constexpr int MAX_SIZE = 256;

/// Writes the text form at `pBuffer`, which has MAX_SIZE bytes; the end of the text. No terminator.
char* Write(char* pBuffer, int value);
char* Write(char* pBuffer, float value);
char* Write(char* pBuffer, bool value);
char* Write(char* pBuffer, const Vector2& value);
char* Write(char* pBuffer, const Vector3& value);
char* Write(char* pBuffer, const Vector4& value);
char* Write(char* pBuffer, const Vector2i& value);
char* Write(char* pBuffer, const Vector3i& value);
char* Write(char* pBuffer, const Vector4i& value);
char* Write(char* pBuffer, const Color& value);
char* Write(char* pBuffer, const Quaternion& value);

/// False, and `rValue` as it was, when the text is no such value. Only int and float are so strict.
bool Read(std::string_view text, int& rValue);
bool Read(std::string_view text, float& rValue);
bool Read(std::string_view text, bool& rValue);
bool Read(std::string_view text, Vector2& rValue);
bool Read(std::string_view text, Vector3& rValue);
bool Read(std::string_view text, Vector4& rValue);
bool Read(std::string_view text, Vector2i& rValue);
bool Read(std::string_view text, Vector3i& rValue);
bool Read(std::string_view text, Vector4i& rValue);
bool Read(std::string_view text, Color& rValue);
bool Read(std::string_view text, Quaternion& rValue);

/// The name of a type, and the type of a name ("void" for a text that is none).
std::string_view GetTypeName(Value::Type type);
Value::Type FindType(std::string_view name);

} // namespace ValueText

} // namespace QBase
