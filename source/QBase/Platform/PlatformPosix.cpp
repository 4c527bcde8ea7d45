// Linux and other systems that follow POSIX.

#include "QBase/Platform/Platform.h"

#include "QBase/Export.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#if defined(SYS_futex)
#    include <linux/futex.h>
#endif
#if __has_include(<sys/single_threaded.h>)
#    include <sys/single_threaded.h>
#endif

// The compiler's own name for the library that holds this code, which stays loaded while a thread has
// something to call in it.
extern "C" [[gnu::visibility("hidden")]] void* __dso_handle;

namespace QBase::Platform
{

namespace
{

// 64-bit systems promise 16-byte alignment from malloc itself, and realloc then moves large blocks by
// remapping their pages.
constexpr std::size_t ALIGNMENT = 16;
constexpr bool IS_MALLOC_ALIGNED = alignof(std::max_align_t) >= ALIGNMENT && sizeof(void*) == 8;

std::string DirectoryOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

} // namespace

// Memory

void* AllocAligned(std::size_t size)
{
    if constexpr (IS_MALLOC_ALIGNED)
        return std::malloc(size);
    void* p = nullptr;
    return posix_memalign(&p, ALIGNMENT, size) == 0 ? p : nullptr;
}

void FreeAligned(void* p)
{
    std::free(p);
}

void* ReallocAligned(void* p, std::size_t size)
{
    void* pResized = std::realloc(p, size);
    if (IS_MALLOC_ALIGNED || !pResized || reinterpret_cast<std::uintptr_t>(pResized) % ALIGNMENT == 0)
        return pResized;

    // realloc has moved the block to an odd place and freed the old one, so failing is no longer possible
    // without loss: the contents move once more, or the program cannot go on.
    void* pAligned = AllocAligned(size);
    if (!pAligned)
        std::abort();
    std::memcpy(pAligned, pResized, size);
    std::free(pResized);
    return pAligned;
}

void PrepareToFill([[maybe_unused]] void* p, [[maybe_unused]] std::size_t size)
{
#if defined(MADV_HUGEPAGE)
    const std::uintptr_t pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(p);
    const std::uintptr_t begin = (address + pageSize - 1) / pageSize * pageSize;
    const std::uintptr_t end = (address + size) / pageSize * pageSize;
    if (begin < end) {
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE); // where it fails all is as usual
    }
#endif
}

// Debugger

void DebugBreak()
{
    std::raise(SIGTRAP);
}

void DebugOutput(const char*)
{
    // The debuggers here show standard error, which the text goes to anyway.
}

// User

std::string WindowTitle(void*)
{
    return std::string();
}

bool AskYesNo(void*, const char* pCaption, const char* pMessage)
{
    const bool bAsk = IsTerminal(stdin) && IsTerminal(stderr);
    std::fprintf(stderr, "%s\n%s%s", pCaption, pMessage, bAsk ? " [Y/n] " : "\n");
    std::fflush(stderr);
    if (!bAsk) {
        return true;
    }
    char answer[64] = "";
    return !std::fgets(answer, sizeof(answer), stdin) || (answer[0] != 'n' && answer[0] != 'N');
}

// Shared libraries

void* OpenLibrary(const char* pPath)
{
    return dlopen(pPath, RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* pLibrary, const char* pName)
{
    return dlsym(pLibrary, pName);
}

std::string LastErrorText()
{
    const char* pText = dlerror();
    return pText ? pText : "";
}

// Where the loader searched for a bare name, nobody else knows. It speaks of a file that it found by the
// path it found it at, and by the bare name only of one that it found nowhere.
bool WasLibraryFound(const char* pPath, const std::string& errorText)
{
    const std::string path = pPath;
    return path.find('/') != std::string::npos ? FileExists(pPath) : errorText.rfind(path + ":", 0) != 0;
}

const char* LibraryPrefix()
{
    return "lib";
}

const char* LibrarySuffix()
{
    return ".so";
}

std::string ExecutableDirectory()
{
    std::string path(256, '\0');
    for (;;) {
        ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
        if (length < 0)
            return std::string();
        if (static_cast<std::size_t>(length) < path.size()) {
            path.resize(static_cast<std::size_t>(length));
            return DirectoryOf(path);
        }
        path.resize(path.size() * 2);
    }
}

std::string LibraryDirectory()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(&LibraryDirectory), &info) || !info.dli_fname)
        return std::string();

    // The loader may know the library by a path relative to a directory that is no longer the current one;
    // then there is no telling where it is.
    char* pAbsolute = realpath(info.dli_fname, nullptr);
    std::string path = pAbsolute ? pAbsolute : "";
    std::free(pAbsolute);
    return DirectoryOf(path);
}

