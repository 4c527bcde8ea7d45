#include "QBase/ObjectDiffSerializer.h"

#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/GraphEditor.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/ObjectDiff.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

using Replicator = ObjectDiffSerializer;

// "01 0A" and back. Blanks do not matter.
std::string FromHex(const std::string& hex)
{
    std::string bytes;
    int digits = 0;
    int byte = 0;
    for (const char c : hex) {
        const std::size_t digit = std::string("0123456789ABCDEF").find(c);
        if (digit == std::string::npos) {
            continue;
        }
        byte = byte * 16 + static_cast<int>(digit);
        if (++digits % 2 == 0) {
            bytes += static_cast<char>(byte);
            byte = 0;
        }
    }
    return bytes;
}

std::string ToHex(const std::string& bytes)
{
    std::string hex;
    for (const char c : bytes) {
        char text[4];
        std::snprintf(text, sizeof(text), "%02X ", static_cast<unsigned char>(c));
        hex += text;
    }
    return hex;
}

std::string Tidy(const std::string& hex)
{
    return ToHex(FromHex(hex));
}

// The 32-bit count and the packets.
std::string Frame(const std::string& packets)
{
    std::string frame;
    for (int shift = 0; shift < 32; shift += 8) {
        frame += static_cast<char>(packets.size() >> shift & 0xFF);
    }
    return frame + packets;
}

std::string TakeBytes(Stream* pStream)
{
    std::string bytes(static_cast<std::size_t>(pStream->BytesAvailable()), '\0');
    if (!bytes.empty()) {
        pStream->Read(bytes.data(), static_cast<int>(bytes.size()));
    }
    return bytes;
}

void Put(Stream* pStream, const std::string& bytes)
{
    pStream->Write(bytes.data(), static_cast<int>(bytes.size()));
}

// The packets of each frame.
std::vector<std::string> SplitFrames(const std::string& bytes)
{
    std::vector<std::string> frames;
    for (std::size_t i = 0; i + 4 <= bytes.size();) {
        std::size_t size = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            size |= static_cast<std::size_t>(static_cast<unsigned char>(bytes[i + k])) << (8 * k);
        }
        frames.push_back(bytes.substr(i + 4, size));
        i += 4 + size;
    }
    return frames;
}

// An id as it stands in packets.
std::string Id(std::uint32_t id)
{
    char text[16];
    std::snprintf(text, sizeof(text), " %02X%02X0000 ", id & 0xFF, id >> 8 & 0xFF);
    return text;
}

Ptr<IOStream> MakePipe()
{
    return IOStream::Construct(Value::Null);
}

// Object 0, Table 1, List 2, Probe 3.
Ptr<Replicator> MakeSerializer()
{
    const Ptr<Replicator> pSerializer = Replicator::Construct(Value::Null);
    pSerializer->RegisterType(Object::ClassTable());
    pSerializer->RegisterType(Table::ClassTable());
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Probe::ClassTable());
    return pSerializer;
}

Ptr<Object> MakePlain()
{
    return Object::Construct(Value::Null);
}

// A source and the stream that it writes to.
class SourceTest : public testing::Test
{
protected:
    SourceTest() : mpSource(MakeSerializer()), mpPipe(MakePipe()) { mpSource->AddOutStream(mpPipe); }

    // What one Execute writes, in hex.
    std::string Send()
    {
        mpSource->Execute(Value::Null);
        return ToHex(TakeBytes(mpPipe));
    }

    void Watch(Object* pRoot)
    {
        mpSource->SetRoot(pRoot);
        Send();
    }

    Ptr<Replicator> mpSource;
    Ptr<IOStream> mpPipe;
};

// A replica and the stream that it reads from.
class ReplicaTest : public testing::Test
{
protected:
    ReplicaTest() : mpReplica(MakeSerializer()), mpPipe(MakePipe()) { mpReplica->AddInStream(mpPipe); }

    void Receive(const std::string& hexPackets)
    {
        Put(mpPipe, Frame(FromHex(hexPackets)));
        mpReplica->UpdateInput();
    }

    Object* Find(std::uint32_t id) { return mpReplica->FindObject(id); }
    Table* FindTable(std::uint32_t id) { return static_cast<Table*>(Find(id)); }
    List* FindList(std::uint32_t id) { return static_cast<List*>(Find(id)); }
    Probe* FindProbe(std::uint32_t id) { return static_cast<Probe*>(Find(id)); }

    bool IsStopped() { return mpReplica->GetInStreamInfo()[0].mbStopped; }

    Ptr<Replicator> mpReplica;
    Ptr<IOStream> mpPipe;
};

// What the packets below speak of: object 1 with the property 1 "P", an int, and the array 2 "A" of two
// ints; table 2 with the child 1 "c"; list 3 with object 1 in it; probe 4 with the function 1 "Touch".
const char* const SETUP = "01 00 01000000"
                          "03 01000000 01000000 01 01000000 50 07000000"
                          "06 01000000 02000000 01 01000000 41"
                          "07 02000000 0000 05000000"
                          "07 02000000 0100 06000000"
                          "01 01 02000000"
                          "0A 02000000 01000000 01000000 01000000 63"
                          "01 02 03000000"
                          "0D 03000000 0000 01000000"
                          "01 03 04000000"
                          "10 04000000 01000000 05000000 546F756368"
                          "00 02000000";

// One packet of each kind that fits SETUP.
const std::vector<std::string> PACKETS = {
    "00 03000000",
    "01 00 09000000",
    "02 04000000",
    "03 01000000 09000000 04 01000000 51 02000000 4869",
    "04 01000000 08000000",
    "05 01000000",
    "06 01000000 09000000 05 01000000 42",
    "07 02000000 0200 07000000",
    "08 02000000 0100 09000000",
    "09 02000000 0100",
    "0A 02000000 09000000 00000000 01000000 64",
    "0B 01000000 03000000",
    "0C 01000000",
    "0D 03000000 0100 02000000",
    "0E 03000000 0000 04000000",
    "0F 03000000 0000",
    "10 04000000 09000000 04000000 4B656570",
    "11 01000000 02 01 2A000000 04 02000000 4869",
};

struct Violation
{
    const char* mpPacket;
    const char* mpCondition;
};

// Packets that break a promise on SETUP.
const std::vector<Violation> VIOLATIONS = {
    {"00 63000000", "pObject"},
    {"01 00 01000000", "!FindObject( packet.objectId )"},
    {"01 00 00000000", "packet.objectId != NullObjectId"},
    {"01 04 09000000", "packet.typeId < mRegisteredTypes.GetSize()"},
    {"01 FF 09000000", "packet.typeId < mRegisteredTypes.GetSize()"},
    {"02 63000000", "pObject"},
    {"03 01000000 01000000 01 01000000 51 07000000", "!FindProperty( packet.propertyId )"},
    {"03 01000000 00000000 01 01000000 51 07000000", "!FindProperty( packet.propertyId )"},
    {"03 63000000 09000000 01 01000000 51 07000000", "pObject"},
    {"03 01000000 09000000 05 01000000 51 63000000", "pObject"},
    {"03 01000000 09000000 03 01000000 50 01", "packet.propertyType == value.GetType()"},
    {"03 01000000 09000000 01 01000000 41 01000000", "!pProperty->IsArray()"},
    {"03 04000000 09000000 01 06000000 536563726574 01000000", "!pProperty->IsExcluded()"},
    {"05 63000000", "pObject"},
    {"06 01000000 02000000 01 01000000 43", "!FindProperty( packet.propertyId )"},
    {"06 63000000 09000000 01 01000000 43", "pObject"},
    {"06 01000000 09000000 01 01000000 50", "pProperty->IsArray()"},
    {"06 01000000 09000000 04 01000000 41", "packet.propertyType == type"},
    {"06 01000000 09000000 0D 01000000 43", "pProperty"},
    {"07 02000000 0300 07000000", "pProperty->GetSize( pObject ) == packet.index"},
    {"07 02000000 0100 07000000", "pProperty->GetSize( pObject ) == packet.index"},
    {"07 01000000 0000 07000000", "pProperty->IsArray()"},
    {"04 02000000 07000000", "!pProperty->IsArray()"},
    {"08 02000000 0200 07000000", "packet.index == index"},
    {"09 02000000 0300", "packet.size == size"},
    {"09 63000000 0000", "pObject"},
    {"0A 02000000 01000000 01000000 01000000 64", "!FindTableChild( packet.tableChildId )"},
    {"0A 03000000 09000000 01000000 01000000 64", "pTable"},
    {"0A 63000000 09000000 01000000 01000000 64", "pTable"},
    {"0A 02000000 09000000 01000000 00000000", "childName != String::Null"},
    {"0A 02000000 09000000 63000000 01000000 64", "pObject"},
    {"0B 63000000 01000000", "pTable"},
    {"0B 01000000 63000000", "pObject"},
    {"0C 63000000", "pTable"},
    {"0D 03000000 0200 01000000", "pList->GetSize() == packet.index"},
    {"0D 02000000 0000 01000000", "pList"},
    {"0D 03000000 0100 63000000", "pObject"},
    {"0E 03000000 0100 01000000", "packet.index == index"},
    {"0E 63000000 0000 01000000", "pList"},
    {"0F 03000000 0200", "packet.size == size"},
    {"0F 01000000 0000", "pList"},
    {"10 04000000 01000000 05000000 546F756368", "!FindFunction( packet.functionId )"},
    {"10 04000000 09000000 05000000 546F756378", "pFunction"},
    {"10 63000000 09000000 05000000 546F756368", "pObject"},
};

// Takes only so many bytes.
class NarrowStream : public Stream
{
    QBASE_OBJECT(NarrowStream, Stream)

public:
    int Write(const void*, int count) override
    {
        const int numWritten = count < mLimit ? count : mLimit;
        mLimit -= numWritten;
        ++mNumWrites;
        if (mOnWrite) {
            mOnWrite();
        }
        return numWritten;
    }
    int Read(void*, int) override { return 0; }
    int BytesAvailable() override { return mAvailable; }

    int mLimit = 0;
    int mNumWrites = 0;
    int mAvailable = 0;
    std::function<void()> mOnWrite;

protected:
    explicit NarrowStream(const Value& value) : Stream(value) {}
    NarrowStream(const NarrowStream& other) : Stream(other) {}
};

QBASE_IMPLEMENT(SerializerTest, NarrowStream)

void NarrowStream::Implement()
{}

// For the time of a block, lets a test say what objects of a class are made of.
class MadeBy
{
public:
    using Make = std::function<Ptr<Object>()>;

    MadeBy(ClassInfoTable* pClass, const Make& make) : mpClass(pClass), mpOld(pClass->Find("Construct"))
    {
        mpClass->Insert("Construct", new Maker(make, mbGone));
    }
    ~MadeBy() { mpClass->Insert("Construct", mpOld); }
    MadeBy(const MadeBy&) = delete;
    MadeBy& operator=(const MadeBy&) = delete;

    // Puts the usual one back early.
    void PutBack() { mpClass->Insert("Construct", mpOld); }
    bool IsGone() const { return mbGone; }

private:
    class Maker final : public Function
    {
    public:
        Maker(const Make& make, bool& rbGone)
            : Function(Function::Static, Value::TYPE_OBJECT, Value::TYPE_VALUE, Value::TYPE_VOID,
                       Value::TYPE_VOID, Value::TYPE_VOID, Value::TYPE_VOID),
              mMake(make), mrbGone(rbGone)
        {}
        ~Maker() override { mrbGone = true; }

        Value Invoke(Object*, const Value&, const Value&, const Value&, const Value&, const Value&) override
        {
            return Value(mMake());
        }
        ClassInfoTable* GetTargetClass() const override { return nullptr; }
        ClassInfoTable* GetArgClass(int) const override { return nullptr; }

    private:
        Make mMake;
        bool& mrbGone;
    };

    ClassInfoTable* mpClass;
    Ptr<Object> mpOld;
    bool mbGone = false;
};

// Its constructor fills what it has.
class Furnished : public Object
{
    QBASE_OBJECT(Furnished, Object)

public:
    Array<int> mNumbers;
    Ptr<List> mpList;

protected:
    explicit Furnished(const Value& value) : Object(value), mpList(List::Construct(Value::Null))
    {
        mNumbers.Insert(1);
        mNumbers.Insert(2);
        mNumbers.Insert(3);
        mpList->Insert(nullptr);
    }
};

QBASE_IMPLEMENT(SerializerTest, Furnished)

void Furnished::Implement()
{
    AddProperty<&Furnished::mNumbers>("Numbers");
    AddProperty<&Furnished::mpList>("List");
}

// A list with two items from the start.
class FurnishedList : public List
{
    QBASE_OBJECT(FurnishedList, List)

protected:
    explicit FurnishedList(const Value& value) : List(value)
    {
        Insert(nullptr);
        Insert(nullptr);
    }
};

QBASE_IMPLEMENT(SerializerTest, FurnishedList)

// A table with a child from the start.
class FurnishedTable : public Table
{
    QBASE_OBJECT(FurnishedTable, Table)

protected:
    explicit FurnishedTable(const Value& value) : Table(value) { Insert("c", nullptr); }
};

QBASE_IMPLEMENT(SerializerTest, FurnishedTable)

void FurnishedTable::Implement()
{}

void FurnishedList::Implement()
{}

// Does what the test says when it is called from afar or read.
class Actor : public Object
{
    QBASE_OBJECT(Actor, Object)

public:
    void Act()
    {
        if (mOnAct) {
            mOnAct();
        }
    }
    Ptr<Object> GetThing() const { return mOnRead ? mOnRead() : mpThing; }
    void SetThing(const Ptr<Object>& pThing) { mpThing = pThing; }

    ~Actor() override
    {
        if (mOnEnd) {
            mOnEnd();
        }
    }

    std::function<void()> mOnAct;
    std::function<void()> mOnEnd;
    std::function<Ptr<Object>()> mOnRead;
    Ptr<Object> mpThing;

protected:
    explicit Actor(const Value& value) : Object(value) {}
    Actor(const Actor& other) : Object(other) {}
};

QBASE_IMPLEMENT(SerializerTest, Actor)

void Actor::Implement()
{
    AddFunction<&Actor::Act>("Act");
    AddProperty<&Actor::GetThing, &Actor::SetThing>("Thing");
}

// Has a function of its own beside those of its base.
class Understudy : public Actor
{
    QBASE_OBJECT(Understudy, Actor)

public:
    void Wait() {}

protected:
    explicit Understudy(const Value& value) : Actor(value) {}
};

QBASE_IMPLEMENT(SerializerTest, Understudy)

void Understudy::Implement()
{
    AddFunction<&Understudy::Wait>("Wait");
}

// Has a property where its base has a function.
class Statue : public Actor
{
    QBASE_OBJECT(Statue, Actor)

protected:
    explicit Statue(const Value& value) : Actor(value) {}

private:
    bool mbAct = false;
};

QBASE_IMPLEMENT(SerializerTest, Statue)

void Statue::Implement()
{
    AddProperty<&Statue::mbAct>("Act");
}

} // namespace

// --- the bytes of every kind ---

TEST_F(SourceTest, TheFirstFrameAnnouncesObjectsPropertiesAndTheRoot)
{
    const Ptr<Object> pRoot = MakePlain();
    pRoot->AddPropertyValueFromValue("Ab", Value(7));
    mpSource->SetRoot(pRoot);
    EXPECT_EQ(Send(), Tidy("1F000000"                /* 31 bytes of packets */
                           "01 00 01000000"          /* add object: type 0, object 1 */
                           "03 01000000 01000000 01" /* add property: object 1, property 1, int */
                           "02000000 4162 07000000"  /* "Ab" = 7 */
                           "00 01000000"));          /* root: object 1 */
}

TEST_F(SourceTest, AFrameWithoutChangesAndCallsIsNotWritten)
{
    const Ptr<Object> pRoot = MakePlain();
    Watch(pRoot);
    EXPECT_EQ(Send(), "");
    mpSource->SetRoot(nullptr);
    EXPECT_NE(Send(), "");
    EXPECT_EQ(Send(), "");
}

