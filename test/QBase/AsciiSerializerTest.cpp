#include "QBase/AsciiSerializer.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Property.h"
#include "Support/CountedAllocations.h"
#include "Support/SavedGraphs.h"
#include "Support/SmallStack.h"
#include "Support/StoredObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

using namespace QBase;
using namespace StoredObjects;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

const std::string HEAD = "<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\">\n";
const std::string TAIL = "</QuirlData>\n";

std::string Saved(Object* pObject)
{
    return SavedAs<AsciiSerializer>(pObject);
}

Value Loaded(const std::string& text)
{
    return LoadedAs<AsciiSerializer>(text);
}

std::vector<std::string> ErrorsOfLoading(const std::string& text)
{
    return ErrorsOfLoadingAs<AsciiSerializer>(text);
}

// A document of one StoredObjects.CLASS with these elements below it.
std::string DocumentOf(const std::string& className, const std::string& elements)
{
    return HEAD + "<Object Module=\"StoredObjects\" Class=\"" + className + "\" Path=\"root\">" + elements +
           "</Object>" + TAIL;
}

// The same for a Pair with one property.
std::string PairWith(const std::string& element)
{
    return DocumentOf("Pair", element);
}

// The same document with a comment in its first line: the reader takes one without comments element by
// element, and any other as a whole.
std::string WithComment(const std::string& document)
{
    const std::size_t end = document.find('\n');
    return document.substr(0, end) + "<!-- -->" + document.substr(std::min(end, document.size()));
}

// What is wrong with a document and where, and what became of it.
std::vector<std::string> OutcomeOfLoading(const std::string& document)
{
    CapturedMessages messages;
    const Value loaded = Loaded(document);
    std::vector<std::string> outcome = messages.TakeAll();
    if (!loaded.IsVoid()) {
        outcome.push_back(Saved(loaded.AsObject()));
        messages.TakeAll();
        Dissolve(loaded.AsObject());
    }
    return outcome;
}

// Pairs in a List, many enough that the reader takes the document in several steps.
std::string ManyPairs(int count)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < count; ++i) {
        const Ptr<Pair> pPair = Pair::Construct(Value::Null);
        pPair->mNumber = i;
        pPair->mFirst = pList->GetSize() > 0 ? pList->GetAt(i / 2) : nullptr;
        pList->Insert(pPair);
    }
    return Saved(pList);
}

} // namespace

TEST(AsciiSerializerTest, ADocumentIsADeclarationARootAndOneElementPerObject)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_EQ(Saved(pObject), "<?xml version=\"1.0\"?>\n"
                              "<QuirlData id=\"1784827729\" version=\"3\">\n"
                              "    <Object Module=\"QBase\" Class=\"Object\" Path=\"root\"/>\n"
                              "</QuirlData>\n");
}

TEST(AsciiSerializerTest, ObjectsStandInTheOrderOfTheWalkAndReferToEachOtherByPath)
{
    const Ptr<Pair> pA = Pair::Construct(Value::Null);
    const Ptr<Pair> pB = Pair::Construct(Value::Null);
    pA->mNumber = 5;
    pA->mFirst = pB;
    pA->mSecond = pB;
    pB->mNumber = 6;
    pB->mSecond = pA;
    pB->AddPropertyValueFromValue("Label", "Hello");
    EXPECT_EQ(Saved(pA), HEAD + R"(    <Object Module="StoredObjects" Class="Pair" Path="root">
        <Property Name="First" Type="Object">root.First</Property>
        <Property Name="Second" Type="Object">root.First</Property>
        <Property Name="Number" Type="int">5</Property>
    </Object>
    <Object Module="StoredObjects" Class="Pair" Path="root.First">
        <Property Name="Label" Type="String" Dynamic="true">Hello</Property>
        <Property Name="First" Type="Object"/>
        <Property Name="Second" Type="Object">root</Property>
        <Property Name="Number" Type="int">6</Property>
    </Object>
)" + TAIL);
    Dissolve(pA);
}

TEST(AsciiSerializerTest, TablesAndListsHaveChildElementsNullsIncluded)
{
    const Ptr<Table> pTable = Table::Construct(Value(1));
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pTable->Insert("x", nullptr);
    pTable->Insert("l", pList);
    pList->Insert(pObject);
    pList->Insert(nullptr);
    pList->Insert(pObject);
    const std::string text = Saved(pTable);
    EXPECT_EQ(text, HEAD + R"(    <Object Module="QBase" Class="Table" Path="root">
        <Child Name="l">root[l]</Child>
        <Child Name="x"/>
    </Object>
    <Object Module="QBase" Class="List" Path="root[l]">
        <Child Index="0">root[l][0]</Child>
        <Child Index="1"/>
        <Child Index="2">root[l][0]</Child>
    </Object>
    <Object Module="QBase" Class="Object" Path="root[l][0]"/>
)" + TAIL);
    const Value loaded = Loaded(text);
    EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject()));
}

