#include "QBase/HashTable.h"

#include "QBase/Ptr.h"
#include "Support/CapturedConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace QBase;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

// Names that fall into one bucket of a table of that size.
std::vector<String> CollidingNames(int count, int tableSize, unsigned bucket)
{
    std::vector<String> names;
    for (int i = 0; static_cast<int>(names.size()) < count; ++i) {
        String name = String::Format("name%d", i);
        if (name.hash() % static_cast<unsigned>(tableSize) == bucket) {
            names.push_back(name);
        }
    }
    return names;
}

std::vector<String> Names(int count)
{
    return CollidingNames(count, 1, 0);
}

template <typename T>
std::vector<T> WalkValues(const HashTable<T>& table)
{
    std::vector<T> values;
    for (const auto& node : table) {
        values.push_back(node.GetValue());
    }
    return values;
}

struct Guest
{
    explicit Guest(HashTable<Ptr<Guest>>* pTable = nullptr) : mpTable(pTable) {}
    ~Guest()
    {
        ++sDestroyed;
        if (mpTable) {
            sSawItsKey = mpTable->Find(mKey) != nullptr && (*mpTable->Find(mKey) == this);
            mpTable->Remove(mRemoves);
            mpTable->Insert(mInserts, new Guest);
        }
    }
    static void AddReference(Guest* pObject) { ++pObject->mReferenceCount; }
    static void DropReference(Guest* pObject)
    {
        if (--pObject->mReferenceCount == 0) {
            pObject->mReferenceCount = 1 << 20;
            delete pObject;
        }
    }

    static inline int sDestroyed = 0;
    static inline bool sSawItsKey = false;
    HashTable<Ptr<Guest>>* mpTable;
    String mKey;
    String mRemoves;
    String mInserts;
    int mReferenceCount = 0;
};

// Gives the protected steps a name.
struct OpenTable : HashTable<int>
{
    using HashTable::DeInitTable;
    using HashTable::FindNode;
    using HashTable::HashTable;
    using HashTable::InitTable;
    using HashTable::RemoveNode;
};

} // namespace

TEST(HashTableTest, BeginsWithItsBucketsAndTheirNumber)
{
    HashTable<int> table(97);
    void* pBuckets = nullptr;
    std::int32_t size = 0;
    std::memcpy(&pBuckets, static_cast<void*>(&table), sizeof(pBuckets));
    std::memcpy(&size, reinterpret_cast<char*>(&table) + sizeof(pBuckets), sizeof(size));
    EXPECT_EQ(Memory::GetAllocType(pBuckets), ALLOC_HASHTABLE);
    EXPECT_EQ(size, 97);
    EXPECT_EQ(table.GetTableSize(), 97);
}

TEST(HashTableTest, TakesItsBucketsAndNodesAsHashTableBlocks)
{
    const std::int64_t blocks = Memory::GetBlocksAllocated(ALLOC_HASHTABLE);
    const std::int64_t bytes = Memory::GetBytesAllocated(ALLOC_HASHTABLE);

    HashTable<int> table(31);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_HASHTABLE), blocks + 1);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_HASHTABLE), bytes + 31 * std::int64_t(sizeof(void*)));

    table.Insert(String("a"), 1);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_HASHTABLE), blocks + 2);
}

TEST(HashTableTest, FindsWhatWasInserted)
{
    HashTable<int> table(97);

    int* pStored = table.Insert(String("Io"), 3643);

    EXPECT_EQ(table.Find(String("Io")), pStored);
    EXPECT_EQ(*pStored, 3643);
    EXPECT_EQ(table.Find(String("Europa")), nullptr);
    const HashTable<int>& constTable = table;
    EXPECT_EQ(constTable.Find(String("Io")), pStored);
}

TEST(HashTableTest, ComparesKeysByIdentityAndNotByText)
{
    HashTable<int> table(1);
    table.Insert(String::Null, 1);
    table.Insert(String(""), 2);

    EXPECT_EQ(*table.Find(String::Null), 1);
    EXPECT_EQ(*table.Find(String("")), 2);
}

