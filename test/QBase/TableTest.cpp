#include "QBase/Table.h"

#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Memory.h"
#include "QBase/TablePath.h"

#include "Support/CapturedMessages.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QBase;
using testing::ElementsAre;

namespace
{

struct TableTest : testing::Test
{
    static Ptr<Object> MakeObject() { return Object::Construct(Value::Null); }
    static Ptr<TablePath> Path(const char* pText) { return TablePath::Construct(pText); }

    Ptr<Specimen> MakeSpeaker(const char* pName) { return Specimen::MakeSpeaker(pName, &mSpoken); }

    std::vector<std::string> mSpoken;
    Ptr<Table> mpTable = Table::Construct(Value::Null);
    CapturedMessages mMessages;
};

std::vector<std::string> NamesOf(const Table* pTable)
{
    std::vector<std::string> names;
    for (const auto& node : pTable->GetEntries()) {
        names.push_back(node.GetKey().c_str());
    }
    return names;
}

const char* const INSERT_REPORT = "ERROR: Table (line 118): Failed to insert object, path not valid";
const char* const REMOVE_REPORT = "ERROR: Table (line 148): Failed to remove object, path not valid";

} // namespace

TEST_F(TableTest, AnIntGivesTheNumberOfBucketsAndAnythingElseTheDefault)
{
    EXPECT_EQ(mpTable->GetTableSize(), 97);
    EXPECT_EQ(Ptr<Table>(Table::Construct(5))->GetTableSize(), 5);
    EXPECT_EQ(Ptr<Table>(Table::Construct("5"))->GetTableSize(), 97);
    EXPECT_EQ(Ptr<Table>(Table::Construct(5.0f))->GetTableSize(), 97);
    g_DefaultTableSize = 11;
    const Ptr<Table> pSmall = Table::Construct(Value::Null);
    g_DefaultTableSize = 97;
    EXPECT_EQ(pSmall->GetTableSize(), 11);
}

TEST_F(TableTest, BucketCountsBelowOneBecomeOne)
{
    EXPECT_EQ(Ptr<Table>(Table::Construct(0))->GetTableSize(), 1);
    EXPECT_EQ(Ptr<Table>(Table::Construct(-1))->GetTableSize(), 1);
    mpTable->Call("Resize", -5);
    EXPECT_EQ(mpTable->GetTableSize(), 1);
}

TEST_F(TableTest, InsertHoldsTheObjectAndFindAnswersIt)
{
    const Ptr<Object> pObject = MakeObject();
    mpTable->Insert("a", pObject);
    EXPECT_EQ(pObject->GetReferenceCount(), 2);
    EXPECT_EQ(mpTable->Find("a"), static_cast<Object*>(pObject));
    EXPECT_EQ(mpTable->Find("b"), nullptr);
    mpTable->Remove("a");
    mpTable->Remove("a");
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
    EXPECT_EQ(mpTable->Find("a"), nullptr);
}

TEST_F(TableTest, ASecondObjectUnderANameReplacesAndReleasesTheFirst)
{
    const Ptr<Object> pFirst = MakeObject();
    const Ptr<Object> pSecond = MakeObject();
    mpTable->Insert("a", pFirst);
    mpTable->Insert("a", pSecond);
    EXPECT_EQ(pFirst->GetReferenceCount(), 1);
    EXPECT_EQ(mpTable->Find("a"), static_cast<Object*>(pSecond));
    EXPECT_THAT(NamesOf(mpTable), ElementsAre("a"));
}

TEST_F(TableTest, InsertingAnEntryUnderItsOwnNameKeepsIt)
{
    mpTable->Insert("a", MakeObject());
    Object* const pObject = mpTable->Find("a");
    mpTable->Insert(mpTable->GetName(pObject), pObject);
    EXPECT_EQ(mpTable->Find("a"), pObject);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
    mpTable->Remove(mpTable->GetName(pObject));
    EXPECT_EQ(mpTable->Find("a"), nullptr);
}

TEST_F(TableTest, ANullObjectIsAnEntryThatFindAnswersAsAbsent)
{
    mpTable->Insert("none", nullptr);
    EXPECT_EQ(mpTable->Find("none"), nullptr);
    EXPECT_THAT(NamesOf(mpTable), ElementsAre("none"));
    EXPECT_EQ(mpTable->GetName(nullptr), String("none"));
}

TEST_F(TableTest, GetNameAnswersTheFirstNameInWalkOrder)
{
    const Ptr<Table> pTable = Table::Construct(1); // one bucket: the newest name comes first
    const Ptr<Object> pObject = MakeObject();
    pTable->Insert("older", pObject);
    pTable->Insert("newer", pObject);
    EXPECT_EQ(pTable->GetName(pObject), String("newer"));
    EXPECT_EQ(&pTable->GetName(mpTable), &String::Null);
}

