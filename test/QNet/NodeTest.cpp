#include "QNet/Node.h"

#include "QNet/Handshake.h"
#include "QNet/TcpServer.h"

#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"
#include "Support/Bytes.h"
#include "Support/CapturedMessages.h"
#include "Support/GraphEditor.h"
#include "Support/Patterns.h"
#include "Support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace QBase;
using namespace QNet;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

void RegisterClasses(ObjectDiffSerializer* pSerializer)
{
    pSerializer->RegisterType(Object::ClassTable());
    pSerializer->RegisterType(Table::ClassTable());
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Probe::ClassTable());
}

Ptr<Node> MakeNode()
{
    Ptr<Node> pNode = Node::Construct(Value::Null);
    RegisterClasses(pNode->GetSerializer());
    return pNode;
}

Probe* AsProbe(Object* pObject)
{
    return static_cast<Probe*>(pObject);
}

void Put(Stream* pStream, const std::string& bytes)
{
    EXPECT_EQ(pStream->Write(bytes.data(), static_cast<int>(bytes.size())), static_cast<int>(bytes.size()));
}

std::string TakeAll(Stream* pStream)
{
    std::string bytes(static_cast<std::size_t>(pStream->BytesAvailable()), '\0');
    pStream->Read(bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

// Nodes that are updated in turn, as programs of their own would be, over real sockets.
class NodeThreadTest : public testing::Test
{
protected:
    void SetUp() override { mpSource = Serve(MakeNode()); }

    void TearDown() override
    {
        for (const Ptr<Node>& pNode : mNodes) {
            pNode->Leave();
            Dissolve(pNode->GetRoot());
        }
        mNodes.clear();
        EXPECT_THAT(mMessages.TakeAll(), Each(MatchesPattern("'.*' (joined|left|ended)")));
    }

    Ptr<Node> Serve(const Ptr<Node>& pNode)
    {
        EXPECT_TRUE(pNode->Serve("", 0));
        mNodes.push_back(pNode);
        return pNode;
    }

    Ptr<Node> Join(const Ptr<Node>& pNode, Node* pOther)
    {
        EXPECT_TRUE(pNode->Join("127.0.0.1", pOther->GetPort()));
        mNodes.push_back(pNode);
        EXPECT_TRUE(WaitFor([&] { return pNode->GetState() != Node::JOINING; }));
        return pNode;
    }

    Ptr<Node> Join(Node* pOther)
    {
        const Ptr<Node> pNode = Join(MakeNode(), pOther);
        EXPECT_EQ(pNode->GetState(), Node::JOINED);
        return pNode;
    }

    void UpdateAll()
    {
        for (const Ptr<Node>& pNode : mNodes) {
            pNode->Update();
        }
    }

    bool WaitFor(const std::function<bool()>& isDone)
    {
        return WaitUntil([&] {
            UpdateAll();
            return isDone();
        });
    }

    // Until every node has the graph of the source.
    testing::AssertionResult AllBecomeEqual()
    {
        const std::string expected = DescribeGraph(mpSource->GetRoot());
        for (const Ptr<Node>& pNode : mNodes) {
            if (!WaitFor([&] { return DescribeGraph(pNode->GetRoot()) == expected; })) {
                return testing::AssertionFailure()
                       << "expected " << expected << "\nfound " << DescribeGraph(pNode->GetRoot());
            }
        }
        return testing::AssertionSuccess();
    }

    // A peer without a node: a connection that has agreed, for bytes of the test's own.
    Ptr<TcpStream> JoinByHand(Node* pOther)
    {
        Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
        EXPECT_TRUE(pStream->Connect("127.0.0.1", pOther->GetPort()));
        Agree(pStream);
        return pStream;
    }

    // A source without a node: what a node joins that has agreed with it. The stream to the node; null, and a
    // failed test, when it does not come.
    Ptr<TcpStream> ServeByHand(Node* pNode)
    {
        const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
        EXPECT_TRUE(pServer->Listen("", 0));
        mNodes.push_back(pNode);
        EXPECT_TRUE(pNode->Join("127.0.0.1", pServer->GetPort()));
        Ptr<TcpStream> pStream;
        EXPECT_TRUE(WaitFor([&] { return (pStream = pServer->Accept()) != nullptr; }));
        if (pStream != nullptr) {
            Agree(pStream);
        }
        return pStream;
    }

    void Agree(TcpStream* pStream)
    {
        const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
        RegisterClasses(pSerializer);
        Handshake handshake(pStream, pSerializer, "by hand");
        EXPECT_TRUE(WaitFor([&] { return handshake.Update() == Handshake::AGREED; }));
    }

    // All errors until now; the others are only who joined and left.
    std::vector<std::string> TakeErrors()
    {
        std::vector<std::string> errors;
        for (const std::string& message : mMessages.TakeAll()) {
            if (message.rfind("ERROR: ", 0) == 0) {
                errors.push_back(message);
            }
        }
        return errors;
    }

    // Updates until there is an error, and takes it.
    std::string WaitForError()
    {
        std::vector<std::string> errors;
        EXPECT_TRUE(WaitFor([&] {
            errors = TakeErrors();
            return !errors.empty();
        }));
        EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
        return errors.empty() ? std::string() : errors[0];
    }

    Ptr<Object> MakeGraph()
    {
        const Ptr<Object> pRoot = Probe::Construct(Value::Null);
        AsProbe(pRoot)->mNumber = 7;
        AsProbe(pRoot)->mpFriend = Probe::Construct(Value::Null);
        mpSource->GetSerializer()->SetRoot(pRoot);
        return pRoot;
    }

    CapturedMessages mMessages;
    Ptr<Node> mpSource;
    std::vector<Ptr<Node>> mNodes;
};

} // namespace

TEST(NodeTest, AFreshNodeIsAloneAndServesNobody)
{
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    EXPECT_EQ(pNode->GetState(), Node::ALONE);
    EXPECT_EQ(pNode->GetPort(), 0);
    EXPECT_EQ(pNode->GetNumPeers(), 0);
    EXPECT_EQ(pNode->GetPeer(0), nullptr);
    EXPECT_EQ(pNode->GetSource(), nullptr);
    EXPECT_EQ(pNode->GetRoot(), nullptr);
    EXPECT_NE(pNode->GetSerializer(), nullptr);
    pNode->Update();
    pNode->Leave();
    EXPECT_TRUE(pNode->Flush(0));
}

TEST(NodeTest, ItIsReachedByNameThroughTheModule)
{
    ASSERT_NE(LoadModule("QNet"), nullptr);
    const Ptr<Object> pNode = Construct("QNet", "Node");
    ASSERT_NE(pNode, nullptr);
    EXPECT_TRUE(pNode->Call("Serve", "", 0).Get<bool>());
    EXPECT_GT(pNode->Call("GetPort").Get<int>(), 0);
    EXPECT_EQ(pNode->Call("GetState").Get<int>(), 0);
    pNode->FindProperty("PeerLimit")->Set(pNode, 3);
    EXPECT_EQ(static_cast<Node*>(static_cast<Object*>(pNode))->GetPeerLimit(), 3);
    EXPECT_NE(pNode->FindProperty("Serializer")->Get(pNode).AsObject(), nullptr);
}

TEST(NodeTest, ACopyHasTheSettingsAndASerializerOfItsOwn)
{
    const Ptr<Node> pNode = MakeNode();
    pNode->SetPeerLimit(3);
    pNode->SetFrameSizeLimit(4);
    Node* const pCopy = static_cast<Node*>(pNode->Clone());
    EXPECT_EQ(pCopy->GetPeerLimit(), 3);
    EXPECT_EQ(pCopy->GetFrameSizeLimit(), 4);
    EXPECT_NE(pCopy->GetSerializer(), pNode->GetSerializer());
    pCopy->Release();
}

TEST_F(NodeThreadTest, AReplicaBecomesEqualToItsSourceAndStaysSo)
{
    GraphEditor editor(1);
    const Ptr<Node> pReplica = Join(mpSource);
    for (int pass = 0; pass < 50; ++pass) {
        editor.Edit(10);
        mpSource->GetSerializer()->SetRoot(editor.GetRoot());
        ASSERT_TRUE(AllBecomeEqual()) << pass;
    }
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
    EXPECT_GE(pReplica->GetNumPasses(), 25);
}

TEST_F(NodeThreadTest, ALatePeerBehindARelayMeetsTheSameGraphAfterAHundredPasses)
{
    for (std::uint32_t seed = 1; seed <= 3; ++seed) {
        GraphEditor editor(seed);
        editor.AllowRootChanges();
        const Ptr<Node> pRelay = Serve(Join(mpSource));
        mNodes.pop_back();
        Join(mpSource);
        for (int pass = 0; pass < 100; ++pass) {
            editor.Edit(20);
            mpSource->GetSerializer()->SetRoot(editor.GetRoot());
            UpdateAll();
        }
        const Ptr<Node> pLate = Join(pRelay);
        ASSERT_TRUE(AllBecomeEqual()) << seed;
        const Ptr<Node> pLateToo = Serve(Join(pLate->Serve("", 0) ? pLate : pRelay)); // behind two relays
        mNodes.pop_back();
        for (int pass = 0; pass < 20; ++pass) {
            editor.Edit(20);
            mpSource->GetSerializer()->SetRoot(editor.GetRoot());
            UpdateAll();
        }
        ASSERT_TRUE(AllBecomeEqual()) << seed;
        EXPECT_EQ(mNodes.size(), 5u);
        TearDown();
        SetUp();
    }
}

TEST_F(NodeThreadTest, APassOfManyFramesReachesALatePeerOfARelayWhole)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    mpSource->GetSerializer()->SetRoot(pList);
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 700; ++i) { // some frames
            const Ptr<Object> pProbe = Probe::Construct(Value::Null);
            AsProbe(pProbe)->mText = std::to_string(i).c_str();
            pList->Insert(pProbe);
        }
        mpSource->Update();
        Join(pRelay); // while the frames are on their way
    }
    EXPECT_TRUE(AllBecomeEqual());
    EXPECT_EQ(pRelay->GetNumPeers(), 3);
}

