#include "QBase/Error.h"

#include "QBase/ErrorHooks.h"
#include "QBase/FormattedText.h"
#include "QBase/Platform/Platform.h"
#include "QBase/String.h"

#include <cstdarg>
#include <cstdio>

namespace QBase
{

namespace
{

DebuggerOutputHook g_pDebuggerOutputHook = nullptr;
BreakHook g_pBreakHook = nullptr;

constexpr char NULL_FORMAT[] = "Null";

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
            mSize = Shorten({mText, sizeof(mText)}, sizeof(mText) - 1).size();
        }
    }

    std::string_view View() const { return {mText, mSize}; }

private:
    char mText[2048];
    std::size_t mSize;
};

void ShowInDebugger(const char* pText)
{
    if (g_pDebuggerOutputHook) {
        g_pDebuggerOutputHook(pText);
    } else {
        Platform::DebugOutput(pText);
    }
}

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
    ShowInDebugger(String(text.c_str()).c_str());
}

} // namespace

void Info(const char* pFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, pFormat);
    FormattedText text({}, pFormat ? pFormat : NULL_FORMAT, arguments);
    va_end(arguments);

    DeliverToConsole(stdout, text);
}

void Error(const char* pFile, int line, const char* pFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, pFormat);
    FormattedText text(Prefix(pFile, line).View(), pFormat ? pFormat : NULL_FORMAT, arguments);
    va_end(arguments);

    DeliverToConsole(stderr, text);
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