TEST_F(TableTest, ClearReleasesEveryEntryAndKeepsTheBuckets)
{
    const Ptr<Object> pObject = MakeObject();
    mpTable->Insert("a", pObject);
    mpTable->Insert("b", pObject);
    mpTable->Clear();
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
    EXPECT_EQ(mpTable->GetTableSize(), 97);
    EXPECT_TRUE(NamesOf(mpTable).empty());
}

TEST_F(TableTest, ResizeKeepsEveryEntryAndReversesABucket)
{
    const Ptr<Table> pTable = Table::Construct(1);
    for (const char* const pName : {"a", "b", "c"}) {
        pTable->Insert(pName, MakeObject());
    }
    EXPECT_THAT(NamesOf(pTable), ElementsAre("c", "b", "a"));
    pTable->Resize(1);
    EXPECT_THAT(NamesOf(pTable), ElementsAre("a", "b", "c"));
    pTable->Resize(50);
    EXPECT_EQ(pTable->GetTableSize(), 50);
    EXPECT_NE(pTable->Find("a"), nullptr);
    EXPECT_NE(pTable->Find("c"), nullptr);
}

TEST_F(TableTest, APathLeadsThroughNestedTables)
{
    const Ptr<Table> pInner = Table::Construct(Value::Null);
    const Ptr<Object> pObject = MakeObject();
    mpTable->Insert("a", pInner);
    mpTable->InsertPath(Path("a.b"), pObject);
    EXPECT_EQ(pInner->Find("b"), static_cast<Object*>(pObject));
    EXPECT_EQ(mpTable->FindPath(Path("a.b")), static_cast<Object*>(pObject));
    EXPECT_EQ(mpTable->FindPath(Path("a")), static_cast<Object*>(pInner));
    mpTable->RemovePath(Path("a.b"));
    EXPECT_EQ(pInner->Find("b"), nullptr);
    mpTable->RemovePath(Path("a.b")); // a missing leaf is silent
}

TEST_F(TableTest, AOneNamePathMeansThisTable)
{
    const Ptr<Object> pObject = MakeObject();
    mpTable->InsertPath(Path("a"), pObject);
    EXPECT_EQ(mpTable->Find("a"), static_cast<Object*>(pObject));
}

TEST_F(TableTest, AnInvalidPathIsReportedOnlyByInsertionAndRemoval)
{
    mpTable->Insert("list", List::Construct(Value::Null));
    mpTable->Insert("null", nullptr);
    const Ptr<TablePath> pEmpty = TablePath::Construct(Value::Null);
    const Ptr<TablePath> paths[] = {Path("missing.b"), Path("list.b"), Path("null.b"), pEmpty, nullptr};
    const Ptr<Object> pObject = MakeObject();
    for (const Ptr<TablePath>& pPath : paths) {
        mpTable->InsertPath(pPath, pObject);
        EXPECT_EQ(mMessages.TakeError(), INSERT_REPORT);
        mpTable->RemovePath(pPath);
        EXPECT_EQ(mMessages.TakeError(), REMOVE_REPORT);
        EXPECT_EQ(mpTable->FindPath(pPath), nullptr);
    }
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
    EXPECT_EQ(NamesOf(mpTable).size(), 2u);
}

TEST_F(TableTest, ExecuteReachesEveryEntryInWalkOrder)
{
    const Ptr<Table> pTable = Table::Construct(1);
    pTable->Insert("first", MakeSpeaker("first"));
    pTable->Insert("null", nullptr);
    pTable->Insert("second", MakeSpeaker("second"));
    pTable->Execute("!");
    EXPECT_THAT(mSpoken, ElementsAre("second!", "first!"));
}

TEST_F(TableTest, ATableThatContainsItselfExecutesOnce)
{
    mpTable->Insert("speaker", MakeSpeaker("once"));
    mpTable->Insert("self", mpTable);
    mpTable->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("once"));
    mpTable->Execute(Value::Null);
    EXPECT_EQ(mSpoken.size(), 2u);
    mpTable->Clear();
}

TEST_F(TableTest, AnEntryMayRemoveItselfAndOthersWhileTheTableExecutes)
{
    const Ptr<Table> pTable = Table::Construct(1);
    pTable->Insert("last", MakeSpeaker("last"));
    Specimen* const pRemover = Specimen::Make();
    pRemover->mOnExecute = [&](const Value&) { pTable->Clear(); };
    pTable->Insert("remover", pRemover);
    pTable->Execute(Value::Null);
    EXPECT_THAT(mSpoken, ElementsAre("last"));
    EXPECT_TRUE(NamesOf(pTable).empty());
}

