#include "Support/ToolFixture.h"

#include "QBase/BinarySerializer.h"
#include "QBase/List.h"
#include "QBase/SystemFile.h"
#include "Support/Paths.h"

#include <filesystem>
#include <iterator>

namespace fs = std::filesystem;

using namespace QBase;

namespace
{

constexpr char HEAD[] = "<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\">\n";

} // namespace

const char TAIL[] = "</QuirlData>\n";

const char SMALL[] = R"(<Object Module="QBase" Class="Table" Path="root">
  <Property Name="Note" Type="String" Dynamic="true">tab&#9;"quote" \ ü</Property>
  <Property Name="Sizes" Type="int" Array="true" Dynamic="true"><Value>3</Value><Value>-4</Value></Property>
  <Property Name="Place" Type="Vector2" Dynamic="true">1 0.5</Property>
  <Property Name="Self" Type="Object" Dynamic="true">root</Property>
  <Property Name="Tint" Type="Color" Dynamic="true">0x44332211</Property>
  <Child Name="crew">root[crew]</Child>
  <Child Name="nobody"></Child>
</Object>
<Object Module="QBase" Class="List" Path="root[crew]">
  <Child Index="0">root[crew][0]</Child>
  <Child Index="1"></Child>
  <Child Index="2">root[crew][0]</Child>
</Object>
<Object Module="QBase" Class="Object" Path="root[crew][0]">
  <Property Name="Rate" Type="float" Dynamic="true">0.1</Property>
</Object>
)";

std::string Document(const std::string& objects)
{
    return HEAD + objects + TAIL;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by)
{
    const std::size_t place = text.find(what);
    EXPECT_NE(place, text.npos) << what;
    return place == text.npos ? text : text.replace(place, what.size(), by);
}

ToolTest::ToolTest() : mSolar(SourcePath("example/solar/solar.QXml"))
{}

ProgramStart ToolTest::Start(const std::vector<std::string>& words) const
{
    ProgramStart start{{BinaryPath("quirl")}};
    start.mWords.insert(start.mWords.end(), words.begin(), words.end());
    start.mFolder = PathOf("");
    return start;
}

Outcome ToolTest::Quirl(const std::vector<std::string>& words, const std::string& input) const
{
    ProgramStart start = Start(words);
    start.mInput = input;
    return RunApart(start);
}

void ToolTest::Save(Object* pRoot, const char* pName) const
{
    Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
    ASSERT_TRUE(pFile->Open(mFolder.Path(pName), File::MODE_WRITE));
    Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    ASSERT_TRUE(pSerializer->Serialize(pRoot, pFile));
}

void ToolTest::SaveWide(int size, const char* pName) const
{
    Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < size; ++i) {
        Ptr<Object> pItem = Object::Construct(Value::Null);
        pItem->AddPropertyValueFromValue("Number", Value(i));
        pList->Insert(pItem);
    }
    Save(pList, pName);
}

void ToolTest::SaveDeep(int length, const char* pName) const
{
    Ptr<Object> pFirst = Object::Construct(Value::Null);
    for (int i = 1; i < length; ++i) {
        Ptr<Object> pNew = Object::Construct(Value::Null);
        pNew->AddPropertyValueFromValue("Next", Value(pFirst));
        pFirst = pNew;
    }
    Save(pFirst, pName);
}

std::size_t ToolTest::CountFiles() const
{
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(PathOf("")), fs::directory_iterator()));
}
