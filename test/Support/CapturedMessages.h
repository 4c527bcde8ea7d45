// CapturedMessages records Info and Error in place of the console, then puts the old handlers back.
//
//     CapturedMessages messages;
//     pList->GetAt(7);
//     EXPECT_THAT(messages.TakeError(), EndsWith("from index 7, list size is 2"));
//
// A message left untaken fails the test, so silence is tested too. An EXPECT_ASSERTION belongs outside, since
// it looks for its text on standard error. The recorders are objects, which tests that count blocks see.
//
// Threads: messages of all threads are recorded; take them on one.

#pragma once

#include "QBase/Object.h"
#include "QBase/Ptr.h"

#include <string>
#include <vector>

class CapturedMessages
{
public:
    CapturedMessages();
    ~CapturedMessages();
    CapturedMessages(const CapturedMessages&) = delete;
    CapturedMessages& operator=(const CapturedMessages&) = delete;

    /// The oldest untaken message of the kind. Fails the test when there is none.
    std::string TakeError();
    std::string TakeInfo();

    /// All untaken messages of both kinds, in the order of their reports.
    std::vector<std::string> TakeAll();

private:
    struct Log;
    class Recorder;

    Log* mpLog;
    QBase::Ptr<QBase::Object> mpOldInfoHandler;
    QBase::Ptr<QBase::Object> mpOldErrorHandler;
};
