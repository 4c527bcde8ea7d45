#include "Support/GraphEditor.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <map>
#include <set>

using namespace QBase;

QBASE_IMPLEMENT(Replication, Probe)

void Probe::Implement()
{
    AddEnum<Probe::Mood>("Mood", {{"Calm", CALM}, {"Curious", CURIOUS}});
    AddFunction<&Probe::Touch>("Touch");
    AddFunction<&Probe::Keep>("Keep");
    AddProperty<&Probe::mNumber>("Number");
    AddProperty<&Probe::mReal>("Real");
    AddProperty<&Probe::mText>("Text");
    AddProperty<&Probe::mpFriend>("Friend");
    AddProperty<&Probe::mAny>("Any");
    AddProperty<&Probe::mMood>("Mood");
    AddProperty<&Probe::mNumbers>("Numbers");
    AddProperty<&Probe::mTexts>("Texts");
    AddProperty<&Probe::mFriends>("Friends");
    AddProperty<&Probe::mAnything>("Anything");
    AddProperty<&Probe::mSecret>("Secret", {.mbExcluded = true});
    AddProperty<&Probe::Ask>("Answer");
}

Probe::Probe(const Value& value) : Object(value)
{}

void Probe::Touch(int number, const String& text)
{
    ++mCalls;
    mNumber = number;
    mText = text;
}

void Probe::Keep(float real, Object* pFriend, const Value& any, Mood mood, const Color& color)
{
    ++mCalls;
    mKeptReal = real;
    mpKeptObject = pFriend;
    mKeptAny = any;
    mKeptMood = mood;
    mKeptColor = color;
}

namespace
{

struct NamedProperty
{
    std::string mName;
    Property* mpProperty;
};

bool IsTable(Object* pObject)
{
    return pObject->IsDerivedType(Table::ClassTable());
}

bool IsList(Object* pObject)
{
    return pObject->IsDerivedType(List::ClassTable());
}

std::vector<NamedProperty> PropertiesByName(Object* pObject)
{
    std::vector<NamedProperty> properties;
    for (ClassInfoTable* pTable = pObject->GetInstanceOrClassTable(); pTable != nullptr;
         pTable = pTable->GetBaseClass()) {
        for (const auto& node : pTable->GetEntries()) {
            if (pObject->FindProperty(node.GetKey()) == node.GetValue()) {
                Property* const pProperty = pObject->FindProperty(node.GetKey());
                if (!pProperty->IsExcluded()) {
                    properties.push_back({node.GetKey().c_str(), pProperty});
                }
            }
        }
    }
    std::sort(properties.begin(), properties.end(),
              [](const NamedProperty& a, const NamedProperty& b) { return a.mName < b.mName; });
    return properties;
}

std::map<std::string, Object*> ChildrenByName(Object* pObject)
{
    std::map<std::string, Object*> children;
    for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
        children[node.GetKey().c_str()] = node.GetValue();
    }
    return children;
}

// Calls `visit` with everything that the object refers to, null included, in an order by name.
template <typename Visitor>
void VisitReferences(Object* pObject, Visitor visit)
{
    for (const NamedProperty& property : PropertiesByName(pObject)) {
        if (!property.mpProperty->IsArray()) {
            visit(property.mpProperty->Get(pObject).AsObject());
            continue;
        }
        for (int i = 0; i < property.mpProperty->GetSize(pObject); ++i) {
            visit(property.mpProperty->GetAt(pObject, i).AsObject());
        }
    }
    if (IsTable(pObject)) {
        for (const auto& [name, pChild] : ChildrenByName(pObject)) {
            visit(pChild);
        }
    } else if (IsList(pObject)) {
        for (const Ptr<Object>& pChild : static_cast<List*>(pObject)->GetObjects()) {
            visit(pChild);
        }
    }
}

} // namespace

