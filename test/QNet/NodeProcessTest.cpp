// Nodes of several processes, of which some end, stop or fall silent at a moment that suits nobody.

#include "QNet/Node.h"

#include "QBase/List.h"
#include "QBase/Property.h"
#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Patterns.h"
#include "Support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace QBase;
using namespace QNet;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// More than any system keeps for a peer that takes nothing.
constexpr std::size_t MUCH = 32 * 1024 * 1024;

Ptr<Node> MakeNode()
{
    Ptr<Node> pNode = Node::Construct(Value::Null);
    pNode->GetSerializer()->RegisterType(Object::ClassTable());
    pNode->GetSerializer()->RegisterType(List::ClassTable());
    return pNode;
}

String TextOf(Object* pRoot)
{
    Property* const pText = pRoot != nullptr ? pRoot->FindProperty("Text") : nullptr;
    return pText != nullptr ? pText->Get(pRoot).AsString() : String::Null;
}

// A source in this process; its peers are other processes.
class NodeProcessThreadTest : public testing::Test
{
protected:
    using Peer = std::unique_ptr<RunningProgram>;

    void SetUp() override
    {
        mpRoot = Object::Construct(Value::Null);
        mpRoot->AddPropertyValueFromValue("Text", "first");
        mpSource = MakeNode();
        mpSource->GetSerializer()->SetRoot(mpRoot);
        ASSERT_TRUE(mpSource->Serve("", 0));
    }

    void TearDown() override
    {
        mpSource->Leave();
        EXPECT_THAT(TakeTroubles(), IsEmpty());
    }

    static Peer Start(const char* pMode, int port)
    {
        return std::make_unique<RunningProgram>(
            ProgramStart{{BinaryPath("FramePeer"), pMode, std::to_string(port)}});
    }

    bool WaitFor(const std::function<bool()>& isDone)
    {
        return WaitUntil([&] {
            mpSource->Update();
            return isDone();
        });
    }

    // Starts a peer of the source, and waits until it is there and has said this.
    Peer Join(const char* pMode, const std::string& words)
    {
        const int numPeers = mpSource->GetNumPeers();
        Peer pPeer = Start(pMode, mpSource->GetPort());
        EXPECT_TRUE(
            WaitFor([&] { return mpSource->GetNumPeers() == numPeers + 1 && pPeer->HasPrinted(words); }));
        return pPeer;
    }

    void SetText(const std::string& text) { mpRoot->FindProperty("Text")->Set(mpRoot, text.c_str()); }

    // A text of that size, and what replicas print of it.
    std::string SetLongText(std::size_t size)
    {
        const std::string tail = std::to_string(10000000 + ++mNumTexts);
        SetText(std::string(size - tail.size(), 'x') + tail);
        return "text of " + std::to_string(size) + ": " + tail;
    }

    // Others are as they were: they get what changes now.
    testing::AssertionResult GoesOn(const Peer& pPeer)
    {
        const std::string words = SetLongText(1000);
        return WaitFor([&] { return pPeer->HasPrinted(words); })
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << "it printed " << pPeer->GetOutput();
    }

    // One of two peers takes nothing of a text for 300 ms, while the other gets it and goes on.
    void ExpectOneDropped(const Peer& pOther, const std::string& words)
    {
        ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
        EXPECT_THAT(TakeTroubles(),
                    ElementsAre(MatchesPattern("ERROR: TcpStream .*: Failed to write to '127.0.0.1:[0-9]+' - "
                                               "it took none of [0-9]+ bytes for 300 ms")));
        EXPECT_TRUE(WaitFor([&] { return pOther->HasPrinted(words); }));
        EXPECT_TRUE(GoesOn(pOther));
    }

    static int PortOf(const Peer& pPeer)
    {
        std::istringstream output(pPeer->GetOutput());
        std::string word;
        int port = 0;
        while (output >> word && !(word == "port" && output >> port)) {}
        return port;
    }

    // All messages until now, but for who joined and left in good order.
    std::vector<std::string> TakeTroubles()
    {
        std::vector<std::string> troubles;
        for (const std::string& message : mMessages.TakeAll()) {
            if (!testing::Matches(MatchesPattern("'.*' (joined|left|ended)"))(message)) {
                troubles.push_back(message);
            }
        }
        return troubles;
    }

    CapturedMessages mMessages;
    Ptr<Object> mpRoot;
    Ptr<Node> mpSource;
    int mNumTexts = 0;
};

} // namespace

TEST_F(NodeProcessThreadTest, OneThatIsKilledInAFrameItSendsIsReportedAndTheOthersGoOn)
{
    const Peer pOther = Join("replica", "text of 5: first");
    const Peer pPeer = Join("half", "ready");
    ASSERT_TRUE(GoesOn(pOther));
    EXPECT_THAT(TakeTroubles(), IsEmpty()); // half a frame is no trouble yet
    pPeer->Kill();
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
    EXPECT_THAT(TakeTroubles(),
                Contains(MatchesPattern("ERROR: Node .*: Failed to read a frame from '127.0.0.1:[0-9]+' - it "
                                        "left after 20 bytes of it")));
    EXPECT_TRUE(GoesOn(pOther));
}

TEST_F(NodeProcessThreadTest, OneThatIsKilledInAFrameItReceivesIsReportedAndTheOthersGoOn)
{
    const Peer pOther = Join("replica", "text of 5: first");
    const Peer pPeer = Join("deaf", "ready");
    const std::string words = SetLongText(MUCH);
    ASSERT_TRUE(WaitFor([&] { return pOther->HasPrinted(words); }));
    ASSERT_GT(mpSource->GetPeer(1)->GetNumBytesWaiting(), 0); // the rest of the frame
    EXPECT_THAT(TakeTroubles(), IsEmpty());
    pPeer->Kill();
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
    EXPECT_THAT(
        TakeTroubles(),
        ElementsAre(MatchesPattern(
            "WARNING: Failed to (read from|write to) '127.0.0.1:[0-9]+' - .*"))); // the system's words
    EXPECT_TRUE(GoesOn(pOther));
}

