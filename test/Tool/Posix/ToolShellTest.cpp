// The tool quirl at a shell: pipes, terminals, devices and names that only some systems have.

#include "QBase/List.h"
#include "Support/Paths.h"
#include "Support/Sanitizer.h"
#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class ToolShellTest : public ToolTest
{
protected:
    /// Runs shell commands in the folder of the test; "quirl" there is the built tool.
    Outcome Run(const std::string& commands) const
    {
        ProgramStart start{
            {"/bin/sh", "-c", "quirl() { '" + BinaryPath("quirl") + "' \"$@\"; }\n" + commands}};
        start.mFolder = PathOf("");
        return RunApart(start);
    }
};

} // namespace

TEST_F(ToolShellTest, APipeIsReadAndWrittenLikeAFile)
{
    WriteSmall();
    const Outcome result = Run("cat small.QXml | quirl convert - - | quirl diff small.QXml - && echo same");
    EXPECT_EQ(result.mOutput, "same\n");
    EXPECT_THAT(result.mErrors, IsEmpty());
}

TEST_F(ToolShellTest, ANameThatIsNoUtf8IsReadButNotWritten)
{
    WriteSmall();
    EXPECT_THAT(Run("quirl convert small.QXml \"$(printf 'a\\377b')\"").mErrors, HasSubstr("is no UTF-8"));
    EXPECT_EQ(Run("cp small.QXml \"$(printf 'a\\377b')\" && quirl show \"$(printf 'a\\377b')\"").mExitCode,
              0);
}

TEST_F(ToolShellTest, AFullDiskIsTrouble)
{
    WriteSmall();
    const Outcome result = Run("quirl convert small.QXml - >/dev/full");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("Failed to write to standard output - No space left on device"));
}

TEST_F(ToolShellTest, ADiskThatWasFullBeforeTheLastBytesIsTrouble)
{
    SaveWide(5000, "wide");
    const Outcome result = Run("quirl show wide >/dev/full");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("Failed to write to standard output - "));
}

TEST_F(ToolShellTest, BytesThatADiskDidNotTakeAreNotForgottenWhenNoneFollow)
{
    const Outcome result = Run("quirl --manual-page >/dev/full"); // one piece, which no buffer keeps
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_EQ(result.mErrors,
              "quirl: error: Failed to write to standard output - an earlier write failed; make "
              "room there or write to another place\n");
}

TEST_F(ToolShellTest, AFileThatCannotTakeItsBytesIsNotReplaced)
{
    WriteSmall();
    mFolder.Write("kept.bin", "old");
    const Outcome result =
        Run("(trap '' XFSZ; ulimit -f 0; quirl convert small.QXml kept.bin 2>&1; echo $?) | cat");
    EXPECT_THAT(result.mOutput, HasSubstr("cannot bring the new contents to the disk"));
    EXPECT_THAT(result.mOutput, EndsWith("\n2\n"));
    EXPECT_EQ(mFolder.Read("kept.bin"), "old");
    EXPECT_EQ(CountFiles(), 2u);
}

TEST_F(ToolShellTest, AModuleThatDoesNotFitOnTheDiskLeavesNothingBehind)
{
    const Outcome result = Run("(trap '' XFSZ; ulimit -f 0; quirl new-module Rocket 2>&1; echo $?) | cat");
    EXPECT_THAT(result.mOutput,
                StartsWith("quirl: error: Failed to write 'Rocket/CMakeLists.txt'; make room there, or "
                           "go to a folder in which you may write\n2\n"));
    EXPECT_EQ(CountFiles(), 0u);
}

TEST_F(ToolShellTest, WithoutDotAGraphCannotBeDrawn)
{
    WriteSmall();
    const Outcome result = Run("PATH=/nowhere; export PATH; quirl graph small.QXml --svg small.svg");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(
        result.mErrors,
        EndsWith("Failed to draw 'small.svg' - the program dot cannot be run or failed; install the package "
                 "graphviz, or do without --svg and give the text to another program\n"));
    EXPECT_EQ(CountFiles(), 1u);
}

TEST_F(ToolShellTest, AFileThatOpensAndCannotBeReadIsTrouble)
{
    const Outcome result = Run("quirl show /proc/self/mem");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors,
                HasSubstr("Failed to read '/proc/self/mem' - Input/output error; check the disk it is on"));
}

