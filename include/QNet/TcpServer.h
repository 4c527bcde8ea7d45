// TcpServer accepts TCP connections. Nothing waits: connections that came meanwhile are taken one by one.
//
//     Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
//     pServer->Listen("", 4711);                      // this machine only
//     while (Ptr<TcpStream> pStream = pServer->Accept()) // once per frame
//         ...
//
// Only programs on the same machine can connect unless Listen is given another address: "0.0.0.0" is every
// address of the machine, "::" every one including those of IPv6.
//
// Threads: one server is driven by one thread at a time.

#pragma once

#include "QNet/TcpStream.h"

#include <memory>

namespace QNet
{

class Acceptor;

class QNET_API TcpServer : public QBase::Object
{
    QBASE_OBJECT(TcpServer, QBase::Object)

public:
    /// Begins to listen at an address of this machine; the empty one stands for "127.0.0.1". Port 0 takes a
    /// free one. False, after a report, when the address is none or taken.
    bool Listen(const QBase::String& address, int port);

    /// The port that is listened at; 0 while there is none.
    int GetPort() const;

    /// The next connection that came, or null. Hands it over.
    TcpStream* Accept();

    /// Listens no more. Connections that nobody accepted are closed.
    void Close();

    /// Whether accepted streams are trusted. Not at first.
    bool AreStreamsTrusted() const { return mbTrusted; }
    void SetStreamsTrusted(bool bTrusted) { mbTrusted = bTrusted; }

    ~TcpServer() override;

protected:
    explicit TcpServer(const QBase::Value& value);

    /// A copy has the same settings and listens nowhere.
    TcpServer(const TcpServer& other);
    TcpServer& operator=(const TcpServer& other);

private:
    std::shared_ptr<Acceptor> mpAcceptor; // shared with the module's thread; null while not listening
    bool mbTrusted;
};

} // namespace QNet
