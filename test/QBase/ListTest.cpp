#include "QBase/List.h"

#include "QBase/Function.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include "Support/CapturedMessages.h"
#include "Support/SmallStack.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QBase;
using testing::ElementsAre;

namespace
{

// A list that does more than its elements do.
class Choir : public List
{
    QBASE_OBJECT(Choir, List)

public:
    void Execute(const Value& value) override
    {
        mpSpoken->push_back("rise");
        List::Execute(value);
        mpSpoken->push_back("bow");
    }

    std::vector<std::string>* mpSpoken = nullptr;

protected:
    using List::List;
};

QBASE_IMPLEMENT(Test, Choir)

void Choir::Implement()
{}

struct ListTest : testing::Test
{
    void Fill(int count)
    {
        for (int i = 0; i < count; ++i) {
            mpList->Insert(Object::Construct(Value::Null));
        }
    }

    Ptr<Specimen> MakeSpeaker(const char* pName) { return Specimen::MakeSpeaker(pName, &mSpoken); }

    std::vector<std::string> mSpoken;
    Ptr<Object> mpObject = Object::Construct(Value::Null);
    Ptr<List> mpList = List::Construct(Value::Null);
    CapturedMessages mMessages;
};

} // namespace

TEST_F(ListTest, ANewListIsEmptyWithRoomForEight)
{
    EXPECT_EQ(mpList->GetSize(), 0);
    EXPECT_EQ(mpList->GetCapacity(), 8);
    EXPECT_EQ(Ptr<List>(List::Construct(Value(5)))->GetSize(), 0);
}

TEST_F(ListTest, NineObjectsTakeACapacityOfSixteen)
{
    Fill(8);
    EXPECT_EQ(mpList->GetCapacity(), 8);
    Fill(1);
    EXPECT_EQ(mpList->GetCapacity(), 16);
}

TEST_F(ListTest, InsertHoldsTheObjectAndClearLetsItGo)
{
    mpList->Insert(mpObject);
    mpList->Insert(mpObject);
    EXPECT_EQ(mpObject->GetReferenceCount(), 3);
    mpList->Clear();
    EXPECT_EQ(mpObject->GetReferenceCount(), 1);
    EXPECT_EQ(mpList->GetSize(), 0);
}

TEST_F(ListTest, InsertAtPutsTheObjectBeforeTheIndexAndTheSizeAppends)
{
    Fill(2);
    mpList->InsertAt(1, mpObject);
    EXPECT_EQ(mpList->GetAt(1), static_cast<Object*>(mpObject));
    mpList->InsertAt(3, mpObject);
    EXPECT_EQ(mpList->GetAt(3), static_cast<Object*>(mpObject));
    EXPECT_EQ(mpList->GetSize(), 4);
}

TEST_F(ListTest, InsertAtPastTheEndReportsAndLeavesTheListAlone)
{
    Fill(2);
    mpList->InsertAt(3, mpObject);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 50): Failed to insert object to index 3, list size is 2");
    mpList->InsertAt(-1, mpObject);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 50): Failed to insert object to index -1, list size is 2");
    EXPECT_EQ(mpList->GetSize(), 2);
    EXPECT_EQ(mpObject->GetReferenceCount(), 1);
}

TEST_F(ListTest, RemoveAtOutsideReportsAndLeavesTheListAlone)
{
    Fill(2);
    mpList->RemoveAt(2);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 67): Failed to remove object from index 2, list size is 2");
    mpList->RemoveAt(-1);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 67): Failed to remove object from index -1, list size is 2");
    EXPECT_EQ(mpList->GetSize(), 2);
}

TEST_F(ListTest, SetAtOutsideReportsAndLeavesTheListAlone)
{
    mpList->SetAt(0, mpObject);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 79): Failed to set object to index 0, list size is 0");
    mpList->SetAt(-2147483647 - 1, mpObject);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 79): Failed to set object to index -2147483648, list size is 0");
    EXPECT_EQ(mpObject->GetReferenceCount(), 1);
}

TEST_F(ListTest, GetAtOutsideReportsAndAnswersNull)
{
    EXPECT_EQ(mpList->GetAt(-1), nullptr);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 91): Failed to get object from index -1, list size is 0");
    EXPECT_EQ(mpList->GetAt(0), nullptr);
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 91): Failed to get object from index 0, list size is 0");
}

