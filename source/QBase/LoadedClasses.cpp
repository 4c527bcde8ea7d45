#include "QBase/LoadedClasses.h"

#include "QBase/List.h"
#include "QBase/Table.h"

namespace QBase
{

namespace
{

// A file lists what a table holds chain by chain, front to back. Added in that order, each pair to the front,
// the chains are the other way round; a table that is filled anew reverses them once more.
void ReverseChains(Table* pTable)
{
    pTable->Resize(pTable->GetTableSize());
}

} // namespace

LoadedClass::LoadedClass(Object* pObject)
    : mpTable(pObject->GetClassTable()), mbTable(pObject->IsDerivedType(Table::ClassTable())),
      mbList(pObject->IsDerivedType(List::ClassTable())),
      mbOwnEntries(pObject->IsDerivedType(ClassInfoTable::ClassTable()))
{}

LoadedContents::LoadedContents(Object* pObject, const LoadedClass& loadedClass)
    : mpObject(pObject), mbTable(loadedClass.mbTable && !loadedClass.mbOwnEntries),
      mbOwnProperties(pObject->GetInstanceTable() != nullptr)
{
    if (mbTable) {
        static_cast<Table*>(pObject)->Clear();
    } else if (loadedClass.mbList) {
        static_cast<List*>(pObject)->Clear();
    }
}

void LoadedContents::Finish()
{
    if (mbTable) {
        ReverseChains(static_cast<Table*>(mpObject));
    }
    if (!mbOwnProperties && mpObject->GetInstanceTable() != nullptr) {
        ReverseChains(mpObject->GetInstanceTable());
    }
}

} // namespace QBase
