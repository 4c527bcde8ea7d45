#include "QNet/TcpServer.h"

#include "QNet/Acceptor.h"
#include "QNet/NetworkThread.h"

#include "QBase/Error.h"
#include "QBase/Reflection.h"

#include <string>
#include <utility>

using namespace QBase;

namespace QNet
{

namespace
{

constexpr char THIS_MACHINE[] = "127.0.0.1";
constexpr int HIGHEST_PORT = 65535;

} // namespace

QBASE_IMPLEMENT(QNet, TcpServer)

void TcpServer::Implement()
{
    Describe("Takes the TCP connections of others at a port");
    SetActsOutside();
    AddFunction<&TcpServer::Listen>("Listen");
    AddFunction<&TcpServer::GetPort>("GetPort");
    AddFunction<&TcpServer::Accept>("Accept");
    AddFunction<&TcpServer::Close>("Close");
    AddProperty<&TcpServer::AreStreamsTrusted, &TcpServer::SetStreamsTrusted>("StreamsTrusted",
                                                                              {.mbExcluded = true});
}

TcpServer::TcpServer(const Value&) : mbTrusted(false)
{}

TcpServer::TcpServer(const TcpServer& other) : Object(other), mbTrusted(other.mbTrusted)
{}

TcpServer& TcpServer::operator=(const TcpServer& other)
{
    mbTrusted = other.mbTrusted;
    return *this;
}

TcpServer::~TcpServer()
{
    Close();
}

bool TcpServer::Listen(const String& address, int port)
{
    const std::string text = address.size() > 0 ? address.c_str() : THIS_MACHINE;
    std::string trouble;
    if (mpAcceptor != nullptr) {
        trouble = "the server listens already";
    } else if (port < 0 || port > HIGHEST_PORT) {
        trouble = "that is no port";
    } else if (const std::shared_ptr<NetworkThread> pNetwork = NetworkThread::Join(trouble)) {
        auto pAcceptor = std::make_shared<Acceptor>(pNetwork);
        if (pAcceptor->Listen(text, port, trouble)) {
            mpAcceptor = std::move(pAcceptor);
            return true;
        }
    }
    Error(QBASE_HERE, "Failed to listen at '%s:%d' - %s", text.c_str(), port, trouble.c_str());
    return false;
}

int TcpServer::GetPort() const
{
    return mpAcceptor != nullptr ? mpAcceptor->GetPort() : 0;
}

TcpStream* TcpServer::Accept()
{
    if (mpAcceptor == nullptr) {
        return nullptr;
    }
    std::string trouble;
    std::shared_ptr<Connection> pConnection = mpAcceptor->Take(trouble);
    if (!trouble.empty()) {
        Error(QBASE_HERE, "Failed to accept connections at port %d - %s", GetPort(), trouble.c_str());
    }
    TcpStream* const pStream = pConnection != nullptr ? TcpStream::Construct(Value::Null) : nullptr;
    if (pStream != nullptr) {
        pStream->SetTrusted(mbTrusted);
        pStream->Adopt(std::move(pConnection));
    }
    return pStream;
}

void TcpServer::Close()
{
    if (mpAcceptor != nullptr) {
        mpAcceptor->Close();
        mpAcceptor.reset();
    }
}

} // namespace QNet
