// Leaves two lists behind that hold each other. With --report it runs itself again with the wish for a report
// in the environment, which the library reads while it loads.

#include "QBase/List.h"

#include <cstdlib>
#include <cstring>
#include <string>

using namespace QBase;

namespace
{

Ptr<List> g_pStatic;              // gone before the report
Object* volatile g_pSeenByOthers; // borrowed: leaves the circle to this library's report alone

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--report") == 0) {
#ifdef _WIN32
        _putenv("QBASE_REPORT_LEAKS=1");
#else
        setenv("QBASE_REPORT_LEAKS", "1", 1);
#endif
        return std::system(("\"" + std::string(argv[0]) + "\"").c_str());
    }
    g_pStatic = List::Construct(Value::Null);
    const Ptr<List> pOne = List::Construct(Value::Null);
    const Ptr<List> pTwo = List::Construct(Value::Null);
    pOne->Insert(pTwo);
    pTwo->Insert(pOne);
    g_pSeenByOthers = pOne;
    return 0;
}
