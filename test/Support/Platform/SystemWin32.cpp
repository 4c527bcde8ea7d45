#include "Support/System.h"

#include "Support/ChildProcess.h"
#include "Support/TempFolder.h"

#include "QBase/String.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include <windows.h>

const char* const LIBRARY_SUFFIX = ".dll";
const char* const NULL_DEVICE = "NUL";

namespace
{

std::wstring ToWide(const std::string& text)
{
    return QBase::String(text.c_str()).buffer_utf16().c_str();
}

// A word as programs take it apart again: backslashes only count in front of a quotation mark.
std::wstring Quoted(const std::wstring& word)
{
    std::wstring quoted = L"\"";
    std::size_t numBackslashes = 0;
    for (const wchar_t character : word) {
        if (character == L'"') {
            quoted.append(numBackslashes + 1, L'\\');
        }
        numBackslashes = character == L'\\' ? numBackslashes + 1 : 0;
        quoted += character;
    }
    quoted.append(numBackslashes, L'\\');
    return quoted + L"\"";
}

// A file that a started program has as one of its standard streams.
class StreamFile
{
public:
    StreamFile(const QBase::String& path, DWORD access)
    {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        mHandle = CreateFileW(ToWide(path.c_str()).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              &inherited, OPEN_EXISTING, 0, nullptr);
    }
    ~StreamFile() { CloseHandle(mHandle); }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;

    HANDLE Get() const { return mHandle; }

private:
    HANDLE mHandle;
};

int WaitFor(HANDLE process, int killAfter)
{
    constexpr UINT KILLED = 0xFFFFFFFF;
    if (WaitForSingleObject(process, killAfter >= 0 ? static_cast<DWORD>(killAfter) : INFINITE) ==
        WAIT_TIMEOUT) {
        TerminateProcess(process, KILLED);
        WaitForSingleObject(process, INFINITE);
    }
    DWORD exitCode = KILLED;
    GetExitCodeProcess(process, &exitCode);
    return static_cast<int>(exitCode);
}

} // namespace

bool MakeLink(const std::string& target, const std::string& link)
{
    // Some systems answer that they did, and did not.
    return CreateSymbolicLinkW(ToWide(link).c_str(), ToWide(target).c_str(), 0) &&
           GetFileAttributesW(ToWide(link).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsStackOverflow(int exitStatus)
{
    // Wine ends the thread alone, so that the program ends without a code of its own.
    const bool bWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return static_cast<DWORD>(exitStatus) == STATUS_STACK_OVERFLOW || (bWine && exitStatus == 0);
}

// A station without a desktop that anybody sees.
Solitude::Solitude()
    : mpOldSurroundings(GetProcessWindowStation()),
      mpSurroundings(CreateWindowStationW(nullptr, 0, GENERIC_ALL, nullptr))
{
    EXPECT_TRUE(SetProcessWindowStation(static_cast<HWINSTA>(mpSurroundings)));
}

Solitude::~Solitude()
{
    EXPECT_TRUE(SetProcessWindowStation(static_cast<HWINSTA>(mpOldSurroundings)));
    CloseWindowStation(static_cast<HWINSTA>(mpSurroundings));
}

ChangedVariable::ChangedVariable(const char* pName, const std::string& value) : mpName(pName)
{
    const std::wstring name = ToWide(mpName);
    const DWORD size = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    std::wstring oldValue(size, L'\0');
    oldValue.resize(GetEnvironmentVariableW(name.c_str(), oldValue.data(), size));
    mOldValue = QBase::String(oldValue.c_str()).c_str();
    SetEnvironmentVariableW(name.c_str(), ToWide(value).c_str());
}

ChangedVariable::~ChangedVariable()
{
    SetEnvironmentVariableW(ToWide(mpName).c_str(), ToWide(mOldValue).c_str());
}

struct RunningProgram::Process
{
    PROCESS_INFORMATION mInformation;
};

RunningProgram::RunningProgram(const ProgramStart& start)
{
    const StreamFile input(mStreams.Write("in", start.mInput), GENERIC_READ);
    const StreamFile output(mStreams.Write("out", ""), GENERIC_WRITE);
    const StreamFile errors(mStreams.Write("err", ""), GENERIC_WRITE);
    std::wstring commandLine;
    for (const std::string& word : start.mWords) {
        commandLine += (commandLine.empty() ? L"" : L" ") + Quoted(ToWide(word));
    }
    const std::wstring folder = ToWide(start.mFolder);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.Get();
    startup.hStdOutput = output.Get();
    startup.hStdError = errors.Get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                        folder.empty() ? nullptr : folder.c_str(), &startup, &process)) {
        ADD_FAILURE() << "cannot run " << start.mWords[0];
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
    return false; // a program's threads are its own there
}

int RunningProgram::Wait()
{
    return WaitOrKill(-1);
}

int RunningProgram::WaitOrKill(int milliseconds)
{
    const std::unique_ptr<Process> pProcess = std::move(mpProcess);
    if (pProcess == nullptr) {
        return -1;
    }
    const int exitCode = WaitFor(pProcess->mInformation.hProcess, milliseconds);
    CloseHandle(pProcess->mInformation.hThread);
    CloseHandle(pProcess->mInformation.hProcess);
    return exitCode;
}

Outcome RunApart(const ProgramStart& start)
{
    RunningProgram program(start);
    const int exitCode = program.WaitOrKill(start.mKillAfter);
    return {program.mStreams.Read("out"), exitCode, program.mStreams.Read("err")};
}
