// What handing work between threads costs, beside the means of the system and the standard library.

#include "QBase/CriticalSection.h"
#include "QBase/DeferredList.h"
#include "QBase/Fiber.h"
#include "QBase/Object.h"
#include "QBase/String.h"
#include "QBase/Thread.h"

#include <benchmark/benchmark.h>

#include <boost/context/detail/fcontext.hpp>
#include <ucontext.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;

namespace
{

// One item is one queued call. The time per item stays the same at any length.
void BM_DeferredListAppend(benchmark::State& state)
{
    const Ptr<Object> pTarget = Object::Construct(Value::Null);
    const String name("GetReferenceCount");
    for (auto _ : state) {
        const Ptr<DeferredList> pList = DeferredList::Construct(Value::Null);
        for (int i = 0; i < state.range(0); ++i) {
            pList->InsertCall(pTarget, name, i);
        }
        pList->Execute(Value::Null);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The same with the standard library: closures in a deque under a mutex.
void BM_DequeOfFunctionsAppend(benchmark::State& state)
{
    const auto pTarget = std::make_shared<int>(0);
    for (auto _ : state) {
        std::mutex mutex;
        std::deque<std::function<void()>> queue;
        for (int i = 0; i < state.range(0); ++i) {
            const std::lock_guard<std::mutex> guard(mutex);
            queue.emplace_back([pTarget, i] { *pTarget += i; });
        }
        const std::lock_guard<std::mutex> guard(mutex);
        for (const std::function<void()>& call : queue) {
            call();
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_UncontendedCriticalSection(benchmark::State& state)
{
    CriticalSection section;
    for (auto _ : state) {
        CriticalSection::Block block(&section);
        benchmark::ClobberMemory();
    }
}

void BM_UncontendedMutex(benchmark::State& state)
{
    std::mutex mutex;
    for (auto _ : state) {
        std::lock_guard<std::mutex> guard(mutex);
        benchmark::ClobberMemory();
    }
}

void BM_UncontendedRecursiveMutex(benchmark::State& state)
{
    std::recursive_mutex mutex;
    for (auto _ : state) {
        std::lock_guard<std::recursive_mutex> guard(mutex);
        benchmark::ClobberMemory();
    }
}

// Two threads that want in all the time.
CriticalSection g_SharedSection;
std::recursive_mutex g_SharedMutex;
int g_SharedCount = 0;

void BM_ContendedCriticalSection(benchmark::State& state)
{
    for (auto _ : state) {
        CriticalSection::Block block(&g_SharedSection);
        benchmark::DoNotOptimize(++g_SharedCount);
    }
}

void BM_ContendedRecursiveMutex(benchmark::State& state)
{
    for (auto _ : state) {
        std::lock_guard<std::recursive_mutex> guard(g_SharedMutex);
        benchmark::DoNotOptimize(++g_SharedCount);
    }
}

unsigned QBASE_ENTRY ReturnAtOnce(void*)
{
    return 0;
}

void BM_ThreadStartFinish(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Thread::Finish(Thread::Start(ReturnAtOnce, nullptr)));
    }
}

void BM_StdThreadStartJoin(benchmark::State& state)
{
    for (auto _ : state) {
        std::thread([] {}).join();
    }
}

// One item is one switch; an iteration goes there and back.
void QBASE_ENTRY SwitchBackFibers(void* pThread)
{
    for (;;) {
        Fiber::SwitchTo(pThread);
    }
}

void BM_FiberSwitch(benchmark::State& state)
{
    void* const pThread = Fiber::CreateFromThread();
    void* const pFiber = Fiber::Create(SwitchBackFibers, 0, pThread);
    for (auto _ : state) {
        Fiber::SwitchTo(pFiber);
    }
    state.SetItemsProcessed(state.iterations() * 2);
    Fiber::Delete(pFiber);
    Fiber::DeleteFromThread(pThread);
}

void SwitchBackRaw(boost::context::detail::transfer_t transfer)
{
    for (;;) {
        transfer = boost::context::detail::jump_fcontext(transfer.fctx, nullptr);
    }
}

void BM_RawContextSwitch(benchmark::State& state)
{
    using namespace boost::context::detail;
    std::vector<char> stack(64 * 1024);
    fcontext_t context = make_fcontext(stack.data() + stack.size(), stack.size(), SwitchBackRaw);
    for (auto _ : state) {
        context = jump_fcontext(context, nullptr).fctx;
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

ucontext_t g_Main;
ucontext_t g_Other;

void SwitchBackUcontext()
{
    for (;;) {
        swapcontext(&g_Other, &g_Main);
    }
}

void BM_UcontextSwitch(benchmark::State& state)
{
    std::vector<char> stack(64 * 1024);
    getcontext(&g_Other);
    g_Other.uc_stack.ss_sp = stack.data();
    g_Other.uc_stack.ss_size = stack.size();
    makecontext(&g_Other, SwitchBackUcontext, 0);
    for (auto _ : state) {
        swapcontext(&g_Main, &g_Other);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}

// References on objects, and copies of texts, that each thread has to itself and that all share.
Ptr<Object> g_pShared = Object::Construct(Value::Null);

void BM_PtrCopyOwn(benchmark::State& state)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (auto _ : state) {
        Ptr<Object> pCopy = pObject;
        benchmark::DoNotOptimize(pCopy);
    }
}

void BM_PtrCopyShared(benchmark::State& state)
{
    for (auto _ : state) {
        Ptr<Object> pCopy = g_pShared;
        benchmark::DoNotOptimize(pCopy);
    }
}

void BM_SharedPtrCopyShared(benchmark::State& state)
{
    static const std::shared_ptr<int> spShared = std::make_shared<int>(0);
    for (auto _ : state) {
        std::shared_ptr<int> pCopy = spShared;
        benchmark::DoNotOptimize(pCopy);
    }
}

void BM_StringCopyOwn(benchmark::State& state)
{
    const String text(("text of thread " + std::to_string(state.thread_index())).c_str());
    for (auto _ : state) {
        String copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

void BM_StringCopyShared(benchmark::State& state)
{
    const String text("a text that all threads share");
    for (auto _ : state) {
        String copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

BENCHMARK(BM_DeferredListAppend)->Arg(100)->Arg(10000)->Arg(1000000);
BENCHMARK(BM_DequeOfFunctionsAppend)->Arg(100)->Arg(10000)->Arg(1000000);
BENCHMARK(BM_UncontendedCriticalSection);
BENCHMARK(BM_UncontendedMutex);
BENCHMARK(BM_UncontendedRecursiveMutex);
BENCHMARK(BM_ContendedCriticalSection)->Threads(2)->UseRealTime();
BENCHMARK(BM_ContendedRecursiveMutex)->Threads(2)->UseRealTime();
BENCHMARK(BM_ThreadStartFinish)->UseRealTime();
BENCHMARK(BM_StdThreadStartJoin)->UseRealTime();
BENCHMARK(BM_FiberSwitch);
BENCHMARK(BM_RawContextSwitch);
BENCHMARK(BM_UcontextSwitch);
BENCHMARK(BM_PtrCopyOwn)->ThreadRange(1, 2);
BENCHMARK(BM_PtrCopyShared)->ThreadRange(1, 2);
BENCHMARK(BM_SharedPtrCopyShared)->ThreadRange(1, 2);
BENCHMARK(BM_StringCopyOwn)->ThreadRange(1, 2);
BENCHMARK(BM_StringCopyShared)->ThreadRange(1, 2);

} // namespace
