// Work that is handed on: deferred calls, fibers, threads, locks, and references that threads share.

#include "Model.h"
#include "Rows.h"

#include "QBase/CriticalSection.h"
#include "QBase/DeferredList.h"
#include "QBase/Fiber.h"
#include "QBase/Thread.h"

#include <boost/context/detail/fcontext.hpp>
#include <boost/context/fiber.hpp>
#include <ucontext.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Bench
{
namespace
{

// --- Deferred calls: queued, then executed in a row ---

constexpr int NUM_CALLS = 1000;

void DeferredCalls(benchmark::State& state)
{
    const Ptr<Object> pTarget = Object::Construct(Value::Null);
    const String name("GetReferenceCount");
    const Ptr<QBase::DeferredList> pList = QBase::DeferredList::Construct(Value::Null);
    for (auto _ : state) {
        for (int i = 0; i < NUM_CALLS; ++i) {
            pList->InsertCall(pTarget, name, i);
        }
        pList->Execute(Value::Null);
    }
    CountItems(state, NUM_CALLS);
}

void DequeOfFunctions(benchmark::State& state)
{
    const auto pTarget = std::make_shared<int>(0);
    std::mutex mutex;
    std::deque<std::function<void()>> queue;
    for (auto _ : state) {
        for (int i = 0; i < NUM_CALLS; ++i) {
            const std::lock_guard<std::mutex> guard(mutex);
            queue.emplace_back([pTarget, i] { *pTarget += i; });
        }
        std::deque<std::function<void()>> taken;
        {
            const std::lock_guard<std::mutex> guard(mutex);
            taken.swap(queue);
        }
        for (const std::function<void()>& call : taken) {
            call();
        }
    }
    CountItems(state, NUM_CALLS);
}

// --- Fibers: an iteration goes there and back ---

void QBASE_ENTRY SwitchBack(void* pThread)
{
    for (;;) {
        QBase::Fiber::SwitchTo(pThread);
    }
}

void QBaseFiber(benchmark::State& state)
{
    void* const pThread = QBase::Fiber::CreateFromThread();
    void* const pFiber = QBase::Fiber::Create(SwitchBack, 0, pThread);
    for (auto _ : state) {
        QBase::Fiber::SwitchTo(pFiber);
    }
    CountItems(state, 2);
    QBase::Fiber::Delete(pFiber);
    QBase::Fiber::DeleteFromThread(pThread);
}

void BoostFiber(benchmark::State& state)
{
    bool bEnding = false;
    boost::context::fiber fiber([&bEnding](boost::context::fiber&& rCaller) {
        while (!bEnding) {
            rCaller = std::move(rCaller).resume();
        }
        return std::move(rCaller);
    });
    for (auto _ : state) {
        fiber = std::move(fiber).resume();
    }
    CountItems(state, 2);
    bEnding = true;
    fiber = std::move(fiber).resume();
}

void SwitchBackRaw(boost::context::detail::transfer_t transfer)
{
    for (;;) {
        transfer = boost::context::detail::jump_fcontext(transfer.fctx, nullptr);
    }
}

void RawContext(benchmark::State& state)
{
    using namespace boost::context::detail;
    std::vector<char> stack(64 * 1024);
    fcontext_t context = make_fcontext(stack.data() + stack.size(), stack.size(), SwitchBackRaw);
    for (auto _ : state) {
        context = jump_fcontext(context, nullptr).fctx;
    }
    CountItems(state, 2);
}

ucontext_t g_Main;
ucontext_t g_Other;

void SwitchBackUcontext()
{
    for (;;) {
        swapcontext(&g_Other, &g_Main);
    }
}

void Ucontext(benchmark::State& state)
{
    std::vector<char> stack(64 * 1024);
    getcontext(&g_Other);
    g_Other.uc_stack.ss_sp = stack.data();
    g_Other.uc_stack.ss_size = stack.size();
    makecontext(&g_Other, SwitchBackUcontext, 0);
    for (auto _ : state) {
        swapcontext(&g_Main, &g_Other);
    }
    CountItems(state, 2);
}

// --- Threads and locks ---

unsigned QBASE_ENTRY ReturnAtOnce(void*)
{
    return 0;
}

void QBaseThread(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(QBase::Thread::Finish(QBase::Thread::Start(ReturnAtOnce, nullptr)));
    }
}

void StandardThread(benchmark::State& state)
{
    for (auto _ : state) {
        std::thread([] {}).join();
    }
}

// All threads of a row want in all the time.
int g_SharedCount = 0;

void QBaseLock(benchmark::State& state)
{
    static QBase::CriticalSection sSection;
    for (auto _ : state) {
        QBase::CriticalSection::Block block(&sSection);
        benchmark::DoNotOptimize(++g_SharedCount);
    }
}

template <typename Mutex>
void StandardLock(benchmark::State& state)
{
    static Mutex sMutex;
    for (auto _ : state) {
        const std::lock_guard<Mutex> guard(sMutex);
        benchmark::DoNotOptimize(++g_SharedCount);
    }
}

// --- References that threads share ---

void SharePtr(benchmark::State& state)
{
    static const Ptr<Object> spShared = Object::Construct(Value::Null);
    for (auto _ : state) {
        Ptr<Object> pCopy = spShared;
        benchmark::DoNotOptimize(pCopy);
    }
}

void ShareSharedPtr(benchmark::State& state)
{
    static const std::shared_ptr<int> spShared = std::make_shared<int>(0);
    for (auto _ : state) {
        std::shared_ptr<int> pCopy = spShared;
        benchmark::DoNotOptimize(pCopy);
    }
}

void ShareString(benchmark::State& state)
{
    static const String sText("a text that all threads share");
    for (auto _ : state) {
        String copy = sText;
        benchmark::DoNotOptimize(copy);
    }
}

const bool sbEntered = [] {
    const Area area("scheduling");
    area.Enter("a deferred call", "QBase", DeferredCalls);
    area.Enter("a deferred call", "deque of functions, mutex", DequeOfFunctions);
    area.Enter("a switch between fibers", "QBase", QBaseFiber);
    area.Enter("a switch between fibers", "Boost.Context", BoostFiber);
    area.Enter("a switch between fibers", "ucontext", Ucontext);
    area.Enter("a switch between fibers", "bound: bare jump", RawContext);
    area.Enter("a thread, start to end", "QBase", QBaseThread)->UseRealTime();
    area.Enter("a thread, start to end", "std::thread", StandardThread)->UseRealTime();
    for (const int numThreads : {1, 2}) {
        const std::string threads = numThreads == 1 ? "" : ", 2 threads";
        const auto enter = [&](const char* pRow, const char* pParticipant, void (*pBody)(benchmark::State&)) {
            area.Enter(pRow + threads, pParticipant, pBody)->Threads(numThreads)->UseRealTime();
        };
        enter("enter a lock and leave it", "QBase", QBaseLock);
        enter("enter a lock and leave it", "recursive_mutex", StandardLock<std::recursive_mutex>);
        enter("enter a lock and leave it", "mutex, not recursive", StandardLock<std::mutex>);
        enter("copy a reference", "QBase", SharePtr);
        enter("copy a reference", "QBase, String", ShareString);
        enter("copy a reference", "shared_ptr", ShareSharedPtr);
    }
    return true;
}();

} // namespace
} // namespace Bench
