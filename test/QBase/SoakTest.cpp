// The long runs of test/Program/Soak.cpp, shortened.

#include "Support/ChildProcess.h"
#include "Support/Effort.h"
#include "Support/Paths.h"
#include "Support/Sanitizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;
using testing::IsEmpty;

TEST(SoakTest, ReplicasOfAChangingGraphStayTheSameWhilePeersJoinLeaveAndStall)
{
    const Outcome outcome = RunApart({{BinaryPath("Soak"), "replication", HAS_SANITIZER ? "15000" : "30000",
                                       std::to_string(Effort(200, 10000)), "10"}});
    EXPECT_EQ(outcome.mExitCode, 0) << outcome.mOutput;
    EXPECT_THAT(outcome.mErrors, IsEmpty());
    EXPECT_THAT(outcome.mOutput, HasSubstr("Fine: 11 replicas were the same at every 100th pass"));
}

TEST(SoakTest, IdsThatWrapLeaveNothingBehind)
{
    const int numPasses = HAS_SANITIZER ? 30000 : Effort(60000, 5184000);
    const Outcome outcome = RunApart({{BinaryPath("Soak"), "ids", std::to_string(numPasses)}});
    EXPECT_EQ(outcome.mExitCode, 0) << outcome.mOutput;
    EXPECT_THAT(outcome.mErrors, IsEmpty());
    EXPECT_THAT(outcome.mOutput, HasSubstr("Fine: ids went from "));
}
