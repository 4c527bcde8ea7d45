// InterlockedInt is an integer that several threads count up and down. The reference count of every
// Object is one.
//
//     InterlockedInt users(0);
//     users.Increment();           // 1
//     if (users.Decrement() == 0)  // act on the result: a second read could see another thread's change
//         Close();
//
// A copy takes the value of the moment and counts on its own.
//
// Threads: every operation is atomic. Whoever sees a Decrement's result also sees what the other threads
// wrote before their own Decrement.

#pragma once

#include <atomic>

namespace QBase
{

class InterlockedInt
{
public:
    constexpr explicit InterlockedInt(int value = 0) noexcept : mValue(value) {}
    InterlockedInt(const InterlockedInt& other) noexcept : mValue(other.Value()) {}

    InterlockedInt& operator=(const InterlockedInt& other) noexcept
    {
        mValue.store(other.Value(), std::memory_order_relaxed);
        return *this;
    }

    /// Adds one and returns the new value. Wraps around past INT_MAX.
    int Increment() noexcept { return AfterAdding(mValue.fetch_add(1, std::memory_order_acq_rel), 1u); }

    /// Subtracts one and returns the new value. Wraps around past INT_MIN.
    int Decrement() noexcept { return AfterAdding(mValue.fetch_sub(1, std::memory_order_acq_rel), ~0u); }

    /// Subtracts one, unless that would leave nothing; answers whether it did. For counts of which only the
    /// last reference needs a lock.
    bool DecrementUnlessLast() noexcept
    {
        int value = mValue.load(std::memory_order_relaxed);
        while (value > 1) {
            if (mValue.compare_exchange_weak(value, value - 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    /// Adds one, unless nothing is left; answers whether it did. For those who find an object that its last
    /// holder may just be dropping.
    bool IncrementUnlessZero() noexcept
    {
        int value = mValue.load(std::memory_order_relaxed);
        while (value != 0) {
            if (mValue.compare_exchange_weak(value, value + 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    /// The number as it stands now; other threads may change it at once.
    int Value() const noexcept { return mValue.load(std::memory_order_relaxed); }

private:
    static int AfterAdding(int before, unsigned step) noexcept
    {
        return static_cast<int>(static_cast<unsigned>(before) + step);
    }

    std::atomic<int> mValue;
};

static_assert(sizeof(InterlockedInt) == 4);

} // namespace QBase
