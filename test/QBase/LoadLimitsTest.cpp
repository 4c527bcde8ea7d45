#include "QBase/LoadLimits.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/FileSerializer.h"
#include "QBase/Global.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Stream.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "QBase/ThreadExecutor.h"
#include "Support/Bytes.h"
#include "Support/CapturedMessages.h"
#include "Support/SavedGraphs.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace QBase;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// What a host that reads files and packets of strangers may count on, in both formats and over streams.

namespace
{

constexpr unsigned HEAVY_SIZE = 1 << 20;

// Takes a mebibyte when it is made, and another one for each step up of its weight.
class Heavy : public Object
{
    QBASE_OBJECT(Heavy, Object)

public:
    ~Heavy() override
    {
        for (void* const pBlock : mBlocks) {
            Memory::Free(pBlock, false);
        }
    }

    int GetWeight() const { return mWeight; }
    void SetWeight(int weight)
    {
        for (; mWeight < weight; ++mWeight) {
            TakeBlock();
        }
    }
    void GrowBy(int weight) { SetWeight(mWeight + weight); }

protected:
    explicit Heavy(const Value& value) : Object(value) { TakeBlock(); }

private:
    void TakeBlock() { mBlocks.push_back(Memory::Alloc(HEAVY_SIZE, ALLOC_UNKNOWN, QBASE_HERE, false)); }

    std::vector<void*> mBlocks;
    int mWeight = 0;
};

QBASE_IMPLEMENT(LoadLimitsTest, Heavy)

void Heavy::Implement()
{
    AddProperty<&Heavy::GetWeight, &Heavy::SetWeight>("Weight");
    AddFunction<&Heavy::GrowBy>("GrowBy");
}

int g_NumOutsiders = 0;

// Acts on the outside as soon as it is made.
class Outsider : public Object
{
    QBASE_OBJECT(Outsider, Object)

public:
    int mPower = 0;
    Array<int> mSteps;

protected:
    explicit Outsider(const Value& value) : Object(value) { ++g_NumOutsiders; }
};

QBASE_IMPLEMENT(LoadLimitsTest, Outsider)

void Outsider::Implement()
{
    SetActsOutside();
    AddProperty<&Outsider::mPower>("Power");
    AddProperty<&Outsider::mSteps>("Steps");
}

class OutsideTable : public Table
{
    QBASE_OBJECT(OutsideTable, Table)

protected:
    explicit OutsideTable(const Value& value) : Table(value) {}
};

QBASE_IMPLEMENT(LoadLimitsTest, OutsideTable)

void OutsideTable::Implement()
{
    SetActsOutside();
}

class OutsideList : public List
{
    QBASE_OBJECT(OutsideList, List)

protected:
    explicit OutsideList(const Value& value) : List(value) {}
};

QBASE_IMPLEMENT(LoadLimitsTest, OutsideList)

void OutsideList::Implement()
{
    SetActsOutside();
}

// Says nothing itself, but is one.
class QuietOutsider : public Outsider
{
    QBASE_OBJECT(QuietOutsider, Outsider)

protected:
    explicit QuietOutsider(const Value& value) : Outsider(value) {}
};

QBASE_IMPLEMENT(LoadLimitsTest, QuietOutsider)

void QuietOutsider::Implement()
{}

std::vector<Ptr<Serializer>> BothSerializers()
{
    return {Ptr<Serializer>(BinarySerializer::Construct(Value::Null)),
            Ptr<Serializer>(AsciiSerializer::Construct(Value::Null))};
}

// Lists within each other; the outermost one. Each but the last holds the next one.
Ptr<List> MakeChain(int length)
{
    Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 1; i < length; ++i) {
        const Ptr<List> pOuter = List::Construct(Value::Null);
        pOuter->Insert(pList);
        pList = pOuter;
    }
    return pList;
}

// Saves the graph without limits, then loads it with them. What is refused leaves no object or text behind.
std::vector<std::string> ErrorsOf(Serializer* pSerializer, Object* pGraph, const LoadLimits& limits)
{
    pSerializer->SetLimits({});
    const std::string bytes = Saved(pSerializer, pGraph);
    const Ptr<MemoryFile> pFile = FileOf(bytes);
    pSerializer->SetLimits(limits);
    CapturedMessages messages;
    const std::int64_t numObjects = Memory::GetBlocksAllocated(ALLOC_OBJECT);
    const Value loaded = pSerializer->Deserialize(pFile);
    std::vector<std::string> all = messages.TakeAll();
    EXPECT_EQ(loaded.IsVoid(), !all.empty());
    if (loaded.IsVoid()) {
        EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_OBJECT), numObjects);
    }
    return all;
}

