#include "Events.h"

#include "Graph.h"
#include "Text.h"
#include "ValueJson.h"

#include "QBase/List.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/Property.h"
#include "QBase/Table.h"

#include <utility>
#include <vector>

using namespace QBase;

namespace Quirl
{

struct Events::Event
{
    enum Kind
    {
        NEW_ROOT,
        ADD_OBJECT,
        REMOVE_OBJECT,
        ADD_VALUE,
        MODIFY_VALUE,
        REMOVE_VALUE,
        ADD_ARRAY,
        ADD_ELEMENT,
        MODIFY_ELEMENT,
        CUT_ARRAY,
        REMOVE_ARRAY,
        ADD_ENTRY,
        MODIFY_ENTRY,
        REMOVE_ENTRY,
        ADD_ITEM,
        MODIFY_ITEM,
        CUT_LIST
    };

    Kind mKind;
    Ptr<Object> mpObject;
    String mName = {};                    // of a property or entry
    int mIndex = 0;                       // of an element or item; the new size of a cut
    Value mValue = {};                    // a child is a value as well
    Value mOld = {};                      // of a modification
    Value::Type mType = Value::TYPE_VOID; // of an array's elements
};

namespace
{

// The names of the kinds for programs, in their order.
constexpr const char* KIND_NAMES[] = {
    "new-root",     "add-object",   "remove-object",  "add-value",   "modify-value", "remove-value",
    "add-array",    "add-element",  "modify-element", "cut-array",   "remove-array", "add-entry",
    "modify-entry", "remove-entry", "add-item",       "modify-item", "cut-list"};

// What stands in front of a line: comes, changes, goes.
constexpr const char KIND_MARKS[] = "~+-+~-++~~-+~-+~~";

} // namespace

// Keeps all events of a pass: only at its end is it known where its objects are.
class Events::Recorder : public ObjectDiffHandler
{
public:
    std::vector<Event> mEvents;
    bool mbMoved = false; // some path may lead elsewhere now

private:
    void Add(Event event)
    {
        mbMoved = mbMoved || event.mKind == Event::NEW_ROOT || event.mKind >= Event::ADD_ENTRY ||
                  event.mValue.GetType() == Value::TYPE_OBJECT ||
                  event.mOld.GetType() == Value::TYPE_OBJECT || event.mType == Value::TYPE_OBJECT ||
                  event.mType == Value::TYPE_VALUE;
        mEvents.push_back(std::move(event));
    }

