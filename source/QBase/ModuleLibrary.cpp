#include "QBase/ModuleLibrary.h"

#include "QBase/Platform/Platform.h"

namespace QBase
{

namespace
{

// A bare file name is searched for by the system; one with a directory names a file.
bool TryLoad(const std::string& directory, const std::string& file, std::string& rErrorText, bool& rbFound)
{
    const std::string path = directory + file;
    if (!directory.empty() && !Platform::FileExists(path.c_str())) {
        return false;
    }
    if (Platform::OpenLibrary(path.c_str()) != nullptr) {
        return true;
    }
    const std::string text = Platform::LastErrorText();
    if (!rbFound) {
        rErrorText = text;
        rbFound = Platform::WasLibraryFound(path.c_str(), text);
    }
    return false;
}

} // namespace

bool LoadModuleLibrary(const String& name, std::string& rErrorText)
{
    const std::string plain = std::string(name.c_str()) + "_Release" + Platform::LibrarySuffix();
    const std::string files[] = {plain, Platform::LibraryPrefix() + plain};
    const std::string directories[] = {Platform::ExecutableDirectory(), Platform::LibraryDirectory(), "",
                                       Platform::WorkingDirectory()};
    bool bFound = false;
    for (const std::string& directory : directories) {
        for (const std::string& file : files) {
            if (TryLoad(directory, file, rErrorText, bFound)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace QBase
