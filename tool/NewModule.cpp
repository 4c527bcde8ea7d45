#include "NewModule.h"

#include "Report.h"
#include "System.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/FileFormat.h"
#include "QBase/Function.h"
#include "QBase/Global.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

using namespace QBase;

namespace Quirl
{

namespace
{

// --- Types ---

struct TypeForm
{
    const char* mpName;   // as files and `quirl classes` have it
    const char* mpType;   // in C++
    const char* mpHeader; // that has it; null for none
    const char* mpSample; // a value for the test, other than the first one
    const char* mpText;   // the same in a file; null for none
    bool mbSmall;         // passed by value
};

constexpr TypeForm TYPES[] = {
    {"int", "int", nullptr, "7", "7", true},
    {"float", "float", nullptr, "0.5f", "0.5", true},
    {"bool", "bool", nullptr, "true", "true", true},
    {"String", "QBase::String", "QBase/String.h", "QBase::String(\"text\")", "text", false},
    {"Object", "QBase::Ptr<QBase::Object>", "QBase/Ptr.h", "", nullptr, false},
    {"Vector2", "QBase::Vector2", "QBase/Vector2.h", "QBase::Vector2(1, 2)", "1 2", false},
    {"Vector3", "QBase::Vector3", "QBase/Vector3.h", "QBase::Vector3(1, 2, 3)", "1 2 3", false},
    {"Vector4", "QBase::Vector4", "QBase/Vector4.h", "QBase::Vector4(1, 2, 3, 4)", "1 2 3 4", false},
    {"Vector2i", "QBase::Vector2i", "QBase/Vector2.h", "QBase::Vector2i(1, 2)", "1 2", false},
    {"Vector3i", "QBase::Vector3i", "QBase/Vector3.h", "QBase::Vector3i(1, 2, 3)", "1 2 3", false},
    {"Vector4i", "QBase::Vector4i", "QBase/Vector4.h", "QBase::Vector4i(1, 2, 3, 4)", "1 2 3 4", false},
    {"Color", "QBase::Color", "QBase/Color.h", "QBase::Color(1, 2, 3)", "0xFF030201", false},
    {"Quaternion", "QBase::Quaternion", "QBase/Quaternion.h", "QBase::Quaternion(1, 2, 3, 4)", "1 2 3 4",
     false},
    {"Value", "QBase::Value", "QBase/Value.h", "QBase::Value(7)", nullptr, false},
};

const TypeForm* FindType(const std::string& name)
{
    for (const TypeForm& type : TYPES) {
        if (name == type.mpName) {
            return &type;
        }
    }
    return nullptr;
}

// What a member begins with. A value without a type cannot be saved.
std::string GetInitialiser(const NewProperty& property)
{
    if (property.mbArray) {
        return {};
    }
    return property.mType == "int" || property.mType == "float" ? " = 0"
           : property.mType == "bool"                           ? " = false"
           : property.mType == "Value"                          ? " = QBase::Value(0)"
                                                                : "";
}

// --- Names ---

const std::set<std::string>& GetKeywords()
{
    static const std::set<std::string> sKeywords = {
        "alignas",     "alignof",  "and",        "and_eq",    "asm",       "auto",         "bitand",
        "bitor",       "bool",     "break",      "case",      "catch",     "char",         "char16_t",
        "char32_t",    "char8_t",  "class",      "co_await",  "co_return", "co_yield",     "compl",
        "concept",     "const",    "const_cast", "consteval", "constexpr", "constinit",    "continue",
        "decltype",    "default",  "delete",     "do",        "double",    "dynamic_cast", "else",
        "enum",        "explicit", "export",     "extern",    "false",     "float",        "for",
        "friend",      "goto",     "if",         "inline",    "int",       "long",         "mutable",
        "namespace",   "new",      "noexcept",   "not",       "not_eq",    "nullptr",      "operator",
        "or",          "or_eq",    "private",    "protected", "public",    "register",     "reinterpret_cast",
        "requires",    "return",   "short",      "signed",    "sizeof",    "static",       "static_assert",
        "static_cast", "struct",   "switch",     "template",  "this",      "thread_local", "throw",
        "true",        "try",      "typedef",    "typeid",    "typename",  "union",        "unsigned",
        "using",       "virtual",  "void",       "volatile",  "wchar_t",   "while",        "xor",
        "xor_eq"};
    return sKeywords;
}

// What C has under its name everywhere, whatever stands around it.
const std::set<std::string>& GetMacros()
{
    static const std::set<std::string> sMacros = {"EOF",    "FILE",  "NULL",    "assert", "errno",
                                                  "linux",  "major", "makedev", "minor",  "offsetof",
                                                  "stderr", "stdin", "stdout",  "unix"};
    return sMacros;
}

// What CMake builds under its name, with tests and packages.
const std::set<std::string>& GetReservedTargets()
{
    static const std::set<std::string> sTargets = {"ALL_BUILD",    "Continuous",
                                                   "Experimental", "INSTALL",
                                                   "Nightly",      "PACKAGE",
                                                   "RUN_TESTS",    "ZERO_CHECK",
                                                   "all",          "clean",
                                                   "edit_cache",   "help",
                                                   "install",      "list_install_components",
                                                   "package",      "package_source",
                                                   "preinstall",   "rebuild_cache",
                                                   "test"};
    return sTargets;
}

// What every class has in C++ already; reflected functions of other bases are asked of their classes.
const std::set<std::string>& GetMembersOfObject()
{
    static const std::set<std::string> sMembers = {"Access",
                                                   "AddConstant",
                                                   "AddDynamicProperty",
                                                   "AddEnum",
                                                   "AddFunction",
                                                   "AddProperty",
                                                   "AddPropertyArray",
                                                   "AddPropertyArrayFromValue",
                                                   "AddPropertyValue",
                                                   "AddPropertyValueFromValue",
                                                   "AddReference",
                                                   "BaseClass",
                                                   "Call",
                                                   "ClassName",
                                                   "ClassTable",
                                                   "Clone",
                                                   "Construct",
                                                   "Copy",
                                                   "CopyTo",
                                                   "Describe",
                                                   "Destroy",
                                                   "DropReference",
                                                   "Execute",
                                                   "FindFunction",
                                                   "FindProperty",
                                                   "GetClassName",
                                                   "GetClassTable",
                                                   "GetInstanceOrClassTable",
                                                   "GetInstanceTable",
                                                   "GetModuleName",
                                                   "GetPropertyHandle",
                                                   "GetReferenceCount",
                                                   "Implement",
                                                   "IsDerivedType",
                                                   "IsExactType",
                                                   "ModuleName",
                                                   "Object",
                                                   "Release",
                                                   "RemoveProperty",
                                                   "SetActsOutside",
                                                   "SetInstanceTable",
                                                   "ThisClass",
                                                   "sImplementor",
                                                   "spClassTable"};
    return sMembers;
}

std::string ToLower(std::string text)
{
    for (char& rCharacter : text) {
        rCharacter = static_cast<char>(std::tolower(static_cast<unsigned char>(rCharacter)));
    }
    return text;
}

std::string Capitalise(std::string text)
{
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

bool IsLetter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

void CheckName(const std::string& name, const char* pWhat)
{
    const std::string failure =
        std::string("Failed to name ") + (*pWhat == 'a' ? "an " : "a ") + pWhat + " " + Quote(name) + " - ";
    const bool bLetters =
        !name.empty() && IsLetter(name[0]) && std::all_of(name.begin(), name.end(), [](char character) {
            return IsLetter(character) || (character >= '0' && character <= '9') || character == '_';
        });
    if (!bLetters) {
        throw Trouble(failure + "a name has letters, digits and '_', a letter first; choose such a one");
    }
    if (name.find("__") != name.npos) {
        throw Trouble(failure + "C++ keeps names with two '_' in a row for itself; choose another");
    }
    if (GetKeywords().count(name) != 0) {
        throw Trouble(failure + "it is a word of C++; choose another");
    }
    if (GetMacros().count(name) != 0 || name.starts_with("QBASE_")) {
        throw Trouble(failure + "it is a macro of C, C++ or QBase; choose another");
    }
}

bool IsNameOfLibrary(const std::string& name)
{
    Object* const pModule = GetModuleTable()->Find("QBase");
    return FindType(name) != nullptr || static_cast<Table*>(pModule)->Find(name.c_str()) != nullptr ||
           name == "Ptr" || name == "Array" || name == "HashTable" || name == "LinkedList" ||
           name == "Memory";
}

const NewClass* FindClass(const NewModule& module, const std::string& name, const NewClass* pEnd)
{
    for (const NewClass& candidate : module.mClasses) {
        if (&candidate == pEnd) {
            return nullptr;
        }
        if (candidate.mName == name) {
            return &candidate;
        }
    }
    return nullptr;
}

std::string GetMemberName(const NewProperty& property)
{
    return (property.mType == "Object" && !property.mbArray ? "mp" : "m") + Capitalise(property.mName);
}

// --- Bases ---

// A base is a class of the module, which is written here, or one that is registered.
struct Base
{
    explicit Base(const std::string& text)
        : mModule(text.substr(0, std::min(text.find('.'), text.size()))),
          mClass(text.find('.') != text.npos ? text.substr(text.find('.') + 1) : std::string())
    {
        if (mClass.empty()) {
            mClass.swap(mModule);
        }
    }

    bool IsOwn() const { return mModule.empty(); }

    // Borrowed; null when nothing of that name is registered.
    const ClassInfoTable* Find() const
    {
        Object* const pModule = GetModuleTable()->Find(mModule.c_str());
        Object* const pClass = pModule != nullptr && pModule->IsDerivedType(Table::ClassTable())
                                   ? static_cast<Table*>(pModule)->Find(mClass.c_str())
                                   : nullptr;
        return pClass != nullptr && pClass->IsDerivedType(ClassInfoTable::ClassTable())
                   ? static_cast<ClassInfoTable*>(pClass)
                   : nullptr;
    }

    std::string mModule; // empty for a class of the module itself
    std::string mClass;
};

// Where the class is declared. Most headers are called like their class.
std::string GetHeader(const Base& base)
{
    static const std::map<std::string, std::string> sHeaders = {
        {"ArrayPropertyCommon", "Property"}, {"ValuePropertyCommon", "Property"}, {"EnumInfoObject", "Enum"}};
    const auto found = sHeaders.find(base.mClass);
    const bool bWithLibrary = base.mModule == "QBase" || base.mModule == "QNet";
    return (bWithLibrary ? base.mModule + "/" : "") +
           (base.mModule == "QBase" && found != sHeaders.end() ? found->second : base.mClass) + ".h";
}

// Nobody can derive from these: the library makes them itself, or keeps them to itself.
bool IsClosed(const Base& base)
{
    return (base.mModule == "QBase" &&
            (base.mClass == "ClassInfoTable" || base.mClass == "Function" || base.mClass == "Property" ||
             base.mClass == "ArrayPropertyCommon" || base.mClass == "ValuePropertyCommon")) ||
           (base.mModule == "QNet" && base.mClass == "FrameStream");
}

// The class that is no longer of the module, up the line of bases.
Base FindForeignBase(const NewModule& module, const NewClass& described)
{
    const NewClass* pClass = &described;
    Base base(pClass->mBase);
    while (base.IsOwn()) {
        pClass = FindClass(module, base.mClass, pClass);
        base = Base(pClass->mBase);
    }
    return base;
}

// A class whose base leaves functions open leaves them open too.
bool IsAbstract(const NewModule& module, const NewClass& described)
{
    return FindForeignBase(module, described).Find()->IsAbstract();
}

// A name that is the class's already, from its base or another member, hides or repeats something.
class MemberNames
{
public:
    MemberNames(const NewModule& module, const NewClass& described)
    {
        const NewClass* pClass = &described;
        while (const NewClass* const pBase = FindClass(module, pClass->mBase, pClass)) {
            pClass = pBase;
            for (const NewProperty& property : pBase->mProperties) {
                Take(property);
            }
            for (const NewFunction& function : pBase->mFunctions) {
                mTaken.insert(function.mName);
            }
        }
        TakeRegistered(Base(pClass->mBase).Find());
        mTaken.insert(described.mName);
        mTaken.insert(Base(described.mBase).mClass);
        mTaken.insert(GetMembersOfObject().begin(), GetMembersOfObject().end());
    }

    void Add(const NewProperty& property, const std::string& className)
    {
        CheckName(property.mName, "property");
        Require(IsFree(property.mName) && IsFree(GetMemberName(property)), "property", property.mName,
                className);
        Take(property);
    }

    void Add(const NewFunction& function, const std::string& className)
    {
        CheckName(function.mName, "function");
        Require(IsFree(function.mName), "function", function.mName, className);
        mTaken.insert(function.mName);
    }

private:
    bool IsFree(const std::string& name) const { return mTaken.count(name) == 0; }

    static void Require(bool bHolds, const char* pWhat, const std::string& name, const std::string& className)
    {
        if (!bHolds) {
            throw Trouble(std::string("Failed to add the ") + pWhat + " " + Quote(name) + " to " + className +
                          " - it has that name already, itself or from its base; choose another");
        }
    }

    // "speed" and "Speed" would share their member.
    void Take(const NewProperty& property)
    {
        mTaken.insert(property.mName);
        mTaken.insert(GetMemberName(property));
    }

    void TakeRegistered(const ClassInfoTable* pClass)
    {
        for (; pClass != nullptr; pClass = pClass->GetBaseClass()) {
            for (const auto& node : pClass->GetEntries()) {
                mTaken.insert(node.GetKey().c_str());
            }
        }
    }

    std::set<std::string> mTaken;
};

void CheckType(const std::string& type, const std::string& owner, bool bArrays)
{
    if (FindType(type) != nullptr) {
        return;
    }
    std::string types;
    for (const TypeForm& form : TYPES) {
        types += (types.empty() ? "" : ", ") + std::string(form.mpName);
    }
    throw Trouble("Failed to give the " + owner + " the type " + Quote(type) +
                  " - there is none of that name; choose from " + types +
                  (bArrays ? ", with [] behind it for an array" : ""));
}

void CheckFunction(const NewFunction& function)
{
    const std::string owner = "function " + Quote(function.mName);
    if (function.mResult != "void") {
        CheckType(function.mResult, "result of the " + owner, false);
    }
    if (function.mArguments.size() > Function::MAX_ARGS) {
        throw Trouble("Failed to add the " + owner + " - it has " +
                      std::to_string(function.mArguments.size()) +
                      " arguments, and calls carry 5 at most; put some together in a Vector4 or an Object");
    }
    std::set<std::string> names;
    for (const NewArgument& argument : function.mArguments) {
        CheckType(argument.mType, "argument " + std::to_string(names.size()) + " of the " + owner, false);
        if (!argument.mName.empty()) {
            CheckName(argument.mName, "argument");
        }
        const std::string name = argument.mName.empty() ? " " + std::to_string(names.size()) : argument.mName;
        if (!names.insert(name).second) {
            throw Trouble("Failed to add the " + owner + " - two of its arguments are called " +
                          Quote(argument.mName) + "; give each a name of its own");
        }
    }
}

// What the files of the module speak of by a name of its own, no class can be called: namespaces, and classes
// of other modules that are bases, whose headers are called like them.
void CheckNeighbours(const NewModule& module, const NewClass& described)
{
    const std::string failure = "Failed to name a class " + Quote(described.mName) + " - ";
    const std::set<std::string> foreign = GetForeignModules(module);
    if (described.mName == "QBase" || described.mName == "std" || foreign.count(described.mName) != 0) {
        throw Trouble(failure + "its base or others come from a namespace of that name; choose another");
    }
    for (const NewClass& neighbour : module.mClasses) {
        const Base base(neighbour.mBase);
        if (!base.IsOwn() && ToLower(base.mClass) == ToLower(described.mName)) {
            throw Trouble(failure + neighbour.mBase + " is a base here and its header is called like that; " +
                          "choose another");
        }
    }
}

void CheckBase(const NewModule& module, const NewClass& described)
{
    const std::string failure =
        "Failed to derive " + described.mName + " from " + Quote(described.mBase) + " - ";
    const Base base(described.mBase);
    if (base.IsOwn()) {
        if (FindClass(module, base.mClass, &described) == nullptr) {
            throw Trouble(failure + "a base is a class of QBase, a class named by an earlier --class, or "
                                    "MODULE.CLASS of a module that --module loads; choose one of them");
        }
        return;
    }
    if (GetModuleTable()->Find(base.mModule.c_str()) == nullptr) {
        throw Trouble(failure + "the module " + Quote(base.mModule) + " is not loaded; say --module " +
                      ToPrintable(base.mModule));
    }
    if (base.Find() == nullptr) {
        throw Trouble(failure + "the module has no such class; 'quirl classes " + base.mModule +
                      "' lists those it has");
    }
    if (IsClosed(base)) {
        throw Trouble(failure + "the library alone derives from it; choose another base");
    }
}

// --- The files ---

std::string GetCppType(const NewProperty& property)
{
    const std::string type = FindType(property.mType)->mpType;
    return property.mbArray ? "QBase::Array<" + type + ">" : type;
}

std::string GetCppBase(const NewClass& described)
{
    const Base base(described.mBase);
    return base.IsOwn() ? base.mClass : base.mModule + "::" + base.mClass;
}

std::string GetCppResult(const NewFunction& function)
{
    return function.mResult == "void" ? function.mResult : FindType(function.mResult)->mpType;
}

// As the library hands an argument over. What nothing uses yet has a name that says so, or none.
std::string GetCppArguments(const NewFunction& function, bool bDefinition)
{
    std::string text;
    for (const NewArgument& argument : function.mArguments) {
        const TypeForm* const pType = FindType(argument.mType);
        const std::string type = pType->mpType;
        text += (text.empty() ? "" : ", ") +
                std::string(bDefinition && !argument.mName.empty() ? "[[maybe_unused]] " : "") +
                (argument.mType == "Object" ? "QBase::Object*"
                 : pType->mbSmall           ? type
                                            : "const " + type + "&") +
                (argument.mName.empty() ? "" : " " + argument.mName);
    }
    return text;
}

// Lines of one text that ends with a line feed, put together piece by piece.
std::string Join(const std::set<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

std::set<std::string> GetIncludes(const NewClass& described)
{
    const Base base(described.mBase);
    std::set<std::string> headers = {GetHeader(base)};
    const auto addType = [&](const std::string& name) {
        const TypeForm* const pType = FindType(name);
        if (pType != nullptr && pType->mpHeader != nullptr) {
            headers.insert(pType->mpHeader);
        }
    };
    for (const NewProperty& property : described.mProperties) {
        addType(property.mType);
        if (property.mbArray) {
            headers.insert("QBase/Array.h");
        }
    }
    for (const NewFunction& function : described.mFunctions) {
        addType(function.mResult);
        for (const NewArgument& argument : function.mArguments) {
            addType(argument.mType == "Object" ? "" : argument.mType);
        }
    }
    std::set<std::string> lines;
    for (const std::string& header : headers) {
        lines.insert("#include \"" + header + "\"");
    }
    return lines;
}

std::string MakeHeader(const NewModule& module, const NewClass& described)
{
    std::string text = "// " + described.mName + ": say here what it is for.\n\n#pragma once\n\n" +
                       Join(GetIncludes(described)) + "\nnamespace " + module.mName + "\n{\n\nclass " +
                       described.mName + " : public " + GetCppBase(described) + "\n{\n    QBASE_OBJECT(" +
                       described.mName + ", " + GetCppBase(described) + ")\n";
    if (!described.mFunctions.empty()) {
        text += "\npublic:\n";
        for (const NewFunction& function : described.mFunctions) {
            text += "    " + GetCppResult(function) + " " + function.mName + "(" +
                    GetCppArguments(function, false) + ");\n";
        }
    }
    text += "\nprotected:\n    explicit " + described.mName + "(const QBase::Value& value);\n";
    if (!described.mProperties.empty()) {
        text += "\nprivate:\n";
        for (const NewProperty& property : described.mProperties) {
            text += "    " + GetCppType(property) + " " + GetMemberName(property) + GetInitialiser(property) +
                    ";\n";
        }
    }
    return text + "};\n\n} // namespace " + module.mName + "\n";
}

// How the source tells the library of the class.
std::string MakeImplement(const NewModule& module, const NewClass& described)
{
    const std::string names = "(" + module.mName + ", " + described.mName + ")\n";
    const std::string known =
        "// Files and scripts know the class as " + module.mName + "." + described.mName + ".\n";
    if (!IsAbstract(module, described)) {
        return known + "QBASE_IMPLEMENT" + names;
    }
    return known + "// " + Base(described.mBase).mClass +
           " leaves functions open. When they are written here this is QBASE_IMPLEMENT.\n"
           "QBASE_IMPLEMENT_ABSTRACT" +
           names;
}

std::string MakeSource(const NewModule& module, const NewClass& described)
{
    const std::string& name = described.mName;
    std::string text = "#include \"" + name + ".h\"\n\n#include \"QBase/Reflection.h\"\n\nnamespace " +
                       module.mName + "\n{\n\n" + MakeImplement(module, described) + "\nvoid " + name +
                       "::Implement()\n{\n    Describe(\"Say here in one line what it is for\");\n";
    for (const NewProperty& property : described.mProperties) {
        text +=
            "    AddProperty<&" + name + "::" + GetMemberName(property) + ">(\"" + property.mName + "\");\n";
    }
    for (const NewFunction& function : described.mFunctions) {
        text += "    AddFunction<&" + name + "::" + function.mName + ">(\"" + function.mName + "\");\n";
    }
    text += "}\n\n" + name + "::" + name + "(const QBase::Value& value) : " + Base(described.mBase).mClass +
            "(value)\n{}\n";
    for (const NewFunction& function : described.mFunctions) {
        text += "\n" + GetCppResult(function) + " " + name + "::" + function.mName + "(" +
                GetCppArguments(function, true) + ")\n{\n    // Write here what it does.\n" +
                (function.mResult == "void" ? "" : "    return {};\n") + "}\n";
    }
    return text + "\n} // namespace " + module.mName + "\n";
}

constexpr char TEST_START[] =
    R"(// Uses the module as a program does that knows it by name alone: constructs each class, sets and reads its
// properties, calls its functions, saves it and loads it again.

#include "QBase/BinarySerializer.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/MemoryFile.h"
#include "QBase/Property.h"
#include "QBase/Table.h"
#include "QBase/Value.h"

#include <cstdio>

using namespace QBase;

namespace
{

int numFailures = 0;

void Expect(bool bHolds, const char* pWhat)
{
    if (!bHolds) {
        std::printf("FAILED: %s\n", pWhat);
        ++numFailures;
    }
}

// What is left of the object when it went through a file.
Ptr<Object> SaveAndLoad(Object* pObject)
{
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    pFile->Open("saved", File::MODE_READ | File::MODE_WRITE);
    if (!pSerializer->Serialize(pObject, pFile)) {
        return nullptr;
    }
    pFile->SeekStart(0);
    return pSerializer->Deserialize(pFile).AsObject();
}
)";

constexpr char TEST_END[] = R"(
    std::printf(numFailures == 0 ? "All is well\n" : "%d failures\n", numFailures);
    return numFailures == 0 ? 0 : 1;
}
)";

std::string MakePropertyTest(const NewClass& described, const NewProperty& property)
{
    const std::string access = "pObject->FindProperty(\"" + property.mName + "\")";
    const std::string place = described.mName + "." + property.mName;
    std::string text = "    Expect(" + access + " != nullptr, \"" + place + " is there\");\n";
    const std::string sample = FindType(property.mType)->mpSample;
    if (sample.empty()) { // an object: a text stands for it nowhere
        return text;
    }
    if (property.mbArray) {
        return text + "    " + access + "->Insert(pObject, " + sample + ");\n    Expect(" + access +
               "->GetAt(pObject, 0) == Value(" + sample + "), \"" + place + " keeps what is inserted\");\n";
    }
    return text + "    " + access + "->Set(pObject, " + sample + ");\n    Expect(" + access +
           "->Get(pObject) == Value(" + sample + "), \"" + place + " keeps what is set\");\n";
}

std::string MakeLoadedTest(const NewClass& described, const NewProperty& property)
{
    const std::string sample = FindType(property.mType)->mpSample;
    if (sample.empty()) {
        return {};
    }
    const std::string access = "pLoaded->FindProperty(\"" + property.mName + "\")";
    return "        Expect(" + access + (property.mbArray ? "->GetAt(pLoaded, 0)" : "->Get(pLoaded)") +
           " == Value(" + sample + "), \"" + described.mName + "." + property.mName +
           " comes back from a file\");\n";
}

// What a function answers shows which one was called.
std::string MakeFunctionTest(const NewClass& described, const NewFunction& function)
{
    static const std::map<std::string, std::string> sCodes = {
        {"void", "VOID"},         {"int", "INT"},
        {"float", "FLOAT"},       {"bool", "BOOL"},
        {"String", "STRING"},     {"Object", "OBJECT"},
        {"Vector2", "VECTOR2"},   {"Vector3", "VECTOR3"},
        {"Vector4", "VECTOR4"},   {"Vector2i", "VECTOR2I"},
        {"Vector3i", "VECTOR3I"}, {"Vector4i", "VECTOR4I"},
        {"Color", "COLOR"},       {"Quaternion", "QUATERNION"}};
    const std::string place = described.mName + "." + function.mName;
    std::string call = "pObject->Call(\"" + function.mName + "\"";
    for (const NewArgument& argument : function.mArguments) {
        const std::string sample = FindType(argument.mType)->mpSample;
        call += ", " + (sample.empty() ? "Value(pObject)" : sample);
    }
    call += ")";
    const auto code = sCodes.find(function.mResult); // a "Value" may be of any type
    return "    Expect(pObject->FindFunction(\"" + function.mName + "\") != nullptr, \"" + place +
           " is there\");\n    " +
           (code == sCodes.end() ? call
                                 : "Expect(" + call + ".GetType() == Value::TYPE_" + code->second + ", \"" +
                                       place + " answers\")") +
           ";\n";
}

std::string MakeClassTest(const NewModule& module, const NewClass& described)
{
    const std::string& name = described.mName;
    std::string text = "\nvoid Test" + name + "()\n{\n    const Ptr<Object> pObject = Construct(\"" +
                       module.mName + "\", \"" + name + "\");\n    Expect(pObject != nullptr, \"" + name +
                       " can be constructed\");\n    if (pObject == nullptr) {\n        return;\n    }\n";
    for (const NewProperty& property : described.mProperties) {
        text += MakePropertyTest(described, property);
    }
    for (const NewFunction& function : described.mFunctions) {
        text += MakeFunctionTest(described, function);
    }
    text += "    const Ptr<Object> pLoaded = SaveAndLoad(pObject);\n    Expect(pLoaded != nullptr, \"" +
            name + " can be saved and loaded\");\n";
    std::string loaded;
    for (const NewProperty& property : described.mProperties) {
        loaded += MakeLoadedTest(described, property);
    }
    if (!loaded.empty()) {
        text += "    if (pLoaded != nullptr) {\n" + loaded + "    }\n";
    }
    return text + "}\n";
}

// Of a class that leaves functions open there are no objects.
std::string MakeAbstractTest(const NewModule& module, const NewClass& described)
{
    const std::string& name = described.mName;
    return "\nvoid Test" + name + "()\n{\n    Expect(LoadModule(\"" + module.mName + "\")->Find(\"" + name +
           "\") != nullptr, \"" + name + " is registered\");\n}\n";
}

std::string MakeTest(const NewModule& module)
{
    std::string text = TEST_START;
    for (const NewClass& described : module.mClasses) {
        text += IsAbstract(module, described) ? MakeAbstractTest(module, described)
                                              : MakeClassTest(module, described);
    }
    text += "\n} // namespace\n\nint main()\n{\n    if (LoadModule(\"" + module.mName +
            "\") == nullptr) {\n        std::printf(\"FAILED: the module " + module.mName +
            " loads\\n\");\n        return 1;\n    }\n";
    for (const NewClass& described : module.mClasses) {
        text += "    Test" + described.mName + "();\n";
    }
    return text + TEST_END;
}

// How the build finds the module and what its classes, which are bases here, are declared in.
std::string MakeFind(const NewModule& module, const std::string& foreign)
{
    std::set<std::string> headers;
    for (const NewClass& described : module.mClasses) {
        const Base base(described.mBase);
        if (base.mModule == foreign) {
            headers.insert(GetHeader(base));
        }
    }
    const std::string folder = "${" + foreign + "_FOLDER}";
    return "\n# The module " + foreign +
           ", whose classes are bases here and which is LINKABLE: its library, and the " +
           "folder of its headers.\nset(" + foreign + "_FOLDER ${PROJECT_SOURCE_DIR}/../" + foreign +
           "/build/bin CACHE PATH \"The folder of " + foreign + "_Release\")\nfind_library(" + foreign +
           "_LIBRARY NAMES " + foreign + "_Release${CMAKE_SHARED_LIBRARY_SUFFIX} " + foreign +
           "_Release HINTS " + folder + " REQUIRED)\nfind_path(" + foreign + "_HEADERS " + *headers.begin() +
           " HINTS " + folder + " " + folder + "/.. " + folder + "/../.. REQUIRED)\n";
}

// How the build uses it.
std::string MakeUse(const NewModule& module, const std::string& foreign)
{
    if (foreign == "QNet") {
        return "target_link_libraries(" + module.mName + " PRIVATE QBase::QNet)\n";
    }
    return "target_include_directories(" + module.mName + " PRIVATE ${" + foreign +
           "_HEADERS})\ntarget_link_libraries(" + module.mName + " PRIVATE ${" + foreign + "_LIBRARY})\n";
}

std::string MakeCMake(const NewModule& module)
{
    const std::string& name = module.mName;
    std::string sources;
    for (const NewClass& described : module.mClasses) {
        sources += " " + described.mName + ".cpp";
    }
    std::string components;
    std::string find;
    std::string use;
    for (const std::string& foreign : GetForeignModules(module)) {
        components += foreign == "QNet" ? " COMPONENTS net" : "";
        find += foreign == "QNet" ? "" : MakeFind(module, foreign);
        use += MakeUse(module, foreign);
    }
    return "# The module " + name +
           ", and a program that tests it.\ncmake_minimum_required(VERSION 3.25)\nproject(" + name +
           " LANGUAGES CXX)\n\nfind_package(QBase 2.1 CONFIG REQUIRED" + components + ")\n" + find +
           "\n# A module is looked for beside the program that loads it.\n" +
           "set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)\n\n" +
           "# LINKABLE: classes of other modules may have classes of this one as bases.\nqbase_add_module(" +
           name + " LINKABLE" + sources + ")\n" + use +
           "\ninclude(CTest)\nif(BUILD_TESTING)\n    add_executable(" + name + "Test test/" + name +
           "Test.cpp)\n    target_link_libraries(" + name +
           "Test PRIVATE QBase::QBase)\n    qbase_link_modules(" + name + "Test " + name +
           ")\n    add_test(NAME " + name + " COMMAND " + name + "Test)\nendif()\n";
}

// An object of each class that files of strangers may hold.
std::vector<const NewClass*> GetSceneClasses(const NewModule& module)
{
    std::vector<const NewClass*> classes;
    for (const NewClass& described : module.mClasses) {
        if (!IsAbstract(module, described) && !FindForeignBase(module, described).Find()->ActsOutside()) {
            classes.push_back(&described);
        }
    }
    return classes;
}

std::string MakeScene(const NewModule& module)
{
    std::string children;
    std::string objects;
    int index = 0;
    for (const NewClass* const pClass : GetSceneClasses(module)) {
        const std::string path = "root[" + std::to_string(index) + "]";
        children += "        <Child Index=\"" + std::to_string(index++) + "\">" + path + "</Child>\n";
        objects += "    <Object Module=\"" + module.mName + "\" Class=\"" + pClass->mName + "\" Path=\"" +
                   path + "\">\n";
        for (const NewProperty& property : pClass->mProperties) {
            const char* const pText = FindType(property.mType)->mpText;
            if (!property.mbArray && pText != nullptr) {
                objects += "        <Property Name=\"" + property.mName + "\" Type=\"" + property.mType +
                           "\">" + pText + "</Property>\n";
            }
        }
        objects += "    </Object>\n";
    }
    return "<?xml version=\"1.0\"?>\n<QuirlData id=\"" + std::to_string(FileFormat::ID) + "\" version=\"" +
           std::to_string(FileFormat::VERSION) +
           "\">\n    <Object Module=\"QBase\" Class=\"List\" Path=\"root\">\n" + children +
           "    </Object>\n" + objects + "</QuirlData>\n";
}

constexpr char README_START[] = R"(
A module for programs that use QBase.

