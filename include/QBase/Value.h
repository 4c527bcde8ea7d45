// Value is the one variant of the object model: every property read or write, every reflected argument and
// result, every stored or replicated datum travels as a Value. It holds a type code and up to 16 bytes.
//
//     Value speed = 2.5f;                 // "float"
//     Value name = "Io";                  // "String"
//     Value moon = pMoon;                 // "Object", holds one reference
//     speed.Get<float>();                 // 2.5
//     speed.Get<int>();                   // 2: the four number types convert among each other
//     name.Get<int>();                    // 0: every other mismatch answers the neutral value
//
// A Value of type "Object" holds one reference on its object; one of type "String" owns its text. All other
// payloads are plain bits. The type codes are written to files and streams and must never change.
//
// Two Values are equal when type and payload bits are equal: a NaN equals itself, 0.0 differs from -0.0,
// texts and objects compare by identity.
//
// Threads: a Value is as thread-safe as an int; the counts behind String and Object payloads are atomic.

#pragma once

#include "QBase/Color.h"
#include "QBase/Export.h"
#include "QBase/Quaternion.h"
#include "QBase/String.h"
#include "QBase/Vector2.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace QBase
{

class ClassInfoTable;
class Object;
template <typename T>
class Ptr;
template <typename T>
struct ValueTraits;

// True for the pointers that Value refuses: everything that is neither text nor a reflected object.
template <typename T>
concept ForeignPointee = !std::is_same_v<std::remove_cv_t<T>, char> && !std::is_convertible_v<T*, Object*>;

class QBASE_API Value
{
public:
    /// The type codes. Files and streams hold them, so they never change.
    enum Type : std::int32_t
    {
        TYPE_VOID = 0,
        TYPE_INT = 1,
        TYPE_FLOAT = 2,
        TYPE_BOOL = 3,
        TYPE_STRING = 4,
        TYPE_OBJECT = 5,
        TYPE_VECTOR2 = 6,
        TYPE_VECTOR3 = 7,
        TYPE_VECTOR4 = 8,
        TYPE_VECTOR2I = 9,
        TYPE_VECTOR3I = 10,
        TYPE_VECTOR4I = 11,
        TYPE_COLOR = 12,
        TYPE_VALUE = 13, // only a declared type: any type
        TYPE_ENUM = 14,
        TYPE_QUATERNION = 15,
        NUM_TYPES = 16
    };

    static constexpr int PAYLOAD_SIZE = 16; // bytes

    /// The void value: what is returned when there is nothing to return, and every default argument.
    static const Value Null;

    constexpr Value() : mPayload{}, mType(TYPE_VOID) {}
    Value(int value) : Value(OfType{TYPE_INT}) { StorePlain(value); }
    Value(float value) : Value(OfType{TYPE_FLOAT}) { StorePlain(value); }
    Value(bool value) : Value(OfType{TYPE_BOOL}) { mPayload[0] = value ? 1 : 0; }
    Value(const String& value) : Value(OfType{TYPE_STRING}) { new (mPayload) String(value); }
    Value(const char* pText) : Value(OfType{TYPE_STRING}) { new (mPayload) String(pText); }
    Value(Object* pObject) : Value(OfType{TYPE_OBJECT}) { StorePlain(AccessObject(pObject)); }
    Value(std::nullptr_t) : Value(OfType{TYPE_OBJECT}) {}
    Value(const Vector2& value) : Value(OfType{TYPE_VECTOR2}) { StorePlain(value); }
    Value(const Vector3& value) : Value(OfType{TYPE_VECTOR3}) { StorePlain(value); }
    Value(const Vector4& value) : Value(OfType{TYPE_VECTOR4}) { StorePlain(value); }
    Value(const Vector2i& value) : Value(OfType{TYPE_VECTOR2I}) { StorePlain(value); }
    Value(const Vector3i& value) : Value(OfType{TYPE_VECTOR3I}) { StorePlain(value); }
    Value(const Vector4i& value) : Value(OfType{TYPE_VECTOR4I}) { StorePlain(value); }
    Value(const Color& value) : Value(OfType{TYPE_COLOR}) { StorePlain(value); }
    Value(const Quaternion& value) : Value(OfType{TYPE_QUATERNION}) { StorePlain(value); }

    /// Wider numbers are cut to the nearest "int" or "float" there is.
    Value(double value);
    Value(unsigned value) : Value(Saturate(static_cast<unsigned long long>(value))) {}
    Value(long value) : Value(Saturate(static_cast<long long>(value))) {}
    Value(unsigned long value) : Value(Saturate(static_cast<unsigned long long>(value))) {}
    Value(long long value) : Value(Saturate(value)) {}
    Value(unsigned long long value) : Value(Saturate(value)) {}

    /// An enumerator of any enumeration becomes an "Enum".
    template <typename E>
    requires std::is_enum_v<E> Value(E value) : Value(OfType{TYPE_ENUM})
    {
        static_assert(sizeof(E) <= sizeof(std::int32_t), "A Value carries enumerations of at most 32 bits");
        StorePlain(static_cast<std::int32_t>(value));
    }

    /// The object that `pObject` holds; one more reference. A null pointer keeps the type "Object".
    template <typename T>
    Value(const Ptr<T>& pObject) : Value(static_cast<Object*>(static_cast<T*>(pObject)))
    {}

    /// A pointer to anything else would silently become a bool.
    template <ForeignPointee T>
    Value(T* pForeign) = delete;

    Value(const Value& other) : mType(other.mType)
    {
        CopyPayload(other);
        if (OwnsPayload()) {
            ShareOwned();
        }
    }

    Value(Value&& other) noexcept : mType(other.mType)
    {
        CopyPayload(other);
        other.Forget();
    }

    ~Value()
    {
        if (OwnsPayload()) {
            DropOwned();
        }
    }

    Value& operator=(const Value& other)
    {
        Value copy(other);
        Swap(copy); // the old payload goes last, when this value is whole again
        return *this;
    }

    Value& operator=(Value&& other) noexcept
    {
        Value taken(std::move(other));
        Swap(taken);
        return *this;
    }

    Type GetType() const { return mType; }
    bool IsVoid() const { return mType == TYPE_VOID; }

    /// The payload as T: int, float, bool, String, Object*, a vector, Color, Quaternion, an enumeration, a
    /// pointer or Ptr to a reflected class, or Value itself. Numbers (int, float, bool, Enum) convert among
    /// each other, floats saturating; an object of another class answers null; every other mismatch answers
    /// the neutral value: 0, false, the null string, null, zeros. A pointer is borrowed from this value.
    template <typename T>
    T Get() const
    {
        return ValueTraits<T>::Get(*this);
    }

    /// The text without a copy; the null string when this is no "String". Borrowed.
    const String& AsString() const { return mType == TYPE_STRING ? StringPayload() : String::Null; }

    /// The object, or null when this is no "Object". Borrowed.
    Object* AsObject() const { return mType == TYPE_OBJECT ? LoadPlain<Object*>() : nullptr; }

    friend bool operator==(const Value& a, const Value& b)
    {
        return a.mType == b.mType && std::memcmp(a.mPayload, b.mPayload, PAYLOAD_SIZE) == 0;
    }

private:
    template <typename T>
    friend struct ValueTraits;
    friend struct ValueBits;

    // Says that a type is not meant as a value: a Type is an enumerator like any other.
    struct OfType
    {
        Type mType;
    };

    constexpr explicit Value(OfType type) : mPayload{}, mType(type.mType) {}

    static Object* AccessObject(Object* pObject);
    static void ReleaseObject(Object* pObject);

    static int Saturate(long long value);
    static int Saturate(unsigned long long value);

    int ConvertToInt() const;
    float ConvertToFloat() const;
    bool ConvertToBool() const;

    // Not for float on targets whose floating point registers would touch its bits.
    template <typename T>
    T LoadPlain() const
    {
        T value;
        std::memcpy(static_cast<void*>(&value), mPayload, sizeof(T));
        return value;
    }

    template <typename T>
    void StorePlain(const T& value)
    {
        static_assert(sizeof(T) <= PAYLOAD_SIZE && std::is_trivially_copyable_v<T>);
        std::memcpy(mPayload, &value, sizeof(T));
    }

    const String& StringPayload() const { return *std::launder(reinterpret_cast<const String*>(mPayload)); }

    bool OwnsPayload() const { return mType == TYPE_STRING || mType == TYPE_OBJECT; }
    void CopyPayload(const Value& other) { std::memcpy(mPayload, other.mPayload, PAYLOAD_SIZE); }
    inline void ShareOwned();
    inline void DropOwned();

    void Forget()
    {
        std::memset(mPayload, 0, PAYLOAD_SIZE);
        mType = TYPE_VOID;
    }

    void Swap(Value& other) noexcept
    {
        unsigned char payload[PAYLOAD_SIZE];
        std::memcpy(payload, mPayload, PAYLOAD_SIZE);
        std::memcpy(mPayload, other.mPayload, PAYLOAD_SIZE);
        std::memcpy(other.mPayload, payload, PAYLOAD_SIZE);
        std::swap(mType, other.mType);
    }

    // Bytes beyond those of the type are always zero, so that equality is one comparison of all 16.
    alignas(8) unsigned char mPayload[PAYLOAD_SIZE];
    Type mType;
};

// ValueBits reaches the raw payload: for storage that keeps bits as they are, whatever their type.
struct ValueBits
{
    /// The 16 payload bytes.
    static const unsigned char* GetPayload(const Value& value) { return value.mPayload; }

    /// A value of a plain type (neither "String" nor "Object") over `size` bytes. Any byte but 0 is a true
    /// "bool".
    static Value MakePlain(Value::Type type, const void* pBytes, std::size_t size)
    {
        Value value(Value::OfType{type});
        std::memcpy(value.mPayload, pBytes, size);
        if (type == Value::TYPE_BOOL && value.mPayload[0] != 0) {
            value.mPayload[0] = 1;
        }
        return value;
    }

    /// The same in place of `rValue`, for a size that only shows when it runs. Who reads the payload soon
    /// gets it at once; a copy of all 16 bytes would wait until the pieces have reached memory.
    static void SetPlain(Value& rValue, Value::Type type, const void* pBytes, std::size_t size)
    {
        rValue.DropOwned();
        std::memset(rValue.mPayload, 0, Value::PAYLOAD_SIZE);
        rValue.mType = type;
        switch (size) {
        case 1:
            rValue.mPayload[0] = *static_cast<const unsigned char*>(pBytes) != 0 ? 1 : 0; // a "bool"
            break;
        case 4:
            std::memcpy(rValue.mPayload, pBytes, 4);
            break;
        case 8:
            std::memcpy(rValue.mPayload, pBytes, 8);
            break;
        case 12:
            std::memcpy(rValue.mPayload, pBytes, 12);
            break;
        default:
            std::memcpy(rValue.mPayload, pBytes, Value::PAYLOAD_SIZE);
            break;
        }
    }

    /// True when `value` is of that plain type and its payload is these bytes.
    static bool IsPlain(const Value& value, Value::Type type, const void* pBytes, std::size_t size)
    {
        return value.mType == type && std::memcmp(value.mPayload, pBytes, size) == 0;
    }

    /// The object of an "Object" value, which hands over its reference and is void then.
    static Object* TakeObject(Value&& value)
    {
        Object* const pObject = value.AsObject();
        value.Forget();
        return pObject;
    }

    /// Makes a void value one of something that others hold meanwhile, without counting it. Forget it before
    /// its destructor comes.
    static void Lend(Value& rValue, Object* pObject)
    {
        rValue.mType = Value::TYPE_OBJECT;
        rValue.StorePlain(pObject);
    }
    static void Lend(Value& rValue, const String& text)
    {
        static_assert(sizeof(text) <= Value::PAYLOAD_SIZE);
        rValue.mType = Value::TYPE_STRING;
        std::memcpy(rValue.mPayload, static_cast<const void*>(&text), sizeof(text));
    }
    static void Forget(Value& rValue) { rValue.Forget(); }

    /// Moves a value into bytes, as many as its type needs, and back: whatever it owns goes with them.
    static void MoveTo(void* pBytes, std::size_t size, Value&& value)
    {
        std::memcpy(pBytes, value.mPayload, size);
        value.Forget();
    }
    static Value MoveFrom(const void* pBytes, std::size_t size, Value::Type type)
    {
        Value value(Value::OfType{type});
        std::memcpy(value.mPayload, pBytes, size);
        return value;
    }

    /// A copy of the value that such bytes are; they stay.
    static Value CopyFrom(const void* pBytes, std::size_t size, Value::Type type)
    {
        Value value = MoveFrom(pBytes, size, type);
        if (value.OwnsPayload()) {
            value.ShareOwned();
        }
        return value;
    }

    /// The first `size` payload bytes of any plain value; zeros for "String" and "Object", whose payload is
    /// an address.
    static void CopyPlain(const Value& value, void* pBytes, std::size_t size)
    {
        if (value.OwnsPayload()) {
            std::memset(pBytes, 0, size);
        } else {
            std::memcpy(pBytes, value.mPayload, size);
        }
    }
};

inline void Value::ShareOwned()
{
    if (mType == TYPE_STRING) {
        String* const pShared = reinterpret_cast<String*>(mPayload);
        alignas(String) unsigned char source[sizeof(String)];
        std::memcpy(source, mPayload, sizeof(String));
        new (pShared) String(*std::launder(reinterpret_cast<const String*>(source)));
    } else {
        AccessObject(LoadPlain<Object*>());
    }
}

inline void Value::DropOwned()
{
    if (mType == TYPE_STRING) {
        std::launder(reinterpret_cast<String*>(mPayload))->~String();
    } else {
        ReleaseObject(LoadPlain<Object*>());
    }
}

/// True when `pObject`, which is not null, is of the class of `pClassTable` or derived from it.
QBASE_API bool IsObjectOf(const Object* pObject, const ClassInfoTable* pClassTable);

// ValueTraits ties a C++ type to its type code and says how to take it from a Value and make one of it.
// A payload type has TYPE, Get and Make; a type without a specialisation has no place in reflected
// signatures, and the registration templates say so in a sentence. IS_DIRECT is true where a Value holds just
// what a T is: the same bytes, text or object. Members of such types can be reached without a Value.
template <typename T>
struct ValueTraits
{
    static constexpr bool IS_PAYLOAD = false;
};

template <typename T, Value::Type TypeCode>
struct PlainValueTraits
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = TypeCode;
    static T Get(const Value& value)
    {
        T plain{};
        if (value.GetType() == TypeCode) {
            std::memcpy(static_cast<void*>(&plain), ValueBits::GetPayload(value), sizeof(T));
        }
        return plain;
    }
    static Value Make(const T& value) { return Value(value); }
};

