#include "QBase/Fiber.h"

#include "QBase/Error.h"
#include "QBase/Platform/Platform.h"
#include "QBase/StackState.h"

#include <atomic>
#include <new>

namespace QBase
{

namespace
{

struct ThreadRecord;

// What a handle points to.
struct FiberRecord
{
    Platform::Fiber* mpFiber = nullptr;
    Fiber::Entry mpEntry = nullptr; // null in a thread's own fiber
    void* mpParameter = nullptr;
    ThreadRecord* mpThread = nullptr;                // whose own fiber this is; null in a created one
    std::atomic<ThreadRecord*> mpRunningOn{nullptr}; // null while suspended
    std::atomic<bool> mbEnded{false};                // the entry returned
    StackState mState;                               // while suspended
};

// Made by the first conversion of a thread, and kept to its end.
struct ThreadRecord
{
    ThreadRecord() = default;
    ThreadRecord(const ThreadRecord&) = delete;
    ThreadRecord& operator=(const ThreadRecord&) = delete;
    ~ThreadRecord() { DeleteOwn(); } // the thread ends with its conversions not undone

    void DeleteOwn()
    {
        if (mpOwn != nullptr) {
            Platform::ConvertFiberToThread(mpOwn->mpFiber);
            delete mpOwn;
        }
        mpOwn = nullptr;
        mpCurrent = nullptr;
    }

