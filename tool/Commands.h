// Commands.h: the subcommands of quirl, each in the source unit of its name (graph: Drawing.cpp, new-module:
// CreateModule.cpp). AddNAME
// describes the command to the command line and says what runs when it is asked for; the result of the run
// goes to `rExitCode`.

#pragma once

#include "CommandLine.h"

namespace Quirl
{

void AddShow(const Command& program, int& rExitCode);
void AddConvert(const Command& program, int& rExitCode);
void AddDiff(const Command& program, int& rExitCode);
void AddCheck(const Command& program, int& rExitCode);
void AddClasses(const Command& program, int& rExitCode);
void AddAnnotate(const Command& program, int& rExitCode);
void AddConform(const Command& program, int& rExitCode);
void AddGraph(const Command& program, int& rExitCode);
void AddServe(const Command& program, int& rExitCode);
void AddWatch(const Command& program, int& rExitCode);
void AddNewModule(const Command& program, int& rExitCode);

} // namespace Quirl