TEST_F(SourceTest, EveryTypeOfValueHasItsBytes)
{
    const Ptr<Object> pRoot = MakePlain();
    Watch(pRoot);
    const std::vector<std::pair<Value, std::string>> cases = {
        {Value(-2), "01 01000000 50 FEFFFFFF"},
        {Value(1.0f), "02 01000000 50 0000803F"},
        {Value(true), "03 01000000 50 01"},
        {Value("Hi"), "04 01000000 50 02000000 4869"},
        {Value(""), "04 01000000 50 00000000"},
        {Value(static_cast<Object*>(pRoot)), "05 01000000 50 01000000"},
        {Value(nullptr), "05 01000000 50 00000000"},
        {Value(Vector2(1, 2)), "06 01000000 50 0000803F 00000040"},
        {Value(Vector3(1, 2, 0)), "07 01000000 50 0000803F 00000040 00000000"},
        {Value(Vector4(1, 2, 0, 1)), "08 01000000 50 0000803F 00000040 00000000 0000803F"},
        {Value(Vector2i(1, 2)), "09 01000000 50 01000000 02000000"},
        {Value(Vector3i(1, 2, 3)), "0A 01000000 50 01000000 02000000 03000000"},
        {Value(Vector4i(1, 2, 3, -1)), "0B 01000000 50 01000000 02000000 03000000 FFFFFFFF"},
        {Value(Color(1, 2, 3, 4)), "0C 01000000 50 01020304"},
        {Value(Probe::CURIOUS), "0E 01000000 50 01000000"},
        {Value(Quaternion(1, 2, 0, 1)), "0F 01000000 50 0000803F 00000040 00000000 0000803F"},
    };
    std::uint32_t id = 1;
    for (const auto& [value, bytes] : cases) {
        pRoot->AddPropertyValueFromValue("P", value);
        EXPECT_EQ(Send(), ToHex(Frame(FromHex("03 01000000" + Id(id++) + bytes)))) << value.GetType();
        pRoot->RemoveProperty("P");
        Send();
    }
}

TEST_F(SourceTest, APropertyIsModifiedAndRemovedByItsId)
{
    const Ptr<Object> pRoot = MakePlain();
    Property* const pProperty = pRoot->AddPropertyValueFromValue("P", Value(7));
    Watch(pRoot);
    pProperty->Set(pRoot, Value(8));
    EXPECT_EQ(Send(), Tidy("09000000 04 01000000 08000000"));
    pRoot->RemoveProperty("P");
    EXPECT_EQ(Send(), Tidy("05000000 05 01000000"));
    pRoot->AddPropertyValueFromValue("P", Value(true));
    EXPECT_EQ(Send(), Tidy("10000000 03 01000000 02000000 03 01000000 50 01")); // ids are not used again
}

TEST_F(SourceTest, AnArrayIsAnnouncedFilledModifiedCutAndRemoved)
{
    const Ptr<Object> pRoot = MakePlain();
    Watch(pRoot);
    Property* const pArray = pRoot->AddPropertyArray("A", Value::TYPE_INT);
    pArray->Insert(pRoot, Value(5));
    pArray->Insert(pRoot, Value(6));
    EXPECT_EQ(Send(), Tidy("25000000"
                           "06 01000000 01000000 01 01000000 41" /* object 1, property 1, of int, "A" */
                           "07 01000000 0000 05000000"           /* [0] = 5 */
                           "07 01000000 0100 06000000"));        /* [1] = 6 */
    pArray->SetAt(pRoot, 1, Value(9));
    EXPECT_EQ(Send(), Tidy("0B000000 08 01000000 0100 09000000"));
    pArray->RemoveAt(pRoot, 1);
    EXPECT_EQ(Send(), Tidy("07000000 09 01000000 0100"));
    pRoot->RemoveProperty("A");
    EXPECT_EQ(Send(), Tidy("05000000 05 01000000")); // the same kind as for a single value
}

TEST_F(SourceTest, ATableChildIsAddedModifiedAndRemoved)
{
    const Ptr<Table> pRoot = Table::Construct(Value::Null);
    Watch(pRoot);
    pRoot->Insert("c", nullptr);
    EXPECT_EQ(Send(), Tidy("12000000 0A 01000000 01000000 00000000 01000000 63"));
    pRoot->Insert("c", pRoot);
    EXPECT_EQ(Send(), Tidy("09000000 0B 01000000 01000000"));
    pRoot->Remove("c");
    EXPECT_EQ(Send(), Tidy("05000000 0C 01000000"));
    pRoot->Insert("c", nullptr);
    EXPECT_EQ(Send(), Tidy("12000000 0A 01000000 02000000 00000000 01000000 63")); // an id of its own
}

TEST_F(SourceTest, AListChildIsAddedModifiedAndCut)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    Watch(pRoot);
    pRoot->Insert(nullptr);
    EXPECT_EQ(Send(), Tidy("0B000000 0D 01000000 0000 00000000"));
    pRoot->SetAt(0, MakePlain());
    EXPECT_EQ(Send(), Tidy("11000000 01 00 02000000 0E 01000000 0000 02000000"));
    pRoot->Clear();
    EXPECT_EQ(Send(), Tidy("0C000000 0F 01000000 0000 02 02000000")); // the object goes at the end
}

TEST_F(SourceTest, FunctionsAreAnnouncedBehindTheirObject)
{
    mpSource = Replicator::Construct(Value::Null);
    mpSource->RegisterType(Actor::ClassTable());
    mpSource->AddOutStream(mpPipe);
    const Ptr<Actor> pRoot = Actor::Construct(Value::Null);
    mpSource->SetRoot(pRoot);
    const std::string act = "03000000 416374";
    const std::string construct = "09000000 436F6E737472756374";
    std::vector<std::string> names; // in the walk order of the class table
    for (const auto& node : Actor::ClassTable()->GetEntries()) {
        if (node.GetKey() == String("Act")) {
            names.push_back(act);
        } else if (node.GetKey() == String("Construct")) {
            names.push_back(construct);
        }
    }
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(Send(), ToHex(Frame(FromHex("01 00 01000000"
                                          "10 01000000 01000000" +
                                          names[0] + "10 01000000 02000000" + names[1] +
                                          "03 01000000 01000000 05 05000000 5468696E67 00000000"
                                          "00 01000000"))));
}

TEST_F(SourceTest, FunctionsOfUnregisteredBasesStayBehindAndEveryNameHasOneId)
{
    const Ptr<Understudy> pRoot = Understudy::Construct(Value::Null);
    for (const bool bWithBase : {false, true}) {
        const Ptr<Replicator> pSource = Replicator::Construct(Value::Null);
        pSource->RegisterType(Understudy::ClassTable());
        if (bWithBase) {
            pSource->RegisterType(Actor::ClassTable());
        }
        pSource->SetRoot(pRoot);
        pSource->Execute(Value::Null);
        CapturedMessages messages;
        EXPECT_NE(pSource->GetFunctionId(pRoot, "Wait"), 0u);
        EXPECT_NE(pSource->GetFunctionId(pRoot, "Construct"), 0u); // of both classes, under one name
        EXPECT_EQ(pSource->GetFunctionId(pRoot, "Act") != 0, bWithBase);
        EXPECT_EQ(messages.TakeAll().size(), bWithBase ? 0u : 1u);
        EXPECT_EQ(pSource->GetFunctionId(pRoot, "Clone"), 0u); // Object's own stay behind
        EXPECT_EQ(messages.TakeAll().size(), 1u);
        EXPECT_EQ(pSource->FindFunction(bWithBase ? 4u : 3u), nullptr);
        EXPECT_EQ(pSource->FindFunction(bWithBase ? 3u : 2u), pRoot);
    }
}

TEST_F(SourceTest, EveryNameIsAnnouncedOnceAndNoneThatStandsForSomethingElse)
{
    mpSource = Replicator::Construct(Value::Null);
    const Ptr<Replicator> pReplica = Replicator::Construct(Value::Null);
    for (const Ptr<Replicator>& pSerializer : {mpSource, pReplica}) {
        pSerializer->RegisterType(Understudy::ClassTable());
        pSerializer->RegisterType(Statue::ClassTable());
        pSerializer->RegisterType(Actor::ClassTable());
    }
    mpSource->AddOutStream(mpPipe);
    pReplica->AddInStream(mpPipe);
    const Ptr<Actor> pRoot = Understudy::Construct(Value::Null);
    pRoot->mpThing = Statue::Construct(Value::Null);
    mpSource->SetRoot(pRoot);
    mpSource->Execute(Value::Null);
    pReplica->UpdateInput(); // a function that is none, or known already, would fail an assertion there
    ASSERT_NE(pReplica->GetRoot(), nullptr);
    EXPECT_EQ(pReplica->FindFunction(3), pReplica->GetRoot()); // Wait, Construct and Act
    Object* const pStatue = static_cast<Actor*>(pReplica->GetRoot())->mpThing;
    EXPECT_EQ(pReplica->FindFunction(4), pStatue); // Construct
    EXPECT_EQ(pReplica->FindFunction(5), nullptr);
    EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));
}

TEST_F(SourceTest, AClassThatIsRegisteredLaterBringsItsFunctionsAlong)
{
    mpSource = Replicator::Construct(Value::Null);
    mpSource->RegisterType(Understudy::ClassTable());
    const Ptr<Actor> pRoot = Understudy::Construct(Value::Null);
    mpSource->SetRoot(pRoot);
    mpSource->Execute(Value::Null);
    mpSource->RegisterType(Actor::ClassTable());
    pRoot->mpThing = Understudy::Construct(Value::Null);
    mpSource->Execute(Value::Null);
    EXPECT_NE(mpSource->GetFunctionId(pRoot->mpThing, "Act"), 0u);
    CapturedMessages messages;
    EXPECT_EQ(mpSource->GetFunctionId(pRoot, "Act"), 0u); // it was announced before
    messages.TakeError();
}

TEST_F(SourceTest, FunctionsOfTablesAndListsStayBehindThoughTheirClassesAreRegistered)
{
    mpSource->RegisterType(FurnishedTable::ClassTable());
    mpSource->RegisterType(FurnishedList::ClassTable());
    Watch(Table::Construct(Value::Null));
    EXPECT_NE(mpSource->GetObjectId(mpSource->GetRoot()), 0u);
    EXPECT_EQ(mpSource->FindFunction(1), nullptr);
    mpSource->SetRoot(List::Construct(Value::Null));
    EXPECT_EQ(Send(), Tidy("10000000 01 02 02000000 00 02000000 02 01000000"));
    mpSource->SetRoot(FurnishedTable::Construct(Value::Null));
    EXPECT_EQ(Send(), Tidy("38000000 01 04 03000000"                          /* its one function */
                           "10 03000000 01000000 09000000 436F6E737472756374" /* Construct */
                           "0A 03000000 01000000 00000000 01000000 63 00 03000000 02 02000000"));
    mpSource->SetRoot(FurnishedList::Construct(Value::Null));
    EXPECT_EQ(Send(), Tidy("3C000000 01 05 04000000"
                           "10 04000000 02000000 09000000 436F6E737472756374"
                           "0D 04000000 0000 00000000 0D 04000000 0100 00000000 00 04000000 02 03000000"));
}

TEST_F(SourceTest, ACallCarriesTheArgumentsBeforeTheFirstVoidOne)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    mpSource->RemoteFunctionCall(mpPipe, pRoot, "Touch", Value(42), Value::Null, Value(1), Value(2),
                                 Value(3));
    const std::string id = Id(mpSource->GetFunctionId(pRoot, "Touch"));
    EXPECT_EQ(Send(), Tidy("0B000000 11" + id + "01 01 2A000000"));
    mpSource->BroadcastFunctionCall(pRoot, "Touch", Value("Hi"), Value(static_cast<Object*>(pRoot)));
    EXPECT_EQ(Send(), Tidy("12000000 11" + id + "02 04 02000000 4869 05 01000000"));
    mpSource->BroadcastFunctionCall(pRoot, "Touch");
    EXPECT_EQ(Send(), Tidy("06000000 11" + id + "00"));
}

TEST_F(SourceTest, StreamsWithDifferentCallsReceiveTheSameCommonPart)
{
    const Ptr<IOStream> pOther = MakePipe();
    mpSource->AddOutStream(pOther);
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    TakeBytes(pOther);
    pRoot->mNumber = 5;
    mpSource->RemoteFunctionCall(mpPipe, pRoot, "Touch", Value(1));
    mpSource->RemoteFunctionCall(pOther, pRoot, "Touch", Value("two"));
    mpSource->BroadcastFunctionCall(pRoot, "Touch");
    mpSource->Execute(Value::Null);
    const std::string first = SplitFrames(TakeBytes(mpPipe)).at(0);
    const std::string second = SplitFrames(TakeBytes(pOther)).at(0);
    EXPECT_EQ(first.size(), 9u + 11u + 6u);
    EXPECT_EQ(second.size(), 9u + 14u + 6u);
    EXPECT_EQ(first.substr(0, 9), second.substr(0, 9));
    EXPECT_EQ(ToHex(first).substr(0, 3), "04 ");
    EXPECT_EQ(first.substr(20), second.substr(23)); // the broadcast one
}

TEST_F(SourceTest, APropertyOfAnyTypeIsAnnouncedAnewWhenItsTypeChanges)
{
    mpSource = Replicator::Construct(Value::Null);
    mpSource->RegisterType(Probe::ClassTable());
    mpSource->AddOutStream(mpPipe);
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    const std::string oldId = Id(mpSource->GetPropertyId(pRoot, "Any"));
    pRoot->mAny = Value(1);
    std::string sent = Send();
    std::string newId = Id(mpSource->GetPropertyId(pRoot, "Any"));
    EXPECT_NE(newId, oldId);
    EXPECT_EQ(sent, Tidy("1A000000 05" + oldId + "03 01000000" + newId + "01 03000000 416E79 01000000"));
    pRoot->mAny = Value(2);
    EXPECT_EQ(Send(), Tidy("09000000 04" + newId + "02000000"));
    pRoot->mAny = Value::Null;
    sent = Send();
    EXPECT_EQ(sent, Tidy("16000000 05" + newId + "03 01000000" + Id(mpSource->GetPropertyId(pRoot, "Any")) +
                         "00 03000000 416E79"));
}

TEST_F(SourceTest, AnElementOfAnArrayOfAnyTypeBringsItsTypeAlong)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    const std::string id = Id(mpSource->GetPropertyId(pRoot, "Anything"));
    pRoot->mAnything.Insert(Value(true));
    pRoot->mAnything.Insert(Value::Null);
    EXPECT_EQ(Send(), Tidy("11000000 07" + id + "0000 03 01  07" + id + "0100 00"));
    pRoot->mAnything[1] = Value("x");
    EXPECT_EQ(Send(), Tidy("0D000000 08" + id + "0100 04 01000000 78"));
}

TEST_F(SourceTest, AnObjectOfAnUnregisteredClassStaysBehindAndIsReportedOnce)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Actor> pStranger = Actor::Construct(Value::Null);
    Watch(pRoot);
    pRoot->Insert(pStranger);
    pRoot->AddPropertyValueFromValue("P", Value(pStranger));
    CapturedMessages messages;
    EXPECT_EQ(Send(),
              Tidy("1E000000 03 01000000 01000000 05 01000000 50 00000000 0D 01000000 0000 00000000"));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to get TypeId for SerializerTest.Actor - type not registered."));
    pStranger->mpThing = MakePlain(); // reached through the stranger, and nothing is said about the place
    EXPECT_EQ(Send(), Tidy("06000000 01 00 02000000"));
    const Ptr<IOStream> pLate = MakePipe();
    mpSource->AddOutStream(pLate);
    Send();
    EXPECT_GT(pLate->BytesAvailable(), 0);
    pRoot->Clear();
    pRoot->RemoveProperty("P");
    EXPECT_EQ(Send(), Tidy("11000000 05 01000000 0F 01000000 0000 02 02000000"));
}

TEST_F(SourceTest, TypeIdsAreThePositionsOfTheFirstRegistration)
{
    const Ptr<Replicator> pSerializer = Replicator::Construct(Value::Null);
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Table::ClassTable());
    const Ptr<List> pList = List::Construct(Value::Null);
    EXPECT_EQ(pSerializer->GetTypeId(pList), 0);
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    EXPECT_EQ(pSerializer->GetTypeId(pTable), 2);
    EXPECT_EQ(pSerializer->GetTypeId(nullptr), 255);
    CapturedMessages messages;
    pSerializer->RegisterType(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to register type - class is null"));
    EXPECT_EQ(pSerializer->GetTypeId(pTable), 2);
    const Ptr<Replicator> pReplica = Replicator::Construct(Value::Null);
    pReplica->RegisterType(List::ClassTable());
    pReplica->RegisterType(List::ClassTable());
    pReplica->RegisterType(Table::ClassTable());
    pSerializer->AddOutStream(mpPipe);
    pReplica->AddInStream(mpPipe);
    pList->Insert(pTable);
    pSerializer->SetRoot(pList);
    pSerializer->Execute(Value::Null);
    pReplica->UpdateInput();
    EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pList));
}

TEST_F(SourceTest, TheTwoHundredFiftySixthTypeCannotBeSent)
{
    const Ptr<Replicator> pSerializer = Replicator::Construct(Value::Null);
    for (int i = 0; i < 254; ++i) {
        pSerializer->RegisterType(Object::ClassTable());
    }
    pSerializer->RegisterType(Table::ClassTable()); // 254
    pSerializer->RegisterType(List::ClassTable());  // 255
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    EXPECT_EQ(pSerializer->GetTypeId(pTable), 254);
    CapturedMessages messages;
    EXPECT_EQ(pSerializer->GetTypeId(pList), 255);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get TypeId for QBase.List - type not registered."));
    pSerializer->SetRoot(pList);
    pSerializer->AddOutStream(mpPipe);
    pSerializer->Execute(Value::Null);
    EXPECT_EQ(ToHex(TakeBytes(mpPipe)), Tidy("05000000 00 00000000"));
    messages.TakeError();
}