std::string WorkingDirectory()
{
    char* const pPath = getcwd(nullptr, 0);
    std::string path = pPath ? pPath : "";
    std::free(pPath);
    return path.empty() || path.back() == '/' ? path : path + '/';
}

// Files

std::FILE* OpenFile(const char* pPath, const char* pMode)
{
    std::FILE* pFile = std::fopen(pPath, (std::string(pMode) + "e").c_str()); // e: O_CLOEXEC
    if (!pFile)
        return nullptr;

    struct stat status;
    if (fstat(fileno(pFile), &status) != 0 || S_ISDIR(status.st_mode)) {
        std::fclose(pFile);
        errno = EISDIR;
        return nullptr;
    }
    return pFile;
}

bool CloseFile(std::FILE* pFile)
{
    return std::fclose(pFile) == 0;
}

// The single-byte calls are expanded in place and beat the others up to about this many bytes.
constexpr int FEW_BYTES = 16;

int ReadFile(std::FILE* pFile, void* pData, int count)
{
    int numRead = 0;
    if (count <= FEW_BYTES) {
        char* const pBytes = static_cast<char*>(pData);
        for (int byte; numRead < count && (byte = getc_unlocked(pFile)) != EOF; ++numRead)
            pBytes[numRead] = static_cast<char>(byte);
    } else {
        numRead = static_cast<int>(fread_unlocked(pData, 1, static_cast<std::size_t>(count), pFile));
    }
    if (numRead != count)
        clearerr_unlocked(pFile); // the end met now may lie further back at the next read
    return numRead;
}

int WriteFile(std::FILE* pFile, const void* pData, int count)
{
    if (count > FEW_BYTES)
        return static_cast<int>(fwrite_unlocked(pData, 1, static_cast<std::size_t>(count), pFile));

    const char* const pBytes = static_cast<const char*>(pData);
    int numWritten = 0;
    while (numWritten < count && putc_unlocked(static_cast<unsigned char>(pBytes[numWritten]), pFile) != EOF)
        ++numWritten;
    return numWritten;
}

