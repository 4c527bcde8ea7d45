// quirl show: a graph as a tree for people, or as JSON for programs.

#include "Commands.h"
#include "Graph.h"
#include "Input.h"
#include "Output.h"
#include "Report.h"
#include "Text.h"
#include "ValueJson.h"

#include "QBase/Enum.h"
#include "QBase/List.h"
#include "QBase/Table.h"

#include <algorithm>
#include <memory>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"(An object that several references lead to has a number, like #3. Where it is met again, -> #3 stands for it,
marked as a cycle when it is one of the objects around this place.

Examples:
  quirl show solar.QXml
  quirl show --json scene.qobj | python3 -m json.tool
  generate | quirl show -)";

struct ShowOptions
{
    std::string mPath;
    InputOptions mInput;
    bool mbJson = false;
};

// --- The tree ---

std::string DescribeValues(Object* pObject, Property* pProperty)
{
    EnumInfoObject* const pEnumInfo = pProperty->GetEnumInfo();
    if (!pProperty->IsArray()) {
        return ToText(pProperty->Get(pObject), pEnumInfo);
    }
    std::string text = "[";
    for (const Value& value : GetValues(pObject, pProperty)) {
        text += (text.size() > 1 ? ", " : "") + ToText(value, pEnumInfo);
    }
    return text + "]";
}

class TreePrinter
{
public:
    TreePrinter(const Graph& graph, Output& rOutput)
        : mGraph(graph), mrOutput(rOutput), mbOpen(graph.GetSize(), false)
    {}

    void Print()
    {
        Progress progress("Showing objects", mGraph.GetSize());
        std::size_t numShown = 0;
        Enter("root", 0);
        while (!mStack.empty()) {
            Place& rPlace = mStack.back();
            const std::vector<Reference>& references = mGraph.GetReferences(rPlace.mNumber);
            if (rPlace.mNext == references.size()) {
                mbOpen[rPlace.mNumber] = false;
                mStack.pop_back();
                progress.SetDone(++numShown);
                continue;
            }
            PrintReference(references[rPlace.mNext++]);
        }
    }

private:
    struct Place
    {
        std::size_t mNumber;
        std::size_t mNext; // the next reference to print
    };

    // Deep in a long chain the indentation stays, and a number tells the depth: the text would grow with the
    // square of the depth.
    std::string Indent() const
    {
        constexpr std::size_t limit = 40;
        const std::size_t depth = mStack.size();
        return std::string(2 * std::min(depth, limit), ' ') +
               (depth > limit ? "(" + std::to_string(depth) + ") " : "");
    }

    bool IsShared(std::size_t number) const
    {
        return mGraph.CountReferencesTo(number) > (number == 0 ? 0 : 1);
    }

    std::string Describe(std::size_t number) const
    {
        return ToPrintable(GetFullClassName(mGraph.GetObject(number))) +
               (IsShared(number) ? " #" + std::to_string(number) : "");
    }

    void Enter(const std::string& label, std::size_t number)
    {
        mrOutput.WriteLine(Indent() + label + ": " + Describe(number));
        mStack.push_back({number, 0});
        mbOpen[number] = true;
        Object* const pObject = mGraph.GetObject(number);
        const std::string indent = Indent();
        ForEachPlainProperty(pObject, [&](const String& name, Property* pProperty) {
            mrOutput.WriteLine(indent + ToPrintable(name.c_str()) + " = " +
                               DescribeValues(pObject, pProperty) +
                               (pProperty->IsDynamic() ? " (dynamic)" : ""));
        });
    }

    void PrintReference(const Reference& reference)
    {
        const std::string label = ToPrintable(reference.GetLabel());
        if (reference.mTarget == Reference::NOTHING) {
            mrOutput.WriteLine(Indent() + label + ": null");
        } else if (reference.mbFirst) {
            Enter(label, reference.mTarget);
        } else {
            mrOutput.WriteLine(Indent() + label + ": -> #" + std::to_string(reference.mTarget) +
                               (mbOpen[reference.mTarget] ? " (cycle)" : ""));
        }
    }

    const Graph& mGraph;
    Output& mrOutput;
    std::vector<Place> mStack;
    std::vector<bool> mbOpen; // the objects on the stack
};

// --- JSON ---

Json MakeReferenceJson(const Reference& reference)
{
    return reference.mTarget == Reference::NOTHING ? Json() : Json(reference.mTarget);
}

