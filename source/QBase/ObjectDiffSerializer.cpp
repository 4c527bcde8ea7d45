#include "QBase/ObjectDiffSerializer.h"

#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/ObjectTargets.h"
#include "QBase/PacketApplier.h"
#include "QBase/Reflection.h"
#include "QBase/ReplicationState.h"
#include "QBase/Table.h"

#include <algorithm>
#include <new>
#include <utility>

namespace QBase
{

namespace
{

std::uint32_t g_FirstIds = 1;

} // namespace

void SetFirstIds(std::uint32_t first)
{
    g_FirstIds = first;
}

std::uint32_t GetFirstIds()
{
    return g_FirstIds;
}

namespace
{

constexpr const char* UNIT = "ObjectDiffSerializer";

static_assert(ObjectDiffSerializer::FrameBufferSize == FrameBuffer::FRAME_SIZE);
static_assert(ObjectDiffSerializer::NullObjectId == NO_ID);

template <typename Record>
std::shared_ptr<Record> FindStream(const std::vector<std::shared_ptr<Record>>& streams, const Stream* pStream)
{
    for (const std::shared_ptr<Record>& pRecord : streams) {
        if (pRecord->mpStream == pStream) {
            return pRecord;
        }
    }
    return nullptr;
}

template <typename Record>
Record* AddStream(std::vector<std::shared_ptr<Record>>& streams, Stream* pStream, const char* pWhat)
{
    if (pStream == nullptr) {
        Error(UNIT, __LINE__, "Failed to add %s stream - stream is null", pWhat);
        return nullptr;
    }
    if (FindStream(streams, pStream) != nullptr) {
        Error(UNIT, __LINE__, "Failed to add %s stream %s.%s - stream was added already", pWhat,
              pStream->GetModuleName().c_str(), pStream->GetClassName().c_str());
        return nullptr;
    }
    streams.push_back(std::make_shared<Record>());
    streams.back()->mpStream = pStream;
    return streams.back().get();
}

// Whoever walks over the streams at the moment skips it from now on.
template <typename Record>
void RemoveStream(std::vector<std::shared_ptr<Record>>& streams, Stream* pStream, const char* pWhat)
{
    for (auto record = streams.begin(); record != streams.end(); ++record) {
        if ((*record)->mpStream == pStream) {
            const std::shared_ptr<Record> pRemoved = *record;
            pRemoved->mbRemoved = true;
            streams.erase(record);
            return;
        }
    }
    Error(UNIT, __LINE__, "Failed to remove %s stream - stream not found", pWhat);
}

// The whole frame in one Write. A stream that takes less has lost its place and is used no more.
void WriteFrame(OutStream& out, const unsigned char* pFrame, int size)
{
    if (out.mbStopped || out.mbRemoved) {
        return;
    }
    const Ptr<Stream> pStream = out.mpStream;
    const int numWritten = pStream->Write(pFrame, size);
    if (numWritten != size) {
        out.mbStopped = true;
        Error(UNIT, __LINE__, "Failed to write frame to %s.%s - %d/%d bytes written",
              pStream->GetModuleName().c_str(), pStream->GetClassName().c_str(), numWritten, size);
    }
}

void SendFrame(FrameBuffer& rFrame, int size, OutStream& out)
{
    WriteFrame(out, rFrame.Close(size), size + FrameBuffer::SIZE_BYTES);
}

// A flag that is set for the time of a block.
class FlagScope
{
public:
    explicit FlagScope(bool& rbFlag) : mrbFlag(rbFlag) { mrbFlag = true; }
    ~FlagScope() { mrbFlag = false; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    bool& mrbFlag;
};

// How an object that a packet refers to is written.
class ReferenceWriter
{
public:
    explicit ReferenceWriter(ReplicationState& state) : mState(state) {}

    // 0 for null and for objects that stay behind; what a snapshot meets without an id is reported once.
    std::uint32_t GetId(Object* pObject)
    {
        if (pObject == nullptr || mState.mNotReplicated.count(pObject) != 0) {
            return NO_ID;
        }
        const std::uint32_t id = mState.mObjects.Find(pObject);
        if (id == NO_ID && mState.mUnknown.emplace(pObject, pObject).second) {
            Error(UNIT, __LINE__, "Failed to get object id for %s.%s", pObject->GetModuleName().c_str(),
                  pObject->GetClassName().c_str());
        }
        return id;
    }

    void WriteText(ByteBuffer& rBytes, Value&& text) { ValueBytes::WriteString(rBytes, text.AsString()); }
    void WriteObject(ByteBuffer& rBytes, Value&& object)
    {
        ValueBytes::WriteInt(rBytes, static_cast<std::int32_t>(GetId(object.AsObject())));
    }

private:
    ReplicationState& mState;
};

// PacketWriter puts one packet behind others, part by part.
//
//     PacketWriter(state, bytes, PACKET_NEW_ROOT).U32(id);
class PacketWriter
{
public:
    PacketWriter(ReplicationState& state, ByteBuffer& rBytes, PacketKind kind)
        : mReferences(state), mBytes(rBytes)
    {
        U8(kind);
    }

    PacketWriter& U8(int number)
    {
        const unsigned char byte = static_cast<unsigned char>(number);
        mBytes.Append(&byte, 1);
        return *this;
    }

    PacketWriter& U16(int number) { return U8(number & 0xFF).U8(number >> 8); }

    PacketWriter& U32(std::uint32_t number)
    {
        ValueBytes::WriteInt(mBytes, static_cast<std::int32_t>(number));
        return *this;
    }

    PacketWriter& Reference(Object* pObject) { return U32(mReferences.GetId(pObject)); }

    PacketWriter& Text(const String& text)
    {
        ValueBytes::WriteString(mBytes, text);
        return *this;
    }

    PacketWriter& Content(const Value& value)
    {
        if (!value.IsVoid()) {
            ValueBytes::Write(mBytes, Value(value), mReferences);
        }
        return *this;
    }

