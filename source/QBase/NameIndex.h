// NameIndex is what a class and its bases have under each name, as one table: a look-up takes one step
// instead of one for every base, and the type test of what it finds is done beforehand.
//
// It is built for class tables, at the first look-up, and dropped when the class or a base changes. It
// borrows names and entries from the tables. Its memory comes from the standard heap, so that the counts of
// Memory stay those of the tables.
//
// Threads: an index never changes; any number of threads may read it.

#pragma once

#include "QBase/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QBase
{

class ClassInfoTable;
class Object;

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
        const char* mpName = nullptr; // the text of the interned name; null in a free place
        Object* mpObject = nullptr;
        EntryKind mKind = EntryKind::OTHER;
    };

    /// The entries of a table and its bases, each name as FindDerived answers it.
    explicit NameIndex(const ClassInfoTable* pTable);

    /// The entry, or an empty one.
    const Entry& Find(const String& name) const
    {
        const char* const pName = name.c_str();
        std::size_t place = PlaceOf(pName);
        while (mPlaces[place].mpName != pName && mPlaces[place].mpName != nullptr) {
            place = (place + 1) & mMask;
        }
        return mPlaces[place];
    }

    static EntryKind KindOf(const Object* pObject);

private:
    std::size_t PlaceOf(const char* pName) const
    {
        const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pName);
        return ((address >> 4) ^ (address >> 12)) & mMask;
    }

    std::vector<Entry> mPlaces; // a power of two, at most half of them taken
    std::size_t mMask;
};

} // namespace QBase
