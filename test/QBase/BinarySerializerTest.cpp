#include "QBase/BinarySerializer.h"

#include "QBase/IOStream.h"
#include "QBase/Property.h"
#include "Support/SavedGraphs.h"
#include "Support/SmallStack.h"
#include "Support/StoredObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

using namespace QBase;
using namespace StoredObjects;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

const std::string HEADER = Bytes("51 4F 62 6A" /* QObj */ "03 00 00 00" /* version */);
constexpr const char* BAD_INDEX = "ASSERT( index >= 0 && index < mSize )";

std::string Saved(Object* pObject)
{
    return SavedAs<BinarySerializer>(pObject);
}

Value Loaded(const std::string& bytes)
{
    return LoadedAs<BinarySerializer>(bytes);
}

std::vector<std::string> ErrorsOfLoading(const std::string& bytes)
{
    return ErrorsOfLoadingAs<BinarySerializer>(bytes);
}

std::string Int(int value)
{
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i) {
        bytes[static_cast<std::size_t>(i)] = static_cast<char>(static_cast<unsigned>(value) >> (8 * i));
    }
    return bytes;
}

std::string Text(const std::string& text)
{
    return Int(static_cast<int>(text.size())) + text;
}

void PutInt(std::string& rBytes, std::size_t at, int value)
{
    rBytes.replace(at, 4, Int(value));
}

int GetInt(const std::string& bytes, std::size_t at)
{
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<unsigned>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    }
    return static_cast<int>(value);
}

// A file of one StoredObjects.Pair with the given property records.
std::string PairWith(int numProperties, const std::string& records, int numChildren = 0)
{
    return HEADER + Int(5) + Int(1) +                                                             // counts
           Text("StoredObjects") + Text("Pair") + Text("Number") + Text("Gone") + Text("First") + // 0 to 4
           Int(0) + Int(1) + Int(numProperties) + Int(numChildren) + records;
}

const std::string NUMBER_IS_7 = Int(2) + Bytes("04" /* int */) + Int(7);

Ptr<List> ListOfPairs(int size)
{
    Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < size; ++i) {
        const Ptr<Pair> pPair = Pair::Construct(Value::Null);
        pPair->mNumber = i;
        pList->Insert(pPair);
    }
    return pList;
}

// Notes how it is used.
class CountingFile : public MemoryFile
{
public:
    CountingFile() : MemoryFile(Value::Null) { Open("counted", MODE_READ | MODE_WRITE); }

    int Read(void* pData, int count) override
    {
        mReads.push_back(count);
        return MemoryFile::Read(pData, count);
    }

    int Write(const void* pData, int count) override
    {
        mWrites.push_back(count);
        return MemoryFile::Write(pData, count);
    }

    long long CountBytesRead() const { return std::accumulate(mReads.begin(), mReads.end(), 0LL); }

    std::vector<int> mReads;
    std::vector<int> mWrites;
};

// Two Pairs that refer to each other, the second with a dynamic text.
struct TwoPairs
{
    TwoPairs() : mpA(Pair::Construct(Value::Null)), mpB(Pair::Construct(Value::Null))
    {
        mpA->mNumber = 5;
        mpA->mFirst = mpB;
        mpA->mSecond = mpB;
        mpB->mNumber = 6;
        mpB->mSecond = mpA;
        mpB->AddPropertyValueFromValue("Label", "Hello");
    }
    ~TwoPairs() { Dissolve(mpA); }

    Ptr<Pair> mpA;
    Ptr<Pair> mpB;
};

} // namespace

TEST(BinarySerializerTest, ALoneObjectTakesHeaderCountsTwoStringsAndOneRecord)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_EQ(Saved(pObject), Bytes("51 4F 62 6A"       // QObj
                                    "03 00 00 00"       // version
                                    "02 00 00 00"       // strings
                                    "01 00 00 00"       // objects
                                    "05 00 00 00"       // bytes of the first string
                                    "51 42 61 73 65"    // QBase
                                    "06 00 00 00"       // bytes of the second
                                    "4F 62 6A 65 63 74" // Object
                                    "00 00 00 00"       // module
                                    "01 00 00 00"       // class
                                    "00 00 00 00"       // properties
                                    "00 00 00 00"));    // children
    EXPECT_EQ(Saved(pObject).size(), 8u + 8u + (4u + 5u) + (4u + 6u) + 16u);
}

TEST(BinarySerializerTest, ObjectsAndStringsAreNumberedInTheOrderOfADepthFirstWalk)
{
    const TwoPairs pairs;
    EXPECT_EQ(Saved(pairs.mpA),
              Bytes("51 4F 62 6A 03 00 00 00"                            // header
                    "07 00 00 00 02 00 00 00"                            // counts of strings and objects
                    "0D 00 00 00 53 74 6F 72 65 64 4F 62 6A 65 63 74 73" // 0: StoredObjects
                    "04 00 00 00 50 61 69 72"                            // 1: Pair
                    "05 00 00 00 46 69 72 73 74"                         // 2: First
                    "05 00 00 00 4C 61 62 65 6C"                         // 3: Label
                    "05 00 00 00 48 65 6C 6C 6F"                         // 4: Hello
                    "06 00 00 00 53 65 63 6F 6E 64"                      // 5: Second
                    "06 00 00 00 4E 75 6D 62 65 72"                      // 6: Number
                    "00 00 00 00 01 00 00 00 03 00 00 00 00 00 00 00"    // object 0
                    "00 00 00 00 01 00 00 00 04 00 00 00 00 00 00 00"    // object 1
                    "02 00 00 00 14 01 00 00 00"                         // First: Object 1
                    "05 00 00 00 14 01 00 00 00"                         // Second: Object 1
                    "06 00 00 00 04 05 00 00 00"                         // Number: int 5
                    "03 00 00 00 12 04 00 00 00"                         // Label: dynamic String 4
                    "02 00 00 00 14 FF FF FF FF"                         // First: null
                    "05 00 00 00 14 00 00 00 00"                         // Second: Object 0
                    "06 00 00 00 04 06 00 00 00"));                      // Number: int 6
}

