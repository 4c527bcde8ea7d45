// Acceptor is what a TcpServer shares with the module's thread: the socket that listens, and the connections
// that came and that nobody has taken yet.
//
//     std::string trouble;
//     auto pAcceptor = std::make_shared<Acceptor>(pNetwork);
//     if (pAcceptor->Listen("127.0.0.1", 4711, trouble))
//         pAcceptor->Take(trouble); // null while nobody came
//
// Threads: the public operations belong to the server's thread, the private ones to the module's.

#pragma once

#include "QNet/Asio.h"
#include "QNet/Connection.h"
#include "QNet/NetworkThread.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace QNet
{

class Acceptor : public std::enable_shared_from_this<Acceptor>
{
public:
    explicit Acceptor(std::shared_ptr<NetworkThread> pNetwork);

    bool Listen(const std::string& address, int port, std::string& rTrouble);
    int GetPort() const { return mPort; }

    /// The next connection, or null. `rTrouble` says what went wrong since the last time, if anything did.
    std::shared_ptr<Connection> Take(std::string& rTrouble);

    void Close();

private:
    // Further ones wait in the system, and are refused there when they get too many.
    static constexpr std::size_t MOST_WAITING = 64;
    static constexpr int RETRY_TIME = 100; // milliseconds

    void AcceptNext();
    void OnAccept(const asio::error_code& error, asio::ip::tcp::socket socket);

    const std::shared_ptr<NetworkThread> mpNetwork; // first, so that it outlives the socket
    asio::ip::tcp::acceptor mAcceptor;
    asio::steady_timer mTimer; // until the next try
    int mPort = 0;

    std::mutex mMutex;
    std::deque<std::shared_ptr<Connection>> mWaiting;
    std::string mTrouble;
    bool mbTroubled = false; // until a connection comes again
    bool mbPaused = false;   // until somebody takes a connection
    bool mbClosed = false;
};

} // namespace QNet
