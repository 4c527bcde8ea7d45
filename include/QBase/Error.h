// Error.h carries every message of the library. Error reports failures and failed assertions, Info
// reports information and, in texts that begin "WARNING: ", survivable trouble.
//
//     Error("Scene", 12, "Failed to find '%s'", pName); // "ERROR: Scene (line 12): Failed to find ..."
//     Error(QBASE_HERE, "Failed to find '%s'", pName);  // the same for the unit and line it stands in
//     Info("WARNING: Skipping light %d", index);
//
// Without a handler Info goes to standard output and Error to standard error, one line each. An installed
// handler object receives the text instead, as a String Value, through its Execute.
//
// QBASE_HERE gives the source unit ("Table", "QBase/Array" for a header) and the line it stands in.
// QBASE_ASSERT(condition) is an expression: true when the condition holds; otherwise it reports
// "ASSERT( condition )" with the condition as written, breaks, and, when resumed, is false:
//
//     if (!QBASE_ASSERT(index >= 0 && index < mSize)) {
//         return;
//     }
//
// QBASE_ASSERT_TEXT(condition, pFile, line, "ASSERT( words )") does the same with a text of its own.
//
// A handler may leave by an exception: no lock stays taken and nothing is half changed. Only out of a
// destructor there is no such way, in C++ as a whole: a handler that throws while a String, a Ptr or a Block
// of a CriticalSection goes ends the program.
//
// Threads: report from any thread; texts of several threads keep their lines whole. Install handlers before
// other threads report. A report that a handler makes while it runs goes to the console.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

class Object;

/// Formats like printf; a null format prints "Null".
QBASE_API void Info(const char* pFormat, ...) QBASE_PRINTF(1, 2);

/// The same behind "ERROR: FILE (line LINE): ", or behind "ERROR: " when the file is null.
QBASE_API void Error(const char* pFile, int line, const char* pFormat, ...) QBASE_PRINTF(3, 4);

/// Holds the handler (null removes it). Install before other threads report.
QBASE_API void SetInfoHandler(Object* pHandler);
QBASE_API void SetErrorHandler(Object* pHandler);

/// The installed handler or null. Borrowed.
QBASE_API Object* GetInfoHandler();
QBASE_API Object* GetErrorHandler();

/// Reports `pText` through Error, flushes the console and stops at a debugger break. Returns only when a
/// debugger (or a handler of the break signal) resumes the program.
QBASE_API void AssertFail(const char* pFile, int line, const char* pText);

/// The value of `bHolds`, after AssertFail when it is false.
constexpr bool AssertHolds(bool bHolds, const char* pFile, int line, const char* pText)
{
    if (QBASE_UNLIKELY(!bHolds)) {
        AssertFail(pFile, line, pText);
    }
    return bHolds;
}

// The name of a source unit, taken from its path while compiling, so that no path of the machine that
// builds reaches the binary: "Table" for source/QBase/Table.cpp, "QBase/Array" for include/QBase/Array.h.
struct SourceUnit
{
    char mName[64] = {};

    consteval SourceUnit(const char* pPath)
    {
        constexpr int longest = sizeof(mName) - 1;
        int length = 0;
        while (pPath[length]) {
            ++length;
        }
        int extension = length;
        int start = length;
        while (start > 0 && !IsSeparator(pPath[start - 1])) {
            --start;
            if (pPath[start] == '.' && extension == length) {
                extension = start;
            }
        }
        const bool bHeader = length - extension == 2 && pPath[extension + 1] == 'h';
        if (bHeader && IsLibraryDirectory(pPath, start)) {
            start -= 6;
        }
        for (int i = 0; i < longest && start + i < extension; ++i) {
            mName[i] = pPath[start + i] == '\\' ? '/' : pPath[start + i];
        }
    }

private:
    static consteval bool IsSeparator(char character) { return character == '/' || character == '\\'; }

    // Whether "QBase/" stands right before `end`, as a whole directory name.
    static consteval bool IsLibraryDirectory(const char* pPath, int end)
    {
        constexpr char name[] = "QBase";
        if (end < 6 || !IsSeparator(pPath[end - 1]) || (end > 6 && !IsSeparator(pPath[end - 7]))) {
            return false;
        }
        for (int i = 0; i < 5; ++i) {
            if (pPath[end - 6 + i] != name[i]) {
                return false;
            }
        }
        return true;
    }
};

/// The name as a text that lives as long as the program.
template <SourceUnit unit>
constexpr const char* SourceUnitName()
{
    return unit.mName;
}

} // namespace QBase

#define QBASE_HERE ::QBase::SourceUnitName<__FILE__>(), __LINE__

#define QBASE_ASSERT(...)                                                                                    \
    ::QBase::AssertHolds(static_cast<bool>(__VA_ARGS__), QBASE_HERE, "ASSERT( " #__VA_ARGS__ " )")

#define QBASE_ASSERT_TEXT(condition, pFile, line, pText)                                                     \
    ::QBase::AssertHolds(static_cast<bool>(condition), pFile, line, pText)
