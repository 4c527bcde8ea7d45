#include "QBase/Error.h"

#include "QBase/ErrorHooks.h"
#include "QBase/FormattedText.h"
#include "QBase/Object.h"
#include "QBase/Platform/Platform.h"
#include "QBase/Ptr.h"
#include "QBase/StackState.h"
#include "QBase/String.h"
#include "QBase/Value.h"

#include <cstdarg>
#include <cstdio>
#include <new>
#include <utility>

namespace QBase
{

namespace
{

DebuggerOutputHook g_pDebuggerOutputHook = nullptr;
BreakHook g_pBreakHook = nullptr;

constexpr char NULL_FORMAT[] = "Null";

// The void value when there is no memory for the text: a report fails nobody, least of all that of a
// shortage.
Value AsValue(const char* pText)
{
    try {
        return String(pText);
    } catch (const std::bad_alloc&) {
        return Value::Null;
    }
}

// One of the two receivers. A report that a handler makes while it runs goes to the console, not to itself.
class HandlerSlot
{
public:
    constexpr explicit HandlerSlot(unsigned bit) : mBit(bit) {}

    void Set(Object* pHandler)
    {
        if (pHandler) {
            Object::AddReference(pHandler);
        }
        if (Object* pOld = std::exchange(mpHandler, pHandler)) {
            Object::DropReference(pOld);
        }
    }

    Object* Get() const { return mpHandler; }

    /// False when the console has to take the text.
    bool Deliver(const char* pText)
    {
        if (!mpHandler || (CurrentStackState().mRunningHandlers & mBit)) {
            return false;
        }
        const Ptr<Object> pHandler(mpHandler); // which may take itself out while it runs
        const Value message = AsValue(pText);  // before the guard: a repair is reported to the handler, too
        if (message.IsVoid()) {
            return false;
        }
        const Running running(mBit);
        pHandler->Execute(message);
        return true;
    }

private:
    class Running
    {
    public:
        explicit Running(unsigned bit) : mBit(bit) { CurrentStackState().mRunningHandlers |= mBit; }
        ~Running() { CurrentStackState().mRunningHandlers &= ~mBit; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        unsigned mBit;
    };

    Object* mpHandler = nullptr; // holds one reference, kept to the very end: static destructors report, too
    unsigned mBit;               // in StackState::mRunningHandlers
};

constinit HandlerSlot g_InfoSlot(1);
constinit HandlerSlot g_ErrorSlot(2);

// The text in front of an Error, cut to what a buffer of 2048 bytes holds.
class Prefix
{
public:
    Prefix(const char* pFile, int line)
    {
        const int length = pFile ? std::snprintf(mText, sizeof(mText), "ERROR: %s (line %d): ", pFile, line)
                                 : std::snprintf(mText, sizeof(mText), "ERROR: ");
        mSize = length < 0 ? 0 : static_cast<std::size_t>(length);
        if (mSize >= sizeof(mText)) {
            mSize = WithoutCutSequence({mText, sizeof(mText) - 1}).size();
        }
    }

    std::string_view View() const { return {mText, mSize}; }

private:
    char mText[2048];
    std::size_t mSize;
};

// The text serves as a format once more, without arguments: "%%" prints "%", any other "%" as it stands.
void PrintLine(std::FILE* pStream, std::string_view text)
{
    FormattedText line(text);
    line.CollapsePercents();
    line.AppendLineFeed();
    std::fwrite(line.c_str(), 1, line.View().size(), pStream);
    std::fflush(pStream); // a later break may end the process with its buffers unwritten
}

void DeliverToConsole(std::FILE* pStream, FormattedText& text)
{
    PrintLine(pStream, text.View());
    text.AppendLineFeed();
    // Through String, so that every way out repairs and reports invalid UTF-8 alike.
    const Value message = AsValue(text.c_str());
    const char* const pMessage = message.IsVoid() ? text.c_str() : message.AsString().c_str();
    if (g_pDebuggerOutputHook) {
        g_pDebuggerOutputHook(pMessage);
    } else {
        Platform::DebugOutput(pMessage);
    }
}

} // namespace

void Info(const char* pFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, pFormat);
    FormattedText text({}, pFormat ? pFormat : NULL_FORMAT, arguments);
    va_end(arguments);

    if (!g_InfoSlot.Deliver(text.c_str())) {
        DeliverToConsole(stdout, text);
    }
}

void Error(const char* pFile, int line, const char* pFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, pFormat);
    FormattedText text(Prefix(pFile, line).View(), pFormat ? pFormat : NULL_FORMAT, arguments);
    va_end(arguments);

    if (!g_ErrorSlot.Deliver(text.c_str())) {
        DeliverToConsole(stderr, text);
    }
}

void SetInfoHandler(Object* pHandler)
{
    g_InfoSlot.Set(pHandler);
}

void SetErrorHandler(Object* pHandler)
{
    g_ErrorSlot.Set(pHandler);
}

Object* GetInfoHandler()
{
    return g_InfoSlot.Get();
}

Object* GetErrorHandler()
{
    return g_ErrorSlot.Get();
}

void AssertFail(const char* pFile, int line, const char* pText)
{
    Error(pFile, line, "%s", pText);
    std::fflush(stdout);
    std::fflush(stderr);
    if (g_pBreakHook) {
        g_pBreakHook();
    } else {
        Platform::DebugBreak();
    }
}

void SetDebuggerOutputHook(DebuggerOutputHook pHook)
{
    g_pDebuggerOutputHook = pHook;
}

void SetBreakHook(BreakHook pHook)
{
    g_pBreakHook = pHook;
}

} // namespace QBase
