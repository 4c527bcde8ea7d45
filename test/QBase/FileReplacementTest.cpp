#include "QBase/FileReplacement.h"

#include "Support/CapturedMessages.h"
#include "Support/System.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

using namespace QBase;
using testing::EndsWith;

namespace
{

std::size_t CountFiles(const TempFolder& folder)
{
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder.Path("").c_str()), fs::directory_iterator()));
}

bool WriteTo(const FileReplacement& replacement, const std::string& bytes)
{
    return replacement.GetFile()->Write(bytes.data(), static_cast<int>(bytes.size())) ==
           static_cast<int>(bytes.size());
}

} // namespace

TEST(FileReplacementTest, TheTargetKeepsItsContentsUntilCommit)
{
    TempFolder folder;
    FileReplacement replacement(folder.Write("scene", "old"));
    ASSERT_TRUE(WriteTo(replacement, "new"));
    EXPECT_EQ(folder.Read("scene"), "old");

    EXPECT_TRUE(replacement.Commit());

    EXPECT_EQ(folder.Read("scene"), "new");
    EXPECT_EQ(replacement.GetFile(), nullptr);
    EXPECT_EQ(CountFiles(folder), 1u);
}

TEST(FileReplacementTest, AReplacementThatIsNotCommittedLeavesNothingBehind)
{
    TempFolder folder;
    {
        FileReplacement replacement(folder.Write("scene", "old"));
        ASSERT_TRUE(WriteTo(replacement, "new"));
        EXPECT_EQ(CountFiles(folder), 2u);
    }
    EXPECT_EQ(folder.Read("scene"), "old");
    EXPECT_EQ(CountFiles(folder), 1u);
}

TEST(FileReplacementTest, ATargetThatIsNotThereIsCreated)
{
    TempFolder folder;
    FileReplacement replacement(folder.Path("Gr\xC3\xBC\xC3\x9F"
                                            "e.bin"));
    ASSERT_TRUE(WriteTo(replacement, "new"));
    EXPECT_TRUE(replacement.Commit());
    EXPECT_EQ(folder.Read("Gr\xC3\xBC\xC3\x9F"
                          "e.bin"),
              "new");
}

TEST(FileReplacementTest, ANameAsLongAsTheSystemAllowsCanBeReplaced)
{
    TempFolder folder;
    const std::string name(255, 'n');
    FileReplacement replacement(folder.Write(name.c_str(), "old"));
    ASSERT_TRUE(WriteTo(replacement, "new"));
    EXPECT_TRUE(replacement.Commit());
    EXPECT_EQ(folder.Read(name.c_str()), "new");
}

TEST(FileReplacementTest, TheNewFileHasTheAccessRightsOfTheOldOne)
{
    TempFolder folder;
    const String path = folder.Write("scene", "old");
    fs::permissions(path.c_str(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const fs::perms rights = fs::status(path.c_str()).permissions(); // what the system has of these
    FileReplacement replacement(path);
    ASSERT_TRUE(WriteTo(replacement, "new"));
    EXPECT_TRUE(replacement.Commit());
    EXPECT_EQ(fs::status(path.c_str()).permissions(), rights);
}

TEST(FileReplacementTest, ALinkStaysAndTheFileThatItLeadsToIsReplaced)
{
    TempFolder folder;
    const String path = folder.Write("scene", "old");
    const String link = folder.Path("link");
    if (!MakeLink(path.c_str(), link.c_str())) {
        GTEST_SKIP() << "this system makes no links";
    }
    FileReplacement replacement(link);
    ASSERT_TRUE(WriteTo(replacement, "new"));
    EXPECT_TRUE(replacement.Commit());
    EXPECT_TRUE(fs::is_symlink(link.c_str()));
    EXPECT_EQ(folder.Read("scene"), "new");
}

TEST(FileReplacementTest, AFolderOrDeviceIsReportedAndLeftAlone)
{
    TempFolder folder;
    for (const String& target : {folder.Path(""), String(NULL_DEVICE)}) {
        CapturedMessages messages;
        FileReplacement replacement(target);
        EXPECT_EQ(replacement.GetFile(), nullptr);
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to replace file '" + std::string(target.c_str()) +
                                                   "' - not an ordinary file"));
        EXPECT_FALSE(replacement.Commit());
        EXPECT_THAT(messages.TakeError(), EndsWith("' - nothing was written"));
    }
    std::ofstream(NULL_DEVICE) << "gone";
    EXPECT_EQ(std::ifstream(NULL_DEVICE).get(), std::ifstream::traits_type::eof());
}

TEST(FileReplacementTest, AWriteProtectedFileIsReportedAndLeftAlone)
{
    TempFolder folder;
    const String path = folder.Write("scene", "old");
    fs::permissions(path.c_str(), fs::perms::owner_read | fs::perms::group_read);
    CapturedMessages messages;
    {
        const FileReplacement replacement(path);
        EXPECT_EQ(replacement.GetFile(), nullptr);
        EXPECT_THAT(messages.TakeError(), EndsWith("scene' - it is write-protected"));
    }
    EXPECT_EQ(folder.Read("scene"), "old");
    fs::permissions(path.c_str(), fs::perms::owner_all);
}

TEST(FileReplacementTest, AFolderThatIsNotThereIsReported)
{
    TempFolder folder;
    CapturedMessages messages;
    const FileReplacement replacement(folder.Path("missing/scene"));
    EXPECT_EQ(replacement.GetFile(), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("missing/scene' - cannot create a file beside it"));
}

TEST(FileReplacementTest, TwoReplacementsOfOneFileDoNotMeet)
{
    TempFolder folder;
    const String path = folder.Write("scene", "old");
    FileReplacement first(path);
    FileReplacement second(path);
    ASSERT_TRUE(WriteTo(first, "first"));
    ASSERT_TRUE(WriteTo(second, "second"));
    EXPECT_TRUE(second.Commit());
    EXPECT_EQ(folder.Read("scene"), "second");
    EXPECT_TRUE(first.Commit());
    EXPECT_EQ(folder.Read("scene"), "first");
}

TEST(FileReplacementTest, ATargetThatBecameAFolderKeepsItsPlace)
{
    TempFolder folder;
    FileReplacement replacement(folder.Path("scene"));
    ASSERT_TRUE(WriteTo(replacement, "new"));
    fs::create_directory(folder.Path("scene").c_str());
    CapturedMessages messages;
    EXPECT_FALSE(replacement.Commit());
    EXPECT_THAT(messages.TakeError(), EndsWith("scene' - cannot take its place"));
    EXPECT_TRUE(fs::is_directory(folder.Path("scene").c_str()));
    EXPECT_EQ(CountFiles(folder), 1u);
}

TEST(SystemFileTest, FlushToDiskReportsAFullDiskAndAClosedFile)
{
    Ptr<SystemFile> pFile = static_cast<SystemFile*>(SystemFile::Construct(Value::Null));
    CapturedMessages messages;
    EXPECT_FALSE(pFile->FlushToDisk());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to flush file '' - file not open"));
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no device that is always full";
    }
    ASSERT_TRUE(pFile->Open("/dev/full", File::MODE_WRITE));
    EXPECT_EQ(pFile->Write("x", 1), 1);
    EXPECT_FALSE(pFile->FlushToDisk());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to flush file '/dev/full'"));
    pFile->Close();
    messages.TakeAll();
}
