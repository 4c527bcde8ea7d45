// Commands.h: the subcommands of quirl, each in the source unit of its name (graph: Drawing.cpp, new-module:
// CreateModule.cpp). AddNAME
// describes the command to the command line and says what runs when it is asked for; the result of the run
// goes to `rExitCode`.

#pragma once

namespace CLI
{
class App;
}

namespace Quirl
{

void AddShow(CLI::App& rApp, int& rExitCode);
void AddConvert(CLI::App& rApp, int& rExitCode);
void AddDiff(CLI::App& rApp, int& rExitCode);
void AddCheck(CLI::App& rApp, int& rExitCode);
void AddClasses(CLI::App& rApp, int& rExitCode);
void AddAnnotate(CLI::App& rApp, int& rExitCode);
void AddConform(CLI::App& rApp, int& rExitCode);
void AddGraph(CLI::App& rApp, int& rExitCode);
void AddServe(CLI::App& rApp, int& rExitCode);
void AddWatch(CLI::App& rApp, int& rExitCode);
void AddNewModule(CLI::App& rApp, int& rExitCode);

} // namespace Quirl