    void OnNewRoot(Object* pRoot) override { Add({Event::NEW_ROOT, pRoot, {}, 0, Value(pRoot)}); }
    void OnAddObject(Object* pObject) override { Add({Event::ADD_OBJECT, pObject}); }
    void OnRemoveObject(Object* pObject) override { Add({Event::REMOVE_OBJECT, pObject}); }
    void OnAddPropertyValue(Object* pObject, const String& name, const Value& value) override
    {
        Add({Event::ADD_VALUE, pObject, name, 0, value});
    }
    void OnModifyPropertyValue(Object* pObject, const String& name, const Value& newValue,
                               const Value& oldValue) override
    {
        Add({Event::MODIFY_VALUE, pObject, name, 0, newValue, oldValue});
    }
    void OnRemovePropertyValue(Object* pObject, const String& name, const Value& oldValue) override
    {
        Add({Event::REMOVE_VALUE, pObject, name, 0, {}, oldValue});
    }
    void OnAddPropertyArray(Object* pObject, const String& name, Value::Type elementType) override
    {
        Add({Event::ADD_ARRAY, pObject, name, 0, {}, {}, elementType});
    }
    void OnAddPropertyArrayElement(Object* pObject, const String& name, int index,
                                   const Value& value) override
    {
        Add({Event::ADD_ELEMENT, pObject, name, index, value});
    }
    void OnModifyPropertyArrayElement(Object* pObject, const String& name, int index, const Value& newValue,
                                      const Value& oldValue) override
    {
        Add({Event::MODIFY_ELEMENT, pObject, name, index, newValue, oldValue});
    }
    void OnDownsizePropertyArray(Object* pObject, const String& name, int newSize,
                                 Value::Type elementType) override
    {
        Add({Event::CUT_ARRAY, pObject, name, newSize, {}, {}, elementType});
    }
    void OnRemovePropertyArray(Object* pObject, const String& name, Value::Type elementType) override
    {
        Add({Event::REMOVE_ARRAY, pObject, name, 0, {}, {}, elementType});
    }
    void OnAddTableChild(Table* pTable, const String& name, Object* pChild) override
    {
        Add({Event::ADD_ENTRY, pTable, name, 0, Value(pChild)});
    }
    void OnModifyTableChild(Table* pTable, const String& name, Object* pNewChild, Object* pOldChild) override
    {
        Add({Event::MODIFY_ENTRY, pTable, name, 0, Value(pNewChild), Value(pOldChild)});
    }
    void OnRemoveTableChild(Table* pTable, const String& name) override
    {
        Add({Event::REMOVE_ENTRY, pTable, name});
    }
    void OnAddListChild(List* pList, int index, Object* pChild) override
    {
        Add({Event::ADD_ITEM, pList, {}, index, Value(pChild)});
    }
    void OnModifyListChild(List* pList, int index, Object* pNewChild, Object* pOldChild) override
    {
        Add({Event::MODIFY_ITEM, pList, {}, index, Value(pNewChild), Value(pOldChild)});
    }
    void OnDownsizeList(List* pList, int newSize) override { Add({Event::CUT_LIST, pList, {}, newSize}); }
};

Events::Events(Output& rOutput, Form form)
    : mrOutput(rOutput), mForm(form), mpDiff(ObjectDiff::Construct(Value::Null)), mpRecorder(new Recorder)
{}

Events::~Events() = default;

void Events::Print(Object* pRoot, int pass)
{
    Recorder& rRecorder = *static_cast<Recorder*>(static_cast<Object*>(mpRecorder));
    mpDiff->SetRoot(pRoot);
    mpDiff->Execute(Value(mpRecorder));
    if (std::exchange(rRecorder.mbMoved, false)) {
        FindPaths(pRoot);
    }
    for (const Event& event : std::exchange(rRecorder.mEvents, {})) {
        if (mForm == TEXT) {
            mrOutput.WriteLine(MakeLine(event));
        } else {
            Json json = {{"pass", pass}};
            json.update(MakeEventJson(event));
            mrOutput.WriteLine(json.dump());
        }
        if (event.mKind == Event::REMOVE_OBJECT) {
            mPaths.erase(event.mpObject);
        }
    }
    mrOutput.Finish();
}

// Objects that are gone keep the path that they had.
void Events::FindPaths(Object* pRoot)
{
    const Graph graph(pRoot, Graph::BORROWS);
    for (std::size_t number = 0; number < graph.GetSize(); ++number) {
        mPaths[graph.GetObject(number)] = graph.GetPath(number);
    }
}

std::string Events::GetPath(Object* pObject) const
{
    const auto path = mPaths.find(pObject);
    return path != mPaths.end() ? path->second : pObject != nullptr ? GetFullClassName(pObject) : "null";
}

// What an event is about: "root.Sun", "root.Sun.Mass", "root.Sizes[2]", "root[crew]".
std::string Events::GetPlace(const Event& event) const
{
    std::string place = GetPath(event.mpObject);
    const std::string name = event.mName.c_str();
    switch (event.mKind) {
    case Event::NEW_ROOT:
        return "root";
    case Event::ADD_OBJECT:
    case Event::REMOVE_OBJECT:
    case Event::CUT_LIST:
        return place;
    case Event::ADD_ELEMENT:
    case Event::MODIFY_ELEMENT:
        return place + "." + name + "[" + std::to_string(event.mIndex) + "]";
    case Event::ADD_ENTRY:
    case Event::MODIFY_ENTRY:
    case Event::REMOVE_ENTRY:
        return place + "[" + name + "]";
    case Event::ADD_ITEM:
    case Event::MODIFY_ITEM:
        return place + "[" + std::to_string(event.mIndex) + "]";
    default:
        return place + "." + name;
    }
}

std::string Events::GetText(const Value& value, const Event& event) const
{
    if (value.GetType() == Value::TYPE_OBJECT) {
        return GetPath(value.AsObject());
    }
    Property* const pProperty =
        event.mpObject != nullptr ? event.mpObject->FindProperty(event.mName) : nullptr;
    return ToText(value, pProperty != nullptr ? pProperty->GetEnumInfo() : nullptr);
}

std::string Events::MakeLine(const Event& event) const
{
    std::string line = std::string(1, KIND_MARKS[event.mKind]) + " " + GetPlace(event);
    switch (event.mKind) {
    case Event::NEW_ROOT:
        line += " is " + (event.mpObject != nullptr ? GetFullClassName(event.mpObject) : "null");
        break;
    case Event::ADD_OBJECT:
    case Event::REMOVE_OBJECT:
        line += ": " + GetFullClassName(event.mpObject);
        break;
    case Event::ADD_ARRAY:
        line += std::string(": array of ") + GetTypeName(event.mType);
        break;
    case Event::CUT_ARRAY:
    case Event::CUT_LIST:
        line += ": cut to " + std::to_string(event.mIndex);
        break;
    case Event::REMOVE_ARRAY:
    case Event::REMOVE_ENTRY:
        break;
    case Event::REMOVE_VALUE:
        line += " (was " + GetText(event.mOld, event) + ")";
        break;
    default:
        line += " = " + GetText(event.mValue, event);
        if (KIND_MARKS[event.mKind] == '~') {
            line += " (was " + GetText(event.mOld, event) + ")";
        }
        break;
    }
    return ToPrintable(line);
}

Json Events::MakeValueJson(const Value& value) const
{
    if (value.GetType() != Value::TYPE_OBJECT) {
        return MakeJson(value);
    }
    return value.AsObject() != nullptr ? Json(GetPath(value.AsObject())) : Json();
}

Json Events::MakeEventJson(const Event& event) const
{
    Json json = {{"event", KIND_NAMES[event.mKind]},
                 {"path", event.mKind == Event::NEW_ROOT ? "root" : GetPath(event.mpObject)}};
    const bool bObject = event.mKind == Event::ADD_OBJECT || event.mKind == Event::REMOVE_OBJECT;
    if (bObject || event.mKind == Event::NEW_ROOT) {
        json["class"] = event.mpObject != nullptr ? Json(GetFullClassName(event.mpObject)) : Json();
        return json;
    }
    if (event.mName.size() > 0) {
        json["name"] = event.mName.c_str();
    }
    switch (event.mKind) {
    case Event::CUT_ARRAY:
    case Event::CUT_LIST:
        json["size"] = event.mIndex;
        break;
    case Event::ADD_ELEMENT:
    case Event::MODIFY_ELEMENT:
    case Event::ADD_ITEM:
    case Event::MODIFY_ITEM:
        json["index"] = event.mIndex;
        break;
    case Event::ADD_ARRAY:
        json["type"] = GetTypeName(event.mType);
        break;
    default:
        break;
    }
    if (KIND_MARKS[event.mKind] != '-' && event.mKind != Event::ADD_ARRAY &&
        event.mKind != Event::CUT_ARRAY && event.mKind != Event::CUT_LIST) {
        json["type"] = GetTypeName(event.mValue.GetType());
        json["value"] = MakeValueJson(event.mValue);
    }
    const bool bModified = event.mKind == Event::MODIFY_VALUE || event.mKind == Event::MODIFY_ELEMENT ||
                           event.mKind == Event::MODIFY_ENTRY || event.mKind == Event::MODIFY_ITEM;
    if (bModified || event.mKind == Event::REMOVE_VALUE) {
        json["old"] = MakeValueJson(event.mOld);
    }
    return json;
}

} // namespace Quirl
