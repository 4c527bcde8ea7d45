// ContainerExecution executes what a list or table holds, and what the lists and tables among that hold, one
// object after the other and each container's objects where the container itself stands.
//
//     ContainerExecution(value).Run(this);
//
// Containers nested to any depth fit any stack: they wait on the heap. Only a class of its own that derives
// from List or Table is called, since it may do more. A container that is already executing on this stack,
// because it contains itself, is passed over.
//
// The objects are those of the moment at which their container's turn came, and are held until its last one
// is done.

#pragma once

#include "QBase/Value.h"

#include <cstddef>
#include <unordered_set>
#include <vector>

namespace QBase
{

class ContainerExecution
{
public:
    explicit ContainerExecution(const Value& value);
    ~ContainerExecution();
    ContainerExecution(const ContainerExecution&) = delete;
    ContainerExecution& operator=(const ContainerExecution&) = delete;

    /// `Container` is List or Table.
    template <typename Container>
    void Run(Container* pContainer);

private:
    struct Level
    {
        const Object* mpContainer;
        std::vector<Ptr<Object>> mObjects; // without the null ones
        std::size_t mNext;
    };

    template <typename Container>
    void Enter(Container* pContainer);
    void Leave();
    void ExecuteNext();
    bool IsExecuting(const Object* pContainer) const;

    const Value mValue; // the caller's may change meanwhile
    std::vector<Level> mLevels;
    std::unordered_set<const Object*> mContainers; // of the levels
    ContainerExecution* const mpOuter;             // on this stack
};

} // namespace QBase
