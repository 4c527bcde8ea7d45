#include "QBase/LeakReport.h"

#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"

#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/StoredObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using namespace QBase;
using StoredObjects::Pair;
using testing::StartsWith;

namespace
{

// Holds one object, and shows it twice.
class Shower : public Object
{
    QBASE_OBJECT(Shower, Object)

public:
    Object* GetShown() const { return mpHeld; }

    Ptr<Object> mpHeld;

protected:
    explicit Shower(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(LeakReportTest, Shower)

void Shower::Implement()
{
    AddProperty<&Shower::mpHeld>("Held");
    AddProperty<&Shower::GetShown>("Shown");
}

// Ends the trace that a test began.
struct LeakReportTest : testing::Test
{
    LeakReportTest() { LeakReport::Mark(); }
    ~LeakReportTest() override { LeakReport::EndTrace(); }
};

Ptr<Pair> MakePair()
{
    return Ptr<Pair>(Pair::Construct(Value::Null));
}

std::string Text(const String& text)
{
    return text.c_str();
}

std::string Print(const LeakReport& report)
{
    std::FILE* const pFile = std::tmpfile();
    report.Print(pFile);
    std::string text(static_cast<std::size_t>(std::ftell(pFile)), '\0');
    std::rewind(pFile);
    text.resize(std::fread(text.data(), 1, text.size(), pFile));
    std::fclose(pFile);
    return text;
}

// What a program that ends well writes to standard error.
std::string ErrorsOf(const ProgramStart& start)
{
    Outcome result = RunApart(start);
    std::erase(result.mErrors, '\r'); // each system ends lines in its own way
    EXPECT_EQ(result.mExitCode, 0);
    return result.mErrors;
}

} // namespace

TEST_F(LeakReportTest, ObjectsAreCountedByClassSinceTheMark)
{
    const Ptr<List> pOld = List::Construct(Value::Null);
    LeakReport::Mark();
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Pair> pFirst = MakePair();
    const Ptr<Pair> pSecond = MakePair();
    MakePair(); // gone at once
    const LeakReport report;
    EXPECT_EQ(report.GetNumObjects(), 3);
    EXPECT_EQ(report.GetNumObjects("StoredObjects.Pair"), 2);
    EXPECT_EQ(report.GetNumObjects("QBase.List"), 1);
    EXPECT_EQ(report.GetNumObjects("QBase.Table"), 0);
    EXPECT_EQ(report.GetNumCycles(), 0);
}

TEST_F(LeakReportTest, WithoutATraceThereIsNothingToTell)
{
    LeakReport::EndTrace();
    LeakReport::EndTrace(); // does nothing
    const Ptr<Pair> pPair = MakePair();
    const LeakReport report;
    EXPECT_EQ(report.GetNumObjects(), 0);
    EXPECT_EQ(report.Explain(pPair), String::Null);
    EXPECT_EQ(report.DescribeCycle(0), String::Null);
    EXPECT_EQ(Print(report), "Live objects: 0\n");
}

TEST_F(LeakReportTest, TheShortestChainLeadsFromWhatIsHeldOtherwise)
{
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    const Ptr<List> pList = List::Construct(Value::Null);
    pTable->Insert("list", pList);
    Pair* pHeld = nullptr;
    {
        const Ptr<Pair> pFirst = MakePair();
        const Ptr<Pair> pSecond = MakePair();
        pHeld = pSecond;
        pFirst->mSecond = pSecond;
        pList->Insert(nullptr);
        pList->Insert(pFirst);
    }
    const LeakReport report;
    EXPECT_EQ(Text(report.Explain(pTable)), "QBase.Table #1 (held otherwise)");
    EXPECT_EQ(Text(report.Explain(pHeld)),
              "QBase.List #2 (held otherwise 1 times of 2) [1] -> StoredObjects.Pair #3 "
              ".Second -> StoredObjects.Pair #4");
}

TEST_F(LeakReportTest, EntriesItemsPropertiesAndArraysAreHolders)
{
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    Object* pEntry = nullptr;
    Object* pElement = nullptr;
    {
        const Ptr<Object> pFirst = Object::Construct(Value::Null);
        const Ptr<Object> pSecond = Object::Construct(Value::Null);
        pFirst->AddPropertyArrayFromValue("Parts", Value(pSecond));
        pFirst->FindProperty("Parts")->Insert(pFirst, Value(pSecond));
        pTable->Insert("first", pFirst);
        pEntry = pFirst;
        pElement = pSecond;
    }
    const LeakReport report;
    EXPECT_EQ(Text(report.Explain(pEntry)), "QBase.Table #1 (held otherwise) [first] -> QBase.Object #2");
    EXPECT_EQ(Text(report.Explain(pElement)),
              "QBase.Table #1 (held otherwise) [first] -> QBase.Object #2 .Parts[0] -> QBase.Object #3");
    EXPECT_EQ(report.GetNumObjects(), 3); // the table and property of the object's own are part of it
}

TEST_F(LeakReportTest, ACircleThatNothingElseHoldsIsNamed)
{
    Pair* pFirst = nullptr;
    Object* pBehind = nullptr;
    {
        const Ptr<Pair> pOne = MakePair();
        const Ptr<Pair> pTwo = MakePair();
        const Ptr<Object> pThree = Object::Construct(Value::Null);
        pOne->mFirst = pTwo;
        pTwo->mSecond = pOne;
        pTwo->mFirst = pThree;
        pFirst = pOne;
        pBehind = pThree;
    }
    {
        const LeakReport report;
        EXPECT_EQ(report.GetNumCycles(), 1);
        EXPECT_EQ(Text(report.DescribeCycle(0)),
                  "StoredObjects.Pair #1 .First -> StoredObjects.Pair #2 .Second -> StoredObjects.Pair #1");
        EXPECT_EQ(report.DescribeCycle(1), String::Null);
        EXPECT_EQ(report.DescribeCycle(-1), String::Null);
        EXPECT_EQ(Text(report.Explain(pBehind)),
                  "StoredObjects.Pair #1 (in a circle) .First -> StoredObjects.Pair #2 "
                  ".First -> QBase.Object #3");
        EXPECT_EQ(
            Print(report),
            "Live objects: 3\n"
            "  2 StoredObjects.Pair, for example StoredObjects.Pair #1 (in a circle)\n"
            "  1 QBase.Object, for example StoredObjects.Pair #1 (in a circle) .First -> StoredObjects.Pair "
            "#2 "
            ".First -> QBase.Object #3\n"
            "Circles that keep themselves alive: 1\n"
            "  StoredObjects.Pair #1 .First -> StoredObjects.Pair #2 .Second -> StoredObjects.Pair #1\n");
    }
    pFirst->mFirst = nullptr; // lets the circle go
    EXPECT_EQ(LeakReport().GetNumObjects(), 0);
}

TEST_F(LeakReportTest, ACircleThatSomethingHoldsIsNoLeak)
{
    const Ptr<Pair> pOne = MakePair();
    pOne->mFirst = MakePair();
    static_cast<Pair*>(static_cast<Object*>(pOne->mFirst))->mFirst = pOne;
    {
        const LeakReport report;
        EXPECT_EQ(report.GetNumCycles(), 0);
        EXPECT_EQ(Text(report.Explain(pOne)), "StoredObjects.Pair #1 (held otherwise 1 times of 2)");
    }
    pOne->mFirst = nullptr;
}

TEST_F(LeakReportTest, AnObjectThatHoldsItselfIsACircleOfOne)
{
    Pair* const pSelf = Pair::Construct(Value::Null);
    pSelf->mSecond = pSelf;
    EXPECT_EQ(Text(LeakReport().DescribeCycle(0)), "StoredObjects.Pair #1 .Second -> StoredObjects.Pair #1");
    pSelf->mSecond = nullptr;
}

TEST_F(LeakReportTest, AnObjectThatIsShownByMoreThanHoldItMayBeInNoCircle)
{
    Shower* const pShower = Shower::Construct(Value::Null);
    pShower->mpHeld = pShower;
    EXPECT_EQ(Text(LeakReport().Explain(pShower)),
              "LeakReportTest.Shower #1 (in a circle, or shown by more than hold it)");
    pShower->mpHeld = nullptr;
}

TEST_F(LeakReportTest, AnObjectThatNobodyEverHeldBelongsToWhoeverMadeIt)
{
    Object* const pObject = Object::Construct(Value::Null);
    EXPECT_EQ(Text(LeakReport().Explain(pObject)), "QBase.Object #1 (held by nobody)");
    EXPECT_EQ(pObject->GetReferenceCount(), 0);
    delete pObject;
}

TEST_F(LeakReportTest, OfALongChainTheBeginningAndTheEndAreNamed)
{
    Ptr<Pair> pFirst = MakePair();
    Ptr<Pair> pLast = pFirst;
    const Pair* pWhole = nullptr; // at the end of the longest chain that is named whole
    for (int i = 2; i <= 100; ++i) {
        Ptr<Pair> pNext = MakePair();
        pLast->mFirst = pNext;
        pLast = pNext;
        pWhole = i == 41 ? pNext : pWhole;
    }
    pLast = nullptr;
    const auto links = [](int from, int to) {
        std::string text;
        for (int i = from; i <= to; ++i) {
            text += " .First -> StoredObjects.Pair #" + std::to_string(i);
        }
        return text;
    };
    const std::string start = "StoredObjects.Pair #1 (held otherwise)";
    EXPECT_EQ(Text(LeakReport().Explain(pWhole)), start + links(2, 41));
    const Pair* pNext = static_cast<Pair*>(static_cast<Object*>(pWhole->mFirst));
    EXPECT_EQ(Text(LeakReport().Explain(pNext)), start + links(2, 21) + " -> (1 more)" + links(23, 42));
    while (pNext->mFirst != nullptr) {
        pNext = static_cast<Pair*>(static_cast<Object*>(pNext->mFirst));
    }
    EXPECT_EQ(Text(LeakReport().Explain(pNext)), start + links(2, 21) + " -> (59 more)" + links(81, 100));
}

TEST_F(LeakReportTest, ALongChainAndALargeCircleTakeNoDeepStack)
{
    constexpr int LENGTH = 100000;
    Ptr<Pair> pFirst = MakePair();
    Ptr<Pair> pLast = pFirst;
    for (int i = 1; i < LENGTH; ++i) {
        Ptr<Pair> pNext = MakePair();
        pLast->mFirst = pNext;
        pLast = pNext;
    }
    pLast->mFirst = pFirst;
    Pair* const pOpening = pLast;
    pFirst = nullptr;
    pLast = nullptr;
    {
        const LeakReport report;
        EXPECT_EQ(report.GetNumObjects(), LENGTH);
        EXPECT_EQ(report.GetNumCycles(), 1);
        const std::string circle = Text(report.DescribeCycle(0));
        EXPECT_THAT(circle, StartsWith("StoredObjects.Pair #1 .First -> StoredObjects.Pair #2 .First -> "));
        EXPECT_THAT(circle, testing::HasSubstr("#21 -> (99960 more) .First -> StoredObjects.Pair #99982 "));
        EXPECT_THAT(circle, testing::EndsWith("StoredObjects.Pair #100000 .First -> StoredObjects.Pair #1"));
    }
    pOpening->mFirst = nullptr;
}

TEST_F(LeakReportTest, AProgramThatIsAskedToReportsWhatLivesAtItsEnd)
{
    ProgramStart start{{BinaryPath("Leaks")}};
    EXPECT_EQ(RunApart(start).mErrors, "");
    start.mWords.push_back("--report");
    EXPECT_EQ(ErrorsOf(start), "Live objects: 2\n"
                               "  2 QBase.List, for example QBase.List #1 (in a circle)\n"
                               "Circles that keep themselves alive: 1\n"
                               "  QBase.List #1 [0] -> QBase.List #2 [0] -> QBase.List #1\n");
}

TEST_F(LeakReportTest, AMarkOfTheProgramsOwnHidesNothingFromTheReportAtItsEnd)
{
    EXPECT_THAT(ErrorsOf({{BinaryPath("Leaks"), "--report", "mark"}}), StartsWith("Live objects: 2\n"));
}

TEST_F(LeakReportTest, AProgramThatEndsTheTraceIsToldThatThereIsNoReport)
{
    EXPECT_EQ(ErrorsOf({{BinaryPath("Leaks"), "--report", "end"}}),
              "No report of live objects: the program has ended the block trace\n");
}
