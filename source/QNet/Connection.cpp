#include "QNet/Connection.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

namespace QNet
{

namespace
{

using asio::ip::tcp;

std::string ToText(const tcp::endpoint& endpoint)
{
    const std::string address = endpoint.address().to_string();
    const std::string port = ":" + std::to_string(endpoint.port());
    return endpoint.address().is_v6() ? "[" + address + "]" + port : address + port;
}

// Those of a host that nobody has to be asked for: an address stands for itself, and "localhost" is this
// machine, also where nothing that resolves names says so.
std::vector<tcp::endpoint> KnownEndpoints(const std::string& host, asio::ip::port_type port)
{
    if (host == "localhost") {
        return {tcp::endpoint(asio::ip::address_v6::loopback(), port),
                tcp::endpoint(asio::ip::address_v4::loopback(), port)};
    }
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(host, error);
    return error ? std::vector<tcp::endpoint>() : std::vector<tcp::endpoint>{tcp::endpoint(address, port)};
}

} // namespace

Connection::Connection(std::shared_ptr<NetworkThread> pNetwork)
    : mpNetwork(std::move(pNetwork)), mSocket(mpNetwork->GetContext()), mResolver(mpNetwork->GetContext()),
      mTimer(mpNetwork->GetContext()), mChunk(), mState(State::CONNECTING)
{}

Connection::Connection(std::shared_ptr<NetworkThread> pNetwork, tcp::socket socket)
    : mpNetwork(std::move(pNetwork)), mSocket(std::move(socket)), mResolver(mpNetwork->GetContext()),
      mTimer(mpNetwork->GetContext()), mChunk(), mState(State::OPEN)
{
    asio::error_code error;
    const tcp::endpoint endpoint = mSocket.remote_endpoint(error);
    mAddress = error ? "somebody who left at once" : ToText(endpoint);
}

// --- The stream's thread ---

void Connection::Connect(const std::string& host, int port, int milliseconds)
{
    mAddress = host + ":" + std::to_string(port);
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this(), host, port, milliseconds] {
        pThis->Resolve(host, port, milliseconds);
    });
}

void Connection::Start()
{
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->Begin(); });
}

Connection::State Connection::GetState() const
{
    const Lock lock(mMutex);
    return mState;
}

Connection::Trouble Connection::TakeTrouble()
{
    const Lock lock(mMutex);
    return std::exchange(mTrouble, {});
}

bool Connection::Write(const void* pData, std::size_t size, std::size_t limit)
{
    const Lock lock(mMutex);
    if (mState == State::CLOSED) {
        return false;
    }
    const std::size_t numWaiting = mOut.GetSize() + mNumWriting;
    if (numWaiting == 0) {
        mMessageSize = 0;
        mLargestMessage = 0;
    }
    if (mbMessages) {
        mMessageSize += size;
        mLargestMessage = std::max(mLargestMessage, mMessageSize);
    }
    if (numWaiting + size > mLargestMessage && numWaiting + size - mLargestMessage > limit) {
        Drop("Failed to write " + std::to_string(size) + " bytes to '" + mAddress + "' - " +
             std::to_string(numWaiting) + " bytes wait for it already, the limit is " +
             std::to_string(limit));
        return false;
    }
    try {
        mOut.Append(pData, size);
    } catch (const std::exception&) {
        Drop("Failed to write " + std::to_string(size) + " bytes to '" + mAddress + "' - out of memory");
        return false;
    }
    if (!mbWritePosted && mState == State::OPEN) {
        mbWritePosted = true;
        asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->WriteSome(); });
    }
    return true;
}

void Connection::BeginMessage()
{
    const Lock lock(mMutex);
    mbMessages = true;
    mMessageSize = 0;
}

// Under the lock.
void Connection::Drop(const std::string& trouble)
{
    mState = State::CLOSED;
    mTrouble.mText = trouble;
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->End({}); });
}

bool Connection::Read(void* pData, std::size_t size)
{
    const Lock lock(mMutex);
    if (size > mIn.GetSize()) {
        return false;
    }
    if (size > 0) {
        std::memcpy(pData, mIn.GetData(), size);
        mIn.Drop(size);
    }
    mbAsked = false;
    if (mIn.GetSize() < FIRST_READ_LIMIT) {
        mReadLimit = FIRST_READ_LIMIT;
        ResumeReading();
    }
    return true;
}

std::size_t Connection::GetNumAvailable()
{
    const Lock lock(mMutex);
    if (mbReadPaused && mbAsked) {
        mReadLimit = 2 * mIn.GetSize();
        ResumeReading();
    }
    mbAsked = true;
    return mIn.GetSize();
}

