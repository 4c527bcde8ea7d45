// quirl classes --json and quirl conform: schemas, and what a change of them breaks.

#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

// A class with one of everything, and one derived from it.
constexpr char GARAGE[] = R"({"schema": 1, "library": "2.1", "modules": [{"name": "Garage", "classes": [
{"name": "Car", "base": "QBase.Object", "abstract": false, "actsOutside": false, "description": "Has wheels",
 "properties": [
  {"name": "Speed", "type": "float", "array": false, "excluded": false, "access": "write"},
  {"name": "Seats", "type": "int", "array": true, "excluded": false, "access": "write"},
  {"name": "Noise", "type": "float", "array": false, "excluded": true, "access": "read"},
  {"name": "LIMIT", "type": "int", "array": false, "excluded": true, "access": "constant", "value": 130},
  {"name": "Gear", "type": "Enum", "array": false, "excluded": false, "access": "write",
   "enum": {"Low": 1, "High": 2}, "enumeration": "Garage.Car.Gear"}],
 "functions": [
  {"name": "Honk", "static": false, "result": "void", "arguments": ["float", "Garage.Car"]}],
 "enumerations": [{"name": "Gear", "keys": {"Low": 1, "High": 2}}]},
{"name": "Truck", "base": "Garage.Car", "abstract": false, "actsOutside": false,
 "properties": [], "functions": [], "enumerations": []},
{"name": "Trailer", "base": "QBase.Table", "abstract": false, "actsOutside": false,
 "properties": [], "functions": [], "enumerations": []}]}]})";

class ConformTest : public ToolTest
{
protected:
    /// What conform prints about the garage before and after one change.
    std::string Change(const std::string& what, const std::string& by, const char* pOnly = nullptr)
    {
        mFolder.Write("then.json", GARAGE);
        mFolder.Write("now.json", Replaced(GARAGE, what, by));
        std::vector<std::string> words{"conform", "then.json", "now.json"};
        if (pOnly != nullptr) {
            words.insert(words.end(), {"--only", pOnly});
        }
        const Outcome result = Quirl(words);
        EXPECT_THAT(result.mErrors, IsEmpty()) << by;
        EXPECT_EQ(result.mExitCode, result.mOutput == "Nothing breaks\n" ? 0 : 1) << by;
        return result.mOutput;
    }

    /// What conform says of a file that holds no schema.
    std::string Refuse(const std::string& text)
    {
        const Outcome result = Quirl({"conform", "-"}, text);
        EXPECT_EQ(result.mExitCode, 2) << text;
        EXPECT_THAT(result.mOutput, IsEmpty()) << text;
        EXPECT_THAT(result.mErrors,
                    StartsWith("quirl: error: Failed to read the schema in standard input - "));
        EXPECT_THAT(result.mErrors, EndsWith("; make one by 'quirl classes --json >FILE'\n"));
        return result.mErrors;
    }
};

constexpr char PEERS_REFUSE[] = "sides that have it and sides that do not refuse each other\n";

} // namespace

TEST_F(ConformTest, TheClassesOfThisMomentConformToTheirOwnSchema)
{
    const Outcome schema = Quirl({"classes", "--module", "Solar", "--json"});
    const Outcome result = Quirl({"conform", "-"}, schema.mOutput);
    EXPECT_EQ(result.mExitCode, 0);
    EXPECT_EQ(result.mOutput, "Nothing breaks\n");
    EXPECT_THAT(result.mErrors, IsEmpty());
}

TEST_F(ConformTest, ASchemaHoldsEverythingThatAClassDeclares)
{
    const std::string schema = Quirl({"classes", "--module", "Solar", "--json"}).mOutput;
    EXPECT_THAT(schema,
                HasSubstr("          \"name\": \"Body\",\n"
                          "          \"base\": \"QBase.Object\",\n"
                          "          \"abstract\": false,\n"
                          "          \"actsOutside\": false,\n"
                          "          \"description\": \"A star, planet or moon, and what orbits it\",\n"));
    EXPECT_THAT(schema, HasSubstr("              \"name\": \"Kind\",\n"
                                  "              \"type\": \"Enum\",\n"
                                  "              \"array\": false,\n"
                                  "              \"excluded\": false,\n"
                                  "              \"access\": \"write\",\n"
                                  "              \"enum\": {\n"
                                  "                \"Moon\": 2,\n"
                                  "                \"Planet\": 1,\n"
                                  "                \"Star\": 0\n"
                                  "              },\n"
                                  "              \"enumeration\": \"Solar.Body.Kind\"\n"));
    EXPECT_THAT(schema, HasSubstr("              \"name\": \"SetOrbit\",\n"
                                  "              \"static\": false,\n"
                                  "              \"result\": \"void\",\n"
                                  "              \"arguments\": [\n"
                                  "                \"Solar.Body\",\n"
                                  "                \"float\",\n"));
    EXPECT_THAT(schema, HasSubstr("              \"name\": \"MODE_READ\",\n"
                                  "              \"type\": \"int\",\n"
                                  "              \"array\": false,\n"
                                  "              \"excluded\": true,\n"
                                  "              \"access\": \"constant\",\n"
                                  "              \"value\": 1\n"));
    EXPECT_THAT(schema, HasSubstr("          \"enumerations\": [\n"
                                  "            {\n"
                                  "              \"name\": \"Kind\",\n"
                                  "              \"keys\": {\n"));
}

