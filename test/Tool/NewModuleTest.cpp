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
                HasSubstr("qbase_add_module(Rocket LINKABLE Engine.cpp Stage.cpp)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/README.md"), StartsWith("# Rocket\n"));
    EXPECT_THAT(mFolder.Read("Rocket/test/RocketTest.cpp"), HasSubstr("LoadModule(\"Rocket\")"));
}

TEST_F(NewModuleTest, AFileHoldsAnObjectOfEachClassThatFilesOfStrangersMayHold)
{
    ASSERT_EQ(Quirl({"new-module", "Rocket", "--module", "QNet", "--class", "Engine", "--property",
                     "thrust:float", "--property", "next:Object", "--property", "names:String[]", "--class",
                     "Door:QNet.TcpServer", "--class", "Log:Resource", "--class", "Crew:List"})
                  .mExitCode,
              0);
    EXPECT_EQ(mFolder.Read("Rocket/scene.QXml"),
              "<?xml version=\"1.0\"?>\n"
              "<QuirlData id=\"1784827729\" version=\"3\">\n"
              "    <Object Module=\"QBase\" Class=\"List\" Path=\"root\">\n"
              "        <Child Index=\"0\">root[0]</Child>\n"
              "        <Child Index=\"1\">root[1]</Child>\n"
              "    </Object>\n"
              "    <Object Module=\"Rocket\" Class=\"Engine\" Path=\"root[0]\">\n"
              "        <Property Name=\"thrust\" Type=\"float\">0.5</Property>\n"
              "    </Object>\n"
              "    <Object Module=\"Rocket\" Class=\"Crew\" Path=\"root[1]\">\n"
              "    </Object>\n"
              "</QuirlData>\n");
    EXPECT_THAT(mFolder.Read("Rocket/README.md"),
                HasSubstr("\n    quirl show scene.QXml --module-path build/bin\n"));
    ASSERT_EQ(Quirl({"new-module", "Boat", "--class", "Log:Resource"}).mExitCode, 0);
    EXPECT_FALSE(fs::exists(PathOf("Boat/scene.QXml")));
    EXPECT_THAT(mFolder.Read("Boat/README.md"), testing::Not(HasSubstr("scene")));
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
    EXPECT_THAT(Refuse({"Rocket", "--property", "thrust:int", "--function", "mThrust"}),
                HasSubstr("Failed to add the function \"mThrust\" to Rocket - it has that name already"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "Tank:Table", "--function", "Table"}),
                HasSubstr("Failed to add the function \"Table\" to Tank - it has that name already"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "Tank:Table", "--property", "Find:int"}),
                HasSubstr("Failed to add the property \"Find\" to Tank - it has that name already"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "errno"}), HasSubstr("it is a macro of C, C++ or QBase"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "QBASE_API"}), HasSubstr("it is a macro of C, C++ or QBase"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "Go(class:int)"}),
                EndsWith("Failed to name an argument \"class\" - it is a word of C++; choose another\n"));
}

// In its own files such a name would stand for the class and for something else.
TEST_F(NewModuleTest, ClassesAreNotCalledLikeTheNamespacesAndForeignBasesOfTheirModule)
{
    for (const char* pName : {"QBase", "std"}) {
        EXPECT_THAT(Refuse({"Rocket", "--class", pName}),
                    EndsWith("Failed to name a class \"" + std::string(pName) +
                             "\" - its base or others come from a namespace of that name; choose another\n"));
    }
    EXPECT_THAT(Refuse({"Rocket", "--module", "Solar", "--class", "Comet:Solar.Body", "--class", "Solar"}),
                HasSubstr("Failed to name a class \"Solar\" - its base or others come from a namespace"));
    EXPECT_THAT(
        Refuse({"Rocket", "--module", "Solar", "--class", "Body:Solar.Body"}),
        EndsWith("Failed to name a class \"Body\" - Solar.Body is a base here and its header is called "
                 "like that; choose another\n"));
    EXPECT_THAT(Refuse({"Rocket", "--module", "Solar", "--class", "body", "--class", "Comet:Solar.Body"}),
                HasSubstr("Failed to name a class \"body\" - Solar.Body is a base here"));
    EXPECT_THAT(Refuse({"Rocket", "--module", "QNet", "--class", "TcpServer:QNet.TcpServer"}),
                HasSubstr("Failed to name a class \"TcpServer\" - QNet.TcpServer is a base here"));
    ASSERT_EQ(Quirl({"new-module", "Boat", "--class", "Solar", "--class", "Body"}).mExitCode, 0);
}

