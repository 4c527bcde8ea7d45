#include "QBase/ContainerExecution.h"

#include "QBase/List.h"
#include "QBase/StackState.h"
#include "QBase/Table.h"

#include <typeinfo>
#include <utility>

namespace QBase
{

namespace
{

void AddUnlessNull(std::vector<Ptr<Object>>& rObjects, const Ptr<Object>& pObject)
{
    if (pObject != nullptr) {
        rObjects.push_back(pObject);
    }
}

std::vector<Ptr<Object>> ObjectsOf(const List* pList)
{
    std::vector<Ptr<Object>> objects;
    for (const Ptr<Object>& pObject : pList->GetObjects()) {
        AddUnlessNull(objects, pObject);
    }
    return objects;
}

std::vector<Ptr<Object>> ObjectsOf(const Table* pTable)
{
    std::vector<Ptr<Object>> objects;
    for (const auto& node : pTable->GetEntries()) {
        AddUnlessNull(objects, node.GetValue());
    }
    return objects;
}

} // namespace

ContainerExecution::ContainerExecution(const Value& value)
    : mValue(value), mpOuter(std::exchange(CurrentStackState().mpInnermostExecution, this))
{}

ContainerExecution::~ContainerExecution()
{
    CurrentStackState().mpInnermostExecution = mpOuter;
}

template <typename Container>
void ContainerExecution::Run(Container* pContainer)
{
    const KeepAlive keepContainer(pContainer);
    Enter(pContainer);
    while (!mLevels.empty()) {
        if (mLevels.back().mNext < mLevels.back().mObjects.size()) {
            ExecuteNext();
        } else {
            Leave();
        }
    }
}

template void ContainerExecution::Run(List*);
template void ContainerExecution::Run(Table*);

template <typename Container>
void ContainerExecution::Enter(Container* pContainer)
{
    if (!IsExecuting(pContainer)) {
        mLevels.push_back({pContainer, ObjectsOf(pContainer), 0});
        mContainers.insert(pContainer);
    }
}

void ContainerExecution::Leave()
{
    const Level done = std::move(mLevels.back()); // its objects may go with it, and look around
    mLevels.pop_back();
    mContainers.erase(done.mpContainer);
}

void ContainerExecution::ExecuteNext()
{
    Level& rLevel = mLevels.back();
    Object* const pObject = rLevel.mObjects[rLevel.mNext++];
    if (typeid(*pObject) == typeid(List)) {
        Enter(static_cast<List*>(pObject));
    } else if (typeid(*pObject) == typeid(Table)) {
        Enter(static_cast<Table*>(pObject));
    } else {
        pObject->Execute(mValue);
    }
}

bool ContainerExecution::IsExecuting(const Object* pContainer) const
{
    for (const ContainerExecution* pExecution = this; pExecution != nullptr;
         pExecution = pExecution->mpOuter) {
        if (pExecution->mContainers.count(pContainer) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace QBase
