#include "QBase/ClassInfoTable.h"

#include "QBase/ConstructFunction.h"
#include "QBase/CriticalSection.h"
#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/NameIndex.h"
#include "QBase/PropertyListData.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace QBase
{

namespace
{

// One thread at a time builds an index. Never destroyed: names are looked up to the very end.
CriticalSection* IndexSection()
{
    static CriticalSection* const spSection = new CriticalSection;
    return spSection;
}

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

// Outside Memory, as all that is known about a class beside its entries.
struct ClassInfoTable::Descriptions
{
    std::vector<std::pair<String, String>> mTexts; // few, and asked for by people
};

void ClassInfoTable::Implement()
{
    Describe("What is known of a class: its functions and properties by name, and its base");
    AddFunction<&ClassInfoTable::FindDerived>("FindDerived");
    AddProperty<&ClassInfoTable::GetBaseClass, &ClassInfoTable::SetBaseClass>("BaseClass");
}

ClassInfoTable::ClassInfoTable(const Value& value)
    : Table(value), mpBaseClass(nullptr), mHolders(1), mStamp(NextStamp()), mpPropertyList(nullptr),
      mPropertyListStamp(0), mbIsClass(false), mbActsOutside(false), mbAbstract(false),
      mpDescriptions(nullptr), mpFirstDerived(nullptr), mpNextDerived(nullptr), mpNameIndex(nullptr)
{
    TrackChanges();
}

ClassInfoTable::ClassInfoTable(const ClassInfoTable& other)
    : Table(other), mpBaseClass(other.mpBaseClass), mHolders(1), mStamp(NextStamp()), mpPropertyList(nullptr),
      mPropertyListStamp(0), mbIsClass(false), mbActsOutside(false), mbAbstract(false),
      mpDescriptions(nullptr), mpFirstDerived(nullptr), mpNextDerived(nullptr), mpNameIndex(nullptr)
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
    DropNameIndex();
    delete mpDescriptions;
    UnlinkFromBase();
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
    UnlinkFromBase();
    ClassInfoTable* const pOld = mpBaseClass;
    mpBaseClass = pBaseClass;
    LinkToBase();
    EntriesChanged();
    if (pOld != nullptr) {
        DropReference(pOld);
    }
}

String ClassInfoTable::GetEntryDescription(const String& name) const
{
    if (mpDescriptions != nullptr) {
        for (const auto& [rName, rText] : mpDescriptions->mTexts) {
            if (rName == name) {
                return rText;
            }
        }
    }
    return String::Null;
}

void ClassInfoTable::SetDescription(const String& name, const String& description)
{
    if (mpDescriptions == nullptr) {
        mpDescriptions = new Descriptions;
    }
    for (auto& [rName, rText] : mpDescriptions->mTexts) {
        if (rName == name) {
            rText = description;
            return;
        }
    }
    mpDescriptions->mTexts.emplace_back(name, description);
}

bool ClassInfoTable::ActsOutside() const
{
    for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
        if (pTable->mbActsOutside) {
            return true;
        }
    }
    return false;
}

Object* ClassInfoTable::FindDerived(const String& name) const
{
    for (const ClassInfoTable* pTable = this; pTable != nullptr; pTable = pTable->mpBaseClass) {
        if (const NameIndex* const pIndex = pTable->GetNameIndex()) {
            return pIndex->Find(name).mpObject;
        }
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

// The stamp and the index come last: what a dying property asks for in between is already stale.
void ClassInfoTable::EntriesChanged()
{
    DropPropertyList(); // at once: it holds references on properties
    mStamp = NextStamp();
    DropNameIndex();
    if (mbIsClass) {
        RegistryChanged();
    }
}

void ClassInfoTable::DropPropertyList()
{
    mPropertyListStamp.store(0, std::memory_order_relaxed);
    if (PropertyListData* const pList = std::exchange(mpPropertyList, nullptr)) {
        pList->Release();
    }
}

void ClassInfoTable::DropNameIndex()
{
    delete mpNameIndex.exchange(nullptr, std::memory_order_relaxed);
    for (ClassInfoTable* pDerived = mpFirstDerived; pDerived != nullptr; pDerived = pDerived->mpNextDerived) {
        pDerived->DropNameIndex();
    }
}

void ClassInfoTable::LinkToBase()
{
    if (mbIsClass && mpBaseClass != nullptr) {
        mpNextDerived = std::exchange(mpBaseClass->mpFirstDerived, this);
    }
}

void ClassInfoTable::UnlinkFromBase()
{
    if (mbIsClass && mpBaseClass != nullptr) {
        ClassInfoTable** ppLink = &mpBaseClass->mpFirstDerived;
        while (*ppLink != this) {
            ppLink = &(*ppLink)->mpNextDerived;
        }
        *ppLink = std::exchange(mpNextDerived, nullptr);
    }
}

// Null when a base is no class, and so would not tell of its changes, and without memory.
const NameIndex* ClassInfoTable::BuildNameIndex() const
{
    for (const ClassInfoTable* pBase = mpBaseClass; pBase != nullptr; pBase = pBase->mpBaseClass) {
        if (!pBase->mbIsClass) {
            return nullptr;
        }
    }
    const CriticalSection::Block block(IndexSection());
    const NameIndex* pIndex = mpNameIndex.load(std::memory_order_relaxed);
    if (pIndex == nullptr) { // another thread was not faster
        try {
            pIndex = new NameIndex(this);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        mpNameIndex.store(pIndex, std::memory_order_release);
    }
    return pIndex;
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
    static ClassInfoTable* New(bool bAbstract)
    {
        ClassInfoTable* const pTable =
            new ("ClassInfoTable", __LINE__) ClassInfoTable(Value(g_ClassTableSize));
        pTable->mbIsClass = true;
        pTable->mbAbstract = bAbstract;
        return pTable;
    }
};

// Nothing in here may ask for a class table or look anything up through one before rpClassTable is set: the
// class being registered may be the very one that the question needs.
ClassInfoTable* RegisterReflectedClass(ClassInfoTable*& rpClassTable, const String& module,
                                       const String& className, bool bAbstract,
                                       Value (*pConstruct)(const Value&), void (*pImplement)())
{
    if (GetModuleTable() == nullptr) {
        Init();
    }
    Table* pModule = static_cast<Table*>(GetModuleTable()->Find(module));
    if (pModule == nullptr) {
        pModule = RegistryTable::New(g_ModuleTableSize);
        GetModuleTable()->Insert(module, pModule);
    }
    ClassInfoTable* const pClassTable = EarlyClassTable::New(bAbstract);
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
