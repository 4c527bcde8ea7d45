// 32-bit Windows. The only unit that includes <windows.h>. Texts become UTF-16 on their way to the system
// and UTF-8 on their way back.

#include "QBase/Platform/Platform.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <windows.h>

#include <cxxabi.h>
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <share.h>
#include <sys/stat.h>
#include <timeapi.h>

namespace QBase::Platform
{

namespace
{

constexpr std::size_t ALIGNMENT = 16;

std::wstring ToWide(const char* pText)
{
    // The length that the system answers counts the terminator too.
    const int size = MultiByteToWideChar(CP_UTF8, 0, pText, -1, nullptr, 0);
    if (size <= 1)
        return std::wstring();
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, pText, -1, wide.data(), size);
    wide.pop_back();
    return wide;
}

std::string ToNarrow(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        return std::string();
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::string DirectoryOf(const std::string& path)
{
    return path.substr(0, path.find_last_of("\\/") + 1);
}

// The path of the file that a module of this process was loaded from. A null handle is the program.
std::string ModulePath(HMODULE module)
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return ToNarrow(path);
        }
        path.resize(path.size() * 2);
    }
}

// A service has a desktop that nobody sees; a box there would wait for ever.
bool IsDesktopVisible()
{
    USEROBJECTFLAGS flags{};
    return !GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof(flags), nullptr) ||
           (flags.dwFlags & WSF_VISIBLE) != 0;
}

// An existing file or directory, opened to be asked about.
class ReferencedFile
{
public:
    explicit ReferencedFile(const char* pPath)
        : mHandle(CreateFileW(ToWide(pPath).c_str(), 0,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr))
    {}
    ~ReferencedFile()
    {
        if (mHandle != INVALID_HANDLE_VALUE) {
            CloseHandle(mHandle);
        }
    }
    ReferencedFile(const ReferencedFile&) = delete;
    ReferencedFile& operator=(const ReferencedFile&) = delete;

    HANDLE GetHandle() const { return mHandle; }

private:
    HANDLE mHandle; // invalid when there is no such file; every call below then fails
};

HANDLE HandleOf(std::FILE* pFile)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pFile)));
}

// What fopen makes of a mode, for the call that takes flags.
int OpenFlags(const char* pMode)
{
    const bool bUpdates = std::strchr(pMode, '+') != nullptr;
    const int flags = _O_NOINHERIT | (std::strchr(pMode, 'b') ? _O_BINARY : _O_TEXT) |
                      (std::strchr(pMode, 'x') ? _O_EXCL : 0);
    switch (*pMode) {
    case 'w':
        return flags | _O_CREAT | _O_TRUNC | (bUpdates ? _O_RDWR : _O_WRONLY);
    case 'a':
        return flags | _O_CREAT | _O_APPEND | (bUpdates ? _O_RDWR : _O_WRONLY);
    default:
        return flags | (bUpdates ? _O_RDWR : _O_RDONLY);
    }
}

} // namespace

// Memory

void* AllocAligned(std::size_t size)
{
    return _aligned_malloc(size, ALIGNMENT);
}

void FreeAligned(void* p)
{
    _aligned_free(p);
}

void* ReallocAligned(void* p, std::size_t size)
{
    return _aligned_realloc(p, size, ALIGNMENT);
}

void PrepareToFill(void*, std::size_t)
{} // larger pages are for users with a privilege

// Debugger

void DebugBreak()
{
    ::DebugBreak();
}

void DebugOutput(const char* pText)
{
    OutputDebugStringW(ToWide(pText).c_str());
}

// User

std::string WindowTitle(void* pWindow)
{
    constexpr int MAX_LENGTH = 260;
    wchar_t title[MAX_LENGTH + 1] = L"";
    const int length = GetWindowTextW(static_cast<HWND>(pWindow), title, MAX_LENGTH + 1);
    return ToNarrow(std::wstring(title, static_cast<std::size_t>(length)));
}

