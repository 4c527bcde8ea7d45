// StackState is what the library remembers about the calls that are under way. It belongs to a stack: a
// switch between fibers exchanges it.

#pragma once

#include <vector>

namespace QBase
{

class ContainerExecution;
class LoadPlace;
class Object;

struct StackState
{
    ContainerExecution* mpInnermostExecution = nullptr;
    const LoadPlace* mpLoadPlace = nullptr;           // of the innermost load
    std::vector<Object*>* mpWaitingObjects = nullptr; // for their destruction; made on demand
    int mDestructionDepth = 0;
    unsigned mRunningHandlers = 0; // one bit for each of Info and Error
};

/// The state of the running stack. Valid until something is called that may switch to another fiber, which
/// may return on another thread: ask again then.
StackState& CurrentStackState();

} // namespace QBase
