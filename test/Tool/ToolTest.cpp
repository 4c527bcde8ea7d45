#include "Support/ToolFixture.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Global.h"
#include "QBase/Object.h"
#include "QBase/Table.h"
#include "Support/Effort.h"
#include "Support/Paths.h"
#include "Support/System.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// --- The command line ---

namespace
{

// The commands as the tool's help lists them.
std::vector<std::string> ReadCommands(const std::string& help)
{
    std::vector<std::string> commands;
    std::istringstream lines(help.substr(help.find("\nSubcommands:\n") + 1));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line.starts_with("  ")) {
        const std::string name = line.substr(2, line.find(' ', 2) - 2);
        if (!name.empty()) { // else the description goes on
            commands.push_back(name);
        }
    }
    return commands;
}

} // namespace

TEST_F(ToolTest, EveryCommandHasHelpWithAnExampleThatCallsIt)
{
    const Outcome all = Quirl({"--help"});
    EXPECT_EQ(all.mExitCode, 0);
    EXPECT_THAT(all.mOutput, HasSubstr("\nExamples:\n  quirl "));
    const std::vector<std::string> commands = ReadCommands(all.mOutput);
    EXPECT_THAT(commands, testing::IsSupersetOf({"show", "convert", "diff", "check", "classes", "conform",
                                                 "graph", "serve", "watch", "annotate", "new-module"}));
    for (const std::string& command : commands) {
        const Outcome result = Quirl({command, "--help"});
        EXPECT_EQ(result.mExitCode, 0) << command;
        const std::size_t examples = result.mOutput.find("\nExample");
        ASSERT_NE(examples, result.mOutput.npos) << command;
        EXPECT_THAT(result.mOutput.substr(examples), HasSubstr("\n  quirl " + command + " ")) << command;
        EXPECT_THAT(result.mErrors, IsEmpty()) << command;
    }
    EXPECT_EQ(Quirl({"--version"}).mOutput, "quirl 2.1\n");
}

TEST_F(ToolTest, AWrongCommandLineIsTroubleAndPrintsNothing)
{
    const auto mistake = [&](const std::vector<std::string>& words) {
        const Outcome result = Quirl(words);
        EXPECT_EQ(result.mExitCode, 2);
        EXPECT_THAT(result.mOutput, IsEmpty());
        EXPECT_THAT(result.mErrors, EndsWith("\nRun with --help for more information.\n"));
        return result.mErrors;
    };
    EXPECT_THAT(mistake({}), StartsWith("quirl: error: A subcommand is required\n"));
    EXPECT_THAT(mistake({"fly"}), StartsWith("quirl: error: There is no command 'fly'\n"));
    EXPECT_THAT(mistake({"show"}), StartsWith("quirl: error: FILE is required\n"));
    EXPECT_THAT(mistake({"convert", "a", "b", "--to", "yaml"}), HasSubstr("--to"));
    mistake({"--fly"});
    mistake({""});
}

// --- show ---

TEST_F(ToolTest, ShowPrintsValuesThenReferencesAndMarksSharingAndCycles)
{
    WriteSmall();
    const Outcome result = Quirl({"show", "small.QXml"});
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mErrors, IsEmpty());
    EXPECT_THAT(result.mOutput, StartsWith("root: QBase.Table #0\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Note = \"tab\\t\\\"quote\\\" \\\\ ü\" (dynamic)\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Sizes = [3, -4] (dynamic)\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Place = (1, 0.5) (dynamic)\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Tint = 0x44332211 (dynamic)\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Self: -> #0 (cycle)\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  [nobody]: null\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  [crew]: QBase.List\n"
                                          "    [0]: QBase.Object #2\n"
                                          "      Rate = 0.1 (dynamic)\n"
                                          "    [1]: null\n"
                                          "    [2]: -> #2\n"));
}

TEST_F(ToolTest, ShowAsJsonIsOneDocumentWithANumberForEachObject)
{
    WriteSmall();
    const Outcome result = Quirl({"show", "--json", "small.QXml"});
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput, StartsWith("{\"format\": \"xml\", \"root\": 0, \"objects\": [\n{\"id\":0,"
                                           "\"module\":\"QBase\",\"class\":\"Table\",\"properties\":["));
    EXPECT_THAT(
        result.mOutput,
        HasSubstr("{\"name\":\"Note\",\"type\":\"String\",\"dynamic\":true,\"value\":\"tab\\t\\\"quote\\\" "
                  "\\\\ ü\"}"));
    EXPECT_THAT(result.mOutput,
                HasSubstr("{\"name\":\"Sizes\",\"type\":\"int\",\"dynamic\":true,\"values\":[3,-4]}"));
    EXPECT_THAT(result.mOutput,
                HasSubstr("{\"name\":\"Self\",\"type\":\"Object\",\"dynamic\":true,\"value\":0}"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"value\":[17,34,51,68]}"));
    EXPECT_THAT(result.mOutput, HasSubstr("{\"name\":\"nobody\",\"object\":null}"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"items\":[2,null,2]}"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"value\":0.1}"));
    EXPECT_THAT(result.mOutput, EndsWith("\n]}\n"));
}