// The one report of a load that is refused; empty when it is not.
std::string ErrorOf(Serializer* pSerializer, Object* pGraph, const LoadLimits& limits)
{
    const std::vector<std::string> errors = ErrorsOf(pSerializer, pGraph, limits);
    EXPECT_LE(errors.size(), 1u) << testing::PrintToString(errors);
    return errors.empty() ? std::string() : errors.front();
}

bool IsXml(Object* pSerializer)
{
    return pSerializer->IsDerivedType(AsciiSerializer::ClassTable());
}

} // namespace

TEST(LoadLimitsTest, EachIsSetByItsName)
{
    LoadLimits limits;
    EXPECT_TRUE(limits.Set("Bytes", 1));
    EXPECT_TRUE(limits.Set("Objects", 2));
    EXPECT_TRUE(limits.Set("Nesting", 3));
    EXPECT_TRUE(limits.Set("StringLength", 4));
    EXPECT_TRUE(limits.Set("Memory", 5));
    EXPECT_TRUE(limits.Set("MemoryPerByte", 0));
    EXPECT_EQ(limits.mMaxBytes, 1);
    EXPECT_EQ(limits.mMaxObjects, 2);
    EXPECT_EQ(limits.mMaxNesting, 3);
    EXPECT_EQ(limits.mMaxStringLength, 4);
    EXPECT_EQ(limits.mMaxMemory, 5);
    EXPECT_EQ(limits.mMaxMemoryPerByte, 0);

    CapturedMessages messages;
    EXPECT_FALSE(limits.Set("Wings", 6));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to set limit 'Wings' to 6 - there is no such limit"));
    EXPECT_FALSE(limits.Set("Bytes", -1));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to set limit 'Bytes' to -1 - it is below 0"));
    EXPECT_EQ(limits.mMaxBytes, 1);
}

TEST(LoadLimitsTest, AFileIsLoadedUpToItsLimitOfBytes)
{
    const Ptr<List> pGraph = MakeChain(3);
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        const int size = static_cast<int>(Saved(pSerializer, pGraph).size());
        EXPECT_THAT(ErrorsOf(pSerializer, pGraph, {.mMaxBytes = size}), IsEmpty());
        const std::vector<std::string> errors = ErrorsOf(pSerializer, pGraph, {.mMaxBytes = size - 1});
        ASSERT_THAT(errors, SizeIs(IsXml(pSerializer) ? 2 : 1)); // and "File error", as for all of XML
        EXPECT_THAT(errors[0],
                    HasSubstr("Failed to deserialize file 'memory' - its " + std::to_string(size) +
                              " bytes are over the limit of " + std::to_string(size - 1) + " bytes"));
    }
}

TEST(LoadLimitsTest, ABinaryFileIsHeldToBytesFromItsPositionOn)
{
    const Ptr<Serializer> pSerializer(BinarySerializer::Construct(Value::Null));
    const std::string bytes = SavedAs<BinarySerializer>(MakeChain(2));
    pSerializer->SetLimits({.mMaxBytes = static_cast<std::int64_t>(bytes.size())});
    const Ptr<MemoryFile> pFile = FileOf("something" + bytes);
    pFile->SeekStart(9);
    EXPECT_FALSE(pSerializer->Deserialize(pFile).IsVoid());
}

TEST(LoadLimitsTest, AFileIsLoadedUpToItsLimitOfObjects)
{
    const Ptr<List> pGraph = MakeChain(4);
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxObjects = 4}), IsEmpty());
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxObjects = 3}),
                    HasSubstr("Failed to deserialize file 'memory' - one more object, of QBase.List, is over "
                              "the limit of 3 objects " +
                              std::string(IsXml(pSerializer) ? "in line 12" : "at byte ")));
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxObjects = 0}),
                    HasSubstr("is over the limit of 0 objects"));
    }
}

TEST(LoadLimitsTest, NestingCountsReferencesOnTheShortestWayFromTheRoot)
{
    const Ptr<List> pGraph = MakeChain(5);
    const Ptr<List> pSecond = static_cast<List*>(pGraph->GetAt(0));
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxNesting = 4}), IsEmpty());
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxNesting = 3}),
                    HasSubstr("Failed to deserialize file 'memory' - object 4 of QBase.List is nested deeper "
                              "than the limit of 3 references " +
                              std::string(IsXml(pSerializer) ? "in line 15" : "at byte ")));
        EXPECT_THAT(ErrorOf(pSerializer, MakeChain(1), {.mMaxNesting = 0}), IsEmpty());
    }
    // A shorter way makes the chain less deep; one that leads back changes nothing.
    pGraph->Insert(static_cast<List*>(pSecond->GetAt(0))->GetAt(0));
    pSecond->Insert(pGraph);
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        pSerializer->SetLimits({.mMaxNesting = 2});
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pGraph));
        ASSERT_NE(loaded.AsObject(), nullptr);
        static_cast<List*>(static_cast<List*>(loaded.AsObject())->GetAt(0))->Clear();
    }
    pSecond->Clear();
}

