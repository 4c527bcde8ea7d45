// Fibers over the raw context switch of Boost.Context or, in a build without that library, the system's own
// ucontext, each on a stack of its own with a guard page. The sanitizers are told of every switch, since they
// keep shadows of the stacks.

#include "QBase/Platform/Platform.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include <cxxabi.h>
#include <sys/mman.h>
#include <unistd.h>
#if defined(QBASE_UCONTEXT)
#    include <ucontext.h>
#else
#    include <boost/context/detail/fcontext.hpp>
#endif

#if defined(__has_feature)
#    if __has_feature(address_sanitizer)
#        define QBASE_ADDRESS_SANITIZER
#    endif
#    if __has_feature(thread_sanitizer)
#        define QBASE_THREAD_SANITIZER
#    endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#    define QBASE_ADDRESS_SANITIZER
#endif
#if defined(__SANITIZE_THREAD__)
#    define QBASE_THREAD_SANITIZER
#endif

#if defined(QBASE_ADDRESS_SANITIZER)
#    include <sanitizer/asan_interface.h>
#    include <sanitizer/lsan_interface.h>
#endif
#if defined(QBASE_THREAD_SANITIZER)
#    include <sanitizer/tsan_interface.h>
#endif

namespace QBase::Platform
{

namespace
{

constexpr std::size_t DEFAULT_STACK_SIZE = std::size_t(1) << 20;
constexpr std::size_t MIN_STACK_SIZE = std::size_t(16) << 10; // room for a report

// The stack of one fiber, growing down to a page that nobody may touch.
class Stack
{
public:
    Stack() = default;
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;
    ~Stack();

    bool Allocate(std::size_t size);

    void* GetTop() const { return static_cast<char*>(mpBottom) + mSize; }
    void* GetBottom() const { return mpBottom; }
    std::size_t GetSize() const { return mSize; }

private:
    static std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

