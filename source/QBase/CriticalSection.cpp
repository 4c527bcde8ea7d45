#include "QBase/CriticalSection.h"

#include "QBase/Error.h"
#include "QBase/Platform/Platform.h"

namespace QBase
{

CriticalSection::~CriticalSection()
{
    static_assert(LOCK_SIZE == Platform::LOCK_SIZE);
    Platform::DestroyLock(mLock);
}

void CriticalSection::Enter()
{
    const std::uintptr_t self = Platform::CurrentThread();
    if (mOwner.load(std::memory_order_relaxed) != self) {
        Platform::EnterLock(mLock);
        mOwner.store(self, std::memory_order_relaxed);
    }
    ++mDepth;
}

void CriticalSection::Exit()
{
    if (mOwner.load(std::memory_order_relaxed) != Platform::CurrentThread()) {
        AssertFail("CriticalSection", __LINE__, "ASSERT( mOwner == CurrentThread() )");
        return;
    }
    if (--mDepth == 0) {
        mOwner.store(0, std::memory_order_relaxed);
        Platform::LeaveLock(mLock);
    }
}

bool CriticalSection::IsInside() const
{
    return mOwner.load(std::memory_order_relaxed) == Platform::CurrentThread();
}

} // namespace QBase
