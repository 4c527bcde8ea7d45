// What happens to saving, loading, comparing and replicating when memory runs out or a file misbehaves, at
// every single allocation and every single call.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/IOStream.h"
#include "QBase/Memory.h"
#include "QBase/MemoryFile.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"
#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/CountedAllocations.h"
#include "Support/Effort.h"
#include "Support/GraphEditor.h"
#include "Support/StoredObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace QBase;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace
{

int g_AllocationsLeft = 0;
bool g_bOnce = false;

// Lets one allocation fail while it lives: the one behind the first `number`; or it and all later ones.
class FailingAllocation
{
public:
    FailingAllocation(int number, bool bOnce)
    {
        g_AllocationsLeft = number;
        g_bOnce = bOnce;
        Memory::SetFailureHook([](unsigned, AllocType) {
            --g_AllocationsLeft;
            return g_bOnce ? g_AllocationsLeft == -1 : g_AllocationsLeft < 0;
        });
    }
    ~FailingAllocation() { Memory::SetFailureHook(nullptr); }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    bool HasFailed() const { return g_AllocationsLeft < 0; }
};

// A file that answers one call as no good file does, then goes on as if nothing had been.
class FaultyFile : public MemoryFile
{
    QBASE_OBJECT(FaultyFile, MemoryFile)

public:
    enum Fault : int
    {
        NONE,
        SHORT,   // half of the bytes are moved
        NOTHING, // no byte is moved
        NEGATIVE // no byte is moved, and the answer is -1
    };

    int Read(void* pData, int count) override
    {
        return Transfer(count, [&](int n) { return MemoryFile::Read(pData, n); });
    }
    int Write(const void* pData, int count) override
    {
        return Transfer(count, [&](int n) { return MemoryFile::Write(pData, n); });
    }
    int Tell() override { return IsFaulty() ? -1 : MemoryFile::Tell(); }
    int GetSize() override { return IsFaulty() ? -1 : MemoryFile::GetSize(); }
    int BytesAvailable() override { return IsFaulty() ? -1 : MemoryFile::GetSize() - MemoryFile::Tell(); }

    void FailAt(int call, Fault fault)
    {
        mCallsLeft = call;
        mFault = fault;
    }

    bool HasFailed() const { return mCallsLeft < 0; }

protected:
    explicit FaultyFile(const Value& value) : MemoryFile(value) {}

    void Seek(SeekMode mode, int offset) override
    {
        if (!IsFaulty()) {
            MemoryFile::Seek(mode, offset);
        }
    }

private:
    // Files report what goes wrong with them.
    bool IsFaulty()
    {
        if (mCallsLeft-- != 0 || mFault == NONE) {
            return false;
        }
        Error("FaultyFile", 1, "Failed to do what was asked");
        return true;
    }

    template <typename Move>
    int Transfer(int count, Move move)
    {
        if (!IsFaulty()) {
            return move(count);
        }
        switch (mFault) {
        case SHORT:
            return count > 1 ? move(count / 2) : 0;
        case NEGATIVE:
            return -1;
        default:
            return 0;
        }
    }

    int mCallsLeft = 1 << 30;
    Fault mFault = NONE;
};

QBASE_IMPLEMENT(FaultTest, FaultyFile)

void FaultyFile::Implement()
{}

std::vector<Ptr<Serializer>> BothSerializers()
{
    return {Ptr<Serializer>(BinarySerializer::Construct(Value::Null)),
            Ptr<Serializer>(AsciiSerializer::Construct(Value::Null))};
}

Ptr<FaultyFile> MakeFile()
{
    const Ptr<FaultyFile> pFile = FaultyFile::Construct(Value::Null);
    EXPECT_TRUE(pFile->Open("faulty", File::MODE_READ | File::MODE_WRITE));
    return pFile;
}

Ptr<FaultyFile> FileOf(const std::string& bytes)
{
    const Ptr<FaultyFile> pFile = MakeFile();
    pFile->Write(bytes.data(), static_cast<int>(bytes.size()));
    pFile->SeekStart(0);
    return pFile;
}

std::string BytesOf(MemoryFile* pFile)
{
    pFile->SeekStart(0);
    std::string bytes(static_cast<std::size_t>(pFile->GetSize()), '\0');
    pFile->Read(bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

std::string Saved(Serializer* pSerializer, Object* pGraph)
{
    const Ptr<FaultyFile> pFile = MakeFile();
    EXPECT_TRUE(pSerializer->Serialize(pGraph, pFile));
    return BytesOf(pFile);
}

Ptr<Object> MakeGraph()
{
    StoredObjects::GraphOptions options;
    options.mNumObjects = 12;
    options.mbRoundedVectors = true;
    return StoredObjects::RandomGraph(3, options);
}

// A shortage is told by Memory, by whoever asked it, and by those who needed what that was to give: never by
// more than one object's worth of them.
constexpr std::size_t LONGEST_CHAIN = 40;

// What an action reports, also on the console: Memory does, and whoever lacks the memory for a message.
template <typename Action>
std::vector<std::string> ReportsOf(Action action)
{
    CapturedConsole console;
    CapturedMessages messages;
    action();
    std::vector<std::string> reports = messages.TakeAll();
    std::istringstream lines(console.TakeErrors());
    for (std::string line; std::getline(lines, line);) {
        reports.push_back(line);
    }
    return reports;
}

// One attempt, of which one allocation fails, or one and all later ones.
class Trial
{
public:
    Trial(int number, bool bOnce) : mNumber(number), mbOnce(bOnce) {}

    // Does the work, on a file maybe. What it reports are a few lines at most.
    template <typename Work>
    void Run(FaultyFile*, Work work)
    {
        Run(work);
    }
    template <typename Work>
    void Run(Work work)
    {
        mReports = ReportsOf([&] {
            const FailingAllocation failing(mNumber, mbOnce);
            work();
            mbFailed = failing.HasFailed();
        });
        EXPECT_LE(mReports.size(), LONGEST_CHAIN) << testing::PrintToString(mReports);
    }

    bool HasFailed() const { return mbFailed; }
    bool HasReported() const { return !mReports.empty(); }

private:
    int mNumber;
    bool mbOnce;
    bool mbFailed = false;
    std::vector<std::string> mReports;
};

// One attempt, of which one call of the file misbehaves.
class FileTrial
{
public:
    FileTrial(int call, FaultyFile::Fault fault) : mCall(call), mFault(fault) {}

    template <typename Work>
    void Run(FaultyFile* pFile, Work work)
    {
        CapturedMessages messages;
        pFile->FailAt(mCall, mFault);
        work();
        mbFailed = pFile->HasFailed();
        pFile->FailAt(1 << 30, FaultyFile::NONE);
        mbReported = !messages.TakeAll().empty();
    }

    bool HasFailed() const { return mbFailed; }
    bool HasReported() const { return mbReported; }

private:
    int mCall;
    FaultyFile::Fault mFault;
    bool mbFailed = false;
    bool mbReported = false;
};

// Lets each step of an attempt fail, until there is none left to fail: `makeTrial(number)` is the trial in
// which the step behind the first `number` does. The attempt says whether it succeeded; if not, it has
// reported something.
template <typename MakeTrial, typename Attempt>
void FailEachStep(const std::string& kind, MakeTrial makeTrial, Attempt attempt)
{
    bool bFailed = true;
    int numRefused = 0;
    for (int number = 0; bFailed && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE(kind + " " + std::to_string(number));
        auto trial = makeTrial(number);
        const bool bDone = attempt(trial);
        bFailed = trial.HasFailed();
        if (!bDone) {
            ++numRefused;
            EXPECT_TRUE(trial.HasReported());
        }
    }
    EXPECT_GT(numRefused, 0);
}

// Each allocation, once and for good.
constexpr auto FailEachAllocation = [](auto attempt) {
    for (const bool bOnce : {true, false}) {
        FailEachStep(
            bOnce ? "one allocation" : "all allocations from",
            [bOnce](int number) { return Trial(number, bOnce); }, attempt);
    }
};

// Each call of a file, in each way.
constexpr auto FailEachCall = [](auto attempt) {
    for (const FaultyFile::Fault fault : {FaultyFile::SHORT, FaultyFile::NOTHING, FaultyFile::NEGATIVE}) {
        FailEachStep(
            "fault " + std::to_string(fault) + " at call",
            [fault](int call) { return FileTrial(call, fault); }, attempt);
    }
};

// A save is whole, or reports and answers false, and the next one is whole again.
template <typename FailEach>
void ExpectWholeSaves(FailEach failEach)
{
    const Ptr<Object> pGraph = MakeGraph();
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        const std::string whole = Saved(pSerializer, pGraph);
        failEach([&](auto& rTrial) {
            const Ptr<FaultyFile> pFile = MakeFile();
            bool bSaved = false;
            rTrial.Run(pFile, [&] { bSaved = pSerializer->Serialize(pGraph, pFile); });
            if (bSaved) {
                EXPECT_EQ(BytesOf(pFile), whole);
            }
            return bSaved;
        });
        EXPECT_EQ(Saved(pSerializer, pGraph), whole);
    }
    StoredObjects::Dissolve(pGraph);
}

// A load gives the whole graph, or reports and gives nothing.
template <typename FailEach>
void ExpectWholeLoads(FailEach failEach)
{
    const Ptr<Object> pGraph = MakeGraph();
    for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
        const std::string whole = Saved(pSerializer, pGraph);
        failEach([&](auto& rTrial) {
            const Ptr<FaultyFile> pFile = FileOf(whole);
            Ptr<Object> pLoaded;
            rTrial.Run(pFile, [&] { pLoaded = pSerializer->Deserialize(pFile).AsObject(); });
            if (pLoaded) {
                EXPECT_TRUE(StoredObjects::AreSameGraph(pGraph, pLoaded));
                StoredObjects::Dissolve(pLoaded);
            }
            return pLoaded != nullptr;
        });
    }
    StoredObjects::Dissolve(pGraph);
}

// Answers with a new text each time, for which the getter needs memory.
class Speaker : public Object
{
    QBASE_OBJECT(Speaker, Object)

public:
    String GetSpeech() const
    {
        return mHeard.size() > 0 ? mHeard : String(("speech number " + std::to_string(mNumber)).c_str());
    }
    void SetSpeech(const String& speech) { mHeard = speech; }
    void Change() { ++mNumber; }

protected:
    explicit Speaker(const Value& value) : Object(value) {}

private:
    int mNumber = 0;
    String mHeard;
};

QBASE_IMPLEMENT(FaultTest, Speaker)

void Speaker::Implement()
{
    AddProperty<&Speaker::GetSpeech, &Speaker::SetSpeech>("Speech");
}

// A graph of all kinds, and the speaker.
class EditedGraph
{
public:
    explicit EditedGraph(Object* pSpeaker) : mEditor(7)
    {
        mEditor.Edit(40);
        GetRoot()->AddPropertyValueFromValue("Speaker", Value(pSpeaker));
    }

    Object* GetRoot() const { return mEditor.GetRoot(); }

private:
    GraphEditor mEditor;
};

// A source of the graph, if there is one, and a replica.
class Replication
{
public:
    explicit Replication(Object* pGraph) : mpSource(NewSerializer())
    {
        mpSource->SetRoot(pGraph);
        BeginAnew();
    }
    ~Replication() { DissolveReplica(); }
    Replication(const Replication&) = delete;
    Replication& operator=(const Replication&) = delete;

    void Send()
    {
        mpSource->Execute(Value::Null);
        mpReplica->UpdateInput();
    }

    // With a new peer, over a new stream.
    void BeginAnew()
    {
        if (mpPipe != nullptr) {
            mpSource->RemoveOutStream(mpPipe);
            DissolveReplica();
        }
        mpPipe = IOStream::Construct(Value::Null);
        mpReplica = NewSerializer();
        mpSource->AddOutStream(mpPipe);
        mpReplica->AddInStream(mpPipe);
    }

    Ptr<IOStream> mpPipe;
    Ptr<ObjectDiffSerializer> mpSource;
    Ptr<ObjectDiffSerializer> mpReplica;

private:
    // A stream that stopped early may have left objects that hold each other and that no root reaches yet.
    void DissolveReplica()
    {
        constexpr std::uint32_t END = 2000; // more ids than the graph takes
        for (std::uint32_t id = ObjectDiffSerializer::FirstObjectId; id < END; ++id) {
            if (const Ptr<Object> pObject = mpReplica->FindObject(id)) {
                Dissolve(pObject);
            }
        }
        Dissolve(mpReplica->GetRoot());
    }

    static Ptr<ObjectDiffSerializer> NewSerializer()
    {
        Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
        for (ClassInfoTable* const pClass : {Object::ClassTable(), Table::ClassTable(), List::ClassTable(),
                                             Probe::ClassTable(), Speaker::ClassTable()}) {
            pSerializer->RegisterType(pClass);
        }
        return pSerializer;
    }
};

} // namespace

