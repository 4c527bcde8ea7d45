// quirl conform: what a change of classes breaks.

#include "Conform.h"

#include "Commands.h"
#include "Modules.h"
#include "Output.h"
#include "Report.h"
#include "Schema.h"
#include "Text.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <tuple>

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"TEXT(OLD and NEW are files that `quirl classes --json` wrote. Without NEW, OLD is held against the classes as they are
now, in the modules that OLD names. Prints what breaks, and for whom:
  files     files saved by the old classes, loaded by the new ones
  peers     programs with the old classes and with the new ones, connected to each other
  callers   code and scripts that ask for functions, constants and classes by name
Exit codes: 0 nothing breaks, 1 something does, 2 trouble.

Examples:
  quirl classes --module Solar --json >solar-1.json
  quirl conform solar-1.json
  quirl conform --only files solar-1.json solar-2.json)TEXT";

// --- What a class has, with what it inherits ---

// ClassView is a class of a schema with its bases. What a class has under a name hides what a base has.
class ClassView
{
public:
    ClassView(const Schema& schema, const SchemaClass& described) : mName(described.mName)
    {
        const SchemaClass* pClass = &described;
        mbAbstract = described.mbAbstract;
        mbActsOutside = described.mbActsOutside;
        while (pClass != nullptr && mAncestors.insert(pClass->mName).second) {
            for (const SchemaProperty& property : pClass->mProperties) {
                mProperties.emplace(property.mName, &property);
            }
            for (const SchemaFunction& function : pClass->mFunctions) {
                mFunctions.emplace(function.mName, &function);
            }
            for (const SchemaEnumeration& enumeration : pClass->mEnumerations) {
                mEnumerations.emplace(enumeration.mName, &enumeration);
            }
            const std::string& base = pClass->mBase;
            pClass = schema.Find(base);
            if (pClass == nullptr && !base.empty()) {
                mAncestors.insert(base);
            }
        }
    }

    std::string mName;
    bool mbAbstract = false;
    bool mbActsOutside = false;
    std::set<std::string> mAncestors; // itself too
    std::map<std::string, const SchemaProperty*> mProperties;
    std::map<std::string, const SchemaFunction*> mFunctions;
    std::map<std::string, const SchemaEnumeration*> mEnumerations;
};

// What the connection compares of an argument: its type, not its class.
std::string GetTypeOnWire(const std::string& argument)
{
    return argument.find('.') != argument.npos ? "Object" : argument;
}

std::string GetSignatureOnWire(SchemaFunction function)
{
    function.mResult = GetTypeOnWire(function.mResult);
    for (std::string& rArgument : function.mArguments) {
        rArgument = GetTypeOnWire(rArgument);
    }
    return GetSignature(function);
}

std::string DescribeType(const SchemaProperty& property)
{
    return property.mType + (property.mbArray ? "[]" : "");
}

std::map<int, std::string> GetNames(const EnumKeys& keys)
{
    std::map<int, std::string> names;
    for (const auto& [key, number] : keys) {
        names.emplace(number, key);
    }
    return names;
}

// --- The comparison ---

// One class before and after. What its base has to say as well is said there.
class ClassComparison
{
public:
    ClassComparison(const ClassView& then, const ClassView& now) : mThen(then), mNow(now)
    {
        CompareKind();
        CompareAncestors();
        for (const auto& [name, pProperty] : mThen.mProperties) {
            CompareProperty(*pProperty);
        }
        for (const auto& [name, pProperty] : mNow.mProperties) {
            if (mThen.mProperties.count(name) == 0) {
                Add(Breach::PEERS, name,
                    "the property is new: sides that have it and sides that do not refuse "
                    "each other");
            }
        }
        for (const auto& [name, pFunction] : mThen.mFunctions) {
            CompareFunction(*pFunction);
        }
        for (const auto& [name, pFunction] : mNow.mFunctions) {
            if (mThen.mFunctions.count(name) == 0) {
                Add(Breach::PEERS, name,
                    "the function is new: sides that have it and sides that do not refuse "
                    "each other");
            }
        }
        for (const auto& [name, pEnumeration] : mThen.mEnumerations) {
            CompareEnumeration(name, *pEnumeration);
        }
    }

    const std::vector<Breach>& GetBreaches() const { return mBreaches; }

private:
    void Add(Breach::Party party, const std::string& member, const std::string& text)
    {
        mBreaches.push_back({party, member, text});
    }

