#include "QBase/StringConverter.h"

#include "QBase/ValueText.h"

namespace QBase
{

namespace
{

template <typename T>
String Written(const T& value)
{
    char buffer[ValueText::MAX_SIZE + 1];
    *ValueText::Write(buffer, value) = '\0';
    return String(buffer);
}

template <typename T>
bool Read(const char* pText, T& rValue)
{
    return pText != nullptr && ValueText::Read(pText, rValue);
}

} // namespace

const String& StringConverter<Value::Type>::ToString(Value::Type type)
{
    const bool bKnown = type >= 0 && type < Value::NUM_TYPES;
    return sNames[bKnown ? static_cast<int>(type) : 0];
}

Value::Type StringConverter<Value::Type>::FromString(const String& name)
{
    return ValueText::FindType(name.buffer_utf8());
}

template <>
String StringConverter<String>::ToString(const String& value)
{
    return value;
}

template <>
bool StringConverter<String>::FromString(const char* pText, String& rValue)
{
    if (pText == nullptr) {
        return false;
    }
    rValue = String(pText);
    return true;
}

#define QBASE_STRING_CONVERTER(T)                                                                            \
    template <>                                                                                              \
    String StringConverter<T>::ToString(const T& value)                                                      \
    {                                                                                                        \
        return Written(value);                                                                               \
    }                                                                                                        \
    template <>                                                                                              \
    bool StringConverter<T>::FromString(const char* pText, T& rValue)                                        \
    {                                                                                                        \
        return Read(pText, rValue);                                                                          \
    }

QBASE_STRING_CONVERTER(int)
QBASE_STRING_CONVERTER(float)
QBASE_STRING_CONVERTER(bool)
QBASE_STRING_CONVERTER(Vector2)
QBASE_STRING_CONVERTER(Vector3)
QBASE_STRING_CONVERTER(Vector4)
QBASE_STRING_CONVERTER(Vector2i)
QBASE_STRING_CONVERTER(Vector3i)
QBASE_STRING_CONVERTER(Vector4i)
QBASE_STRING_CONVERTER(Color)
QBASE_STRING_CONVERTER(Quaternion)

} // namespace QBase
