#include "QNet/TcpStream.h"

#include "QNet/TcpServer.h"

#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Patterns.h"
#include "Support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

using namespace QBase;
using namespace QNet;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

void Put(Stream* pStream, const std::string& bytes)
{
    EXPECT_EQ(pStream->Write(bytes.data(), static_cast<int>(bytes.size())), static_cast<int>(bytes.size()));
}

std::string Take(Stream* pStream, int count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    EXPECT_EQ(pStream->Read(bytes.data(), count), count);
    return bytes;
}

Ptr<TcpStream> MakeStream()
{
    return TcpStream::Construct(Value::Null);
}

// A server and the two ends of one connection to it.
class TcpStreamThreadTest : public testing::Test
{
protected:
    void SetUp() override
    {
        mpServer = TcpServer::Construct(Value::Null);
        ASSERT_TRUE(mpServer->Listen("", 0));
        mpNear = MakeStream();
        ASSERT_TRUE(mpNear->Connect("127.0.0.1", mpServer->GetPort()));
        ASSERT_TRUE(WaitUntil([this] { return (mpFar = mpServer->Accept()) != nullptr; }));
        ASSERT_TRUE(WaitUntil([this] { return mpNear->GetState() == TcpStream::OPEN; }));
    }

    // Fills what the system keeps for a peer that reads nothing, until bytes wait.
    void FillUp(TcpStream* pStream)
    {
        const std::string block(1024 * 1024, 'x');
        ASSERT_TRUE(WaitUntil([&] {
            Put(pStream, block);
            return pStream->GetNumBytesWaiting() > 8 * 1024 * 1024;
        }));
    }

    Ptr<TcpServer> mpServer;
    Ptr<TcpStream> mpNear;
    Ptr<TcpStream> mpFar;
};

} // namespace

TEST(TcpStreamTest, AFreshStreamIsIdleAndHasNothingToRead)
{
    const Ptr<TcpStream> pStream = MakeStream();
    EXPECT_EQ(pStream->GetState(), TcpStream::IDLE);
    EXPECT_EQ(pStream->BytesAvailable(), 0);
    EXPECT_FALSE(pStream->Flush(0));
    EXPECT_EQ(pStream->GetAddress(), String::Null);
}