    cmake -S . -B build && cmake --build build && ctest --test-dir build

Where QBase is installed in a folder of its own, add `-DCMAKE_PREFIX_PATH=FOLDER` to the first command. `LoadModule`
looks for the module's file beside the program and then where the system looks for libraries. What it offers:

)";

constexpr char README_SCENE[] = R"(
`scene.QXml` holds an object of each class. It can be edited, and shared while it is:

    quirl show scene.QXml --module-path build/bin
    quirl serve scene.QXml --port 4711 --module-path build/bin
    quirl watch localhost:4711 --module-path build/bin

The last two run side by side: what changes in the file is printed by the second.
)";

constexpr char README_END[] = R"(
Another property is a member and a line of `Implement()`; another function is a member function and a line. The
program in `test` uses them as others will.
)";

std::string MakeReadMe(const NewModule& module)
{
    const std::string& name = module.mName;
    std::string text = "# " + name + "\n" + README_START + "    quirl classes " + name +
                       " --module-path build/bin\n\n| Class | Base | Where |\n|---|---|---|\n";
    for (const NewClass& described : module.mClasses) {
        const Base base(described.mBase);
        text += "| `" + name + "." + described.mName + "` | `" + (base.IsOwn() ? name : base.mModule) + "." +
                base.mClass + "` | `" + described.mName + ".h`, `" + described.mName + ".cpp` |\n";
    }
    return text + (GetSceneClasses(module).empty() ? "" : README_SCENE) + README_END;
}

} // namespace

