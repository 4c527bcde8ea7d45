#include "Limits.h"

#include "Report.h"
#include "Text.h"

#include <charconv>
#include <cstdint>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char LIMIT_NAMES[] = "Bytes, Objects, Nesting, StringLength, Memory or MemoryPerByte";

void SetLimit(LoadLimits& rLimits, const std::string& text)
{
    const std::size_t sign = text.find('=');
    std::int64_t limit = -1;
    if (sign != text.npos) {
        const char* const pEnd = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data() + sign + 1, pEnd, limit);
        limit = result.ptr == pEnd && result.ec == std::errc() ? limit : -1;
    }
    const Messages unheard;
    if (!rLimits.Set(text.substr(0, sign).c_str(), limit)) {
        throw Trouble("Failed to set the limit " + Quote(text) + " - it is no NAME=N, where NAME is " +
                      LIMIT_NAMES + "; write --limit Objects=10000, for example");
    }
}

} // namespace

void AddLimitOptions(const Command& command, LimitOptions& rOptions)
{
    command
        .AddRepeatable("--limit", rOptions.mLimits,
                       std::string("Refuse what is over this limit (repeatable): ") + LIMIT_NAMES)
        .SetTypeName("NAME=N");
    command
        .AddRepeatable("--allow-class", rOptions.mClasses,
                       "Make objects of this class, and of no others but those given (repeatable)")
        .SetTypeName("MODULE.CLASS");
}

LoadLimits MakeLimits(const LimitOptions& options)
{
    LoadLimits limits;
    limits.mbTrusted = options.mbTrusted;
    for (const std::string& text : options.mLimits) {
        SetLimit(limits, text);
    }
    for (const std::string& name : options.mClasses) {
        limits.mClasses.emplace_back(name.c_str());
    }
    return limits;
}

} // namespace Quirl
