#include "QBase/NameIndex.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Function.h"
#include "QBase/Property.h"

namespace QBase
{

NameIndex::NameIndex(const ClassInfoTable* pTable)
{
    std::size_t numEntries = 0;
    for (const ClassInfoTable* pLevel = pTable; pLevel != nullptr; pLevel = pLevel->GetBaseClass()) {
        for (auto node = pLevel->GetEntries().begin(); node != pLevel->GetEntries().end(); ++node) {
            ++numEntries;
        }
    }
    std::size_t size = 4;
    while (size < 2 * numEntries) {
        size *= 2;
    }
    mPlaces.resize(size);
    mMask = size - 1;
    for (const ClassInfoTable* pLevel = pTable; pLevel != nullptr; pLevel = pLevel->GetBaseClass()) {
        for (const auto& node : pLevel->GetEntries()) {
            Object* const pObject = node.GetValue();
            Entry& rPlace = const_cast<Entry&>(Find(node.GetKey()));
            if (pObject != nullptr && rPlace.mpObject == nullptr) { // a null entry counts as absent
                rPlace.mName = node.GetKey();
                rPlace.mpObject = pObject;
                rPlace.mKind = KindOf(pObject);
            }
        }
    }
}

EntryKind NameIndex::KindOf(const Object* pObject)
{
    return IsObjectOf(pObject, Property::ClassTable())   ? EntryKind::PROPERTY
           : IsObjectOf(pObject, Function::ClassTable()) ? EntryKind::FUNCTION
                                                         : EntryKind::OTHER;
}

} // namespace QBase