template <>
struct ValueTraits<Vector2> : PlainValueTraits<Vector2, Value::TYPE_VECTOR2>
{};
template <>
struct ValueTraits<Vector3> : PlainValueTraits<Vector3, Value::TYPE_VECTOR3>
{};
template <>
struct ValueTraits<Vector4> : PlainValueTraits<Vector4, Value::TYPE_VECTOR4>
{};
template <>
struct ValueTraits<Vector2i> : PlainValueTraits<Vector2i, Value::TYPE_VECTOR2I>
{};
template <>
struct ValueTraits<Vector3i> : PlainValueTraits<Vector3i, Value::TYPE_VECTOR3I>
{};
template <>
struct ValueTraits<Vector4i> : PlainValueTraits<Vector4i, Value::TYPE_VECTOR4I>
{};
template <>
struct ValueTraits<Color> : PlainValueTraits<Color, Value::TYPE_COLOR>
{};
template <>
struct ValueTraits<Quaternion> : PlainValueTraits<Quaternion, Value::TYPE_QUATERNION>
{
    static Quaternion Get(const Value& value)
    {
        Quaternion plain(0.0f, 0.0f, 0.0f, 0.0f);
        if (value.GetType() == Value::TYPE_QUATERNION) {
            std::memcpy(static_cast<void*>(&plain), ValueBits::GetPayload(value), sizeof(plain));
        }
        return plain;
    }
};

