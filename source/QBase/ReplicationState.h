// ReplicationState is what the writing and the reading half of an ObjectDiffSerializer share: types, ids,
// streams and the root.

#pragma once

#include "QBase/ClassInfoTable.h"
#include "QBase/FirstIds.h"
#include "QBase/FrameBuffer.h"
#include "QBase/LoadLimits.h"
#include "QBase/ObjectDiff.h"
#include "QBase/RemovedObjects.h"
#include "QBase/ReplicationIds.h"
#include "QBase/Stream.h"
#include "QBase/ThreadMemory.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace QBase
{

// Packet kinds; the numbers are those on the wire.
enum PacketKind : std::uint8_t
{
    PACKET_NEW_ROOT = 0,
    PACKET_ADD_OBJECT = 1,
    PACKET_REMOVE_OBJECT = 2,
    PACKET_ADD_PROPERTY_VALUE = 3,
    PACKET_MODIFY_PROPERTY_VALUE = 4,
    PACKET_REMOVE_PROPERTY = 5,
    PACKET_ADD_PROPERTY_ARRAY = 6,
    PACKET_ADD_ARRAY_ELEMENT = 7,
    PACKET_MODIFY_ARRAY_ELEMENT = 8,
    PACKET_DOWNSIZE_ARRAY = 9,
    PACKET_ADD_TABLE_CHILD = 10,
    PACKET_MODIFY_TABLE_CHILD = 11,
    PACKET_REMOVE_TABLE_CHILD = 12,
    PACKET_ADD_LIST_CHILD = 13,
    PACKET_MODIFY_LIST_CHILD = 14,
    PACKET_DOWNSIZE_LIST = 15,
    PACKET_FUNCTION = 16,
    PACKET_FUNCTION_CALL = 17,
    NUM_PACKET_KINDS = 18
};

struct OutStream
{
    Ptr<Stream> mpStream;
    bool mbCallsOnly = false;
    bool mbInStep = false;  // the peer has the graph of the last pass
    bool mbStopped = false; // it took less than a frame
    bool mbRemoved = false;
};

struct InStream
{
    Ptr<Stream> mpStream;
    bool mbTrusted = true;
    bool mbCallsOnly = false;
    bool mbSizePending = false; // the size of a frame was read, its bytes were not
    std::uint32_t mFrameSize = 0;
    int mNumFrames = 0;
    std::int64_t mNumBytes = 0; // of all frames
    std::int64_t mMemory = 0;   // that the packets of a stream that is not trusted made others take
    bool mbHasCalled = false;   // since the last pass, without being trusted
    bool mbStopped = false;
    bool mbRemoved = false;
    RemovedObjects mRemoved;
};

struct QueuedCall
{
    Ptr<Stream> mpStream; // null for all out streams
    Ptr<Object> mpObject;
    String mName;
    std::vector<Value> mArguments;
};

class ReplicationState
{
public:
    ReplicationState() : mpDiff(ObjectDiff::Construct(Value::Null)) {}

    Object* GetRoot() const { return mpDiff != nullptr ? mpDiff->GetRoot() : nullptr; }
    void SetRoot(Object* pRoot)
    {
        if (mpDiff != nullptr) {
            mpDiff->SetRoot(pRoot);
        }
    }

    void ForgetObject(Object* pObject)
    {
        mProperties.RemoveOwner(pObject);
        mTableChildren.RemoveOwner(pObject);
        mFunctions.RemoveOwner(pObject);
        mCutLists.erase(pObject);
        mObjects.Remove(pObject);
    }

    // Whoever is not trusted and called a function, until the next pass shows what it did.
    void NoteCaller(InStream& rStream)
    {
        mNumCallers += rStream.mbTrusted || rStream.mbHasCalled ? 0 : 1;
        rStream.mbHasCalled = !rStream.mbTrusted;
    }
    void ForgetCallers()
    {
        mNumCallers = 0;
        for (const std::shared_ptr<InStream>& pIn : mInStreams) {
            pIn->mbHasCalled = false;
        }
    }

    Ptr<ObjectDiff> mpDiff; // holds the root

    std::vector<Ptr<ClassInfoTable>> mRegisteredTypes;
    std::unordered_map<const ClassInfoTable*, int> mTypeIds;                       // the first of each class
    std::unordered_map<const ClassInfoTable*, std::vector<String>> mFunctionNames; // as announced, per class

    ObjectIdTable mObjects;
    NamedIdTable mProperties;
    NamedIdTable mTableChildren;
    NamedIdTable mFunctions;
    IdCounter mNextObjectId{GetFirstIds()};
    IdCounter mNextPropertyId{GetFirstIds()};
    IdCounter mNextTableChildId{GetFirstIds()};
    IdCounter mNextFunctionId{GetFirstIds()};

    std::vector<std::shared_ptr<OutStream>> mOutStreams;
    std::vector<std::shared_ptr<InStream>> mInStreams;
    std::vector<std::shared_ptr<OutStream>> mForwardingStreams;
    std::vector<QueuedCall> mCalls;

    // Writing.
    FrameBuffer mFrame;                                 // the packets for all addressed streams
    FrameBuffer mCallFrame;                             // calls that found no room behind them
    std::vector<std::shared_ptr<OutStream>> mAddressed; // who gets the packets of the pass under way
    std::unordered_map<const Object*, Ptr<Object>> mNotReplicated; // of classes that are not registered
    std::unordered_map<const Object*, Ptr<Object>> mUnknown;       // met by a snapshot without having an id
    std::unordered_set<const Object*> mCutLists; // longer than packets can count, by a stranger's call
    bool mbSnapshot = false;                     // ids are looked up, not assigned
    bool mbExecuting = false;

    // Reading.
    std::unordered_set<String> mAllowed; // names of functions that others may call
    LoadLimits mLimits;
    std::unordered_map<const ClassInfoTable*, std::string> mClassTroubles; // why others may make none of them
    int mNumCallers = 0;                                                   // since the last pass
    bool mbUpdating = false;

    ForeignBytes<4096> mForeign; // about what the pools of the tables take at first
};

} // namespace QBase
