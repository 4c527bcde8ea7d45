#include "System.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <system_error>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" char** environ;

namespace Quirl
{

namespace
{

constinit int g_Output = -1; // where standard output led when the program started; -1 when nowhere

// The library reports its version to standard output while it loads, which is before main and before any
// static of this program. Only the functions in an executable's .preinit_array run earlier: the dynamic
// linker calls them when all libraries are mapped and none is initialised. Nothing but system calls is safe
// here.
void HideStandardOutput(int, char**, char**)
{
    g_Output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (g_Output < 0 || nowhere < 0) {
        return; // started without standard output, or in a place without devices
    }
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*g_pHideStandardOutput)(int, char**,
                                                                            char**) = &HideStandardOutput;

constexpr std::size_t MAX_PATH_SIZE = 4096;
char g_DoomedPath[MAX_PATH_SIZE]; // for a signal handler, which may use little else
constexpr int ENDING_SIGNALS[] = {SIGHUP, SIGINT, SIGTERM, SIGXCPU, SIGXFSZ};

// The signal comes back as soon as this returns, and then ends the program.
void RemoveDoomedFile(int signal)
{
    unlink(g_DoomedPath);
    raise(signal);
}

// Writes all of `input`, unless the reader goes away first.
void Feed(int pipe, const std::string& input)
{
    std::size_t written = 0;
    while (written < input.size()) {
        const ssize_t count = write(pipe, input.data() + written, input.size() - written);
        if (count < 0 && errno != EINTR) {
            return;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

int WaitFor(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::int64_t ToNanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

void ShowStandardOutput()
{
    if (g_Output >= 0) {
        dup2(g_Output, STDOUT_FILENO);
        close(g_Output);
        g_Output = -1;
    }
}

} // namespace

void SetBinaryMode(std::FILE*)
{}

std::string GetProgramFolder()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : program.parent_path().string();
}

bool IsTerminal(std::FILE* pFile)
{
    return isatty(fileno(pFile)) != 0;
}

bool IsFolder(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::vector<std::string> GetFolderList(const char* pVariable)
{
    const char* const pList = std::getenv(pVariable);
    std::vector<std::string> folders;
    std::istringstream list(pList != nullptr ? pList : "");
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty()) {
            folders.push_back(folder);
        }
    }
    return folders;
}

bool LoadLibraryFrom(const std::string& folder, const std::string& name, std::string& rReason)
{
    for (const char* const pPrefix : {"", "lib"}) {
        const std::string path = folder + "/" + pPrefix + name + ".so";
        if (access(path.c_str(), F_OK) != 0) {
            continue;
        }
        if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr) {
            return true;
        }
        rReason = dlerror();
        return false;
    }
    return false;
}

bool IsNameOfSystem(const std::string& name)
{
    return dlsym(RTLD_DEFAULT, name.c_str()) != nullptr;
}

std::FILE* OpenForReading(const std::string& path, std::string& rReason)
{
    std::FILE* const pFile = std::fopen(path.c_str(), "rbe");
    struct stat status = {};
    if (pFile == nullptr || fstat(fileno(pFile), &status) != 0) {
        rReason = std::strerror(errno);
    } else if (S_ISDIR(status.st_mode)) {
        rReason = std::strerror(EISDIR);
    } else {
        return pFile;
    }
    if (pFile != nullptr) {
        std::fclose(pFile);
    }
    return nullptr;
}

std::int64_t GetFileSize(std::FILE* pFile)
{
    struct stat status;
    return fstat(fileno(pFile), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

FileStamp GetFileStamp(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            ToNanoseconds(status.st_mtim), ToNanoseconds(status.st_ctim)};
}

void RemoveWhenInterrupted(const std::string& path)
{
    const bool bDoomed = !path.empty() && path.size() < MAX_PATH_SIZE;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (const int signal : ENDING_SIGNALS) {
        struct sigaction present = {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler == &RemoveDoomedFile) {
            sigaction(signal, &action, nullptr);
        }
    }
    if (!bDoomed) {
        return;
    }
    std::memcpy(g_DoomedPath, path.c_str(), path.size() + 1);
    action.sa_handler = &RemoveDoomedFile;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : ENDING_SIGNALS) {
        struct sigaction present = {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler == SIG_DFL) { // who started us may have it ignored
            sigaction(signal, &action, nullptr);
        }
    }
}

std::string QuoteForShell(const std::string& word)
{
    std::string quoted = "'";
    for (const char character : word) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + "'";
}

int RunProgram(const std::vector<std::string>& words, const std::string& input)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    pid_t process = 0;
    const int error = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    if (error != 0) {
        close(ends[1]);
        return -1;
    }
    const auto pOldHandler =
        std::signal(SIGPIPE, SIG_IGN); // a program that stops reading is no reason to die
    Feed(ends[1], input);
    close(ends[1]);
    std::signal(SIGPIPE, pOldHandler);
    return WaitFor(process);
}

} // namespace Quirl

int main(int numWords, char** ppWords)
{
    Quirl::ShowStandardOutput();
    return Quirl::RunTool(std::vector<std::string>(ppWords + std::min(numWords, 1), ppWords + numWords));
}
