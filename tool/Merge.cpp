#include "Merge.h"

#include "Graph.h"

#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <algorithm>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

using namespace QBase;

namespace Quirl
{

namespace
{

class Merger
{
public:
    Merger(const Graph& live, const Graph& loaded)
        : mLive(live), mLoaded(loaded), mCounterparts(loaded.GetSize(), Reference::NOTHING),
          mbTaken(live.GetSize(), false)
    {}

    void Run()
    {
        Match();
        for (std::size_t number = 0; number < mLoaded.GetSize(); ++number) {
            Object* const pLoaded = mLoaded.GetObject(number);
            CopyObject(pLoaded, GetCounterpart(pLoaded));
        }
    }

    /// What stands for a loaded object from now on: the live one, or itself.
    Object* GetCounterpart(Object* pLoaded) const
    {
        const std::size_t number = mLoaded.Find(pLoaded);
        return number == Reference::NOTHING || mCounterparts[number] == Reference::NOTHING
                   ? pLoaded
                   : mLive.GetObject(mCounterparts[number]);
    }

private:
    // Both graphs are walked side by side, from reference to reference of the same label.
    void Match()
    {
        std::vector<std::size_t> stack;
        Pair(0, 0, stack);
        while (!stack.empty()) {
            const std::size_t loaded = stack.back();
            stack.pop_back();
            std::map<std::string, std::size_t> targets;
            for (const Reference& reference : mLive.GetReferences(mCounterparts[loaded])) {
                targets.emplace(reference.GetLabel(), reference.mTarget);
            }
            for (const Reference& reference : mLoaded.GetReferences(loaded)) {
                const auto target = targets.find(reference.GetLabel());
                if (target != targets.end()) {
                    Pair(reference.mTarget, target->second, stack);
                }
            }
        }
    }

    void Pair(std::size_t loaded, std::size_t live, std::vector<std::size_t>& rStack)
    {
        if (loaded == Reference::NOTHING || live == Reference::NOTHING ||
            mCounterparts[loaded] != Reference::NOTHING || mbTaken[live] ||
            mLoaded.GetObject(loaded)->GetClassTable() != mLive.GetObject(live)->GetClassTable()) {
            return;
        }
        mCounterparts[loaded] = live;
        mbTaken[live] = true;
        rStack.push_back(loaded);
    }

    Value Translate(const Value& value) const
    {
        return value.GetType() == Value::TYPE_OBJECT ? Value(GetCounterpart(value.AsObject())) : value;
    }

    // A new object is its own target: then only its references change.
    void CopyObject(Object* pLoaded, Object* pTarget) const
    {
        RemoveDynamicProperties(pLoaded, pTarget);
        const PropertyList properties(pLoaded);
        for (const PropertyList::Entry& entry : properties) {
            if (!entry.mpProperty->IsExcluded()) {
                CopyProperty(pLoaded, entry.mName, entry.mpProperty, pTarget);
            }
        }
        if (pLoaded->IsDerivedType(Table::ClassTable())) {
            CopyEntries(static_cast<Table*>(pLoaded), static_cast<Table*>(pTarget));
        } else if (pLoaded->IsDerivedType(List::ClassTable())) {
            CopyItems(static_cast<List*>(pLoaded), static_cast<List*>(pTarget));
        }
    }

    // Those that the loaded object lacks or has in another shape.
    static void RemoveDynamicProperties(Object* pLoaded, Object* pTarget)
    {
        std::vector<String> names;
        for (const PropertyList::Entry& entry : PropertyList(pTarget)) {
            const Property* const pOther = pLoaded->FindProperty(entry.mName);
            const bool bSame = pOther != nullptr && pOther->GetType() == entry.mpProperty->GetType() &&
                               pOther->IsArray() == entry.mpProperty->IsArray();
            if (entry.mpProperty->IsDynamic() && !bSame) {
                names.push_back(entry.mName);
            }
        }
        for (const String& name : names) {
            pTarget->RemoveProperty(name);
        }
    }

