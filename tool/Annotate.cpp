// quirl annotate: what every byte of a file or a captured stream means.

#include "Annotation.h"
#include "Commands.h"
#include "Input.h"
#include "Modules.h"
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
    R"TEXT(FILE is a binary file, what `quirl watch --capture` wrote, or one direction of a connection of QNet; --as says which
when the first bytes do not tell. Prints offset, bytes and meaning side by side. In a damaged file it goes as far as a
reader would, and says where and why it stops. Nothing in the file is constructed.
Exit codes: 0 every byte is understood, 1 it stops before the end, 2 trouble.

Examples:
  quirl annotate solar.qobj
  quirl watch localhost:4711 --capture frames.bin --quiet
  quirl annotate --json frames.bin)TEXT";

constexpr std::size_t BYTES_PER_LINE = 16;
constexpr int COLUMN = 3 * BYTES_PER_LINE; // where the meaning begins, behind the offset

struct AnnotateOptions
{
    std::string mPath;
    std::string mForm;
    ModuleOptions mModules;
    bool mbGivenModulesOnly = false;
    bool mbJson = false;
};

std::string MakeHex(std::string_view bytes)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const char character : bytes) {
        const unsigned char byte = static_cast<unsigned char>(character);
        text += text.empty() ? "" : " ";
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

std::string MakeOffset(std::size_t offset)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += DIGITS[offset >> shift & 15];
    }
    return text;
}

// One line for each 16 bytes, with the meaning beside the first.
void PrintLines(Output& rOutput, std::string_view bytes, const Note& note)
{
    std::string meaning = std::string(2 * static_cast<std::size_t>(note.mDepth), ' ') + note.mMeaning;
    std::size_t done = 0;
    do {
        const std::string_view line =
            bytes.substr(note.mOffset + done, std::min(BYTES_PER_LINE, note.mSize - done));
        std::string text = MakeHex(line);
        if (!meaning.empty()) {
            text.resize(COLUMN, ' ');
        }
        rOutput.WriteLine(MakeOffset(note.mOffset + done) + "  " + text + meaning);
        meaning.clear();
        done += line.size();
    } while (done < note.mSize);
}

void PrintJson(Output& rOutput, std::string_view bytes, const Note& note)
{
    rOutput.WriteLine(Json({{"offset", note.mOffset},
                            {"size", note.mSize},
                            {"depth", note.mDepth},
                            {"bytes", MakeHex(bytes.substr(note.mOffset, note.mSize))},
                            {"meaning", note.mMeaning}})
                          .dump());
}

void PrintEnding(Output& rOutput, std::string_view bytes, const Ending& ending, bool bJson)
{
    const std::size_t remaining = bytes.size() - ending.mOffset;
    if (bJson) {
        rOutput.WriteLine(
            Json({{"offset", ending.mOffset}, {"unread", remaining}, {"stop", ending.mTrouble}}).dump());
    } else {
        rOutput.WriteLine(MakeOffset(ending.mOffset) + "  stops here: " + ending.mTrouble + " (" +
                          std::to_string(remaining) +
                          " bytes not understood: " + MakeHex(bytes.substr(ending.mOffset, BYTES_PER_LINE)) +
                          (remaining > BYTES_PER_LINE ? " ..." : "") + ")");
    }
}

ByteForm ChooseForm(const AnnotateOptions& options, std::string_view bytes)
{
    if (!options.mForm.empty()) {
        return options.mForm == "file"     ? ByteForm::FILE
               : options.mForm == "frames" ? ByteForm::FRAMES
                                           : ByteForm::CONNECTION;
    }
    const ByteForm form = RecogniseBytes(bytes);
    if (form == ByteForm::UNKNOWN) {
        const std::string name = GetDisplayName(options.mPath);
        throw Trouble("Failed to recognise the bytes of " + name + " - " +
                      (bytes.empty() ? "there are none; check the path"
                       : bytes.find_first_not_of(" \t\r\n\xEF\xBB\xBF") != bytes.npos &&
                               bytes[bytes.find_first_not_of(" \t\r\n\xEF\xBB\xBF")] == '<'
                           ? "it is XML, which is a text already; 'quirl convert' makes a binary file of it"
                           : "they begin neither as a file nor as frames nor as a connection; say --as file, "
                             "--as frames or --as connection"));
    }
    return form;
}

int RunAnnotate(const AnnotateOptions& options)
{
    LoadModules(options.mModules);
    const std::string bytes = ReadInput(options.mPath);
    const ByteForm form = ChooseForm(options, bytes);
    Output output;
    const auto print = [&](const Note& note) {
        if (options.mbJson) {
            PrintJson(output, bytes, note);
        } else {
            PrintLines(output, bytes, note);
        }
    };
    const Ending ending = Annotate(bytes, form, !options.mbGivenModulesOnly, print);
    if (!ending.mTrouble.empty()) {
        PrintEnding(output, bytes, ending, options.mbJson);
    }
    output.Finish();
    return ending.mTrouble.empty() ? EXIT_FINE : EXIT_FOUND;
}

} // namespace

void AddAnnotate(const Command& program, int& rExitCode)
{
    const Command command =
        program.AddCommand("annotate", "Print every byte of a binary file or stream with its meaning");
    const auto pOptions = std::make_shared<AnnotateOptions>();
    command.AddOption("FILE", pOptions->mPath, "The file; - for standard input").Require();
    command.AddOption("--as", pOptions->mForm, "What the bytes are, instead of recognising it")
        .AllowOnly({"file", "frames", "connection"});
    command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs: a line for each note");
    AddModuleOptions(command, pOptions->mModules);
    command.AddFlag("--given-modules-only", pOptions->mbGivenModulesOnly,
                    "Load no module that only the file names");
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunAnnotate(*pOptions); });
}

} // namespace Quirl