Json MakePropertyJson(const String& name, Property* pProperty, const Value& firstValue)
{
    const Value::Type type = pProperty->GetType() == Value::TYPE_VALUE && !firstValue.IsVoid()
                                 ? firstValue.GetType()
                                 : pProperty->GetType();
    Json json = {{"name", name.c_str()}, {"type", GetTypeName(type)}};
    if (pProperty->IsDynamic()) {
        json["dynamic"] = true;
    }
    return json;
}

void AddPlainProperties(Json& rProperties, Object* pObject)
{
    ForEachPlainProperty(pObject, [&](const String& name, Property* pProperty) {
        const std::vector<Value> values = GetValues(pObject, pProperty);
        Json json = MakePropertyJson(name, pProperty, values.empty() ? Value::Null : values.front());
        if (pProperty->IsArray()) {
            json["values"] = Json::array();
            for (const Value& value : values) {
                json["values"].push_back(MakeJson(value));
            }
        } else {
            json["value"] = MakeJson(values.front());
            EnumInfoObject* const pEnumInfo = pProperty->GetEnumInfo();
            if (pEnumInfo != nullptr) {
                json["key"] = ToText(values.front(), pEnumInfo);
            }
        }
        rProperties.push_back(std::move(json));
    });
}

Json MakeObjectPropertyJson(Object* pObject, const String& name, const char* pMember)
{
    Json json = {{"name", name.c_str()}, {"type", GetTypeName(Value::TYPE_OBJECT)}};
    if (pObject->FindProperty(name)->IsDynamic()) {
        json["dynamic"] = true;
    }
    json[pMember] = Json();
    return json;
}

void AddReferences(Json& rJson, Object* pObject, const std::vector<Reference>& references)
{
    for (const Reference& reference : references) {
        Json& rProperties = rJson["properties"];
        switch (reference.mKind) {
        case Reference::PROPERTY:
            rProperties.push_back(MakeObjectPropertyJson(pObject, reference.mName, "value"));
            rProperties.back()["value"] = MakeReferenceJson(reference);
            break;
        case Reference::ELEMENT:
            if (reference.mIndex == 0) {
                rProperties.push_back(MakeObjectPropertyJson(pObject, reference.mName, "values"));
            }
            rProperties.back()["values"].push_back(MakeReferenceJson(reference));
            break;
        case Reference::ENTRY:
            rJson["entries"].push_back(
                {{"name", reference.mName.c_str()}, {"object", MakeReferenceJson(reference)}});
            break;
        case Reference::ITEM:
            rJson["items"].push_back(MakeReferenceJson(reference));
            break;
        }
    }
}

Json MakeObjectJson(const Graph& graph, std::size_t number)
{
    Object* const pObject = graph.GetObject(number);
    Json json = {{"id", number},
                 {"module", pObject->GetModuleName().c_str()},
                 {"class", pObject->GetClassName().c_str()},
                 {"properties", Json::array()}};
    if (pObject->IsDerivedType(Table::ClassTable())) {
        json["entries"] = Json::array();
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        json["items"] = Json::array();
    }
    AddPlainProperties(json["properties"], pObject);
    AddReferences(json, pObject, graph.GetReferences(number));
    return json;
}

// One object at a time: a document of everything would take many times the memory of the graph.
void PrintJson(const Graph& graph, const Input& input, Output& rOutput)
{
    Progress progress("Writing objects", graph.GetSize());
    rOutput.Write(std::string("{\"format\": \"") + GetFormatName(input.GetFormat()) +
                  "\", \"root\": 0, \"objects\": [\n");
    for (std::size_t number = 0; number < graph.GetSize(); ++number) {
        rOutput.Write(number > 0 ? ",\n" : "");
        rOutput.Write(MakeObjectJson(graph, number).dump());
        progress.SetDone(number + 1);
    }
    rOutput.Write("\n]}\n");
}

int RunShow(const ShowOptions& options)
{
    const Input input(options.mPath, options.mInput);
    const Graph graph(RequireRoot(input));
    Output output;
    if (options.mbJson) {
        PrintJson(graph, input, output);
    } else {
        TreePrinter(graph, output).Print();
    }
    output.Finish();
    return EXIT_FINE;
}

} // namespace

void AddShow(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("show", "Show the objects of a file as a tree");
    const auto pOptions = std::make_shared<ShowOptions>();
    command.AddOption("FILE", pOptions->mPath, "The file; - for standard input").Require();
    command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs");
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = RunShow(*pOptions); });
}

} // namespace Quirl
