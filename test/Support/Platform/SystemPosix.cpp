#include "Support/System.h"

#include "Support/ChildProcess.h"
#include "Support/TempFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

const char* const LIBRARY_SUFFIX = ".so";
const char* const NULL_DEVICE = "/dev/null";

bool MakeLink(const std::string& target, const std::string& link)
{
    return symlink(target.c_str(), link.c_str()) == 0;
}

bool IsStackOverflow(int exitStatus)
{
    // A sanitizer prints what happened and exits itself.
    return WIFSIGNALED(exitStatus) ? WTERMSIG(exitStatus) == SIGSEGV || WTERMSIG(exitStatus) == SIGBUS
                                   : WEXITSTATUS(exitStatus) != 0;
}

// Standard input is one end of a conversation; without it there is none.
Solitude::Solitude() : mpOldSurroundings(nullptr), mpSurroundings(nullptr)
{
    const int oldInput = dup(STDIN_FILENO);
    const int nowhere = open(NULL_DEVICE, O_RDONLY | O_CLOEXEC);
    dup2(nowhere, STDIN_FILENO);
    close(nowhere);
    mpOldSurroundings = reinterpret_cast<void*>(static_cast<std::intptr_t>(oldInput));
}

Solitude::~Solitude()
{
    const int oldInput = static_cast<int>(reinterpret_cast<std::intptr_t>(mpOldSurroundings));
    if (oldInput >= 0) {
        dup2(oldInput, STDIN_FILENO);
        close(oldInput);
    }
}

ChangedVariable::ChangedVariable(const char* pName, const std::string& value) : mpName(pName)
{
    const char* const pOldValue = std::getenv(pName);
    mOldValue = pOldValue != nullptr ? pOldValue : "";
    setenv(pName, value.c_str(), 1);
}

ChangedVariable::~ChangedVariable()
{
    setenv(mpName, mOldValue.c_str(), 1);
}

namespace
{

// Never returns. Runs in the new process.
void BecomeProgram(const ProgramStart& start, char* const* ppWords, const char* const* ppStreams)
{
    constexpr int FLAGS[] = {O_RDONLY, O_WRONLY, O_WRONLY};
    for (int stream = 0; stream < 3; ++stream) {
        const int file = open(ppStreams[stream], FLAGS[stream]);
        if (file < 0 || dup2(file, stream) < 0) {
            _exit(127);
        }
        close(file);
    }
    if (start.mStackSize > 0) {
        const rlimit limit{start.mStackSize, start.mStackSize};
        setrlimit(RLIMIT_STACK, &limit);
    }
    if (start.mFolder.empty() || chdir(start.mFolder.c_str()) == 0) {
        execv(ppWords[0], ppWords);
    }
    _exit(127);
}

int WaitFor(pid_t process, int killAfter)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(killAfter);
    int status = 0;
    int options = killAfter >= 0 ? WNOHANG : 0;
    for (;;) {
        const pid_t ended = waitpid(process, &status, options);
        if (ended == process) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        if (ended < 0 && errno != EINTR) {
            return -1;
        }
        if (options == WNOHANG && Clock::now() >= end) {
            kill(process, SIGKILL);
            options = 0;
        }
        if (options == WNOHANG) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

} // namespace

struct RunningProgram::Process
{
    pid_t mId;
};

RunningProgram::RunningProgram(const ProgramStart& start)
{
    const QBase::String paths[] = {mStreams.Write("in", start.mInput), mStreams.Write("out", ""),
                                   mStreams.Write("err", "")};
    const char* const pStreams[] = {paths[0].c_str(), paths[1].c_str(), paths[2].c_str()};
    std::vector<std::string> words = start.mWords;
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    const pid_t process = fork();
    if (process == 0) {
        BecomeProgram(start, pointers.data(), pStreams);
    }
    if (process < 0) {
        ADD_FAILURE() << "cannot run " << words[0];
        return;
    }
    mpProcess = std::make_unique<Process>(Process{process});
}

RunningProgram::~RunningProgram()
{
    Kill();
}

void RunningProgram::Kill()
{
    WaitOrKill(0);
}

bool RunningProgram::Pause()
{
    return mpProcess != nullptr && kill(mpProcess->mId, SIGSTOP) == 0;
}

int RunningProgram::Wait()
{
    return WaitOrKill(-1);
}

int RunningProgram::WaitOrKill(int milliseconds)
{
    const std::unique_ptr<Process> pProcess = std::move(mpProcess);
    return pProcess != nullptr ? WaitFor(pProcess->mId, milliseconds) : -1;
}

Outcome RunApart(const ProgramStart& start)
{
    RunningProgram program(start);
    const int exitCode = program.WaitOrKill(start.mKillAfter);
    return {program.mStreams.Read("out"), exitCode, program.mStreams.Read("err")};
}
