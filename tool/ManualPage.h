// ManualPage makes the manual page of the tool from what the command line says of itself, so that the two
// cannot differ.
//
//     std::cout << MakeManualPage(app); // for man, in the language of troff

#pragma once

#include <string>

namespace CLI
{
class App;
}

namespace Quirl
{

/// The page of the program with all its commands, their arguments and options and what stands below their
/// help.
std::string MakeManualPage(const CLI::App& app);

} // namespace Quirl