TEST_F(NewModuleTest, ModulesAreNotCalledLikeWhatCMakeOrCHave)
{
    for (const char* pName : {"test", "all", "install", "Nightly", "PACKAGE"}) {
        EXPECT_THAT(Refuse({pName}), EndsWith("Failed to name a module \"" + std::string(pName) +
                                              "\" - CMake builds something of its own under that name; "
                                              "choose another name\n"));
    }
    for (const char* pName : {"time", "printf", "log"}) {
        EXPECT_THAT(Refuse({pName}), HasSubstr("C has something of that name, and no namespace can have it"));
    }
    ASSERT_EQ(Quirl({"new-module", "Test"}).mExitCode, 0);
    ASSERT_EQ(Quirl({"new-module", "Time"}).mExitCode, 0);
}

TEST_F(NewModuleTest, FunctionsHaveArgumentsAndAResult)
{
    ASSERT_EQ(Quirl({"new-module", "Rocket", "--function", "Push( force : float, int ) : bool", "--function",
                     "Mix(String,Object,next:Object,Vector3,Value):Object", "--function", "GetName:String",
                     "--function", "Stop()"})
                  .mExitCode,
              0);
    EXPECT_THAT(mFolder.Read("Rocket/Rocket.h"),
                HasSubstr("    bool Push(float force, int);\n"
                          "    QBase::Ptr<QBase::Object> Mix(const QBase::String&, QBase::Object*, "
                          "QBase::Object* next, const QBase::Vector3&, const QBase::Value&);\n"
                          "    QBase::String GetName();\n"
                          "    void Stop();\n"));
    const std::string source = mFolder.Read("Rocket/Rocket.cpp");
    EXPECT_THAT(source, HasSubstr("\nbool Rocket::Push([[maybe_unused]] float force, int)\n{\n"
                                  "    // Write here what it does.\n    return {};\n}\n"));
    EXPECT_THAT(source, HasSubstr("\nvoid Rocket::Stop()\n{\n    // Write here what it does.\n}\n"));
    EXPECT_THAT(mFolder.Read("Rocket/test/RocketTest.cpp"),
                HasSubstr("    Expect(pObject->Call(\"Push\", 0.5f, 7).GetType() == Value::TYPE_BOOL, "
                          "\"Rocket.Push answers\");\n"));
}

TEST_F(NewModuleTest, FunctionsThatCannotBeReadOrCalledAreRefused)
{
    for (const char* pFunction : {"Go(int", "Go int)", "Go)int(", "Go():", "Go(int)bool", "Go:bool(int)"}) {
        EXPECT_THAT(Refuse({"Rocket", "--function", pFunction}),
                    EndsWith("Failed to read the function \"" + std::string(pFunction) +
                             "\" - it is no NAME(TYPE,...):TYPE; write \"Push(float, int): bool\", for "
                             "example\n"));
    }
    EXPECT_THAT(Refuse({"Rocket", "--function", "Go(int,)"}),
                HasSubstr("Failed to give the argument 1 of the function \"Go\" the type \"\""));
    EXPECT_THAT(
        Refuse({"Rocket", "--function", "Go(int[])"}),
        HasSubstr("Failed to give the argument 0 of the function \"Go\" the type \"int[]\" - there is "
                  "none of that name; choose from int, float, bool,"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "Go:double"}),
                HasSubstr("Failed to give the result of the function \"Go\" the type \"double\""));
    EXPECT_THAT(
        Refuse({"Rocket", "--function", "Go(int,int,int,int,int,int)"}),
        HasSubstr("Failed to add the function \"Go\" - it has 6 arguments, and calls carry 5 at most"));
    EXPECT_THAT(Refuse({"Rocket", "--function", "Go(a:int,a:int)"}),
                HasSubstr("two of its arguments are called \"a\"; give each a name of its own"));
}

