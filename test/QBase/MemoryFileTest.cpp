#include "QBase/MemoryFile.h"

#include "QBase/Memory.h"

#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

using namespace QBase;
using ::testing::EndsWith;
using ::testing::StartsWith;

namespace
{

constexpr int READ = File::MODE_READ;
constexpr int WRITE = File::MODE_WRITE;
constexpr int BOTH = READ | WRITE;

Ptr<MemoryFile> MakeFile()
{
    return MemoryFile::Construct(Value::Null);
}

Ptr<MemoryFile> OpenFile(int flags, const char* pName = "a")
{
    Ptr<MemoryFile> pFile = MakeFile();
    EXPECT_TRUE(pFile->Open(pName, flags));
    return pFile;
}

// A file that holds and stands behind `bytes`.
Ptr<MemoryFile> FileWith(const std::string& bytes)
{
    Ptr<MemoryFile> pFile = OpenFile(BOTH);
    EXPECT_EQ(pFile->Write(bytes.data(), static_cast<int>(bytes.size())), static_cast<int>(bytes.size()));
    return pFile;
}

std::string ReadAll(MemoryFile* pFile)
{
    pFile->SeekStart(0);
    std::string bytes(static_cast<std::size_t>(pFile->GetSize()), '\0');
    EXPECT_EQ(pFile->Read(bytes.data(), pFile->GetSize()), pFile->GetSize());
    return bytes;
}

// The bytes allocated for buffers since it was made. It keeps the names of files, which count alike.
class CapacityCount
{
public:
    std::int64_t Get() const { return Memory::GetBytesAllocated(ALLOC_UNKNOWN) - mBytes; }

private:
    String mNames[2] = {"a", "b"};
    std::int64_t mBytes = Memory::GetBytesAllocated(ALLOC_UNKNOWN);
};

} // namespace

TEST(MemoryFileTest, ANewFileIsEmptyAndClosed)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = MakeFile();
    char byte = 'x';

    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_EQ(pFile->GetFilename(), String::Null);
    EXPECT_EQ(pFile->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to read from memory file '' - not opened in read mode"));
    EXPECT_EQ(pFile->Write(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to write to memory file '' - not opened in write mode"));
}

TEST(MemoryFileTest, AStringNamesTheFileAndLetsItBeRead)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value(String("named")));
    char byte = 'x';

    EXPECT_EQ(pFile->GetFilename(), String("named"));
    EXPECT_EQ(pFile->Read(&byte, 0), 0);
    EXPECT_EQ(pFile->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to read from memory file 'named' - out of bounds "
                                               "trying to read 1/0 bytes at offset 0"));
    EXPECT_EQ(pFile->Write(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("'named' - not opened in write mode"));
}

TEST(MemoryFileTest, AValueThatIsNoStringLeavesTheFileClosed)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value(3));
    char byte = 'x';

    EXPECT_EQ(pFile->Read(&byte, 0), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("'' - not opened in read mode"));
}

TEST(MemoryFileTest, TenBytesAreReadBackFromACapacityOf1024)
{
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = OpenFile(BOTH);
    EXPECT_EQ(capacity.Get(), 0);

    EXPECT_EQ(pFile->Write("0123456789", 10), 10);

    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->Tell(), 10);
    EXPECT_EQ(capacity.Get(), 1024);
    char bytes[10];
    pFile->SeekStart(0);
    EXPECT_EQ(pFile->Read(bytes, 10), 10);
    EXPECT_EQ(std::string(bytes, 10), "0123456789");
}

TEST(MemoryFileTest, CapacityGrowsByTheShortfallBut1024AtLeast)
{
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = OpenFile(WRITE);
    const std::string bytes(5000, 'x');

    pFile->Write(bytes.data(), 1024);
    EXPECT_EQ(capacity.Get(), 1024);
    pFile->Write(bytes.data(), 1);
    EXPECT_EQ(capacity.Get(), 2048);
    pFile->Write(bytes.data(), 2048);
    EXPECT_EQ(capacity.Get(), 3073);
    pFile->Write(bytes.data(), 5000);
    EXPECT_EQ(capacity.Get(), 8073);
    pFile->Close();
    EXPECT_EQ(capacity.Get(), 0);
}

