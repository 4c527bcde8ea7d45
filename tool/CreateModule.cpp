// quirl new-module: writes a module to begin with.

#include "Commands.h"
#include "Modules.h"
#include "NewModule.h"
#include "Output.h"
#include "Report.h"
#include "System.h"
#include "Text.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"TEXT(Writes a folder NAME with a module that builds and passes its own test at once: CMakeLists.txt, a header and a
source for each class, a file with an object of each, a test and a README. Properties and functions are those of the --class before them; without
one, of a class that is called like the module. Types are those that `quirl classes` prints; [] makes an array of a
property. An argument of a function is a TYPE or a NAME:TYPE; there are five at most.
A class of another module can be a base when that module is LINKABLE (see qbase_add_module), as those are that are
written here. Its header is taken to be CLASS.h, and its namespace to be called like the module.
Exit codes: 0 written, 2 trouble (nothing is written then).

Examples:
  quirl new-module Rocket
  quirl new-module Rocket --class Engine:Object --property thrust:float --function Start \
                          --function "Push(force:float, times:int): bool" \
                          --class Stage:List --property "burnt:bool" --property "log:String[]"
  quirl new-module Shuttle --module Rocket --module-path Rocket/build/bin --class Wing:Rocket.Engine)TEXT";

constexpr char CLASS[] = "--class";
constexpr char PROPERTY[] = "--property";
constexpr char FUNCTION[] = "--function";

// "NAME:REST" apart; the rest is empty without a colon.
std::pair<std::string, std::string> Split(const std::string& text)
{
    const std::size_t colon = text.find(':');
    return colon == text.npos ? std::pair(text, std::string())
                              : std::pair(text.substr(0, colon), text.substr(colon + 1));
}

NewProperty ParseProperty(const std::string& text)
{
    auto [name, type] = Split(text);
    if (type.empty()) {
        throw Trouble("Failed to read the property " + Quote(text) +
                      " - it is no NAME:TYPE; write speed:float, for example");
    }
    const bool bArray = type.ends_with("[]");
    return {name, bArray ? type.substr(0, type.size() - 2) : type, bArray};
}

std::string Trim(const std::string& text)
{
    const std::size_t start = text.find_first_not_of(' ');
    return start == text.npos ? std::string() : text.substr(start, text.find_last_not_of(' ') - start + 1);
}

NewArgument ParseArgument(const std::string& text)
{
    const auto [name, type] = Split(text);
    return type.empty() ? NewArgument{{}, Trim(name)} : NewArgument{Trim(name), Trim(type)};
}

// NAME, NAME(ARGUMENT,...), NAME:TYPE or NAME(ARGUMENT,...):TYPE.
NewFunction ParseFunction(const std::string& text)
{
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    const std::string name = Trim(text.substr(0, std::min({open, text.find(':'), text.size()})));
    const std::string behind =
        Trim(open == text.npos ? text.substr(std::min(text.find(':'), text.size()))
                               : text.substr(close == text.npos ? text.size() : close + 1));
    const bool bResult = behind.starts_with(":") && !Trim(behind.substr(1)).empty();
    if ((open == text.npos) != (close == text.npos) || (open != text.npos && close < open) ||
        (open != text.npos && text.find(':') < open) || (!behind.empty() && !bResult)) {
        throw Trouble("Failed to read the function " + Quote(text) +
                      " - it is no NAME(TYPE,...):TYPE; write \"Push(float, int): bool\", for example");
    }
    NewFunction function{name, {}, "void"};
    function.mResult = bResult ? Trim(behind.substr(1)) : function.mResult;
    const std::string arguments = open == text.npos ? "" : Trim(text.substr(open + 1, close - open - 1));
    for (std::size_t start = 0; !arguments.empty() && start <= arguments.size();) {
        const std::size_t end = std::min(arguments.find(',', start), arguments.size());
        function.mArguments.push_back(ParseArgument(arguments.substr(start, end - start)));
        start = end + 1;
    }
    return function;
}

NewClass ParseClass(const NewModule& module, const std::string& text)
{
    const auto [name, base] = Split(text);
    return {name, FindBase(module, base), {}, {}};
}