TEST_F(SourceTest, ATableChildWithAnEmptyNameIsReportedAndNotSent)
{
    const Ptr<Table> pRoot = Table::Construct(Value::Null);
    Watch(pRoot);
    CapturedMessages messages;
    pRoot->Insert("", nullptr);
    EXPECT_EQ(Send(), "");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to send table child of QBase.Table - name is empty"));
    pRoot->Insert("", pRoot);
    EXPECT_EQ(Send(), "");
    pRoot->Remove("");
    EXPECT_EQ(Send(), "");
}

TEST_F(SourceTest, RemovingAnObjectForgetsTheIdsOfAllThatBelongsToIt)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Probe> pProbe = Probe::Construct(Value::Null);
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->Insert("c", nullptr);
    pRoot->Insert(pProbe);
    pRoot->Insert(pTable);
    Watch(pRoot);
    EXPECT_NE(mpSource->GetPropertyId(pProbe, "Text"), 0u);
    EXPECT_NE(mpSource->GetFunctionId(pProbe, "Touch"), 0u);
    const std::uint32_t childId = mpSource->GetTableChildId(pTable, "c");
    String name;
    EXPECT_EQ(mpSource->FindTableChild(childId, &name), pTable);
    EXPECT_EQ(name, String("c"));
    pRoot->Clear();
    Send();
    EXPECT_EQ(mpSource->FindTableChild(childId), nullptr);
    CapturedMessages messages;
    EXPECT_EQ(mpSource->GetObjectId(pProbe), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get object id for Replication.Probe"));
    EXPECT_EQ(mpSource->GetPropertyId(pProbe, "Text"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get property 'Text' id for Replication.Probe"));
    EXPECT_EQ(mpSource->GetTableChildId(pTable, "c"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get table child 'c' id for QBase.Table"));
    EXPECT_EQ(mpSource->GetFunctionId(pProbe, "Touch"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get function 'Touch' id for Replication.Probe"));
    EXPECT_EQ(mpSource->RemoveObjectId(pProbe), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to remove object id for Replication.Probe"));
    EXPECT_EQ(mpSource->RemovePropertyId(pProbe, "Text"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to remove property 'Text' id for Replication.Probe"));
    EXPECT_EQ(mpSource->RemoveTableChildId(pTable, "c"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to remove table child 'c' id for QBase.Table"));
    EXPECT_EQ(mpSource->RemoveFunctionId(pProbe, "Touch"), 0u);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to remove function 'Touch' id for Replication.Probe"));
}

TEST_F(SourceTest, IdsGivenByHandAreKept)
{
    const Ptr<Object> pRoot = MakePlain();
    EXPECT_EQ(mpSource->AddObjectId(pRoot), Replicator::FirstObjectId);
    EXPECT_EQ(mpSource->AddObjectId(pRoot), 1u);
    EXPECT_EQ(mpSource->AddPropertyId(pRoot, "P"), Replicator::FirstPropertyId);
    EXPECT_EQ(mpSource->AddPropertyId(pRoot, "Q"), 2u);
    EXPECT_EQ(mpSource->AddPropertyId(pRoot, "P"), 1u);
    EXPECT_EQ(mpSource->AddFunctionId(pRoot, "F"), Replicator::FirstFunctionId);
    EXPECT_EQ(mpSource->FindObject(1), pRoot);
    String name;
    EXPECT_EQ(mpSource->FindProperty(2, &name), pRoot);
    EXPECT_EQ(name, String("Q"));
    EXPECT_EQ(mpSource->FindFunction(1, &name), pRoot);
    EXPECT_EQ(name, String("F"));
    EXPECT_EQ(mpSource->RemovePropertyId(pRoot, "Q"), 2u);
    EXPECT_EQ(mpSource->RemoveFunctionId(pRoot, "F"), 1u);
    EXPECT_EQ(mpSource->RemoveObjectId(pRoot), 1u);
    EXPECT_EQ(mpSource->FindProperty(1), nullptr);
    EXPECT_EQ(mpSource->AddObjectId(pRoot), 2u);
    mpSource->RemoveObjectId(pRoot);
}

// --- frames and streams ---

TEST_F(SourceTest, AnIndexOf65535IsTheLastThatCanBeSent)
{
    const Ptr<Object> pRoot = MakePlain();
    Property* const pArray = pRoot->AddPropertyArray("A", Value::TYPE_BOOL);
    for (int i = 0; i < 65536; ++i) {
        pArray->Insert(pRoot, Value(true));
    }
    Watch(pRoot);
    pArray->Insert(pRoot, Value(true));
    CapturedMessages messages;
    ResumedAssertions resumed;
    EXPECT_EQ(Send(), "");
    EXPECT_THAT(messages.TakeError(), HasSubstr("ERROR: ObjectDiffSerializer (line "));
    EXPECT_EQ(resumed.GetCount(), 1);
    for (int i = 0; i < 70000 - 65537; ++i) {
        pArray->Insert(pRoot, Value(true));
    }
    Send();
    EXPECT_EQ(messages.TakeAll().size(), 70000u - 65537u);
    pArray->RemoveAt(pRoot, 0);
    Send();
    EXPECT_THAT(messages.TakeError(), EndsWith("ASSERT( packet.size == size )"));
}

TEST(ObjectDiffSerializerDeathTest, AnArrayOf70000ElementsStopsTheSource)
{
    const Ptr<Replicator> pSource = MakeSerializer();
    const Ptr<Object> pRoot = MakePlain();
    Property* const pArray = pRoot->AddPropertyArray("A", Value::TYPE_BOOL);
    for (int i = 0; i < 70000; ++i) {
        pArray->Insert(pRoot, Value(true));
    }
    pSource->SetRoot(pRoot);
    EXPECT_ASSERTION(pSource->Execute(Value::Null), "packet.index == index");
}

namespace
{

// A list or an array that a function which strangers may call makes longer, and what is sent of it.
struct Growing
{
    const char* mpName;
    std::function<Ptr<Object>(Actor*)> mMake; // in the graph; the object that the warning names
    std::function<void(Object*, int)> mResize;
    std::string mLast; // the packets of the last item that can be sent, and of a cut to 65535
    std::string mCut;
};

const std::vector<Growing>& GrowingThings()
{
    static const auto& sThings = *new std::vector<Growing>{
        {"QBase.List",
         [](Actor* pRoot) {
             pRoot->mpThing = List::Construct(Value::Null);
             return pRoot->mpThing;
         },
         [](Object* pObject, int size) {
             List* const pList = static_cast<List*>(pObject);
             while (pList->GetSize() < size) {
                 pList->Insert(nullptr);
             }
             while (pList->GetSize() > size) {
                 pList->RemoveAt(pList->GetSize() - 1);
             }
         },
         "0D 02000000 FFFF 00000000", "0F 02000000 FFFF"},
        {"SerializerTest.Actor",
         [](Actor* pRoot) {
             pRoot->AddPropertyArray("A", Value::TYPE_BOOL);
             return Ptr<Object>(pRoot);
         },
         [](Object* pObject, int size) {
             Property* const pArray = pObject->FindProperty("A");
             while (pArray->GetSize(pObject) < size) {
                 pArray->Insert(pObject, Value(true));
             }
             while (pArray->GetSize(pObject) > size) {
                 pArray->RemoveAt(pObject, pArray->GetSize(pObject) - 1);
             }
         },
         "07 01000000 FFFF 01", "09 01000000 FFFF"},
    };
    return sThings;
}

// A source with a function that strangers may call, and one who does.
class StrangerTest : public SourceTest
{
protected:
    StrangerTest() : mpRoot(Actor::Construct(Value::Null)), mpStranger(AddStranger())
    {
        mpSource->RegisterType(Actor::ClassTable());
        mpSource->AllowFunction("Act");
        mpSource->SetRoot(mpRoot);
    }

    Ptr<IOStream> AddStranger()
    {
        const Ptr<IOStream> pStranger = MakePipe();
        mpSource->AddInStream(pStranger);
        mpSource->SetInStreamTrusted(pStranger, false);
        mpSource->SetInStreamCallsOnly(pStranger, true);
        return pStranger;
    }

    void Call(const Ptr<IOStream>& pStranger)
    {
        Put(pStranger, Frame(FromHex("11" + Id(mpSource->GetFunctionId(mpRoot, "Act")) + "00")));
    }

    // What one Execute writes.
    std::string SendBytes()
    {
        mpSource->Execute(Value::Null);
        return TakeBytes(mpPipe);
    }

    std::string Replicate(const std::string& bytes)
    {
        const Ptr<Replicator> pReplica = MakeSerializer();
        pReplica->RegisterType(Actor::ClassTable());
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, bytes);
        pReplica->UpdateInput();
        return DescribeGraph(pReplica->GetRoot());
    }

    bool IsStopped(int index) { return mpSource->GetInStreamInfo()[index].mbStopped; }

    Ptr<Actor> mpRoot;
    Ptr<IOStream> mpStranger;
};

} // namespace

TEST_F(StrangerTest, WhatACallMakesTooLongIsCutReportedAndTheEndOfTheCaller)
{
    for (const Growing& growing : GrowingThings()) {
        SCOPED_TRACE(growing.mpName);
        mpRoot = Actor::Construct(Value::Null);
        const Ptr<Object> pThing = growing.mMake(mpRoot);
        mpSource = MakeSerializer();
        mpSource->RegisterType(Actor::ClassTable());
        mpSource->AllowFunction("Act");
        mpSource->SetRoot(mpRoot);
        mpSource->AddOutStream(mpPipe);
        mpStranger = AddStranger();
        const Ptr<IOStream> pIdle = AddStranger();
        std::string bytes = SendBytes();
        growing.mResize(pThing, 65536);
        std::string sent = SendBytes();
        EXPECT_EQ(ToHex(sent.substr(sent.size() - FromHex(growing.mLast).size())), Tidy(growing.mLast));
        bytes += sent;
        const std::string most = DescribeGraph(mpRoot);

        CapturedMessages messages;
        mpRoot->mOnAct = [&] { growing.mResize(pThing, 65540); };
        Call(mpStranger);
        mpSource->UpdateInput();
        EXPECT_EQ(ToHex(SendBytes()), "");
        const std::string error = messages.TakeError();
        EXPECT_THAT(error, StartsWith("ERROR: ObjectDiffSerializer (line "));
        EXPECT_THAT(error, EndsWith("): ASSERT( packet.index == index )"));
        EXPECT_EQ(messages.TakeInfo(), std::string("WARNING: Items of ") + growing.mpName +
                                           " behind the first 65536 are not sent - somebody called a "
                                           "function that added them");
        EXPECT_TRUE(IsStopped(0));
        EXPECT_FALSE(IsStopped(1));

        // From now on nothing is said about it, to late streams neither, whoever lets it grow.
        growing.mResize(pThing, 65545);
        EXPECT_EQ(ToHex(SendBytes()), "");
        const Ptr<IOStream> pLate = MakePipe();
        mpSource->AddOutStream(pLate);
        EXPECT_EQ(ToHex(SendBytes()), "");
        EXPECT_TRUE(Replicate(TakeBytes(pLate)) == most);
        growing.mResize(pThing, 65537);
        EXPECT_EQ(ToHex(SendBytes()), "");

        // Once it is short enough, all have all of it again, and the source's own mistakes stop it as ever.
        growing.mResize(pThing, 65536);
        EXPECT_EQ(ToHex(SendBytes()), "");
        growing.mResize(pThing, 65537);
        const ResumedAssertions resumed;
        EXPECT_EQ(ToHex(SendBytes()), "");
        EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( packet.index == index )"));
        EXPECT_EQ(resumed.GetCount(), 1);
        growing.mResize(pThing, 65535);
        EXPECT_EQ(ToHex(sent = SendBytes()), ToHex(Frame(FromHex(growing.mCut))));
        EXPECT_TRUE(Replicate(bytes + sent) == DescribeGraph(mpRoot));
    }
}

TEST_F(StrangerTest, OfTwoWhoCalledSinceTheLastPassNeitherIsStopped)
{
    const Growing& list = GrowingThings()[0];
    const Ptr<Object> pList = list.mMake(mpRoot);
    const Ptr<IOStream> pOther = AddStranger();
    SendBytes();
    CapturedMessages messages;
    mpRoot->mOnAct = [&] { list.mResize(pList, 65537); };
    for (const Ptr<IOStream>& pStranger : {mpStranger, pOther}) {
        Call(pStranger);
        Call(pStranger);
    }
    mpSource->UpdateInput();
    SendBytes();
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( packet.index == index )"));
    EXPECT_THAT(messages.TakeInfo(), HasSubstr("are not sent"));
    EXPECT_FALSE(IsStopped(0));
    EXPECT_FALSE(IsStopped(1));
}

TEST_F(StrangerTest, ACallOfAPassBeforeOrOfSomebodyTrustedExcusesNoBrokenPromise)
{
    const Growing& list = GrowingThings()[0];
    const Ptr<Object> pList = list.mMake(mpRoot);
    SendBytes();
    Call(mpStranger);
    mpSource->UpdateInput();
    SendBytes();
    mpSource->SetInStreamTrusted(mpStranger, true);
    mpRoot->mOnAct = [&] { list.mResize(pList, 65537); };
    Call(mpStranger);
    mpSource->UpdateInput();
    CapturedMessages messages;
    const ResumedAssertions resumed;
    SendBytes();
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( packet.index == index )"));
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_FALSE(IsStopped(0));
}

TEST_F(StrangerTest, AListThatWasCutAndComesBackIsLookedAtAnew)
{
    const Growing& list = GrowingThings()[0];
    const Ptr<Object> pList = list.mMake(mpRoot);
    SendBytes();
    CapturedMessages messages;
    mpRoot->mOnAct = [&] { list.mResize(pList, 65537); };
    Call(mpStranger);
    mpSource->UpdateInput();
    SendBytes();
    EXPECT_EQ(messages.TakeAll().size(), 2u);
    mpRoot->mpThing = nullptr;
    SendBytes();
    mpRoot->mpThing = pList;
    const ResumedAssertions resumed;
    SendBytes();
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( packet.index == index )"));
    EXPECT_EQ(resumed.GetCount(), 1);
}

// The graph of a relay has to be fit for late peers as well, whatever its source calls.
TEST_F(ReplicaTest, AListThatACallOfTheSourceMadeTooLongIsCutForLatePeersOfARelay)
{
    mpReplica->RegisterType(Actor::ClassTable());
    mpReplica->SetInStreamTrusted(mpPipe, false);
    mpReplica->AllowFunction("Act");
    Receive("01 04 01000000 10 01000000 01000000 03000000 416374"
            "10 01000000 02000000 09000000 436F6E737472756374 01 02 02000000"
            "03 01000000 01000000 05 05000000 5468696E67 02000000 00 01000000");
    List* const pList = FindList(2);
    static_cast<Actor*>(Find(1))->mOnAct = [pList] {
        while (pList->GetSize() < 65537) {
            pList->Insert(nullptr);
        }
    };
    Receive("11 01000000 00");
    const Ptr<IOStream> pLate = MakePipe();
    CapturedMessages messages;
    mpReplica->SendSnapshot(pLate);
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( packet.index == index )"));
    EXPECT_THAT(messages.TakeInfo(), HasSubstr("Items of QBase.List behind the first 65536 are not sent"));
    EXPECT_TRUE(IsStopped());
    const std::vector<std::string> frames = SplitFrames(TakeBytes(pLate));
    EXPECT_THAT(ToHex(frames.back()), HasSubstr(Tidy("0D 02000000 FFFF 00000000")));
}

TEST_F(SourceTest, MoreThanAFrameGoesOutInFramesThatEndBetweenPackets)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    Watch(pRoot);
    for (int i = 0; i < 10000; ++i) {
        pRoot->Insert(MakePlain());
    }
    const std::string text(1 << 20, 'x');
    pRoot->AddPropertyValueFromValue("Long", Value(text.c_str()));
    const Ptr<IOStream> pLate = MakePipe();
    mpSource->AddOutStream(pLate);
    mpSource->Execute(Value::Null);
    for (const Ptr<IOStream>& pPipe : {mpPipe, pLate}) {
        const std::string bytes = TakeBytes(pPipe);
        int numLong = 0;
        for (const std::string& frame : SplitFrames(bytes)) {
            EXPECT_FALSE(frame.empty());
            if (frame.size() > static_cast<std::size_t>(Replicator::FrameBufferSize)) {
                EXPECT_EQ(frame.size(), 10u + 4 + 4 + 4 + text.size()); // the one packet
                ++numLong;
            }
        }
        EXPECT_EQ(numLong, 1);
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        if (pPipe == mpPipe) {
            Put(pIn, Frame(FromHex("01 02 01000000 00 01000000"))); // what it had before
        }
        Put(pIn, bytes);
        pReplica->UpdateInput();
        EXPECT_EQ(static_cast<List*>(pReplica->GetRoot())->GetSize(), 10000);
        EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));
    }
}

TEST_F(SourceTest, AFrameHolds32768BytesOfPacketsAndNotOneMore)
{
    EXPECT_EQ(Replicator::FrameBufferSize, 32768);
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Property* const pProperty = pRoot->AddPropertyValueFromValue("P", Value(""));
    Watch(pRoot);
    // The sizes of the frames when the texts of two properties change: two packets of 9 bytes and the text.
    const auto sizesOfTwo = [&](std::size_t first, std::size_t second) {
        pRoot->mText = std::string(first, 'a').c_str();
        pProperty->Set(pRoot, Value(std::string(second, 'b').c_str()));
        mpSource->Execute(Value::Null);
        std::vector<std::size_t> sizes;
        for (const std::string& frame : SplitFrames(TakeBytes(mpPipe))) {
            sizes.push_back(frame.size());
        }
        return sizes;
    };
    EXPECT_THAT(sizesOfTwo(16375, 16375), testing::ElementsAre(32768u));
    EXPECT_THAT(sizesOfTwo(16376, 16376), testing::ElementsAre(16385u, 16385u));
    EXPECT_THAT(sizesOfTwo(16374, 16377), testing::UnorderedElementsAre(16383u, 16386u));
    // The same with a change, of 9 bytes and the text, and a call, of 11 bytes and the text.
    const auto sizesWithCall = [&](std::size_t first, std::size_t second) {
        mpSource->BroadcastFunctionCall(pRoot, "Touch", Value(std::string(second, 'c').c_str()));
        return sizesOfTwo(first, 16377);
    };
    EXPECT_THAT(sizesWithCall(16370, 16379), testing::ElementsAre(16379u, 16390u));
    EXPECT_THAT(sizesWithCall(16375, 16373), testing::ElementsAre(32768u));
    EXPECT_THAT(sizesWithCall(16376, 16373), testing::ElementsAre(16385u, 16384u));
}

TEST_F(SourceTest, AQueuedCallHoldsWhatItNeeds)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    Ptr<Probe> pProbe = Probe::Construct(Value::Null);
    pRoot->Insert(pProbe);
    Watch(pRoot);
    Ptr<Probe> pStranger = Probe::Construct(Value::Null); // never was part of the graph
    Ptr<IOStream> pOther = MakePipe();
    mpSource->BroadcastFunctionCall(pStranger, "Touch");
    mpSource->RemoteFunctionCall(pOther, pProbe, "Touch");
    mpSource->BroadcastFunctionCall(pProbe, "Touch", Value(Ptr<Object>(pStranger)));
    mpSource->BroadcastFunctionCall(pRoot, "Touch");
    pRoot->Clear();
    pStranger = nullptr;
    pOther = nullptr;
    pProbe = nullptr;
    CapturedMessages messages;
    EXPECT_EQ(Send(), Tidy("0C000000 0F 01000000 0000 02 02000000")); // and no call
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get function 'Touch' id for Replication.Probe"));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to call 'Touch' on Replication.Probe - stream is no out stream"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get function 'Touch' id for Replication.Probe"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get function 'Touch' id for QBase.List"));
}

TEST_F(SourceTest, CallsThatFindNoRoomFollowInFramesOfTheirOwn)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    const Ptr<IOStream> pOther = MakePipe();
    mpSource->AddOutStream(pOther);
    Send();
    TakeBytes(pOther);
    pRoot->mNumber = 3;
    for (int i = 0; i < 5000; ++i) {
        mpSource->RemoteFunctionCall(mpPipe, pRoot, "Touch", Value(i));
    }
    mpSource->BroadcastFunctionCall(pRoot, "Touch", Value(std::string(40000, 'y').c_str()));
    mpSource->Execute(Value::Null);
    std::size_t numCalls = 0;
    for (const std::string& frame : SplitFrames(TakeBytes(mpPipe))) {
        numCalls += frame.size() > 40000 ? 1 : frame.size() / 11;
    }
    EXPECT_EQ(numCalls, 5001u);
    const std::vector<std::string> frames = SplitFrames(TakeBytes(pOther));
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].size(), 9u);
    EXPECT_EQ(frames[1].size(), 6u + 1 + 4 + 40000);
}

TEST_F(SourceTest, AFrameIsOneWriteAndAShortOneStopsItsStreamOnly)
{
    const Ptr<NarrowStream> pNarrow = NarrowStream::Construct(Value::Null);
    pNarrow->mLimit = 20;
    mpSource->AddOutStream(pNarrow);
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    mpSource->SetRoot(pRoot);
    CapturedMessages messages;
    EXPECT_NE(Send(), "");
    EXPECT_EQ(pNarrow->mNumWrites, 1);
    EXPECT_THAT(messages.TakeError(),
                HasSubstr("Failed to write frame to SerializerTest.NarrowStream - 20/"));
    pRoot->mNumber = 4;
    EXPECT_NE(Send(), "");
    EXPECT_EQ(pNarrow->mNumWrites, 1);
}

TEST_F(SourceTest, AStreamMayTakeItselfAndOthersOutWhileItIsWrittenTo)
{
    const Ptr<NarrowStream> pFirst = NarrowStream::Construct(Value::Null);
    pFirst->mLimit = 1000000;
    const Ptr<NarrowStream> pSecond = NarrowStream::Construct(Value::Null);
    mpSource->AddOutStream(pFirst);
    mpSource->AddOutStream(pSecond);
    pFirst->mOnWrite = [&] {
        mpSource->RemoveOutStream(pFirst);
        mpSource->RemoveOutStream(pSecond);
    };
    mpSource->SetRoot(MakePlain());
    EXPECT_NE(Send(), "");
    EXPECT_EQ(pFirst->mNumWrites, 1);
    EXPECT_EQ(pSecond->mNumWrites, 0);
}

TEST_F(SourceTest, ExecutingWithinAnExecuteIsRefused)
{
    const Ptr<NarrowStream> pStream = NarrowStream::Construct(Value::Null);
    pStream->mLimit = 1000;
    mpSource->AddOutStream(pStream);
    mpSource->SetRoot(MakePlain());
    pStream->mOnWrite = [&] {
        mpSource->Execute(Value::Null);
        mpSource->UpdateInput();
    };
    CapturedMessages messages;
    EXPECT_NE(Send(), "");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to execute serializer - it is executing already"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to update input - serializer is busy"));
}

