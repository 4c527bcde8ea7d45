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

TEST(QuickIndexTest, WhatItFindsIsTheEntryOfThatTextAndHardlyAnyIsMissing)
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
    EXPECT_LT(numMissing, 2000);
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
    EXPECT_GE(numFound, 40);
}

// Texts made to collide cost no more than others: those that find no place are left to the table.
TEST(QuickIndexTest, EntriesOfOneHashFillTheirPlacesAndNoMore)
{
    std::vector<Name> names = MakeNames(10000);
    NameQuickIndex index;
    for (Name& rName : names) {
        index.Insert(7, &rName);
    }
    int numFound = 0;
    for (const Name& name : names) {
        numFound += index.Find(7, name.mText) == &name ? 1 : 0;
    }
    EXPECT_GE(numFound, 1);
    EXPECT_LE(numFound, 10);
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