TEST(TcpStreamTest, WritingToAStreamThatWasNeverConnectedIsReported)
{
    CapturedMessages messages;
    EXPECT_EQ(MakeStream()->Write("abc", 3), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to '' - the stream is not connected"));
}

TEST(TcpStreamTest, AddressesThatAreNoneAreReported)
{
    CapturedMessages messages;
    const Ptr<TcpStream> pStream = MakeStream();
    for (const int port : {-1, 0, 65536}) {
        EXPECT_FALSE(pStream->Connect("127.0.0.1", port));
        EXPECT_THAT(messages.TakeError(), EndsWith("- that is no port"));
    }
    EXPECT_FALSE(pStream->Connect("", 4711));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to connect to ':4711' - the host has no name"));
    EXPECT_EQ(pStream->GetState(), TcpStream::IDLE);
}

TEST(TcpStreamTest, ItIsReachedByNameThroughTheModule)
{
    ASSERT_NE(LoadModule("QNet"), nullptr);
    const Ptr<Object> pStream = Construct("QNet", "TcpStream");
    ASSERT_NE(pStream, nullptr);
    EXPECT_EQ(pStream->Call("GetState").Get<int>(), 0);
    EXPECT_EQ(pStream->Call("BytesAvailable").Get<int>(), 0);
    pStream->FindProperty("WriteLimit")->Set(pStream, 1000);
    EXPECT_EQ(static_cast<TcpStream*>(static_cast<Object*>(pStream))->GetWriteLimit(), 1000);
}

TEST(TcpStreamTest, ACopyHasTheSettingsAndNoConnection)
{
    const Ptr<TcpStream> pStream = MakeStream();
    pStream->SetConnectTime(1);
    pStream->SetStallTime(2);
    pStream->SetWriteLimit(3);
    pStream->SetTrusted(false);
    TcpStream* const pCopy = static_cast<TcpStream*>(pStream->Clone());
    EXPECT_EQ(pCopy->GetConnectTime(), 1);
    EXPECT_EQ(pCopy->GetStallTime(), 2);
    EXPECT_EQ(pCopy->GetWriteLimit(), 3);
    EXPECT_FALSE(pCopy->IsTrusted());
    EXPECT_EQ(pCopy->GetState(), TcpStream::IDLE);
    pCopy->Release();
}

TEST_F(TcpStreamThreadTest, BytesArriveInOrderInBothDirections)
{
    Put(mpNear, "Hello, ");
    Put(mpNear, "server");
    Put(mpFar, "Hello, client");
    ASSERT_TRUE(
        WaitUntil([this] { return mpFar->BytesAvailable() == 13 && mpNear->BytesAvailable() == 13; }));
    EXPECT_EQ(Take(mpFar, 5), "Hello");
    EXPECT_EQ(Take(mpFar, 8), ", server");
    EXPECT_EQ(Take(mpNear, 13), "Hello, client");
    EXPECT_EQ(mpFar->BytesAvailable(), 0);
    EXPECT_EQ(mpNear->GetNumBytesWritten(), 13);
    EXPECT_EQ(mpNear->GetNumBytesRead(), 13);
}

TEST_F(TcpStreamThreadTest, BothEndsKnowTheOther)
{
    EXPECT_THAT(mpNear->GetAddress().c_str(), MatchesPattern("127\\.0\\.0\\.1:[0-9]+"));
    EXPECT_THAT(mpFar->GetAddress().c_str(), MatchesPattern("127\\.0\\.0\\.1:[0-9]+"));
    EXPECT_EQ(mpNear->GetAddress(), String(("127.0.0.1:" + std::to_string(mpServer->GetPort())).c_str()));
    EXPECT_TRUE(mpNear->IsTrusted());
    EXPECT_FALSE(mpFar->IsTrusted());
}

TEST_F(TcpStreamThreadTest, AReadOfMoreThanThereIsTakesNothing)
{
    CapturedMessages messages;
    Put(mpNear, "abc");
    ASSERT_TRUE(WaitUntil([this] { return mpFar->BytesAvailable() == 3; }));
    char bytes[4] = {};
    EXPECT_EQ(mpFar->Read(bytes, 4), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("- out of bounds trying to read 4/3 bytes"));
    EXPECT_EQ(mpFar->Read(bytes, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("- out of bounds trying to read -1/3 bytes"));
    EXPECT_EQ(mpFar->Read(bytes, 0), 0);
    EXPECT_EQ(Take(mpFar, 3), "abc");
    EXPECT_EQ(mpNear->Write("x", -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("- invalid count -1"));
}

TEST_F(TcpStreamThreadTest, ManyMegabytesArriveWhole)
{
    std::string sent;
    for (int i = 0; i < 20 * 1024 * 1024 / 8; ++i) {
        sent += std::to_string(10000000 + i); // 8 digits
    }
    Put(mpNear, sent);
    std::string received;
    ASSERT_TRUE(WaitUntil([&] {
        received += Take(mpFar, mpFar->BytesAvailable());
        return received.size() >= sent.size();
    }));
    EXPECT_TRUE(received == sent);
    EXPECT_TRUE(mpNear->Flush(10000));
    EXPECT_EQ(mpNear->GetNumBytesWaiting(), 0);
}

TEST_F(TcpStreamThreadTest, WhatIsNotReadWaitsAtTheSender)
{
    FillUp(mpNear);
    EXPECT_GT(mpNear->GetNumBytesWaiting(), 0);
    EXPECT_LT(mpFar->BytesAvailable(), 2 * 1024 * 1024);
}

TEST_F(TcpStreamThreadTest, WhoAsksAgainWithoutReadingIsGivenMoreThanTheUsualLimit)
{
    const std::string large(16 * 1024 * 1024, 'y');
    Put(mpNear, large);
    ASSERT_TRUE(WaitUntil([&] { return mpFar->BytesAvailable() == static_cast<int>(large.size()); }));
    EXPECT_TRUE(Take(mpFar, static_cast<int>(large.size())) == large);
}

TEST_F(TcpStreamThreadTest, AFullWriteQueueDropsThePeer)
{
    CapturedMessages messages;
    mpNear->SetWriteLimit(1000);
    const std::string tooMuch(1001, 'x');
    EXPECT_EQ(mpNear->Write(tooMuch.data(), 1001), 0);
    EXPECT_THAT(messages.TakeError(), AllOf(HasSubstr("Failed to write 1001 bytes to '127.0.0.1:"),
                                            EndsWith("- 0 bytes wait for it already, the limit is 1000")));
    EXPECT_EQ(mpNear->GetState(), TcpStream::CLOSED);
    EXPECT_EQ(mpNear->Write("x", 1), 1); // to nobody; one report is enough
    EXPECT_TRUE(WaitUntil([this] { return mpFar->GetState() == TcpStream::CLOSED; }));
}

TEST_F(TcpStreamThreadTest, TheLargestMessageThatWaitsDoesNotCountAgainstTheLimit)
{
    constexpr int MUCH = 32 * 1024 * 1024; // more than any system keeps
    CapturedMessages messages;
    mpNear->SetWriteLimit(1000);
    mpNear->BeginMessage();
    Put(mpNear, std::string(MUCH / 2, 'x'));
    Put(mpNear, std::string(MUCH / 2, 'x'));
    mpNear->BeginMessage();
    Put(mpNear, std::string(1000, 'y'));
    ASSERT_GT(mpNear->GetNumBytesWaiting(), 1000);
    std::string received;
    ASSERT_TRUE(WaitUntil([&] {
        received += Take(mpFar, mpFar->BytesAvailable());
        return received.size() == MUCH + 1000;
    }));
    ASSERT_TRUE(WaitUntil([&] { return mpNear->GetNumBytesWaiting() == 0; }));

    mpNear->BeginMessage();
    Put(mpNear, std::string(MUCH, 'x'));
    Sleep(100); // the system takes what it can keep
    mpNear->BeginMessage();
    const std::string tooMuch(MUCH + 1001, 'y'); // the larger one is free, the other counts
    EXPECT_EQ(mpNear->Write(tooMuch.data(), MUCH + 1001), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("bytes wait for it already, the limit is 1000"));
    EXPECT_EQ(mpNear->GetState(), TcpStream::CLOSED);
}

TEST_F(TcpStreamThreadTest, APeerThatTakesNothingForTheStallTimeIsReportedAndDropped)
{
    CapturedMessages messages;
    FillUp(mpNear);
    mpNear->SetStallTime(50);
    ASSERT_TRUE(WaitUntil([this] { return mpNear->GetState() == TcpStream::CLOSED; }));
    const std::string error = messages.TakeError();
    EXPECT_THAT(error, HasSubstr("Failed to write to '127.0.0.1:"));
    EXPECT_THAT(error, MatchesPattern(".*- it took none of [0-9]+ bytes for 50 ms"));
    EXPECT_FALSE(mpNear->Flush(0));
}

TEST_F(TcpStreamThreadTest, ASlowPeerThatTakesSomethingOnceInAWhileIsKept)
{
    mpNear->SetStallTime(1500);
    Put(mpNear, std::string(64 * 1024 * 1024, 'z'));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(4);
    while (std::chrono::steady_clock::now() < end) {                 // for longer than the stall time
        Take(mpFar, std::min(mpFar->BytesAvailable(), 1024 * 1024)); // systems tell of room in large pieces
        Sleep(200);
    }
    EXPECT_GT(mpNear->GetNumBytesWaiting(), 0); // the system did not swallow all of it
    EXPECT_EQ(mpNear->GetState(), TcpStream::OPEN);
}

TEST_F(TcpStreamThreadTest, WhatWasWrittenBeforeTheCloseArrives)
{
    Put(mpNear, "the last words");
    mpNear->Close();
    EXPECT_EQ(mpNear->GetState(), TcpStream::CLOSED);
    ASSERT_TRUE(WaitUntil([this] { return mpFar->GetState() == TcpStream::CLOSED; }));
    EXPECT_EQ(mpFar->BytesAvailable(), 14);
    EXPECT_EQ(Take(mpFar, 14), "the last words");
}

TEST_F(TcpStreamThreadTest, FlushAfterCloseWaitsUntilThePeerHasEverything)
{
    const std::string words(3 * 1024 * 1024, 'w');
    Put(mpNear, words);
    Put(mpFar, "never read");
    mpNear->Close();
    std::string received = Take(mpFar, mpFar->BytesAvailable());
    while (!mpNear->Flush(10)) {
        received += Take(mpFar, mpFar->BytesAvailable());
    }
    received += Take(mpFar, mpFar->BytesAvailable());
    EXPECT_TRUE(received == words);
    EXPECT_EQ(mpFar->GetState(), TcpStream::CLOSED);
}

TEST_F(TcpStreamThreadTest, TheLastReleaseClosesToo)
{
    const std::string words(3 * 1024 * 1024, 'w');
    Put(mpNear, words);
    Put(mpFar, "never read");
    ASSERT_TRUE(WaitUntil([this] { return mpNear->BytesAvailable() == 10; }));
    mpNear = nullptr;
    std::string received;
    ASSERT_TRUE(WaitUntil([&] {
        received += Take(mpFar, mpFar->BytesAvailable());
        return mpFar->GetState() == TcpStream::CLOSED && mpFar->BytesAvailable() == 0;
    }));
    EXPECT_TRUE(received == words);
}

TEST_F(TcpStreamThreadTest, AfterItsCloseAStreamNeitherReadsNorWrites)
{
    Put(mpFar, "late");
    ASSERT_TRUE(WaitUntil([this] { return mpNear->BytesAvailable() == 4; }));
    mpNear->Close();
    CapturedMessages messages;
    EXPECT_EQ(mpNear->BytesAvailable(), 0);
    EXPECT_EQ(mpNear->Write("x", 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("- the stream is not connected"));
    EXPECT_FALSE(mpNear->Connect("127.0.0.1", mpServer->GetPort()));
    EXPECT_THAT(messages.TakeError(), EndsWith("- the stream was connected already"));
}

TEST_F(TcpStreamThreadTest, WhatIsWrittenToAPeerThatLeftIsDroppedInSilence)
{
    mpFar->Close();
    ASSERT_TRUE(WaitUntil([this] { return mpNear->GetState() == TcpStream::CLOSED; }));
    Put(mpNear, "nobody hears this");
    EXPECT_EQ(mpNear->GetNumBytesWaiting(), 0);
}

TEST_F(TcpStreamThreadTest, WhatIsWrittenWhileConnectingWaits)
{
    const Ptr<TcpStream> pNear = MakeStream();
    ASSERT_TRUE(pNear->Connect("localhost", mpServer->GetPort()));
    Put(pNear, "early");
    Ptr<TcpStream> pFar;
    ASSERT_TRUE(WaitUntil([&] { return (pFar = mpServer->Accept()) != nullptr; }));
    ASSERT_TRUE(WaitUntil([&] { return pFar->BytesAvailable() == 5; }));
    EXPECT_EQ(Take(pFar, 5), "early");
}

TEST_F(TcpStreamThreadTest, AStreamThatIsClosedWhileConnectingStillDeliversWhatWasWritten)
{
    {
        const Ptr<TcpStream> pNear = MakeStream();
        ASSERT_TRUE(pNear->Connect("127.0.0.1", mpServer->GetPort()));
        Put(pNear, "hit and run");
    }
    Ptr<TcpStream> pFar;
    ASSERT_TRUE(WaitUntil([&] { return (pFar = mpServer->Accept()) != nullptr; }));
    ASSERT_TRUE(WaitUntil([&] { return pFar->BytesAvailable() == 11; }));
    EXPECT_EQ(Take(pFar, 11), "hit and run");
}

TEST_F(TcpStreamThreadTest, APortThatNobodyListensAtIsReported)
{
    const int port = mpServer->GetPort();
    mpServer->Close();
    CapturedMessages messages;
    Ptr<TcpStream> pStream;
    ASSERT_TRUE(WaitUntil([&] { // until the module's thread has closed the socket that listens
        pStream = MakeStream();
        EXPECT_TRUE(pStream->Connect("127.0.0.1", port));
        WaitUntil([&] { return pStream->GetState() != TcpStream::CONNECTING; });
        return pStream->GetState() == TcpStream::CLOSED && !messages.TakeAll().empty();
    }));
    pStream = MakeStream();
    ASSERT_TRUE(pStream->Connect("127.0.0.1", port));
    ASSERT_TRUE(WaitUntil([&] { return pStream->GetState() == TcpStream::CLOSED; }));
    EXPECT_THAT(messages.TakeError(),
                AllOf(HasSubstr("Failed to connect to '127.0.0.1:"), HasSubstr("' - ")));
    EXPECT_EQ(pStream->GetState(), TcpStream::CLOSED); // and is silent from now on
}

TEST_F(TcpStreamThreadTest, AHostThatDoesNotExistIsReported)
{
    CapturedMessages messages;
    const Ptr<TcpStream> pStream = MakeStream();
    ASSERT_TRUE(pStream->Connect("no such host.invalid", 4711));
    ASSERT_TRUE(WaitUntil([&] { return pStream->GetState() == TcpStream::CLOSED; }));
    EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to connect to 'no such host.invalid:4711' - "));
}

TEST(TcpStreamTest, LocalhostAndAddressesAreReachedWhereNothingResolvesNames)
{
    if (!IsBuilt("NoResolver")) {
        GTEST_SKIP() << "this system's programs cannot stand in for its resolver";
    }
    const Outcome outcome = RunApart({{BinaryPath("NoResolver")}});
    EXPECT_EQ(outcome.mExitCode, 0);
    EXPECT_THAT(outcome.mOutput,
                EndsWith("\nlocalhost: reached\n127.0.0.1: reached\nexample.invalid: not found\n"));
    EXPECT_THAT(outcome.mErrors, HasSubstr("Failed to connect to 'example.invalid:"));
}

TEST_F(TcpStreamThreadTest, ConnectingEndsAtItsDeadline)
{
    CapturedMessages messages;
    const Ptr<TcpStream> pStream = MakeStream();
    pStream->SetConnectTime(0);
    ASSERT_TRUE(pStream->Connect("127.0.0.1", mpServer->GetPort()));
    ASSERT_TRUE(WaitUntil([&] { return pStream->GetState() == TcpStream::CLOSED; }));
    EXPECT_THAT(messages.TakeError(), EndsWith("' - no answer within 0 ms"));
}
