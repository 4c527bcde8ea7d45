// The debugger views: a debugger stops in the program Views and prints what is there. The program has one of
// each kind of value, whole and damaged.

#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Sanitizer.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

bool HasProgram(const char* pName)
{
    return std::system((std::string("command -v ") + pName + " >/dev/null").c_str()) == 0;
}

class DebuggerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (HAS_SANITIZER) {
            GTEST_SKIP() << "a sanitizer does not go on under a debugger";
        }
#ifdef NDEBUG
        GTEST_SKIP() << "the library has nothing for debuggers in this build";
#endif
    }

    /// What gdb prints for each expression, without the number in front. The program finds its library in the
    /// folder, if one is given.
    std::vector<std::string> Print(const std::vector<std::string>& expressions,
                                   const std::string& folder = {})
    {
        std::string commands = "set pagination off\nset print address off\nsource " +
                               SourcePath("debugger/QBase-gdb.py") + "\n" +
                               (folder.empty() ? "" : "set environment LD_LIBRARY_PATH " + folder + "\n") +
                               "break Stop\nrun\nup\n";
        for (const std::string& expression : expressions) {
            commands += "print " + expression + "\n";
        }
        mFolder.Write("commands", commands);
        ProgramStart start{{"/bin/sh", "-c", "exec gdb -nx -batch -x \"$0\" \"$1\"",
                            mFolder.Path("commands").c_str(), BinaryPath("Views")}};
        const Outcome result = RunApart(start);
        EXPECT_THAT(result.mOutput + result.mErrors, Not(HasSubstr("Python")));
        EXPECT_THAT(result.mErrors, Not(HasSubstr("warning")));
        return TakePrinted(result.mOutput);
    }

    std::string Print(const std::string& expression)
    {
        const std::vector<std::string> printed = Print(std::vector<std::string>{expression});
        return printed.size() == 1 ? printed[0] : std::string();
    }

    static std::vector<std::string> TakePrinted(const std::string& output)
    {
        std::vector<std::string> printed;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("$")) {
                printed.push_back(line.substr(line.find(" = ") + 3));
            }
        }
        return printed;
    }

    TempFolder mFolder;
};

class LldbTest : public DebuggerTest
{
protected:
    void SetUp() override
    {
        DebuggerTest::SetUp();
        if (!IsSkipped() && !HasProgram("lldb-14")) {
            GTEST_SKIP() << "there is no lldb; script/install-packages debuggers installs it";
        }
    }

    /// What lldb prints for the variables, without the command.
    std::string Show(const std::string& variables)
    {
        mFolder.Write("commands", "command script import " + SourcePath("debugger/qbase_lldb.py") +
                                      "\nbreakpoint set --name Stop\nrun\nup\nframe variable " + variables +
                                      "\n");
        // Debian's lldb looks for its own modules where they are not.
        ProgramStart start{{"/bin/sh", "-c",
                            "PYTHONPATH=$(echo /usr/lib/llvm-14/lib/python3.*/dist-packages) exec lldb-14 "
                            "--no-lldbinit --batch --source \"$0\" \"$1\"",
                            mFolder.Path("commands").c_str(), BinaryPath("Views")}};
        const Outcome result = RunApart(start);
        EXPECT_THAT(result.mOutput + result.mErrors, Not(HasSubstr("Traceback")));
        const std::string command = "(lldb) frame variable " + variables + "\n";
        const std::size_t place = result.mOutput.find(command);
        return place == std::string::npos ? result.mOutput + result.mErrors
                                          : result.mOutput.substr(place + command.size());
    }
};

class GdbTest : public DebuggerTest
{
protected:
    void SetUp() override
    {
        DebuggerTest::SetUp();
        if (!IsSkipped() && !HasProgram("gdb")) {
            GTEST_SKIP() << "there is no gdb; script/install-packages check installs it";
        }
    }
};

} // namespace

TEST_F(GdbTest, TextsAndValuesAreWhatTheySay)
{
    EXPECT_THAT(Print({"text", "noText", "nothing", "seven", "tenth", "yes", "word", "place", "cell", "tint",
                       "moon"}),
                testing::ElementsAre("\"two \\\"words\\\"\\n\xC3\xBC\"", "\"\"", "void", "int 7", "float 0.1",
                                     "bool true", "String \"Io\"", "Vector3 (1, 2.5, -3)", "Vector2i (3, -4)",
                                     "Color 0x44332211", "Object Moon, count 6"));
}

