#include "Schema.h"

#include "Input.h"
#include "Report.h"
#include "Text.h"
#include "ValueJson.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"

#include <climits>
#include <unordered_map>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char ENUM_MARK[] = "enum "; // in front of an enumeration's name in a class table

// --- From the loaded classes ---

// Sorted by name: the tables' own order says nothing to a reader.
template <typename T>
std::map<std::string, T*> Sort(const Table* pTable)
{
    std::map<std::string, T*> sorted;
    for (const auto& node : pTable->GetEntries()) {
        Object* const pEntry = node.GetValue();
        if (pEntry != nullptr && pEntry->IsDerivedType(T::ClassTable())) {
            sorted.emplace(node.GetKey().c_str(), static_cast<T*>(pEntry));
        }
    }
    return sorted;
}

// The full names of class tables and enumerations.
class FullNames
{
public:
    FullNames()
    {
        for (const auto& [module, pModule] : Sort<Table>(GetModuleTable())) {
            for (const auto& [name, pClass] : Sort<ClassInfoTable>(pModule)) {
                mNames.emplace(pClass, module + "." + name);
                AddEnumerations(module + "." + name, pClass);
            }
        }
    }

    /// Empty for null and for what is in no module.
    std::string Find(const Object* pObject) const
    {
        const auto found = mNames.find(pObject);
        return found != mNames.end() ? found->second : std::string();
    }

private:
    void AddEnumerations(const std::string& className, const ClassInfoTable* pClass)
    {
        for (const auto& [name, pEnumInfo] : Sort<EnumInfoObject>(pClass)) {
            mNames.emplace(
                pEnumInfo,
                className + "." +
                    name.substr(name.starts_with(ENUM_MARK) ? std::char_traits<char>::length(ENUM_MARK) : 0));
        }
    }

    std::unordered_map<const Object*, std::string> mNames;
};

// An object's class says more than "Object" does.
std::string GetArgumentName(const Function* pFunction, int index, const FullNames& names)
{
    const Value::Type type = index < 0 ? pFunction->GetRetType() : pFunction->GetArgType(index);
    const std::string className = names.Find(pFunction->GetArgClass(index));
    return type == Value::TYPE_OBJECT && !className.empty() ? className : GetTypeName(type);
}

EnumKeys GetKeys(const EnumInfoObject* pEnumInfo)
{
    EnumKeys keys;
    const ClassInfoTable* const pTable = pEnumInfo != nullptr ? pEnumInfo->GetInstanceTable() : nullptr;
    if (pTable != nullptr) {
        for (const auto& [key, pProperty] : Sort<Property>(pTable)) {
            keys.emplace(key, pEnumInfo->GetValueFromKey(key.c_str()));
        }
    }
    return keys;
}

SchemaProperty Read(const std::string& name, Property* pProperty, const ClassInfoTable* pClass,
                    const FullNames& names)
{
    SchemaProperty property;
    property.mName = name;
    property.mType = GetTypeName(pProperty->GetType());
    property.mbArray = pProperty->IsArray();
    property.mbExcluded = pProperty->IsExcluded();
    property.mEnumeration = names.Find(pProperty->GetEnumInfo());
    property.mKeys = GetKeys(pProperty->GetEnumInfo());
    property.mDescription = pClass->GetEntryDescription(name.c_str()).c_str();
    const Property::WriteAccess access = pProperty->GetWriteAccess();
    property.mAccess = access == Property::WRITABLE ? "write" : "read";
    if (access == Property::CONSTANT) {
        property.mAccess = "constant";
        const Value value = pProperty->Get(nullptr);
        property.mValue = value.GetType() == Value::TYPE_OBJECT ? Json() : MakeJson(value);
    }
    return property;
}