TEST(HashTableTest, InsertUnderAnExistingKeyLeavesOnePairAtTheFrontOfItsBucket)
{
    const std::vector<String> names = CollidingNames(3, 7, 2);
    HashTable<int> table(7);
    table.Insert(names[0], 10);
    table.Insert(names[1], 11);
    table.Insert(names[2], 12);

    int* pStored = table.Insert(names[0], 20);

    EXPECT_EQ(*pStored, 20);
    EXPECT_EQ(table.Find(names[0]), pStored);
    EXPECT_THAT(WalkValues(table), ElementsAre(20, 12, 11));
}

TEST(HashTableTest, WalksBucketsAscendingAndTheNewestPairOfABucketFirst)
{
    const std::vector<String> low = CollidingNames(2, 5, 1);
    const std::vector<String> high = CollidingNames(2, 5, 4);
    HashTable<int> table(5);
    table.Insert(high[0], 40);
    table.Insert(low[0], 10);
    table.Insert(high[1], 41);
    table.Insert(low[1], 11);

    EXPECT_THAT(WalkValues(table), ElementsAre(11, 10, 41, 40));
    table.begin()->GetValue() = 99;
    EXPECT_EQ(*table.Find(low[1]), 99);
    EXPECT_EQ(table.begin()->GetKey(), low[1]);
}

TEST(HashTableTest, ChoosesTheBucketByTheUnsignedHash)
{
    String name("a name whose hash has its highest bit set");
    for (int i = 0; name.hash() < 0x80000000u; ++i) {
        name = String::Format("high%d", i);
    }
    OpenTable table(97);
    table.Insert(name, 1);

    EXPECT_NE(table.FindNode(name, static_cast<int>(name.hash() % 97u)), nullptr);
}

TEST(HashTableTest, ACopyHasAsManyBucketsAndItsChainsReversed)
{
    const std::vector<String> names = CollidingNames(3, 7, 3);
    HashTable<int> table(7);
    for (int i = 0; i < 3; ++i) {
        table.Insert(names[static_cast<std::size_t>(i)], i);
    }
    EXPECT_THAT(WalkValues(table), ElementsAre(2, 1, 0));

    HashTable<int> copy(table);

    EXPECT_EQ(copy.GetTableSize(), 7);
    EXPECT_THAT(WalkValues(copy), ElementsAre(0, 1, 2));
    EXPECT_THAT(WalkValues(table), ElementsAre(2, 1, 0));
}

TEST(HashTableTest, ResizeReversesAChainEvenToTheSameSize)
{
    const std::vector<String> names = CollidingNames(3, 7, 3);
    HashTable<int> table(7);
    for (int i = 0; i < 3; ++i) {
        table.Insert(names[static_cast<std::size_t>(i)], i);
    }

    table.Resize(7);
    EXPECT_THAT(WalkValues(table), ElementsAre(0, 1, 2));
    table.Resize(1);
    EXPECT_THAT(WalkValues(table), ElementsAre(2, 1, 0));
}

TEST(HashTableTest, ResizePushesOldBucketsInAscendingOrder)
{
    const std::vector<String> low = CollidingNames(2, 5, 1);
    const std::vector<String> high = CollidingNames(2, 5, 4);
    HashTable<int> table(5);
    table.Insert(high[0], 40);
    table.Insert(high[1], 41);
    table.Insert(low[0], 10);
    table.Insert(low[1], 11);

    table.Resize(1);

    EXPECT_THAT(WalkValues(table), ElementsAre(40, 41, 10, 11));
}

TEST(HashTableTest, ResizeMovesThePairsWithoutCopyingThem)
{
    HashTable<int> table(97);
    std::vector<int*> places;
    const std::vector<String> names = Names(500);
    for (int i = 0; i < 500; ++i) {
        places.push_back(table.Insert(names[static_cast<std::size_t>(i)], i));
    }

    table.Resize(1021);

    EXPECT_EQ(table.GetTableSize(), 1021);
    for (std::size_t i = 0; i < 500; ++i) {
        EXPECT_EQ(table.Find(names[i]), places[i]);
    }
}

