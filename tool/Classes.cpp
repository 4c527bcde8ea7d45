// quirl classes: what the loaded modules offer to files and scripts.

#include "Commands.h"
#include "Modules.h"
#include "Output.h"
#include "Report.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <unordered_map>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] = R"(Example:
  quirl classes Solar
prints, among others:
  class Solar.Simulation : QBase.Object
    Step: float
    Sun: Object
    SetTime(float): void)";

struct ClassesOptions
{
    std::string mModule;
    std::vector<std::string> mModules;
    bool mbJson = false;
};

// Sorted by name: the tables' own order says nothing to a reader.
template <typename T>
using ByName = std::map<std::string, T*>;

template <typename T>
ByName<T> Sort(const Table* pTable)
{
    ByName<T> sorted;
    for (const auto& node : pTable->GetEntries()) {
        Object* const pEntry = node.GetValue();
        if (pEntry != nullptr && pEntry->IsDerivedType(T::ClassTable())) {
            sorted.emplace(node.GetKey().c_str(), static_cast<T*>(pEntry));
        }
    }
    return sorted;
}

// "module.class" of each class table.
class ClassNames
{
public:
    ClassNames()
    {
        for (const auto& [module, pModule] : Sort<Table>(GetModuleTable())) {
            for (const auto& [name, pClass] : Sort<ClassInfoTable>(pModule)) {
                mNames.emplace(pClass, module + "." + name);
            }
        }
    }

    /// Empty for null and for what is in no module.
    std::string Find(const ClassInfoTable* pClass) const
    {
        const auto found = mNames.find(pClass);
        return found != mNames.end() ? found->second : std::string();
    }

private:
    std::unordered_map<const ClassInfoTable*, std::string> mNames;
};

// An object's class says more than "Object" does.
std::string GetArgumentName(const Function* pFunction, int index, const ClassNames& names)
{
    const Value::Type type = index < 0 ? pFunction->GetRetType() : pFunction->GetArgType(index);
    const std::string className = names.Find(pFunction->GetArgClass(index));
    return type == Value::TYPE_OBJECT && !className.empty() ? className : GetTypeName(type);
}

std::string GetSignature(const std::string& name, const Function* pFunction, const ClassNames& names)
{
    std::string text = pFunction->GetType() == Function::Static ? "static " : "";
    text += name + "(";
    for (int index = 0; index < pFunction->GetNumArgs(); ++index) {
        text += (index > 0 ? ", " : "") + GetArgumentName(pFunction, index, names);
    }
    return text + "): " + GetArgumentName(pFunction, -1, names);
}

// The keys of an enumeration with their values.
std::map<int, std::string> GetEnumKeys(EnumInfoObject* pEnumInfo)
{
    std::map<int, std::string> keys;
    const ClassInfoTable* const pTable = pEnumInfo != nullptr ? pEnumInfo->GetInstanceTable() : nullptr;
    if (pTable != nullptr) {
        for (const auto& [key, pProperty] : Sort<Property>(pTable)) {
            keys.emplace(pEnumInfo->GetValueFromKey(key.c_str()), key);
        }
    }
    return keys;
}

std::string DescribeProperty(const std::string& name, Property* pProperty)
{
    std::string text = name + ": " + GetTypeName(pProperty->GetType());
    text += pProperty->IsArray() ? "[]" : "";
    std::string keys;
    for (const auto& [value, key] : GetEnumKeys(pProperty->GetEnumInfo())) {
        keys += (keys.empty() ? "" : ", ") + key + " = " + std::to_string(value);
    }
    text += keys.empty() ? "" : " { " + keys + " }";
    return text + (pProperty->IsExcluded() ? " (not in files)" : "");
}

void PrintClass(Output& rOutput, const std::string& fullName, ClassInfoTable* pClass, const ClassNames& names)
{
    const std::string base = names.Find(pClass->GetBaseClass());
    rOutput.WriteLine("class " + fullName + (base.empty() ? "" : " : " + base));
    for (const auto& [name, pProperty] : Sort<Property>(pClass)) {
        rOutput.WriteLine("  " + DescribeProperty(name, pProperty));
    }
    for (const auto& [name, pFunction] : Sort<Function>(pClass)) {
        rOutput.WriteLine("  " + GetSignature(name, pFunction, names));
    }
}