TEST(LoadLimitsTest, NestingCountsThroughPropertiesAndTables)
{
    const Ptr<Object> pInner = Object::Construct(Value::Null);
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->Insert("inner", pInner);
    const Ptr<Object> pOuter = Object::Construct(Value::Null);
    pOuter->AddPropertyArray("Things", Value::TYPE_OBJECT)->Insert(pOuter, Value(pTable));
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(ErrorOf(pSerializer, pOuter, {.mMaxNesting = 2}), IsEmpty());
        EXPECT_THAT(ErrorOf(pSerializer, pOuter, {.mMaxNesting = 1}),
                    HasSubstr("object 2 of QBase.Object is nested deeper than the limit of 1 references"));
    }
}

TEST(LoadLimitsTest, TextsNamesAndClassesAreLoadedUpToTheirLimitOfBytes)
{
    const std::string error =
        "Failed to deserialize file 'memory' - a text of 40 bytes is over the limit of 39 "
        "bytes ";
    const String text = std::string(40, 'x').c_str();
    const Ptr<Object> pValue = Object::Construct(Value::Null);
    pValue->AddPropertyValueFromValue("Text", Value(text));
    const Ptr<Object> pName = Object::Construct(Value::Null);
    pName->AddPropertyValueFromValue(text, Value(1));
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->Insert(text, nullptr);
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        for (Object* const pGraph :
             {static_cast<Object*>(pValue), static_cast<Object*>(pName), static_cast<Object*>(pTable)}) {
            EXPECT_THAT(ErrorsOf(pSerializer, pGraph, {.mMaxStringLength = 40}), IsEmpty());
            const std::vector<std::string> errors = ErrorsOf(pSerializer, pGraph, {.mMaxStringLength = 39});
            ASSERT_THAT(errors, testing::Not(IsEmpty()));
            EXPECT_THAT(errors[0], HasSubstr(error + (IsXml(pSerializer) ? "in line " : "at byte ")));
        }
        EXPECT_THAT(ErrorOf(pSerializer, MakeChain(1), {.mMaxStringLength = 4}),
                    HasSubstr("a text of 5 bytes is over the limit of 4 bytes")); // "QBase"
    }
}

TEST(LoadLimitsTest, WithAListOfClassesTheOthersAreRefused)
{
    const Ptr<List> pGraph = MakeChain(1);
    pGraph->Insert(Table::Construct(Value::Null));
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mClasses = {"QBase.List", "QBase.Table"}}), IsEmpty());
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mClasses = {"QBase.List", "Qbase.Table"}}),
                    HasSubstr("Failed to deserialize file 'memory' - class QBase.Table is not allowed " +
                              std::string(IsXml(pSerializer) ? "in line 6" : "at byte ")));
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mClasses = {"QBase.Object"}}), // the base of all
                    HasSubstr("class QBase.List is not allowed"));
    }
}

TEST(LoadLimitsTest, UntrustedFilesMakeNothingThatActsOutsideUnlessItIsListed)
{
    for (Object* const pOutsider : {static_cast<Object*>(Outsider::Construct(Value::Null)),
                                    static_cast<Object*>(QuietOutsider::Construct(Value::Null))}) {
        const Ptr<List> pGraph = List::Construct(Value::Null);
        pGraph->Insert(pOutsider);
        const std::string name = std::string("LoadLimitsTest.") + pOutsider->GetClassName().c_str();
        for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
            EXPECT_THAT(ErrorOf(pSerializer, pGraph, {}), IsEmpty()); // a file is trusted at first
            const int numBefore = g_NumOutsiders;
            EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mbTrusted = false}),
                        HasSubstr("class " + name + " acts outside the program and is not allowed"));
            EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mClasses = {"QBase.List"}, .mbTrusted = false}),
                        HasSubstr("class " + name + " is not allowed"));
            EXPECT_EQ(g_NumOutsiders, numBefore);
            EXPECT_THAT(
                ErrorOf(pSerializer, pGraph, {.mClasses = {"QBase.List", name.c_str()}, .mbTrusted = false}),
                IsEmpty());
            EXPECT_EQ(g_NumOutsiders, numBefore + 1);
        }
    }
}

TEST(LoadLimitsTest, ClassesOfFilesAndThreadsActOutside)
{
    EXPECT_TRUE(SystemFile::ClassTable()->ActsOutside());
    EXPECT_TRUE(ThreadExecutor::ClassTable()->ActsOutside());
    EXPECT_FALSE(MemoryFile::ClassTable()->ActsOutside());
    EXPECT_FALSE(Object::ClassTable()->ActsOutside());
}

