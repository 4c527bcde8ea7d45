// CapturedConsole records what the library prints while no handler is installed: standard output, standard
// error and the debugger's output.
//
//     CapturedConsole console;
//     QBase::Info("%d planets", 8);
//     EXPECT_EQ(console.TakeOutput(), "8 planets\n");
//
// Outside of one, a message on the console fails the test that caused it.

#pragma once

#include <string>

class CapturedConsole
{
public:
    CapturedConsole();
    ~CapturedConsole();
    CapturedConsole(const CapturedConsole&) = delete;
    CapturedConsole& operator=(const CapturedConsole&) = delete;

    /// Ends the recording of the stream and gives what was printed.
    std::string TakeOutput();
    std::string TakeErrors();

    /// What the debugger showed so far.
    std::string GetDebuggerOutput() const;

private:
    bool mbOutputTaken = false;
    bool mbErrorsTaken = false;
};

/// Starts to watch for messages on the console outside of any CapturedConsole.
void WatchConsole();

/// The messages seen since the last call; empty when there were none.
std::string TakeUnexpectedMessages();
