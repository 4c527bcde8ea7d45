#include "QNet/Acceptor.h"

#include <chrono>
#include <utility>

namespace QNet
{

using asio::ip::tcp;

Acceptor::Acceptor(std::shared_ptr<NetworkThread> pNetwork)
    : mpNetwork(std::move(pNetwork)), mAcceptor(mpNetwork->GetContext()), mTimer(mpNetwork->GetContext())
{}

bool Acceptor::Listen(const std::string& address, int port, std::string& rTrouble)
{
    asio::error_code error;
    const asio::ip::address ip = asio::ip::make_address(address, error);
    if (error) {
        rTrouble = "no address of this machine";
        return false;
    }
    const tcp::endpoint endpoint(ip, static_cast<asio::ip::port_type>(port));
    mAcceptor.open(endpoint.protocol(), error);
#if defined(QNET_REUSE_ADDRESS)
    // A server that is started anew finds its port taken by the remains of old connections otherwise. Where
    // the option has another meaning, two servers could share a port.
    if (!error) {
        mAcceptor.set_option(tcp::acceptor::reuse_address(true), error);
    }
#endif
    if (!error) {
        mAcceptor.bind(endpoint, error);
    }
    if (!error) {
        mAcceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        rTrouble = error.message();
        return false;
    }
    mPort = mAcceptor.local_endpoint(error).port();
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->AcceptNext(); });
    return true;
}

std::shared_ptr<Connection> Acceptor::Take(std::string& rTrouble)
{
    const std::lock_guard lock(mMutex);
    rTrouble = std::exchange(mTrouble, {});
    if (mWaiting.empty()) {
        return nullptr;
    }
    const std::shared_ptr<Connection> pConnection = mWaiting.front();
    mWaiting.pop_front();
    if (mbPaused) {
        mbPaused = false;
        asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->AcceptNext(); });
    }
    return pConnection;
}

void Acceptor::Close()
{
    {
        const std::lock_guard lock(mMutex);
        mbClosed = true;
        mWaiting.clear(); // closes them
    }
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] {
        asio::error_code ignored;
        pThis->mTimer.cancel();
        pThis->mAcceptor.close(ignored);
    });
}

void Acceptor::AcceptNext()
{
    {
        const std::lock_guard lock(mMutex);
        if (mbClosed) {
            return;
        }
        if (mWaiting.size() >= MOST_WAITING) {
            mbPaused = true;
            return;
        }
    }
    mAcceptor.async_accept([pThis = shared_from_this()](const asio::error_code& error, tcp::socket socket) {
        pThis->OnAccept(error, std::move(socket));
    });
}

void Acceptor::OnAccept(const asio::error_code& error, tcp::socket socket)
{
    std::unique_lock lock(mMutex);
    if (mbClosed) {
        return;
    }
    if (!error) {
        mbTroubled = false;
        mWaiting.push_back(std::make_shared<Connection>(mpNetwork, std::move(socket)));
        lock.unlock();
        AcceptNext();
        return;
    }
    if (!std::exchange(mbTroubled, true)) {
        mTrouble = error.message();
    }
    lock.unlock();
    mTimer.expires_after(std::chrono::milliseconds(RETRY_TIME)); // too many open files, most likely
    mTimer.async_wait([pThis = shared_from_this()](const asio::error_code& cancelled) {
        if (!cancelled) {
            pThis->AcceptNext();
        }
    });
}

} // namespace QNet
