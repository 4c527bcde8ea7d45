#include "QBase/Stream.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Global.h"

#include "Support/CapturedMessages.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace QBase;
using ::testing::EndsWith;

namespace
{

// What a host writes to send bytes its own way.
struct Sink : Stream
{
    Sink() : Stream(Value::Null) {}
    int Write(const void*, int count) override { return count; }
    int Read(void*, int) override { return 0; }
    int BytesAvailable() override { return 42; }
};

} // namespace

TEST(StreamTest, CannotBeConstructedOrCloned)
{
    CapturedMessages messages;
    Sink sink;

    EXPECT_EQ(Stream::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_TRUE(Construct("QBase", "Stream", Value::Null) == nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_EQ(sink.Clone(), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
}

TEST(StreamTest, IsAnObjectThatTellsTheBytesAvailable)
{
    Sink sink;

    EXPECT_EQ(Stream::ClassName(), String("Stream"));
    EXPECT_EQ(Stream::ModuleName(), String("QBase"));
    EXPECT_EQ(Stream::ClassTable()->GetBaseClass(), Object::ClassTable());
    EXPECT_EQ(sink.Call("BytesAvailable").Get<int>(), 42);
    EXPECT_EQ(sink.GetReferenceCount(), 0);
}

TEST(StreamTest, ItsOperationsFollowThoseOfObjectInOrder)
{
    EXPECT_EQ(VirtualSlot(&Stream::Read), VirtualSlot(&Stream::Write) + 1);
    EXPECT_EQ(VirtualSlot(&Stream::BytesAvailable), VirtualSlot(&Stream::Read) + 1);
    EXPECT_GT(VirtualSlot(&Stream::Write), VirtualSlot(&Object::Execute));
}

TEST(StreamTest, AssignmentKeepsCountsAndInstanceTables)
{
    Sink first;
    Sink second;
    first.AddPropertyValueFromValue("Mark", 1);
    first.Access();

    second = first;

    EXPECT_EQ(first.GetReferenceCount(), 1);
    EXPECT_EQ(second.GetReferenceCount(), 0);
    EXPECT_EQ(second.GetInstanceTable(), nullptr);
    EXPECT_NE(first.GetInstanceTable(), nullptr);
}
