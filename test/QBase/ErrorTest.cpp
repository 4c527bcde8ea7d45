#include "QBase/Error.h"

#include "QBase/String.h"
#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/Paths.h"
#include "Support/SmallStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

using namespace QBase;
using testing::HasSubstr;

namespace
{

template <SourceUnit unit>
constexpr std::string_view NameOf = SourceUnitName<unit>();

static_assert(NameOf<"source/QBase/Table.cpp"> == "Table");
static_assert(NameOf<"/anywhere/source/QBase/Table.cpp"> == "Table");
static_assert(NameOf<"Table.cpp"> == "Table");
static_assert(NameOf<"../module/Solar.module.cpp"> == "Solar.module");
static_assert(NameOf<"/usr/include/QBase/Array.h"> == "QBase/Array");
static_assert(NameOf<"QBase/Array.h"> == "QBase/Array");
static_assert(NameOf<"C:\\tree\\include\\QBase\\Array.h"> == "QBase/Array");
static_assert(NameOf<"/other/MyQBase/Array.h"> == "Array");
static_assert(NameOf<"/other/Scene.h"> == "Scene");
static_assert(NameOf<"no_extension"> == "no_extension");

// What a program printed on both streams, and whether it succeeded.
std::string OutputOf(const std::string& command)
{
    std::string output;
    std::FILE* pPipe = popen((command + " 2>&1").c_str(), "r");
    char buffer[4096];
    while (const std::size_t size = std::fread(buffer, 1, sizeof(buffer), pPipe)) {
        output.append(buffer, size);
    }
    pclose(pPipe);
    return output;
}

} // namespace

TEST(ErrorTest, InfoGoesToStandardOutputWithOneLineFeed)
{
    CapturedConsole console;
    Info("%d planets", 8);
    EXPECT_EQ(console.GetDebuggerOutput(), "8 planets\n");
    EXPECT_EQ(console.TakeOutput(), "8 planets\n");
    EXPECT_EQ(console.TakeErrors(), "");
}

TEST(ErrorTest, ErrorGoesToStandardErrorBehindItsUnitAndLine)
{
    CapturedConsole console;
    Error("Table", 12, "x%d", 1);
    EXPECT_EQ(console.GetDebuggerOutput(), "ERROR: Table (line 12): x1\n");
    EXPECT_EQ(console.TakeErrors(), "ERROR: Table (line 12): x1\n");
    EXPECT_EQ(console.TakeOutput(), "");
}

TEST(ErrorTest, WithoutAFileTheLineIsNotShown)
{
    CapturedConsole console;
    Error(nullptr, 0, "x");
    Error(nullptr, 12, "y");
    EXPECT_EQ(console.TakeErrors(), "ERROR: x\nERROR: y\n");
}

TEST(ErrorTest, ANullFormatPrintsNull)
{
    const char* pNone = nullptr;
    CapturedConsole console;
    // Through pointers, since the compiler checks the formats of direct calls.
    void (*const pInfo)(const char*, ...) = Info;
    void (*const pError)(const char*, int, const char*, ...) = Error;
    pInfo(pNone);
    pError("Table", 12, pNone);
    EXPECT_EQ(console.TakeOutput(), "Null\n");
    EXPECT_EQ(console.TakeErrors(), "ERROR: Table (line 12): Null\n");
}

TEST(ErrorTest, TheConsoleReadsTheComposedTextAsAFormatOnceMore)
{
    CapturedConsole console;
    Error("T", 1, "%s", "100%% of %s %n");
    Info("%s", "%%%% 5% %");
    EXPECT_EQ(console.GetDebuggerOutput(), "ERROR: T (line 1): 100%% of %s %n\n%%%% 5% %\n");
    EXPECT_EQ(console.TakeErrors(), "ERROR: T (line 1): 100% of %s %n\n");
    EXPECT_EQ(console.TakeOutput(), "%% 5% %\n");
}

TEST(ErrorTest, ALongFileNameIsCutAndTheMessageStaysWhole)
{
    CapturedConsole console;
    Error(std::string(5000, 'f').c_str(), 3, "the message");
    EXPECT_EQ(console.TakeErrors(), "ERROR: " + std::string(2047 - 7, 'f') + "the message\n");
}

