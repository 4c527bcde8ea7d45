// The layers of docs/Architecture.md against the includes of the sources.

#include "Support/ChildProcess.h"
#include "Support/Paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

using testing::IsEmpty;

namespace
{

// "Array" for "QBase/Array.h", "source/QBase/Array.cpp" and "Array".
std::string UnitOf(const std::string& path)
{
    return std::filesystem::path(path).stem().string();
}

// Split, so that it is not found in this very file.
const std::string START_OF_A_THREAD = std::string("std::") + "thread";

// The units in back quotes, a list for each row, of one column of the table below a heading.
std::vector<std::vector<std::string>> ColumnBelow(const std::string& heading, int column)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream document(SourcePath("docs/Architecture.md"));
    bool bBelow = false;
    for (std::string line; std::getline(document, line);) {
        if (line.rfind("## ", 0) == 0) {
            bBelow = line == "## " + heading;
        }
        if (!bBelow || line.rfind("| ", 0) != 0) {
            continue;
        }
        std::size_t start = 0;
        for (int i = 0; i <= column; ++i) {
            start = line.find("| ", start) + 2;
        }
        const std::string cell = line.substr(start, line.find(" |", start) - start);
        std::vector<std::string> units;
        for (std::size_t open = cell.find('`'); open != std::string::npos;) {
            const std::size_t close = cell.find('`', open + 1);
            units.push_back(UnitOf(cell.substr(open + 1, close - open - 1)));
            open = cell.find('`', close + 1);
        }
        rows.push_back(units);
    }
    return rows;
}

// The number of each unit's layer, from 1 up.
std::map<std::string, int> Layers()
{
    std::map<std::string, int> layers;
    int layer = 0;
    for (const std::vector<std::string>& units : ColumnBelow("Layers", 1)) {
        ++layer;
        for (const std::string& unit : units) {
            layers.emplace(unit, layer);
        }
    }
    return layers;
}

std::vector<std::filesystem::path> FilesOf(const std::string& folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SourcePath(folder))) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    return files;
}

} // namespace

TEST(ArchitectureTest, EveryPublicHeaderHasALayer)
{
    const std::map<std::string, int> layers = Layers();
    std::set<std::string> without;
    for (const std::filesystem::path& file : FilesOf("include/QBase")) {
        if (layers.count(UnitOf(file.string())) == 0) {
            without.insert(UnitOf(file.string()));
        }
    }
    EXPECT_THAT(without, testing::ElementsAre("Export", "QBase", "Version")); // below and above all of them
}

TEST(ArchitectureTest, EachLayerIncludesOnlyThoseBeforeItButForTheCallsUpwardThatAreListed)
{
    const std::map<std::string, int> layers = Layers();
    std::set<std::pair<std::string, std::string>> allowed;
    const auto from = ColumnBelow("Calls upward", 0);
    const auto to = ColumnBelow("Calls upward", 1);
    ASSERT_EQ(from.size(), to.size());
    for (std::size_t row = 0; row < from.size(); ++row) {
        for (const std::string& source : from[row]) {
            for (const std::string& target : to[row]) {
                allowed.emplace(source, target);
            }
        }
    }

    std::set<std::string> upward;
    int numIncludes = 0;
    for (const char* pFolder : {"include/QBase", "source/QBase"}) {
        for (const std::filesystem::path& file : FilesOf(pFolder)) {
            const std::string unit = UnitOf(file.string());
            const auto layer = layers.find(unit);
            std::ifstream source(file);
            for (std::string line; layer != layers.end() && std::getline(source, line);) {
                if (line.rfind("#include \"QBase/", 0) != 0) {
                    continue;
                }
                ++numIncludes;
                const std::string included = UnitOf(line.substr(10, line.size() - 11));
                const auto other = layers.find(included);
                if (other != layers.end() && other->second > layer->second &&
                    allowed.count({unit, included}) == 0) {
                    upward.insert(file.filename().string() + " includes " + included);
                }
            }
        }
    }
    EXPECT_GE(numIncludes, 200);
    EXPECT_THAT(upward, IsEmpty());
}

TEST(ArchitectureTest, TheLowestLayerLinksAndWorksAlone)
{
    const Outcome outcome = RunProgram(BinaryPath("LowestLayer"));

    EXPECT_EQ(outcome.mExitCode, 0);
    EXPECT_EQ(outcome.mOutput, "Memory: ASSERT( bIsDelete == pBlock->mbNeedDelete )\n"
                               "CriticalSection: ASSERT( IsInside() )\n"
                               "works alone\n");
}

// The thread sanitizer runs the tests that say so, and no others.
TEST(ArchitectureTest, EveryTestThatStartsAThreadHasThreadInItsName)
{
    int numThreaded = 0;
    for (const std::filesystem::path& file : FilesOf("test/QBase")) {
        std::ifstream source(file);
        std::string name;
        for (std::string line; std::getline(source, line);) {
            if (line.rfind("TEST", 0) == 0) {
                name = line;
            } else if (line == "}") {
                name.clear();
            } else if (!name.empty() && line.find(START_OF_A_THREAD) != std::string::npos) {
                ++numThreaded;
                EXPECT_NE(name.find("Thread"), std::string::npos) << file.filename() << ": " << name;
            }
        }
    }
    EXPECT_GE(numThreaded, 30);
}