TEST_F(ConformTest, AnOldSchemaIsHeldAgainstTheModulesAsTheyAreNow)
{
    const std::string schema = Quirl({"classes", "--module", "Solar", "--json"}).mOutput;
    const Outcome moved = Quirl({"conform", "-"}, Replaced(schema, "\"Mass\"", "\"Weight\""));
    EXPECT_EQ(moved.mExitCode, 1);
    EXPECT_EQ(moved.mOutput, "files: Solar.Body.Weight: the property is gone: the values in files are lost\n"
                             "peers: Solar.Body.Weight: the property is gone: " +
                                 std::string(PEERS_REFUSE) +
                                 "callers: Solar.Body.Weight: the property is gone\n"
                                 "peers: Solar.Body.Mass: the property is new: " +
                                 PEERS_REFUSE + "Breaks: 1 for files, 2 for peers, 1 for callers\n");
    const Outcome gone = Quirl({"conform", "-"}, GARAGE);
    EXPECT_EQ(gone.mExitCode, 1);
    EXPECT_THAT(gone.mOutput,
                HasSubstr("files: Garage.Car: the module is gone: files with an object of it do not load\n"));
    EXPECT_THAT(gone.mErrors, StartsWith("quirl: warning: Failed to load module 'Garage': "));
}

TEST_F(ConformTest, AClassThatIsGoneBreaksEverybody)
{
    EXPECT_EQ(
        Change("\"name\": \"Trailer\"", "\"name\": \"Wagon\""),
        "files: Garage.Trailer: the class is gone: files with an object of it do not load\n"
        "peers: Garage.Trailer: the class is gone: sides that register it and sides that cannot refuse each "
        "other\n"
        "callers: Garage.Trailer: the class is gone\n"
        "Breaks: 1 for files, 1 for peers, 1 for callers\n");
}

TEST_F(ConformTest, AnAbstractClassCannotBeLoaded)
{
    EXPECT_EQ(Change("\"Garage.Car\", \"abstract\": false", "\"Garage.Car\", \"abstract\": true", "files"),
              "files: Garage.Truck: the class has become abstract: files with an object of it do not load\n"
              "Breaks: 1 for files\n");
}

TEST_F(ConformTest, AClassThatActsOutsideIsNothingForStrangers)
{
    EXPECT_EQ(Change("\"Garage.Car\", \"abstract\": false, \"actsOutside\": false",
                     "\"Garage.Car\", \"abstract\": false, \"actsOutside\": true"),
              "files: Garage.Truck: the class acts on something outside the program now: files with an "
              "object of it "
              "load only where they are trusted\n"
              "peers: Garage.Truck: the class acts on something outside the program now: replicas of its "
              "objects are "
              "made only of a source that is trusted\n"
              "Breaks: 1 for files, 1 for peers\n");
}

TEST_F(ConformTest, ANewBaseLosesWhatTheOldOneHad)
{
    const std::string changed = Change("\"base\": \"Garage.Car\"", "\"base\": \"QBase.Object\"", "files");
    EXPECT_THAT(changed,
                StartsWith("files: Garage.Truck: the class is no Garage.Car any more: references that "
                           "ask for one lose it\n"));
    EXPECT_THAT(changed,
                HasSubstr("files: Garage.Truck.Speed: the property is gone: the values in files are lost\n"));
    EXPECT_EQ(
        Change("\"base\": \"QBase.Table\"", "\"base\": \"QBase.Object\"", "files"),
        "files: Garage.Trailer: the class is no QBase.Table any more: files in which it has children do not "
        "load\nBreaks: 1 for files\n");
}

