// The tool quirl as its users meet it: every test runs the built program and looks at what it prints, at its
// exit code and at the files it leaves.

#include "QBase/BinarySerializer.h"
#include "QBase/Enum.h"
#include "QBase/List.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "Support/Paths.h"
#include "Support/Sanitizer.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/wait.h>

namespace fs = std::filesystem;

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

constexpr char HEAD[] = "<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\">\n";
constexpr char TAIL[] = "</QuirlData>\n";

// A shared object, a cycle, null, a table, a list, an array, a dynamic property and letters of many kinds.
constexpr char SMALL[] = R"(<Object Module="QBase" Class="Table" Path="root">
  <Property Name="Note" Type="String" Dynamic="true">tab&#9;"quote" \ ü</Property>
  <Property Name="Sizes" Type="int" Array="true" Dynamic="true"><Value>3</Value><Value>-4</Value></Property>
  <Property Name="Place" Type="Vector2" Dynamic="true">1 0.5</Property>
  <Property Name="Self" Type="Object" Dynamic="true">root</Property>
  <Property Name="Tint" Type="Color" Dynamic="true">0x44332211</Property>
  <Child Name="crew">root[crew]</Child>
  <Child Name="nobody"></Child>
</Object>
<Object Module="QBase" Class="List" Path="root[crew]">
  <Child Index="0">root[crew][0]</Child>
  <Child Index="1"></Child>
  <Child Index="2">root[crew][0]</Child>
</Object>
<Object Module="QBase" Class="Object" Path="root[crew][0]">
  <Property Name="Rate" Type="float" Dynamic="true">0.1</Property>
</Object>
)";

std::string Document(const std::string& objects)
{
    return HEAD + objects + TAIL;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by)
{
    const std::size_t place = text.find(what);
    EXPECT_NE(place, text.npos) << what;
    return place == text.npos ? text : text.replace(place, what.size(), by);
}

// How a command ended, and what it said.
struct Result
{
    int mExitCode;
    std::string mOutput;
    std::string mErrors;
};

class ToolTest : public testing::Test
{
protected:
    /// Runs shell commands in the folder of the test; "quirl" there is the built tool.
    Result Run(const std::string& commands)
    {
        const std::string script = "cd '" + PathOf("") + "' && quirl() { '" + BinaryPath("quirl") +
                                   "' \"$@\"; }\n{ " + commands + "\n} >out.txt 2>err.txt </dev/null";
        const int status = std::system(script.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, mFolder.Read("out.txt"),
                mFolder.Read("err.txt")};
    }

    std::string PathOf(const char* pName) const { return mFolder.Path(pName).c_str(); }

    void WriteSmall() { mFolder.Write("small.QXml", Document(SMALL)); }

    void Save(Object* pRoot, const char* pName)
    {
        Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
        ASSERT_TRUE(pFile->Open(mFolder.Path(pName), File::MODE_WRITE));
        Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
        ASSERT_TRUE(pSerializer->Serialize(pRoot, pFile));
    }

    /// A list of `size` objects with a number each.
    void SaveWide(int size, const char* pName)
    {
        Ptr<List> pList = List::Construct(Value::Null);
        for (int i = 0; i < size; ++i) {
            Ptr<Object> pItem = Object::Construct(Value::Null);
            pItem->AddPropertyValueFromValue("Number", Value(i));
            pList->Insert(pItem);
        }
        Save(pList, pName);
    }

    /// Objects each of which refers to the next one.
    void SaveDeep(int length, const char* pName)
    {
        Ptr<Object> pFirst = Object::Construct(Value::Null);
        for (int i = 1; i < length; ++i) {
            Ptr<Object> pNew = Object::Construct(Value::Null);
            pNew->AddPropertyValueFromValue("Next", Value(pFirst));
            pFirst = pNew;
        }
        Save(pFirst, pName);
    }

    std::size_t CountFiles() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(PathOf("")), fs::directory_iterator()));
    }

    TempFolder mFolder;
    const std::string mSolar = "'" + SourcePath("example/solar/solar.QXml") + "'";
};

} // namespace

