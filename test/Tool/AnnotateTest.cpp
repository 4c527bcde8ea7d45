// quirl annotate: every byte of files, frames and connections with its meaning.

#include "Support/ToolFixture.h"

#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Property.h"
#include "QBase/Table.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <sstream>
#include <string>

using namespace QBase;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

using Json = nlohmann::json;

// Bytes from pairs of hexadecimal digits, with comments in brackets.
std::string Bytes(const std::string& text)
{
    std::string bytes;
    std::string digits;
    bool bComment = false;
    for (const char character : text) {
        bComment = character == '[' || (bComment && character != ']');
        if (!bComment && std::isxdigit(static_cast<unsigned char>(character))) {
            digits += character;
        }
        if (digits.size() == 2) {
            bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
            digits.clear();
        }
    }
    return bytes;
}

std::string Int(unsigned number)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(number >> shift & 0xFF);
    }
    return bytes;
}

// The table of docs/Formats.md.
const std::string TABLE = Bytes("51 4F 62 6A 03 00 00 00"
                                "06 00 00 00 03 00 00 00"
                                "05 00 00 00 51 42 61 73 65"
                                "05 00 00 00 54 61 62 6C 65"
                                "01 00 00 00 6C"
                                "04 00 00 00 4C 69 73 74"
                                "06 00 00 00 4F 62 6A 65 63 74"
                                "01 00 00 00 78"
                                "00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00"
                                "00 00 00 00 03 00 00 00 00 00 00 00 02 00 00 00"
                                "00 00 00 00 04 00 00 00 00 00 00 00 00 00 00 00"
                                "02 00 00 00 01 00 00 00"
                                "05 00 00 00 FF FF FF FF"
                                "00 00 00 00 02 00 00 00"
                                "01 00 00 00 FF FF FF FF");

constexpr char TABLE_TEXT[] =
    R"(00000000  51 4F 62 6A                                     id "QObj"
00000004  03 00 00 00                                     version 3
00000008  06 00 00 00                                     6 strings
0000000C  03 00 00 00                                     3 objects
00000010  05 00 00 00 51 42 61 73 65                      string 0: 5 bytes, "QBase"
00000019  05 00 00 00 54 61 62 6C 65                      string 1: 5 bytes, "Table"
00000022  01 00 00 00 6C                                  string 2: 1 bytes, "l"
00000027  04 00 00 00 4C 69 73 74                         string 3: 4 bytes, "List"
0000002F  06 00 00 00 4F 62 6A 65 63 74                   string 4: 6 bytes, "Object"
00000039  01 00 00 00 78                                  string 5: 1 bytes, "x"
0000003E  00 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 object 0 (QBase.Table): 0 properties, 2 children
0000004E  00 00 00 00 03 00 00 00 00 00 00 00 02 00 00 00 object 1 (QBase.List): 0 properties, 2 children
0000005E  00 00 00 00 04 00 00 00 00 00 00 00 00 00 00 00 object 2 (QBase.Object): 0 properties, 0 children
0000006E  02 00 00 00 01 00 00 00                         entry "l" (string 2) of object 0 (QBase.Table): object 1 (QBase.List)
00000076  05 00 00 00 FF FF FF FF                         entry "x" (string 5) of object 0 (QBase.Table): null
0000007E  00 00 00 00 02 00 00 00                         next item of object 1 (QBase.List): object 2 (QBase.Object)
00000086  01 00 00 00 FF FF FF FF                         next item of object 1 (QBase.List): null
)";

// The first frame of docs/Formats.md.
const std::string FRAME = Bytes("1F 00 00 00"
                                "01 00 01 00 00 00"
                                "03 01 00 00 00 01 00 00 00 01 02 00 00 00 41 62 07 00 00 00"
                                "00 01 00 00 00");

constexpr char FRAME_TEXT[] =
    R"(00000000  1F 00 00 00                                     frame 0: 31 bytes