std::vector<Ptr<Object>> CollectGraph(Object* pRoot)
{
    std::vector<Ptr<Object>> objects;
    std::set<Object*> met;
    const auto meet = [&](Object* pObject) {
        if (pObject != nullptr && met.insert(pObject).second) {
            objects.push_back(pObject);
        }
    };
    meet(pRoot);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        VisitReferences(Ptr<Object>(objects[i]), meet);
    }
    return objects;
}

std::string DescribeValue(const Value& value, const std::string& objectName)
{
    std::string text = std::to_string(value.GetType()) + ":";
    if (value.GetType() == Value::TYPE_STRING) {
        return text + "'" + value.AsString().c_str() + "'";
    }
    if (value.GetType() == Value::TYPE_OBJECT) {
        return text + objectName;
    }
    for (int i = 0; i < Value::PAYLOAD_SIZE; ++i) {
        char hex[4];
        std::snprintf(hex, sizeof(hex), "%02X", ValueBits::GetPayload(value)[i]);
        text += hex;
    }
    return text;
}

std::string DescribeGraph(Object* pRoot)
{
    const std::vector<Ptr<Object>> objects = CollectGraph(pRoot);
    std::map<Object*, std::string> names{{nullptr, "null"}};
    for (std::size_t i = 0; i < objects.size(); ++i) {
        names[objects[i]] = "#" + std::to_string(i);
    }
    std::string text;
    for (const Ptr<Object>& pObject : objects) {
        text += names[pObject] + " " + pObject->GetModuleName().c_str() + "." +
                pObject->GetClassName().c_str() + "\n";
        for (const auto& [name, pProperty] : PropertiesByName(pObject)) {
            text += "  " + name;
            if (!pProperty->IsArray()) {
                const Value value = pProperty->Get(pObject);
                text += " = " + DescribeValue(value, names[value.AsObject()]) + "\n";
                continue;
            }
            text += "[" + std::to_string(pProperty->GetType()) + "] =";
            for (int i = 0; i < pProperty->GetSize(pObject); ++i) {
                const Value value = pProperty->GetAt(pObject, i);
                text += " " + DescribeValue(value, names[value.AsObject()]);
            }
            text += "\n";
        }
        if (IsTable(pObject)) {
            for (const auto& [name, pChild] : ChildrenByName(pObject)) {
                text += "  ." + name + " " + names[pChild] + "\n";
            }
        } else if (IsList(pObject)) {
            for (const Ptr<Object>& pChild :
                 static_cast<List*>(static_cast<Object*>(pObject))->GetObjects()) {
                text += "  - " + names[pChild] + "\n";
            }
        }
    }
    return text;
}

void Dissolve(Object* pRoot)
{
    for (const Ptr<Object>& pObject : CollectGraph(pRoot)) {
        for (const auto& [name, pProperty] : PropertiesByName(pObject)) {
            if (pProperty->IsArray()) {
                pProperty->Clear(pObject);
            } else if (pProperty->GetType() == Value::TYPE_OBJECT) {
                pProperty->Set(pObject, Value(nullptr));
            } else if (pProperty->GetType() == Value::TYPE_VALUE) {
                pProperty->Set(pObject, Value::Null);
            }
        }
        if (IsTable(pObject)) {
            static_cast<Table*>(static_cast<Object*>(pObject))->Clear();
        } else if (IsList(pObject)) {
            static_cast<List*>(static_cast<Object*>(pObject))->Clear();
        }
    }
}

GraphEditor::GraphEditor(std::uint32_t seed) : mState(seed * 2654435761u + 1u)
{
    mpRoot = Table::Construct(Value(7));
    mObjects.push_back(mpRoot);
}

GraphEditor::~GraphEditor()
{
    for (const Ptr<Object>& pObject : mObjects) {
        Dissolve(pObject);
    }
}

int GraphEditor::Random(int limit)
{
    mState = mState * 1664525u + 1013904223u;
    return static_cast<int>((static_cast<std::uint64_t>(mState >> 8) * static_cast<std::uint64_t>(limit)) >>
                            24);
}

