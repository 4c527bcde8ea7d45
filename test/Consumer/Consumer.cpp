// A user of the installed package: compiles against its headers, runs against its library, loads a module
// that was built outside the library's tree, and fails when what it gets is not what it asked for. It names
// no class of the library that it constructs, and none of the modules: where all of them are static, nothing
// but their registrars brings them into the program.

#include <QBase/Array.h>
#include <QBase/Global.h>
#include <QBase/HashTable.h>
#include <QBase/LinkedList.h>
#include <QBase/Object.h>
#include <QBase/Property.h>
#include <QBase/Vector3.h>

#include <cstdio>
#include <initializer_list>

namespace
{

// What the package's library and the module next to this program make of "Guest.Visitor".
bool VisitorHasName(const QBase::String& name)
{
    const QBase::Ptr<QBase::Object> pVisitor = QBase::Construct("Guest", "Visitor", name);
    QBase::Property* pName = pVisitor ? pVisitor->FindProperty("Name") : nullptr;
    return pName && pName->Get(pVisitor).Get<QBase::String>() == name;
}

// Whether the module has the classes, and objects of them can be made.
bool HasClasses(const char* pModule, std::initializer_list<const char*> classes)
{
    for (const char* pClass : classes) {
        if (!QBase::LoadModule(pModule) || !QBase::Construct(pModule, pClass)) {
            return false;
        }
    }
    return true;
}

// The containers that the library instantiates for its users hold what they are given, however this program
// is optimised.
bool ContainersHold(const QBase::Ptr<QBase::Object>& pObject)
{
    QBase::Array<QBase::Ptr<QBase::Object>> objects;
    objects.Insert(pObject);
    QBase::HashTable<QBase::Ptr<QBase::Object>> table(7);
    table.Insert("object", pObject);
    QBase::LinkedList<QBase::Ptr<QBase::Object>> list;
    list.Insert(pObject);
    QBase::LinkedList<QBase::String> names;
    names.Insert("object");
    const QBase::Ptr<QBase::Object>* pFound = table.Find("object");
    return pObject && objects[0] == pObject && pFound && *pFound == pObject && *list.begin() == pObject &&
           *names.begin() == QBase::String("object");
}

} // namespace

int main()
{
    const QBase::Vector3 up = QBase::Vector3::UnitX().Cross(QBase::Vector3::UnitY());
    if (up.z != 1 || !QBase::LoadModule("Guest") || !VisitorHasName("Ada") ||
        !ContainersHold(QBase::Construct("QBase", "Object")) ||
        !HasClasses("QBase",
                    {"Object", "Table", "List", "Timer", "MemoryFile", "FileSerializer", "ObjectDiff"}) ||
        !HasClasses("QNet", {"Node", "TcpServer"})) {
        std::puts("The installed QBase does not answer as it should");
        return 1;
    }
    std::puts("The installed QBase loaded the module and made its object");
}
