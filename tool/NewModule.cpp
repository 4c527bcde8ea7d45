#include "NewModule.h"

#include "Report.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
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
};

constexpr TypeForm TYPES[] = {
    {"int", "int", nullptr, "7"},
    {"float", "float", nullptr, "0.5f"},
    {"bool", "bool", nullptr, "true"},
    {"String", "QBase::String", "QBase/String.h", "QBase::String(\"text\")"},
    {"Object", "QBase::Ptr<QBase::Object>", "QBase/Ptr.h", ""},
    {"Vector2", "QBase::Vector2", "QBase/Vector2.h", "QBase::Vector2(1, 2)"},
    {"Vector3", "QBase::Vector3", "QBase/Vector3.h", "QBase::Vector3(1, 2, 3)"},
    {"Vector4", "QBase::Vector4", "QBase/Vector4.h", "QBase::Vector4(1, 2, 3, 4)"},
    {"Vector2i", "QBase::Vector2i", "QBase/Vector2.h", "QBase::Vector2i(1, 2)"},
    {"Vector3i", "QBase::Vector3i", "QBase/Vector3.h", "QBase::Vector3i(1, 2, 3)"},
    {"Vector4i", "QBase::Vector4i", "QBase/Vector4.h", "QBase::Vector4i(1, 2, 3, 4)"},
    {"Color", "QBase::Color", "QBase/Color.h", "QBase::Color(1, 2, 3)"},
    {"Quaternion", "QBase::Quaternion", "QBase/Quaternion.h", "QBase::Quaternion(1, 2, 3, 4)"},
    {"Value", "QBase::Value", "QBase/Value.h", "QBase::Value(7)"},
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

// What every class has in C++ already; a table's and a list's reflected functions are asked of their classes.
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
                                                   "spClassTable",
                                                   "GetEntries",
                                                   "GetObjects",
                                                   "GetTableSize",
                                                   "GetSize",
                                                   "Find",
                                                   "Insert",
                                                   "Remove",
                                                   "Clear",
                                                   "GetAt",
                                                   "SetAt",
                                                   "InsertAt",
                                                   "RemoveAt",
                                                   "Values"};
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
    const std::string failure = std::string("Failed to name a ") + pWhat + " " + Quote(name) + " - ";
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

bool IsBaseOfLibrary(const std::string& name)
{
    return name == "Object" || name == "Table" || name == "List";
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
                mTaken.insert(Capitalise(property.mName));
            }
            mTaken.insert(pBase->mFunctions.begin(), pBase->mFunctions.end());
        }
        mTaken.insert(described.mName);
        mTaken.insert("m" + described.mName);
    }

    void Add(const std::string& name, const char* pWhat, const std::string& className)
    {
        CheckName(name, pWhat);
        if (GetMembersOfObject().count(name) != 0 || !mTaken.insert(Capitalise(name)).second) {
            throw Trouble(std::string("Failed to add the ") + pWhat + " " + Quote(name) + " to " + className +
                          " - it has that name already, itself or from its base; choose another");
        }
    }

private:
    std::set<std::string> mTaken;
};

void CheckType(const NewProperty& property)
{
    if (FindType(property.mType) != nullptr) {
        return;
    }
    std::string types;
    for (const TypeForm& type : TYPES) {
        types += (types.empty() ? "" : ", ") + std::string(type.mpName);
    }
    throw Trouble("Failed to give the property " + Quote(property.mName) + " the type " +
                  Quote(property.mType) + " - there is none of that name; choose from " + types +
                  ", with [] behind it for an array");
}

// --- The files ---

std::string GetCppType(const NewProperty& property)
{
    const std::string type = FindType(property.mType)->mpType;
    return property.mbArray ? "QBase::Array<" + type + ">" : type;
}

std::string GetMemberName(const NewProperty& property)
{
    return (property.mType == "Object" && !property.mbArray ? "mp" : "m") + Capitalise(property.mName);
}