TEST(FaultTest, ASaveForWhichMemoryRunsOutFailsOrIsWhole)
{
    ExpectWholeSaves(FailEachAllocation);
}

TEST(FaultTest, ALoadForWhichMemoryRunsOutGivesNothingOrTheWholeGraph)
{
    ExpectWholeLoads(FailEachAllocation);
}

TEST(FaultTest, APassForWhichMemoryRunsOutIsReportedAndForgotten)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    for (const bool bLater : {false, true}) { // the first pass, and one after others
        FailEachAllocation([&](Trial& rTrial) {
            const Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
            pDiff->SetRoot(graph.GetRoot());
            if (bLater) {
                pDiff->Execute(Value::Null);
            }
            pSpeaker->Change();
            const unsigned numFailures = Memory::GetNumFailures();
            rTrial.Run([&] { pDiff->Execute(Value::Null); });
            const bool bDone = Memory::GetNumFailures() == numFailures;
            const std::vector<std::string> reports = ReportsOf([&] { pDiff->Execute(Value::Null); });
            EXPECT_THAT(reports, IsEmpty());
            return bDone;
        });
    }
}

TEST(FaultTest, ASendForWhichMemoryRunsOutIsWholeOrStopsItsStreams)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    for (const bool bLater : {false, true}) { // to a new peer, and to one that knows the graph
        FailEachAllocation([&](Trial& rTrial) {
            Replication replication(graph.GetRoot());
            if (bLater) {
                replication.Send();
            }
            pSpeaker->Change();
            const unsigned numFailures = Memory::GetNumFailures();
            rTrial.Run([&] { replication.mpSource->Execute(Value::Null); });
            const bool bDone = Memory::GetNumFailures() == numFailures;
            if (!bDone) {
                replication.BeginAnew();
            }
            replication.Send();
            EXPECT_EQ(DescribeGraph(replication.mpReplica->GetRoot()), DescribeGraph(graph.GetRoot()));
            return bDone;
        });
    }
}

