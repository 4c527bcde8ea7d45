// CriticalSection lets one thread at a time through. The thread inside may enter again and leaves as
// often as it entered.
//
//     CriticalSection section;
//     {
//         CriticalSection::Block block(&section); // left at the closing brace, also by an exception
//         queue.Add(call);
//     }
//
// A section at namespace scope is ready before any constructor runs. Copies and assignments share
// nothing: a copy is a section of its own, free and never entered.
//
// Threads: any thread may call anything here at any time, except that Exit is for the thread inside.

#pragma once

#include "QBase/Export.h"

#include <cstddef>

namespace QBase
{

class QBASE_API CriticalSection
{
public:
    class Block;

    constexpr CriticalSection() noexcept {}
    CriticalSection(const CriticalSection&) noexcept {}
    ~CriticalSection();
    CriticalSection& operator=(const CriticalSection&) noexcept { return *this; }

    /// Waits until no other thread is inside.
    void Enter();

    /// Undoes one Enter of this thread; asserts, and changes nothing, when this thread is not inside.
    void Exit();

    /// Whether the calling thread is inside.
    bool IsInside() const;

private:
    // Room for the system's own lock, which zeros are the free state of.
    static constexpr std::size_t LOCK_SIZE = 9 * sizeof(void*);
    alignas(void*) unsigned char mLock[LOCK_SIZE] = {};
};

/// Enters on construction and leaves on destruction. A null section is allowed and does nothing.
class CriticalSection::Block
{
public:
    /// Enters; null enters nothing.
    explicit Block(CriticalSection* pSection) : mpSection(pSection)
    {
        if (mpSection)
            mpSection->Enter();
    }

    ~Block()
    {
        if (mpSection)
            mpSection->Exit();
    }

    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

private:
    CriticalSection* mpSection; // borrowed
};

} // namespace QBase
