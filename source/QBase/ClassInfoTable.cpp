#include "QBase/ClassInfoTable.h"

#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/PropertyListData.h"
#include "QBase/Reflection.h"

#include <algorithm>

namespace QBase
{

namespace
{

std::uint64_t NextStamp()
{
    static std::atomic<std::uint64_t> sStamp{0};
    return sStamp.fetch_add(1, std::memory_order_relaxed) + 1;
}

// The function "Construct" of a class.
class ConstructFunction final : public Function
{
public:
    explicit ConstructFunction(Value (*pConstruct)(const Value&))
        : Function(Function::Static, Value::TYPE_OBJECT, Value::TYPE_VALUE, Value::TYPE_VOID,
                   Value::TYPE_VOID, Value::TYPE_VOID, Value::TYPE_VOID),
          mpConstruct(pConstruct)
    {
        LetCalleesDestroyIt();
    }

    Value Invoke(Object*, const Value& a1, const Value&, const Value&, const Value&, const Value&) override
    {
        return mpConstruct(a1);
    }

    ClassInfoTable* GetTargetClass() const override { return nullptr; }
    ClassInfoTable* GetArgClass(int) const override { return nullptr; }

private:
    Value (*mpConstruct)(const Value&);
};

} // namespace

QBASE_IMPLEMENT(QBase, ClassInfoTable)

void ClassInfoTable::Implement()
{
    AddFunction<&ClassInfoTable::FindDerived>("FindDerived");
    AddProperty<&ClassInfoTable::GetBaseClass, &ClassInfoTable::SetBaseClass>("BaseClass");
}

ClassInfoTable::ClassInfoTable(const Value& value)
    : Table(value), mpBaseClass(nullptr), mHolders(1), mStamp(NextStamp()), mpPropertyList(nullptr),
      mPropertyListStamp(0)
{
    TrackChanges();
}

ClassInfoTable::ClassInfoTable(const ClassInfoTable& other)
    : Table(other), mpBaseClass(other.mpBaseClass), mHolders(1), mStamp(NextStamp()), mpPropertyList(nullptr),
      mPropertyListStamp(0)
{
    TrackChanges();
    if (mpBaseClass != nullptr) {
        AddReference(mpBaseClass);
    }
}

ClassInfoTable::~ClassInfoTable()
{
    Clear(); // while what dies with the entries still finds a whole table
    StopTrackingChanges();
    DropPropertyList();
    ClassInfoTable* const pBaseClass = mpBaseClass;
    mpBaseClass = nullptr;
    if (pBaseClass != nullptr) {
        DropReference(pBaseClass);
    }
}

void ClassInfoTable::SetBaseClass(ClassInfoTable* pBaseClass)
{
    if (pBaseClass != nullptr && pBaseClass->IsDerivedFrom(this)) {
        Error(QBASE_HERE, "Failed to set base class - the base is derived from this class itself");
        return;
    }
    if (pBaseClass != nullptr) {
        AddReference(pBaseClass);
    }
    ClassInfoTable* const pOld = mpBaseClass;
    mpBaseClass = pBaseClass;
    EntriesChanged();
    if (pOld != nullptr) {
        DropReference(pOld);
    }
}

Object* ClassInfoTable::FindDerived(const String& name) const
{
    for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
        if (Object* const pEntry = pTable->Find(name)) {
            return pEntry;
        }
    }
    return nullptr;
}

QBASE_NULL_THIS_BEGIN

ClassInfoTable* ClassInfoTable::Access()
{
    if (this == nullptr) {
        return nullptr;
    }
    AddReference(this);
    return this;
}

ClassInfoTable* ClassInfoTable::Release()
{
    if (this == nullptr) {
        return nullptr;
    }
    return Object::Release() != nullptr ? this : nullptr;
}

QBASE_NULL_THIS_END

void ClassInfoTable::ReleaseByHolder()
{
    if (!mHolders.DecrementUnlessLast()) {
        DropReference(this);
    }
}

// The stamp comes last: a list that a dying property asks for in between is already stale.
void ClassInfoTable::EntriesChanged()
{
    DropPropertyList(); // at once: it holds references on properties
    mStamp = NextStamp();
}

void ClassInfoTable::DropPropertyList()
{
    mPropertyListStamp.store(0, std::memory_order_relaxed);
    if (PropertyListData* const pList = std::exchange(mpPropertyList, nullptr)) {
        pList->Release();
    }
}

std::uint64_t ClassInfoTable::GetChainStamp() const
{
    std::uint64_t stamp = 0;
    for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
        stamp = std::max(stamp, pTable->mStamp);
    }
    return stamp;
}

// Makes a class table before the class of class tables is registered.
class EarlyClassTable
{
public:
    static ClassInfoTable* New()
    {
        return new ("ClassInfoTable", __LINE__) ClassInfoTable(Value(g_ClassTableSize));
    }
};

// Nothing in here may ask for a class table or look anything up through one before rpClassTable is set: the
// class being registered may be the very one that the question needs.
ClassInfoTable* RegisterClass(ClassInfoTable*& rpClassTable, const String& module, const String& className,
                              Value (*pConstruct)(const Value&), void (*pImplement)())
{
    if (GetModuleTable() == nullptr) {
        Init();
    }
    Table* pModule = static_cast<Table*>(GetModuleTable()->Find(module));
    if (pModule == nullptr) {
        pModule = Table::Construct(Value(g_ModuleTableSize));
        GetModuleTable()->Insert(module, pModule);
    }
    ClassInfoTable* const pClassTable = EarlyClassTable::New();
    pClassTable->Insert("Construct", new ("ClassInfoTable", __LINE__) ConstructFunction(pConstruct));
    pModule->Insert(className, pClassTable);
    rpClassTable = pClassTable;
    Object::AddReference(pClassTable);
    pImplement();
    return pClassTable;
}

void AddClassEntry(ClassInfoTable* pClassTable, const char* pName, Object* pEntry)
{
    pClassTable->Insert(pName, pEntry);
}

void RegisterClassTables(ClassInfoTable* (*pBaseClassTable)(), ClassInfoTable* (*pClassTable)())
{
    if (GetModuleTable() == nullptr) {
        Init();
    }
    ClassInfoTable* const pBase = pBaseClassTable();
    ClassInfoTable* const pClass = pClassTable();
    if (pBase != pClass) {
        pClass->SetBaseClass(pBase);
    }
}

void ReportInterfaceClass(const char* pUnit, int line)
{
    Error(pUnit, line, "Failed to Construct interface class");
}

} // namespace QBase
