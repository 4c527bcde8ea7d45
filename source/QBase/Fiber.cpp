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
    int mConversionCount = 0;
};

// The address passes through a volatile, so that no compiler takes two calls for one: behind a switch, the
// same stack may be on another thread.
QBASE_NOINLINE ThreadRecord& CurrentThreadRecord()
{
    static thread_local ThreadRecord sRecord;
    ThreadRecord* volatile pRecord = &sRecord;
    return *pRecord;
}

// Runs on the stack that a switch went to.
void Arrive()
{
    ThreadRecord& thread = CurrentThreadRecord();
    CurrentStackState() = thread.mpCurrent->mState;
    thread.mpPrevious->mpRunningOn.store(nullptr, std::memory_order_release);
}

// The target is claimed for this thread already.
void Switch(FiberRecord* pTarget)
{
    ThreadRecord& thread = CurrentThreadRecord();
    FiberRecord* const pSelf = thread.mpCurrent;
    pSelf->mState = CurrentStackState();
    thread.mpPrevious = pSelf;
    thread.mpCurrent = pTarget;
    Platform::SwitchFiber(pSelf->mpFiber, pTarget->mpFiber);
    Arrive();
}

bool Claim(FiberRecord* pTarget)
{
    ThreadRecord* pNobody = nullptr;
    return pTarget->mpRunningOn.compare_exchange_strong(pNobody, &CurrentThreadRecord(),
                                                        std::memory_order_acq_rel);
}

void ReportSwitch(const char* pReason)
{
    Error("Fiber", __LINE__, "Failed to switch to fiber - %s", pReason);
}

void RunFiber(void* pParameter)
{
    FiberRecord* const pSelf = static_cast<FiberRecord*>(pParameter);
    Arrive();
    pSelf->mpEntry(pSelf->mpParameter);
    pSelf->mbEnded.store(true, std::memory_order_relaxed);
    Error(QBASE_HERE, "Failed to return from fiber - it switches to the thread's own fiber instead");
    FiberRecord* const pOwn = CurrentThreadRecord().mpOwn;
    pOwn->mpRunningOn.store(&CurrentThreadRecord(), std::memory_order_relaxed);
    Switch(pOwn); // never comes back: nobody switches to an ended fiber
}

} // namespace

void* Fiber::CreateFromThread()
{
    ThreadRecord& thread = CurrentThreadRecord();
    if (thread.mpOwn == nullptr) {
        FiberRecord* const pOwn = new (std::nothrow) FiberRecord;
        Platform::Fiber* const pFiber = pOwn != nullptr ? Platform::ConvertThreadToFiber() : nullptr;
        if (pFiber == nullptr) {
            delete pOwn;
            Error(QBASE_HERE, "Failed to convert thread to fiber - out of memory");
            return nullptr;
        }
        pOwn->mpFiber = pFiber;
        pOwn->mpThread = &thread;
        pOwn->mpRunningOn.store(&thread, std::memory_order_relaxed);
        thread.mpOwn = pOwn;
        thread.mpCurrent = pOwn;
    }
    ++thread.mConversionCount;
    return thread.mpOwn;
}

void Fiber::DeleteFromThread(void*)
{
    ThreadRecord& thread = CurrentThreadRecord();
    if (thread.mConversionCount == 0) {
        Error(QBASE_HERE, "Failed to convert fiber to thread - the thread is no fiber");
        return;
    }
    if (thread.mConversionCount == 1 && thread.mpCurrent != thread.mpOwn) {
        Error(QBASE_HERE, "Failed to convert fiber to thread - another fiber is running on it");
        return;
    }
    if (--thread.mConversionCount == 0) {
        thread.DeleteOwn();
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
    if (!Claim(pRecord)) {
        Error(QBASE_HERE, "Failed to delete fiber - it is running");
        return;
    }
    Platform::DeleteFiber(pRecord->mpFiber);
    delete pRecord;
}

void Fiber::SwitchTo(void* pFiber)
{
    ThreadRecord& thread = CurrentThreadRecord();
    FiberRecord* const pTarget = static_cast<FiberRecord*>(pFiber);
    if (pTarget == nullptr) {
        ReportSwitch("no fiber");
    } else if (thread.mpOwn == nullptr) {
        ReportSwitch("the thread is no fiber");
    } else if (pTarget->mpThread != nullptr && pTarget->mpThread != &thread) {
        ReportSwitch("it is another thread's own");
    } else if (pTarget->mbEnded.load(std::memory_order_relaxed)) {
        ReportSwitch("its entry function has returned");
    } else if (!Claim(pTarget)) {
        ReportSwitch("it is running");
    } else {
        Switch(pTarget);
    }
}

} // namespace QBase
