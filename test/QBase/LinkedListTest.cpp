#include "QBase/LinkedList.h"

#include "QBase/String.h"
#include "Support/CapturedConsole.h"
#include "Support/SmallStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

using namespace QBase;
using testing::ElementsAre;

namespace
{

template <typename T>
std::vector<T> Walk(const LinkedList<T>& list)
{
    return std::vector<T>(list.begin(), list.end());
}

LinkedList<int> ListOf(std::initializer_list<int> values)
{
    LinkedList<int> list;
    for (int value : values) {
        list.Add(value);
    }
    return list;
}

struct Visitor
{
    explicit Visitor(int number) : mNumber(number) {}
    ~Visitor()
    {
        sDestroyed.push_back(mNumber);
        if (mpList) {
            mpList->Remove(mpRemoves);
            mpList->Insert(new Visitor(100 + mNumber));
        }
    }
    static void AddReference(Visitor* pObject) { ++pObject->mReferenceCount; }
    static void DropReference(Visitor* pObject)
    {
        if (--pObject->mReferenceCount == 0) {
            delete pObject;
        }
    }

    static inline std::vector<int> sDestroyed;
    int mNumber;
    LinkedList<Ptr<Visitor>>* mpList = nullptr;
    Visitor* mpRemoves = nullptr;
    int mReferenceCount = 0;
};

} // namespace

TEST(LinkedListTest, StartsEmpty)
{
    LinkedList<int> list;
    EXPECT_EQ(list.GetSize(), 0);
    EXPECT_TRUE(list.begin() == list.end());
}

TEST(LinkedListTest, IsLaidOutAsHeadAndSize)
{
    LinkedList<int> list = ListOf({1, 2});
    void* pHead = nullptr;
    std::int32_t size = 0;
    std::memcpy(&pHead, static_cast<void*>(&list), sizeof(pHead));
    std::memcpy(&size, reinterpret_cast<char*>(&list) + sizeof(pHead), sizeof(size));
    EXPECT_EQ(pHead, static_cast<void*>(&*list.begin()));
    EXPECT_EQ(size, 2);
}

TEST(LinkedListTest, InsertGoesToTheFrontAndAddToTheBack)
{
    LinkedList<int> list;
    list.Add(2);
    list.Insert(1);
    list.Add(3);

    EXPECT_THAT(Walk(list), ElementsAre(1, 2, 3));
    EXPECT_EQ(list.GetSize(), 3);
}

TEST(LinkedListTest, RemoveTakesTheFirstEqualElementOnly)
{
    LinkedList<String> list;
    for (const char* pText : {"a", "b", "c", "b"}) {
        list.Add(String(pText));
    }

    EXPECT_TRUE(list.Remove(String("b")));

    EXPECT_THAT(Walk(list), ElementsAre(String("a"), String("c"), String("b")));
    EXPECT_EQ(list.GetSize(), 3);
}

TEST(LinkedListTest, RemoveFindsHeadAndTail)
{
    LinkedList<int> list = ListOf({1, 2, 3});
    EXPECT_TRUE(list.Remove(1));
    EXPECT_TRUE(list.Remove(3));
    EXPECT_THAT(Walk(list), ElementsAre(2));
    list.Add(4);
    EXPECT_THAT(Walk(list), ElementsAre(2, 4));
}

TEST(LinkedListTest, RemoveOfAnAbsentValueAnswersFalseAndKeepsTheSize)
{
    LinkedList<int> list = ListOf({1, 2});
    EXPECT_FALSE(list.Remove(3));
    EXPECT_EQ(list.GetSize(), 2);
}

TEST(LinkedListTest, LookingForAnObjectWithoutAReferenceLeavesItAlive)
{
    Visitor unreferenced(1);
    LinkedList<Ptr<Visitor>> list;
    list.Add(new Visitor(2));

    EXPECT_FALSE(list.Remove(&unreferenced));

    EXPECT_EQ(unreferenced.mReferenceCount, 0);
}

