// An inspector: shows any object of any class by what its class says of it.

#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/StringConverter.h"
#include "QBase/Table.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace QBase;

// The same goes on for every type of value.
static String ToText(const Value& value)
{
    switch (value.GetType()) {
    case Value::TYPE_INT:
        return StringConverter<int>::ToString(value.Get<int>());
    case Value::TYPE_FLOAT:
        return StringConverter<float>::ToString(value.Get<float>());
    case Value::TYPE_BOOL:
        return StringConverter<bool>::ToString(value.Get<bool>());
    case Value::TYPE_STRING:
        return value.AsString();
    case Value::TYPE_OBJECT:
        return value.AsObject() != nullptr ? value.AsObject()->GetClassName() : String("nobody");
    case Value::TYPE_VOID:
        return "nothing";
    default:
        return "?";
    }
}

static void Show(Object* pObject)
{
    Info("%s.%s", pObject->GetModuleName().c_str(), pObject->GetClassName().c_str());
    std::vector<std::string> lines;
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        std::string line = std::string("  ") + entry.mName.c_str();
        if (entry.mbArray) {
            line += ": " + std::to_string(entry.mpProperty->GetSize(pObject)) + " elements";
        } else {
            line += std::string(" = ") + ToText(entry.mpProperty->Get(pObject)).c_str();
        }
        lines.push_back(line + (entry.mpProperty->IsDynamic() ? " (of this object alone)" : ""));
    }
    std::sort(lines.begin(), lines.end()); // their own order is that of a hash table
    for (const std::string& line : lines) {
        Info("%s", line.c_str());
    }
}

int main()
{
    Ptr<Object> pExecutor = Construct("QBase", "ThreadExecutor");
    pExecutor->FindProperty("Sleep")->Set(pExecutor, 25);
    pExecutor->AddPropertyValueFromValue("Owner", "Ada");
    pExecutor->AddPropertyArray("Times", Value::TYPE_FLOAT)->Insert(pExecutor, 0.5f);
    Show(pExecutor);
}
