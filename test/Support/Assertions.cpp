#include "Support/Assertions.h"

#include "QBase/ErrorHooks.h"

#include <atomic>

namespace
{

std::atomic<int> g_ResumedAssertions{0};

} // namespace

ResumedAssertions::ResumedAssertions()
{
    g_ResumedAssertions = 0;
    QBase::SetBreakHook([] { ++g_ResumedAssertions; });
}

ResumedAssertions::~ResumedAssertions()
{
    QBase::SetBreakHook(nullptr);
}

int ResumedAssertions::GetCount() const
{
    return g_ResumedAssertions;
}