TEST_F(NodeThreadTest, AReplicaCallsItsSourceDirectlyAndThroughARelay)
{
    const Ptr<Object> pRoot = MakeGraph();
    mpSource->GetSerializer()->AllowFunction("Touch");
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    const Ptr<Node> pLate = Join(pRelay);
    ASSERT_TRUE(AllBecomeEqual());

    Probe* const pProbe = AsProbe(pRoot);
    pRelay->GetSerializer()->BroadcastFunctionCall(pRelay->GetRoot(), "Touch", 8, "from the relay");
    ASSERT_TRUE(WaitFor([&] { return pProbe->mCalls == 1; }));
    pLate->GetSerializer()->BroadcastFunctionCall(pLate->GetRoot(), "Touch", 9, "from behind it");
    ASSERT_TRUE(WaitFor([&] { return pProbe->mCalls == 2; }));
    EXPECT_EQ(pProbe->mNumber, 9);
    EXPECT_EQ(pProbe->mText, String("from behind it"));
    EXPECT_EQ(AsProbe(pRelay->GetRoot())->mCalls, 0); // it passes calls on and makes none
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, CallsOfTheSourceReachAllReplicas)
{
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    const Ptr<Node> pLate = Join(pRelay);
    ASSERT_TRUE(AllBecomeEqual());
    mpSource->GetSerializer()->BroadcastFunctionCall(pRoot, "Touch", 5, "all of you");
    ASSERT_TRUE(WaitFor([&] { return AsProbe(pLate->GetRoot())->mCalls == 1; }));
    EXPECT_EQ(AsProbe(pRelay->GetRoot())->mCalls, 1);
    EXPECT_EQ(AsProbe(pRoot)->mCalls, 0);

    mpSource->GetSerializer()->RemoteFunctionCall(mpSource->GetPeer(0), pRoot, "Touch", 6, "you alone");
    ASSERT_TRUE(WaitFor([&] { return AsProbe(pRelay->GetRoot())->mCalls == 2; }));
}

