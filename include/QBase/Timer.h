// Timer measures the time between ticks in whole milliseconds. Each Execute is one tick.
//
//     Ptr<Timer> pTimer = Timer::Construct(Value::Null);
//     while (game.IsRunning()) {
//         pTimer->Execute(Value::Null);
//         game.Advance(pTimer->GetDt());
//     }
//
// The answers change at ticks only. They are differences modulo 2^32 of a clock that wraps around after 49.7
// days, so they stay right across the wrap; beyond 24.8 days the int is negative. A first tick in the very
// millisecond in which the clock reads 0 leaves the timer unstarted, and the next one starts it.
//
// Threads: nothing here locks; whoever shares a timer guards it.

#pragma once

#include "QBase/Object.h"

#include <cstdint>

namespace QBase
{

class QBASE_API Timer : public Object
{
    QBASE_OBJECT(Timer, Object)

public:
    /// One tick. The argument is not used.
    void Execute(const Value& value) override;

    /// Milliseconds from the tick before the latest one to the latest.
    int GetDt() const { return static_cast<int>(mCurrent - mPrevious); }

    /// Milliseconds from the first tick to the latest.
    int GetTime() const { return static_cast<int>(mCurrent - mStart); }

protected:
    explicit Timer(const Value& value);
    Timer(const Timer& other) = default;

private:
    // Readings of the clock, milliseconds.
    std::uint32_t mStart = 0; // 0 before the first tick
    std::uint32_t mCurrent = 0;
    std::uint32_t mPrevious = 0;
};

} // namespace QBase
