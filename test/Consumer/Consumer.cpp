// A user of the installed package: compiles against its headers, runs against its library, loads a module
// that was built outside the library's tree, and fails when what it gets is not what it asked for.

#include <QBase/Global.h>
#include <QBase/Object.h>
#include <QBase/Property.h>
#include <QBase/Vector3.h>

#include <cstdio>

namespace
{

// What the package's library and the module next to this program make of "Guest.Visitor".
bool VisitorHasName(const QBase::String& name)
{
    const QBase::Ptr<QBase::Object> pVisitor = QBase::Construct("Guest", "Visitor", name);
    QBase::Property* pName = pVisitor ? pVisitor->FindProperty("Name") : nullptr;
    return pName && pName->Get(pVisitor).Get<QBase::String>() == name;
}

} // namespace

int main()
{
    const QBase::Vector3 up = QBase::Vector3::UnitX().Cross(QBase::Vector3::UnitY());
    if (up.z != 1 || !QBase::LoadModule("Guest") || !VisitorHasName("Ada")) {
        std::puts("The installed QBase does not answer as it should");
        return 1;
    }
    std::puts("The installed QBase loaded the module and made its object");
}
