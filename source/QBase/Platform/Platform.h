// Platform.h: everything QBase asks of an operating system, and nothing else. A new port is one new
// Platform<System>.cpp. Texts on this side of the line are UTF-8.
//
// Threads: every function may be called by any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace QBase::Platform
{

// Memory. Blocks are aligned to 16 bytes.

/// Null when the system has no memory left.
void* AllocAligned(std::size_t size);
void FreeAligned(void* p);

/// Keeps the contents up to the smaller size; null, with the old block untouched, when memory is short.
void* ReallocAligned(void* p, std::size_t size);

/// Says that memory of the heap, megabytes of it, is about to be filled, so that the system hands it out in
/// larger pieces than usual, if it can. Changes no byte.
void PrepareToFill(void* p, std::size_t size);

// Debugger.

/// Stops in the debugger. Returns when it resumes the program; without one the program ends.
void DebugBreak();

/// Gives a text to the debugger's own window. A system whose debuggers have no such window shows nothing.
void DebugOutput(const char* pText);

// User.

/// The title of a window, at most 260 characters; empty where there are no window handles.
std::string WindowTitle(void* pWindow);

/// Shows the message and asks for yes or no; true means yes. Where nobody can be asked (no desktop, and no
/// terminal at both ends), the message goes to standard error and the answer is yes.
bool AskYesNo(void* pOwnerWindow, const char* pCaption, const char* pMessage);

// Shared libraries.

/// Loads a shared library and runs its initialisers. Null on failure; LastErrorText() then says why.
void* OpenLibrary(const char* pPath);

/// The address of an exported function or object, or null.
void* FindSymbol(void* pLibrary, const char* pName);

/// Why this thread's latest OpenLibrary or FindSymbol failed. Valid until its next one; ask before
/// anything else, since reporting may load or look up things too.
std::string LastErrorText();

/// Whether the library that OpenLibrary has just refused to load is there at all. `errorText` is what
/// LastErrorText said.
bool WasLibraryFound(const char* pPath, const std::string& errorText);

/// What stands before and behind a module's name in the name of its library file ("lib", ".so").
/// A file without the prefix is tried first.
const char* LibraryPrefix();
const char* LibrarySuffix();

/// The directories of the running program and of the library that holds this code, with a closing
/// separator; empty when unknown.
std::string ExecutableDirectory();
std::string LibraryDirectory();

/// The directory that relative paths start from, with a closing separator; empty when unknown.
std::string WorkingDirectory();

// Files.

/// Opens like fopen, but no directory, and the descriptor is not inherited by child processes.
std::FILE* OpenFile(const char* pPath, const char* pMode);

/// Closes the file in any case. False when bytes that were still buffered could not be written.
bool CloseFile(std::FILE* pFile);

/// Read and write like fread and fwrite, without the lock that those take. The number of bytes.
int ReadFile(std::FILE* pFile, void* pData, int count);
int WriteFile(std::FILE* pFile, const void* pData, int count);

/// The size of what is on disk, or -1 when the file is no ordinary one.
std::int64_t FileSize(std::FILE* pFile);

/// The byte position, or -1 on failure.
std::int64_t TellFile(std::FILE* pFile);

/// `origin` is SEEK_SET, SEEK_CUR or SEEK_END.
bool SeekFile(std::FILE* pFile, std::int64_t offset, int origin);

/// True when the written bytes are on the disk and survive a power failure.
bool FlushFileToDisk(std::FILE* pFile);

bool FileExists(const char* pPath);

/// False for directories, devices, pipes and what does not exist.
bool IsOrdinaryFile(const char* pPath);

/// The path of the existing file that `pPath` leads to through links; otherwise `pPath` itself.
std::string ResolveLinks(const char* pPath);

/// The characters that end a directory's name in a path.
const char* PathSeparators();

/// Whether nobody, or at least not this program's user, may write to a file that is there.
bool IsWriteProtected(const char* pPath);

/// Gives `pTo` the access rights of `pFrom`. True as well when there is no `pFrom`.
bool CopyAccessRights(const char* pFrom, const char* pTo);

bool RemoveFile(const char* pPath);

/// Puts `pFrom` in the place of `pTo` in one step: at any time `pTo` names the old or the new file.
bool RenameFileOver(const char* pFrom, const char* pTo);

/// Makes the directory's own change (a rename, a new file) survive a power failure.
bool FlushDirectoryToDisk(const char* pPath);

bool IsTerminal(std::FILE* pFile);

/// Keeps line feeds and every other byte as they are in a standard stream.
void SetBinaryMode(std::FILE* pFile);

/// This process's number, for names of temporary files.
unsigned long ProcessId();

// Time.

/// Milliseconds since an arbitrary start. Never jumps back; wraps around after 49 days.
std::uint32_t Milliseconds();

/// 0 lets other threads run first and returns at once.
void Sleep(unsigned milliseconds);

// Threads.

struct Thread; // a started thread that was neither joined nor detached yet
using ThreadEntry = unsigned (*)(void* pArgument);

/// Null when the system starts no more threads. A `stackSize` of 0 is the system's own.
Thread* StartThread(ThreadEntry pEntry, void* pArgument, std::size_t stackSize = 0);

/// Waits for the end of the thread, forgets it and returns what its entry function returned.
unsigned JoinThread(Thread* pThread);
bool HasThreadExited(const Thread* pThread);

/// Forgets the thread, which goes on and cleans up behind itself when it ends.
void DetachThread(Thread* pThread);

/// Calls `pFunction` with `pArgument` when the calling thread ends, in the order of its thread-local objects'
/// destructors. Unlike those it relies on no thread-local variable, which some runtime libraries free before.
/// False when memory is short.
bool AtThreadEnd(void (*pFunction)(void* pArgument), void* pArgument);

/// Lets other threads run first.
void YieldThread();

// Fibers: stacks that take turns on a thread. The caller sees to it that nobody switches to a fiber that runs
// and that none is deleted while it runs; only a fiber can switch to another.

struct Fiber;
using FiberEntry = void (*)(void* pParameter); // never returns

/// Makes the calling thread a fiber, and an ordinary thread again. Null when that fails.
Fiber* ConvertThreadToFiber();
void ConvertFiberToThread(Fiber* pFiber);

/// A fiber that begins with `pEntry` at the first switch to it. A `stackSize` of 0 is 1 MiB; behind the
/// stack's end lies a page that stops the program. Null when memory is short.
Fiber* CreateFiber(FiberEntry pEntry, std::size_t stackSize, void* pParameter);

/// Frees a suspended fiber and its stack. What stands on the stack is not destroyed.
void DeleteFiber(Fiber* pFiber);

/// Suspends `pFrom`, which is running on this thread, and goes on with `pTo`. Returns, perhaps on another
/// thread, when something switches back to `pFrom`.
void SwitchFiber(Fiber* pFrom, Fiber* pTo);

// Locks. A lock lies in LOCK_SIZE bytes of its user, aligned like a pointer; all zeros are a free one. The
// thread that holds one may enter it again, and leaves it as often as it entered.

constexpr std::size_t LOCK_SIZE = 9 * sizeof(void*);

void EnterLock(void* pLock);

/// False, with nothing changed, when the calling thread does not hold the lock.
bool LeaveLock(void* pLock);

/// Whether the calling thread holds the lock.
bool HoldsLock(const void* pLock);

/// Gives back what the system keeps for a free lock that will not be used any more.
void DestroyLock(void* pLock);

} // namespace QBase::Platform
