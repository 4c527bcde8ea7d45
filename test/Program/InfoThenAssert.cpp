// Reports and then fails an assertion, to show that a pipe receives both.

#include "QBase/Error.h"

int main()
{
    QBase::Info("first");
    QBASE_ASSERT_TEXT(false, "Unit", 7, "ASSERT( second )");
    return 0;
}
