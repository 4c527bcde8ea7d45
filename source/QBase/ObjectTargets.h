// ObjectTargets.h: the objects that one object refers to, and how far they are from a root.

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/List.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Ptr.h"
#include "QBase/Table.h"

#include <cstdint>
#include <vector>

namespace QBase
{

/// Whether a property can refer to objects.
inline bool MayRefer(const PropertyList::Entry& entry)
{
    return entry.mType == Value::TYPE_OBJECT || entry.mType == Value::TYPE_VALUE;
}

/// Calls `visit` with each object, or null, that a property for which `isAsked(entry)` holds, a place of a
/// table or a list refers to.
template <typename IsAsked, typename Visit>
void VisitTargets(Object* pObject, IsAsked isAsked, Visit visit)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        if (!isAsked(entry)) {
            continue;
        }
        if (!entry.mbArray) {
            visit(entry.mpProperty->Get(pObject).AsObject());
            continue;
        }
        for (int i = 0; i < entry.mpProperty->GetSize(pObject); ++i) {
            visit(entry.mpProperty->GetAt(pObject, i).AsObject());
        }
    }
    if (pObject->IsDerivedType(Table::ClassTable())) {
        for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
            visit(static_cast<Object*>(node.GetValue()));
        }
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        for (const Ptr<Object>& pItem : static_cast<List*>(pObject)->GetObjects()) {
            visit(static_cast<Object*>(pItem));
        }
    }
}

/// Calls `visit` with each object, or null, that any property, a place of a table or a list refers to.
template <typename Visit>
void VisitTargets(Object* pObject, Visit visit)
{
    VisitTargets(pObject, MayRefer, visit);
}

/// An object that no way of `depth` references or fewer leads to from the root, over objects for which
/// `isMember(pObject)` holds; null when there is none. Held by whoever holds the members.
template <typename IsMember>
Object* FindDeeperThan(std::int64_t depth, Object* pRoot, IsMember isMember)
{
    PositionIndex known;
    std::vector<Object*> level;
    std::vector<Object*> next{pRoot};
    known.Insert(PositionIndex::KeyOf(pRoot), 0);
    for (std::int64_t distance = 0; !next.empty(); ++distance) {
        if (distance > depth) {
            return next.front();
        }
        level.swap(next);
        next.clear();
        for (Object* const pObject : level) {
            VisitTargets(pObject, [&](Object* pTarget) {
                const std::uint64_t key = PositionIndex::KeyOf(pTarget);
                if (pTarget != nullptr && known.Find(key) == PositionIndex::NONE && isMember(pTarget)) {
                    known.Insert(key, 0);
                    next.push_back(pTarget);
                }
            });
        }
    }
    return nullptr;
}

} // namespace QBase