TEST(AsciiSerializerTest, EveryTypeHasItsTextInBothShapes)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    const Ptr<Object> pOther = Object::Construct(Value::Null);
    pObject->mInt = -5;
    pObject->mFloat = 0.1f;
    pObject->mBool = true;
    pObject->mString = "a < b";
    pObject->mAny = Value("any");
    pObject->mVector2 = Vector2(1, 0.5f);
    pObject->mVector3 = Vector3(1, 2.5f, -3);
    pObject->mVector4 = Vector4(100, 0, 0, 1);
    pObject->mVector2i = Vector2i(1, -2);
    pObject->mVector3i = Vector3i(1, -2, 3);
    pObject->mVector4i = Vector4i(1, -2, 3, 4);
    pObject->mColor = Color(0x11, 0x22, 0x33, 0x44);
    pObject->mMood = Everything::WILD;
    pObject->mQuaternion = Quaternion(0, 0, 0, 1);
    pObject->mInts.Insert(1);
    pObject->mInts.Insert(-1);
    pObject->mStrings.Insert("a");
    pObject->mStrings.Insert("");
    pObject->mObjects.Insert(nullptr);
    pObject->mObjects.Insert(pOther);
    pObject->mVector3s.Insert(Vector3(1, 2, 3));
    const std::string text = Saved(pObject);
    EXPECT_EQ(text, HEAD + R"(    <Object Module="StoredObjects" Class="Everything" Path="root">
        <Property Name="Value" Type="String">any</Property>
        <Property Name="floats" Type="float" Array="true"/>
        <Property Name="Vector3i" Type="Vector3i">1 -2 3</Property>
        <Property Name="Vector3" Type="Vector3">1 2.5 -3</Property>
        <Property Name="Enum" Type="Enum">7</Property>
        <Property Name="Object" Type="Object"/>
        <Property Name="float" Type="float">0.1</Property>
        <Property Name="Vector2" Type="Vector2">1 0.5</Property>
        <Property Name="Objects" Type="Object" Array="true">
            <Value/>
            <Value>root.Objects[1]</Value>
        </Property>
        <Property Name="Enums" Type="Enum" Array="true"/>
        <Property Name="bools" Type="bool" Array="true"/>
        <Property Name="Color" Type="Color">0x44332211</Property>
        <Property Name="Vector4i" Type="Vector4i">1 -2 3 4</Property>
        <Property Name="String" Type="String">a &lt; b</Property>
        <Property Name="Vector2i" Type="Vector2i">1 -2</Property>
        <Property Name="Vector3s" Type="Vector3" Array="true">
            <Value>1 2 3</Value>
        </Property>
        <Property Name="ints" Type="int" Array="true">
            <Value>1</Value>
            <Value>-1</Value>
        </Property>
        <Property Name="Values" Type="int" Array="true"/>
        <Property Name="Strings" Type="String" Array="true">
            <Value>a</Value>
            <Value/>
        </Property>
        <Property Name="int" Type="int">-5</Property>
        <Property Name="Vector4" Type="Vector4">100 0 0 1</Property>
        <Property Name="bool" Type="bool">true</Property>
        <Property Name="Quaternion" Type="Quaternion">0 0 0 1</Property>
        <Property Name="Colors" Type="Color" Array="true"/>
    </Object>
    <Object Module="QBase" Class="Object" Path="root.Objects[1]"/>
)" + TAIL);
    const Value loaded = Loaded(text);
    EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject()));
}

TEST(AsciiSerializerTest, ADynamicArrayHasBothMarks)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyArray("Ages", Value::TYPE_INT)->Insert(pObject, 7);
    EXPECT_THAT(Saved(pObject),
                HasSubstr("<Property Name=\"Ages\" Type=\"int\" Dynamic=\"true\" Array=\"true\">\n"
                          "            <Value>7</Value>\n        </Property>\n"));
}

TEST(AsciiSerializerTest, TheRootsPathIsRootAndASelfReferenceResolvesToIt)
{
    const Ptr<Pair> pPair = Pair::Construct(Value::Null);
    pPair->mFirst = pPair;
    const std::string text = Saved(pPair);
    EXPECT_THAT(text, HasSubstr("<Property Name=\"First\" Type=\"Object\">root</Property>"));
    const Value loaded = Loaded(text);
    EXPECT_EQ(loaded.Get<Pair*>()->mFirst, loaded.AsObject());
    Dissolve(loaded.AsObject());
    Dissolve(pPair);
}

TEST(AsciiSerializerTest, RandomGraphsComeBackEqual)
{
    for (unsigned seed = 1; seed <= 60; ++seed) {
        GraphOptions options;
        options.mbRoundedVectors = true;
        const Ptr<Object> pGraph = RandomGraph(seed, options);
        const Value loaded = Loaded(Saved(pGraph));
        ASSERT_NE(loaded.AsObject(), nullptr) << seed;
        EXPECT_TRUE(AreSameGraph(pGraph, loaded.AsObject())) << seed;
        Dissolve(loaded.AsObject());
        Dissolve(pGraph);
    }
}

TEST(AsciiSerializerTest, FloatsAndIntsComeBackBitForBit)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    for (const float value :
         {1e-7f, 1.0f / 3.0f, std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min(),
          -0.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        pObject->mFloats.Insert(value);
    }
    pObject->mInts.Insert(std::numeric_limits<int>::min());
    pObject->mInts.Insert(std::numeric_limits<int>::max());
    const Value loaded = Loaded(Saved(pObject));
    EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject()));
}

TEST(AsciiSerializerTest, HardTextsComeBackAsValuesTableNamesAndPropertyNames)
{
    for (const char* pText : {" ",    "\n",    "\r\n",     "\t",    " a ",        "\x01\x1f",
                              "]]>",  "&#10;", "&",        "&amp;", "<>'\"",      "\xEF\xBF\xBE",
                              "\x7f", "\r",    "  \t ",    "&#32;", "a\rb\nc\td", "\xF0\x9F\x98\x80",
                              "-->",  "&#x0;", "&unknown;"}) {
        const Ptr<Table> pTable = Table::Construct(Value(7));
        pTable->Insert(pText, pTable);
        pTable->AddPropertyValueFromValue(pText, pText);
        pTable->AddPropertyArray("array", Value::TYPE_STRING)->Insert(pTable, pText);
        const Value loaded = Loaded(Saved(pTable));
        ASSERT_NE(loaded.AsObject(), nullptr) << pText;
        EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject())) << pText;
        Dissolve(loaded.AsObject());
        Dissolve(pTable);
    }
}

TEST(AsciiSerializerTest, TextsAreEscapedWithoutCdata)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("t\n", "<&>\"'\r\n\t]]>");
    EXPECT_THAT(Saved(pObject), HasSubstr("<Property Name=\"t&#10;\" Type=\"String\" "
                                          "Dynamic=\"true\">&lt;&amp;&gt;&quot;'&#13;\n\t]]&gt;</Property>"));
    const Ptr<Object> pBlank = Object::Construct(Value::Null);
    pBlank->AddPropertyValueFromValue("b", "  ");
    EXPECT_THAT(Saved(pBlank), HasSubstr(">&#32; </Property>"));
}

TEST(AsciiSerializerTest, ATextInSeveralPiecesIsPutTogether)
{
    const Value loaded = Loaded(DocumentOf(
        "Everything",
        "<Property Name=\"String\" Type=\"String\">a<!-- comment -->b&lt;<![CDATA[<&amp;>]]></Property>"
        "<Property Name=\"int\" Type=\"int\">1<!-- -->2</Property>"));
    EXPECT_EQ(loaded.Get<Everything*>()->mString, String("ab<<&amp;>"));
    EXPECT_EQ(loaded.Get<Everything*>()->mInt, 12);
}

