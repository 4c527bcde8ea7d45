#include "Save.h"

#include "Input.h"
#include "Output.h"
#include "Report.h"

#include "QBase/FileReplacement.h"

using namespace QBase;

namespace Quirl
{

const char* const SAVE_ADVICE = "; check the path, the rights on its folder and the room on the disk";

void SaveFile(const std::string& path, const std::string& bytes)
{
    Messages messages;
    FileReplacement replacement(MakePath(path));
    const int size = static_cast<int>(bytes.size()); // came from a MemoryFile, which counts in int
    const bool bSaved = replacement.GetFile() != nullptr &&
                        replacement.GetFile()->Write(bytes.data(), size) == size && replacement.Commit();
    messages.Print();
    if (!bSaved) {
        throw Trouble("Failed to save " + GetDisplayName(path) + SAVE_ADVICE);
    }
}

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

void SaveToStandardOutput(const std::string& bytes)
{
    Output output;
    output.Write(bytes);
    output.Finish();
}

} // namespace Quirl