    void* mpBottom = nullptr; // the guard page lies below
    std::size_t mSize = 0;
};

bool Stack::Allocate(std::size_t size)
{
    const std::size_t page = PageSize();
    if (size == 0) {
        size = DEFAULT_STACK_SIZE;
    }
    if (size > SIZE_MAX / 2) {
        return false;
    }
    size = (std::max(size, MIN_STACK_SIZE) + page - 1) / page * page;
    void* const pBlock = mmap(nullptr, page + size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (pBlock == MAP_FAILED) {
        return false;
    }
    if (mprotect(pBlock, page, PROT_NONE) != 0) {
        munmap(pBlock, page + size);
        return false;
    }
    mpBottom = static_cast<char*>(pBlock) + page;
    mSize = size;
#if defined(QBASE_ADDRESS_SANITIZER)
    __lsan_register_root_region(mpBottom, mSize); // what a suspended fiber refers to is no leak
#endif
    return true;
}

Stack::~Stack()
{
    if (mpBottom == nullptr) {
        return;
    }
#if defined(QBASE_ADDRESS_SANITIZER)
    __lsan_unregister_root_region(mpBottom, mSize);
    __asan_unpoison_memory_region(mpBottom, mSize); // the next owner of these addresses starts clean
#endif
    munmap(static_cast<char*>(mpBottom) - PageSize(), PageSize() + mSize);
}

// The C++ runtime keeps the exceptions being handled, and the number of those in flight, per thread. They
// belong to a stack.
struct ExceptionState
{
    void* mpCaught;
    unsigned mNumUncaught;
};

#if defined(QBASE_UCONTEXT)
using Context = ucontext_t;
#else
using Context = boost::context::detail::fcontext_t;
#endif

} // namespace

struct Fiber
{
    Context mContext{};           // where to go on; of no meaning while the fiber runs
    Fiber* mpPrevious = nullptr;  // the one that the switch to this one came from
    Stack mStack;                 // not used by a thread's own fiber
    FiberEntry mpEntry = nullptr; // null in a thread's own fiber
    void* mpParameter = nullptr;
    ExceptionState mExceptions{nullptr, 0}; // while suspended
    void* mpThreadExceptions = nullptr;     // those of the thread that the fiber runs on
#if defined(QBASE_ADDRESS_SANITIZER)
    void* mpFakeStack = nullptr;
    const void* mpStackBottom = nullptr; // of the stack that the sanitizer knows, a thread's own as well
    std::size_t mStackSize = 0;
#endif
#if defined(QBASE_THREAD_SANITIZER)
    void* mpSanitizerFiber = nullptr;
#endif
};

namespace
{

// Still on the stack of `pFrom`. Both fibers run on this thread, so the runtime's state for it passes from
// hand to hand: asked for behind a switch, the compiler might take the thread that `pFrom` left for the one
// that it goes on on.
void AnnounceSwitch(Fiber* pFrom, Fiber* pTo)
{
    pTo->mpThreadExceptions = pFrom->mpThreadExceptions;
    std::memcpy(&pFrom->mExceptions, pFrom->mpThreadExceptions, sizeof(ExceptionState));
    std::memcpy(pFrom->mpThreadExceptions, &pTo->mExceptions, sizeof(ExceptionState));
#if defined(QBASE_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(&pFrom->mpFakeStack, pTo->mpStackBottom, pTo->mStackSize);
#endif
#if defined(QBASE_THREAD_SANITIZER)
    __tsan_switch_to_fiber(pTo->mpSanitizerFiber, 0);
#endif
}

// The first thing on the stack of a fiber that goes on.
void CompleteSwitch([[maybe_unused]] Fiber* pFiber)
{
#if defined(QBASE_ADDRESS_SANITIZER)
    Fiber* const pPrevious = pFiber->mpPrevious;
    __sanitizer_finish_switch_fiber(pFiber->mpFakeStack, &pPrevious->mpStackBottom, &pPrevious->mStackSize);
#endif
}

// The bottom frame of every fiber.
void RunEntry(Fiber* pFiber) noexcept
{
    CompleteSwitch(pFiber);
    pFiber->mpEntry(pFiber->mpParameter);
}

#if defined(QBASE_UCONTEXT)

// The system hands over nothing but ints.
void BeginFiber(unsigned high, unsigned low)
{
    RunEntry(reinterpret_cast<Fiber*>(static_cast<std::uintptr_t>((std::uint64_t(high) << 32) | low)));
}

bool MakeContext(Fiber* pFiber)
{
    if (getcontext(&pFiber->mContext) != 0) {
        return false;
    }
    pFiber->mContext.uc_stack.ss_sp = pFiber->mStack.GetBottom();
    pFiber->mContext.uc_stack.ss_size = pFiber->mStack.GetSize();
    pFiber->mContext.uc_link = nullptr;
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(pFiber);
    makecontext(&pFiber->mContext, reinterpret_cast<void (*)()>(BeginFiber), 2,
                static_cast<unsigned>(address >> 32), static_cast<unsigned>(address));
    return true;
}

void Jump(Fiber* pFrom, Fiber* pTo)
{
    swapcontext(&pFrom->mContext, &pTo->mContext);
}

#else

// Each side hands itself over, since only the side that goes on is told where the other one stands.
void BeginFiber(boost::context::detail::transfer_t transfer)
{
    Fiber* const pFiber = static_cast<Fiber*>(transfer.data);
    pFiber->mpPrevious->mContext = transfer.fctx;
    RunEntry(pFiber);
}

bool MakeContext(Fiber* pFiber)
{
    pFiber->mContext =
        boost::context::detail::make_fcontext(pFiber->mStack.GetTop(), pFiber->mStack.GetSize(), BeginFiber);
    return true;
}

void Jump(Fiber* pFrom, Fiber* pTo)
{
    const auto transfer = boost::context::detail::jump_fcontext(pTo->mContext, pTo);
    pFrom->mpPrevious->mContext = transfer.fctx;
}

#endif

} // namespace

Fiber* ConvertThreadToFiber()
{
    Fiber* const pFiber = new (std::nothrow) Fiber;
    if (pFiber == nullptr) {
        return nullptr;
    }
    pFiber->mpThreadExceptions = abi::__cxa_get_globals();
#if defined(QBASE_THREAD_SANITIZER)
    pFiber->mpSanitizerFiber = __tsan_get_current_fiber();
#endif
    return pFiber;
}

void ConvertFiberToThread(Fiber* pFiber)
{
    delete pFiber;
}

Fiber* CreateFiber(FiberEntry pEntry, std::size_t stackSize, void* pParameter)
{
    Fiber* const pFiber = new (std::nothrow) Fiber;
    if (pFiber == nullptr || !pFiber->mStack.Allocate(stackSize) || !MakeContext(pFiber)) {
        delete pFiber;
        return nullptr;
    }
    pFiber->mpEntry = pEntry;
    pFiber->mpParameter = pParameter;
#if defined(QBASE_ADDRESS_SANITIZER)
    pFiber->mpStackBottom = pFiber->mStack.GetBottom();
    pFiber->mStackSize = pFiber->mStack.GetSize();
#endif
#if defined(QBASE_THREAD_SANITIZER)
    pFiber->mpSanitizerFiber = __tsan_create_fiber(0);
#endif
    return pFiber;
}

void DeleteFiber(Fiber* pFiber)
{
#if defined(QBASE_THREAD_SANITIZER)
    __tsan_destroy_fiber(pFiber->mpSanitizerFiber);
#endif
    delete pFiber;
}

void SwitchFiber(Fiber* pFrom, Fiber* pTo)
{
    pTo->mpPrevious = pFrom;
    AnnounceSwitch(pFrom, pTo);
    Jump(pFrom, pTo);
    CompleteSwitch(pFrom);
}

} // namespace QBase::Platform
