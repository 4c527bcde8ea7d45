// Connection is what a TcpStream shares with the module's thread: the socket, which only that thread touches,
// and the bytes on their way in both directions, which a mutex guards.
//
//     std::shared_ptr<Connection> pConnection = std::make_shared<Connection>(pNetwork);
//     pConnection->Connect("example.net", 4711, 5000);
//     pConnection->Write(pBytes, numBytes, limit); // goes out as soon as there is a connection
//
// Threads: the public operations belong to the stream's thread, the private ones to the module's.

#pragma once

#include "QNet/Asio.h"
#include "QNet/ByteQueue.h"
#include "QNet/NetworkThread.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace QNet
{

class Connection : public std::enable_shared_from_this<Connection>
{
public:
    enum class State
    {
        CONNECTING,
        OPEN,
        CLOSED
    };

    explicit Connection(std::shared_ptr<NetworkThread> pNetwork);

    /// A connection that was accepted.
    Connection(std::shared_ptr<NetworkThread> pNetwork, asio::ip::tcp::socket socket);

    void Connect(const std::string& host, int port, int milliseconds);
    void Start();

    State GetState() const;

    struct Trouble
    {
        std::string mText;    // empty when there is none
        bool mbSevere = true; // not so when the peer only left without a word
    };

    /// What went wrong, once.
    Trouble TakeTrouble();

    /// False when it is closed, also by this call because too much waits.
    bool Write(const void* pData, std::size_t size, std::size_t limit);

    /// What is written from here on is another message. The largest that waits is not held against the limit.
    void BeginMessage();

    /// False when there are fewer bytes.
    bool Read(void* pData, std::size_t size);

    std::size_t GetNumAvailable();
    std::size_t GetNumWaiting() const;

    void SetStallTime(int milliseconds);
    std::chrono::milliseconds GetStallTime() const;

    /// Lets what was written go out, then closes.
    void Close();

    /// Waits until everything is written and, after Close, until the peer closed as well.
    bool Flush(int milliseconds);

    std::string GetAddress() const;

private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    static constexpr std::size_t FIRST_READ_LIMIT = 1024 * 1024;
    static constexpr int LINGER_TIME = 2000; // milliseconds for the peer to see the end and close as well

    // Of the stream's thread, under the lock.
    void ResumeReading();
    void Drop(const std::string& trouble);

    void Resolve(const std::string& host, int port, int milliseconds);
    void Begin();
    void ReadSome();
    void OnRead(const asio::error_code& error, std::size_t size);
    void WriteSome();
    void TakeWaitingBytes();
    void OnWritten(const asio::error_code& error, std::size_t size);
    void WatchProgress(std::chrono::milliseconds time);
    void Shutdown();
    void End(const std::string& trouble, bool bSevere = true);
    void Lose(const std::string& trouble, const asio::error_code& error);

    const std::shared_ptr<NetworkThread> mpNetwork; // first, so that it outlives the socket

    // Of the module's thread.
    asio::ip::tcp::socket mSocket;
    asio::ip::tcp::resolver mResolver;
    asio::steady_timer mTimer; // connecting, stalling, lingering
    std::array<unsigned char, 65536> mChunk;
    ByteQueue mWriting;
    Clock::time_point mLastProgress;
    bool mbWatching = false; // the timer is set
    bool mbConnected = false;
    bool mbReading = false;
    bool mbEnded = false;

    // Of both.
    mutable std::mutex mMutex;
    std::condition_variable mWake; // everything was written, or the end came
    State mState;
    std::string mAddress;
    Trouble mTrouble;
    ByteQueue mIn;
    ByteQueue mOut;
    std::size_t mNumWriting = 0; // bytes of mWriting
    std::size_t mReadLimit = FIRST_READ_LIMIT;
    std::size_t mMessageSize = 0;    // bytes of the message that is being written
    std::size_t mLargestMessage = 0; // of those since nothing waited
    bool mbMessages = false;         // somebody says where they begin
    std::chrono::milliseconds mStallTime{10000};
    bool mbAsked = false;       // for the number of bytes, since the last read
    bool mbReadPaused = false;  // until somebody reads
    bool mbWritePosted = false; // the module's thread is at it, or will be
    bool mbClosing = false;     // by Close
    bool mbOver = false;        // after End
    bool mbLost = false;        // the end came before everything was written
};

} // namespace QNet