TEST_F(NodeThreadTest, AForbiddenCallDropsTheCallerAndNobodyElse)
{
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    const Ptr<Node> pCaller = Join(mpSource);
    ASSERT_TRUE(AllBecomeEqual());
    pCaller->GetSerializer()->BroadcastFunctionCall(pCaller->GetRoot(), "Touch", 1, "");
    EXPECT_THAT(WaitForError(), HasSubstr("Touch"));
    ASSERT_TRUE(WaitFor([&] { return pCaller->GetState() == Node::LOST; }));
    EXPECT_EQ(AsProbe(pRoot)->mCalls, 0);
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
    AsProbe(pRoot)->mNumber = 100;
    ASSERT_TRUE(WaitFor([&] { return AsProbe(pReplica->GetRoot())->mNumber == 100; }));
    EXPECT_EQ(AsProbe(pCaller->GetRoot())->mNumber, 7); // its last state
}

TEST_F(NodeThreadTest, TrustedPeersCallWhatTheyLike)
{
    const Ptr<Object> pRoot = MakeGraph();
    mpSource->SetPeersTrusted(true);
    const Ptr<Node> pCaller = Join(mpSource);
    ASSERT_TRUE(AllBecomeEqual());
    pCaller->GetSerializer()->BroadcastFunctionCall(pCaller->GetRoot(), "Touch", 1, "");
    EXPECT_TRUE(WaitFor([&] { return AsProbe(pRoot)->mCalls == 1; }));
}