TEST(FaultTest, APacketForWhichMemoryRunsOutStopsItsStreamWhetherTrustedOrNot)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    for (const bool bTrusted : {true, false}) {
        FailEachAllocation([&](Trial& rTrial) {
            Replication replication(graph.GetRoot());
            replication.mpReplica->SetInStreamTrusted(replication.mpPipe, bTrusted);
            replication.mpSource->Execute(Value::Null);
            rTrial.Run([&] { replication.mpReplica->UpdateInput(); });
            const bool bDone = !replication.mpReplica->GetInStreamInfo()[0].mbStopped;
            if (!bDone) {
                replication.BeginAnew();
                replication.Send();
            }
            EXPECT_EQ(DescribeGraph(replication.mpReplica->GetRoot()), DescribeGraph(graph.GetRoot()));
            return bDone;
        });
    }
}

// Tables of ids and the like are not among the blocks of Memory.
TEST(FaultTest, APacketForWhichNewFindsNoMemoryStopsItsStreamOrIsReadLater)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    LoadLimits limits;
    limits.mMaxNesting = 100;
    bool bFailed = true;
    for (int after = 0; bFailed; ++after) {
        Replication replication(graph.GetRoot());
        replication.mpReplica->SetLimits(limits);
        replication.mpReplica->SetInStreamTrusted(replication.mpPipe, false);
        replication.mpSource->Execute(Value::Null);
        CapturedMessages messages;
        {
            const FailingNew failing(1, after);
            replication.mpReplica->UpdateInput();
            bFailed = failing.HasFailed();
        }
        const bool bStopped = replication.mpReplica->GetInStreamInfo()[0].mbStopped;
        EXPECT_EQ(bStopped, bFailed && after > 0);
        if (bFailed) {
            EXPECT_THAT(messages.TakeError(),
                        EndsWith(bStopped ? "Failed to read frame from QBase.IOStream - out of memory"
                                          : "Failed to update input - out of memory"));
        }
        if (bStopped) {
            replication.BeginAnew();
        }
        replication.Send();
        EXPECT_EQ(DescribeGraph(replication.mpReplica->GetRoot()), DescribeGraph(graph.GetRoot()));
    }
}

