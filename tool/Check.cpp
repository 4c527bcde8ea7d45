// quirl check: whether files load, and what is wrong with them.

#include "Commands.h"
#include "Graph.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"
#include "Text.h"

#include <algorithm>
#include <memory>

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"(Prints every warning and error as FILE: warning: TEXT (PLACE), and FILE: ok, N objects for a file that
loads. PLACE is the object's path and the line in XML, the object's number, counted from 0, in binary.
Exit codes: 0 all files load without a warning, 1 some load with warnings, 2 some do not load.

Example:
  quirl check levels/*.QXml levels/*.qobj)";

struct CheckOptions
{
    std::vector<std::string> mPaths;
    InputOptions mInput;
};

int CheckInput(const std::string& path, const Input& input, Output& rOutput)
{
    int exitCode = EXIT_FINE;
    for (const Message& message : input.GetMessages()) {
        rOutput.WriteLine(
            ToPrintable(path + ": " + GetKindName(message.mKind) + ": " + DescribeMessage(message)));
        exitCode = EXIT_FOUND;
    }
    if (input.GetRoot() == nullptr) {
        rOutput.WriteLine(
            ToPrintable(path + ": error: Failed to load as " + GetFormatName(input.GetFormat())));
        return EXIT_TROUBLE;
    }
    const Graph graph(input.GetRoot());
    rOutput.WriteLine(ToPrintable(path + ": " + (exitCode == EXIT_FINE ? "ok" : "loads with warnings") +
                                  ", " + GetFormatName(input.GetFormat()) + ", " +
                                  std::to_string(graph.GetSize()) + " objects, " +
                                  std::to_string(input.GetSize()) + " bytes"));
    return exitCode;
}

// A file that is no graph file at all must not keep the others from being checked.
int CheckPath(const std::string& path, const InputOptions& options, Output& rOutput)
{
    try {
        return CheckInput(path, Input(path, options), rOutput);
    } catch (const Trouble& trouble) {
        rOutput.WriteLine(ToPrintable(path) + ": error: " + trouble.what());
        return EXIT_TROUBLE;
    }
}

int RunCheck(const CheckOptions& options)
{
    Output output;
    int exitCode = EXIT_FINE;
    for (const std::string& path : options.mPaths) {
        exitCode = std::max(exitCode, CheckPath(path, options.mInput, output));
    }
    output.Finish();
    return exitCode;
}

} // namespace

void AddCheck(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("check", "Load files and report every warning and error");
    const auto pOptions = std::make_shared<CheckOptions>();
    command.AddArguments("FILE", pOptions->mPaths, "The files; - for standard input").Require();
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunCheck(*pOptions); });
}

} // namespace Quirl