TEST(AsciiSerializerTest, PathsThatWouldBeTheSameGetASuffix)
{
    // "a" holds "b", and the root holds something under "a][b": both would be root[a][b].
    const Ptr<Table> pRoot = Table::Construct(Value(1));
    const Ptr<Table> pA = Table::Construct(Value(1));
    pRoot->Insert("a][b", Ptr<Pair>(Pair::Construct(Value::Null)));
    pRoot->Insert("a", pA);
    pA->Insert("b", Ptr<Object>(Object::Construct(Value::Null)));
    const Ptr<Object> pOwner = Object::Construct(Value::Null);
    const Ptr<Object> pP = Object::Construct(Value::Null);
    pRoot->Insert("owner", pOwner);
    pOwner->AddPropertyValueFromValue("p", Value(pP));
    pP->AddPropertyValueFromValue("q", Value(Ptr<Object>(Object::Construct(Value::Null))));
    pOwner->AddPropertyValueFromValue("p.q", Value(Ptr<Pair>(Pair::Construct(Value::Null))));
    pOwner->AddPropertyValueFromValue("p.q#2", Value(Ptr<List>(List::Construct(Value::Null))));

    const std::string text = Saved(pRoot);
    EXPECT_THAT(text, AllOf(HasSubstr("Path=\"root[a][b]\""), HasSubstr("Path=\"root[a][b]#2\""),
                            HasSubstr("Path=\"root[owner].p.q\""), HasSubstr("Path=\"root[owner].p.q#2\""),
                            HasSubstr("Path=\"root[owner].p.q#3\"")));
    const Value loaded = Loaded(text);
    EXPECT_TRUE(AreSameGraph(pRoot, loaded.AsObject()));
}

TEST(AsciiSerializerTest, ManyEqualPathsTakeLinearTime)
{
    // Each item of the list would have the path of one of the root's entries.
    const Ptr<Table> pRoot = Table::Construct(Value(50021));
    const Ptr<List> pList = List::Construct(Value::Null);
    pRoot->Insert("l", pList);
    constexpr int SIZE = 20000;
    for (int i = 0; i < SIZE; ++i) {
        pList->Insert(Ptr<Object>(Object::Construct(Value::Null)));
        pRoot->Insert(String::Format("l][%d", i), Ptr<Object>(Object::Construct(Value::Null)));
    }
    const Value loaded = Loaded(Saved(pRoot));
    ASSERT_NE(loaded.AsObject(), nullptr);
    EXPECT_EQ(CountObjects(loaded.AsObject()), 2 * SIZE + 2);
}

TEST(AsciiSerializerTest, AnEmptyNameIsRefusedBeforeAnythingIsWritten)
{
    CapturedMessages messages;
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = EmptyFile();
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->Insert("", Ptr<Object>(Object::Construct(Value::Null)));
    EXPECT_FALSE(pSerializer->Serialize(pTable, pFile));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to serialize an entry of QBase.Table - XML cannot store an empty name"));
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("", 1);
    EXPECT_FALSE(pSerializer->Serialize(pObject, pFile));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to serialize a property of QBase.Object - XML cannot store an empty name"));
    EXPECT_EQ(pFile->GetSize(), 0);
}

TEST(AsciiSerializerTest, AVoidValueFailsTheSaveAndNothingIsWritten)
{
    CapturedMessages messages;
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = EmptyFile();
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mAny = Value();
    EXPECT_FALSE(pSerializer->Serialize(pObject, pFile));
    EXPECT_EQ(pFile->GetSize(), 0);
    EXPECT_THAT(messages.TakeError(), HasSubstr("StoredObjects.Everything.Value - a value of type 'void'"));
}

TEST(AsciiSerializerTest, ANullObjectMakesADocumentWithoutObjectsWhichCannotBeLoaded)
{
    const std::string text = Saved(nullptr);
    EXPECT_EQ(text, "<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\"/>\n");
    EXPECT_THAT(ErrorsOfLoading(text), ElementsAre(EndsWith("File contains no objects to deserialize")));
}

TEST(AsciiSerializerTest, ANullFileSavesNothingAndIsAFileErrorWhenLoading)
{
    CapturedMessages messages;
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    EXPECT_FALSE(pSerializer->Serialize(Ptr<Object>(Object::Construct(Value::Null)), nullptr));
    EXPECT_TRUE(pSerializer->Deserialize(nullptr).IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("File error"));
}

TEST(AsciiSerializerTest, AShortWriteFailsTheSave)
{
    CapturedMessages messages;
    char buffer[100] = {};
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->OpenBuffer(buffer, sizeof(buffer), "small", File::MODE_WRITE);
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    EXPECT_FALSE(pSerializer->Serialize(Ptr<Object>(Object::Construct(Value::Null)), pFile));
    EXPECT_THAT(messages.TakeError(), HasSubstr("out of bounds"));
}

TEST(AsciiSerializerTest, LoadingBeginsAtTheStartOfTheFile)
{
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = EmptyFile();
    EXPECT_TRUE(pSerializer->Serialize(Ptr<Object>(Object::Construct(Value::Null)), pFile));
    EXPECT_NE(pFile->Tell(), 0);
    EXPECT_NE(pSerializer->Deserialize(pFile).AsObject(), nullptr);
}

TEST(AsciiSerializerTest, SavingAndLoadingLeaveUnreferencedObjectsToTheirOwner)
{
    AsciiSerializer* const pSerializer = AsciiSerializer::Construct(Value::Null);
    Object* const pObject = Object::Construct(Value::Null);
    MemoryFile* const pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("raw", File::MODE_READ | File::MODE_WRITE);
    EXPECT_TRUE(pSerializer->Serialize(pObject, pFile));
    EXPECT_NE(pSerializer->Deserialize(pFile).AsObject(), nullptr);
    for (Object* const pRaw : {static_cast<Object*>(pSerializer), pObject, static_cast<Object*>(pFile)}) {
        EXPECT_EQ(pRaw->GetReferenceCount(), 0);
        const Ptr<Object> pOwner = pRaw;
    }
}

TEST(AsciiSerializerTest, ConstantsAndExcludedPropertiesAreNeitherStoredNorFollowed)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mScratch = 9;
    const std::string text = Saved(pObject);
    EXPECT_THAT(text, AllOf(Not(HasSubstr("Scratch")), Not(HasSubstr("Answer")), Not(HasSubstr("LIMIT"))));
    const Ptr<Prefilled> pPrefilled = Prefilled::Construct(Value::Null);
    pPrefilled->mHidden = Pair::Construct(Value::Null);
    EXPECT_THAT(Saved(pPrefilled), Not(HasSubstr("Pair")));
    const Value loaded = Loaded(text);
    EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject()));
}

TEST(AsciiSerializerTest, ARedeclaredPropertyIsStoredOnceWithTheDerivedValue)
{
    const Ptr<Renumbered> pObject = Renumbered::Construct(Value::Null);
    pObject->mNumber = 5;
    pObject->mNumberText = "five";
    const std::string text = Saved(pObject);
    EXPECT_THAT(text, HasSubstr("<Property Name=\"Number\" Type=\"String\">five</Property>"));
    EXPECT_EQ(text.find("\"Number\""), text.rfind("\"Number\""));
}

