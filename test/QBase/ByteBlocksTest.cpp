#include "QBase/ByteBlocks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QBase;

namespace
{

std::string ContentsOf(ByteBlocks& rBlocks)
{
    ByteBuffer buffer;
    rBlocks.MoveTo(buffer);
    return std::string(buffer.GetText());
}

} // namespace

TEST(ByteBlocksTest, WithoutBytesThereIsNothing)
{
    ByteBlocks blocks;
    EXPECT_EQ(blocks.GetSize(), 0u);
    EXPECT_EQ(ContentsOf(blocks), "");
}

TEST(ByteBlocksTest, BytesComeBackInTheirOrderAndCanBeChangedWhereTheyStand)
{
    ByteBlocks blocks;
    std::string expected;
    std::vector<unsigned> places;
    for (int i = 0; i < 30000; ++i) {
        const std::size_t size = static_cast<std::size_t>(i % 21) + 1;
        unsigned char* const p = blocks.MakeRoom(21); // of which not all is taken
        places.push_back(blocks.GetPlace());
        for (std::size_t j = 0; j < size; ++j) {
            p[j] = static_cast<unsigned char>(i);
        }
        blocks.Advance(size);
        expected.append(size, static_cast<char>(i));
        ASSERT_EQ(blocks.GetSize(), expected.size());
    }
    std::size_t offset = 0;
    for (int i = 0; i < 30000; ++i) {
        *blocks.GetAt(places[static_cast<std::size_t>(i)]) = 'x';
        expected[offset] = 'x';
        offset += static_cast<std::size_t>(i % 21) + 1;
    }
    EXPECT_GT(places.back(), expected.size()) << "in one block alone";
    EXPECT_EQ(ContentsOf(blocks), expected);
}
