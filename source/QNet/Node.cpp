#include "QNet/Node.h"

#include "QNet/CallFrame.h"
#include "QNet/ClassDescription.h"
#include "QNet/FrameStream.h"
#include "QNet/Handshake.h"
#include "QNet/TcpServer.h"

#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

using namespace QBase;

namespace QNet
{

namespace
{

constexpr int TRUSTED_FRAME_SIZE = std::numeric_limits<int>::max() - FrameStream::SIZE_BYTES;
constexpr int FIRST_FRAME_SIZE_LIMIT = 16 * 1024 * 1024;
constexpr std::int64_t MOST_CALLS_WAITING = 1024 * 1024; // bytes, from a relay to its source
constexpr unsigned char END_OF_PASS[FrameStream::SIZE_BYTES] = {};

struct NodeSettings
{
    bool mbAdopting = false;
    bool mbSourceTrusted = true;
    bool mbPeersTrusted = false;
    int mFrameSizeLimit = FIRST_FRAME_SIZE_LIMIT;
    int mSourceFrameSizeLimit = FIRST_FRAME_SIZE_LIMIT;
    int mPeerLimit = 1000;
    int mStallTime = 10000;
    int mWriteLimit = 256 * 1024 * 1024;
};

// The other end of one connection, whichever side began it.
struct Peer
{
    Ptr<TcpStream> mpStream;
    std::string mAddress;
    std::unique_ptr<Handshake> mpHandshake; // null before it begins and after it ended
    Ptr<FrameStream> mpFrames;              // what arrives; null until both ends agreed
    std::int64_t mNumBytesBefore = 0;       // written before the pass under way
    bool mbStopped = false;                 // it sent what it may not
};

// The class of that name, or null.
ClassInfoTable* FindClass(const std::string& module, const std::string& name)
{
    Object* const pModule = GetModuleTable()->Find(module.c_str());
    if (pModule == nullptr || !pModule->IsDerivedType(Table::ClassTable())) {
        return nullptr;
    }
    Object* const pClass = static_cast<Table*>(pModule)->Find(name.c_str());
    const bool bClass = pClass != nullptr && pClass->IsDerivedType(ClassInfoTable::ClassTable());
    return bClass ? static_cast<ClassInfoTable*>(pClass) : nullptr;
}

} // namespace

class NodeState
{
public:
    NodeState() : mpSerializer(ObjectDiffSerializer::Construct(Value::Null)) {}

    void ApplySettings(TcpStream* pStream) const;
    std::unordered_set<const Stream*> FindStoppedStreams() const;

    void AcceptPeers();
    void UpdateSource();
    void AdoptClasses();
    void TakeArrivedFrames();
    void UpdateHandshakes();
    void LetIn(Peer& rPeer);
    void PassOnCalls();
    bool PassOnCalls(Peer& rPeer);
    void EndPass();
    void DropLostPeers();
    void DropLostSource();
    void Forget(Peer& rPeer);
    void Leave();

