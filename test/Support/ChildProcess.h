// Programs of this build as a test sees them from outside.
//
//     const Outcome outcome = RunProgram(BinaryPath("Hello"));
//     EXPECT_EQ(outcome.mExitCode, 0);
//
//     ProgramStart start{{BinaryPath("quirl"), "show", "-"}};
//     start.mInput = "hello";
//     EXPECT_THAT(RunApart(start).mErrors, HasSubstr("say --from"));
//
//     RunningProgram peer({{BinaryPath("FramePeer"), "deaf", "4711"}}); // runs beside the test
//     ASSERT_TRUE(WaitUntil([&] { return peer.HasPrinted("ready"); }));
//     peer.Kill();

#pragma once

#include "Support/TempFolder.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct Outcome
{
    std::string mOutput; // standard output
    int mExitCode;       // 0 for success; what the system makes of any other
    std::string mErrors; // standard error
};

// What a command line does not say.
struct ProgramStart
{
    std::vector<std::string> mWords;     // the program's path first; each reaches the program as it stands
    std::string mFolder = std::string(); // where it runs; empty for this program's own
    std::string mInput = std::string();  // what standard input gives it
    int mKillAfter = -1;                 // milliseconds; negative for never
    std::size_t mStackSize = 0; // bytes, where the program does not say itself how many; 0 for the usual
};

/// Runs a program, with its arguments behind blanks, to its end. Both streams are in `mOutput`.
Outcome RunProgram(const std::string& command);

/// Runs a program to its end or until it is killed. The exit code is the program's own, or -1 when it was
/// killed or did not start.
Outcome RunApart(const ProgramStart& start);

/// A program that runs beside the test. It ends with the object that stands for it, if not before.
class RunningProgram
{
public:
    explicit RunningProgram(const ProgramStart& start);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    /// Ends it at once, whatever it is at, and waits until it is gone.
    void Kill();

    /// Lets it run no further, with everything that it holds open. False where the system cannot.
    bool Pause();

    /// Waits until it ends by itself. Its exit code, or -1 when it was killed or never started.
    int Wait();

    /// What it has printed so far.
    std::string GetOutput() const { return mStreams.Read("out"); }
    bool HasPrinted(const std::string& text) const { return GetOutput().find(text) != std::string::npos; }

private:
    friend Outcome RunApart(const ProgramStart& start);
    struct Process;

    int WaitOrKill(int milliseconds);

    TempFolder mStreams;
    std::unique_ptr<Process> mpProcess; // null once it ended
};

/// Whether this build made the program; examples may be left out.
bool IsBuilt(const char* pProgram);