TEST_F(NodeThreadTest, ClassesThatDifferEndTheConnectionOnBothSides)
{
    const Ptr<Node> pOther = Node::Construct(Value::Null);
    pOther->GetSerializer()->RegisterType(Object::ClassTable());
    pOther->GetSerializer()->RegisterType(List::ClassTable());
    Join(pOther, mpSource);
    EXPECT_EQ(pOther->GetState(), Node::LOST);
    std::vector<std::string> errors;
    ASSERT_TRUE(WaitFor([&] {
        for (const std::string& error : TakeErrors()) {
            errors.push_back(error);
        }
        return errors.size() == 2;
    }));
    EXPECT_THAT(errors, Contains(EndsWith("- class 1 is QBase.Table here and QBase.List there")));
    EXPECT_THAT(errors, Contains(EndsWith("- class 1 is QBase.List here and QBase.Table there")));
    EXPECT_EQ(mpSource->GetNumPeers(), 0);
}

TEST_F(NodeThreadTest, TheBytesToAPeerAreFramesAndAnEmptyOneEndsEachPass)
{
    const Ptr<Object> pRoot = Object::Construct(Value::Null);
    pRoot->AddPropertyValueFromValue("Ab", 7);
    mpSource->GetSerializer()->SetRoot(pRoot);
    const Ptr<TcpStream> pStream = JoinByHand(mpSource);
    const std::string expected = Bytes("1F 00 00 00"                   // 31 bytes of packets
                                       "01 00 01 00 00 00"             // object 1
                                       "03 01 00 00 00 01 00 00 00 01" // its property 1, an int
                                       "02 00 00 00 41 62 07 00 00 00" // "Ab", 7
                                       "00 01 00 00 00"                // the root
                                       "00 00 00 00");                 // the end of the pass
    ASSERT_TRUE(WaitFor([&] { return pStream->BytesAvailable() >= static_cast<int>(expected.size()); }));
    EXPECT_EQ(TakeAll(pStream), expected);

    for (int i = 0; i < 10; ++i) {
        UpdateAll(); // nothing changed, so nothing is sent
    }
    pRoot->FindProperty("Ab")->Set(pRoot, 8);
    const std::string change = Bytes("09 00 00 00 04 01 00 00 00 08 00 00 00 00 00 00 00");
    ASSERT_TRUE(WaitFor([&] { return pStream->BytesAvailable() >= static_cast<int>(change.size()); }));
    EXPECT_EQ(TakeAll(pStream), change);
}

TEST_F(NodeThreadTest, FramesDeliveredByteByByteAreAppliedOnceTheirPassIsWhole)
{
    const Ptr<Node> pReplica = MakeNode();
    const Ptr<TcpStream> pStream = ServeByHand(pReplica);
    ASSERT_NE(pStream, nullptr);
    const std::string pass = Bytes("06 00 00 00 01 00 01 00 00 00" // two frames, one packet each
                                   "05 00 00 00 00 01 00 00 00"
                                   "00 00 00 00");
    for (std::size_t i = 0; i < pass.size(); ++i) {
        EXPECT_EQ(pReplica->GetRoot(), nullptr) << i;
        Put(pStream, pass.substr(i, 1));
        ASSERT_TRUE(pStream->Flush(10000));
        for (int update = 0; update < 3; ++update) {
            pReplica->Update();
        }
    }
    EXPECT_TRUE(WaitFor([&] { return pReplica->GetRoot() != nullptr; }));
    EXPECT_EQ(pReplica->GetNumPasses(), 1);
}

TEST_F(NodeThreadTest, ASourceThatDiesInAPassLeavesTheReplicaAsItWas)
{
    const Ptr<Node> pReplica = MakeNode();
    const Ptr<TcpStream> pStream = ServeByHand(pReplica);
    ASSERT_NE(pStream, nullptr);
    Put(pStream, Bytes("0B 00 00 00 01 00 01 00 00 00 00 01 00 00 00 00 00 00 00"));
    ASSERT_TRUE(WaitFor([&] { return pReplica->GetRoot() != nullptr; }));
    Put(pStream, Bytes("05 00 00 00 00 00 00 00 00" /* no root */ "10 00 00 00 01")); // and half a frame
    pStream->Close();
    EXPECT_THAT(WaitForError(),
                MatchesPattern("ERROR: Node .*: Failed to read a pass from '127.0.0.1:[0-9]+' - it "
                               "left after 14 bytes of it"));
    EXPECT_EQ(pReplica->GetState(), Node::LOST);
    EXPECT_NE(pReplica->GetRoot(), nullptr);
}