TEST(MemoryFileTest, ManySmallWritesCostLinearTime)
{
    Ptr<MemoryFile> pFile = OpenFile(BOTH);
    constexpr int numWrites = (64 << 20) / 4;

    for (int i = 0; i < numWrites; ++i) {
        if (pFile->Write(&i, 4) != 4) {
            FAIL() << "at write " << i;
        }
    }

    EXPECT_EQ(pFile->GetSize(), 64 << 20);
    int last = 0;
    pFile->SeekEnd(-4);
    pFile->Read(&last, 4);
    EXPECT_EQ(last, numWrites - 1);
}

TEST(MemoryFileTest, WritingInTheMiddleKeepsTheSize)
{
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    pFile->SeekStart(4);
    EXPECT_EQ(pFile->Write("ab", 2), 2);

    EXPECT_EQ(pFile->Tell(), 6);
    EXPECT_EQ(ReadAll(pFile), "0123ab6789");
}

TEST(MemoryFileTest, OpenStartsEmptyAgainAndFreesTheOldBytes)
{
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = FileWith("old");

    EXPECT_TRUE(pFile->Open("b", BOTH));

    EXPECT_EQ(capacity.Get(), 0);
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_EQ(pFile->GetFilename(), String("b"));
}

TEST(MemoryFileTest, AnEmptyNameKeepsTheOneBefore)
{
    Ptr<MemoryFile> pFile = OpenFile(BOTH, "first");

    EXPECT_TRUE(pFile->Open(String::Null, READ));
    EXPECT_EQ(pFile->GetFilename(), String("first"));
    EXPECT_TRUE(pFile->Open("", READ));
    EXPECT_EQ(pFile->GetFilename(), String("first"));
    EXPECT_TRUE(pFile->OpenBuffer("x", 1, String::Null, READ));
    EXPECT_EQ(pFile->GetFilename(), String("first"));
}

TEST(MemoryFileTest, OpenNeedsAFlag)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = MakeFile();

    EXPECT_FALSE(pFile->Open("a", 0));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open memory file 'a' - invalid open flags"));
    EXPECT_FALSE(pFile->Open("b", 4));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open memory file 'b' - invalid open flags"));
    EXPECT_FALSE(pFile->OpenBuffer("x", 1, "c", -4));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open memory file 'c' - invalid open flags"));
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->GetFilename(), String("c"));
}

TEST(MemoryFileTest, OpenBufferNeedsABuffer)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = MakeFile();

    for (int size : {0, -1, INT_MIN}) {
        EXPECT_FALSE(pFile->OpenBuffer("x", size, "a", READ));
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open memory file 'a' - invalid buffer"));
    }
    EXPECT_FALSE(pFile->OpenBuffer(nullptr, 1, "a", READ));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open memory file 'a' - invalid buffer"));
    EXPECT_FALSE(pFile->OpenBuffer(nullptr, 0, "a", 0));
    EXPECT_THAT(messages.TakeError(), EndsWith("invalid open flags"));
    EXPECT_EQ(pFile->GetSize(), 0);
}

TEST(MemoryFileTest, ACallersBufferIsReadInPlaceAndNeverFreed)
{
    const CapacityCount capacity;
    char buffer[] = "0123456789";
    Ptr<MemoryFile> pFile = MakeFile();

    EXPECT_TRUE(pFile->OpenBuffer(buffer, 10, "a", READ));
    EXPECT_EQ(capacity.Get(), 0);
    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->BytesAvailable(), 10);
    buffer[0] = 'x';
    EXPECT_EQ(ReadAll(pFile), "x123456789");
    pFile->Close();
    pFile = nullptr;
    EXPECT_STREQ(buffer, "x123456789");
}

