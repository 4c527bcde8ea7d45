#include "Support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{

// The system's own form of a path in UTF-8.
std::filesystem::path SystemPath(const std::string& path)
{
    return std::filesystem::path(std::u8string(path.begin(), path.end()));
}

} // namespace

TempFolder::TempFolder()
{
    // Creating answers false for a folder that is there already, of another test or an earlier run.
    int number = 0;
    do {
        mPath = testing::TempDir() + "QBase-" + std::to_string(number++);
    } while (!std::filesystem::create_directory(mPath));
}

TempFolder::~TempFolder()
{
    std::error_code error; // what cannot be deleted is left to the system
    std::filesystem::remove_all(mPath, error);
}

QBase::String TempFolder::Path(const char* pName) const
{
    return QBase::String((*pName != '\0' ? mPath + "/" + pName : mPath).c_str());
}

QBase::String TempFolder::Write(const char* pName, const std::string& bytes) const
{
    std::ofstream file(SystemPath(mPath + "/" + pName), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.good());
    return Path(pName);
}

std::string TempFolder::Read(const char* pName) const
{
    std::ifstream file(SystemPath(mPath + "/" + pName), std::ios::binary);
    EXPECT_TRUE(file.good());
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}