TEST(HashTableTest, RemoveTakesThePairWithTheKey)
{
    const std::vector<String> names = CollidingNames(4, 7, 0);
    HashTable<int> table(7);
    for (int i = 0; i < 4; ++i) {
        table.Insert(names[static_cast<std::size_t>(i)], i);
    }

    table.Remove(names[3]); // head
    table.Remove(names[1]); // between
    table.Remove(String("absent"));

    EXPECT_THAT(WalkValues(table), ElementsAre(2, 0));
    EXPECT_EQ(table.Find(names[1]), nullptr);
}

TEST(HashTableTest, ClearRemovesEveryPairAndKeepsTheSize)
{
    HashTable<String> table(31);
    for (const String& name : Names(100)) {
        table.Insert(name, name);
    }

    table.Clear();

    EXPECT_EQ(table.GetTableSize(), 31);
    EXPECT_THAT(WalkValues(table), IsEmpty());
    table.Insert(String("again"), String("value"));
    EXPECT_EQ(*table.Find(String("again")), String("value"));
}

TEST(HashTableTest, ClearDestroysInWalkingOrder)
{
    static std::vector<int> sDestroyed;
    struct Value
    {
        explicit Value(int number) : mNumber(number) {}
        Value(const Value& other) : mNumber(other.mNumber), mbStored(true) {}
        ~Value()
        {
            if (mbStored) {
                sDestroyed.push_back(mNumber);
            }
        }
        int mNumber;
        bool mbStored = false;
    };
    HashTable<Value> table(5);
    const std::vector<String> names = Names(50);
    for (int i = 0; i < 50; ++i) {
        table.Insert(names[static_cast<std::size_t>(i)], Value(i));
    }
    std::vector<int> walked;
    for (const auto& node : table) {
        walked.push_back(node.GetValue().mNumber);
    }
    sDestroyed.clear();

    table.Clear();

    EXPECT_THAT(sDestroyed, ElementsAreArray(walked));
}

TEST(HashTableTest, AssignmentReplacesThePairsAndKeepsTheOwnBuckets)
{
    HashTable<int> source(31);
    source.Insert(String("a"), 1);
    source.Insert(String("b"), 2);
    HashTable<int> target(97);
    target.Insert(String("old"), 0);

    target = source;

    EXPECT_EQ(target.GetTableSize(), 97);
    EXPECT_EQ(target.Find(String("old")), nullptr);
    EXPECT_EQ(*target.Find(String("a")), 1);
    EXPECT_EQ(*target.Find(String("b")), 2);
    EXPECT_EQ(WalkValues(target).size(), 2u);
}

TEST(HashTableTest, AssignedToItselfStaysAsItIs)
{
    const std::vector<String> names = CollidingNames(2, 7, 3);
    HashTable<int> table(7);
    table.Insert(names[0], 0);
    table.Insert(names[1], 1);
    HashTable<int>& same = table;

    table = same;

    EXPECT_THAT(WalkValues(table), ElementsAre(1, 0));
}

TEST(HashTableTest, ABucketCountBelowOneCountsAsOne)
{
    for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
        HashTable<int> table(size);
        EXPECT_EQ(table.GetTableSize(), 1);
        table.Insert(String("a"), 1);
        table.Resize(5);
        table.Resize(size);
        EXPECT_EQ(table.GetTableSize(), 1);
        EXPECT_EQ(*table.Find(String("a")), 1);
    }
}

TEST(HashTableTest, RefusesMoreBucketsThanABlockCanHold)
{
    CapturedConsole console;
    HashTable<int> table(7);
    table.Insert(String("a"), 1);

    table.Resize(std::numeric_limits<int>::max());
    EXPECT_EQ(table.GetTableSize(), 7);
    EXPECT_EQ(*table.Find(String("a")), 1);
    EXPECT_EQ(HashTable<int>(std::numeric_limits<int>::max()).GetTableSize(), 1);
    EXPECT_THAT(console.TakeErrors(),
                HasSubstr("Failed to allocate 2147483647 hash table buckets - too many"));
}