    void CompareKind()
    {
        if (mNow.mbAbstract && !mThen.mbAbstract) {
            Add(Breach::FILES, {}, "the class has become abstract: files with an object of it do not load");
            Add(Breach::PEERS, {}, "the class has become abstract: no replica of its objects can be made");
            Add(Breach::CALLERS, {}, "the class has become abstract: nobody can construct it");
        }
        if (mNow.mbActsOutside && !mThen.mbActsOutside) {
            const std::string text = "the class acts on something outside the program now: ";
            Add(Breach::FILES, {}, text + "files with an object of it load only where they are trusted");
            Add(Breach::PEERS, {},
                text + "replicas of its objects are made only of a source that is trusted");
        }
    }

    void CompareAncestors()
    {
        for (const std::string& ancestor : mThen.mAncestors) {
            if (mNow.mAncestors.count(ancestor) != 0) {
                continue;
            }
            const std::string text = "the class is no " + ancestor + " any more: ";
            if (ancestor == "QBase.Table" || ancestor == "QBase.List") {
                Add(Breach::FILES, {}, text + "files in which it has children do not load");
                Add(Breach::PEERS, {}, text + "its children cannot be replicated");
            } else {
                Add(Breach::FILES, {}, text + "references that ask for one lose it");
            }
            Add(Breach::CALLERS, {}, text + "functions that ask for one refuse it");
        }
    }

    void CompareProperty(const SchemaProperty& then)
    {
        const auto found = mNow.mProperties.find(then.mName);
        if (then.mAccess == "constant") {
            CompareConstant(then, found != mNow.mProperties.end() ? found->second : nullptr);
            return;
        }
        if (found == mNow.mProperties.end()) {
            if (!then.mbExcluded) {
                Add(Breach::FILES, then.mName, "the property is gone: the values in files are lost");
            }
            Add(Breach::PEERS, then.mName,
                "the property is gone: sides that have it and sides that do not refuse each other");
            Add(Breach::CALLERS, then.mName, "the property is gone");
            return;
        }
        const SchemaProperty& now = *found->second;
        if (DescribeType(then) != DescribeType(now)) {
            CompareType(then, now);
        } else {
            CompareKeys(then.mName, then.mKeys, now.mKeys);
        }
        CompareAccess(then, now);
    }

    // A property of any type takes every stored value.
    void CompareType(const SchemaProperty& then, const SchemaProperty& now)
    {
        const std::string text = "it was " + DescribeType(then) + " and is " + DescribeType(now) + ": ";
        if (!then.mbExcluded && (now.mType != "Value" || then.mbArray != now.mbArray)) {
            Add(Breach::FILES, then.mName, text + "the values in files are lost");
        }
        Add(Breach::PEERS, then.mName, text + "the two refuse each other");
        Add(Breach::CALLERS, then.mName, text + "what is read and written is another thing");
    }

    void CompareAccess(const SchemaProperty& then, const SchemaProperty& now)
    {
        if (now.mbExcluded && !then.mbExcluded) {
            Add(Breach::FILES, then.mName, "it is left out of files now: the values in files are lost");
        }
        if (now.mbExcluded != then.mbExcluded) {
            Add(Breach::PEERS, then.mName,
                std::string("it is ") + (now.mbExcluded ? "left out of" : "part of") +
                    " what is replicated now: the two refuse each other");
        }
        if (now.mAccess != "write" && then.mAccess == "write") {
            Add(Breach::CALLERS, then.mName, "it cannot be set any more");
        }
    }

    void CompareConstant(const SchemaProperty& then, const SchemaProperty* pNow)
    {
        if (pNow == nullptr) {
            Add(Breach::PEERS, then.mName,
                "the constant is gone: sides that have it and sides that do not refuse each other");
            Add(Breach::CALLERS, then.mName, "the constant is gone");
            return;
        }
        if (DescribeType(then) != DescribeType(*pNow) || pNow->mbExcluded != then.mbExcluded) {
            Add(Breach::PEERS, then.mName,
                "the constant was of another type or is none any more: the two refuse each other");
        }
        if (pNow->mAccess != "constant" || then.mValue != pNow->mValue) {
            Add(Breach::CALLERS, then.mName,
                "the constant was " + then.mValue.dump() + " and is " +
                    (pNow->mAccess == "constant" ? pNow->mValue.dump() : "a property"));
        }
    }

