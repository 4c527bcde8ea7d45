// Fiber switches between stacks on one thread: a fiber runs until it switches to another one by itself, and
// goes on from there at the next switch back. Scripts that wait for something in the middle of a function are
// written with it.
//
//     void* const pThread = Fiber::CreateFromThread(); // this thread can switch now
//     void* const pScript = Fiber::Create(RunScript, 0, &script);
//     while (!script.IsDone())
//         Fiber::SwitchTo(pScript); // until the script does SwitchTo(pThread)
//     Fiber::Delete(pScript);
//     Fiber::DeleteFromThread(pThread);
//
// What would surprise:
// - A fiber that is deleted while it is suspended just goes: nothing on its stack is destroyed.
// - An entry function had better switch away for good at its end. One that returns is reported, the thread's
//   own fiber goes on, and the returned one can only be deleted.
// - A CriticalSection belongs to the thread, not to the fiber: all fibers of a thread are inside together.
// - Compilers assume that a function stays on its thread. A fiber that goes on on another one must not use
//   thread-local variables on both sides of a switch in one function.
//
// A handle that was deleted must not be used again.
//
// Threads: each thread has its own conversion count. A created fiber may be switched to by any converted
// thread, one at a time; the fiber of a thread only by that thread.

#pragma once

#include "QBase/Export.h"

#include <cstddef>

namespace QBase
{

class QBASE_API Fiber
{
public:
    /// The function that a fiber runs. It must not return: it switches to another fiber instead.
    using Entry = void(QBASE_ENTRY*)(void* pParameter);

    Fiber() = delete;

    /// Makes the calling thread a fiber, unless it is one already, and counts the calls. The thread's own
    /// fiber; null, after a report, when memory is short.
    static void* CreateFromThread();

    /// Undoes one CreateFromThread; the last makes the fiber an ordinary thread again. The argument is not
    /// used. Reports, and changes nothing, without a CreateFromThread before or on another fiber.
    static void DeleteFromThread(void* pFiber);

    /// A fiber that calls `pEntry` with `pParameter` at the first switch to it, on a stack of `stackSize`
    /// bytes; 0 is the usual size, 1 MiB. Null, after a report, when that fails.
    static void* Create(Entry pEntry, std::size_t stackSize, void* pParameter);

    /// Deletes a suspended fiber without going on with it. Reports, and changes nothing, when it is running
    /// or a thread's own.
    static void Delete(void* pFiber);

    /// Suspends the calling fiber and goes on with another one. Reports, and returns at once, when the thread
    /// is no fiber yet, or the other one is running, another thread's own, or at its end.
    static void SwitchTo(void* pFiber);
};

} // namespace QBase