TEST(HashTableTest, StaysAsItIsWhenMemoryRunsOut)
{
    CapturedConsole console;
    HashTable<int> table(7);
    table.Insert(String("a"), 1);
    const String newKey("b");
    const String oldKey("a");
    HashTable<int> target(7);
    target.Insert(newKey, 3);
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_HASHTABLE; });

    EXPECT_EQ(table.Insert(newKey, 2), nullptr);
    EXPECT_EQ(table.Insert(oldKey, 2), nullptr);
    table.Resize(31);
    target = table;
    HashTable<int> without(7);
    EXPECT_EQ(without.Insert(newKey, 1), nullptr);
    EXPECT_EQ(without.Find(newKey), nullptr);
    without.Remove(newKey);
    Memory::SetFailureHook(nullptr);

    EXPECT_EQ(table.GetTableSize(), 7);
    EXPECT_THAT(WalkValues(table), ElementsAre(1));
    EXPECT_THAT(WalkValues(target), ElementsAre(3));
    EXPECT_NE(without.Insert(newKey, 1), nullptr);
    EXPECT_EQ(*without.Find(newKey), 1);
}

TEST(HashTableTest, KeyAndValueOfTheReplacedPairAreGoodArguments)
{
    HashTable<std::string> table(1);
    table.Insert(String::Format("key %d", 1), "a text too long for the short form");

    table.Insert(table.begin()->GetKey(), table.begin()->GetValue());
    EXPECT_EQ(table.begin()->GetKey(), String("key 1"));
    EXPECT_EQ(table.begin()->GetValue(), "a text too long for the short form");

    table.Remove(table.begin()->GetKey());
    EXPECT_TRUE(table.begin() == table.end());
}

TEST(HashTableTest, ReplacingAnObjectByItselfKeepsItAlive)
{
    Guest::sDestroyed = 0;
    HashTable<Ptr<Guest>> table(1);
    Guest* pGuest = new Guest;
    table.Insert(String("guest"), pGuest);

    table.Insert(table.begin()->GetKey(), *table.Find(String("guest")));

    EXPECT_EQ(Guest::sDestroyed, 0);
    EXPECT_EQ(pGuest->mReferenceCount, 1);
}

TEST(HashTableTest, AReplacedObjectFindsItsSuccessorAndMayChangeTheTable)
{
    HashTable<Ptr<Guest>> table(1);
    Guest* pOld = new Guest(&table);
    pOld->mKey = String("guest");
    pOld->mRemoves = String("other");
    pOld->mInserts = String("late");
    table.Insert(String("other"), new Guest);
    table.Insert(String("guest"), pOld);
    Guest* pNew = new Guest;

    Ptr<Guest>* pStored = table.Insert(String("guest"), pNew);

    EXPECT_EQ(*pStored, pNew);
    EXPECT_FALSE(Guest::sSawItsKey);
    EXPECT_EQ(table.Find(String("other")), nullptr);
    EXPECT_NE(table.Find(String("late")), nullptr);
}

TEST(HashTableTest, InsertAnswersNullWhenTheReplacedObjectRemovesTheNewPair)
{
    HashTable<Ptr<Guest>> table(1);
    Guest* pOld = new Guest(&table);
    pOld->mRemoves = String("guest");
    pOld->mInserts = String("late");
    table.Insert(String("guest"), pOld);

    EXPECT_EQ(table.Insert(String("guest"), new Guest), nullptr);
    EXPECT_EQ(table.Find(String("guest")), nullptr);
}

TEST(HashTableTest, RemovedAndClearedObjectsMayUseTheTableWhileTheyAreDestroyed)
{
    for (const bool bClear : {false, true}) {
        Guest::sDestroyed = 0;
        HashTable<Ptr<Guest>> table(1);
        Guest* pGuest = new Guest(&table);
        pGuest->mKey = String("guest");
        pGuest->mRemoves = String("other");
        pGuest->mInserts = String("late");
        table.Insert(String("other"), new Guest);
        table.Insert(String("guest"), pGuest);

        if (bClear) {
            table.Clear();
        } else {
            table.Remove(String("guest"));
        }

        EXPECT_EQ(Guest::sDestroyed, 2);
        EXPECT_EQ(WalkValues(table).size(), 1u);
        EXPECT_NE(table.Find(String("late")), nullptr);
    }
}

