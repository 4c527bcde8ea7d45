// ThreadExecutor runs an object's work on a thread of its own: it calls the object's Execute again and again,
// with a sleep in between, until it is stopped. Everything about it can come from data.
//
//     Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
//     pExecutor->SetExecutable(pSimulation);
//     pExecutor->SetSleep(20); // milliseconds
//     pExecutor->Start();
//     ...
//     pExecutor->Stop(); // waits for the present call and the sleep behind it
//
// What would surprise:
// - Start on a running executor stops it first, so there is one thread at most.
// - The thread reads the executable, its argument and the sleep time anew for every call.
// - The executable may stop its executor: the thread ends behind the call that is under way, and the next
//   Start, Stop or destruction waits for it. A Start in there takes the Stop back, but not the Stop of
//   another thread. The executable may even drop the last reference; then the thread ends on its own.
// - Files cannot hold a void value, so an executor is saved only once its argument is set, to 0 for instance.
//   Whether its thread runs is never saved.
//
// Threads: the properties may be read and written, and Start and Stop called, by any thread. What the
// executable does runs on the executor's thread; what it shares with others goes through a DeferredList or a
// Lock.

#pragma once

#include "QBase/Object.h"
#include "QBase/Ptr.h"

#include <memory>

namespace QBase
{

class QBASE_API ThreadExecutor : public Object
{
    QBASE_OBJECT(ThreadExecutor, Object)

public:
    /// The object whose Execute the thread calls; null only sleeps.
    Ptr<Object> GetExecutable() const;
    void SetExecutable(const Ptr<Object>& pExecutable);

    /// What Execute gets; void at first.
    Value GetExecutableArg() const;
    void SetExecutableArg(const Value& argument);

    /// Milliseconds between two calls; 10 at first. 0 only lets other threads run; a negative time counts as
    /// 0.
    int GetSleep() const;
    void SetSleep(int milliseconds);

    /// Starts the thread. Reports, and stays stopped, when the system starts no more threads.
    void Start();

    /// Ends the thread and waits for it.
    void Stop();

    /// Whether there is a thread that has not come to its end.
    bool IsRunning() const;

    /// Stops, unless on its own thread, which then ends by itself.
    ~ThreadExecutor() override;

protected:
    explicit ThreadExecutor(const Value& value);

    /// The copy has the same executable, argument and sleep time, and no thread.
    ThreadExecutor(const ThreadExecutor& other);
    ThreadExecutor& operator=(const ThreadExecutor& other) = delete;

    /// The body of the thread.
    unsigned Run();

private:
    struct State;

    static unsigned QBASE_ENTRY RunExecutor(void* pExecutor);

    bool IsOnOwnThread() const;

    const std::shared_ptr<State> mpState; // shared with the thread, which may outlive the executor
};

} // namespace QBase
