// A module that goes by a name that another one has.

#include "QBase/Reflection.h"

using namespace QBase;

namespace
{

class Buoy : public Object
{
    QBASE_OBJECT(Buoy, Object)

protected:
    using Object::Object;
};

QBASE_IMPLEMENT(QNet, Buoy)

void Buoy::Implement()
{}

} // namespace