void GraphEditor::Edit(int numChanges)
{
    for (int i = 0; i < numChanges; ++i) {
        Change();
    }
}

Ptr<Object> GraphEditor::NewObject()
{
    Ptr<Object> pObject;
    switch (Random(4)) {
    case 0:
        pObject = Table::Construct(Value(5));
        break;
    case 1:
        pObject = List::Construct(Value::Null);
        break;
    case 2:
        pObject = Object::Construct(Value::Null);
        break;
    default:
        pObject = Probe::Construct(Value::Null);
        break;
    }
    mObjects.push_back(pObject);
    return pObject;
}

// New objects while there are few, later mostly those that are known, reachable now or not.
Object* GraphEditor::AnyObject()
{
    const int numObjects = static_cast<int>(mObjects.size());
    if (numObjects < 6 || Random(numObjects) < 3) {
        return NewObject();
    }
    return mObjects[static_cast<std::size_t>(Random(numObjects))];
}

Object* GraphEditor::AnyObjectOrNull()
{
    return Random(5) == 0 ? nullptr : AnyObject();
}

Value GraphEditor::ValueOf(Value::Type type)
{
    const float x = static_cast<float>(Random(9)) / 4.0f;
    switch (type) {
    case Value::TYPE_INT:
        return Value(Random(5) - 2);
    case Value::TYPE_FLOAT:
        return Random(6) == 0 ? Value(std::numeric_limits<float>::quiet_NaN()) : Value(Random(2) ? x : -0.0f);
    case Value::TYPE_BOOL:
        return Value(Random(2) == 0);
    case Value::TYPE_STRING:
        return Value(AnyName());
    case Value::TYPE_OBJECT:
        return Value(AnyObjectOrNull());
    case Value::TYPE_VECTOR2:
        return Value(Vector2(x, 1.0f));
    case Value::TYPE_VECTOR3:
        return Value(Vector3(x, 1.0f, -x));
    case Value::TYPE_VECTOR4:
        return Value(Vector4(x, 1.0f, -x, 0.0f));
    case Value::TYPE_VECTOR2I:
        return Value(Vector2i(Random(3), -1));
    case Value::TYPE_VECTOR3I:
        return Value(Vector3i(Random(3), -1, 9));
    case Value::TYPE_VECTOR4I:
        return Value(Vector4i(Random(3), -1, 9, 8));
    case Value::TYPE_COLOR:
        return Value(Color(1, 2, static_cast<unsigned char>(Random(256)), 4));
    case Value::TYPE_ENUM:
        return Value(static_cast<Probe::Mood>(Random(2)));
    case Value::TYPE_QUATERNION:
        return Value(Quaternion(0.0f, x, 0.0f, 1.0f));
    default:
        return Value::Null;
    }
}

Value GraphEditor::AnyValue()
{
    return ValueOf(static_cast<Value::Type>(Random(Value::NUM_TYPES)));
}

String GraphEditor::AnyName()
{
    static const char* const names[] = {"a", "b", "c", "Io", "J\xC3\xBCpiter", "x.y", "x[1]"};
    return String(names[Random(7)]);
}

void GraphEditor::Change()
{
    if (mbRootChanges && Random(12) == 0) {
        mpRoot = Random(4) == 0 ? nullptr : AnyObject();
        return;
    }
    const std::vector<Ptr<Object>> reachable = CollectGraph(mpRoot);
    Object* const pObject =
        reachable.empty() || Random(8) == 0
            ? AnyObject()
            : static_cast<Object*>(
                  reachable[static_cast<std::size_t>(Random(static_cast<int>(reachable.size())))]);
    if (Random(4) == 0) {
        ChangeDynamic(pObject);
    } else if (IsTable(pObject)) {
        ChangeTable(pObject);
    } else if (IsList(pObject)) {
        ChangeList(pObject);
    } else if (pObject->IsDerivedType(Probe::ClassTable())) {
        ChangeProbe(static_cast<Probe*>(pObject));
    } else {
        ChangeDynamic(pObject);
    }
}