TEST_F(ListTest, RemoveAtMovesLaterElementsDown)
{
    Fill(1);
    mpList->Insert(mpObject);
    mpList->RemoveAt(0);
    EXPECT_EQ(mpList->GetSize(), 1);
    EXPECT_EQ(mpList->GetAt(0), static_cast<Object*>(mpObject));
}

TEST_F(ListTest, SetAtMovesTheReferenceToTheNewObject)
{
    Fill(1);
    const Ptr<Object> pOld = mpList->GetAt(0);
    mpList->SetAt(0, mpObject);
    EXPECT_EQ(pOld->GetReferenceCount(), 1);
    EXPECT_EQ(mpObject->GetReferenceCount(), 2);
    mpList->SetAt(0, mpObject);
    EXPECT_EQ(mpObject->GetReferenceCount(), 2);
}

TEST_F(ListTest, FindAnswersTheLowerIndexAndRemoveTakesOnlyThatOne)
{
    Fill(1);
    mpList->Insert(mpObject);
    mpList->Insert(mpObject);
    EXPECT_EQ(mpList->Find(mpObject), 1);
    mpList->Remove(mpObject);
    EXPECT_EQ(mpList->GetSize(), 2);
    EXPECT_EQ(mpList->Find(mpObject), 1);
    mpList->Remove(mpObject);
    mpList->Remove(mpObject); // silent
    EXPECT_EQ(mpList->Find(mpObject), -1);
    EXPECT_EQ(mpList->GetSize(), 1);
}

TEST_F(ListTest, NullElementsAreAllowed)
{
    mpList->Insert(nullptr);
    mpList->InsertAt(0, mpObject);
    EXPECT_EQ(mpList->GetAt(1), nullptr);
    EXPECT_EQ(mpList->Find(nullptr), 1);
    mpList->Remove(nullptr);
    EXPECT_EQ(mpList->GetSize(), 1);
}

TEST_F(ListTest, ExecuteReachesEveryElementByIndex)
{
    mpList->Insert(MakeSpeaker("first"));
    mpList->Insert(nullptr);
    mpList->Insert(MakeSpeaker("second"));
    mpList->Execute("!");
    EXPECT_THAT(mSpoken, ElementsAre("first!", "second!"));
}

TEST_F(ListTest, AListThatContainsItselfExecutesOnce)
{
    const Ptr<List> pOuter = List::Construct(Value::Null);
    pOuter->Insert(mpList);
    mpList->Insert(MakeSpeaker("once"));
    mpList->Insert(pOuter);
    mpList->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("once"));
    mpList->Clear();
}

TEST_F(ListTest, AListWithinAListExecutesInItsPlace)
{
    const Ptr<List> pInner = List::Construct(Value::Null);
    const Ptr<Table> pInnermost = Table::Construct(Value::Null);
    pInnermost->Insert("name", MakeSpeaker("second"));
    pInner->Insert(pInnermost);
    pInner->Insert(MakeSpeaker("third"));
    pInner->Insert(List::Construct(Value::Null));
    mpList->Insert(MakeSpeaker("first"));
    mpList->Insert(pInner);
    mpList->Insert(MakeSpeaker("fourth"));
    mpList->Insert(pInner);
    mpList->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("first", "second", "third", "fourth", "second", "third"));
}

TEST_F(ListTest, AListOfAnotherClassWithinAListDoesItsOwnWork)
{
    const Ptr<Choir> pChoir = Choir::Construct(Value::Null);
    pChoir->mpSpoken = &mSpoken;
    pChoir->Insert(MakeSpeaker("sing"));
    pChoir->Insert(mpList); // is executing already
    mpList->Insert(pChoir);
    mpList->Insert(MakeSpeaker("applaud"));
    mpList->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("rise", "sing", "bow", "applaud"));
    mpList->Clear();
}

TEST_F(ListTest, AMillionListsWithinEachOtherExecuteOnASmallStack)
{
    Ptr<Object> pOutermost = MakeSpeaker("deep");
    for (int i = 0; i < 1000000; ++i) {
        const Ptr<List> pList = List::Construct(Value::Null);
        pList->Insert(pOutermost);
        pOutermost = pList;
    }
    RunOnSmallStack(256 * 1024, [&] { pOutermost->Execute(Value::Null); });
    EXPECT_THAT(mSpoken, ElementsAre("deep"));
}

TEST_F(ListTest, EveryElementIsGivenTheSameValue)
{
    Value value = "!";
    Specimen* const pMeddler = Specimen::Make();
    pMeddler->mOnExecute = [&](const Value&) { value = 5; };
    mpList->Insert(pMeddler);
    mpList->Insert(MakeSpeaker("next"));
    mpList->Execute(value);
    EXPECT_THAT(mSpoken, ElementsAre("next!"));
}

