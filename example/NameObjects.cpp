// Tables name objects, tables nest, and a path leads through them.

#include "QBase/Error.h"
#include "QBase/Table.h"
#include "QBase/TablePath.h"

using namespace QBase;

int main()
{
    Ptr<Table> pScene = Table::Construct(Value::Null);
    Ptr<Table> pLights = Table::Construct(Value::Null);
    pScene->Insert("lights", pLights);

    Ptr<TablePath> pPath = TablePath::Construct("lights.lamp");
    pScene->InsertPath(pPath, Object::Construct(Value::Null)); // the table holds it
    Info("%s: %s", pPath->ToString().c_str(), pScene->FindPath(pPath) ? "found" : "missing");
    Info("its name is %s", pLights->GetName(pScene->FindPath(pPath)).c_str());

    Ptr<TablePath> pOther = TablePath::Construct("lights.sun");
    Info("%s: %s", pOther->ToString().c_str(), pScene->FindPath(pOther) ? "found" : "missing");
    Ptr<TablePath> pWind = TablePath::Construct("sounds.wind");
    pScene->InsertPath(pWind, nullptr); // no such table: a report, no change
}
