// The tool quirl as a program of Windows.

#include "Support/Paths.h"
#include "Support/System.h"
#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(ToolTest, GraphAsSvgIsDrawnByDotAndPrintsNothing)
{
    WriteSmall();
    const ChangedVariable onlyHere("PATH", BinaryPath("drawing"));
    const Outcome drawn = Quirl({"graph", "small.QXml", "--svg", "two words.svg"});
    EXPECT_EQ(drawn.mExitCode, 0) << drawn.mErrors;
    EXPECT_THAT(drawn.mOutput, IsEmpty());
    EXPECT_EQ(mFolder.Read("two words.svg"), "<svg>" + Quirl({"graph", "small.QXml"}).mOutput + "</svg>");
}

TEST_F(ToolTest, WithoutItsLibraryTheProgramSaysWhatIsMissing)
{
    std::filesystem::copy_file(BinaryPath("quirl.exe"), PathOf("quirl.exe"));
    ProgramStart start{{PathOf("quirl.exe"), "--version"}};
    const Outcome result = RunApart(start);
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mOutput, IsEmpty());
    EXPECT_THAT(result.mErrors, StartsWith("quirl: error: Failed to load quirl.dll - "));
    EXPECT_THAT(result.mErrors, HasSubstr("beside quirl.exe"));
}
