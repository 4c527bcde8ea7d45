#include "QBase/Thread.h"

#include "QBase/Error.h"
#include "QBase/Platform/Platform.h"
#include "QBase/ThreadTable.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace QBase
{

namespace
{

// One started thread. The table and the thread itself share it; so does everybody who waits for it.
struct StartedThread
{
    Thread::Entry mpEntry;
    void* mpArgument;
    unsigned mHandle;
    unsigned mExitCode = 0; // written before mbExited, read after it
    std::atomic<bool> mbExited{false};
    std::mutex mJoinMutex;                // lets one of several Finish calls join, the others wait for it
    Platform::Thread* mpThread = nullptr; // guarded by mJoinMutex; null when joined
};

using StartedThreadPointer = std::shared_ptr<StartedThread>;

// The handles in use. Never destroyed: threads end until the last moment of the program.
class ThreadTable
{
public:
    static ThreadTable& Get()
    {
        static ThreadTable& sTable = *new ThreadTable;
        return sTable;
    }

    void Insert(const StartedThreadPointer& pStarted)
    {
        const std::lock_guard<std::mutex> guard(mMutex);
        while (mNextHandle == 0 || mThreads.contains(mNextHandle)) {
            ++mNextHandle;
        }
        pStarted->mHandle = mNextHandle++;
        mThreads.emplace(pStarted->mHandle, pStarted);
    }

    StartedThreadPointer Find(unsigned handle)
    {
        const std::lock_guard<std::mutex> guard(mMutex);
        const auto it = mThreads.find(handle);
        return it != mThreads.end() ? it->second : nullptr;
    }

    void Remove(unsigned handle)
    {
        const std::lock_guard<std::mutex> guard(mMutex);
        mThreads.erase(handle);
    }

    void SetNextHandle(unsigned handle)
    {
        const std::lock_guard<std::mutex> guard(mMutex);
        mNextHandle = handle;
    }

private:
    std::mutex mMutex;
    std::unordered_map<unsigned, StartedThreadPointer> mThreads;
    unsigned mNextHandle = 1;
};

thread_local unsigned tCurrentHandle = 0;

std::atomic<StartHook> g_pStartHook{nullptr};
std::atomic<SleepHook> g_pSleepHook{nullptr};

unsigned RunStartedThread(void* pArgument)
{
    const std::unique_ptr<StartedThreadPointer> pOwn(static_cast<StartedThreadPointer*>(pArgument));
    StartedThread& started = **pOwn;
    tCurrentHandle = started.mHandle;
    started.mExitCode = started.mpEntry(started.mpArgument);
    started.mbExited.store(true, std::memory_order_release);
    return 0;
}

bool StartPlatformThread(const StartedThreadPointer& pStarted)
{
    const StartHook pHook = g_pStartHook.load();
    if (pHook != nullptr && !pHook()) {
        return false;
    }
    auto pOwn = std::make_unique<StartedThreadPointer>(pStarted);
    // Held until the thread is known, so that a Finish that guesses the handle waits for it.
    const std::lock_guard<std::mutex> guard(pStarted->mJoinMutex);
    pStarted->mpThread = Platform::StartThread(RunStartedThread, pOwn.get());
    if (pStarted->mpThread == nullptr) {
        return false;
    }
    static_cast<void>(pOwn.release()); // the thread's own now
    return true;
}

} // namespace

unsigned Thread::Start(Entry pEntry, void* pArgument)
{
    if (pEntry == nullptr) {
        Error(QBASE_HERE, "Failed to start thread - no entry function");
        return 0;
    }
    const StartedThreadPointer pStarted = std::make_shared<StartedThread>();
    pStarted->mpEntry = pEntry;
    pStarted->mpArgument = pArgument;
    ThreadTable::Get().Insert(pStarted);
    const unsigned handle = pStarted->mHandle;
    if (!StartPlatformThread(pStarted)) {
        ThreadTable::Get().Remove(handle);
        Error(QBASE_HERE, "Failed to start thread - the system starts no more threads");
        return 0;
    }
    return handle;
}

unsigned Thread::Finish(unsigned handle)
{
    if (handle != 0 && handle == tCurrentHandle) {
        Error(QBASE_HERE, "Failed to finish thread %u - it would wait for itself", handle);
        return 0;
    }
    const StartedThreadPointer pStarted = ThreadTable::Get().Find(handle);
    if (pStarted == nullptr) {
        return 0;
    }
    const std::lock_guard<std::mutex> guard(pStarted->mJoinMutex);
    if (pStarted->mpThread != nullptr) {
        Platform::JoinThread(pStarted->mpThread);
        pStarted->mpThread = nullptr;
        ThreadTable::Get().Remove(handle);
    }
    return pStarted->mbExited.load(std::memory_order_acquire) ? pStarted->mExitCode : 0; // unless detached
}

bool Thread::HasExited(unsigned handle)
{
    const StartedThreadPointer pStarted = ThreadTable::Get().Find(handle);
    return pStarted == nullptr || pStarted->mbExited.load(std::memory_order_acquire);
}

void DetachThread(unsigned handle)
{
    const StartedThreadPointer pStarted = ThreadTable::Get().Find(handle);
    if (pStarted == nullptr) {
        return;
    }
    const std::lock_guard<std::mutex> guard(pStarted->mJoinMutex);
    if (pStarted->mpThread != nullptr) {
        Platform::DetachThread(pStarted->mpThread);
        pStarted->mpThread = nullptr;
        ThreadTable::Get().Remove(handle);
    }
}

unsigned GetCurrentThreadHandle()
{
    return tCurrentHandle;
}

void SetStartHook(StartHook pHook)
{
    g_pStartHook.store(pHook);
}

void SetNextThreadHandle(unsigned handle)
{
    ThreadTable::Get().SetNextHandle(handle);
}

void SetSleepHook(SleepHook pHook)
{
    g_pSleepHook.store(pHook);
}

void SleepThread(unsigned milliseconds)
{
    const SleepHook pHook = g_pSleepHook.load();
    if (pHook != nullptr) {
        pHook(milliseconds);
    } else {
        Platform::Sleep(milliseconds);
    }
}

} // namespace QBase
