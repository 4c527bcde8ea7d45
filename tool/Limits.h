// Limits.h: what a file or a source may cost, as the command line says it.
//
//     LimitOptions options;
//     AddLimitOptions(command, options);
//     pSerializer->SetLimits(MakeLimits(options));
//
// Files come from anywhere, so objects of classes that act on files, threads or connections are made for
// those only that the user trusts.

#pragma once

#include "CommandLine.h"

#include "QBase/LoadLimits.h"

#include <string>
#include <vector>

namespace Quirl
{

struct LimitOptions
{
    std::vector<std::string> mLimits; // NAME=N
    std::vector<std::string> mClasses;
    bool mbTrusted = false;
};

/// --limit and --allow-class.
void AddLimitOptions(const Command& command, LimitOptions& rOptions);

/// Throws Trouble for a limit that does not exist.
QBase::LoadLimits MakeLimits(const LimitOptions& options);

} // namespace Quirl