    // An element of an array: one of an array of any type brings its type along.
    PacketWriter& Element(Value::Type elementType, const Value& value)
    {
        if (elementType == Value::TYPE_VALUE) {
            U8(value.GetType());
        }
        return Content(value);
    }

private:
    ReferenceWriter mReferences;
    ByteBuffer& mBytes;
};

// Somebody wrote into the frame while it was under way, and nobody knows any more what is in it. Whoever was
// to get it has missed something.
void GiveUpFrame(ReplicationState& state)
{
    for (const std::shared_ptr<OutStream>& pOut : state.mAddressed) {
        pOut->mbStopped = true;
    }
    state.mFrame.Seek(0);
}

// When the frame gets too long by its last packet, which starts at `start`, those before go out to all who
// are addressed, and that packet becomes the first of the next frame.
void SplitFrame(ReplicationState& state, int start)
{
    if (state.mFrame.Tell() <= FrameBuffer::FRAME_SIZE || start == 0) {
        return;
    }
    FrameBuffer* const mpFrameStream = &state.mFrame;
    const int frameSize = mpFrameStream->Tell();
    bool bWhole = start <= frameSize;
    for (std::size_t i = 0; bWhole && i < state.mAddressed.size(); ++i) {
        SendFrame(*mpFrameStream, start, *state.mAddressed[i]);
        bWhole = QBASE_ASSERT(frameSize == mpFrameStream->Tell());
    }
    if (bWhole) {
        state.mFrame.KeepFrom(start);
    } else {
        GiveUpFrame(state);
    }
}

template <typename Fill>
void WritePacket(ReplicationState& state, PacketKind kind, Fill fill)
{
    const int start = state.mFrame.Tell();
    PacketWriter writer(state, state.mFrame.GetBytes(), kind);
    fill(writer);
    SplitFrame(state, start);
}

bool FitsIndex(int index)
{
    struct
    {
        std::uint16_t index;
    } const packet = {static_cast<std::uint16_t>(index)};
    return QBASE_ASSERT(packet.index == index);
}

bool FitsSize(int size)
{
    struct
    {
        std::uint16_t size;
    } const packet = {static_cast<std::uint16_t>(size)};
    return QBASE_ASSERT(packet.size == size);
}

constexpr int MOST_ITEMS = 65536; // of a list or an array; their last index is the last of 16 bits

// Whether an item stays behind because a stranger's call made its list or array longer than packets can
// count. That is no promise that this program broke: it goes on, without the items that are too many. Of
// several strangers who called since the last pass nobody knows which it was.
bool StaysBehind(ReplicationState& state, Object* pObject, int index, bool& rbCut)
{
    if (index < MOST_ITEMS || rbCut || state.mNumCallers == 0) {
        return index >= MOST_ITEMS && rbCut;
    }
    rbCut = true;
    Error(UNIT, __LINE__, "ASSERT( packet.index == index )");
    Info("WARNING: Items of %s.%s behind the first %d are not sent - somebody called a function that added "
         "them",
         pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), MOST_ITEMS);
    for (const std::shared_ptr<InStream>& pIn : state.mInStreams) {
        if (pIn->mbHasCalled && state.mNumCallers == 1) {
            pIn->mbStopped = true;
        }
    }
    return true;
}

// Whether nobody has to be told of a new size: of what was cut, others have as much as can be sent.
bool StaysCut(int size, bool& rbCut)
{
    const bool bCut = rbCut && size >= MOST_ITEMS;
    rbCut = bCut && size > MOST_ITEMS;
    return bCut;
}

// The value as its property announced it: late peers count on that type, whatever a getter says now.
Value ConformTo(Value::Type type, const Value& value)
{
    if (value.GetType() == type || type == Value::TYPE_VOID) {
        return type == Value::TYPE_VOID ? Value::Null : value;
    }
    switch (type) {
    case Value::TYPE_STRING:
        return Value(String::Null);
    case Value::TYPE_OBJECT:
        return Value(nullptr);
    default: {
        const unsigned char zeros[Value::PAYLOAD_SIZE] = {};
        return ValueBits::MakePlain(type, zeros, sizeof(zeros));
    }
    }
}

// A call in bytes, and the stream that it is for.
struct EncodedCall
{
    Ptr<Stream> mpStream; // null for all
    std::unique_ptr<ByteBuffer> mpBytes;
};

// Sends a frame with calls, the common one or another. False when somebody wrote into either meanwhile.
bool SendLocalFrame(ReplicationState& state, FrameBuffer& rFrame, OutStream& out)
{
    const int localFrameSize = rFrame.Tell();
    const int commonFrameSize = state.mFrame.Tell();
    if (localFrameSize > 0) {
        SendFrame(rFrame, localFrameSize, out);
    }
    return QBASE_ASSERT_TEXT(localFrameSize == rFrame.Tell(), UNIT, __LINE__,
                             "ASSERT( localFrameSize == mpFrameStream->Tell() )") &&
           QBASE_ASSERT_TEXT(commonFrameSize == state.mFrame.Tell(), UNIT, __LINE__,
                             "ASSERT( commonFrameSize == mpFrameStream->Tell() )");
}

// The packets common to all streams stand in the frame. Each stream gets them with its calls behind; calls
// that find no room follow in frames of their own.
void SendFrames(ReplicationState& state, const std::vector<EncodedCall>& calls)
{
    const int commonFrameSize = state.mFrame.Tell();
    for (const std::shared_ptr<OutStream>& pOut : state.mAddressed) {
        FrameBuffer* pFrame = &state.mFrame;
        bool bWhole = true;
        for (std::size_t i = 0; bWhole && i < calls.size(); ++i) {
            const EncodedCall& call = calls[i];
            if (call.mpStream != nullptr && !(call.mpStream == pOut->mpStream)) {
                continue;
            }
            const int callSize = static_cast<int>(call.mpBytes->GetSize());
            if (pFrame->Tell() > 0 && pFrame->Tell() + callSize > FrameBuffer::FRAME_SIZE) {
                bWhole = SendLocalFrame(state, *pFrame, *pOut);
                pFrame = &state.mCallFrame;
                pFrame->Seek(0);
            }
            pFrame->GetBytes().Append(call.mpBytes->GetData(), call.mpBytes->GetSize());
        }
        if (!bWhole || !SendLocalFrame(state, *pFrame, *pOut)) {
            GiveUpFrame(state);
            return;
        }
        state.mFrame.Seek(commonFrameSize);
    }
    state.mFrame.Seek(0);
}

} // namespace

QBASE_IMPLEMENT(QBase, ObjectDiffSerializer)

// Units that take an address find it here; not every system makes a copy where a constant is used.
constexpr std::uint32_t ObjectDiffSerializer::FirstObjectId;
constexpr std::uint32_t ObjectDiffSerializer::FirstPropertyId;
constexpr std::uint32_t ObjectDiffSerializer::FirstTableChildId;
constexpr std::uint32_t ObjectDiffSerializer::FirstFunctionId;
constexpr std::uint32_t ObjectDiffSerializer::NullObjectId;
constexpr std::uint32_t ObjectDiffSerializer::NullPropertyId;
constexpr std::uint32_t ObjectDiffSerializer::NullTableChildId;
constexpr std::uint32_t ObjectDiffSerializer::NullFunctionId;
constexpr int ObjectDiffSerializer::FrameBufferSize;
constexpr int ObjectDiffSerializer::NullTypeId;

template <auto Operation>
int ObjectDiffSerializer::ForObject(Object* pObject)
{
    return static_cast<int>((this->*Operation)(pObject));
}

template <auto Operation>
int ObjectDiffSerializer::ForName(Object* pObject, const String& name)
{
    return static_cast<int>((this->*Operation)(pObject, name));
}

template <auto Operation>
int ObjectDiffSerializer::ForChild(Table* pTable, const String& name)
{
    return static_cast<int>((this->*Operation)(pTable, name));
}

Object* ObjectDiffSerializer::ObjectOfId(int id) const
{
    return FindObject(static_cast<std::uint32_t>(id));
}

Object* ObjectDiffSerializer::ObjectOfPropertyId(int id) const
{
    return FindProperty(static_cast<std::uint32_t>(id));
}

Table* ObjectDiffSerializer::TableOfChildId(int id) const
{
    return FindTableChild(static_cast<std::uint32_t>(id));
}

Object* ObjectDiffSerializer::ObjectOfFunctionId(int id) const
{
    return FindFunction(static_cast<std::uint32_t>(id));
}

// An object for each in stream, with what there is to tell as properties.
Ptr<List> ObjectDiffSerializer::ListInStreams() const
{
    const Ptr<List> pInfos = List::Construct(Value::Null);
    const Array<InStreamInfo> infos = GetInStreamInfo();
    for (int i = 0; pInfos != nullptr && i < infos.GetSize(); ++i) {
        const Ptr<Object> pInfo = Object::Construct(Value::Null);
        if (pInfo != nullptr) {
            pInfo->AddPropertyValueFromValue("Stream", infos.GetAt(i).mpStream);
            pInfo->AddPropertyValueFromValue("NumFrames", infos.GetAt(i).mNumFrames);
            pInfo->AddPropertyValueFromValue("Stopped", infos.GetAt(i).mbStopped);
        }
        pInfos->Insert(pInfo);
    }
    return pInfos;
}

// The operations of the handler are not among them: only an ObjectDiff calls those.
void ObjectDiffSerializer::Implement()
{
    Describe("Replicates an object graph over streams, and calls functions of the other side");
    using Self = ObjectDiffSerializer;
    AddFunction<&Self::RegisterType>("RegisterType");
    AddFunction<&Self::GetTypeId>("GetTypeId");
    AddFunction<&Self::ForObject<&Self::GetObjectId>>("GetObjectId");
    AddFunction<&Self::ForName<&Self::GetPropertyId>>("GetPropertyId");
    AddFunction<&Self::ForChild<&Self::GetTableChildId>>("GetTableChildId");
    AddFunction<&Self::ForName<&Self::GetFunctionId>>("GetFunctionId");
    AddFunction<&Self::ForObject<&Self::AddObjectId>>("AddObjectId");
    AddFunction<&Self::ForName<&Self::AddPropertyId>>("AddPropertyId");
    AddFunction<&Self::ForChild<&Self::AddTableChildId>>("AddTableChildId");
    AddFunction<&Self::ForName<&Self::AddFunctionId>>("AddFunctionId");
    AddFunction<&Self::ForObject<&Self::RemoveObjectId>>("RemoveObjectId");
    AddFunction<&Self::ForName<&Self::RemovePropertyId>>("RemovePropertyId");
    AddFunction<&Self::ForChild<&Self::RemoveTableChildId>>("RemoveTableChildId");
    AddFunction<&Self::ForName<&Self::RemoveFunctionId>>("RemoveFunctionId");
    AddFunction<&Self::ObjectOfId>("FindObject");
    AddFunction<&Self::ObjectOfPropertyId>("FindProperty");
    AddFunction<&Self::TableOfChildId>("FindTableChild");
    AddFunction<&Self::ObjectOfFunctionId>("FindFunction");
    AddFunction<&Self::AddOutStream>("AddOutStream");
    AddFunction<&Self::RemoveOutStream>("RemoveOutStream");
    AddFunction<&Self::AddInStream>("AddInStream");
    AddFunction<&Self::RemoveInStream>("RemoveInStream");
    AddFunction<&Self::AddForwardingStream>("AddForwardingStream");
    AddFunction<&Self::RemoveForwardingStream>("RemoveForwardingStream");
    AddFunction<&Self::AddCallStream>("AddCallStream");
    AddFunction<&Self::SetInStreamTrusted>("SetInStreamTrusted");
    AddFunction<&Self::SetInStreamCallsOnly>("SetInStreamCallsOnly");
    AddFunction<&Self::AllowFunction>("AllowFunction");
    AddFunction<&Self::SetLimit>("SetLimit");
    AddFunction<&Self::AllowClass>("AllowClass");
    AddFunction<&Self::SetFrameSizeLimit>("SetFrameSizeLimit");
    AddFunction<&Self::CallOne>("RemoteFunctionCall");
    AddFunction<&Self::CallAll>("BroadcastFunctionCall");
    AddFunction<&Self::UpdateInput>("UpdateInput");
    AddFunction<&Self::ListInStreams>("GetInStreamInfo");
    AddFunction<&Self::SendSnapshot>("SendSnapshot");
    AddProperty<&Self::GetRoot, &Self::SetRoot>("Root", {.mbExcluded = true});
}

ObjectDiffSerializer::ObjectDiffSerializer(const Value& value)
    : ObjectDiffHandler(value), mpState(new ReplicationState)
{}

ObjectDiffSerializer::ObjectDiffSerializer(const ObjectDiffSerializer& other)
    : ObjectDiffHandler(other), mpState(new ReplicationState)
{
    *this = other;
}

ObjectDiffSerializer& ObjectDiffSerializer::operator=(const ObjectDiffSerializer& other)
{
    if (this != &other) {
        mpState->mRegisteredTypes = other.mpState->mRegisteredTypes;
        mpState->mTypeIds = other.mpState->mTypeIds;
        mpState->mFunctionNames.clear();
        mpState->mAllowed = other.mpState->mAllowed;
        mpState->mLimits = other.mpState->mLimits;
        mpState->mClassTroubles.clear();
        SetRoot(other.GetRoot());
    }
    return *this;
}

ObjectDiffSerializer::~ObjectDiffSerializer()
{
    delete mpState;
}

void ObjectDiffSerializer::SetRoot(Object* pRoot)
{
    mpState->SetRoot(pRoot);
}

Object* ObjectDiffSerializer::GetRoot() const
{
    return mpState->GetRoot();
}

void ObjectDiffSerializer::RegisterType(ClassInfoTable* pClassTable)
{
    if (pClassTable == nullptr) {
        Error(UNIT, __LINE__, "Failed to register type - class is null");
        return;
    }
    mpState->mTypeIds.emplace(pClassTable, static_cast<int>(mpState->mRegisteredTypes.size()));
    mpState->mRegisteredTypes.push_back(pClassTable);
    mpState->mFunctionNames.clear();
}

Array<Ptr<ClassInfoTable>> ObjectDiffSerializer::GetRegisteredTypes() const
{
    Array<Ptr<ClassInfoTable>> classes;
    for (const Ptr<ClassInfoTable>& pClass : mpState->mRegisteredTypes) {
        classes.Insert(pClass);
    }
    return classes;
}

int ObjectDiffSerializer::GetTypeId(Object* pObject)
{
    if (pObject == nullptr) {
        return NullTypeId;
    }
    const auto found = mpState->mTypeIds.find(pObject->GetClassTable());
    if (found == mpState->mTypeIds.end() || found->second >= NullTypeId) {
        Error(UNIT, __LINE__, "Failed to get TypeId for %s.%s - type not registered.",
              pObject->GetModuleName().c_str(), pObject->GetClassName().c_str());
        return NullTypeId;
    }
    return found->second;
}

namespace
{

const char* ModuleOf(Object* pObject)
{
    return pObject != nullptr ? pObject->GetModuleName().c_str() : "null";
}

const char* ClassOf(Object* pObject)
{
    return pObject != nullptr ? pObject->GetClassName().c_str() : "null";
}

std::uint32_t GetNamedId(NamedIdTable& rTable, Object* pObject, const String& name, const char* pWhat)
{
    const NamedId* const pId = rTable.Find(pObject, name);
    if (pId == nullptr) {
        Error(UNIT, __LINE__, "Failed to get %s '%s' id for %s.%s", pWhat, name.c_str(), ModuleOf(pObject),
              ClassOf(pObject));
        return NO_ID;
    }
    return pId->mId;
}

std::uint32_t AddNamedId(NamedIdTable& rTable, Object* pObject, const String& name, IdCounter& rNext)
{
    return pObject != nullptr ? rTable.Assign(pObject, name, rNext)->mId : NO_ID;
}

std::uint32_t RemoveNamedId(NamedIdTable& rTable, Object* pObject, const String& name, const char* pWhat)
{
    NamedId* const pId = rTable.Find(pObject, name);
    if (pId == nullptr) {
        Error(UNIT, __LINE__, "Failed to remove %s '%s' id for %s.%s", pWhat, name.c_str(), ModuleOf(pObject),
              ClassOf(pObject));
        return NO_ID;
    }
    const std::uint32_t id = pId->mId;
    rTable.Remove(pId);
    return id;
}

Object* FindNamed(NamedIdTable& rTable, std::uint32_t id, String* pName)
{
    const NamedId* const pId = rTable.Find(id);
    if (pId == nullptr) {
        return nullptr;
    }
    if (pName != nullptr) {
        *pName = pId->mName;
    }
    return pId->mpOwner;
}

} // namespace

std::uint32_t ObjectDiffSerializer::GetObjectId(Object* pObject)
{
    const std::uint32_t id = mpState->mObjects.Find(pObject);
    if (id == NO_ID) {
        Error(UNIT, __LINE__, "Failed to get object id for %s.%s", ModuleOf(pObject), ClassOf(pObject));
    }
    return id;
}

std::uint32_t ObjectDiffSerializer::GetPropertyId(Object* pObject, const String& name)
{
    return GetNamedId(mpState->mProperties, pObject, name, "property");
}

std::uint32_t ObjectDiffSerializer::GetTableChildId(Table* pTable, const String& name)
{
    return GetNamedId(mpState->mTableChildren, pTable, name, "table child");
}

std::uint32_t ObjectDiffSerializer::GetFunctionId(Object* pObject, const String& name)
{
    return GetNamedId(mpState->mFunctions, pObject, name, "function");
}

std::uint32_t ObjectDiffSerializer::AddObjectId(Object* pObject)
{
    return pObject != nullptr ? mpState->mObjects.Assign(pObject, mpState->mNextObjectId) : NO_ID;
}

std::uint32_t ObjectDiffSerializer::AddPropertyId(Object* pObject, const String& name)
{
    return AddNamedId(mpState->mProperties, pObject, name, mpState->mNextPropertyId);
}

std::uint32_t ObjectDiffSerializer::AddTableChildId(Table* pTable, const String& name)
{
    return AddNamedId(mpState->mTableChildren, pTable, name, mpState->mNextTableChildId);
}

std::uint32_t ObjectDiffSerializer::AddFunctionId(Object* pObject, const String& name)
{
    return AddNamedId(mpState->mFunctions, pObject, name, mpState->mNextFunctionId);
}

std::uint32_t ObjectDiffSerializer::RemoveObjectId(Object* pObject)
{
    const std::uint32_t id = mpState->mObjects.Find(pObject);
    if (id == NO_ID) {
        Error(UNIT, __LINE__, "Failed to remove object id for %s.%s", ModuleOf(pObject), ClassOf(pObject));
        return NO_ID;
    }
    mpState->ForgetObject(pObject);
    return id;
}

std::uint32_t ObjectDiffSerializer::RemovePropertyId(Object* pObject, const String& name)
{
    return RemoveNamedId(mpState->mProperties, pObject, name, "property");
}

std::uint32_t ObjectDiffSerializer::RemoveTableChildId(Table* pTable, const String& name)
{
    return RemoveNamedId(mpState->mTableChildren, pTable, name, "table child");
}

std::uint32_t ObjectDiffSerializer::RemoveFunctionId(Object* pObject, const String& name)
{
    return RemoveNamedId(mpState->mFunctions, pObject, name, "function");
}

Object* ObjectDiffSerializer::FindObject(std::uint32_t id) const
{
    return mpState->mObjects.Find(id);
}

Object* ObjectDiffSerializer::FindProperty(std::uint32_t id, String* pName) const
{
    return FindNamed(mpState->mProperties, id, pName);
}

Table* ObjectDiffSerializer::FindTableChild(std::uint32_t id, String* pName) const
{
    return static_cast<Table*>(FindNamed(mpState->mTableChildren, id, pName));
}

Object* ObjectDiffSerializer::FindFunction(std::uint32_t id, String* pName) const
{
    return FindNamed(mpState->mFunctions, id, pName);
}

void ObjectDiffSerializer::AddOutStream(Stream* pStream)
{
    AddStream(mpState->mOutStreams, pStream, "out");
}

void ObjectDiffSerializer::RemoveOutStream(Stream* pStream)
{
    RemoveStream(mpState->mOutStreams, pStream, "out");
}

void ObjectDiffSerializer::AddInStream(Stream* pStream)
{
    AddStream(mpState->mInStreams, pStream, "in");
}

void ObjectDiffSerializer::RemoveInStream(Stream* pStream)
{
    RemoveStream(mpState->mInStreams, pStream, "in");
}

void ObjectDiffSerializer::AddForwardingStream(Stream* pStream)
{
    AddStream(mpState->mForwardingStreams, pStream, "forwarding");
}

void ObjectDiffSerializer::RemoveForwardingStream(Stream* pStream)
{
    RemoveStream(mpState->mForwardingStreams, pStream, "forwarding");
}

void ObjectDiffSerializer::AddCallStream(Stream* pStream)
{
    if (OutStream* const pOut = AddStream(mpState->mOutStreams, pStream, "call")) {
        pOut->mbCallsOnly = true;
    }
}

void ObjectDiffSerializer::SetInStreamTrusted(Stream* pStream, bool bTrusted)
{
    const std::shared_ptr<InStream> pIn = FindStream(mpState->mInStreams, pStream);
    if (pIn == nullptr) {
        Error(UNIT, __LINE__, "Failed to set trust of in stream - stream not found");
        return;
    }
    pIn->mbTrusted = bTrusted;
}

void ObjectDiffSerializer::SetInStreamCallsOnly(Stream* pStream, bool bCallsOnly)
{
    const std::shared_ptr<InStream> pIn = FindStream(mpState->mInStreams, pStream);
    if (pIn == nullptr) {
        Error(UNIT, __LINE__, "Failed to limit in stream to calls - stream not found");
        return;
    }
    pIn->mbCallsOnly = bCallsOnly;
}

void ObjectDiffSerializer::AllowFunction(const String& name)
{
    mpState->mAllowed.insert(name);
}

void ObjectDiffSerializer::SetLimits(const LoadLimits& limits)
{
    mpState->mLimits = limits;
    mpState->mClassTroubles.clear();
}

const LoadLimits& ObjectDiffSerializer::GetLimits() const
{
    return mpState->mLimits;
}

bool ObjectDiffSerializer::SetLimit(const String& name, int limit)
{
    return mpState->mLimits.Set(name, limit);
}

void ObjectDiffSerializer::AllowClass(const String& name)
{
    mpState->mLimits.mClasses.push_back(name);
    mpState->mClassTroubles.clear();
}

void ObjectDiffSerializer::SetFrameSizeLimit(int size)
{
    if (size < 0) {
        Error(UNIT, __LINE__, "Failed to set frame size limit - invalid size %d", size);
        return;
    }
    mpState->mLimits.mMaxBytes = size;
}

void ObjectDiffSerializer::RemoteFunctionCall(Stream* pStream, Object* pObject, const String& name,
                                              const Value& a1, const Value& a2, const Value& a3,
                                              const Value& a4, const Value& a5)
{
    if (pStream == nullptr) {
        Error(UNIT, __LINE__, "Failed to call '%s' on %s.%s - stream is null", name.c_str(),
              ModuleOf(pObject), ClassOf(pObject));
        return;
    }
    QueueCall(pStream, pObject, name, {&a1, &a2, &a3, &a4, &a5});
}

void ObjectDiffSerializer::BroadcastFunctionCall(Object* pObject, const String& name, const Value& a1,
                                                 const Value& a2, const Value& a3, const Value& a4,
                                                 const Value& a5)
{
    QueueCall(nullptr, pObject, name, {&a1, &a2, &a3, &a4, &a5});
}

void ObjectDiffSerializer::CallOne(Stream* pStream, Object* pObject, const String& name, const Value& a1,
                                   const Value& a2)
{
    RemoteFunctionCall(pStream, pObject, name, a1, a2);
}

void ObjectDiffSerializer::CallAll(Object* pObject, const String& name, const Value& a1, const Value& a2,
                                   const Value& a3)
{
    BroadcastFunctionCall(pObject, name, a1, a2, a3);
}

void ObjectDiffSerializer::QueueCall(Stream* pStream, Object* pObject, const String& name,
                                     std::initializer_list<const Value*> arguments)
{
    if (pObject == nullptr) {
        Error(UNIT, __LINE__, "Failed to call '%s' - object is null", name.c_str());
        return;
    }
    QueuedCall call{pStream, pObject, name, {}};
    for (const Value* const pArgument : arguments) {
        if (pArgument->IsVoid()) {
            break;
        }
        call.mArguments.push_back(*pArgument);
    }
    mpState->mCalls.push_back(std::move(call));
}

namespace
{

// The queued calls in bytes. Those that nobody can receive are reported and dropped.
std::vector<EncodedCall> EncodeCalls(ReplicationState& state)
{
    std::vector<EncodedCall> encoded;
    const std::vector<QueuedCall> calls = std::exchange(state.mCalls, {});
    for (const QueuedCall& call : calls) {
        if (call.mpStream != nullptr && FindStream(state.mOutStreams, call.mpStream) == nullptr) {
            Error(UNIT, __LINE__, "Failed to call '%s' on %s.%s - stream is no out stream",
                  call.mName.c_str(), ModuleOf(call.mpObject), ClassOf(call.mpObject));
            continue;
        }
        const std::uint32_t id = GetNamedId(state.mFunctions, call.mpObject, call.mName, "function");
        if (id == NO_ID) {
            continue;
        }
        encoded.push_back({call.mpStream, std::make_unique<ByteBuffer>()});
        PacketWriter writer(state, *encoded.back().mpBytes, PACKET_FUNCTION_CALL);
        writer.U32(id).U8(static_cast<int>(call.mArguments.size()));
        for (const Value& argument : call.mArguments) {
            writer.U8(argument.GetType()).Content(argument);
        }
    }
    return encoded;
}

} // namespace

namespace
{

template <typename Condition>
void AddressStreams(ReplicationState& state, Condition isMeant)
{
    state.mAddressed.clear();
    for (const std::shared_ptr<OutStream>& pOut : state.mOutStreams) {
        if (!pOut->mbStopped && isMeant(*pOut)) {
            state.mAddressed.push_back(pOut);
        }
    }
}

// A graph that comes in and goes out to nobody, but perhaps in calls, is a replica of somebody else's. To
// look for changes there would be to give numbers of one's own to what the other end numbers.
bool IsSource(const ReplicationState& state)
{
    const auto carriesGraph = [](const auto& pStream) { return !pStream->mbCallsOnly; };
    return std::any_of(state.mOutStreams.begin(), state.mOutStreams.end(), carriesGraph) ||
           (state.mOutStreams.empty() &&
            std::none_of(state.mInStreams.begin(), state.mInStreams.end(), carriesGraph));
}

// What holds for the time of one Execute or SendSnapshot. An exception out of a getter or a stream leaves the
// streams that were addressed without a part of the changes: they are stopped.
class SendScope
{
public:
    explicit SendScope(ReplicationState& state) : mState(state)
    {
        mState.mbExecuting = true;
        mState.mFrame.Seek(0);
    }
    ~SendScope()
    {
        if (!mbFinished) {
            for (const std::shared_ptr<OutStream>& pOut : mState.mAddressed) {
                pOut->mbStopped = true;
            }
            mState.mNotReplicated.clear(); // the next pass meets these objects anew
        }
        mState.mbExecuting = false;
        mState.mAddressed.clear();
        mState.mUnknown.clear();
    }
    SendScope(const SendScope&) = delete;
    SendScope& operator=(const SendScope&) = delete;

