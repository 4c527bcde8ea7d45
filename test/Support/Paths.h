// Where a test finds what the build made and what the source tree holds, whatever folder it is run from.
//
//     std::system(BinaryPath("quirl").c_str());
//     std::ifstream scene(SourcePath("example/solar/Solar.QXml"));

#pragma once

#include <string>

/// The path of a program or module of this build.
std::string BinaryPath(const std::string& name);

/// The path of a file of the source tree, named from its root.
std::string SourcePath(const std::string& name);
