// Feeds files to a fuzzing target, one after the other: the main function of targets that replay. Arguments
// are files and folders.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size);

namespace
{

std::vector<std::filesystem::path> FilesAt(const char* pPath)
{
    if (!std::filesystem::is_directory(pPath)) {
        return {pPath};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(pPath)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool Replay(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "%s cannot be read\n", path.string().c_str());
        return false;
    }
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::printf("%s\n", path.string().c_str());
    std::fflush(stdout); // names the input that stops the program
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argumentCount, char** ppArguments)
{
    int numReplayed = 0;
    for (int i = 1; i < argumentCount; ++i) {
        for (const std::filesystem::path& path : FilesAt(ppArguments[i])) {
            if (!Replay(path)) {
                return 1;
            }
            ++numReplayed;
        }
    }
    std::printf("%d inputs replayed\n", numReplayed);
    return numReplayed > 0 ? 0 : 1;
}