TEST(LoadLimitsTest, ObjectsAreMadeUntilTheirMemoryIsUsedUp)
{
    const Ptr<List> pGraph = List::Construct(Value::Null);
    for (int i = 0; i < 8; ++i) {
        pGraph->Insert(Heavy::Construct(Value::Null));
    }
    constexpr std::int64_t ROOM = 64 << 10; // for all that is not heavy
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(
            ErrorOf(pSerializer, pGraph, {.mMaxMemory = 8 * HEAVY_SIZE + ROOM, .mMaxMemoryPerByte = 0}),
            IsEmpty());
        EXPECT_THAT(
            ErrorOf(pSerializer, pGraph, {.mMaxMemory = 8 * HEAVY_SIZE, .mMaxMemoryPerByte = 0}),
            HasSubstr("Failed to deserialize file 'memory' - an object of LoadLimitsTest.Heavy takes the "
                      "objects over the limit of 8388608 bytes of memory " +
                      std::string(IsXml(pSerializer) ? "in line 34" : "at byte ")));
        const std::int64_t size = static_cast<std::int64_t>(Saved(pSerializer, pGraph).size());
        const std::int64_t perByte = (8 * HEAVY_SIZE + ROOM) / size + 1;
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxMemory = 0, .mMaxMemoryPerByte = perByte}), IsEmpty());
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxMemory = 0, .mMaxMemoryPerByte = perByte / 2}),
                    HasSubstr(" bytes of memory "));
        EXPECT_THAT(
            ErrorOf(pSerializer, pGraph,
                    {.mMaxMemory = LoadLimits::UNLIMITED, .mMaxMemoryPerByte = LoadLimits::UNLIMITED}),
            IsEmpty());
    }
}

TEST(LoadLimitsTest, WhatSettersTakeOfMemoryCountsToo)
{
    const Ptr<List> pGraph = List::Construct(Value::Null);
    const Ptr<Heavy> pHeavy = Heavy::Construct(Value::Null);
    pHeavy->SetWeight(4);
    pGraph->Insert(pHeavy);
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        EXPECT_THAT(
            ErrorOf(pSerializer, pGraph, {.mMaxMemory = 4 * HEAVY_SIZE, .mMaxMemoryPerByte = 0}),
            HasSubstr("an object of LoadLimitsTest.Heavy takes the objects over the limit of 4194304 bytes"));
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {.mMaxMemory = 6 * HEAVY_SIZE, .mMaxMemoryPerByte = 0}),
                    IsEmpty());
    }
}

TEST(LoadLimitsTest, WithoutAnyLimitSetSmallRecordsDoNotMakeMoreThan256MiBOfObjects)
{
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        const Ptr<List> pGraph = List::Construct(Value::Null);
        const Ptr<Heavy> pHeavy = Heavy::Construct(Value::Null);
        pHeavy->SetWeight(200);
        pGraph->Insert(pHeavy);
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {}), IsEmpty());
        pHeavy->SetWeight(256);
        EXPECT_THAT(ErrorOf(pSerializer, pGraph, {}), HasSubstr(" bytes of memory "));
    }
}

// Each takes 16 bytes of a file at least. Streams bring buffers along.
TEST(LoadLimitsTest, ObjectsOfTheLibraryTakeLessMemoryThanEveryFileMay)
{
    int numClasses = 0;
    Table* const pModule = static_cast<Table*>(GetModuleTable()->Find("QBase"));
    for (const auto& node : pModule->GetEntries()) {
        CapturedMessages messages;
        const Ptr<Object> pFirst = Construct("QBase", node.GetKey());
        messages.TakeAll(); // some are interfaces
        const std::int64_t before = Memory::GetTotalBytesAllocated();
        const Ptr<Object> pObject = Construct("QBase", node.GetKey());
        messages.TakeAll();
        if (pObject == nullptr || pObject->IsDerivedType(Stream::ClassTable())) {
            continue;
        }
        ++numClasses;
        EXPECT_LT(Memory::GetTotalBytesAllocated() - before, 16 * LoadLimits().mMaxMemoryPerByte)
            << node.GetKey().c_str();
    }
    EXPECT_GE(numClasses, 15);
}

TEST(LoadLimitsTest, FileSerializerPassesThemOnForBothFormats)
{
    const TempFolder folder;
    const Ptr<List> pGraph = MakeChain(3);
    const String paths[] = {folder.Write("a.qobj", SavedAs<BinarySerializer>(pGraph)),
                            folder.Write("a.QXml", SavedAs<AsciiSerializer>(pGraph))};
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    pLoader->SetLimits({.mMaxObjects = 2});
    EXPECT_EQ(pLoader->GetLimits().mMaxObjects, 2);
    for (const String& path : paths) {
        CapturedMessages messages;
        EXPECT_TRUE(pLoader->Deserialize(path).IsVoid());
        EXPECT_THAT(messages.TakeAll(), ElementsAre(HasSubstr("is over the limit of 2 objects"),
                                                    HasSubstr("deserialize failed")));
        pLoader->SetLimit("Objects", 3);
        EXPECT_NE(pLoader->Deserialize(path).AsObject(), nullptr);
        pLoader->SetLimit("Objects", 2);
    }
}