TEST(MemoryFileTest, WritingPastTheEndOfACallersBufferFailsWhole)
{
    CapturedMessages messages;
    char buffer[] = "0123456789";
    Ptr<MemoryFile> pFile = MakeFile();
    pFile->OpenBuffer(buffer, 10, "a", BOTH);

    EXPECT_EQ(pFile->Write("abcdef", 6), 6);
    EXPECT_EQ(pFile->Write("ABCDE", 5), 0);

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to memory file 'a' - out of bounds trying to "
                                               "write 5/10 bytes at offset 6"));
    EXPECT_STREQ(buffer, "abcdef6789");
    EXPECT_EQ(pFile->Tell(), 6);
    EXPECT_EQ(pFile->Write("WXYZ", 4), 4);
    EXPECT_STREQ(buffer, "abcdefWXYZ");
}

TEST(MemoryFileTest, ACallersBufferOpenedForWritingAloneKeepsTheSizeZero)
{
    CapturedMessages messages;
    char buffer[16] = {};
    Ptr<MemoryFile> pFile = MakeFile();
    pFile->OpenBuffer(buffer, 16, "a", WRITE);

    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->Write("01234", 5), 5);
    EXPECT_EQ(pFile->Write("56789", 5), 5);

    EXPECT_STREQ(buffer, "0123456789");
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->Tell(), 10);
    EXPECT_EQ(pFile->BytesAvailable(), -10);
    pFile->SeekStart(5);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek memory file 'a' - out of bounds at 5/0"));
    EXPECT_EQ(pFile->Tell(), 0);
}

TEST(MemoryFileTest, WritingToACallersBufferOpenedForBothKeepsItsSize)
{
    char buffer[] = "0123456789";
    Ptr<MemoryFile> pFile = MakeFile();
    pFile->OpenBuffer(buffer, 10, "a", BOTH);

    pFile->Write("abc", 3);

    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->BytesAvailable(), 7);
    EXPECT_EQ(ReadAll(pFile), "abc3456789");
}