void GraphEditor::ChangeProbe(Probe* pProbe)
{
    switch (Random(10)) {
    case 0:
        pProbe->mNumber = Random(4);
        break;
    case 1:
        pProbe->mReal = ValueOf(Value::TYPE_FLOAT).Get<float>();
        break;
    case 2:
        pProbe->mText = AnyName();
        break;
    case 3:
        pProbe->mpFriend = AnyObjectOrNull();
        break;
    case 4:
        pProbe->mAny = AnyValue();
        break;
    case 5:
        pProbe->mMood = static_cast<Probe::Mood>(Random(2));
        break;
    case 6:
        ChangeArray(pProbe, "Numbers");
        break;
    case 7:
        ChangeArray(pProbe, "Texts");
        break;
    case 8:
        ChangeArray(pProbe, "Friends");
        break;
    default:
        ChangeArray(pProbe, "Anything");
        break;
    }
    pProbe->mSecret = Random(1000);
}

void GraphEditor::ChangeArray(Object* pObject, const String& name)
{
    Property* const pProperty = pObject->FindProperty(name);
    const int size = pProperty->GetSize(pObject);
    const Value value =
        pProperty->GetType() == Value::TYPE_VALUE ? AnyValue() : ValueOf(pProperty->GetType());
    switch (Random(5)) {
    case 0:
        pProperty->InsertAt(pObject, Random(size + 1), value);
        break;
    case 1:
        if (size > 0) {
            pProperty->SetAt(pObject, Random(size), value);
        }
        break;
    case 2:
        if (size > 0) {
            pProperty->RemoveAt(pObject, Random(size));
        }
        break;
    case 3:
        if (Random(4) == 0) {
            pProperty->Clear(pObject);
        }
        break;
    default:
        pProperty->Insert(pObject, value);
        break;
    }
}

void GraphEditor::ChangeDynamic(Object* pObject)
{
    const String name((std::string("dynamic ") + AnyName().c_str()).c_str());
    Value::Type type = static_cast<Value::Type>(1 + Random(Value::NUM_TYPES - 1));
    if (type == Value::TYPE_VALUE) {
        type = Value::TYPE_OBJECT;
    }
    Property* const pProperty = pObject->FindProperty(name);
    if (pProperty != nullptr && Random(3) == 0) {
        pObject->RemoveProperty(name);
        if (Random(2) == 0) {
            return;
        }
    } else if (pProperty != nullptr) {
        if (pProperty->IsArray()) {
            ChangeArray(pObject, name);
        } else {
            pProperty->Set(pObject, ValueOf(pProperty->GetType()));
        }
        return;
    }
    if (Random(2) == 0) {
        pObject->AddPropertyArray(name, type);
    } else {
        pObject->AddPropertyValueFromValue(name, ValueOf(type));
    }
}

void GraphEditor::ChangeTable(Object* pObject)
{
    Table* const pTable = static_cast<Table*>(pObject);
    if (Random(3) == 0) {
        pTable->Remove(AnyName());
    } else {
        pTable->Insert(AnyName(), AnyObjectOrNull());
    }
}

void GraphEditor::ChangeList(Object* pObject)
{
    List* const pList = static_cast<List*>(pObject);
    switch (Random(5)) {
    case 0:
        pList->InsertAt(Random(pList->GetSize() + 1), AnyObjectOrNull());
        break;
    case 1:
        if (pList->GetSize() > 0) {
            pList->SetAt(Random(pList->GetSize()), AnyObjectOrNull());
        }
        break;
    case 2:
        if (pList->GetSize() > 0) {
            pList->RemoveAt(Random(pList->GetSize()));
        }
        break;
    case 3:
        if (Random(5) == 0) {
            pList->Clear();
        }
        break;
    default:
        pList->Insert(AnyObjectOrNull());
        break;
    }
}