00000004  01                                                packet 1: new object
00000005  00                                                  class 0
00000006  01 00 00 00                                         object 1 from now on
0000000A  03                                                packet 3: new property
0000000B  01 00 00 00                                         object 1 of class 0
0000000F  01 00 00 00                                         property 1 from now on
00000013  01                                                  of type int
00000014  02 00 00 00 41 62                                   called "Ab"
0000001A  07 00 00 00                                         = 7
0000001E  00                                                packet 0: root
0000001F  01 00 00 00                                         object 1 of class 0
)";

class AnnotateTest : public ToolTest
{
protected:
    Outcome Annotate(const std::string& bytes, std::vector<std::string> words = {})
    {
        mFolder.Write("bytes", bytes);
        words.insert(words.begin(), {"annotate", "bytes"});
        return Quirl(words);
    }

    /// Where and why the walk over the bytes stops.
    std::string Stop(const std::string& bytes, std::vector<std::string> words = {})
    {
        const Outcome result = Annotate(bytes, std::move(words));
        EXPECT_EQ(result.mExitCode, 1);
        EXPECT_THAT(result.mErrors, IsEmpty());
        const std::size_t line = result.mOutput.rfind('\n', result.mOutput.size() - 2) + 1;
        return result.mOutput.substr(line == std::string::npos ? 0 : line);
    }

    /// The notes cover all bytes, one after the other, up to where the walk ends.
    void ExpectWhole(const std::string& bytes, std::vector<std::string> words = {})
    {
        words.push_back("--json");
        std::istringstream lines(Annotate(bytes, std::move(words)).mOutput);
        std::size_t offset = 0;
        for (std::string line; std::getline(lines, line);) {
            const Json note = Json::parse(line);
            ASSERT_EQ(note["offset"], offset) << line;
            const std::size_t size = note.value(note.contains("stop") ? "unread" : "size", std::size_t(0));
            if (note.contains("bytes")) {
                EXPECT_EQ(Bytes(note["bytes"]), bytes.substr(offset, size)) << line;
                EXPECT_THAT(std::string(note["meaning"]), testing::Not(IsEmpty())) << line;
            }
            offset += size;
        }
        EXPECT_EQ(offset, bytes.size());
    }
};

std::string At(std::string bytes, std::size_t place, const std::string& by)
{
    return bytes.replace(place, by.size(), by);
}

} // namespace

TEST_F(AnnotateTest, EveryByteOfABinaryFileHasItsMeaningBesideIt)
{
    const Outcome result = Annotate(TABLE);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mErrors, IsEmpty());
    EXPECT_EQ(result.mOutput, TABLE_TEXT);
}

TEST_F(AnnotateTest, ValuesOfEveryTypeAreReadByTheCodeThatLoadsThem)
{
    Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("Int", -3);
    pObject->AddPropertyValueFromValue("Float", 0.1f);
    pObject->AddPropertyValueFromValue("Bool", true);
    pObject->AddPropertyValueFromValue("Text", String("two\nlines"));
    pObject->AddPropertyValueFromValue("Self", Value(pObject));
    pObject->AddPropertyValueFromValue("Place", Vector3(1, 2, 0.5f));
    pObject->AddPropertyValueFromValue("Cell", Vector2i(3, -4));
    pObject->AddPropertyValueFromValue("Tint", Color(0x11, 0x22, 0x33, 0x44));
    pObject->AddPropertyArrayFromValue("Sizes", 1)->Insert(pObject, 5);
    Save(pObject, "object");
    pObject->FindProperty("Self")->Set(pObject, Value(static_cast<Object*>(nullptr)));
    const std::string text = Quirl({"annotate", "object"}).mOutput;
    for (const char* pMeaning :
         {"    = -3\n", "    = 0.1\n", "    = true\n", "    = \"two\\nlines\" (string ",
          "    = object 0 (QBase.Object)\n", "    = (1, 2, 0.5)\n", "    = (3, -4)\n", "    = 0x44332211\n",
          "array of int, dynamic\n", "    1 element\n", "      [0] = 5\n"}) {
        EXPECT_THAT(text, HasSubstr(pMeaning));
    }
    ExpectWhole(mFolder.Read("object"));
}