bool AskYesNo(void* pOwnerWindow, const char* pCaption, const char* pMessage)
{
    const int answer = IsDesktopVisible()
                           ? MessageBoxW(static_cast<HWND>(pOwnerWindow), ToWide(pMessage).c_str(),
                                         ToWide(pCaption).c_str(), MB_YESNO | MB_ICONERROR)
                           : 0;
    if (answer == 0) {
        std::fprintf(stderr, "%s\n%s\n", pCaption, pMessage);
        std::fflush(stderr);
    }
    return answer != IDNO;
}

// Shared libraries

void* OpenLibrary(const char* pPath)
{
    // A missing dependency is a failure to report, not a box of the system's own to click away.
    DWORD oldMode = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, &oldMode);
    const HMODULE library = LoadLibraryW(ToWide(pPath).c_str());
    const DWORD error = GetLastError();
    SetThreadErrorMode(oldMode, nullptr);
    SetLastError(error);
    return library;
}

void* FindSymbol(void* pLibrary, const char* pName)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(pLibrary), pName));
}

std::string LastErrorText()
{
    wchar_t* pBuffer = nullptr;
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                            FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, GetLastError(), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        reinterpret_cast<wchar_t*>(&pBuffer), 0, nullptr);
    std::wstring text(pBuffer ? pBuffer : L"", length);
    LocalFree(pBuffer);
    while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) {
        text.pop_back();
    }
    return ToNarrow(text);
}

bool WasLibraryFound(const char* pPath, const std::string&)
{
    return FileExists(pPath) ||
           SearchPathW(nullptr, ToWide(pPath).c_str(), nullptr, 0, nullptr, nullptr) != 0;
}

const char* LibraryPrefix()
{
    return "";
}

const char* LibrarySuffix()
{
    return ".dll";
}

std::string ExecutableDirectory()
{
    return DirectoryOf(ModulePath(nullptr));
}

std::string LibraryDirectory()
{
    HMODULE library = nullptr;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, reinterpret_cast<const wchar_t*>(&LibraryDirectory), &library))
        return std::string();
    return DirectoryOf(ModulePath(library));
}

std::string WorkingDirectory()
{
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(path.size()), path.data());
    while (length >= path.size()) { // the size that is needed; a change in between may ask for more
        path.resize(length);
        length = GetCurrentDirectoryW(static_cast<DWORD>(path.size()), path.data());
    }
    path.resize(length);
    if (!path.empty() && path.back() != L'\\') {
        path += L'\\';
    }
    return ToNarrow(path);
}

// Files

std::FILE* OpenFile(const char* pPath, const char* pMode)
{
    const int flags = OpenFlags(pMode);
    const int descriptor = _wsopen(ToWide(pPath).c_str(), flags, _SH_DENYNO, _S_IREAD | _S_IWRITE);
    if (descriptor < 0)
        return nullptr;
    // The runtime library knows no "x" and has no more use for it.
    const std::string mode(pMode, std::strcspn(pMode, "x"));
    std::FILE* const pFile = _fdopen(descriptor, mode.c_str());
    if (!pFile) {
        _close(descriptor);
    }
    return pFile;
}

bool CloseFile(std::FILE* pFile)
{
    std::clearerr(pFile); // some runtime libraries answer with an earlier failure once more
    return std::fclose(pFile) == 0;
}

int ReadFile(std::FILE* pFile, void* pData, int count)
{
    // The system refuses a transfer of more than the caller's memory holds, even where the file ends before.
    constexpr int LARGE_COUNT = 1 << 16;
    std::size_t wanted = static_cast<std::size_t>(count);
    if (count > LARGE_COUNT) {
        const std::int64_t rest = FileSize(pFile) - TellFile(pFile);
        wanted = rest >= 0 && rest < count ? static_cast<std::size_t>(rest) : wanted;
    }
    const std::size_t numRead = std::fread(pData, 1, wanted, pFile);
    if (numRead != static_cast<std::size_t>(count))
        std::clearerr(pFile); // the end met now may lie further back at the next read
    return static_cast<int>(numRead);
}

