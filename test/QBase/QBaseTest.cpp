#include "QBase/QBase.h"

#include "Support/Paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

using ::testing::ContainerEq;

TEST(QBaseTest, TheOneHeaderIncludesEveryPublicHeader)
{
    std::set<std::string> headers;
    for (const auto& entry : std::filesystem::directory_iterator(SourcePath("include/QBase"))) {
        if (entry.path().filename() != "QBase.h") {
            headers.insert("#include \"QBase/" + entry.path().filename().string() + "\"");
        }
    }
    ASSERT_GE(headers.size(), 50u);

    std::set<std::string> included;
    std::ifstream header(SourcePath("include/QBase/QBase.h"));
    for (std::string line; std::getline(header, line);) {
        if (line.rfind("#include", 0) == 0) {
            included.insert(line);
        }
    }

    EXPECT_THAT(included, ContainerEq(headers));
}

TEST(QBaseTest, EveryPublicHeaderOpensWithItsPurposeAndItsThreadRule)
{
    for (const auto& entry : std::filesystem::directory_iterator(SourcePath("include/QBase"))) {
        std::ifstream header(entry.path());
        std::string line;
        EXPECT_TRUE(std::getline(header, line) && line.rfind("// ", 0) == 0) << entry.path();
        bool bSaysWhichThreads = false;
        while (std::getline(header, line) && line != "#pragma once") {
            bSaysWhichThreads = bSaysWhichThreads || line.rfind("// Threads: ", 0) == 0;
        }
        EXPECT_TRUE(bSaysWhichThreads) << entry.path();
    }
}