TEST(LoadLimitsTest, ScriptsSetThemByFunctionsAndCopiesKeepThem)
{
    const Ptr<Object> holders[] = {Ptr<Object>(BinarySerializer::Construct(Value::Null)),
                                   Ptr<Object>(AsciiSerializer::Construct(Value::Null)),
                                   Ptr<Object>(FileSerializer::Construct(Value::Null)),
                                   Ptr<Object>(ObjectDiffSerializer::Construct(Value::Null))};
    const auto limitsOf = [](Object* pHolder) {
        if (pHolder->IsDerivedType(Serializer::ClassTable())) {
            return static_cast<Serializer*>(pHolder)->GetLimits();
        }
        return pHolder->IsDerivedType(FileSerializer::ClassTable())
                   ? static_cast<FileSerializer*>(pHolder)->GetLimits()
                   : static_cast<ObjectDiffSerializer*>(pHolder)->GetLimits();
    };
    for (const Ptr<Object>& pHolder : holders) {
        EXPECT_TRUE(pHolder->Call("SetLimit", "Nesting", 7).Get<bool>());
        pHolder->Call("AllowClass", "QBase.List");
        Object* const pCopy = pHolder->Clone(); // counts the one reference of its source
        CapturedMessages messages;
        EXPECT_FALSE(pHolder->Call("SetLimit", "Depth", 7).Get<bool>());
        EXPECT_THAT(messages.TakeError(), EndsWith("there is no such limit"));
        EXPECT_EQ(limitsOf(pCopy).mMaxNesting, 7);
        EXPECT_THAT(limitsOf(pCopy).mClasses, ElementsAre(String("QBase.List")));
        pCopy->Release();
        if (pHolder->FindFunction("SetFilesTrusted") != nullptr) {
            EXPECT_TRUE(limitsOf(pHolder).mbTrusted);
            pHolder->Call("SetFilesTrusted", false);
            EXPECT_FALSE(limitsOf(pHolder).mbTrusted);
        }
    }
}

// --- Streams that are not trusted ---

namespace
{

// A source and a replica that does not trust it.
class LoadLimitsStreamTest : public testing::Test
{
protected:
    LoadLimitsStreamTest() { Begin(); }

    void Begin()
    {
        mpPipe = IOStream::Construct(Value::Null);
        mpSource = ObjectDiffSerializer::Construct(Value::Null);
        mpReplica = ObjectDiffSerializer::Construct(Value::Null);
        for (const Ptr<ObjectDiffSerializer>& pSerializer : {mpSource, mpReplica}) {
            for (ClassInfoTable* const pClass :
                 {List::ClassTable(), Table::ClassTable(), Object::ClassTable(), Heavy::ClassTable(),
                  Outsider::ClassTable(), QuietOutsider::ClassTable(), OutsideTable::ClassTable(),
                  OutsideList::ClassTable()}) {
                pSerializer->RegisterType(pClass);
            }
        }
        mpSource->AddOutStream(mpPipe);
        mpReplica->AddInStream(mpPipe);
        mpReplica->SetInStreamTrusted(mpPipe, false);
    }

    // Sends the graph, or what changed in it. What the replica reports.
    std::vector<std::string> Send(Object* pGraph)
    {
        mpSource->SetRoot(pGraph);
        mpSource->Execute(Value::Null);
        CapturedMessages messages;
        mpReplica->UpdateInput();
        std::vector<std::string> all = messages.TakeAll();
        EXPECT_EQ(IsStopped(), !all.empty());
        EXPECT_LE(all.size(), 1u);
        return all;
    }

    bool IsStopped() const { return mpReplica->GetInStreamInfo()[0].mbStopped; }

    Ptr<IOStream> mpPipe;
    Ptr<ObjectDiffSerializer> mpSource;
    Ptr<ObjectDiffSerializer> mpReplica;
};

} // namespace

TEST_F(LoadLimitsStreamTest, ALongerFrameThanTheLimitOfBytesStopsTheStream)
{
    mpReplica->SetLimits({.mMaxBytes = 100});
    const Ptr<Object> pGraph = Object::Construct(Value::Null);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->AddPropertyValueFromValue("Text", Value(String(std::string(100, 'x').c_str())));
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith("is over the limit of 100 bytes")));
}

