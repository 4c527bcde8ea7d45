// Error.h carries every message of the library. Error reports failures and failed assertions, Info
// reports information and, in texts that begin "WARNING: ", survivable trouble.
//
//     Error("Scene", 12, "Failed to find camera '%s'", name.c_str());  // "ERROR: Scene (line 12): Failed ..."
//     Error(QBASE_HERE, "Failed to find camera '%s'", name.c_str());   // the same for the unit and line it stands in
//     Info("WARNING: Skipping light %d", index);
//
// Without a handler Info goes to standard output and Error to standard error, one line each. An installed
// handler object receives the text instead, as a String Value, through its Execute.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

class Object;

QBASE_API void Info(const char* pFormat, ...) QBASE_PRINTF(1, 2);
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

} // namespace QBase

// QBASE_HERE gives the source unit ("Table", "QBase/Array" for a header) and the line it stands in.
// QBASE_ASSERT(condition) is an expression: true when the condition holds; otherwise it reports
// "ASSERT( condition )" with the condition as written, breaks, and, when resumed, is false:
//
//     if (!QBASE_ASSERT(index >= 0 && index < mSize))
//         return;
//
// QBASE_ASSERT_TEXT(condition, pFile, line, "ASSERT( words )") does the same with a text of its own.
