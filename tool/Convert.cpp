// quirl convert: a graph from one format to the other.

#include "Commands.h"
#include "Compare.h"
#include "Graph.h"
#include "Input.h"
#include "Report.h"
#include "Save.h"
#include "System.h"
#include "Text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"(The format is that of OUT's path: one with "QXml" in it means XML, every other one binary. What was written is
read back and compared; OUT is replaced whole or not at all.

Examples:
  quirl convert solar.QXml solar.qobj
  quirl convert scene.qobj - --to xml | less
  download | quirl convert - scene.qobj)";

struct ConvertOptions
{
    std::string mIn;
    std::string mOut;
    InputOptions mInput;
    std::string mTo;
    bool mbLossy = false;
};

void Warn(const std::string& text)
{
    PrintMessage({Message::WARNING, text, {}});
}

// Says what the new bytes no longer hold. (XML rounds the components of vectors to six decimals.)
void ReportRounding(const Graph& graph, const std::string& bytes, Format format,
                    const ConvertOptions& options)
{
    const Input written(options.mOut, bytes, format, options.mInput);
    if (written.GetRoot() == nullptr) {
        RequireRoot(written); // throws, and says why
    }
    std::size_t numDifferences = 0;
    Difference first;
    const Graph writtenGraph(written.GetRoot());
    Compare(graph, writtenGraph, [&](const Difference& difference) {
        if (++numDifferences == 1) {
            first = difference;
        }
        return true;
    });
    if (numDifferences > 0) {
        Warn(std::to_string(numDifferences) + " values are not kept exactly by the format " +
             GetFormatName(format) + ", the first is " + first.mPath + ": " + first.mFirst + " becomes " +
             first.mSecond);
    }
}

void CheckOutput(const ConvertOptions& options, Format format)
{
    if (options.mOut == "-" && format == Format::BINARY && IsTerminal(stdout)) {
        throw Trouble("Failed to write binary to the terminal; say --to xml, or name a file");
    }
}

bool EndsLikeXml(std::string path)
{
    std::transform(path.begin(), path.end(), path.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return path.ends_with("xml");
}

// Programs read a file as the format that its path says, whatever is in it.
void WarnOfMisleadingPath(const ConvertOptions& options, Format format)
{
    if (options.mOut == "-") {
        return;
    }
    const std::string name = GetDisplayName(options.mOut);
    if (GetFormatOfPath(options.mOut) != format) {
        Warn("Programs that load " + name + " by its path take it for " +
             GetFormatName(GetFormatOfPath(options.mOut)) +
             "; a path with \"QXml\" in it means XML, any other binary");
    } else if (format == Format::BINARY && options.mTo.empty() && EndsLikeXml(options.mOut)) {
        Warn(name + " is binary, for only a path with \"QXml\" in it means XML; name it so, or say --to xml");
    }
}

int RunConvert(const ConvertOptions& options)
{
    const Format format = options.mTo.empty() ? GetFormatOfPath(options.mOut) : FindFormat(options.mTo);
    CheckOutput(options, format);
    const Input input(options.mIn, options.mInput);
    const Graph graph(RequireRoot(input));
    if (input.HasLostValues() && !options.mbLossy) {
        throw Trouble("Failed to convert " + GetDisplayName(options.mIn) +
                      " - the values warned about above would be lost; load the modules that they were saved "
                      "with, or say --lossy to do without them");
    }
    const std::string bytes = Serialize(graph.GetObject(0), format, GetDisplayName(options.mOut));
    ReportRounding(graph, bytes, format, options);
    if (options.mOut == "-") {
        SaveToStandardOutput(bytes);
    } else {
        SaveFile(options.mOut, bytes);
    }
    WarnOfMisleadingPath(options, format);
    return EXIT_FINE;
}

} // namespace

void AddConvert(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("convert", "Convert a file to XML or binary");
    const auto pOptions = std::make_shared<ConvertOptions>();
    command.AddOption("IN", pOptions->mIn, "The file to read; - for standard input").Require();
    command.AddOption("OUT", pOptions->mOut, "The file to write; - for standard output").Require();
    command.AddOption("--to", pOptions->mTo, "The format to write, whatever OUT is called")
        .AllowOnly({"xml", "binary"});
    command.AddFlag("--lossy", pOptions->mbLossy,
                    "Convert even when values of the file have no place in its classes");
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunConvert(*pOptions); });
}

} // namespace Quirl
