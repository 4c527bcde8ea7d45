// Saves a graph as XML and in the binary format, loads both and compares. A name leads to the old file until
// the new one is whole.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/FileReplacement.h"
#include "QBase/FileSerializer.h"
#include "QBase/List.h"
#include "QBase/Property.h"

using namespace QBase;

static bool Save(Object* pGraph, const Ptr<Serializer>& pSerializer, const char* pPath)
{
    FileReplacement replacement(pPath);
    return replacement.GetFile() && pSerializer->Serialize(pGraph, replacement.GetFile()) &&
           replacement.Commit();
}

static Ptr<Object> Load(const char* pPath)
{
    Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    return pLoader->Deserialize(pPath).AsObject(); // null, after a report, when that fails
}

int main()
{
    Ptr<List> pGraph = List::Construct(Value::Null);
    Ptr<Object> pShared = Object::Construct(Value::Null);
    pShared->AddPropertyValueFromValue("Label", "shared");
    pGraph->Insert(pShared);
    pGraph->Insert(pShared); // the same object twice
    pGraph->Insert(pGraph);  // and a cycle

    Save(pGraph, AsciiSerializer::Construct(Value::Null), "graph.QXml"); // "QXml" in a path means XML
    Save(pGraph, BinarySerializer::Construct(Value::Null), "graph.qobj");

    for (const char* pPath : {"graph.QXml", "graph.qobj"}) {
        Ptr<Object> pLoaded = Load(pPath);
        List* pList = static_cast<List*>(static_cast<Object*>(pLoaded));
        Info("%s: %d items, the first two are %s, the last is %s", pPath, pList->GetSize(),
             pList->GetAt(0) == pList->GetAt(1) ? "one object" : "two objects",
             pList->GetAt(2) == pList ? "the list" : "something else");
        Info("%s", pList->GetAt(0)->FindProperty("Label")->Get(pList->GetAt(0)).AsString().c_str());
        pList->Clear(); // a cycle keeps itself alive
    }
    pGraph->Clear();
    return Load("missing.QXml") ? 1 : 0;
}
