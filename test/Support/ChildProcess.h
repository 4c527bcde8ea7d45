// Programs of this build as a test sees them from outside.
//
//     const Outcome outcome = RunProgram(BinaryPath("Hello"));
//     EXPECT_EQ(outcome.mExitCode, 0);
//
//     ProgramStart start{{BinaryPath("quirl"), "show", "-"}};
//     start.mInput = "hello";
//     EXPECT_THAT(RunApart(start).mErrors, HasSubstr("say --from"));

#pragma once

#include <cstddef>
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

/// Whether this build made the program; examples may be left out.
bool IsBuilt(const char* pProgram);
