// ExecutionScope marks a container as executing on this stack, so that a container that contains itself,
// directly or through others, ends instead of recursing.
//
//     ExecutionScope scope(this);
//     if (!scope.IsFirst())
//         return;

#pragma once

#include "QBase/StackState.h"

namespace QBase
{

class Object;

class ExecutionScope
{
public:
    explicit ExecutionScope(const Object* pContainer)
        : mpContainer(pContainer), mpOuter(CurrentStackState().mpInnermostScope)
    {
        for (const ExecutionScope* pScope = mpOuter; pScope != nullptr; pScope = pScope->mpOuter) {
            if (pScope->mpContainer == pContainer) {
                mbFirst = false;
                break;
            }
        }
        CurrentStackState().mpInnermostScope = this;
    }
    ~ExecutionScope() { CurrentStackState().mpInnermostScope = mpOuter; }
    ExecutionScope(const ExecutionScope&) = delete;
    ExecutionScope& operator=(const ExecutionScope&) = delete;

    bool IsFirst() const { return mbFirst; }

private:
    const Object* mpContainer;
    ExecutionScope* mpOuter;
    bool mbFirst = true;
};

} // namespace QBase
