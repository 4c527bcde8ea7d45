// quirl classes: what the loaded modules offer to files and scripts.

#include "Commands.h"
#include "Modules.h"
#include "Output.h"
#include "Report.h"
#include "Schema.h"
#include "Text.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Quirl
{

namespace
{

constexpr char FOOTER[] = R"(With --json it is a schema, which `quirl conform` compares with another.

Examples:
  quirl classes Solar
  quirl classes --module Solar --json >solar-1.json

The first prints, among others:
  class Solar.Simulation : QBase.Object  // Moves the bodies around their sun as time goes on
    Step: float
    Sun: Object
    SetTime(float): void)";

struct ClassesOptions
{
    std::string mModule;
    ModuleOptions mModules;
    bool mbJson = false;
};

std::string DescribeProperty(const SchemaProperty& property)
{
    std::string text = property.mName + ": " + property.mType + (property.mbArray ? "[]" : "");
    std::multimap<int, std::string> names; // of each value
    for (const auto& [key, value] : property.mKeys) {
        names.emplace(value, key);
    }
    std::string keys;
    for (const auto& [value, key] : names) {
        keys += (keys.empty() ? "" : ", ") + key + " = " + std::to_string(value);
    }
    text += keys.empty() ? "" : " { " + keys + " }";
    if (property.mAccess == "constant") {
        return text + " = " + property.mValue.dump() + " (constant)";
    }
    return text + (property.mAccess == "read" ? " (read only)"
                   : property.mbExcluded      ? " (not in files)"
                                              : "");
}

void PrintLine(Output& rOutput, const std::string& text, const std::string& description)
{
    rOutput.WriteLine(ToPrintable(text + (description.empty() ? "" : "  // " + description)));
}

void PrintClass(Output& rOutput, const SchemaClass& described)
{
    const std::string base = described.mBase.empty() ? "" : " : " + described.mBase;
    PrintLine(rOutput, "class " + described.mName + base + (described.mbAbstract ? " (abstract)" : ""),
              described.mDescription);
    for (const SchemaProperty& property : described.mProperties) {
        PrintLine(rOutput, "  " + DescribeProperty(property), property.mDescription);
    }
    for (const SchemaFunction& function : described.mFunctions) {
        PrintLine(rOutput, "  " + GetSignature(function), function.mDescription);
    }
}

int RunClasses(const ClassesOptions& options)
{
    LoadModules(options.mModules);
    std::vector<std::string> modules{options.mModule};
    if (options.mModule.empty()) {
        modules = GetModuleNames();
    } else {
        RequireModule(options.mModule);
    }
    const Schema schema = ReadRegistry(modules);
    Output output;
    if (options.mbJson) {
        output.WriteLine(MakeJson(schema).dump(2));
    } else {
        for (const auto& [module, classes] : schema.mModules) {
            for (const auto& [name, described] : classes) {
                PrintClass(output, described);
            }
        }
    }
    output.Finish();
    return EXIT_FINE;
}

} // namespace

void AddClasses(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand(
        "classes", "List the classes of a module, or of all loaded ones, with properties and functions");
    const auto pOptions = std::make_shared<ClassesOptions>();
    command.AddOption("MODULE", pOptions->mModule, "Only this module, loaded when needed");
    AddModuleOptions(command, pOptions->mModules);
    command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs");
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunClasses(*pOptions); });
}

} // namespace Quirl