// A stream that has another engine report to the serializer while that sends puts packets between those of
// the pass. The sizes that the serializer remembered are then wrong, which it notices.
TEST_F(SourceTest, PacketsThatComeInBetweenFailTheAssertionsOnTheFramesSizeAndStopTheStreams)
{
    struct Case
    {
        int mNumItems;  // new in the pass that is disturbed
        int mNumOthers; // what the other engine has to tell
        int mWrite;     // the one that is disturbed; calls that find no room make more than one
        const char* mpText;
    };
    const Case cases[] = {
        {1, 1, 1, "): ASSERT( localFrameSize == mpFrameStream->Tell() )"},
        {1, 5000, 1, "): ASSERT( localFrameSize == mpFrameStream->Tell() )"},
        {2000, 1, 1, "): ASSERT( frameSize == mpFrameStream->Tell() )"},
        {2000, 5000, 1, "): ASSERT( frameSize == mpFrameStream->Tell() )"},
        {1, 1, 2, "): ASSERT( commonFrameSize == mpFrameStream->Tell() )"},
        {1, 5000, 2, "): ASSERT( commonFrameSize == mpFrameStream->Tell() )"},
    };
    for (const Case& disturbed : cases) {
        SCOPED_TRACE(disturbed.mpText);
        const Ptr<NarrowStream> pStream = NarrowStream::Construct(Value::Null);
        const Ptr<Replicator> pSource = MakeSerializer();
        const Ptr<List> pRoot = List::Construct(Value::Null);
        const Ptr<Probe> pProbe = Probe::Construct(Value::Null);
        const Ptr<ObjectDiff> pOther = ObjectDiff::Construct(Value::Null);
        const Ptr<List> pOthers = List::Construct(Value::Null);
        pStream->mLimit = 10000000;
        pSource->AddOutStream(pStream);
        pSource->SetRoot(pRoot);
        pRoot->Insert(pProbe);
        pSource->Execute(Value::Null);
        for (int i = 0; i < disturbed.mNumOthers; ++i) {
            pOthers->Insert(MakePlain());
        }
        for (int i = 0; i < disturbed.mNumItems; ++i) {
            pRoot->Insert(MakePlain());
        }
        pSource->BroadcastFunctionCall(pProbe, "Touch", 1, std::string(40000, 'x').c_str());
        pOther->SetRoot(pOthers);
        int numWritesLeft = disturbed.mWrite;
        pStream->mOnWrite = [&] {
            if (--numWritesLeft == 0) {
                pOther->Execute(Value(pSource));
            }
        };
        CapturedMessages messages;
        const ResumedAssertions resumed;
        pSource->Execute(Value::Null);
        EXPECT_THAT(messages.TakeAll(), testing::Contains(EndsWith(disturbed.mpText)));
        EXPECT_GE(resumed.GetCount(), 1);

        const int numWrites = pStream->mNumWrites; // stopped, while a new one gets all
        const Ptr<IOStream> pNew = MakePipe();
        pSource->AddOutStream(pNew);
        pSource->Execute(Value::Null);
        EXPECT_EQ(pStream->mNumWrites, numWrites);
        const Ptr<Replicator> pReplica = MakeSerializer();
        pReplica->AddInStream(pNew);
        pReplica->UpdateInput();
        EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));
        messages.TakeAll();
    }
}

TEST_F(SourceTest, AStreamThatIsAddedTwiceOrUnknownOrNullIsReported)
{
    CapturedMessages messages;
    mpSource->AddOutStream(mpPipe);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to add out stream QBase.IOStream - stream was added already"));
    mpSource->AddInStream(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to add in stream - stream is null"));
    mpSource->RemoveForwardingStream(mpPipe);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to remove forwarding stream - stream not found"));
}

TEST_F(SourceTest, ACallForAStreamThatIsNoOutStreamIsReportedAndDropped)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    Watch(pRoot);
    const Ptr<IOStream> pOther = MakePipe();
    CapturedMessages messages;
    mpSource->RemoteFunctionCall(pOther, pRoot, "Touch");
    EXPECT_EQ(Send(), "");
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to call 'Touch' on Replication.Probe - stream is no out stream"));
    mpSource->RemoteFunctionCall(mpPipe, pRoot, "Nothing");
    EXPECT_EQ(Send(), "");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get function 'Nothing' id for Replication.Probe"));
    mpSource->BroadcastFunctionCall(nullptr, "Touch");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to call 'Touch' - object is null"));
    mpSource->RemoteFunctionCall(nullptr, pRoot, "Touch");
    EXPECT_THAT(messages.TakeError(), HasSubstr("stream is null"));
}

TEST_F(SourceTest, ALateStreamLearnsTheSameIds)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    for (int i = 0; i < 3; ++i) {
        pRoot->Insert(MakePlain());
    }
    Watch(pRoot);
    pRoot->RemoveAt(0); // object 2 goes
    Send();
    const Ptr<IOStream> pLate = MakePipe();
    mpSource->AddOutStream(pLate);
    EXPECT_EQ(Send(), "");
    EXPECT_EQ(ToHex(TakeBytes(pLate)), Tidy("2D000000 01 02 01000000"
                                            "01 00 03000000 0D 01000000 0000 03000000"
                                            "01 00 04000000 0D 01000000 0100 04000000"
                                            "00 01000000"));
    pRoot->Insert(nullptr);
    const std::string sent = Send();
    EXPECT_EQ(ToHex(TakeBytes(pLate)), sent); // both in step
}

TEST_F(SourceTest, ALateStreamWithoutAGraphIsInStepAtOnce)
{
    EXPECT_EQ(Send(), "");
    mpSource->SetRoot(MakePlain());
    EXPECT_EQ(Send(), Tidy("0B000000 01 00 01000000 00 01000000"));
}

TEST_F(SourceTest, CallsForALateStreamFollowItsSnapshot)
{
    const Ptr<Actor> pRoot = Actor::Construct(Value::Null);
    mpSource->RegisterType(Actor::ClassTable());
    mpSource->SetRoot(pRoot);
    mpSource->RemoteFunctionCall(mpPipe, pRoot, "Act"); // before the first frame
    mpSource->BroadcastFunctionCall(pRoot, "Act");
    const std::string frame = SplitFrames(FromHex(Send())).at(0);
    const std::string call = FromHex("11" + Id(mpSource->GetFunctionId(pRoot, "Act")) + "00");
    EXPECT_EQ(ToHex(frame.substr(0, 6)), Tidy("01 04 01000000"));
    EXPECT_EQ(ToHex(frame.substr(frame.size() - 12)), ToHex(call + call));
}

TEST_F(SourceTest, ALateStreamGetsTheObjectThatAGetterMadeForTheOthers)
{
    mpSource->RegisterType(Actor::ClassTable());
    const Ptr<Actor> pRoot = Actor::Construct(Value::Null);
    pRoot->mOnRead = [] { return MakePlain(); }; // another one each time
    mpSource->SetRoot(pRoot);
    EXPECT_THAT(Send(),
                HasSubstr(Tidy("05000000 5468696E67 02000000"))); // the snapshot of a stream that is new
    const std::string sent = Send();
    EXPECT_THAT(sent, HasSubstr(Tidy("01 00 03000000")));
    EXPECT_THAT(sent, EndsWith(Tidy("02 02000000")));
}

TEST_F(SourceTest, AnObjectThatAGetterMakesForTheSnapshotOfARelayIsReportedOnceAndSentAsNull)
{
    const Ptr<Replicator> pRelay = MakeSerializer();
    for (Replicator* const pSerializer :
         {static_cast<Replicator*>(mpSource), static_cast<Replicator*>(pRelay)}) {
        pSerializer->RegisterType(Actor::ClassTable());
    }
    pRelay->AddInStream(mpPipe);
    mpSource->SetRoot(Actor::Construct(Value::Null));
    mpSource->Execute(Value::Null);
    pRelay->UpdateInput();
    static_cast<Actor*>(pRelay->GetRoot())->mOnRead = [] { return MakePlain(); };
    CapturedMessages messages;
    const Ptr<IOStream> pLate = MakePipe();
    pRelay->SendSnapshot(pLate);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get object id for QBase.Object"));
    EXPECT_THAT(ToHex(TakeBytes(pLate)), HasSubstr(Tidy("05000000 5468696E67 00000000")));
    // Once for each snapshot, also when it is the same object again.
    const Ptr<Object> pSame = MakePlain();
    static_cast<Actor*>(pRelay->GetRoot())->mOnRead = [&] { return pSame; };
    for (int i = 0; i < 2; ++i) {
        pRelay->SendSnapshot(pLate);
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get object id for QBase.Object"));
    }
}

TEST_F(SourceTest, ASnapshotOfARelayHasTheTypesThatTheSourceAnnounced)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    const Ptr<Replicator> pRelay = MakeSerializer();
    const Ptr<Replicator> pLate = MakeSerializer();
    const Ptr<IOStream> pOn = MakePipe();
    pRoot->mAny = Value(1);
    pRelay->AddInStream(mpPipe);
    pLate->AddInStream(pOn);
    mpSource->SetRoot(pRoot);
    mpSource->Execute(Value::Null);
    pRelay->UpdateInput();
    static_cast<Probe*>(pRelay->GetRoot())->mAny = Value("the host's own");
    pRelay->SendSnapshot(pOn);
    pRelay->AddForwardingStream(pOn);
    pLate->UpdateInput();
    EXPECT_EQ(static_cast<Probe*>(pLate->GetRoot())->mAny, Value(0));
    pRoot->mAny = Value(2); // with the type that all know
    mpSource->Execute(Value::Null);
    pRelay->UpdateInput();
    pLate->UpdateInput();
    EXPECT_EQ(static_cast<Probe*>(pLate->GetRoot())->mAny, Value(2));
    EXPECT_EQ(DescribeGraph(pLate->GetRoot()), DescribeGraph(pRoot));
}

