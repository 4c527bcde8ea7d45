// ObjectHash is the hash for tables whose keys are objects. Objects that were made one after the other, which
// are mostly used one after the other too, get neighbouring numbers, so that a walk over many objects finds
// what it needs of the table in the processor's caches.

#pragma once

#include <cstddef>
#include <cstdint>

namespace QBase
{

class Object;

struct ObjectHash
{
    std::size_t operator()(const Object* pObject) const
    {
        constexpr std::uintptr_t ALIGNMENT = 16; // of a block
        return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(pObject) / ALIGNMENT);
    }
};

} // namespace QBase