std::int64_t FileSize(std::FILE* pFile)
{
    struct stat status;
    return fstat(fileno(pFile), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

std::int64_t TellFile(std::FILE* pFile)
{
    return ftello(pFile);
}

bool SeekFile(std::FILE* pFile, std::int64_t offset, int origin)
{
    return fseeko(pFile, static_cast<off_t>(offset), origin) == 0;
}

bool FlushFileToDisk(std::FILE* pFile)
{
    return std::fflush(pFile) == 0 && !std::ferror(pFile) && fsync(fileno(pFile)) == 0;
}

bool FileExists(const char* pPath)
{
    return access(pPath, F_OK) == 0;
}

bool IsOrdinaryFile(const char* pPath)
{
    struct stat status;
    return stat(pPath, &status) == 0 && S_ISREG(status.st_mode);
}

bool IsWriteProtected(const char* pPath)
{
    // The first for the superuser, who may do everything.
    constexpr mode_t anyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    struct stat status;
    return stat(pPath, &status) == 0 && ((status.st_mode & anyWrite) == 0 || access(pPath, W_OK) != 0);
}

std::string ResolveLinks(const char* pPath)
{
    char* pResolved = realpath(pPath, nullptr);
    std::string path = pResolved ? pResolved : pPath;
    std::free(pResolved);
    return path;
}

const char* PathSeparators()
{
    return "/";
}

bool CopyAccessRights(const char* pFrom, const char* pTo)
{
    struct stat status;
    if (stat(pFrom, &status) != 0)
        return true;
    return chmod(pTo, status.st_mode & 07777) == 0;
}

bool RemoveFile(const char* pPath)
{
    return unlink(pPath) == 0;
}

bool RenameFileOver(const char* pFrom, const char* pTo)
{
    return rename(pFrom, pTo) == 0;
}

bool FlushDirectoryToDisk(const char* pPath)
{
    int descriptor = open(pPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    bool isFlushed = fsync(descriptor) == 0;
    close(descriptor);
    return isFlushed;
}

bool IsTerminal(std::FILE* pFile)
{
    return isatty(fileno(pFile)) == 1;
}

void SetBinaryMode(std::FILE*)
{
    // Streams here never change a byte.
}

unsigned long ProcessId()
{
    return static_cast<unsigned long>(getpid());
}

// Time

std::uint32_t Milliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    std::uint64_t milliseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1000u + static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<std::uint32_t>(milliseconds);
}

void Sleep(unsigned milliseconds)
{
    if (milliseconds == 0) {
        YieldThread(); // a sleep of no time would still wait for a timer
        return;
    }
    timespec rest{};
    rest.tv_sec = static_cast<time_t>(milliseconds / 1000u);
    rest.tv_nsec = static_cast<long>(milliseconds % 1000u) * 1000000L;
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        // A signal woke us; sleep for what is left.
    }
}

// Threads

struct Thread
{
    pthread_t mHandle;
    ThreadEntry mpEntry;
    void* mpArgument;
    unsigned mExitCode;      // written before EXITED, read after it or after the join
    std::atomic<int> mState; // RUNNING, then EXITED or DETACHED; the second of the two frees the record
};

namespace
{

enum ThreadState
{
    RUNNING,
    EXITED,
    DETACHED
};

extern "C" void* RunThread(void* p)
{
    Thread* pThread = static_cast<Thread*>(p);
    pThread->mExitCode = pThread->mpEntry(pThread->mpArgument);
    if (pThread->mState.exchange(EXITED, std::memory_order_acq_rel) == DETACHED) {
        delete pThread;
    }
    return nullptr;
}

} // namespace

Thread* StartThread(ThreadEntry pEntry, void* pArgument, std::size_t stackSize)
{
    Thread* pThread = new (std::nothrow) Thread{{}, pEntry, pArgument, 0, {RUNNING}};
    if (!pThread)
        return nullptr;

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize > 0)
        pthread_attr_setstacksize(&attributes, stackSize);
    int error = pthread_create(&pThread->mHandle, &attributes, RunThread, pThread);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        delete pThread;
        return nullptr;
    }
    return pThread;
}

unsigned JoinThread(Thread* pThread)
{
    pthread_join(pThread->mHandle, nullptr);
    unsigned exitCode = pThread->mExitCode;
    delete pThread;
    return exitCode;
}

bool HasThreadExited(const Thread* pThread)
{
    return pThread->mState.load(std::memory_order_acquire) == EXITED;
}

void DetachThread(Thread* pThread)
{
    pthread_detach(pThread->mHandle);
    if (pThread->mState.exchange(DETACHED, std::memory_order_acq_rel) == EXITED) {
        delete pThread;
    }
}

bool AtThreadEnd(void (*pFunction)(void* pArgument), void* pArgument)
{
    return abi::__cxa_thread_atexit(pFunction, pArgument, &__dso_handle) == 0;
}

void YieldThread()
{
    sched_yield();
}

// Locks