// --- The command line ---

TEST_F(ToolTest, EveryCommandHasHelpWithAnExample)
{
    const Result result =
        Run("for command in '' show convert diff check classes graph; do "
            "quirl $command --help | grep -c '^ *Example' || exit 1; done; quirl --version");
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_EQ(result.mOutput, "1\n1\n1\n1\n1\n1\n1\nquirl 2.1\n");
    EXPECT_THAT(result.mErrors, IsEmpty());
}

TEST_F(ToolTest, AWrongCommandLineIsTroubleAndPrintsNothing)
{
    const Result result =
        Run("quirl; echo $?; quirl fly >out; echo $?; quirl show; echo $?; "
            "quirl convert a b --to yaml; echo $?; quirl --fly; echo $?; quirl ''; echo $?");
    EXPECT_EQ(result.mOutput, "2\n2\n2\n2\n2\n2\n");
    EXPECT_THAT(result.mErrors, StartsWith("quirl: error: A subcommand is required\nRun with --help for more "
                                           "information.\nquirl: error: There is no command 'fly'\n"));
    EXPECT_THAT(result.mErrors, HasSubstr("quirl: error: FILE is required\n"));
    EXPECT_THAT(result.mErrors, HasSubstr("--to"));
}

// --- show ---

TEST_F(ToolTest, ShowPrintsValuesThenReferencesAndMarksSharingAndCycles)
{
    WriteSmall();
    const Result result = Run("quirl show small.QXml");
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
    const Result result = Run("quirl show --json small.QXml");
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

TEST_F(ToolTest, ControlCharactersOfAFileDoNotReachTheTerminal)
{
    mFolder.Write(
        "evil.QXml",
        Document("<Object Module=\"QBase\" Class=\"Object\" Path=\"root\"><Property Name=\"a&#27;[2J\" "
                 "Type=\"String\" Dynamic=\"true\">&#27;]0;x&#7;&#155;</Property></Object>"));
    EXPECT_THAT(Run("quirl show evil.QXml").mOutput,
                HasSubstr("  a\\x1B[2J = \"\\x1B]0;x\\x07\\x9B\" (dynamic)\n"));
}

// --- Reading ---

TEST_F(ToolTest, StandardInputIsRecognisedByItsFirstBytes)
{
    WriteSmall();
    const Result result =
        Run("quirl convert small.QXml small.bin && cat small.QXml | quirl show - >a && "
            "cat small.bin | quirl show - >b && quirl show --from binary - <small.bin >c && "
            "cmp a b && cmp a c && grep -c . a");
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_NE(result.mOutput, "0\n");
    EXPECT_THAT(result.mErrors, IsEmpty());
}

TEST_F(ToolTest, TheContentsOfAFileSayItsFormatWhateverItsName)
{
    mFolder.Write("small.dat", "\xEF\xBB\xBF \n" + Document(SMALL));
    EXPECT_THAT(Run("quirl check small.dat").mOutput, StartsWith("small.dat: ok, xml, 3 objects, "));
}

TEST_F(ToolTest, WhatCannotBeReadIsTroubleAndSaysWhatToDo)
{
    mFolder.Write("text", "hello");
    mFolder.Write("empty", "");
    EXPECT_THAT(Run("quirl show missing").mErrors,
                EndsWith("Failed to open file 'missing' - No such file or directory; check the path\n"));
    EXPECT_THAT(Run("quirl show .").mErrors, HasSubstr("Is a directory"));
    EXPECT_THAT(Run("quirl show text").mErrors, EndsWith("say --from xml or --from binary\n"));
    const Result empty = Run("quirl show empty");
    EXPECT_EQ(empty.mExitCode, 2);
    EXPECT_THAT(empty.mErrors, HasSubstr("it is empty"));
    EXPECT_THAT(empty.mOutput, IsEmpty());
}

TEST_F(ToolTest, PathsMayHaveLettersOfAnyKind)
{
    WriteSmall();
    const Result result =
        Run("quirl convert small.QXml 'Größe 星.bin' && quirl diff 'Größe 星.bin' small.QXml");
    EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_THAT(Run("quirl convert small.QXml \"$(printf 'a\\377b')\"").mErrors, HasSubstr("is no UTF-8"));
    EXPECT_EQ(Run("cp small.QXml \"$(printf 'a\\377b')\" && quirl show \"$(printf 'a\\377b')\"").mExitCode,
              0);
}

// --- Modules ---

TEST_F(ToolTest, AModuleThatTheFileNamesIsLoadedUnlessOnlyGivenOnesMayBe)
{
    EXPECT_THAT(Run("quirl show " + mSolar).mOutput, StartsWith("root: Solar.Simulation\n"));
    const Result refused = Run("quirl show --given-modules-only " + mSolar);
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mErrors, HasSubstr("Failed to construct 'Solar.Simulation'"));
    EXPECT_THAT(refused.mErrors, HasSubstr("say --module NAME"));
    EXPECT_EQ(Run("quirl show --given-modules-only --module Solar " + mSolar).mExitCode, 0);
}

