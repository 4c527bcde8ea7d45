// ValueJson.h gives values as JSON, for programs.
//
//     MakeJson(Value(0.1f));           // 0.1
//     MakeJson(Value(Vector2(1, 2)));  // [1.0, 2.0]

#pragma once

#include "Output.h"

#include "QBase/Value.h"

namespace Quirl
{

/// The value of any type but Object; a colour is its components, red first.
Json MakeJson(const QBase::Value& value);

} // namespace Quirl
