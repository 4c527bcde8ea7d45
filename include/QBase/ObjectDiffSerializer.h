// ObjectDiffSerializer replicates an object graph: at the source it turns the changes that an ObjectDiff
// finds into packets and sends them over streams, at each peer it applies received packets to a replica.
//
//     pSource->RegisterType(Moon::ClassTable()); // the same classes in the same order on every peer
//     pSource->SetRoot(pScene);
//     pSource->AddOutStream(pStream);
//     pSource->Execute(Value::Null);             // once per frame: sends what changed
//
//     pReplica->RegisterType(Moon::ClassTable());
//     pReplica->AddInStream(pStream);
//     pReplica->UpdateInput();                   // once per frame: applies what arrived
//     pReplica->GetRoot();
//
// An out stream that is added late first gets a snapshot of the whole graph. Objects of classes that are not
// registered stay behind, and references to them arrive as null. Out streams are for the program whose graph
// it is: a replica has call streams and forwarding streams.
//
// Calls go both ways: the source calls functions of the replicas' objects over its out streams; a replica
// calls the source over a stream added by AddCallStream, which carries calls only. Over streams added by
// AddForwardingStream a relay passes on every frame that it applied, byte for byte; SendSnapshot brings a
// peer that joins the relay late up to date first.
//
// A frame that is damaged is reported, its rest dropped and its stream stopped: nothing is read from it until
// it is removed and added anew. Nor is anything written to a stream that took less than a whole frame. What
// packets promise each other (an id that is known, an index that follows the last) is asserted; for a stream
// that is not trusted the assertion's text is only reported, and the stream stopped; so it is when it exceeds
// the host's limits. A list or an array has at most 65536 items, which is asserted as well; where a
// stranger's call makes one longer, that is reported, the rest stays behind and the stranger is stopped,
// unless others called since the last Execute. Memory that runs out is reported and stops the streams that
// miss something. See docs/Formats.md for the bytes.
//
// Threads: a serializer, its graph and its streams are driven by one thread at a time.

#pragma once