TEST(BinarySerializerTest, TablesAndListsStoreTheirChildrenNullsIncluded)
{
    const Ptr<Table> pTable = Table::Construct(Value(1));
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pTable->Insert("x", nullptr);
    pTable->Insert("l", pList);
    pList->Insert(pObject);
    pList->Insert(nullptr);
    pList->Insert(pObject);

    const std::string bytes = Saved(pTable);
    EXPECT_EQ(bytes, Bytes("51 4F 62 6A 03 00 00 00"                         // header
                           "06 00 00 00 03 00 00 00"                         // counts of strings and objects
                           "05 00 00 00 51 42 61 73 65"                      // 0: QBase
                           "05 00 00 00 54 61 62 6C 65"                      // 1: Table
                           "01 00 00 00 6C"                                  // 2: l
                           "04 00 00 00 4C 69 73 74"                         // 3: List
                           "06 00 00 00 4F 62 6A 65 63 74"                   // 4: Object
                           "01 00 00 00 78"                                  // 5: x
                           "00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00" // the table, two children
                           "00 00 00 00 03 00 00 00 00 00 00 00 03 00 00 00" // the list, three
                           "00 00 00 00 04 00 00 00 00 00 00 00 00 00 00 00" // the object
                           "02 00 00 00 01 00 00 00"                         // l: object 1
                           "05 00 00 00 FF FF FF FF"                         // x: null
                           "00 00 00 00 02 00 00 00"                         // item 0: object 2
                           "01 00 00 00 FF FF FF FF"                         // item 1: null
                           "02 00 00 00 02 00 00 00"));                      // item 2: object 2
    const Value loaded = Loaded(bytes);
    EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject()));
}

TEST(BinarySerializerTest, EveryTypeHasItsFlagsAndBytes)
{
    struct Case
    {
        Value mValue;
        const char* mpRecord; // flags of a dynamic value, then the value
    };
    const Case cases[] = {
        {Value(-2), "06 FE FF FF FF"},
        {Value(1.5f), "0A 00 00 C0 3F"},
        {Value(true), "0E 01"},
        {Value("text"), "12 03 00 00 00"}, // string 3
        {Value(nullptr), "16 FF FF FF FF"},
        {Value(Vector2(1, 2)), "1A 00 00 80 3F 00 00 00 40"},
        {Value(Vector3(1, 2, -3)), "1E 00 00 80 3F 00 00 00 40 00 00 40 C0"},
        {Value(Vector4(1, 2, -3, 0)), "22 00 00 80 3F 00 00 00 40 00 00 40 C0 00 00 00 00"},
        {Value(Vector2i(1, -1)), "26 01 00 00 00 FF FF FF FF"},
        {Value(Vector3i(1, -1, 2)), "2A 01 00 00 00 FF FF FF FF 02 00 00 00"},
        {Value(Vector4i(1, -1, 2, 256)), "2E 01 00 00 00 FF FF FF FF 02 00 00 00 00 01 00 00"},
        {Value(Color(1, 2, 3, 4)), "32 01 02 03 04"},
        {Value(Everything::WILD), "3A 07 00 00 00"},
        {Value(Quaternion(1, 2, -3, 0)), "3E 00 00 80 3F 00 00 00 40 00 00 40 C0 00 00 00 00"}};
    for (const Case& test : cases) {
        const Ptr<Object> pObject = Object::Construct(Value::Null);
        pObject->AddPropertyValueFromValue("p", test.mValue);
        const std::string bytes = Saved(pObject);
        EXPECT_THAT(bytes, EndsWith(Int(2) + Bytes(test.mpRecord))) << test.mValue.GetType();
        const Value loaded = Loaded(bytes);
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject())) << test.mValue.GetType();
    }
}

TEST(BinarySerializerTest, AnArrayHasItsCountBeforeTheElements)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    Property* const pArray = pObject->AddPropertyArray("p", Value::TYPE_BOOL);
    pArray->Insert(pObject, true);
    pArray->Insert(pObject, false);
    EXPECT_THAT(Saved(pObject), EndsWith(Int(2) + Bytes("0F" /* bool, dynamic, array */ "02 00 00 00"
                                                        "01 00")));
}

TEST(BinarySerializerTest, ALongArrayIsItsElementsOneBehindTheOther)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    std::string elements;
    for (int i = 0; i < 20000; ++i) {
        pObject->mVector3s.Insert(Vector3(static_cast<float>(i), 0.0f, 0.0f));
        const float x = static_cast<float>(i);
        char bytes[4];
        std::memcpy(bytes, &x, 4);
        elements += std::string(bytes, 4) + std::string(8, '\0');
    }
    const std::string bytes = Saved(pObject);
    EXPECT_THAT(bytes, HasSubstr(Bytes("1D" /* Vector3, array */) + Int(20000) + elements));
    const Value loaded = Loaded(bytes);
    EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject()));
}

