// NewModule is a module that does not exist yet: its classes, their properties and functions, and the files
// that make it one.
//
//     NewModule module = {"Rocket", {}};
//     module.mClasses.push_back({"Engine", "Object", {{"thrust", "float", false}}, {"Start"}});
//     CheckModule(module);                        // throws Trouble for a name that no compiler would take
//     for (const NewFile& file : MakeFiles(module))
//         ...
//
// The files build against the installed package and pass their own test as they are.

#pragma once

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

struct NewClass
{
    std::string mName;
    std::string mBase; // a class of QBase or one of the module
    std::vector<NewProperty> mProperties;
    std::vector<std::string> mFunctions;
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

/// Throws Trouble for a name, type or base that would not compile, and says what would.
void CheckModule(const NewModule& module);

/// The files of a checked module, each line of them.
std::vector<NewFile> MakeFiles(const NewModule& module);

} // namespace Quirl