SchemaFunction Read(const std::string& name, const Function* pFunction, const ClassInfoTable* pClass,
                    const FullNames& names)
{
    SchemaFunction function;
    function.mName = name;
    function.mResult = GetArgumentName(pFunction, -1, names);
    for (int index = 0; index < pFunction->GetNumArgs(); ++index) {
        function.mArguments.push_back(GetArgumentName(pFunction, index, names));
    }
    function.mbStatic = pFunction->GetType() == Function::Static;
    function.mDescription = pClass->GetEntryDescription(name.c_str()).c_str();
    return function;
}

SchemaClass Read(const std::string& name, const ClassInfoTable* pClass, const FullNames& names)
{
    SchemaClass described;
    described.mName = name;
    described.mBase = names.Find(pClass->GetBaseClass());
    described.mbAbstract = pClass->IsAbstract();
    described.mbActsOutside = pClass->ActsOutside();
    described.mDescription = pClass->GetDescription().c_str();
    for (const auto& [propertyName, pProperty] : Sort<Property>(pClass)) {
        described.mProperties.push_back(Read(propertyName, pProperty, pClass, names));
    }
    for (const auto& [functionName, pFunction] : Sort<Function>(pClass)) {
        described.mFunctions.push_back(Read(functionName, pFunction, pClass, names));
    }
    for (const auto& [entryName, pEnumInfo] : Sort<EnumInfoObject>(pClass)) {
        const std::string fullName = names.Find(pEnumInfo);
        described.mEnumerations.push_back({fullName.substr(fullName.rfind('.') + 1), GetKeys(pEnumInfo),
                                           pClass->GetEntryDescription(entryName.c_str()).c_str()});
    }
    return described;
}

// --- To JSON ---

void AddDescription(Json& rJson, const std::string& description)
{
    if (!description.empty()) {
        rJson["description"] = description;
    }
}

Json MakeKeysJson(const EnumKeys& keys)
{
    Json json = Json::object();
    for (const auto& [key, value] : keys) {
        json[key] = value;
    }
    return json;
}

Json MakeJson(const SchemaProperty& property)
{
    Json json = {{"name", property.mName},
                 {"type", property.mType},
                 {"array", property.mbArray},
                 {"excluded", property.mbExcluded},
                 {"access", property.mAccess}};
    if (!property.mKeys.empty()) {
        json["enum"] = MakeKeysJson(property.mKeys);
    }
    if (!property.mEnumeration.empty()) {
        json["enumeration"] = property.mEnumeration;
    }
    if (property.mAccess == "constant") {
        json["value"] = property.mValue;
    }
    AddDescription(json, property.mDescription);
    return json;
}

Json MakeJson(const SchemaFunction& function)
{
    Json json = {{"name", function.mName}, {"static", function.mbStatic}, {"result", function.mResult}};
    json["arguments"] = Json::array();
    for (const std::string& argument : function.mArguments) {
        json["arguments"].push_back(argument);
    }
    AddDescription(json, function.mDescription);
    return json;
}

Json MakeJson(const SchemaEnumeration& enumeration)
{
    Json json = {{"name", enumeration.mName}, {"keys", MakeKeysJson(enumeration.mKeys)}};
    AddDescription(json, enumeration.mDescription);
    return json;
}

template <typename Members>
Json MakeListJson(const Members& members)
{
    Json json = Json::array();
    for (const auto& member : members) {
        json.push_back(MakeJson(member));
    }
    return json;
}

Json MakeJson(const SchemaClass& described)
{
    Json json = {{"name", described.mName.substr(described.mName.find('.') + 1)},
                 {"base", described.mBase.empty() ? Json() : Json(described.mBase)},
                 {"abstract", described.mbAbstract},
                 {"actsOutside", described.mbActsOutside}};
    AddDescription(json, described.mDescription);
    json["properties"] = MakeListJson(described.mProperties);
    json["functions"] = MakeListJson(described.mFunctions);
    json["enumerations"] = MakeListJson(described.mEnumerations);
    return json;
}

// --- From JSON ---