TEST(BinarySerializerTest, EqualTextsShareOneEntryAndEmptyOnesAreTheNullString)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mString = "Twice";
    pObject->mStrings.Insert("Twice");
    pObject->mStrings.Insert("");
    pObject->mStrings.Insert(String::Null);
    const std::string bytes = Saved(pObject);
    EXPECT_EQ(bytes.find("Twice"), bytes.rfind("Twice"));

    const Value loaded = Loaded(bytes);
    const Everything* const pLoaded = loaded.Get<Everything*>();
    EXPECT_EQ(pLoaded->mString, String("Twice"));
    EXPECT_EQ(pLoaded->mStrings.GetAt(0), String("Twice"));
    EXPECT_EQ(pLoaded->mStrings.GetAt(1), String::Null);
    EXPECT_EQ(pLoaded->mStrings.GetAt(2), String::Null);
}

TEST(BinarySerializerTest, AnObjectThatRefersToItselfComesBackAsOne)
{
    const Ptr<Pair> pPair = Pair::Construct(Value::Null);
    pPair->mFirst = pPair;
    const std::string bytes = Saved(pPair);
    EXPECT_THAT(bytes, HasSubstr(Bytes("14" /* Object */) + Int(0)));
    const Value loaded = Loaded(bytes);
    Pair* const pLoaded = loaded.Get<Pair*>();
    EXPECT_EQ(pLoaded->mFirst, pLoaded);
    pLoaded->mFirst = nullptr;
    pPair->mFirst = nullptr;
}

TEST(BinarySerializerTest, RandomGraphsComeBackEqual)
{
    for (unsigned seed = 1; seed <= 60; ++seed) {
        GraphOptions options;
        options.mbEmptyNames = true;
        const Ptr<Object> pGraph = RandomGraph(seed, options);
        const std::string bytes = Saved(pGraph);
        const Value loaded = Loaded(bytes);
        ASSERT_NE(loaded.AsObject(), nullptr) << seed;
        EXPECT_TRUE(AreSameGraph(pGraph, loaded.AsObject())) << seed;
        Dissolve(loaded.AsObject());
        Dissolve(pGraph);
    }
}

TEST(BinarySerializerTest, SavingAndLoadingLeaveUnreferencedObjectsToTheirOwner)
{
    BinarySerializer* const pSerializer = BinarySerializer::Construct(Value::Null);
    Pair* const pPair = Pair::Construct(Value::Null);
    pPair->mFirst = pPair;
    MemoryFile* const pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("raw", File::MODE_READ | File::MODE_WRITE);

    EXPECT_TRUE(pSerializer->Serialize(pPair, pFile));
    pFile->SeekStart(0);
    {
        const Value loaded = pSerializer->Deserialize(pFile);
        ASSERT_NE(loaded.AsObject(), nullptr);
        Dissolve(loaded.AsObject());
    }
    EXPECT_EQ(pSerializer->GetReferenceCount(), 0);
    EXPECT_EQ(pPair->GetReferenceCount(), 1); // its own
    EXPECT_EQ(pFile->GetReferenceCount(), 0);

    pPair->mFirst = nullptr; // destroys it
    const Ptr<Object> pSerializerOwner = pSerializer;
    const Ptr<Object> pFileOwner = pFile;
}

TEST(BinarySerializerTest, SerializeAndDeserializeCanBeCalledByName)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = EmptyFile();
    EXPECT_EQ(pSerializer->Call("Serialize", Value(pObject), Value(pFile)), Value(true));
    pFile->SeekStart(0);
    const Value loaded = pSerializer->Call("Deserialize", Value(pFile));
    EXPECT_EQ(loaded.AsObject()->GetClassTable(), Object::ClassTable());
}

TEST(BinarySerializerTest, SavingTakesTwoWritesAndLoadingASmallGraphTwoReads)
{
    const Ptr<CountingFile> pFile = new CountingFile;
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const TwoPairs pairs;
    EXPECT_TRUE(pSerializer->Serialize(pairs.mpA, pFile));
    const int rest = pFile->GetSize() - 8;
    EXPECT_THAT(pFile->mWrites, ElementsAre(8, rest));
    pFile->SeekStart(0);
    const Value loaded = pSerializer->Deserialize(pFile);
    EXPECT_THAT(pFile->mReads, ElementsAre(8, rest));
    Dissolve(loaded.AsObject());
}

TEST(BinarySerializerTest, ALargeGraphIsWrittenAtOnceAndReadInFewBlocksEachByteOnce)
{
    const Ptr<CountingFile> pFile = new CountingFile;
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<List> pList = ListOfPairs(50000);
    EXPECT_TRUE(pSerializer->Serialize(pList, pFile));
    const int size = pFile->GetSize();
    EXPECT_THAT(pFile->mWrites, ElementsAre(8, size - 8));
    pFile->SeekStart(0);
    const Value loaded = pSerializer->Deserialize(pFile);
    EXPECT_TRUE(AreSameGraph(pList, loaded.AsObject()));
    EXPECT_EQ(pFile->CountBytesRead(), size);
    EXPECT_LE(pFile->mReads.size(), static_cast<std::size_t>(size) / 200000 + 8);
}