TEST_F(ToolTest, AModuleNameThatLeadsElsewhereIsNeverLoaded)
{
    mFolder.Write("evil.QXml", Document("<Object Module=\"./Evil\" Class=\"Object\" Path=\"root\"/>"));
    const Result result =
        Run("cp '" + BinaryPath("Solar_Release.so") +
            "' Evil_Release.so; quirl show evil.QXml; echo $?; "
            "quirl show --module ./Evil evil.QXml; echo $?; quirl classes ../Solar; echo $?");
    EXPECT_EQ(result.mOutput, "2\n2\n2\n");
    EXPECT_THAT(result.mErrors, HasSubstr("Failed to construct './Evil.Object'"));
    EXPECT_THAT(result.mErrors, HasSubstr("Failed to load module \"./Evil\" - a module's name has letters"));
}

TEST_F(ToolTest, AMissingModuleSaysWhereItsLibraryBelongs)
{
    const Result result = Run("quirl show --module Missing x");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, StartsWith("quirl: error: Failed to load module 'Missing': "));
    EXPECT_THAT(result.mErrors, HasSubstr("beside the program quirl"));
}

// --- classes ---

TEST_F(ToolTest, ClassesListsPropertiesAndSignaturesOfAModule)
{
    const Result result = Run("quirl classes Solar");
    EXPECT_THAT(result.mOutput, StartsWith("class Solar.Body : QBase.Object\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  Kind: Enum { Star = 0, Planet = 1, Moon = 2 }\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  static Construct(Value): Object\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  SetOrbit(Solar.Body, float, float, float, float): void\n"));
    EXPECT_THAT(result.mErrors, IsEmpty());
    EXPECT_THAT(Run("quirl classes").mOutput,
                HasSubstr("class QBase.Object\n  static Construct(Value): Object\n"));
}

TEST_F(ToolTest, ClassesShowsWhatDataCanDoWithThreads)
{
    const std::string output = Run("quirl classes QBase").mOutput;
    EXPECT_THAT(output, HasSubstr("class QBase.ThreadExecutor : QBase.Object\n"
                                  "  Executable: Object\n"
                                  "  ExecutableArg: Value\n"
                                  "  Sleep: int\n"
                                  "  static Construct(Value): Object\n"
                                  "  Start(): void\n"
                                  "  Stop(): void\n"));
    EXPECT_THAT(output, HasSubstr("class QBase.DeferredCall : QBase.Object\n"
                                  "  FunctionName: String\n"
                                  "  Object: Object\n"
                                  "  static Construct(Value): Object\n"
                                  "  GetArg(int): Value\n"
                                  "  GetNumArgs(): int\n"
                                  "  SetArgs(Value, Value, Value, Value, Value): void\n"));
    EXPECT_THAT(output, HasSubstr("class QBase.DeferredList : QBase.Object\n"
                                  "  static Construct(Value): Object\n"
                                  "  Insert(QBase.Object): void\n"));
    EXPECT_THAT(output, HasSubstr("class QBase.Lock : QBase.Object\n"
                                  "  static Construct(Value): Object\n"
                                  "  Enter(): void\n"
                                  "  Exit(): void\n"));
    EXPECT_THAT(output, HasSubstr("class QBase.Timer : QBase.Object\n"
                                  "  static Construct(Value): Object\n"
                                  "  GetDt(): int\n"
                                  "  GetTime(): int\n"));
}

