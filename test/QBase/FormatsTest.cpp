// The worked examples of docs/Formats.md against what the library writes.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Table.h"

#include "Support/Bytes.h"
#include "Support/Paths.h"
#include "Support/SavedGraphs.h"
#include "Support/StoredObjects.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

using namespace QBase;

namespace
{

// The lines of the last indented block below a heading, without their indentation.
std::vector<std::string> ExampleBelow(const std::string& heading)
{
    std::vector<std::string> example;
    std::ifstream document(SourcePath("docs/Formats.md"));
    bool bBelow = false;
    bool bInside = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("#")) {
            bBelow = line == heading;
        }
        const bool bCode = bBelow && line.starts_with("    ");
        if (bCode && !bInside) {
            example.clear();
        }
        bInside = bCode;
        if (bCode) {
            example.push_back(line.substr(4));
        }
    }
    return example;
}

// The bytes at the left of each line; what stands behind three blanks is their meaning.
std::string BytesOf(const std::vector<std::string>& example)
{
    std::string digits;
    for (const std::string& line : example) {
        const std::size_t start = line.find_first_not_of(' ');
        digits += line.substr(start, line.find("   ", start) - start);
    }
    return Bytes(digits);
}

} // namespace

TEST(FormatsTest, TheBinaryExampleIsWhatTheGraphIsSavedAs)
{
    const Ptr<Table> pTable = Table::Construct(1);
    const Ptr<List> pList = List::Construct(Value::Null);
    pList->Insert(Object::Construct(Value::Null));
    pList->Insert(nullptr);
    pTable->Insert("x", nullptr);
    pTable->Insert("l", pList); // in front of it, in the same bucket

    const std::string bytes = BytesOf(ExampleBelow("### Binary files, version 3"));
    EXPECT_EQ(SavedAs<BinarySerializer>(pTable), bytes);
    EXPECT_EQ(bytes.size(), 142U);
}

TEST(FormatsTest, TheXmlExampleLoadsAndIsSavedAsTheSameText)
{
    std::string text;
    for (const std::string& line : ExampleBelow("### XML files, version 3")) {
        text += line + "\n";
    }
    const Value pair = LoadedAs<AsciiSerializer>(text);
    ASSERT_NE(pair.AsObject(), nullptr);
    EXPECT_EQ(SavedAs<AsciiSerializer>(pair.AsObject()), text);
    EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\">\n"));
    StoredObjects::Pair* const pPair = static_cast<StoredObjects::Pair*>(pair.AsObject());
    pPair->mFirst = nullptr; // a cycle keeps itself alive
    pPair->mSecond = nullptr;
}

TEST(FormatsTest, TheFrameOfTheExampleIsTheFirstForItsGraph)
{
    const Ptr<Object> pRoot = Object::Construct(Value::Null);
    pRoot->AddPropertyValueFromValue("Ab", 7);
    const Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    const Ptr<ObjectDiffSerializer> pSource = ObjectDiffSerializer::Construct(Value::Null);
    pSource->RegisterType(Object::ClassTable());
    pSource->SetRoot(pRoot);
    pSource->AddOutStream(pStream);

    pSource->Execute(Value::Null);

    std::string frame(static_cast<std::size_t>(pStream->BytesAvailable()), '\0');
    pStream->Read(frame.data(), static_cast<int>(frame.size()));
    EXPECT_EQ(frame, BytesOf(ExampleBelow("## Replication packets")));
    EXPECT_EQ(frame.size(), 35U);
}

TEST(FormatsTest, TheHelloOfTheExampleIsAsLongAsItSays)
{
    const std::string hello = BytesOf(ExampleBelow("## Connections of QNet"));
    ASSERT_GE(hello.size(), 12U);
    EXPECT_EQ(hello.substr(0, 12), "QNet" + Bytes("01 00 00 00 24 00 00 00"));
    EXPECT_EQ(hello.size(), 12U + 0x24U);
}
