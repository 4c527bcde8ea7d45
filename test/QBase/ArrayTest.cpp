#include "QBase/Array.h"

#include "QBase/String.h"
#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>
#include <vector>

using namespace QBase;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

Array<int> ArrayOf(std::initializer_list<int> values)
{
    Array<int> array;
    for (int value : values) {
        array.Insert(value);
    }
    return array;
}

// Writes down how it is copied and destroyed. Has no move of its own.
struct Logged
{
    explicit Logged(int number = 0) : mNumber(number) {}
    Logged(const Logged& other) : mNumber(other.mNumber) { Log("copy"); }
    Logged& operator=(const Logged&) = default;
    ~Logged() { Log("destroy"); }
    bool operator==(const Logged& other) const { return mNumber == other.mNumber; }

    void Log(const char* pWhat) const { sLog.push_back(std::string(pWhat) + " " + std::to_string(mNumber)); }

    static inline std::vector<std::string> sLog;
    int mNumber;
};

// A reference-counted object whose end changes the array it was in.
struct Meddler
{
    explicit Meddler(Array<Ptr<Meddler>>* pArray = nullptr) : mpArray(pArray) {}
    ~Meddler()
    {
        if (mpArray) {
            mSizesSeen.push_back(mpArray->GetSize());
            for (int i = 0; i < mInsertions; ++i) {
                mpArray->Insert(new Meddler);
            }
            if (mbRemoveFirst && mpArray->GetSize() > 0) {
                mpArray->RemoveAt(0);
            }
        }
    }
    static void AddReference(Meddler* pObject) { ++pObject->mReferenceCount; }
    static void DropReference(Meddler* pObject)
    {
        if (--pObject->mReferenceCount == 0) {
            delete pObject;
        }
    }

    static inline std::vector<int> mSizesSeen;
    Array<Ptr<Meddler>>* mpArray;
    int mInsertions = 0;
    bool mbRemoveFirst = false;
    int mReferenceCount = 0;
};

template <typename T>
void ExpectInOrder(const Array<T>& array)
{
    EXPECT_GE(array.GetSize(), 0);
    EXPECT_LE(array.GetSize(), array.GetCapacity());
}

} // namespace

TEST(ArrayTest, IsLaidOutAsSizeCapacityAndData)
{
    Array<int> array = ArrayOf({1, 2, 3});
    std::int32_t words[2];
    std::memcpy(words, static_cast<void*>(&array), sizeof(words));
    EXPECT_EQ(words[0], 3);
    EXPECT_EQ(words[1], 8);
    EXPECT_EQ(sizeof(array), 2 * sizeof(std::int32_t) + sizeof(int*));
}

TEST(ArrayTest, StartsEmptyWithRoomForEight)
{
    const std::int64_t blocks = Memory::GetBlocksAllocated(ALLOC_UNKNOWN);
    const std::int64_t bytes = Memory::GetBytesAllocated(ALLOC_UNKNOWN);

    Array<int> array;

    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetCapacity(), 8);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_UNKNOWN), blocks + 1);
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_UNKNOWN), bytes + 8 * std::int64_t(sizeof(int)));
}

TEST(ArrayTest, TheNinthInsertRaisesTheCapacityToSixteenAndTheSeventeenthToThirtyTwo)
{
    Array<int> array;
    for (int i = 1; i <= 17; ++i) {
        EXPECT_EQ(array.Insert(i), i);
        EXPECT_EQ(array.GetCapacity(), i <= 8 ? 8 : i <= 16 ? 16 : 32);
    }
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(array[i], i + 1);
    }
}

TEST(ArrayTest, InsertAnswersTheNewLastElement)
{
    Array<int> array = ArrayOf({1});

    int& last = array.Insert(2);

    EXPECT_EQ(&last, &array[1]);
}

TEST(ArrayTest, InsertAtTheSizeAppends)
{
    Array<int> array = ArrayOf({1, 2});

    array.InsertAt(2, 3);

    EXPECT_THAT(array, ElementsAre(1, 2, 3));
}

TEST(ArrayTest, InsertAtAnswersTheLastElementAndNotTheInsertedOne)
{
    Array<int> array = ArrayOf({1, 2});

    int& answer = array.InsertAt(0, 7);

    EXPECT_EQ(&answer, &array[2]);
    EXPECT_EQ(answer, 2);
    EXPECT_THAT(array, ElementsAre(7, 1, 2));
}

