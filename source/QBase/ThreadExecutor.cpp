#include "QBase/ThreadExecutor.h"

#include "QBase/Reflection.h"
#include "QBase/Thread.h"
#include "QBase/ThreadTable.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace QBase
{

struct ThreadExecutor::State
{
    // Who asked the thread to end, as bits of mStopRequests. The thread takes back only its own request: the
    // other one waits for it to end.
    static constexpr unsigned BY_ITSELF = 1;
    static constexpr unsigned BY_OTHERS = 2;

    /// Makes the present executable, if any, do its work once. No lock is held meanwhile.
    void Execute();

    /// With mControl entered, not on the executor's thread.
    void Join();

    std::mutex mDataMutex; // guards the next two, for the time of a copy or an exchange
    Ptr<Object> mpExecutable;
    Value mArgument;

    std::atomic<int> mSleep{10}; // milliseconds
    std::atomic<unsigned> mStopRequests{0};

    std::mutex mControl; // held by other threads' Start and Stop; never entered by the thread itself
    std::atomic<unsigned> mThreadHandle{0}; // changed with mControl held; 0 when no thread runs
};

namespace
{

// The state of the executor whose thread this is.
thread_local const void* tpOwnState = nullptr;

} // namespace

void ThreadExecutor::State::Execute()
{
    std::unique_lock<std::mutex> guard(mDataMutex);
    const Ptr<Object> pExecutable = mpExecutable;
    const Value argument = mArgument;
    guard.unlock();
    if (pExecutable != nullptr) {
        pExecutable->Execute(argument);
    }
}

void ThreadExecutor::State::Join()
{
    if (mThreadHandle == 0) {
        return;
    }
    mStopRequests.fetch_or(BY_OTHERS);
    Thread::Finish(mThreadHandle);
    mThreadHandle = 0;
}

QBASE_IMPLEMENT(QBase, ThreadExecutor)

void ThreadExecutor::Implement()
{
    Describe("Executes an object on a thread of its own, again and again");
    SetActsOutside();
    AddProperty<&ThreadExecutor::GetExecutable, &ThreadExecutor::SetExecutable>("Executable");
    AddProperty<&ThreadExecutor::GetExecutableArg, &ThreadExecutor::SetExecutableArg>("ExecutableArg");
    AddProperty<&ThreadExecutor::GetSleep, &ThreadExecutor::SetSleep>("Sleep");
    AddFunction<&ThreadExecutor::Start>("Start");
    AddFunction<&ThreadExecutor::Stop>("Stop");
}

ThreadExecutor::ThreadExecutor(const Value&) : mpState(std::make_shared<State>())
{}

ThreadExecutor::ThreadExecutor(const ThreadExecutor& other)
    : Object(other), mpState(std::make_shared<State>())
{
    SetExecutable(other.GetExecutable());
    SetExecutableArg(other.GetExecutableArg());
    SetSleep(other.GetSleep());
}

ThreadExecutor::~ThreadExecutor()
{
    if (IsOnOwnThread()) {
        mpState->mStopRequests.fetch_or(State::BY_OTHERS);
        DetachThread(GetCurrentThreadHandle());
    } else {
        Stop();
    }
}

Ptr<Object> ThreadExecutor::GetExecutable() const
{
    const std::lock_guard<std::mutex> guard(mpState->mDataMutex);
    return mpState->mpExecutable;
}

void ThreadExecutor::SetExecutable(const Ptr<Object>& pExecutable)
{
    Ptr<Object> pOld = pExecutable; // exchanged below; released without the lock
    const std::lock_guard<std::mutex> guard(mpState->mDataMutex);
    std::swap(mpState->mpExecutable, pOld);
}

Value ThreadExecutor::GetExecutableArg() const
{
    const std::lock_guard<std::mutex> guard(mpState->mDataMutex);
    return mpState->mArgument;
}

void ThreadExecutor::SetExecutableArg(const Value& argument)
{
    Value old = argument; // exchanged below; released without the lock
    const std::lock_guard<std::mutex> guard(mpState->mDataMutex);
    std::swap(mpState->mArgument, old);
}

int ThreadExecutor::GetSleep() const
{
    return mpState->mSleep;
}

void ThreadExecutor::SetSleep(int milliseconds)
{
    mpState->mSleep = milliseconds;
}

void ThreadExecutor::Start()
{
    if (IsOnOwnThread()) {
        mpState->mStopRequests.fetch_and(~State::BY_ITSELF);
        return;
    }
    const std::shared_ptr<State> pState = mpState; // once started, the executable may destroy this
    const std::lock_guard<std::mutex> guard(pState->mControl);
    pState->Join();
    pState->mStopRequests = 0;
    pState->mThreadHandle = Thread::Start(RunExecutor, this); // which has reported when it answers 0
}

void ThreadExecutor::Stop()
{
    if (IsOnOwnThread()) {
        mpState->mStopRequests.fetch_or(State::BY_ITSELF);
        return;
    }
    const std::lock_guard<std::mutex> guard(mpState->mControl);
    mpState->Join();
}

bool ThreadExecutor::IsRunning() const
{
    return IsOnOwnThread() || !Thread::HasExited(mpState->mThreadHandle);
}

unsigned ThreadExecutor::RunExecutor(void* pExecutor)
{
    return static_cast<ThreadExecutor*>(pExecutor)->Run();
}

unsigned ThreadExecutor::Run()
{
    const std::shared_ptr<State> pState = mpState; // the executable may destroy this
    tpOwnState = pState.get();
    while (pState->mStopRequests == 0) {
        pState->Execute();
        const int sleep = pState->mSleep;
        SleepThread(sleep > 0 ? static_cast<unsigned>(sleep) : 0);
    }
    tpOwnState = nullptr;
    return 0;
}

bool ThreadExecutor::IsOnOwnThread() const
{
    return tpOwnState == mpState.get();
}

} // namespace QBase
