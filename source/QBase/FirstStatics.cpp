// The objects that registration and other units' statics use while the library loads. They are constructed
// before every other one, in the order written here, in storage that is never destroyed: destructors of
// static objects and threads that outlive main may still use them.

#include "QBase/String.h"
#include "QBase/StringConverter.h"

#include <new>

namespace QBase
{

namespace
{

// Room for an object that is constructed in place and never destroyed.
template <typename T>
union Lasting
{
    constexpr Lasting() {}
    constexpr ~Lasting() {}

    T mObject;
};

} // namespace

class StringStatics
{
public:
    StringStatics()
    {
        new (&sEmpty.mObject) String::Entry;
        sEmpty.mObject.mRefCount.Increment(); // its own, so that no release is ever the last
        new (&sNull.mObject) String(&sEmpty.mObject);
    }

    static Lasting<String::Entry> sEmpty;
    static Lasting<String> sNull;
};

Lasting<String::Entry> StringStatics::sEmpty;
Lasting<String> StringStatics::sNull;

// References to storage: valid at any time, also before the constructors below have run.
String::Entry& String::sEmpty = StringStatics::sEmpty.mObject;
const String& String::Null = StringStatics::sNull.mObject;

// The names of the value types, in the order of their codes.
class ValueTypeNames
{
public:
    ValueTypeNames()
    {
        static const char* const sTexts[] = {
            "void",    "int",      "float",    "bool",     "String", "Object", "Vector2", "Vector3",
            "Vector4", "Vector2i", "Vector3i", "Vector4i", "Color",  "Value",  "Enum",    "Quaternion"};
        static_assert(sizeof(sTexts) / sizeof(sTexts[0]) == Value::NUM_TYPES);
        for (int code = 0; code < Value::NUM_TYPES; ++code) {
            new (&sNames.mObject[code]) String(sTexts[code]);
        }
    }

    static Lasting<String[Value::NUM_TYPES]> sNames;
};

Lasting<String[Value::NUM_TYPES]> ValueTypeNames::sNames;

const String (&StringConverter<Value::Type>::sNames)[Value::NUM_TYPES] = ValueTypeNames::sNames.mObject;

namespace
{

QBASE_INITIALISE_FIRST StringStatics g_StringStatics;
QBASE_INITIALISE_FIRST ValueTypeNames g_ValueTypeNames;

} // namespace

} // namespace QBase
