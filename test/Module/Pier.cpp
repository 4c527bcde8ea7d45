// A module with a property of an enumeration that another module names.

#include "Cargo.h"

#include "QBase/Reflection.h"

using namespace QBase;

namespace
{

class Crane : public Object
{
    QBASE_OBJECT(Crane, Object)

protected:
    using Object::Object;

private:
    Cargo mCargo = Cargo::NONE;
};

QBASE_IMPLEMENT(Pier, Crane)

void Crane::Implement()
{
    AddProperty<&Crane::mCargo>("Cargo");
}

} // namespace