void Connection::ResumeReading()
{
    if (mbReadPaused) {
        mbReadPaused = false;
        asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->ReadSome(); });
    }
}

std::size_t Connection::GetNumWaiting() const
{
    const Lock lock(mMutex);
    return mOut.GetSize() + mNumWriting;
}

void Connection::SetStallTime(int milliseconds)
{
    const Lock lock(mMutex);
    mStallTime = std::chrono::milliseconds(milliseconds);
    asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] {
        if (pThis->mbWatching && pThis->mWriting.GetSize() > 0) {
            pThis->WatchProgress(pThis->GetStallTime());
        }
    });
}

std::chrono::milliseconds Connection::GetStallTime() const
{
    const Lock lock(mMutex);
    return mStallTime;
}

void Connection::Close()
{
    const Lock lock(mMutex);
    if (mbClosing || mState == State::CLOSED) {
        return;
    }
    const bool bConnected = mState == State::OPEN;
    mbClosing = true;
    mState = State::CLOSED;
    mIn.Clear();
    ResumeReading();
    if (bConnected && !mbWritePosted) {
        asio::post(mpNetwork->GetContext(), [pThis = shared_from_this()] { pThis->Shutdown(); });
    }
}

bool Connection::Flush(int milliseconds)
{
    Lock lock(mMutex);
    const auto isDone = [this] { return mbOver || (!mbClosing && mOut.GetSize() + mNumWriting == 0); };
    return mWake.wait_for(lock, std::chrono::milliseconds(milliseconds), isDone) && !mbLost;
}

std::string Connection::GetAddress() const
{
    const Lock lock(mMutex);
    return mAddress;
}

// --- The module's thread ---

void Connection::Resolve(const std::string& host, int port, int milliseconds)
{
    const std::string failed = "Failed to connect to '" + GetAddress() + "' - ";
    const std::string late = failed + "no answer within " + std::to_string(milliseconds) + " ms";
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    mTimer.expires_at(deadline);
    mTimer.async_wait([pThis = shared_from_this(), late](const asio::error_code& error) {
        if (!error && !pThis->mbConnected) {
            pThis->End(late);
        }
    });
    const auto connect = [pThis = shared_from_this(), failed, late, deadline](const asio::error_code& error,
                                                                              const tcp::endpoint& endpoint) {
        if (pThis->mbEnded) {
            return;
        }
        if (error || Clock::now() >= deadline) {
            pThis->End(error ? failed + error.message() : late);
            return;
        }
        {
            const Lock lock(pThis->mMutex);
            pThis->mAddress = ToText(endpoint);
        }
        pThis->mTimer.cancel();
        pThis->Begin();
    };
    const std::vector<tcp::endpoint> known = KnownEndpoints(host, static_cast<asio::ip::port_type>(port));
    if (!known.empty()) {
        asio::async_connect(mSocket, known, connect);
        return;
    }
    mResolver.async_resolve(host, std::to_string(port),
                            [pThis = shared_from_this(), failed, connect](
                                const asio::error_code& error, const tcp::resolver::results_type& endpoints) {
                                if (pThis->mbEnded) {
                                    return;
                                }
                                if (error) {
                                    pThis->End(failed + error.message());
                                    return;
                                }
                                asio::async_connect(pThis->mSocket, endpoints, connect);
                            });
}

void Connection::Begin()
{
    if (mbEnded) {
        return;
    }
    asio::error_code ignored;
    mSocket.set_option(tcp::no_delay(true), ignored);
    mSocket.set_option(asio::socket_base::keep_alive(true), ignored);
    mbConnected = true;
    bool bWritePosted = false;
    {
        const Lock lock(mMutex);
        if (mState == State::CONNECTING) {
            mState = State::OPEN;
        }
        bWritePosted = std::exchange(mbWritePosted, true);
    }
    ReadSome();
    if (!bWritePosted) {
        WriteSome();
    }
}

void Connection::ReadSome()
{
    {
        const Lock lock(mMutex);
        if (!mbClosing && mIn.GetSize() >= mReadLimit) {
            mbReadPaused = true;
            return;
        }
    }
    if (mbEnded || mbReading) {
        return;
    }
    mbReading = true;
    mSocket.async_read_some(asio::buffer(mChunk),
                            [pThis = shared_from_this()](const asio::error_code& error, std::size_t size) {
                                pThis->mbReading = false;
                                pThis->OnRead(error, size);
                            });
}