template <>
struct ValueTraits<int>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_INT;
    static int Get(const Value& value)
    {
        return QBASE_LIKELY(value.mType == Value::TYPE_INT) ? value.LoadPlain<int>() : value.ConvertToInt();
    }
    static Value Make(int value) { return Value(value); }
};

template <>
struct ValueTraits<float>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_FLOAT;
    static float Get(const Value& value)
    {
        return QBASE_LIKELY(value.mType == Value::TYPE_FLOAT) ? value.LoadPlain<float>()
                                                              : value.ConvertToFloat();
    }
    static Value Make(float value) { return Value(value); }
};

template <>
struct ValueTraits<bool>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_BOOL;
    static bool Get(const Value& value)
    {
        return QBASE_LIKELY(value.mType == Value::TYPE_BOOL) ? value.mPayload[0] != 0 : value.ConvertToBool();
    }
    static Value Make(bool value) { return Value(value); }
};

template <>
struct ValueTraits<String>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_STRING;
    static String Get(const Value& value) { return value.AsString(); }
    static Value Make(const String& value) { return Value(value); }
};

template <>
struct ValueTraits<Object*>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_OBJECT;
    static Object* Get(const Value& value) { return value.AsObject(); }
    static Value Make(Object* pObject) { return Value(pObject); }
};