TEST_F(NodeThreadTest, ASourceThatIsNotTrustedIsLeftWhenItBreaksAPromise)
{
    struct Broken
    {
        std::string mPass;
        const char* mpError;
    };
    const Broken passes[] = {
        {Bytes("05 00 00 00 00 2A 00 00 00 00 00 00 00"), "ASSERT( pObject )"},
        {Bytes("05 00 00 00 63 00 00 00 00 00 00 00 00"), "Failed to"},
        {Bytes("02 00 00 01"), "over the limit of 16777216 bytes"},
    };
    for (const Broken& broken : passes) {
        const Ptr<Node> pReplica = MakeNode();
        pReplica->SetSourceTrusted(false);
        const Ptr<TcpStream> pStream = ServeByHand(pReplica);
        ASSERT_NE(pStream, nullptr);
        Put(pStream, broken.mPass);
        EXPECT_THAT(WaitForError(), HasSubstr(broken.mpError));
        EXPECT_EQ(pReplica->GetState(), Node::LOST);
        EXPECT_TRUE(WaitFor([&] { return pStream->GetState() == TcpStream::CLOSED; }));
    }
}

TEST_F(NodeThreadTest, APeerThatDiesInAFrameIsReportedAndTheOthersGoOn)
{
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    const Ptr<TcpStream> pStream = JoinByHand(mpSource);
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 2; }));
    Put(pStream, Bytes("20 00 00 00 11 01 00"));
    pStream->Close();
    EXPECT_THAT(WaitForError(),
                MatchesPattern("ERROR: Node .*: Failed to read a frame from '127.0.0.1:[0-9]+' - it left "
                               "after 7 bytes of it"));
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
    AsProbe(pRoot)->mNumber = 1;
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, WhatStrangersSendHarmsOnlyThemselves)
{
    MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    ASSERT_TRUE(AllBecomeEqual());
    const std::string before = DescribeGraph(mpSource->GetRoot());
    struct Wrong
    {
        std::string mBytes;
        const char* mpError;
    };
    const Wrong wrongs[] = {
        {Bytes("05 00 00 00 63 01 02 03 04"), "Failed to"}, // no such packet
        {Bytes("05 00 00 00 00 00 00 00 00"),
         "of kind 0 from QNet.FrameStream - the stream is for calls alone"},
        {Bytes("05 00 00 00 02 02 00 00 00"),
         "of kind 2 from QNet.FrameStream - the stream is for calls alone"},
        {Bytes("06 00 00 00 01 00 2A 00 00 00"),
         "of kind 1 from QNet.FrameStream - the stream is for calls alone"},
        {Bytes("01 00 00 01"), "over the limit of 16777216 bytes"},
        {Bytes("FF FF FF FF"), "over the limit of 16777216 bytes"},
    };
    for (const Wrong& wrong : wrongs) {
        const Ptr<TcpStream> pStream = JoinByHand(mpSource);
        Put(pStream, wrong.mBytes);
        EXPECT_THAT(WaitForError(), HasSubstr(wrong.mpError));
        EXPECT_TRUE(WaitFor([&] { return pStream->GetState() == TcpStream::CLOSED; }));
        EXPECT_EQ(mpSource->GetNumPeers(), 1);
    }
    EXPECT_EQ(DescribeGraph(mpSource->GetRoot()), before);
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, TheHostSetsTheLimitOfFrames)
{
    MakeGraph();
    mpSource->SetFrameSizeLimit(100);
    const Ptr<TcpStream> pStream = JoinByHand(mpSource);
    Put(pStream, Bytes("65 00 00 00"));
    EXPECT_THAT(WaitForError(), EndsWith("size 101 is over the limit of 100 bytes"));
}

