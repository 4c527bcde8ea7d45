// A property of an object changes and a replica at the other end of a local socket follows, both ends in one
// thread: a thousand changes in a burst, and one change at a time, each of which arrives before the next.
// Then what more objects and more peers cost the sender: one object in a hundred changes, and streams that
// only count are told.

#include "Model.h"
#include "Rows.h"

#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"

#if QBASE_HAS_QT
#    include "Peers/QtModel.h"

#    include <QCoreApplication>
#    include <QLocalServer>
#    include <QLocalSocket>
#    include <QRemoteObjectDynamicReplica>
#    include <QRemoteObjectNode>
#    include <QUuid>
#endif

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Bench
{

// SocketStream is one end of a local socket, as a host would write it: written at once, read in large pieces.
class SocketStream : public Stream
{
    QBASE_OBJECT(SocketStream, Stream)

public:
    static std::array<Ptr<SocketStream>, 2> ConstructPair()
    {
        int handles[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, handles) != 0) {
            std::abort();
        }
        std::array<Ptr<SocketStream>, 2> ends;
        for (std::size_t i = 0; i < 2; ++i) {
            ends[i] = SocketStream::Construct(Value::Null);
            ends[i]->mHandle = handles[i];
        }
        return ends;
    }
    ~SocketStream() override { close(mHandle); }

    int Write(const void* pData, int count) override
    {
        const char* const pBytes = static_cast<const char*>(pData);
        mWaiting.insert(mWaiting.end(), pBytes, pBytes + count);
        Flush();
        return count;
    }

    /// Writes what the system did not take yet.
    void Flush()
    {
        const ssize_t count = write(mHandle, mWaiting.data(), mWaiting.size());
        mNumBytes += std::max<ssize_t>(count, 0);
        mWaiting.erase(mWaiting.begin(), mWaiting.begin() + std::max<ssize_t>(count, 0));
    }

    int Read(void* pData, int count) override
    {
        std::memcpy(pData, mBytes.data() + mPosition, static_cast<std::size_t>(count));
        mPosition += static_cast<std::size_t>(count);
        mbAsked = false;
        return count;
    }

    /// Whoever asks again without having read wants more than there is.
    int BytesAvailable() override
    {
        if (mPosition == mEnd || mbAsked) {
            std::memmove(mBytes.data(), mBytes.data() + mPosition, mEnd - mPosition);
            mEnd -= mPosition;
            mPosition = 0;
            const ssize_t count = recv(mHandle, mBytes.data() + mEnd, mBytes.size() - mEnd, 0);
            mEnd += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        mbAsked = true;
        return static_cast<int>(mEnd - mPosition);
    }

    std::int64_t mNumBytes = 0; // written

protected:
    explicit SocketStream(const Value& value) : Stream(value), mBytes(1 << 18) {}

private:
    int mHandle = -1;
    std::vector<char> mWaiting; // to be written
    std::vector<char> mBytes;   // of which those from mPosition to mEnd wait to be read
    std::size_t mPosition = 0;
    std::size_t mEnd = 0;
    bool mbAsked = false; // since something was read
};

QBASE_IMPLEMENT(Bench, SocketStream)

void SocketStream::Implement()
{}

namespace
{

constexpr std::size_t BURST = 1000; // changes

// A participant has a source and a replica of `count` bodies; Change changes one, Follow lets changes arrive,
// GetNumber is the replica's.
template <typename Participant>
void Bursts(benchmark::State& state)
{
    Participant participant(BURST);
    const std::int64_t numBytesBefore = participant.GetNumBytes();
    int number = 0;
    for (auto _ : state) {
        ++number;
        for (std::size_t i = 0; i < BURST; ++i) {
            participant.Change(i, number);
        }
        participant.Send();
        while (participant.GetNumber(BURST - 1) != number) {
            participant.Follow();
        }
    }
    CountItems(state, BURST);
    state.counters["bytes"] = static_cast<double>(participant.GetNumBytes() - numBytesBefore) /
                              static_cast<double>(state.iterations() * BURST);
}

template <typename Participant>
void OneAtATime(benchmark::State& state)
{
    Participant participant(1);
    const std::int64_t numBytesBefore = participant.GetNumBytes();
    int number = 0;
    for (auto _ : state) {
        participant.Change(0, ++number);
        participant.Send();
        while (participant.GetNumber(0) != number) {
            participant.Follow();
        }
    }
    state.counters["bytes"] = static_cast<double>(participant.GetNumBytes() - numBytesBefore) /
                              static_cast<double>(state.iterations());
}

class QBaseReplication
{
public:
    explicit QBaseReplication(std::size_t count) : mBodies(static_cast<std::int64_t>(count))
    {
        for (QBase::ObjectDiffSerializer* const p : {mpSource.operator QBase::ObjectDiffSerializer*(),
                                                     mpReplica.operator QBase::ObjectDiffSerializer*()}) {
            p->RegisterType(List::ClassTable());
            p->RegisterType(Body::ClassTable());
        }
        mpSource->SetRoot(mBodies.GetRoot());
        mpSource->AddOutStream(mEnds[0]);
        mpReplica->AddInStream(mEnds[1]);
        Send();
        while (mpReplica->GetRoot() == nullptr) { // which comes last
            mEnds[0]->Flush();
            Follow();
        }
        List* const pGroup = static_cast<List*>(static_cast<List*>(mpReplica->GetRoot())->GetAt(0));
        for (std::size_t i = 0; i < count; ++i) {
            mCopies.push_back(static_cast<Body*>(pGroup->GetAt(static_cast<int>(i))));
        }
    }

    void Change(std::size_t index, int number) { mBodies.GetAt(index)->mNumber = number; }
    void Send() { mpSource->Execute(Value::Null); }
    void Follow() { mpReplica->UpdateInput(); }
    int GetNumber(std::size_t index) { return mCopies[index]->mNumber; }
    std::int64_t GetNumBytes() { return mEnds[0]->mNumBytes; }

private:
    Bodies mBodies;
    std::array<Ptr<SocketStream>, 2> mEnds = SocketStream::ConstructPair();
    Ptr<QBase::ObjectDiffSerializer> mpSource = QBase::ObjectDiffSerializer::Construct(Value::Null);
    Ptr<QBase::ObjectDiffSerializer> mpReplica = QBase::ObjectDiffSerializer::Construct(Value::Null);
    std::vector<Body*> mCopies; // borrowed from the replica
};

#if QBASE_HAS_QT
// Qt Remote Objects sends when the event loop comes to it: Follow runs it once.
class QtReplication
{
public:
    explicit QtReplication(std::size_t count)
    {
        static int sNumArguments = 1;
        static char sProgram[] = "QBaseBenchmarks";
        static char* sArguments[] = {sProgram, nullptr};
        static QCoreApplication sApplication(sNumArguments, sArguments);

        // External sockets tell how many bytes they were given.
        const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces);
        mServer.listen(name);
        mHost.setHostUrl(QUrl("bench:" + name), QRemoteObjectHost::AllowExternalRegistration);
        auto* const pClientSide = new QLocalSocket(&mNode);
        pClientSide->connectToServer(name);
        mServer.waitForNewConnection(1000);
        QLocalSocket* const pHostSide = mServer.nextPendingConnection();
        QObject::connect(pHostSide, &QLocalSocket::bytesWritten, pHostSide,
                         [this](qint64 numBytes) { mNumBytes += numBytes; });
        mHost.addHostSideConnection(pHostSide);
        mNode.addClientSideConnection(pClientSide);
        mNode.setObjectName("replica");

        for (std::size_t i = 0; i < count; ++i) {
            mBodies.push_back(std::make_unique<QtBody>());
            const QString objectName = "body" + QString::number(i);
            mHost.enableRemoting(mBodies.back().get(), objectName);
            mCopies.emplace_back(mNode.acquireDynamic(objectName));
        }
        for (const auto& pCopy : mCopies) {
            if (!pCopy->waitForSource(5000)) {
                std::abort();
            }
        }
        const int index = mCopies[0]->metaObject()->indexOfProperty("Number");
        mNumber = mCopies[0]->metaObject()->property(index);
    }

    void Change(std::size_t index, int number) { mBodies[index]->setProperty("Number", number); }
    void Send() {}
    void Follow() { QCoreApplication::processEvents(); }
    int GetNumber(std::size_t index) { return mNumber.read(mCopies[index].get()).toInt(); }
    std::int64_t GetNumBytes() { return mNumBytes; }

private:
    std::int64_t mNumBytes = 0;
    QLocalServer mServer;
    QRemoteObjectHost mHost;
    QRemoteObjectNode mNode;
    std::vector<std::unique_ptr<QtBody>> mBodies;
    std::vector<std::unique_ptr<QRemoteObjectDynamicReplica>> mCopies;
    QMetaProperty mNumber;
};
#endif

struct Record
{
    std::uint32_t mIndex;
    int mNumber;
};

// Records of an index and a number, all of a burst in one write and one read.
class Bound
{
public:
    explicit Bound(std::size_t count) : mNumbers(count), mRecords(count)
    {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, mHandles) != 0) {
            std::abort();
        }
    }
    ~Bound()
    {
        close(mHandles[0]);
        close(mHandles[1]);
    }
    Bound(const Bound&) = delete;
    Bound& operator=(const Bound&) = delete;

    void Change(std::size_t index, int number)
    {
        mRecords[mNumRecords++] = {static_cast<std::uint32_t>(index), number};
    }
    void Send()
    {
        const ssize_t count = write(mHandles[0], mRecords.data(), mNumRecords * sizeof(Record));
        mNumBytes += std::max<ssize_t>(count, 0);
        mNumRecords = 0;
    }
    void Follow()
    {
        const ssize_t count = read(mHandles[1], mRecords.data(), mRecords.size() * sizeof(Record));
        for (ssize_t i = 0; i < count / static_cast<ssize_t>(sizeof(Record)); ++i) {
            const Record& record = mRecords[static_cast<std::size_t>(i)];
            mNumbers[record.mIndex] = record.mNumber;
        }
    }
    int GetNumber(std::size_t index) { return mNumbers[index]; }
    std::int64_t GetNumBytes() { return mNumBytes; }

