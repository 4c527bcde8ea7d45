// The allocator, the counters and the locks, linked with the platform and nothing else of the library. What
// they call upward, the reports of misuse, is written to the standard output here.

#include "QBase/Allocator.h"
#include "QBase/CriticalSection.h"
#include "QBase/Error.h"
#include "QBase/InterlockedInt.h"
#include "QBase/Memory.h"

#include <cstdarg>
#include <cstdio>
#include <thread>

namespace QBase
{

void Error(const char* pFile, int, const char* pFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, pFormat);
    std::printf("%s: ", pFile);
    std::vprintf(pFormat, arguments);
    std::printf("\n");
    va_end(arguments);
}

void AssertFail(const char* pFile, int line, const char* pText)
{
    Error(pFile, line, "%s", pText);
}

} // namespace QBase

using namespace QBase;

namespace
{

bool WorksWithMemory()
{
    void* const pBlock = Memory::Alloc(100, ALLOC_OBJECT, QBASE_HERE, true);
    const bool bCounted = Memory::GetBytesAllocated(ALLOC_OBJECT) == 100;
    Memory::Free(pBlock, false); // reports, and keeps the block
    Memory::Free(pBlock, true);
    const NarrowString text(1000, 'x');
    return bCounted && Memory::GetTotalBlocksAllocated() == 1 &&
           Memory::GetBytesAllocated(ALLOC_STRING) > 1000;
}

bool WorksWithThreads()
{
    CriticalSection section;
    InterlockedInt rounds;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 10000; ++i) {
            const CriticalSection::Block block(&section);
            ++count;
            rounds.Increment();
        }
    };
    std::thread other(work);
    work();
    other.join();
    section.Exit(); // reports
    return count == 20000 && rounds.Value() == 20000;
}

} // namespace

int main()
{
    const bool bWorks = WorksWithMemory() && WorksWithThreads() && Memory::GetTotalBlocksAllocated() == 0;
    std::printf("%s\n", bWorks ? "works alone" : "fails");
    return bWorks ? 0 : 1;
}