TEST(BinarySerializerTest, ATextLargerThanAnyBlockComesBack)
{
    const std::string text(3000000, 'x');
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    pTable->AddPropertyValueFromValue("Text", text.c_str());
    pTable->Insert("pairs", Ptr<Object>(ListOfPairs(1000)));
    const Value loaded = Loaded(Saved(pTable));
    EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject()));
}

TEST(BinarySerializerTest, GraphsInARowAreLoadedInARow)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Pair> pFirst = Pair::Construct(Value::Null);
    const Ptr<Pair> pSecond = Pair::Construct(Value::Null);
    pFirst->mNumber = 1;
    pSecond->mNumber = 2;
    const Ptr<MemoryFile> pFile = FileOf("leading");
    pFile->SeekEnd(0);
    EXPECT_TRUE(pSerializer->Serialize(pFirst, pFile));
    const int between = pFile->Tell();
    EXPECT_TRUE(pSerializer->Serialize(pSecond, pFile));
    pFile->Write("trailing", 8);

    pFile->SeekStart(7);
    EXPECT_EQ(pSerializer->Deserialize(pFile).Get<Ptr<Pair>>()->mNumber, 1);
    EXPECT_EQ(pFile->Tell(), between);
    EXPECT_EQ(pSerializer->Deserialize(pFile).Get<Ptr<Pair>>()->mNumber, 2);
    EXPECT_EQ(pFile->BytesAvailable(), 8);
}

TEST(BinarySerializerTest, ManyGraphsInARowAreLoadedByReadingEachByteAFewTimes)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<CountingFile> pFile = new CountingFile;
    constexpr int NUM_GRAPHS = 200;
    std::vector<int> ends;
    for (int i = 0; i < NUM_GRAPHS; ++i) {
        EXPECT_TRUE(pSerializer->Serialize(ListOfPairs(500 + i), pFile)); // about 20 KiB and more
        ends.push_back(pFile->Tell());
    }
    pFile->SeekStart(0);
    for (int i = 0; i < NUM_GRAPHS; ++i) {
        EXPECT_EQ(pSerializer->Deserialize(pFile).Get<Ptr<List>>()->GetSize(), 500 + i);
        EXPECT_EQ(pFile->Tell(), ends[static_cast<std::size_t>(i)]);
    }
    EXPECT_LT(pFile->CountBytesRead(), 3LL * pFile->GetSize());
}

TEST(BinarySerializerTest, ANullFileSavesAndLoadsNothing)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_FALSE(pSerializer->Serialize(pObject, nullptr));
    EXPECT_TRUE(pSerializer->Deserialize(nullptr).IsVoid());
}

TEST(BinarySerializerTest, ANullObjectMakesAFileWithoutObjectsWhichCannotBeLoaded)
{
    const std::string bytes = Saved(nullptr);
    EXPECT_EQ(bytes, HEADER + Int(0) + Int(0));
    EXPECT_THAT(ErrorsOfLoading(bytes), ElementsAre(EndsWith("File contains no objects to deserialize")));
}

TEST(BinarySerializerTest, AVoidValueFailsTheSave)
{
    CapturedMessages messages;
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = EmptyFile();
    pObject->mAny = Value();
    EXPECT_FALSE(pSerializer->Serialize(pObject, pFile));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to serialize property StoredObjects.Everything.Value - a "
                         "value of type 'void' cannot be stored"));
    pObject->mAny = 1;
    pObject->mAnys.Insert(Value());
    EXPECT_FALSE(pSerializer->Serialize(pObject, pFile));
    EXPECT_THAT(messages.TakeError(), HasSubstr("Everything.Values - a value of type 'void'"));
}

TEST(BinarySerializerTest, AnArrayOfAnyTypesIsStoredWhileTheyAreOneType)
{
    CapturedMessages messages;
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mAnys.Insert("a");
    pObject->mAnys.Insert("b");
    const Value loaded = Loaded(Saved(pObject));
    EXPECT_TRUE(AreSameGraph(pObject, loaded.AsObject()));

    pObject->mAnys.Insert(7);
    EXPECT_FALSE(pSerializer->Serialize(pObject, EmptyFile()));
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Everything.Values - an element of type 'int' differs from those "
                         "before it"));
}

TEST(BinarySerializerTest, AShortWriteFailsTheSave)
{
    char buffer[40] = {};
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (const int size : {7, 8, 20}) {
        CapturedMessages messages;
        const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
        pFile->OpenBuffer(buffer, size, "small", File::MODE_WRITE);
        EXPECT_FALSE(pSerializer->Serialize(pObject, pFile));
        EXPECT_THAT(messages.TakeError(), HasSubstr("Failed to write to memory file 'small'"));
    }
}

TEST(BinarySerializerTest, ConstantsAndExcludedPropertiesAreNeitherStoredNorReported)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mScratch = 9;
    const std::string bytes = Saved(pObject);
    EXPECT_EQ(bytes.find("Scratch"), std::string::npos);
    EXPECT_EQ(bytes.find("Answer"), std::string::npos);
    EXPECT_EQ(bytes.find("LIMIT"), std::string::npos);
    const Value loaded = Loaded(bytes);
    EXPECT_EQ(loaded.Get<Everything*>()->mScratch, 0);
}

TEST(BinarySerializerTest, ExcludedPropertiesAreNotFollowed)
{
    const Ptr<Prefilled> pObject = Prefilled::Construct(Value::Null);
    pObject->mHidden = Pair::Construct(Value::Null);
    EXPECT_EQ(Saved(pObject).find("Pair"), std::string::npos);
}