TEST_F(ToolTest, ShowPrintsValuesOfEveryType)
{
    const std::pair<const char*, Value> values[] = {
        {"Flag", Value(true)},
        {"Off", Value(false)},
        {"Lines", Value("a\nb\r")},
        {"V3", Value(Vector3(1, 2, 3.5f))},
        {"V4", Value(Vector4(1, 2, 3, 4.5f))},
        {"V2i", Value(Vector2i(1, -2))},
        {"V3i", Value(Vector3i(1, -2, 3))},
        {"V4i", Value(Vector4i(1, -2, 3, -4))},
        {"Turn", Value(Quaternion(0, 0, 0.5f, 1))},
        {"Tint", Value(Color(1, 2, 3, 4))},
    };
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (const auto& [pName, value] : values) {
        pObject->AddPropertyValueFromValue(pName, value);
    }
    Save(pObject, "values");
    const std::string text = Quirl({"show", "values"}).mOutput;
    for (const char* pLine : {"Flag = true", "Off = false", "Lines = \"a\\nb\\r\"", "V3 = (1, 2, 3.5)",
                              "V4 = (1, 2, 3, 4.5)", "V2i = (1, -2)", "V3i = (1, -2, 3)",
                              "V4i = (1, -2, 3, -4)", "Turn = (0, 0, 0.5, 1)", "Tint = 0x04030201"}) {
        EXPECT_THAT(text, HasSubstr("  " + std::string(pLine) + " (dynamic)\n"));
    }
    const std::string json = Quirl({"show", "--json", "values"}).mOutput;
    for (const char* pValue :
         {"\"value\":true", "\"value\":false", "\"value\":\"a\\nb\\r\"", "\"value\":[1.0,2.0,3.5]",
          "\"value\":[1.0,2.0,3.0,4.5]", "\"value\":[1,-2]", "\"value\":[1,-2,3]", "\"value\":[1,-2,3,-4]",
          "\"value\":[0.0,0.0,0.5,1.0]", "\"value\":[1,2,3,4]"}) {
        EXPECT_THAT(json, HasSubstr(std::string(pValue) + "}"));
    }
}

TEST_F(ToolTest, ShowPrintsArraysOfObjects)
{
    mFolder.Write(
        "array.QXml",
        Document("<Object Module=\"QBase\" Class=\"Object\" Path=\"root\"><Property Name=\"Crew\" "
                 "Type=\"Object\" Array=\"true\" Dynamic=\"true\"><Value>root</Value><Value></Value>"
                 "</Property></Object>"));
    EXPECT_THAT(Quirl({"show", "array.QXml"}).mOutput,
                HasSubstr("  Crew[0]: -> #0 (cycle)\n  Crew[1]: null\n"));
    EXPECT_THAT(Quirl({"show", "--json", "array.QXml"}).mOutput, HasSubstr("\"values\":[0,null]}"));
}

TEST_F(ToolTest, ControlCharactersOfAFileDoNotReachTheTerminal)
{
    mFolder.Write(
        "evil.QXml",
        Document("<Object Module=\"QBase\" Class=\"Object\" Path=\"root\"><Property Name=\"a&#27;[2J\" "
                 "Type=\"String\" Dynamic=\"true\">&#27;]0;x&#7;&#155;</Property></Object>"));
    EXPECT_THAT(Quirl({"show", "evil.QXml"}).mOutput,
                HasSubstr("  a\\x1B[2J = \"\\x1B]0;x\\x07\\x9B\" (dynamic)\n"));
}

// --- Reading ---

TEST_F(ToolTest, StandardInputIsRecognisedByItsFirstBytes)
{
    WriteSmall();
    ASSERT_EQ(Quirl({"convert", "small.QXml", "small.bin"}).mExitCode, 0);
    const Outcome fromXml = Quirl({"show", "-"}, Document(SMALL));
    const Outcome fromBinary = Quirl({"show", "-"}, mFolder.Read("small.bin"));
    const Outcome fromGiven = Quirl({"show", "--from", "binary", "-"}, mFolder.Read("small.bin"));
    EXPECT_EQ(fromXml.mExitCode, 0);
    EXPECT_THAT(fromXml.mOutput, StartsWith("root: QBase.Table #0\n"));
    EXPECT_EQ(fromBinary.mOutput, fromXml.mOutput);
    EXPECT_EQ(fromGiven.mOutput, fromXml.mOutput);
    EXPECT_THAT(fromXml.mErrors + fromBinary.mErrors + fromGiven.mErrors, IsEmpty());
}

TEST_F(ToolTest, TheContentsOfAFileSayItsFormatWhateverItsName)
{
    mFolder.Write("small.dat", "\xEF\xBB\xBF \n" + Document(SMALL));
    EXPECT_THAT(Quirl({"check", "small.dat"}).mOutput, StartsWith("small.dat: ok, xml, 3 objects, "));
}

TEST_F(ToolTest, WhatCannotBeReadIsTroubleAndSaysWhatToDo)
{
    mFolder.Write("text", "hello");
    mFolder.Write("empty", "");
    EXPECT_THAT(Quirl({"show", "missing"}).mErrors,
                EndsWith("Failed to open file 'missing' - No such file or directory; check the path\n"));
    EXPECT_THAT(Quirl({"show", "."}).mErrors, HasSubstr("Is a directory"));
    EXPECT_THAT(Quirl({"show", "text"}).mErrors, EndsWith("say --from xml or --from binary\n"));
    const Outcome empty = Quirl({"show", "empty"});
    EXPECT_EQ(empty.mExitCode, 2);
    EXPECT_THAT(empty.mErrors, HasSubstr("it is empty"));
    EXPECT_THAT(empty.mOutput, IsEmpty());
}

