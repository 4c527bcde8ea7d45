// ExecutionScope marks a container as executing on this thread, so that a container that contains itself,
// directly or through others, ends instead of recursing.
//
//     ExecutionScope scope(this);
//     if (!scope.IsFirst())
//         return;

#pragma once

namespace QBase
{

class Object;

class ExecutionScope
{
public:
    explicit ExecutionScope(const Object* pContainer) : mpContainer(pContainer), mpOuter(tpInnermost)
    {
        for (const ExecutionScope* pScope = mpOuter; pScope != nullptr; pScope = pScope->mpOuter) {
            if (pScope->mpContainer == pContainer) {
                mbFirst = false;
                break;
            }
        }
        tpInnermost = this;
    }
    ~ExecutionScope() { tpInnermost = mpOuter; }
    ExecutionScope(const ExecutionScope&) = delete;
    ExecutionScope& operator=(const ExecutionScope&) = delete;

    bool IsFirst() const { return mbFirst; }

private:
    const Object* mpContainer;
    ExecutionScope* mpOuter;
    bool mbFirst = true;

    inline static thread_local ExecutionScope* tpInnermost = nullptr;
};

} // namespace QBase
