// System.h: what the tool asks of an operating system, beside what the library does for it. A new port is one
// new Platform/System<System>.cpp. Texts are UTF-8.
//
// Threads: IsTerminal may be called by any thread; everything else belongs to the main thread.

#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace Quirl
{

/// The tool itself, which the system's entry function calls: with the words of the command line behind the
/// program's name, and with a standard output that nobody has written to. What libraries print while they
/// load is kept away from it, because other programs read what the tool prints. The exit code.
int RunTool(const std::vector<std::string>& words);

/// Keeps every byte as it is in a standard stream.
void SetBinaryMode(std::FILE* pFile);

bool IsTerminal(std::FILE* pFile);

/// The folder that the running program lies in; empty when nobody knows.
std::string GetProgramFolder();

bool IsFolder(const std::string& path);

/// The folders that an environment variable lists, as PATH does. Those without a name are left out.
std::vector<std::string> GetFolderList(const char* pVariable);

/// Loads the library of that name, which is its file's without what the system puts around it, from the
/// folder. False when the folder has none, and when it does not load; `rReason` then says why.
bool LoadLibraryFrom(const std::string& folder, const std::string& name, std::string& rReason);

/// Whether the C library has something global of that name.
bool IsNameOfSystem(const std::string& name);

/// Opens a file for reading. Null on failure; `rReason` then says why.
std::FILE* OpenForReading(const std::string& path, std::string& rReason);

/// The bytes of an open file; -1 for devices and pipes, which have no number of their own.
std::int64_t GetFileSize(std::FILE* pFile);

// Tells one state of a file from another without reading it, as well as the system can.
struct FileStamp
{
    std::uint64_t mDevice = 0;
    std::uint64_t mFile = 0; // its number there: another file under the same name has another
    std::uint64_t mSize = 0;
    std::int64_t mWriteTime = 0;  // of its bytes; programs set it as they like
    std::int64_t mChangeTime = 0; // of anything about it, by the system's own clock

    bool operator==(const FileStamp& other) const = default;
};

/// The stamp of the file that a path leads to; an empty one when there is none.
FileStamp GetFileStamp(const std::string& path);

/// Removes the file when the user or the system ends the program before its time. One file at a time; an
/// empty path for none.
void RemoveWhenInterrupted(const std::string& path);

/// A word as the shells of the system take it, whatever stands in it.
std::string QuoteForShell(const std::string& word);

/// Runs a program, looked for as a shell does, and gives it `input` to read. Its exit code; -1 when it
/// cannot be started or was stopped.
int RunProgram(const std::vector<std::string>& words, const std::string& input);

} // namespace Quirl
