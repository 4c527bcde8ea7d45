#include "QBase/Config.h"

#include "QBase/Error.h"

namespace QBase
{

Config::Config(const NarrowString& commandLine) : mCommandLine(commandLine)
{
    Info("CommandLine: %s", mCommandLine.c_str());
}

bool Config::HasCommandLineParameter(const NarrowString& name) const
{
    return mCommandLine.find(name) != NarrowString::npos;
}

NarrowString Config::GetCommandLineParameterValue(const NarrowString& name) const
{
    const std::size_t found = mCommandLine.find(name);
    if (found == NarrowString::npos) {
        return NarrowString();
    }

    const std::size_t end = mCommandLine.size();
    std::size_t start = mCommandLine.find_first_not_of(' ', found + name.size());
    if (start < end && mCommandLine[start] == '=') {
        start = mCommandLine.find_first_not_of(' ', start + 1);
    }
    if (start >= end || mCommandLine[start] == '-') { // at the end, or at the next parameter
        return NarrowString();
    }
    return mCommandLine.substr(start, mCommandLine.find(' ', start) - start);
}

} // namespace QBase
