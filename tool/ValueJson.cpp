#include "ValueJson.h"

#include "Text.h"

#include <cmath>

using namespace QBase;

namespace Quirl
{

namespace
{

// JSON has no numbers for what is no number.
Json MakeNumberJson(float number)
{
    return std::isfinite(number) ? Json(number) : Json(ToText(number));
}

} // namespace

Json MakeJson(const Value& value)
{
    switch (value.GetType()) {
    case Value::TYPE_INT:
    case Value::TYPE_ENUM:
        return value.Get<int>();
    case Value::TYPE_FLOAT:
        return MakeNumberJson(value.Get<float>());
    case Value::TYPE_BOOL:
        return value.Get<bool>();
    case Value::TYPE_STRING:
        return value.AsString().c_str();
    case Value::TYPE_COLOR:
    case Value::TYPE_VECTOR2I:
    case Value::TYPE_VECTOR3I:
    case Value::TYPE_VECTOR4I:
        return GetIntComponents(value);
    default:
        break;
    }
    Json json;
    for (const float component : GetFloatComponents(value)) {
        json.push_back(MakeNumberJson(component));
    }
    return json;
}

} // namespace Quirl