TEST_F(NodeThreadTest, ARelayPassesOnNothingButWholeCalls)
{
    const Ptr<Object> pRoot = MakeGraph();
    mpSource->GetSerializer()->AllowFunction("Ask");
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    ASSERT_TRUE(AllBecomeEqual());
    const std::string wrongs[] = {
        Bytes("05 00 00 00 00 00 00 00 00"),                   // a new root
        Bytes("05 00 00 00 11 01 00 00 00"),                   // a call without its count
        Bytes("06 00 00 00 11 01 00 00 00 06"),                // six arguments
        Bytes("07 00 00 00 11 01 00 00 00 01 0D"),             // an argument of any type
        Bytes("0A 00 00 00 11 01 00 00 00 01 01 01 02 03"),    // three bytes of an int
        Bytes("0B 00 00 00 11 01 00 00 00 01 04 FF FF FF FF"), // a text without end
        Bytes("07 00 00 00 11 01 00 00 00 00 05"),             // something behind the call
    };
    for (const std::string& wrong : wrongs) {
        const Ptr<TcpStream> pStream = JoinByHand(pRelay);
        Put(pStream, wrong);
        EXPECT_THAT(WaitForError(), HasSubstr("Failed to pass on a frame from '127.0.0.1:"));
        EXPECT_TRUE(WaitFor([&] { return pStream->GetState() == TcpStream::CLOSED; }));
    }
    EXPECT_EQ(pRelay->GetState(), Node::JOINED);
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, APeerThatStallsIsDroppedAndTheOthersGoOn)
{
    mpSource->SetStallTime(100);
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    const Ptr<TcpStream> pStalled = JoinByHand(mpSource); // reads nothing from now on
    int round = 0;
    std::vector<std::string> errors;
    ASSERT_TRUE(WaitFor([&] {
        AsProbe(pRoot)->mText = (std::string(500000, 'x') + std::to_string(++round)).c_str();
        errors = TakeErrors();
        return !errors.empty();
    }));
    EXPECT_THAT(errors,
                ElementsAre(MatchesPattern("ERROR: TcpStream .*: Failed to write to '127.0.0.1:[0-9]+' - it "
                                           "took none of [0-9]+ bytes for 100 ms")));
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, ASnapshotAndAPassBeyondTheWriteLimitReachWhoReads)
{
    mpSource->SetWriteLimit(100000);
    const Ptr<List> pList = List::Construct(Value::Null);
    mpSource->GetSerializer()->SetRoot(pList);
    const auto insertMuch = [&] {
        for (int i = 0; i < 10; ++i) { // each a frame of its own, which alone is over the limit
            const Ptr<Object> pProbe = Probe::Construct(Value::Null);
            AsProbe(pProbe)->mText = std::string(200000, static_cast<char>('a' + i % 26)).c_str();
            pList->Insert(pProbe);
        }
    };
    insertMuch();
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->SetWriteLimit(100000);
    pRelay->Serve("", 0);
    Join(pRelay);
    ASSERT_TRUE(AllBecomeEqual());
    insertMuch();
    EXPECT_TRUE(AllBecomeEqual());
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(NodeThreadTest, APeerThatLeavesMoreThanTheWriteLimitBesideOnePassIsDropped)
{
    constexpr int MUCH = 32 * 1024 * 1024; // more than any system keeps
    mpSource->SetWriteLimit(100000);
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    const Ptr<TcpStream> pStalled = JoinByHand(mpSource); // reads nothing from now on
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 2; }));
    AsProbe(pRoot)->mText = std::string(MUCH, 'x').c_str();
    ASSERT_TRUE(AllBecomeEqual());
    EXPECT_THAT(TakeErrors(), IsEmpty());
    AsProbe(pRoot)->mText = std::string(99000, 'y').c_str(); // may wait beside it
    ASSERT_TRUE(AllBecomeEqual());
    EXPECT_THAT(TakeErrors(), IsEmpty());
    int round = 0;
    std::vector<std::string> errors;
    while (errors.empty() && round < MUCH / 99000) {
        AsProbe(pRoot)->mText = (std::string(99000, 'z') + std::to_string(++round)).c_str();
        ASSERT_TRUE(AllBecomeEqual()); // the replica, for which the same limit holds, keeps up
        errors = TakeErrors();
    }
    EXPECT_THAT(errors,
                Contains(MatchesPattern(
                    "ERROR: TcpStream .*: Failed to write 99[0-9]+ bytes to '127.0.0.1:[0-9]+' - [0-9]+ "
                    "bytes wait for it already, the limit is 100000")));
    EXPECT_LT(round, MUCH / 99000); // one pass of that size, and not two
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, AReplicaKeepsItsLastStateWhenTheSourceLeaves)
{
    const Ptr<Object> pRoot = MakeGraph();
    const Ptr<Node> pReplica = Join(mpSource);
    ASSERT_TRUE(AllBecomeEqual());
    AsProbe(pRoot)->mNumber = 99;
    mpSource->Update();
    mpSource->Leave(); // what was sent still arrives
    ASSERT_TRUE(WaitFor([&] { return pReplica->GetState() == Node::LOST; }));
    EXPECT_EQ(AsProbe(pReplica->GetRoot())->mNumber, 99);
    EXPECT_FALSE(pReplica->Join("127.0.0.1", 4711));
    EXPECT_THAT(mMessages.TakeAll(),
                Contains(EndsWith("Failed to join '127.0.0.1:4711' - the node joined another one before")));
}

