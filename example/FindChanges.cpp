// A journal of what changes in a graph: the difference engine compares it with how it stood before. Nothing
// is hooked into the objects.

#include "QBase/Error.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

using namespace QBase;

class Journal : public ObjectDiffHandler
{
    QBASE_OBJECT(Journal, ObjectDiffHandler)

protected:
    explicit Journal(const Value&) {}

private:
    void OnNewRoot(Object*) override { Info("another root"); }
    void OnAddObject(Object* pObject) override { Info("+ %s", pObject->GetClassName().c_str()); }
    void OnRemoveObject(Object* pObject) override { Info("- %s", pObject->GetClassName().c_str()); }
    void OnAddPropertyValue(Object*, const String& name, const Value&) override
    {
        Info("+ %s", name.c_str());
    }
    void OnModifyPropertyValue(Object*, const String& name, const Value& now, const Value& before) override
    {
        Info("%s is %d and was %d", name.c_str(), now.Get<int>(), before.Get<int>());
    }
    void OnRemovePropertyValue(Object*, const String& name, const Value&) override
    {
        Info("- %s", name.c_str());
    }
    void OnAddTableChild(Table*, const String& name, Object*) override { Info("+ entry %s", name.c_str()); }
    void OnModifyTableChild(Table*, const String& name, Object*, Object*) override
    {
        Info("~ entry %s", name.c_str());
    }
    void OnRemoveTableChild(Table*, const String& name) override { Info("- entry %s", name.c_str()); }
    // This graph has no arrays and no lists.
    void OnAddPropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddPropertyArrayElement(Object*, const String&, int, const Value&) override {}
    void OnModifyPropertyArrayElement(Object*, const String&, int, const Value&, const Value&) override {}
    void OnDownsizePropertyArray(Object*, const String&, int, Value::Type) override {}
    void OnRemovePropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddListChild(List*, int, Object*) override {}
    void OnModifyListChild(List*, int, Object*, Object*) override {}
    void OnDownsizeList(List*, int) override {}
};

QBASE_IMPLEMENT(FindChanges, Journal)

void Journal::Implement()
{}

int main()
{
    Ptr<Table> pScene = Table::Construct(Value::Null);
    Ptr<Object> pLamp = Object::Construct(Value::Null);
    Property* pWatts = pLamp->AddPropertyValueFromValue("Watts", 40);
    pScene->Insert("lamp", pLamp);

    Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
    Ptr<Journal> pJournal = Journal::Construct(Value::Null);
    pDiff->SetRoot(pScene);
    pDiff->Execute(Value::Null); // how it stands now, silently

    pWatts->Set(pLamp, 60);
    pScene->Insert("second lamp", Object::Construct(Value::Null));
    pDiff->Execute(Value(pJournal));
    Info("--");
    pScene->Remove("lamp");
    pDiff->Execute(Value(pJournal));
}