TEST_F(ConformTest, APropertyThatMovesToABaseStaysWhatItWas)
{
    // Before: Truck has Load itself. After: Car has it.
    mFolder.Write("then.json",
                  Replaced(GARAGE,
                           "\"base\": \"Garage.Car\", \"abstract\": false, \"actsOutside\": "
                           "false,\n \"properties\": [",
                           "\"base\": \"Garage.Car\", \"abstract\": false, \"actsOutside\": false, "
                           "\"properties\": [{\"name\": \"Load\", \"type\": \"int\", \"array\": "
                           "false, \"excluded\": false, \"access\": \"write\"}"));
    mFolder.Write("now.json", Replaced(GARAGE, "\"properties\": [\n",
                                       "\"properties\": [{\"name\": \"Load\", \"type\": "
                                       "\"int\", \"array\": false, \"excluded\": false, "
                                       "\"access\": \"write\"},\n"));
    EXPECT_EQ(Quirl({"conform", "then.json", "now.json"}).mOutput,
              "peers: Garage.Car.Load: the property is new: " + std::string(PEERS_REFUSE) +
                  "Breaks: 1 for peers\n");
}

TEST_F(ConformTest, WhatABaseBreaksIsSaidOnce)
{
    EXPECT_EQ(
        Change("\"name\": \"Speed\", \"type\": \"float\"", "\"name\": \"Speed\", \"type\": \"int\"", "files"),
        "files: Garage.Car.Speed: it was float and is int: the values in files are lost\n"
        "Breaks: 1 for files\n");
}

TEST_F(ConformTest, EveryChangeOfAPropertyIsJudged)
{
    EXPECT_EQ(
        Change("\"type\": \"int\", \"array\": true", "\"type\": \"int\", \"array\": false"),
        "files: Garage.Car.Seats: it was int[] and is int: the values in files are lost\n"
        "peers: Garage.Car.Seats: it was int[] and is int: the two refuse each other\n"
        "callers: Garage.Car.Seats: it was int[] and is int: what is read and written is another thing\n"
        "Breaks: 1 for files, 1 for peers, 1 for callers\n");
    EXPECT_EQ(Change("\"array\": true, \"excluded\": false", "\"array\": true, \"excluded\": true"),
              "files: Garage.Car.Seats: it is left out of files now: the values in files are lost\n"
              "peers: Garage.Car.Seats: it is left out of what is replicated now: the two refuse each other\n"
              "Breaks: 1 for files, 1 for peers\n");
    EXPECT_EQ(
        Change("\"excluded\": true, \"access\": \"read\"", "\"excluded\": false, \"access\": \"write\""),
        "peers: Garage.Car.Noise: it is part of what is replicated now: the two refuse each other\n"
        "Breaks: 1 for peers\n");
    EXPECT_EQ(Change("\"access\": \"write\"", "\"access\": \"read\""),
              "callers: Garage.Car.Speed: it cannot be set any more\nBreaks: 1 for callers\n");
    EXPECT_EQ(Change("\"name\": \"Speed\", \"type\": \"float\"", "\"name\": \"Speed\", \"type\": \"Value\"",
                     "files"),
              "Nothing breaks\n");
    EXPECT_EQ(Change("\"name\": \"Noise\"", "\"name\": \"Sound\"", "files"), "Nothing breaks\n");
}

TEST_F(ConformTest, AConstantIsForCallersAndPeers)
{
    EXPECT_EQ(Change("\"value\": 130", "\"value\": 120"),
              "callers: Garage.Car.LIMIT: the constant was 130 and is 120\nBreaks: 1 for callers\n");
    EXPECT_EQ(Change("\"name\": \"LIMIT\"", "\"name\": \"Limit\""),
              "peers: Garage.Car.LIMIT: the constant is gone: " + std::string(PEERS_REFUSE) +
                  "callers: Garage.Car.LIMIT: the constant is gone\n"
                  "peers: Garage.Car.Limit: the property is new: " +
                  PEERS_REFUSE + "Breaks: 2 for peers, 1 for callers\n");
}

TEST_F(ConformTest, TheKeysOfAnEnumerationAreNumbersInFiles)
{
    EXPECT_EQ(
        Change("{\"Low\": 1, \"High\": 2}, \"enumeration\"", "{\"High\": 1, \"Low\": 2}, \"enumeration\""),
        "files: Garage.Car.Gear: the key High was 2 and is 1: a stored 2 means Low now\n"
        "peers: Garage.Car.Gear: the key High was 2 and is 1: each side means something else\n"
        "callers: Garage.Car.Gear: the key High was 2 and is 1\n"
        "files: Garage.Car.Gear: the key Low was 1 and is 2: a stored 1 means High now\n"
        "peers: Garage.Car.Gear: the key Low was 1 and is 2: each side means something else\n"
        "callers: Garage.Car.Gear: the key Low was 1 and is 2\n"
        "Breaks: 2 for files, 2 for peers, 2 for callers\n");
    EXPECT_EQ(Change("\"High\": 2}, \"enumeration\"", "\"Fast\": 2}, \"enumeration\"", "files"),
              "files: Garage.Car.Gear: the key High is gone: a stored 2 means Fast now, and files in which "
              "somebody "
              "wrote High do not load\nBreaks: 1 for files\n");
    EXPECT_EQ(Change("\"High\": 2}, \"enumeration\"", "\"High\": 2, \"Off\": 3}, \"enumeration\""),
              "Nothing breaks\n");
}

