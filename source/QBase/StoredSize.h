// StoredSize bounds what a serializer writes for one graph: the bytes that one Write of a file takes. Tests
// lower it, so that they need no graph of that size.
//
// Threads: set it while nobody saves.

#pragma once

#include "QBase/Export.h"

#include <cstddef>

namespace QBase
{

QBASE_API std::size_t GetLargestStoredSize();

/// 0 puts the usual bound back: the largest int.
QBASE_API void SetLargestStoredSize(std::size_t size);

} // namespace QBase
