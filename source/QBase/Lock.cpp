#include "QBase/Lock.h"

#include "QBase/Error.h"
#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT(QBase, Lock)

void Lock::Implement()
{
    Describe("Lets one thread in at a time; the same thread as often as it likes");
    AddFunction<&Lock::Enter>("Enter");
    AddFunction<&Lock::Exit>("Exit");
}

Lock::Lock(const Value&)
{}

Lock::~Lock()
{
    while (mSection.IsInside()) {
        mSection.Exit();
    }
}

void Lock::Enter()
{
    mSection.Enter();
}

void Lock::Exit()
{
    if (!mSection.IsInside()) {
        Error(QBASE_HERE, "Failed to exit lock - this thread is not inside");
        return;
    }
    mSection.Exit();
}

} // namespace QBase
