// Thread starts threads and waits for their end. A started thread is known by a handle, a number that is
// never 0 and stays taken until Finish gives it back.
//
//     unsigned QBASE_ENTRY CountStars(void* pArgument)
//     {
//         return static_cast<Galaxy*>(pArgument)->CountStars();
//     }
//
//     const unsigned handle = Thread::Start(CountStars, pGalaxy);
//     ...
//     const unsigned numStars = Thread::Finish(handle); // waits
//
// Every started thread is finished once; one that never is keeps its handle until the program ends.
//
// Threads: every operation may be called by any thread.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

class QBASE_API Thread
{
public:
    /// The function that a thread runs. What it returns is what Finish answers.
    using Entry = unsigned(QBASE_ENTRY*)(void* pArgument);

    Thread() = delete;

    /// Starts a thread that calls `pEntry` at once. The new handle, or 0, after a report, when that fails.
    static unsigned Start(Entry pEntry, void* pArgument);

    /// Waits for the end of the thread, gives the handle back and returns what the entry function returned.
    /// 0 at once for a handle that is not in use; 0, after a report, for the calling thread's own.
    static unsigned Finish(unsigned handle);

    /// True once the entry function returned, and for a handle that is not in use.
    static bool HasExited(unsigned handle);
};

} // namespace QBase