TEST(FaultTest, ASendForWhichNewFindsNoMemoryIsWholeOrReported)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    for (const bool bLater : {false, true}) {
        bool bFailed = true;
        for (int after = 0; bFailed; ++after) {
            Replication replication(graph.GetRoot());
            if (bLater) {
                replication.Send();
            }
            pSpeaker->Change();
            CapturedMessages messages;
            {
                const FailingNew failing(1, after);
                replication.mpSource->Execute(Value::Null);
                bFailed = failing.HasFailed();
            }
            const std::vector<std::string> reports = messages.TakeAll();
            EXPECT_EQ(reports.empty(), !bFailed);
            if (bFailed) {
                EXPECT_THAT(reports.back(), EndsWith(" - out of memory"));
                replication.BeginAnew();
            }
            replication.Send();
            EXPECT_EQ(DescribeGraph(replication.mpReplica->GetRoot()), DescribeGraph(graph.GetRoot()));
        }
    }
}

TEST(FaultTest, ASnapshotForWhichMemoryRunsOutIsWholeOrReported)
{
    const Ptr<Speaker> pSpeaker = Speaker::Construct(Value::Null);
    const EditedGraph graph(pSpeaker);
    Replication replication(graph.GetRoot());
    replication.Send();
    FailEachAllocation([&](Trial& rTrial) {
        Replication late(nullptr);
        const unsigned numFailures = Memory::GetNumFailures();
        rTrial.Run([&] { replication.mpReplica->SendSnapshot(late.mpPipe); });
        const bool bDone = Memory::GetNumFailures() == numFailures;
        if (bDone) {
            late.mpReplica->UpdateInput();
            EXPECT_EQ(DescribeGraph(late.mpReplica->GetRoot()), DescribeGraph(graph.GetRoot()));
        }
        return bDone;
    });
}