TEST_F(SourceTest, ASnapshotForNobodyForAnOutStreamOrDuringAPassIsReportedAndNotSent)
{
    mpSource->RegisterType(Actor::ClassTable());
    const Ptr<Actor> pRoot = Actor::Construct(Value::Null);
    const Ptr<IOStream> pLate = MakePipe();
    CapturedMessages messages;
    mpSource->SendSnapshot(nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to send snapshot - stream is null"));
    mpSource->SendSnapshot(mpPipe);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to send snapshot - stream is an out stream"));
    EXPECT_EQ(mpPipe->BytesAvailable(), 0);
    pRoot->mOnRead = [&] {
        mpSource->SendSnapshot(pLate);
        return Ptr<Object>();
    };
    mpSource->SetRoot(pRoot);
    mpSource->Execute(Value::Null);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to send snapshot - serializer is busy"));
    EXPECT_EQ(pLate->BytesAvailable(), 0);
    pRoot->mOnRead = nullptr;
}

TEST_F(SourceTest, AnExceptionOutOfAGetterStopsTheStreamsItCutShort)
{
    mpSource->RegisterType(Actor::ClassTable());
    const Ptr<Actor> pRoot = Actor::Construct(Value::Null);
    Watch(pRoot);
    pRoot->mOnRead = []() -> Ptr<Object> { throw 7; };
    EXPECT_THROW(mpSource->Execute(Value::Null), int);
    pRoot->mOnRead = nullptr;
    const Ptr<IOStream> pNew = MakePipe();
    mpSource->AddOutStream(pNew);
    EXPECT_EQ(Send(), ""); // stopped
    const Ptr<Replicator> pReplica = MakeSerializer();
    pReplica->RegisterType(Actor::ClassTable());
    pReplica->AddInStream(pNew);
    pReplica->UpdateInput();
    EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));
}

TEST_F(SourceTest, AnExceptionHoldsNothingThatIsNotReplicated)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Actor> pStranger = Actor::Construct(Value::Null);
    Watch(pRoot);
    pRoot->Insert(pStranger);
    pStranger->mOnRead = []() -> Ptr<Object> { throw 7; };
    CapturedMessages messages;
    EXPECT_THROW(mpSource->Execute(Value::Null), int);
    EXPECT_THAT(messages.TakeError(), EndsWith("SerializerTest.Actor - type not registered."));
    pRoot->Clear();
    Send();
    EXPECT_EQ(pStranger->GetReferenceCount(), 1);
}

TEST_F(SourceTest, AnExceptionOutOfAStreamStopsItAndLeavesLaterStreamsInOrder)
{
    const Ptr<NarrowStream> pThrowing = NarrowStream::Construct(Value::Null);
    pThrowing->mLimit = 1000;
    pThrowing->mOnWrite = [] { throw 7; };
    const Ptr<Replicator> pSource = MakeSerializer();
    pSource->AddOutStream(pThrowing);
    pSource->SetRoot(MakePlain());
    EXPECT_THROW(pSource->Execute(Value::Null), int);
    pSource->AddOutStream(mpPipe);
    pSource->Execute(Value::Null);
    EXPECT_EQ(pThrowing->mNumWrites, 1);
    EXPECT_EQ(ToHex(TakeBytes(mpPipe)), Tidy("0B000000 01 00 01000000 00 01000000"));
}

// While a snapshot is written, ids are only looked up; afterwards they are assigned as before.
TEST_F(SourceTest, AnExceptionWithinASnapshotOfManyFramesLeavesThoseInStepInStep)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    for (int i = 0; i < 4000; ++i) {
        pRoot->Insert(MakePlain());
    }
    Watch(pRoot);
    const Ptr<NarrowStream> pThrowing = NarrowStream::Construct(Value::Null);
    pThrowing->mLimit = 1000000;
    pThrowing->mOnWrite = [] { throw 7; };
    mpSource->AddOutStream(pThrowing);
    EXPECT_THROW(mpSource->Execute(Value::Null), int);
    pRoot->Insert(MakePlain());
    EXPECT_EQ(Send(), Tidy("11000000 01 00 A20F0000 0D 01000000 A00F A20F0000")); // object 4002 at place 4000
    EXPECT_EQ(pThrowing->mNumWrites, 1);
}

// Whatever somebody does to the graph between the pass for those in step and the snapshot for a late stream,
// the next frames suit both.
TEST_F(SourceTest, WhatChangesBetweenAPassAndASnapshotReachesALateStreamWithTheNextPass)
{
    struct Change
    {
        const char* mpWhat;
        std::function<void(Probe*, List*, Table*)> mChange;
    };
    const Change changes[] = {
        {"a value", [](Probe* p, List*, Table*) { p->mNumber = 8; }},
        {"a value that comes back", [](Probe* p, List*, Table*) { p->mNumber = p->mNumber == 7 ? 8 : 7; }},
        {"an array grows", [](Probe* p, List*, Table*) { p->mNumbers.Insert(3); }},
        {"an array shrinks", [](Probe* p, List*, Table*) { p->mNumbers.RemoveAt(0); }},
        {"an array of objects", [](Probe* p, List*, Table*) { p->mFriends.Insert(MakePlain()); }},
        {"a new object", [](Probe* p, List*, Table*) { p->mpFriend = Probe::Construct(Value::Null); }},
        {"an object goes", [](Probe* p, List*, Table*) { p->mpFriend = nullptr; }},
        {"another type", [](Probe* p, List*, Table*) { p->mAny = Value("text"); }},
        {"a list grows", [](Probe*, List* p, Table*) { p->Insert(MakePlain()); }},
        {"a list shrinks", [](Probe*, List* p, Table*) { p->RemoveAt(0); }},
        {"a table grows", [](Probe*, List*, Table* p) { p->Insert("new", MakePlain()); }},
        {"a table shrinks", [](Probe*, List*, Table* p) { p->Remove("old"); }},
        {"a table changes", [](Probe*, List*, Table* p) { p->Insert("old", MakePlain()); }},
        {"a property comes", [](Probe* p, List*, Table*) { p->AddPropertyValueFromValue("New", 1); }},
        {"a property goes", [](Probe* p, List*, Table*) { p->RemoveProperty("Old"); }},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.mpWhat);
        const Ptr<Table> pRoot = Table::Construct(Value::Null);
        const Ptr<List> pList = List::Construct(Value::Null);
        const Ptr<Probe> pProbe = Probe::Construct(Value::Null);
        pRoot->Insert("list", pList);
        pRoot->Insert("old", pProbe);
        pList->Insert(pProbe);
        pList->Insert(MakePlain());
        pProbe->mNumber = 7;
        pProbe->mpFriend = MakePlain();
        pProbe->mAny = Value(1);
        pProbe->mNumbers.Insert(1);
        pProbe->mNumbers.Insert(2);
        pProbe->AddPropertyValueFromValue("Old", 1);

        // A stream in step is written to between the two.
        const Ptr<Replicator> pSource = MakeSerializer();
        const Ptr<NarrowStream> pInStep = NarrowStream::Construct(Value::Null);
        const Ptr<IOStream> pEarly = MakePipe();
        const Ptr<IOStream> pLate = MakePipe();
        pSource->SetRoot(pRoot);
        pInStep->mLimit = 1000000;
        pSource->AddOutStream(pInStep);
        pSource->AddOutStream(pEarly);
        pSource->Execute(Value::Null);
        const Ptr<Replicator> pReplicas[] = {MakeSerializer(), MakeSerializer()};
        pReplicas[0]->AddInStream(pEarly);
        pReplicas[1]->AddInStream(pLate);
        pSource->AddOutStream(pLate);
        int numChanges = 0;
        pInStep->mOnWrite = [&] {
            if (++numChanges == 1) {
                change.mChange(pProbe, pList, pRoot);
            }
        };
        pProbe->mText = "something to write";
        pSource->Execute(Value::Null);
        EXPECT_EQ(numChanges, 1);
        if (std::string(change.mpWhat) == "a value that comes back") {
            change.mChange(pProbe, pList, pRoot);
        }
        for (int pass = 0; pass < 2; ++pass) {
            pSource->Execute(Value::Null);
            for (const Ptr<Replicator>& pReplica : pReplicas) {
                pReplica->UpdateInput();
                EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));
            }
            pProbe->mNumber += 1;
            pProbe->mNumbers.Insert(9);
            pList->Insert(MakePlain());
        }
        pSource->SetRoot(nullptr);
        Dissolve(pRoot);
        for (const Ptr<Replicator>& pReplica : pReplicas) {
            Dissolve(pReplica->GetRoot());
        }
    }
}

TEST_F(SourceTest, ALateStreamIsToldByteForByteWhatAFirstPassSays)
{
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        GraphEditor editor(seed);
        editor.Edit(200);
        const Ptr<Replicator> pSource = MakeSerializer();
        const Ptr<IOStream> pInStep = MakePipe();
        const Ptr<IOStream> pLate = MakePipe();
        pSource->AddOutStream(pInStep);
        pSource->Execute(Value::Null); // no graph yet
        pSource->SetRoot(editor.GetRoot());
        pSource->AddOutStream(pLate);
        pSource->Execute(Value::Null);
        EXPECT_EQ(ToHex(TakeBytes(pLate)), ToHex(TakeBytes(pInStep))) << seed;
    }
}

TEST_F(SourceTest, SourcesAndRelaysDescribeTheSameGraph)
{
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        GraphEditor editor(seed);
        const Ptr<Replicator> pSource = MakeSerializer();
        const Ptr<Replicator> pRelay = MakeSerializer();
        const Ptr<IOStream> pPipe = MakePipe();
        pSource->AddOutStream(pPipe);
        pRelay->AddInStream(pPipe);
        for (int pass = 0; pass < 10; ++pass) {
            editor.Edit(20);
            pSource->SetRoot(editor.GetRoot());
            pSource->Execute(Value::Null);
            pRelay->UpdateInput();
        }
        // The source tells what it saw; the relay, with the same ids, reads its replica.
        const Ptr<IOStream> pLate = MakePipe();
        const Ptr<IOStream> pLater = MakePipe();
        pSource->SendSnapshot(pLate);
        pRelay->SendSnapshot(pLater);
        const Ptr<Replicator> pReplicas[] = {MakeSerializer(), MakeSerializer()};
        pReplicas[0]->AddInStream(pLate);
        pReplicas[1]->AddInStream(pLater);
        for (const Ptr<Replicator>& pReplica : pReplicas) {
            pReplica->UpdateInput();
            EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(editor.GetRoot())) << seed;
            Dissolve(pReplica->GetRoot());
        }
        Dissolve(pRelay->GetRoot());
    }
}

// --- applying packets ---

TEST_F(ReplicaTest, TrustInAStreamThatItDoesNotReadIsReported)
{
    const Ptr<IOStream> pOther = MakePipe();
    CapturedMessages messages;
    mpReplica->SetInStreamTrusted(pOther, false);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to set trust of in stream - stream not found"));
}

TEST_F(ReplicaTest, EveryKindOfPacketIsApplied)
{
    Receive(SETUP);
    EXPECT_EQ(mpReplica->GetRoot(), Find(2));
    EXPECT_EQ(Find(1)->FindProperty("P")->Get(Find(1)), Value(7));
    EXPECT_EQ(Find(1)->FindProperty("A")->GetAt(Find(1), 1), Value(6));
    EXPECT_EQ(FindTable(2)->Find("c"), Find(1));
    EXPECT_EQ(FindList(3)->GetAt(0), Find(1));

    Receive(PACKETS[0]);
    EXPECT_EQ(mpReplica->GetRoot(), Find(3));
    Receive(PACKETS[1]);
    EXPECT_TRUE(Find(9)->IsExactType(Object::ClassTable()));
    Receive(PACKETS[3]);
    EXPECT_EQ(Find(1)->FindProperty("Q")->Get(Find(1)), Value("Hi"));
    Receive(PACKETS[4]);
    EXPECT_EQ(Find(1)->FindProperty("P")->Get(Find(1)), Value(8));
    Receive(PACKETS[5]);
    EXPECT_EQ(Find(1)->FindProperty("P"), nullptr);
    EXPECT_EQ(mpReplica->FindProperty(1), nullptr);
    mpReplica->RemovePropertyId(Find(1), "Q");
    Receive(PACKETS[6]);
    EXPECT_EQ(Find(1)->FindProperty("B")->GetType(), Value::TYPE_OBJECT);
    Property* const pArray = Find(1)->FindProperty("A");
    Receive(PACKETS[7]);
    EXPECT_EQ(pArray->GetAt(Find(1), 2), Value(7));
    Receive(PACKETS[8]);
    EXPECT_EQ(pArray->GetAt(Find(1), 1), Value(9));
    Receive(PACKETS[9]);
    EXPECT_EQ(pArray->GetSize(Find(1)), 1);
    Receive(PACKETS[10]);
    EXPECT_EQ(mpReplica->FindTableChild(9), FindTable(2));
    Receive(PACKETS[11]);
    EXPECT_EQ(FindTable(2)->Find("c"), Find(3));
    Receive(PACKETS[12]);
    EXPECT_EQ(FindTable(2)->Find("c"), nullptr);
    EXPECT_EQ(mpReplica->FindTableChild(1), nullptr);
    Receive(PACKETS[13]);
    EXPECT_EQ(FindList(3)->GetAt(1), Find(2));
    Receive(PACKETS[14]);
    EXPECT_EQ(FindList(3)->GetAt(0), Find(4));
    Receive(PACKETS[15]);
    EXPECT_EQ(FindList(3)->GetSize(), 0);
    Receive(PACKETS[16]);
    EXPECT_EQ(mpReplica->FindFunction(9), Find(4));
    Receive(PACKETS[17]);
    EXPECT_EQ(FindProbe(4)->mNumber, 42);
    EXPECT_EQ(FindProbe(4)->mText, String("Hi"));
    Receive(PACKETS[2]);
    EXPECT_EQ(Find(4), nullptr);
    EXPECT_EQ(mpReplica->FindFunction(1), nullptr);
    EXPECT_FALSE(IsStopped());
    EXPECT_EQ(mpReplica->GetInStreamInfo()[0].mNumFrames, 19);
    EXPECT_EQ(mpReplica->GetInStreamInfo()[0].mpStream, mpPipe);
}

TEST_F(ReplicaTest, EveryPacketCutAtEveryByteIsReportedAndStopsItsStream)
{
    for (const std::string& hex : PACKETS) {
        const std::string packet = FromHex(hex);
        for (std::size_t size = 1; size < packet.size(); ++size) {
            const Ptr<Replicator> pReplica = MakeSerializer();
            const Ptr<IOStream> pIn = MakePipe();
            pReplica->AddInStream(pIn);
            Put(pIn, Frame(FromHex(SETUP)));
            Put(pIn, Frame(packet.substr(0, size)));
            Put(pIn, Frame(packet)); // not read any more
            const Ptr<IOStream> pForward = MakePipe();
            pReplica->AddForwardingStream(pForward);
            CapturedMessages messages;
            pReplica->UpdateInput();
            EXPECT_THAT(messages.TakeError(), EndsWith("from QBase.IOStream - the packet is cut off"));
            EXPECT_TRUE(pReplica->GetInStreamInfo()[0].mbStopped);
            EXPECT_EQ(pIn->BytesAvailable(), static_cast<int>(packet.size()) + 4);
            EXPECT_EQ(TakeBytes(pForward), Frame(FromHex(SETUP)));
        }
    }
}

TEST_F(ReplicaTest, UnknownKindsAndTypesAndTooManyArgumentsStopTheStream)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"12", "the kind is unknown"},
        {"FF 01000000", "the kind is unknown"},
        {"03 01000000 09000000 0D 01000000 51", "the type is unknown"},
        {"03 01000000 09000000 10 01000000 51", "the type is unknown"},
        {"06 01000000 09000000 00 01000000 51", "the type is unknown"},
        {"06 01000000 09000000 10 01000000 51", "the type is unknown"},
        {"11 01000000 06 01 01000000", "the call has too many arguments"},
        {"11 01000000 FF", "the call has too many arguments"},
        {"11 01000000 01 0D", "the type is unknown"},
        {"0A 02000000 09000000 00000000 FFFFFFFF 64", "the packet is cut off"},
        {"0A 02000000 09000000 00000000 FFFFFF7F 64", "the packet is cut off"},
    };
    for (const auto& [packet, text] : cases) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(SETUP)) + Frame(FromHex(packet + "00 00000000")));
        CapturedMessages messages;
        pReplica->UpdateInput();
        EXPECT_THAT(messages.TakeError(), EndsWith(text));
        EXPECT_TRUE(pReplica->GetInStreamInfo()[0].mbStopped);
        EXPECT_NE(pReplica->GetRoot(), nullptr);
    }
}

TEST(ObjectDiffSerializerDeathTest, EveryViolatedPromiseStopsTheProgram)
{
    for (const Violation& violation : VIOLATIONS) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(SETUP)));
        pReplica->UpdateInput();
        Put(pIn, Frame(FromHex(violation.mpPacket)));
        EXPECT_DEATH(pReplica->UpdateInput(),
                     testing::AllOf(HasSubstr("ERROR: ObjectDiffSerializer (line "),
                                    HasSubstr(std::string("ASSERT( ") + violation.mpCondition + " )")))
            << violation.mpPacket;
    }
}