void Connection::OnRead(const asio::error_code& error, std::size_t size)
{
    if (mbEnded) {
        return;
    }
    if (error == asio::error::eof) {
        End({});
        return;
    }
    if (error) {
        Lose("Failed to read from '", error);
        return;
    }
    try {
        const Lock lock(mMutex);
        if (!mbClosing) {
            mIn.Append(mChunk.data(), size);
        }
    } catch (const std::exception&) {
        End("Failed to read from '" + GetAddress() + "' - out of memory");
        return;
    }
    ReadSome();
}

void Connection::WriteSome()
{
    if (mbEnded) {
        return;
    }
    if (mWriting.GetSize() == 0) {
        TakeWaitingBytes();
    }
    if (mWriting.GetSize() == 0) {
        Shutdown();
        return;
    }
    if (!mbWatching) {
        WatchProgress(GetStallTime());
    }
    // Some systems take all that they are given and tell nothing until the last byte has left, so that a slow
    // peer would look like one that takes nothing.
    constexpr std::size_t MAX_PIECE = 64 * 1024;
    mSocket.async_write_some(asio::buffer(mWriting.GetData(), std::min(mWriting.GetSize(), MAX_PIECE)),
                             [pThis = shared_from_this()](const asio::error_code& error, std::size_t size) {
                                 pThis->OnWritten(error, size);
                             });
}

void Connection::TakeWaitingBytes()
{
    const Lock lock(mMutex);
    std::swap(mWriting, mOut);
    mNumWriting = mWriting.GetSize();
    mLastProgress = Clock::now();
    if (mNumWriting == 0) {
        mbWritePosted = false;
        mWake.notify_all();
    }
}

void Connection::OnWritten(const asio::error_code& error, std::size_t size)
{
    if (mbEnded) {
        return;
    }
    if (error) {
        Lose("Failed to write to '", error);
        return;
    }
    mWriting.Drop(size);
    mLastProgress = Clock::now();
    {
        const Lock lock(mMutex);
        mNumWriting = mWriting.GetSize();
    }
    WriteSome();
}

// Looks once in a while whether the peer took something, instead of setting the timer with each write.
void Connection::WatchProgress(std::chrono::milliseconds time)
{
    mbWatching = true;
    mTimer.expires_after(time);
    mTimer.async_wait([pThis = shared_from_this()](const asio::error_code& error) {
        if (error || pThis->mbEnded) {
            return;
        }
        pThis->mbWatching = false;
        if (pThis->mWriting.GetSize() == 0) {
            return;
        }
        const std::chrono::milliseconds stallTime = pThis->GetStallTime();
        const auto quiet =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - pThis->mLastProgress);
        if (quiet < stallTime) {
            pThis->WatchProgress(stallTime - quiet);
            return;
        }
        pThis->End("Failed to write to '" + pThis->GetAddress() + "' - it took none of " +
                   std::to_string(pThis->GetNumWaiting()) + " bytes for " +
                   std::to_string(stallTime.count()) + " ms");
    });
}

// Once everything is written: says so to the peer and waits a little for it to close as well. A socket that
// is closed while bytes lie unread in it would take back what the peer has not read yet.
void Connection::Shutdown()
{
    {
        const Lock lock(mMutex);
        if (!mbClosing || mOut.GetSize() > 0) {
            return;
        }
    }
    if (mbEnded) {
        return;
    }
    asio::error_code ignored;
    mSocket.shutdown(tcp::socket::shutdown_send, ignored);
    mbWatching = true;
    mTimer.expires_after(std::chrono::milliseconds(LINGER_TIME));
    mTimer.async_wait([pThis = shared_from_this()](const asio::error_code& error) {
        if (!error) {
            pThis->End({});
        }
    });
}

// A program that is ended from outside leaves like this.
void Connection::Lose(const std::string& trouble, const asio::error_code& error)
{
    const bool bLeft = error == asio::error::connection_reset || error == asio::error::connection_aborted ||
                       error == asio::error::broken_pipe;
    End(trouble + GetAddress() + "' - " + error.message(), !bLeft);
}

void Connection::End(const std::string& trouble, bool bSevere)
{
    if (mbEnded) {
        return;
    }
    mbEnded = true;
    asio::error_code ignored;
    mTimer.cancel();
    mResolver.cancel();
    mSocket.close(ignored);
    mWriting.Clear();
    const Lock lock(mMutex);
    mbLost = mOut.GetSize() + mNumWriting > 0;
    if (mState != State::CLOSED) {
        mState = State::CLOSED;
        mTrouble = {trouble, bSevere};
    }
    mbOver = true;
    mNumWriting = 0;
    mOut.Clear();
    mWake.notify_all();
}

} // namespace QNet
