// TimerClock.h lets the tests stand in for the clock of the Timers. A null hook puts the system's clock back.
//
// Threads: install while no other thread ticks.

#pragma once

#include "QBase/Export.h"

#include <cstdint>

namespace QBase
{

/// Milliseconds, wrapping around at 2^32.
using ClockHook = std::uint32_t (*)();
QBASE_API void SetClockHook(ClockHook pHook);

} // namespace QBase