TEST(BinarySerializerTest, ARedeclaredPropertyIsStoredOnceWithTheDerivedValue)
{
    const Ptr<Renumbered> pObject = Renumbered::Construct(Value::Null);
    pObject->mNumber = 5;
    pObject->mNumberText = "five";
    const std::string bytes = Saved(pObject);
    EXPECT_THAT(bytes, HasSubstr(Int(0) + Int(1) + Int(3) + Int(0))); // three properties
    const Value loaded = Loaded(bytes);
    EXPECT_EQ(loaded.Get<Renumbered*>()->mNumberText, String("five"));
    EXPECT_EQ(loaded.Get<Renumbered*>()->mNumber, 0);
}

TEST(BinarySerializerTest, WhatAConstructorPutsIntoArraysListsAndTablesGivesWayToTheFile)
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
    pArray->FindProperty("Extra")->Set(pArray, 6);
    pEmptyArray->mNumbers.Clear();
    pList->Clear();
    pTable->Clear();

    const Value loaded = Loaded(Saved(pRoot));
    EXPECT_TRUE(AreSameGraph(pRoot, loaded.AsObject()));
}

TEST(BinarySerializerTest, AGetterThatMakesANewObjectEachTimeIsReadOnce)
{
    const Ptr<Fickle> pFickle = Fickle::Construct(Value::Null);
    const std::string bytes = Saved(pFickle);
    EXPECT_EQ(pFickle->mReads, 1);
    const Value loaded = Loaded(bytes);
    const Fickle* const pLoaded = loaded.Get<Fickle*>();
    ASSERT_NE(pLoaded->mFresh, nullptr);
    EXPECT_EQ(static_cast<Pair*>(static_cast<Object*>(pLoaded->mFresh))->mNumber, 1);
}

TEST(BinarySerializerTest, ABoolIsTrueForEveryByteButZero)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    pObject->mBool = true;
    pObject->mBools.Insert(true);
    std::string bytes = Saved(pObject);
    const std::string one = Bytes("0D 01 00 00 00 01"); // the array
    bytes[bytes.find(one) + 5] = 2;
    const std::string name = Bytes("0C 01"); // the single one
    bytes[bytes.rfind(name) + 1] = static_cast<char>(0x80);
    const Value loaded = Loaded(bytes);
    EXPECT_EQ(Value(loaded.Get<Everything*>()->mBool), Value(true));
    EXPECT_EQ(Value(loaded.Get<Everything*>()->mBools.GetAt(0)), Value(true));
}

TEST(BinarySerializerTest, AnotherFileIdIsReported)
{
    std::string bytes = Saved(Ptr<Object>(Object::Construct(Value::Null)));
    bytes[0] = 'q';
    EXPECT_THAT(ErrorsOfLoading(bytes),
                ElementsAre(EndsWith("Deserialize failed, file id mismatch for file 'memory'.")));
}

TEST(BinarySerializerTest, OlderVersionsWarnAndAreNotSupported)
{
    std::string bytes = Saved(Ptr<Object>(Object::Construct(Value::Null)));
    for (const int version : {2, 1, 0, -1, std::numeric_limits<int>::min()}) {
        PutInt(bytes, 4, version);
        const std::string number = std::to_string(version);
        EXPECT_THAT(ErrorsOfLoading(bytes),
                    ElementsAre("WARNING: File 'memory' is stored in legacy version " + number +
                                    " (system at version 3)",
                                EndsWith("Deserialize failed, file 'memory' version " + number +
                                         " not supported (system at version 3)")));
    }
}

TEST(BinarySerializerTest, NewerVersionsAreNotSupported)
{
    std::string bytes = Saved(Ptr<Object>(Object::Construct(Value::Null)));
    for (const int version : {4, std::numeric_limits<int>::max()}) {
        PutInt(bytes, 4, version);
        EXPECT_THAT(ErrorsOfLoading(bytes),
                    ElementsAre(EndsWith("Deserialize failed, file 'memory' version " +
                                         std::to_string(version) + " not supported (system at version 3)")));
    }
}

TEST(BinarySerializerTest, EveryPrefixOfAFileIsReportedAndLoadsNothing)
{
    const TwoPairs pairs;
    const Ptr<List> pRoot = List::Construct(Value::Null);
    const Ptr<Everything> pEverything = Everything::Construct(Value::Null);
    pEverything->mStrings.Insert("text");
    pEverything->mObjects.Insert(pairs.mpA);
    pRoot->Insert(pEverything);
    pRoot->Insert(pairs.mpB);
    const std::string bytes = Saved(pRoot);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ErrorsOfLoading(bytes.substr(0, size));
    }
}

TEST(BinarySerializerTest, EveryWordOverwrittenWithAnExtremeEndsInAnObjectOrAReport)
{
    const TwoPairs pairs;
    const Ptr<Table> pRoot = Table::Construct(Value(1));
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Everything> pEverything = Everything::Construct(Value::Null);
    pEverything->mStrings.Insert("text");
    pEverything->mInts.Insert(1);
    pRoot->Insert("list", pList);
    pRoot->Insert("pair", pairs.mpA);
    pList->Insert(pEverything);
    const std::string bytes = Saved(pRoot);
    for (std::size_t at = 8; at + 4 <= bytes.size(); ++at) {
        const int remaining = static_cast<int>(bytes.size() - at) - 4;
        for (const int value : {-1, 0x7FFFFFFF, remaining + 1, -2, std::numeric_limits<int>::min()}) {
            std::string damaged = bytes;
            PutInt(damaged, at, value);
            CapturedMessages messages;
            const Value loaded = Loaded(damaged);
            if (loaded.IsVoid()) {
                EXPECT_FALSE(messages.TakeAll().empty()) << at << " " << value;
            } else {
                messages.TakeAll(); // warnings about values that do not fit any more
                Dissolve(loaded.AsObject());
            }
        }
    }
}

