// Output writes to standard output and notices when that fails, a full disk for example.
//
//     Output output;
//     output.Write("digraph {\n");
//     output.Finish(); // throws Trouble when something did not arrive
//
// Json is a JSON document that keeps the order of its members and writes a float with as many digits as it
// needs.

#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Quirl
{

using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, std::int64_t,
                                  std::uint64_t, float>;

class Output
{
public:
    Output();
    void Write(std::string_view text);
    void WriteLine(std::string_view text);
    void Finish();
};

} // namespace Quirl