TEST_F(LoadLimitsStreamTest, FramesAreLimitedWhenNothingIsSaidAboutBytes)
{
    mpReplica->SetLimits({.mMaxObjects = 1});
    const Ptr<Object> pGraph = Object::Construct(Value::Null);
    pGraph->AddPropertyValueFromValue("Text", Value(String(std::string(17 << 20, 'x').c_str())));
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith("is over the limit of 16777216 bytes")));
}

TEST_F(LoadLimitsStreamTest, OneMoreObjectThanTheLimitStopsTheStream)
{
    mpReplica->SetLimits({.mMaxObjects = 3});
    const Ptr<List> pGraph = MakeChain(3);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Clear();
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(MakeChain(2)); // those before are gone
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(Table::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph),
                ElementsAre(EndsWith("Failed to read packet of kind 1 from QBase.IOStream - one more object, "
                                     "of QBase.Table, is over the limit of 3 objects")));
}

TEST_F(LoadLimitsStreamTest, ALongerTextThanTheLimitStopsTheStream)
{
    mpReplica->SetLimits({.mMaxStringLength = 10});
    const Ptr<Object> pGraph = Object::Construct(Value::Null);
    pGraph->AddPropertyValueFromValue("Text", Value("0123456789"));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->FindProperty("Text")->Set(pGraph, Value("0123456789a"));
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith(
                                  "Failed to read packet of kind 4 from QBase.IOStream - a text of 11 bytes "
                                  "is over the limit of 10 bytes")));
}

TEST_F(LoadLimitsStreamTest, ALongerNameThanTheLimitStopsTheStream)
{
    mpReplica->SetLimits({.mMaxStringLength = 10});
    const Ptr<Table> pGraph = Table::Construct(Value::Null);
    pGraph->Insert("0123456789", nullptr);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert("0123456789a", nullptr);
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith("a text of 11 bytes is over the limit of 10 bytes")));
}

TEST_F(LoadLimitsStreamTest, AClassThatIsNotListedStopsTheStream)
{
    mpReplica->AllowClass("QBase.List");
    const Ptr<List> pGraph = MakeChain(1);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    mpReplica->AllowClass("QBase.Table");
    pGraph->Insert(Table::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(Object::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith("kind 1 from QBase.IOStream - class QBase.Object is not "
                                                   "allowed")));
}

TEST_F(LoadLimitsStreamTest, AClassThatActsOutsideStopsTheStreamUnlessItIsListed)
{
    const Ptr<List> pGraph = MakeChain(1);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(QuietOutsider::Construct(Value::Null));
    const int numBefore = g_NumOutsiders;
    EXPECT_THAT(Send(pGraph),
                ElementsAre(EndsWith("kind 1 from QBase.IOStream - class LoadLimitsTest.QuietOutsider acts "
                                     "outside the program and is not allowed")));
    EXPECT_EQ(g_NumOutsiders, numBefore);
}

