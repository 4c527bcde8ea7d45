#include "QBase/SystemFile.h"

#include "QBase/ClassInfoTable.h"

#include "Support/CapturedMessages.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>

using namespace QBase;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

namespace
{

constexpr int READ = File::MODE_READ;
constexpr int WRITE = File::MODE_WRITE;
constexpr int BOTH = READ | WRITE;

Ptr<SystemFile> MakeFile()
{
    return SystemFile::Construct(Value::Null);
}

Ptr<SystemFile> OpenFile(const String& path, int mode)
{
    Ptr<SystemFile> pFile = MakeFile();
    EXPECT_TRUE(pFile->Open(path, mode));
    return pFile;
}

std::string Take(SystemFile* pFile, int count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    EXPECT_EQ(pFile->Read(bytes.data(), count), count);
    return bytes;
}

void Put(SystemFile* pFile, const std::string& bytes)
{
    EXPECT_EQ(pFile->Write(bytes.data(), static_cast<int>(bytes.size())), static_cast<int>(bytes.size()));
}

struct OnStack : SystemFile
{
    OnStack() : SystemFile(Value::Null) {}
};

// A device that is always full, where the system has one.
const char* const FULL_DEVICE = "/dev/full";

} // namespace

TEST(SystemFileTest, WrittenBytesAreReadBack)
{
    TempFolder folder;
    const std::string all("line\r\nline\n\x1A\0end", 15);
    Ptr<SystemFile> pFile = OpenFile(folder.Path("a"), WRITE);
    Put(pFile, all);
    pFile->Close();
    EXPECT_EQ(folder.Read("a"), all);

    EXPECT_TRUE(pFile->Open(folder.Path("a"), READ));
    EXPECT_EQ(Take(pFile, 15), all);
}

TEST(SystemFileTest, NamesAreUtf8)
{
    TempFolder folder;
    OpenFile(folder.Path("\xC3\xA4 \xF0\x9F\x98\x80.bin"), WRITE)->Write("x", 1);

    EXPECT_EQ(folder.Read("\xC3\xA4 \xF0\x9F\x98\x80.bin"), "x");
}

TEST(SystemFileTest, OpenNeedsAMode)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "kept"));
    Ptr<SystemFile> pFile = MakeFile();

    for (int mode : {0, 4, -4, INT_MIN}) {
        EXPECT_FALSE(pFile->Open(path.c_str(), mode));
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open file '" + path + "' - invalid open mode"));
        EXPECT_EQ(pFile->Tell(), 0);
        EXPECT_THAT(messages.TakeError(), EndsWith(" - file not open"));
    }
    EXPECT_EQ(folder.Read("a"), "kept");
    EXPECT_TRUE(pFile->Open(path.c_str(), 4 | READ));
}

TEST(SystemFileTest, OpenNeedsAName)
{
    CapturedMessages messages;
    Ptr<SystemFile> pFile = MakeFile();

    EXPECT_FALSE(pFile->Open(String::Null, READ));
    const std::string message = messages.TakeError();
    EXPECT_THAT(message, StartsWith("ERROR: SystemFile (line "));
    EXPECT_THAT(message, EndsWith("Failed to open file 'null' - invalid filename"));
    EXPECT_FALSE(pFile->Open("", 0));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open file 'null' - invalid filename"));
}

TEST(SystemFileTest, AnEmptyNameOpensTheOneGivenBefore)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = MakeFile();
    pFile->SetFilename(folder.Write("a", "hello"));

    EXPECT_TRUE(pFile->Open("", READ));
    EXPECT_EQ(Take(pFile, 5), "hello");
    EXPECT_TRUE(pFile->Open(String::Null, READ));
    EXPECT_EQ(Take(pFile, 5), "hello");
    EXPECT_EQ(pFile->GetFilename(), folder.Path("a"));
}

TEST(SystemFileTest, AMissingFileOpensForWritingAloneOnly)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Path("a"));
    Ptr<SystemFile> pFile = MakeFile();

    for (int mode : {READ, BOTH}) {
        EXPECT_FALSE(pFile->Open(path.c_str(), mode));
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open file '" + path + "'"));
    }
    EXPECT_TRUE(pFile->Open(path.c_str(), WRITE));
    EXPECT_TRUE(SystemFile::Exists(path.c_str()));
}