TEST(AsciiSerializerTest, AGetterThatMakesANewObjectEachTimeIsReadOnce)
{
    const Ptr<Fickle> pFickle = Fickle::Construct(Value::Null);
    const std::string text = Saved(pFickle);
    EXPECT_EQ(pFickle->mReads, 1);
    const Value loaded = Loaded(text);
    const Fickle* const pLoaded = loaded.Get<Fickle*>();
    ASSERT_NE(pLoaded->mFresh, nullptr);
    EXPECT_EQ(static_cast<Pair*>(static_cast<Object*>(pLoaded->mFresh))->mNumber, 1);
}

TEST(AsciiSerializerTest, WhatAConstructorPutsIntoArraysListsAndTablesGivesWayToTheFile)
{
    const Ptr<Table> pRoot = Table::Construct(Value::Null);
    const Ptr<Prefilled> pArray = Prefilled::Construct(Value::Null);
    const Ptr<PrefilledList> pList = PrefilledList::Construct(Value::Null);
    const Ptr<PrefilledTable> pTable = PrefilledTable::Construct(Value::Null);
    const Ptr<Prefilled> pEmptyArray = Prefilled::Construct(Value::Null);
    pRoot->Insert("array", pArray);
    pRoot->Insert("list", pList);
    pRoot->Insert("table", pTable);
    pRoot->Insert("empty", pEmptyArray);
    pArray->mNumbers.Clear();
    pArray->mNumbers.Insert(9);
    pEmptyArray->mNumbers.Clear();
    pEmptyArray->FindProperty("Extra")->Set(pEmptyArray, 6);
    pList->Clear();
    pTable->Clear();
    const Value loaded = Loaded(Saved(pRoot));
    EXPECT_TRUE(AreSameGraph(pRoot, loaded.AsObject()));
}

TEST(AsciiSerializerTest, AClassTableKeepsWhatItHasWhenLoaded)
{
    const Ptr<ClassInfoTable> pTable = ClassInfoTable::Construct(Value::Null);
    pTable->Insert("entry", Ptr<Object>(Object::Construct(Value::Null)));
    const Value loaded = Loaded(Saved(pTable));
    EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject()));
}

TEST(AsciiSerializerTest, AnEmptyFileIsAFileError)
{
    EXPECT_THAT(ErrorsOfLoading(""), ElementsAre(EndsWith("File error")));
}

TEST(AsciiSerializerTest, ATextThatIsNoXmlIsReportedWithTheParsersWords)
{
    const char* const texts[] = {"<QuirlData id=\"1784827729\" version=\"3\">", // unfinished
                                 "<a></b>",
                                 "<a b></a>",
                                 "<a b=\"1></a>",
                                 "<",
                                 "<a><![CDATA[x</a>",
                                 "<!-- ",
                                 "<?xml version=\"1.0\""};
    for (const char* pText : texts) {
        EXPECT_THAT(
            ErrorsOfLoading(pText),
            ElementsAre(HasSubstr("Xml 'memory' parse failed: Error=XML_ERROR"), EndsWith("File error")))
            << pText;
    }
}

TEST(AsciiSerializerTest, WhatAParserMayLetPassIsReportedAllTheSame)
{
    const std::string good = Saved(Ptr<Object>(Object::Construct(Value::Null)));
    std::string zero = good;
    zero.insert(zero.size() - 1, 1, '\0');
    EXPECT_THAT(ErrorsOfLoading(zero),
                ElementsAre(EndsWith("Xml 'memory' parse failed: The text holds a zero byte"),
                            EndsWith("File error")));
    EXPECT_THAT(ErrorsOfLoading(good + good.substr(good.find('\n') + 1)),
                ElementsAre(EndsWith("parse failed: More than one root element"), EndsWith("File error")));
    EXPECT_THAT(ErrorsOfLoading(good + "rest"),
                ElementsAre(HasSubstr("Xml 'memory' parse failed: "), EndsWith("File error")));
    EXPECT_THAT(ErrorsOfLoading("text " + good),
                ElementsAre(HasSubstr("Xml 'memory' parse failed: "), EndsWith("File error")));
    EXPECT_THAT(ErrorsOfLoading(good + "<![CDATA[rest]]>"),
                ElementsAre(EndsWith("Xml 'memory' parse failed: Text outside the root element"),
                            EndsWith("File error")));
}

TEST(AsciiSerializerTest, AnElementOfAMillionAttributesIsReportedAtOnce)
{
    std::string attributes;
    for (int i = 0; i < 1000000; ++i) {
        attributes += " a" + std::to_string(i) + "=\"<'>\"";
    }
    const std::string crowded = "<Object" + attributes + "/>";
    // Behind what a hasty eye takes for an open quotation mark, comment or section.
    for (const char* pBefore : {"", "<!X '>", "<?x '?>", "<!-- ' -->", "<!-- <![CDATA[ -->",
                                "<a b=\"<!--\"/>", "it's", "<!--> <a b='-->", "<?x > <a ' ?>"}) {
        EXPECT_THAT(
            ErrorsOfLoading("<QuirlData>" + std::string(pBefore) + crowded + "</QuirlData>"),
            ElementsAre(EndsWith("Xml 'memory' parse failed: An element has more than 1000 attributes"),
                        EndsWith("File error")))
            << pBefore;
    }
}

TEST(AsciiSerializerTest, TextsAndCommentsMayHoldWhatLooksLikeManyAttributes)
{
    std::string quotes;
    for (int i = 0; i < 5000; ++i) {
        quotes += " a=\"\" '";
    }
    const std::string document =
        DocumentOf("Everything", "<!-- <a" + quotes + " --><Property Name=\"String\" Type=\"String\">" +
                                     quotes + "<![CDATA[<a" + quotes + "]]></Property>");
    EXPECT_EQ(Loaded(document).Get<Ptr<Everything>>()->mString, String((quotes + "<a" + quotes).c_str()));
}

TEST(AsciiSerializerTest, UnfinishedTagsCommentsAndSectionsAreReportedInLinearTime)
{
    for (const char* pPiece : {"<", "<a", "<a b=\"", "<!--", "<![CDATA[", "<!", "<?", "</"}) {
        std::string text = "<QuirlData>";
        for (int i = 0; i < 300000; ++i) {
            text += pPiece;
        }
        EXPECT_THAT(ErrorsOfLoading(text), ElementsAre(HasSubstr("parse failed"), EndsWith("File error")))
            << pPiece;
    }
}