TEST(ErrorTest, ALongFileNameIsCutBetweenCodePoints)
{
    std::string file;
    for (int i = 0; i < 2000; ++i) {
        file += "\xE2\x82\xAC"; // €
    }
    CapturedConsole console;
    Error(file.c_str(), 3, "!");
    Error(("ab" + file).c_str(), 3, "!");
    EXPECT_EQ(console.TakeErrors(),
              "ERROR: " + file.substr(0, 2040) + "!\n" + "ERROR: ab" + file.substr(0, 2037) + "!\n");
}

TEST(ErrorTest, AHugeMessageNeedsLittleStack)
{
    const std::string huge(64 << 20, 'h');
    CapturedConsole console;
    RunOnSmallStack(256 << 10, [&] { Error("T", 1, "%s", huge.c_str()); });
    EXPECT_EQ(console.TakeErrors().size(), huge.size() + std::string("ERROR: T (line 1): \n").size());
}

TEST(ErrorTest, AFormatThatTheCLibraryRefusesIsTheTextItself)
{
    const wchar_t unprintable[] = {static_cast<wchar_t>(0xD800), 0};
    CapturedConsole console;
    Error("T", 1, "as it stands: %ls", unprintable);
    EXPECT_EQ(console.TakeErrors(), "ERROR: T (line 1): as it stands: %ls\n");
}

TEST(ErrorTest, InvalidUtf8OnTheConsoleIsPrintedAsItIsThenReported)
{
    CapturedConsole console;
    Error("T", 1, "\xFF");
    EXPECT_EQ(console.TakeErrors(),
              "ERROR: T (line 1): \xFF\n"
              "ERROR: String (line 185): Fixed invalid UTF8 string 'ERROR: T (line 1): ?\n'\n");
}

TEST(ErrorTest, HereNamesTheUnitAndTheLine)
{
    CapturedMessages messages;
    Error(QBASE_HERE, "x");
    EXPECT_EQ(messages.TakeError(), "ERROR: ErrorTest (line " + std::to_string(__LINE__ - 1) + "): x");
}

TEST(ErrorTest, AnAssertionThatHoldsIsTrueAndSilent)
{
    CapturedMessages messages;
    const int index = 1;
    EXPECT_TRUE(QBASE_ASSERT(index >= 0 && index < 2));
    EXPECT_TRUE(QBASE_ASSERT_TEXT(index == 1, "Unit", 7, "ASSERT( words )"));
}

TEST(ErrorTest, AnAssertionEvaluatesItsConditionOnce)
{
    int count = 0;
    EXPECT_TRUE(QBASE_ASSERT(++count));
    EXPECT_EQ(count, 1);
}

TEST(ErrorTest, AResumedAssertionReportsTheConditionAsWrittenAndIsFalse)
{
    CapturedMessages messages;
    ResumedAssertions resumed;
    const int index = 2;
    EXPECT_FALSE(QBASE_ASSERT(index >= 0 && index % 2 == 1));
    const int line = __LINE__ - 1;
    EXPECT_FALSE(QBASE_ASSERT_TEXT(index == 1, "Unit", 7, "ASSERT( 100%% words )"));

    EXPECT_EQ(messages.TakeError(),
              "ERROR: ErrorTest (line " + std::to_string(line) + "): ASSERT( index >= 0 && index % 2 == 1 )");
    EXPECT_EQ(messages.TakeError(), "ERROR: Unit (line 7): ASSERT( 100%% words )");
    EXPECT_EQ(resumed.GetCount(), 2);
}

TEST(ErrorDeathTest, AnAssertionEndsTheProgramAtTheBreak)
{
    const int index = 2;
    EXPECT_ASSERTION(QBASE_ASSERT(index >= 0 && index < 2), "index >= 0 && index < 2");
}

TEST(ErrorDeathTest, MessagesReachAPipeInOrderBeforeTheBreakEndsTheProgram)
{
    EXPECT_THAT(OutputOf(BinaryPath("InfoThenAssert")),
                HasSubstr("\nfirst\nERROR: Unit (line 7): ASSERT( second )\n"));
}

TEST(ErrorThreadsTest, LinesOfSeveralThreadsStayWhole)
{
    CapturedConsole console;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 500; ++i) {
                Info("%s", std::string(100, static_cast<char>('a' + thread)).c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string output = console.TakeOutput();
    ASSERT_EQ(output.size(), 4u * 500 * 101);
    for (std::size_t start = 0; start < output.size(); start += 101) {
        EXPECT_EQ(output.substr(start, 101), std::string(100, output[start]) + "\n");
    }
}