TEST_F(ToolShellTest, AFileLargerThanAnyGraphIsTroubleAtOnce)
{
    const Outcome result = Run("truncate -s 3G large && quirl show large");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors,
                HasSubstr("Failed to read 'large' - it is larger than 2 GiB, which no graph file can be"));
}

TEST_F(ToolShellTest, AnInputThatMemoryCannotHoldIsTrouble)
{
    if (HAS_SANITIZER) {
        GTEST_SKIP() << "sanitizers take all address space";
    }
    const Outcome result = Run("ulimit -v 200000; head -c 300000000 /dev/zero | quirl show -");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("Failed for lack of memory; close other programs"));
}

TEST_F(ToolShellTest, GraphAsSvgIsDrawnByDotAndPrintsNothing)
{
    WriteSmall();
    const Outcome drawn = Run("quirl graph small.QXml --svg small.svg");
    EXPECT_EQ(drawn.mExitCode, 0) << drawn.mErrors;
    EXPECT_THAT(drawn.mOutput, IsEmpty());
    EXPECT_THAT(mFolder.Read("small.svg"), HasSubstr("</svg>"));
    const Outcome printed = Run("quirl graph small.QXml --svg -");
    EXPECT_EQ(printed.mExitCode, 0) << printed.mErrors;
    EXPECT_EQ(printed.mOutput, mFolder.Read("small.svg"));
}

TEST_F(ToolShellTest, AnInterruptedDrawingLeavesTheOldFileAndNothingElse)
{
    // A dot that takes its time and tells that it runs.
    WriteSmall();
    mFolder.Write("kept.svg", "old");
    mFolder.Write("dot", "#!/bin/sh\ntouch started\nexec sleep 5\n");
    const Outcome result =
        Run("chmod +x dot; PATH=.:$PATH; for signal in TERM HUP; do rm -f started; '" + BinaryPath("quirl") +
            "' graph small.QXml --svg kept.svg & pid=$!; while [ ! -e started ]; do sleep 0.05; done; "
            "ls -a | grep -c qbase; kill -s $signal $pid; wait $pid; echo $?; done; rm -f started dot; "
            "ls -a | grep -c qbase");
    EXPECT_EQ(result.mOutput, "1\n143\n1\n129\n0\n");
    EXPECT_EQ(mFolder.Read("kept.svg"), "old");
}

TEST_F(ToolShellTest, OnATerminalBinaryIsRefusedAndLongWorkShowsWhatItIsAt)
{
    WriteSmall();
    const std::string quirl = "'" + BinaryPath("quirl") + "'";
    const Outcome refused = Run("script -qec \"" + quirl + " convert small.QXml -\" /dev/null");
    EXPECT_THAT(refused.mOutput, HasSubstr("Failed to write binary to the terminal; say --to xml"));
    // The input comes late, so that there is something to wait for.
    const Outcome waited = Run("script -qec \"(sleep 1; cat small.QXml) | " + quirl +
                               " check - >checked\" /dev/null; cat checked");
    EXPECT_THAT(waited.mOutput, HasSubstr("\r\033[KLoading standard input ... "));
    EXPECT_THAT(waited.mOutput, HasSubstr("-: ok, xml"));
    EXPECT_THAT(Run("(sleep 1; cat small.QXml) | quirl check -").mErrors, IsEmpty());
    // The reader is slow, and what is left can be told.
    SaveWide(20000, "wide");
    EXPECT_THAT(Run("script -qec \"" + quirl + " show wide | (sleep 1; cat >shown)\" /dev/null").mOutput,
                testing::ContainsRegex("Showing objects \\[#* *\\] +[0-9]+ %"));
}

TEST_F(ToolShellTest, WrongCountsInAFileAreReportedInLittleMemory)
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
    const Outcome result = Run("ulimit -v 65536; quirl check list && quirl check damaged*");
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mOutput, StartsWith("list: ok, "));
    for (int i = 0; i < numFiles; ++i) {
        const std::string report = "damaged" + std::to_string(i) +
                                   ": error: Failed to deserialize file 'damaged" + std::to_string(i) +
                                   "' - ";
        EXPECT_THAT(result.mOutput, HasSubstr(report));
    }
}
