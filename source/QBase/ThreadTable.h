// ThreadTable.h is what the library itself asks of Thread beyond its public operations, and where the tests
// stand in for the system. A null hook puts the system's own way back.
//
// Threads: DetachThread may be called by any thread; install hooks while no other thread runs.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

/// Gives the handle back without waiting: the thread goes on and nobody will ask for its exit code.
void DetachThread(unsigned handle);

/// The handle of the calling thread; 0 when Thread did not start it.
QBASE_API unsigned GetCurrentThreadHandle();

/// Asked before each start of a thread; false means that the system starts no more.
using StartHook = bool (*)();
QBASE_API void SetStartHook(StartHook pHook);

/// The next Start tries this handle first.
QBASE_API void SetNextThreadHandle(unsigned handle);

/// Runs in place of the sleep between two calls of a ThreadExecutor.
using SleepHook = void (*)(unsigned milliseconds);
QBASE_API void SetSleepHook(SleepHook pHook);
void SleepThread(unsigned milliseconds);

} // namespace QBase
