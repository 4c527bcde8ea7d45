#include "QBase/ObjectDiffHandler.h"

#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, ObjectDiffHandler)

void ObjectDiffHandler::Implement()
{
    Describe("Is told of each change that an ObjectDiff finds");
}

} // namespace QBase