TEST_F(ToolTest, ClassesAsJsonHoldsAllLoadedModules)
{
    const Result result = Run("quirl classes --module Solar --json");
    EXPECT_THAT(result.mOutput, StartsWith("{\n  \"modules\": [\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"name\": \"QBase\""));
    EXPECT_THAT(result.mOutput, HasSubstr("\"name\": \"Solar\""));
    EXPECT_THAT(result.mOutput, HasSubstr("\"Planet\": 1"));
    EXPECT_THAT(result.mOutput, HasSubstr("\"base\": null"));
}

// --- diff ---

TEST_F(ToolTest, DiffTellsEqualDifferentAndTroubleByItsExitCode)
{
    WriteSmall();
    const Result result = Run("quirl convert small.QXml small.bin; quirl diff small.QXml small.bin; echo $?; "
                              "sed s/0.1/0.2/ small.QXml | quirl diff small.bin -; echo $?; "
                              "quirl diff small.QXml missing; echo $?; quirl diff - -; echo $?");
    EXPECT_EQ(result.mOutput, "0\nroot[crew][0].Rate: 0.1 | 0.2\n1\n2\n2\n");
    EXPECT_THAT(result.mErrors, HasSubstr("compare standard input with itself"));
}

TEST_F(ToolTest, DiffFindsEveryKindOfDifference)
{
    const std::string small = Document(SMALL);
    const auto diff = [&](const std::string& what, const std::string& by) {
        mFolder.Write("a.QXml", small);
        mFolder.Write("b.QXml", Replaced(small, what, by));
        const Result result = Run("quirl diff a.QXml b.QXml");
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
    EXPECT_EQ(Run("quirl diff small.QXml twins.QXml; quirl diff twins.QXml small.QXml").mOutput,
              "root[crew][2]: the same object as root[crew][0] | an object of its own\n"
              "root[crew][2]: an object of its own | the same object as root[crew][0]\n");
}

TEST_F(ToolTest, DiffAllPrintsEveryDifferenceAndTheOrderOfEntriesDoesNotMatter)
{
    WriteSmall();
    const std::string entry = "  <Child Name=\"nobody\"></Child>\n";
    std::string other = Replaced(Document(SMALL), entry, "");
    other = Replaced(other, "  <Child Name=\"crew\"", entry + "  <Child Name=\"crew\"");
    mFolder.Write("same.QXml", other);
    EXPECT_EQ(Run("quirl diff small.QXml same.QXml").mExitCode, 0);
    mFolder.Write("other.QXml", Replaced(Replaced(other, ">0.1<", ">0.3<"), "<Value>-4<", "<Value>4<"));
    EXPECT_EQ(Run("quirl diff --all small.QXml other.QXml").mOutput,
              "root.Sizes[1]: -4 | 4\nroot[crew][0].Rate: 0.1 | 0.3\n");
}

// --- check ---

TEST_F(ToolTest, CheckReportsEachFileAndGoesOnAfterABrokenOne)
{
    WriteSmall();
    mFolder.Write("old.QXml", Replaced(Document(SMALL), " Dynamic=\"true\">0.1", ">0.1"));
    mFolder.Write("cut.QXml", Document(SMALL).substr(0, 700));
    const Result result = Run("quirl check small.QXml; echo $?; quirl check small.QXml old.QXml; echo $?; "
                              "quirl check cut.QXml small.QXml missing");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mOutput, HasSubstr("ok, xml, 3 objects, "));
    EXPECT_THAT(result.mOutput, HasSubstr(" bytes\n0\n"));
    EXPECT_THAT(result.mOutput,
                HasSubstr("old.QXml: warning: Ignoring deserialized value QBase.Object.Rate, "
                          "property is invalid. (root[crew][0], line 18)\nold.QXml: loads with warnings, "));
    EXPECT_THAT(result.mOutput, HasSubstr(" bytes\n1\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("cut.QXml: error: Xml 'cut.QXml' parse failed: "));
    EXPECT_THAT(result.mOutput, HasSubstr("missing: error: Failed to open file 'missing'"));
    EXPECT_THAT(result.mErrors, IsEmpty());
}

TEST_F(ToolTest, WrongCountsInAFileAreReportedInLittleMemory)
{
    if (HAS_SANITIZER) {
        GTEST_SKIP() << "sanitizers take all address space";
    }
    Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < 20000; ++i) {
        pList->Insert(Object::Construct(Value::Null));
    }
    Save(pList, "list");
    const std::string bytes = mFolder.Read("list");
    int numFiles = 0;
    // The counts of texts and objects, the length of the first text, the properties and children of the list.
    for (const std::size_t place : {8u, 12u, 16u, 51u, 55u}) {
        const unsigned remaining = static_cast<unsigned>(bytes.size() - place - 4);
        for (const unsigned count : {~0u, 0x7FFFFFFFu, remaining + 1}) {
            std::string damaged = bytes;
            for (std::size_t i = 0; i < 4; ++i) {
                damaged[place + i] = static_cast<char>(count >> (8 * i));
            }
            mFolder.Write(("damaged" + std::to_string(numFiles++)).c_str(), damaged);
        }
    }
    const Result result = Run("ulimit -v 65536; quirl check list && quirl check damaged*");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mOutput, StartsWith("list: ok, "));
    for (int i = 0; i < numFiles; ++i) {
        const std::string report = "damaged" + std::to_string(i) +
                                   ": error: Failed to deserialize file 'damaged" + std::to_string(i) +
                                   "' - ";
        EXPECT_THAT(result.mOutput, HasSubstr(report));
    }
}

