#include "Graph.h"

#include "Report.h"

#include "QBase/List.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <algorithm>
#include <utility>

using namespace QBase;

namespace Quirl
{

namespace
{

// A property declared as "Value" holds an object or something else from one moment to the next.
bool HoldsObjects(Object* pObject, Property* pProperty)
{
    if (pProperty->GetType() != Value::TYPE_VALUE) {
        return pProperty->GetType() == Value::TYPE_OBJECT;
    }
    if (!pProperty->IsArray()) {
        return pProperty->Get(pObject).GetType() == Value::TYPE_OBJECT;
    }
    for (const Value& value : GetValues(pObject, pProperty)) {
        if (value.GetType() == Value::TYPE_OBJECT) {
            return true;
        }
    }
    return false;
}

std::vector<Reference> FindReferences(Object* pObject)
{
    std::vector<Reference> references;
    const auto add = [&](Reference::Kind kind, const String& name, int index, Object* pTarget) {
        references.push_back({kind, index, name, pTarget, Reference::NOTHING, false});
    };
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        Property* const pProperty = entry.mpProperty;
        if (pProperty->IsExcluded() || !HoldsObjects(pObject, pProperty)) {
            continue;
        }
        const Reference::Kind kind = pProperty->IsArray() ? Reference::ELEMENT : Reference::PROPERTY;
        int index = 0;
        for (const Value& value : GetValues(pObject, pProperty)) {
            add(kind, entry.mName, index++, value.AsObject());
        }
    }
    if (pObject->IsDerivedType(Table::ClassTable())) {
        for (const auto& entry : static_cast<Table*>(pObject)->GetEntries()) {
            add(Reference::ENTRY, entry.GetKey(), 0, entry.GetValue());
        }
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        const Array<Ptr<Object>>& items = static_cast<List*>(pObject)->GetObjects();
        for (int index = 0; index < items.GetSize(); ++index) {
            add(Reference::ITEM, String::Null, index, items.GetAt(index));
        }
    }
    return references;
}

} // namespace

std::string Reference::GetLabel() const
{
    switch (mKind) {
    case PROPERTY:
        return mName.c_str();
    case ELEMENT:
        return std::string(mName.c_str()) + "[" + std::to_string(mIndex) + "]";
    case ENTRY:
        return std::string("[") + mName.c_str() + "]";
    default:
        return "[" + std::to_string(mIndex) + "]";
    }
}

Graph::Graph(Object* pRoot, Ownership ownership) : mOwnership(ownership)
{
    if (pRoot == nullptr) {
        return;
    }
    struct Place
    {
        std::size_t mNumber;
        std::size_t mNext; // the next reference to follow
    };
    Reach(pRoot, Reference::NOTHING, 0);
    std::vector<Place> stack = {{0, 0}};
    while (!stack.empty()) {
        Place& rPlace = stack.back();
        const std::size_t number = rPlace.mNumber;
        const std::size_t next = rPlace.mNext++;
        if (next == mNodes[number].mReferences.size()) {
            stack.pop_back();
            continue;
        }
        Object* const pTarget = mNodes[number].mReferences[next].mpObject;
        if (pTarget == nullptr) {
            continue;
        }
        const std::size_t numBefore = mNodes.size();
        const std::size_t target = Reach(pTarget, number, next);
        Reference& rReference = mNodes[number].mReferences[next];
        rReference.mTarget = target;
        rReference.mbFirst = target == numBefore;
        ++mNodes[target].mNumReferencesTo;
        if (rReference.mbFirst) {
            stack.push_back({target, 0});
        }
    }
}

Graph::~Graph()
{
    if (mOwnership == OWNS) {
        TakeApart();
    }
}

std::size_t Graph::Find(const Object* pObject) const
{
    const auto found = mNumbers.find(pObject);
    return found != mNumbers.end() ? found->second : Reference::NOTHING;
}

std::size_t Graph::Reach(Object* pObject, std::size_t parent, std::size_t parentReference)
{
    const auto [found, bNew] = mNumbers.emplace(pObject, mNodes.size());
    const std::size_t number = found->second;
    if (bNew) {
        const std::size_t depth = parent != Reference::NOTHING ? mNodes[parent].mDepth + 1 : 0;
        mNodes.push_back({pObject, FindReferences(pObject), depth, parent, parentReference, 0});
    }
    return number;
}

// All objects are still held by their nodes meanwhile, so a long chain is not destroyed link within link.
// What a class has to say about losing its parts is of no interest any more.
void Graph::TakeApart()
{
    const Messages unheard;
    for (Node& rNode : mNodes) {
        DropReferences(rNode.mpObject);
    }
    for (Node& rNode : mNodes) {
        rNode.mReferences.clear();
    }
    mNodes.clear();
}

std::string Graph::GetPath(std::size_t number) const
{
    constexpr std::size_t maxLabels = 100;
    const std::size_t depth = mNodes[number].mDepth;
    std::vector<std::string> labels;
    while (labels.size() < std::min(depth, maxLabels)) {
        const Node& node = mNodes[number];
        const Reference& reference = mNodes[node.mParent].mReferences[node.mParentReference];
        const bool bProperty =
            reference.mKind == Reference::PROPERTY || reference.mKind == Reference::ELEMENT;
        labels.push_back((bProperty ? "." : "") + reference.GetLabel());
        number = node.mParent;
    }
    std::string path = "root";
    if (depth > maxLabels) {
        path += " ... " + std::to_string(depth - maxLabels) + " more ... ";
    }
    for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
        path += *label;
    }
    return path;
}

void DropReferences(Object* pObject)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        Property* const pProperty = entry.mpProperty;
        if (pProperty->IsExcluded() || !HoldsObjects(pObject, pProperty)) {
            continue;
        }
        if (pProperty->IsArray()) {
            pProperty->Clear(pObject);
        } else {
            pProperty->Set(pObject, Value(nullptr));
        }
    }
    if (pObject->IsDerivedType(Table::ClassTable())) {
        static_cast<Table*>(pObject)->Clear();
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        static_cast<List*>(pObject)->Clear();
    }
}

void ForEachPlainProperty(Object* pObject, const std::function<void(const String&, Property*)>& take)
{
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        Property* const pProperty = entry.mpProperty;
        const bool bEmpty = pProperty->IsArray() && pProperty->GetSize(pObject) == 0;
        if (!pProperty->IsExcluded() && (bEmpty || !HoldsObjects(pObject, pProperty))) {
            take(entry.mName, pProperty);
        }
    }
}

std::vector<Value> GetValues(Object* pObject, Property* pProperty)
{
    if (!pProperty->IsArray()) {
        return {pProperty->Get(pObject)};
    }
    const int size = pProperty->GetSize(pObject);
    std::vector<Value> values;
    values.reserve(static_cast<std::size_t>(size));
    for (int index = 0; index < size; ++index) {
        values.push_back(pProperty->GetAt(pObject, index));
    }
    return values;
}

} // namespace Quirl