TEST(AsciiSerializerTest, DeepNestingIsReportedOnASmallStack)
{
    RunOnSmallStack(256 * 1024, [] {
        std::string text = HEAD;
        for (int i = 0; i < 200000; ++i) {
            text += "<Object>";
        }
        EXPECT_THAT(ErrorsOfLoading(text), ElementsAre(HasSubstr("parse failed"), EndsWith("File error")));
    });
}

TEST(AsciiSerializerTest, AnotherIdOrNoneIsReported)
{
    for (const char* pText : {"<QuirlData id=\"1\" version=\"3\"/>", "<QuirlData version=\"3\"/>",
                              "<QuirlData id=\"x1784827729\" version=\"3\"/>", "<?xml version=\"1.0\"?>",
                              "<!-- nothing -->", "</a>"}) {
        EXPECT_THAT(
            ErrorsOfLoading(pText),
            testing::Contains(AnyOf(EndsWith("Deserialize failed, file id mismatch for file 'memory'."),
                                    EndsWith("File error"))))
            << pText;
    }
    EXPECT_THAT(ErrorsOfLoading("<?xml version=\"1.0\"?>"),
                ElementsAre(EndsWith("Deserialize failed, file id mismatch for file 'memory'.")));
}

TEST(AsciiSerializerTest, AnotherVersionIsReportedWithBothNumbers)
{
    for (const char* pVersion : {"2", "4", "0", "-1"}) {
        EXPECT_THAT(
            ErrorsOfLoading(std::string("<QuirlData id=\"1784827729\" version=\"") + pVersion + "\"/>"),
            ElementsAre(EndsWith(std::string("Deserialize failed, file 'memory' version is ") + pVersion +
                                 ", expected 3")));
    }
    EXPECT_THAT(ErrorsOfLoading("<QuirlData id=\"1784827729\"/>"),
                ElementsAre(EndsWith("Deserialize failed, file 'memory' version is 0, expected 3")));
}

TEST(AsciiSerializerTest, AClassThatIsNotRegisteredOrAbstractFailsTheLoad)
{
    EXPECT_THAT(ErrorsOfLoading(HEAD + "<Object Module=\"QBase\" Class=\"Missing\" Path=\"root\"/>" + TAIL),
                ElementsAre(EndsWith("Failed to construct 'QBase.Missing'")));
    EXPECT_THAT(ErrorsOfLoading(HEAD + "<Object Class=\"List\" Path=\"root\"/>" + TAIL),
                ElementsAre(EndsWith("Failed to construct '.List'")));
    EXPECT_THAT(ErrorsOfLoading(HEAD + "<Object Module=\"QBase\" Class=\"Property\"/>" + TAIL),
                ElementsAre(EndsWith("Failed to Construct interface class")));
}

TEST(AsciiSerializerTest, AnyChildOfTheRootIsAnObjectAndForeignElementsBelowItAreIgnored)
{
    const Value loaded = Loaded(HEAD +
                                "<Thing Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\"><Note>hi</Note>"
                                "text<Property Name=\"Number\" Type=\"int\">5</Property></Thing>" +
                                TAIL);
    EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 5);
}

TEST(AsciiSerializerTest, APropertyWithoutNameOrTypeFailsTheLoad)
{
    for (const char* pElement :
         {"<Property Type=\"int\">5</Property>", "<Property Name=\"\" Type=\"int\">5</Property>",
          "<Property Name=\"Number\">5</Property>", "<Property Name=\"Number\" Type=\"void\">5</Property>",
          "<Property Name=\"Number\" Type=\"Int\">5</Property>"}) {
        EXPECT_THAT(
            ErrorsOfLoading(PairWith(pElement)),
            ElementsAre(EndsWith("Failed to deserialize a property of StoredObjects.Pair - invalid name or "
                                 "type")))
            << pElement;
    }
}

TEST(AsciiSerializerTest, ATextThatCannotBeReadFailsTheLoad)
{
    for (const char* pText : {"", "x", "5x", "1.5", " "}) {
        EXPECT_THAT(
            ErrorsOfLoading(
                PairWith(std::string("<Property Name=\"Number\" Type=\"int\">") + pText + "</Property>")),
            ElementsAre(EndsWith("Failed to deserialize property StoredObjects.Pair.Number - invalid value "
                                 "of type 'int'")))
            << pText;
    }
    for (const char* pType : {"float", "bool", "Vector2", "Vector3", "Vector4", "Vector2i", "Vector3i",
                              "Vector4i", "Color", "Enum", "Quaternion"}) {
        EXPECT_THAT(ErrorsOfLoading(PairWith(std::string("<Property Name=\"Number\" Type=\"") + pType +
                                             "\"></Property>")),
                    ElementsAre(HasSubstr("invalid value of type")))
            << pType;
    }
    // Even where the class has no such property.
    EXPECT_THAT(ErrorsOfLoading(PairWith("<Property Name=\"Gone\" Type=\"int\">x</Property>")),
                ElementsAre(HasSubstr("Failed to deserialize property StoredObjects.Pair.Gone")));
    EXPECT_THAT(
        ErrorsOfLoading(PairWith("<Property Name=\"Gone\" Type=\"int\" Array=\"true\"><Value>1</Value>"
                                 "<Value>x</Value></Property>")),
        ElementsAre(HasSubstr("Gone[0], property is invalid."), HasSubstr("StoredObjects.Pair.Gone[1]")));
}

TEST(AsciiSerializerTest, NumbersMayStandBetweenBlanksAndLineEnds)
{
    const Value loaded =
        Loaded(DocumentOf("Everything", "<Property Name=\"int\" Type=\"int\">\n  -5\t</Property>"
                                        "<Property Name=\"float\" Type=\"float\"> 0.5 </Property>"
                                        "<Property Name=\"Enum\" Type=\"Enum\"> 7\r\n</Property>"));
    const Everything* const pLoaded = loaded.Get<Everything*>();
    ASSERT_NE(pLoaded, nullptr);
    EXPECT_EQ(pLoaded->mInt, -5);
    EXPECT_EQ(pLoaded->mFloat, 0.5f);
    EXPECT_EQ(pLoaded->mMood, Everything::WILD);
}

TEST(AsciiSerializerTest, ATypeThatNoValueHasFailsTheLoad)
{
    EXPECT_THAT(
        ErrorsOfLoading(DocumentOf("Everything", "<Property Name=\"Values\" Type=\"Value\" Array=\"true\">"
                                                 "<Value>1</Value></Property>")),
        ElementsAre(EndsWith("Invalid element type Value for array property value")));
    EXPECT_THAT(
        ErrorsOfLoading(DocumentOf("Everything", "<Property Name=\"Value\" Type=\"Value\">1</Property>")),
        ElementsAre(EndsWith("StoredObjects.Everything.Value - invalid value of type 'Value'")));
}