// --- graph ---

TEST_F(ToolTest, GraphPrintsABoxForEachObjectAndAnArrowForEachReference)
{
    WriteSmall();
    const Result result = Run("quirl graph small.QXml");
    EXPECT_THAT(result.mOutput, StartsWith("digraph {\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  o2 [label=\"QBase.Object\\lRate = 0.1\\l\"];\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("  o1 -> o2 [label=\"[2]\", style=dashed];\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("Note = \\\"tab\\\\t"));
    EXPECT_THAT(result.mOutput, EndsWith("}\n"));
}

TEST_F(ToolTest, GraphAsSvgPrintsNothingAndSaysWhatIsMissingWithoutDot)
{
    WriteSmall();
    const Result drawn = Run("quirl graph small.QXml --svg small.svg");
    EXPECT_EQ(drawn.mExitCode, 0) << drawn.mErrors;
    EXPECT_THAT(drawn.mOutput, IsEmpty());
    EXPECT_THAT(mFolder.Read("small.svg"), HasSubstr("</svg>"));
    const Result printed = Run("quirl graph small.QXml --svg -");
    EXPECT_EQ(printed.mExitCode, 0) << printed.mErrors;
    EXPECT_EQ(printed.mOutput, mFolder.Read("small.svg"));
    const Result missing = Run("PATH=/nowhere; quirl graph small.QXml --svg small.svg");
    EXPECT_EQ(missing.mExitCode, 2);
    EXPECT_THAT(missing.mErrors, HasSubstr("install the package graphviz"));
    EXPECT_THAT(mFolder.Read("small.svg"), HasSubstr("</svg>"));
}

// --- convert ---

TEST_F(ToolTest, ConvertChoosesTheFormatByThePathAndTheOptionOverrides)
{
    WriteSmall();
    const Result result = Run("quirl convert small.QXml a.QXml.bak && head -c 5 a.QXml.bak && "
                              "quirl convert small.QXml b.bin && head -c 4 b.bin && "
                              "quirl convert b.bin c.bin --to xml && head -c 5 c.bin && "
                              "quirl convert c.bin - --to xml | quirl diff - c.bin && quirl convert - - "
                              "<c.bin >d && head -c 4 d && "
                              "quirl diff d c.bin");
    EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_EQ(result.mOutput, "<?xmlQObj<?xmlQObj");
}

TEST_F(ToolTest, ConvertThereAndBackKeepsTheSolarSystem)
{
    const Result result =
        Run("quirl convert " + mSolar + " s.bin && quirl convert s.bin s.QXml && quirl diff " + mSolar +
            " s.QXml && quirl diff s.bin s.QXml");
    EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_THAT(result.mOutput + result.mErrors, IsEmpty());
}

TEST_F(ToolTest, ConvertRefusesToLoseValuesUnlessToldTo)
{
    mFolder.Write("old.QXml", Replaced(Document(SMALL), " Dynamic=\"true\">0.1", ">0.1"));
    const Result refused = Run("quirl convert old.QXml old.bin");
    EXPECT_EQ(refused.mExitCode, 2);
    EXPECT_THAT(refused.mErrors, HasSubstr("say --lossy"));
    EXPECT_FALSE(fs::exists(PathOf("old.bin")));
    EXPECT_EQ(Run("quirl convert --lossy old.QXml old.bin").mExitCode, 0);
    EXPECT_TRUE(fs::exists(PathOf("old.bin")));
}

TEST_F(ToolTest, ConvertWarnsOfValuesThatXmlRounds)
{
    Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("Small", Value(Vector2(1e-7f, 1.0f)));
    Save(pObject, "small.bin");
    const Result result = Run("quirl convert small.bin small.QXml");
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_EQ(result.mErrors, "quirl: warning: 1 values are not kept exactly by the format xml, the first is "
                              "root.Small: (1e-07, 1) becomes (0, 1)\n");
}

TEST_F(ToolTest, ConvertWarnsWhenThePathSaysAnotherFormat)
{
    WriteSmall();
    EXPECT_EQ(
        Run("quirl convert small.QXml small.xml").mErrors,
        "quirl: warning: 'small.xml' is binary, for only a path with \"QXml\" in it means XML; name it so, "
        "or say --to xml\n");
    EXPECT_EQ(Run("quirl convert small.QXml small.xml --to xml").mErrors,
              "quirl: warning: Programs that load 'small.xml' by its path take it for binary; a path with "
              "\"QXml\" in it means XML, any other binary\n");
    EXPECT_THAT(Run("quirl convert small.QXml other.QXml --to binary").mErrors, HasSubstr("take it for xml"));
    const Result quiet = Run("quirl convert small.QXml small.bin && quirl convert small.QXml - --to xml");
    EXPECT_EQ(quiet.mExitCode, 0);
    EXPECT_THAT(quiet.mErrors, IsEmpty());
}

TEST_F(ToolTest, AWriteProtectedFileIsNotReplaced)
{
    WriteSmall();
    mFolder.Write("kept", "precious");
    const Result result = Run("chmod a-w kept; quirl convert small.QXml kept; echo $?; chmod u+w kept");
    EXPECT_EQ(result.mOutput, "2\n");
    EXPECT_THAT(result.mErrors, HasSubstr("it is write-protected"));
    EXPECT_EQ(mFolder.Read("kept"), "precious");
}

TEST_F(ToolTest, AFailedConvertLeavesTheOldFileAndNothingElse)
{
    WriteSmall();
    mFolder.Write("kept", "precious");
    mFolder.Write("cut", Document(SMALL).substr(0, 700));
    const Result result =
        Run("quirl convert cut kept; echo $?; quirl convert small.QXml .; echo $?; "
            "quirl convert small.QXml missing/x; echo $?; quirl convert small.QXml - >/dev/full; echo $?");
    EXPECT_EQ(result.mOutput, "2\n2\n2\n2\n");
    EXPECT_THAT(result.mErrors, HasSubstr("not an ordinary file"));
    EXPECT_THAT(result.mErrors, HasSubstr("Failed to write to standard output - No space left on device"));
    EXPECT_EQ(mFolder.Read("kept"), "precious");
    EXPECT_EQ(CountFiles(), 5u); // with out.txt and err.txt
}

TEST_F(ToolTest, AConvertThatIsKilledLeavesTheOldFileOrTheNewOne)
{
    SaveWide(5000, "in");
    Run("quirl convert in new.QXml");
    const std::string newBytes = mFolder.Read("new.QXml");
    ASSERT_FALSE(newBytes.empty());
    for (const char* pDelay : {"0.02", "0.1", "0.2", "0.3", "0.5"}) {
        mFolder.Write("out.QXml", "old");
        std::string commands =
            "timeout -s KILL " + std::string(pDelay) + " '" + BinaryPath("quirl") + "' convert in out.QXml";
        Run(commands);
        const std::string bytes = mFolder.Read("out.QXml");
        EXPECT_TRUE(bytes == "old" || bytes == newBytes) << pDelay << ": " << bytes.size() << " bytes";
    }
}

TEST_F(ToolTest, AnInterruptedDrawingLeavesTheOldFileAndNothingElse)
{
    // A dot that takes its time and tells that it runs.
    WriteSmall();
    mFolder.Write("kept.svg", "old");
    mFolder.Write("dot", "#!/bin/sh\ntouch started\nexec sleep 5\n");
    const Result result =
        Run("chmod +x dot; PATH=.:$PATH; for signal in TERM HUP; do rm -f started; '" + BinaryPath("quirl") +
            "' graph small.QXml --svg kept.svg & pid=$!; while [ ! -e started ]; do sleep 0.05; done; "
            "ls -a | grep -c qbase; kill -s $signal $pid; wait $pid; echo $?; done; rm -f started dot; "
            "ls -a | grep -c qbase");
    EXPECT_EQ(result.mOutput, "1\n143\n1\n129\n0\n");
    EXPECT_EQ(mFolder.Read("kept.svg"), "old");
}

// --- Terminals and size ---

TEST_F(ToolTest, OnATerminalBinaryIsRefusedAndLongWorkShowsWhatItIsAt)
{
    WriteSmall();
    const std::string quirl = "'" + BinaryPath("quirl") + "'";
    const Result refused = Run("script -qec \"" + quirl + " convert small.QXml -\" /dev/null");
    EXPECT_THAT(refused.mOutput, HasSubstr("Failed to write binary to the terminal; say --to xml"));
    // The input comes late, so that there is something to wait for.
    const Result waited = Run("script -qec \"(sleep 1; cat small.QXml) | " + quirl +
                              " check - >checked\" /dev/null; cat checked");
    EXPECT_THAT(waited.mOutput, HasSubstr("\r\033[KLoading standard input ... "));
    EXPECT_THAT(waited.mOutput, HasSubstr("-: ok, xml"));
    EXPECT_THAT(Run("(sleep 1; cat small.QXml) | quirl check -").mErrors, IsEmpty());
}

TEST_F(ToolTest, AChainOfAnyLengthIsShownAndComparedOnASmallStack)
{
    SaveDeep(100000, "deep");
    const Result result =
        Run("ulimit -s 256; quirl show deep | tail -n 1 && quirl show --json deep | tail -n 2 && "
            "quirl graph deep | grep -c -e '->' && quirl diff deep deep");
    EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_EQ(result.mOutput, std::string(80, ' ') +
                                  "(99999) Next: QBase.Object\n{\"id\":99999,\"module\":\"QBase\",\"class\":"
                                  "\"Object\",\"properties\":[]}\n]}\n99999\n");
}
