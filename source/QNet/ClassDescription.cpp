#include "QNet/ClassDescription.h"

#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "QBase/StringConverter.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_set>
#include <utility>

using namespace QBase;

namespace QNet
{

namespace
{

unsigned char ToByte(Value::Type type)
{
    return static_cast<unsigned char>(type);
}

PropertyDescription Describe(const std::string& name, Property* pProperty)
{
    const int flags = (pProperty->IsArray() ? PropertyDescription::ARRAY : 0) |
                      (pProperty->IsExcluded() ? PropertyDescription::EXCLUDED : 0);
    return {name, ToByte(pProperty->GetType()), static_cast<unsigned char>(flags)};
}

FunctionDescription Describe(const std::string& name, Function* pFunction)
{
    std::string arguments;
    for (int i = 0; i < pFunction->GetNumArgs(); ++i) {
        arguments += static_cast<char>(pFunction->GetArgType(i));
    }
    return {name, static_cast<unsigned char>(pFunction->GetType()), ToByte(pFunction->GetRetType()),
            arguments};
}

template <typename Member>
void SortByName(std::vector<Member>& rMembers)
{
    std::sort(rMembers.begin(), rMembers.end(),
              [](const Member& a, const Member& b) { return a.mName < b.mName; });
}

// The registry knows the names of classes; a class itself does not.
using ClassNames = std::map<const Object*, std::pair<std::string, std::string>>;

ClassNames FindClassNames()
{
    ClassNames names;
    for (const auto& module : GetModuleTable()->GetEntries()) {
        if (module.GetValue() == nullptr || !module.GetValue()->IsDerivedType(Table::ClassTable())) {
            continue;
        }
        const Table* const pModule = static_cast<Table*>(static_cast<Object*>(module.GetValue()));
        for (const auto& entry : pModule->GetEntries()) {
            names.emplace(entry.GetValue(), std::pair(module.GetKey().c_str(), entry.GetKey().c_str()));
        }
    }
    return names;
}

// What a base class has under a name that is taken already is hidden.
ClassDescription Describe(ClassInfoTable* pClass, const ClassNames& names)
{
    ClassDescription description;
    if (const auto name = names.find(pClass); name != names.end()) {
        std::tie(description.mModule, description.mName) = name->second;
    }
    std::unordered_set<String> taken;
    for (ClassInfoTable* pTable = pClass; pTable != nullptr; pTable = pTable->GetBaseClass()) {
        for (const auto& entry : pTable->GetEntries()) {
            Object* const pMember = entry.GetValue();
            if (pMember == nullptr || !taken.insert(entry.GetKey()).second) {
                continue;
            }
            const std::string name = entry.GetKey().c_str();
            if (pMember->IsDerivedType(Property::ClassTable())) {
                description.mProperties.push_back(Describe(name, static_cast<Property*>(pMember)));
            } else if (pMember->IsDerivedType(Function::ClassTable())) {
                description.mFunctions.push_back(Describe(name, static_cast<Function*>(pMember)));
            }
        }
    }
    SortByName(description.mProperties);
    SortByName(description.mFunctions);
    return description;
}

void AppendText(std::string& rBytes, const std::string& text)
{
    AppendInt(rBytes, static_cast<unsigned>(text.size()));
    rBytes += text;
}

// Reader walks over a description. After the first thing that is not there everything fails.
class Reader
{
public:
    explicit Reader(std::string_view bytes) : mBytes(bytes) {}

    unsigned char ReadByte()
    {
        const std::string_view byte = Take(1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte[0]);
    }

    std::string ReadText()
    {
        const unsigned size = ReadInt();
        return std::string(Take(size));
    }

    std::string ReadBytes() { return std::string(Take(ReadByte())); }

    // A count of things of at least `size` bytes each.
    unsigned ReadCount(std::size_t size)
    {
        const unsigned count = ReadInt();
        mbGood = mbGood && count <= mBytes.size() / size;
        return mbGood ? count : 0;
    }

    bool IsGood() const { return mbGood; }
    bool IsAtEnd() const { return mBytes.empty(); }

private:
    unsigned ReadInt()
    {
        const std::string_view bytes = Take(4);
        return bytes.empty() ? 0 : LoadInt(bytes.data());
    }

    std::string_view Take(std::size_t size)
    {
        mbGood = mbGood && size <= mBytes.size();
        if (!mbGood) {
            return {};
        }
        const std::string_view taken = mBytes.substr(0, size);
        mBytes.remove_prefix(size);
        return taken;
    }