int WriteFile(std::FILE* pFile, const void* pData, int count)
{
    return static_cast<int>(std::fwrite(pData, 1, static_cast<std::size_t>(count), pFile));
}

std::int64_t FileSize(std::FILE* pFile)
{
    struct _stati64 status;
    return _fstati64(_fileno(pFile), &status) == 0 && (status.st_mode & _S_IFREG) ? status.st_size : -1;
}

std::int64_t TellFile(std::FILE* pFile)
{
    return _ftelli64(pFile);
}

bool SeekFile(std::FILE* pFile, std::int64_t offset, int origin)
{
    return _fseeki64(pFile, offset, origin) == 0;
}

bool FlushFileToDisk(std::FILE* pFile)
{
    return std::fflush(pFile) == 0 && !std::ferror(pFile) && _commit(_fileno(pFile)) == 0;
}

bool FileExists(const char* pPath)
{
    return _waccess(ToWide(pPath).c_str(), 0) == 0;
}

bool IsOrdinaryFile(const char* pPath)
{
    const ReferencedFile file(pPath);
    BY_HANDLE_FILE_INFORMATION information;
    return GetFileType(file.GetHandle()) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(file.GetHandle(), &information) &&
           (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsWriteProtected(const char* pPath)
{
    const DWORD attributes = GetFileAttributesW(ToWide(pPath).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

std::string ResolveLinks(const char* pPath)
{
    const ReferencedFile file(pPath);
    if (GetFileType(file.GetHandle()) != FILE_TYPE_DISK)
        return pPath; // a device has a name of its own kind
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = GetFinalPathNameByHandleW(file.GetHandle(), path.data(), MAX_PATH, 0);
    if (length >= MAX_PATH) {
        path.resize(length);
        length = GetFinalPathNameByHandleW(file.GetHandle(), path.data(), length, 0);
    }
    if (length == 0 || length >= path.size())
        return pPath;
    path.resize(length);

    // The system marks the path as one that it takes as it stands; only the rest is what people write.
    const std::wstring mark = L"\\\\?\\", networkMark = mark + L"UNC\\";
    if (path.starts_with(networkMark))
        return ToNarrow(L"\\\\" + path.substr(networkMark.size()));
    return ToNarrow(path.starts_with(mark) ? path.substr(mark.size()) : path);
}

const char* PathSeparators()
{
    return "\\/";
}

bool CopyAccessRights(const char* pFrom, const char* pTo)
{
    if (!FileExists(pFrom))
        return true;
    const std::wstring from = ToWide(pFrom);
    DWORD size = 0;
    GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::string descriptor(size, '\0');
    return GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size) &&
           SetFileSecurityW(ToWide(pTo).c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
}

bool RemoveFile(const char* pPath)
{
    return _wunlink(ToWide(pPath).c_str()) == 0;
}

bool RenameFileOver(const char* pFrom, const char* pTo)
{
    return MoveFileExW(ToWide(pFrom).c_str(), ToWide(pTo).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

bool FlushDirectoryToDisk(const char* pPath)
{
    // RenameFileOver has already waited for the disk, and the system has no call for a directory.
    const DWORD attributes = GetFileAttributesW(ToWide(pPath).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsTerminal(std::FILE* pFile)
{
    DWORD mode = 0; // only a console has one; _isatty takes every device for a terminal
    return GetConsoleMode(HandleOf(pFile), &mode) != 0;
}

void SetBinaryMode(std::FILE* pFile)
{
    std::fflush(pFile);
    _setmode(_fileno(pFile), _O_BINARY);
}

unsigned long ProcessId()
{
    return GetCurrentProcessId();
}

// Time

std::uint32_t Milliseconds()
{
    return timeGetTime();
}

void Sleep(unsigned milliseconds)
{
    ::Sleep(milliseconds);
}

// Threads

struct Thread
{
    HANDLE mHandle;
};

namespace
{

struct ThreadStart
{
    ThreadEntry mpEntry;
    void* mpArgument;
};

unsigned __stdcall RunThread(void* p)
{
    const ThreadStart start = *static_cast<ThreadStart*>(p);
    delete static_cast<ThreadStart*>(p);
    return start.mpEntry(start.mpArgument);
}

} // namespace

Thread* StartThread(ThreadEntry pEntry, void* pArgument, std::size_t stackSize)
{
    Thread* const pThread = new (std::nothrow) Thread{nullptr};
    ThreadStart* const pStart = new (std::nothrow) ThreadStart{pEntry, pArgument};
    if (pThread && pStart) {
        const std::uintptr_t handle =
            _beginthreadex(nullptr, static_cast<unsigned>(stackSize), RunThread, pStart,
                           stackSize > 0 ? STACK_SIZE_PARAM_IS_A_RESERVATION : 0, nullptr);
        if (handle != 0) {
            pThread->mHandle = reinterpret_cast<HANDLE>(handle);
            return pThread;
        }
    }
    delete pStart;
    delete pThread;
    return nullptr;
}

unsigned JoinThread(Thread* pThread)
{
    WaitForSingleObject(pThread->mHandle, INFINITE);
    DWORD exitCode = 0;
    if (!GetExitCodeThread(pThread->mHandle, &exitCode))
        exitCode = 0;
    CloseHandle(pThread->mHandle);
    delete pThread;
    return exitCode;
}

bool HasThreadExited(const Thread* pThread)
{
    return WaitForSingleObject(pThread->mHandle, 0) != WAIT_TIMEOUT;
}

void DetachThread(Thread* pThread)
{
    CloseHandle(pThread->mHandle);
    delete pThread;
}

namespace
{

struct EndCall
{
    void (*mpFunction)(void*);
    void* mpArgument;
};

// The runtime library calls back as it calls destructors, which g++ finds odd outside of a class.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
void __thiscall RunEndCall(void* p)
{
    const EndCall call = *static_cast<EndCall*>(p);
    delete static_cast<EndCall*>(p);
    call.mpFunction(call.mpArgument);
}
#pragma GCC diagnostic pop

} // namespace

bool AtThreadEnd(void (*pFunction)(void* pArgument), void* pArgument)
{
    EndCall* const pCall = new (std::nothrow) EndCall{pFunction, pArgument};
    if (!pCall)
        return false;
    if (abi::__cxa_thread_atexit(RunEndCall, pCall, nullptr) != 0) {
        delete pCall;
        return false;
    }
    return true;
}

void YieldThread()
{
    ::Sleep(0);
}

// Fibers

namespace
{

// The C++ runtime keeps the exceptions being handled, and the number of those in flight, per thread. They
// belong to a stack.
struct ExceptionState
{
    void* mpCaught;
    unsigned mNumUncaught;
};

} // namespace

struct Fiber
{
    void* mpHandle = nullptr;
    FiberEntry mpEntry = nullptr; // null in a thread's own fiber
    void* mpParameter = nullptr;
    ExceptionState mExceptions{nullptr, 0};
};

namespace
{

// Compilers are told that the runtime always answers the same, but behind a switch the thread is another.
void* CurrentExceptions()
{
    abi::__cxa_eh_globals* (*volatile pGetGlobals)() = &abi::__cxa_get_globals;
    return pGetGlobals();
}

void TakeExceptions(Fiber* pFiber)
{
    std::memcpy(&pFiber->mExceptions, CurrentExceptions(), sizeof(ExceptionState));
}

void PutExceptions(const Fiber* pFiber)
{
    std::memcpy(CurrentExceptions(), &pFiber->mExceptions, sizeof(ExceptionState));
}

void CALLBACK BeginFiber(void* p)
{
    const Fiber* const pFiber = static_cast<Fiber*>(p);
    pFiber->mpEntry(pFiber->mpParameter);
}

} // namespace

Fiber* ConvertThreadToFiber()
{
    Fiber* const pFiber = new (std::nothrow) Fiber;
    if (!pFiber)
        return nullptr;
    pFiber->mpHandle = ::ConvertThreadToFiber(nullptr);
    if (!pFiber->mpHandle) {
        delete pFiber;
        return nullptr;
    }
    return pFiber;
}

void ConvertFiberToThread(Fiber* pFiber)
{
    ::ConvertFiberToThread();
    delete pFiber;
}

Fiber* CreateFiber(FiberEntry pEntry, std::size_t stackSize, void* pParameter)
{
    constexpr std::size_t DEFAULT_STACK_SIZE = std::size_t(1) << 20;
    Fiber* const pFiber = new (std::nothrow) Fiber;
    if (!pFiber)
        return nullptr;
    pFiber->mpEntry = pEntry;
    pFiber->mpParameter = pParameter;
    // The size is what is reserved, the pages come as they are touched.
    pFiber->mpHandle =
        CreateFiberEx(0, stackSize > 0 ? stackSize : DEFAULT_STACK_SIZE, 0, BeginFiber, pFiber);
    if (!pFiber->mpHandle) {
        delete pFiber;
        return nullptr;
    }
    return pFiber;
}

void DeleteFiber(Fiber* pFiber)
{
    ::DeleteFiber(pFiber->mpHandle);
    delete pFiber;
}

void SwitchFiber(Fiber* pFrom, Fiber* pTo)
{
    // Both run on this thread. Behind the switch, the compiler might take it for the one that pFrom goes on
    // on.
    TakeExceptions(pFrom);
    PutExceptions(pTo);
    SwitchToFiber(pTo->mpHandle);
}

// Locks

namespace
{

// A critical section has no state that it could be written down in, so the first one to enter makes it.
struct SystemLock
{
    INIT_ONCE mOnce;
    CRITICAL_SECTION mSection;
    std::atomic<DWORD> mOwner; // 0 when free; only the owner ever reads its own id here
    int mDepth;                // touched by the owner alone
};

static_assert(sizeof(SystemLock) <= LOCK_SIZE && alignof(SystemLock) <= alignof(void*));

BOOL CALLBACK InitialiseSection(INIT_ONCE*, void* pSection, void**)
{
    InitializeCriticalSection(static_cast<CRITICAL_SECTION*>(pSection));
    return TRUE;
}

} // namespace

void EnterLock(void* pLock)
{
    SystemLock* const pSystemLock = static_cast<SystemLock*>(pLock);
    InitOnceExecuteOnce(&pSystemLock->mOnce, InitialiseSection, &pSystemLock->mSection, nullptr);
    EnterCriticalSection(&pSystemLock->mSection);
    pSystemLock->mOwner.store(GetCurrentThreadId(), std::memory_order_relaxed);
    ++pSystemLock->mDepth;
}

bool LeaveLock(void* pLock)
{
    SystemLock* const pSystemLock = static_cast<SystemLock*>(pLock);
    if (!HoldsLock(pLock))
        return false;
    if (--pSystemLock->mDepth == 0)
        pSystemLock->mOwner.store(0, std::memory_order_relaxed);
    LeaveCriticalSection(&pSystemLock->mSection);
    return true;
}

bool HoldsLock(const void* pLock)
{
    const SystemLock* const pSystemLock = static_cast<const SystemLock*>(pLock);
    return pSystemLock->mOwner.load(std::memory_order_relaxed) == GetCurrentThreadId();
}

void DestroyLock(void* pLock)
{
    SystemLock* const pSystemLock = static_cast<SystemLock*>(pLock);
    BOOL bPending = FALSE;
    if (InitOnceBeginInitialize(&pSystemLock->mOnce, INIT_ONCE_CHECK_ONLY, &bPending, nullptr)) {
        DeleteCriticalSection(&pSystemLock->mSection);
    }
}

} // namespace QBase::Platform
