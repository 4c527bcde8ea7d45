// Compare finds the differences between two graphs: of classes, of properties (names, types, whether dynamic
// or arrays, values to the last bit), of list items in their order, of table entries by name, and of sharing:
// the objects of one graph have to stand for those of the other one to one, however they are reached.
//
//     Compare(first, second, [](const Difference& difference) {
//         ...
//         return true; // go on
//     });
//
// Differences come nearest to the root first. The order of properties and of table entries is no part of a
// graph: no file format promises it.

#pragma once

#include "Graph.h"

#include <functional>
#include <string>

namespace Quirl
{

struct Difference
{
    std::string mPath; // in the first graph, as files write it
    std::string mFirst;
    std::string mSecond;
};

/// Calls `take` for each difference until it answers false. True when there was none.
bool Compare(const Graph& first, const Graph& second, const std::function<bool(const Difference&)>& take);

} // namespace Quirl
