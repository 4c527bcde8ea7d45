#include "QBase/Global.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/ConstructFunction.h"
#include "QBase/DescribeClass.h"
#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/ModuleLibrary.h"
#include "QBase/Object.h"
#include "QBase/Table.h"
#include "QBase/Version.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace QBase
{

const int g_VersionMajor = QBASE_VERSION_MAJOR;
const int g_VersionMinor = QBASE_VERSION_MINOR;
int g_ModuleTableSize = 61;
int g_ClassTableSize = 61;
int g_InstanceTableSize = 31;
int g_DefaultTableSize = 97;

namespace
{

Table* spModuleTable; // holds one reference, never released

Table* FindTable(const Table* pTable, const String& name)
{
    Object* const pEntry = pTable->Find(name);
    return pEntry != nullptr && pEntry->IsDerivedType(Table::ClassTable()) ? static_cast<Table*>(pEntry)
                                                                           : nullptr;
}

} // namespace

namespace
{

Table* FindClassEntry(const String& module, const String& className)
{
    if (spModuleTable == nullptr) {
        Init();
    }
    const Table* const pModule = FindTable(spModuleTable, module);
    return pModule != nullptr ? FindTable(pModule, className) : nullptr;
}

} // namespace

ClassInfoTable* FindRegisteredClass(const String& module, const String& className)
{
    Table* const pClass = FindClassEntry(module, className);
    return pClass != nullptr && pClass->IsDerivedType(ClassInfoTable::ClassTable())
               ? static_cast<ClassInfoTable*>(pClass)
               : nullptr;
}

namespace
{

// How often the registry has changed.
constinit std::atomic<std::uint64_t> sRegistryStamp{1};

// FoundConstructs remembers what was found under some pairs of names, so that objects that are constructed by
// name one after the other cost no walk through three tables. What was found before the last change of the
// registry counts as not found.
//
// Any number of threads may ask and tell at once. A slot's version is odd while it is being told anew, and
// another one afterwards, so whoever reads meanwhile knows that it has read nothing.
class FoundConstructs
{
public:
    /// Null when it is not known.
    Function* Find(const String& module, const String& className, std::uint64_t stamp) const
    {
        const Slot& slot = SlotOf(module, className);
        const std::uint32_t version = slot.mVersion.load(std::memory_order_acquire);
        const bool bFound = slot.mpModule.load(std::memory_order_acquire) == module.c_str() &&
                            slot.mpClass.load(std::memory_order_acquire) == className.c_str() &&
                            slot.mStamp.load(std::memory_order_acquire) == stamp;
        Function* const pConstruct = slot.mpConstruct.load(std::memory_order_acquire);
        const bool bWhole = version % 2 == 0 && slot.mVersion.load(std::memory_order_relaxed) == version;
        return bFound && bWhole ? pConstruct : nullptr;
    }

    /// The tables hold the names for as long as the stamp is the present one.
    void Remember(const String& module, const String& className, std::uint64_t stamp, Function* pConstruct)
    {
        Slot& rSlot = const_cast<Slot&>(SlotOf(module, className));
        std::uint32_t version = rSlot.mVersion.load(std::memory_order_relaxed);
        if (version % 2 != 0 ||
            !rSlot.mVersion.compare_exchange_strong(version, version + 1, std::memory_order_acquire,
                                                    std::memory_order_relaxed)) {
            return; // another thread is at it
        }
        rSlot.mpModule.store(module.c_str(), std::memory_order_release);
        rSlot.mpClass.store(className.c_str(), std::memory_order_release);
        rSlot.mStamp.store(stamp, std::memory_order_release);
        rSlot.mpConstruct.store(pConstruct, std::memory_order_release);
        rSlot.mVersion.store(version + 2, std::memory_order_release);
    }

private:
    struct Slot
    {
        std::atomic<std::uint32_t> mVersion{0};
        std::atomic<std::uint64_t> mStamp{0}; // of the registry, which starts with 1
        std::atomic<const char*> mpModule{nullptr};
        std::atomic<const char*> mpClass{nullptr};
        std::atomic<Function*> mpConstruct{nullptr};
    };
    static constexpr std::size_t NUM_SLOTS = 64;

    const Slot& SlotOf(const String& module, const String& className) const
    {
        return mSlots[(module.hash() ^ className.hash() ^ className.hash() >> 8) % NUM_SLOTS];
    }

    Slot mSlots[NUM_SLOTS];
};

constinit FoundConstructs sFoundConstructs;

} // namespace

void RegistryChanged()
{
    sRegistryStamp.fetch_add(1, std::memory_order_relaxed);
}

Table* RegistryTable::New(int numBuckets)
{
    Table* const pTable = new ("Global", __LINE__) Table(Value(numBuckets));
    if (pTable != nullptr) {
        pTable->mTracker = Table::Tracker::REGISTRY;
    }
    return pTable;
}

bool RegistryTable::IsTracked(const Table* pTable)
{
    return pTable->mTracker == Table::Tracker::REGISTRY ||
           (pTable->mTracker == Table::Tracker::CLASS &&
            static_cast<const ClassInfoTable*>(pTable)->mbIsClass);
}

Function* FindConstructFunction(const String& module, const String& className)
{
    static const String& sConstruct = *new String("Construct");
    const std::uint64_t stamp = sRegistryStamp.load(std::memory_order_relaxed);
    if (Function* const pConstruct = sFoundConstructs.Find(module, className, stamp)) {
        return pConstruct;
    }
    const Table* const pClass = FindClassEntry(module, className);
    Object* const pEntry = pClass != nullptr ? pClass->Find(sConstruct) : nullptr;
    if (pEntry == nullptr || !pEntry->IsDerivedType(Function::ClassTable())) {
        return nullptr;
    }
    Function* const pConstruct = static_cast<Function*>(pEntry);
    if (RegistryTable::IsTracked(pClass) && RegistryTable::IsTracked(FindTable(spModuleTable, module))) {
        sFoundConstructs.Remember(module, className, stamp, pConstruct);
    }
    return pConstruct;
}

void Init()
{
    if (spModuleTable == nullptr) {
        spModuleTable = RegistryTable::New(g_DefaultTableSize);
        Object::AddReference(spModuleTable);
    }
    Info("Quirl v.%d.%d", g_VersionMajor, g_VersionMinor);
}

Table* GetModuleTable()
{
    return spModuleTable;
}

Table* LoadModule(const String& name)
{
    if (spModuleTable == nullptr) {
        Init();
    }
    if (Table* const pModule = FindTable(spModuleTable, name)) {
        return pModule;
    }
    std::string errorText;
    if (!LoadModuleLibrary(name, errorText)) {
        Error("Global", __LINE__, "Failed to load module '%s': %s", name.c_str(), errorText.c_str());
        return nullptr;
    }
    return FindTable(spModuleTable, name);
}

Ptr<Object> Construct(const String& module, const String& className, const Value& arg)
{
    Function* const pConstruct = FindConstructFunction(module, className);
    if (pConstruct == nullptr) {
        Error("Global", __LINE__, "Failed to construct '%s.%s'", module.c_str(), className.c_str());
        return nullptr;
    }
    Value object = pConstruct->CallOn(nullptr, arg, Value::Null, Value::Null, Value::Null, Value::Null);
    return Ptr<Object>::Adopt(ValueBits::TakeObject(std::move(object)));
}

std::string DescribeClass(const ClassInfoTable* pClassTable)
{
    for (const auto& module : spModuleTable->GetEntries()) {
        if (module.GetValue() == nullptr || !module.GetValue()->IsDerivedType(Table::ClassTable())) {
            continue;
        }
        for (const auto& entry : static_cast<Table*>(static_cast<Object*>(module.GetValue()))->GetEntries()) {
            if (static_cast<const Object*>(entry.GetValue()) == pClassTable) {
                return std::string(module.GetKey().c_str()) + "." + entry.GetKey().c_str();
            }
        }
    }
    return "?.?";
}

} // namespace QBase
