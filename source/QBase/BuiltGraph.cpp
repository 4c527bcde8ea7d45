#include "QBase/BuiltGraph.h"

#include "QBase/List.h"
#include "QBase/ObjectTargets.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <algorithm>

namespace QBase
{

BuiltGraph::~BuiltGraph()
{
    if (mbHandedOver) {
        return;
    }
    for (std::size_t i = 0; i < mObjects.size(); ++i) {
        if (IsOurs(i)) {
            Unlink(mObjects[i]);
        }
    }
}

Value BuiltGraph::HandOver()
{
    StopWithoutMemory();
    mbHandedOver = true;
    Value root(mObjects.front());
    ReleaseUnreachable();
    return root;
}

// Files list objects in the order of a walk, in which each is reached from one before it. Only when that does
// not hold is there anything to look for.
void BuiltGraph::ReleaseUnreachable()
{
    const auto isReached = [](unsigned char marks) { return (marks & REACHED) != 0; };
    if (!mbLoss && std::all_of(mMarks.begin(), mMarks.end(), isReached)) {
        return;
    }
    const int size = GetSize();
    IndexPositions();
    for (unsigned char& rMarks : mMarks) {
        rMarks &= OURS;
    }
    mMarks[0] |= REACHED;
    std::vector<int> reached{0};
    Spread(reached);

    // An object that somebody else holds, beside this list and the other unreached ones, stays as it is.
    std::vector<int> references(static_cast<std::size_t>(size), 1);
    for (int position = 0; position < size; ++position) {
        if (!IsReached(static_cast<std::size_t>(position))) {
            VisitPositions(position, [&](int target) { ++references[static_cast<std::size_t>(target)]; });
        }
    }
    for (int position = 0; position < size; ++position) {
        const std::size_t i = static_cast<std::size_t>(position);
        if (!IsReached(i) && (!IsOurs(i) || mObjects[i]->GetReferenceCount() > references[i])) {
            mMarks[i] |= REACHED;
            reached.push_back(position);
        }
    }
    Spread(reached);
    for (std::size_t i = 0; i < mObjects.size(); ++i) {
        if (!IsReached(i)) {
            Unlink(mObjects[i]);
        }
    }
}

// Marks everything that the reached objects lead to.
void BuiltGraph::Spread(std::vector<int>& rReached)
{
    while (!rReached.empty()) {
        const int position = rReached.back();
        rReached.pop_back();
        VisitPositions(position, [&](int target) {
            if (!IsReached(static_cast<std::size_t>(target))) {
                mMarks[static_cast<std::size_t>(target)] |= REACHED;
                rReached.push_back(target);
            }
        });
    }
}

void BuiltGraph::IndexPositions()
{
    for (; mNumIndexed < GetSize(); ++mNumIndexed) {
        mPositions.Insert(PositionIndex::KeyOf(GetAt(mNumIndexed)), mNumIndexed);
    }
}

// Calls `visit` with the position of each object of the graph that the one at `position` refers to.
template <typename Visit>
void BuiltGraph::VisitPositions(int position, Visit visit) const
{
    VisitTargets(GetAt(position), [&](Object* pTarget) {
        const int target = mPositions.Find(PositionIndex::KeyOf(pTarget));
        if (target != PositionIndex::NONE) {
            visit(target);
        }
    });
}

int BuiltGraph::FindDeeperThan(std::int64_t depth)
{
    IndexPositions();
    Object* const pFound = QBase::FindDeeperThan(depth, mObjects.front(), [&](Object* pObject) {
        return mPositions.Find(PositionIndex::KeyOf(pObject)) != PositionIndex::NONE;
    });
    return pFound != nullptr ? mPositions.Find(PositionIndex::KeyOf(pFound)) : PositionIndex::NONE;
}

void BuiltGraph::Unlink(Object* pObject)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        Property* const pProperty = entry.mpProperty;
        const Value::Type type = pProperty->GetType();
        if ((type == Value::TYPE_OBJECT || type == Value::TYPE_VALUE) && !pProperty->IsExcluded()) {
            Unlink(pObject, pProperty);
        }
    }
    if (pObject->IsDerivedType(Table::ClassTable())) {
        static_cast<Table*>(pObject)->Clear();
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        static_cast<List*>(pObject)->Clear();
    }
}

void BuiltGraph::Unlink(Object* pObject, Property* pProperty)
{
    if (pProperty->IsArray()) {
        pProperty->Clear(pObject);
    } else {
        pProperty->Set(pObject, Value(nullptr));
    }
}

} // namespace QBase