    // Files and frames hold the numbers; XML written by hand may hold the names.
    void CompareKeys(const std::string& place, const EnumKeys& then, const EnumKeys& now)
    {
        const std::map<int, std::string> names = GetNames(now);
        for (const auto& [key, number] : then) {
            const auto found = now.find(key);
            const auto heir = names.find(number);
            const std::string meaning = "a stored " + std::to_string(number) + " means " +
                                        (heir != names.end() ? heir->second : "nothing") + " now";
            if (found != now.end() && found->second == number) {
                continue;
            }
            const std::string text = found != now.end()
                                         ? "the key " + key + " was " + std::to_string(number) + " and is " +
                                               std::to_string(found->second) + ": " + meaning
                                         : "the key " + key + " is gone: " + meaning +
                                               ", and files in which somebody wrote " + key + " do not load";
            Add(Breach::FILES, place, text);
            Add(Breach::PEERS, place, text.substr(0, text.find(": ")) + ": each side means something else");
            Add(Breach::CALLERS, place, text.substr(0, text.find(": ")));
        }
    }

    void CompareFunction(const SchemaFunction& then)
    {
        const auto found = mNow.mFunctions.find(then.mName);
        if (found == mNow.mFunctions.end()) {
            Add(Breach::PEERS, then.mName,
                "the function is gone: sides that have it and sides that do not refuse each other");
            Add(Breach::CALLERS, then.mName, "the function is gone");
            return;
        }
        const std::string text = "it was " + GetSignature(then) + " and is " + GetSignature(*found->second);
        if (GetSignatureOnWire(then) != GetSignatureOnWire(*found->second)) {
            Add(Breach::PEERS, then.mName, text + ": the two refuse each other");
        }
        if (GetSignature(then) != GetSignature(*found->second)) {
            Add(Breach::CALLERS, then.mName, text);
        }
    }

    // Keys of an enumeration that properties have are looked at there.
    void CompareEnumeration(const std::string& name, const SchemaEnumeration& then)
    {
        const auto found = mNow.mEnumerations.find(name);
        const bool bOfProperty =
            std::any_of(mThen.mProperties.begin(), mThen.mProperties.end(),
                        [&](const auto& property) { return property.second->mKeys == then.mKeys; });
        if (found == mNow.mEnumerations.end()) {
            Add(Breach::CALLERS, name, "the enumeration is gone");
        } else if (!bOfProperty) {
            CompareKeys(name, then.mKeys, found->second->mKeys);
        }
    }

    const ClassView& mThen;
    const ClassView& mNow;
    std::vector<Breach> mBreaches; // places are names of members
};

class SchemaComparison
{
public:
    SchemaComparison(const Schema& then, const Schema& now) : mThen(then), mNow(now) {}

    std::vector<Breach> Run()
    {
        for (const auto& [module, classes] : mThen.mModules) {
            for (const auto& [name, described] : classes) {
                Compare(described);
            }
        }
        return std::move(mBreaches);
    }

private:
    using Seen = std::set<std::tuple<Breach::Party, std::string, std::string>>;

    void Compare(const SchemaClass& then)
    {
        const SchemaClass* const pNow = mNow.Find(then.mName);
        if (pNow == nullptr) {
            AddMissing(then);
            return;
        }
        const Seen inherited = GetBreachesOfBase(then, *pNow);
        for (const Breach& breach : FindBreachesOf(then, *pNow)) {
            if (inherited.count({breach.mParty, breach.mPlace, breach.mText}) == 0) {
                mBreaches.push_back({breach.mParty,
                                     then.mName + (breach.mPlace.empty() ? "" : "." + breach.mPlace),
                                     breach.mText});
            }
        }
    }

    void AddMissing(const SchemaClass& then)
    {
        const std::string module = then.mName.substr(0, then.mName.find('.'));
        const std::string text = mNow.HasModule(module) ? "the class is gone" : "the module is gone";
        if (!then.mbAbstract) {
            mBreaches.push_back(
                {Breach::FILES, then.mName, text + ": files with an object of it do not load"});
            mBreaches.push_back({Breach::PEERS, then.mName,
                                 text + ": sides that register it and sides that cannot refuse "
                                        "each other"});
        }
        mBreaches.push_back({Breach::CALLERS, then.mName, text});
    }

    std::vector<Breach> FindBreachesOf(const SchemaClass& then, const SchemaClass& now) const
    {
        const ClassView viewThen(mThen, then);
        const ClassView viewNow(mNow, now);
        return ClassComparison(viewThen, viewNow).GetBreaches();
    }

