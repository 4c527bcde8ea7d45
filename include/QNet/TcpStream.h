// TcpStream is a Stream over a TCP connection. No operation waits for the network, so a frame loop can use
// it: what is written is queued and sent by the module's own thread, what arrives is kept until it is read.
//
//     Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
//     pStream->Connect("example.net", 4711);      // begins; what is written meanwhile waits
//     ...
//     switch (pStream->GetState()) {              // once per frame
//     case TcpStream::OPEN: ...
//     case TcpStream::CLOSED: ...                 // the reason was reported, unless the peer just left
//
// A peer that stays too slow is reported and dropped: when more bytes wait for it than the write limit, or
// when it takes none of them for the time given as stall time. What arrives is held back at the sender while
// much of it lies unread. A message of any size reaches a peer that reads, where BeginMessage says what one
// is: a node does so for snapshots and passes.
//
// What would surprise:
// - Reports come from the operation that meets the trouble first, on its thread: of a stream that nobody asks
//   anything, nothing is heard.
// - A peer that closes its end is no trouble: the state is CLOSED, and what arrived before can be read. What
//   is written from then on is dropped, as it is on its way to a peer that leaves.
// - Close, and the last release, let what was written go out in the background; a program that ends at once
//   calls Flush after Close.
//
// Threads: one stream is driven by one thread at a time; different streams need no care.

#pragma once

#include "QNet/Export.h"

#include "QBase/Stream.h"

#include <cstdint>
#include <memory>

namespace QNet
{

class Connection;
class TcpServer;

class QNET_API TcpStream : public QBase::Stream
{
    QBASE_OBJECT(TcpStream, QBase::Stream)

public:
    /// Where a connection stands.
    enum State : int
    {
        IDLE,       // never connected
        CONNECTING, // until the connect time is over
        OPEN,
        CLOSED // by either side, by trouble or for being too slow
    };

    /// Begins to connect to a host, by its name or its address. False, after a report, for a port that is
    /// none and a stream that was connected before.
    bool Connect(const QBase::String& host, int port);

    /// Where the connection stands. Reports why when it was lost.
    State GetState();

    /// Ends the connection. What was written still goes out, what arrived can no longer be read.
    void Close();

    /// Waits until everything written was handed to the system and, after Close, until the peer closed as
    /// well. False when that did not happen in time or the connection was lost.
    bool Flush(int milliseconds);

    /// Queues `count` bytes and returns `count`; 0, after a report, when the stream was never connected or
    /// closed from here, and when the peer is too slow, which also closes it.
    int Write(const void* pData, int count) override;

    /// Takes out `count` bytes and returns `count`; 0, with nothing taken, after reporting that there are
    /// fewer.
    int Read(void* pData, int count) override;

    /// Whoever asks again without having read anything wants more than there is: then more is let in,
    /// however much already waits.
    int BytesAvailable() override;

    /// The other end, as "127.0.0.1:4711"; what Connect was given while there is none yet.
    QBase::String GetAddress() const;

    /// Whether the program trusts the peer with its own life: true, but false for what a TcpServer accepted,
    /// unless that was told otherwise. A Node asks for it.
    bool IsTrusted() const { return mbTrusted; }
    void SetTrusted(bool bTrusted) { mbTrusted = bTrusted; }

    /// Milliseconds that Connect may take. 5000 at first.
    int GetConnectTime() const { return mConnectTime; }
    void SetConnectTime(int milliseconds) { mConnectTime = milliseconds; }

    /// Milliseconds for which a peer may take nothing of what waits for it. 10000 at first.
    int GetStallTime() const { return mStallTime; }
    void SetStallTime(int milliseconds);

    /// What is written from here on, until the next such call, is one message. The largest message that waits
    /// does not count against the write limit.
    void BeginMessage();

    /// How many bytes may wait for the peer. 256 MiB at first.
    int GetWriteLimit() const { return mWriteLimit; }
    void SetWriteLimit(int numBytes) { mWriteLimit = numBytes; }

    /// All bytes ever written and read, and those that wait.
    std::int64_t GetNumBytesWritten() const { return mNumBytesWritten; }
    std::int64_t GetNumBytesRead() const { return mNumBytesRead; }
    std::int64_t GetNumBytesWaiting() const;

    ~TcpStream() override;

protected:
    explicit TcpStream(const QBase::Value& value);

    /// A copy has the same settings and no connection; an assignment leaves the connection alone.
    TcpStream(const TcpStream& other);
    TcpStream& operator=(const TcpStream& other);

private:
    friend class TcpServer;

    void Adopt(std::shared_ptr<Connection> pConnection);
    bool ReportTrouble();
    int GetStateNumber() { return GetState(); }

    std::shared_ptr<Connection> mpConnection; // shared with the module's thread; null until connected
    std::int64_t mNumBytesWritten;
    std::int64_t mNumBytesRead;
    int mConnectTime;
    int mStallTime;
    int mWriteLimit;
    bool mbTrusted;
    bool mbClosed; // by Close
};

} // namespace QNet