TEST_F(NodeProcessThreadTest, OneThatReadsNothingIsReportedAndDroppedAndTheOthersGoOn)
{
    mpSource->SetStallTime(300);
    const Peer pOther = Join("replica", "text of 5: first");
    const Peer pPeer = Join("deaf", "ready");
    const std::string words = SetLongText(MUCH);
    ExpectOneDropped(pOther, words);
}

TEST_F(NodeProcessThreadTest, OneThatIsStoppedFromOutsideIsReportedAndDroppedAndTheOthersGoOn)
{
    mpSource->SetStallTime(300);
    const Peer pOther = Join("replica", "text of 5: first");
    const Peer pPeer = Join("replica", "text of 5: first");
    if (!pPeer->Pause()) {
        GTEST_SKIP() << "this system stops no other program";
    }
    const std::string words = SetLongText(MUCH);
    ExpectOneDropped(pOther, words);
    EXPECT_FALSE(pPeer->HasPrinted(words));
}

TEST_F(NodeProcessThreadTest, ASourceThatIsKilledInAPassLeavesItsReplicaTheLastWholeOne)
{
    const Peer pOther = Start("source", 0);
    ASSERT_TRUE(WaitUntil([&] { return PortOf(pOther) != 0; }));
    const Ptr<Node> pReplica = MakeNode();
    ASSERT_TRUE(pReplica->Join("127.0.0.1", PortOf(pOther)));
    ASSERT_TRUE(WaitUntil([&] {
        pReplica->Update();
        return TextOf(pReplica->GetRoot()) == String("whole") && pOther->HasPrinted("ready");
    }));
    EXPECT_THAT(TakeTroubles(), IsEmpty());
    pOther->Kill();
    ASSERT_TRUE(WaitUntil([&] {
        pReplica->Update();
        return pReplica->GetState() == Node::LOST;
    }));
    EXPECT_THAT(TakeTroubles(),
                Contains(MatchesPattern("ERROR: Node .*: Failed to read a pass from '127.0.0.1:[0-9]+' - it "
                                        "left after 20 bytes of it")));
    EXPECT_EQ(TextOf(pReplica->GetRoot()), String("whole"));
    EXPECT_EQ(pReplica->GetNumPasses(), 1);
}

TEST_F(NodeProcessThreadTest, ARelayThatIsKilledInAFrameItPassesOnTakesNobodyAlong)
{
    const Peer pOther = Join("replica", "text of 5: first");
    const Peer pRelay = Join("relay", "text of 5: first");
    const Ptr<Node> pLate = MakeNode();
    ASSERT_TRUE(pLate->Join("127.0.0.1", PortOf(pRelay)));
    ASSERT_TRUE(WaitFor([&] {
        pLate->Update();
        return TextOf(pLate->GetRoot()) == String("first");
    }));
    const std::string words = SetLongText(MUCH);
    ASSERT_TRUE(WaitFor([&] { return pRelay->HasPrinted(words) && pOther->HasPrinted(words); }));
    // The late peer has not taken anything of it, so the relay still holds most of it.
    ASSERT_TRUE(WaitFor([&] { return pLate->GetSource()->BytesAvailable() > 0; }));
    pRelay->Kill();
    ASSERT_TRUE(WaitFor([&] {
        pLate->Update();
        return pLate->GetState() == Node::LOST && mpSource->GetNumPeers() == 1;
    }));
    EXPECT_THAT(TakeTroubles(),
                Contains(MatchesPattern("ERROR: Node .*: Failed to read a pass from '127.0.0.1:[0-9]+' - it "
                                        "left after [1-9][0-9]* bytes of it")));
    EXPECT_EQ(TextOf(pLate->GetRoot()), String("first"));
    EXPECT_TRUE(GoesOn(pOther));
}

TEST_F(NodeProcessThreadTest, ManyProcessesComeGoAndDieWhileTheGraphChanges)
{
    const Peer pOther = Join("replica", "text of 5: first");
    std::vector<Peer> peers;
    struct Mode
    {
        const char* mpName;
        const char* mpWords;
    };
    for (const Mode& mode : {Mode{"replica", "text of"}, Mode{"leave", "text of"}, Mode{"half", "ready"},
                             Mode{"deaf", "ready"}, Mode{"relay", "text of"}, Mode{"leave", "text of"}}) {
        peers.push_back(Start(mode.mpName, mpSource->GetPort()));
        SetLongText(100000);
        ASSERT_TRUE(WaitFor([&] { return peers.back()->HasPrinted(mode.mpWords); })) << mode.mpName;
    }
    EXPECT_EQ(peers[1]->Wait(), 0);
    EXPECT_EQ(peers[5]->Wait(), 0);
    for (const std::size_t i : {4u, 2u, 0u, 3u}) {
        SetLongText(100000);
        mpSource->Update(); // to somebody who is about to be killed
        peers[i]->Kill();
        EXPECT_TRUE(GoesOn(pOther));
    }
    EXPECT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
    EXPECT_THAT(
        TakeTroubles(),
        Each(MatchesPattern("ERROR: Node .*: Failed to read a frame from .*- it left after 20 bytes of it|"
                            "WARNING: Failed to (read from|write to) .*")));
    EXPECT_TRUE(GoesOn(pOther));
}
