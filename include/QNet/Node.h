// Node is one program's place among those that share a graph. It serves the graph of its ObjectDiffSerializer
// to others, or joins another node and keeps a replica of that one's graph, or does both and so relays.
//
//     Ptr<Node> pNode = Node::Construct(Value::Null);
//     pNode->GetSerializer()->RegisterType(Body::ClassTable());  // the same in all programs
//     pNode->GetSerializer()->SetRoot(pScene);
//     pNode->Serve("", 4711);                     // programs of this machine may join
//     pNode->Update();                            // once per frame: sends what changed
//
//     pNode->GetSerializer()->RegisterType(Body::ClassTable());
//     pNode->Join("example.net", 4711);
//     pNode->Update();                            // once per frame: applies what arrived
//     pNode->GetRoot();                           // null until then
//
// Replicas change in whole passes. A replica calls functions of the source with the BroadcastFunctionCall of
// its serializer, through relays as well; the source allows them by name (AllowFunction), unless it trusts
// those who join. Its own calls reach all replicas.
//
// What would surprise:
// - Nothing waits for the network. What goes wrong with one peer is reported, that peer is dropped, and the
//   others notice nothing. Whoever joins and leaves is told through Info.
// - The graph of a replica belongs to its source: what the host changes there stays there.
// - A replica whose source is lost keeps its last state. It cannot join again: make a new node.
// - A relay lets others in once it has joined itself, and sends them away when its source is lost.
//
// Threads: one node, its serializer and graph are driven by one thread at a time.

#pragma once

#include "QNet/TcpStream.h"

#include "QBase/ObjectDiffSerializer.h"

#include <memory>

namespace QNet
{

class NodeState;

class QNET_API Node : public QBase::Object
{
    QBASE_OBJECT(Node, QBase::Object)

public:
    /// Where a node stands with its source.
    enum State : int
    {
        ALONE,   // never joined anybody
        JOINING, // until both ends have agreed
        JOINED,
        LOST // the source; the reason was reported unless it just ended
    };

    /// The serializer whose graph is shared; a node has one from the start. Holds it. Not after Serve or
    /// Join.
    void SetSerializer(QBase::ObjectDiffSerializer* pSerializer);
    QBase::ObjectDiffSerializer* GetSerializer() const;

    /// The root of the shared graph. Borrowed.
    QBase::Object* GetRoot() const;

    /// Lets others join, as TcpServer::Listen does. False after a report.
    bool Serve(const QBase::String& address, int port);

    /// The port where others join; 0 while they cannot.
    int GetPort() const;

    /// Begins to join the node that serves there. False, after a report, when that was done before.
    bool Join(const QBase::String& host, int port);
    State GetState() const;

    /// Goes on with everything: who comes and goes, what arrived, what changed.
    void Update();

    /// Update.
    void Execute(const QBase::Value& value) override;

    /// Ends all connections; what was written still goes out.
    void Leave();

    /// Waits until everything written was handed to the system and, after Leave, until the others know. False
    /// when that took longer. For the end of a program.
    bool Flush(int milliseconds);

    /// Those who joined here, in the order in which they came. Borrowed; as an out stream of the serializer
    /// each is the address of calls to that one peer.
    int GetNumPeers() const;
    TcpStream* GetPeer(int index) const;

    /// The connection to the source; null while there is none. Borrowed.
    TcpStream* GetSource() const;

    /// How many passes of the source were applied.
    int GetNumPasses() const;

    /// Whether to take over the classes that the source has registered, instead of comparing them with one's
    /// own. Of modules that are not loaded GetMissingModules then tells the names, separated by blanks, for
    /// one Update: a host that trusts the source that far loads them.
    bool IsAdopting() const;
    void SetAdopting(bool bAdopting);
    QBase::String GetMissingModules() const;

    /// Whether the source is trusted, which it is at first, and those who join, which they are not.
    bool IsSourceTrusted() const;
    void SetSourceTrusted(bool bTrusted);
    bool ArePeersTrusted() const;
    void SetPeersTrusted(bool bTrusted);

    /// The longest frame from those who join, and from the source, when they are not trusted, in bytes. 16
    /// MiB at first. The latter before Join.
    int GetFrameSizeLimit() const;
    void SetFrameSizeLimit(int numBytes);
    int GetSourceFrameSizeLimit() const;
    void SetSourceFrameSizeLimit(int numBytes);

    /// How many may be joined at a time. 1000 at first.
    int GetPeerLimit() const;
    void SetPeerLimit(int numPeers);

    /// Settings of each stream from now on; see TcpStream. A snapshot or a pass of any size reaches a peer
    /// that reads: the largest one that waits does not count against the write limit.
    int GetStallTime() const;
    void SetStallTime(int milliseconds);
    int GetWriteLimit() const;
    void SetWriteLimit(int numBytes);

    ~Node() override;

protected:
    explicit Node(const QBase::Value& value);

    /// A copy has the same settings, a serializer of its own and nobody who joined.
    Node(const Node& other);
    Node& operator=(const Node& other);

private:
    int GetStateNumber() const { return GetState(); }

    std::unique_ptr<NodeState> mpState;
};

} // namespace QNet