TEST(AsciiSerializerTest, AnUnknownPathFailsTheLoad)
{
    EXPECT_THAT(ErrorsOfLoading(PairWith("<Property Name=\"First\" Type=\"Object\">root.Gone</Property>")),
                ElementsAre(EndsWith("Unable to find object with path root.Gone"),
                            HasSubstr("Failed to deserialize property StoredObjects.Pair.First")));
    const std::string table = HEAD + "<Object Module=\"QBase\" Class=\"Table\" Path=\"root\">";
    EXPECT_THAT(ErrorsOfLoading(table + "<Child Name=\"a\">nowhere</Child></Object>" + TAIL),
                ElementsAre(EndsWith("Unable to find object with path nowhere"),
                            EndsWith("Failed to deserialize table entry a")));
    EXPECT_THAT(ErrorsOfLoading(table + "<Child Name=\"\">root</Child></Object>" + TAIL),
                ElementsAre(EndsWith("Failed to deserialize table entry ")));
    EXPECT_THAT(ErrorsOfLoading(table + "<Child>root</Child></Object>" + TAIL),
                ElementsAre(EndsWith("Failed to deserialize table entry ")));
    EXPECT_THAT(ErrorsOfLoading(HEAD +
                                "<Object Module=\"QBase\" Class=\"List\" Path=\"root\">"
                                "<Child Index=\"0\">nowhere</Child></Object>" +
                                TAIL),
                ElementsAre(EndsWith("Unable to find object with path nowhere"),
                            EndsWith("Failed to deserialize list")));
}

TEST(AsciiSerializerTest, ChildrenOfAnObjectThatCanHaveNoneFailTheLoad)
{
    EXPECT_THAT(ErrorsOfLoading(PairWith("<Child Name=\"a\">root</Child>")),
                ElementsAre(EndsWith("Failed to deserialize unrecognized element Child")));
}

TEST(AsciiSerializerTest, ItemsTakeTheOrderOfTheirElements)
{
    const Value loaded =
        Loaded(HEAD +
               "<Object Module=\"QBase\" Class=\"List\" Path=\"root\">"
               "<Child Index=\"7\">b</Child><Child>a</Child><Child Index=\"x\"></Child></Object>"
               "<Object Module=\"QBase\" Class=\"Table\" Path=\"a\"/>"
               "<Object Module=\"QBase\" Class=\"Object\" Path=\"b\"/>" +
               TAIL);
    List* const pList = loaded.Get<List*>();
    ASSERT_EQ(pList->GetSize(), 3);
    EXPECT_TRUE(pList->GetAt(0)->IsExactType(Object::ClassTable()));
    EXPECT_TRUE(pList->GetAt(1)->IsExactType(Table::ClassTable()));
    EXPECT_EQ(pList->GetAt(2), nullptr);
}

TEST(AsciiSerializerTest, OfTwoObjectsWithOnePathTheFirstIsMeant)
{
    const Value loaded =
        Loaded(HEAD +
               "<Object Module=\"QBase\" Class=\"List\" Path=\"root\"><Child>a</Child></Object>"
               "<Object Module=\"QBase\" Class=\"Table\" Path=\"a\"/>"
               "<Object Module=\"QBase\" Class=\"Object\" Path=\"a\"/>" +
               TAIL);
    EXPECT_TRUE(loaded.Get<List*>()->GetAt(0)->IsExactType(Table::ClassTable()));
}

TEST(AsciiSerializerTest, AStoredValueThatNoLongerFitsIsPassedOverWithAWarning)
{
    struct Case
    {
        std::string mElement;
        std::vector<std::string> mWarnings;
    };
    const std::string value = "WARNING: Ignoring deserialized value StoredObjects.Prefilled.";
    const std::string element = "WARNING: Ignoring deserialized array value StoredObjects.Prefilled.";
    const Case cases[] = {
        {"<Property Name=\"Gone\" Type=\"int\">1</Property>", {value + "Gone, property is invalid."}},
        {"<Property Name=\"Numbers\" Type=\"int\">1</Property>", {value + "Numbers, property is an array."}},
        {"<Property Name=\"Extra\" Type=\"float\">1</Property>",
         {value + "Extra, property is of different type."}},
        {"<Property Name=\"Extra\" Type=\"Enum\">1</Property>",
         {value + "Extra, property is of different type."}},
        {"<Property Name=\"Gone\" Type=\"int\" Array=\"true\"><Value>1</Value><Value>2</Value></Property>",
         {element + "Gone[0], property is invalid.", element + "Gone[1], property is invalid."}},
        {"<Property Name=\"Extra\" Type=\"int\" Array=\"true\"><Value>1</Value></Property>",
         {element + "Extra[0], property is not an array."}},
        {"<Property Name=\"Numbers\" Type=\"float\" Array=\"true\"><Value>1</Value></Property>",
         {element + "Numbers[0], property is of different type."}},
        {"<Property Name=\"Gone\" Type=\"int\" Array=\"true\"/>", {}},
        {"<Property Name=\"Gone\" Type=\"int\" Dynamic=\"TRUE\">1</Property>",
         {value + "Gone, property is invalid."}}};
    for (const Case& test : cases) {
        CapturedMessages messages;
        const Value loaded = Loaded(DocumentOf("Prefilled", test.mElement));
        ASSERT_NE(loaded.AsObject(), nullptr) << test.mElement;
        EXPECT_EQ(loaded.Get<Prefilled*>()->mNumbers.GetSize(), 3);
        EXPECT_EQ(messages.TakeAll(), test.mWarnings);
    }
}

TEST(AsciiSerializerTest, ADynamicPropertyIsAddedAgain)
{
    const Value loaded =
        Loaded(PairWith("<Property Name=\"Gone\" Type=\"int\" Dynamic=\"true\">4</Property>"));
    Property* const pGone = loaded.AsObject()->FindProperty("Gone");
    ASSERT_NE(pGone, nullptr);
    EXPECT_TRUE(pGone->IsDynamic());
    EXPECT_EQ(pGone->Get(loaded.AsObject()), Value(4));
}