TEST_F(AnnotateTest, LongBytesGoOnBelowEachOther)
{
    const std::string text(40, 'z');
    const std::string file = "QObj" + Int(3) + Int(3) + Int(1) + Int(5) + "QBase" + Int(6) + "Object" +
                             Int(40) + text + Int(0) + Int(1) + Int(0) + Int(0);
    EXPECT_THAT(Annotate(file).mOutput,
                HasSubstr("00000023  28 00 00 00 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A string 2: 40 bytes, \"" +
                          text +
                          "\"\n"
                          "00000033  7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A\n"
                          "00000043  7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A\n"));
}

TEST_F(AnnotateTest, ModulesOfTheFileAreAskedWhatIsATable)
{
    ASSERT_EQ(Quirl({"convert", mSolar, "solar.qobj"}).mExitCode, 0);
    const Outcome result = Quirl({"annotate", "solar.qobj"});
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput, HasSubstr("next item of object 2 (QBase.List): object 3 (Solar.Body)\n"));
    ExpectWhole(mFolder.Read("solar.qobj"));
}

TEST_F(AnnotateTest, WithoutTheClassAChildMayBeOneOrTheOther)
{
    std::string unknown = At(TABLE, 0x14, "Blank"); // the module
    const Outcome result = Annotate(unknown);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput,
                HasSubstr("child of object 0 (Blank.Table), under \"l\" (string 2) or the next item: "
                          "object 1 (Blank.List)\n"));
}

TEST_F(AnnotateTest, GraphsFollowEachOtherInOneFile)
{
    const Outcome result = Annotate(TABLE + TABLE);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput,
                HasSubstr("0000008E  51 4F 62 6A                                     id \"QObj\"\n"));
    EXPECT_EQ(Stop(TABLE + "more"), "0000008E  stops here: no graph begins here: its first bytes are not "
                                    "\"QObj\" (4 bytes not understood: "
                                    "6D 6F 72 65)\n");
}

TEST_F(AnnotateTest, ADamagedFileIsReadToTheDamage)
{
    EXPECT_EQ(Stop(At(TABLE, 4, Int(2))),
              "00000004  stops here: version 2 of the format is not known; 3 is (138 bytes "
              "not understood: 02 00 00 00 06 00 00 00 03 00 00 00 05 00 00 00 ...)\n");
    EXPECT_THAT(
        Stop(At(TABLE, 8, Int(~0u))),
        StartsWith("00000008  stops here: the count of strings -1 is more than the 130 bytes left can hold"));
    EXPECT_THAT(
        Stop(At(TABLE, 12, Int(9))),
        StartsWith("0000000C  stops here: the count of objects 9 is more than the 126 bytes left can hold"));
    EXPECT_THAT(
        Stop(At(TABLE, 16, Int(500))),
        StartsWith(
            "00000010  stops here: the length of a string 500 is more than the 122 bytes left can hold"));
    EXPECT_THAT(Stop(At(TABLE, 0x14, std::string(1, '\0'))),
                StartsWith("00000010  stops here: string 0 holds a zero byte"));
    EXPECT_THAT(Stop(At(TABLE, 0x3E, Int(6))),
                StartsWith("0000003E  stops here: there is no string 6, only 6"));
    EXPECT_THAT(
        Stop(At(TABLE, 0x46, Int(99))),
        StartsWith(
            "0000006E  stops here: the 99 properties of object 0 (QBase.Table) are more than the 32 bytes "
            "left can hold"));
    EXPECT_THAT(
        Stop(At(TABLE, 0x6A, Int(1))),
        StartsWith(
            "0000008E  stops here: the 1 children of object 2 (QBase.Object) are more than the 0 bytes"));
    EXPECT_THAT(Stop(At(TABLE, 0x72, Int(3))),
                StartsWith("0000006E  stops here: there is no object 3, only 3"));
    EXPECT_THAT(Stop("QObj" + Int(3) + Int(0) + Int(0)), HasSubstr("a graph without objects"));
    EXPECT_THAT(Stop(At(TABLE, 0x46, Int(~0u))),
                StartsWith("0000003E  stops here: object 0 has a negative count of properties or children"));
    EXPECT_THAT(Stop(At(TABLE, 0x6A, Int(1)) + Int(0) + Int(0)),
                StartsWith("0000008E  stops here: object 2 (QBase.Object) is neither a table nor a list and "
                           "cannot have children"));
}

