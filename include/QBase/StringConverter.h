// StringConverter<T> gives the text form of a value, and reads it back. The XML format is written in these
// forms.
//
//     StringConverter<Vector2>::ToString(Vector2(1.0f, 0.5f));   // "1 0.5"
//     Vector2i size;
//     StringConverter<Vector2i>::FromString("3,4", size);        // true: (3, 4)
//     StringConverter<Value::Type>::ToString(Value::TYPE_BOOL);  // "bool"
//     StringConverter<Value::Type>::FromString("Quaternion");    // 15
//
// The forms, and how forgiving each is:
// - int: decimal. The whole text has to be one number, blanks around it aside; too large a one becomes the
//   nearest int.
// - float: the shortest decimal text, never with an exponent, that reads back as the same number; also
//   "inf", "-inf", "nan". Reading takes an exponent, and asks for the whole text like int.
// - bool: "true" or "false"; every other text than "true", in any case of letters, reads as false.
// - String: the text itself.
// - Vectors and Quaternion: the components with single spaces between them. Components of the float kinds
//   have six decimals at most, without the zeros that end them: 1e-7 is lost. Reading skips exactly one
//   character of any kind between two numbers, so "1 2", "1,2" and "1;2" are alike; components that are
//   missing or no numbers are 0.
// - Color: "0x" and eight hexadecimal digits, alpha first and red last. Reading takes any hexadecimal
//   number; too large a one is 0xFFFFFFFF, none at all is 0.
//
// None of it depends on the locale.
//
// FromString answers false, and leaves the target alone, for a null text and for one that is no such value.
//
// Threads: nothing here is shared.

#pragma once

#include "QBase/Color.h"
#include "QBase/Export.h"
#include "QBase/Quaternion.h"
#include "QBase/String.h"
#include "QBase/Value.h"
#include "QBase/Vector2.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"

namespace QBase
{

template <typename T>
struct StringConverter
{
    /// The text of a value, and the value of a text.
    static String ToString(const T& value);
    static bool FromString(const char* pText, T& rValue);
};

/// The names of the types, as XML files have them.
template <>
struct QBASE_API StringConverter<Value::Type>
{
    /// The name of the type; that of "void" for a code outside 0 to 15. Borrowed, for ever.
    static const String& ToString(Value::Type type);

    /// The type of that very name; "void" for every other text.
    static Value::Type FromString(const String& name);

private:
    friend class ValueTypeNames;

    static const String (&sNames)[Value::NUM_TYPES]; // by code; built before all other statics
};

// Defined in the library for these types only.
#define QBASE_STRING_CONVERTER(T)                                                                            \
    template <>                                                                                              \
    QBASE_API String StringConverter<T>::ToString(const T& value);                                           \
    template <>                                                                                              \
    QBASE_API bool StringConverter<T>::FromString(const char* pText, T& rValue);

QBASE_STRING_CONVERTER(int)
QBASE_STRING_CONVERTER(float)
QBASE_STRING_CONVERTER(bool)
QBASE_STRING_CONVERTER(String)
QBASE_STRING_CONVERTER(Vector2)
QBASE_STRING_CONVERTER(Vector3)
QBASE_STRING_CONVERTER(Vector4)
QBASE_STRING_CONVERTER(Vector2i)
QBASE_STRING_CONVERTER(Vector3i)
QBASE_STRING_CONVERTER(Vector4i)
QBASE_STRING_CONVERTER(Color)
QBASE_STRING_CONVERTER(Quaternion)

#undef QBASE_STRING_CONVERTER

} // namespace QBase
