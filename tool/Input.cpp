#include "Input.h"

#include "System.h"
#include "Text.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/MemoryFile.h"
#include "QBase/Table.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr std::string_view BINARY_MARK = "QObj";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view LOST_VALUE = "Ignoring deserialized ";
constexpr std::string_view MISSING_CLASS = "Failed to construct '";
constexpr std::string_view OUTSIDE_CLASS = " acts outside the program and is not allowed";
constexpr std::string_view WRONG_ID = "Deserialize failed, file id mismatch ";
constexpr std::string_view OVER_LIMIT = " the limit of ";

using FileCloser = int (*)(std::FILE*);

[[noreturn]] void RefuseTooLarge(const std::string& name)
{
    throw Trouble("Failed to read " + name + " - it is larger than 2 GiB, which no graph file can be");
}

std::string ReadAll(std::FILE* pFile, const std::string& name)
{
    std::string bytes;
    std::size_t size = 0;
    do {
        bytes.resize(std::max<std::size_t>(65536, 2 * size));
        size += std::fread(bytes.data() + size, 1, bytes.size() - size, pFile);
    } while (size == bytes.size() && size <= INT_MAX);
    bytes.resize(size);
    if (std::ferror(pFile)) {
        throw Trouble("Failed to read " + name + " - " + std::strerror(errno) + "; check the disk it is on");
    }
    if (size > INT_MAX) {
        RefuseTooLarge(name);
    }
    return bytes;
}

Format RecogniseFormat(std::string_view bytes)
{
    if (bytes.starts_with(BINARY_MARK)) {
        return Format::BINARY;
    }
    if (bytes.starts_with(BYTE_ORDER_MARK)) {
        bytes.remove_prefix(BYTE_ORDER_MARK.size());
    }
    const std::size_t start = bytes.find_first_not_of(" \t\r\n");
    return start != bytes.npos && bytes[start] == '<' ? Format::XML : Format::UNKNOWN;
}

Format ChooseFormat(const std::string& path, std::string_view bytes, const std::string& from)
{
    const Format format = from.empty() ? RecogniseFormat(bytes) : FindFormat(from);
    if (format == Format::UNKNOWN) {
        throw Trouble("Failed to recognise the format of " + GetDisplayName(path) + " - " +
                      (bytes.empty() ? "it is empty"
                                     : "it begins neither as XML, with '<', nor as binary, with 'QObj'") +
                      "; check that it is the right file, or say --from xml or --from binary");
    }
    return format;
}

bool IsLoaded(const std::string& module)
{
    return GetModuleTable()->Find(module.c_str()) != nullptr;
}

} // namespace

const char* GetFormatName(Format format)
{
    return format == Format::XML ? "xml" : format == Format::BINARY ? "binary" : "unknown";
}

Format FindFormat(const std::string& name)
{
    return name == "xml" ? Format::XML : name == "binary" ? Format::BINARY : Format::UNKNOWN;
}

Format GetFormatOfPath(const std::string& path)
{
    return path.find("QXml") != path.npos ? Format::XML : Format::BINARY;
}

Ptr<Serializer> MakeSerializer(Format format)
{
    if (format == Format::XML) {
        return Ptr<Serializer>(AsciiSerializer::Construct(Value::Null));
    }
    return Ptr<Serializer>(BinarySerializer::Construct(Value::Null));
}

void AddInputOptions(const Command& command, InputOptions& rOptions)
{
    AddModuleOptions(command, rOptions.mModules, "; those named in the file are loaded when found");
    command.AddFlag("--given-modules-only", rOptions.mbGivenModulesOnly,
                    "Load no module that only the file names");
    AddLimitOptions(command, rOptions.mLimits);
    command.AddFlag("--trusted", rOptions.mLimits.mbTrusted,
                    "Make objects of classes that act on files, threads or connections, too");
    command.AddOption("--from", rOptions.mFrom, "The format of the input, instead of recognising it")
        .AllowOnly({"xml", "binary"});
}

Input::Input(const std::string& path, const InputOptions& options) : Input(path, nullptr, options)
{}

Input::Input(const std::string& path, const std::string& bytes, const InputOptions& options)
    : Input(path, &bytes, options)
{}

