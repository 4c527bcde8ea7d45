// What Memory's block trace knows beyond its own report.
//
//     const std::uint64_t mark = BlockTrace::GetMark();
//     ...
//     for (Object* pObject : BlockTrace::GetObjects(mark)) // the live ones since then, in the order of their
//     making
//
// Threads: as the trace: while no other thread allocates.

#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace QBase
{

class Object;

namespace BlockTrace
{

bool IsRunning();

/// Where the next block will stand in the order of allocation.
std::uint64_t GetMark();

/// The live objects in traced blocks, each with its place in the order of allocation, in that order.
std::vector<std::pair<std::uint64_t, Object*>> GetObjects();

} // namespace BlockTrace

} // namespace QBase