TEST(BinarySerializerTest, EveryBitFlippedEndsInAnObjectOrAReport)
{
    const TwoPairs pairs;
    const std::string bytes = Saved(pairs.mpA);
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string damaged = bytes;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        CapturedMessages messages;
        const Value loaded = Loaded(damaged);
        if (loaded.IsVoid()) {
            EXPECT_FALSE(messages.TakeAll().empty()) << bit;
        } else {
            messages.TakeAll();
            Dissolve(loaded.AsObject());
        }
    }
}

TEST(BinarySerializerTest, CountsThatTheFileCannotHoldAreReportedAtOnce)
{
    const int bad[] = {-1, std::numeric_limits<int>::min(), 0x7FFFFFFF};
    for (const int count : bad) {
        EXPECT_THAT(
            ErrorsOfLoading(HEADER + Int(count) + Int(1) + std::string(64, '\0')),
            ElementsAre(EndsWith("Failed to deserialize file 'memory' - invalid string count at byte 8")));
        EXPECT_THAT(ErrorsOfLoading(HEADER + Int(0) + Int(count) + std::string(64, '\0')),
                    ElementsAre(EndsWith("invalid object count at byte 12")));
        EXPECT_THAT(ErrorsOfLoading(HEADER + Int(1) + Int(1) + Int(count) + std::string(64, '\0')),
                    ElementsAre(HasSubstr("invalid string length")));
        EXPECT_THAT(ErrorsOfLoading(PairWith(count, NUMBER_IS_7)),
                    ElementsAre(HasSubstr("invalid property count")));
        EXPECT_THAT(ErrorsOfLoading(PairWith(1, NUMBER_IS_7, count)),
                    ElementsAre(HasSubstr("invalid child count")));
        EXPECT_THAT(ErrorsOfLoading(PairWith(1, Int(2) + Bytes("05") + Int(count) + Int(1))),
                    ElementsAre(HasSubstr("invalid array size")));
    }
    EXPECT_THAT(ErrorsOfLoading(PairWith(1, Int(2) + Bytes("05") + Int(2) + Int(1))),
                ElementsAre(HasSubstr("invalid array size")));
}

TEST(BinarySerializerTest, ReportsCountBytesFromTheStartOfTheFile)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const std::string leading(100000, '.');
    const std::string texts(50000, 't');
    const Ptr<MemoryFile> pFile =
        FileOf(leading + HEADER + Int(2) + Int(1) + Text(texts) + Int(-7) + std::string(64, '\0'));
    pFile->SeekStart(static_cast<int>(leading.size()));
    CapturedMessages messages;
    EXPECT_TRUE(pSerializer->Deserialize(pFile).IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("invalid string length at byte 150020"));
}

TEST(BinarySerializerTest, AStringWithAZeroByteIsReported)
{
    EXPECT_THAT(ErrorsOfLoading(HEADER + Int(1) + Int(0) + Text(std::string("a\0b", 3))),
                ElementsAre(HasSubstr("a string holds a zero byte")));
}

TEST(BinarySerializerTest, TypesThatAreNoneAreReported)
{
    for (int type = 0; type < 64; ++type) {
        if (type == 0 || type == 13 || type > 15) {
            const std::string flags(1, static_cast<char>(type * 4));
            EXPECT_THAT(ErrorsOfLoading(PairWith(1, Int(2) + flags + std::string(16, '\0'))),
                        ElementsAre(HasSubstr("invalid property type")))
                << type;
        }
    }
}