TEST(ObjectDiffSerializerDeathTest, AValueForAnUnknownPropertyStopsTheProgram)
{
    for (const char* const pPacket :
         {"04 63000000 07000000", "07 63000000 0000 07000000", "08 63000000 0000 07000000"}) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(pPacket)));
        EXPECT_ASSERTION(pReplica->UpdateInput(), "pObject");
    }
}

TEST_F(ReplicaTest, NothingOfARemovedObjectIsKnownByItsId)
{
    const char* const packets[] = {"02 01000000",
                                   "05 01000000",
                                   "09 02000000 0000",
                                   "03 01000000 09000000 01 01000000 51 07000000",
                                   "0D 03000000 0100 01000000",
                                   "0E 03000000 0000 01000000",
                                   "00 01000000"};
    for (const char* const pPacket : packets) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pPipe = MakePipe();
        pReplica->AddInStream(pPipe);
        Put(pPipe, Frame(FromHex(SETUP)) + Frame(FromHex("02 01000000")) + Frame(FromHex(pPacket)));
        CapturedMessages messages;
        const ResumedAssertions resumed;
        pReplica->UpdateInput();
        EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( pObject )")) << pPacket;
        EXPECT_EQ(resumed.GetCount(), 1) << pPacket;
    }
    // The same for the children of a table and for functions.
    Receive(std::string(SETUP) + "02 02000000 02 04000000");
    CapturedMessages messages;
    const ResumedAssertions resumed;
    Receive("0C 01000000");
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( pTable )"));
    Receive("11 01000000 00");
    EXPECT_EQ(messages.TakeInfo(),
              "WARNING: Skipping invalid functionId '1' - Object most likely already deleted");
}

TEST_F(ReplicaTest, APropertyThatTheHostTookAwayFailsTheAssertion)
{
    for (const char* const pPacket : {"04 01000000 08000000", "07 02000000 0200 07000000",
                                      "08 02000000 0000 07000000", "09 02000000 0000"}) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(SETUP)));
        pReplica->UpdateInput();
        Object* const pObject = pReplica->FindObject(1);
        pObject->RemoveProperty("P");
        pObject->RemoveProperty("A");
        Put(pIn, Frame(FromHex(std::string(pPacket) + "11 01000000 01 01 2A000000")));
        CapturedMessages messages;
        const ResumedAssertions resumed;
        pReplica->UpdateInput();
        EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( pProperty )")) << pPacket;
        EXPECT_EQ(resumed.GetCount(), 1) << pPacket;
        EXPECT_EQ(static_cast<Probe*>(pReplica->FindObject(4))->mCalls, 1) << pPacket;
    }
    // Whoever wants it removed has what it wants.
    Receive(SETUP);
    Find(1)->RemoveProperty("P");
    Receive("05 01000000");
    EXPECT_EQ(mpReplica->FindProperty(1), nullptr);
    EXPECT_FALSE(IsStopped());
}

TEST_F(ReplicaTest, ARemovedPropertyOfAClassStaysAndItsIdIsForgotten)
{
    CapturedMessages messages;
    Receive("01 03 04000000 03 04000000 01000000 01 06000000 4E756D626572 05000000"
            "06 04000000 02000000 01 07000000 4E756D62657273 07 02000000 0000 06000000");
    Receive("05 01000000 05 02000000");
    EXPECT_EQ(FindProbe(4)->mNumber, 5);
    EXPECT_EQ(FindProbe(4)->mNumbers.GetSize(), 1);
    EXPECT_EQ(mpReplica->FindProperty(1), nullptr);
    EXPECT_EQ(mpReplica->FindProperty(2), nullptr);
    Receive("03 04000000 03000000 01 06000000 4E756D626572 07000000");
    EXPECT_EQ(FindProbe(4)->mNumber, 7);
    EXPECT_FALSE(IsStopped());
}

TEST_F(ReplicaTest, AnObjectOfAClassThatMakesNoneFailsTheAssertion)
{
    mpReplica->RegisterType(ObjectDiffHandler::ClassTable());
    CapturedMessages messages;
    const ResumedAssertions resumed;
    Receive("01 04 09000000");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( id.pObject )"));
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_EQ(Find(9), nullptr);
    Receive("01 00 09000000");
    EXPECT_NE(Find(9), nullptr);
}

// Such a class has one object for all who ask. Under a second id nobody could tell which of the two goes.
TEST_F(ReplicaTest, AnObjectThatHasAnIdAlreadyIsNoNewOne)
{
    const Ptr<Object> pOnly = Probe::Construct(Value::Null);
    const MadeBy made(Probe::ClassTable(), [&] { return pOnly; });
    CapturedMessages messages;
    const ResumedAssertions resumed;
    Receive("01 03 01000000 01 03 02000000");
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( id.pObject )"));
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_EQ(Find(1), pOnly);
    EXPECT_EQ(Find(2), nullptr);
    Receive("02 01000000");
    EXPECT_EQ(Find(1), nullptr);
    EXPECT_EQ(Find(2), nullptr);
    Receive("01 03 02000000");
    EXPECT_EQ(Find(2), pOnly);
}

TEST_F(ReplicaTest, AnIdThatWasTakenWhileItsObjectWasMadeIsNotGivenTwice)
{
    const Ptr<Object> pOther = MakePlain();
    const MadeBy made(Probe::ClassTable(), [&] {
        mpReplica->AddObjectId(pOther);
        return Ptr<Object>(List::Construct(Value::Null));
    });
    CapturedMessages messages;
    const ResumedAssertions resumed;
    Receive("01 03 01000000");
    EXPECT_THAT(messages.TakeError(), EndsWith("): ASSERT( !FindObject( packet.objectId ) )"));
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_EQ(Find(1), pOther);
    EXPECT_EQ(mpReplica->RemoveObjectId(pOther), 1u);
    EXPECT_EQ(Find(1), nullptr);
}

TEST_F(ReplicaTest, AConstructThatReplacesItselfIsHeldMeanwhile)
{
    MadeBy* pMade = nullptr;
    MadeBy made(Probe::ClassTable(), [&pMade] {
        MadeBy& rMade = *pMade;
        rMade.PutBack();
        EXPECT_FALSE(rMade.IsGone());
        return Ptr<Object>(List::Construct(Value::Null));
    });
    pMade = &made;
    Receive("01 03 01000000 01 03 02000000");
    EXPECT_TRUE(made.IsGone());
    EXPECT_TRUE(Find(1)->IsExactType(List::ClassTable()));
    EXPECT_TRUE(Find(2)->IsExactType(Probe::ClassTable()));
}

TEST_F(ReplicaTest, AResumedViolationConsumesItsPacketWithoutEffect)
{
    for (const Violation& violation : VIOLATIONS) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(SETUP)));
        pReplica->UpdateInput();
        const std::string before = DescribeGraph(pReplica->GetRoot());
        const Ptr<IOStream> pForward = MakePipe();
        pReplica->AddForwardingStream(pForward);
        CapturedMessages messages;
        ResumedAssertions resumed;
        // What follows in the same frame is applied.
        Put(pIn, Frame(FromHex(std::string(violation.mpPacket) + "11 01000000 01 01 2A000000")));
        pReplica->UpdateInput();
        EXPECT_EQ(resumed.GetCount(), 1) << violation.mpPacket;
        EXPECT_THAT(messages.TakeError(), EndsWith(std::string("ASSERT( ") + violation.mpCondition + " )"));
        Probe* const pProbe = static_cast<Probe*>(pReplica->FindObject(4));
        EXPECT_EQ(pProbe->mCalls, 1) << violation.mpPacket;
        EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), before) << violation.mpPacket;
        EXPECT_FALSE(pReplica->GetInStreamInfo()[0].mbStopped);
        EXPECT_EQ(pForward->BytesAvailable(), 0) << violation.mpPacket; // others would break it as well
    }
}

TEST_F(ReplicaTest, AViolationByAnUntrustedStreamIsReportedAndStopsThatStreamAlone)
{
    for (const Violation& violation : VIOLATIONS) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        const Ptr<IOStream> pGood = MakePipe();
        pReplica->AddInStream(pIn);
        pReplica->AddInStream(pGood);
        pReplica->SetInStreamTrusted(pIn, false);
        Put(pIn, Frame(FromHex(SETUP)) + Frame(FromHex(violation.mpPacket)) + Frame(FromHex("00 00000000")));
        Put(pGood, Frame(FromHex("01 00 70000000")));
        CapturedMessages messages;
        pReplica->UpdateInput();
        const std::string error = messages.TakeError();
        EXPECT_THAT(error, StartsWith("ERROR: ObjectDiffSerializer (line "));
        EXPECT_THAT(error, EndsWith(std::string("ASSERT( ") + violation.mpCondition + " )"));
        EXPECT_TRUE(pReplica->GetInStreamInfo()[0].mbStopped);
        EXPECT_FALSE(pReplica->GetInStreamInfo()[1].mbStopped);
        EXPECT_NE(pReplica->FindObject(0x70), nullptr);
        EXPECT_NE(pReplica->GetRoot(), nullptr);
    }
}

TEST_F(ReplicaTest, AValueForAnUnknownPropertyCannotBeSkippedAndEndsTheStream)
{
    for (const char* const pPacket :
         {"04 63000000 07000000", "07 63000000 0000 07000000", "08 63000000 0000 07000000"}) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, Frame(FromHex(SETUP)) + Frame(FromHex(pPacket)));
        CapturedMessages messages;
        ResumedAssertions resumed;
        pReplica->UpdateInput();
        EXPECT_EQ(resumed.GetCount(), 1);
        EXPECT_THAT(messages.TakeError(), EndsWith("ASSERT( pObject )"));
        EXPECT_THAT(messages.TakeError(), EndsWith("the length of its value is unknown"));
        EXPECT_TRUE(pReplica->GetInStreamInfo()[0].mbStopped);
    }
}

TEST_F(ReplicaTest, ACallOfSomethingDeletedIsSkippedWithAWarning)
{
    Receive(SETUP);
    const Ptr<IOStream> pForward = MakePipe();
    mpReplica->AddForwardingStream(pForward);
    CapturedMessages messages;
    Receive("11 63000000 02 01 2A000000 04 02000000 4869  04 01000000 09000000");
    EXPECT_THAT(messages.TakeInfo(),
                EndsWith("WARNING: Skipping invalid functionId '99' - Object most likely already deleted"));
    EXPECT_EQ(Find(1)->FindProperty("P")->Get(Find(1)), Value(9)); // the packet behind it
    Receive("11 01000000 01 05 63000000  04 01000000 0A000000");
    EXPECT_THAT(
        messages.TakeInfo(),
        EndsWith("WARNING: Skipping invalid functionId '1' - Argument object most likely already deleted"));
    EXPECT_EQ(Find(1)->FindProperty("P")->Get(Find(1)), Value(10));
    EXPECT_EQ(FindProbe(4)->mCalls, 0);
    EXPECT_FALSE(IsStopped());
    EXPECT_EQ(SplitFrames(TakeBytes(pForward)).size(), 2u); // that is no broken promise
}

TEST_F(ReplicaTest, AnUntrustedStreamCallsOnlyWhatIsAllowedByName)
{
    mpReplica->SetInStreamTrusted(mpPipe, false);
    mpReplica->AllowFunction("Touch");
    Receive(SETUP);
    Receive(PACKETS[17]);
    EXPECT_EQ(FindProbe(4)->mCalls, 1);
    CapturedMessages messages;
    Receive("10 04000000 09000000 04000000 4B656570  11 09000000 00");
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to call 'Keep' on Replication.Probe - function not allowed"));
    EXPECT_EQ(FindProbe(4)->mCalls, 1);
    EXPECT_TRUE(IsStopped());
}

TEST_F(ReplicaTest, AStreamForCallsAloneChangesNothingElse)
{
    Receive(SETUP);
    const std::string before = DescribeGraph(Find(2));
    for (const bool bTrusted : {true, false}) {
        for (std::size_t kind = 0; kind < PACKETS.size(); ++kind) {
            const Ptr<IOStream> pCaller = MakePipe();
            mpReplica->AllowFunction("Touch");
            mpReplica->AddInStream(pCaller);
            mpReplica->SetInStreamTrusted(pCaller, bTrusted);
            mpReplica->SetInStreamCallsOnly(pCaller, true);
            FindProbe(4)->mCalls = 0;
            Put(pCaller, Frame(FromHex(PACKETS[17] + PACKETS[kind])));
            CapturedMessages messages;
            mpReplica->UpdateInput();
            const bool bStopped = mpReplica->GetInStreamInfo()[1].mbStopped;
            EXPECT_EQ(bStopped, kind != 17) << kind;
            EXPECT_EQ(FindProbe(4)->mCalls, kind == 17 ? 2 : 1);
            if (kind != 17) {
                EXPECT_THAT(messages.TakeError(),
                            EndsWith("Failed to read packet of kind " + std::to_string(kind) +
                                     " from QBase.IOStream - the stream is for calls alone"));
            }
            EXPECT_EQ(DescribeGraph(Find(2)), before);
            EXPECT_EQ(mpReplica->GetRoot(), Find(2));
            mpReplica->RemoveInStream(pCaller);
        }
    }
    CapturedMessages messages;
    mpReplica->SetInStreamCallsOnly(nullptr, true);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to limit in stream to calls - stream not found"));
}

TEST_F(ReplicaTest, FrameSizesThatNoStreamCanHoldStopTheStream)
{
    for (const char* const pSize : {"FFFFFFFF", "00000080"}) {
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        Put(pIn, FromHex(std::string(pSize) + "00 00000000"));
        CapturedMessages messages;
        pReplica->UpdateInput();
        EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to read frame from QBase.IOStream - size "));
        EXPECT_TRUE(pReplica->GetInStreamInfo()[0].mbStopped);
        EXPECT_EQ(pIn->BytesAvailable(), 5);
    }
}

TEST_F(ReplicaTest, AnEmptyFrameCountsAndIsNotForwarded)
{
    const Ptr<IOStream> pForward = MakePipe();
    mpReplica->AddForwardingStream(pForward);
    Receive("");
    Receive("");
    EXPECT_EQ(mpReplica->GetInStreamInfo()[0].mNumFrames, 2);
    EXPECT_EQ(pForward->BytesAvailable(), 0);
    EXPECT_FALSE(IsStopped());
}

TEST_F(ReplicaTest, AnUntrustedFrameMayBeAsLongAsTheHostSays)
{
    mpReplica->SetInStreamTrusted(mpPipe, false);
    mpReplica->SetFrameSizeLimit(6);
    Receive("01 00 01000000");
    EXPECT_NE(Find(1), nullptr);
    CapturedMessages messages;
    Receive("01 00 02000000 00");
    EXPECT_THAT(messages.TakeError(), EndsWith("size 7 is over the limit of 6 bytes"));
    EXPECT_TRUE(IsStopped());
    mpReplica->SetFrameSizeLimit(-1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to set frame size limit - invalid size -1"));
}

TEST_F(ReplicaTest, AStreamWithNegativeOrFalseAvailabilityIsHarmless)
{
    const Ptr<NarrowStream> pStream = NarrowStream::Construct(Value::Null);
    mpReplica->AddInStream(pStream);
    pStream->mAvailable = -5;
    mpReplica->UpdateInput();
    pStream->mAvailable = 100; // and reads nothing
    CapturedMessages messages;
    mpReplica->UpdateInput();
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to read frame from SerializerTest.NarrowStream - 0/4 bytes read"));
    EXPECT_TRUE(mpReplica->GetInStreamInfo()[1].mbStopped);
}

TEST_F(ReplicaTest, WhatAConstructorPutsInIsReplacedByWhatThePeerHas)
{
    const Ptr<Replicator> pSource = MakeSerializer();
    for (const Ptr<Replicator>& pSerializer : {pSource, mpReplica}) {
        pSerializer->RegisterType(Furnished::ClassTable());
        pSerializer->RegisterType(FurnishedList::ClassTable());
        pSerializer->RegisterType(FurnishedTable::ClassTable());
    }
    const Ptr<Furnished> pRoot = Furnished::Construct(Value::Null);
    pRoot->mNumbers.RemoveAt(2);
    const Ptr<List> pList = FurnishedList::Construct(Value::Null);
    pList->RemoveAt(0);
    const Ptr<Table> pTable = FurnishedTable::Construct(Value::Null);
    pTable->Remove("c");
    pList->Insert(pTable);
    pRoot->mpList = pList;
    pSource->SetRoot(pRoot);
    pSource->AddOutStream(mpPipe);
    pSource->Execute(Value::Null);
    mpReplica->UpdateInput();
    EXPECT_EQ(DescribeGraph(mpReplica->GetRoot()), DescribeGraph(pRoot));
}

TEST_F(ReplicaTest, APropertyOfAnyTypeFollowsEveryType)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    const Ptr<Replicator> pSource = MakeSerializer();
    pSource->AddOutStream(mpPipe);
    pSource->SetRoot(pRoot);
    for (const Value& value : {Value(1), Value(0.5f), Value("text"), Value(pRoot), Value::Null, Value(2)}) {
        pRoot->mAny = value;
        pRoot->mNumber += 1; // a packet behind it
        pSource->Execute(Value::Null);
        mpReplica->UpdateInput();
        Probe* const pMirror = static_cast<Probe*>(mpReplica->GetRoot());
        ASSERT_NE(pMirror, nullptr);
        EXPECT_EQ(pMirror->mAny.GetType(), value.GetType());
        EXPECT_EQ(DescribeGraph(pMirror), DescribeGraph(pRoot));
    }
}