TEST(MemoryFileTest, ReadingNeedsTheReadFlagAndWritingTheWriteFlag)
{
    CapturedMessages messages;
    char byte = 'x';
    Ptr<MemoryFile> pFile = OpenFile(WRITE, "w");
    EXPECT_EQ(pFile->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to read from memory file 'w' - not opened in read mode"));

    pFile = OpenFile(READ, "r");
    EXPECT_EQ(pFile->Write(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to write to memory file 'r' - not opened in write mode"));
}

TEST(MemoryFileTest, ReadingPastTheEndTakesNothing)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("0123456789");
    char bytes[11] = {};
    pFile->SeekStart(3);

    EXPECT_EQ(pFile->Read(bytes, 8), 0);

    const std::string message = messages.TakeError();
    EXPECT_THAT(message, StartsWith("ERROR: MemoryFile (line "));
    EXPECT_THAT(message, EndsWith("Failed to read from memory file 'a' - out of bounds trying to read 8/10 "
                                  "bytes at offset 3"));
    EXPECT_EQ(pFile->Tell(), 3);
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(pFile->Read(bytes, 7), 7);
    EXPECT_STREQ(bytes, "3456789");
}

TEST(MemoryFileTest, WrongCountsReadNothing)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("0123456789");
    char byte = 'x';
    pFile->SeekStart(3);

    EXPECT_EQ(pFile->Read(&byte, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds trying to read -1/10 bytes at offset 3"));
    EXPECT_EQ(pFile->Read(&byte, INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("trying to read -2147483648/10 bytes at offset 3"));
    EXPECT_EQ(pFile->Read(&byte, INT_MAX), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("trying to read 2147483647/10 bytes at offset 3"));
    EXPECT_EQ(pFile->Tell(), 3);
    EXPECT_EQ(byte, 'x');
}

TEST(MemoryFileTest, WrongCountsWriteNothing)
{
    CapturedMessages messages;
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    EXPECT_EQ(pFile->Write("x", -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to memory file 'a' - out of bounds trying to "
                                               "write -1/2147483647 bytes at offset 10"));
    EXPECT_EQ(pFile->Write("x", INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("write -2147483648/2147483647 bytes at offset 10"));
    EXPECT_EQ(pFile->Write("x", INT_MAX), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("write 2147483647/2147483647 bytes at offset 10"));
    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->Tell(), 10);
    EXPECT_EQ(capacity.Get(), 1024);

    char buffer[] = "0123456789";
    pFile->OpenBuffer(buffer, 10, "b", BOTH);
    pFile->SeekStart(4);
    for (int count : {-1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(pFile->Write("x", count), 0);
        EXPECT_THAT(messages.TakeError(), EndsWith("/10 bytes at offset 4"));
    }
    EXPECT_STREQ(buffer, "0123456789");
}

TEST(MemoryFileTest, AWriteWithoutMemoryChangesNothing)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("0123456789");
    const std::string bytes(2000, 'x');

    CapturedConsole console; // where the allocator speaks
    Memory::SetFailureHook([](unsigned size, AllocType) { return size == 2048; });
    const int numWritten = pFile->Write(bytes.data(), 2000);
    Memory::SetFailureHook(nullptr);
    console.TakeErrors();

    EXPECT_EQ(numWritten, 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to memory file 'a' - out of memory"));
    EXPECT_EQ(pFile->Tell(), 10);
    EXPECT_EQ(ReadAll(pFile), "0123456789");
}

TEST(MemoryFileTest, CountsOfZeroDoNothing)
{
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = OpenFile(BOTH);

    EXPECT_EQ(pFile->Write(nullptr, 0), 0);
    EXPECT_EQ(pFile->Read(nullptr, 0), 0);
    EXPECT_EQ(capacity.Get(), 0);
    EXPECT_EQ(pFile->GetSize(), 0);
}

TEST(MemoryFileTest, SeeksCountFromTheirOrigin)
{
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    pFile->SeekStart(4);
    EXPECT_EQ(pFile->Tell(), 4);
    pFile->SeekCurrent(3);
    EXPECT_EQ(pFile->Tell(), 7);
    pFile->SeekCurrent(-6);
    EXPECT_EQ(pFile->Tell(), 1);
    pFile->SeekEnd(-2);
    EXPECT_EQ(pFile->Tell(), 8);
    pFile->SeekEnd(0);
    EXPECT_EQ(pFile->Tell(), 10);
    EXPECT_EQ(pFile->BytesAvailable(), 0);
}

TEST(MemoryFileTest, SeeksOutsideTheFileStopAtItsEnds)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    pFile->SeekStart(-1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek memory file 'a' - out of bounds at -1/10"));
    EXPECT_EQ(pFile->Tell(), 0);
    pFile->SeekStart(11);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek memory file 'a' - out of bounds at 11/10"));
    EXPECT_EQ(pFile->Tell(), 10);
    pFile->SeekCurrent(-11);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds at -1/10"));
    EXPECT_EQ(pFile->Tell(), 0);
    pFile->SeekEnd(1);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds at 11/10"));
    EXPECT_EQ(pFile->Tell(), 10);
}

TEST(MemoryFileTest, SeeksBeyond32BitsStopAtTheEndsToo)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    pFile->SeekCurrent(INT_MAX);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds at 2147483647/10"));
    EXPECT_EQ(pFile->Tell(), 10);
    pFile->SeekEnd(INT_MAX);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds at 2147483647/10"));
    EXPECT_EQ(pFile->Tell(), 10);
    pFile->SeekCurrent(INT_MIN);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds at -2147483638/10"));
    EXPECT_EQ(pFile->Tell(), 0);
}

TEST(MemoryFileTest, CloseForgetsEverythingButTheName)
{
    CapturedMessages messages;
    const CapacityCount capacity;
    Ptr<MemoryFile> pFile = FileWith("0123456789");

    pFile->Close();
    pFile->Close();

    EXPECT_EQ(capacity.Get(), 0);
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_EQ(pFile->GetFilename(), String("a"));
    EXPECT_EQ(pFile->Write("x", 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("'a' - not opened in write mode"));
}

TEST(MemoryFileTest, SetFilenameNamesTheFileInMessages)
{
    CapturedMessages messages;
    Ptr<MemoryFile> pFile = FileWith("x");

    pFile->SetFilename("renamed");

    EXPECT_EQ(ReadAll(pFile), "x");
    pFile->SeekStart(2);
    EXPECT_THAT(messages.TakeError(), EndsWith("'renamed' - out of bounds at 2/1"));
}

TEST(MemoryFileTest, ACloneHasItsOwnCopyOfOwnedBytes)
{
    for (bool bSourceFirst : {true, false}) {
        const CapacityCount capacity;
        MemoryFile* pSource = MemoryFile::Construct(Value::Null);
        pSource->Open("a", BOTH);
        pSource->Write("0123456789", 10);
        pSource->SeekStart(4);

        MemoryFile* pClone = pSource->Clone();

        EXPECT_EQ(capacity.Get(), 2048);
        EXPECT_EQ(pClone->GetFilename(), String("a"));
        EXPECT_EQ(pClone->Tell(), 4);
        pSource->Write("xx", 2);
        EXPECT_EQ(ReadAll(pClone), "0123456789");
        delete (bSourceFirst ? pSource : pClone);
        MemoryFile* pLeft = bSourceFirst ? pClone : pSource;
        EXPECT_EQ(ReadAll(pLeft), bSourceFirst ? "0123456789" : "0123xx6789");
        pLeft->Write("more", 4);
        EXPECT_EQ(pLeft->GetSize(), 14);
        delete pLeft;
        EXPECT_EQ(capacity.Get(), 0);
    }
}

TEST(MemoryFileTest, ACloneWithoutMemoryIsReportedAndClosed)
{
    const Ptr<MemoryFile> pSource = MemoryFile::Construct(Value::Null);
    pSource->Open("a", BOTH);
    const std::string bytes(20000, 'x');
    pSource->Write(bytes.data(), 20000);

    CapturedMessages messages;
    MemoryFile* pClone = nullptr;
    {
        CapturedConsole console; // where the allocator speaks
        Memory::SetFailureHook([](unsigned size, AllocType) { return size >= 20000; });
        pClone = pSource->Clone();
        Memory::SetFailureHook(nullptr);
        console.TakeErrors();
    }
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to copy memory file 'a' - out of memory"));
    EXPECT_EQ(pClone->GetSize(), 0);
    delete pClone;
    EXPECT_EQ(pSource->GetSize(), 20000);
}

TEST(MemoryFileTest, ACloneSharesACallersBuffer)
{
    char buffer[] = "0123456789";
    MemoryFile* pSource = MemoryFile::Construct(Value::Null);
    pSource->OpenBuffer(buffer, 10, "a", BOTH);

    MemoryFile* pClone = pSource->Clone();
    delete pSource;

    pClone->Write("ab", 2);
    EXPECT_STREQ(buffer, "ab23456789");
    delete pClone;
}

TEST(MemoryFileTest, AFileOnTheStackWithoutReferencesSurvivesReflectedCalls)
{
    struct OnStack : MemoryFile
    {
        OnStack() : MemoryFile(Value::Null) {}
    };
    OnStack file;

    EXPECT_TRUE(file.Call("Open", String("a"), BOTH).Get<bool>());
    file.Write("0123456789", 10);
    file.Call("SeekStart", 4);

    EXPECT_EQ(file.Call("Tell").Get<int>(), 4);
    EXPECT_EQ(file.Call("BytesAvailable").Get<int>(), 6);
    EXPECT_EQ(file.GetReferenceCount(), 0);
}

TEST(MemoryFileTest, AssignmentCopiesTheContentsAndKeepsTheCount)
{
    struct OnStack : MemoryFile
    {
        OnStack() : MemoryFile(Value::Null) {}
    };
    const CapacityCount capacity;
    Ptr<MemoryFile> pHolder;
    OnStack source;
    OnStack target;
    source.Open("a", BOTH);
    source.Write("abc", 3);
    source.Access();
    target.Open("b", BOTH);
    target.Write("0123456789", 10);

    target = source;
    const MemoryFile& self = target;
    target = static_cast<const OnStack&>(self);

    EXPECT_EQ(target.GetReferenceCount(), 0);
    EXPECT_EQ(source.GetReferenceCount(), 1);
    EXPECT_EQ(ReadAll(&target), "abc");
    EXPECT_EQ(target.GetFilename(), String("a"));
    EXPECT_EQ(capacity.Get(), 2048);
}