TEST(ArrayTest, InsertAtGrowsAFullArray)
{
    Array<int> array = ArrayOf({0, 1, 2, 3, 4, 5, 6, 7});

    array.InsertAt(4, 99);

    EXPECT_EQ(array.GetCapacity(), 16);
    EXPECT_THAT(array, ElementsAre(0, 1, 2, 3, 99, 4, 5, 6, 7));
}

TEST(ArrayTest, RemoveAtMovesTheLaterElementsDownAndKeepsTheStorage)
{
    Array<int> array = ArrayOf({1, 2, 3, 4});

    array.RemoveAt(1);

    EXPECT_THAT(array, ElementsAre(1, 3, 4));
    EXPECT_EQ(array.GetCapacity(), 8);
}

TEST(ArrayTest, FindAnswersTheLowestIndexOfTheSameObjectAndRemoveTakesOnlyThatOne)
{
    Ptr<Meddler> pTwice = new Meddler;
    Ptr<Meddler> pOther = new Meddler;
    Array<Ptr<Meddler>> array;
    array.Insert(pOther);
    array.Insert(pTwice);
    array.Insert(pOther);
    array.Insert(pTwice);

    EXPECT_EQ(array.Find(pTwice), 1);
    array.Remove(pTwice);

    EXPECT_THAT(array, ElementsAre(pOther, pOther, pTwice));
}

TEST(ArrayTest, FindAnswersMinusOneAndRemoveDoesNothingForAnAbsentValue)
{
    Array<int> array = ArrayOf({1, 2});

    EXPECT_EQ(array.Find(3), -1);
    array.Remove(3);

    EXPECT_THAT(array, ElementsAre(1, 2));
}

TEST(ArrayTest, LookingForAnObjectWithoutAReferenceLeavesItAlive)
{
    Meddler unreferenced;
    Array<Ptr<Meddler>> array;
    array.Insert(new Meddler);

    EXPECT_EQ(array.Find(&unreferenced), -1);
    array.Remove(&unreferenced);

    EXPECT_EQ(unreferenced.mReferenceCount, 0);
}

TEST(ArrayTest, ClearDestroysAllElementsAndKeepsTheCapacity)
{
    Array<String> array;
    for (int i = 0; i < 20; ++i) {
        array.Insert(String::Format("element %d", i));
    }

    array.Clear();

    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetCapacity(), 32);
    array.Insert(String("again"));
    EXPECT_EQ(array[0], String("again"));
}

TEST(ArrayTest, ExpandDoublesTheCapacity)
{
    Array<int> array = ArrayOf({1, 2});

    array.Expand();

    EXPECT_EQ(array.GetCapacity(), 16);
    EXPECT_THAT(array, ElementsAre(1, 2));
}

TEST(ArrayTest, GrowthCopiesAndDestroysOneElementAfterTheOther)
{
    Array<Logged> array;
    array.Insert(Logged(1));
    array.Insert(Logged(2));
    Logged::sLog.clear();

    array.Expand();

    EXPECT_THAT(Logged::sLog, ElementsAre("copy 1", "destroy 1", "copy 2", "destroy 2"));
}

TEST(ArrayTest, InsertAtMovesFromTheEndDownAndRemoveAtInAscendingOrder)
{
    Array<Logged> array;
    array.Insert(Logged(1));
    array.Insert(Logged(2));
    const Logged inserted(9);
    Logged::sLog.clear();

    array.InsertAt(0, inserted);
    EXPECT_THAT(Logged::sLog,
                ElementsAre("copy 9", "copy 2", "destroy 2", "copy 1", "destroy 1", "copy 9", "destroy 9"));

    Logged::sLog.clear();
    array.RemoveAt(0);
    EXPECT_THAT(Logged::sLog, ElementsAre("copy 9", "destroy 9", "copy 1", "destroy 1", "copy 2", "destroy 2",
                                          "destroy 9"));
}

TEST(ArrayTest, CopyTakesTheCapacityAndNotTheSize)
{
    Array<int> array;
    for (int i = 0; i < 17; ++i) {
        array.Insert(i);
    }
    array.Clear();
    array.Insert(5);

    Array<int> copy(array);

    EXPECT_EQ(copy.GetCapacity(), 32);
    EXPECT_THAT(copy, ElementsAre(5));
}

TEST(ArrayTest, AssignmentReplacesTheContents)
{
    Array<String> target;
    target.Insert(String("old"));
    Array<String> source;
    for (int i = 0; i < 20; ++i) {
        source.Insert(String::Format("%d", i));
    }

    target = source;

    EXPECT_TRUE(target == source);
    EXPECT_EQ(target.GetCapacity(), 32);
    target = Array<String>();
    EXPECT_EQ(target.GetSize(), 0);
}

