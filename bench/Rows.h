// What the benchmark programs have in common: an entry of the report is an area, a row (the work) and a
// participant (who does it), which is also the name of the benchmark: "properties/read by name/QBase".
//
//     const bool sbEntered = [] {
//         Area area("properties");
//         area.Enter("read by name", "QBase", Read<QBaseByName>);
//         area.Enter("read by name", "RTTR", Read<RttrByName>);
//         area.Enter("read by name", "bound", Read<Bound>); // the limit: code written for this row alone
//         return true;
//     }();
//
// All participants of an area are measured in one process, their repetitions interleaved (see `run`). Peers
// that are not installed have no entries. Who sets a number of items tells the time of one item.

#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

namespace Bench
{

class Area
{
public:
    explicit Area(std::string name) : mName(std::move(name)) {}

    /// Enters a participant in a row. The body takes a benchmark::State, then `args`.
    template <typename Body, typename... Args>
    benchmark::internal::Benchmark* Enter(const std::string& row, const char* pParticipant, Body body,
                                          Args... args) const
    {
        return benchmark::RegisterBenchmark((mName + "/" + row + "/" + pParticipant).c_str(),
                                            [=](benchmark::State& state) { body(state, args...); });
    }

private:
    std::string mName;
};

/// Says that each iteration did `count` times the work of the row.
inline void CountItems(benchmark::State& state, std::int64_t count)
{
    state.SetItemsProcessed(state.iterations() * count);
}

} // namespace Bench
