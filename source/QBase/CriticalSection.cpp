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
    Platform::EnterLock(mLock);
}

void CriticalSection::Exit()
{
    if (!Platform::LeaveLock(mLock)) {
        AssertFail("CriticalSection", __LINE__, "ASSERT( IsInside() )");
    }
}

bool CriticalSection::IsInside() const
{
    return Platform::HoldsLock(mLock);
}

} // namespace QBase
