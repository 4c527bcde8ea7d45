// The program quirl. A library that a program is linked to is initialised before any code of the program, and
// may print meanwhile. So this program is linked to nothing: it loads the tool, which lies beside it in a
// library of its own, while standard output leads nowhere.

#include <cstdio>

#include <windows.h>

#include <fcntl.h>
#include <io.h>

namespace
{

constexpr int STANDARD_OUTPUT = 1;
constexpr int EXIT_TROUBLE = 2;

HMODULE LoadQuietly(const wchar_t* pLibrary)
{
    const int output = _dup(STANDARD_OUTPUT);
    const int nowhere = _open("NUL", _O_WRONLY);
    if (output < 0 || nowhere < 0) {
        return LoadLibraryW(pLibrary); // started without standard output
    }
    _dup2(nowhere, STANDARD_OUTPUT);
    _close(nowhere);
    const HMODULE library = LoadLibraryW(pLibrary);
    const DWORD error = GetLastError();
    std::fflush(stdout);
    _dup2(output, STANDARD_OUTPUT);
    _close(output);
    SetLastError(error);
    return library;
}

} // namespace

int main()
{
    const HMODULE tool = LoadQuietly(L"quirl.dll");
    const FARPROC address = tool != nullptr ? GetProcAddress(tool, "RunQuirl") : nullptr;
    if (address == nullptr) {
        std::fprintf(stderr,
                     "quirl: error: Failed to load quirl.dll - the system's error %lu; put quirl.dll, "
                     "QBase_Release.dll and the other libraries beside quirl.exe\n",
                     GetLastError());
        return EXIT_TROUBLE;
    }
    return reinterpret_cast<int (*)()>(reinterpret_cast<void*>(address))();
}
