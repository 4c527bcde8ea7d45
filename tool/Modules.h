// Modules.h loads modules for the commands, safely: a name may come from a file that somebody sent.

#pragma once

#include <string>

namespace QBase
{
class Table;
}

namespace Quirl
{

/// Whether the name is one: letters, digits, "_" and "-" only, so it cannot lead to another folder.
bool IsModuleName(const std::string& name);

/// The classes of the module, which is loaded when needed. Throws Trouble for a name that is none, a module
/// that cannot be loaded and one that has no classes. Borrowed.
QBase::Table* RequireModule(const std::string& name);

/// Loads the module if the name is one and its library is found. Says nothing otherwise.
bool TryModule(const std::string& name);

} // namespace Quirl
