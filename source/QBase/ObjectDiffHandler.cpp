#include "QBase/ObjectDiffHandler.h"

#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, ObjectDiffHandler)

void ObjectDiffHandler::Implement()
{}

} // namespace QBase