TEST_F(ListTest, AnElementMayExecuteItsListAndOthers)
{
    const Ptr<List> pOther = List::Construct(Value::Null);
    pOther->Insert(MakeSpeaker("other"));
    Specimen* const pCaller = Specimen::Make();
    pCaller->mOnExecute = [&](const Value& given) {
        mpList->Execute(given); // is executing already
        pOther->Execute(given);
        mSpoken.push_back("caller");
    };
    pOther->Insert(mpList);
    mpList->Insert(pCaller);
    mpList->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("other", "caller"));
    pOther->Clear();
}

TEST_F(ListTest, AnElementMayRemoveItselfWhileTheListExecutes)
{
    Specimen* const pRemover = Specimen::Make();
    pRemover->mOnExecute = [&](const Value&) {
        mSpoken.push_back("remover");
        mpList->RemoveAt(0);
    };
    mpList->Insert(pRemover);
    mpList->Insert(MakeSpeaker("next"));
    mpList->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("remover", "next"));
    EXPECT_EQ(mpList->GetSize(), 1);
}

TEST_F(ListTest, AfterAnElementThrewTheListExecutesAgain)
{
    Specimen* const pThrower = Specimen::Make();
    pThrower->mOnExecute = [](const Value&) { throw 7; };
    mpList->Insert(pThrower);
    EXPECT_THROW(mpList->Execute(Value::Null), int);
    EXPECT_THROW(mpList->Execute(Value::Null), int);
}

TEST_F(ListTest, AnElementThatGoesMayChangeItsList)
{
    Specimen* const pMeddler = Specimen::Make();
    pMeddler->mOnDestroy = [&](Specimen*) {
        mpList->Insert(nullptr);
        mpList->Remove(mpObject);
    };
    mpList->Insert(pMeddler);
    mpList->Insert(mpObject);
    mpList->RemoveAt(0);
    EXPECT_EQ(mpList->GetSize(), 1);
    EXPECT_EQ(mpList->GetAt(0), nullptr);
}

TEST_F(ListTest, AnElementThatIsTheLastToHoldItsListTakesItAlong)
{
    for (const int way : {0, 1, 2}) {
        List* const pList = List::Construct(Value::Null);
        int destroyed = 0;
        Specimen* const pHolder = Specimen::Make();
        pHolder->mpObject = pList;
        pHolder->mOnDestroy = [&](Specimen*) { ++destroyed; };
        pList->Insert(pHolder);
        if (way == 0) {
            pList->RemoveAt(0);
        } else if (way == 1) {
            pList->Clear();
        } else {
            pList->SetAt(0, nullptr);
        }
        EXPECT_EQ(destroyed, 1);
    }
}

TEST_F(ListTest, ACloneHoldsItsOwnElements)
{
    Fill(9);
    mpList->Insert(mpObject);
    const Ptr<List> pClone = mpList->Clone();
    pClone->Release(); // the clone started at the source's count
    EXPECT_EQ(mpObject->GetReferenceCount(), 3);
    mpList->Clear();
    EXPECT_EQ(pClone->GetSize(), 10);
    EXPECT_EQ(pClone->GetCapacity(), 16);
    EXPECT_EQ(pClone->Find(mpObject), 9);
}

TEST_F(ListTest, ItsFunctionsAreReflected)
{
    mpList->Call("Insert", mpObject);
    mpList->Call("InsertAt", 0, Value(nullptr));
    EXPECT_EQ(mpList->Call("GetSize").Get<int>(), 2);
    EXPECT_EQ(mpList->Call("GetCapacity").Get<int>(), 8);
    EXPECT_EQ(mpList->Call("Find", mpObject).Get<int>(), 1);
    EXPECT_EQ(mpList->Call("GetAt", 1).AsObject(), static_cast<Object*>(mpObject));
    mpList->Call("SetAt", 0, mpObject);
    mpList->Call("Remove", mpObject);
    mpList->Call("RemoveAt", 0);
    EXPECT_EQ(mpList->GetSize(), 0);
    mpList->Call("Insert", mpObject);
    mpList->Call("Clear");
    EXPECT_EQ(mpObject->GetReferenceCount(), 1);
    EXPECT_TRUE(mpList->Call("GetAt", 5) == Value(nullptr));
    EXPECT_EQ(mMessages.TakeError(),
              "ERROR: List (line 91): Failed to get object from index 5, list size is 0");
}