TEST(AsciiSerializerTest, AnEnumMayBeWrittenByName)
{
    const Value loaded = Loaded(
        DocumentOf("Everything", "<Property Name=\"Enum\" Type=\"Enum\">Wild</Property>"
                                 "<Property Name=\"Enums\" Type=\"Enum\" Array=\"true\"><Value>Eager</Value>"
                                 "<Value>7</Value></Property>"));
    EXPECT_EQ(loaded.Get<Everything*>()->mMood, Everything::WILD);
    EXPECT_EQ(loaded.Get<Everything*>()->mMoods.GetAt(0), Everything::EAGER);
    EXPECT_EQ(loaded.Get<Everything*>()->mMoods.GetAt(1), Everything::WILD);
    EXPECT_THAT(
        ErrorsOfLoading(DocumentOf("Everything", "<Property Name=\"Enum\" Type=\"Enum\">wild</Property>")),
        ElementsAre(HasSubstr("invalid value of type 'Enum'")));
}

TEST(AsciiSerializerTest, ReportsOfALoadHaveAPlaceAPathAndALine)
{
    const Ptr<PlaceKeeper> pKeeper = new PlaceKeeper;
    {
        CapturedMessages messages;
        SetInfoHandler(pKeeper);
        SetErrorHandler(pKeeper);
        Loaded(HEAD + // two lines
               "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\">\n"
               "<Property Name=\"Gone\" Type=\"int\">1</Property>\n"
               "</Object><Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"a&amp;b\">\n"
               "<Property Name=\"Gone\" Type=\"int\"\n Array=\"true\">\n<Value>1</Value>\n<Value>2</Value>"
               "</Property><Property Name=\"Number\" Type=\"int\">x</Property></Object>" +
               TAIL);
    }
    EXPECT_THAT(pKeeper->mPlaces, ElementsAre("root, line 4", "a&b, line 8", "a&b, line 9", "a&b, line 9"));
    EXPECT_EQ(Serializer::GetPlace(), String::Null);
}

TEST(AsciiSerializerTest, AnObjectThatCannotBeMadeHasAPlaceToo)
{
    const Ptr<PlaceKeeper> pKeeper = new PlaceKeeper;
    {
        CapturedMessages messages;
        SetErrorHandler(pKeeper);
        Loaded(HEAD + "\n<Object Module=\"QBase\" Class=\"Missing\" Path=\"root\"/>" + TAIL);
        Loaded(HEAD + "<Object Module=\"QBase\" Class=\"Missing\" Path=\"" + std::string(300, 'x') + "\"/>" +
               TAIL);
        Loaded("garbage");
    }
    EXPECT_THAT(pKeeper->mPlaces, ElementsAre("root, line 4", "line 3", "", ""));
}

TEST(AsciiSerializerTest, ObjectsOfOneClassStoredDifferentlyAreReadAlike)
{
    const Value loaded = Loaded(HEAD +
                                "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\">"
                                "<Property Name=\"Number\" Type=\"int\">1</Property>"
                                "<Property Name=\"First\" Type=\"Object\">b</Property></Object>"
                                "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"b\">"
                                "<Property Name=\"Second\" Type=\"Object\">c</Property>"
                                "<Property Name=\"Number\" Type=\"int\">2</Property></Object>"
                                "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"c\">"
                                "<Property Name=\"Own\" Type=\"int\" Dynamic=\"true\">4</Property>"
                                "<Property Name=\"Number\" Type=\"int\">3</Property></Object>" +
                                TAIL);
    const Pair* const pFirst = loaded.Get<Pair*>();
    const Pair* const pSecond = static_cast<const Pair*>(static_cast<Object*>(pFirst->mFirst));
    const Pair* const pThird = static_cast<const Pair*>(static_cast<Object*>(pSecond->mSecond));
    EXPECT_EQ(pFirst->mNumber, 1);
    EXPECT_EQ(pSecond->mNumber, 2);
    EXPECT_EQ(pThird->mNumber, 3);
    EXPECT_NE(pThird->FindProperty("Own"), nullptr);
    EXPECT_EQ(pSecond->FindProperty("Own"), nullptr);
}

TEST(AsciiSerializerTest, EveryPrefixOfADocumentIsReportedAndLoadsNothing)
{
    const Ptr<Pair> pPair = Pair::Construct(Value::Null);
    pPair->mFirst = pPair;
    pPair->AddPropertyValueFromValue("Label", "a & b");
    const std::string text = Saved(pPair);
    for (std::size_t size = 0; size + 1 < text.size(); ++size) {
        EXPECT_FALSE(ErrorsOfLoading(text.substr(0, size)).empty()) << size;
    }
    Dissolve(pPair);
}

TEST(AsciiSerializerTest, EveryByteDamagedEndsInAnObjectOrAReport)
{
    const Ptr<Pair> pPair = Pair::Construct(Value::Null);
    pPair->mFirst = pPair;
    pPair->AddPropertyValueFromValue("Label", "a & b");
    const std::string text = Saved(pPair);
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char c : {'<', '>', '&', '"', '\0', 'x', '7', '\xFF', '/'}) {
            std::string damaged = text;
            damaged[at] = c;
            CapturedMessages messages;
            const Value loaded = Loaded(damaged);
            if (loaded.IsVoid()) {
                EXPECT_FALSE(messages.TakeAll().empty()) << at << c;
            } else {
                messages.TakeAll();
                Dissolve(loaded.AsObject());
            }
        }
    }
    Dissolve(pPair);
}

TEST(AsciiSerializerTest, ADocumentReadStepByStepGivesWhatItGivesAsAWhole)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        GraphOptions options;
        options.mbRoundedVectors = true;
        const Ptr<Object> pGraph = RandomGraph(seed, options);
        const std::string text = Saved(pGraph);
        EXPECT_EQ(OutcomeOfLoading(text), OutcomeOfLoading(WithComment(text))) << seed;
        Dissolve(pGraph);
    }
    const std::string text = ManyPairs(200);
    EXPECT_THAT(OutcomeOfLoading(text), ElementsAre(text));
    EXPECT_THAT(OutcomeOfLoading(WithComment(text)), ElementsAre(text));
}

TEST(AsciiSerializerTest, DamageIsReportedWithTheSameWordsAndLinesHoweverADocumentIsRead)
{
    const std::string text = ManyPairs(80);
    ASSERT_GT(text.size(), 20000u);
    for (std::size_t at = text.find('\n'); at < text.size(); at += 211) {
        for (const char c : {'<', '>', '&', '"', 'x', '7', '\xFF', '/', ' ', '\n'}) {
            std::string damaged = text;
            damaged[at] = c;
            EXPECT_EQ(OutcomeOfLoading(damaged), OutcomeOfLoading(WithComment(damaged))) << at << c;
        }
    }
    const std::size_t last = text.rfind("</Property>");
    const std::string wrong = text.substr(0, last) + "x" + text.substr(last);
    const auto line = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(last), '\n') + 1;
    const Ptr<PlaceKeeper> pKeeper = new PlaceKeeper;
    {
        CapturedMessages messages;
        SetErrorHandler(pKeeper);
        Loaded(wrong);
        Loaded(WithComment(wrong));
    }
    const std::string place = "root[79], line " + std::to_string(line);
    ASSERT_FALSE(pKeeper->mPlaces.empty());
    EXPECT_THAT(pKeeper->mPlaces, Each(place));
}