    void Finish() { mbFinished = true; }

private:
    ReplicationState& mState;
    bool mbFinished = false;
};

} // namespace

void ObjectDiffSerializer::Execute(const Value&)
{
    ReplicationState& state = *mpState;
    if (state.mbExecuting) {
        Error(UNIT, __LINE__, "Failed to execute serializer - it is executing already");
        return;
    }
    const KeepAlive keepThis(this);
    try {
        Send();
    } catch (const std::bad_alloc&) {
        Error(UNIT, __LINE__, "Failed to execute serializer - out of memory");
    }
}

void ObjectDiffSerializer::Send()
{
    ReplicationState& state = *mpState;
    SendScope sending(state);
    AddressStreams(state, [](const OutStream& out) { return out.mbInStep && !out.mbCallsOnly; });
    if (IsSource(state)) {
        WriteChanges();
        state.ForgetCallers();
    }
    const std::vector<EncodedCall> calls = EncodeCalls(state);
    SendFrames(state, calls);

    AddressStreams(state, [](const OutStream& out) { return out.mbCallsOnly; });
    SendFrames(state, calls);

    AddressStreams(state, [](const OutStream& out) { return !out.mbInStep && !out.mbCallsOnly; });
    if (!state.mAddressed.empty()) {
        WriteSnapshot();
        for (const std::shared_ptr<OutStream>& pOut : state.mAddressed) {
            pOut->mbInStep = true;
        }
        SendFrames(state, calls);
    }
    sending.Finish();
}

void ObjectDiffSerializer::SendSnapshot(Stream* pStream)
{
    ReplicationState& state = *mpState;
    const char* const pTrouble = pStream == nullptr ? "stream is null"
                                 : FindStream(state.mOutStreams, pStream) != nullptr
                                     ? "stream is an out stream"
                                 : state.mbExecuting || state.mbUpdating ? "serializer is busy"
                                                                         : nullptr;
    if (pTrouble != nullptr) {
        Error(UNIT, __LINE__, "Failed to send snapshot - %s", pTrouble);
        return;
    }
    const KeepAlive keepThis(this);
    const KeepAlive keepStream(pStream);
    try {
        SendSnapshotTo(pStream);
    } catch (const std::bad_alloc&) {
        Error(UNIT, __LINE__, "Failed to send snapshot - out of memory");
    }
}

void ObjectDiffSerializer::SendSnapshotTo(Stream* pStream)
{
    ReplicationState& state = *mpState;
    SendScope sending(state);
    state.mAddressed.push_back(std::make_shared<OutStream>());
    state.mAddressed.back()->mpStream = pStream;
    WriteSnapshot();
    SendFrames(state, {});
    sending.Finish();
}

void ObjectDiffSerializer::WriteChanges()
{
    if (mpState->mpDiff != nullptr) {
        mpState->mpDiff->RunPass(this);
    }
}

// Everything as new, with the ids that it has. A source tells what its last pass saw, even if getters or
// others changed the graph since: the changes that later frames bring are changes to that. For the graph of a
// relay, which makes no passes, a fresh ObjectDiff finds everything new.
void ObjectDiffSerializer::WriteSnapshot()
{
    const FlagScope snapshot(mpState->mbSnapshot);
    if (IsSource(*mpState) && mpState->mpDiff != nullptr && mpState->mpDiff->HasSnapshot()) {
        mpState->mpDiff->DescribeSnapshot(this);
        return;
    }
    const Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
    if (pDiff == nullptr) {
        throw std::bad_alloc();
    }
    pDiff->SetRoot(GetRoot());
    pDiff->RunPass(this);
}

namespace
{

bool CanRead(Stream* pStream, std::uint32_t size)
{
    const int available = pStream->BytesAvailable();
    return available > 0 && static_cast<std::uint32_t>(available) >= size;
}

// Stops the stream when it gives less than it said.
bool ReadBytes(InStream& in, unsigned char* pBytes, int size)
{
    const int numRead = in.mpStream->Read(pBytes, size);
    if (numRead == size) {
        return true;
    }
    in.mbStopped = true;
    Error(UNIT, __LINE__, "Failed to read frame from %s.%s - %d/%d bytes read", ModuleOf(in.mpStream),
          ClassOf(in.mpStream), numRead, size);
    return false;
}

constexpr int LONGEST_FRAME = std::numeric_limits<int>::max() - FrameBuffer::SIZE_BYTES;
constexpr int USUAL_FRAME_SIZE_LIMIT = 16 * 1024 * 1024;

// Of a stream that is not trusted.
int MaxFrameSize(const LoadLimits& limits)
{
    return limits.mMaxBytes == LoadLimits::UNLIMITED
               ? USUAL_FRAME_SIZE_LIMIT
               : static_cast<int>(std::min<std::int64_t>(limits.mMaxBytes, LONGEST_FRAME));
}

// True when the size of the next frame is known.
bool ReadFrameSize(const ReplicationState& state, InStream& in)
{
    if (in.mbSizePending) {
        return true;
    }
    unsigned char bytes[FrameBuffer::SIZE_BYTES];
    if (!CanRead(in.mpStream, sizeof(bytes)) || !ReadBytes(in, bytes, sizeof(bytes))) {
        return false;
    }
    in.mFrameSize = static_cast<std::uint32_t>(ValueBytes::LoadInt(bytes));
    const int limit = in.mbTrusted ? LONGEST_FRAME : MaxFrameSize(state.mLimits);
    if (in.mFrameSize > static_cast<std::uint32_t>(limit)) {
        in.mbStopped = true;
        Error(UNIT, __LINE__, "Failed to read frame from %s.%s - size %u is over the limit of %d bytes",
              ModuleOf(in.mpStream), ClassOf(in.mpStream), in.mFrameSize, limit);
        return false;
    }
    in.mbSizePending = true;
    return true;
}

// Passes a frame on as it came. The walk is over a copy, since a stream may take itself out.
void ForwardFrame(ReplicationState& state, const unsigned char* pFrame, int size)
{
    const std::vector<std::shared_ptr<OutStream>> streams = state.mForwardingStreams;
    for (const std::shared_ptr<OutStream>& pOut : streams) {
        WriteFrame(*pOut, pFrame, size);
    }
}

// Removals are the last packets of a pass, so a frame with room for one more has the last of them.
bool MayContinueRemovals(int frameSize)
{
    constexpr int REMOVAL_SIZE = 5; // kind and object id
    return frameSize + REMOVAL_SIZE > FrameBuffer::FRAME_SIZE;
}

void ApplyFrame(ReplicationState& state, InStream& in)
{
    const int size = static_cast<int>(in.mFrameSize);
    in.mbSizePending = false;
    if (size > 0) {
        const auto pFrame =
            std::make_unique<unsigned char[]>(static_cast<std::size_t>(size) + FrameBuffer::SIZE_BYTES);
        unsigned char* const pPackets = pFrame.get() + FrameBuffer::SIZE_BYTES;
        if (!ReadBytes(in, pPackets, size)) {
            return;
        }
        in.mNumBytes += size;
        const std::int64_t memory = ThreadMemory::GetBytes();
        const bool bApplied = PacketApplier(state, in, pPackets, static_cast<std::size_t>(size)).Apply();
        if (in.mbStopped || !MayContinueRemovals(size)) {
            in.mRemoved.Release();
        }
        in.mMemory += ThreadMemory::GetBytes() - memory;
        if (bApplied) {
            ValueBytes::StoreInt(pFrame.get(), size);
            ForwardFrame(state, pFrame.get(), size + FrameBuffer::SIZE_BYTES);
        }
    }
    ++in.mNumFrames;
}

// A frame for which there is no memory is lost, and all that builds on it; the same holds for a frame that
// cannot be held against the limits.
template <typename Action>
void StopWithoutMemory(InStream& in, const Action& action)
{
    try {
        action();
    } catch (const std::bad_alloc&) {
        in.mbStopped = true;
        Error(UNIT, __LINE__, "Failed to read frame from %s.%s - out of memory", ModuleOf(in.mpStream),
              ClassOf(in.mpStream));
    }
}

// Holds what a stream made of the graph against the limit of nesting.
void CheckNesting(ReplicationState& state, InStream& in)
{
    Object* const pRoot = state.GetRoot();
    const std::int64_t limit = state.mLimits.mMaxNesting;
    if (pRoot == nullptr || limit == LoadLimits::UNLIMITED || in.mbTrusted || in.mbStopped) {
        return;
    }
    const KeepAlive keepRoot(pRoot);
    if (Object* const pFound = FindDeeperThan(
            limit, pRoot, [&](Object* pObject) { return state.mObjects.Find(pObject) != NO_ID; })) {
        in.mbStopped = true;
        Error(UNIT, __LINE__, "Failed to read frames from %s.%s - %s", ModuleOf(in.mpStream),
              ClassOf(in.mpStream), LoadGuard(state.mLimits, false, 0).DescribeNesting(pFound).c_str());
    }
}

} // namespace

void ObjectDiffSerializer::UpdateInput()
{
    ReplicationState& state = *mpState;
    if (state.mbUpdating || state.mbExecuting) {
        Error(UNIT, __LINE__, "Failed to update input - serializer is busy");
        return;
    }
    const KeepAlive keepThis(this);
    const FlagScope updating(state.mbUpdating);
    std::vector<std::shared_ptr<InStream>> streams;
    try {
        streams = state.mInStreams;
    } catch (const std::bad_alloc&) {
        Error(UNIT, __LINE__, "Failed to update input - out of memory"); // what waits is read the next time
        return;
    }
    for (const std::shared_ptr<InStream>& pIn : streams) {
        const int numFrames = pIn->mNumFrames;
        while (!pIn->mbStopped && !pIn->mbRemoved && ReadFrameSize(state, *pIn) &&
               (pIn->mFrameSize == 0 || CanRead(pIn->mpStream, pIn->mFrameSize))) {
            StopWithoutMemory(*pIn, [&] { ApplyFrame(state, *pIn); });
        }
        if (pIn->mNumFrames != numFrames) {
            StopWithoutMemory(*pIn, [&] { CheckNesting(state, *pIn); });
        }
    }
}

Array<ObjectDiffSerializer::InStreamInfo> ObjectDiffSerializer::GetInStreamInfo() const
{
    Array<InStreamInfo> infos;
    for (const std::shared_ptr<InStream>& pIn : mpState->mInStreams) {
        infos.Insert({pIn->mpStream, pIn->mNumFrames, pIn->mbStopped});
    }
    return infos;
}

void ObjectDiffSerializer::OnNewRoot(Object* pRoot)
{
    WritePacket(*mpState, PACKET_NEW_ROOT, [&](PacketWriter& packet) { packet.Reference(pRoot); });
}

void ObjectDiffSerializer::OnAddObject(Object* pObject)
{
    ReplicationState& state = *mpState;
    if (state.mbSnapshot && ReferenceWriter(state).GetId(pObject) == NO_ID) {
        return;
    }
    const int typeId = GetTypeId(pObject);
    if (typeId == NullTypeId) {
        state.mNotReplicated.emplace(pObject, pObject);
        return;
    }
    const std::uint32_t id = AddObjectId(pObject);
    WritePacket(state, PACKET_ADD_OBJECT, [&](PacketWriter& packet) { packet.U8(typeId).U32(id); });
    for (const String& name : GetFunctionNames(pObject->GetClassTable())) {
        const std::uint32_t functionId =
            state.mbSnapshot ? GetFunctionId(pObject, name) : AddFunctionId(pObject, name);
        if (functionId != NO_ID) {
            WritePacket(state, PACKET_FUNCTION,
                        [&](PacketWriter& packet) { packet.U32(id).U32(functionId).Text(name); });
        }
    }
}

// The functions that are announced with an object of the class: those of its registered classes, each name
// once, unless something else stands before it under the same name.
const std::vector<String>& ObjectDiffSerializer::GetFunctionNames(ClassInfoTable* pClass)
{
    const auto [place, bNew] = mpState->mFunctionNames.try_emplace(pClass);
    std::vector<String>& names = place->second;
    if (!bNew) {
        return names;
    }
    std::unordered_set<String> taken;
    for (ClassInfoTable* pTable = pClass; pTable != nullptr && pTable != Object::ClassTable() &&
                                          pTable != Table::ClassTable() && pTable != List::ClassTable();
         pTable = pTable->GetBaseClass()) {
        if (mpState->mTypeIds.count(pTable) == 0) {
            continue;
        }
        for (const auto& node : pTable->GetEntries()) {
            Object* const pFound = pClass->FindDerived(node.GetKey());
            if (node.GetValue() != nullptr && node.GetValue()->IsDerivedType(Function::ClassTable()) &&
                pFound != nullptr && pFound->IsDerivedType(Function::ClassTable()) &&
                taken.insert(node.GetKey()).second) {
                names.push_back(node.GetKey());
            }
        }
    }
    return names;
}

void ObjectDiffSerializer::OnRemoveObject(Object* pObject)
{
    if (mpState->mNotReplicated.erase(pObject) != 0) {
        return;
    }
    const std::uint32_t id = RemoveObjectId(pObject);
    if (id != NO_ID) {
        WritePacket(*mpState, PACKET_REMOVE_OBJECT, [&](PacketWriter& packet) { packet.U32(id); });
    }
}

// The entry to announce a property under; null when its object stays behind.
NamedId* ObjectDiffSerializer::AnnounceProperty(Object* pObject, const String& name)
{
    ReplicationState& state = *mpState;
    if (state.mObjects.Find(pObject) == NO_ID) {
        return nullptr;
    }
    if (state.mbSnapshot) {
        NamedId* const pId = state.mProperties.Find(pObject, name);
        if (pId == nullptr) {
            GetPropertyId(pObject, name); // reports that it is missing
        }
        return pId;
    }
    return state.mProperties.Assign(pObject, name, state.mNextPropertyId);
}

// The entry of a property that was announced; null when its object stays behind.
NamedId* ObjectDiffSerializer::KnownProperty(Object* pObject, const String& name)
{
    NamedId* const pId = mpState->mProperties.Find(pObject, name);
    if (pId == nullptr && mpState->mObjects.Find(pObject) != NO_ID) {
        GetPropertyId(pObject, name); // reports that it is missing
    }
    return pId;
}

void ObjectDiffSerializer::OnAddPropertyValue(Object* pObject, const String& name, const Value& value)
{
    NamedId* const pId = AnnounceProperty(pObject, name);
    if (pId == nullptr) {
        return;
    }
    if (!mpState->mbSnapshot) {
        pId->mType = value.GetType();
    }
    const std::uint32_t objectId = mpState->mObjects.Find(pObject);
    WritePacket(*mpState, PACKET_ADD_PROPERTY_VALUE, [&](PacketWriter& packet) {
        packet.U32(objectId).U32(pId->mId).U8(pId->mType).Text(name).Content(ConformTo(pId->mType, value));
    });
}

void ObjectDiffSerializer::OnModifyPropertyValue(Object* pObject, const String& name, const Value& newValue,
                                                 const Value&)
{
    const NamedId* const pId = KnownProperty(pObject, name);
    if (pId == nullptr) {
        return;
    }
    if (pId->mType != newValue.GetType()) { // a property of any type: peers learn the new type with a new id
        WriteRemoveProperty(pObject, name);
        OnAddPropertyValue(pObject, name, newValue);
        return;
    }
    WritePacket(*mpState, PACKET_MODIFY_PROPERTY_VALUE,
                [&](PacketWriter& packet) { packet.U32(pId->mId).Content(newValue); });
}

void ObjectDiffSerializer::OnRemovePropertyValue(Object* pObject, const String& name, const Value&)
{
    WriteRemoveProperty(pObject, name);
}

void ObjectDiffSerializer::OnAddPropertyArray(Object* pObject, const String& name, Value::Type elementType)
{
    NamedId* const pId = AnnounceProperty(pObject, name);
    if (pId == nullptr) {
        return;
    }
    pId->mType = elementType;
    const std::uint32_t objectId = mpState->mObjects.Find(pObject);
    WritePacket(*mpState, PACKET_ADD_PROPERTY_ARRAY,
                [&](PacketWriter& packet) { packet.U32(objectId).U32(pId->mId).U8(elementType).Text(name); });
}

void ObjectDiffSerializer::OnAddPropertyArrayElement(Object* pObject, const String& name, int index,
                                                     const Value& value)
{
    WriteElement(PACKET_ADD_ARRAY_ELEMENT, pObject, name, index, value);
}

void ObjectDiffSerializer::OnModifyPropertyArrayElement(Object* pObject, const String& name, int index,
                                                        const Value& newValue, const Value&)
{
    WriteElement(PACKET_MODIFY_ARRAY_ELEMENT, pObject, name, index, newValue);
}

void ObjectDiffSerializer::OnDownsizePropertyArray(Object* pObject, const String& name, int newSize,
                                                   Value::Type)
{
    NamedId* const pId = KnownProperty(pObject, name);
    if (pId != nullptr && !StaysCut(newSize, pId->mbCut) && FitsSize(newSize)) {
        WritePacket(*mpState, PACKET_DOWNSIZE_ARRAY,
                    [&](PacketWriter& packet) { packet.U32(pId->mId).U16(newSize); });
    }
}

void ObjectDiffSerializer::OnRemovePropertyArray(Object* pObject, const String& name, Value::Type)
{
    WriteRemoveProperty(pObject, name);
}

void ObjectDiffSerializer::WriteElement(int kind, Object* pObject, const String& name, int index,
                                        const Value& value)
{
    NamedId* const pId = KnownProperty(pObject, name);
    if (pId != nullptr && !StaysBehind(*mpState, pObject, index, pId->mbCut) && FitsIndex(index)) {
        WritePacket(*mpState, static_cast<PacketKind>(kind), [&](PacketWriter& packet) {
            packet.U32(pId->mId).U16(index).Element(pId->mType, value);
        });
    }
}

void ObjectDiffSerializer::WriteRemoveProperty(Object* pObject, const String& name)
{
    if (mpState->mObjects.Find(pObject) == NO_ID) {
        return;
    }
    const std::uint32_t id = RemovePropertyId(pObject, name);
    if (id != NO_ID) {
        WritePacket(*mpState, PACKET_REMOVE_PROPERTY, [&](PacketWriter& packet) { packet.U32(id); });
    }
}

void ObjectDiffSerializer::OnAddTableChild(Table* pTable, const String& name, Object* pChild)
{
    ReplicationState& state = *mpState;
    const std::uint32_t tableId = state.mObjects.Find(pTable);
    if (tableId == NO_ID) {
        return;
    }
    if (name.size() == 0) {
        Error(UNIT, __LINE__, "Failed to send table child of %s.%s - name is empty", ModuleOf(pTable),
              ClassOf(pTable));
        return;
    }
    const std::uint32_t id = state.mbSnapshot ? GetTableChildId(pTable, name) : AddTableChildId(pTable, name);
    if (id != NO_ID) {
        WritePacket(state, PACKET_ADD_TABLE_CHILD,
                    [&](PacketWriter& packet) { packet.U32(tableId).U32(id).Reference(pChild).Text(name); });
    }
}

void ObjectDiffSerializer::OnModifyTableChild(Table* pTable, const String& name, Object* pNewChild, Object*)
{
    if (mpState->mObjects.Find(pTable) == NO_ID || name.size() == 0) {
        return;
    }
    const std::uint32_t id = GetTableChildId(pTable, name);
    if (id != NO_ID) {
        WritePacket(*mpState, PACKET_MODIFY_TABLE_CHILD,
                    [&](PacketWriter& packet) { packet.U32(id).Reference(pNewChild); });
    }
}

void ObjectDiffSerializer::OnRemoveTableChild(Table* pTable, const String& name)
{
    if (mpState->mObjects.Find(pTable) == NO_ID || name.size() == 0) {
        return;
    }
    const std::uint32_t id = RemoveTableChildId(pTable, name);
    if (id != NO_ID) {
        WritePacket(*mpState, PACKET_REMOVE_TABLE_CHILD, [&](PacketWriter& packet) { packet.U32(id); });
    }
}

void ObjectDiffSerializer::OnAddListChild(List* pList, int index, Object* pChild)
{
    WriteListChild(PACKET_ADD_LIST_CHILD, pList, index, pChild);
}

void ObjectDiffSerializer::OnModifyListChild(List* pList, int index, Object* pNewChild, Object*)
{
    WriteListChild(PACKET_MODIFY_LIST_CHILD, pList, index, pNewChild);
}

void ObjectDiffSerializer::OnDownsizeList(List* pList, int newSize)
{
    const std::uint32_t listId = mpState->mObjects.Find(pList);
    bool bCut = mpState->mCutLists.erase(pList) != 0;
    const bool bStaysCut = StaysCut(newSize, bCut);
    if (bCut) {
        mpState->mCutLists.insert(pList);
    }
    if (listId != NO_ID && !bStaysCut && FitsSize(newSize)) {
        WritePacket(*mpState, PACKET_DOWNSIZE_LIST,
                    [&](PacketWriter& packet) { packet.U32(listId).U16(newSize); });
    }
}

void ObjectDiffSerializer::WriteListChild(int kind, List* pList, int index, Object* pChild)
{
    const std::uint32_t listId = mpState->mObjects.Find(pList);
    if (listId == NO_ID) {
        return;
    }
    bool bCut = index >= MOST_ITEMS && mpState->mCutLists.count(pList) != 0;
    if (StaysBehind(*mpState, pList, index, bCut)) {
        mpState->mCutLists.insert(pList);
    } else if (FitsIndex(index)) {
        WritePacket(*mpState, static_cast<PacketKind>(kind),
                    [&](PacketWriter& packet) { packet.U32(listId).U16(index).Reference(pChild); });
    }
}

} // namespace QBase