template <>
struct ValueTraits<Value>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr Value::Type TYPE = Value::TYPE_VALUE;
    static Value Get(const Value& value) { return value; }
    static Value Make(const Value& value) { return value; }
};

template <typename E>
requires std::is_enum_v<E>
struct ValueTraits<E>
{
    static constexpr bool IS_PAYLOAD = sizeof(E) <= sizeof(std::int32_t);
    static constexpr bool IS_DIRECT = sizeof(E) == sizeof(std::int32_t);
    static constexpr Value::Type TYPE = Value::TYPE_ENUM;
    static E Get(const Value& value) { return static_cast<E>(value.Get<int>()); }
    static Value Make(E value) { return Value(value); }
};

// A pointer to a reflected class: an object of another class answers null.
template <typename T>
requires(!std::is_same_v<T, Object> && std::is_convertible_v<T*, Object*>) struct ValueTraits<T*>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_OBJECT;
    static T* Get(const Value& value)
    {
        Object* const pObject = value.AsObject();
        return pObject != nullptr && IsObjectOf(pObject, T::ClassTable()) ? static_cast<T*>(pObject)
                                                                          : nullptr;
    }
    static Value Make(T* pObject) { return Value(static_cast<Object*>(pObject)); }
};

template <typename T>
struct ValueTraits<Ptr<T>>
{
    static constexpr bool IS_PAYLOAD = true;
    static constexpr bool IS_DIRECT = true;
    static constexpr Value::Type TYPE = Value::TYPE_OBJECT;
    static Ptr<T> Get(const Value& value) { return Ptr<T>(ValueTraits<T*>::Get(value)); }
    static Value Make(const Ptr<T>& pObject) { return Value(pObject); }
};

} // namespace QBase
