// LoadModuleLibrary finds and loads the library file of a module.

#pragma once

#include "QBase/String.h"

#include <string>

namespace QBase
{

/// Loads `name`_Release from the program's directory, the library's own, the system's search path or, last,
/// the working directory; each time first under the plain name, then under the system's usual prefix. Its
/// registrars run. False when nothing could be loaded; `rErrorText` then says why: what is wrong with the
/// first file that exists, or else what the last attempt said.
bool LoadModuleLibrary(const String& name, std::string& rErrorText);

} // namespace QBase
