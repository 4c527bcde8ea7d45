#include "Save.h"

#include "Output.h"
#include "Report.h"
#include "System.h"

#include "QBase/MemoryFile.h"
#include "QBase/Serializer.h"

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

std::string Serialize(Object* pRoot, Format format, const std::string& name)
{
    const Progress progress("Writing " + name);
    Messages messages;
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("graph", File::MODE_READ | File::MODE_WRITE);
    const bool bWritten = MakeSerializer(format)->Serialize(pRoot, pFile);
    messages.Print();
    if (!bWritten) {
        throw Trouble("Failed to write the graph as " + std::string(GetFormatName(format)) +
                      " - it holds a value that this format has no form for; see `quirl show` of the input");
    }
    std::string bytes(static_cast<std::size_t>(pFile->GetSize()), '\0');
    pFile->SeekStart(0);
    pFile->Read(bytes.data(), pFile->GetSize());
    return bytes;
}

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
