#include "Text.h"

#include "QBase/Object.h"
#include "QBase/StringConverter.h"

#include <charconv>
#include <cstdio>

using namespace QBase;

namespace Quirl
{

namespace
{

void AppendEscaped(std::string& rText, unsigned char byte)
{
    switch (byte) {
    case '\n':
        rText += "\\n";
        return;
    case '\r':
        rText += "\\r";
        return;
    case '\t':
        rText += "\\t";
        return;
    default:
        break;
    }
    char escape[8];
    std::snprintf(escape, sizeof(escape), "\\x%02X", byte);
    rText += escape;
}

// U+0080 to U+009F, which steer terminals like the bytes below the blank do.
bool IsWideControl(std::string_view text, std::size_t index)
{
    return text[index] == '\xC2' && index + 1 < text.size() &&
           static_cast<unsigned char>(text[index + 1]) < 0xA0;
}

std::string Escape(std::string_view text, bool bQuoted)
{
    std::string result;
    result.reserve(text.size() + 2);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte < ' ' || byte == 0x7F) {
            AppendEscaped(result, byte);
        } else if (IsWideControl(text, i)) {
            AppendEscaped(result, static_cast<unsigned char>(text[++i]));
        } else {
            if (bQuoted && (byte == '"' || byte == '\\')) {
                result += '\\';
            }
            result += text[i];
        }
    }
    return result;
}

template <typename T>
std::string JoinComponents(const std::vector<T>& components)
{
    std::string text = "(";
    for (const T component : components) {
        if (text.size() > 1) {
            text += ", ";
        }
        if constexpr (std::is_same_v<T, float>) {
            text += ToText(component);
        } else {
            text += std::to_string(component);
        }
    }
    return text + ")";
}

std::string ToEnumText(int number, EnumInfoObject* pEnumInfo)
{
    const String& key = pEnumInfo != nullptr ? pEnumInfo->GetKeyFromValue(number) : String::Null;
    return key.empty() ? std::to_string(number) : key.c_str();
}

} // namespace

std::string ToPrintable(std::string_view text)
{
    return Escape(text, false);
}

std::string Quote(std::string_view text)
{
    return "\"" + Escape(text, true) + "\"";
}

std::string ToText(float number)
{
    char buffer[64];
    const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof(buffer), number);
    return std::string(buffer, result.ptr);
}

std::string ToText(const Value& value, EnumInfoObject* pEnumInfo)
{
    switch (value.GetType()) {
    case Value::TYPE_INT:
        return std::to_string(value.Get<int>());
    case Value::TYPE_FLOAT:
        return ToText(value.Get<float>());
    case Value::TYPE_BOOL:
        return value.Get<bool>() ? "true" : "false";
    case Value::TYPE_STRING:
        return Quote(value.AsString().c_str());
    case Value::TYPE_ENUM:
        return ToEnumText(value.Get<int>(), pEnumInfo);
    case Value::TYPE_COLOR:
        return StringConverter<Color>::ToString(value.Get<Color>()).c_str();
    case Value::TYPE_VECTOR2I:
    case Value::TYPE_VECTOR3I:
    case Value::TYPE_VECTOR4I:
        return JoinComponents(GetIntComponents(value));
    case Value::TYPE_VECTOR2:
    case Value::TYPE_VECTOR3:
    case Value::TYPE_VECTOR4:
    case Value::TYPE_QUATERNION:
        return JoinComponents(GetFloatComponents(value));
    case Value::TYPE_OBJECT:
        return value.AsObject() != nullptr ? GetFullClassName(value.AsObject()) : "null";
    default:
        return "void";
    }
}

std::vector<float> GetFloatComponents(const Value& value)
{
    switch (value.GetType()) {
    case Value::TYPE_VECTOR2: {
        const Vector2 v = value.Get<Vector2>();
        return {v.x, v.y};
    }
    case Value::TYPE_VECTOR3: {
        const Vector3 v = value.Get<Vector3>();
        return {v.x, v.y, v.z};
    }
    case Value::TYPE_VECTOR4: {
        const Vector4 v = value.Get<Vector4>();
        return {v.x, v.y, v.z, v.w};
    }
    case Value::TYPE_QUATERNION: {
        const Quaternion q = value.Get<Quaternion>();
        return {q.x, q.y, q.z, q.w};
    }
    default:
        return {};
    }
}

std::vector<int> GetIntComponents(const Value& value)
{
    switch (value.GetType()) {
    case Value::TYPE_VECTOR2I: {
        const Vector2i v = value.Get<Vector2i>();
        return {v.x, v.y};
    }
    case Value::TYPE_VECTOR3I: {
        const Vector3i v = value.Get<Vector3i>();
        return {v.x, v.y, v.z};
    }
    case Value::TYPE_VECTOR4I: {
        const Vector4i v = value.Get<Vector4i>();
        return {v.x, v.y, v.z, v.w};
    }
    case Value::TYPE_COLOR: {
        const Color c = value.Get<Color>();
        return {c.r, c.g, c.b, c.a};
    }
    default:
        return {};
    }
}

const char* GetTypeName(Value::Type type)
{
    return StringConverter<Value::Type>::ToString(type).c_str();
}

std::string GetFullClassName(const Object* pObject)
{
    return std::string(pObject->GetModuleName().c_str()) + "." + pObject->GetClassName().c_str();
}

} // namespace Quirl
