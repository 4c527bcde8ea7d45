// One of several processes that share a graph over TCP, for a test that takes it away at an awkward moment.
// It says in its output how far it is, and goes on until it is killed.
//
//     FramePeer replica PORT    # a node; prints the size and the end of the root's "Text" when it changes
//     FramePeer relay PORT      # the same, and lets others join: prints "port N"
//     FramePeer leave PORT      # joins, takes one pass and leaves in good order
//     FramePeer half PORT       # joins by hand, sends the first half of a frame of calls: "ready"
//     FramePeer deaf PORT       # joins by hand and takes nothing from then on: "ready"
//     FramePeer call PORT PROPERTY FUNCTION   # joins with the source's classes and modules; calls a function
//                               # of the object that the root's property refers to: "called"
//     FramePeer source          # lets others join by hand: "port N"; the first gets a pass and half of one

#include "QNet/Handshake.h"
#include "QNet/Node.h"
#include "QNet/TcpServer.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Property.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>

using namespace QBase;
using namespace QNet;

namespace
{

void RegisterClasses(ObjectDiffSerializer* pSerializer)
{
    pSerializer->RegisterType(Object::ClassTable());
    pSerializer->RegisterType(List::ClassTable());
}

void Say(const std::string& line)
{
    std::puts(line.c_str());
    std::fflush(stdout);
}

void PassTime()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Nobody who starts this program waits so long for it; whoever was forgotten ends by itself.
bool IsForgotten()
{
    static const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    return std::chrono::steady_clock::now() > end;
}

String TextOf(Object* pRoot)
{
    Property* const pText = pRoot != nullptr ? pRoot->FindProperty("Text") : nullptr;
    return pText != nullptr ? pText->Get(pRoot).AsString() : String::Null;
}

int Replicate(int port, bool bRelay, bool bLeave)
{
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    RegisterClasses(pNode->GetSerializer());
    if (!pNode->Join("127.0.0.1", port) || (bRelay && !pNode->Serve("", 0))) {
        return EXIT_FAILURE;
    }
    if (bRelay) {
        Say("port " + std::to_string(pNode->GetPort()));
    }
    String last;
    while (pNode->GetState() != Node::LOST && !IsForgotten()) {
        pNode->Update();
        const String text = TextOf(pNode->GetRoot());
        if (text != last) {
            const std::string bytes = text.c_str();
            const std::size_t tail = bytes.size() < 8 ? bytes.size() : 8;
            Say("text of " + std::to_string(bytes.size()) + ": " + bytes.substr(bytes.size() - tail));
            last = text;
            if (bLeave) {
                break;
            }
        }
        PassTime();
    }
    pNode->Leave();
    pNode->Flush(10000);
    return EXIT_SUCCESS;
}

bool Agree(TcpStream* pStream)
{
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    RegisterClasses(pSerializer);
    Handshake handshake(pStream, pSerializer, "the other");
    while (handshake.Update() == Handshake::WAITING && !IsForgotten()) {
        PassTime();
    }
    return handshake.GetState() == Handshake::AGREED;
}

void Put(TcpStream* pStream, const std::string& bytes)
{
    pStream->Write(bytes.data(), static_cast<int>(bytes.size()));
    pStream->Flush(10000);
}

// The first bytes of a frame of `size` bytes.
std::string HalfFrame(unsigned char size, unsigned char kind)
{
    std::string bytes(static_cast<std::size_t>(4 + size / 2), '\0');
    bytes[0] = static_cast<char>(size);
    bytes[4] = static_cast<char>(kind);
    return bytes;
}

int JoinByHand(int port, bool bHalf)
{
    const Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
    if (!pStream->Connect("127.0.0.1", port) || !Agree(pStream)) {
        return EXIT_FAILURE;
    }
    if (bHalf) {
        Put(pStream, HalfFrame(32, 17));
    }
    Say("ready");
    while (!IsForgotten()) {
        std::string taken(static_cast<std::size_t>(bHalf ? pStream->BytesAvailable() : 0), '\0');
        pStream->Read(taken.data(), static_cast<int>(taken.size()));
        PassTime();
    }
    return EXIT_SUCCESS;
}

int Call(int port, const char* pProperty, const char* pFunction)
{
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    pNode->SetAdopting(true);
    if (!pNode->Join("127.0.0.1", port)) {
        return EXIT_FAILURE;
    }
    bool bCalled = false;
    while (pNode->GetState() != Node::LOST && !IsForgotten()) {
        pNode->Update();
        std::istringstream modules(pNode->GetMissingModules().c_str());
        for (std::string module; modules >> module;) {
            LoadModule(module.c_str());
        }
        Object* const pRoot = pNode->GetRoot();
        if (pRoot != nullptr && !bCalled) {
            Object* const pObject = pRoot->FindProperty(pProperty)->Get(pRoot).AsObject();
            pNode->GetSerializer()->BroadcastFunctionCall(pObject, pFunction);
            Say("called");
            bCalled = true;
        }
        PassTime();
    }
    return bCalled ? EXIT_SUCCESS : EXIT_FAILURE;
}

int ServeByHand()
{
    const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
    if (!pServer->Listen("", 0)) {
        return EXIT_FAILURE;
    }
    Say("port " + std::to_string(pServer->GetPort()));
    Ptr<TcpStream> pStream;
    while (pStream == nullptr && !IsForgotten()) {
        pStream = pServer->Accept();
        PassTime();
    }
    if (pStream == nullptr || !Agree(pStream)) {
        return EXIT_FAILURE;
    }
    const Ptr<Object> pRoot = Object::Construct(Value::Null);
    pRoot->AddPropertyValueFromValue("Text", "whole");
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    RegisterClasses(pSerializer);
    pSerializer->SetRoot(pRoot);
    pSerializer->AddOutStream(pStream);
    pSerializer->Execute(Value::Null);
    Put(pStream, std::string(4, '\0') + HalfFrame(32, 0)); // the end of the pass, and some of the next
    Say("ready");
    while (!IsForgotten()) {
        PassTime();
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int numWords, char** ppWords)
{
    const std::string mode = numWords > 1 ? ppWords[1] : "";
    const int port = numWords > 2 ? std::atoi(ppWords[2]) : 0;
    if (mode == "replica" || mode == "relay" || mode == "leave") {
        return Replicate(port, mode == "relay", mode == "leave");
    }
    if (mode == "half" || mode == "deaf") {
        return JoinByHand(port, mode == "half");
    }
    if (mode == "call" && numWords == 5) {
        return Call(port, ppWords[3], ppWords[4]);
    }
    return mode == "source" ? ServeByHand() : EXIT_FAILURE;
}