TEST_F(AnnotateTest, AFileThatEndsAnywhereIsReadToItsEnd)
{
    for (std::size_t size = 4; size < TABLE.size(); ++size) {
        const std::string part = TABLE.substr(0, size);
        if (size % 7 != 0 && size > 20) { // each start of the tool takes its time
            continue;
        }
        const Outcome result = Annotate(part);
        EXPECT_EQ(result.mExitCode, 1) << size;
        EXPECT_THAT(result.mOutput, HasSubstr("  stops here: ")) << size;
        ExpectWhole(part);
    }
}

TEST_F(AnnotateTest, EveryByteOfAFrameHasItsMeaningBesideIt)
{
    const Outcome result = Annotate(FRAME);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_EQ(result.mOutput, FRAME_TEXT);
}

TEST_F(AnnotateTest, EveryKindOfPacketIsUnderstood)
{
    Ptr<ObjectDiffSerializer> pSource = ObjectDiffSerializer::Construct(Value::Null);
    pSource->RegisterType(Object::ClassTable());
    pSource->RegisterType(Table::ClassTable());
    pSource->RegisterType(List::ClassTable());
    pSource->RegisterType(Specimen::ClassTable());
    Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    pSource->AddOutStream(pStream);
    Ptr<Table> pRoot = Table::Construct(Value::Null);
    Ptr<List> pList = List::Construct(Value::Null);
    Ptr<Object> pOne = Object::Construct(Value::Null);
    pRoot->Insert("list", pList);
    pRoot->Insert("one", pOne);
    pRoot->Insert("kept", pOne);
    Ptr<Specimen> pSpecimen = Specimen::Make();
    pRoot->Insert("specimen", pSpecimen);
    pList->Insert(pOne);
    pOne->AddPropertyValueFromValue("Speed", 1.5f);
    pOne->AddPropertyArrayFromValue("Names", String("a"))->Insert(pOne, String("first"));
    pSource->SetRoot(pRoot);
    pSource->Execute(Value::Null);
    pOne->FindProperty("Speed")->Set(pOne, 2.5f);
    pOne->FindProperty("Names")->SetAt(pOne, 0, String("second"));
    pRoot->Insert("one", pList);
    pList->SetAt(0, pRoot);
    pSource->BroadcastFunctionCall(pSpecimen, "One", 7);
    pSource->Execute(Value::Null);
    pOne->FindProperty("Names")->Clear(pOne);
    pRoot->Insert("other", pOne);
    pSource->Execute(Value::Null);
    pRoot->Remove("one");
    pOne->RemoveProperty("Speed");
    pList->Clear();
    pSource->Execute(Value::Null);
    pRoot->Remove("other");
    pRoot->Remove("kept");
    pSource->Execute(Value::Null);
    std::string bytes(static_cast<std::size_t>(pStream->BytesAvailable()), '\0');
    pStream->Read(bytes.data(), static_cast<int>(bytes.size()));

    const Outcome result = Annotate(bytes);
    EXPECT_EQ(result.mExitCode, 0) << result.mOutput;
    for (const char* pMeaning : {"packet 0: root\n",
                                 "packet 1: new object\n",
                                 "packet 2: object gone\n",
                                 "packet 3: new property\n",
                                 "packet 4: property changes\n",
                                 "packet 5: property gone\n",
                                 "packet 6: new array\n",
                                 "packet 7: new element\n",
                                 "packet 8: element changes\n",
                                 "packet 9: array is cut\n",
                                 "packet 10: new child of a table\n",
                                 "packet 11: child changes\n",
                                 "packet 12: child gone\n",
                                 "packet 13: new child of a list\n",
                                 "packet 14: child of a list changes\n",
                                 "packet 15: list is cut\n",
                                 "packet 16: function\n",
                                 "packet 17: call\n",
                                 "= \"second\"\n",
                                 "= 2.5\n",
                                 ", \"Speed\" of object ",
                                 "argument 0 of type int\n",
                                 "called \"One\"\n"}) {
        EXPECT_THAT(result.mOutput, HasSubstr(pMeaning));
    }
    ExpectWhole(bytes);
}

