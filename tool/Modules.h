// Modules.h loads modules for the commands, safely: a name may come from a file that somebody sent.
//
//     ModuleOptions options;                  // filled by the command line
//     AddModuleOptions(command, options);
//     ...
//     LoadModules(options);
//     Table* const pModule = RequireModule("Solar");
//
// Libraries are looked for in the folders that the user names, on the command line and then in the variable
// QUIRL_MODULE_PATH, before they are looked for where every program looks.

#pragma once

#include "CommandLine.h"

#include <string>
#include <vector>

namespace QBase
{
class Table;
}

namespace Quirl
{

struct ModuleOptions
{
    std::vector<std::string> mModules;
    std::vector<std::string> mFolders;
};

/// --module and --module-path. `more` goes on where the help says that --module loads a module first.
void AddModuleOptions(const Command& command, ModuleOptions& rOptions, const std::string& more = {});

/// Looks for modules in these folders from now on, and loads these. Throws Trouble for a folder that is none
/// and as RequireModule does.
void LoadModules(const ModuleOptions& options);

/// Whether the name is one: letters, digits, "_" and "-" only, so it cannot lead to another folder.
bool IsModuleName(const std::string& name);

/// The classes of the module, which is loaded when needed. Throws Trouble for a name that is none, a module
/// that cannot be loaded and one that has no classes. Borrowed.
QBase::Table* RequireModule(const std::string& name);

/// Loads the module if the name is one and its library is found. Says nothing otherwise.
bool TryModule(const std::string& name);

/// The folder, among those that the user named, that the module was loaded from; empty for any other.
std::string GetModuleFolder(const std::string& name);

} // namespace Quirl
