// CapturedMessages records Info and Error in place of the console, then puts the old receivers back.
//
//     CapturedMessages messages;
//     pList->GetAt(7);
//     EXPECT_THAT(messages.TakeError(), EndsWith("from index 7, list size is 2"));
//
// A message left untaken fails the test, so silence is tested too. One at a time.

#pragma once

#include <string>
#include <vector>

class CapturedMessages
{
public:
    CapturedMessages();
    ~CapturedMessages();
    CapturedMessages(const CapturedMessages&) = delete;
    CapturedMessages& operator=(const CapturedMessages&) = delete;

    /// The oldest untaken message of the kind, without its line feed. Fails the test when there is none.
    std::string TakeError();
    std::string TakeInfo();

    /// All untaken messages of both kinds, in the order of their reports.
    std::vector<std::string> TakeAll();
};
