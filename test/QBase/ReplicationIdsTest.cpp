#include "QBase/ReplicationIds.h"

#include "Support/CountedAllocations.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <vector>

using namespace QBase;

namespace
{

Ptr<Object> MakePlain()
{
    return Object::Construct(Value::Null);
}

} // namespace

TEST(ReplicationIdsTest, TheCounterSkipsZeroAndIdsInUseWhenItWraps)
{
    IdCounter next(0xFFFFFFFEu);
    ObjectIdTable objects;
    const Ptr<Object> pA = MakePlain();
    const Ptr<Object> pB = MakePlain();
    const Ptr<Object> pC = MakePlain();
    const Ptr<Object> pD = MakePlain();
    objects.Record(1, pD);
    EXPECT_EQ(objects.Assign(pA, next), 0xFFFFFFFEu);
    EXPECT_EQ(objects.Assign(pB, next), 0xFFFFFFFFu);
    EXPECT_EQ(objects.Assign(pC, next), 2u);
    EXPECT_EQ(objects.Find(0xFFFFFFFFu), pB);
}

TEST(ReplicationIdsTest, AnObjectThatHasAnIdKeepsIt)
{
    IdCounter next;
    ObjectIdTable objects;
    const Ptr<Object> pReceived = MakePlain();
    objects.Record(40, pReceived);
    EXPECT_EQ(objects.Assign(pReceived, next), 40u);
    EXPECT_EQ(objects.Find(pReceived), 40u);
    EXPECT_TRUE(objects.Remove(pReceived));
    EXPECT_FALSE(objects.Remove(pReceived));
    EXPECT_EQ(objects.Find(40), nullptr);
    EXPECT_EQ(objects.Assign(pReceived, next), 1u);
}

TEST(ReplicationIdsTest, ATableHoldsItsObjects)
{
    IdCounter next;
    ObjectIdTable objects;
    NamedIdTable names;
    Object* const pObject = Object::Construct(Value::Null);
    objects.Assign(pObject, next);
    names.Assign(pObject, "P", next);
    EXPECT_EQ(pObject->GetReferenceCount(), 2);
    const Ptr<Object> pKept = pObject;
    names.RemoveOwner(pObject);
    objects.Remove(pObject);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}

TEST(ReplicationIdsTest, NamesOfOneOwnerGoTogetherAndOthersStay)
{
    IdCounter next;
    NamedIdTable names;
    const Ptr<Object> pA = MakePlain();
    const Ptr<Object> pB = MakePlain();
    names.Assign(pA, "x", next);
    names.Assign(pB, "x", next);
    names.Assign(pA, "y", next);
    names.Assign(pA, "z", next);
    EXPECT_EQ(names.Assign(pA, "x", next)->mId, 1u);
    names.Remove(names.Find(3)); // y, from the middle
    EXPECT_EQ(names.Find(pA, "y"), nullptr);
    EXPECT_EQ(names.Find(pA, "z")->mId, 4u);
    names.RemoveOwner(pA);
    EXPECT_EQ(names.Find(1), nullptr);
    EXPECT_EQ(names.Find(4), nullptr);
    EXPECT_EQ(names.Find(pB, "x")->mId, 2u);
    names.RemoveOwner(pA);
}

TEST(ReplicationIdsTest, ASecondIdForANameAnswersUntilItIsRemoved)
{
    NamedIdTable names;
    const Ptr<Object> pA = MakePlain();
    names.Record(5, pA, "x");
    names.Record(6, pA, "x");
    EXPECT_EQ(names.Find(pA, "x")->mId, 6u);
    names.Remove(names.Find(5));
    EXPECT_EQ(names.Find(pA, "x")->mId, 6u);
    names.Remove(names.Find(6));
    EXPECT_EQ(names.Find(pA, "x"), nullptr);
}

