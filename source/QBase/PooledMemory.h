// PooledMemory hands out memory for many small things that are used together, so that they lie together
// whatever else is allocated meanwhile. Things of about one size lie in chunks of their own, each chunk twice
// as large as the one before; what is given back is handed out again first. All chunks go with the pool.
//
//     PooledMemory memory;
//     std::pmr::polymorphic_allocator<>(&memory).new_object<NamedId>(...);
//
// Out of memory it throws, and goes on as if nobody had asked. The pools of the standard library do not:
// GCC's use a null pointer when there is memory for a chunk but none to note the chunk down.
//
// Built with QBASE_WITHOUT_POOLS each thing has a block of its own: a tool that finds the use of freed memory
// cannot see into a pool.
//
// Threads: nothing here locks.

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory_resource>
#include <new>
#include <utility>

namespace QBase
{

class PooledMemory : public std::pmr::memory_resource
{
public:
    PooledMemory() = default;
    PooledMemory(const PooledMemory&) = delete;
    PooledMemory& operator=(const PooledMemory&) = delete;
    ~PooledMemory() override
    {
        while (mpChunks != nullptr) {
            ::operator delete(std::exchange(mpChunks, mpChunks->mpNext));
        }
    }

private:
    static constexpr std::size_t UNIT = 2 * sizeof(void*); // all systems' new answers multiples of that
#ifdef QBASE_WITHOUT_POOLS
    static constexpr std::size_t LARGEST = 0;
#else
    static constexpr std::size_t LARGEST = 64 * UNIT; // larger things are not pooled
#endif
    static constexpr std::size_t FIRST_COUNT = 16; // things in the first chunk of a size
    static constexpr std::size_t LARGEST_CHUNK = 256 * 1024;

    struct FreeBlock
    {
        FreeBlock* mpNext;
    };

    struct alignas(UNIT) Chunk
    {
        Chunk* mpNext;
    };

    // Where things of up to so many units come from.
    struct Size
    {
        FreeBlock* mpFree = nullptr;
        char* mpNext = nullptr; // in the newest chunk: what was never handed out
        std::size_t mNumLeft = 0;
        std::size_t mCount = 0; // of things in the newest chunk
    };

    static bool IsPooled(std::size_t size, std::size_t alignment)
    {
        return size > 0 && size <= LARGEST && alignment <= UNIT;
    }

    void* do_allocate(std::size_t size, std::size_t alignment) override
    {
        if (!IsPooled(size, alignment)) {
            return std::pmr::new_delete_resource()->allocate(size, alignment);
        }
        const std::size_t numUnits = (size + UNIT - 1) / UNIT;
        Size& rSize = mSizes[numUnits - 1];
        if (rSize.mpFree != nullptr) {
            return std::exchange(rSize.mpFree, rSize.mpFree->mpNext);
        }
        if (rSize.mNumLeft == 0) {
            AddChunk(rSize, numUnits * UNIT);
        }
        --rSize.mNumLeft;
        return std::exchange(rSize.mpNext, rSize.mpNext + numUnits * UNIT);
    }

    void do_deallocate(void* p, std::size_t size, std::size_t alignment) override
    {
        if (!IsPooled(size, alignment)) {
            std::pmr::new_delete_resource()->deallocate(p, size, alignment);
            return;
        }
        Size& rSize = mSizes[(size + UNIT - 1) / UNIT - 1];
        rSize.mpFree = new (p) FreeBlock{rSize.mpFree};
    }

    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override
    {
        return this == &other;
    }

    void AddChunk(Size& rSize, std::size_t bytes)
    {
        const std::size_t count =
            std::max(FIRST_COUNT, std::min(2 * rSize.mCount, (LARGEST_CHUNK - sizeof(Chunk)) / bytes));
        mpChunks = new (::operator new(sizeof(Chunk) + count * bytes)) Chunk{mpChunks};
        rSize.mpNext = reinterpret_cast<char*>(mpChunks + 1);
        rSize.mNumLeft = rSize.mCount = count;
    }

    std::array<Size, std::max<std::size_t>(1, LARGEST / UNIT)> mSizes;
    Chunk* mpChunks = nullptr; // owned
};

} // namespace QBase
