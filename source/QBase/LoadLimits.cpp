#include "QBase/LoadLimits.h"

#include "QBase/Error.h"

#include <utility>

namespace QBase
{

bool LoadLimits::Set(const String& name, std::int64_t limit)
{
    static constexpr std::pair<const char*, std::int64_t LoadLimits::*> LIMITS[] = {
        {"Bytes", &LoadLimits::mMaxBytes},     {"Objects", &LoadLimits::mMaxObjects},
        {"Nesting", &LoadLimits::mMaxNesting}, {"StringLength", &LoadLimits::mMaxStringLength},
        {"Memory", &LoadLimits::mMaxMemory},   {"MemoryPerByte", &LoadLimits::mMaxMemoryPerByte},
    };
    for (const auto& [pName, pLimit] : LIMITS) {
        if (limit >= 0 && name.buffer_utf8() == pName) {
            this->*pLimit = limit;
            return true;
        }
    }
    Error(QBASE_HERE, "Failed to set limit '%s' to %lld - %s", name.c_str(), static_cast<long long>(limit),
          limit < 0 ? "it is below 0" : "there is no such limit");
    return false;
}

} // namespace QBase
