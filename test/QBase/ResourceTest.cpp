#include "QBase/Resource.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Property.h"
#include "QBase/SystemFile.h"

#include "Support/CapturedMessages.h"
#include "Support/TempFolder.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace QBase;
using ::testing::ElementsAre;
using ::testing::EndsWith;

namespace
{

// A resource whose content is the text of the file.
struct Note : Resource
{
    Note() : Resource(Value::Null) {}

    bool LoadFile(File* pFile) override
    {
        EXPECT_EQ(pFile->Tell(), 0);
        mText.resize(static_cast<std::size_t>(pFile->GetSize()));
        pFile->Read(mText.data(), pFile->GetSize());
        if (mbKeepFile) {
            mpFile = pFile;
        }
        ++mNumLoads;
        return mbLoads;
    }

    std::string mText;
    Ptr<File> mpFile;
    bool mbKeepFile = false;
    bool mbLoads = true;
    int mNumLoads = 0;
};

} // namespace

TEST(ResourceTest, CannotBeConstructedOrCloned)
{
    CapturedMessages messages;
    Note note;

    EXPECT_EQ(Resource::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_EQ(note.Clone(), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_EQ(Resource::ClassTable()->GetBaseClass(), Object::ClassTable());
}

TEST(ResourceTest, LoadFileFollowsTheOperationsOfObject)
{
    EXPECT_EQ(VirtualSlot(&Note::LoadFile), VirtualSlot(&Stream::Write)); // the first of its own as well
}

TEST(ResourceTest, LoadHandsTheOpenFileToTheDerivedClass)
{
    TempFolder folder;
    Note note;

    EXPECT_TRUE(note.Load(folder.Write("note.txt", "hello")));

    EXPECT_EQ(note.mText, "hello");
    EXPECT_EQ(note.GetFilename(), folder.Path("note.txt"));
    EXPECT_EQ(note.GetReferenceCount(), 0);
}

TEST(ResourceTest, LoadAnswersWhatTheDerivedClassDoesAndKeepsTheName)
{
    TempFolder folder;
    Note note;
    note.mbLoads = false;

    EXPECT_FALSE(note.Load(folder.Write("note.txt", "hello")));

    EXPECT_EQ(note.GetFilename(), folder.Path("note.txt"));
    EXPECT_EQ(note.mNumLoads, 1);
}

TEST(ResourceTest, TheNullStringLoadsTheNameKept)
{
    TempFolder folder;
    Note note;
    note.SetFilename(folder.Write("note.txt", "first"));
    EXPECT_EQ(note.mNumLoads, 0);

    EXPECT_TRUE(note.Load(String::Null));
    EXPECT_EQ(note.mText, "first");
    folder.Write("note.txt", "second");
    EXPECT_TRUE(note.Load(note.GetFilename()));
    EXPECT_EQ(note.mText, "second");
}

TEST(ResourceTest, ANameOfThreeCharactersIsInvalid)
{
    CapturedMessages messages;
    Note note;

    // No report of a file that could not be opened comes first: the system was not asked.
    EXPECT_FALSE(note.Load("abc"));
    EXPECT_THAT(messages.TakeError(), EndsWith("QBase.Resource resource load failed: invalid filename"));
    EXPECT_EQ(note.GetFilename(), String("abc"));
    EXPECT_FALSE(note.Load("\xC3\xA4\xC3\xB6\xC3\xBC")); // three characters in six bytes
    EXPECT_THAT(messages.TakeError(), EndsWith("QBase.Resource resource load failed: invalid filename"));
}

TEST(ResourceTest, ANameOfFourCharactersIsLookedFor)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path("").c_str());
    folder.Write("a.ab", "short");
    folder.Write("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F", "four letters");
    Note note;

    EXPECT_TRUE(note.Load("a.ab"));
    EXPECT_EQ(note.mText, "short");
    EXPECT_TRUE(note.Load("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F"));
    EXPECT_EQ(note.mText, "four letters");
    std::filesystem::current_path(before);
}