namespace
{

// A thread that finds the lock taken says so in it, and only then leaving it costs a call of the system.
enum LockState
{
    FREE,
    TAKEN,
    WAITED_FOR
};

struct SystemLock
{
    std::atomic<std::uintptr_t> mOwner; // 0 when free; only the owner ever reads its own id here
    std::atomic<int> mState;
    int mDepth; // entries beyond the first; touched by the owner alone
};

static_assert(sizeof(SystemLock) <= LOCK_SIZE && alignof(SystemLock) <= alignof(void*));

// Whether this thread is the only one, which needs no atomic exchange. Where the system does not tell, it is
// not.
bool IsOnlyThread()
{
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded;
#else
    return false;
#endif
}

// An id that no other living thread has. Never 0.
std::uintptr_t CurrentThread()
{
    QBASE_FAST_THREAD_LOCAL static constinit thread_local char tMark = 0; // only its address is of use
    return reinterpret_cast<std::uintptr_t>(&tMark);
}

bool TryTake(SystemLock& lock)
{
    if (IsOnlyThread() && lock.mState.load(std::memory_order_relaxed) == FREE) {
        lock.mState.store(TAKEN, std::memory_order_relaxed);
        return true;
    }
    int free = FREE;
    return lock.mState.compare_exchange_strong(free, TAKEN, std::memory_order_acquire,
                                               std::memory_order_relaxed);
}

// The standard library's own wait yields a few times first, which takes long where many threads run. Whoever
// enters and leaves locks keeps errno.
#if defined(SYS_futex)

static_assert(sizeof(SystemLock::mState) == 4 && std::atomic<int>::is_always_lock_free);

void Futex(SystemLock& lock, int operation, int value)
{
    const int error = errno;
    syscall(SYS_futex, &lock.mState, operation, value, nullptr);
    errno = error;
}

// Returns when woken, when the lock is not waited for any more, or for no reason at all.
void WaitForWakeUp(SystemLock& lock)
{
    Futex(lock, FUTEX_WAIT_PRIVATE, WAITED_FOR);
}

// Looks at the lock's address alone: the next owner may have freed the lock already.
QBASE_NOINLINE void WakeOne(SystemLock& lock)
{
    Futex(lock, FUTEX_WAKE_PRIVATE, 1);
}

#else

void WaitForWakeUp(SystemLock& lock)
{
    lock.mState.wait(WAITED_FOR, std::memory_order_relaxed);
}

QBASE_NOINLINE void WakeOne(SystemLock& lock)
{
    lock.mState.notify_one();
}

#endif

// Whoever waited cannot know whether others still do, and takes the lock as one that is waited for.
QBASE_NOINLINE void WaitAndTake(SystemLock& lock)
{
    while (lock.mState.exchange(WAITED_FOR, std::memory_order_acquire) != FREE) {
        WaitForWakeUp(lock);
    }
    lock.mOwner.store(CurrentThread(), std::memory_order_relaxed);
}

} // namespace

void EnterLock(void* pLock)
{
    SystemLock& lock = *static_cast<SystemLock*>(pLock);
    const std::uintptr_t self = CurrentThread();
    if (QBASE_UNLIKELY(lock.mOwner.load(std::memory_order_relaxed) == self)) {
        ++lock.mDepth;
    } else if (QBASE_LIKELY(TryTake(lock))) {
        lock.mOwner.store(self, std::memory_order_relaxed);
    } else {
        WaitAndTake(lock);
    }
}

bool LeaveLock(void* pLock)
{
    SystemLock& lock = *static_cast<SystemLock*>(pLock);
    if (QBASE_UNLIKELY(!HoldsLock(pLock))) {
        return false;
    }
    if (QBASE_UNLIKELY(lock.mDepth > 0)) {
        --lock.mDepth;
        return true;
    }
    lock.mOwner.store(0, std::memory_order_relaxed);
    if (IsOnlyThread()) {
        lock.mState.store(FREE, std::memory_order_relaxed);
        return true;
    }
    if (QBASE_UNLIKELY(lock.mState.exchange(FREE) == WAITED_FOR)) {
        WakeOne(lock);
    }
    return true;
}

bool HoldsLock(const void* pLock)
{
    return static_cast<const SystemLock*>(pLock)->mOwner.load(std::memory_order_relaxed) == CurrentThread();
}

void DestroyLock(void*)
{
    // The system keeps nothing for a lock that nobody waits for.
}

} // namespace QBase::Platform
