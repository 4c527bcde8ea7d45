// Programs of this build as a test sees them from outside.
//
//     const Outcome outcome = RunProgram(BinaryPath("Hello"));
//     EXPECT_EQ(outcome.mExitCode, 0);

#pragma once

#include <string>

struct Outcome
{
    std::string mOutput; // of both streams
    int mExitCode;       // 0 for success; what the system makes of any other
};

/// Runs a program, with its arguments behind blanks, to its end.
Outcome RunProgram(const std::string& command);

/// Whether this build made the program; examples may be left out.
bool IsBuilt(const char* pProgram);
