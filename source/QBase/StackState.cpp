#include "QBase/StackState.h"

#include "QBase/Export.h"

namespace QBase
{

namespace
{

QBASE_FAST_THREAD_LOCAL constinit thread_local StackState tState;

} // namespace

// The address passes through a volatile, so that no compiler takes two calls for one.
QBASE_NOINLINE StackState& CurrentStackState()
{
    StackState* volatile pState = &tState;
    return *pState;
}

} // namespace QBase