TEST_F(GdbTest, ContainersShowWhatTheyHold)
{
    EXPECT_THAT(Print({"numbers", "ages", "names", "moons"}),
                testing::ElementsAre("Array of 2 = {3, -4}",
                                     "HashTable of 2 = {[\"Io\"] = 410, [\"Europa\"] = 411}",
                                     "LinkedList of 2 = {\"first\", \"second\"}",
                                     "HashTable of 1 = {[\"Io\"] = Moon, count 6}"));
}

TEST_F(GdbTest, ObjectsShowTheirClassTheirCountTheirMembersAndTheirOwnProperties)
{
    const std::string moon = "Moon, count 6 = {mName = \"Io\", mRadius = 1821.5, Discoverer = \"Galileo\", "
                             "Discovered = 1610, Visits = {1979}}";
    EXPECT_THAT(Print({"pMoon", "pObject", "pNone", "*pMoon.mpObject", "*pObject.mpObject", "pTable",
                       "*pTable.mpObject", "*pList.mpObject"}),
                testing::ElementsAre(
                    "Moon, count 6", "Moon, count 6", "null", moon, moon, "QBase::Table of 1, count 1",
                    "QBase::Table of 1, count 1 = {[\"moon\"] = Moon, count 6}",
                    "QBase::List of 3, count 2 = {[0] = Moon, count 6, [1] = null, [2] = QBase::List "
                    "of 3, count 2}"));
}

TEST_F(GdbTest, WhatIsDamagedOrWasNeverMadeIsShownAsThat)
{
    EXPECT_THAT(
        Print({"rZeroString", "rWildString", "rWildValue", "rWildArray", "rZeroTable", "rWildTable",
               "rWildList", "rZeroPtr", "rWildPtr", "rZeroObject", "rWildObject"}),
        testing::ElementsAre(
            "(const QBase::String &) (no text: it was never made, or is gone)",
            "(const QBase::String &) (unreadable: Cannot access memory at address 0xa5a5a5a5a5a5a5ad)",
            "(const QBase::Value &) (no value: there is no type 2779096485)",
            "(const QBase::Array<int> &) (no array: -1515870811 elements in room for -1515870811)",
            "(const QBase::HashTable<int> &) HashTable of 0",
            "(const QBase::HashTable<int> &) (no table: -1515870811 buckets)",
            "(const QBase::LinkedList<int> &) (no list: -1515870811 elements)",
            "(const QBase::Ptr<QBase::Object> &) null",
            "(const QBase::Ptr<QBase::Object> &) (unreadable: Cannot access memory at address "
            "0xa5a5a5a5a5a5a5a5)",
            "(const QBase::Object &) (no object: it was never made, or is gone)",
            "(const QBase::Object &) (no object: it was never made, or is gone)"));
}

// As it is installed. What the program's own classes have is known still.
TEST_F(GdbTest, ObjectsAreShownWhereTheLibraryHasNoDebugInformation)
{
    const Outcome stripped = RunApart({{"/bin/sh", "-c", "exec objcopy --strip-all \"$0\" \"$1\"",
                                        BinaryPath("libQBase.so.2"), mFolder.Path("libQBase.so.2").c_str()}});
    ASSERT_EQ(stripped.mExitCode, 0) << stripped.mErrors;
    EXPECT_THAT(Print({"text", "pMoon", "*pMoon.mpObject"}, mFolder.Path("").c_str()),
                testing::ElementsAre("\"two \\\"words\\\"\\n\xC3\xBC\"", "Moon, count 6",
                                     "Moon, count 6 = {mName = \"Io\", mRadius = 1821.5}"));
}

