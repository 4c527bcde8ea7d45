#include "Save.h"

#include "Input.h"
#include "Output.h"
#include "Report.h"
#include "System.h"

using namespace QBase;

namespace Quirl
{

namespace
{

// The path for the library. One that is no UTF-8 would name another file there.
String MakePath(const std::string& path)
{
    const Messages unheard;
    const String text(path.c_str());
    if (path != text.c_str()) {
        throw Trouble("Failed to save " + GetDisplayName(path) +
                      " - the path is no UTF-8; choose another name");
    }
    return text;
}

// Lets nothing stay behind when the user has no patience any more.
class InterruptionGuard
{
public:
    explicit InterruptionGuard(SystemFile* pFile)
    {
        RemoveWhenInterrupted(pFile != nullptr ? pFile->GetFilename().c_str() : "");
    }
    ~InterruptionGuard() { RemoveWhenInterrupted(""); }
    InterruptionGuard(const InterruptionGuard&) = delete;
    InterruptionGuard& operator=(const InterruptionGuard&) = delete;
};

} // namespace

void SaveFile(const std::string& path, const std::string& bytes)
{
    const int size = static_cast<int>(bytes.size()); // came from a MemoryFile, which counts in int
    SaveFile(path, [&](SystemFile* pFile) { return pFile->Write(bytes.data(), size) == size; });
}

void SaveFile(const std::string& path, const std::function<bool(SystemFile*)>& write)
{
    Messages messages;
    FileReplacement replacement(MakePath(path));
    const InterruptionGuard guard(replacement.GetFile());
    const bool bSaved =
        replacement.GetFile() != nullptr && write(replacement.GetFile()) && replacement.Commit();
    messages.Print();
    if (!bSaved) {
        throw Trouble("Failed to save " + GetDisplayName(path) +
                      "; check the path, the rights on its folder and the room on the disk");
    }
}

void SaveToStandardOutput(const std::string& bytes)
{
    Output output;
    output.Write(bytes);
    output.Finish();
}

} // namespace Quirl