    void CopyProperty(Object* pLoaded, const String& name, Property* pProperty, Object* pTarget) const
    {
        Property* pOther = pTarget->FindProperty(name);
        if (pOther == nullptr && pProperty->IsDynamic()) {
            pOther = pProperty->IsArray() ? pTarget->AddPropertyArray(name, pProperty->GetType())
                                          : pTarget->AddPropertyValue(name, pProperty->GetType());
        }
        if (pOther == nullptr) {
            return;
        }
        if (pProperty->IsArray()) {
            CopyElements(GetValues(pLoaded, pProperty), pOther, pTarget);
            return;
        }
        const Value value = Translate(pProperty->Get(pLoaded));
        if (!(value == pOther->Get(pTarget))) {
            pOther->Set(pTarget, value);
        }
    }

    void CopyElements(const std::vector<Value>& values, Property* pArray, Object* pTarget) const
    {
        const int size = static_cast<int>(values.size());
        for (int index = pArray->GetSize(pTarget) - 1; index >= size; --index) {
            pArray->RemoveAt(pTarget, index);
        }
        for (int index = 0; index < size; ++index) {
            const Value value = Translate(values[static_cast<std::size_t>(index)]);
            if (index >= pArray->GetSize(pTarget)) {
                pArray->Insert(pTarget, value);
            } else if (!(value == pArray->GetAt(pTarget, index))) {
                pArray->SetAt(pTarget, index, value);
            }
        }
    }

    void CopyEntries(Table* pLoaded, Table* pTarget) const
    {
        std::vector<std::pair<String, Ptr<Object>>> entries;
        std::unordered_set<String> names;
        for (const auto& entry : pLoaded->GetEntries()) {
            entries.emplace_back(entry.GetKey(), GetCounterpart(entry.GetValue()));
            names.insert(entry.GetKey());
        }
        std::vector<String> gone;
        std::unordered_set<String> present;
        for (const auto& entry : pTarget->GetEntries()) {
            present.insert(entry.GetKey());
            if (names.count(entry.GetKey()) == 0) {
                gone.push_back(entry.GetKey());
            }
        }
        for (const String& name : gone) {
            pTarget->Remove(name);
        }
        for (const auto& [name, pChild] : entries) {
            if (present.count(name) == 0 || pTarget->Find(name) != pChild) {
                pTarget->Insert(name, pChild);
            }
        }
    }

    void CopyItems(List* pLoaded, List* pTarget) const
    {
        for (int index = pTarget->GetSize() - 1; index >= pLoaded->GetSize(); --index) {
            pTarget->RemoveAt(index);
        }
        for (int index = 0; index < pLoaded->GetSize(); ++index) {
            Object* const pChild = GetCounterpart(pLoaded->GetAt(index));
            if (index >= pTarget->GetSize()) {
                pTarget->Insert(pChild);
            } else if (pTarget->GetAt(index) != pChild) {
                pTarget->SetAt(index, pChild);
            }
        }
    }

    const Graph& mLive;
    const Graph& mLoaded;
    std::vector<std::size_t> mCounterparts; // of loaded objects, by number
    std::vector<bool> mbTaken;              // live objects that are a counterpart
};

// Takes apart what is not reached any more.
void DropUnreached(const Graph& before, const Graph& now)
{
    for (std::size_t number = 0; number < before.GetSize(); ++number) {
        if (now.Find(before.GetObject(number)) == Reference::NOTHING) {
            DropReferences(before.GetObject(number));
        }
    }
}

} // namespace

Ptr<Object> Merge(Object* pLive, Object* pLoaded)
{
    const Graph live(pLive, Graph::BORROWS);
    const Graph loaded(pLoaded, Graph::BORROWS);
    Merger merger(live, loaded);
    merger.Run();
    const Ptr<Object> pRoot = merger.GetCounterpart(pLoaded);
    const Graph now(pRoot, Graph::BORROWS);
    DropUnreached(live, now);
    DropUnreached(loaded, now);
    return pRoot;
}

} // namespace Quirl