private:
    int mHandles[2] = {};
    std::vector<int> mNumbers;
    std::vector<Record> mRecords;
    std::size_t mNumRecords = 0;
    std::int64_t mNumBytes = 0;
};

// --- Many objects, many peers ---

// A participant has `numObjects` bodies and `numPeers` sinks; Change changes one body in a hundred, Send
// tells all sinks, GetNumBytes is what one of them was given.
template <typename Participant>
void Broadcast(benchmark::State& state, std::int64_t numObjects, std::size_t numPeers)
{
    Participant participant(numObjects, numPeers);
    const std::int64_t numChanges = (numObjects + 99) / 100;
    const std::int64_t numBytesBefore = participant.GetNumBytes();
    for (auto _ : state) {
        participant.Change();
        participant.Send();
    }
    CountItems(state, numChanges);
    state.counters["bytes"] = static_cast<double>(participant.GetNumBytes() - numBytesBefore) /
                              static_cast<double>(state.iterations() * numChanges);
}

std::vector<Ptr<Sink>> MakeSinks(std::size_t count)
{
    std::vector<Ptr<Sink>> sinks;
    while (sinks.size() < count) {
        sinks.emplace_back(Sink::Construct(Value::Null));
    }
    return sinks;
}

class QBaseBroadcast
{
public:
    QBaseBroadcast(std::int64_t numObjects, std::size_t numPeers)
        : mBodies(numObjects), mSinks(MakeSinks(numPeers))
    {
        mpSource->RegisterType(List::ClassTable());
        mpSource->RegisterType(Body::ClassTable());
        mpSource->SetRoot(mBodies.GetRoot());
        for (Sink* const pSink : mSinks) {
            mpSource->AddOutStream(pSink);
        }
        Send();
    }

