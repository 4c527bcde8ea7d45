// The platform's fibers as they are built where Boost.Context is missing.

#include "QBase/Platform/Platform.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

using namespace QBase;

namespace
{

Platform::Fiber* g_pThread = nullptr;
Platform::Fiber* g_pOther = nullptr;
std::string g_Caught;
int g_NumDestroyed = 0;

struct Counter
{
    ~Counter() { ++g_NumDestroyed; }
};

void ThrowAcrossASwitch()
{
    try {
        try {
            throw std::runtime_error("of the fiber");
        } catch (const std::runtime_error&) {
            Platform::SwitchFiber(g_pOther, g_pThread);
            throw;
        }
    } catch (const std::runtime_error& error) {
        g_Caught = error.what();
    }
}

// The parameter counts the switches.
void Run(void* pParameter)
{
    const Counter counter; // its fiber is deleted while it is suspended
    ThrowAcrossASwitch();
    for (;;) {
        ++*static_cast<int*>(pParameter);
        Platform::SwitchFiber(g_pOther, g_pThread);
    }
}

} // namespace

int main()
{
    int numSwitches = 0;
    g_pThread = Platform::ConvertThreadToFiber();
    g_pOther = Platform::CreateFiber(Run, 0, &numSwitches);
    Platform::SwitchFiber(g_pThread, g_pOther);
    const bool bOwnExceptions = std::current_exception() == nullptr;
    for (int i = 0; i < 50000; ++i) {
        Platform::SwitchFiber(g_pThread, g_pOther);
    }
    Platform::DeleteFiber(g_pOther);
    Platform::ConvertFiberToThread(g_pThread);

    std::printf("%d switches there and back, %s, %d destroyed, caught '%s'\n", numSwitches,
                bOwnExceptions ? "exceptions apart" : "exceptions mixed", g_NumDestroyed, g_Caught.c_str());
    return 0;
}
