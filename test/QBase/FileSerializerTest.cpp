#include "QBase/FileSerializer.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/SystemFile.h"
#include "Support/CapturedMessages.h"
#include "Support/StoredObjects.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace QBase;
using namespace StoredObjects;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

void Save(Serializer* pSerializer, Object* pObject, const std::string& path)
{
    const Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
    ASSERT_TRUE(pFile->Open(path.c_str(), File::MODE_WRITE));
    EXPECT_TRUE(pSerializer->Serialize(pObject, pFile));
}

Value Load(const std::string& path)
{
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    return pLoader->Deserialize(path.c_str());
}

Ptr<Pair> PairOf(int number)
{
    Ptr<Pair> pPair = Pair::Construct(Value::Null);
    pPair->mNumber = number;
    return pPair;
}

} // namespace

TEST(FileSerializerTest, APathThatContainsQXmlAnywhereIsReadAsXmlAndAnyOtherAsBinary)
{
    const TempFolder folder;
    const Ptr<AsciiSerializer> pXml = AsciiSerializer::Construct(Value::Null);
    const Ptr<BinarySerializer> pBinary = BinarySerializer::Construct(Value::Null);
    std::filesystem::create_directory(std::string(folder.Path("in.QXml.d")));
    for (const char* pName : {"QXmlScene.dat", "scene.QXml", "aQXmlb", "in.QXml.d/scene.bin"}) {
        Save(pXml, PairOf(5), std::string(folder.Path(pName)));
        EXPECT_EQ(Load(std::string(folder.Path(pName))).Get<Ptr<Pair>>()->mNumber, 5) << pName;
    }
    for (const char* pName : {"scene.xml", "scene.qxml", "scene.QXML", "scene.Q.Xml", "scene"}) {
        Save(pBinary, PairOf(6), std::string(folder.Path(pName)));
        EXPECT_EQ(Load(std::string(folder.Path(pName))).Get<Ptr<Pair>>()->mNumber, 6) << pName;
    }
}

TEST(FileSerializerTest, AnEmptyPathIsReported)
{
    CapturedMessages messages;
    EXPECT_TRUE(Load("").IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to load object - empty path"));
}

TEST(FileSerializerTest, AMissingFileIsReportedTwice)
{
    const TempFolder folder;
    const std::string path = std::string(folder.Path("missing"));
    CapturedMessages messages;
    EXPECT_TRUE(Load(path).IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to open file '" + path + "'"));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to load object from '" + path + "' - file open failed"));
}

TEST(FileSerializerTest, AFileOfTheOtherFormatNamesTheSerializerThatFailed)
{
    const TempFolder folder;
    const std::string asXml = std::string(folder.Path("binary.QXml"));
    const std::string asBinary = std::string(folder.Path("xml.dat"));
    Save(Ptr<BinarySerializer>(BinarySerializer::Construct(Value::Null)), PairOf(1), asXml);
    Save(Ptr<AsciiSerializer>(AsciiSerializer::Construct(Value::Null)), PairOf(1), asBinary);

    CapturedMessages messages;
    EXPECT_TRUE(Load(asBinary).IsVoid());
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Deserialize failed, file id mismatch for file '" + asBinary + "'."));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to load object from '" + asBinary +
                                               "' - QBase.BinarySerializer deserialize failed"));
    EXPECT_TRUE(Load(asXml).IsVoid());
    EXPECT_THAT(messages.TakeError(), HasSubstr("Xml '" + asXml + "' parse failed: "));
    EXPECT_THAT(messages.TakeError(), EndsWith("File error"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to load object from '" + asXml +
                                               "' - QBase.AsciiSerializer deserialize failed"));
}

TEST(FileSerializerTest, DeserializeCanBeCalledByName)
{
    const TempFolder folder;
    Save(Ptr<BinarySerializer>(BinarySerializer::Construct(Value::Null)), PairOf(3),
         std::string(folder.Path("a.dat")));
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Value loaded = pLoader->Call("Deserialize", std::string(folder.Path("a.dat")).c_str());
    EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 3);
}
