// A program among peers that leave as no polite program does, on a system that is short of descriptors and
// memory: the program's own functions stand before the system's. Says what becomes of each.

#include "QNet/Node.h"
#include "QNet/TcpServer.h"
#include "QNet/TcpStream.h"

#include "QBase/String.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace QBase;
using namespace QNet;

namespace
{

std::atomic<bool> g_bShortOfDescriptors{false};
std::atomic<bool> g_bShortOfMemory{false};
constexpr std::size_t LARGE = 4096; // what there is no room for then
constexpr int MOST_WAITING = 64;    // connections that a server keeps for Accept

} // namespace

void* operator new(std::size_t size)
{
    void* const p = g_bShortOfMemory && size >= LARGE ? nullptr : std::malloc(size > 0 ? size : 1);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

extern "C" int accept(int socket, sockaddr* pAddress, socklen_t* pSize)
{
    if (g_bShortOfDescriptors) {
        errno = EMFILE;
        return -1;
    }
    return accept4(socket, pAddress, pSize, 0);
}

namespace
{

// Ends the program when nothing comes of it for a minute.
void WaitFor(const char* pWhat, const std::function<bool()>& condition)
{
    for (int i = 0; i < 60000; ++i) {
        if (condition()) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::printf("waited in vain for %s\n", pWhat);
    std::exit(EXIT_FAILURE);
}

sockaddr_in AddressOf(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

int ConnectTo(int port)
{
    const int peer = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = AddressOf(port);
    if (connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        std::puts("cannot connect");
        std::exit(EXIT_FAILURE);
    }
    return peer;
}

// The system tells the other end that the connection broke.
void Reset(int peer)
{
    const linger now = {1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    close(peer);
}

Ptr<TcpStream> Accept(TcpServer* pServer)
{
    Ptr<TcpStream> pStream;
    WaitFor("a stream", [&] { return (pStream = pServer->Accept()) != nullptr; });
    return pStream;
}

void BreakAnOpenConnection(TcpServer* pServer)
{
    const int peer = ConnectTo(pServer->GetPort());
    const Ptr<TcpStream> pStream = Accept(pServer);
    Reset(peer);
    WaitFor("the end of a broken connection", [&] { return pStream->GetState() == TcpStream::CLOSED; });
    std::puts("broken: closed");
}

void LeaveBeforeBeingAccepted(TcpServer* pServer)
{
    int peers[MOST_WAITING];
    for (int& rPeer : peers) {
        rPeer = ConnectTo(pServer->GetPort());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // until all of them wait
    Reset(ConnectTo(pServer->GetPort()));
    for (const int peer : peers) {
        Accept(pServer);
        close(peer);
    }
    std::printf("gone: %s\n", Accept(pServer)->GetAddress().c_str());
}

void RunOutOfDescriptors(TcpServer* pServer)
{
    // The accept that already waits for somebody takes the first one, before there are none left.
    close(ConnectTo(pServer->GetPort()));
    Accept(pServer);
    g_bShortOfDescriptors = true;
    const int peer = ConnectTo(pServer->GetPort());
    for (int i = 0; i < 200; ++i) {
        pServer->Accept(); // reports once
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    g_bShortOfDescriptors = false;
    Accept(pServer);
    std::puts("short of descriptors: accepted later");
    close(peer);
}

void RunOutOfMemory(TcpServer* pServer)
{
    const std::string bytes(100000, 'x');
    const int peer = ConnectTo(pServer->GetPort());
    const Ptr<TcpStream> pStream = Accept(pServer);
    g_bShortOfMemory = true;
    pStream->Write(bytes.data(), static_cast<int>(bytes.size()));
    g_bShortOfMemory = false;
    WaitFor("the end of a starved connection", [&] { return pStream->GetState() == TcpStream::CLOSED; });
    close(peer);
    std::puts("short of memory: closed");
}

void LeaveANodeBeforeAgreeing()
{
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = AddressOf(0);
    socklen_t size = sizeof(address);
    if (bind(server, reinterpret_cast<const sockaddr*>(&address), size) != 0 || listen(server, 1) != 0 ||
        getsockname(server, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::exit(EXIT_FAILURE);
    }
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    pNode->Join("127.0.0.1", ntohs(address.sin_port));
    const int peer = accept4(server, nullptr, nullptr, 0);
    char byte = 0;
    WaitFor("the node's first word", [&] {
        pNode->Update();
        return recv(peer, &byte, 1, MSG_DONTWAIT) == 1;
    });
    shutdown(peer, SHUT_WR);
    WaitFor("the end of a joining", [&] {
        pNode->Update();
        return pNode->GetState() == Node::LOST;
    });
    std::puts("joining: lost");
    close(peer);
    close(server);
}

} // namespace

int main()
{
    const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
    if (!pServer->Listen("", 0)) {
        return EXIT_FAILURE;
    }
    BreakAnOpenConnection(pServer);
    LeaveBeforeBeingAccepted(pServer);
    RunOutOfDescriptors(pServer);
    RunOutOfMemory(pServer);
    LeaveANodeBeforeAgreeing();
    return EXIT_SUCCESS;
}
