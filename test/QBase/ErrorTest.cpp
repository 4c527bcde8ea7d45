#include "QBase/Error.h"

#include "QBase/Array.h"
#include "QBase/CriticalSection.h"
#include "QBase/Memory.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"
#include "QBase/Value.h"
#include "Support/Assertions.h"
#include "Support/CallbackHandler.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/SmallStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

using namespace QBase;
using testing::ElementsAre;
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
    if (std::snprintf(nullptr, 0, "%ls", unprintable) >= 0) {
        GTEST_SKIP() << "the C library of this system prints everything";
    }
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

TEST(ErrorTest, AReportForWhichThereIsNoMemoryGoesToTheConsoleAsItIs)
{
    CapturedConsole console;
    int numTold = 0;
    SetErrorHandler(new CallbackHandler([&](const Value&) { ++numTold; }));
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });
    Error("Unit", 3, "Nothing is left");
    Memory::SetFailureHook(nullptr);
    SetErrorHandler(nullptr);
    EXPECT_EQ(numTold, 0);
    EXPECT_THAT(console.TakeErrors(), testing::HasSubstr("ERROR: Unit (line 3): Nothing is left\n"));
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

TEST(ErrorTest, NoHandlersAreInstalledAtTheStart)
{
    EXPECT_EQ(GetErrorHandler(), nullptr);
    EXPECT_EQ(GetInfoHandler(), nullptr);
}

TEST(ErrorTest, AHandlerReceivesAStringWithoutALineFeedAndTheConsoleNothing)
{
    std::vector<Value> received;
    const auto record = [&](const Value& value) { received.push_back(value); };
    CapturedConsole console;
    SetErrorHandler(new CallbackHandler(record));
    SetInfoHandler(new CallbackHandler(record));
    Error("Table", 12, "100%% of %s", "100%%");
    Info("%s", "50%%");
    SetErrorHandler(nullptr);
    SetInfoHandler(nullptr);

    EXPECT_THAT(received,
                ElementsAre(Value(String("ERROR: Table (line 12): 100% of 100%%")), Value(String("50%%"))));
    EXPECT_EQ(console.GetDebuggerOutput(), "");
    EXPECT_EQ(console.TakeErrors() + console.TakeOutput(), "");
}

TEST(ErrorTest, ASlotHoldsItsHandlerUntilItIsReplaced)
{
    int destroyed = 0;
    Object* pHandler = new CallbackHandler([](const Value&) {}, &destroyed);
    SetErrorHandler(pHandler);
    EXPECT_EQ(GetErrorHandler(), pHandler);
    EXPECT_EQ(pHandler->GetReferenceCount(), 1);
    SetErrorHandler(pHandler);
    EXPECT_EQ(pHandler->GetReferenceCount(), 1);
    EXPECT_EQ(destroyed, 0);
    SetErrorHandler(nullptr);
    EXPECT_EQ(GetErrorHandler(), nullptr);
    EXPECT_EQ(destroyed, 1);
}

TEST(ErrorTest, AReportFromAHandlerGoesToTheConsole)
{
    std::vector<std::string> received;
    CapturedConsole console;
    SetErrorHandler(new CallbackHandler([&](const Value& value) {
        received.push_back(value.AsString().c_str());
        Error("Inner", 2, "inner");
        Info("info");
    }));
    SetInfoHandler(new CallbackHandler([&](const Value& value) {
        received.push_back(value.AsString().c_str());
        Error("InInfo", 3, "inner");
    }));
    Error("Outer", 1, "outer");
    SetErrorHandler(nullptr);
    SetInfoHandler(nullptr);

    EXPECT_THAT(received, ElementsAre("ERROR: Outer (line 1): outer", "info"));
    EXPECT_EQ(console.TakeErrors(), "ERROR: Inner (line 2): inner\nERROR: InInfo (line 3): inner\n");
}

TEST(ErrorTest, AHandlerMayRemoveItselfWhileItRuns)
{
    int destroyed = 0;
    std::string received;
    SetErrorHandler(new CallbackHandler(
        [&](const Value& value) {
            SetErrorHandler(nullptr);
            EXPECT_EQ(destroyed, 0);
            received = value.AsString().c_str();
        },
        &destroyed));
    Error("T", 1, "x");
    EXPECT_EQ(received, "ERROR: T (line 1): x");
    EXPECT_EQ(destroyed, 1);
}

TEST(ErrorTest, AHandlerThatThrowsIsAskedAgainNextTime)
{
    int calls = 0;
    SetErrorHandler(new CallbackHandler([&](const Value&) {
        ++calls;
        throw std::runtime_error("handler");
    }));
    EXPECT_THROW(Error("T", 1, "x"), std::runtime_error);
    EXPECT_THROW(QBASE_ASSERT(calls > 1), std::runtime_error);
    SetErrorHandler(nullptr);
    EXPECT_EQ(calls, 2);
}

