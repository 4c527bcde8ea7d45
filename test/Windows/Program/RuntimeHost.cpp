// A host that is not linked to the library: it loads the library while it runs and finds functions by name.

#include <cstdio>

#include <windows.h>

int main()
{
    const HMODULE library = LoadLibraryW(L"QBase_Release.dll");
    if (library == nullptr) {
        std::printf("no library: %lu\n", GetLastError());
        return 1;
    }
    using GetModuleTable = void* (*)();
    const FARPROC address = GetProcAddress(library, "_ZN5QBase14GetModuleTableEv");
    const auto pGetModuleTable = reinterpret_cast<GetModuleTable>(reinterpret_cast<void*>(address));
    std::puts(pGetModuleTable != nullptr && pGetModuleTable() != nullptr ? "module table" : "nothing");
    return 0;
}