    std::string_view mBytes;
    bool mbGood = true;
};

ClassDescription ReadClass(Reader& rReader)
{
    constexpr std::size_t smallestProperty = 6;
    constexpr std::size_t smallestFunction = 7;
    ClassDescription description;
    description.mModule = rReader.ReadText();
    description.mName = rReader.ReadText();
    for (unsigned count = rReader.ReadCount(smallestProperty); count > 0 && rReader.IsGood(); --count) {
        PropertyDescription property;
        property.mName = rReader.ReadText();
        property.mType = rReader.ReadByte();
        property.mFlags = rReader.ReadByte();
        description.mProperties.push_back(std::move(property));
    }
    for (unsigned count = rReader.ReadCount(smallestFunction); count > 0 && rReader.IsGood(); --count) {
        FunctionDescription function;
        function.mName = rReader.ReadText();
        function.mKind = rReader.ReadByte();
        function.mResult = rReader.ReadByte();
        function.mArguments = rReader.ReadBytes();
        description.mFunctions.push_back(std::move(function));
    }
    return description;
}

std::string NameOf(const ClassDescription& description)
{
    return description.mModule + "." + description.mName;
}

std::string TypeName(unsigned char type)
{
    return type < Value::NUM_TYPES
               ? StringConverter<Value::Type>::ToString(static_cast<Value::Type>(type)).c_str()
               : "type " + std::to_string(type);
}

std::string ToText(const PropertyDescription& property)
{
    return TypeName(property.mType) + ((property.mFlags & PropertyDescription::ARRAY) != 0 ? " array" : "") +
           ((property.mFlags & PropertyDescription::EXCLUDED) != 0 ? ", excluded" : "");
}

std::string ToText(const FunctionDescription& function)
{
    std::string text = function.mKind == Function::Static ? "static " : "";
    text += TypeName(function.mResult) + "(";
    for (std::size_t i = 0; i < function.mArguments.size(); ++i) {
        text += (i > 0 ? ", " : "") + TypeName(static_cast<unsigned char>(function.mArguments[i]));
    }
    return text + ")";
}

// The first member that one side lacks or that has another shape there. Both lists are sorted.
template <typename Member>
std::string FindMemberDifference(const char* pWhat, const std::string& className,
                                 const std::vector<Member>& here, const std::vector<Member>& there)
{
    for (std::size_t i = 0; i < std::max(here.size(), there.size()); ++i) {
        const bool bHere = i < here.size() && (i >= there.size() || here[i].mName <= there[i].mName);
        const bool bThere = i < there.size() && (i >= here.size() || there[i].mName <= here[i].mName);
        const std::string& name = bHere ? here[i].mName : there[i].mName;
        const std::string what = std::string(pWhat) + " '" + name + "' of " + className;
        if (!bHere || !bThere) {
            return what + " is missing " + (bHere ? "there" : "here");
        }
        if (ToText(here[i]) != ToText(there[i])) {
            return what + " is " + ToText(here[i]) + " here and " + ToText(there[i]) + " there";
        }
    }
    return {};
}

std::string FindClassDifference(const ClassDescription& here, const ClassDescription& there)
{
    const std::string difference =
        FindMemberDifference("property", NameOf(here), here.mProperties, there.mProperties);
    return difference.empty()
               ? FindMemberDifference("function", NameOf(here), here.mFunctions, there.mFunctions)
               : difference;
}

} // namespace

std::vector<ClassDescription> Describe(const Array<Ptr<ClassInfoTable>>& classes)
{
    const ClassNames names = FindClassNames();
    std::vector<ClassDescription> descriptions;
    for (int i = 0; i < classes.GetSize(); ++i) {
        descriptions.push_back(Describe(static_cast<ClassInfoTable*>(classes.GetAt(i)), names));
    }
    return descriptions;
}

std::string Encode(const std::vector<ClassDescription>& classes)
{
    std::string bytes;
    for (const ClassDescription& description : classes) {
        AppendText(bytes, description.mModule);
        AppendText(bytes, description.mName);
        AppendInt(bytes, static_cast<unsigned>(description.mProperties.size()));
        for (const PropertyDescription& property : description.mProperties) {
            AppendText(bytes, property.mName);
            bytes += static_cast<char>(property.mType);
            bytes += static_cast<char>(property.mFlags);
        }
        AppendInt(bytes, static_cast<unsigned>(description.mFunctions.size()));
        for (const FunctionDescription& function : description.mFunctions) {
            AppendText(bytes, function.mName);
            bytes += static_cast<char>(function.mKind);
            bytes += static_cast<char>(function.mResult);
            bytes += static_cast<char>(function.mArguments.size());
            bytes += function.mArguments;
        }
    }
    return bytes;
}

bool Decode(const std::string& bytes, std::vector<ClassDescription>& rClasses)
{
    Reader reader(bytes);
    rClasses.clear();
    while (reader.IsGood() && !reader.IsAtEnd()) {
        rClasses.push_back(ReadClass(reader));
    }
    return reader.IsGood();
}

std::string FindDifference(const std::vector<ClassDescription>& here,
                           const std::vector<ClassDescription>& there)
{
    for (std::size_t i = 0; i < std::max(here.size(), there.size()); ++i) {
        const std::string number = "class " + std::to_string(i) + " is ";
        if (i >= here.size()) {
            return number + NameOf(there[i]) + " there and missing here";
        }
        if (i >= there.size()) {
            return number + NameOf(here[i]) + " here and missing there";
        }
        if (NameOf(here[i]) != NameOf(there[i])) {
            return number + NameOf(here[i]) + " here and " + NameOf(there[i]) + " there";
        }
        const std::string difference = FindClassDifference(here[i], there[i]);
        if (!difference.empty()) {
            return difference;
        }
    }
    return {};
}

void AppendInt(std::string& rBytes, unsigned number)
{
    for (int shift = 0; shift < 32; shift += 8) {
        rBytes += static_cast<char>(number >> shift & 0xFF);
    }
}

unsigned LoadInt(const char* pBytes)
{
    unsigned number = 0;
    for (int i = 3; i >= 0; --i) {
        number = number << 8 | static_cast<unsigned char>(pBytes[i]);
    }
    return number;
}

} // namespace QNet
