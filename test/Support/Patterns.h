// Regular expressions for texts, the same on every system: those of GoogleTest know no brackets where the
// system has no expressions of its own.
//
//     EXPECT_THAT(messages.TakeError(), MatchesPattern("ERROR: Table \\(line [0-9]+\\): .+"));

#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

MATCHER_P(MatchesPattern, pattern, "matches \"" + std::string(pattern) + "\"")
{
    return std::regex_match(std::string(arg), std::regex(std::string(pattern), std::regex::extended));
}

MATCHER_P(ContainsPattern, pattern, "contains \"" + std::string(pattern) + "\"")
{
    return std::regex_search(std::string(arg), std::regex(std::string(pattern), std::regex::extended));
}
