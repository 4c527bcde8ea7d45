// How much a test does. Some have a short form for every landing and a whole one, of minutes, for
// `./check --all`, which sets QBASE_WHOLE_TESTS.
//
//     for (int seed = 1; seed <= Effort(10, 200); ++seed)

#pragma once

#include <cstdlib>

inline bool IsWholeEffort()
{
    static const bool sbWhole = std::getenv("QBASE_WHOLE_TESTS") != nullptr;
    return sbWhole;
}

inline int Effort(int usual, int whole)
{
    return IsWholeEffort() ? whole : usual;
}