// Member reads one member of a JSON object, and says where in the document it is when it is not as it should.
class Member
{
public:
    Member(const Json& json, std::string place) : mJson(json), mPlace(std::move(place)) {}

    Member operator[](const char* pName) const
    {
        Require(mJson.is_object(), "an object");
        const auto found = mJson.find(pName);
        static const Json sNothing;
        return {found != mJson.end() ? *found : sNothing, mPlace.empty() ? pName : mPlace + "." + pName};
    }

    bool IsThere() const { return !mJson.is_null(); }

    std::string GetText() const
    {
        Require(mJson.is_string(), "a text");
        return mJson.get<std::string>();
    }

    bool GetBool() const
    {
        Require(mJson.is_boolean(), "true or false");
        return mJson.get<bool>();
    }

    int GetInt() const
    {
        Require(mJson.is_number_integer(), "a whole number");
        const std::int64_t number = mJson.get<std::int64_t>(); // one from 2^63 on comes out below 0
        const bool bWrapped = number < 0 && mJson.is_number_unsigned();
        Require(number >= INT_MIN && number <= INT_MAX && !bWrapped, "a number of 32 bits");
        return static_cast<int>(number);
    }

    std::vector<Member> GetElements() const
    {
        Require(mJson.is_array(), "a list");
        std::vector<Member> elements;
        for (const Json& element : mJson) {
            elements.emplace_back(element, mPlace + "[" + std::to_string(elements.size()) + "]");
        }
        return elements;
    }

    EnumKeys GetKeys() const
    {
        Require(mJson.is_object(), "an object");
        EnumKeys keys;
        for (const auto& [key, value] : mJson.items()) {
            keys.emplace(key, Member(value, mPlace + "." + key).GetInt());
        }
        return keys;
    }

    const Json& GetJson() const { return mJson; }

private:
    void Require(bool bHolds, const char* pWhat) const
    {
        if (!bHolds) {
            throw Trouble((mPlace.empty() ? "the document" : ToPrintable(mPlace)) + " is not " + pWhat);
        }
    }

    const Json& mJson;
    std::string mPlace;
};

std::string GetDescription(const Member& json)
{
    return json["description"].IsThere() ? json["description"].GetText() : std::string();
}

SchemaProperty ReadProperty(const Member& json)
{
    SchemaProperty property;
    property.mName = json["name"].GetText();
    property.mType = json["type"].GetText();
    property.mAccess = json["access"].GetText();
    property.mbArray = json["array"].GetBool();
    property.mbExcluded = json["excluded"].GetBool();
    if (json["enum"].IsThere()) {
        property.mKeys = json["enum"].GetKeys();
    }
    if (json["enumeration"].IsThere()) {
        property.mEnumeration = json["enumeration"].GetText();
    }
    property.mValue = json["value"].GetJson();
    property.mDescription = GetDescription(json);
    return property;
}

SchemaFunction ReadFunction(const Member& json)
{
    SchemaFunction function;
    function.mName = json["name"].GetText();
    function.mResult = json["result"].GetText();
    function.mbStatic = json["static"].GetBool();
    for (const Member& argument : json["arguments"].GetElements()) {
        function.mArguments.push_back(argument.GetText());
    }
    function.mDescription = GetDescription(json);
    return function;
}

SchemaClass ReadClass(const Member& json, const std::string& module)
{
    SchemaClass described;
    described.mName = module + "." + json["name"].GetText();
    described.mBase = json["base"].IsThere() ? json["base"].GetText() : std::string();
    described.mbAbstract = json["abstract"].GetBool();
    described.mbActsOutside = json["actsOutside"].GetBool();
    described.mDescription = GetDescription(json);
    for (const Member& property : json["properties"].GetElements()) {
        described.mProperties.push_back(ReadProperty(property));
    }
    for (const Member& function : json["functions"].GetElements()) {
        described.mFunctions.push_back(ReadFunction(function));
    }
    for (const Member& enumeration : json["enumerations"].GetElements()) {
        described.mEnumerations.push_back(
            {enumeration["name"].GetText(), enumeration["keys"].GetKeys(), GetDescription(enumeration)});
    }
    return described;
}