Json MakePropertyJson(const std::string& name, Property* pProperty)
{
    Json json = {{"name", name},
                 {"type", GetTypeName(pProperty->GetType())},
                 {"array", pProperty->IsArray()},
                 {"excluded", pProperty->IsExcluded()}};
    const std::map<int, std::string> keys = GetEnumKeys(pProperty->GetEnumInfo());
    for (const auto& [value, key] : keys) {
        json["enum"][key] = value;
    }
    return json;
}

Json MakeFunctionJson(const std::string& name, const Function* pFunction, const ClassNames& names)
{
    Json arguments = Json::array();
    for (int index = 0; index < pFunction->GetNumArgs(); ++index) {
        arguments.push_back(GetArgumentName(pFunction, index, names));
    }
    return {{"name", name},
            {"static", pFunction->GetType() == Function::Static},
            {"result", GetArgumentName(pFunction, -1, names)},
            {"arguments", std::move(arguments)}};
}

Json MakeClassJson(const std::string& name, ClassInfoTable* pClass, const ClassNames& names)
{
    const std::string base = names.Find(pClass->GetBaseClass());
    Json json = {{"name", name}, {"base", base.empty() ? Json() : Json(base)}};
    json["properties"] = Json::array();
    for (const auto& [propertyName, pProperty] : Sort<Property>(pClass)) {
        json["properties"].push_back(MakePropertyJson(propertyName, pProperty));
    }
    json["functions"] = Json::array();
    for (const auto& [functionName, pFunction] : Sort<Function>(pClass)) {
        json["functions"].push_back(MakeFunctionJson(functionName, pFunction, names));
    }
    return json;
}

void PrintText(Output& rOutput, const ByName<Table>& modules)
{
    const ClassNames names;
    for (const auto& [module, pModule] : modules) {
        for (const auto& [name, pClass] : Sort<ClassInfoTable>(pModule)) {
            PrintClass(rOutput, module + "." + name, pClass, names);
        }
    }
}

void PrintJson(Output& rOutput, const ByName<Table>& modules)
{
    const ClassNames names;
    Json json = {{"modules", Json::array()}};
    for (const auto& [module, pModule] : modules) {
        Json classes = Json::array();
        for (const auto& [name, pClass] : Sort<ClassInfoTable>(pModule)) {
            classes.push_back(MakeClassJson(name, pClass, names));
        }
        json["modules"].push_back({{"name", module}, {"classes", std::move(classes)}});
    }
    rOutput.WriteLine(json.dump(2));
}

int RunClasses(const ClassesOptions& options)
{
    for (const std::string& module : options.mModules) {
        RequireModule(module);
    }
    ByName<Table> modules;
    if (options.mModule.empty()) {
        modules = Sort<Table>(GetModuleTable());
    } else {
        modules.emplace(options.mModule, RequireModule(options.mModule));
    }
    Output output;
    if (options.mbJson) {
        PrintJson(output, modules);
    } else {
        PrintText(output, modules);
    }
    output.Finish();
    return EXIT_FINE;
}

} // namespace

void AddClasses(CLI::App& rApp, int& rExitCode)
{
    CLI::App* const pCommand = rApp.add_subcommand(
        "classes", "List the classes of a module, or of all loaded ones, with properties and functions");
    const auto pOptions = std::make_shared<ClassesOptions>();
    pCommand->add_option("MODULE", pOptions->mModule, "Only this module, loaded when needed");
    pCommand->add_option("--module", pOptions->mModules, "Load this module first (repeatable)")
        ->type_name("NAME")
        ->expected(1);
    pCommand->add_flag("--json", pOptions->mbJson, "Print JSON, for programs");
    pCommand->footer(FOOTER);
    pCommand->callback([pOptions, &rExitCode] { rExitCode = RunClasses(*pOptions); });
}

} // namespace Quirl
