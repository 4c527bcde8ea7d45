#include "QBase/RemovedObjects.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/List.h"
#include "QBase/ObjectTargets.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace QBase
{

namespace
{

// One removed object, and what it holds of the others.
struct Node
{
    Ptr<Object> mpObject;
    int mInnerReferences = 0; // those that other removed objects hold on it
    bool mbAlive = false;     // held from outside, by a way through others maybe
    std::vector<std::size_t> mTargets;
};

// An excluded property may answer what its object does not hold. What one does hold counts as a reference
// from outside, so its object stays.
bool MayHold(const PropertyList::Entry& entry)
{
    return !entry.mbExcluded && MayRefer(entry);
}

void DropHeldObjects(Object* pObject)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        if (!MayHold(entry)) {
            continue;
        }
        if (entry.mbArray) {
            entry.mpProperty->Clear(pObject);
        } else if (entry.mpProperty->Get(pObject).AsObject() != nullptr) {
            entry.mpProperty->Set(pObject, Value(nullptr));
        }
    }
    if (pObject->IsDerivedType(Table::ClassTable())) {
        static_cast<Table*>(pObject)->Clear();
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        static_cast<List*>(pObject)->Clear();
    }
}

void FindReferences(std::vector<Node>& nodes)
{
    std::unordered_map<const Object*, std::size_t> places;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        places.emplace(nodes[i].mpObject, i);
    }
    for (Node& node : nodes) {
        VisitTargets(node.mpObject, MayHold, [&](const Object* pHeld) {
            const auto found = places.find(pHeld);
            if (found != places.end()) {
                ++nodes[found->second].mInnerReferences;
                node.mTargets.push_back(found->second);
            }
        });
    }
}

// Beside the inner references each object has the one of its node.
void MarkAlive(std::vector<Node>& nodes)
{
    std::vector<std::size_t> alive;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].mpObject->GetReferenceCount() > nodes[i].mInnerReferences + 1) {
            nodes[i].mbAlive = true;
            alive.push_back(i);
        }
    }
    while (!alive.empty()) {
        const std::size_t place = alive.back();
        alive.pop_back();
        for (const std::size_t target : nodes[place].mTargets) {
            if (!nodes[target].mbAlive) {
                nodes[target].mbAlive = true;
                alive.push_back(target);
            }
        }
    }
}

} // namespace

void RemovedObjects::Release()
{
    if (mObjects.empty()) {
        return;
    }
    std::vector<Node> nodes(mObjects.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].mpObject = std::move(mObjects[i]);
    }
    mObjects.clear();
    FindReferences(nodes);
    MarkAlive(nodes);
    for (const Node& node : nodes) {
        if (!node.mbAlive && !node.mTargets.empty()) {
            DropHeldObjects(node.mpObject);
        }
    }
}

} // namespace QBase
