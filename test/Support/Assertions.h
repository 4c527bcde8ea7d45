// Assertions of the library as a behaviour to test.
//
//     TEST(ArrayDeathTest, GetAtAssertsOnAnIndexOutsideTheArray)
//     {
//         EXPECT_ASSERTION(array.GetAt(0), "index >= 0 && index < mSize");
//     }
//
// What holds behind an assertion that a debugger resumes:
//
//     CapturedMessages messages;
//     ResumedAssertions resumed;
//     array.RemoveAt(7);
//     EXPECT_EQ(resumed.GetCount(), 1);

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The statement reports "ASSERT( condition )" and the process ends at the break.
#define EXPECT_ASSERTION(statement, condition)                                                               \
    EXPECT_DEATH(statement, ::testing::HasSubstr("ASSERT( " condition " )"))

/// While it lives, the break of a failed assertion returns, as when a debugger resumes the program.
class ResumedAssertions
{
public:
    ResumedAssertions();
    ~ResumedAssertions();
    ResumedAssertions(const ResumedAssertions&) = delete;
    ResumedAssertions& operator=(const ResumedAssertions&) = delete;

    /// The assertions that failed so far, on any thread.
    int GetCount() const;
};
