// ErrorHooks.h lets the tests stand in for what surrounds the reporting functions: the debugger that shows
// texts, the break that a failed assertion stops at, and the user who answers ErrorHandler's question. A null
// hook puts the system's own way back.
//
// Threads: install while no other thread reports.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

/// Receives what the console and the debugger's window show; the window then does not.
using DebuggerOutputHook = void (*)(const char* pText);
QBASE_API void SetDebuggerOutputHook(DebuggerOutputHook pHook);

/// Runs in place of the debugger break of a failed assertion; returning resumes behind it.
using BreakHook = void (*)();
QBASE_API void SetBreakHook(BreakHook pHook);

/// Answers ErrorHandler's question; false ends the program.
using QuestionHook = bool (*)(const char* pCaption, const char* pMessage);
QBASE_API void SetQuestionHook(QuestionHook pHook);

} // namespace QBase
