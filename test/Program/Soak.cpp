// Soak runs the library for as long as a host does, and watches that nothing drifts.
//
//     Soak replication [OBJECTS [PASSES [PEERS]]]   1,000,000 objects, 10,000 passes, 50 peers
//     Soak ids [PASSES]                             5,184,000 passes: a day of 60 in a second
//
// replication: a graph changes at random. Peers have replicas of it, some of them from a relay; they leave,
// join anew and stall. OBJECTS are those of all graphs together. At every 100th pass all replicas are the
// same as the graph; over the second half Memory has the same number of bytes, up to one in a hundred.
//
// ids: a small graph of which a part is replaced in every pass, with ids that begin close to the largest
// number. Every so often the replica is the same, and Memory has as many blocks as after the first thousand
// passes.
//
// Prints a line of progress now and then. Exits 0 when all of that held.

#include "QBase/FirstIds.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using namespace QBase;

namespace
{

constexpr int CELLS_PER_BRANCH = 500;
constexpr int CHANGES_PER_PASS = 200;
constexpr int PASSES_PER_CHECK = 100;
constexpr int MOST_NUMBERS = 8;

class Cell : public Object
{
    QBASE_OBJECT(Cell, Object)

public:
    void Touch() {}

    int mNumber = 0;
    String mText;
    Array<int> mNumbers;
    Ptr<Object> mpBranch;

protected:
    explicit Cell(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(Soak, Cell)

void Cell::Implement()
{
    AddProperty<&Cell::mNumber>("Number");
    AddProperty<&Cell::mText>("Text");
    AddProperty<&Cell::mNumbers>("Numbers");
    AddProperty<&Cell::mpBranch>("Branch");
    AddFunction<&Cell::Touch>("Touch");
}

void Require(bool bHolds, const std::string& what)
{
    if (!bHolds) {
        throw std::runtime_error(what);
    }
}

// The number of a child as its name. Made once, so that the texts do not come and go.
const String& NameOf(int number)
{
    static std::deque<String>& sNames = *new std::deque<String>;
    while (static_cast<int>(sNames.size()) <= number) {
        sNames.push_back(std::to_string(sNames.size()).c_str());
    }
    return sNames[static_cast<std::size_t>(number)];
}

// --- The graph: lists and tables of cells, in turn ---

bool IsTable(Object* pBranch)
{
    return pBranch->IsDerivedType(Table::ClassTable());
}

Cell* CellAt(Object* pBranch, int index)
{
    Object* const pObject = IsTable(pBranch) ? static_cast<Table*>(pBranch)->Find(NameOf(index))
                                             : static_cast<List*>(pBranch)->GetAt(index);
    return static_cast<Cell*>(pObject);
}

class Graph
{
public:
    explicit Graph(int numObjects) : mpRoot(List::Construct(Value::Null))
    {
        const int numBranches = std::max(2, numObjects / CELLS_PER_BRANCH);
        for (int i = 0; i < numBranches; ++i) {
            mpRoot->Insert(i % 2 != 0 ? static_cast<Object*>(Table::Construct(Value::Null))
                                      : static_cast<Object*>(List::Construct(Value::Null)));
        }
        for (int i = 0; i < numBranches; ++i) {
            for (int k = 0; k < CELLS_PER_BRANCH; ++k) {
                if (IsTable(mpRoot->GetAt(i))) {
                    static_cast<Table*>(mpRoot->GetAt(i))->Insert(NameOf(k), NewCell());
                } else {
                    static_cast<List*>(mpRoot->GetAt(i))->Insert(NewCell());
                }
            }
        }
    }
    ~Graph() { Dissolve(mpRoot); }
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    List* GetRoot() const { return mpRoot; }
    int GetSize() const { return 1 + mpRoot->GetSize() * (1 + CELLS_PER_BRANCH); }
    int Random(int limit) { return static_cast<int>(mRandom() % static_cast<unsigned>(limit)); }

    void Change()
    {
        Object* const pBranch = AnyBranch();
        const int index = Random(CELLS_PER_BRANCH);
        const Ptr<Cell> pCell = CellAt(pBranch, index);
        switch (Random(5)) {
        case 0:
            pCell->mNumber = Random(1000);
            break;
        case 1:
            pCell->mText = NameOf(Random(1000));
            break;
        case 2:
            FillNumbers(pCell);
            break;
        case 3:
            pCell->mpBranch = Random(2) != 0 ? AnyBranch() : nullptr;
            break;
        default:
            if (IsTable(pBranch)) {
                static_cast<Table*>(pBranch)->Insert(NameOf(index), NewCell());
            } else {
                static_cast<List*>(pBranch)->SetAt(index, NewCell());
            }
        }
    }

    // Cells refer to the branches that hold them.
    static void Dissolve(List* pRoot)
    {
        const Ptr<List> keep = pRoot;
        for (int i = 0; i < pRoot->GetSize(); ++i) {
            Object* const pBranch = pRoot->GetAt(i);
            for (int k = 0; k < CELLS_PER_BRANCH; ++k) {
                CellAt(pBranch, k)->mpBranch = nullptr;
            }
        }
        pRoot->Clear();
    }

private:
    Object* AnyBranch() { return mpRoot->GetAt(Random(mpRoot->GetSize())); }

    Cell* NewCell()
    {
        Cell* const pCell = Cell::Construct(Value::Null);
        pCell->mNumber = Random(1000);
        pCell->mText = NameOf(Random(1000));
        pCell->mpBranch = Random(2) != 0 ? AnyBranch() : nullptr;
        FillNumbers(pCell);
        return pCell;
    }

    void FillNumbers(Cell* pCell)
    {
        pCell->mNumbers.Clear();
        for (int i = Random(MOST_NUMBERS + 1); i > 0; --i) {
            pCell->mNumbers.Insert(Random(1000));
        }
    }

    std::mt19937 mRandom{7};
    Ptr<List> mpRoot;
};

bool IsSameCell(List* pRootA, const Cell* pA, List* pRootB, const Cell* pB)
{
    if (pA->mNumber != pB->mNumber || pA->mText != pB->mText ||
        pA->mNumbers.GetSize() != pB->mNumbers.GetSize() ||
        (pA->mpBranch == nullptr) != (pB->mpBranch == nullptr)) {
        return false;
    }
    for (int i = 0; i < pA->mNumbers.GetSize(); ++i) {
        if (pA->mNumbers.GetAt(i) != pB->mNumbers.GetAt(i)) {
            return false;
        }
    }
    return pA->mpBranch == nullptr || pRootA->Find(pA->mpBranch) == pRootB->Find(pB->mpBranch);
}

bool IsSameGraph(List* pA, Object* pOther)
{
    List* const pB = static_cast<List*>(pOther);
    if (pB == nullptr || pA->GetSize() != pB->GetSize()) {
        return false;
    }
    for (int i = 0; i < pA->GetSize(); ++i) {
        for (int k = 0; k < CELLS_PER_BRANCH; ++k) {
            const Cell* const pCellB = CellAt(pB->GetAt(i), k);
            if (pCellB == nullptr || !IsSameCell(pA, CellAt(pA->GetAt(i), k), pB, pCellB)) {
                return false;
            }
        }
    }
    return true;
}

Ptr<ObjectDiffSerializer> NewSerializer()
{
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    pSerializer->RegisterType(List::ClassTable());
    pSerializer->RegisterType(Table::ClassTable());
    pSerializer->RegisterType(Cell::ClassTable());
    return pSerializer;
}

void RequireRunning(ObjectDiffSerializer* pReplica)
{
    for (const ObjectDiffSerializer::InStreamInfo& info : pReplica->GetInStreamInfo()) {
        Require(!info.mbStopped, "a stream was stopped");
    }
}

class Clock
{
public:
    double GetSeconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - mStart).count();
    }

private:
    std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
};

// --- replication ---

class ReplicationSoak
{
public:
    ReplicationSoak(int numObjects, int numPasses, int numPeers)
        : mNumPasses(numPasses), mGraph(numObjects / (numPeers + 2)), mpSource(NewSerializer()),
          mpRelay(NewSerializer()), mpRelayPipe(IOStream::Construct(Value::Null)),
          mPeers(static_cast<std::size_t>(numPeers))
    {
        mpSource->SetRoot(mGraph.GetRoot());
        mpSource->AddOutStream(mpRelayPipe);
        mpRelay->AddInStream(mpRelayPipe);
        Pass(0); // so that the relay has something to pass on
    }