TEST_F(TableTest, AfterAnEntryThrewTheTableExecutesAgain)
{
    const Ptr<Specimen> pThrower = Specimen::Make();
    pThrower->mOnExecute = [](const Value&) { throw 7; };
    mpTable->Insert("thrower", pThrower);
    EXPECT_THROW(mpTable->Execute(Value::Null), int);
    EXPECT_THROW(mpTable->Execute(Value::Null), int);
    EXPECT_EQ(mpTable->GetReferenceCount(), 1);
}

TEST_F(TableTest, AnEntryThatGoesMayChangeItsTable)
{
    const auto insertMeddler = [&] {
        Specimen* const pMeddler = Specimen::Make();
        pMeddler->mOnDestroy = [&](Specimen*) {
            EXPECT_EQ(mpTable->Find("meddler"), nullptr);
            mpTable->Remove("other");
            mpTable->Insert("new", nullptr);
        };
        mpTable->Insert("meddler", pMeddler);
        mpTable->Insert("other", nullptr);
    };
    insertMeddler();
    mpTable->Remove("meddler");
    EXPECT_THAT(NamesOf(mpTable), ElementsAre("new"));
    insertMeddler();
    mpTable->Clear();
    EXPECT_THAT(NamesOf(mpTable), ElementsAre("new"));
}

TEST_F(TableTest, AnEntryThatIsTheLastToHoldItsTableTakesItAlong)
{
    for (const int way : {0, 1, 2}) {
        Table* const pTable = Table::Construct(Value::Null);
        int destroyed = 0;
        Specimen* const pHolder = Specimen::Make();
        pHolder->mpObject = pTable;
        pHolder->mOnDestroy = [&](Specimen*) { ++destroyed; };
        pTable->Insert("holder", pHolder);
        if (way == 0) {
            pTable->Remove("holder");
        } else if (way == 1) {
            pTable->Clear();
        } else {
            pTable->Insert("holder", nullptr);
        }
        EXPECT_EQ(destroyed, 1);
    }
}

TEST_F(TableTest, ACloneHoldsItsOwnEntries)
{
    const Ptr<Object> pObject = MakeObject();
    mpTable->Insert("a", pObject);
    const Ptr<Table> pClone = mpTable->Clone();
    pClone->Release(); // the clone started at the source's count
    EXPECT_EQ(pObject->GetReferenceCount(), 3);
    mpTable->Clear();
    EXPECT_EQ(pClone->Find("a"), static_cast<Object*>(pObject));
    EXPECT_EQ(pClone->GetTableSize(), 97);
}

TEST_F(TableTest, ItsFunctionsAreReflected)
{
    for (const char* const pName : {"Clear", "Find", "FindPath", "GetName", "GetTableSize", "Insert",
                                    "InsertPath", "Remove", "RemovePath", "Resize"}) {
        EXPECT_NE(mpTable->FindFunction(pName), nullptr) << pName;
    }
    const Ptr<Object> pObject = MakeObject();
    mpTable->Call("Insert", "a", pObject);
    EXPECT_EQ(mpTable->Call("Find", "a").AsObject(), static_cast<Object*>(pObject));
    EXPECT_EQ(mpTable->Call("GetName", pObject).AsString(), String("a"));
    EXPECT_EQ(mpTable->Call("FindPath", Path("a")).AsObject(), static_cast<Object*>(pObject));
    mpTable->Call("Remove", "a");
    mpTable->Call("InsertPath", Path("x.y"), pObject);
    EXPECT_EQ(mMessages.TakeError(), INSERT_REPORT);
    EXPECT_EQ(mpTable->Call("GetTableSize").Get<int>(), 97);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}

TEST_F(TableTest, HundredsOfThousandsOfNamesKeepTheBucketsAndAreFound)
{
    constexpr int COUNT = 300000;
    const Ptr<Object> pObject = MakeObject();
    for (int i = 0; i < COUNT; ++i) {
        mpTable->Insert(std::to_string(i).c_str(), pObject);
    }
    EXPECT_EQ(mpTable->GetTableSize(), 97);
    int found = 0;
    for (int i = 0; i < COUNT; ++i) {
        found += mpTable->Find(std::to_string(i).c_str()) != nullptr;
        mpTable->Remove(std::to_string(i).c_str());
    }
    EXPECT_EQ(found, COUNT);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}
