#include "System.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <system_error>

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

namespace Quirl
{

namespace
{

std::wstring ToWide(const std::string& text)
{
    const int length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0'); // UTF-16 never has more units than UTF-8
    wide.resize(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), length)));
    return wide;
}

// A word as programs take it apart again: backslashes only count in front of a quotation mark.
std::wstring Quoted(const std::wstring& word)
{
    std::wstring quoted = L"\"";
    std::size_t numBackslashes = 0;
    for (const wchar_t character : word) {
        if (character == L'"') {
            quoted.append(numBackslashes + 1, L'\\'); // one more for each in front, and one for the mark
        }
        numBackslashes = character == L'\\' ? numBackslashes + 1 : 0;
        quoted += character;
    }
    quoted.append(numBackslashes, L'\\');
    return quoted + L"\"";
}

std::string ToNarrow(const wchar_t* pText)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, pText, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, pText, -1, narrow.data(), size, nullptr, nullptr);
    narrow.pop_back(); // the terminator
    return narrow;
}

std::uint64_t Join(DWORD high, DWORD low)
{
    return std::uint64_t{high} << 32 | low;
}

void Feed(HANDLE pipe, const std::string& input)
{
    std::size_t written = 0;
    DWORD count = 0;
    while (written < input.size() && WriteFile(pipe, input.data() + written,
                                               static_cast<DWORD>(input.size() - written), &count, nullptr)) {
        written += count;
    }
}

} // namespace

void SetBinaryMode(std::FILE* pFile)
{
    std::fflush(pFile);
    _setmode(_fileno(pFile), _O_BINARY);
}

std::string GetProgramFolder()
{
    wchar_t path[32768];
    const DWORD length = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
    if (length == 0 || length == std::size(path)) {
        return {};
    }
    const std::string program = ToNarrow(path);
    return program.substr(0, program.rfind('\\'));
}

bool IsTerminal(std::FILE* pFile)
{
    DWORD mode = 0; // only a console has one
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pFile))), &mode) != 0;
}

bool IsFolder(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(ToWide(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::vector<std::string> GetFolderList(const char* pVariable)
{
    wchar_t text[32768]; // the longest that there is
    const DWORD length =
        GetEnvironmentVariableW(ToWide(pVariable).c_str(), text, static_cast<DWORD>(std::size(text)));
    std::vector<std::string> folders;
    std::istringstream list(length > 0 && length < std::size(text) ? ToNarrow(text) : std::string());
    for (std::string folder; std::getline(list, folder, ';');) {
        if (!folder.empty()) {
            folders.push_back(folder);
        }
    }
    return folders;
}

bool LoadLibraryFrom(const std::string& folder, const std::string& name, std::string& rReason)
{
    for (const char* const pPrefix : {"", "lib"}) {
        // What the library needs may lie beside it; the system looks there for a whole path alone.
        wchar_t path[32768];
        const std::wstring given = ToWide(folder + "\\" + pPrefix + name + ".dll");
        const DWORD length =
            GetFullPathNameW(given.c_str(), static_cast<DWORD>(std::size(path)), path, nullptr);
        if (length == 0 || length >= std::size(path) || GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) {
            continue;
        }
        if (LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH) != nullptr) {
            return true;
        }
        rReason = std::system_category().message(static_cast<int>(GetLastError()));
        return false;
    }
    return false;
}

bool IsNameOfSystem(const std::string& name)
{
    return GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name.c_str()) != nullptr;
}

std::FILE* OpenForReading(const std::string& path, std::string& rReason)
{
    const std::wstring widePath = ToWide(path);
    std::FILE* const pFile = _wfopen(widePath.c_str(), L"rb");
    if (pFile == nullptr) {
        // The system's own answer to a folder speaks of rights.
        const int error = errno;
        const DWORD attributes = GetFileAttributesW(widePath.c_str());
        const bool bFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
        rReason = std::strerror(bFolder ? EISDIR : error);
    }
    return pFile;
}

std::int64_t GetFileSize(std::FILE* pFile)
{
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pFile)));
    LARGE_INTEGER size;
    return GetFileType(handle) == FILE_TYPE_DISK && GetFileSizeEx(handle, &size) ? size.QuadPart : -1;
}

FileStamp GetFileStamp(const std::string& path)
{
    // Whoever writes or replaces the file meanwhile is not in the way of this, nor this of them.
    const HANDLE file = CreateFileW(ToWide(path).c_str(), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    FileStamp stamp;
    BY_HANDLE_FILE_INFORMATION information;
    FILE_BASIC_INFO times;
    if (GetFileInformationByHandle(file, &information)) {
        stamp.mDevice = information.dwVolumeSerialNumber;
        stamp.mFile = Join(information.nFileIndexHigh, information.nFileIndexLow);
        stamp.mSize = Join(information.nFileSizeHigh, information.nFileSizeLow);
    }
    if (GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof(times))) {
        stamp.mWriteTime = times.LastWriteTime.QuadPart;
        stamp.mChangeTime = times.ChangeTime.QuadPart;
    }
    CloseHandle(file);
    return stamp;
}

void RemoveWhenInterrupted(const std::string&)
{
    // A file that is open cannot be removed here.
}

// No path has a quotation mark in it.
std::string QuoteForShell(const std::string& word)
{
    return "\"" + word + "\"";
}

int RunProgram(const std::vector<std::string>& words, const std::string& input)
{
    std::wstring commandLine;
    for (const std::string& word : words) {
        commandLine += (commandLine.empty() ? L"" : L" ") + Quoted(ToWide(word));
    }
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherited, 0)) {
        return -1;
    }
    SetHandleInformation(writeEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = readEnd;
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    const BOOL bStarted = CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                         nullptr, &startup, &process);
    CloseHandle(readEnd);
    if (!bStarted) {
        CloseHandle(writeEnd);
        return -1;
    }
    Feed(writeEnd, input);
    CloseHandle(writeEnd);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 0;
    const BOOL bKnown = GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return bKnown ? static_cast<int>(exitCode) : -1;
}

} // namespace Quirl

// The program finds this one by its name.
extern "C" __declspec(dllexport) int RunQuirl()
{
    // The words that main gets have lost the letters that the machine's own language does not know.
    int numWords = 0;
    wchar_t** const ppWords = CommandLineToArgvW(GetCommandLineW(), &numWords);
    std::vector<std::string> words;
    for (int i = 1; i < numWords; ++i) {
        words.push_back(Quirl::ToNarrow(ppWords[i]));
    }
    LocalFree(ppWords);
    Quirl::SetBinaryMode(stdout); // the same bytes on every system
    Quirl::SetBinaryMode(stderr);
    return Quirl::RunTool(words);
}