TEST_F(AnnotateTest, AConnectionBeginsWithWhatTheSidesSayOfThemselves)
{
    const std::string bytes = Bytes("51 4E 65 74 01 00 00 00 2C 00 00 00"
                                    "01 00 00 00 41 01 00 00 00 42"
                                    "01 00 00 00  01 00 00 00 52 02 03"
                                    "02 00 00 00  02 00 00 00 47 6F 00 00 02 01 03"
                                    "01 00 00 00 53 01 00 00"
                                    "01 00 00 00 00") +
                              FRAME + Int(0);
    const Outcome result = Annotate(bytes);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput,
                StartsWith("00000000  51 4E 65 74                                     hello: id \"QNet\"\n"
                           "00000004  01 00 00 00                                     version 1\n"
                           "00000008  2C 00 00 00                                     classes in 44 bytes\n"
                           "0000000C  01 00 00 00 41 01 00 00 00 42                     class 0: A.B\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("    property \"R\": float[], not in files\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("    function \"Go\": (int, bool): void\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("    static function \"S\": (): void\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("answer: agreed\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("object 1 of class 0 (A.B)\n"));
    EXPECT_THAT(result.mOutput, EndsWith("frame 1: the end of a pass\n"));
    ExpectWhole(bytes);
}

TEST_F(AnnotateTest, ASideThatRefusesSaysWhy)
{
    const Outcome result = Annotate("QNet" + Int(1) + Int(0) + std::string(1, '\0') + Int(5) + "wrong");
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_THAT(result.mOutput,
                EndsWith("0000000C  00                                              answer: refused\n"
                         "0000000D  05 00 00 00                                     a reason of 5 bytes\n"
                         "00000011  77 72 6F 6E 67                                  \"wrong\"\n"));
}