TEST(FaultTest, ASaveToAFileThatMisbehavesIsNeverASuccessThatLacksAByte)
{
    ExpectWholeSaves(FailEachCall);
}

TEST(FaultTest, ALoadFromAFileThatMisbehavesGivesNothingOrTheWholeGraph)
{
    ExpectWholeLoads(FailEachCall);
}

// The first cut of a file that gives an object is the whole file; XML may lack its final line feed.
TEST(FaultTest, NoCutOfAFileGivesAnObject)
{
    const unsigned numFiles = static_cast<unsigned>(Effort(5, 200)); // of each format
    for (unsigned seed = 1; seed <= numFiles; ++seed) {
        StoredObjects::GraphOptions options;
        options.mNumObjects = 3 + static_cast<int>(seed) % 5;
        const Ptr<Object> pGraph = StoredObjects::RandomGraph(seed, options);
        for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
            const std::string whole = Saved(pSerializer, pGraph);
            const std::size_t end = whole.back() == '\n' ? whole.size() - 1 : whole.size();
            CapturedMessages messages;
            for (std::size_t size = 0; size < end; ++size) {
                const Value loaded = pSerializer->Deserialize(FileOf(whole.substr(0, size)));
                ASSERT_TRUE(loaded.IsVoid()) << "graph " << seed << " cut at " << size;
                ASSERT_THAT(messages.TakeAll(), Not(IsEmpty())) << "graph " << seed << " cut at " << size;
            }
        }
        StoredObjects::Dissolve(pGraph);
    }
}

TEST(FaultTest, EveryFlippedBitOfAFileEndsInAnObjectOrAReport)
{
    const unsigned numFiles = static_cast<unsigned>(Effort(1, 20)); // of each format
    for (unsigned seed = 1; seed <= numFiles; ++seed) {
        StoredObjects::GraphOptions options;
        options.mNumObjects = 4;
        const Ptr<Object> pGraph = StoredObjects::RandomGraph(seed, options);
        for (const Ptr<Serializer>& pSerializer : BothSerializers()) {
            std::string bytes = Saved(pSerializer, pGraph);
            CapturedMessages messages;
            for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
                const char mask = static_cast<char>(1 << bit % 8);
                bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ mask);
                const Ptr<Object> pLoaded = pSerializer->Deserialize(FileOf(bytes)).AsObject();
                const bool bReported = !messages.TakeAll().empty();
                ASSERT_TRUE(pLoaded || bReported) << "graph " << seed << " bit " << bit;
                if (pLoaded) {
                    StoredObjects::Dissolve(pLoaded);
                }
                bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ mask);
            }
        }
        StoredObjects::Dissolve(pGraph);
    }
}