#include "QBase/Array.h"
#include "QBase/LoadLimits.h"
#include "QBase/ObjectDiffHandler.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace QBase
{

class ClassInfoTable;
class ReplicationState;
class Stream;
struct NamedId;

class QBASE_API ObjectDiffSerializer : public ObjectDiffHandler
{
    QBASE_OBJECT(ObjectDiffSerializer, ObjectDiffHandler)

public:
    /// The ids of each kind count up from the first; 0 stands for none.
    static constexpr std::uint32_t FirstObjectId = 1;
    static constexpr std::uint32_t FirstPropertyId = 1;
    static constexpr std::uint32_t FirstTableChildId = 1;
    static constexpr std::uint32_t FirstFunctionId = 1;
    static constexpr std::uint32_t NullObjectId = 0;
    static constexpr std::uint32_t NullPropertyId = 0;
    static constexpr std::uint32_t NullTableChildId = 0;
    static constexpr std::uint32_t NullFunctionId = 0;
    static constexpr int FrameBufferSize = 32768; // bytes of packets; a longer frame holds one packet
    static constexpr int NullTypeId = 255;        // of an object without a registered class

    // What GetInStreamInfo tells of an in stream.
    struct InStreamInfo
    {
        /// The stream itself.
        Ptr<Stream> mpStream;
        int mNumFrames = 0;     // read so far
        bool mbStopped = false; // after a damaged frame
    };

    ~ObjectDiffSerializer() override;

    /// The source's graph, or the replica. Holds it.
    void SetRoot(Object* pRoot);
    Object* GetRoot() const;

    /// Appends a class; its position is its type id. The first 255 can be sent.
    void RegisterType(ClassInfoTable* pClassTable);

    /// The registered classes in their order.
    Array<Ptr<ClassInfoTable>> GetRegisteredTypes() const;

    /// The type id of the object's class; 255 for null and, after a report, for a class without one.
    int GetTypeId(Object* pObject);

    /// The id that something has, or 0 after a report.
    std::uint32_t GetObjectId(Object* pObject);
    std::uint32_t GetPropertyId(Object* pObject, const String& name);
    std::uint32_t GetTableChildId(Table* pTable, const String& name);
    std::uint32_t GetFunctionId(Object* pObject, const String& name);

    /// The id that something has, or a new one. Holds the object.
    std::uint32_t AddObjectId(Object* pObject);
    std::uint32_t AddPropertyId(Object* pObject, const String& name);
    std::uint32_t AddTableChildId(Table* pTable, const String& name);
    std::uint32_t AddFunctionId(Object* pObject, const String& name);

    /// Forgets an id and answers it; 0 after a report when there is none. With an object's go all those of
    /// its properties, children and functions.
    std::uint32_t RemoveObjectId(Object* pObject);
    std::uint32_t RemovePropertyId(Object* pObject, const String& name);
    std::uint32_t RemoveTableChildId(Table* pTable, const String& name);
    std::uint32_t RemoveFunctionId(Object* pObject, const String& name);

    /// What has an id, or null. For a property, child or function that is the object it belongs to, whose
    /// name for it goes to `pName`. Borrowed.
    Object* FindObject(std::uint32_t id) const;
    Object* FindProperty(std::uint32_t id, String* pName = nullptr) const;
    Table* FindTableChild(std::uint32_t id, String* pName = nullptr) const;
    Object* FindFunction(std::uint32_t id, String* pName = nullptr) const;
    using Object::FindFunction;
    using Object::FindProperty;

    /// Each holds the stream.
    void AddOutStream(Stream* pStream);
    void RemoveOutStream(Stream* pStream);
    void AddInStream(Stream* pStream);
    void RemoveInStream(Stream* pStream);
    void AddForwardingStream(Stream* pStream);
    void RemoveForwardingStream(Stream* pStream);

    /// An out stream for calls alone, over which a replica calls its source. RemoveOutStream takes it out.
    void AddCallStream(Stream* pStream);

    /// Streams are trusted unless told otherwise. What comes from others can stop their stream but not the
    /// program, and calls only the functions that AllowFunction names.
    void SetInStreamTrusted(Stream* pStream, bool bTrusted);
    void AllowFunction(const String& name);

    /// Lets calls alone in from a stream; anything else stops it. For those who call a source or a relay, and
    /// have no business changing its graph.
    void SetInStreamCallsOnly(Stream* pStream, bool bCallsOnly);

    /// What streams that are not trusted may cost; who goes further is stopped. A class that is registered
    /// but not allowed is a stream's mistake as well. The objects of all streams count together, what they
    /// take of memory for each stream alone. The limit of nesting is looked at when a stream has been read.
    void SetLimits(const LoadLimits& limits);
    const LoadLimits& GetLimits() const;

    /// The same for scripts, one by one.
    bool SetLimit(const String& name, int limit);
    void AllowClass(const String& name);

    /// The limit of bytes: the longest frame. 16 MiB at first.
    void SetFrameSizeLimit(int size);

    /// Queues a call that goes out with the next Execute, to one stream or to all. The arguments are those
    /// before the first void one. Holds everything until then.
    void RemoteFunctionCall(Stream* pStream, Object* pObject, const String& name,
                            const Value& a1 = Value::Null, const Value& a2 = Value::Null,
                            const Value& a3 = Value::Null, const Value& a4 = Value::Null,
                            const Value& a5 = Value::Null);
    void BroadcastFunctionCall(Object* pObject, const String& name, const Value& a1 = Value::Null,
                               const Value& a2 = Value::Null, const Value& a3 = Value::Null,
                               const Value& a4 = Value::Null, const Value& a5 = Value::Null);

    /// Sends what changed since the last time, and the queued calls. With call streams alone, or with in
    /// streams and no out streams, the graph is somebody else's and is not looked at.
    void Execute(const Value& value) override;

    /// Applies all frames that arrived whole.
    void UpdateInput();

    /// Writes a snapshot of the graph, with the ids that everything has, to a stream that is none of the out
    /// streams.
    void SendSnapshot(Stream* pStream);

    /// One entry per in stream, in the order in which they were added.
    Array<InStreamInfo> GetInStreamInfo() const;

protected:
    explicit ObjectDiffSerializer(const Value& value);

    /// Registered types, allowed functions and the root; ids and streams stay with their owner.
    ObjectDiffSerializer(const ObjectDiffSerializer& other);
    ObjectDiffSerializer& operator=(const ObjectDiffSerializer& other);

private:
    void OnNewRoot(Object* pRoot) override;
    void OnAddObject(Object* pObject) override;
    void OnRemoveObject(Object* pObject) override;
    void OnAddPropertyValue(Object* pObject, const String& name, const Value& value) override;
    void OnModifyPropertyValue(Object* pObject, const String& name, const Value& newValue,
                               const Value& oldValue) override;
    void OnRemovePropertyValue(Object* pObject, const String& name, const Value& oldValue) override;
    void OnAddPropertyArray(Object* pObject, const String& name, Value::Type elementType) override;
    void OnAddPropertyArrayElement(Object* pObject, const String& name, int index,
                                   const Value& value) override;
    void OnModifyPropertyArrayElement(Object* pObject, const String& name, int index, const Value& newValue,
                                      const Value& oldValue) override;
    void OnDownsizePropertyArray(Object* pObject, const String& name, int newSize,
                                 Value::Type elementType) override;
    void OnRemovePropertyArray(Object* pObject, const String& name, Value::Type elementType) override;
    void OnAddTableChild(Table* pTable, const String& name, Object* pChild) override;
    void OnModifyTableChild(Table* pTable, const String& name, Object* pNewChild, Object* pOldChild) override;
    void OnRemoveTableChild(Table* pTable, const String& name) override;
    void OnAddListChild(List* pList, int index, Object* pChild) override;
    void OnModifyListChild(List* pList, int index, Object* pNewChild, Object* pOldChild) override;
    void OnDownsizeList(List* pList, int newSize) override;

    void QueueCall(Stream* pStream, Object* pObject, const String& name,
                   std::initializer_list<const Value*> arguments);
    void Send();
    void SendSnapshotTo(Stream* pStream);
    void WriteChanges();
    void WriteSnapshot();
    const std::vector<String>& GetFunctionNames(ClassInfoTable* pClass);
    NamedId* AnnounceProperty(Object* pObject, const String& name);
    NamedId* KnownProperty(Object* pObject, const String& name);
    void WriteElement(int kind, Object* pObject, const String& name, int index, const Value& value);
    void WriteRemoveProperty(Object* pObject, const String& name);
    void WriteListChild(int kind, List* pList, int index, Object* pChild);

    // The reflected forms: ids as "int", calls with as many arguments as a function can take, lists as
    // objects.
    template <auto Operation>
    int ForObject(Object* pObject);
    template <auto Operation>
    int ForName(Object* pObject, const String& name);
    template <auto Operation>
    int ForChild(Table* pTable, const String& name);
    Object* ObjectOfId(int id) const;
    Object* ObjectOfPropertyId(int id) const;
    Table* TableOfChildId(int id) const;
    Object* ObjectOfFunctionId(int id) const;
    Ptr<List> ListInStreams() const;
    void CallOne(Stream* pStream, Object* pObject, const String& name, const Value& a1, const Value& a2);
    void CallAll(Object* pObject, const String& name, const Value& a1, const Value& a2, const Value& a3);

    ReplicationState* mpState; // owned
};

} // namespace QBase
