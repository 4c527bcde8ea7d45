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

/// While one lives, new finds no memory on this thread `number` times, after it did `after` times.
class FailingNew
{
public:
    explicit FailingNew(int number, int after = 0);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    bool HasFailed() const;
};