std::string GetCppBase(const NewClass& described)
{
    return IsBaseOfLibrary(described.mBase) ? "QBase::" + described.mBase : described.mBase;
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

std::string MakeHeader(const NewModule& module, const NewClass& described)
{
    std::set<std::string> includes;
    includes.insert("#include \"" + std::string(IsBaseOfLibrary(described.mBase) ? "QBase/" : "") +
                    described.mBase + ".h\"");
    for (const NewProperty& property : described.mProperties) {
        if (property.mbArray) {
            includes.insert("#include \"QBase/Array.h\"");
        }
        if (const char* const pHeader = FindType(property.mType)->mpHeader) {
            includes.insert("#include \"" + std::string(pHeader) + "\"");
        }
    }
    std::string text = "// " + described.mName + ": say here what it is for.\n\n#pragma once\n\n" +
                       Join(includes) + "\nnamespace " + module.mName + "\n{\n\nclass " + described.mName +
                       " : public " + GetCppBase(described) + "\n{\n    QBASE_OBJECT(" + described.mName +
                       ", " + GetCppBase(described) + ")\n";
    if (!described.mFunctions.empty()) {
        text += "\npublic:\n";
        for (const std::string& function : described.mFunctions) {
            text += "    void " + function + "();\n";
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

std::string MakeSource(const NewModule& module, const NewClass& described)
{
    const std::string& name = described.mName;
    std::string text = "#include \"" + name + ".h\"\n\n#include \"QBase/Reflection.h\"\n\nnamespace " +
                       module.mName + "\n{\n\n// Files and scripts know the class as " + module.mName + "." +
                       name + ".\nQBASE_IMPLEMENT(" + module.mName + ", " + name + ")\n\nvoid " + name +
                       "::Implement()\n{\n    Describe(\"Say here in one line what it is for\");\n";
    for (const NewProperty& property : described.mProperties) {
        text +=
            "    AddProperty<&" + name + "::" + GetMemberName(property) + ">(\"" + property.mName + "\");\n";
    }
    for (const std::string& function : described.mFunctions) {
        text += "    AddFunction<&" + name + "::" + function + ">(\"" + function + "\");\n";
    }
    text +=
        "}\n\n" + name + "::" + name + "(const QBase::Value& value) : " + described.mBase + "(value)\n{}\n";
    for (const std::string& function : described.mFunctions) {
        text += "\nvoid " + name + "::" + function + "()\n{\n    // Write here what it does.\n}\n";
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
    const std::string access = "p" + described.mName + "->FindProperty(\"" + property.mName + "\")";
    const std::string place = described.mName + "." + property.mName;
    std::string text = "    Expect(" + access + " != nullptr, \"" + place + " is there\");\n";
    const std::string sample = FindType(property.mType)->mpSample;
    if (sample.empty()) { // an object: a text stands for it nowhere
        return text;
    }
    if (property.mbArray) {
        return text + "    " + access + "->Insert(p" + described.mName + ", " + sample + ");\n    Expect(" +
               access + "->GetAt(p" + described.mName + ", 0) == Value(" + sample + "), \"" + place +
               " keeps what is inserted\");\n";
    }
    return text + "    " + access + "->Set(p" + described.mName + ", " + sample + ");\n    Expect(" + access +
           "->Get(p" + described.mName + ") == Value(" + sample + "), \"" + place +
           " keeps what is set\");\n";
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

std::string MakeClassTest(const NewModule& module, const NewClass& described)
{
    const std::string& name = described.mName;
    std::string text = "\nvoid Test" + name + "()\n{\n    const Ptr<Object> p" + name + " = Construct(\"" +
                       module.mName + "\", \"" + name + "\");\n    Expect(p" + name + " != nullptr, \"" +
                       name + " can be constructed\");\n    if (p" + name +
                       " == nullptr) {\n        return;\n    }\n";
    for (const NewProperty& property : described.mProperties) {
        text += MakePropertyTest(described, property);
    }
    for (const std::string& function : described.mFunctions) {
        text += "    Expect(p" + name + "->FindFunction(\"" + function + "\") != nullptr, \"" + name + "." +
                function + " is there\");\n    p" + name + "->Call(\"" + function + "\");\n";
    }
    text += "    const Ptr<Object> pLoaded = SaveAndLoad(p" + name + ");\n    Expect(pLoaded != nullptr, \"" +
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

std::string MakeTest(const NewModule& module)
{
    std::string text = TEST_START;
    for (const NewClass& described : module.mClasses) {
        text += MakeClassTest(module, described);
    }
    text += "\n} // namespace\n\nint main()\n{\n    if (LoadModule(\"" + module.mName +
            "\") == nullptr) {\n        std::printf(\"FAILED: the module " + module.mName +
            " loads\\n\");\n        return 1;\n    }\n";
    for (const NewClass& described : module.mClasses) {
        text += "    Test" + described.mName + "();\n";
    }
    return text + TEST_END;
}

std::string MakeCMake(const NewModule& module)
{
    const std::string& name = module.mName;
    std::string sources;
    for (const NewClass& described : module.mClasses) {
        sources += " " + described.mName + ".cpp";
    }
    return "# The module " + name +
           ", and a program that tests it.\ncmake_minimum_required(VERSION 3.25)\nproject(" + name +
           " LANGUAGES CXX)\n\nfind_package(QBase 2.1 CONFIG REQUIRED)\n\n" +
           "# A module is looked for beside the program that loads it.\n" +
           "set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)\n\nqbase_add_module(" + name +
           sources + ")\n\ninclude(CTest)\nif(BUILD_TESTING)\n    add_executable(" + name + "Test test/" +
           name + "Test.cpp)\n    target_link_libraries(" + name +
           "Test PRIVATE QBase::QBase)\n    qbase_link_modules(" + name + "Test " + name +
           ")\n    add_test(NAME " + name + " COMMAND " + name + "Test)\nendif()\n";
}

constexpr char README_START[] = R"(
A module for programs that use QBase.

    cmake -S . -B build && cmake --build build && ctest --test-dir build

Where QBase is installed in a folder of its own, add `-DCMAKE_PREFIX_PATH=FOLDER` to the first command. `LoadModule`
looks for the module's file beside the program and then where the system looks for libraries. What it offers:

)";

constexpr char README_END[] = R"(
Another property is a member and a line of `Implement()`; another function is a member function and a line. The
program in `test` uses them as others will.
)";

std::string MakeReadMe(const NewModule& module)
{
    const std::string& name = module.mName;
    std::string text = "# " + name + "\n" + README_START + "    LD_LIBRARY_PATH=build/bin quirl classes " +
                       name + "\n\n| Class | Base | Where |\n|---|---|---|\n";
    for (const NewClass& described : module.mClasses) {
        text += "| `" + name + "." + described.mName + "` | `" + described.mBase + "` | `" + described.mName +
                ".h`, `" + described.mName + ".cpp` |\n";
    }
    return text + README_END;
}

} // namespace

void CheckModule(const NewModule& module)
{
    CheckName(module.mName, "module");
    if (ToLower(module.mName) == "qbase" || ToLower(module.mName) == "qnet" || module.mName == "std") {
        throw Trouble("Failed to name a module " + Quote(module.mName) +
                      " - there is one; choose another name");
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
        if (!IsBaseOfLibrary(described.mBase) && FindClass(module, described.mBase, &described) == nullptr) {
            throw Trouble(
                "Failed to derive " + described.mName + " from " + Quote(described.mBase) +
                " - a base is Object, Table, List or a class named by an earlier --class; choose one "
                "of them, and change the class by hand when it is to be another's");
        }
        MemberNames members(module, described);
        for (const NewProperty& property : described.mProperties) {
            members.Add(property.mName, "property", described.mName);
            CheckType(property);
        }
        for (const std::string& function : described.mFunctions) {
            members.Add(function, "function", described.mName);
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
    files.push_back({"test/" + module.mName + "Test.cpp", MakeTest(module)});
    return files;
}

} // namespace Quirl
