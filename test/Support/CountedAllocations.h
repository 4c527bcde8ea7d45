// How often memory was asked for by new, in the tests and in the library that they are linked to. Memory's
// own blocks are not among them.
//
//     const CountedAllocations allocations;
//     pDiff->Execute(Value::Null);
//     EXPECT_EQ(allocations.GetCount(), 0);

#pragma once

#include <cstdint>

class CountedAllocations
{
public:
    CountedAllocations();

    /// Since this was made, on all threads.
    std::int64_t GetCount() const;

private:
    std::int64_t mStart;
};
