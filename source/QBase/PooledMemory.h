// PooledMemory hands out memory for many small things that are used together, so that they lie together
// whatever else is allocated meanwhile.
//
//     PooledMemory memory;
//     std::pmr::polymorphic_allocator<>(&memory).new_object<NamedId>(...);
//
// Built with QBASE_WITHOUT_POOLS each thing has a block of its own: a tool that finds the use of freed memory
// cannot see into a pool.

#pragma once

#include <cstddef>
#include <memory_resource>

namespace QBase
{

#ifdef QBASE_WITHOUT_POOLS
class PooledMemory : public std::pmr::memory_resource
{
private:
    void* do_allocate(std::size_t size, std::size_t alignment) override
    {
        return std::pmr::new_delete_resource()->allocate(size, alignment);
    }
    void do_deallocate(void* p, std::size_t size, std::size_t alignment) override
    {
        std::pmr::new_delete_resource()->deallocate(p, size, alignment);
    }
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override
    {
        return this == &other;
    }
};
#else
using PooledMemory = std::pmr::unsynchronized_pool_resource;
#endif

} // namespace QBase
