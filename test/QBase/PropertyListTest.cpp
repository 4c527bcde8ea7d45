#include "QBase/PropertyList.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/DynamicProperty.h"

#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using testing::ElementsAre;

namespace
{

std::vector<std::string> NamesOf(const Object* pObject)
{
    std::vector<std::string> names;
    for (const PropertyList::Entry& entry : PropertyList(pObject)) {
        names.push_back(entry.mName.c_str());
    }
    return names;
}

// An object whose own table and its two bases have one bucket each: the newest entry comes first.
struct PropertyListTest : testing::Test
{
    PropertyListTest()
    {
        mpMiddle->SetBaseClass(mpRoot);
        mpOwn->SetBaseClass(mpMiddle);
        mpObject->SetInstanceTable(mpOwn);
        Add(mpRoot, "root");
        Add(mpMiddle, "middle");
        Add(mpOwn, "older");
        Add(mpOwn, "newer");
    }

    static Ptr<ClassInfoTable> MakeTable() { return ClassInfoTable::Construct(1); }
    static Property* Add(ClassInfoTable* pTable, const char* pName)
    {
        Property* const pProperty = CreateDynamicValue(Value::TYPE_INT);
        pTable->Insert(pName, pProperty);
        return pProperty;
    }

    Ptr<ClassInfoTable> mpRoot = MakeTable();
    Ptr<ClassInfoTable> mpMiddle = MakeTable();
    Ptr<ClassInfoTable> mpOwn = MakeTable();
    Ptr<Object> mpObject = Object::Construct(Value::Null);
};

} // namespace

TEST_F(PropertyListTest, TheOwnTableComesFirstThenEachBaseInWalkOrder)
{
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("newer", "older", "middle", "root"));
}

TEST_F(PropertyListTest, EveryNameCountsOnceWhereALookUpFindsIt)
{
    Property* const pShadow = Add(mpOwn, "root");
    mpOwn->Insert("middle", Object::Construct(Value::Null)); // no property, but it hides one
    mpOwn->Insert("older", nullptr);                         // counts as absent
    Add(mpRoot, "older");
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("root", "newer", "older"));
    for (const PropertyList::Entry& entry : PropertyList(mpObject)) {
        EXPECT_EQ(static_cast<Property*>(entry.mpProperty), mpObject->FindProperty(entry.mName));
    }
    EXPECT_EQ(mpObject->FindProperty("root"), pShadow);
}

TEST_F(PropertyListTest, TypeShapeAndExclusionStandBesideTheProperty)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    for (const PropertyList::Entry& entry : PropertyList(pSpecimen)) {
        EXPECT_EQ(entry.mType, entry.mpProperty->GetType()) << entry.mName.c_str();
        EXPECT_EQ(entry.mbArray, entry.mpProperty->IsArray()) << entry.mName.c_str();
        EXPECT_EQ(entry.mbExcluded, entry.mpProperty->IsExcluded()) << entry.mName.c_str();
    }
}

TEST_F(PropertyListTest, EveryKindOfChangeShows)
{
    NamesOf(mpObject);
    Add(mpRoot, "late");
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("newer", "older", "middle", "late", "root"));
    mpMiddle->Remove("middle");
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("newer", "older", "late", "root"));
    mpOwn->Resize(1);
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("older", "newer", "late", "root"));
    mpOwn->SetBaseClass(nullptr);
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("older", "newer"));
    mpOwn->SetBaseClass(mpRoot);
    mpOwn->Clear();
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("late", "root"));
    mpObject->SetInstanceTable(mpMiddle);
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("late", "root"));
    Add(mpMiddle, "again");
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("again", "late", "root"));
}

TEST_F(PropertyListTest, AReplacedPropertyGoesAtOnceAndItsSuccessorShows)
{
    NamesOf(mpObject);
    int destroyed = 0;
    Specimen* const pHeld = Specimen::Make();
    std::vector<std::string> seen;
    pHeld->mOnDestroy = [&](Specimen*) {
        ++destroyed;
        seen = NamesOf(mpObject); // in the middle of the replacement
    };
    Ptr<Property> pOld = CreateDynamicValue(Value::TYPE_OBJECT);
    pOld->Set(nullptr, pHeld);
    mpOwn->Insert("held", pOld);
    NamesOf(mpObject);
    pOld = nullptr;
    Property* const pNew = Add(mpOwn, "held");
    EXPECT_EQ(destroyed, 1);
    EXPECT_THAT(seen, ElementsAre("held", "newer", "older", "middle", "root"));
    EXPECT_EQ(static_cast<Property*>(PropertyList(mpObject).begin()->mpProperty), pNew);
}

TEST_F(PropertyListTest, AWalkGoesOnWhileTheObjectChanges)
{
    std::vector<std::string> names;
    for (const PropertyList::Entry& entry : PropertyList(mpObject)) {
        names.push_back(entry.mName.c_str());
        mpOwn->Clear();
        entry.mpProperty->Set(mpObject, 1);
    }
    EXPECT_THAT(names, ElementsAre("newer", "older", "middle", "root"));
    EXPECT_THAT(NamesOf(mpObject), ElementsAre("middle", "root"));
}

TEST(PropertyListThreadsTest, ThreadsThatFindAStaleListBuildItAnewTogether)
{
    constexpr int ROUNDS = 2000;
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    const Ptr<ClassInfoTable> pBase = ClassInfoTable::Construct(1);
    const Ptr<ClassInfoTable> pOwn = ClassInfoTable::Construct(1);
    pOwn->SetBaseClass(pBase);
    pSpecimen->SetInstanceTable(pOwn);
    int wrong = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        // A change of the base leaves the object's own list behind, stale, for the threads to replace.
        pBase->Insert("x", CreateDynamicValue(Value::TYPE_INT));
        const auto check = [&](int& rWrong) {
            for (int i = 0; i < 3; ++i) {
                const PropertyList list(pSpecimen);
                rWrong += list.begin() + 1 != list.end() ||
                          static_cast<Object*>(list.begin()->mpProperty) != pBase->Find("x");
            }
        };
        int otherWrong = 0;
        std::thread other([&] { check(otherWrong); });
        check(wrong);
        other.join();
        wrong += otherWrong;
    }
    EXPECT_EQ(wrong, 0);
}