TEST(HashTableTest, AnObjectThatInsertsWhileTheTableIsDestroyedLeavesNothingBehind)
{
    Guest::sDestroyed = 0;
    {
        HashTable<Ptr<Guest>> table(7);
        Guest* pGuest = new Guest(&table);
        pGuest->mInserts = String("late");
        table.Insert(String("guest"), pGuest);
    }
    EXPECT_EQ(Guest::sDestroyed, 2);
}

TEST(HashTableTest, TheProtectedStepsWorkOnOneBucket)
{
    OpenTable table(1);
    table.Insert(String("a"), 1);
    EXPECT_EQ(table.FindNode(String("a"), 0)->GetValue(), 1);
    EXPECT_EQ(table.FindNode(String("b"), 0), nullptr);
    table.RemoveNode(String("b"), 0);
    table.RemoveNode(String("a"), 0);
    EXPECT_TRUE(table.begin() == table.end());
    table.DeInitTable();
    EXPECT_TRUE(table.InitTable(3));
    EXPECT_EQ(table.GetTableSize(), 3);
}

// A chain search per operation would take some 10^11 steps here.
TEST(HashTableTest, HundredsOfThousandsOfNamesInFewBucketsCostConstantTimeEach)
{
    constexpr int COUNT = 300000;
    const std::vector<String> names = Names(COUNT);
    for (const int tableSize : {97, 1}) {
        HashTable<int> table(tableSize);
        for (int i = 0; i < COUNT; ++i) {
            table.Insert(names[static_cast<std::size_t>(i)], i);
        }
        for (int i = 0; i < COUNT; ++i) {
            ASSERT_EQ(*table.Find(names[static_cast<std::size_t>(i)]), i);
        }
        for (int i = 0; i < COUNT; i += 2) {
            table.Remove(names[static_cast<std::size_t>(i)]);
        }
        HashTable<int> copy(table);
        copy.Resize(3);
        int count = 0;
        for (auto& node : copy) {
            ASSERT_EQ(node.GetValue() % 2, 1);
            ++count;
        }
        EXPECT_EQ(count, COUNT / 2);
        for (int i = COUNT - 1; i >= 0; --i) {
            copy.Remove(names[static_cast<std::size_t>(i)]);
        }
        EXPECT_TRUE(copy.begin() == copy.end());
    }
}

TEST(HashTableTest, AnIndexedChainKeepsTheOrderOfAPlainOne)
{
    constexpr std::size_t COUNT = 200;
    const std::vector<String> names = Names(COUNT);
    HashTable<int> table(1);
    std::vector<int> expected; // the chain, front first
    unsigned random = 1;
    for (int step = 0; step < 5000; ++step) {
        random = random * 1664525u + 1013904223u;
        const std::size_t i = (random >> 8) % COUNT;
        const int value = static_cast<int>(i);
        std::erase(expected, value);
        if ((random >> 24) % 3 != 0) {
            expected.insert(expected.begin(), value);
            ASSERT_EQ(*table.Insert(names[i], value), value);
        } else {
            table.Remove(names[i]);
        }
        if (step == 2500) {
            std::reverse(expected.begin(), expected.end());
            table.Resize(1);
        }
    }
    EXPECT_THAT(WalkValues(table), ElementsAreArray(expected));
    for (std::size_t i = 0; i < COUNT; ++i) {
        const bool bStored =
            std::find(expected.begin(), expected.end(), static_cast<int>(i)) != expected.end();
        EXPECT_EQ(table.Find(names[i]) != nullptr, bStored);
    }
}

TEST(HashTableTest, TheIndexOfLongChainsTakesNothingFromTheLibraryAllocator)
{
    const std::vector<String> names = Names(1000);
    const std::int64_t blocks = Memory::GetTotalBlocksAllocated();
    HashTable<int> table(1);

    for (const String& name : names) {
        table.Insert(name, 0);
    }

    EXPECT_EQ(Memory::GetTotalBlocksAllocated(), blocks + 1 + 1000);
}