TEST_F(LoadLimitsStreamTest, AListedClassMayActOutside)
{
    mpReplica->SetLimits({.mClasses = {"QBase.List", "LoadLimitsTest.Outsider"}});
    const Ptr<List> pGraph = MakeChain(1);
    pGraph->Insert(Outsider::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    EXPECT_EQ(static_cast<List*>(mpReplica->GetRoot())->GetSize(), 1);
}

namespace
{

// Objects that act outside, which a trusted stream made, and what another may not do to them.
struct Outside
{
    Outside()
        : mpRoot(Table::Construct(Value::Null)), mpOutsider(Outsider::Construct(Value::Null)),
          mpTable(OutsideTable::Construct(Value::Null)), mpList(OutsideList::Construct(Value::Null))
    {
        mpRoot->Insert("outsider", mpOutsider);
        mpRoot->Insert("table", mpTable);
        mpRoot->Insert("list", mpList);
        mpOutsider->mSteps.Insert(1);
        mpOutsider->AddPropertyValueFromValue("Note", Value(1));
        mpTable->Insert("entry", mpRoot);
        mpList->Insert(mpRoot);
    }

    Ptr<Table> mpRoot;
    Ptr<Outsider> mpOutsider;
    Ptr<OutsideTable> mpTable;
    Ptr<OutsideList> mpList;
};

struct OutsideChange
{
    int mPacket; // its kind
    std::string mClass;
    std::function<void(Outside&)> mMake;
};

const std::vector<OutsideChange>& GetOutsideChanges()
{
    static const std::vector<OutsideChange> sChanges = {
        {3, "Outsider",
         [](Outside& rOutside) { rOutside.mpOutsider->AddPropertyValueFromValue("New", Value(1)); }},
        {4, "Outsider", [](Outside& rOutside) { rOutside.mpOutsider->mPower = 7; }},
        {5, "Outsider", [](Outside& rOutside) { rOutside.mpOutsider->RemoveProperty("Note"); }},
        {6, "Outsider",
         [](Outside& rOutside) { rOutside.mpOutsider->AddPropertyArray("New", Value::TYPE_INT); }},
        {7, "Outsider", [](Outside& rOutside) { rOutside.mpOutsider->mSteps.Insert(2); }},
        {8, "Outsider", [](Outside& rOutside) { rOutside.mpOutsider->mSteps.GetAt(0) = 2; }},
        {9, "Outsider", [](Outside& rOutside) { rOutside.mpOutsider->mSteps.Clear(); }},
        {10, "OutsideTable", [](Outside& rOutside) { rOutside.mpTable->Insert("new", rOutside.mpRoot); }},
        {11, "OutsideTable", [](Outside& rOutside) { rOutside.mpTable->Insert("entry", nullptr); }},
        {12, "OutsideTable", [](Outside& rOutside) { rOutside.mpTable->Remove("entry"); }},
        {13, "OutsideList", [](Outside& rOutside) { rOutside.mpList->Insert(rOutside.mpRoot); }},
        {14, "OutsideList", [](Outside& rOutside) { rOutside.mpList->SetAt(0, nullptr); }},
        {15, "OutsideList", [](Outside& rOutside) { rOutside.mpList->Clear(); }},
    };
    return sChanges;
}

} // namespace

TEST_F(LoadLimitsStreamTest, WhatActsOutsideIsNotChangedEitherUnlessItsClassIsListed)
{
    for (const OutsideChange& change : GetOutsideChanges()) {
        for (const bool bListed : {false, true}) {
            SCOPED_TRACE("packet of kind " + std::to_string(change.mPacket));
            Begin();
            mpReplica->SetInStreamTrusted(mpPipe, true);
            Outside outside;
            EXPECT_THAT(Send(outside.mpRoot), IsEmpty());
            mpReplica->SetInStreamTrusted(mpPipe, false);
            if (bListed) {
                mpReplica->AllowClass(("LoadLimitsTest." + change.mClass).c_str());
            }
            const Ptr<Object> pReplica = mpReplica->GetRoot();
            const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
            const std::string before = Saved(pSerializer, pReplica);
            change.mMake(outside);
            const std::vector<std::string> errors = Send(outside.mpRoot);
            if (bListed) {
                EXPECT_THAT(errors, IsEmpty());
                EXPECT_NE(Saved(pSerializer, pReplica), before);
            } else {
                EXPECT_THAT(errors, ElementsAre(EndsWith(
                                        "Failed to read packet of kind " + std::to_string(change.mPacket) +
                                        " from QBase.IOStream - class LoadLimitsTest." + change.mClass +
                                        " acts outside the program and is not allowed")));
                EXPECT_EQ(Saved(pSerializer, pReplica), before);
            }
            outside.mpTable->Clear(); // which lead back to the root, here and there
            outside.mpList->Clear();
            for (const char* pName : {"table", "list"}) {
                Object* const pHolder = static_cast<Table*>(static_cast<Object*>(pReplica))->Find(pName);
                pHolder->Call("Clear");
            }
        }
    }
}

TEST_F(LoadLimitsStreamTest, DeeperNestingThanTheLimitStopsTheStream)
{
    mpReplica->SetLimits({.mMaxNesting = 2});
    const Ptr<List> pGraph = MakeChain(3);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    static_cast<List*>(static_cast<List*>(pGraph->GetAt(0))->GetAt(0))->Insert(MakeChain(1));
    EXPECT_THAT(Send(pGraph),
                ElementsAre(EndsWith("Failed to read frames from QBase.IOStream - an object of QBase.List is "
                                     "nested deeper than the limit of 2 references")));
}

TEST_F(LoadLimitsStreamTest, ObjectsThatTakeTooMuchMemoryStopTheStream)
{
    mpReplica->SetLimits({.mMaxMemory = 3 * HEAVY_SIZE + (64 << 10), .mMaxMemoryPerByte = 0});
    const Ptr<List> pGraph = MakeChain(1);
    for (int i = 0; i < 10; ++i) { // one after the other is no more than one
        pGraph->Clear();
        pGraph->Insert(Heavy::Construct(Value::Null));
        EXPECT_THAT(Send(pGraph), IsEmpty());
    }
    pGraph->Insert(Heavy::Construct(Value::Null));
    pGraph->Insert(Heavy::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(Heavy::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), ElementsAre(EndsWith(
                                  "kind 1 from QBase.IOStream - an object of LoadLimitsTest.Heavy takes the "
                                  "objects over the limit of 3211264 bytes of memory")));
}

TEST_F(LoadLimitsStreamTest, WhatChangesTakeOfMemoryCountsToo)
{
    mpReplica->SetLimits({.mMaxMemory = 3 * HEAVY_SIZE, .mMaxMemoryPerByte = 0});
    const Ptr<Heavy> pHeavy = Heavy::Construct(Value::Null);
    EXPECT_THAT(Send(pHeavy), IsEmpty());
    pHeavy->SetWeight(1);
    EXPECT_THAT(Send(pHeavy), IsEmpty());
    pHeavy->SetWeight(3);
    EXPECT_THAT(Send(pHeavy), ElementsAre(EndsWith(
                                  "kind 4 from QBase.IOStream - an object of LoadLimitsTest.Heavy takes the "
                                  "objects over the limit of 3145728 bytes of memory")));
}

TEST_F(LoadLimitsStreamTest, PropertiesElementsAndChildrenTakeMemoryAsObjectsDo)
{
    struct Growth
    {
        const char* mpKind; // of the packets
        std::function<void(Table*, const String&)> mMake;
    };
    const Growth growths[] = {
        {"kind 3 ",
         [](Table* pTable, const String& name) { pTable->AddPropertyValueFromValue(name, Value(1)); }},
        {"kind 6 ",
         [](Table* pTable, const String& name) { pTable->AddPropertyArray(name, Value::TYPE_INT); }},
        {"kind 7 ",
         [](Table* pTable, const String&) {
             Property* const pFound = pTable->FindProperty("Places");
             Property* const pPlaces =
                 pFound != nullptr ? pFound : pTable->AddPropertyArray("Places", Value::TYPE_VECTOR4);
             pPlaces->Insert(pTable, Value(Vector4(1, 2, 3, 4)));
         }},
        {"kind 10 ", [](Table* pTable, const String& name) { pTable->Insert(name, nullptr); }},
    };
    for (const Growth& growth : growths) {
        SCOPED_TRACE(growth.mpKind);
        Begin();
        mpReplica->SetLimits({.mMaxMemory = 65536, .mMaxMemoryPerByte = 0});
        const Ptr<Table> pGraph = Table::Construct(Value::Null);
        std::vector<std::string> errors;
        for (int i = 0; errors.empty() && i < 10000;) {
            for (const int end = i + 100; i < end; ++i) {
                growth.mMake(pGraph, ("name" + std::to_string(i)).c_str());
            }
            errors = Send(pGraph);
        }
        EXPECT_THAT(errors, ElementsAre(AllOf(HasSubstr(growth.mpKind),
                                              EndsWith("an object of QBase.Table takes the objects over the "
                                                       "limit of 65536 bytes of memory"))));
    }
}

TEST_F(LoadLimitsStreamTest, MemoryGrowsWithTheBytesOfTheStream)
{
    mpReplica->SetLimits({.mMaxMemory = 0, .mMaxMemoryPerByte = 1024});
    const Ptr<Table> pGraph = Table::Construct(Value::Null);
    pGraph->Insert("text", Object::Construct(Value::Null));
    pGraph->Find("text")->AddPropertyValueFromValue("Text", Value(String(std::string(2048, 'x').c_str())));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    for (const char* pName : {"heavy", "heavier"}) {
        pGraph->Insert(pName, Heavy::Construct(Value::Null));
        EXPECT_THAT(Send(pGraph), IsEmpty());
    }
    pGraph->Insert("heaviest", Heavy::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), ElementsAre(HasSubstr(" bytes of memory")));
}

