// Access and Release on null answer null, and the caller may still test its pointers afterwards. Compilers
// take a call as proof that the pointer is not null unless the library's users are told otherwise.

#include "QBase/ClassInfoTable.h"
#include "QBase/Function.h"

using namespace QBase;

namespace
{

template <typename T>
QBASE_NOINLINE bool IsNullAllTheWay(T* pObject)
{
    if (pObject->Access() != nullptr || pObject->Release() != nullptr) {
        return false;
    }
    return pObject == nullptr;
}

} // namespace

int main(int argumentCount, char**)
{
    // Nothing that a compiler could know.
    Object* const pObject = argumentCount == 1 ? nullptr : Object::Construct(Value::Null);
    return IsNullAllTheWay(pObject) && IsNullAllTheWay(static_cast<ClassInfoTable*>(pObject)) &&
                   IsNullAllTheWay(static_cast<Function*>(pObject))
               ? 0
               : 1;
}