    ~ReplicationSoak()
    {
        for (Peer& rPeer : mPeers) {
            Leave(rPeer);
        }
        Release(mpRelay);
    }

    void Run()
    {
        for (int pass = 1; pass <= mNumPasses; ++pass) {
            ComeAndGo();
            Pass(CHANGES_PER_PASS);
            if (pass % PASSES_PER_CHECK == 0) {
                Check(pass);
            }
        }
        const auto [least, most] = std::minmax_element(mBytes.begin(), mBytes.end());
        Require(!mBytes.empty() && (*most - *least) * 100 <= *least,
                "memory went from " + std::to_string(*least) + " to " + std::to_string(*most) + " bytes");
        std::printf(
            "Fine: %d replicas were the same at every %dth pass; %lld to %lld bytes over the second half\n",
            static_cast<int>(mPeers.size()) + 1, PASSES_PER_CHECK, static_cast<long long>(*least),
            static_cast<long long>(*most));
    }

private:
    struct Peer
    {
        Ptr<ObjectDiffSerializer> mpReplica; // null while it is away
        Ptr<IOStream> mpPipe;
        bool mbAtRelay = false;
        int mNumStalls = 0; // passes that it does not read
    };

    // With a few changes.
    void Pass(int numChanges)
    {
        for (int i = 0; i < numChanges; ++i) {
            mGraph.Change();
        }
        mpSource->Execute(Value::Null);
        mpRelay->UpdateInput();
        for (Peer& rPeer : mPeers) {
            if (rPeer.mpReplica != nullptr && --rPeer.mNumStalls < 0) {
                rPeer.mpReplica->UpdateInput();
            }
        }
    }