TEST(ResourceTest, AnEmptyTextReplacesTheNameAndTheNullStringDoesNot)
{
    CapturedMessages messages;
    Note note;
    note.SetFilename("kept.txt");

    EXPECT_FALSE(note.Load(""));
    EXPECT_THAT(messages.TakeError(), EndsWith("QBase.Resource resource load failed: invalid filename"));
    EXPECT_EQ(note.GetFilename(), String(""));
    EXPECT_FALSE(note.Load(String::Null));
    EXPECT_THAT(messages.TakeError(), EndsWith("QBase.Resource resource load failed: invalid filename"));
    EXPECT_EQ(note.GetFilename(), String(""));
}

TEST(ResourceTest, AResourceWithoutANameIsInvalid)
{
    CapturedMessages messages;
    Note note;

    EXPECT_EQ(note.GetFilename(), String::Null);
    EXPECT_FALSE(note.Load(String::Null));
    EXPECT_THAT(messages.TakeError(), EndsWith("QBase.Resource resource load failed: invalid filename"));
}

TEST(ResourceTest, AMissingFileIsReportedAndItsNameKept)
{
    CapturedMessages messages;
    TempFolder folder;
    const std::string path(folder.Path("missing.txt"));
    Note note;

    EXPECT_FALSE(note.Load(path.c_str()));

    EXPECT_THAT(
        messages.TakeAll(),
        ElementsAre(EndsWith("Failed to open file '" + path + "'"),
                    EndsWith("QBase.Resource resource load failed: cannot open file '" + path + "'")));
    folder.Write("missing.txt", "found");
    EXPECT_TRUE(note.Load(String::Null));
    EXPECT_EQ(note.mText, "found");
}

TEST(ResourceTest, AnEmptyFileHasAnInvalidSize)
{
    CapturedMessages messages;
    TempFolder folder;
    Note note;
    const std::string path(folder.Write("empty.txt", ""));

    EXPECT_FALSE(note.Load(path.c_str()));

    EXPECT_THAT(messages.TakeError(),
                EndsWith("QBase.Resource resource load failed: invalid file size for '" + path + "'"));
    EXPECT_EQ(note.mNumLoads, 0);
}

TEST(ResourceTest, AFileBeyond32BitsHasAnInvalidSize)
{
    CapturedMessages messages;
    TempFolder folder;
    Note note;
    const std::string path(folder.Write("huge.bin", "x"));
    std::filesystem::resize_file(path, 3ull << 30); // sparse: takes no space

    EXPECT_FALSE(note.Load(path.c_str()));

    EXPECT_THAT(messages.TakeAll(),
                ElementsAre(EndsWith("Failed to tell file '" + path + "'"),
                            EndsWith("resource load failed: invalid file size for '" + path + "'")));
}

TEST(ResourceTest, TheFileClosesWhenItsLastReferenceGoes)
{
    TempFolder folder;
    Note note;
    note.mbKeepFile = true;

    EXPECT_TRUE(note.Load(folder.Write("note.txt", "hello")));

    EXPECT_EQ(note.mpFile->GetReferenceCount(), 1);
    EXPECT_EQ(note.mpFile->Tell(), 5); // still open
}

TEST(ResourceTest, LoadAndFilenameAreReflected)
{
    TempFolder folder;
    Note note;
    const String path = folder.Write("note.txt", "hello");

    note.FindProperty("Filename")->Set(&note, path);
    EXPECT_EQ(note.mNumLoads, 0);
    EXPECT_EQ(note.FindProperty("Filename")->Get(&note).AsString(), path);
    EXPECT_TRUE(note.Call("Load", String::Null).Get<bool>());

    EXPECT_EQ(note.mText, "hello");
    EXPECT_EQ(note.GetReferenceCount(), 0);
}