TEST(SystemFileTest, ADirectoryCannotBeOpened)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Path(""));
    Ptr<SystemFile> pFile = MakeFile();

    for (int mode : {READ, WRITE, BOTH}) {
        EXPECT_FALSE(pFile->Open(path.c_str(), mode));
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open file '" + path + "'"));
    }
}

TEST(SystemFileTest, OpeningForBothKeepsTheContentsAndForWritingAloneDropsThem)
{
    TempFolder folder;
    const String path = folder.Write("a", "0123456789");

    Ptr<SystemFile> pFile = OpenFile(path, BOTH);
    EXPECT_EQ(pFile->GetSize(), 10);
    Put(pFile, "ab");
    pFile->Close();
    EXPECT_EQ(folder.Read("a"), "ab23456789");

    pFile->Open(path, WRITE);
    EXPECT_EQ(pFile->GetSize(), 0);
    pFile->Close();
    EXPECT_EQ(folder.Read("a"), "");
}

TEST(SystemFileTest, OpenClosesWhatWasOpen)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Path("a"), WRITE);
    Put(pFile, "first");

    EXPECT_TRUE(pFile->Open(folder.Path("b"), WRITE));

    EXPECT_EQ(folder.Read("a"), "first");
    EXPECT_EQ(pFile->GetFilename(), folder.Path("b"));
}

TEST(SystemFileTest, TheLastReferenceClosesTheFile)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Path("a"), WRITE);
    Put(pFile, "saved");

    pFile = nullptr;

    EXPECT_EQ(folder.Read("a"), "saved");
}

