// Schema is what classes promise to files, peers and callers: their bases, properties, functions,
// enumerations and constants. It is read from the loaded classes or from a file that `quirl classes --json`
// wrote.
//
//     const Schema now = ReadRegistry({"QBase", "Solar"});
//     output.WriteLine(MakeJson(now).dump(2));
//     const Schema then = ReadSchema("solar-1.json"); // throws Trouble for what is none
//     then.Find("Solar.Body")->mProperties;
//
// docs/Formats.md has the form of the file. Members that a later version adds are passed over.

#pragma once

#include "Output.h"

#include "QBase/Value.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Quirl
{

using EnumKeys = std::map<std::string, int>;

struct SchemaProperty
{
    std::string mName;
    std::string mType;
    std::string mAccess; // "write", "read" or "constant"
    bool mbArray = false;
    bool mbExcluded = false;  // from files and replication
    std::string mEnumeration; // "module.class.name" of the enumeration that knows its keys; may be empty
    EnumKeys mKeys;
    Json mValue; // of a constant
    std::string mDescription;
};

struct SchemaFunction
{
    std::string mName;
    std::string mResult;
    std::vector<std::string> mArguments; // a type, or "module.class" of an object
    bool mbStatic = false;
    std::string mDescription;
};

struct SchemaEnumeration
{
    std::string mName;
    EnumKeys mKeys;
    std::string mDescription;
};

// Members stand in the order of their names.
struct SchemaClass
{
    std::string mName; // "module.class"
    std::string mBase; // the same of the base; empty for none
    bool mbAbstract = false;
    bool mbActsOutside = false;
    std::string mDescription;
    std::vector<SchemaProperty> mProperties;
    std::vector<SchemaFunction> mFunctions;
    std::vector<SchemaEnumeration> mEnumerations;
};

using SchemaModule = std::map<std::string, SchemaClass>; // by "module.class"

class Schema
{
public:
    static constexpr int VERSION = 1; // of the form of the file

    /// Null for a class that is not there.
    const SchemaClass* Find(const std::string& name) const;

    bool HasModule(const std::string& module) const { return mModules.count(module) != 0; }

    std::map<std::string, SchemaModule> mModules; // by name
};

/// What the loaded modules of these names have.
Schema ReadRegistry(const std::vector<std::string>& modules);

/// The names of all loaded modules.
std::vector<std::string> GetModuleNames();

/// What a file holds. Throws Trouble when it cannot be read or holds no schema.
Schema ReadSchema(const std::string& path);

Json MakeJson(const Schema& schema);

/// "Name(float, Solar.Body): void".
std::string GetSignature(const SchemaFunction& function);

} // namespace Quirl
