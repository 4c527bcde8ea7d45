#include "QBase/Table.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/ConstructFunction.h"
#include "QBase/ContainerExecution.h"
#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/Reflection.h"
#include "QBase/TablePath.h"

namespace QBase
{

QBASE_IMPLEMENT(QBase, Table)

void Table::Implement()
{
    Describe("Objects by name");
    AddFunction<&Table::Clear>("Clear");
    AddFunction<&Table::Find>("Find");
    AddFunction<&Table::FindPath>("FindPath");
    AddFunction<&Table::GetName>("GetName");
    AddFunction<&Table::GetTableSize>("GetTableSize");
    AddFunction<&Table::Insert>("Insert");
    AddFunction<&Table::InsertPath>("InsertPath");
    AddFunction<&Table::Remove>("Remove");
    AddFunction<&Table::RemovePath>("RemovePath");
    AddFunction<&Table::Resize>("Resize");
}

Table::Table(const Value& value)
    : mTable(value.GetType() == Value::TYPE_INT ? value.Get<int>() : g_DefaultTableSize)
{}

Table& Table::operator=(const Table& other)
{
    AboutToChange();
    mTable = other.mTable;
    return *this;
}

void Table::Insert(const String& name, Object* pObject)
{
    const KeepAlive keepThis(this); // the object that goes may have held this table
    AboutToChange();
    mTable.Insert(name, pObject);
}

Object* Table::Find(const String& name) const
{
    const Ptr<Object>* const pEntry = mTable.Find(name);
    return pEntry != nullptr ? static_cast<Object*>(*pEntry) : nullptr;
}

const String& Table::GetName(Object* pObject) const
{
    for (const auto& node : mTable) {
        if (static_cast<Object*>(node.GetValue()) == pObject) {
            return node.GetKey();
        }
    }
    return String::Null;
}

void Table::Remove(const String& name)
{
    AboutToChange();
    mTable.Remove(name); // last: the object that goes may have held this table
}

Table* Table::FindLeafTable(TablePath* pPath, String& rName) const
{
    if (pPath == nullptr || pPath->GetNodes().begin() == pPath->GetNodes().end()) {
        return nullptr;
    }
    const Table* pTable = this;
    auto name = pPath->GetNodes().begin();
    for (auto next = name; ++next != pPath->GetNodes().end(); name = next) {
        Object* const pEntry = pTable->Find(*name);
        if (pEntry == nullptr || !pEntry->IsDerivedType(Table::ClassTable())) {
            return nullptr;
        }
        pTable = static_cast<Table*>(pEntry);
    }
    rName = *name;
    return const_cast<Table*>(pTable);
}

void Table::InsertPath(TablePath* pPath, Object* pObject)
{
    String name;
    Table* const pTable = FindLeafTable(pPath, name);
    if (pTable == nullptr) {
        Error("Table", 118, "Failed to insert object, path not valid"); // hosts rely on unit and line
        return;
    }
    pTable->Insert(name, pObject);
}

Object* Table::FindPath(TablePath* pPath) const
{
    String name;
    Table* const pTable = FindLeafTable(pPath, name);
    return pTable != nullptr ? pTable->Find(name) : nullptr;
}

void Table::RemovePath(TablePath* pPath)
{
    String name;
    Table* const pTable = FindLeafTable(pPath, name);
    if (pTable == nullptr) {
        Error("Table", 148, "Failed to remove object, path not valid"); // hosts rely on unit and line
        return;
    }
    pTable->Remove(name);
}

void Table::Resize(int tableSize)
{
    AboutToChange();
    mTable.Resize(tableSize);
}

void Table::Clear()
{
    AboutToChange();
    mTable.Clear(); // last: an object that goes may have held this table
}

void Table::Execute(const Value& value)
{
    ContainerExecution(value).Run(this);
}

// Comes before the change, because the change itself runs destructors.
void Table::AboutToChange()
{
    if (mTracker == Tracker::CLASS) {
        static_cast<ClassInfoTable*>(this)->EntriesChanged();
    } else if (mTracker == Tracker::REGISTRY) {
        RegistryChanged();
    }
}

} // namespace QBase