TEST(BinarySerializerTest, AnIndexOutsideItsTableIsReportedWithoutABreak)
{
    for (const int index : {5, -2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const std::string good = PairWith(1, NUMBER_IS_7);
        const std::size_t record = good.size() - 9 - 16;
        std::string module = good;
        PutInt(module, record, index);
        std::string className = good;
        PutInt(className, record + 4, index);
        const std::string cases[] = {module,
                                     className,
                                     PairWith(1, Int(index) + Bytes("04") + Int(7)),
                                     PairWith(1, Int(3) + Bytes("10" /* String */) + Int(index)),
                                     PairWith(1, Int(4) + Bytes("14" /* Object */) + Int(index)),
                                     PairWith(1, Int(3) + Bytes("11" /* Strings */) + Int(1) + Int(index))};
        for (const std::string& bytes : cases) {
            EXPECT_THAT(ErrorsOfLoading(bytes),
                        ElementsAre(testing::AllOf(StartsWith("ERROR: QBase/Array"), EndsWith(BAD_INDEX))));
        }
    }
    // Children: an entry's name, an entry's object, an item's object.
    const Ptr<Table> pTable = Table::Construct(Value(1));
    const Ptr<List> pList = List::Construct(Value::Null);
    pTable->Insert("list", pList);
    pList->Insert(pTable);
    const std::string bytes = Saved(pTable);
    pList->Clear();
    for (const std::size_t fromEnd : {16u, 12u, 4u}) {
        for (const int index : {4, -2}) {
            std::string damaged = bytes;
            PutInt(damaged, damaged.size() - fromEnd, index);
            EXPECT_THAT(ErrorsOfLoading(damaged), ElementsAre(EndsWith(BAD_INDEX))) << fromEnd;
        }
    }
}

TEST(BinarySerializerTest, IndexMinusOneIsNullSilently)
{
    const Value loaded = Loaded(PairWith(2, Int(4) + Bytes("14") + Int(-1) + Int(3) + Bytes("12") + Int(-1)));
    Object* const pObject = loaded.AsObject();
    ASSERT_NE(pObject, nullptr);
    EXPECT_EQ(pObject->FindProperty("Gone")->Get(pObject), Value(String::Null));
}

TEST(BinarySerializerTest, AClassThatIsNotRegisteredOrAbstractFailsTheLoad)
{
    const std::string counts = Int(2) + Int(1);
    const std::string record = Int(0) + Int(1) + Int(0) + Int(0);
    EXPECT_THAT(ErrorsOfLoading(HEADER + counts + Text("QBase") + Text("Missing") + record),
                ElementsAre(EndsWith("Failed to construct 'QBase.Missing'")));
    EXPECT_THAT(ErrorsOfLoading(HEADER + counts + Text("QBase") + Text("Property") + record),
                ElementsAre(EndsWith("Failed to Construct interface class")));
}

TEST(BinarySerializerTest, ChildrenOfAnObjectThatCanHaveNoneFailTheLoad)
{
    EXPECT_THAT(ErrorsOfLoading(HEADER + Int(2) + Int(1) + Text("QBase") + Text("IOStream") + Int(0) +
                                Int(1) + Int(0) + Int(1) + Int(0) + Int(-1)),
                ElementsAre(EndsWith("Failed to deserialize unrecognized element Child")));
}

TEST(BinarySerializerTest, AStoredValueThatNoLongerFitsIsPassedOverWithAWarning)
{
    struct Case
    {
        std::string mRecord;
        std::vector<std::string> mWarnings;
    };
    const std::string value = "WARNING: Ignoring deserialized value StoredObjects.Pair.";
    const std::string element = "WARNING: Ignoring deserialized array value StoredObjects.Pair.";
    const Case cases[] = {
        {Int(3) + Bytes("04") + Int(1), {value + "Gone, property is invalid."}},
        {Int(2) + Bytes("08") + Int(1), {value + "Number, property is of different type."}},
        {Int(2) + Bytes("38" /* Enum */) + Int(1), {value + "Number, property is of different type."}},
        {Int(3) + Bytes("05") + Int(2) + Int(1) + Int(2),
         {element + "Gone[0], property is invalid.", element + "Gone[1], property is invalid."}},
        {Int(2) + Bytes("05") + Int(1) + Int(1), {element + "Number[0], property is not an array."}},
        {Int(3) + Bytes("05") + Int(0), {}}};
    for (const Case& test : cases) {
        CapturedMessages messages;
        // Kept values before and behind show that the reader stays in step.
        const Value loaded = Loaded(PairWith(3, NUMBER_IS_7 + test.mRecord + Int(2) + Bytes("04") + Int(8)));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 8);
        EXPECT_EQ(messages.TakeAll(), test.mWarnings);
    }
}

TEST(BinarySerializerTest, ReportsOfALoadHaveAPlaceTheNumberOfTheObject)
{
    const Ptr<PlaceKeeper> pKeeper = new PlaceKeeper;
    {
        CapturedMessages messages;
        SetInfoHandler(pKeeper);
        SetErrorHandler(pKeeper);
        const std::string pair = Int(0) + Int(1) + Int(1) + Int(0);
        Loaded(HEADER + Int(3) + Int(2) + Text("StoredObjects") + Text("Pair") + Text("Gone") + pair + pair +
               Int(2) + Bytes("04") + Int(7) + Int(2) + Bytes("FF") + Int(7));
        Loaded(HEADER + Int(3) + Int(2) + Text("StoredObjects") + Text("Pair") + Text("Gone") + pair +
               Int(0) + Int(2) + Int(0) + Int(0));
        Loaded(HEADER + Int(-1) + Int(-1));
    }
    EXPECT_THAT(pKeeper->mPlaces, ElementsAre("object 0", "object 1", "object 1", ""));
    EXPECT_EQ(Serializer::GetPlace(), String::Null);
}

TEST(BinarySerializerTest, AnArrayThatNoLongerFitsIsPassedOverWithAWarning)
{
    const std::string file = HEADER + Int(3) + Int(1) + Text("StoredObjects") + Text("Prefilled") +
                             Text("Numbers") + Int(0) + Int(1) + Int(1) + Int(0) + Int(2);
    const std::string name = "StoredObjects.Prefilled.Numbers";
    CapturedMessages messages;
    {
        const Value loaded = Loaded(file + Bytes("04") + Int(1));
        EXPECT_EQ(messages.TakeInfo(),
                  "WARNING: Ignoring deserialized value " + name + ", property is an array.");
        EXPECT_EQ(loaded.Get<Prefilled*>()->mNumbers.GetSize(), 3);
    }
    {
        const Value loaded = Loaded(file + Bytes("0D" /* bools */) + Int(2) + Bytes("01 00"));
        EXPECT_EQ(messages.TakeInfo(), "WARNING: Ignoring deserialized array value " + name +
                                           "[0], property is of different type.");
        EXPECT_EQ(messages.TakeInfo(), "WARNING: Ignoring deserialized array value " + name +
                                           "[1], property is of different type.");
        EXPECT_EQ(loaded.Get<Prefilled*>()->mNumbers.GetSize(), 3); // what the class put there
    }
}

