#include "QBase/PropertyList.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/CriticalSection.h"
#include "QBase/PropertyListData.h"
#include "QBase/StoredMember.h"

#include <cstddef>
#include <unordered_set>
#include <utility>
#include <vector>

namespace QBase
{

namespace
{

PropertyList::Field FindField(const Property* pProperty, Object* pObject)
{
    const StoredMember member(pProperty, pObject);
    const Value::Type type = pProperty->GetType();
    if (!member.IsKnown() || pProperty->IsArray() || type == Value::TYPE_OBJECT) {
        return {};
    }
    const std::ptrdiff_t offset =
        static_cast<const char*>(member.Locate(pObject)) - reinterpret_cast<const char*>(pObject);
    const std::size_t size = type == Value::TYPE_STRING ? sizeof(String) : ValueBytes::GetSize(type);
    return {static_cast<std::int32_t>(offset), static_cast<std::uint32_t>(size)};
}

// Names are interned, so the text's address identifies them. An entry of any kind hides what its bases have
// under the same name, as it does for look-ups.
PropertyListData* BuildList(const ClassInfoTable* pTable, Object* pObject)
{
    std::vector<PropertyList::Entry> entries;
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
                entries.push_back({node.GetKey(), pProperty, pProperty->GetType(), pProperty->IsArray(),
                                   pProperty->IsExcluded(), FindField(pProperty, pObject)});
            }
        }
    }
    return new PropertyListData(std::move(entries));
}

// Guards the exchange of lists. Never destroyed: objects are copied and compared to the very end.
CriticalSection* ExchangeSection()
{
    static CriticalSection* const spSection = new CriticalSection;
    return spSection;
}

} // namespace

PropertyListData* PropertyList::GetCurrent(const Object* pObject)
{
    for (;;) { // what dies with an old list may change the table once more
        const ClassInfoTable* const pTable = pObject->GetInstanceOrClassTable();
        const std::uint64_t stamp = pTable->GetChainStamp();
        if (pTable->mPropertyListStamp.load(std::memory_order_acquire) == stamp) {
            return pTable->mpPropertyList;
        }
        Renew(pTable, stamp, pObject);
    }
}

// The list of another thread that was faster stays: somebody may just be taking a reference on it.
void PropertyList::Renew(const ClassInfoTable* pTable, std::uint64_t stamp, const Object* pObject)
{
    PropertyListData* pUnneeded = BuildList(pTable, const_cast<Object*>(pObject)); // locates, changes nothing
    {
        const CriticalSection::Block block(ExchangeSection());
        if (pTable->mPropertyListStamp.load(std::memory_order_relaxed) != stamp) {
            std::swap(pTable->mpPropertyList, pUnneeded);
            pTable->mPropertyListStamp.store(stamp, std::memory_order_release);
        }
    }
    if (pUnneeded != nullptr) {
        pUnneeded->Release();
    }
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