TEST_F(ToolTest, ADocumentOfSomethingElseIsTroubleAndSaysHowOneBegins)
{
    mFolder.Write("other.xml", "<Drawing/>");
    EXPECT_THAT(Quirl({"show", "other.xml"}).mErrors,
                EndsWith("file id mismatch for file 'other.xml'.\n"
                         "quirl: error: Failed to load 'other.xml'; XML begins with <QuirlData "
                         "id=\"1784827729\" version=\"3\">, binary with 'QObj'; check that it is the right "
                         "file\n"));
}

TEST_F(ToolTest, BytesBehindABinaryGraphAreAWarning)
{
    WriteSmall();
    ASSERT_EQ(Quirl({"convert", "small.QXml", "small.bin"}).mExitCode, 0);
    mFolder.Write("longer.bin", mFolder.Read("small.bin") + "more");
    const Outcome result = Quirl({"check", "longer.bin"});
    EXPECT_THAT(result.mOutput + result.mErrors, HasSubstr("4 bytes behind the graph are no part of it"));
}

TEST_F(ToolTest, PathsMayHaveLettersOfAnyKind)
{
    WriteSmall();
    const Outcome converted = Quirl({"convert", "small.QXml", "Größe 星.bin"});
    EXPECT_EQ(converted.mExitCode, 0) << converted.mErrors;
    EXPECT_THAT(mFolder.Read("Größe 星.bin"), StartsWith("QObj"));
    EXPECT_EQ(Quirl({"diff", "Größe 星.bin", "small.QXml"}).mExitCode, 0);
}

// --- Limits ---

TEST_F(ToolTest, AFileIsHeldToTheLimitsOfTheCommandLine)
{
    WriteSmall();
    EXPECT_EQ(Quirl({"show", "--limit", "Objects=3", "--limit", "Nesting=2", "small.QXml"}).mExitCode, 0);
    const Outcome refused = Quirl({"show", "--limit", "Objects=2", "small.QXml"});
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mOutput, IsEmpty());
    EXPECT_THAT(refused.mErrors,
                HasSubstr("one more object, of QBase.Object, is over the limit of 2 objects"));
    EXPECT_THAT(refused.mErrors, EndsWith("say --limit NAME=N if it is meant to be that large\n"));
    const Outcome checked = Quirl({"check", "--allow-class", "QBase.Table", "small.QXml"});
    EXPECT_EQ(checked.mExitCode, 2);
    EXPECT_THAT(checked.mOutput, HasSubstr("class QBase.List is not allowed"));
}

TEST_F(ToolTest, ALimitThatDoesNotExistIsTroubleThatListsThem)
{
    WriteSmall();
    for (const char* pLimit : {"Wings=2", "Objects", "Objects=", "Objects=-1", "Objects=1x", "=1"}) {
        const Outcome result = Quirl({"show", "--limit", pLimit, "small.QXml"});
        EXPECT_EQ(result.mExitCode, 2) << pLimit;
        EXPECT_THAT(result.mErrors, HasSubstr(std::string("Failed to set the limit \"") + pLimit + "\""));
        EXPECT_THAT(result.mErrors,
                    HasSubstr("Bytes, Objects, Nesting, StringLength, Memory or MemoryPerByte"));
    }
}

TEST_F(ToolTest, ObjectsOfFilesAndThreadsAreMadeForTrustedFilesOnly)
{
    mFolder.Write("thread.QXml",
                  Document("<Object Module=\"QBase\" Class=\"ThreadExecutor\" Path=\"root\"/>"));
    const Outcome refused = Quirl({"show", "thread.QXml"});
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mErrors,
                HasSubstr("class QBase.ThreadExecutor acts outside the program and is not allowed"));
    EXPECT_THAT(refused.mErrors, EndsWith("say --trusted if you know where the file comes from\n"));
    EXPECT_EQ(Quirl({"show", "--allow-class", "QBase.ThreadExecutor", "thread.QXml"}).mExitCode, 0);
    EXPECT_THAT(Quirl({"show", "--trusted", "thread.QXml"}).mOutput,
                StartsWith("root: QBase.ThreadExecutor\n"));
}

// --- Modules ---

TEST_F(ToolTest, AModuleThatTheFileNamesIsLoadedUnlessOnlyGivenOnesMayBe)
{
    EXPECT_THAT(Quirl({"show", mSolar}).mOutput, StartsWith("root: Solar.Simulation\n"));
    const Outcome refused = Quirl({"show", "--given-modules-only", mSolar});
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mErrors, HasSubstr("Failed to construct 'Solar.Simulation'"));
    EXPECT_THAT(refused.mErrors, HasSubstr("say --module NAME"));
    EXPECT_EQ(Quirl({"show", "--given-modules-only", "--module", "Solar", mSolar}).mExitCode, 0);
    EXPECT_EQ(Quirl({"show", "--module", "Solar", "--module", "Solar", mSolar}).mExitCode, 0);
}

TEST_F(ToolTest, AModuleNameThatLeadsElsewhereIsNeverLoaded)
{
    mFolder.Write("evil.QXml", Document("<Object Module=\"./Evil\" Class=\"Object\" Path=\"root\"/>"));
    const std::string suffix = LIBRARY_SUFFIX;
    fs::copy_file(BinaryPath("Solar_Release" + suffix), PathOf("Evil_Release") + suffix);

    const Outcome fromFile = Quirl({"show", "evil.QXml"});
    EXPECT_EQ(fromFile.mExitCode, 2);
    EXPECT_THAT(fromFile.mErrors, HasSubstr("Failed to construct './Evil.Object'"));
    const Outcome fromOption = Quirl({"show", "--module", "./Evil", "evil.QXml"});
    EXPECT_EQ(fromOption.mExitCode, 2);
    EXPECT_THAT(fromOption.mErrors,
                HasSubstr("Failed to load module \"./Evil\" - a module's name has letters"));
    const Outcome fromArgument = Quirl({"classes", "../Solar"});
    EXPECT_EQ(fromArgument.mExitCode, 2);
    EXPECT_THAT(fromFile.mOutput + fromOption.mOutput + fromArgument.mOutput, IsEmpty());
}

