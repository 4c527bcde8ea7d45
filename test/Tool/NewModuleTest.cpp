// quirl new-module: what it writes and what it refuses. That it builds is tried in Posix/BuiltModuleTest.cpp.

#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

class NewModuleTest : public ToolTest
{
protected:
    /// What the tool says of a module that it does not write.
    std::string Refuse(std::vector<std::string> words)
    {
        words.insert(words.begin(), "new-module");
        const Outcome result = Quirl(words);
        EXPECT_EQ(result.mExitCode, 2);
        EXPECT_THAT(result.mOutput, IsEmpty());
        EXPECT_EQ(CountFiles(), 0u);
        return result.mErrors;
    }
};

} // namespace

TEST_F(NewModuleTest, AModuleIsAFolderWithItsBuildItsClassesATestAndAReadMe)
{
    const Outcome result =
        Quirl({"new-module", "Rocket", "--class", "Engine:Object", "--property", "thrust:float", "--function",
               "Start", "--class", "Stage:Engine", "--property", "log:String[]"});
    EXPECT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_EQ(result.mOutput,
              "Next: cmake -S Rocket -B Rocket/build && cmake --build Rocket/build && ctest --test-dir "
              "Rocket/build --output-on-failure\n");
    EXPECT_THAT(mFolder.Read("Rocket/Engine.h"),
                HasSubstr("class Engine : public QBase::Object\n{\n"
                          "    QBASE_OBJECT(Engine, QBase::Object)\n\npublic:\n"
                          "    void Start();\n\nprotected:\n"
                          "    explicit Engine(const QBase::Value& value);\n\n"
                          "private:\n    float mThrust = 0;\n};\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Engine.cpp"), HasSubstr("QBASE_IMPLEMENT(Rocket, Engine)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Engine.cpp"),
                HasSubstr("    AddProperty<&Engine::mThrust>(\"thrust\");\n"
                          "    AddFunction<&Engine::Start>(\"Start\");\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Stage.h"), HasSubstr("class Stage : public Engine\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Stage.h"), HasSubstr("    QBase::Array<QBase::String> mLog;\n"));
    EXPECT_THAT(mFolder.Read("Rocket/CMakeLists.txt"),
                HasSubstr("qbase_add_module(Rocket Engine.cpp Stage.cpp)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/README.md"), StartsWith("# Rocket\n"));
    EXPECT_THAT(mFolder.Read("Rocket/test/RocketTest.cpp"), HasSubstr("LoadModule(\"Rocket\")"));
}

TEST_F(NewModuleTest, WithoutAClassThereIsOneThatIsCalledLikeTheModule)
{
    ASSERT_EQ(Quirl({"new-module", "Rocket", "--property", "thrust:float"}).mExitCode, 0);
    EXPECT_THAT(mFolder.Read("Rocket/Rocket.cpp"),
                HasSubstr("    AddProperty<&Rocket::mThrust>(\"thrust\");\n"));
    ASSERT_EQ(Quirl({"new-module", "Boat"}).mExitCode, 0);
    EXPECT_THAT(mFolder.Read("Boat/Boat.h"), HasSubstr("class Boat : public QBase::Object\n"));
}

TEST_F(NewModuleTest, NamesThatNoCompilerTakesAreRefused)
{
    EXPECT_THAT(Refuse({"2fast"}),
                EndsWith("Failed to name a module \"2fast\" - a name has letters, digits and '_', a "
                         "letter first; choose such a one\n"));
    EXPECT_THAT(Refuse({"../up"}), HasSubstr("a name has letters, digits and '_'"));
    EXPECT_THAT(Refuse({"class"}), HasSubstr("it is a word of C++"));
    EXPECT_THAT(Refuse({"A__b"}), HasSubstr("two '_' in a row"));
    EXPECT_THAT(Refuse({"QBase"}), HasSubstr("there is one; choose another name"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "List"}), HasSubstr("QBase has something of that name"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "Vector3"}), HasSubstr("QBase has something of that name"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "Engine", "--class", "engine"}), HasSubstr("twice"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "co_await"}), HasSubstr("it is a word of C++"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "Clone"}),
                HasSubstr("Failed to add the function \"Clone\" to Rocket - it has that name already"));
    EXPECT_THAT(Refuse({"Rocket", "--property", "speed:int", "--property", "Speed:int"}),
                HasSubstr("Failed to add the property \"Speed\" to Rocket"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "A", "--function", "Go", "--class", "B:A", "--function", "Go"}),
                HasSubstr("Failed to add the function \"Go\" to B"));
}

TEST_F(NewModuleTest, TypesAndBasesThatAreNoneAreRefusedWithThoseThatAre)
{
    EXPECT_THAT(
        Refuse({"Rocket", "--property", "speed:double"}),
        HasSubstr(
            "the type \"double\" - there is none of that name; choose from int, float, bool, String, "));
    EXPECT_THAT(Refuse({"Rocket", "--property", "speed"}),
                HasSubstr("it is no NAME:TYPE; write speed:float"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "Engine:File"}),
                HasSubstr("a base is Object, Table, List or a class named by an earlier --class"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "A:B", "--class", "B"}),
                HasSubstr("Failed to derive A from \"B\""));
}

TEST_F(NewModuleTest, NothingIsWrittenOverWhatIsThere)
{
    mFolder.Write("Rocket", "mine");
    const Outcome result = Quirl({"new-module", "Rocket"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("something of that name is there; choose another name"));
    EXPECT_EQ(mFolder.Read("Rocket"), "mine");
}