TEST(ReplicationIdsTest, IdsThatAreFarApartAreFoundInLinearTime)
{
    for (const std::uint32_t distance : {16u, 16u * 64u, 4096u, 65536u / 3u}) {
        NamedIdTable names;
        const Ptr<Object> pOwner = MakePlain();
        for (std::uint32_t i = 1; i <= 100000; ++i) {
            names.Record(i * distance, pOwner, "x");
        }
        EXPECT_EQ(names.Find(100000 * distance)->mpOwner, pOwner);
        EXPECT_EQ(names.Find(100000 * distance - 1), nullptr);
        names.RemoveOwner(pOwner);
        EXPECT_EQ(names.Find(distance), nullptr);
    }
}

// A search per removal would take some 10^12 steps.
TEST(ReplicationIdsTest, AMillionNamesOfAHundredThousandObjectsGoInLinearTime)
{
    IdCounter next;
    ObjectIdTable objects;
    NamedIdTable names;
    std::vector<String> properties;
    for (const char* const pName : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}) {
        properties.push_back(pName);
    }
    std::vector<Ptr<Object>> owners;
    for (int i = 0; i < 100000; ++i) {
        owners.push_back(MakePlain());
        objects.Assign(owners.back(), next);
        for (const String& name : properties) {
            names.Assign(owners.back(), name, next);
        }
    }
    for (const Ptr<Object>& pOwner : owners) {
        names.RemoveOwner(pOwner);
        EXPECT_TRUE(objects.Remove(pOwner));
    }
    EXPECT_EQ(names.Find(owners[0], "a"), nullptr);
}

// Long and short: more names than one search should look at have an index.
TEST(ReplicationIdsTest, AnOwnerMayHaveAnyNumberOfNamesAndLoseThemInAnyOrder)
{
    for (const int count : {1, 3, 16, 17, 1000}) {
        IdCounter next;
        NamedIdTable names;
        const Ptr<Object> pOwner = MakePlain();
        std::vector<String> texts;
        for (int i = 0; i < count; ++i) {
            texts.push_back(String::Format("name %d", i));
            EXPECT_EQ(names.Assign(pOwner, texts.back(), next)->mId, static_cast<std::uint32_t>(i + 1));
        }
        names.Record(5000, pOwner, texts[0]);
        for (int i = count - 1; i >= 0; --i) { // against the order in which they came
            const std::uint32_t id = i == 0 ? 5000u : static_cast<std::uint32_t>(i + 1);
            EXPECT_EQ(names.Find(pOwner, texts[static_cast<std::size_t>(i)])->mId, id) << count;
        }
        for (int i = 0; i < count; ++i) {
            const int place = i % 2 == 0 ? i / 2 : count - 1 - i / 2; // from both ends
            names.Remove(names.Find(static_cast<std::uint32_t>(place + 1)));
            EXPECT_EQ(names.Find(static_cast<std::uint32_t>(place + 1)), nullptr);
            EXPECT_EQ(names.Find(pOwner, texts[static_cast<std::size_t>(place)]) != nullptr, place == 0);
        }
        names.Remove(names.Find(5000));
        EXPECT_EQ(names.Find(pOwner, texts[0]), nullptr);
        EXPECT_EQ(pOwner->GetReferenceCount(), 1);
    }
}

TEST(ReplicationIdsTest, IdsFarApartAreFoundAndForgotten)
{
    ObjectIdTable objects;
    std::vector<Ptr<Object>> owners;
    for (std::uint32_t i = 0; i < 5000; ++i) {
        owners.push_back(MakePlain());
        objects.Record(i * 858993u + 15, owners.back());
    }
    objects.Record(0xFFFFFFFFu, owners.emplace_back(MakePlain()));
    for (std::uint32_t i = 0; i < 5000; ++i) {
        EXPECT_EQ(objects.Find(i * 858993u + 15), owners[i]);
        EXPECT_EQ(objects.Find(i * 858993u + 14), nullptr);
        EXPECT_TRUE(objects.Remove(owners[i]));
        EXPECT_EQ(objects.Find(i * 858993u + 15), nullptr);
    }
    EXPECT_EQ(objects.Find(0xFFFFFFFFu), owners.back());
}

