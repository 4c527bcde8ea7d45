// LoadedClasses keeps what a load found out about the classes of a file, so that most objects cost no
// look-up: objects of one class are mostly stored alike. A Slot is what the reader of a format knows of the
// property at one place of an object's record.
//
//     LoadedClasses<Slot> classes;
//     LoadedClasses<Slot>::Class& rClass = classes.Find(pObject); // valid until the next Find
//     LoadedContents contents(pObject, rClass);                   // takes out what the file replaces
//     ...                                                         // properties, children
//     contents.Finish();

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/PositionIndex.h"

#include <vector>

namespace QBase
{

// What kind of children objects of a class have.
struct LoadedClass
{
    explicit LoadedClass(Object* pObject);

    ClassInfoTable* mpTable; // borrowed: class tables are never released
    bool mbTable;
    bool mbList;
    bool mbOwnEntries; // a ClassInfoTable, which keeps what its class put into it
};

template <typename Slot>
class LoadedClasses
{
public:
    struct Class : LoadedClass
    {
        explicit Class(Object* pObject) : LoadedClass(pObject) {}

        std::vector<Slot> mSlots; // of objects without properties of their own
    };

    Class& Find(Object* pObject)
    {
        const ClassInfoTable* const pTable = pObject->GetClassTable();
        if (mLast < 0 || mClasses[static_cast<std::size_t>(mLast)].mpTable != pTable) {
            mLast = FindOrAdd(pTable, pObject);
        }
        return mClasses[static_cast<std::size_t>(mLast)];
    }

private:
    int FindOrAdd(const ClassInfoTable* pTable, Object* pObject)
    {
        const std::uint64_t key = PositionIndex::KeyOf(pTable);
        int position = mIndex.Find(key);
        if (position == PositionIndex::NONE) {
            position = static_cast<int>(mClasses.size());
            mIndex.Insert(key, position);
            mClasses.emplace_back(pObject);
        }
        return position;
    }

    std::vector<Class> mClasses;
    PositionIndex mIndex; // by class table
    int mLast = -1;
};

// The contents of one object while they are loaded.
class LoadedContents
{
public:
    /// Empties a List, and a Table that is no ClassInfoTable: their children are all the file's.
    LoadedContents(Object* pObject, const LoadedClass& loadedClass);

    /// Puts children and properties into the order in which they were saved.
    void Finish();

private:
    Object* mpObject;
    bool mbTable;         // whose entries are all the file's
    bool mbOwnProperties; // that the class gave the object
};

} // namespace QBase
