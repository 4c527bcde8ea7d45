// quirl graph: a graph as a drawing, by Graphviz.

#include "Commands.h"
#include "Graph.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"
#include "Save.h"
#include "System.h"
#include "Text.h"

#include "QBase/Enum.h"
#include "QBase/SystemFile.h"

#include <memory>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] = R"(Prints the text that Graphviz draws: a box per object, an arrow per reference.

Examples:
  quirl graph solar.QXml --svg solar.svg
  quirl graph scene.qobj | dot -Tpng -o scene.png)";

struct GraphOptions
{
    std::string mPath;
    InputOptions mInput;
    std::string mSvg;
};

constexpr std::size_t MAX_TEXT = 40; // bytes of a value in a box

// Within the quotes of a label a backslash begins a code of Graphviz; ToPrintable makes some, too.
std::string EscapeLabel(const std::string& text)
{
    std::string escaped;
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

// Cuts between two characters, not within one.
std::string Shorten(std::string text)
{
    if (text.size() <= MAX_TEXT) {
        return text;
    }
    std::size_t end = MAX_TEXT;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end) + "...";
}

std::string MakeLabel(Object* pObject)
{
    std::string label = EscapeLabel(ToPrintable(GetFullClassName(pObject)));
    ForEachPlainProperty(pObject, [&](const String& name, Property* pProperty) {
        const std::string text = pProperty->IsArray()
                                     ? std::to_string(pProperty->GetSize(pObject)) + " elements"
                                     : ToText(pProperty->Get(pObject), pProperty->GetEnumInfo());
        label += "\\l" + EscapeLabel(ToPrintable(name.c_str()) + " = " + Shorten(text));
    });
    return label + "\\l"; // each line ends flush left
}

std::string MakeNode(const Graph& graph, std::size_t number)
{
    std::string text =
        "  o" + std::to_string(number) + " [label=\"" + MakeLabel(graph.GetObject(number)) + "\"];\n";
    for (const Reference& reference : graph.GetReferences(number)) {
        if (reference.mTarget != Reference::NOTHING) {
            text += "  o" + std::to_string(number) + " -> o" + std::to_string(reference.mTarget) +
                    " [label=\"" + EscapeLabel(ToPrintable(reference.GetLabel())) + "\"";
            text += reference.mbFirst ? "];\n" : ", style=dashed];\n";
        }
    }
    return text;
}

std::string MakeDrawing(const Graph& graph)
{
    Progress progress("Drawing objects", graph.GetSize());
    std::string text = "digraph {\n  rankdir=LR;\n  node [shape=box, fontname=\"sans-serif\"];\n"
                       "  edge [fontname=\"sans-serif\"];\n";
    for (std::size_t number = 0; number < graph.GetSize(); ++number) {
        text += MakeNode(graph, number);
        progress.SetDone(number + 1);
    }
    return text + "}\n";
}

// Runs dot, which writes to the file, or to our standard output when there is none.
void RunDot(const std::string& path, const std::string& drawing, SystemFile* pFile)
{
    const Progress progress("Running dot");
    std::vector<std::string> words = {"dot", "-Tsvg"};
    if (pFile != nullptr) {
        words.insert(words.end(), {"-o", pFile->GetFilename().c_str()});
    }
    if (RunProgram(words, drawing) != 0) {
        throw Trouble(
            "Failed to draw " + GetDisplayName(path) +
            " - the program dot cannot be run or failed; install the package graphviz, or do without "
            "--svg and give the text to another program");
    }
}

void SaveSvg(const std::string& path, const std::string& drawing)
{
    if (path == "-") {
        RunDot(path, drawing, nullptr);
        return;
    }
    SaveFile(path, [&](SystemFile* pFile) {
        RunDot(path, drawing, pFile);
        return true;
    });
}

int RunGraph(const GraphOptions& options)
{
    const Input input(options.mPath, options.mInput);
    const Graph graph(RequireRoot(input));
    const std::string drawing = MakeDrawing(graph);
    if (options.mSvg.empty()) {
        SaveToStandardOutput(drawing);
    } else {
        SaveSvg(options.mSvg, drawing);
    }
    return EXIT_FINE;
}

} // namespace

void AddGraph(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("graph", "Draw the objects of a file with Graphviz");
    const auto pOptions = std::make_shared<GraphOptions>();
    command.AddOption("FILE", pOptions->mPath, "The file; - for standard input").Require();
    command
        .AddOption("--svg", pOptions->mSvg,
                   "Run dot and write its drawing to this file; - for standard output")
        .SetTypeName("OUT");
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunGraph(*pOptions); });
}

} // namespace Quirl