Input::Input(const std::string& path, const std::string* pBytes, const InputOptions& options)
    : mPath(path), mFormat(Format::UNKNOWN), mbGivenModulesOnly(options.mbGivenModulesOnly),
      mLimits(MakeLimits(options.mLimits))
{
    LoadModules(options.mModules);
    const Progress progress("Loading " + GetDisplayName(path));
    const std::string read = pBytes == nullptr ? ReadInput(path) : std::string();
    const std::string& bytes = pBytes == nullptr ? read : *pBytes;
    mFormat = ChooseFormat(path, bytes, options.mFrom);
    Load(bytes);
}

Input::Input(std::string path, const std::string& bytes, Format format, const InputOptions& options)
    : mPath(std::move(path)), mFormat(format), mbGivenModulesOnly(options.mbGivenModulesOnly),
      mLimits(MakeLimits(options.mLimits))
{
    Load(bytes);
}

bool Input::HasLostValues() const
{
    return std::any_of(mMessages.begin(), mMessages.end(), [](const Message& message) {
        return message.mKind == Message::WARNING && message.mText.starts_with(LOST_VALUE);
    });
}

void Input::Load(const std::string& bytes)
{
    mSize = bytes.size();
    LoadOnce(bytes);
    while (mpRoot == nullptr && LoadMissingModule()) {
        LoadOnce(bytes);
    }
}

void Input::LoadOnce(const std::string& bytes)
{
    Messages messages;
    const String name(mPath == "-" ? "standard input" : mPath.c_str());
    messages.Take(); // a path that is no UTF-8 names a file all the same
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    if (pFile->OpenBuffer(bytes.data(), static_cast<int>(bytes.size()), name, File::MODE_READ)) {
        const Ptr<Serializer> pSerializer = MakeSerializer(mFormat);
        pSerializer->SetLimits(mLimits);
        const Value root = pSerializer->Deserialize(pFile);
        mpRoot = root.AsObject();
        if (mpRoot != nullptr && mFormat == Format::BINARY && pFile->BytesAvailable() > 0) {
            Info("WARNING: %d bytes behind the graph are no part of it", pFile->BytesAvailable());
        }
    }
    mMessages = messages.Take();
}

// True when a module that a class was missing from is there now, so that another try is worth it.
bool Input::LoadMissingModule()
{
    if (mbGivenModulesOnly) {
        return false;
    }
    for (const Message& message : mMessages) {
        if (message.mKind != Message::ERROR || !message.mText.starts_with(MISSING_CLASS)) {
            continue;
        }
        const std::size_t start = MISSING_CLASS.size();
        const std::string module = message.mText.substr(start, message.mText.find('.') - start);
        if (!IsLoaded(module) && TryModule(module)) {
            return true;
        }
    }
    return false;
}

Object* RequireRoot(const Input& input)
{
    const char* pAdvice = "the messages above say what is wrong in it";
    for (const Message& message : input.GetMessages()) {
        PrintMessage(message);
        if (message.mText.starts_with(MISSING_CLASS)) {
            pAdvice =
                "say --module NAME for the module of the missing class, whose library NAME_Release lies "
                "beside quirl or where the system looks, or --module-path FOLDER for the folder it is in";
        } else if (message.mText.starts_with(WRONG_ID)) {
            pAdvice = "XML begins with <QuirlData id=\"1784827729\" version=\"3\">, binary with 'QObj'; "
                      "check that it "
                      "is the right file";
        } else if (message.mText.find(OUTSIDE_CLASS) != std::string::npos) {
            pAdvice = "say --trusted if you know where the file comes from";
        } else if (message.mText.find(OVER_LIMIT) != std::string::npos) {
            pAdvice = "say --limit NAME=N if it is meant to be that large";
        }
    }
    if (input.GetRoot() == nullptr) {
        throw Trouble("Failed to load " + GetDisplayName(input.GetPath()) + "; " + pAdvice);
    }
    return input.GetRoot();
}

std::string ReadInput(const std::string& path)
{
    const std::string name = GetDisplayName(path);
    if (path == "-") {
        SetBinaryMode(stdin);
        return ReadAll(stdin, name);
    }
    std::string reason;
    const std::unique_ptr<std::FILE, FileCloser> pFile(OpenForReading(path, reason), &std::fclose);
    if (pFile == nullptr) {
        throw Trouble("Failed to open file " + name + " - " + reason + "; check the path");
    }
    if (GetFileSize(pFile.get()) > INT_MAX) {
        RefuseTooLarge(name); // before any memory is taken
    }
    return ReadAll(pFile.get(), name);
}

std::string GetDisplayName(const std::string& path)
{
    return path == "-" ? "standard input" : "'" + ToPrintable(path) + "'";
}

} // namespace Quirl