TEST(ArrayTest, AssignmentNeverShrinks)
{
    Array<int> target;
    for (int i = 0; i < 20; ++i) {
        target.Insert(i);
    }

    const Array<int> source = ArrayOf({1});
    target = source;

    EXPECT_THAT(target, ElementsAre(1));
    EXPECT_EQ(target.GetCapacity(), 32);
}

TEST(ArrayTest, AssignedToItselfStaysAsItIs)
{
    Array<int> array = ArrayOf({1, 2});
    Array<int>& same = array;

    array = same;

    EXPECT_THAT(array, ElementsAre(1, 2));
}

TEST(ArrayTest, AssignmentFromAnArrayWithinAnElementIsSafe)
{
    struct Tree
    {
        Array<Tree> mBranches;
    };
    Array<Tree> trees;
    trees.Insert(Tree());
    trees[0].mBranches.Insert(Tree());
    trees[0].mBranches.Insert(Tree());

    trees = trees[0].mBranches;

    EXPECT_EQ(trees.GetSize(), 2);
    EXPECT_EQ(trees[0].mBranches.GetSize(), 0);
}

TEST(ArrayTest, MovingLeavesAnEmptyArrayWithStorage)
{
    Array<int> source = ArrayOf({1, 2});

    Array<int> target(std::move(source));

    EXPECT_THAT(target, ElementsAre(1, 2));
    EXPECT_EQ(source.GetSize(), 0);
    EXPECT_EQ(source.GetCapacity(), 8);
}

TEST(ArrayTest, EqualElementsInDifferentCapacitiesCompareEqual)
{
    Array<int> a = ArrayOf({1, 2});
    Array<int> b = ArrayOf({1, 2});
    b.Expand();

    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    b[1] = 3;
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a == ArrayOf({1}));
}

TEST(ArrayTest, ElementsOfTheSameArrayAreGoodArguments)
{
    Array<std::string> array;
    for (int i = 0; i < 8; ++i) {
        array.Insert("a text too long for the short form " + std::to_string(i));
    }

    array.Insert(array[0]); // grows
    EXPECT_EQ(array[8], array[0]);
    array.InsertAt(1, array[7]); // moves
    EXPECT_EQ(array[1], "a text too long for the short form 7");
    EXPECT_EQ(array[8], "a text too long for the short form 7");
    array.Remove(array[2]);
    EXPECT_EQ(array[2], "a text too long for the short form 2");
    EXPECT_EQ(array.GetSize(), 9);
}

TEST(ArrayTest, ARemovedObjectMayUseTheArrayWhileItIsDestroyed)
{
    Meddler::mSizesSeen.clear();
    Array<Ptr<Meddler>> array;
    Meddler* pMeddler = new Meddler(&array);
    pMeddler->mInsertions = 20;
    pMeddler->mbRemoveFirst = true;
    Ptr<Meddler> pStays = new Meddler;
    array.Insert(new Meddler);
    array.Insert(pMeddler);
    array.Insert(pStays);

    array.RemoveAt(1);

    EXPECT_THAT(Meddler::mSizesSeen, ElementsAre(2));
    EXPECT_EQ(array.GetSize(), 21);
    EXPECT_EQ(array[0], pStays);
}

TEST(ArrayTest, AnObjectMayInsertIntoTheArrayWhileItIsCleared)
{
    Meddler::mSizesSeen.clear();
    Array<Ptr<Meddler>> array;
    for (int i = 0; i < 3; ++i) {
        Meddler* pMeddler = new Meddler(&array);
        pMeddler->mInsertions = 2;
        array.Insert(pMeddler);
    }

    array.Clear();

    EXPECT_THAT(Meddler::mSizesSeen, ElementsAre(0, 2, 4));
    EXPECT_EQ(array.GetSize(), 6);
    EXPECT_EQ(array.GetCapacity(), 8);
    ExpectInOrder(array);
}

TEST(ArrayTest, InsertionsDuringClearThatNeedMoreRoomKeepIt)
{
    Array<Ptr<Meddler>> array;
    Meddler* pMeddler = new Meddler(&array);
    pMeddler->mInsertions = 9;
    array.Insert(pMeddler);

    array.Clear();

    EXPECT_EQ(array.GetSize(), 9);
    EXPECT_EQ(array.GetCapacity(), 16);
}