// Whoever is forgotten afterwards takes nobody else's id along.
TEST(ReplicationIdsTest, AnObjectThatGotNoIdForLackOfMemoryHasNone)
{
    for (std::uint32_t numObjects = 0; numObjects < 40; ++numObjects) { // so that pools are full at times
        bool bFailed = true;
        for (int after = 0; bFailed; ++after) {
            IdCounter next;
            ObjectIdTable objects;
            for (std::uint32_t i = 0; i < numObjects; ++i) {
                objects.Assign(MakePlain(), next);
            }
            const Ptr<Object> pNew = MakePlain();
            const Ptr<Object> pNeighbour = MakePlain();
            try {
                const FailingNew failing(1, after);
                objects.Record(1000, pNew);
                bFailed = failing.HasFailed();
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(objects.Find(pNew), NO_ID);
            }
            EXPECT_EQ(objects.Find(1000) == nullptr, bFailed);
            objects.Record(1001, pNeighbour); // in the same page of ids
            EXPECT_EQ(objects.Remove(pNew), !bFailed);
            EXPECT_EQ(objects.Find(1001), pNeighbour);
            EXPECT_EQ(pNew->GetReferenceCount(), 1);
        }
    }
}

TEST(ReplicationIdsTest, ANameThatGotNoIdForLackOfMemoryHasNone)
{
    for (std::uint32_t numNames = 0; numNames < 40; ++numNames) { // beyond the names that are found in turn
        bool bFailed = true;
        for (int after = 0; bFailed; ++after) {
            IdCounter next;
            NamedIdTable names;
            const Ptr<Object> pOwner = MakePlain();
            const Ptr<Object> pNeighbour = MakePlain();
            for (std::uint32_t i = 0; i < numNames; ++i) {
                names.Assign(pOwner, String::Format("N%u", i), next);
            }
            const String name("new");
            try {
                const FailingNew failing(1, after);
                names.Record(1000, pOwner, name);
                bFailed = failing.HasFailed();
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(names.Find(pOwner, name), nullptr);
                EXPECT_EQ(pOwner->GetReferenceCount(), numNames == 0 ? 1 : 2);
            }
            EXPECT_EQ(names.Find(1000) == nullptr, bFailed);
            names.Record(1001, pNeighbour, name); // in the same page of ids
            names.RemoveOwner(pOwner);
            EXPECT_EQ(names.Find(1000), nullptr);
            ASSERT_NE(names.Find(1001), nullptr);
            EXPECT_EQ(names.Find(pNeighbour, name), names.Find(1001));
            EXPECT_EQ(pOwner->GetReferenceCount(), 1);
        }
    }
}

TEST(ReplicationIdsTest, ANameKeepsItsFirstIdWhereThereIsNoMemoryForASecond)
{
    for (std::uint32_t numNames = 0; numNames < 40; ++numNames) {
        bool bFailed = true;
        for (int after = 0; bFailed; ++after) {
            IdCounter next;
            NamedIdTable names;
            const Ptr<Object> pOwner = MakePlain();
            NamedId* const pFirst = names.Assign(pOwner, "twice", next);
            for (std::uint32_t i = 0; i < numNames; ++i) {
                names.Assign(pOwner, String::Format("N%u", i), next);
            }
            NamedId* pSecond = nullptr;
            try {
                const FailingNew failing(1, after);
                pSecond = names.Record(1000, pOwner, "twice");
                bFailed = failing.HasFailed();
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(names.Find(1000), nullptr);
            }
            EXPECT_EQ(names.Find(pOwner, "twice"), bFailed ? pFirst : pSecond);
            EXPECT_EQ(names.Find(1), pFirst);
        }
    }
}
