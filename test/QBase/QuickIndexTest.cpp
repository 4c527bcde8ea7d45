#include "QBase/QuickIndex.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace QBase;

namespace
{

struct Name
{
    std::string mText;
};

struct NameTraits
{
    using Entry = Name;
    static std::string_view Key(const Name& name) { return name.mText; }
};

struct NameQuickIndex : QuickIndex<NameTraits>
{
    ~NameQuickIndex() { Free(); }
};

std::vector<Name> MakeNames(int count)
{
    std::vector<Name> names;
    for (int i = 0; i < count; ++i) {
        names.push_back({"name " + std::to_string(i)});
    }
    return names;
}

// Whoever knows the hash can make texts of one.
constexpr std::uint64_t HASH = 0;

std::vector<Name> NamesOfOneHash(int count)
{
    std::vector<Name> names(static_cast<std::size_t>(count));
    for (int i = 1; i <= count; ++i) {
        std::uint64_t words[2] = {static_cast<std::uint64_t>(i), (sizeof(words) ^ i) * 0x9E3779B97F4A7C15u};
        words[1] ^= words[1] >> 32;
        std::string& rText = names[static_cast<std::size_t>(i - 1)].mText;
        rText.assign(reinterpret_cast<const char*>(words), sizeof(words));
        EXPECT_EQ(QuickHash(rText), HASH);
    }
    return names;
}

} // namespace

TEST(QuickIndexTest, TheHashReadsEveryByteOfTextsOfAnyLength)
{
    for (std::size_t length = 1; length <= 40; ++length) {
        const std::string text(length, 'a');
        for (std::size_t i = 0; i < length; ++i) {
            std::string changed = text;
            changed[i] = 'b';
            EXPECT_NE(QuickHash(changed), QuickHash(text)) << length << " bytes, byte " << i;
        }
        EXPECT_NE(QuickHash(text), QuickHash(text + 'a')) << length << " bytes";
    }
    EXPECT_NE(QuickHash(""), QuickHash(std::string_view("\0", 1)));
}

TEST(QuickIndexTest, AnEmptyIndexFindsAndRemovesNothing)
{
    NameQuickIndex index;
    const Name name{"name"};
    index.Remove(QuickHash("name"), &name);
    EXPECT_EQ(index.Find(QuickHash("name"), "name"), nullptr);
}

TEST(QuickIndexTest, WhatItFindsIsTheEntryOfThatTextAndNoneIsLeftOutByChance)
{
    std::vector<Name> names = MakeNames(100000);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(QuickHash(rName.mText), &rName);
    }
    int numMissing = 0;
    for (const Name& name : names) {
        const Name* const pFound = index.Find(QuickHash(name.mText), name.mText);
        numMissing += pFound == nullptr ? 1 : 0;
        if (pFound != nullptr) {
            ASSERT_EQ(pFound, &name);
        }
    }
    EXPECT_EQ(numMissing, 0);
    EXPECT_TRUE(index.HasAll());
    EXPECT_EQ(index.Find(QuickHash("name 100000"), "name 100000"), nullptr);
}

TEST(QuickIndexTest, WhatWasRemovedIsNotFoundAndTheRestIs)
{
    std::vector<Name> names = MakeNames(100);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(QuickHash(rName.mText), &rName);
    }
    for (std::size_t i = 0; i < names.size(); i += 2) {
        index.Remove(QuickHash(names[i].mText), &names[i]);
    }
    int numFound = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Name* const pFound = index.Find(QuickHash(names[i].mText), names[i].mText);
        if (i % 2 == 0) {
            EXPECT_EQ(pFound, nullptr) << i;
        } else {
            numFound += pFound == &names[i] ? 1 : 0;
        }
    }
    EXPECT_EQ(numFound, 50);
}

// Texts made to collide cost no more than others: those that find no place are left to the table.
TEST(QuickIndexTest, EntriesOfOneHashFillTheirPlacesAndNoMore)
{
    std::vector<Name> names = NamesOfOneHash(10000);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(HASH, &rName);
    }
    int numFound = 0;
    for (const Name& name : names) {
        numFound += index.Find(HASH, name.mText) == &name ? 1 : 0;
    }
    EXPECT_EQ(numFound, 20);
    EXPECT_FALSE(index.HasAll());
}

TEST(QuickIndexTest, ItKnowsWhetherAnyEntryIsLeftOut)
{
    std::vector<Name> names = NamesOfOneHash(22); // two more than there are places for a hash
    NameQuickIndex index;
    for (std::size_t i = 0; i < names.size(); ++i) {
        index.Insert(HASH, &names[i]);
        EXPECT_EQ(index.HasAll(), i < 20) << i;
        EXPECT_EQ(index.Find(HASH, names[i].mText) != nullptr, i < 20) << i;
    }
    index.Remove(HASH, &names[21]);
    EXPECT_FALSE(index.HasAll());
    index.Remove(HASH, &names[20]);
    EXPECT_TRUE(index.HasAll());
    index.Insert(HASH, &names[20]);
    EXPECT_FALSE(index.HasAll());
    index.Free();
    EXPECT_TRUE(index.HasAll());
}

TEST(QuickIndexTest, AnEntryThatWasLeftOutIsInsertedWhenThereIsAPlace)
{
    std::vector<Name> names = NamesOfOneHash(21);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(HASH, &rName);
    }
    index.InsertLeftOut(HASH, &names[20]);
    EXPECT_EQ(index.Find(HASH, names[20].mText), nullptr);
    EXPECT_FALSE(index.HasAll());
    index.Remove(HASH, &names[3]);
    index.InsertLeftOut(HASH, &names[20]);
    EXPECT_EQ(index.Find(HASH, names[20].mText), &names[20]);
    EXPECT_TRUE(index.HasAll());
}

TEST(QuickIndexTest, AnEntryBehindAFullGroupIsFoundForAsLongAsItIsThere)
{
    std::vector<Name> names = NamesOfOneHash(6);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(HASH, &rName); // the sixth stands behind the five
    }
    index.Remove(HASH, &names[0]);
    EXPECT_EQ(index.Find(HASH, names[5].mText), &names[5]);
    index.Remove(HASH, &names[5]);
    EXPECT_EQ(index.Find(HASH, names[5].mText), nullptr);
    EXPECT_TRUE(index.HasAll());
}

TEST(QuickIndexTest, ATextMayBeLeftOutOnPurpose)
{
    std::vector<Name> names = NamesOfOneHash(2);
    NameQuickIndex index;
    index.Insert(HASH, &names[0]);
    index.LeaveOut(HASH, names[1].mText); // is not here
    EXPECT_TRUE(index.HasAll());
    index.LeaveOut(HASH, names[0].mText);
    EXPECT_EQ(index.Find(HASH, names[0].mText), nullptr);
    EXPECT_FALSE(index.HasAll());
    index.LeaveOut(); // an entry that was never inserted
    index.Remove(HASH, &names[0]);
    EXPECT_FALSE(index.HasAll());
    index.Remove(HASH, &names[1]);
    EXPECT_TRUE(index.HasAll());
}

TEST(QuickIndexTest, AFreedIndexHasForgottenEverythingAndFillsAgain)
{
    std::vector<Name> names = MakeNames(100);
    NameQuickIndex index;
    for (int round = 0; round < 2; ++round) {
        for (Name& rName : names) {
            index.Insert(QuickHash(rName.mText), &rName);
        }
        EXPECT_EQ(index.Find(QuickHash(names[99].mText), names[99].mText), &names[99]);
        index.Free();
        EXPECT_EQ(index.Find(QuickHash(names[99].mText), names[99].mText), nullptr);
    }
}
