// A module that quirl new-module wrote, built against the installed package as its README says.

#include "Support/Paths.h"
#include "Support/Sanitizer.h"
#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;

namespace
{

class BuiltModuleTest : public ToolTest
{
protected:
    Outcome Run(const std::string& commands) const
    {
        ProgramStart start{{"/bin/sh", "-c", "exec 2>&1; set -e; " + commands}};
        start.mFolder = PathOf("");
        return RunApart(start);
    }
};

} // namespace

TEST_F(BuiltModuleTest, AModuleOfEveryTypeBuildsAgainstTheInstalledPackageAndPassesItsTest)
{
    if (HAS_SANITIZER) {
        GTEST_SKIP() << "a sanitizer has to be in the program that loads the library";
    }
    const std::string package = PathOf("package");
    const Outcome installed =
        Run("for part in runtime development tools; do cmake --install '" + BinaryPath("..") +
            "' --prefix '" + package + "' --component $part >/dev/null; done");
    ASSERT_EQ(installed.mExitCode, 0) << installed.mOutput;

    const Outcome written = Run(
        "package/bin/quirl new-module Rocket --class Engine:Object --property thrust:float "
        "--property stages:int --property lit:bool --property name:String --property next:Object "
        "--property size:Vector2 --property place:Vector3 --property plane:Vector4 "
        "--property cell:Vector2i --property box:Vector3i --property part:Vector4i "
        "--property tint:Color --property turn:Quaternion --property any:Value "
        "--function Start --function Stop --function 'Push(force:float, times:int): bool' "
        "--function 'Mix(String,Object,Vector3,Value,Color):Object' --function 'Turn(Quaternion):Vector2i' "
        "--function Ask:Value --function GetTitle:String "
        "--class Booster:Engine --property names:String[] --property parts:Object[] "
        "--property lamps:bool[] --class Tank:Table --function Fill --class Crew:List "
        "--class Loaded --class Sheet:Resource --property width:int --class Feed:IOStream");
    ASSERT_EQ(written.mExitCode, 0) << written.mOutput;
    const std::string next =
        "Next: cmake -S Rocket -B Rocket/build -DCMAKE_PREFIX_PATH='" + package +
        "' && cmake --build Rocket/build && ctest --test-dir Rocket/build --output-on-failure\n";
    ASSERT_EQ(written.mOutput, next);

    const Outcome built =
        Run("export CXXFLAGS='-Wall -Wextra -Wpedantic -Werror' CMAKE_BUILD_TYPE=Debug; " + next.substr(6));
    EXPECT_EQ(built.mExitCode, 0) << built.mOutput;
    EXPECT_THAT(built.mOutput, HasSubstr("100% tests passed, 0 tests failed out of 1"));
    for (const char* pCommand :
         {"package/bin/quirl classes Rocket --module-path Rocket/build/bin",
          "QUIRL_MODULE_PATH=nowhere::Rocket/build/bin package/bin/quirl classes Rocket"}) {
        const Outcome classes = Run(pCommand);
        EXPECT_THAT(classes.mOutput,
                    HasSubstr("class Rocket.Booster : Rocket.Engine  // Say here in one line what it is for\n"
                              "  lamps: bool[]\n"));
        EXPECT_THAT(classes.mOutput, HasSubstr("class Rocket.Sheet : QBase.Resource (abstract)  // Say"));
        EXPECT_THAT(classes.mOutput, HasSubstr("  Push(float, int): bool\n"));
    }

    EXPECT_THAT(Run("package/bin/quirl check Rocket/scene.QXml --module-path Rocket/build/bin").mOutput,
                HasSubstr("Rocket/scene.QXml: ok, xml, 7 objects, "));
    const std::string scene =
        Run("package/bin/quirl show Rocket/scene.QXml --module-path Rocket/build/bin").mOutput;
    for (const char* pLine : {"  [0]: Rocket.Engine\n", "    thrust = 0.5\n", "    lit = true\n",
                              "    name = \"text\"\n", "    box = (1, 2, 3)\n", "    tint = 0xFF030201\n"}) {
        EXPECT_THAT(scene, HasSubstr(pLine));
    }

    ASSERT_EQ(Run("mv Rocket \"Rocket's\"").mExitCode, 0); // a name that shells take apart
    const std::string folder = PathOf("Rocket'\\''s/build/bin");
    const Outcome derived = Run("package/bin/quirl new-module Shuttle --module Rocket --module-path "
                                "\"Rocket's/build/bin\" --class Wing:Rocket.Engine --property span:float");
    const std::string nextButOne = "Next: cmake -S Shuttle -B Shuttle/build -DCMAKE_PREFIX_PATH='" + package +
                                   "' -DRocket_FOLDER='" + folder +
                                   "' && cmake --build Shuttle/build && ctest --test-dir Shuttle/build "
                                   "--output-on-failure\n";
    ASSERT_EQ(derived.mOutput, nextButOne);
    const Outcome both = Run("export CXXFLAGS='-Wall -Wextra -Wpedantic -Werror' CMAKE_BUILD_TYPE=Debug; " +
                             nextButOne.substr(6));
    EXPECT_EQ(both.mExitCode, 0) << both.mOutput;
    EXPECT_THAT(both.mOutput, HasSubstr("100% tests passed, 0 tests failed out of 1"));
}