TEST(ErrorThreadsTest, AHandlerMayLeaveAnyAssertionByAnException)
{
    Array<int> array;
    const Array<int>& constArray = array;
    CriticalSection section;
    void* const pBlock = Memory::Alloc(8, ALLOC_UNKNOWN, QBASE_HERE, false);
    SetErrorHandler(new CallbackHandler([](const Value&) { throw std::runtime_error("handler"); }));

    EXPECT_THROW(array.GetAt(0), std::runtime_error);
    EXPECT_THROW(constArray.GetAt(0), std::runtime_error);
    EXPECT_THROW(array.InsertAt(1, 5), std::runtime_error);
    EXPECT_THROW(array.RemoveAt(0), std::runtime_error);
    EXPECT_THROW(section.Exit(), std::runtime_error);
    EXPECT_THROW(Memory::Free(pBlock, true), std::runtime_error);
    EXPECT_THROW(Memory::Realloc(pBlock, 9, ALLOC_STRING, QBASE_HERE), std::runtime_error);
    EXPECT_THROW(Memory::GetBlocksAllocated(NUM_ALLOC_TYPES), std::runtime_error);
    EXPECT_THROW(Memory::EndBlockTrace(nullptr), std::runtime_error);
    SetErrorHandler(nullptr);

    // No lock was left taken, and nothing half done.
    std::thread([&] {
        const CriticalSection::Block block(&section);
        EXPECT_STREQ(String("from another thread").c_str(), "from another thread");
        Memory::Free(pBlock, false);
        Memory::StartBlockTrace();
        EXPECT_EQ(Memory::EndBlockTrace(nullptr), 0);
    }).join();
    EXPECT_EQ(array.GetSize(), 0);
}

TEST(ErrorTest, InvalidUtf8ReachesTheHandlerAsTheRepairReportAndThenRepaired)
{
    CapturedMessages messages;
    Error("T", 1, "\xFF");
    EXPECT_THAT(messages.TakeAll(),
                ElementsAre("ERROR: String (line 185): Fixed invalid UTF8 string 'ERROR: T (line 1): ?'",
                            "ERROR: T (line 1): ?"));
}

TEST(ErrorDeathTest, AnAssertionEndsTheProgramAtTheBreak)
{
    const int index = 2;
    EXPECT_ASSERTION(QBASE_ASSERT(index >= 0 && index < 2), "index >= 0 && index < 2");
}

#ifdef SIGTRAP
TEST(ErrorDeathTest, AHandlerOfTheBreakSignalResumesBehindTheAssertion)
{
    const auto failAndGoOn = [](void (*pHandler)(int)) {
        std::signal(SIGTRAP, pHandler);
        Array<int> array;
        array.RemoveAt(0);
        std::exit(array.GetSize() == 0 ? 42 : 1);
    };
    EXPECT_EXIT(failAndGoOn([](int) {}), testing::ExitedWithCode(42), HasSubstr("index < mSize )"));
    EXPECT_EXIT(failAndGoOn(SIG_IGN), testing::ExitedWithCode(42), HasSubstr("index < mSize )"));
}
#endif

TEST(ErrorDeathTest, MessagesReachAPipeInOrderBeforeTheBreakEndsTheProgram)
{
    EXPECT_THAT(RunProgram(BinaryPath("InfoThenAssert")).mOutput,
                HasSubstr("\nfirst\nERROR: Unit (line 7): ASSERT( second )\n"));
}

TEST(ErrorTest, StaticObjectsAndLeftThreadsUseTheLibraryBeforeAndAfterMain)
{
    const Outcome outcome = RunProgram(BinaryPath("StaticObjects"));
    EXPECT_EQ(outcome.mExitCode, 0);
    EXPECT_EQ(outcome.mOutput, "Quirl v.2.1\n"
                               "first before main: QBase.Table\n"
                               "ERROR: String (line 185): Fixed invalid UTF8 string '?'\n"
                               "second before main: QBase.Table\n"
                               "ERROR: String (line 185): Fixed invalid UTF8 string '?'\n"
                               "main\n"
                               "second after main: QBase.Table\n"
                               "ERROR: String (line 185): Fixed invalid UTF8 string '?'\n"
                               "first after main: QBase.Table\n"
                               "ERROR: String (line 185): Fixed invalid UTF8 string '?'\n");
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
        EXPECT_EQ(output.find_first_not_of(output[start], start), start + 100);
        EXPECT_EQ(output[start + 100], '\n');
    }
}
