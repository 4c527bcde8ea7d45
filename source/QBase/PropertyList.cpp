#include "QBase/PropertyList.h"

#include "QBase/ClassInfoTable.h"

#include <unordered_set>

namespace QBase
{

namespace
{

// Names are interned, so the text's address identifies them. An entry of any kind hides what its bases have
// under the same name, as it does for look-ups.
PropertyListData* BuildList(const ClassInfoTable* pTable, std::uint64_t stamp)
{
    PropertyListData* const pData = new PropertyListData(stamp);
    std::unordered_set<const char*> taken;
    ClassInfoTable* const pPropertyClass = Property::ClassTable();
    for (; pTable != nullptr; pTable = pTable->GetBaseClass()) {
        for (const auto& node : pTable->GetEntries()) {
            Object* const pEntry = node.GetValue();
            // FindDerived passes over a null entry as if it were absent.
            if (pEntry == nullptr || !taken.insert(node.GetKey().c_str()).second) {
                continue;
            }
            if (pEntry->IsDerivedType(pPropertyClass)) {
                Property* const pProperty = static_cast<Property*>(pEntry);
                pData->GetEntries().push_back({node.GetKey(), pProperty, pProperty->GetType(),
                                               pProperty->IsArray(), pProperty->IsExcluded()});
            }
        }
    }
    return pData;
}

} // namespace

PropertyListData* PropertyList::GetCurrent(const Object* pObject)
{
    const ClassInfoTable* const pTable = pObject->GetInstanceOrClassTable();
    const std::uint64_t stamp = pTable->GetChainStamp();
    PropertyListData* pData = pTable->mpPropertyList.load(std::memory_order_acquire);
    if (pData != nullptr && pData->GetStamp() == stamp) {
        return pData;
    }
    PropertyListData* const pBuilt = BuildList(pTable, stamp);
    if (pTable->mpPropertyList.compare_exchange_strong(pData, pBuilt, std::memory_order_acq_rel)) {
        if (pData != nullptr) {
            pData->Release();
        }
        return pBuilt;
    }
    pBuilt->Release(); // another thread was first; both lists say the same
    return pData;
}

PropertyList::PropertyList(const Object* pObject) : mpData(GetCurrent(pObject))
{
    mpData->Access();
}

PropertyList::~PropertyList()
{
    mpData->Release();
}

const PropertyList::Entry* PropertyList::begin() const
{
    return mpData->GetEntries().data();
}

const PropertyList::Entry* PropertyList::end() const
{
    return mpData->GetEntries().data() + mpData->GetEntries().size();
}

} // namespace QBase