// The order on the command line says to which class properties and functions belong.
NewModule ParseModule(const std::string& name, const std::vector<Command::Word>& words)
{
    NewModule module{name, {}};
    for (const auto& [option, text] : words) {
        if (option == CLASS) {
            module.mClasses.push_back(ParseClass(module, text));
            continue;
        }
        if (option != PROPERTY && option != FUNCTION) {
            continue;
        }
        if (module.mClasses.empty()) {
            module.mClasses.push_back(ParseClass(module, name));
        }
        if (option == PROPERTY) {
            module.mClasses.back().mProperties.push_back(ParseProperty(text));
        } else {
            module.mClasses.back().mFunctions.push_back(ParseFunction(text));
        }
    }
    if (module.mClasses.empty()) {
        module.mClasses.push_back(ParseClass(module, name));
    }
    return module;
}

void Write(const fs::path& path, const std::string& text)
{
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw Trouble("Failed to write '" + path.generic_string() +
                      "'; make room there, or go to a folder in "
                      "which you may write");
    }
}

// The prefix that quirl is installed under when CMake does not look there by itself; empty otherwise.
std::string FindPrefix()
{
    const fs::path prefix = fs::path(GetProgramFolder()).parent_path();
    if (prefix.empty() || prefix == "/usr" || prefix == "/usr/local") {
        return {};
    }
    std::error_code error;
    for (fs::recursive_directory_iterator place(prefix / "lib", error), end; !error && place != end;
         place.increment(error)) {
        if (place->path().filename() == "QBaseConfig.cmake") {
            return prefix.generic_string();
        }
        if (place.depth() >= 3) {
            place.disable_recursion_pending();
        }
    }
    return {};
}

// Where the modules were found whose classes are bases.
std::string FindFolders(const NewModule& module)
{
    std::string folders;
    for (const std::string& foreign : GetForeignModules(module)) {
        const std::string folder = GetModuleFolder(foreign);
        std::error_code error;
        if (!folder.empty()) {
            folders +=
                " -D" + foreign + "_FOLDER=" + QuoteForShell(fs::absolute(folder, error).generic_string());
        }
    }
    return folders;
}

void PrintNextCommand(const NewModule& module)
{
    const std::string& name = module.mName;
    const std::string prefix = FindPrefix();
    Output output;
    output.WriteLine("Next: cmake -S " + name + " -B " + name + "/build" +
                     (prefix.empty() ? "" : " -DCMAKE_PREFIX_PATH=" + QuoteForShell(prefix)) +
                     FindFolders(module) + " && cmake --build " + name + "/build && ctest --test-dir " +
                     name + "/build --output-on-failure");
    output.Finish();
}

int RunNewModule(const NewModule& module)
{
    CheckModule(module);
    const fs::path folder = module.mName;
    std::error_code error;
    if (fs::exists(fs::symlink_status(folder, error))) {
        throw Trouble("Failed to make the folder '" + module.mName +
                      "' - something of that name is there; choose another name, or go to another folder");
    }
    try {
        for (const NewFile& file : MakeFiles(module)) {
            Write(folder / file.mPath, file.mText);
        }
    } catch (const Trouble&) {
        fs::remove_all(folder, error);
        throw;
    }
    PrintNextCommand(module);
    return EXIT_FINE;
}

} // namespace

void AddNewModule(const Command& program, int& rExitCode)
{
    const Command command =
        program.AddCommand("new-module", "Write a module that builds and passes its own test");
    const auto pName = std::make_shared<std::string>();
    const auto pModules = std::make_shared<ModuleOptions>();
    command.AddOption("NAME", *pName, "The name of the module and its folder").Require();
    command
        .AddOrdered(CLASS, "Add a class (repeatable); BASE is a class of QBase, an earlier class, or "
                           "MODULE.CLASS of a loaded module")
        .SetTypeName("NAME[:BASE]");
    command.AddOrdered(PROPERTY, "Add a property to the class (repeatable)").SetTypeName("NAME:TYPE");
    command
        .AddOrdered(FUNCTION, "Add a function to the class (repeatable), with its arguments and its result")
        .SetTypeName("NAME[(TYPE,...)][:TYPE]");
    AddModuleOptions(command, *pModules);
    command.SetFooter(FOOTER);
    command.SetAction([pName, pModules, command, &rExitCode] {
        LoadModules(*pModules);
        rExitCode = RunNewModule(ParseModule(*pName, command.GetWords()));
    });
}

} // namespace Quirl