TEST_F(NewModuleTest, ABaseIsAnyClassOfALoadedModule)
{
    const Outcome result =
        Quirl({"new-module", "Rocket", "--module", "Solar", "--module", "QNet", "--class", "Comet:Solar.Body",
               "--class", "Log:Resource", "--class", "Pipe:QBase.IOStream", "--class", "Tail:Rocket.Comet",
               "--class", "Door:QNet.TcpServer", "--class", "Keys:EnumInfoObject"});
    ASSERT_EQ(result.mExitCode, 0) << result.mErrors;
    EXPECT_THAT(
        mFolder.Read("Rocket/Comet.h"),
        HasSubstr("#include \"Body.h\"\n\nnamespace Rocket\n{\n\nclass Comet : public Solar::Body\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Comet.cpp"), HasSubstr("\nQBASE_IMPLEMENT(Rocket, Comet)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Comet.cpp"), HasSubstr("const QBase::Value& value) : Body(value)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Tail.h"), HasSubstr("#include \"Comet.h\"\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Log.h"), HasSubstr("#include \"QBase/Resource.h\"\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Log.cpp"),
                HasSubstr("// Resource leaves functions open. When they are written here this is "
                          "QBASE_IMPLEMENT.\nQBASE_IMPLEMENT_ABSTRACT(Rocket, Log)\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Keys.h"), HasSubstr("#include \"QBase/Enum.h\"\n"));
    EXPECT_THAT(mFolder.Read("Rocket/Door.h"), HasSubstr("#include \"QNet/TcpServer.h\"\n"));
    const std::string build = mFolder.Read("Rocket/CMakeLists.txt");
    EXPECT_THAT(build, HasSubstr("find_package(QBase 2.1 CONFIG REQUIRED COMPONENTS net)\n"));
    EXPECT_THAT(build, HasSubstr("find_path(Solar_HEADERS Body.h HINTS ${Solar_FOLDER} "));
    EXPECT_THAT(build, HasSubstr("target_link_libraries(Rocket PRIVATE QBase::QNet)\n"
                                 "target_include_directories(Rocket PRIVATE ${Solar_HEADERS})\n"
                                 "target_link_libraries(Rocket PRIVATE ${Solar_LIBRARY})\n"));
}

TEST_F(NewModuleTest, TypesAndBasesThatAreNoneAreRefusedWithThoseThatAre)
{
    EXPECT_THAT(
        Refuse({"Rocket", "--property", "speed:double"}),
        HasSubstr(
            "the type \"double\" - there is none of that name; choose from int, float, bool, String, "));
    EXPECT_THAT(Refuse({"Rocket", "--property", "speed"}),
                HasSubstr("it is no NAME:TYPE; write speed:float"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "A:B", "--class", "B"}),
                EndsWith("Failed to derive A from \"B\" - a base is a class of QBase, a class named by an "
                         "earlier --class, or MODULE.CLASS of a module that --module loads; choose one of "
                         "them\n"));
    EXPECT_THAT(Refuse({"Rocket", "--class", "A:Solar.Body"}),
                EndsWith("Failed to derive A from \"Solar.Body\" - the module \"Solar\" is not loaded; say "
                         "--module Solar\n"));
    EXPECT_THAT(Refuse({"Rocket", "--module", "Solar", "--class", "A:Solar.Moon"}),
                EndsWith("the module has no such class; 'quirl classes Solar' lists those it has\n"));
    for (const char* pBase : {"Property", "QBase.Function", "ClassInfoTable"}) {
        EXPECT_THAT(Refuse({"Rocket", "--class", std::string("A:") + pBase}),
                    EndsWith("the library alone derives from it; choose another base\n"));
    }
}

TEST_F(NewModuleTest, NothingIsWrittenOverWhatIsThere)
{
    mFolder.Write("Rocket", "mine");
    const Outcome result = Quirl({"new-module", "Rocket"});
    EXPECT_EQ(result.mExitCode, 2);
    EXPECT_THAT(result.mErrors, HasSubstr("something of that name is there; choose another name"));
    EXPECT_EQ(mFolder.Read("Rocket"), "mine");
}
