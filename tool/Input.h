// Input loads the graph of a file, whichever format it is in, and the modules it needs.
//
//     InputOptions options; // filled by the command line
//     Input input("solar.QXml", options);
//     input.GetRoot();      // null when it does not load; GetMessages() then says why
//
// The format is told by the first bytes. A class that is missing while the file loads names its module; the
// module is loaded, if the name is one and its library is found, and the file is loaded again: the library
// knows every format and version, so nothing here has to. A name never leads to another folder.

#pragma once

#include "CommandLine.h"
#include "Limits.h"
#include "Modules.h"
#include "Report.h"

#include "QBase/Object.h"
#include "QBase/Ptr.h"

#include <cstddef>
#include <string>
#include <vector>

namespace QBase
{
class Serializer;
}

namespace Quirl
{

enum class Format
{
    UNKNOWN,
    XML,
    BINARY
};

const char* GetFormatName(Format format);

/// "xml" or "binary"; anything else is UNKNOWN.
Format FindFormat(const std::string& name);

/// The format that the library reads a path as.
Format GetFormatOfPath(const std::string& path);

QBase::Ptr<QBase::Serializer> MakeSerializer(Format format);

struct InputOptions
{
    ModuleOptions mModules;
    std::string mFrom; // the name of a format; empty to recognise it
    bool mbGivenModulesOnly = false;
    LimitOptions mLimits;
};

/// The options that every command with a FILE has.
void AddInputOptions(const Command& command, InputOptions& rOptions);

class Input
{
public:
    /// Throws Trouble when the file cannot be read or is in no known format.
    Input(const std::string& path, const InputOptions& options);

    /// The same for a file whose bytes are at hand.
    Input(const std::string& path, const std::string& bytes, const InputOptions& options);

    /// Bytes that are at hand and in a known format; no module is loaded first.
    Input(std::string path, const std::string& bytes, Format format, const InputOptions& options);

    const std::string& GetPath() const { return mPath; }
    QBase::Object* GetRoot() const { return mpRoot; }
    Format GetFormat() const { return mFormat; }
    std::size_t GetSize() const { return mSize; }

    /// What the library reported during the load.
    const std::vector<Message>& GetMessages() const { return mMessages; }

    /// Whether a value of the file has no place in the graph.
    bool HasLostValues() const;

private:
    Input(const std::string& path, const std::string* pBytes, const InputOptions& options);

    void Load(const std::string& bytes);
    void LoadOnce(const std::string& bytes);
    bool LoadMissingModule();

    std::string mPath;
    Format mFormat;
    bool mbGivenModulesOnly;
    QBase::LoadLimits mLimits;
    std::size_t mSize;
    QBase::Ptr<QBase::Object> mpRoot;
    std::vector<Message> mMessages;
};

/// The root of a file that has to load; its warnings are printed. Throws Trouble when it does not.
QBase::Object* RequireRoot(const Input& input);

/// All bytes of a file, or of standard input. Throws Trouble when it cannot be read.
std::string ReadInput(const std::string& path);

/// The name of a FILE argument for messages.
std::string GetDisplayName(const std::string& path);

} // namespace Quirl