TEST_F(LoadLimitsStreamTest, WhatAllowedFunctionsTakeIsTheHostsOwnAffair)
{
    mpReplica->SetLimits({.mMaxMemory = 3 * HEAVY_SIZE, .mMaxMemoryPerByte = 0});
    mpReplica->AllowFunction("GrowBy");
    const Ptr<List> pGraph = MakeChain(1);
    const Ptr<Heavy> pHeavy = Heavy::Construct(Value::Null);
    pGraph->Insert(pHeavy);
    EXPECT_THAT(Send(pGraph), IsEmpty());
    mpSource->BroadcastFunctionCall(pHeavy, "GrowBy", Value(8));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    pGraph->Insert(MakeChain(1));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    EXPECT_EQ(static_cast<Heavy*>(static_cast<List*>(mpReplica->GetRoot())->GetAt(0))->GetWeight(), 8);
}

TEST_F(LoadLimitsStreamTest, ATrustedStreamHasNoLimits)
{
    mpReplica->SetInStreamTrusted(mpPipe, true);
    mpReplica->SetLimits({.mMaxBytes = 1,
                          .mMaxObjects = 1,
                          .mMaxNesting = 0,
                          .mMaxStringLength = 1,
                          .mMaxMemory = 1,
                          .mMaxMemoryPerByte = 0,
                          .mClasses = {"QBase.List"}});
    const Ptr<List> pGraph = MakeChain(3);
    pGraph->Insert(Outsider::Construct(Value::Null));
    EXPECT_THAT(Send(pGraph), IsEmpty());
    EXPECT_EQ(static_cast<List*>(mpReplica->GetRoot())->GetSize(), 2);
}