    // What is said of the base is not said again of each class that is derived from it.
    Seen GetBreachesOfBase(const SchemaClass& then, const SchemaClass& now) const
    {
        Seen seen;
        const SchemaClass* const pBaseThen = mThen.Find(then.mBase);
        const SchemaClass* const pBaseNow = mNow.Find(then.mBase);
        if (pBaseThen != nullptr && pBaseNow != nullptr && pBaseThen != &then && now.mBase == then.mBase) {
            for (const Breach& breach : FindBreachesOf(*pBaseThen, *pBaseNow)) {
                seen.insert({breach.mParty, breach.mPlace, breach.mText});
            }
        }
        return seen;
    }

    const Schema& mThen;
    const Schema& mNow;
    std::vector<Breach> mBreaches;
};

// --- The command ---

struct ConformOptions
{
    std::string mOld;
    std::string mNew;
    std::string mOnly;
    ModuleOptions mModules;
    bool mbJson = false;
};

// The classes as they are now; a module that does not load any more has none.
Schema ReadLiveSchema(const Schema& then)
{
    std::vector<std::string> modules;
    for (const auto& [module, classes] : then.mModules) {
        try {
            RequireModule(module);
            modules.push_back(module);
        } catch (const Trouble& trouble) {
            PrintMessage({Message::WARNING, trouble.what(), {}});
        }
    }
    return ReadRegistry(modules);
}

void PrintJson(Output& rOutput, const std::vector<Breach>& breaches)
{
    Json json = {{"conforms", breaches.empty()}, {"breaches", Json::array()}};
    for (const Breach& breach : breaches) {
        json["breaches"].push_back(
            {{"party", GetPartyName(breach.mParty)}, {"place", breach.mPlace}, {"text", breach.mText}});
    }
    rOutput.WriteLine(json.dump(2));
}

void PrintText(Output& rOutput, const std::vector<Breach>& breaches)
{
    std::map<Breach::Party, int> numbers;
    for (const Breach& breach : breaches) {
        rOutput.WriteLine(ToPrintable(std::string(GetPartyName(breach.mParty)) + ": " + breach.mPlace + ": " +
                                      breach.mText));
        ++numbers[breach.mParty];
    }
    std::string summary;
    for (const auto& [party, number] : numbers) {
        summary += (summary.empty() ? "" : ", ") + std::to_string(number) + " for " + GetPartyName(party);
    }
    rOutput.WriteLine(breaches.empty() ? "Nothing breaks" : "Breaks: " + summary);
}

int RunConform(const ConformOptions& options)
{
    if (options.mOld == "-" && options.mNew == "-") {
        throw Trouble("Failed to compare standard input with itself; name a file for OLD or for NEW");
    }
    LoadModules(options.mModules);
    const Schema then = ReadSchema(options.mOld);
    const Schema now = options.mNew.empty() ? ReadLiveSchema(then) : ReadSchema(options.mNew);
    std::vector<Breach> breaches = FindBreaches(then, now);
    if (!options.mOnly.empty()) {
        breaches.erase(std::remove_if(breaches.begin(), breaches.end(),
                                      [&](const Breach& breach) {
                                          return GetPartyName(breach.mParty) != options.mOnly;
                                      }),
                       breaches.end());
    }
    Output output;
    if (options.mbJson) {
        PrintJson(output, breaches);
    } else {
        PrintText(output, breaches);
    }
    output.Finish();
    return breaches.empty() ? EXIT_FINE : EXIT_FOUND;
}

} // namespace

const char* GetPartyName(Breach::Party party)
{
    return party == Breach::FILES ? "files" : party == Breach::PEERS ? "peers" : "callers";
}

std::vector<Breach> FindBreaches(const Schema& then, const Schema& now)
{
    return SchemaComparison(then, now).Run();
}

void AddConform(const Command& program, int& rExitCode)
{
    const Command command =
        program.AddCommand("conform", "Tell what a change of classes breaks for files, peers and callers");
    const auto pOptions = std::make_shared<ConformOptions>();
    command.AddOption("OLD", pOptions->mOld, "The schema before the change; - for standard input").Require();
    command.AddOption("NEW", pOptions->mNew, "The schema after it; without it, the classes as they are now");
    command.AddOption("--only", pOptions->mOnly, "Look at files, peers or callers alone")
        .AllowOnly({"files", "peers", "callers"});
    AddModuleOptions(command, pOptions->mModules);
    command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs");
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunConform(*pOptions); });
}

} // namespace Quirl