TEST_F(ToolTest, ALibraryWithoutClassesUnderItsNameIsTrouble)
{
    const Outcome result = Quirl({"classes", "Silent"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors,
                EndsWith("Failed to load module 'Silent' - its library has no classes under that "
                         "name; check the name that its classes give to QBASE_IMPLEMENT\n"));
}

TEST_F(ToolTest, AMissingModuleSaysWhereItsLibraryBelongs)
{
    const Outcome result = Quirl({"show", "--module", "Missing", "x"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, StartsWith("quirl: error: Failed to load module 'Missing': "));
    EXPECT_THAT(result.mErrors, HasSubstr("beside the program quirl"));
    EXPECT_THAT(result.mErrors, HasSubstr("or say --module-path FOLDER for the folder it is in"));
}

TEST_F(ToolTest, GivenFoldersAreWhereModulesAreLookedForFirst)
{
    const std::string suffix = LIBRARY_SUFFIX;
    fs::create_directory(PathOf("empty"));
    fs::create_directory(PathOf("modules"));
    fs::copy_file(BinaryPath("Solar_Release" + suffix), PathOf("modules/Zoo_Release") + suffix);
    fs::copy_file(BinaryPath("Solar_Release" + suffix), PathOf("modules/libAttic_Release") + suffix);
    for (const char* pName : {"Zoo", "Attic"}) {
        EXPECT_THAT(Quirl({"classes", pName}).mErrors, HasSubstr("beside the program quirl"));
        EXPECT_THAT(Quirl({"classes", pName, "--module-path", "empty", "--module-path", "modules"}).mErrors,
                    HasSubstr("its library has no classes under that name"));
    }
    mFolder.Write(("modules/Solar_Release" + suffix).c_str(), "This is no library.");
    for (const std::vector<std::string>& words : {std::vector<std::string>{"classes", "--module", "Solar"},
                                                  {"annotate", "--module", "Solar", "x"},
                                                  {"show", "--module", "Solar", "x"},
                                                  {"watch", "--module", "Solar", "localhost:1"},
                                                  {"conform", "--module", "Solar", "x"},
                                                  {"new-module", "--module", "Solar", "Rocket"}}) {
        std::vector<std::string> wordsWithPath = words;
        wordsWithPath.insert(wordsWithPath.end(), {"--module-path", "modules"});
        const Outcome result = Quirl(wordsWithPath);
        EXPECT_EQ(result.mExitCode, 2) << words[0];
        EXPECT_THAT(result.mErrors, StartsWith("quirl: error: Failed to load module 'Solar': ")) << words[0];
        EXPECT_THAT(result.mErrors, EndsWith("; build it again, or name another folder by --module-path\n"))
            << words[0];
    }
    const Outcome fromFile = Quirl({"show", mSolar, "--module-path", "modules"});
    EXPECT_EQ(fromFile.mExitCode, 2);
    EXPECT_THAT(fromFile.mErrors, HasSubstr("or --module-path FOLDER for the folder it is in"));
    EXPECT_EQ(Quirl({"show", mSolar, "--module-path", "empty"}).mExitCode, 0);
}

TEST_F(ToolTest, AModuleFolderThatIsNoneIsTrouble)
{
    mFolder.Write("file", "");
    for (const char* pFolder : {"nowhere", "file", ""}) {
        const Outcome result = Quirl({"classes", "--module-path", pFolder});
        EXPECT_EQ(result.mExitCode, 2);
        EXPECT_EQ(result.mErrors, "quirl: error: Failed to look for modules in '" + std::string(pFolder) +
                                      "' - there is no such folder; check the path\n");
    }
}

TEST_F(ToolTest, SeveralModulesAreLoadedByEveryCommandThatLoadsOne)
{
    WriteSmall();
    ASSERT_EQ(Quirl({"convert", "small.QXml", "small.qobj"}).mExitCode, 0);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"annotate", "small.qobj"}, {"show", "small.qobj"}, {"classes", "QBase"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--module", "Solar", "--module", "Harbour"});
        EXPECT_EQ(Quirl(all).mExitCode, 0) << words[0];
    }
}

TEST_F(ToolTest, TheManualPageTellsOfEveryCommandWhatItsHelpTells)
{
    const Outcome page = Quirl({"--manual-page"});
    EXPECT_EQ(page.mExitCode, 0);
    EXPECT_THAT(page.mErrors, IsEmpty());
    EXPECT_THAT(page.mOutput,
                StartsWith(".TH QUIRL 1 \"\" \"quirl 2.1\" \"User Commands\"\n.SH NAME\nquirl \\- shows"));
    for (const char* pUsage :
         {"show [OPTIONS] FILE", "convert [OPTIONS] IN OUT", "diff [OPTIONS] A B", "check [OPTIONS] FILE...",
          "annotate [OPTIONS] FILE", "classes [OPTIONS] [MODULE]", "conform [OPTIONS] OLD [NEW]",
          "graph [OPTIONS] FILE", "serve [OPTIONS] FILE", "watch [OPTIONS] ADDRESS",
          "new\\-module [OPTIONS] NAME"}) {
        EXPECT_THAT(page.mOutput, HasSubstr(std::string("\n.SS quirl ") + pUsage + "\n"));
    }
    EXPECT_THAT(page.mOutput, HasSubstr("\n.TP\n\\fB\\-\\-module\\-path\\fR FOLDER\nLook for modules in this "
                                        "folder first (repeatable), "));
    EXPECT_THAT(page.mOutput, HasSubstr("\n.TP\n\\fBFILE\\fR\n"));
    EXPECT_THAT(page.mOutput, HasSubstr("\n  quirl classes \\-\\-module Solar \\-\\-json >solar\\-1.json\n"));
    EXPECT_THAT(page.mOutput, HasSubstr("\n.B QUIRL_MODULE_PATH\n"));
    EXPECT_THAT(page.mOutput, Not(HasSubstr("manual\\-page")));
    EXPECT_THAT(Quirl({"--help"}).mOutput, Not(HasSubstr("manual-page")));
}

TEST_F(ToolTest, StandardInputCannotBeServed)
{
    const Outcome result = Quirl({"serve", "-", "--port", "0"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_EQ(result.mErrors,
              "quirl: error: Failed to serve standard input - it cannot be watched for changes; "
              "name a file\n");
}

// --- watch ---

TEST_F(ToolTest, AWatcherNeedsTwoFilesForTheStateAndTheFrames)
{
    const Outcome result = Quirl({"watch", "localhost:1", "--save", "one", "--capture", "one"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_EQ(result.mErrors,
              "quirl: error: Failed to keep the state and the frames in one file 'one'; name two\n");
    EXPECT_FALSE(std::filesystem::exists(mFolder.Path("one").c_str()));
}

// --- classes ---

TEST_F(ToolTest, ClassesListsPropertiesAndSignaturesOfAModule)
{
    const Outcome result = Quirl({"classes", "Solar"});
    EXPECT_THAT(
        result.mOutput,
        StartsWith("class Solar.Body : QBase.Object  // A star, planet or moon, and what orbits it\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Kind: Enum { Star = 0, Planet = 1, Moon = 2 }\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  static Construct(Value): Object\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  SetOrbit(Solar.Body, float, float, float, float): void\n"));
    EXPECT_THAT(result.mErrors, IsEmpty());
    EXPECT_THAT(Quirl({"classes"}).mOutput,
                HasSubstr("class QBase.Object  // The base of every class: counted references, properties of "
                          "its own, functions by name\n  static Construct(Value): Object\n"));
}

TEST_F(ToolTest, ClassesSaysWhichPropertiesNobodySets)
{
    EXPECT_THAT(Quirl({"classes", "Harbour"}).mOutput, HasSubstr("  Crew: int (read only)\n"));
}

TEST_F(ToolTest, ClassesShowsWhatDataCanDoWithThreads)
{
    const std::string output = Quirl({"classes", "QBase"}).mOutput;
    const auto Class = [](const std::string& name) {
        const String description =
            static_cast<ClassInfoTable*>(
                static_cast<Table*>(GetModuleTable()->Find("QBase"))->Find(name.c_str()))
                ->GetDescription();
        return "class QBase." + name + " : QBase.Object  // " + description.c_str() + "\n";
    };
    EXPECT_THAT(output, HasSubstr(Class("ThreadExecutor") + "  Executable: Object\n"
                                                            "  ExecutableArg: Value\n"
                                                            "  Sleep: int\n"
                                                            "  static Construct(Value): Object\n"
                                                            "  Start(): void\n"
                                                            "  Stop(): void\n"));
    EXPECT_THAT(output,
                HasSubstr(Class("DeferredCall") + "  FunctionName: String\n"
                                                  "  Object: Object\n"
                                                  "  static Construct(Value): Object\n"
                                                  "  GetArg(int): Value\n"
                                                  "  GetNumArgs(): int\n"
                                                  "  SetArgs(Value, Value, Value, Value, Value): void\n"));
    EXPECT_THAT(output, HasSubstr(Class("DeferredList") + "  static Construct(Value): Object\n"
                                                          "  Insert(QBase.Object): void\n"));
    EXPECT_THAT(output, HasSubstr(Class("Lock") + "  static Construct(Value): Object\n"
                                                  "  Enter(): void\n"
                                                  "  Exit(): void\n"));
    EXPECT_THAT(output, HasSubstr(Class("Timer") + "  static Construct(Value): Object\n"
                                                   "  GetDt(): int\n"
                                                   "  GetTime(): int\n"));
}

TEST_F(ToolTest, ClassesAsJsonHoldsAllLoadedModules)
{
    const Outcome result = Quirl({"classes", "--module", "Solar", "--json"});
    EXPECT_THAT(result.mOutput,
                StartsWith("{\n  \"schema\": 1,\n  \"library\": \"2.1\",\n  \"modules\": [\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"name\": \"QBase\""));
    EXPECT_THAT(result.mOutput, HasSubstr("\"name\": \"Solar\""));
    EXPECT_THAT(result.mOutput, HasSubstr("\"Planet\": 1"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"base\": null"));
}

// --- diff ---

TEST_F(ToolTest, DiffTellsEqualDifferentAndTroubleByItsExitCode)
{
    WriteSmall();
    ASSERT_EQ(Quirl({"convert", "small.QXml", "small.bin"}).mExitCode, 0);
    const Outcome equal = Quirl({"diff", "small.QXml", "small.bin"});
    EXPECT_EQ(equal.mExitCode, 0);
    EXPECT_THAT(equal.mOutput, IsEmpty());
    const Outcome different = Quirl({"diff", "small.bin", "-"}, Replaced(Document(SMALL), "0.1", "0.2"));
    EXPECT_EQ(different.mExitCode, 1);
    EXPECT_EQ(different.mOutput, "root[crew][0].Rate: 0.1 | 0.2\n");
    EXPECT_EQ(Quirl({"diff", "small.QXml", "missing"}).mExitCode, 2);
    const Outcome twice = Quirl({"diff", "-", "-"});
    EXPECT_EQ(twice.mExitCode, 2);
    EXPECT_THAT(twice.mErrors, HasSubstr("compare standard input with itself"));
}

TEST_F(ToolTest, DiffFindsEveryKindOfDifference)
{
    const std::string small = Document(SMALL);
    const auto diff = [&](const std::string& what, const std::string& by) {
        mFolder.Write("a.QXml", small);
        mFolder.Write("b.QXml", Replaced(small, what, by));
        const Outcome result = Quirl({"diff", "a.QXml", "b.QXml"});
        EXPECT_EQ(result.mExitCode, 1) << what;
        return result.mOutput;
    };
    EXPECT_EQ(diff("Name=\"Note\"", "Name=\"Memo\""),
              "root.Note: \"tab\\t\\\"quote\\\" \\\\ ü\" | (absent)\n");
    EXPECT_EQ(diff("Type=\"Vector2\"", "Type=\"Vector3\""),
              "root.Place: dynamic Vector2 | dynamic Vector3\n");
    EXPECT_EQ(diff("<Value>3</Value>", ""), "root.Sizes: 2 elements | 1 element\n");
    EXPECT_EQ(diff("<Value>3</Value>", "<Value>5</Value>"), "root.Sizes[0]: 3 | 5\n");
    EXPECT_EQ(diff(">root<", "><"), "root.Self: QBase.Table | null\n");
    EXPECT_EQ(diff(">root<", ">root[crew]<"), "root.Self: the same object as root | an object of its own\n");
    EXPECT_EQ(diff("Name=\"nobody\"", "Name=\"somebody\""), "root[nobody]: null | (absent)\n");
    EXPECT_EQ(diff("<Child Index=\"1\"></Child>", ""), "root[crew]: 3 items | 2 items\n");
    EXPECT_EQ(diff("Class=\"Object\"", "Class=\"List\""), "root[crew][0]: QBase.Object | QBase.List\n");
    EXPECT_EQ(
        diff("Tint\" Type=\"Color\" Dynamic=\"true\">0x4", "Tint\" Type=\"Color\" Dynamic=\"true\">0x5"),
        "root.Tint: 0x44332211 | 0x54332211\n");
}

TEST_F(ToolTest, APathOfManyStepsIsCutInItsMiddle)
{
    SaveDeep(121, "a");
    SaveDeep(122, "b");
    const std::string difference = Quirl({"diff", "a", "b"}).mOutput;
    EXPECT_THAT(difference, StartsWith("root ... 20 more ... .Next.Next"));
    EXPECT_THAT(difference, EndsWith(".Next: (absent) | QBase.Object\n"));
}

TEST_F(ToolTest, DiffSeesThatTwoEqualObjectsAreNotOneSharedObject)
{
    std::string twins =
        Replaced(Document(SMALL), "<Child Index=\"2\">root[crew][0]<", "<Child Index=\"2\">root[crew][2]<");
    twins =
        Replaced(twins, TAIL,
                 "<Object Module=\"QBase\" Class=\"Object\" Path=\"root[crew][2]\"><Property Name=\"Rate\" "
                 "Type=\"float\" Dynamic=\"true\">0.1</Property></Object>" +
                     std::string(TAIL));
    WriteSmall();
    mFolder.Write("twins.QXml", twins);
    EXPECT_EQ(Quirl({"diff", "small.QXml", "twins.QXml"}).mOutput,
              "root[crew][2]: the same object as root[crew][0] | an object of its own\n");
    EXPECT_EQ(Quirl({"diff", "twins.QXml", "small.QXml"}).mOutput,
              "root[crew][2]: an object of its own | the same object as root[crew][0]\n");
}

TEST_F(ToolTest, DiffAllPrintsEveryDifferenceAndTheOrderOfEntriesDoesNotMatter)
{
    WriteSmall();
    const std::string entry = "  <Child Name=\"nobody\"></Child>\n";
    std::string other = Replaced(Document(SMALL), entry, "");
    other = Replaced(other, "  <Child Name=\"crew\"", entry + "  <Child Name=\"crew\"");
    mFolder.Write("same.QXml", other);
    EXPECT_EQ(Quirl({"diff", "small.QXml", "same.QXml"}).mExitCode, 0);
    mFolder.Write("other.QXml", Replaced(Replaced(other, ">0.1<", ">0.3<"), "<Value>-4<", "<Value>4<"));
    EXPECT_EQ(Quirl({"diff", "--all", "small.QXml", "other.QXml"}).mOutput,
              "root.Sizes[1]: -4 | 4\nroot[crew][0].Rate: 0.1 | 0.3\n");
}

// --- check ---

TEST_F(ToolTest, CheckReportsEachFileAndGoesOnAfterABrokenOne)
{
    WriteSmall();
    mFolder.Write("old.QXml", Replaced(Document(SMALL), " Dynamic=\"true\">0.1", ">0.1"));
    mFolder.Write("cut.QXml", Document(SMALL).substr(0, 700));

    const Outcome good = Quirl({"check", "small.QXml"});
    EXPECT_EQ(good.mExitCode, 0);
    EXPECT_THAT(good.mOutput, HasSubstr("ok, xml, 3 objects, "));
    EXPECT_THAT(good.mOutput, EndsWith(" bytes\n"));

    const Outcome old = Quirl({"check", "small.QXml", "old.QXml"});
    EXPECT_EQ(old.mExitCode, 1);
    EXPECT_THAT(old.mOutput,
                HasSubstr("old.QXml: warning: Ignoring deserialized value QBase.Object.Rate, "
                          "property is invalid. (root[crew][0], line 18)\nold.QXml: loads with warnings, "));
    EXPECT_THAT(old.mOutput, EndsWith(" bytes\n"));

    const Outcome broken = Quirl({"check", "cut.QXml", "small.QXml", "missing"});
    EXPECT_EQ(broken.mExitCode, 2);
    EXPECT_THAT(broken.mOutput, HasSubstr("cut.QXml: error: Xml 'cut.QXml' parse failed: "));
    EXPECT_THAT(broken.mOutput, HasSubstr("small.QXml: ok, xml, 3 objects, "));
    EXPECT_THAT(broken.mOutput, HasSubstr("missing: error: Failed to open file 'missing'"));
    EXPECT_THAT(good.mErrors + old.mErrors + broken.mErrors, IsEmpty());
}

// --- graph ---

TEST_F(ToolTest, GraphPrintsABoxForEachObjectAndAnArrowForEachReference)
{
    WriteSmall();
    const Outcome result = Quirl({"graph", "small.QXml"});
    EXPECT_THAT(result.mOutput, StartsWith("digraph {\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  o2 [label=\"QBase.Object\\lRate = 0.1\\l\"];\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  o1 -> o2 [label=\"[2]\", style=dashed];\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("Note = \\\"tab\\\\t"));
    EXPECT_THAT(result.mOutput, EndsWith("}\n"));
}

TEST_F(ToolTest, GraphAsSvgSaysWhatIsMissingWithoutDotAndLeavesTheOldFile)
{
    WriteSmall();
    mFolder.Write("small.svg", "old");
    const ChangedVariable nowhere("PATH", PathOf(""));
    const Outcome missing = Quirl({"graph", "small.QXml", "--svg", "small.svg"});
    EXPECT_EQ(missing.mExitCode, 2);
    EXPECT_THAT(missing.mErrors, HasSubstr("install the package graphviz"));
    EXPECT_EQ(mFolder.Read("small.svg"), "old");
    EXPECT_EQ(CountFiles(), 2u);
}

// --- convert ---

TEST_F(ToolTest, ConvertChoosesTheFormatByThePathAndTheOptionOverrides)
{
    WriteSmall();
    EXPECT_EQ(Quirl({"convert", "small.QXml", "a.QXml.bak"}).mExitCode, 0);
    EXPECT_THAT(mFolder.Read("a.QXml.bak"), StartsWith("<?xml"));
    EXPECT_EQ(Quirl({"convert", "small.QXml", "b.bin"}).mExitCode, 0);
    EXPECT_THAT(mFolder.Read("b.bin"), StartsWith("QObj"));
    EXPECT_EQ(Quirl({"convert", "b.bin", "c.bin", "--to", "xml"}).mExitCode, 0);
    EXPECT_THAT(mFolder.Read("c.bin"), StartsWith("<?xml"));

    const Outcome printed = Quirl({"convert", "c.bin", "-", "--to", "xml"});
    EXPECT_EQ(printed.mOutput, mFolder.Read("c.bin"));
    const Outcome packed = Quirl({"convert", "-", "-"}, mFolder.Read("c.bin"));
    EXPECT_EQ(packed.mOutput, mFolder.Read("b.bin"));
    EXPECT_THAT(printed.mErrors + packed.mErrors, IsEmpty());
}

TEST_F(ToolTest, ConvertThereAndBackKeepsTheSolarSystem)
{
    for (const std::vector<std::string>& words : {std::vector<std::string>{"convert", mSolar, "s.bin"},
                                                  {"convert", "s.bin", "s.QXml"},
                                                  {"diff", mSolar, "s.QXml"},
                                                  {"diff", "s.bin", "s.QXml"}}) {
        const Outcome result = Quirl(words);
        EXPECT_EQ(result.mExitCode, 0);
        EXPECT_THAT(result.mOutput + result.mErrors, IsEmpty());
    }
}

TEST_F(ToolTest, ConvertRefusesToLoseValuesUnlessToldTo)
{
    mFolder.Write("old.QXml", Replaced(Document(SMALL), " Dynamic=\"true\">0.1", ">0.1"));
    const Outcome refused = Quirl({"convert", "old.QXml", "old.bin"});
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mErrors, HasSubstr("say --lossy"));
    EXPECT_FALSE(fs::exists(PathOf("old.bin")));
    EXPECT_EQ(Quirl({"convert", "--lossy", "old.QXml", "old.bin"}).mExitCode, 0);
    EXPECT_TRUE(fs::exists(PathOf("old.bin")));
}

TEST_F(ToolTest, ConvertRefusesWhatTheFormatHasNoFormFor)
{
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->Insert("", Object::Construct(Value::Null));
    Save(pTable, "nameless");
    const Outcome result = Quirl({"convert", "nameless", "named.QXml"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(
        result.mErrors,
        EndsWith("Failed to write the graph as xml - it holds a value that this format has no form for; see "
                 "`quirl show` of the input\n"));
    EXPECT_FALSE(fs::exists(PathOf("named.QXml")));
}

TEST_F(ToolTest, ConvertWarnsOfValuesThatXmlRounds)
{
    Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("Small", Value(Vector2(1e-7f, 1.0f)));
    Save(pObject, "small.bin");
    const Outcome result = Quirl({"convert", "small.bin", "small.QXml"});
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_EQ(result.mErrors, "quirl: warning: 1 values are not kept exactly by the format xml, the first is "
                              "root.Small: (1e-07, 1) becomes (0, 1)\n");
}

TEST_F(ToolTest, ConvertWarnsWhenThePathSaysAnotherFormat)
{
    WriteSmall();
    EXPECT_EQ(
        Quirl({"convert", "small.QXml", "small.xml"}).mErrors,
        "quirl: warning: 'small.xml' is binary, for only a path with \"QXml\" in it means XML; name it so, "
        "or say --to xml\n");
    EXPECT_EQ(Quirl({"convert", "small.QXml", "small.xml", "--to", "xml"}).mErrors,
              "quirl: warning: Programs that load 'small.xml' by its path take it for binary; a path with "
              "\"QXml\" in it means XML, any other binary\n");
    EXPECT_THAT(Quirl({"convert", "small.QXml", "other.QXml", "--to", "binary"}).mErrors,
                HasSubstr("take it for xml"));
    EXPECT_THAT(Quirl({"convert", "small.QXml", "small.bin"}).mErrors, IsEmpty());
    EXPECT_THAT(Quirl({"convert", "small.QXml", "-", "--to", "xml"}).mErrors, IsEmpty());
}

TEST_F(ToolTest, AWriteProtectedFileIsNotReplaced)
{
    WriteSmall();
    mFolder.Write("kept", "precious");
    fs::permissions(PathOf("kept"), fs::perms::owner_read);
    const Outcome result = Quirl({"convert", "small.QXml", "kept"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("it is write-protected"));
    EXPECT_EQ(mFolder.Read("kept"), "precious");
    fs::permissions(PathOf("kept"), fs::perms::owner_all);
}

TEST_F(ToolTest, AFailedConvertLeavesTheOldFileAndNothingElse)
{
    WriteSmall();
    mFolder.Write("kept", "precious");
    mFolder.Write("cut", Document(SMALL).substr(0, 700));
    EXPECT_EQ(Quirl({"convert", "cut", "kept"}).mExitCode, 2);
    const Outcome folder = Quirl({"convert", "small.QXml", "."});
    EXPECT_EQ(folder.mExitCode, 2);
    EXPECT_THAT(folder.mErrors, HasSubstr("not an ordinary file"));
    EXPECT_EQ(Quirl({"convert", "small.QXml", "missing/x"}).mExitCode, 2);
    EXPECT_EQ(mFolder.Read("kept"), "precious");
    EXPECT_EQ(CountFiles(), 3u);
}

TEST_F(ToolTest, AConvertThatIsKilledAtAnyMomentLeavesTheOldFileOrTheNewOne)
{
    using Clock = std::chrono::steady_clock;
    SaveWide(5000, "in");
    const Clock::time_point begin = Clock::now();
    ASSERT_EQ(Quirl({"convert", "in", "new.QXml"}).mExitCode, 0);
    const auto duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
    const std::string newBytes = mFolder.Read("new.QXml");
    std::mt19937 random(7);
    int numOld = 0;
    const int numKills = Effort(50, 1000);
    for (int i = 0; i < numKills; ++i) {
        mFolder.Write("out.QXml", "old");
        ProgramStart start = Start({"convert", "in", "out.QXml"});
        start.mKillAfter = static_cast<int>(random() % static_cast<unsigned>(duration * 5 / 4 + 2));
        RunApart(start);
        const std::string bytes = mFolder.Read("out.QXml");
        numOld += bytes == "old" ? 1 : 0;
        ASSERT_TRUE(bytes == "old" || bytes == newBytes)
            << "killed after " << start.mKillAfter << " ms: " << bytes.size() << " bytes";
    }
    EXPECT_GT(numOld, 0); // or nothing was killed early enough
}

// --- Size ---

TEST_F(ToolTest, AChainOfAnyLengthIsShownAndComparedOnASmallStack)
{
    SaveDeep(100000, "deep");
    const auto quirl = [&](const std::vector<std::string>& words) {
        ProgramStart start = Start(words);
        start.mStackSize = std::size_t(256) << 10;
        const Outcome result = RunApart(start);
        EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
        return result.mOutput;
    };
    EXPECT_THAT(quirl({"show", "deep"}),
                EndsWith("\n" + std::string(80, ' ') + "(99999) Next: QBase.Object\n"));
    EXPECT_THAT(
        quirl({"show", "--json", "deep"}),
        EndsWith("\n{\"id\":99999,\"module\":\"QBase\",\"class\":\"Object\",\"properties\":[]}\n]}\n"));
    const std::string drawing = quirl({"graph", "deep"});
    std::size_t numArrows = 0;
    for (std::size_t place = 0; (place = drawing.find("->", place)) != drawing.npos; ++place) {
        ++numArrows;
    }
    EXPECT_EQ(numArrows, 99999u);
    EXPECT_THAT(quirl({"diff", "deep", "deep"}), IsEmpty());
}
