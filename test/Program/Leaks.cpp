// Leaves two lists behind that hold each other. With --report it runs itself again with the wish for a report
// in the environment, which the library reads while it loads; what stands behind --report goes to that run.
// "mark" sets a mark of the program's own behind the lists, "end" ends the trace.

#include "QBase/LeakReport.h"
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
        return std::system(("\"" + std::string(argv[0]) + "\" " + (argc > 2 ? argv[2] : "")).c_str());
    }
    g_pStatic = List::Construct(Value::Null);
    const Ptr<List> pOne = List::Construct(Value::Null);
    const Ptr<List> pTwo = List::Construct(Value::Null);
    pOne->Insert(pTwo);
    pTwo->Insert(pOne);
    g_pSeenByOthers = pOne;
    const std::string wish = argc > 1 ? argv[1] : "";
    if (wish == "mark") {
        LeakReport::Mark();
    } else if (wish == "end") {
        LeakReport::EndTrace();
    }
    return 0;
}
