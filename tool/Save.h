// Save.h writes what a command makes: to a file, which is replaced whole or not at all, or to standard
// output.

#pragma once

#include "QBase/String.h"

#include <string>

namespace Quirl
{

/// Replaces the file by `bytes`. Throws Trouble when that failed; the file is as it was then.
void SaveFile(const std::string& path, const std::string& bytes);

/// The path for the library. Throws Trouble for one that is no UTF-8, which would name another file there.
QBase::String MakePath(const std::string& path);

/// Writes `bytes` and nothing else.
void SaveToStandardOutput(const std::string& bytes);

/// What to do about a file that cannot be written, for the ends of messages.
extern const char* const SAVE_ADVICE;

} // namespace Quirl