TEST(LinkedListTest, AnElementOfTheListIsAGoodArgument)
{
    LinkedList<std::string> list;
    list.Add("a text too long for the short form");

    list.Add(*list.begin());
    list.Insert(*list.begin());
    EXPECT_TRUE(list.Remove(*list.begin()));

    EXPECT_EQ(list.GetSize(), 2);
    EXPECT_EQ(*list.begin(), "a text too long for the short form");
}

TEST(LinkedListTest, ClearDestroysFrontToBack)
{
    Visitor::sDestroyed.clear();
    LinkedList<Ptr<Visitor>> list;
    for (int i = 1; i <= 3; ++i) {
        list.Add(new Visitor(i));
    }

    list.Clear();

    EXPECT_THAT(Visitor::sDestroyed, ElementsAre(1, 2, 3));
    EXPECT_EQ(list.GetSize(), 0);
    EXPECT_TRUE(list.begin() == list.end());
}

TEST(LinkedListTest, ARemovedObjectMayUseTheListWhileItIsDestroyed)
{
    LinkedList<Ptr<Visitor>> list;
    Visitor* pFirst = new Visitor(1);
    Visitor* pSecond = new Visitor(2);
    list.Add(pFirst);
    list.Add(pSecond);
    pFirst->mpList = &list;
    pFirst->mpRemoves = pSecond;

    EXPECT_TRUE(list.Remove(pFirst));

    ASSERT_EQ(list.GetSize(), 1);
    EXPECT_EQ((*list.begin())->mNumber, 101);
}

TEST(LinkedListTest, AnObjectMayUseTheListWhileItIsCleared)
{
    LinkedList<Ptr<Visitor>> list;
    Visitor* pFirst = new Visitor(1);
    list.Add(pFirst);
    list.Add(new Visitor(2));
    pFirst->mpList = &list;

    list.Clear();

    ASSERT_EQ(list.GetSize(), 1);
    EXPECT_EQ((*list.begin())->mNumber, 101);
}

TEST(LinkedListTest, AnObjectThatInsertsWhileTheListIsDestroyedLeavesNothingBehind)
{
    Visitor::sDestroyed.clear();
    {
        LinkedList<Ptr<Visitor>> list;
        Visitor* pFirst = new Visitor(1);
        list.Add(pFirst);
        list.Add(new Visitor(2));
        pFirst->mpList = &list;
    }
    EXPECT_THAT(Visitor::sDestroyed, ElementsAre(1, 2, 101));
}

TEST(LinkedListTest, AssignmentSharesTheNodes)
{
    LinkedList<int> a = ListOf({1, 2});
    LinkedList<int> b = ListOf({9});

    b = a;
    EXPECT_EQ(&*a.begin(), &*b.begin());
    EXPECT_EQ(b.GetSize(), 2);

    b.Add(3);
    EXPECT_THAT(Walk(a), ElementsAre(1, 2, 3));
    EXPECT_EQ(a.GetSize(), 2);
    EXPECT_EQ(b.GetSize(), 3);
}

TEST(LinkedListTest, ACopySharesTheNodesLikeAnAssignedList)
{
    LinkedList<int> a = ListOf({1});
    LinkedList<int> b(a);
    a.Add(2);
    b.Insert(0);
    EXPECT_THAT(Walk(a), ElementsAre(1, 2));
    EXPECT_THAT(Walk(b), ElementsAre(0, 1, 2));
    EXPECT_EQ(b.GetSize(), 2);
}

TEST(LinkedListTest, ClearingOneOfTwoSharersLeavesTheOtherWhole)
{
    LinkedList<String> a;
    a.Add(String("shared"));
    a.Add(String("nodes"));
    LinkedList<String> b;
    b = a;

    a.Clear();
    EXPECT_THAT(Walk(b), ElementsAre(String("shared"), String("nodes")));
    EXPECT_EQ(a.GetSize(), 0);
    b.Clear();
    EXPECT_TRUE(b.begin() == b.end());
}