TEST_F(NodeThreadTest, ARelaySendsItsPeersAwayWhenItsSourceIsLost)
{
    MakeGraph();
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    const Ptr<Node> pLate = Join(pRelay);
    ASSERT_TRUE(AllBecomeEqual());
    mpSource->Leave();
    ASSERT_TRUE(WaitFor([&] { return pLate->GetState() == Node::LOST; }));
    EXPECT_EQ(pRelay->GetState(), Node::LOST);
    EXPECT_EQ(pRelay->GetNumPeers(), 0);
}

TEST_F(NodeThreadTest, ARelayLetsOthersInOnceItHasJoinedItself)
{
    MakeGraph();
    const Ptr<Node> pRelay = Serve(MakeNode());
    ASSERT_TRUE(pRelay->Join("127.0.0.1", mpSource->GetPort()));
    const Ptr<Node> pEarly = Join(pRelay); // before the relay was updated once
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, NoMoreMayJoinThanThePeerLimit)
{
    MakeGraph();
    mpSource->SetPeerLimit(1);
    Join(mpSource);
    const Ptr<Node> pSecond = Join(MakeNode(), mpSource);
    EXPECT_EQ(pSecond->GetState(), Node::LOST);
    std::vector<std::string> errors = TakeErrors();
    EXPECT_THAT(errors, Contains(EndsWith("there is no room for more")));
    EXPECT_EQ(mpSource->GetNumPeers(), 1);
}

TEST_F(NodeThreadTest, WhoAdoptsTakesOverTheClassesOfTheSource)
{
    MakeGraph();
    const Ptr<Node> pReplica = Node::Construct(Value::Null);
    pReplica->SetAdopting(true);
    Join(pReplica, mpSource);
    ASSERT_EQ(pReplica->GetState(), Node::JOINED);
    EXPECT_EQ(pReplica->GetSerializer()->GetRegisteredTypes().GetSize(), 4);
    EXPECT_TRUE(AllBecomeEqual());
}

TEST_F(NodeThreadTest, WhoAdoptsIsToldOnceWhichModulesAreMissing)
{
    const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
    ASSERT_TRUE(pServer->Listen("", 0));
    const Ptr<Node> pReplica = Node::Construct(Value::Null);
    pReplica->SetAdopting(true);
    mNodes.push_back(pReplica);
    ASSERT_TRUE(pReplica->Join("127.0.0.1", pServer->GetPort()));
    Ptr<TcpStream> pStream;
    ASSERT_TRUE(WaitFor([&] { return (pStream = pServer->Accept()) != nullptr; }));
    Put(pStream, Bytes("51 4E 65 74 01 00 00 00 24 00 00 00"
                       "01 00 00 00 42 01 00 00 00 43 00 00 00 00 00 00 00 00" /* B.C */
                       "01 00 00 00 41 01 00 00 00 44 00 00 00 00 00 00 00 00" /* A.D */));
    ASSERT_TRUE(WaitFor([&] { return pReplica->GetMissingModules().size() > 0; }));
    EXPECT_EQ(pReplica->GetMissingModules(), String("A B"));
    EXPECT_EQ(pReplica->GetState(), Node::JOINING);
    pReplica->Update();
    EXPECT_EQ(pReplica->GetMissingModules(), String::Null);
    EXPECT_EQ(pReplica->GetState(), Node::LOST);
    EXPECT_THAT(TakeErrors(), ElementsAre(EndsWith("- class B.C is missing here")));
}

TEST_F(NodeThreadTest, WrongCallsAreReported)
{
    EXPECT_FALSE(mpSource->Serve("", 0));
    EXPECT_THAT(mMessages.TakeError(), EndsWith("- the node serves already"));
    const Ptr<Node> pNode = MakeNode();
    pNode->SetSerializer(nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("Failed to set serializer - serializer is null"));
    const Ptr<Node> pReplica = Join(mpSource);
    pReplica->SetSerializer(pNode->GetSerializer());
    EXPECT_THAT(TakeErrors(), ElementsAre(EndsWith("- the node is connected already")));
    ASSERT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() == 1; }));
    EXPECT_FALSE(mpSource->Join("127.0.0.1", 4711));
    EXPECT_THAT(TakeErrors(), ElementsAre(EndsWith("- others have joined it already")));
    EXPECT_FALSE(pNode->Join("127.0.0.1", 0));
    EXPECT_THAT(TakeErrors(), ElementsAre(EndsWith("- that is no port")));
    EXPECT_EQ(pNode->GetState(), Node::ALONE);
}

namespace
{

// Does to its node what a function of the graph might.
class Meddler : public Object
{
    QBASE_OBJECT(Meddler, Object)

public:
    void Meddle()
    {
        ++mNumCalls;
        mpNode->Update();
        mpNode->Leave();
    }

