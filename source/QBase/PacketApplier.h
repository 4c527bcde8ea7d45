// PacketApplier applies the packets of one received frame to a replica.
//
//     PacketApplier applier(state, inStream, pBytes, size);
//     if (applier.Apply()) {
//         // all packets were applied: the frame may be passed on
//     }
//
// The bytes may come from anybody: each packet is read to its end, within the frame, before anything is
// looked up or changed.

#pragma once

#include "QBase/List.h"
#include "QBase/LoadGuard.h"
#include "QBase/Memory.h"
#include "QBase/ReplicationState.h"
#include "QBase/ValueBytes.h"

#include <string>

namespace QBase
{

class PacketApplier
{
public:
    PacketApplier(ReplicationState& state, InStream& stream, const unsigned char* pBytes, std::size_t size)
        : mState(state), mStream(stream), mGuard(state.mLimits, false, stream.mNumBytes, stream.mMemory),
          mBytes(pBytes, size)
    {}

    /// False when some packet was not applied. The stream is stopped when there is no going on.
    bool Apply();

private:
    using Operation = void (PacketApplier::*)();
    static const Operation OPERATIONS[NUM_PACKET_KINDS];

    // What is read of a value before it is known whether its object is.
    struct WireValue
    {
        Value mValue;
        bool mbKnown = true; // false for an object whose id is unknown
    };

    // What kinds 3 and 6 announce, and the object's property of that name if there is one already.
    struct NewProperty
    {
        std::uint32_t mObjectId = 0;
        std::uint32_t mPropertyId = 0;
        Value::Type mType = Value::TYPE_VOID;
        String mName;
        Ptr<Object> mpObject;
        Ptr<Property> mpProperty;
    };

    // The element that kinds 7 and 8 set, and the array it is for.
    struct NewElement
    {
        std::uint16_t mIndex = 0;
        Value mValue;
        Ptr<Object> mpObject;
        Ptr<Property> mpArray;
    };

    // The place in a list that kinds 13 and 14 set, and the child for it.
    struct ListPlace
    {
        Ptr<List> mpList;
        std::uint16_t mIndex = 0;
        std::uint32_t mChildId = 0;
    };

    // The name that kinds 5 and 12 remove, and the object that has it, held while what it named goes.
    struct RemovedName
    {
        Ptr<Object> mpOwner;
        String mName;
    };

    // What a stream that is not trusted may do and take. Each answers false after the stream was stopped.
    bool MayAddObject(const ClassInfoTable* pClass);
    bool MayChange(Object* pObject);
    bool LeftMemory(Object* pObject); // for what was made, or changed

    void ApplyNewRoot();
    void ApplyAddObject();
    void ApplyRemoveObject();
    void ApplyAddPropertyValue();
    void ApplyModifyPropertyValue();
    void ApplyRemoveProperty();
    void ApplyAddPropertyArray();
    void ApplyAddArrayElement();
    void ApplyModifyArrayElement();
    void ApplyDownsizeArray();
    void ApplyAddTableChild();
    void ApplyModifyTableChild();
    void ApplyRemoveTableChild();
    void ApplyAddListChild();
    void ApplyModifyListChild();
    void ApplyDownsizeList();
    void ApplyFunction();
    void ApplyFunctionCall();

    bool Read(std::uint8_t& rNumber);
    bool Read(std::uint16_t& rNumber);
    bool Read(std::uint32_t& rNumber);
    bool Read(String& rText);
    bool Read(Value::Type& rType); // of a value on the wire
    template <typename First, typename Second, typename... Rest>
    bool Read(First& rFirst, Second& rSecond, Rest&... rRest)
    {
        return Read(rFirst) && Read(rSecond, rRest...);
    }
    bool ReadValue(Value::Type type, WireValue& rValue);
    bool ReadElement(NewElement& rElement);
    bool ReadListPlace(ListPlace& rPlace);
    bool ReadRemovedName(NamedIdTable& rTable, const char* pText, RemovedName& rRemoved);

    // Each answers null or false after Require reported what is missing.
    bool FindPlace(NewProperty& rNew, bool bArray, const char* pTypeText);
    const NamedId* FindTypedProperty(std::uint32_t id);
    Property* FindArray(const NamedId& property);
    bool FindReferred(std::uint32_t id, Object*& rpObject);
    template <typename Class>
    Ptr<Class> FindObjectOf(std::uint32_t id, const char* pText);
    bool RequireFreeId(NamedIdTable& rTable, std::uint32_t id, const char* pText);
    bool RequireWritable(Property* pProperty, bool bArray);

    // Whether memory ran out in here, other than in the functions that were called.
    bool HasLackedMemory() const { return Memory::GetNumFailures() != mNumFailures; }

    // True for a trusted stream, and for a text that says nothing. Otherwise the stream is stopped.
    bool IsWithinLimits(int line, const std::string& trouble);

    // A promise between peers: asserted for a trusted stream, reported for another.
    bool Require(bool bHolds, const char* pText, int line);

    // Bytes that make no packet: nothing behind them can be read. Always false.
    bool Damaged(int line, const char* pWhat);

    ReplicationState& mState;
    InStream& mStream;
    LoadGuard mGuard; // for a stream that is not trusted
    ByteReader mBytes;
    std::uint8_t mKind = 0;
    bool mbApplied = true;
    unsigned mNumFailures = Memory::GetNumFailures();
};

} // namespace QBase
