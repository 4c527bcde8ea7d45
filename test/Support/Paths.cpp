#include "Support/Paths.h"

#include <filesystem>

namespace
{

// Shells take a path only with the separators of their own system, and a program that runs elsewhere needs
// the drive as well.
std::string PathIn(const char* pFolder, const std::string& name)
{
    return std::filesystem::absolute(std::filesystem::path(pFolder) / name).make_preferred().string();
}

} // namespace

std::string BinaryPath(const std::string& name)
{
    return PathIn(QBASE_TEST_BINARY_FOLDER, name);
}

std::string SourcePath(const std::string& name)
{
    return PathIn(QBASE_TEST_SOURCE_FOLDER, name);
}
