// NewModule is a module that does not exist yet: its classes, their properties and functions, and the files
// that make it one.
//
//     NewModule module = {"Rocket", {}};
//     module.mClasses.push_back({"Engine", "QBase.Object", {{"thrust", "float", false}}, {{"Start", {},
//     "void"}}}); CheckModule(module);                        // throws Trouble for a name that no compiler
//     would take for (const NewFile& file : MakeFiles(module))
//         ...
//
// The files build against the installed package and pass their own test as they are.

#pragma once

#include <set>
#include <string>
#include <vector>

namespace Quirl
{

struct NewProperty
{
    std::string mName;
    std::string mType; // as `quirl classes` names it
    bool mbArray = false;
};

struct NewArgument
{
    std::string mName; // may be empty
    std::string mType;
};

struct NewFunction
{
    std::string mName;
    std::vector<NewArgument> mArguments;
    std::string mResult; // "void" for none
};

struct NewClass
{
    std::string mName;
    std::string mBase; // the name of an earlier class of the module, or "Module.Class" of a registered one
    std::vector<NewProperty> mProperties;
    std::vector<NewFunction> mFunctions;
};

struct NewModule
{
    std::string mName;
    std::vector<NewClass> mClasses;
};

struct NewFile
{
    std::string mPath; // from the module's folder
    std::string mText;
};

/// The base that a user means: nothing is QBase.Object, and a name without a module is QBase's where QBase
/// has a class of that name.
std::string FindBase(const NewModule& module, const std::string& text);

/// The registered modules, other than QBase, whose classes are bases.
std::set<std::string> GetForeignModules(const NewModule& module);

/// Throws Trouble for a name, type or base that would not compile, and says what would.
void CheckModule(const NewModule& module);

/// The files of a checked module, each line of them.
std::vector<NewFile> MakeFiles(const NewModule& module);

} // namespace Quirl
