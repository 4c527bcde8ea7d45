#include "QBase/File.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/MemoryFile.h"
#include "QBase/Property.h"
#include "QBase/SystemFile.h"

#include "Support/CapturedMessages.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace QBase;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace
{

// A file of 100 bytes that writes down how it is sought.
struct Tape : File
{
    Tape() : File(Value::Null) {}
    int Write(const void*, int count) override { return count; }
    int Read(void*, int count) override { return count; }
    bool Open(const String&, int) override { return true; }
    void Close() override {}
    int Tell() override { return 30; }
    int GetSize() override { return 100; }
    String GetFilename() override { return mFilename; }
    void SetFilename(const String& filename) override { mFilename = filename; }
    void Seek(SeekMode mode, int offset) override
    {
        mSeeks += std::to_string(mode) + ":" + std::to_string(offset) + " ";
    }

    static std::ptrdiff_t SeekSlot() { return VirtualSlot(&Tape::Seek); }

    String mFilename;
    std::string mSeeks;
};

} // namespace

TEST(FileTest, CannotBeConstructedOrCloned)
{
    CapturedMessages messages;
    Tape tape;

    EXPECT_EQ(File::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_EQ(tape.Clone(), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
}

TEST(FileTest, IsAStreamWithTheBytesUpToItsEndAvailable)
{
    Tape tape;

    EXPECT_EQ(File::ClassTable()->GetBaseClass(), Stream::ClassTable());
    EXPECT_EQ(SystemFile::ClassTable()->GetBaseClass(), File::ClassTable());
    EXPECT_EQ(MemoryFile::ClassTable()->GetBaseClass(), File::ClassTable());
    EXPECT_EQ(tape.BytesAvailable(), 70);
    EXPECT_EQ(tape.Call("BytesAvailable").Get<int>(), 70);
}

TEST(FileTest, SeeksNameTheirOriginByNumber)
{
    Tape tape;

    tape.SeekCurrent(-5);
    tape.SeekStart(6);
    tape.SeekEnd(-7);

    EXPECT_EQ(tape.mSeeks, "0:-5 1:6 2:-7 ");
}

TEST(FileTest, ItsOperationsFollowThoseOfStreamInOrder)
{
    EXPECT_EQ(VirtualSlot(&File::Open), VirtualSlot(&Stream::BytesAvailable) + 1);
    EXPECT_EQ(VirtualSlot(&File::Close), VirtualSlot(&File::Open) + 1);
    EXPECT_EQ(VirtualSlot(&File::Tell), VirtualSlot(&File::Open) + 2);
    EXPECT_EQ(VirtualSlot(&File::GetSize), VirtualSlot(&File::Open) + 3);
    EXPECT_EQ(VirtualSlot(&File::GetFilename), VirtualSlot(&File::Open) + 4);
    EXPECT_EQ(VirtualSlot(&File::SetFilename), VirtualSlot(&File::Open) + 5);
    EXPECT_EQ(Tape::SeekSlot(), VirtualSlot(&File::Open) + 6);
}

TEST(FileTest, ItsFunctionsAreCalledByName)
{
    Tape tape;

    EXPECT_TRUE(tape.Call("Open", String("a"), 1).Get<bool>());
    tape.Call("SeekCurrent", 1);
    tape.Call("SeekStart", 2);
    tape.Call("SeekEnd", 3);
    tape.Call("Close");
    EXPECT_EQ(tape.Call("Tell").Get<int>(), 30);
    EXPECT_EQ(tape.mSeeks, "0:1 1:2 2:3 ");
}

TEST(FileTest, ItsNameIsAProperty)
{
    Tape tape;

    tape.FindProperty("Filename")->Set(&tape, String("reel"));

    EXPECT_EQ(tape.mFilename, String("reel"));
    EXPECT_EQ(tape.FindProperty("Filename")->Get(&tape).AsString(), String("reel"));
}

TEST(FileTest, ItsModesAreConstants)
{
    CapturedMessages messages;
    Tape tape;
    Property* const pRead = tape.FindProperty("MODE_READ");
    Property* const pWrite = tape.FindProperty("MODE_WRITE");

    EXPECT_EQ(pRead->GetType(), Value::TYPE_INT);
    EXPECT_EQ(pRead->Get(&tape).Get<int>(), 1);
    EXPECT_EQ(pWrite->Get(&tape).Get<int>(), 2);
    pRead->Set(&tape, 5);
    EXPECT_THAT(messages.TakeError(), HasSubstr("Tried to Set Constant value"));
    pWrite->Set(&tape, 5);
    EXPECT_THAT(messages.TakeError(), HasSubstr("Tried to Set Constant value"));
    EXPECT_EQ(pRead->Get(&tape).Get<int>(), 1);
}