TEST_F(ConformTest, AFunctionOfOtherTypesIsRefusedByPeersAndOneOfOtherClassesByCallers)
{
    EXPECT_EQ(
        Change("[\"float\", \"Garage.Car\"]", "[\"int\", \"Garage.Car\"]"),
        "peers: Garage.Car.Honk: it was Honk(float, Garage.Car): void and is Honk(int, Garage.Car): void: "
        "the "
        "two refuse each other\n"
        "callers: Garage.Car.Honk: it was Honk(float, Garage.Car): void and is Honk(int, Garage.Car): void\n"
        "Breaks: 1 for peers, 1 for callers\n");
    EXPECT_EQ(
        Change("[\"float\", \"Garage.Car\"]", "[\"float\", \"QBase.Object\"]"),
        "callers: Garage.Car.Honk: it was Honk(float, Garage.Car): void and is Honk(float, QBase.Object): "
        "void\nBreaks: 1 for callers\n");
    EXPECT_EQ(Change("\"static\": false", "\"static\": true", "callers"),
              "callers: Garage.Car.Honk: it was Honk(float, Garage.Car): void and is static Honk(float, "
              "Garage.Car): "
              "void\nBreaks: 1 for callers\n");
}

TEST_F(ConformTest, AFunctionThatIsGoneOrNewIsToldToWhomItConcerns)
{
    EXPECT_EQ(Change("\"Honk\"", "\"Beep\""),
              "peers: Garage.Car.Honk: the function is gone: " + std::string(PEERS_REFUSE) +
                  "callers: Garage.Car.Honk: the function is gone\n"
                  "peers: Garage.Car.Beep: the function is new: " +
                  PEERS_REFUSE + "Breaks: 2 for peers, 1 for callers\n");
}

TEST_F(ConformTest, AnEnumerationThatIsGoneIsForCallers)
{
    EXPECT_EQ(Change("\"enumerations\": [{\"name\": \"Gear\"", "\"enumerations\": [{\"name\": \"Speeds\""),
              "callers: Garage.Car.Gear: the enumeration is gone\nBreaks: 1 for callers\n");
}

TEST_F(ConformTest, AConstantOfAnotherTypeOrNoneAtAllIsRefusedByPeers)
{
    const std::string refused =
        "peers: Garage.Car.LIMIT: the constant was of another type or is none any more: "
        "the two refuse each other\n";
    EXPECT_EQ(Change("\"name\": \"LIMIT\", \"type\": \"int\"", "\"name\": \"LIMIT\", \"type\": \"float\""),
              refused + "Breaks: 1 for peers\n");
    EXPECT_EQ(
        Change("\"excluded\": true, \"access\": \"constant\"", "\"excluded\": false, \"access\": \"write\""),
        refused + "callers: Garage.Car.LIMIT: the constant was 130 and is a property\n"
                  "Breaks: 1 for peers, 1 for callers\n");
}

TEST_F(ConformTest, WhatBecomesAbstractOrLosesItsBaseIsToldToEachParty)
{
    EXPECT_EQ(Change("\"QBase.Table\", \"abstract\": false", "\"QBase.Table\", \"abstract\": true"),
              "files: Garage.Trailer: the class has become abstract: files with an object of it do not load\n"
              "peers: Garage.Trailer: the class has become abstract: no replica of its objects can be made\n"
              "callers: Garage.Trailer: the class has become abstract: nobody can construct it\n"
              "Breaks: 1 for files, 1 for peers, 1 for callers\n");
    EXPECT_EQ(
        Change("\"base\": \"QBase.Table\"", "\"base\": \"QBase.Object\""),
        "files: Garage.Trailer: the class is no QBase.Table any more: files in which it has children do not "
        "load\n"
        "peers: Garage.Trailer: the class is no QBase.Table any more: its children cannot be replicated\n"
        "callers: Garage.Trailer: the class is no QBase.Table any more: functions that ask for one refuse "
        "it\n"
        "Breaks: 1 for files, 1 for peers, 1 for callers\n");
}

