#include "QBase/Value.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Object.h"

#include <cmath>
#include <limits>

namespace QBase
{

namespace
{

int SaturateToInt(float value)
{
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= 2147483648.0f) {
        return std::numeric_limits<int>::max();
    }
    if (value < -2147483648.0f) {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(value);
}

} // namespace

constinit const Value Value::Null;

// Units that take its address find it here; not every system makes a copy where it is used.
constexpr int Value::PAYLOAD_SIZE;

bool IsObjectOf(const Object* pObject, const ClassInfoTable* pClassTable)
{
    return pObject->GetClassTable()->IsDerivedFrom(pClassTable);
}

Value::Value(double value) : Value(OfType{TYPE_FLOAT})
{
    constexpr double LARGEST = std::numeric_limits<float>::max();
    if (value > LARGEST) {
        StorePlain(std::isinf(value) ? std::numeric_limits<float>::infinity()
                                     : std::numeric_limits<float>::max());
    } else if (value < -LARGEST) {
        StorePlain(std::isinf(value) ? -std::numeric_limits<float>::infinity()
                                     : -std::numeric_limits<float>::max());
    } else {
        StorePlain(static_cast<float>(value));
    }
}

Object* Value::AccessObject(Object* pObject)
{
    if (pObject != nullptr) {
        Object::AddReference(pObject);
    }
    return pObject;
}

void Value::ReleaseObject(Object* pObject)
{
    if (pObject != nullptr) {
        Object::DropReference(pObject);
    }
}

int Value::Saturate(long long value)
{
    if (value > std::numeric_limits<int>::max()) {
        return std::numeric_limits<int>::max();
    }
    if (value < std::numeric_limits<int>::min()) {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(value);
}

int Value::Saturate(unsigned long long value)
{
    constexpr int LARGEST = std::numeric_limits<int>::max();
    return value > static_cast<unsigned long long>(LARGEST) ? LARGEST : static_cast<int>(value);
}

int Value::ConvertToInt() const
{
    switch (mType) {
    case TYPE_INT:
    case TYPE_ENUM:
        return LoadPlain<std::int32_t>();
    case TYPE_FLOAT:
        return SaturateToInt(LoadPlain<float>());
    case TYPE_BOOL:
        return mPayload[0] != 0 ? 1 : 0;
    default:
        return 0;
    }
}

float Value::ConvertToFloat() const
{
    switch (mType) {
    case TYPE_INT:
    case TYPE_ENUM:
        return static_cast<float>(LoadPlain<std::int32_t>());
    case TYPE_FLOAT:
        return LoadPlain<float>();
    case TYPE_BOOL:
        return mPayload[0] != 0 ? 1.0f : 0.0f;
    default:
        return 0.0f;
    }
}

bool Value::ConvertToBool() const
{
    switch (mType) {
    case TYPE_INT:
    case TYPE_ENUM:
        return LoadPlain<std::int32_t>() != 0;
    case TYPE_FLOAT: {
        const float value = LoadPlain<float>();
        return !std::isnan(value) && value != 0.0f;
    }
    case TYPE_BOOL:
        return mPayload[0] != 0;
    default:
        return false;
    }
}

} // namespace QBase