TEST_F(ReplicaTest, AVoidValueIsRememberedWithoutAProperty)
{
    Receive(SETUP);
    Receive("03 01000000 09000000 00 01000000 51  04 01000000 08000000");
    EXPECT_EQ(Find(1)->FindProperty("Q"), nullptr);
    EXPECT_EQ(mpReplica->FindProperty(9), Find(1));
    EXPECT_EQ(Find(1)->FindProperty("P")->Get(Find(1)), Value(8)); // the packet behind it
    Receive("05 09000000  03 01000000 0A000000 01 01000000 51 03000000");
    EXPECT_EQ(mpReplica->FindProperty(9), nullptr);
    EXPECT_EQ(Find(1)->FindProperty("Q")->Get(Find(1)), Value(3));
    EXPECT_FALSE(IsStopped());
}

TEST_F(ReplicaTest, WhatIsNotRegisteredAtTheSourceIsNullAndTheRestIsBuilt)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Actor> pStranger = Actor::Construct(Value::Null);
    const Ptr<Probe> pProbe = Probe::Construct(Value::Null);
    pProbe->mText = "here";
    pProbe->mpFriend = pStranger;
    pRoot->Insert(pStranger);
    pRoot->Insert(pProbe);
    const Ptr<Replicator> pSource = MakeSerializer();
    pSource->AddOutStream(mpPipe);
    pSource->SetRoot(pRoot);
    CapturedMessages messages;
    pSource->Execute(Value::Null);
    EXPECT_THAT(messages.TakeError(), EndsWith("SerializerTest.Actor - type not registered."));
    mpReplica->UpdateInput();
    pRoot->SetAt(0, nullptr); // what the replica is to look like
    pProbe->mpFriend = nullptr;
    EXPECT_EQ(DescribeGraph(mpReplica->GetRoot()), DescribeGraph(pRoot));
}

// A table or list may lose its id, and with it its last holder, by what goes with one of its children.
TEST_F(ReplicaTest, AChildThatGoesMayTakeItsParentAlong)
{
    mpReplica->RegisterType(Actor::ClassTable());
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"01 01 01000000 0A 01000000 01000000 02000000 01000000 63", "0B 01000000 00000000"},
        {"01 01 01000000 0A 01000000 01000000 02000000 01000000 63",
         "0A 01000000 02000000 00000000 01000000 63"},
        {"01 01 01000000 0A 01000000 01000000 02000000 01000000 63", "0C 01000000"},
        {"01 02 01000000 0D 01000000 0000 02000000", "0E 01000000 0000 00000000"},
        {"01 02 01000000 0D 01000000 0000 02000000", "0F 01000000 0000"},
    };
    for (const auto& [setup, packet] : cases) {
        Receive("01 04 02000000" + setup);
        static_cast<Actor*>(Find(2))->mOnEnd = [&] { mpReplica->RemoveObjectId(Find(1)); };
        Receive("02 02000000"); // its parent alone holds it
        Receive(packet);
        EXPECT_EQ(Find(1), nullptr) << packet;
        EXPECT_FALSE(IsStopped());
    }
}

TEST_F(ReplicaTest, ARemovedObjectLivesUntilItsFrameWasApplied)
{
    mpReplica->RegisterType(Actor::ClassTable());
    Receive("01 04 10000000 10 10000000 10000000 03000000 416374 01 04 11000000");
    bool bEnded = false;
    int numCalls = 0;
    static_cast<Actor*>(Find(0x11))->mOnEnd = [&] { bEnded = true; };
    static_cast<Actor*>(Find(0x10))->mOnAct = [&] {
        EXPECT_EQ(Find(0x11), nullptr); // nobody can speak of it
        EXPECT_FALSE(bEnded);
        ++numCalls;
    };
    Receive("02 11000000 11 10000000 00");
    EXPECT_EQ(numCalls, 1);
    EXPECT_TRUE(bEnded);
}

TEST_F(ReplicaTest, AnIdThatWasForgottenMayStandForAnotherObject)
{
    Receive(SETUP);
    Ptr<Object> pTable = Find(2);
    Receive("0C 01000000 05 01000000 0F 03000000 0000 02 01000000");
    EXPECT_EQ(Find(1), nullptr);
    Receive("01 00 01000000"); // the same id again: another object
    EXPECT_NE(Find(1), nullptr);
    EXPECT_EQ(Find(1)->FindProperty("A"), nullptr);
}

TEST_F(ReplicaTest, ObjectsThatReferToEachOtherGoWhenTheyAreRemoved)
{
    // Two lists in a cycle, removed without being emptied: nothing may be left of them.
    Receive("01 02 01000000 01 02 02000000 01 02 03000000"
            "0D 01000000 0000 02000000 0D 02000000 0000 03000000 0D 03000000 0000 02000000 00 01000000");
    const Ptr<Object> pKept = Find(1);
    Receive("0F 01000000 0000 02 02000000 02 03000000");
    EXPECT_EQ(static_cast<List*>(static_cast<Object*>(pKept))->GetSize(), 0);
}

TEST_F(ReplicaTest, ARingOfObjectsGoesThoughItsRemovalTakesManyFrames)
{
    const Ptr<Replicator> pSource = MakeSerializer();
    for (const Ptr<Replicator>& pSerializer : {pSource, mpReplica}) {
        pSerializer->RegisterType(Actor::ClassTable());
    }
    const Ptr<List> pRoot = List::Construct(Value::Null);
    constexpr int SIZE = 7000; // 35000 bytes of removals
    for (int i = 0; i < SIZE; ++i) {
        pRoot->Insert(Actor::Construct(Value::Null));
    }
    const auto actor = [&](int i) { return static_cast<Actor*>(pRoot->GetAt(i % SIZE)); };
    for (int i = 0; i < SIZE; ++i) {
        actor(i)->mpThing = actor(i + 1);
    }
    pSource->SetRoot(pRoot);
    pSource->AddOutStream(mpPipe);
    pSource->Execute(Value::Null);
    mpReplica->UpdateInput();
    int numEnded = 0;
    for (int i = 0; i < SIZE; ++i) {
        static_cast<Actor*>(static_cast<List*>(mpReplica->GetRoot())->GetAt(i))->mOnEnd = [&] { ++numEnded; };
        actor(i)->mOnEnd = nullptr;
    }
    const Ptr<Object> pFirst = pRoot->GetAt(0);
    pRoot->Clear();
    pSource->Execute(Value::Null);
    ASSERT_GT(mpPipe->BytesAvailable(), 32768 + 4);
    mpReplica->UpdateInput();
    EXPECT_EQ(numEnded, SIZE);
    static_cast<Actor*>(static_cast<Object*>(pFirst))->mpThing = nullptr;
}

TEST_F(ReplicaTest, RemovedObjectsThatTheHostStillHoldsStayWhole)
{
    Receive("01 02 01000000 01 02 02000000 01 02 03000000"
            "0D 01000000 0000 02000000 0D 02000000 0000 03000000 0D 03000000 0000 02000000 00 01000000");
    const Ptr<List> pHeld = FindList(2);
    Receive("0F 01000000 0000 02 02000000 02 03000000");
    ASSERT_EQ(pHeld->GetSize(), 1);
    EXPECT_EQ(static_cast<List*>(pHeld->GetAt(0))->GetAt(0), pHeld);
    Dissolve(pHeld);
}

TEST_F(ReplicaTest, ACalledFunctionMayRemoveItsStreamAndReleaseTheSerializer)
{
    mpReplica->RegisterType(Actor::ClassTable());
    Receive("01 04 01000000 10 01000000 01000000 03000000 416374 00 01000000");
    const Ptr<Actor> pActor = static_cast<Actor*>(Find(1));
    pActor->mOnAct = [&] {
        mpReplica->RemoveInStream(mpPipe);
        mpReplica = nullptr;
    };
    Replicator* const pReplica = mpReplica;
    Put(mpPipe, Frame(FromHex("11 01000000 00 00 00000000")) + Frame(FromHex("00 00000000")));
    pReplica->UpdateInput();
    EXPECT_EQ(mpReplica, nullptr);
    EXPECT_EQ(mpPipe->BytesAvailable(), 9); // the second frame
}

TEST_F(ReplicaTest, NothingBehindACallThatRemovedItsStreamIsApplied)
{
    mpReplica->RegisterType(Actor::ClassTable());
    Receive("01 04 01000000 10 01000000 01000000 03000000 416374 00 01000000");
    const Ptr<IOStream> pForward = MakePipe();
    mpReplica->AddForwardingStream(pForward);
    static_cast<Actor*>(Find(1))->mOnAct = [&] { mpReplica->RemoveInStream(mpPipe); };
    Receive("11 01000000 00 00 00000000");
    EXPECT_EQ(mpReplica->GetRoot(), Find(1));
    EXPECT_EQ(mpReplica->GetInStreamInfo().GetSize(), 0);
    EXPECT_EQ(pForward->BytesAvailable(), 0); // only a part of it was applied
}

TEST_F(ReplicaTest, ACalledFunctionMayNotUpdateTheInputAgain)
{
    mpReplica->RegisterType(Actor::ClassTable());
    Receive("01 04 01000000 10 01000000 01000000 03000000 416374 00 01000000");
    static_cast<Actor*>(Find(1))->mOnAct = [&] { mpReplica->UpdateInput(); };
    CapturedMessages messages;
    Receive("11 01000000 00");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to update input - serializer is busy"));
}

// --- whole graphs ---

namespace
{

// A replica that reads what it is given byte by byte.
class Peer
{
public:
    Peer() : mpSerializer(MakeSerializer()), mpWire(MakePipe()), mpIn(MakePipe())
    {
        mpSerializer->AddInStream(mpIn);
    }
    ~Peer() { Dissolve(mpSerializer->GetRoot()); }

    void Update()
    {
        for (const char byte : TakeBytes(mpWire)) {
            mpIn->Write(&byte, 1);
            mpSerializer->UpdateInput();
        }
    }

    std::string Describe() const { return DescribeGraph(mpSerializer->GetRoot()); }

    Ptr<Replicator> mpSerializer;
    Ptr<IOStream> mpWire; // what the source writes to
    Ptr<IOStream> mpIn;
};

} // namespace

TEST(ObjectDiffSerializerTest, EarlyLateAndRelayedReplicasEqualTheSourceAfterEveryPass)
{
    for (std::uint32_t seed = 1; seed <= 25; ++seed) {
        GraphEditor editor(seed);
        if (seed % 3 == 0) {
            editor.AllowRootChanges();
        }
        const Ptr<Replicator> pSource = MakeSerializer();
        Peer early;
        Peer late;
        Peer relayed;
        Peer lateRelayed;
        pSource->AddOutStream(early.mpWire);
        early.mpSerializer->AddForwardingStream(relayed.mpWire);
        for (int pass = 0; pass < 24; ++pass) {
            editor.Edit(editor.Random(14));
            pSource->SetRoot(editor.GetRoot());
            if (pass == 9) {
                pSource->AddOutStream(late.mpWire);
            }
            pSource->Execute(Value::Null);
            early.Update();
            relayed.Update();
            if (pass == 12) {
                early.mpSerializer->SendSnapshot(lateRelayed.mpWire);
                early.mpSerializer->AddForwardingStream(lateRelayed.mpWire);
            }
            const std::string expected = DescribeGraph(editor.GetRoot());
            ASSERT_EQ(early.Describe(), expected) << "seed " << seed << " pass " << pass;
            ASSERT_EQ(relayed.Describe(), expected) << "seed " << seed << " pass " << pass;
            if (pass >= 9) {
                late.Update();
                ASSERT_EQ(late.Describe(), expected) << "seed " << seed << " pass " << pass;
            }
            if (pass >= 12) {
                lateRelayed.Update();
                ASSERT_EQ(lateRelayed.Describe(), expected) << "seed " << seed << " pass " << pass;
            }
        }
        pSource->SetRoot(nullptr);
        pSource->Execute(Value::Null);
        early.Update();
        relayed.Update();
        late.Update();
        lateRelayed.Update();
    }
}

TEST(ObjectDiffSerializerTest, APeerMayJoinARelayAfterAHundredPassesAndCallTheSource)
{
    GraphEditor editor(77);
    const Ptr<Replicator> pSource = MakeSerializer();
    Peer relay;
    Peer late;
    pSource->AddOutStream(relay.mpWire);
    pSource->SetRoot(editor.GetRoot());
    const Ptr<Probe> pProbe = Probe::Construct(Value::Null);
    static_cast<Table*>(editor.GetRoot())->Insert("probe", pProbe);
    for (int pass = 0; pass < 130; ++pass) {
        editor.Edit(6);
        pSource->Execute(Value::Null);
        relay.Update();
        if (pass == 100) {
            relay.mpSerializer->SendSnapshot(late.mpWire);
            relay.mpSerializer->AddForwardingStream(late.mpWire);
        }
        ASSERT_EQ(relay.Describe(), DescribeGraph(editor.GetRoot())) << pass;
        if (pass >= 100) {
            late.Update();
            ASSERT_EQ(late.Describe(), DescribeGraph(editor.GetRoot())) << pass;
        }
    }
    const Ptr<IOStream> pBack = MakePipe();
    late.mpSerializer->AddCallStream(pBack);
    pSource->AddInStream(pBack);
    pSource->SetInStreamTrusted(pBack, false);
    pSource->SetInStreamCallsOnly(pBack, true);
    pSource->AllowFunction("Touch");
    Object* const pMirror = static_cast<Table*>(late.mpSerializer->GetRoot())->Find("probe");
    ASSERT_NE(pMirror, nullptr);
    late.mpSerializer->BroadcastFunctionCall(pMirror, "Touch", Value(4711), Value("called"));
    late.mpSerializer->Execute(Value::Null);
    pSource->UpdateInput();
    EXPECT_EQ(pProbe->mNumber, 4711);
    pSource->Execute(Value::Null);
    relay.Update();
    late.Update();
    EXPECT_EQ(static_cast<Probe*>(pMirror)->mText, String("called"));
    EXPECT_EQ(late.Describe(), DescribeGraph(editor.GetRoot()));
    EXPECT_EQ(relay.Describe(), DescribeGraph(editor.GetRoot()));
}

// A search per packet, or per removed object, would take some 10^10 steps.
TEST(ObjectDiffSerializerTest, AHundredThousandObjectsComeAndGoInLinearTime)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    for (int i = 0; i < 100; ++i) {
        const Ptr<List> pGroup = List::Construct(Value::Null);
        for (int k = 0; k < 1000; ++k) {
            const Ptr<Object> pObject = MakePlain();
            if (k % 10 == 0) {
                pObject->AddPropertyValueFromValue("Group", Value(pGroup));
            }
            pGroup->Insert(pObject);
        }
        pRoot->Insert(pGroup);
    }
    const Ptr<Replicator> pSource = MakeSerializer();
    const Ptr<Replicator> pReplica = MakeSerializer();
    const Ptr<IOStream> pPipe = MakePipe();
    pSource->AddOutStream(pPipe);
    pReplica->AddInStream(pPipe);
    pSource->SetRoot(pRoot);
    pSource->Execute(Value::Null);
    pReplica->UpdateInput();
    List* const pMirror = static_cast<List*>(pReplica->GetRoot());
    ASSERT_EQ(pMirror->GetSize(), 100);
    EXPECT_EQ(static_cast<List*>(pMirror->GetAt(99))->GetSize(), 1000);
    Dissolve(pRoot);
    pSource->Execute(Value::Null);
    pReplica->UpdateInput();
    EXPECT_EQ(pMirror->GetSize(), 0);
    EXPECT_EQ(pReplica->FindObject(pSource->GetObjectId(pRoot)), pMirror);
    EXPECT_EQ(pReplica->FindObject(100101), nullptr);
}