// Nobody here has the debugger that reads this file. gdb knows all types and members that it names, and
// evaluates its expressions.
TEST_F(GdbTest, TheViewsForVisualStudioNameWhatIsThere)
{
    const std::string variables =
        "noText nothing seven tenth yes word place cell tint moon numbers ages names moons pNone "
        "*pMoon.mpObject pTable *pList.mpObject rZeroString rWildValue rWildArray rWildTable rWildList";
    mFolder.Write("commands", "set print address off\nbreak Stop\nrun\nup\nsource " +
                                  SourcePath("test/Tool/Posix/natvis.py") + "\nnatvis " +
                                  SourcePath("debugger/QBase.natvis") + " " + variables + "\n");
    const Outcome result = RunApart({{"/bin/sh", "-c", "exec gdb -nx -batch -x \"$0\" \"$1\"",
                                      mFolder.Path("commands").c_str(), BinaryPath("Views")}});
    const std::string moon = "count 6 {[count]: 6, [own properties]: HashTable in 31 buckets}\n";
    EXPECT_THAT(
        result.mOutput,
        testing::EndsWith("\nnoText: \"\" {[bytes]: \"\", [code points]: 0}\n"
                          "nothing: void\n"
                          "seven: int 7\n"
                          "tenth: float 0.100000001\n"
                          "yes: bool true\n"
                          "word: String \"Io\"\n"
                          "place: Vector3 (1, 2.5, -3)\n"
                          "cell: Vector2i (3, -4)\n"
                          "tint: Color 44332211\n"
                          "moon: Object " +
                          moon +
                          "numbers: Array of 2 {[0]: 3, [1]: -4}\n"
                          "ages: HashTable in 7 buckets {[\"Io\"]: 410, [\"Europa\"]: 411}\n"
                          "names: LinkedList of 2 {[0]: \"first\", [1]: \"second\"}\n"
                          "moons: HashTable in 7 buckets {[\"Io\"]: count 6}\n"
                          "pNone: null\n"
                          "*pMoon.mpObject: " +
                          moon +
                          "pTable: count 1, HashTable in 7 buckets {[count]: 1, [\"moon\"]: count 6}\n"
                          "*pList.mpObject: count 2, Array of 3 {[count]: 2, [0]: count 6, [1]: null, "
                          "[2]: count 2, Array of 3}\n"
                          "rZeroString: (no text: it was never made, or is gone)\n"
                          "rWildValue: (no value: there is no type -1515870811)\n"
                          "rWildArray: (no array: -1515870811 elements in room for -1515870811)\n"
                          "rWildTable: (no table: -1515870811 buckets)\n"
                          "rWildList: (no list: -1515870811 elements)\n"
                          "unused:\n"))
        << result.mErrors;
}

TEST_F(LldbTest, TextsAndValuesAreWhatTheySay)
{
    EXPECT_THAT(Show("text noText nothing seven tenth yes word place cell tint moon"),
                StartsWith("(const QBase::String) text = \"two \\\"words\\\"\\n\xC3\xBC\"\n"
                           "(const QBase::String) noText = \"\"\n"
                           "(const QBase::Value) nothing = void\n"
                           "(const QBase::Value) seven = int 7\n"
                           "(const QBase::Value) tenth = float 0.1\n"
                           "(const QBase::Value) yes = bool true\n"
                           "(const QBase::Value) word = String \"Io\"\n"
                           "(const QBase::Value) place = Vector3 (1, 2.5, -3)\n"
                           "(const QBase::Value) cell = Vector2i (3, -4)\n"
                           "(const QBase::Value) tint = Color 0x44332211\n"
                           "(const QBase::Value) moon = Object Moon, count 6\n"));
}

TEST_F(LldbTest, ContainersAndPointersShowWhatTheyHold)
{
    EXPECT_THAT(Show("numbers ages names pMoon pObject pNone"),
                StartsWith("(QBase::Array<int>) numbers = Array of 2 {\n  [0] = 3\n  [1] = -4\n}\n"
                           "(QBase::HashTable<int>) ages = HashTable of 2 {\n  [\"Io\"] = 410\n"
                           "  [\"Europa\"] = 411\n}\n"
                           "(QBase::LinkedList<QBase::String>) names = LinkedList of 2 {\n"
                           "  [0] = \"first\"\n  [1] = \"second\"\n}\n"
                           "(QBase::Ptr<Moon>) pMoon = Moon, count 6\n"
                           "(const QBase::Ptr<QBase::Object>) pObject = Moon, count 6\n"
                           "(const QBase::Ptr<QBase::Object>) pNone = null\n"));
}

TEST_F(LldbTest, WhatIsDamagedOrWasNeverMadeIsShownAsThat)
{
    const std::string text =
        Show("rZeroString rWildString rWildValue rWildArray rWildTable rWildList rWildPtr "
             "rZeroObject rWildObject");
    for (const char* pMeaning :
         {"(no text: it was never made, or is gone)", "(unreadable: no memory at 0xa5a5a5a5a5a5a5a5)",
          "(no value: there is no type 2779096485)",
          "(no array: -1515870811 elements in room for -1515870811)", "(no table: -1515870811 buckets)",
          "(no list: -1515870811 elements)", "(no object: it was never made, or is gone)"}) {
        EXPECT_THAT(text, HasSubstr(pMeaning));
    }
}
