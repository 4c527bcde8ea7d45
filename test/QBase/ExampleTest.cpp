// The example programs, run as a reader runs them.

#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Patterns.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using testing::HasSubstr;

TEST(ExampleThreadsTest, FramesShowsWhatAnotherThreadSimulatedAndEndsByItself)
{
    if (!IsBuilt("Frames")) {
        GTEST_SKIP() << "the examples are not built";
    }
    const Outcome outcome = RunProgram(BinaryPath("Frames"));

    EXPECT_EQ(outcome.mExitCode, 0);
    EXPECT_THAT(outcome.mOutput, HasSubstr("The ball falls\nFrame  0 after   0 ms:"));
    EXPECT_THAT(outcome.mOutput, ContainsPattern("Frame  2 .*\nand falls\nFrame  3 "));
    EXPECT_THAT(outcome.mOutput, ContainsPattern("Frame  7 .*\nand comes up again\\.\nFrame  8 "));
    EXPECT_THAT(
        outcome.mOutput,
        ContainsPattern("\n12 frames in [0-9]+ ms showed [0-9]+ results; the script said 3 things\n$"));
}

TEST(ExampleThreadsTest, FramesAndSolarRunSayWhatTheyNeedWhenAskedForNoFramesAndNoSteps)
{
    if (!IsBuilt("Frames") || !IsBuilt("SolarRun")) {
        GTEST_SKIP() << "the examples are not built";
    }
    for (const char* pArguments : {"Frames many", "Frames 0", "Frames -3"}) {
        const Outcome outcome = RunProgram(BinaryPath(pArguments));
        EXPECT_NE(outcome.mExitCode, 0);
        EXPECT_THAT(outcome.mOutput, HasSubstr("Usage: Frames [NUMBER OF FRAMES]\n"));
    }
    const Outcome outcome = RunProgram(BinaryPath("SolarRun scene.QXml none later.QXml"));
    EXPECT_NE(outcome.mExitCode, 0);
    EXPECT_THAT(outcome.mOutput, HasSubstr("Usage: SolarRun SCENE STEPS OUTPUT\n"));
}

TEST(ExampleThreadsTest, SolarRunAdvancesASceneByItsStepsAndSavesIt)
{
    if (!IsBuilt("SolarRun")) {
        GTEST_SKIP() << "the examples are not built";
    }
    const TempFolder folder;
    const std::string output = folder.Path("later.QXml").c_str();
    const Outcome outcome =
        RunProgram(BinaryPath("SolarRun") + " " + SourcePath("example/solar/solar.QXml") + " 200 " + output);

    EXPECT_EQ(outcome.mExitCode, 0) << outcome.mOutput;
    EXPECT_THAT(outcome.mOutput, HasSubstr("|##################################################|\n"));
    EXPECT_THAT(outcome.mOutput, HasSubstr("200 steps brought the scene to day 50\n"));
    EXPECT_THAT(folder.Read("later.QXml"), HasSubstr("<Property Name=\"Time\" Type=\"float\">50</Property>"));
}

TEST(ExampleThreadsTest, SolarRunGoesOnFromAFileThatItSavedAsBinary)
{
    if (!IsBuilt("SolarRun")) {
        GTEST_SKIP() << "the examples are not built";
    }
    const TempFolder folder;
    const std::string program = BinaryPath("SolarRun") + " ";
    const std::string half = folder.Path("half.qobj").c_str();
    RunProgram(program + SourcePath("example/solar/solar.QXml") + " 100 " + half);
    RunProgram(program + half + " 100 " + folder.Path("twice.QXml").c_str());
    RunProgram(program + SourcePath("example/solar/solar.QXml") + " 200 " + folder.Path("once.QXml").c_str());

    EXPECT_EQ(folder.Read("twice.QXml"), folder.Read("once.QXml"));
    EXPECT_THAT(folder.Read("once.QXml"), HasSubstr("Class=\"Simulation\""));
}

TEST(ExampleThreadsTest, SolarRunFailsOnAMissingSceneAndWritesNothing)
{
    if (!IsBuilt("SolarRun")) {
        GTEST_SKIP() << "the examples are not built";
    }
    const TempFolder folder;
    const std::string output = folder.Path("later.QXml").c_str();
    const Outcome outcome =
        RunProgram(BinaryPath("SolarRun") + " " + folder.Path("missing.QXml").c_str() + " 5 " + output);

    EXPECT_NE(outcome.mExitCode, 0);
    EXPECT_THAT(outcome.mOutput, HasSubstr("file open failed"));
    EXPECT_FALSE(std::filesystem::exists(output));
}

namespace
{

std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Whether a line is as expected, where "..." stands for anything.
bool IsLike(const std::string& line, const std::string& expected)
{
    const std::size_t dots = expected.find("...");
    if (dots == std::string::npos) {
        return line == expected;
    }
    const std::string rest = expected.substr(dots + 3);
    if (line.compare(0, dots, expected, 0, dots) != 0) {
        return false;
    }
    for (std::size_t end = dots; end <= line.size(); ++end) {
        if (IsLike(line.substr(end), rest)) {
            return true;
        }
    }
    return false;
}

// The lines of a text that begin with "ERROR: ", or those that do not. Each system ends lines in its own way.
std::vector<std::string> Lines(const std::string& text, bool bErrors)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.starts_with("ERROR: ") == bErrors) {
            lines.push_back(line);
        }
    }
    return lines;
}

void ExpectLines(const std::vector<std::string>& lines, const std::vector<std::string>& expected)
{
    ASSERT_EQ(lines.size(), expected.size()) << testing::PrintToString(lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(IsLike(lines[i], expected[i])) << lines[i] << "\nis not like\n" << expected[i];
    }
}

} // namespace

TEST(ExampleThreadsTest, EachExampleOfOneThingPrintsWhatTheTextBesideItSays)
{
    if (!IsBuilt("Hello")) {
        GTEST_SKIP() << "the examples are not built";
    }
    int numExamples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SourcePath("example"))) {
        const std::string name = entry.path().stem().string();
        if (entry.path().extension() != ".txt" || name == "CMakeLists") {
            continue;
        }
        ++numExamples;
        SCOPED_TRACE(name);
        const TempFolder folder;
        ProgramStart start{{BinaryPath(name)}};
        start.mFolder = folder.Path("").c_str();
        const Outcome outcome = RunApart(start);
        const std::string expected = ReadText(entry.path());

        EXPECT_EQ(outcome.mExitCode, 0);
        ExpectLines(Lines(outcome.mOutput, false), Lines(expected, false));
        ExpectLines(Lines(outcome.mErrors, true), Lines(expected, true));
    }
    EXPECT_GE(numExamples, 11);
}
