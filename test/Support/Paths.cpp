#include "Support/Paths.h"

std::string BinaryPath(const std::string& name)
{
    return std::string(QBASE_TEST_BINARY_FOLDER "/") + name;
}

std::string SourcePath(const std::string& name)
{
    return std::string(QBASE_TEST_SOURCE_FOLDER "/") + name;
}
