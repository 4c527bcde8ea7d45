#include "QBase/DynamicProperty.h"

#include "QBase/Array.h"
#include "QBase/Error.h"

#include <cstdint>

namespace QBase
{

namespace
{

constexpr const char* UNIT = "QBase/DynamicProperty";

// Slot<TYPE> says how a dynamic property of that type stores a value: Stored is the C++ type, Take fills it
// from any Value (false when the value does not fit, after a report), Make wraps it, Equals compares it as
// Value does without wrapping it.
template <Value::Type TYPE, typename T>
struct PlainSlot
{
    using Stored = T;
    static bool Take(const Value& value, Stored& rStored)
    {
        ValueBits::CopyPlain(value, &rStored, sizeof(T));
        return true;
    }
    static Value Make(const Stored& stored) { return ValueBits::MakePlain(TYPE, &stored, sizeof(T)); }
    static bool Equals(const Stored& stored, const Value& value)
    {
        return ValueBits::IsPlain(value, TYPE, &stored, sizeof(T));
    }
};

struct BoolSlot
{
    using Stored = bool;
    static bool Take(const Value& value, Stored& rStored)
    {
        unsigned char byte = 0;
        ValueBits::CopyPlain(value, &byte, 1);
        rStored = byte != 0;
        return true;
    }
    static Value Make(const Stored& stored) { return Value(stored); }
    static bool Equals(const Stored& stored, const Value& value)
    {
        return ValueBits::IsPlain(value, Value::TYPE_BOOL, &stored, sizeof(stored));
    }
};

template <Value::Type TYPE, typename T>
struct OwningSlot
{
    using Stored = T;
    static bool Take(const Value& value, Stored& rStored)
    {
        if (value.GetType() != TYPE && !value.IsVoid()) {
            Error(UNIT, __LINE__, "Failed to set dynamic property - value of type %d does not fit type %d",
                  static_cast<int>(value.GetType()), static_cast<int>(TYPE));
            return false;
        }
        rStored = value.Get<T>();
        return true;
    }
    static Value Make(const Stored& stored) { return Value(stored); }
    static bool Equals(const Stored& stored, const Value& value)
    {
        if constexpr (TYPE == Value::TYPE_STRING) {
            return value.GetType() == TYPE && value.AsString() == stored;
        } else {
            return value.GetType() == TYPE && value.AsObject() == stored;
        }
    }
};

template <Value::Type TYPE>
struct Slot;
// Integers, floats and their records are kept as bytes of their size: a float travels untouched.
struct Bytes4
{
    std::uint32_t mWords[1];
};
struct Bytes8
{
    std::uint32_t mWords[2];
};
struct Bytes12
{
    std::uint32_t mWords[3];
};
struct Bytes16
{
    std::uint32_t mWords[4];
};
template <>
struct Slot<Value::TYPE_INT> : PlainSlot<Value::TYPE_INT, Bytes4>
{};
template <>
struct Slot<Value::TYPE_FLOAT> : PlainSlot<Value::TYPE_FLOAT, Bytes4>
{};
template <>
struct Slot<Value::TYPE_BOOL> : BoolSlot
{};
template <>
struct Slot<Value::TYPE_STRING> : OwningSlot<Value::TYPE_STRING, String>
{};
template <>
struct Slot<Value::TYPE_OBJECT> : OwningSlot<Value::TYPE_OBJECT, Ptr<Object>>
{};
template <>
struct Slot<Value::TYPE_VECTOR2> : PlainSlot<Value::TYPE_VECTOR2, Bytes8>
{};
template <>
struct Slot<Value::TYPE_VECTOR3> : PlainSlot<Value::TYPE_VECTOR3, Bytes12>
{};
template <>
struct Slot<Value::TYPE_VECTOR4> : PlainSlot<Value::TYPE_VECTOR4, Bytes16>
{};
template <>
struct Slot<Value::TYPE_VECTOR2I> : PlainSlot<Value::TYPE_VECTOR2I, Bytes8>
{};
template <>
struct Slot<Value::TYPE_VECTOR3I> : PlainSlot<Value::TYPE_VECTOR3I, Bytes12>
{};
template <>
struct Slot<Value::TYPE_VECTOR4I> : PlainSlot<Value::TYPE_VECTOR4I, Bytes16>
{};
template <>
struct Slot<Value::TYPE_COLOR> : PlainSlot<Value::TYPE_COLOR, Bytes4>
{};
template <>
struct Slot<Value::TYPE_ENUM> : PlainSlot<Value::TYPE_ENUM, Bytes4>
{};
template <>
struct Slot<Value::TYPE_QUATERNION> : PlainSlot<Value::TYPE_QUATERNION, Bytes16>
{};

template <Value::Type TYPE>
bool TakeIfChanged(const typename Slot<TYPE>::Stored& stored, const Value& known, Value& rValue)
{
    if (Slot<TYPE>::Equals(stored, known)) {
        return false;
    }
    rValue = Slot<TYPE>::Make(stored);
    return true;
}

template <Value::Type TYPE>
class DynamicValueProperty final : public ValuePropertyCommon
{
public:
    Value::Type GetType() const override { return TYPE; }
    bool IsDynamic() const override { return true; }
    Value Get(Object*) override { return Slot<TYPE>::Make(mStored); }
    bool GetIfChanged(Object*, const Value& known, Value& rValue) override
    {
        return TakeIfChanged<TYPE>(mStored, known, rValue);
    }
    void Set(Object*, const Value& value) override
    {
        typename Slot<TYPE>::Stored taken{};
        if (Slot<TYPE>::Take(value, taken)) {
            std::swap(mStored, taken); // the old value goes last
        }
    }

private:
    typename Slot<TYPE>::Stored mStored{};
};

template <Value::Type TYPE>
class DynamicArrayProperty final : public ArrayPropertyCommon
{
    using Stored = typename Slot<TYPE>::Stored;

public:
    Value::Type GetType() const override { return TYPE; }
    bool IsDynamic() const override { return true; }
    void Insert(Object*, const Value& value) override
    {
        Stored taken{};
        if (Slot<TYPE>::Take(value, taken)) {
            mElements.Insert(taken);
        }
    }
    void InsertAt(Object*, int index, const Value& value) override
    {
        Stored taken{};
        if (Slot<TYPE>::Take(value, taken)) {
            mElements.InsertAt(index, taken);
        }
    }
    void Remove(Object* pObject, const Value& value) override
    {
        const int index = Find(pObject, value);
        if (index >= 0) {
            mElements.RemoveAt(index);
        }
    }
    void RemoveAt(Object*, int index) override { mElements.RemoveAt(index); }
    int Find(Object*, const Value& value) const override
    {
        for (int i = 0; i < mElements.GetSize(); ++i) {
            if (Slot<TYPE>::Make(mElements.GetAt(i)) == value) {
                return i;
            }
        }
        return -1;
    }
    void SetAt(Object*, int index, const Value& value) override
    {
        if (!QBASE_ASSERT_TEXT(index >= 0 && index < mElements.GetSize(), "QBase/Array", __LINE__,
                               "ASSERT( index >= 0 && index < mSize )")) {
            return;
        }
        Stored taken{};
        if (Slot<TYPE>::Take(value, taken)) {
            std::swap(mElements.GetAt(index), taken);
        }
    }
    Value GetAt(Object*, int index) override { return Slot<TYPE>::Make(mElements.GetAt(index)); }
    bool GetAtIfChanged(Object*, int index, const Value& known, Value& rValue) override
    {
        return TakeIfChanged<TYPE>(mElements.GetAt(index), known, rValue);
    }
    void Clear(Object*) override { mElements.Clear(); }
    int GetSize(Object*) const override { return mElements.GetSize(); }

private:
    Array<Stored> mElements;
};

// One switch for both shapes: Shape is DynamicValueProperty or DynamicArrayProperty.
template <template <Value::Type> class Shape>
Property* Create(Value::Type type)
{
    switch (type) {
    case Value::TYPE_INT:
        return new Shape<Value::TYPE_INT>;
    case Value::TYPE_FLOAT:
        return new Shape<Value::TYPE_FLOAT>;
    case Value::TYPE_BOOL:
        return new Shape<Value::TYPE_BOOL>;
    case Value::TYPE_STRING:
        return new Shape<Value::TYPE_STRING>;
    case Value::TYPE_OBJECT:
        return new Shape<Value::TYPE_OBJECT>;
    case Value::TYPE_VECTOR2:
        return new Shape<Value::TYPE_VECTOR2>;
    case Value::TYPE_VECTOR3:
        return new Shape<Value::TYPE_VECTOR3>;
    case Value::TYPE_VECTOR4:
        return new Shape<Value::TYPE_VECTOR4>;
    case Value::TYPE_VECTOR2I:
        return new Shape<Value::TYPE_VECTOR2I>;
    case Value::TYPE_VECTOR3I:
        return new Shape<Value::TYPE_VECTOR3I>;
    case Value::TYPE_VECTOR4I:
        return new Shape<Value::TYPE_VECTOR4I>;
    case Value::TYPE_COLOR:
        return new Shape<Value::TYPE_COLOR>;
    case Value::TYPE_ENUM:
        return new Shape<Value::TYPE_ENUM>;
    case Value::TYPE_QUATERNION:
        return new Shape<Value::TYPE_QUATERNION>;
    default:
        return nullptr;
    }
}

} // namespace

Property* CreateDynamicValue(Value::Type type)
{
    return Create<DynamicValueProperty>(type);
}

Property* CreateDynamicArray(Value::Type type)
{
    return Create<DynamicArrayProperty>(type);
}

} // namespace QBase
