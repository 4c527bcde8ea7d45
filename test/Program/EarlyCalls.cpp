// A static object uses the registry before main, and before the classes of this program are registered.

#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Reflection.h"

#include <cstdio>

using namespace QBase;

namespace
{

bool g_bWorked = [] {
    const Ptr<Object> pList = Construct("QBase", "List");
    return pList != nullptr && pList->IsExactType(List::ClassTable()) && LoadModule("QBase") != nullptr &&
           GetModuleTable()->Find("Program") == nullptr;
}();

class Late : public Object
{
    QBASE_OBJECT(Late, Object)

protected:
    using Object::Object;
};

QBASE_IMPLEMENT(Program, Late)

void Late::Implement()
{}

} // namespace

int main()
{
    std::puts(g_bWorked && Construct("Program", "Late") != nullptr ? "worked" : "failed");
    return 0;
}
