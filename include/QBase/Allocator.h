// Allocator gives a standard container the library's memory, counted as "String". The library's narrow and
// wide strings are the standard ones over it:
//
//     NarrowString name("Moon");
//     WideString wide(L"Moon");
//
// A request that cannot be met throws std::bad_alloc, as the standard asks of an allocator.
//
// Threads: an Allocator has no state; what it calls may be called by any thread.

#pragma once

#include "QBase/Memory.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <string>
#include <type_traits>

namespace QBase
{

template <typename T>
class Allocator
{
public:
    /// What the standard library asks of an allocator.
    using value_type = T;
    using is_always_equal = std::true_type;

    static_assert(alignof(T) <= 16, "Memory aligns blocks to 16 bytes");

    constexpr Allocator() noexcept = default;

    template <typename U>
    constexpr Allocator(const Allocator<U>&) noexcept
    {}

    /// Room for `count` elements. Throws std::bad_alloc when there is none.
    [[nodiscard]] T* allocate(std::size_t count)
    {
        if (count > max_size())
            throw std::bad_alloc();
        void* p = Memory::Alloc(static_cast<unsigned>(count * sizeof(T)), ALLOC_STRING, "QBase/Allocator",
                                __LINE__, false);
        if (!p)
            throw std::bad_alloc();
        return static_cast<T*>(p);
    }

    /// Gives it back.
    void deallocate(T* p, std::size_t) { Memory::Free(p, false); }

    /// The most elements that one block of Memory, and the address space, can hold.
    constexpr std::size_t max_size() const noexcept
    {
        return std::min<std::size_t>((std::numeric_limits<unsigned>::max)(),
                                     (std::numeric_limits<std::ptrdiff_t>::max)()) /
               sizeof(T);
    }

    template <typename U>
    constexpr bool operator==(const Allocator<U>&) const noexcept
    {
        return true;
    }
};

/// Texts of the standard library in blocks of Memory.
using NarrowString = std::basic_string<char, std::char_traits<char>, Allocator<char>>;
using WideString = std::basic_string<wchar_t, std::char_traits<wchar_t>, Allocator<wchar_t>>;

} // namespace QBase