TEST(ArrayTest, AnObjectThatInsertsWhileTheArrayIsDestroyedLeavesNothingBehind)
{
    Meddler::mSizesSeen.clear();
    {
        Array<Ptr<Meddler>> array;
        Meddler* pMeddler = new Meddler(&array);
        pMeddler->mInsertions = 3;
        array.Insert(pMeddler);
    }
    EXPECT_THAT(Meddler::mSizesSeen, ElementsAre(0));
}

TEST(ArrayTest, MisusesBehindAResumedAssertionChangeNothing)
{
    CapturedConsole console;
    ResumedAssertions resumed;
    Array<String> array;
    array.Insert(String("only"));
    const Array<String>& constArray = array;

    EXPECT_EQ(array.GetAt(1), String::Null);
    EXPECT_EQ(array[-1], String::Null);
    EXPECT_EQ(constArray[1], String::Null);
    EXPECT_EQ(constArray.GetAt(std::numeric_limits<int>::min()), String::Null);
    array.RemoveAt(1);
    array.RemoveAt(-1);
    EXPECT_EQ(array.InsertAt(2, String("new")), String::Null);
    EXPECT_EQ(array.InsertAt(-1, String("new")), String::Null);

    EXPECT_EQ(resumed.GetCount(), 8);
    EXPECT_THAT(array, ElementsAre(String("only")));
}

TEST(ArrayTest, WhatIsWrittenBehindAResumedAssertionIsForgotten)
{
    CapturedConsole console;
    ResumedAssertions resumed;
    Array<int> array;

    array[3] = 7;

    EXPECT_EQ(array[3], 0);
    EXPECT_EQ(array.GetSize(), 0);
}

TEST(ArrayTest, AssertionsNameTheHeaderAndTheCondition)
{
    CapturedConsole console;
    {
        ResumedAssertions resumed;
        Array<int> array;
        array.RemoveAt(0);
        array.InsertAt(1, 5);
    }
    const std::string errors = console.TakeErrors();
    EXPECT_THAT(errors, HasSubstr("ERROR: QBase/Array (line "));
    EXPECT_THAT(errors, HasSubstr("): ASSERT( index >= 0 && index < mSize )\n"));
    EXPECT_THAT(errors, HasSubstr("): ASSERT( index >= 0 && index <= mSize )\n"));
}

TEST(ArrayTest, StaysAsItIsWhenMemoryRunsOut)
{
    CapturedConsole console;
    Array<int> array = ArrayOf({0, 1, 2, 3, 4, 5, 6, 7});
    const Array<int> same = array;
    const Array<int> large = [] {
        Array<int> filled;
        for (int i = 0; i < 100; ++i) {
            filled.Insert(i);
        }
        return filled;
    }();
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });

    EXPECT_EQ(array.Insert(8), 0);
    array.InsertAt(0, 8);
    array.Expand();
    array = large;
    Array<int> empty;
    Array<int> copy(large);
    Memory::SetFailureHook(nullptr);

    EXPECT_TRUE(array == same);
    EXPECT_EQ(array.GetCapacity(), 8);
    EXPECT_EQ(copy.GetSize(), 0);
    EXPECT_EQ(empty.GetCapacity(), 0);
    empty.Insert(1);
    EXPECT_EQ(empty.GetCapacity(), 8);
    copy = large;
    EXPECT_TRUE(copy == large);
}

TEST(ArrayTest, RefusesAStorageLargerThanABlockCanBe)
{
    struct Huge
    {
        char mBytes[1u << 29];
    };
    CapturedConsole console;

    Array<Huge> array; // 8 of these would be 4 GiB
    array.Expand();

    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_THAT(console.TakeErrors(),
                HasSubstr("Failed to allocate 8 array elements of 536870912 bytes - too many\n"));
}

TEST(ArrayDeathTest, AnIndexOutsideTheArrayAsserts)
{
    Array<int> array = ArrayOf({1});
    EXPECT_ASSERTION(array.GetAt(1), "index >= 0 && index < mSize");
    EXPECT_ASSERTION(array[-1], "index >= 0 && index < mSize");
    EXPECT_ASSERTION(array.RemoveAt(1), "index >= 0 && index < mSize");
    EXPECT_ASSERTION(array.InsertAt(2, 5), "index >= 0 && index <= mSize");
    EXPECT_ASSERTION(array.InsertAt(-1, 5), "index >= 0 && index <= mSize");
}
