// Finds what is not given back: a cycle of references keeps itself alive. A report names its objects and who
// holds whom; the block trace lists every block.

#include "QBase/Error.h"
#include "QBase/LeakReport.h"
#include "QBase/List.h"
#include "QBase/Memory.h"

#include <cstdio>

using namespace QBase;

static int CountObjects()
{
    return static_cast<int>(Memory::GetBlocksAllocated(ALLOC_OBJECT));
}

static List* MakeCycle()
{
    Ptr<List> pFirst = List::Construct(Value::Null);
    Ptr<List> pSecond = List::Construct(Value::Null);
    pFirst->Insert(pSecond);
    pSecond->Insert(pFirst); // each holds the other
    return pFirst;
}

int main()
{
    const int numBefore = CountObjects();
    List* const pFirst = MakeCycle();
    Info("A cycle left %d objects behind", CountObjects() - numBefore);

    LeakReport::Mark(); // begins the block trace
    List* const pSecond = MakeCycle();
    std::fflush(stdout);
    LeakReport().Print(stdout);    // the objects by class, and circles
    Memory::EndBlockTrace(stdout); // a line for each block that is left

    pFirst->Clear(); // whoever makes a cycle takes it apart
    pSecond->Clear();
    Info("Taken apart, %d are left", CountObjects() - numBefore);
}