TEST_F(AnnotateTest, WhatACaptureDoesNotAnnounceIsNamedByItsNumberAlone)
{
    const Outcome result = Annotate(Int(11) + "\x11" + Int(5) + std::string(1, '\0') + "\x02" + Int(9));
    EXPECT_EQ(result.mExitCode, 0) << result.mOutput;
    EXPECT_THAT(result.mOutput, HasSubstr("function 5, which nothing here has announced\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("object 9, which is not here\n"));
}

TEST_F(AnnotateTest, ADamagedStreamIsReadToTheDamage)
{
    EXPECT_THAT(Stop(FRAME + Int(100) + "x", {"--as", "frames"}),
                StartsWith("00000023  stops here: the frame of 100 bytes is cut off: there are 1"));
    EXPECT_THAT(Stop(FRAME + Int(1) + "\x12"),
                StartsWith("00000027  stops here: there is no packet of kind 18"));
    EXPECT_THAT(Stop(At(FRAME, 0x13, "\x0D")), StartsWith("00000013  stops here: there is no type 13"));
    EXPECT_THAT(
        Stop(Int(9) + "\x04" + Int(5) + Int(0)),
        StartsWith("00000009  stops here: without the announcement of the property nobody knows how long its "
                   "value is"));
    EXPECT_THAT(Stop(Int(~0u), {"--as", "frames"}), StartsWith("00000000  stops here: a frame of -1 bytes"));
    EXPECT_THAT(Stop(Int(2) + "\x01\x01"),
                StartsWith("00000006  stops here: a number of 4 bytes is cut off"));
    EXPECT_THAT(Stop(Int(1) + "\x01"), StartsWith("00000005  stops here: a byte is missing"));
    EXPECT_THAT(Stop(Int(24) + FRAME.substr(4, 24)),
                StartsWith("0000001A  stops here: a value of type int is cut off"));
    EXPECT_THAT(Stop(Int(6) + "\x0F" + Int(1) + "x"),
                StartsWith("00000009  stops here: a number of 2 bytes is cut off"));
    EXPECT_THAT(Stop(Int(6) + "\x11" + Int(5) + "\x06"),
                StartsWith("00000009  stops here: a call with 6 arguments; there are 5 at most"));
    EXPECT_THAT(Stop("QN", {"--as", "connection"}), StartsWith("00000000  stops here: 2 bytes are missing"));
    EXPECT_THAT(Stop("frames", {"--as", "connection"}),
                StartsWith("00000000  stops here: no connection of QNet begins here: its first bytes are not "
                           "\"QNet\""));
    EXPECT_THAT(Stop("QNet" + Int(1) + Int(9)),
                StartsWith("00000008  stops here: the size of the classes 9 is more than the 0 bytes left"));
    EXPECT_THAT(Stop("QNet" + Int(7)),
                StartsWith("00000004  stops here: version 7 of the connection is not known"));
    for (std::size_t size = 5; size < FRAME.size(); size += 6) {
        ExpectWhole(FRAME.substr(0, size), {"--as", "frames"});
    }
}

TEST_F(AnnotateTest, LongNamesAreCutAndSaySo)
{
    const std::string name(100, 'z');
    const std::string file = "QObj" + Int(3) + Int(2) + Int(1) + Int(100) + name + Int(5) + "Class" + Int(0) +
                             Int(1) + Int(0) + Int(0);
    const std::string text = Annotate(file).mOutput;
    const std::string shown(60, 'z');
    EXPECT_THAT(text, HasSubstr(" string 0: 100 bytes, \"" + shown + "\"... (100 bytes)\n"));
    EXPECT_THAT(text, HasSubstr(" object 0 (" + shown + "....Class): 0 properties, 0 children\n"));
}

TEST_F(AnnotateTest, BytesThatAreNoTextComeOutAsNumbers)
{
    const std::string file = "QObj" + Int(3) + Int(3) + Int(1) + Int(5) + "QBase" + Int(6) + "Object" +
                             Int(6) + "\x1B[2J\xFF\xC3" + Int(0) + Int(1) + Int(0) + Int(0);
    EXPECT_THAT(Annotate(file).mOutput, HasSubstr("\"\\x1B[2J\\xFF\\xC3\"\n"));
    ExpectWhole(file);
}

TEST_F(AnnotateTest, WhatIsNeitherIsTroubleAndSaysWhatToDo)
{
    EXPECT_THAT(Annotate("<?xml version=\"1.0\"?>").mErrors, HasSubstr("it is XML, which is a text already"));
    EXPECT_THAT(Annotate("").mErrors, HasSubstr("there are none; check the path"));
    const Outcome other = Annotate("hello, world");
    EXPECT_EQ(other.mExitCode, 2);
    EXPECT_THAT(other.mErrors, EndsWith("say --as file, --as frames or --as connection\n"));
    EXPECT_EQ(Quirl({"annotate", "missing"}).mExitCode, 2);
}