    Ptr<ObjectDiffSerializer> mpSerializer;
    NodeSettings mSettings;
    Ptr<TcpServer> mpServer; // null unless others may join
    std::vector<Peer> mPeers;
    std::vector<Ptr<TcpStream>> mLeft; // closed by Leave, until Flush
    Peer mSource;
    Node::State mState = Node::ALONE;
    std::string mMissingModules;
    bool mbUpdating = false;
    bool mbLeaving = false; // as soon as the update is over
};

namespace
{

// The time of one Update. Whatever getters, handlers and called functions do meanwhile, the lists stay.
class UpdateScope
{
public:
    explicit UpdateScope(NodeState& state) : mState(state) { mState.mbUpdating = true; }
    ~UpdateScope()
    {
        mState.mbUpdating = false;
        if (std::exchange(mState.mbLeaving, false)) {
            mState.Leave();
        }
    }
    UpdateScope(const UpdateScope&) = delete;
    UpdateScope& operator=(const UpdateScope&) = delete;

private:
    NodeState& mState;
};

} // namespace

QBASE_IMPLEMENT(QNet, Node)

void Node::Implement()
{
    Describe(
        "A place in a network that shares one object graph: it serves, joins, or relays from one to others");
    SetActsOutside();
    AddEnum<State>("State", {{"ALONE", ALONE}, {"JOINING", JOINING}, {"JOINED", JOINED}, {"LOST", LOST}});
    AddFunction<&Node::Serve>("Serve");
    AddFunction<&Node::GetPort>("GetPort");
    AddFunction<&Node::Join>("Join");
    AddFunction<&Node::GetStateNumber>("GetState");
    AddFunction<&Node::Update>("Update");
    AddFunction<&Node::Leave>("Leave");
    AddFunction<&Node::Flush>("Flush");
    AddFunction<&Node::GetNumPeers>("GetNumPeers");
    AddFunction<&Node::GetPeer>("GetPeer");
    AddFunction<&Node::GetSource>("GetSource");
    AddFunction<&Node::GetNumPasses>("GetNumPasses");
    AddFunction<&Node::GetMissingModules>("GetMissingModules");
    AddProperty<&Node::GetSerializer, &Node::SetSerializer>("Serializer", {.mbExcluded = true});
    AddProperty<&Node::IsAdopting, &Node::SetAdopting>("Adopting", {.mbExcluded = true});
    AddProperty<&Node::IsSourceTrusted, &Node::SetSourceTrusted>("SourceTrusted", {.mbExcluded = true});
    AddProperty<&Node::ArePeersTrusted, &Node::SetPeersTrusted>("PeersTrusted", {.mbExcluded = true});
    AddProperty<&Node::GetFrameSizeLimit, &Node::SetFrameSizeLimit>("FrameSizeLimit", {.mbExcluded = true});
    AddProperty<&Node::GetSourceFrameSizeLimit, &Node::SetSourceFrameSizeLimit>("SourceFrameSizeLimit",
                                                                                {.mbExcluded = true});
    AddProperty<&Node::GetPeerLimit, &Node::SetPeerLimit>("PeerLimit", {.mbExcluded = true});
    AddProperty<&Node::GetStallTime, &Node::SetStallTime>("StallTime", {.mbExcluded = true});
    AddProperty<&Node::GetWriteLimit, &Node::SetWriteLimit>("WriteLimit", {.mbExcluded = true});
}

Node::Node(const Value&) : mpState(std::make_unique<NodeState>())
{}

Node::Node(const Node& other) : Object(other), mpState(std::make_unique<NodeState>())
{
    *this = other;
}

Node& Node::operator=(const Node& other)
{
    mpState->mSettings = other.mpState->mSettings;
    SetFrameSizeLimit(GetFrameSizeLimit());
    return *this;
}

Node::~Node()
{
    mpState->Leave(); // the serializer may live on
}

void Node::SetSerializer(ObjectDiffSerializer* pSerializer)
{
    if (pSerializer == nullptr || mpState->mpServer != nullptr || mpState->mState != ALONE) {
        Error(QBASE_HERE, "Failed to set serializer - %s",
              pSerializer == nullptr ? "serializer is null" : "the node is connected already");
        return;
    }
    mpState->mpSerializer = pSerializer;
    SetFrameSizeLimit(GetFrameSizeLimit());
}

ObjectDiffSerializer* Node::GetSerializer() const
{
    return mpState->mpSerializer;
}

Object* Node::GetRoot() const
{
    return mpState->mpSerializer != nullptr ? mpState->mpSerializer->GetRoot() : nullptr;
}

bool Node::Serve(const String& address, int port)
{
    if (mpState->mpServer != nullptr) {
        Error(QBASE_HERE, "Failed to serve at port %d - the node serves already", port);
        return false;
    }
    const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
    if (pServer == nullptr || mpState->mpSerializer == nullptr || !pServer->Listen(address, port)) {
        return false;
    }
    mpState->mpServer = pServer;
    return true;
}

int Node::GetPort() const
{
    return mpState->mpServer != nullptr ? mpState->mpServer->GetPort() : 0;
}

bool Node::Join(const String& host, int port)
{
    NodeState& rState = *mpState;
    if (rState.mState != ALONE || !rState.mPeers.empty()) {
        Error(QBASE_HERE, "Failed to join '%s:%d' - %s", host.c_str(), port,
              rState.mState != ALONE ? "the node joined another one before"
                                     : "others have joined it already");
        return false;
    }
    const Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
    if (pStream == nullptr || rState.mpSerializer == nullptr) {
        return false;
    }
    rState.ApplySettings(pStream);
    if (!pStream->Connect(host, port)) {
        return false;
    }
    rState.mpSerializer->SetFrameSizeLimit(GetSourceFrameSizeLimit()); // it reads from nobody else
    rState.mSource.mpStream = pStream;
    rState.mState = JOINING;
    return true;
}

Node::State Node::GetState() const
{
    return mpState->mState;
}

void Node::Update()
{
    NodeState& rState = *mpState;
    if (rState.mbUpdating) {
        Error(QBASE_HERE, "Failed to update node - it is updating already");
        return;
    }
    const Ptr<ObjectDiffSerializer> pSerializer = rState.mpSerializer;
    if (pSerializer == nullptr) { // there was no memory for it
        return;
    }
    const KeepAlive keepThis(this);
    const UpdateScope updating(rState);
    rState.AcceptPeers();
    rState.UpdateSource();
    rState.TakeArrivedFrames();
    pSerializer->UpdateInput();
    rState.PassOnCalls();
    rState.UpdateHandshakes(); // between two passes
    if (rState.mState == ALONE || rState.mState == JOINED) {
        pSerializer->Execute(Value::Null);
    }
    rState.EndPass();
    rState.DropLostPeers();
    rState.DropLostSource();
}

void Node::Execute(const Value&)
{
    Update();
}

void Node::Leave()
{
    if (mpState->mbUpdating) {
        mpState->mbLeaving = true;
    } else {
        mpState->Leave();
    }
}

bool Node::Flush(int milliseconds)
{
    bool bFlushed = mpState->mSource.mpStream == nullptr || mpState->mState == LOST ||
                    mpState->mSource.mpStream->Flush(milliseconds);
    for (const Peer& peer : mpState->mPeers) {
        bFlushed = peer.mpStream->Flush(milliseconds) && bFlushed;
    }
    for (const Ptr<TcpStream>& pStream : mpState->mLeft) {
        bFlushed = pStream->Flush(milliseconds) && bFlushed;
    }
    mpState->mLeft.clear();
    return bFlushed;
}

int Node::GetNumPeers() const
{
    return static_cast<int>(std::count_if(mpState->mPeers.begin(), mpState->mPeers.end(),
                                          [](const Peer& peer) { return peer.mpFrames != nullptr; }));
}

TcpStream* Node::GetPeer(int index) const
{
    for (const Peer& peer : mpState->mPeers) {
        if (peer.mpFrames != nullptr && index-- == 0) {
            return peer.mpStream;
        }
    }
    return nullptr;
}

TcpStream* Node::GetSource() const
{
    return mpState->mSource.mpStream;
}

int Node::GetNumPasses() const
{
    return mpState->mSource.mpFrames != nullptr ? mpState->mSource.mpFrames->GetNumUnits() : 0;
}

bool Node::IsAdopting() const
{
    return mpState->mSettings.mbAdopting;
}

void Node::SetAdopting(bool bAdopting)
{
    mpState->mSettings.mbAdopting = bAdopting;
}

String Node::GetMissingModules() const
{
    return mpState->mMissingModules.empty() ? String::Null : String(mpState->mMissingModules.c_str());
}

bool Node::IsSourceTrusted() const
{
    return mpState->mSettings.mbSourceTrusted;
}

void Node::SetSourceTrusted(bool bTrusted)
{
    mpState->mSettings.mbSourceTrusted = bTrusted;
}

bool Node::ArePeersTrusted() const
{
    return mpState->mSettings.mbPeersTrusted;
}

void Node::SetPeersTrusted(bool bTrusted)
{
    mpState->mSettings.mbPeersTrusted = bTrusted;
}

int Node::GetFrameSizeLimit() const
{
    return mpState->mSettings.mFrameSizeLimit;
}

void Node::SetFrameSizeLimit(int numBytes)
{
    mpState->mSettings.mFrameSizeLimit = std::clamp(numBytes, 0, TRUSTED_FRAME_SIZE);
    if (mpState->mpSerializer != nullptr && mpState->mState == ALONE) {
        mpState->mpSerializer->SetFrameSizeLimit(GetFrameSizeLimit());
    }
}

int Node::GetSourceFrameSizeLimit() const
{
    return mpState->mSettings.mSourceFrameSizeLimit;
}

void Node::SetSourceFrameSizeLimit(int numBytes)
{
    mpState->mSettings.mSourceFrameSizeLimit = std::clamp(numBytes, 0, TRUSTED_FRAME_SIZE);
}

int Node::GetPeerLimit() const
{
    return mpState->mSettings.mPeerLimit;
}

void Node::SetPeerLimit(int numPeers)
{
    mpState->mSettings.mPeerLimit = numPeers;
}

int Node::GetStallTime() const
{
    return mpState->mSettings.mStallTime;
}

void Node::SetStallTime(int milliseconds)
{
    mpState->mSettings.mStallTime = milliseconds;
}

int Node::GetWriteLimit() const
{
    return mpState->mSettings.mWriteLimit;
}

void Node::SetWriteLimit(int numBytes)
{
    mpState->mSettings.mWriteLimit = numBytes;
}

// --- NodeState ---

void NodeState::ApplySettings(TcpStream* pStream) const
{
    pStream->SetStallTime(mSettings.mStallTime);
    pStream->SetWriteLimit(mSettings.mWriteLimit);
}

// Those that the serializer reads no more.
std::unordered_set<const Stream*> NodeState::FindStoppedStreams() const
{
    std::unordered_set<const Stream*> stopped;
    const Array<ObjectDiffSerializer::InStreamInfo> infos = mpSerializer->GetInStreamInfo();
    for (int i = 0; i < infos.GetSize(); ++i) {
        if (infos.GetAt(i).mbStopped) {
            stopped.insert(infos.GetAt(i).mpStream);
        }
    }
    return stopped;
}

void NodeState::AcceptPeers()
{
    while (mpServer != nullptr) {
        const Ptr<TcpStream> pStream = mpServer->Accept();
        if (pStream == nullptr) {
            return;
        }
        ApplySettings(pStream);
        pStream->SetTrusted(mSettings.mbPeersTrusted);
        const std::string address = pStream->GetAddress().c_str();
        if (mPeers.size() >= static_cast<std::size_t>(std::max(mSettings.mPeerLimit, 0))) {
            Handshake(pStream, mpSerializer, address).Refuse("there is no room for more");
            pStream->Close();
            continue;
        }
        mPeers.emplace_back();
        mPeers.back().mpStream = pStream;
        mPeers.back().mAddress = address;
    }
}

// Goes on joining the source.
void NodeState::UpdateSource()
{
    if (mState != Node::JOINING) {
        return;
    }
    const TcpStream::State state = mSource.mpStream->GetState();
    if (state == TcpStream::CONNECTING) {
        return;
    }
    if (mSource.mpHandshake == nullptr) {
        if (state == TcpStream::CLOSED) { // as the stream reported
            mState = Node::LOST;
            return;
        }
        const bool bAdopt = mSettings.mbAdopting && mpSerializer->GetRegisteredTypes().GetSize() == 0;
        mSource.mAddress = mSource.mpStream->GetAddress().c_str();
        mSource.mpHandshake = std::make_unique<Handshake>(mSource.mpStream, mpSerializer, mSource.mAddress,
                                                          bAdopt ? Handshake::ADOPT : Handshake::COMPARE);
    }
    Handshake& rHandshake = *mSource.mpHandshake;
    if (rHandshake.Update() == Handshake::CLASSES_WANTED) {
        AdoptClasses();
    }
    if (rHandshake.GetState() == Handshake::WAITING && state == TcpStream::CLOSED) {
        rHandshake.Abandon("it left before both had agreed");
    }
    if (rHandshake.GetState() == Handshake::REFUSED) {
        mSource.mpStream->Close();
        mState = Node::LOST;
    } else if (rHandshake.GetState() == Handshake::AGREED) {
        mSource.mpHandshake.reset();
        mSource.mpFrames =
            new FrameStream(mSource.mpStream, FrameStream::WHOLE_PASSES,
                            mSettings.mbSourceTrusted ? TRUSTED_FRAME_SIZE : mSettings.mSourceFrameSizeLimit);
        mpSerializer->AddInStream(mSource.mpFrames);
        mpSerializer->SetInStreamTrusted(mSource.mpFrames, mSettings.mbSourceTrusted);
        mpSerializer->AddCallStream(mSource.mpStream);
        mState = Node::JOINED;
    }
}

// Registers what the source has registered. The host has one Update to load the modules that are missing.
void NodeState::AdoptClasses()
{
    std::set<std::string> missing;
    std::vector<ClassInfoTable*> classes;
    std::string missingClass;
    for (const auto& [module, name] : mSource.mpHandshake->GetPeerClasses()) {
        if (GetModuleTable()->Find(module.c_str()) == nullptr) {
            missing.insert(module);
        }
        classes.push_back(FindClass(module, name));
        if (classes.back() == nullptr && missingClass.empty()) {
            missingClass = module + "." + name;
        }
    }
    if (!missing.empty() && mMissingModules.empty()) {
        for (const std::string& module : missing) {
            mMissingModules += (mMissingModules.empty() ? "" : " ") + module;
        }
        return;
    }
    mMissingModules.clear();
    if (!missingClass.empty()) {
        mSource.mpHandshake->Refuse("class " + missingClass + " is missing here");
        return;
    }
    for (ClassInfoTable* const pClass : classes) {
        mpSerializer->RegisterType(pClass);
    }
    mSource.mpHandshake->Proceed();
}

// What arrives from now on waits for the next update.
void NodeState::TakeArrivedFrames()
{
    if (mSource.mpFrames != nullptr) {
        mSource.mpFrames->TakeArrived();
    }
    for (Peer& rPeer : mPeers) {
        // A relay reads on when its source has taken what came before.
        const bool bTooMuch =
            mState == Node::JOINED && mSource.mpStream->GetNumBytesWaiting() > MOST_CALLS_WAITING;
        if (rPeer.mpFrames != nullptr && !bTooMuch) {
            rPeer.mpFrames->TakeArrived();
        }
    }
}

// Lets in whoever agreed. A relay waits until it knows what to agree to.
void NodeState::UpdateHandshakes()
{
    if (mState == Node::JOINING || mState == Node::LOST) {
        return;
    }
    for (Peer& rPeer : mPeers) {
        if (rPeer.mpFrames != nullptr) {
            continue;
        }
        if (rPeer.mpHandshake == nullptr) {
            rPeer.mpHandshake = std::make_unique<Handshake>(rPeer.mpStream, mpSerializer, rPeer.mAddress);
        }
        const bool bClosed = rPeer.mpStream->GetState() == TcpStream::CLOSED;
        const Handshake::State state = rPeer.mpHandshake->Update();
        if (state == Handshake::AGREED) {
            LetIn(rPeer);
        } else if (state == Handshake::WAITING && bClosed) {
            rPeer.mpHandshake->Abandon("it left before both had agreed");
        }
    }
}

void NodeState::LetIn(Peer& rPeer)
{
    rPeer.mpHandshake.reset();
    rPeer.mpFrames =
        new FrameStream(rPeer.mpStream, FrameStream::WHOLE_FRAMES,
                        rPeer.mpStream->IsTrusted() ? TRUSTED_FRAME_SIZE : mSettings.mFrameSizeLimit);
    rPeer.mNumBytesBefore = rPeer.mpStream->GetNumBytesWritten();
    rPeer.mpStream->BeginMessage();
    if (mState == Node::ALONE) {
        mpSerializer->AddInStream(rPeer.mpFrames);
        mpSerializer->SetInStreamTrusted(rPeer.mpFrames, rPeer.mpStream->IsTrusted());
        mpSerializer->SetInStreamCallsOnly(rPeer.mpFrames, true);
        mpSerializer->AddOutStream(rPeer.mpStream);
    } else {
        mpSerializer->SendSnapshot(rPeer.mpStream);
        mpSerializer->AddForwardingStream(rPeer.mpStream);
    }
    Info("'%s' joined", rPeer.mAddress.c_str());
}

// A relay hands the calls of those who joined it to its source, as they came.
void NodeState::PassOnCalls()
{
    if (mState != Node::JOINED) {
        return;
    }
    for (Peer& rPeer : mPeers) {
        while (rPeer.mpFrames != nullptr && PassOnCalls(rPeer)) {}
    }
}

// True when there may be another frame.
bool NodeState::PassOnCalls(Peer& rPeer)
{
    if (rPeer.mbStopped || rPeer.mpFrames->BytesAvailable() == 0) {
        return false;
    }
    std::string frame(FrameStream::SIZE_BYTES, '\0');
    rPeer.mpFrames->Read(frame.data(), FrameStream::SIZE_BYTES);
    const int size = static_cast<int>(
        std::min(LoadInt(frame.data()), static_cast<unsigned>(rPeer.mpFrames->BytesAvailable())));
    std::string packets(static_cast<std::size_t>(size), '\0');
    rPeer.mpFrames->Read(packets.data(), size);
    if (packets.size() != LoadInt(frame.data()) || !HoldsCallsOnly(packets)) {
        Error(QBASE_HERE, "Failed to pass on a frame from '%s' - it holds something else than calls",
              rPeer.mAddress.c_str());
        rPeer.mbStopped = true;
        return false;
    }
    frame += packets;
    mSource.mpStream->Write(frame.data(), static_cast<int>(frame.size()));
    return true;
}

void NodeState::EndPass()
{
    for (Peer& rPeer : mPeers) {
        if (rPeer.mpFrames != nullptr && rPeer.mpStream->GetNumBytesWritten() != rPeer.mNumBytesBefore &&
            rPeer.mpStream->GetState() == TcpStream::OPEN) {
            rPeer.mpStream->Write(END_OF_PASS, FrameStream::SIZE_BYTES);
            rPeer.mpStream->BeginMessage();
            rPeer.mNumBytesBefore = rPeer.mpStream->GetNumBytesWritten();
        }
    }
}

void NodeState::DropLostPeers()
{
    const std::unordered_set<const Stream*> stopped = FindStoppedStreams();
    const auto isLost = [&](Peer& rPeer) {
        const bool bClosed = rPeer.mpStream->GetState() == TcpStream::CLOSED;
        if (rPeer.mpFrames == nullptr) {
            return mState == Node::LOST ||
                   (rPeer.mpHandshake != nullptr ? rPeer.mpHandshake->GetState() == Handshake::REFUSED
                                                 : bClosed);
        }
        if (mState == Node::LOST || rPeer.mbStopped || stopped.count(rPeer.mpFrames) != 0) {
            return true;
        }
        return bClosed && !rPeer.mpFrames->HasMore(); // its last calls come first
    };
    for (std::size_t i = 0; i < mPeers.size();) {
        if (!isLost(mPeers[i])) {
            ++i;
            continue;
        }
        Peer peer = std::move(mPeers[i]);
        mPeers.erase(mPeers.begin() + static_cast<std::ptrdiff_t>(i));
        if (peer.mpFrames != nullptr) {
            Forget(peer);
            if (peer.mpFrames->GetNumBytesHeld() > 0) {
                Error(QBASE_HERE, "Failed to read a frame from '%s' - it left after %d bytes of it",
                      peer.mAddress.c_str(), peer.mpFrames->GetNumBytesHeld());
            }
            Info("'%s' left", peer.mAddress.c_str());
        }
        peer.mpStream->Close();
    }
}

void NodeState::DropLostSource()
{
    if (mState != Node::JOINED) {
        return;
    }
    const bool bClosed = mSource.mpStream->GetState() == TcpStream::CLOSED;
    const bool bStopped = FindStoppedStreams().count(mSource.mpFrames) != 0;
    if (!bStopped && (!bClosed || mSource.mpFrames->HasMore())) {
        return;
    }
    Forget(mSource);
    if (!bStopped && mSource.mpFrames->GetNumBytesHeld() > 0) {
        Error(QBASE_HERE, "Failed to read a pass from '%s' - it left after %d bytes of it",
              mSource.mAddress.c_str(), mSource.mpFrames->GetNumBytesHeld());
    }
    mSource.mpStream->Close();
    mState = Node::LOST;
    Info("'%s' ended", mSource.mAddress.c_str());
}

// Takes the peer's streams out of the serializer.
void NodeState::Forget(Peer& rPeer)
{
    if (rPeer.mpFrames == nullptr) {
        return;
    }
    const bool bSource = &rPeer == &mSource;
    if (bSource || mState == Node::ALONE) {
        mpSerializer->RemoveInStream(rPeer.mpFrames);
        mpSerializer->RemoveOutStream(rPeer.mpStream);
    } else {
        mpSerializer->RemoveForwardingStream(rPeer.mpStream);
    }
}

void NodeState::Leave()
{
    mpServer = nullptr;
    for (Peer& rPeer : mPeers) {
        Forget(rPeer);
        rPeer.mpStream->Close();
        mLeft.push_back(rPeer.mpStream);
    }
    mPeers.clear();
    if (mSource.mpStream != nullptr && mState != Node::LOST) {
        Forget(mSource);
        mSource.mpStream->Close();
        mLeft.push_back(mSource.mpStream);
        mState = Node::LOST;
    }
}

} // namespace QNet