TEST_F(ConformTest, StandardInputCannotBeBoth)
{
    const Outcome result = Quirl({"conform", "-", "-"}, GARAGE);
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_EQ(result.mErrors,
              "quirl: error: Failed to compare standard input with itself; name a file for OLD "
              "or for NEW\n");
}

TEST_F(ConformTest, TheOrderOfClassesAndDescriptionsBreakNothing)
{
    EXPECT_EQ(Change("Has wheels", "Rolls"), "Nothing breaks\n");
    const std::string garage = GARAGE;
    const std::size_t truck = garage.find("{\"name\": \"Truck\"");
    const std::size_t trailer = garage.find("{\"name\": \"Trailer\"");
    const std::size_t end = garage.find("]}]}", trailer);
    mFolder.Write("then.json", garage);
    mFolder.Write("now.json", garage.substr(0, truck) +
                                  garage.substr(trailer, garage.find("]}]}", end) - trailer) + "]}, " +
                                  garage.substr(truck, trailer - truck - 2) + "]}]}");
    EXPECT_EQ(Quirl({"conform", "then.json", "now.json"}).mOutput, "Nothing breaks\n");
}

TEST_F(ConformTest, JsonIsOneDocument)
{
    mFolder.Write("then.json", GARAGE);
    mFolder.Write("now.json", Replaced(GARAGE, "\"value\": 130", "\"value\": 120"));
    EXPECT_EQ(Quirl({"conform", "--json", "then.json", "now.json"}).mOutput,
              "{\n  \"conforms\": false,\n  \"breaches\": [\n    {\n      \"party\": \"callers\",\n"
              "      \"place\": \"Garage.Car.LIMIT\",\n      \"text\": \"the constant was 130 and is 120\"\n"
              "    }\n  ]\n}\n");
    EXPECT_EQ(Quirl({"conform", "--json", "then.json", "then.json"}).mOutput,
              "{\n  \"conforms\": true,\n  \"breaches\": []\n}\n");
}

TEST_F(ConformTest, WhatIsNoSchemaIsTroubleAndSaysWhere)
{
    EXPECT_THAT(Refuse(""), HasSubstr("unexpected end of input"));
    EXPECT_THAT(Refuse("{\"schema\": 1"), HasSubstr("line 1, column 13"));
    EXPECT_THAT(Refuse("[]"), HasSubstr("the document is not an object"));
    EXPECT_THAT(Refuse("{}"), HasSubstr("schema is not a whole number"));
    EXPECT_THAT(Refuse(R"({"schema": 2, "modules": []})"), HasSubstr("its version is 2 and not 1"));
    EXPECT_THAT(Refuse(R"({"schema": 1, "modules": 5})"), HasSubstr("modules is not a list"));
    EXPECT_THAT(Refuse(Replaced(GARAGE, "\"access\": \"read\"", "\"access\": 7")),
                HasSubstr("modules[0].classes[0].properties[2].access is not a text"));
    EXPECT_THAT(Refuse(Replaced(GARAGE, "\"Low\": 1", "\"Low\": 99999999999")),
                HasSubstr("modules[0].classes[0].properties[4].enum.Low is not a number of 32 bits"));
    EXPECT_THAT(Refuse(Replaced(GARAGE, "\"Low\": 1", "\"Low\": 18446744073709551615")),
                HasSubstr("enum.Low is not a number of 32 bits"));
    EXPECT_THAT(Refuse(Replaced(GARAGE, "\"abstract\": false", "\"abstract\": 0")),
                HasSubstr("modules[0].classes[0].abstract is not true or false"));
    EXPECT_THAT(Refuse(std::string(200000, '[')), HasSubstr("nested deeper than 32"));
    EXPECT_THAT(Refuse(Replaced(GARAGE, "130", std::string(200000, '[') + std::string(200000, ']'))),
                HasSubstr("its objects and lists are nested deeper than 32"));
}

TEST_F(ConformTest, ClassesThatAreTheirOwnBaseComeToAnEnd)
{
    const std::string circle = Replaced(GARAGE, "\"QBase.Object\"", "\"Garage.Truck\"");
    mFolder.Write("circle.json", circle);
    mFolder.Write("straight.json", GARAGE);
    EXPECT_EQ(Quirl({"conform", "circle.json", "circle.json"}).mOutput, "Nothing breaks\n");
    EXPECT_THAT(
        Quirl({"conform", "circle.json", "straight.json"}).mOutput,
        AllOf(HasSubstr("Garage.Car: the class is no Garage.Truck any more"), Not(HasSubstr("error"))));
}
