// Text.h gives the tool's texts of names and values: exact, on one line, and harmless to a terminal.
//
//     Quote("two\nlines");                 // "two\nlines" in quotes, the line feed as backslash and n
//     ToText(Value(0.1f), nullptr);        // 0.1
//     ToText(Value(Vector2(1, 0.5f)), nullptr); // (1, 0.5)

#pragma once

#include "QBase/Enum.h"
#include "QBase/Value.h"

#include <string>
#include <string_view>
#include <vector>

namespace Quirl
{

/// The text with control characters written as \n, \t, \xNN and the like.
std::string ToPrintable(std::string_view text);

/// The same in quotes, with quotes and backslashes marked by a backslash.
std::string Quote(std::string_view text);

/// The shortest text that reads back as the same number.
std::string ToText(float number);

/// The text of a value that is no object. `pEnumInfo` names the values of an "Enum"; it may be null.
std::string ToText(const QBase::Value& value, QBase::EnumInfoObject* pEnumInfo);

/// The numbers that a vector, quaternion or colour (red first) consists of; none for other types.
std::vector<float> GetFloatComponents(const QBase::Value& value);
std::vector<int> GetIntComponents(const QBase::Value& value);

/// The name of a type, as files have it.
const char* GetTypeName(QBase::Value::Type type);

/// "module.class".
std::string GetFullClassName(const QBase::Object* pObject);

} // namespace Quirl
