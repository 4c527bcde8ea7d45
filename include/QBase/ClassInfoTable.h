// ClassInfoTable describes one class at run time: its entries, keyed by name, are the class's Property and
// Function objects and the static function "Construct". It is linked to the table of the base class.
//
//     ClassInfoTable* pClass = List::ClassTable();
//     pClass->FindDerived("Insert");     // the Function, here or in a base class
//     pClass->GetBaseClass();            // Object's table
//
// The same class serves as instance table: the properties that one single object has beside those of its
// class, whose table is then the base.
//
// Threads: class tables are filled while libraries load; after that any thread may read them.

#pragma once

#include "QBase/Table.h"

#include <atomic>

namespace QBase
{

enum class EntryKind : int;
class NameIndex;
class PropertyListData;

class QBASE_API ClassInfoTable : public Table
{
    QBASE_OBJECT(ClassInfoTable, Table)

public:
    ClassInfoTable* GetBaseClass() const { return mpBaseClass; }

    /// Holds `pBaseClass`. A base whose own chain leads here is reported and refused.
    void SetBaseClass(ClassInfoTable* pBaseClass);

    /// The first entry of that name, here or along the chain of base classes; or null. Borrowed.
    Object* FindDerived(const String& name) const;

    /// One line about the class; with a name, about the entry that its Implement registered under it.
    /// String::Null where nothing was said. Descriptions of base classes are theirs alone.
    String GetDescription() const { return GetEntryDescription(String::Null); }
    String GetEntryDescription(const String& name) const;

    /// Says it. For Implement; String::Null stands for the class itself.
    void SetDescription(const String& name, const String& description);

    /// True when constructing an object of the class or setting its properties may act on something outside
    /// the program, such as files, threads or connections, because the class or a base of it says so.
    bool ActsOutside() const;

    /// Says it. For Implement.
    void SetActsOutside() { mbActsOutside = true; }

    /// True for a class whose objects cannot be constructed: Construct reports it.
    bool IsAbstract() const { return mbAbstract; }

    /// As Object's, also on null.
    ClassInfoTable* Access();
    ClassInfoTable* Release();

    /// True when this table is `pClassTable` or has it among its bases.
    bool IsDerivedFrom(const ClassInfoTable* pClassTable) const
    {
        for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
            if (pTable == pClassTable) {
                return true;
            }
        }
        return false;
    }

    ~ClassInfoTable() override;

protected:
    explicit ClassInfoTable(const Value& value);
    ClassInfoTable(const ClassInfoTable& other);
    ClassInfoTable& operator=(const ClassInfoTable&) = delete;

private:
    struct Descriptions;

    friend class EarlyClassTable;
    friend class RegistryTable;
    friend class Object;
    friend class PropertyList;
    friend class Table;

    // Clones share their source's instance table without a reference. Each holder that lets go of the table
    // uses up a sharer first; only the last one drops the real reference.
    void AddSharer() { mHolders.Increment(); }
    void ReleaseByHolder();

    /// What FindDerived answers, if it is of that kind; or null.
    Object* FindDerivedOfKind(const String& name, EntryKind kind) const;

    void EntriesChanged();
    void DropPropertyList();
    void DropNameIndex();
    void LinkToBase();
    void UnlinkFromBase();
    const NameIndex* GetNameIndex() const;
    const NameIndex* BuildNameIndex() const;
    std::uint64_t GetChainStamp() const;

    ClassInfoTable* mpBaseClass; // holds one reference; null for Object's own table
    InterlockedInt mHolders;     // one more than the sharers
    std::uint64_t mStamp;        // grows with every change of the entries or the base, over all tables

    // The list of properties, built on first use and dropped with every change. Readers look at the stamp
    // first: a list with the stamp of the whole chain stays as long as no table changes.
    mutable PropertyListData* mpPropertyList;              // holds one reference
    mutable std::atomic<std::uint64_t> mPropertyListStamp; // 0 without a list

    // A class has an index of all names, its bases' too, which a change of any of them drops. For that each
    // class knows those derived from it; instance tables are too many, and short-lived.
    bool mbIsClass;
    bool mbActsOutside;
    bool mbAbstract;
    Descriptions* mpDescriptions;   // owned; null while there are none
    ClassInfoTable* mpFirstDerived; // borrowed, as are the rest of the list
    ClassInfoTable* mpNextDerived;
    mutable std::atomic<const NameIndex*> mpNameIndex; // owned; null until the first look-up
};

} // namespace QBase