TEST(SystemFileTest, EveryOperationOnAClosedFileIsReported)
{
    CapturedMessages messages;
    Ptr<SystemFile> pFile = MakeFile();
    pFile->SetFilename("a");
    char byte = 'x';

    EXPECT_EQ(pFile->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to read from file 'a' - file not open"));
    EXPECT_EQ(pFile->Write(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to file 'a' - file not open"));
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to tell file 'a' - file not open"));
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to get size for file 'a' - file not open"));
    pFile->SeekStart(0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek file 'a' - file not open"));
    EXPECT_EQ(pFile->BytesAvailable(), 0);
    EXPECT_THAT(messages.TakeAll(), ElementsAre(EndsWith("Failed to get size for file 'a' - file not open"),
                                                EndsWith("Failed to tell file 'a' - file not open")));
    pFile->Close();
    EXPECT_EQ(byte, 'x');
}

TEST(SystemFileTest, AShortReadGivesWhatIsThereAndIsReported)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "0123456789"));
    Ptr<SystemFile> pFile = OpenFile(path.c_str(), READ);
    char bytes[16] = {};
    pFile->SeekStart(4);

    EXPECT_EQ(pFile->Read(bytes, 16), 6);

    EXPECT_STREQ(bytes, "456789");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to read from file '" + path + "' - 6/16 bytes read"));
    EXPECT_EQ(pFile->Read(bytes, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/1 bytes read"));
    EXPECT_EQ(pFile->Tell(), 10);
}

TEST(SystemFileTest, BytesThatFollowTheEndMetBeforeAreRead)
{
    CapturedMessages messages;
    TempFolder folder;
    Ptr<SystemFile> pWriter = OpenFile(folder.Path("a"), WRITE);
    Ptr<SystemFile> pReader = OpenFile(folder.Path("a"), READ);
    char byte = 'x';
    EXPECT_EQ(pReader->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/1 bytes read"));

    Put(pWriter, "more");
    pWriter->Close();

    EXPECT_EQ(pReader->BytesAvailable(), 4);
    EXPECT_EQ(Take(pReader, 4), "more");
}

TEST(SystemFileTest, WrongCountsTransferNothing)
{
    CapturedMessages messages;
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", "0123456789"), BOTH);
    char byte = 'x';

    EXPECT_EQ(pFile->Read(&byte, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/-1 bytes read"));
    EXPECT_EQ(pFile->Read(&byte, INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/-2147483648 bytes read"));
    EXPECT_EQ(pFile->Write(&byte, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/-1 bytes written"));
    EXPECT_EQ(pFile->Write(&byte, INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 0/-2147483648 bytes written"));
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(pFile->GetSize(), 10);
}

TEST(SystemFileTest, TheLargestCountReadsWhatIsThere)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "0123456789"));
    Ptr<SystemFile> pFile = OpenFile(path.c_str(), READ);
    std::string bytes(64, '\0'); // the file ends before the buffer does

    EXPECT_EQ(pFile->Read(bytes.data(), INT_MAX), 10);
    EXPECT_THAT(messages.TakeError(), EndsWith("' - 10/2147483647 bytes read"));
}

TEST(SystemFileTest, CountsOfZeroDoNothing)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", "0123456789"), BOTH);

    EXPECT_EQ(pFile->Read(nullptr, 0), 0);
    EXPECT_EQ(pFile->Write(nullptr, 0), 0);
    EXPECT_EQ(pFile->Tell(), 0);
}

TEST(SystemFileTest, TheWrongDirectionIsAShortTransfer)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "0123456789"));
    char byte = 'x';

    EXPECT_EQ(OpenFile(path.c_str(), READ)->Write(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to file '" + path + "' - 0/1 bytes written"));
    EXPECT_EQ(OpenFile(path.c_str(), WRITE)->Read(&byte, 1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to read from file '" + path + "' - 0/1 bytes read"));
}

TEST(SystemFileTest, AFullDiskIsReportedByWriteOrClose)
{
    if (!std::filesystem::exists(FULL_DEVICE)) {
        GTEST_SKIP() << "no such device on this system";
    }
    CapturedMessages messages;
    const std::string bytes(1 << 20, 'x');
    Ptr<SystemFile> pFile = OpenFile(FULL_DEVICE, WRITE);

    EXPECT_LT(pFile->Write(bytes.data(), 1 << 20), 1 << 20);
    EXPECT_THAT(messages.TakeError(), EndsWith("/1048576 bytes written"));
    pFile->Close();
    messages.TakeAll(); // what the buffer still held fails again, if there is any

    pFile->Open(FULL_DEVICE, WRITE);
    Put(pFile, "small");
    pFile->Close();
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to close file '/dev/full'"));
    EXPECT_EQ(pFile->Tell(), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to tell file '/dev/full' - file not open"));

    pFile->Open(FULL_DEVICE, WRITE);
    Put(pFile, "small");
    pFile = nullptr;
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to close file '/dev/full'"));
}

TEST(SystemFileTest, SmallWritesMeetAFullDiskWhenTheBufferIsFull)
{
    if (!std::filesystem::exists(FULL_DEVICE)) {
        GTEST_SKIP() << "no such device on this system";
    }
    CapturedMessages messages;
    Ptr<SystemFile> pFile = OpenFile(FULL_DEVICE, WRITE);
    int numWrites = 0;

    while (numWrites < 1000000 && pFile->Write("1234567", 7) == 7) {
        ++numWrites;
    }

    EXPECT_LT(numWrites, 1000000);
    EXPECT_THAT(messages.TakeError(), EndsWith("/7 bytes written"));
    pFile->Close();
    messages.TakeAll();
}

TEST(SystemFileTest, BytesOfEveryValueGoThroughSmallAndLargeTransfers)
{
    TempFolder folder;
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
    }
    for (int step : {1, 8, 16, 17, 64, 256}) {
        Ptr<SystemFile> pFile = OpenFile(folder.Path("a"), WRITE);
        for (int i = 0; i < 256; i += step) {
            Put(pFile, all.substr(static_cast<std::size_t>(i), static_cast<std::size_t>(step)));
        }
        pFile->Open(String::Null, READ);
        std::string read;
        while (int left = pFile->BytesAvailable()) {
            read += Take(pFile, left < step ? left : step);
        }
        EXPECT_EQ(read, all);
    }
}

TEST(SystemFileTest, BytesThatCannotBeWrittenBeforeAReadAreReported)
{
    if (!std::filesystem::exists(FULL_DEVICE)) {
        GTEST_SKIP() << "no such device on this system";
    }
    CapturedMessages messages;
    Ptr<SystemFile> pFile = OpenFile(FULL_DEVICE, BOTH);
    Put(pFile, "small");
    char byte = 'x';

    EXPECT_EQ(pFile->Read(&byte, 1), 0);

    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek file '/dev/full"));
    pFile->Close();
    messages.TakeAll();
}

TEST(SystemFileTest, ReadingAndWritingAlternate)
{
    TempFolder folder;
    std::string expected(100000, '.');
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", expected), BOTH);

    for (int i = 0; i < 10000; ++i) {
        const std::string text = std::to_string(10000 + i);
        if (i % 2 == 0) {
            EXPECT_EQ(Take(pFile, 5), ".....");
        } else {
            EXPECT_EQ(pFile->Write(text.data(), 5), 5);
            expected.replace(static_cast<std::size_t>(i) * 5, 5, text);
        }
        EXPECT_EQ(pFile->Tell(), (i + 1) * 5);
    }
    EXPECT_EQ(Take(pFile, 4), "....");
    pFile->SeekStart(0);
    EXPECT_EQ(Take(pFile, 100000), expected);
    pFile->Close();
    EXPECT_EQ(folder.Read("a"), expected);
}

TEST(SystemFileTest, BytesAvailableFallFromTheSizeToZero)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", std::string(10000, 'x')), READ);

    for (int left = 10000; left > 0; left -= 100) {
        EXPECT_EQ(pFile->BytesAvailable(), left);
        Take(pFile, 100);
    }
    EXPECT_EQ(pFile->BytesAvailable(), 0);
}

TEST(SystemFileTest, GetSizeLeavesThePositionWhereItWas)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", "0123456789"), BOTH);

    Take(pFile, 3);
    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->Tell(), 3);
    EXPECT_EQ(Take(pFile, 2), "34");
    pFile->SeekEnd(0);
    Put(pFile, "ab");
    EXPECT_EQ(pFile->GetSize(), 12); // with the bytes still in the buffer
    EXPECT_EQ(pFile->Tell(), 12);
    Put(pFile, "cd");
    pFile->SeekStart(1);
    Put(pFile, "X");
    EXPECT_EQ(pFile->GetSize(), 14);
    EXPECT_EQ(Take(pFile, 1), "2");
    pFile->SeekStart(0);
    EXPECT_EQ(Take(pFile, 14), "0X23456789abcd");
}

TEST(SystemFileTest, APositionBehindTheEndIsNotASize)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", "0123456789"), BOTH);

    pFile->SeekEnd(5);

    EXPECT_EQ(pFile->Tell(), 15);
    EXPECT_EQ(pFile->GetSize(), 10);
    EXPECT_EQ(pFile->BytesAvailable(), -5);
    Put(pFile, "x");
    EXPECT_EQ(pFile->GetSize(), 16);
}

TEST(SystemFileTest, ADeviceIsSoughtForItsSize)
{
    if (!std::filesystem::exists("/dev/zero")) {
        GTEST_SKIP() << "no such device on this system";
    }
    Ptr<SystemFile> pFile = OpenFile("/dev/zero", READ);

    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_EQ(Take(pFile, 4), std::string(4, '\0'));
    EXPECT_EQ(Take(pFile, 4), std::string(4, '\0'));
}

TEST(SystemFileTest, SeeksCountFromTheirOrigin)
{
    TempFolder folder;
    Ptr<SystemFile> pFile = OpenFile(folder.Write("a", "0123456789"), READ);

    pFile->SeekStart(4);
    EXPECT_EQ(Take(pFile, 1), "4");
    pFile->SeekCurrent(2);
    EXPECT_EQ(Take(pFile, 1), "7");
    pFile->SeekCurrent(-7);
    EXPECT_EQ(Take(pFile, 1), "1");
    pFile->SeekEnd(-1);
    EXPECT_EQ(Take(pFile, 1), "9");
    EXPECT_EQ(pFile->Tell(), 10);
}

TEST(SystemFileTest, AFailingSeekIsReportedAndMovesNothing)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "0123456789"));
    Ptr<SystemFile> pFile = OpenFile(path.c_str(), READ);
    pFile->SeekStart(3);

    pFile->SeekStart(-1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek file '" + path)); // without a closing quote
    pFile->SeekCurrent(INT_MIN);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to seek file '" + path));
    EXPECT_EQ(pFile->Tell(), 3);
}

TEST(SystemFileTest, PositionsBeyond32BitsAreReported)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Write("a", "0123456789"));
    std::filesystem::resize_file(path, 3ull << 30); // sparse: takes no space
    Ptr<SystemFile> pFile = OpenFile(path.c_str(), READ);
    pFile->SeekStart(3);

    EXPECT_EQ(pFile->GetSize(), -1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to tell file '" + path + "'"));
    EXPECT_EQ(pFile->Tell(), 3);
    pFile->SeekEnd(0);
    EXPECT_EQ(pFile->Tell(), -1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to tell file '" + path + "'"));
    EXPECT_EQ(pFile->GetSize(), -1);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to tell file '" + path + "'"));
    pFile->SeekStart(INT_MAX);
    EXPECT_EQ(pFile->Tell(), INT_MAX);
    pFile->SeekStart(8);
    EXPECT_EQ(Take(pFile, 2), "89");
}

TEST(SystemFileTest, ExistsAndDeleteAnswerSilently)
{
    TempFolder folder;
    const String path = folder.Write("a", "x");

    EXPECT_TRUE(SystemFile::Exists(path));
    EXPECT_TRUE(SystemFile::Exists(folder.Path("")));
    EXPECT_TRUE(SystemFile::Delete(path));
    EXPECT_FALSE(SystemFile::Exists(path));
    EXPECT_FALSE(SystemFile::Delete(path));
    EXPECT_FALSE(SystemFile::Delete(folder.Path("")));
    EXPECT_FALSE(SystemFile::Exists(String::Null));
    EXPECT_FALSE(SystemFile::Delete(String::Null));
}

TEST(SystemFileTest, ExistsAndDeleteAreReflected)
{
    TempFolder folder;
    const String path = folder.Write("a", "x");
    Ptr<SystemFile> pFile = MakeFile();

    EXPECT_TRUE(pFile->Call("Exists", path).Get<bool>());
    EXPECT_TRUE(pFile->Call("Delete", path).Get<bool>());
    EXPECT_FALSE(pFile->Call("Exists", path).Get<bool>());
}

TEST(SystemFileTest, ACloneHasTheNameAndIsClosed)
{
    CapturedMessages messages;
    TempFolder folder;
    for (bool bSourceFirst : {true, false}) {
        SystemFile* pSource = SystemFile::Construct(Value::Null);
        pSource->Open(folder.Path("a"), WRITE);
        Put(pSource, "saved once");

        SystemFile* pClone = pSource->Clone();

        EXPECT_EQ(pClone->GetFilename(), folder.Path("a"));
        EXPECT_EQ(pClone->Tell(), 0);
        EXPECT_THAT(messages.TakeError(), EndsWith(" - file not open"));
        delete (bSourceFirst ? pSource : pClone);
        delete (bSourceFirst ? pClone : pSource);
        EXPECT_EQ(folder.Read("a"), "saved once");
    }
}

TEST(SystemFileTest, AssignmentClosesTheFileAndTakesTheName)
{
    CapturedMessages messages;
    TempFolder folder;
    OnStack source;
    OnStack target;
    source.Open(folder.Path("a"), WRITE);
    target.Open(folder.Path("b"), WRITE);
    Put(&source, "source");
    Put(&target, "target");
    source.Access();

    target = source;

    EXPECT_EQ(target.GetReferenceCount(), 0);
    EXPECT_EQ(source.GetReferenceCount(), 1);
    EXPECT_EQ(folder.Read("b"), "target");
    EXPECT_EQ(target.GetFilename(), folder.Path("a"));
    EXPECT_EQ(target.Tell(), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith(" - file not open"));
    EXPECT_EQ(source.Tell(), 6);
    source.Close();
    EXPECT_EQ(folder.Read("a"), "source");
}

TEST(SystemFileTest, AFileOnTheStackWithoutReferencesSurvivesReflectedCalls)
{
    TempFolder folder;
    OnStack file;

    EXPECT_TRUE(file.Call("Open", folder.Write("a", "0123456789"), READ).Get<bool>());
    file.Call("SeekEnd", -3);

    EXPECT_EQ(file.Call("Tell").Get<int>(), 7);
    EXPECT_EQ(file.Call("BytesAvailable").Get<int>(), 3);
    file.Call("Close");
    EXPECT_EQ(file.GetReferenceCount(), 0);
}
