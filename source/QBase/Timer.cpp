#include "QBase/Timer.h"

#include "QBase/Platform/Platform.h"
#include "QBase/Reflection.h"
#include "QBase/TimerClock.h"

namespace QBase
{

namespace
{

ClockHook g_pClockHook = nullptr;

std::uint32_t ReadClock()
{
    return g_pClockHook != nullptr ? g_pClockHook() : Platform::Milliseconds();
}

} // namespace

QBASE_IMPLEMENT(QBase, Timer)

void Timer::Implement()
{
    Describe("Tells the time since it was made, and since it was last asked, in milliseconds");
    AddFunction<&Timer::GetDt>("GetDt");
    AddFunction<&Timer::GetTime>("GetTime");
}

Timer::Timer(const Value&)
{}

void Timer::Execute(const Value&)
{
    if (mStart == 0) {
        mStart = mCurrent = mPrevious = ReadClock();
        return;
    }
    mPrevious = mCurrent;
    mCurrent = ReadClock();
}

void SetClockHook(ClockHook pHook)
{
    g_pClockHook = pHook;
}

} // namespace QBase