    Node* mpNode = nullptr;
    int mNumCalls = 0;

protected:
    explicit Meddler(const Value&) {}
};

QBASE_IMPLEMENT(NodeTests, Meddler)

void Meddler::Implement()
{
    AddFunction<&Meddler::Meddle>("Meddle");
}

} // namespace

TEST_F(NodeThreadTest, ACalledFunctionMayLeaveAndCannotUpdate)
{
    const Ptr<Object> pMeddler = Meddler::Construct(Value::Null);
    Meddler* const pTarget = static_cast<Meddler*>(static_cast<Object*>(pMeddler));
    pTarget->mpNode = mpSource;
    mpSource->GetSerializer()->RegisterType(Meddler::ClassTable());
    mpSource->GetSerializer()->SetRoot(pMeddler);
    mpSource->GetSerializer()->AllowFunction("Meddle");
    const Ptr<Node> pReplica = MakeNode();
    pReplica->GetSerializer()->RegisterType(Meddler::ClassTable());
    Join(pReplica, mpSource);
    ASSERT_TRUE(WaitFor([&] { return pReplica->GetRoot() != nullptr; }));
    pReplica->GetSerializer()->BroadcastFunctionCall(pReplica->GetRoot(), "Meddle");
    ASSERT_TRUE(WaitFor([&] { return pTarget->mNumCalls == 1; }));
    EXPECT_THAT(TakeErrors(), ElementsAre(EndsWith("Failed to update node - it is updating already")));
    EXPECT_EQ(mpSource->GetNumPeers(), 0);
    EXPECT_TRUE(WaitFor([&] { return pReplica->GetState() == Node::LOST; }));
}

TEST_F(NodeThreadTest, APeerThatNeverStopsCallingDoesNotHoldTheFrameLoopUp)
{
    const Ptr<Object> pRoot = MakeGraph();
    mpSource->GetSerializer()->AllowFunction("Touch");
    const Ptr<TcpStream> pStream = JoinByHand(mpSource);
    ASSERT_TRUE(WaitFor([&] { return pStream->BytesAvailable() > 0; }));
    const std::uint32_t id = mpSource->GetSerializer()->GetFunctionId(pRoot, "Touch");
    std::string call = Bytes("06 00 00 00 11 00 00 00 00 00"); // a call without arguments
    call[5] = static_cast<char>(id);
    std::string calls;
    for (int i = 0; i < 20000; ++i) {
        calls += call;
    }
    Put(pStream, calls);
    ASSERT_TRUE(pStream->Flush(60000));
    ASSERT_TRUE(WaitFor([&] { return AsProbe(pRoot)->mCalls > 0; }));
    Put(pStream, calls); // what comes during an update waits for the next
    EXPECT_TRUE(WaitFor([&] { return AsProbe(pRoot)->mCalls == 40000; }));
}

TEST_F(NodeThreadTest, ANodeThatGoesTakesItsStreamsOutOfTheSerializer)
{
    MakeGraph();
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    RegisterClasses(pSerializer);
    {
        const Ptr<Node> pNode = Node::Construct(Value::Null);
        pNode->SetSerializer(pSerializer);
        Join(pNode, mpSource);
        EXPECT_TRUE(AllBecomeEqual());
        EXPECT_EQ(pSerializer->GetInStreamInfo().GetSize(), 1);
        mNodes.pop_back();
    }
    EXPECT_EQ(pSerializer->GetInStreamInfo().GetSize(), 0);
    Dissolve(pSerializer->GetRoot());
}

TEST_F(NodeThreadTest, ManyPeersComeAndGoWhileTheGraphChanges)
{
    GraphEditor editor(11);
    const Ptr<Node> pRelay = Join(mpSource);
    pRelay->Serve("", 0);
    for (int round = 0; round < 30; ++round) {
        editor.Edit(10);
        mpSource->GetSerializer()->SetRoot(editor.GetRoot());
        if (mNodes.size() > 6) {
            mNodes[2]->Leave();
            Dissolve(mNodes[2]->GetRoot());
            mNodes.erase(mNodes.begin() + 2);
        }
        const Ptr<Node> pNode = MakeNode();
        Node* const pOther = round % 2 == 0 ? mpSource : pRelay;
        ASSERT_TRUE(pNode->Join("127.0.0.1", pOther->GetPort()));
        mNodes.push_back(pNode);
        UpdateAll();
    }
    ASSERT_TRUE(AllBecomeEqual());
    EXPECT_TRUE(WaitFor([&] { return mpSource->GetNumPeers() + pRelay->GetNumPeers() == 6; }));
    EXPECT_THAT(TakeErrors(), Each(HasSubstr("left before both had agreed")));
}