std::string FindBase(const NewModule& module, const std::string& text)
{
    const std::string own = module.mName + ".";
    if (text.empty()) {
        return "QBase.Object";
    }
    if (text.starts_with(own)) {
        return text.substr(own.size());
    }
    const std::string ofLibrary = "QBase." + text;
    return text.find('.') == text.npos && Base(ofLibrary).Find() != nullptr ? ofLibrary : text;
}

std::set<std::string> GetForeignModules(const NewModule& module)
{
    std::set<std::string> modules;
    for (const NewClass& described : module.mClasses) {
        const Base base(described.mBase);
        if (!base.IsOwn() && base.mModule != "QBase") {
            modules.insert(base.mModule);
        }
    }
    return modules;
}

void CheckModule(const NewModule& module)
{
    const std::string failure = "Failed to name a module " + Quote(module.mName) + " - ";
    CheckName(module.mName, "module");
    if (ToLower(module.mName) == "qbase" || ToLower(module.mName) == "qnet" || module.mName == "std") {
        throw Trouble(failure + "there is one; choose another name");
    }
    if (GetReservedTargets().count(module.mName) != 0) {
        throw Trouble(failure + "CMake builds something of its own under that name; choose another name");
    }
    if (IsNameOfSystem(module.mName)) {
        throw Trouble(failure + "C has something of that name, and no namespace can have it; choose another "
                                "name, one that begins with a capital letter for example");
    }
    std::set<std::string> names; // of files, which some systems do not tell apart by case
    for (const NewClass& described : module.mClasses) {
        CheckName(described.mName, "class");
        if (IsNameOfLibrary(described.mName) || GetMembersOfObject().count(described.mName) != 0) {
            throw Trouble("Failed to name a class " + Quote(described.mName) +
                          " - QBase has something of that name; choose another");
        }
        if (!names.insert(ToLower(described.mName)).second) {
            throw Trouble("Failed to add the class " + Quote(described.mName) +
                          " twice, whatever the case of its letters; give each --class a name of its own");
        }
        CheckNeighbours(module, described);
        CheckBase(module, described);
        MemberNames members(module, described);
        for (const NewProperty& property : described.mProperties) {
            members.Add(property, described.mName);
            CheckType(property.mType, "property " + Quote(property.mName), true);
        }
        for (const NewFunction& function : described.mFunctions) {
            members.Add(function, described.mName);
            CheckFunction(function);
        }
    }
}

std::vector<NewFile> MakeFiles(const NewModule& module)
{
    std::vector<NewFile> files = {{"CMakeLists.txt", MakeCMake(module)}, {"README.md", MakeReadMe(module)}};
    for (const NewClass& described : module.mClasses) {
        files.push_back({described.mName + ".h", MakeHeader(module, described)});
        files.push_back({described.mName + ".cpp", MakeSource(module, described)});
    }
    if (!GetSceneClasses(module).empty()) {
        files.push_back({"scene.QXml", MakeScene(module)});
    }
    files.push_back({"test/" + module.mName + "Test.cpp", MakeTest(module)});
    return files;
}

} // namespace Quirl