// Whoever copies, compares or prints JSON goes down into it on the stack.
Json ParseDocument(const std::string& bytes)
{
    constexpr int mostDepth = 32; // ours have less than ten
    return Json::parse(bytes, [](int depth, Json::parse_event_t, const Json&) {
        if (depth > mostDepth) {
            throw Trouble("its objects and lists are nested deeper than " + std::to_string(mostDepth));
        }
        return true;
    });
}

Schema ReadDocument(const Json& document)
{
    const Member json(document, {});
    const int version = json["schema"].GetInt();
    if (version != Schema::VERSION) {
        throw Trouble("its version is " + std::to_string(version) + " and not " +
                      std::to_string(Schema::VERSION));
    }
    Schema schema;
    for (const Member& module : json["modules"].GetElements()) {
        const std::string name = module["name"].GetText();
        SchemaModule& rClasses = schema.mModules[name];
        for (const Member& described : module["classes"].GetElements()) {
            SchemaClass read = ReadClass(described, name);
            rClasses.insert_or_assign(read.mName, std::move(read));
        }
    }
    return schema;
}

} // namespace

const SchemaClass* Schema::Find(const std::string& name) const
{
    const auto module = mModules.find(name.substr(0, name.find('.')));
    if (module == mModules.end()) {
        return nullptr;
    }
    const auto found = module->second.find(name);
    return found != module->second.end() ? &found->second : nullptr;
}

Schema ReadRegistry(const std::vector<std::string>& modules)
{
    const FullNames names;
    Schema schema;
    for (const std::string& module : modules) {
        SchemaModule& rClasses = schema.mModules[module];
        Object* const pModule = GetModuleTable()->Find(module.c_str());
        for (const auto& [name, pClass] : Sort<ClassInfoTable>(static_cast<Table*>(pModule))) {
            rClasses.emplace(module + "." + name, Read(module + "." + name, pClass, names));
        }
    }
    return schema;
}

std::vector<std::string> GetModuleNames()
{
    std::vector<std::string> names;
    for (const auto& [name, pModule] : Sort<Table>(GetModuleTable())) {
        names.push_back(name);
    }
    return names;
}

Schema ReadSchema(const std::string& path)
{
    const std::string bytes = ReadInput(path);
    const std::string failure = "Failed to read the schema in " + GetDisplayName(path) + " - ";
    const std::string advice = "; make one by 'quirl classes --json >FILE'";
    try {
        return ReadDocument(ParseDocument(bytes));
    } catch (const Json::exception& error) {
        throw Trouble(failure + ToPrintable(error.what()) + advice);
    } catch (const Trouble& trouble) {
        throw Trouble(failure + trouble.what() + advice);
    }
}

Json MakeJson(const Schema& schema)
{
    Json json = {{"schema", Schema::VERSION},
                 {"library", std::to_string(g_VersionMajor) + "." + std::to_string(g_VersionMinor)}};
    json["modules"] = Json::array();
    for (const auto& [module, classes] : schema.mModules) {
        Json list = Json::array();
        for (const auto& [name, described] : classes) {
            list.push_back(MakeJson(described));
        }
        json["modules"].push_back({{"name", module}, {"classes", std::move(list)}});
    }
    return json;
}

std::string GetSignature(const SchemaFunction& function)
{
    std::string text = (function.mbStatic ? "static " : "") + function.mName + "(";
    for (std::size_t index = 0; index < function.mArguments.size(); ++index) {
        text += (index > 0 ? ", " : "") + function.mArguments[index];
    }
    return text + "): " + function.mResult;
}

} // namespace Quirl
