// NameIndex is what a class and its bases have under each name, as one table: a look-up takes one step
// instead of one for every base, and the type test of what it finds is done beforehand.
//
// It is built for class tables, at the first look-up, and dropped when the class or a base changes. It holds
// the names, whose identity is all that a look-up compares, and borrows the entries from the tables. Its
// memory comes from the standard heap, so that the counts of Memory stay those of the tables.
//
// Threads: an index never changes; any number of threads may read it.

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/String.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <vector>

namespace QBase
{

enum class EntryKind : int
{
    OTHER,
    PROPERTY,
    FUNCTION
};

class NameIndex
{
public:
    struct Entry
    {
        String mName;
        Object* mpObject = nullptr; // null in a free place
        EntryKind mKind = EntryKind::OTHER;
    };

    /// The entries of a table and its bases, each name as FindDerived answers it.
    explicit NameIndex(const ClassInfoTable* pTable);

    /// The entry, or an empty one.
    const Entry& Find(const String& name) const
    {
        std::size_t place = PlaceOf(name);
        while (mPlaces[place].mName != name && mPlaces[place].mpObject != nullptr) {
            place = (place + 1) & mMask;
        }
        return mPlaces[place];
    }

    static EntryKind KindOf(const Object* pObject);

private:
    std::size_t PlaceOf(const String& name) const
    {
        const std::size_t hash = std::hash<String>()(name); // an address
        return ((hash >> 4) ^ (hash >> 12)) & mMask;
    }

    std::vector<Entry> mPlaces; // a power of two, at most half of them taken
    std::size_t mMask;
};

// The look-ups of ClassInfoTable that every read, write and call by name goes through.

inline const NameIndex* ClassInfoTable::GetNameIndex() const
{
    const NameIndex* const pIndex = mpNameIndex.load(std::memory_order_acquire);
    return QBASE_LIKELY(pIndex != nullptr) || !mbIsClass ? pIndex : BuildNameIndex();
}

inline Object* ClassInfoTable::FindDerivedOfKind(const String& name, EntryKind kind) const
{
    for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
        if (const NameIndex* const pIndex = pTable->GetNameIndex()) {
            const NameIndex::Entry& entry = pIndex->Find(name);
            return entry.mKind == kind ? entry.mpObject : nullptr;
        }
        if (Object* const pEntry = pTable->Find(name)) {
            return NameIndex::KindOf(pEntry) == kind ? pEntry : nullptr;
        }
    }
    return nullptr;
}

} // namespace QBase
