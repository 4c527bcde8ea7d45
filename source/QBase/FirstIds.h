// FirstIds.h lets tests begin with the ids that others reach after years: those that come before they wrap.
//
// Threads: set while no other thread constructs an ObjectDiffSerializer.

#pragma once

#include "QBase/Export.h"

#include <cstdint>

namespace QBase
{

/// The first id of each kind that an ObjectDiffSerializer gives out which is constructed from now on. 1 at
/// first.
QBASE_API void SetFirstIds(std::uint32_t first);

std::uint32_t GetFirstIds();

} // namespace QBase
