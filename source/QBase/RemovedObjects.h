// RemovedObjects keeps the objects that a peer declared removed until all removals of its pass were applied,
// and then lets go of them. Objects that only refer to each other would live for ever in their cycle, since
// nobody else knows them any more: their references to each other are taken out first. An object that
// somebody still holds, and all that it can reach, stays as it is.
//
//     removed.Keep(pObject);
//     ...
//     removed.Release();

#pragma once

#include "QBase/Object.h"

#include <vector>

namespace QBase
{

class RemovedObjects
{
public:
    RemovedObjects() = default;
    ~RemovedObjects() { Release(); }
    RemovedObjects(const RemovedObjects&) = delete;
    RemovedObjects& operator=(const RemovedObjects&) = delete;

    void Keep(Object* pObject) { mObjects.push_back(pObject); }
    void Release();

private:
    std::vector<Ptr<Object>> mObjects;
};

} // namespace QBase
