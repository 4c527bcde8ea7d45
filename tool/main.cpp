// quirl shows, converts, compares, checks and serves files of object graphs. Each subcommand has a source
// unit of its own; see Commands.h.

#include "Commands.h"
#include "ManualPage.h"
#include "Output.h"
#include "Report.h"
#include "System.h"
#include "Text.h"

#include "QBase/Global.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace
{

constexpr char DESCRIPTION[] = "Shows, converts, compares, checks and serves files of object graphs.";

constexpr char FOOTER[] = R"(Examples:
  quirl show solar.QXml                  what is in a file
  quirl convert solar.QXml solar.qobj    XML to binary; a path with "QXml" in it means XML
  quirl diff solar.QXml solar.qobj       whether two files hold the same graph
  quirl new-module Rocket --class Engine --property thrust:float --function Start
                                         a module to begin with, and its test

FILE may be "-" for standard input. `quirl COMMAND --help` tells more about a command.
Exit codes: 0 fine, 1 found something (diff, check, annotate, conform), 2 trouble.)";

std::string MakeVersion()
{
    return "quirl " + std::to_string(QBase::g_VersionMajor) + "." + std::to_string(QBase::g_VersionMinor);
}

void AddCommands(CLI::App& rApp, int& rExitCode)
{
    rApp.name("quirl");
    rApp.footer(FOOTER);
    rApp.set_version_flag("--version", MakeVersion(), "Print the version and end");
    rApp.require_subcommand(1);
    rApp.get_formatter()->column_width(28);
    const Quirl::Command program(rApp);
    Quirl::AddShow(program, rExitCode);
    Quirl::AddConvert(program, rExitCode);
    Quirl::AddDiff(program, rExitCode);
    Quirl::AddCheck(program, rExitCode);
    Quirl::AddAnnotate(program, rExitCode);
    Quirl::AddClasses(program, rExitCode);
    Quirl::AddConform(program, rExitCode);
    Quirl::AddGraph(program, rExitCode);
    Quirl::AddServe(program, rExitCode);
    Quirl::AddWatch(program, rExitCode);
    Quirl::AddNewModule(program, rExitCode);
}

// For those who build packages: the help does not speak of it.
void AddManualPage(CLI::App& rApp)
{
    rApp.add_flag_callback(
            "--manual-page",
            [&rApp] {
                Quirl::Output output;
                output.Write(Quirl::MakeManualPage(rApp));
                output.Finish();
                throw CLI::Success();
            },
            "Print the manual page and end")
        ->group("")
        ->trigger_on_parse();
}

std::string DescribeMistake(const CLI::App* pApp, const CLI::Error& error)
{
    const std::vector<std::string> rest = pApp->remaining();
    const bool bNoCommand =
        pApp->get_subcommands().empty() && !rest.empty() && !rest.front().starts_with("-");
    return "quirl: error: " + (bNoCommand ? "There is no command '" + rest.front() + "'" : error.what()) +
           "\nRun with --help for more information.\n";
}

int Run(const std::vector<std::string>& words)
{
    CLI::App app(DESCRIPTION);
    app.failure_message(&DescribeMistake);
    int exitCode = Quirl::EXIT_FINE;
    AddCommands(app, exitCode);
    AddManualPage(app);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend())); // it takes them from the back
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Quirl::EXIT_FINE : Quirl::EXIT_TROUBLE; // help is no error
    }
    return exitCode;
}

int Fail(const std::string& text)
{
    std::fflush(stdout);
    Quirl::PrintMessage({Quirl::Message::ERROR, text, {}});
    return Quirl::EXIT_TROUBLE;
}

} // namespace

int Quirl::RunTool(const std::vector<std::string>& words)
{
    try {
        return Run(words);
    } catch (const std::bad_alloc&) {
        return Fail("Failed for lack of memory; close other programs or use a machine with more");
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
}
