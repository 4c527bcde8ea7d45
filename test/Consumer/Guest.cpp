// A module built outside the tree of the library: all that a module needs is in the package.

#include <QBase/Reflection.h>

class Visitor : public QBase::Object
{
    QBASE_OBJECT(Visitor, Object)

protected:
    explicit Visitor(const QBase::Value& name) : mName(name.Get<QBase::String>()) {}

private:
    QBase::String mName;
};

QBASE_IMPLEMENT(Guest, Visitor)

void Visitor::Implement()
{
    AddProperty<&Visitor::mName>("Name");
}