    FiberRecord* mpOwn = nullptr;      // null when the thread is not converted
    FiberRecord* mpCurrent = nullptr;  // the fiber that runs on the thread now
    FiberRecord* mpPrevious = nullptr; // the one that a switch comes from, until it has arrived
    StackState* const mpState = &CurrentStackState();
    int mConversionCount = 0;
};

QBASE_FAST_THREAD_LOCAL constinit thread_local ThreadRecord* tpThread = nullptr;

// The thread's record; null before its first conversion. The read is volatile, so that no compiler takes two
// calls for one: behind a switch, the same stack may be on another thread.
QBASE_NOINLINE ThreadRecord* CurrentThreadRecord()
{
    ThreadRecord* volatile* const ppThread = &tpThread;
    return *ppThread;
}

void DeleteThreadRecord(void* pThread)
{
    tpThread = nullptr;
    delete static_cast<ThreadRecord*>(pThread);
}

// Null when memory is short.
ThreadRecord* FindOrMakeThreadRecord()
{
    ThreadRecord* pThread = CurrentThreadRecord();
    if (pThread == nullptr) {
        pThread = new (std::nothrow) ThreadRecord;
        if (pThread != nullptr && !Platform::AtThreadEnd(DeleteThreadRecord, pThread)) {
            delete pThread;
            pThread = nullptr;
        }
        tpThread = pThread;
    }
    return pThread;
}

// Makes the thread a fiber; false when memory is short.
bool Convert(ThreadRecord* pThread)
{
    FiberRecord* const pOwn = new (std::nothrow) FiberRecord;
    Platform::Fiber* const pFiber = pOwn != nullptr ? Platform::ConvertThreadToFiber() : nullptr;
    if (pFiber == nullptr) {
        delete pOwn;
        return false;
    }
    pOwn->mpFiber = pFiber;
    pOwn->mpThread = pThread;
    pOwn->mpRunningOn.store(pThread, std::memory_order_relaxed);
    pThread->mpOwn = pOwn;
    pThread->mpCurrent = pOwn;
    return true;
}

// Only its own thread switches to a thread's own fiber, so that one needs no atomic exchange.
bool Claim(FiberRecord* pTarget, ThreadRecord* pThread)
{
    if (pTarget->mpThread != nullptr) {
        const bool bSuspended = pTarget->mpRunningOn.load(std::memory_order_relaxed) == nullptr;
        if (bSuspended) {
            pTarget->mpRunningOn.store(pThread, std::memory_order_relaxed);
        }
        return bSuspended;
    }
    ThreadRecord* pNobody = nullptr;
    return pTarget->mpRunningOn.compare_exchange_strong(pNobody, pThread, std::memory_order_acq_rel);
}

// Runs on the stack that a switch went to. The one it came from is suspended only now.
void Arrive(FiberRecord* pSelf)
{
    ThreadRecord* const pThread = pSelf->mpRunningOn.load(std::memory_order_relaxed);
    pThread->mpPrevious->mpRunningOn.store(nullptr, std::memory_order_release);
}

// The target is claimed for this thread already.
void Switch(FiberRecord* pTarget, ThreadRecord* pThread)
{
    FiberRecord* const pSelf = pThread->mpCurrent;
    pSelf->mState = *pThread->mpState;
    *pThread->mpState = pTarget->mState;
    pThread->mpPrevious = pSelf;
    pThread->mpCurrent = pTarget;
    Platform::SwitchFiber(pSelf->mpFiber, pTarget->mpFiber);
    Arrive(pSelf); // perhaps on another thread
}

void ReportSwitch(const char* pReason)
{
    Error("Fiber", __LINE__, "Failed to switch to fiber - %s", pReason);
}

void RunFiber(void* pParameter)
{
    FiberRecord* const pSelf = static_cast<FiberRecord*>(pParameter);
    Arrive(pSelf);
    pSelf->mpEntry(pSelf->mpParameter);
    pSelf->mbEnded.store(true, std::memory_order_relaxed);
    Error(QBASE_HERE, "Failed to return from fiber - it switches to the thread's own fiber instead");
    ThreadRecord* const pThread = CurrentThreadRecord();
    Claim(pThread->mpOwn, pThread);
    Switch(pThread->mpOwn, pThread); // never comes back: nobody switches to an ended fiber
}

} // namespace

void* Fiber::CreateFromThread()
{
    ThreadRecord* const pThread = FindOrMakeThreadRecord();
    if (pThread == nullptr || (pThread->mpOwn == nullptr && !Convert(pThread))) {
        Error(QBASE_HERE, "Failed to convert thread to fiber - out of memory");
        return nullptr;
    }
    ++pThread->mConversionCount;
    return pThread->mpOwn;
}

void Fiber::DeleteFromThread(void*)
{
    ThreadRecord* const pThread = CurrentThreadRecord();
    if (pThread == nullptr || pThread->mConversionCount == 0) {
        Error(QBASE_HERE, "Failed to convert fiber to thread - the thread is no fiber");
        return;
    }
    if (pThread->mConversionCount == 1 && pThread->mpCurrent != pThread->mpOwn) {
        Error(QBASE_HERE, "Failed to convert fiber to thread - another fiber is running on it");
        return;
    }
    if (--pThread->mConversionCount == 0) {
        pThread->DeleteOwn();
    }
}

void* Fiber::Create(Entry pEntry, std::size_t stackSize, void* pParameter)
{
    if (pEntry == nullptr) {
        Error(QBASE_HERE, "Failed to create fiber - no entry function");
        return nullptr;
    }
    FiberRecord* const pRecord = new (std::nothrow) FiberRecord;
    Platform::Fiber* const pFiber =
        pRecord != nullptr ? Platform::CreateFiber(RunFiber, stackSize, pRecord) : nullptr;
    if (pFiber == nullptr) {
        delete pRecord;
        Error(QBASE_HERE, "Failed to create fiber with a stack of %llu bytes - out of memory",
              static_cast<unsigned long long>(stackSize));
        return nullptr;
    }
    pRecord->mpFiber = pFiber;
    pRecord->mpEntry = pEntry;
    pRecord->mpParameter = pParameter;
    return pRecord;
}

void Fiber::Delete(void* pFiber)
{
    FiberRecord* const pRecord = static_cast<FiberRecord*>(pFiber);
    if (pRecord == nullptr) {
        Error(QBASE_HERE, "Failed to delete fiber - no fiber");
        return;
    }
    if (pRecord->mpThread != nullptr) {
        Error(QBASE_HERE, "Failed to delete fiber - it is a thread's own");
        return;
    }
    if (pRecord->mpRunningOn.load(std::memory_order_acquire) != nullptr) {
        Error(QBASE_HERE, "Failed to delete fiber - it is running");
        return;
    }
    Platform::DeleteFiber(pRecord->mpFiber);
    delete pRecord;
}

void Fiber::SwitchTo(void* pFiber)
{
    ThreadRecord* const pThread = CurrentThreadRecord();
    FiberRecord* const pTarget = static_cast<FiberRecord*>(pFiber);
    if (pTarget == nullptr) {
        ReportSwitch("no fiber");
    } else if (pThread == nullptr || pThread->mpOwn == nullptr) {
        ReportSwitch("the thread is no fiber");
    } else if (pTarget->mpThread != nullptr && pTarget->mpThread != pThread) {
        ReportSwitch("it is another thread's own");
    } else if (pTarget->mbEnded.load(std::memory_order_relaxed)) {
        ReportSwitch("its entry function has returned");
    } else if (!Claim(pTarget, pThread)) {
        ReportSwitch("it is running");
    } else {
        Switch(pTarget, pThread);
    }
}

} // namespace QBase
