// Save.h writes what a command makes: to a file, which is replaced whole or not at all, or to standard
// output.

#pragma once

#include "Input.h"

#include "QBase/FileReplacement.h"
#include "QBase/String.h"

#include <functional>
#include <string>

namespace Quirl
{

/// The bytes of a file of the graph. `name` is what it is called in messages. Throws Trouble for a value that
/// the format has no form for.
std::string Serialize(QBase::Object* pRoot, Format format, const std::string& name);

/// Replaces the file by `bytes`. Throws Trouble when that failed; the file is as it was then.
void SaveFile(const std::string& path, const std::string& bytes);

/// The same with what `write` puts into the replacement, which is open and empty. `write` answers whether it
/// did.
void SaveFile(const std::string& path, const std::function<bool(QBase::SystemFile*)>& write);

/// Writes `bytes` and nothing else.
void SaveToStandardOutput(const std::string& bytes);

} // namespace Quirl
