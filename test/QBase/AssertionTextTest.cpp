// The texts of the library's assertions, which people search for and programs compare: each stands in the
// unit it is told of, whatever became of the code around it. What can be made to fail is also made to fail,
// in the tests of its class; some of these guard what no caller can break.

#include "QBase/Error.h"
#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/Paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

using testing::AnyOf;
using testing::HasSubstr;

namespace
{

struct AssertionText
{
    const char* mpPath;      // of the file that tells it
    const char* mpCondition; // its words
};

constexpr AssertionText TEXTS[] = {
    {"include/QBase/Array.h", "index >= 0 && index < mSize"},
    {"include/QBase/Array.h", "index >= 0 && index <= mSize"},
    {"source/QBase/MemoryBlock.h", "(((unsigned int)pBlockData) % 16) == 0"},
    {"source/QBase/Memory.cpp", "bIsDelete == pBlock->mbNeedDelete"},
    {"source/QBase/Memory.cpp", "pBlock->mType == type"},
    {"source/QBase/Memory.cpp", "spAllocList"},
    {"source/QBase/Memory.cpp", "type >= 0 && type < NUM_ALLOC_TYPES"},
    {"source/QBase/ObjectDiff.cpp", "pProperty->GetType() == pPropertyState->GetType()"},
    {"source/QBase/ObjectDiff.cpp", "!pPropertyState->IsArray()"},
    {"source/QBase/ObjectDiff.cpp", "pPropertyState->IsArray()"},
    {"source/QBase/ObjectDiff.cpp", "pPropertyState"},
    {"source/QBase/ObjectDiffSerializer.cpp", "frameSize == mpFrameStream->Tell()"},
    {"source/QBase/ObjectDiffSerializer.cpp", "commonFrameSize == mpFrameStream->Tell()"},
    {"source/QBase/ObjectDiffSerializer.cpp", "localFrameSize == mpFrameStream->Tell()"},
    {"source/QBase/ObjectDiffSerializer.cpp", "packet.index == index"},
    {"source/QBase/ObjectDiffSerializer.cpp", "packet.size == size"},
    {"source/QBase/String.cpp", "pEntryNode"},
    {"source/QBase/PacketApplier.cpp", "!FindObject( packet.objectId )"},
    {"source/QBase/PacketApplier.cpp", "!FindProperty( packet.propertyId )"},
    {"source/QBase/PacketApplier.cpp", "!FindTableChild( packet.tableChildId )"},
    {"source/QBase/PacketApplier.cpp", "!FindFunction( packet.functionId )"},
    {"source/QBase/PacketApplier.cpp", "childName != String::Null"},
    {"source/QBase/PacketApplier.cpp", "id.pObject"},
    {"source/QBase/PacketApplier.cpp", "pFunction"},
    {"source/QBase/PacketApplier.cpp", "pList->GetSize() == packet.index"},
    {"source/QBase/PacketApplier.cpp", "pObject"},
    {"source/QBase/PacketApplier.cpp", "pProperty"},
    {"source/QBase/PacketApplier.cpp", "pProperty->GetSize( pObject ) == packet.index"},
    {"source/QBase/PacketApplier.cpp", "pTable"},
    {"source/QBase/PacketApplier.cpp", "packet.index == index"},
    {"source/QBase/PacketApplier.cpp", "packet.propertyType == type"},
    {"source/QBase/PacketApplier.cpp", "packet.propertyType == value.GetType()"},
    {"source/QBase/PacketApplier.cpp", "packet.size == size"},
    {"source/QBase/PacketApplier.cpp", "packet.typeId < mRegisteredTypes.GetSize()"},
    {"source/QBase/PacketApplier.cpp", "type == arg.GetType()"},
};

std::string ReadSource(const char* pPath)
{
    std::ifstream file(SourcePath(pPath));
    EXPECT_TRUE(file) << pPath;
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

} // namespace

TEST(AssertionTextTest, EachTextStandsInItsUnit)
{
    for (const AssertionText& text : TEXTS) {
        const std::string condition = text.mpCondition;
        EXPECT_THAT(ReadSource(text.mpPath), AnyOf(HasSubstr("QBASE_ASSERT(" + condition + ")"),
                                                   HasSubstr("\"ASSERT( " + condition + " )\"")))
            << text.mpPath;
    }
}

// The two forms in which a source says its text.
TEST(AssertionTextTest, BothFormsTellTheWordsAsTheyStand)
{
    const int index = 2;
    const int size = 1;
    CapturedMessages messages;
    const ResumedAssertions resumed;
    EXPECT_FALSE(QBASE_ASSERT(index < size));
    EXPECT_FALSE(QBASE_ASSERT_TEXT(index < size, "Unit", 5, "ASSERT( other words )"));
    EXPECT_THAT(messages.TakeError(), testing::EndsWith("): ASSERT( index < size )"));
    EXPECT_EQ(messages.TakeError(), "ERROR: Unit (line 5): ASSERT( other words )");
    EXPECT_EQ(resumed.GetCount(), 2);
}
