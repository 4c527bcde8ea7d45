#include "Support/CountedAllocations.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{

std::atomic<std::int64_t> g_Count{0};
thread_local int tBeforeFailures = 0;
thread_local int tFailures = 0;

bool IsToFail() noexcept
{
    if (tFailures == 0 || tBeforeFailures-- > 0) {
        return false;
    }
    tBeforeFailures = 0;
    --tFailures;
    return true;
}

void* CountedAlloc(std::size_t size) noexcept
{
    if (IsToFail()) {
        return nullptr;
    }
    g_Count.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size > 0 ? size : 1);
}

// Not every C library has an aligned malloc whose memory free takes. The block's own address lies in front.
void* AlignedAlloc(std::size_t size, std::size_t alignment) noexcept
{
    char* const pBlock = static_cast<char*>(CountedAlloc(sizeof(void*) + alignment + size));
    if (pBlock == nullptr) {
        return nullptr;
    }
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(pBlock + sizeof(void*));
    char* const p = pBlock + sizeof(void*) + (alignment - start % alignment) % alignment;
    std::memcpy(p - sizeof(void*), &pBlock, sizeof(pBlock));
    return p;
}

void AlignedFree(void* p) noexcept
{
    if (p != nullptr) {
        void* pBlock = nullptr;
        std::memcpy(&pBlock, static_cast<char*>(p) - sizeof(void*), sizeof(pBlock));
        std::free(pBlock);
    }
}

} // namespace

// These replace the standard ones in the whole program. The forms for arrays call them.
void* operator new(std::size_t size)
{
    if (void* const p = CountedAlloc(size)) {
        return p;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return CountedAlloc(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    if (void* const p = AlignedAlloc(size, static_cast<std::size_t>(alignment))) {
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p, std::align_val_t) noexcept
{
    AlignedFree(p);
}

void operator delete(void* p, std::size_t, std::align_val_t) noexcept
{
    AlignedFree(p);
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete(void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}

CountedAllocations::CountedAllocations() : mStart(g_Count.load(std::memory_order_relaxed))
{}

std::int64_t CountedAllocations::GetCount() const
{
    return g_Count.load(std::memory_order_relaxed) - mStart;
}

FailingNew::FailingNew(int number, int after)
{
    tBeforeFailures = after;
    tFailures = number;
}

FailingNew::~FailingNew()
{
    tFailures = 0;
}

bool FailingNew::HasFailed() const
{
    return tFailures == 0;
}
