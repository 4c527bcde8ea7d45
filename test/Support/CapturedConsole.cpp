#include "Support/CapturedConsole.h"

#include "QBase/ErrorHooks.h"

#include <gtest/gtest.h>

#include <mutex>
#include <utility>

namespace
{

std::mutex g_Mutex;
std::string g_Expected;   // guarded by g_Mutex
std::string g_Unexpected; // guarded by g_Mutex

void RecordExpected(const char* pText)
{
    const std::lock_guard lock(g_Mutex);
    g_Expected += pText;
}

void RecordUnexpected(const char* pText)
{
    const std::lock_guard lock(g_Mutex);
    g_Unexpected += pText;
}

} // namespace

CapturedConsole::CapturedConsole()
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    g_Expected.clear();
    QBase::SetDebuggerOutputHook(RecordExpected);
}

CapturedConsole::~CapturedConsole()
{
    QBase::SetDebuggerOutputHook(RecordUnexpected);
    TakeOutput();
    TakeErrors();
}

std::string CapturedConsole::TakeOutput()
{
    return std::exchange(mbOutputTaken, true) ? std::string() : testing::internal::GetCapturedStdout();
}

std::string CapturedConsole::TakeErrors()
{
    return std::exchange(mbErrorsTaken, true) ? std::string() : testing::internal::GetCapturedStderr();
}

std::string CapturedConsole::GetDebuggerOutput() const
{
    const std::lock_guard lock(g_Mutex);
    return g_Expected;
}

void WatchConsole()
{
    QBase::SetDebuggerOutputHook(RecordUnexpected);
}

std::string TakeUnexpectedMessages()
{
    const std::lock_guard lock(g_Mutex);
    return std::exchange(g_Unexpected, std::string());
}