TEST(AsciiSerializerTest, OddDocumentsGiveTheSameStepByStepAndAsAWhole)
{
    const std::string pair = "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\">"
                             "<Property Name=\"Number\" Type=\"int\">7</Property></Object>";
    const std::string other = "<Object Module=\"QBase\" Class=\"Object\" Path=\"b\"/>";
    std::string deep;
    std::string end;
    for (int i = 0; i < 40; ++i) {
        deep += "<deep>";
        end += "</deep>";
    }
    const std::string documents[] = {
        HEAD + pair + "text" + other + TAIL,
        HEAD + "text" + pair + TAIL,
        HEAD + pair + "text" + TAIL,
        HEAD + pair + "<![CDATA[text]]>" + other + TAIL,
        HEAD + pair + "<?x?>" + other + TAIL,
        HEAD + pair + "< Object Module=\"QBase\" Class=\"Object\" Path=\"b\"></Object>" + TAIL,
        HEAD + pair + "<Object Module=\"QBase\" Class=\"Object\" Path=\"b\">< /Object>" + TAIL,
        HEAD + pair + "<Object Module=\"QBase\" Class=\"Object\" Path=\"b\"></Object/>" + TAIL,
        HEAD + pair + "</Object>" + other + TAIL,
        HEAD + pair + "</Object>" + TAIL,
        HEAD + "<Object Module=\"QBase\" Class=\"Object\">" + pair + "</Object>" + TAIL,
        HEAD + pair + "<Object>" + TAIL,
        HEAD + pair + "</QuirlDatum>\n",
        HEAD + pair + "</QuirlData id=\"1\">\n",
        HEAD + pair + "</QuirlData",
        HEAD + pair + TAIL + TAIL,
        HEAD + pair + TAIL + "rest",
        HEAD + pair + TAIL + pair,
        HEAD + pair + TAIL + "<?x?>",
        HEAD + pair + "<Object Module='QBase' Class=\"Object\" Path='>\"</Object>'></Object>" + TAIL,
        HEAD + pair + "<Object Module=\"QBase\" Class=\"Object\" Path=\"/\"></Object>" + TAIL,
        HEAD + pair + "<Object Module=\"QBase\" Class=\"Object\" Path=/></Object>" + TAIL,
        HEAD + pair + "<Object Module=\"QBase\" Module=\"QBase\" Class=\"Object\"/>" + TAIL,
        HEAD + pair + "<>" + TAIL,
        HEAD + pair + "<1/>" + TAIL,
        HEAD + "<Object Module=\"QBase\" Class=\"Object\">" + deep + end + "</Object>" + TAIL,
        HEAD + "<Object Module=\"QBase\" Class=\"Object\">" + deep + "</Object>" + end + TAIL,
        HEAD + TAIL,
        HEAD.substr(HEAD.find('\n')) + pair + TAIL,
        "\n\n" + HEAD + pair + TAIL,
        "\xEF\xBB\xBF" + HEAD + pair + TAIL,
        "<?xml version=\"1.0\"?>\n<QuirlData/>" + pair,
        "<?xml version=\"1.0\"?>\n" + pair,
    };
    for (const std::string& document : documents) {
        std::string asAWhole = document;
        const std::size_t declaration = document.find("?>");
        asAWhole.insert(declaration < 60 ? declaration + 2 : 0, "<!-- -->");
        EXPECT_EQ(OutcomeOfLoading(document), OutcomeOfLoading(asAWhole)) << document;
    }
}

TEST(AsciiSerializerTest, ALoadMakesNoTreeOfTheWholeDocument)
{
    const auto countOf = [](const std::string& text) {
        const CountedAllocations allocations;
        const Value loaded = Loaded(text);
        return allocations.GetCount();
    };
    // The parser takes a block of memory for an object or two.
    EXPECT_LT(countOf(ManyPairs(2000)), countOf(ManyPairs(1000)) + 400);
}

TEST(AsciiSerializerTest, AFailureBehindAFinishedCycleLeavesNothingBehind)
{
    EXPECT_THAT(ErrorsOfLoading(HEAD +
                                "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\">"
                                "<Property Name=\"First\" Type=\"Object\">root</Property>"
                                "<Property Name=\"Second\" Type=\"Object\">b</Property></Object>"
                                "<Object Module=\"QBase\" Class=\"List\" Path=\"b\"><Child>b</Child></Object>"
                                "<Object Module=\"StoredObjects\" Class=\"Prefilled\" Path=\"c\">"
                                "<Property Name=\"Loop\" Type=\"Object\" Dynamic=\"true\">c</Property>"
                                "<Property Name=\"Extra\" Type=\"int\">x</Property></Object>" +
                                TAIL),
                ElementsAre(HasSubstr("StoredObjects.Prefilled.Extra")));
}

TEST(AsciiSerializerTest, ObjectsThatNothingLeadsToAreReleasedCyclesIncluded)
{
    const Value loaded =
        Loaded(HEAD +
               "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"root\"/>"
               "<Object Module=\"StoredObjects\" Class=\"Pair\" Path=\"b\">"
               "<Property Name=\"First\" Type=\"Object\">b</Property></Object>"
               "<Object Module=\"QBase\" Class=\"List\" Path=\"c\"><Child>c</Child></Object>" +
               TAIL);
    EXPECT_EQ(CountObjects(loaded.AsObject()), 1);
}

TEST(AsciiSerializerTest, AListOf200000ObjectsAndAChainOf5000FitASmallStack)
{
    RunOnSmallStack(256 * 1024, [] {
        const Ptr<List> pList = List::Construct(Value::Null);
        for (int i = 0; i < 200000; ++i) {
            pList->Insert(Ptr<Object>(Object::Construct(Value::Null)));
        }
        const Value list = Loaded(Saved(pList));
        EXPECT_EQ(list.Get<List*>()->GetSize(), 200000);

        Ptr<Pair> pChain;
        for (int i = 0; i < 5000; ++i) {
            const Ptr<Pair> pLink = Pair::Construct(Value::Null);
            pLink->mFirst = pChain;
            pChain = pLink;
        }
        const Value chain = Loaded(Saved(pChain));
        EXPECT_TRUE(AreSameGraph(pChain, chain.AsObject()));
    });
}