TEST(BinarySerializerTest, ADynamicPropertyIsAddedAgain)
{
    const Value loaded = Loaded(PairWith(2, Int(3) + Bytes("06" /* dynamic int */) + Int(4) + NUMBER_IS_7));
    Property* const pGone = loaded.AsObject()->FindProperty("Gone");
    ASSERT_NE(pGone, nullptr);
    EXPECT_TRUE(pGone->IsDynamic());
    EXPECT_EQ(pGone->Get(loaded.AsObject()), Value(4));
    EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 7);
}

TEST(BinarySerializerTest, ADynamicMarkOnAPropertyOfTheClassIsIgnored)
{
    const Value loaded = Loaded(PairWith(1, Int(2) + Bytes("06") + Int(4)));
    EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 4);
    EXPECT_EQ(loaded.AsObject()->GetInstanceTable(), nullptr);
}

TEST(BinarySerializerTest, ADeclaredValueTakesAnyStoredType)
{
    const Ptr<Everything> pObject = Everything::Construct(Value::Null);
    for (const Value& value : {Value(7), Value(Vector3(1, 2, 3)), Value("text"), Value(true)}) {
        pObject->mAny = value;
        const Value loaded = Loaded(Saved(pObject));
        EXPECT_EQ(loaded.Get<Everything*>()->mAny, value);
    }
}

TEST(BinarySerializerTest, AFailureBehindAFinishedCycleLeavesNothingBehind)
{
    // The second object's records end early, when both refer to themselves already.
    const std::string bytes = HEADER + Int(5) + Int(2) + Text("StoredObjects") + Text("Pair") +
                              Text("First") + Text("Prefilled") + Text("Loop") + Int(0) + Int(1) + Int(1) +
                              Int(0) +                                // a Pair
                              Int(0) + Int(3) + Int(2) + Int(0) +     // a Prefilled
                              Int(2) + Bytes("14") + Int(0) +         // First: itself
                              Int(4) + Bytes("16") + Int(1) + Int(4); // a dynamic Loop: itself
    EXPECT_THAT(ErrorsOfLoading(bytes), ElementsAre(HasSubstr("unexpected end of file")));
}

TEST(BinarySerializerTest, ObjectsThatNothingLeadsToAnyMoreAreReleasedCyclesIncluded)
{
    // Two Pairs that refer to each other hang on a property that the root's class has lost.
    const std::string bytes = PairWith(2, NUMBER_IS_7 + Int(3) + Bytes("14") + Int(1));
    const std::string objects = Int(0) + Int(1) + Int(1) + Int(0);
    std::string cycle = bytes;
    PutInt(cycle, 12, 3);
    const std::size_t records = bytes.size() - 9 - 9;
    cycle.insert(records, objects + objects);
    cycle += Int(4) + Bytes("14") + Int(2) + Int(4) + Bytes("14") + Int(1);
    CapturedMessages messages;
    const Value loaded = Loaded(cycle);
    EXPECT_EQ(messages.TakeInfo(),
              "WARNING: Ignoring deserialized value StoredObjects.Pair.Gone, property is invalid.");
    EXPECT_EQ(loaded.Get<Pair*>()->mNumber, 7);
    EXPECT_EQ(CountObjects(loaded.AsObject()), 1);
}

TEST(BinarySerializerTest, AChainAndAListOfAMillionObjectsFitASmallStack)
{
    RunOnSmallStack(256 * 1024, [] {
        constexpr int LENGTH = 1000000;
        const Ptr<List> pList = List::Construct(Value::Null);
        Ptr<Pair> pChain;
        for (int i = 0; i < LENGTH; ++i) {
            const Ptr<Pair> pLink = Pair::Construct(Value::Null);
            pLink->mNumber = i;
            pLink->mFirst = pChain;
            pChain = pLink;
            pList->Insert(pLink);
        }
        for (Object* const pRoot : {static_cast<Object*>(pChain), static_cast<Object*>(pList)}) {
            const Value loaded = Loaded(Saved(pRoot));
            ASSERT_NE(loaded.AsObject(), nullptr);
            const Object* pLoaded = loaded.AsObject();
            if (const List* const pLoadedList = loaded.Get<List*>()) {
                EXPECT_EQ(pLoadedList->GetSize(), LENGTH);
                pLoaded = pLoadedList->GetObjects().GetAt(LENGTH - 1);
            }
            int length = 0;
            while (pLoaded != nullptr) {
                ++length;
                pLoaded = static_cast<const Pair*>(pLoaded)->mFirst;
            }
            EXPECT_EQ(length, LENGTH);
        }
    });
}

TEST(BinarySerializerTest, AFileOfGarbageBehindAHeaderIsReported)
{
    std::string bytes = HEADER + Int(0) + Int(0x10000000) + std::string(1000, '\x7F');
    EXPECT_FALSE(ErrorsOfLoading(bytes).empty());
    EXPECT_EQ(GetInt(bytes, 12), 0x10000000);
}