    void ComeAndGo()
    {
        Peer& rPeer = mPeers[static_cast<std::size_t>(mGraph.Random(static_cast<int>(mPeers.size())))];
        switch (mGraph.Random(12)) {
        case 0:
            Leave(rPeer);
            break;
        case 1:
            Join(rPeer);
            break;
        case 2:
        case 3:
            rPeer.mNumStalls = 1 + mGraph.Random(10);
            break;
        default:
            break;
        }
    }

    void Join(Peer& rPeer)
    {
        if (rPeer.mpReplica != nullptr) {
            return;
        }
        rPeer.mpReplica = NewSerializer();
        rPeer.mpPipe = IOStream::Construct(Value::Null);
        rPeer.mbAtRelay = mGraph.Random(2) != 0;
        rPeer.mNumStalls = 0;
        rPeer.mpReplica->AddInStream(rPeer.mpPipe);
        if (rPeer.mbAtRelay) {
            mpRelay->SendSnapshot(rPeer.mpPipe);
            mpRelay->AddForwardingStream(rPeer.mpPipe);
        } else {
            mpSource->AddOutStream(rPeer.mpPipe);
        }
        ++mNumJoins;
    }

    void Leave(Peer& rPeer)
    {
        if (rPeer.mpReplica == nullptr) {
            return;
        }
        if (rPeer.mbAtRelay) {
            mpRelay->RemoveForwardingStream(rPeer.mpPipe);
        } else {
            mpSource->RemoveOutStream(rPeer.mpPipe);
        }
        rPeer.mpReplica->RemoveInStream(rPeer.mpPipe);
        Release(rPeer.mpReplica);
        rPeer.mpReplica = nullptr;
        rPeer.mpPipe = nullptr;
    }

    static void Release(ObjectDiffSerializer* pReplica)
    {
        if (pReplica->GetRoot() != nullptr) {
            Graph::Dissolve(static_cast<List*>(pReplica->GetRoot()));
        }
    }

    // Everybody is there and has read everything.
    void Check(int pass)
    {
        for (Peer& rPeer : mPeers) {
            Join(rPeer);
            rPeer.mNumStalls = 0;
        }
        Pass(0);
        RequireRunning(mpRelay);
        Require(IsSameGraph(mGraph.GetRoot(), mpRelay->GetRoot()), "the relay differs from its source");
        for (const Peer& peer : mPeers) {
            RequireRunning(peer.mpReplica);
            Require(IsSameGraph(mGraph.GetRoot(), peer.mpReplica->GetRoot()), "a replica differs");
        }
        const std::int64_t bytes = Memory::GetTotalBytesAllocated();
        if (2 * pass > mNumPasses) {
            mBytes.push_back(bytes);
        }
        std::printf("pass %d of %d, %d objects, %d joined so far, %.1f MB, %.0f s\n", pass, mNumPasses,
                    mGraph.GetSize() * (static_cast<int>(mPeers.size()) + 2), mNumJoins,
                    static_cast<double>(bytes) / 1e6, mClock.GetSeconds());
        std::fflush(stdout);
    }

    int mNumPasses;
    Graph mGraph;
    Ptr<ObjectDiffSerializer> mpSource;
    Ptr<ObjectDiffSerializer> mpRelay;
    Ptr<IOStream> mpRelayPipe;
    std::vector<Peer> mPeers;
    int mNumJoins = 0;
    std::vector<std::int64_t> mBytes; // at each check of the second half
    Clock mClock;
};

// --- ids ---

class IdSoak
{
public:
    explicit IdSoak(int numPasses) : mNumPasses(numPasses)
    {
        SetFirstIds(UINT32_MAX - 20000);
        mpSource = NewSerializer();
        mpReplica = NewSerializer();
        SetFirstIds(1);
        mpList = List::Construct(Value::Null);
        mpTable = Table::Construct(Value::Null);
        mpList->Insert(mpTable);
        for (int i = 0; i < NUM_CELLS; ++i) {
            mpList->Insert(Cell::Construct(Value::Null));
        }
        mpSource->SetRoot(mpList);
        mpSource->AddOutStream(mpPipe);
        mpReplica->AddInStream(mpPipe);
    }

