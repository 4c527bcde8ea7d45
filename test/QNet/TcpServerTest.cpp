#include "QNet/TcpServer.h"

#include "QBase/Function.h"
#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QBase;
using namespace QNet;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

Ptr<TcpServer> MakeServer()
{
    return TcpServer::Construct(Value::Null);
}

Ptr<TcpStream> ConnectTo(const char* pHost, const TcpServer* pServer)
{
    Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
    EXPECT_TRUE(pStream->Connect(pHost, pServer->GetPort()));
    return pStream;
}

} // namespace

TEST(TcpServerTest, AServerThatDoesNotListenHasNoPortAndAcceptsNobody)
{
    const Ptr<TcpServer> pServer = MakeServer();
    EXPECT_EQ(pServer->GetPort(), 0);
    EXPECT_EQ(pServer->Accept(), nullptr);
    pServer->Close();
}

TEST(TcpServerTest, AddressesThatCannotBeListenedAtAreReported)
{
    CapturedMessages messages;
    const Ptr<TcpServer> pServer = MakeServer();
    EXPECT_FALSE(pServer->Listen("no address", 0));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to listen at 'no address:0' - no address of this machine"));
    EXPECT_FALSE(pServer->Listen("", 65536));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to listen at '127.0.0.1:65536' - that is no port"));
    EXPECT_FALSE(pServer->Listen("", -1));
    EXPECT_THAT(messages.TakeError(), EndsWith("- that is no port"));
    EXPECT_FALSE(pServer->Listen("192.0.2.1", 0));
    EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to listen at '192.0.2.1:0' - "));
}

TEST(TcpServerTest, PeersThatLeaveAbruptlyAndShortagesAreReported)
{
    if (!IsBuilt("AbruptPeers")) {
        GTEST_SKIP() << "this system's programs cannot stand in for its functions";
    }
    const Outcome outcome = RunApart({{BinaryPath("AbruptPeers")}});
    EXPECT_EQ(outcome.mExitCode, 0);
    for (const char* pLine :
         {"WARNING: Failed to read from '127.0.0.1:", "\nbroken: closed\n",
          "\ngone: somebody who left at once\n", "\nshort of descriptors: accepted later\n",
          "\nshort of memory: closed\n", "\njoining: lost\n"}) {
        EXPECT_THAT(outcome.mOutput, HasSubstr(pLine));
    }
    for (const char* pReport : {"Failed to accept connections at port ",
                                "Failed to write 100000 bytes to '127.0.0.1:", "' - out of memory",
                                "it left before both had agreed"}) {
        EXPECT_THAT(outcome.mErrors, HasSubstr(pReport));
    }
}

TEST(TcpServerThreadTest, APortThatIsTakenIsReported)
{
    const Ptr<TcpServer> pFirst = MakeServer();
    ASSERT_TRUE(pFirst->Listen("", 0));
    CapturedMessages messages;
    const Ptr<TcpServer> pSecond = MakeServer();
    EXPECT_FALSE(pSecond->Listen("", pFirst->GetPort()));
    EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to listen at '127.0.0.1:"));
    EXPECT_FALSE(pFirst->Listen("", 0));
    EXPECT_THAT(messages.TakeError(), EndsWith("- the server listens already"));
}

TEST(TcpServerThreadTest, ItListensAtThisMachineOnlyUnlessTold)
{
    const Ptr<TcpServer> pServer = MakeServer();
    ASSERT_TRUE(pServer->Listen("", 0));
    const Ptr<TcpStream> pNear = ConnectTo("127.0.0.1", pServer);
    Ptr<TcpStream> pFar;
    ASSERT_TRUE(WaitUntil([&] { return (pFar = pServer->Accept()) != nullptr; }));
    EXPECT_THAT(pFar->GetAddress().c_str(), testing::StartsWith("127.0.0.1:"));

    // Another address of the machine, which a server that listens at all of them answers.
    CapturedMessages messages;
    const Ptr<TcpStream> pElsewhere = ConnectTo("127.0.0.2", pServer);
    ASSERT_TRUE(WaitUntil([&] { return pElsewhere->GetState() == TcpStream::CLOSED; }));
    EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to connect to '127.0.0.2:"));
    const Ptr<TcpServer> pWide = MakeServer();
    ASSERT_TRUE(pWide->Listen("0.0.0.0", 0));
    const Ptr<TcpStream> pOther = ConnectTo("127.0.0.2", pWide);
    ASSERT_TRUE(WaitUntil([&] { return pOther->GetState() == TcpStream::OPEN; }));
}

TEST(TcpServerThreadTest, ManyConnectionsAreTakenInTurn)
{
    const Ptr<TcpServer> pServer = MakeServer();
    ASSERT_TRUE(pServer->Listen("", 0));
    std::vector<Ptr<TcpStream>> near;
    for (int i = 0; i < 100; ++i) { // more than wait in the server itself
        near.push_back(ConnectTo("127.0.0.1", pServer));
    }
    std::vector<Ptr<TcpStream>> far;
    ASSERT_TRUE(WaitUntil([&] {
        if (const Ptr<TcpStream> pStream = pServer->Accept()) {
            EXPECT_FALSE(pStream->IsTrusted());
            far.push_back(pStream);
        }
        return far.size() == near.size();
    }));
    EXPECT_EQ(pServer->Accept(), nullptr);
    for (const Ptr<TcpStream>& pStream : near) {
        ASSERT_TRUE(WaitUntil([&] { return pStream->GetState() == TcpStream::OPEN; }));
        pStream->Write("x", 1);
    }
    for (const Ptr<TcpStream>& pStream : far) {
        ASSERT_TRUE(WaitUntil([&] { return pStream->BytesAvailable() == 1; }));
    }
}

TEST(TcpServerThreadTest, AcceptedStreamsAreTrustedWhenToldSo)
{
    const Ptr<TcpServer> pServer = MakeServer();
    pServer->SetStreamsTrusted(true);
    ASSERT_TRUE(pServer->Listen("", 0));
    const Ptr<TcpStream> pNear = ConnectTo("127.0.0.1", pServer);
    Ptr<TcpStream> pFar;
    ASSERT_TRUE(WaitUntil([&] { return (pFar = pServer->Accept()) != nullptr; }));
    EXPECT_TRUE(pFar->IsTrusted());
}

TEST(TcpServerThreadTest, ClosingEndsTheConnectionsThatNobodyAccepted)
{
    const Ptr<TcpServer> pServer = MakeServer();
    ASSERT_TRUE(pServer->Listen("", 0));
    const Ptr<TcpStream> pNear = ConnectTo("127.0.0.1", pServer);
    ASSERT_TRUE(WaitUntil([&] { return pNear->GetState() == TcpStream::OPEN; }));
    const int port = pServer->GetPort();
    pServer->Close();
    CapturedMessages messages;
    EXPECT_TRUE(WaitUntil([&] { return pNear->GetState() == TcpStream::CLOSED; }));
    messages.TakeAll();         // the system may call it a reset
    ASSERT_TRUE(WaitUntil([&] { // the port is free again
        pServer->Listen("", port);
        return pServer->GetPort() == port;
    }));
    messages.TakeAll();
}
