// quirl diff: whether two files hold the same graph, and where not.

#include "Commands.h"
#include "Compare.h"
#include "Graph.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"
#include "Text.h"

#include <memory>

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"(Prints the difference nearest to the root, as "PATH: what A has | what B has", or all of them. The order of
properties and of table entries does not matter, the order of list items and the sharing of objects does.
Exit codes: 0 the graphs are equal, 1 they differ, 2 trouble.

Examples:
  quirl diff solar.QXml solar.qobj && echo the same
  quirl diff --all yesterday.qobj today.qobj)";

struct DiffOptions
{
    std::string mFirst;
    std::string mSecond;
    InputOptions mInput;
    bool mbAll = false;
};

int RunDiff(const DiffOptions& options)
{
    if (options.mFirst == "-" && options.mSecond == "-") {
        throw Trouble("Failed to compare standard input with itself; name a file for A or for B");
    }
    const Input firstInput(options.mFirst, options.mInput);
    const Graph first(RequireRoot(firstInput));
    const Input secondInput(options.mSecond, options.mInput);
    const Graph second(RequireRoot(secondInput));

    Output output;
    const bool bEqual = Compare(first, second, [&](const Difference& difference) {
        output.WriteLine(
            ToPrintable(difference.mPath + ": " + difference.mFirst + " | " + difference.mSecond));
        return options.mbAll;
    });
    output.Finish();
    return bEqual ? EXIT_FINE : EXIT_FOUND;
}

} // namespace

void AddDiff(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("diff", "Compare the graphs of two files");
    const auto pOptions = std::make_shared<DiffOptions>();
    command.AddOption("A", pOptions->mFirst, "The first file; - for standard input").Require();
    command.AddOption("B", pOptions->mSecond, "The second file; - for standard input").Require();
    command.AddFlag("--all", pOptions->mbAll, "Print all differences, not only the first");
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunDiff(*pOptions); });
}

} // namespace Quirl
