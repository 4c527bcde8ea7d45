// Report.h is how the tool speaks to its user on standard error: troubles, what the library reported, and how
// far a long work has come.
//
//     Messages messages;                       // from now on the library's reports are collected
//     Progress progress("Loading 'solar.QXml'");
//     ...
//     for (const Message& message : messages.Take())
//         PrintMessage(message);
//     throw Trouble("Failed to open 'a' - no such file; check the path");
//
// Threads: the library may report from any thread; a Progress draws on a thread of its own.

#pragma once

#include "QBase/Object.h"
#include "QBase/Ptr.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Quirl
{

// Exit codes of the commands; a command's help says what the middle one stands for.
enum ExitCode : int
{
    EXIT_FINE = 0,
    EXIT_FOUND = 1, // diff: the graphs differ; check: a file loads with warnings
    EXIT_TROUBLE = 2
};

// Ends the command with EXIT_TROUBLE. The text says what failed, why, and what to do next.
class Trouble : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// One report of the library, without the marks in front of it.
struct Message
{
    enum Kind
    {
        NOTE,
        WARNING,
        ERROR
    };

    Kind mKind;
    std::string mText;
    std::string mPlace; // in the file that was being loaded; may be empty
};

/// The text, and behind it the place in brackets.
std::string DescribeMessage(const Message& message);

/// "note", "warning" or "error".
const char* GetKindName(Message::Kind kind);

/// Prints "quirl: KIND: TEXT (PLACE)" to standard error.
void PrintMessage(const Message& message);

// Messages collects what the library reports while it lives; an inner one before an outer one.
class Messages
{
public:
    Messages();
    ~Messages();
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    /// All messages since the last call, in the order of their reports.
    std::vector<Message> Take();

    /// Takes and prints them.
    void Print();

private:
    class Collector;

    QBase::Ptr<QBase::Object> mpOldInfoHandler;
    QBase::Ptr<QBase::Object> mpOldErrorHandler;
    std::mutex mMutex;
    std::vector<Message> mMessages; // guarded by mMutex
};

// Progress shows what the tool is at, and how much of it is done, while that takes longer than a moment and
// standard error is a terminal. Its line is gone when the work is.
class Progress
{
public:
    /// `total` is the number of steps; 0 when nobody knows it.
    explicit Progress(std::string title, std::size_t total = 0);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// How many steps are done by now.
    void SetDone(std::size_t done) { mDone.store(done, std::memory_order_relaxed); }

private:
    void Run();
    void Draw(double seconds) const;

    std::string mTitle;
    std::size_t mTotal;
    std::atomic<std::size_t> mDone{0};
    std::mutex mMutex;
    std::condition_variable mWake;
    bool mbStopped = false; // guarded by mMutex
    std::thread mThread;
};

} // namespace Quirl