TEST(LinkedListTest, SharersMayBeDestroyedInEitherOrder)
{
    for (const bool bSourceFirst : {true, false}) {
        auto pA = new LinkedList<String>;
        pA->Add(String("one"));
        pA->Add(String("two"));
        auto pB = new LinkedList<String>(*pA);
        pB->Insert(String("zero"));
        delete (bSourceFirst ? pA : pB);
        LinkedList<String>* pLeft = bSourceFirst ? pB : pA;
        EXPECT_EQ(Walk(*pLeft).size(), bSourceFirst ? 3u : 2u);
        delete pLeft;
    }
}

TEST(LinkedListTest, RemovingTheFirstNodeOfASharedListLeavesTheOthersWayOn)
{
    LinkedList<int> a = ListOf({1, 2, 3});
    LinkedList<int> b = a;

    EXPECT_TRUE(a.Remove(1));
    EXPECT_THAT(Walk(a), ElementsAre(2, 3));
    EXPECT_THAT(Walk(b), ElementsAre(1, 2, 3));

    EXPECT_TRUE(b.Remove(2)); // b's link passes it; a still starts there
    EXPECT_THAT(Walk(a), ElementsAre(2, 3));
    EXPECT_THAT(Walk(b), ElementsAre(1, 3));
}

TEST(LinkedListTest, AStaleSizeNeverFallsBelowZero)
{
    LinkedList<int> a = ListOf({1});
    LinkedList<int> b = a;
    a.Add(2);

    EXPECT_TRUE(b.Remove(2));
    EXPECT_TRUE(b.Remove(1));

    EXPECT_EQ(b.GetSize(), 0);
}

TEST(LinkedListTest, AssignedToItselfStaysAsItIs)
{
    LinkedList<int> list = ListOf({1, 2});
    LinkedList<int>& same = list;

    list = same;

    EXPECT_THAT(Walk(list), ElementsAre(1, 2));
    EXPECT_EQ(list.GetSize(), 2);
}

TEST(LinkedListTest, AMillionNodesAreReleasedOnASmallStack)
{
    RunOnSmallStack(256 * 1024, [] {
        LinkedList<int> list;
        for (int i = 0; i < 1000000; ++i) {
            list.Insert(i);
        }
        LinkedList<int> sharer = list;

        list.Clear();

        EXPECT_EQ(sharer.GetSize(), 1000000);
        EXPECT_EQ(*sharer.begin(), 999999);
    });
}

TEST(LinkedListTest, StaysAsItIsWhenMemoryRunsOut)
{
    CapturedConsole console;
    LinkedList<int> list = ListOf({1});
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });

    list.Insert(0);
    list.Add(2);
    Memory::SetFailureHook(nullptr);

    EXPECT_THAT(Walk(list), ElementsAre(1));
    EXPECT_EQ(list.GetSize(), 1);
}

TEST(LinkedListTest, InsertBehindPutsAnElementBehindAPlaceAndAnswersTheNewPlace)
{
    LinkedList<int> list = ListOf({1});

    LinkedList<int>::Iterator last = list.InsertBehind(list.begin(), 4);
    EXPECT_EQ(*last, 4);
    list.InsertBehind(list.begin(), 2);
    last = list.InsertBehind(last, *last); // an element of the list is a good argument
    list.Add(5);

    EXPECT_THAT(Walk(list), ElementsAre(1, 2, 4, 4, 5));
    EXPECT_EQ(list.GetSize(), 5);
    list.Clear();
    EXPECT_EQ(list.GetSize(), 0);
}

TEST(LinkedListTest, InsertBehindAnswersTheEndAndChangesNothingWhenMemoryRunsOut)
{
    CapturedConsole console;
    LinkedList<int> list = ListOf({1});
    Memory::SetFailureHook([](unsigned, AllocType) { return true; });

    EXPECT_EQ(list.InsertBehind(list.begin(), 2), list.end());
    Memory::SetFailureHook(nullptr);

    EXPECT_THAT(Walk(list), ElementsAre(1));
}
