#include "QBase/TablePath.h"

#include "QBase/Reflection.h"

#include <string>
#include <string_view>

namespace QBase
{

QBASE_IMPLEMENT(QBase, TablePath)

void TablePath::Implement()
{
    Describe("The way through tables to an object, name by name");
    AddFunction<&TablePath::AddNode>("AddNode");
    AddFunction<&TablePath::FromString>("FromString");
    AddFunction<&TablePath::GetName>("GetName");
    AddFunction<&TablePath::ToString>("ToString");
}

TablePath::TablePath(const Value& value)
{
    if (value.GetType() == Value::TYPE_STRING) {
        FromString(value.AsString());
    }
}

TablePath::TablePath(const TablePath& other) : Object(other)
{
    CopyNodes(other);
}

TablePath& TablePath::operator=(const TablePath& other)
{
    if (this != &other) {
        mNodes.Clear();
        CopyNodes(other);
    }
    return *this;
}

void TablePath::FromString(const String& text)
{
    const String kept = text; // the text may live in a node
    mNodes.Clear();
    const std::string_view view(kept.c_str(), kept.size());
    std::size_t end = view.size();
    for (std::size_t i = view.size(); i-- > 1;) { // the first byte is never a separator
        if (view[i] == '.') {
            mNodes.Insert(String(std::string(view.substr(i + 1, end - i - 1)).c_str()));
            end = i;
        }
    }
    mNodes.Insert(String(std::string(view.substr(0, end)).c_str()));
}

String TablePath::ToString()
{
    std::string text;
    bool bFirst = true;
    for (const String& name : mNodes) {
        if (!bFirst) {
            text += '.';
        }
        bFirst = false;
        text.append(name.c_str(), name.size());
    }
    return String(text.c_str());
}

void TablePath::AddNode(const String& name)
{
    mNodes.Add(name);
}

const String& TablePath::GetName() const
{
    const String* pName = &String::Null;
    for (const String& name : mNodes) {
        pName = &name;
    }
    return *pName;
}

TablePath* TablePath::Copy()
{
    TablePath* const pCopy = Construct(Value::Null);
    if (pCopy != nullptr) {
        pCopy->CopyNodes(*this); // not by way of the text, which would cut a name at its dots
        CopyTo(pCopy);
    }
    return pCopy;
}

// Nodes of its own: a copied list would share them.
void TablePath::CopyNodes(const TablePath& other)
{
    LinkedList<String> reversed;
    for (const String& name : other.mNodes) {
        reversed.Insert(name);
    }
    for (const String& name : reversed) {
        mNodes.Insert(name);
    }
}

} // namespace QBase
