#include "Modules.h"

#include "Report.h"
#include "System.h"
#include "Text.h"

#include "QBase/Global.h"
#include "QBase/Table.h"

#include <algorithm>
#include <map>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOLDERS_VARIABLE[] = "QUIRL_MODULE_PATH";

std::vector<std::string> sGivenFolders;       // by the command line
std::map<std::string, std::string> sFolderOf; // each module that was found in one

bool IsLoaded(const std::string& name)
{
    return GetModuleTable()->Find(name.c_str()) != nullptr;
}

// Loads the library of the module from the first of the user's folders that has it. False when none has it,
// or when it does not load; `rReason` then says why.
bool LoadFromFolders(const std::string& name, std::string& rReason)
{
    std::vector<std::string> folders = sGivenFolders;
    for (const std::string& folder : GetFolderList(FOLDERS_VARIABLE)) {
        folders.push_back(folder);
    }
    for (const std::string& folder : folders) {
        if (LoadLibraryFrom(folder, name + "_Release", rReason)) {
            sFolderOf.emplace(name, folder);
            return true;
        }
        if (!rReason.empty()) {
            return false;
        }
    }
    return false;
}

[[noreturn]] void RefuseWithoutClasses(const std::string& name)
{
    throw Trouble("Failed to load module '" + name + "' - its library has no classes under that name; " +
                  "check the name that its classes give to QBASE_IMPLEMENT");
}

} // namespace

void AddModuleOptions(const Command& command, ModuleOptions& rOptions, const std::string& more)
{
    command.AddRepeatable("--module", rOptions.mModules, "Load this module first (repeatable)" + more)
        .SetTypeName("NAME");
    command
        .AddRepeatable(
            "--module-path", rOptions.mFolders,
            std::string("Look for modules in this folder first (repeatable), then in those that the "
                        "variable ") +
                FOLDERS_VARIABLE + " lists")
        .SetTypeName("FOLDER");
}

void LoadModules(const ModuleOptions& options)
{
    for (const std::string& folder : options.mFolders) {
        if (!IsFolder(folder)) {
            throw Trouble("Failed to look for modules in '" + ToPrintable(folder) +
                          "' - there is no such folder; check the path");
        }
    }
    sGivenFolders = options.mFolders;
    for (const std::string& module : options.mModules) {
        RequireModule(module);
    }
}

bool IsModuleName(const std::string& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char character) {
        return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
               (character >= '0' && character <= '9') || character == '_' || character == '-';
    });
}

Table* RequireModule(const std::string& name)
{
    if (!IsModuleName(name)) {
        throw Trouble(
            "Failed to load module " + Quote(name) +
            " - a module's name has letters, digits, '_' and '-' only; give the name without a folder, which "
            "--module-path takes, and without \"_Release\"");
    }
    Messages messages;
    std::string reason;
    if (!IsLoaded(name) && LoadFromFolders(name, reason) && !IsLoaded(name)) {
        RefuseWithoutClasses(name);
    }
    if (!reason.empty()) {
        throw Trouble("Failed to load module '" + name + "': " + reason +
                      "; build it again, or name another folder by --module-path");
    }
    Table* const pModule = LoadModule(name.c_str());
    if (pModule != nullptr) {
        messages.Print();
        return pModule;
    }
    for (const Message& message : messages.Take()) {
        throw Trouble(message.mText + "; put the module's library (" + name +
                      "_Release) beside the program quirl, or where the system looks for libraries, or say "
                      "--module-path FOLDER for the folder it is in");
    }
    RefuseWithoutClasses(name);
}

bool TryModule(const std::string& name)
{
    if (!IsModuleName(name)) {
        return false;
    }
    const Messages unheard;
    std::string reason;
    if (!IsLoaded(name)) {
        LoadFromFolders(name, reason);
    }
    return reason.empty() && LoadModule(name.c_str()) != nullptr;
}

std::string GetModuleFolder(const std::string& name)
{
    const auto found = sFolderOf.find(name);
    return found != sFolderOf.end() ? found->second : std::string();
}

} // namespace Quirl