    void Run()
    {
        std::int64_t numBlocks = 0;
        std::uint32_t largestId = 0;
        std::uint32_t smallestId = UINT32_MAX;
        for (int pass = 1; pass <= mNumPasses; ++pass) {
            Change(pass);
            mpSource->Execute(Value::Null);
            mpReplica->UpdateInput();
            const std::uint32_t id = mpSource->GetObjectId(mpList->GetAt(1 + pass % NUM_CELLS));
            largestId = std::max(largestId, id);
            smallestId = std::min(smallestId, id);
            if (pass % 1000 == 0) {
                RequireRunning(mpReplica);
                Require(IsReplica(), "the replica differs");
                const std::int64_t now = Memory::GetTotalBlocksAllocated();
                numBlocks = numBlocks == 0 ? now : numBlocks;
                Require(now == numBlocks,
                        "there are " + std::to_string(now) + " blocks, not " + std::to_string(numBlocks));
            }
            if (pass % std::max(1, mNumPasses / 20) == 0) {
                std::printf("pass %d of %d, %lld blocks, %.0f s\n", pass, mNumPasses,
                            static_cast<long long>(numBlocks), mClock.GetSeconds());
                std::fflush(stdout);
            }
        }
        Require(largestId > UINT32_MAX - 20000 && smallestId < 1000, "no id has wrapped");
        std::printf("Fine: ids went from %u past %u to %u; %lld blocks all the time\n", UINT32_MAX - 20000,
                    largestId, mpSource->GetObjectId(mpList->GetAt(1)), static_cast<long long>(numBlocks));
    }

private:
    static constexpr int NUM_CELLS = 6;

    // What comes back every thousand passes: objects, children and numbers.
    void Change(int pass)
    {
        Cell* const pCell = Cell::Construct(Value::Null);
        pCell->mNumber = pass % 1000;
        pCell->mText = NameOf(pass % 10);
        mpList->SetAt(1 + pass % NUM_CELLS, pCell);
        mpTable->Remove(NameOf((pass - 1) % 8));
        mpTable->Insert(NameOf(pass % 8), mpList->GetAt(1 + (pass + 1) % NUM_CELLS));
    }

    bool IsReplica()
    {
        List* const pReplica = static_cast<List*>(mpReplica->GetRoot());
        if (pReplica == nullptr || pReplica->GetSize() != mpList->GetSize()) {
            return false;
        }
        for (int i = 1; i <= NUM_CELLS; ++i) {
            if (!IsSameCell(mpList, static_cast<Cell*>(mpList->GetAt(i)), pReplica,
                            static_cast<Cell*>(pReplica->GetAt(i)))) {
                return false;
            }
        }
        Table* const pTable = static_cast<Table*>(pReplica->GetAt(0));
        for (int i = 0; i < 8; ++i) {
            Object* const pChild = mpTable->Find(NameOf(i));
            Object* const pOther = pTable->Find(NameOf(i));
            if ((pChild == nullptr) != (pOther == nullptr) ||
                mpList->Find(pChild) != pReplica->Find(pOther)) {
                return false;
            }
        }
        return true;
    }

    int mNumPasses;
    Ptr<List> mpList;
    Ptr<Table> mpTable;
    Ptr<IOStream> mpPipe = IOStream::Construct(Value::Null);
    Ptr<ObjectDiffSerializer> mpSource;
    Ptr<ObjectDiffSerializer> mpReplica;
    Clock mClock;
};

// The word at `index`, or what stands for it.
int NumberOf(int count, char** pWords, int index, int usual)
{
    return index < count ? std::atoi(pWords[index]) : usual;
}

int Usage()
{
    std::fprintf(stderr, "Usage: Soak replication [OBJECTS [PASSES [PEERS]]] | Soak ids [PASSES]\n");
    return 2;
}

} // namespace

int main(int count, char** pWords)
{
    const std::string what = count > 1 ? pWords[1] : "";
    try {
        if (what == "replication") {
            ReplicationSoak(NumberOf(count, pWords, 2, 1000000), NumberOf(count, pWords, 3, 10000),
                            std::max(1, NumberOf(count, pWords, 4, 50)))
                .Run();
        } else if (what == "ids") {
            IdSoak(NumberOf(count, pWords, 2, 5184000)).Run();
        } else {
            return Usage();
        }
    } catch (const std::exception& trouble) {
        std::fprintf(stderr, "FAILED: %s\n", trouble.what());
        return 1;
    }
    return 0;
}