TEST(ObjectDiffSerializerTest, BytesChangedAtRandomHarmNothingButTheirStream)
{
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        GraphEditor editor(seed);
        const Ptr<Replicator> pSource = MakeSerializer();
        const Ptr<IOStream> pOut = MakePipe();
        pSource->AddOutStream(pOut);
        pSource->SetRoot(editor.GetRoot());
        std::string bytes;
        for (int pass = 0; pass < 3; ++pass) {
            editor.Edit(15);
            pSource->Execute(Value::Null);
            bytes += TakeBytes(pOut);
        }
        for (int i = editor.Random(4); i >= 0; --i) {
            bytes[static_cast<std::size_t>(editor.Random(static_cast<int>(bytes.size())))] =
                static_cast<char>(editor.Random(2) ? editor.Random(20) : editor.Random(256));
        }
        CapturedMessages messages;
        const Ptr<Replicator> pReplica = MakeSerializer();
        const Ptr<IOStream> pIn = MakePipe();
        pReplica->AddInStream(pIn);
        pReplica->SetInStreamTrusted(pIn, false);
        pReplica->AllowFunction("Touch");
        Put(pIn, bytes);
        pReplica->UpdateInput();
        const bool bStopped = pReplica->GetInStreamInfo()[0].mbStopped;
        const std::vector<std::string> reports = messages.TakeAll();
        EXPECT_FALSE(bStopped && reports.empty()) << seed;
        for (std::uint32_t id = 1; id < 256; ++id) {
            Dissolve(pReplica->FindObject(id));
        }
        pSource->SetRoot(nullptr);
        pSource->Execute(Value::Null);
    }
}

TEST(ObjectDiffSerializerTest, ARelayPassesFramesOnByteForByte)
{
    GraphEditor editor(5);
    editor.Edit(60);
    const Ptr<Replicator> pSource = MakeSerializer();
    Peer relay;
    const Ptr<IOStream> pForward = MakePipe();
    const Ptr<IOStream> pTwin = MakePipe();
    pSource->AddOutStream(relay.mpWire);
    pSource->AddOutStream(pTwin);
    relay.mpSerializer->AddForwardingStream(pForward);
    pSource->SetRoot(editor.GetRoot());
    pSource->Execute(Value::Null);
    relay.Update();
    EXPECT_EQ(TakeBytes(pForward), TakeBytes(pTwin));
}

TEST(ObjectDiffSerializerTest, AReplicaCallsItsSourceOverAStreamForCallsOnly)
{
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    const Ptr<Replicator> pSource = MakeSerializer();
    pSource->SetRoot(pRoot);
    Peer replica;
    pSource->AddOutStream(replica.mpWire);
    pSource->Execute(Value::Null);
    replica.Update();
    const Ptr<IOStream> pBack = MakePipe();
    replica.mpSerializer->AddCallStream(pBack);
    pSource->AddInStream(pBack);
    Object* const pMirror = replica.mpSerializer->GetRoot();
    replica.mpSerializer->BroadcastFunctionCall(pMirror, "Keep", Value(0.5f), Value(pMirror), Value("any"),
                                                Value(Probe::CURIOUS), Value(Color(9, 8, 7, 6)));
    replica.mpSerializer->RemoteFunctionCall(pBack, pMirror, "Touch", Value(11), Value("back"));
    replica.mpSerializer->Execute(Value::Null);
    EXPECT_EQ(SplitFrames(std::string()).size(), 0u);
    pSource->UpdateInput();
    EXPECT_EQ(pRoot->mCalls, 2);
    EXPECT_EQ(pRoot->mKeptReal, 0.5f);
    EXPECT_EQ(pRoot->mpKeptObject, pRoot);
    EXPECT_EQ(pRoot->mKeptAny, Value("any"));
    EXPECT_EQ(pRoot->mKeptMood, Probe::CURIOUS);
    EXPECT_EQ(Value(pRoot->mKeptColor), Value(Color(9, 8, 7, 6)));
    pRoot->mpKeptObject = nullptr;
    pSource->Execute(Value::Null);
    replica.Update();
    EXPECT_EQ(replica.Describe(), DescribeGraph(pRoot));
    EXPECT_EQ(static_cast<Probe*>(pMirror)->mText, String("back"));
}

TEST(ObjectDiffSerializerTest, AnObjectThatComesBackIsANewOneWithANewId)
{
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Probe> pItem = Probe::Construct(Value::Null);
    pRoot->Insert(pItem);
    const Ptr<Replicator> pSource = MakeSerializer();
    pSource->SetRoot(pRoot);
    Peer replica;
    pSource->AddOutStream(replica.mpWire);
    pSource->Execute(Value::Null);
    replica.Update();
    const std::uint32_t oldId = pSource->GetObjectId(pItem);
    const std::uint32_t oldFunction = pSource->GetFunctionId(pItem, "Touch");
    pRoot->Clear();
    pSource->Execute(Value::Null);
    pRoot->Insert(pItem);
    pSource->Execute(Value::Null);
    replica.Update();
    EXPECT_NE(pSource->GetObjectId(pItem), oldId);
    EXPECT_EQ(replica.Describe(), DescribeGraph(pRoot));
    CapturedMessages messages;
    Put(replica.mpIn, Frame(FromHex("11" + Id(oldFunction) + "00")));
    replica.mpSerializer->UpdateInput();
    EXPECT_THAT(messages.TakeInfo(), HasSubstr("Object most likely already deleted"));
}

TEST(ObjectDiffSerializerTest, ASerializerDrivenByCallsAloneReplicatesAGraph)
{
    const Ptr<Object> pSource = Construct("QBase", "ObjectDiffSerializer");
    const Ptr<Object> pReplica = Construct("QBase", "ObjectDiffSerializer");
    const Ptr<IOStream> pPipe = MakePipe();
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Probe> pItem = Probe::Construct(Value::Null);
    pRoot->Insert(pItem);
    for (const Ptr<Object>& pSerializer : {pSource, pReplica}) {
        pSerializer->Call("RegisterType", Value(static_cast<Object*>(List::ClassTable())));
        pSerializer->Call("RegisterType", Value(static_cast<Object*>(Probe::ClassTable())));
    }
    pSource->FindProperty("Root")->Set(pSource, Value(pRoot));
    EXPECT_TRUE(pSource->FindProperty("Root")->IsExcluded());
    pSource->Call("AddOutStream", Value(pPipe));
    pReplica->Call("AddInStream", Value(pPipe));
    pSource->Call("Execute");
    pSource->Call("BroadcastFunctionCall", Value(pItem), Value("Touch"), Value(4), Value("four"));
    pSource->Call("RemoteFunctionCall", Value(pPipe), Value(pItem), Value("Touch"), Value(5), Value("five"));
    pSource->Call("Execute");
    pReplica->Call("UpdateInput");
    Object* const pMirror = pReplica->FindProperty("Root")->Get(pReplica).AsObject();
    ASSERT_NE(pMirror, nullptr);
    Probe* const pMirrored = static_cast<Probe*>(static_cast<List*>(pMirror)->GetAt(0));
    EXPECT_EQ(pMirrored->mText, String("five"));
    EXPECT_EQ(pSource->Call("GetObjectId", Value(pItem)), Value(2));
    EXPECT_EQ(pReplica->Call("GetObjectId", Value(pMirrored)), Value(2));
    EXPECT_EQ(pSource->Call("GetTypeId", Value(pItem)), Value(1));
}

TEST(ObjectDiffSerializerTest, WhatReplicationConsistsOfIsReflectedUnderTheNamesOfItsMethods)
{
    struct Reflected
    {
        const char* mpName;
        std::vector<Value::Type> mArguments;
        Value::Type mResult;
    };
    constexpr Value::Type OBJECT = Value::TYPE_OBJECT;
    constexpr Value::Type NAME = Value::TYPE_STRING;
    constexpr Value::Type INT = Value::TYPE_INT;
    constexpr Value::Type ANY = Value::TYPE_VALUE;
    constexpr Value::Type NONE = Value::TYPE_VOID;
    const Reflected functions[] = {
        {"RegisterType", {OBJECT}, NONE},
        {"GetTypeId", {OBJECT}, INT},
        {"GetObjectId", {OBJECT}, INT},
        {"GetPropertyId", {OBJECT, NAME}, INT},
        {"GetTableChildId", {OBJECT, NAME}, INT},
        {"GetFunctionId", {OBJECT, NAME}, INT},
        {"AddObjectId", {OBJECT}, INT},
        {"AddPropertyId", {OBJECT, NAME}, INT},
        {"AddTableChildId", {OBJECT, NAME}, INT},
        {"AddFunctionId", {OBJECT, NAME}, INT},
        {"RemoveObjectId", {OBJECT}, INT},
        {"RemovePropertyId", {OBJECT, NAME}, INT},
        {"RemoveTableChildId", {OBJECT, NAME}, INT},
        {"RemoveFunctionId", {OBJECT, NAME}, INT},
        {"FindObject", {INT}, OBJECT},
        {"FindProperty", {INT}, OBJECT},
        {"FindTableChild", {INT}, OBJECT},
        {"FindFunction", {INT}, OBJECT},
        {"RemoteFunctionCall", {OBJECT, OBJECT, NAME, ANY, ANY}, NONE}, // five arguments are the most
        {"BroadcastFunctionCall", {OBJECT, NAME, ANY, ANY, ANY}, NONE},
        {"AddOutStream", {OBJECT}, NONE},
        {"RemoveOutStream", {OBJECT}, NONE},
        {"AddInStream", {OBJECT}, NONE},
        {"RemoveInStream", {OBJECT}, NONE},
        {"AddForwardingStream", {OBJECT}, NONE},
        {"RemoveForwardingStream", {OBJECT}, NONE},
        {"Execute", {ANY}, NONE},
        {"UpdateInput", {}, NONE},
        {"GetInStreamInfo", {}, OBJECT},
    };
    for (const Reflected& reflected : functions) {
        Object* const pEntry = Replicator::ClassTable()->FindDerived(reflected.mpName);
        ASSERT_NE(pEntry, nullptr) << reflected.mpName;
        ASSERT_TRUE(pEntry->IsDerivedType(Function::ClassTable())) << reflected.mpName;
        Function* const pFunction = static_cast<Function*>(pEntry);
        EXPECT_EQ(pFunction->GetRetType(), reflected.mResult) << reflected.mpName;
        ASSERT_EQ(pFunction->GetNumArgs(), static_cast<int>(reflected.mArguments.size())) << reflected.mpName;
        for (int i = 0; i < pFunction->GetNumArgs(); ++i) {
            EXPECT_EQ(pFunction->GetArgType(i), reflected.mArguments[static_cast<std::size_t>(i)])
                << reflected.mpName << " " << i;
        }
    }
    for (const char* const pName :
         {"OnNewRoot", "OnAddObject", "OnDownsizeList"}) { // for an ObjectDiff alone
        EXPECT_EQ(Replicator::ClassTable()->FindDerived(pName), nullptr) << pName;
    }
}

TEST(ObjectDiffSerializerTest, ACopyHasTheTypesTheAllowedFunctionsAndTheRootAndNothingElse)
{
    const Ptr<Replicator> pOriginal = MakeSerializer();
    const Ptr<IOStream> pStream = MakePipe();
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    pOriginal->SetRoot(pRoot);
    pOriginal->AllowFunction("Touch");
    pOriginal->AddOutStream(pStream);
    pOriginal->AddInStream(MakePipe());
    pOriginal->AddObjectId(MakePlain());
    const Ptr<Object> pCloned = pOriginal->Clone();
    pCloned->Release(); // what Clone handed over
    Replicator* const pCopy = static_cast<Replicator*>(static_cast<Object*>(pCloned));
    EXPECT_EQ(pCopy->GetRoot(), pRoot);
    EXPECT_EQ(pCopy->GetTypeId(pRoot), 3);
    EXPECT_EQ(pCopy->GetRegisteredTypes().GetSize(), 4);
    EXPECT_EQ(pCopy->FindObject(1), nullptr);
    EXPECT_EQ(pCopy->GetInStreamInfo().GetSize(), 0);
    pCopy->Execute(Value::Null); // numbers the graph, and writes to nobody
    EXPECT_EQ(pCopy->GetObjectId(pRoot), 1u);
    EXPECT_EQ(pStream->BytesAvailable(), 0);
    const Ptr<IOStream> pCaller = MakePipe();
    pCopy->AddInStream(pCaller);
    pCopy->SetInStreamTrusted(pCaller, false);
    Put(pCaller, Frame(FromHex("11" + Id(pCopy->GetFunctionId(pRoot, "Touch")) + "00")));
    pCopy->UpdateInput();
    EXPECT_EQ(pRoot->mCalls, 1);
}

TEST(ObjectDiffSerializerTest, IdsAndStreamsCanBeAskedForByCallsAlone)
{
    const Ptr<Replicator> pSource = MakeSerializer();
    const Ptr<Replicator> pReplica = MakeSerializer();
    const Ptr<IOStream> pPipe = MakePipe();
    const Ptr<Table> pRoot = Table::Construct(Value::Null);
    const Ptr<Probe> pItem = Probe::Construct(Value::Null);
    pRoot->Insert("item", pItem);
    pSource->SetRoot(pRoot);
    pSource->AddOutStream(pPipe);
    pReplica->AddInStream(pPipe);
    pSource->Execute(Value::Null);
    const Value object = pItem;
    const Value table = pRoot;
    EXPECT_EQ(pSource->Call("FindObject", pSource->Call("GetObjectId", object)), object);
    EXPECT_EQ(pSource->Call("FindProperty", pSource->Call("GetPropertyId", object, "Number")), object);
    EXPECT_EQ(pSource->Call("FindTableChild", pSource->Call("GetTableChildId", table, "item")), table);
    EXPECT_EQ(pSource->Call("FindFunction", pSource->Call("GetFunctionId", object, "Touch")), object);
    EXPECT_EQ(pSource->Call("FindObject", 99), Value(nullptr));
    EXPECT_EQ(pSource->Call("FindObject", -1), Value(nullptr));

    Put(pPipe, Frame(FromHex("63")));
    CapturedMessages messages;
    pReplica->UpdateInput();
    EXPECT_THAT(messages.TakeError(), HasSubstr("the kind is unknown"));
    const Value infos = pReplica->Call("GetInStreamInfo");
    List* const pInfos = static_cast<List*>(infos.AsObject());
    ASSERT_EQ(pInfos->GetSize(), 1);
    Object* const pInfo = pInfos->GetAt(0);
    EXPECT_EQ(pInfo->FindProperty("Stream")->Get(pInfo), Value(pPipe));
    EXPECT_EQ(pInfo->FindProperty("NumFrames")->Get(pInfo), Value(2));
    EXPECT_EQ(pInfo->FindProperty("Stopped")->Get(pInfo), Value(true));
}

TEST(ObjectDiffSerializerTest, AReplicaThatIsExecutedNumbersNothingOfItsSource)
{
    const Ptr<Replicator> pSource = MakeSerializer();
    const Ptr<Replicator> pReplica = MakeSerializer();
    const Ptr<IOStream> pPipe = MakePipe();
    const Ptr<Probe> pRoot = Probe::Construct(Value::Null);
    pRoot->mpFriend = MakePlain();
    pRoot->AddPropertyValueFromValue("Extra", 1);
    pSource->SetRoot(pRoot);
    pSource->AddOutStream(pPipe);
    pReplica->AddInStream(pPipe);
    const auto update = [&] {
        pSource->Execute(Value::Null);
        pReplica->UpdateInput();
        pReplica->Execute(Value::Null); // as a host does that drives all serializers alike
    };
    update();
    static_cast<Probe*>(pReplica->GetRoot())->mFriends.Insert(MakePlain()); // the host's own, of no concern
    update();
    pRoot->mpFriend = MakePlain();
    pRoot->RemoveProperty("Extra");
    pRoot->mFriends.Insert(MakePlain());
    static_cast<Probe*>(pReplica->GetRoot())->mFriends.Clear();
    update();
    EXPECT_EQ(DescribeGraph(pReplica->GetRoot()), DescribeGraph(pRoot));

    // Whoever is only called by others has a graph of its own.
    const Ptr<Replicator> pCalled = MakeSerializer();
    pCalled->AddInStream(pPipe);
    pCalled->SetInStreamCallsOnly(pPipe, true);
    pCalled->SetRoot(pRoot);
    pCalled->Execute(Value::Null);
    EXPECT_EQ(pCalled->GetObjectId(pRoot), 1u);
}

TEST(ObjectDiffSerializerTest, SerializersAndStreamsWithoutAnyReferenceSurvive)
{
    Replicator* const pSource = Replicator::Construct(Value::Null);
    pSource->RegisterType(Object::ClassTable());
    pSource->SetRoot(MakePlain());
    pSource->Execute(Value::Null);
    pSource->UpdateInput();
    EXPECT_EQ(pSource->GetReferenceCount(), 0);
    IOStream* const pStream = IOStream::Construct(Value::Null);
    // A stream belongs to the serializer that takes it; for the time of a snapshot it is only borrowed.
    pSource->SendSnapshot(pStream);
    EXPECT_EQ(pStream->BytesAvailable(), 15);
    EXPECT_EQ(pStream->GetReferenceCount(), 0);
    delete pStream;
    delete pSource;
}
