// Table is a named container of objects. It holds one reference on each of them and lists an object under
// exactly one name; a second insertion under a name replaces the first. Tables nest, and a TablePath names
// an object several levels down.
//
//     Ptr<Table> pScene = Table::Construct(Value::Null);
//     pScene->Insert("camera", pCamera);
//     pScene->Find("camera");              // pCamera
//     pScene->Find("light");               // null, silently
//
// The number of buckets is fixed at construction (an int Value; otherwise g_DefaultTableSize) and sets the
// walk order only: look-ups stay fast however many names there are. A null object may be stored; Find then
// answers null as if the name were absent, walkers see the entry.
//
// Threads: nothing here locks; whoever shares a table guards it.

#pragma once

#include "QBase/HashTable.h"
#include "QBase/Object.h"

#include <cstdint>

namespace QBase
{

class TablePath;

class QBASE_API Table : public Object
{
    QBASE_OBJECT(Table, Object)

public:
    /// What GetEntries answers.
    using Entries = HashTable<Ptr<Object>>;

    /// Stores `pObject` under `name`, in place of what was there. Holds it.
    void Insert(const String& name, Object* pObject);

    /// The object under `name`, or null. Borrowed.
    Object* Find(const String& name) const;

    /// The name of the first entry, in walk order, that is `pObject`; String::Null if there is none.
    /// Linear. Borrowed from the entry.
    const String& GetName(Object* pObject) const;

    /// Takes out `name`, if it is there.
    void Remove(const String& name);

    /// The same through nested tables. A path that is null or empty, or leads through something that is no
    /// table, is reported; FindPath answers it with null silently.
    void InsertPath(TablePath* pPath, Object* pObject);
    Object* FindPath(TablePath* pPath) const;
    void RemovePath(TablePath* pPath);

    /// Spreads the entries over another number of buckets, which changes the walk order.
    void Resize(int tableSize);
    void Clear();

    /// The number of buckets.
    int GetTableSize() const { return mTable.GetTableSize(); }

    /// Executes every object of the table with `value`, in walk order. A table that is already executing on
    /// this thread does nothing.
    void Execute(const Value& value) override;

    /// The entries in walk order, for loops. Borrowed; a change of the table ends the loop's right to go on.
    const Entries& GetEntries() const { return mTable; }

protected:
    explicit Table(const Value& value);
    Table(const Table& other) : Object(other), mTable(other.mTable) {}

    /// Copies the entries.
    Table& operator=(const Table& other);

    /// From now on every change of the entries calls EntriesChanged. For ClassInfoTable.
    void TrackChanges() { mTracker = Tracker::CLASS; }
    void StopTrackingChanges() { mTracker = Tracker::NONE; }

private:
    friend class RegistryTable;

    // Who is told before the entries change.
    enum class Tracker : std::uint8_t
    {
        NONE,
        CLASS,   // this table, which is a ClassInfoTable
        REGISTRY // whoever remembers what is registered
    };

    Table* FindLeafTable(TablePath* pPath, String& rName) const;
    void AboutToChange();

    Entries mTable;
    Tracker mTracker = Tracker::NONE;
};

} // namespace QBase
