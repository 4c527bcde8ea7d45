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

Function* FindConstructFunction(const String& module, const String& className)
{
    static const String& sConstruct = *new String("Construct");
    const Table* const pClass = FindClassEntry(module, className);
    Object* const pEntry = pClass != nullptr ? pClass->Find(sConstruct) : nullptr;
    return pEntry != nullptr && pEntry->IsDerivedType(Function::ClassTable()) ? static_cast<Function*>(pEntry)
                                                                              : nullptr;
}

// Makes a table before any class is registered.
class EarlyTable
{
public:
    static Table* New() { return new ("Global", __LINE__) Table(Value::Null); }
};

void Init()
{
    if (spModuleTable == nullptr) {
        spModuleTable = EarlyTable::New();
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