    void Change() { mBodies.Change(100); }
    void Send() { mpSource->Execute(Value::Null); }
    std::int64_t GetNumBytes() { return mSinks[0]->mNumBytes; }

private:
    Bodies mBodies;
    std::vector<Ptr<Sink>> mSinks;
    Ptr<QBase::ObjectDiffSerializer> mpSource = QBase::ObjectDiffSerializer::Construct(Value::Null);
};

// One comparison with a row of known numbers for each body, and one write of all records for each peer.
class BroadcastBound
{
public:
    BroadcastBound(std::int64_t numObjects, std::size_t numPeers)
        : mNumbers(static_cast<std::size_t>(numObjects)), mKnown(mNumbers.size()), mSinks(MakeSinks(numPeers))
    {}

    void Change()
    {
        ++mPass;
        for (std::size_t i = 0; i < mNumbers.size(); i += 100) {
            mNumbers[i] = mPass;
        }
    }
    void Send()
    {
        mRecords.clear();
        for (std::size_t i = 0; i < mNumbers.size(); ++i) {
            if (mNumbers[i] != mKnown[i]) {
                mKnown[i] = mNumbers[i];
                mRecords.push_back({static_cast<std::uint32_t>(i), mNumbers[i]});
            }
        }
        for (Sink* const pSink : mSinks) {
            pSink->Write(mRecords.data(), static_cast<int>(mRecords.size() * sizeof(Record)));
        }
    }
    std::int64_t GetNumBytes() { return mSinks[0]->mNumBytes; }

private:
    std::vector<int> mNumbers;
    std::vector<int> mKnown;
    std::vector<Ptr<Sink>> mSinks;
    std::vector<Record> mRecords;
    int mPass = 0;
};

template <typename Participant>
void EnterBroadcast(const char* pParticipant)
{
    const Area area("replication");
    const std::pair<const char*, std::int64_t> sizes[] = {{"10,000", 10000}, {"100,000", 100000}};
    const std::pair<const char*, std::size_t> crowds[] = {
        {"1 peer", 1}, {"10 peers", 10}, {"100 peers", 100}};
    for (const auto& [pSize, numObjects] : sizes) {
        for (const auto& [pCrowd, numPeers] : crowds) {
            area.Enter(std::string("1 % of ") + pSize + " objects, " + pCrowd, pParticipant,
                       Broadcast<Participant>, numObjects, numPeers);
        }
    }
}

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("replication");
    area.Enter("a change in a burst of 1,000", pParticipant, Bursts<Participant>);
    area.Enter("one change at a time", pParticipant, OneAtATime<Participant>);
}

const bool sbEntered = [] {
    Enter<QBaseReplication>("QBase");
#if QBASE_HAS_QT
    Enter<QtReplication>("Qt Remote Objects");
#endif
    Enter<Bound>("bound: records, one write and read");
    EnterBroadcast<QBaseBroadcast>("QBase");
    EnterBroadcast<BroadcastBound>("bound: records, one write to each");
    return true;
}();

} // namespace
} // namespace Bench
