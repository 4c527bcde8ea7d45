// Lock is a CriticalSection that scripts and data can hold. Whoever shares it through a Ptr enters and
// leaves.
//
//     pLock->Call("Enter");
//     ...
//     pLock->Call("Exit");
//
// The thread inside may enter again and exits as often as it entered. A clone is a lock of its own, free.
//
// Threads: made to be shared.

#pragma once

#include "QBase/CriticalSection.h"
#include "QBase/Object.h"

namespace QBase
{

class QBASE_API Lock : public Object
{
    QBASE_OBJECT(Lock, Object)

public:
    /// Waits until no other thread is inside.
    void Enter();

    /// Undoes one Enter of this thread. Reports, and changes nothing, when this thread is not inside.
    void Exit();

    /// Leaves, when the last reference goes inside.
    ~Lock() override;

protected:
    explicit Lock(const Value& value);
    Lock(const Lock& other) = default;

private:
    CriticalSection mSection;
};

} // namespace QBase
