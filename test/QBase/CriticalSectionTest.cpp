#include "QBase/CriticalSection.h"

#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace QBase;

namespace
{

constinit CriticalSection sReadyBeforeConstructors;

// Whether another thread gets into the section within the time that this call takes.
class Visitor
{
public:
    explicit Visitor(CriticalSection& section)
        : mThread([this, &section] {
              CriticalSection::Block block(&section);
              mbInside.store(true);
          })
    {}

    ~Visitor() { mThread.join(); }

    bool IsInside() const { return mbInside.load(); }

    void WaitUntilInside() const
    {
        while (!IsInside())
            std::this_thread::yield();
    }

private:
    std::atomic<bool> mbInside{false};
    std::thread mThread;
};

} // namespace

TEST(CriticalSectionTest, LetsOneThreadThroughAtATime)
{
    CriticalSection section;
    int count = 0; // a data race, and wrong, without the section
    auto countUp = [&] {
        for (int i = 0; i < 50000; ++i) {
            CriticalSection::Block block(&section);
            ++count;
        }
    };

    std::thread first(countUp);
    std::thread second(countUp);
    countUp();
    first.join();
    second.join();

    EXPECT_EQ(count, 150000);
}

TEST(CriticalSectionThreadsTest, KeepsOthersOutUntilTheOwnerLeftAsOftenAsItEntered)
{
    CriticalSection section;
    section.Enter();
    section.Enter();
    {
        Visitor visitor(section);

        section.Exit();
        std::this_thread::yield();
        EXPECT_FALSE(visitor.IsInside());

        section.Exit();
        visitor.WaitUntilInside();
    }
    section.Enter();
    section.Exit();
}

TEST(CriticalSectionThreadsTest, ACopyIsAFreeSectionOfItsOwn)
{
    CriticalSection section;
    CriticalSection::Block block(&section);
    CriticalSection copy(section);
    CriticalSection assigned;
    assigned = section;

    Visitor(copy).WaitUntilInside();
    Visitor(assigned).WaitUntilInside();
}

TEST(CriticalSectionThreadsTest, AssigningToAnEnteredSectionLeavesItEntered)
{
    CriticalSection section;
    section.Enter();
    section = CriticalSection();
    {
        Visitor visitor(section);
        std::this_thread::yield();
        EXPECT_FALSE(visitor.IsInside());
        section.Exit();
    }
}

TEST(CriticalSectionTest, ABlockOnNullDoesNothing)
{
    CriticalSection::Block block(nullptr);
}

TEST(CriticalSectionThreadsTest, ABlockLeavesTheSectionWhenAnExceptionPasses)
{
    CriticalSection section;

    EXPECT_THROW(
        {
            CriticalSection::Block block(&section);
            throw std::runtime_error("passes");
        },
        std::runtime_error);

    Visitor(section).WaitUntilInside();
}

TEST(CriticalSectionTest, WorksAtNamespaceScopeBeforeAnyConstructor)
{
    CriticalSection::Block block(&sReadyBeforeConstructors);
}

TEST(CriticalSectionThreadsTest, ExitWithoutEnterAssertsAndChangesNothing)
{
    CriticalSection section;
    CapturedConsole console;
    ResumedAssertions resumed;

    section.Exit();

    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_THAT(console.TakeErrors(), ::testing::HasSubstr("ASSERT( IsInside() )"));
    Visitor(section).WaitUntilInside();
}

TEST(CriticalSectionTest, ExitOfAnotherThreadAssertsAndKeepsTheOwnerInside)
{
    CriticalSection section;
    CapturedConsole console;
    ResumedAssertions resumed;
    section.Enter();

    std::thread([&section] { section.Exit(); }).join();

    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_THAT(console.TakeErrors(), ::testing::HasSubstr("ERROR: CriticalSection (line "));
    section.Exit();
}

TEST(CriticalSectionTest, IsInsideIsAboutTheCallingThread)
{
    CriticalSection section;
    EXPECT_FALSE(section.IsInside());
    CriticalSection::Block block(&section);
    EXPECT_TRUE(section.IsInside());
    std::thread([&section] { EXPECT_FALSE(section.IsInside()); }).join();
}

TEST(CriticalSectionThreadsTest, TwoThreadsCountWithoutALoss)
{
    CriticalSection section;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            CriticalSection::Block outer(&section);
            CriticalSection::Block inner(&section);
            ++count;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 40000);
}

TEST(CriticalSectionThreadsTest, EveryThreadThatWaitsGetsInOnceTheOwnerLeaves)
{
    constexpr int numThreads = 6;
    for (int round = 0; round < 500; ++round) {
        CriticalSection section;
        int count = 0;
        std::vector<std::thread> threads;
        {
            CriticalSection::Block block(&section);
            for (int thread = 0; thread < numThreads; ++thread) {
                threads.emplace_back([&] {
                    CriticalSection::Block inner(&section);
                    ++count;
                });
            }
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(count, numThreads);
        ASSERT_FALSE(section.IsInside());
    }
}

// The last one out may destroy the section although another thread has only just let it in.
TEST(CriticalSectionThreadsTest, ASectionMayGoAsSoonAsItsLastUserLeft)
{
    for (int round = 0; round < 2000; ++round) {
        auto pSection = std::make_unique<CriticalSection>();
        std::promise<void> entered;
        std::thread other([&, pBorrowed = pSection.get()] {
            pBorrowed->Enter();
            entered.set_value();
            pBorrowed->Exit();
        });
        entered.get_future().wait();
        pSection->Enter();
        pSection->Exit();
        pSection = nullptr;
        other.join();
    }
}

TEST(CriticalSectionThreadsTest, WaitingAndWakingKeepTheSystemsLastError)
{
    for (int round = 0; round < 200; ++round) {
        CriticalSection section;
        section.Enter();
        std::thread other([&] {
            errno = EDOM;
            section.Enter();
            section.Exit();
            EXPECT_EQ(errno, EDOM);
        });
        std::this_thread::sleep_for(std::chrono::microseconds(20 * (round % 5)));
        errno = ERANGE;
        section.Exit();
        EXPECT_EQ(errno, ERANGE);
        other.join();
    }
}
