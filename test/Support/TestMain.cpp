// The tests' main function. After each test it checks that the library's allocator counts the same live
// blocks and bytes as before, and that no message reached the console unasked.

#include "Support/CapturedConsole.h"

#include "QBase/Memory.h"
#include "QBase/String.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{

class CleanlinessChecker : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override
    {
        TakeUnexpectedMessages();
        mBlocks = QBase::Memory::GetTotalBlocksAllocated();
        mBytes = QBase::Memory::GetTotalBytesAllocated();
    }

    void OnTestEnd(const testing::TestInfo& test) override
    {
        EXPECT_EQ(TakeUnexpectedMessages(), std::string());
        if (test.result()->Skipped()) {
            return;
        }
        EXPECT_EQ(QBase::Memory::GetTotalBlocksAllocated(), mBlocks) << "live blocks changed";
        EXPECT_EQ(QBase::Memory::GetTotalBytesAllocated(), mBytes) << "live bytes changed";
    }

    std::int64_t mBlocks = 0;
    std::int64_t mBytes = 0;
};

} // namespace

int main(int argumentCount, char** ppArguments)
{
    testing::InitGoogleMock(&argumentCount, ppArguments);
    testing::UnitTest::GetInstance()->listeners().Append(new CleanlinessChecker);
    QBase::String lock("makes the lock of the string table, which stays");
    WatchConsole();
    return RUN_ALL_TESTS();
}
