#include "QBase/Config.h"

#include "Support/CapturedMessages.h"

#include <gtest/gtest.h>

using namespace QBase;

namespace
{

Config MakeConfig(const NarrowString& commandLine)
{
    CapturedMessages messages;
    Config config(commandLine);
    messages.TakeInfo();
    return config;
}

NarrowString ValueOf(const char* pName, const char* pCommandLine)
{
    return MakeConfig(pCommandLine).GetCommandLineParameterValue(pName);
}

} // namespace

TEST(ConfigTest, ConstructionReportsTheCommandLineUnchanged)
{
    CapturedMessages messages;
    Config config("app  -size 10 %d ");
    EXPECT_EQ(messages.TakeInfo(), "CommandLine: app  -size 10 %d ");
}

TEST(ConfigTest, CopiesAnswerAlikeAndReportNothing)
{
    Config config = MakeConfig("app -size 10");
    Config assigned = MakeConfig("other");

    CapturedMessages messages;
    Config copy(config);
    assigned = copy;
    EXPECT_EQ(assigned.GetCommandLineParameterValue("-size"), "10");
    EXPECT_TRUE(config.HasCommandLineParameter("-size"));
}

TEST(ConfigTest, AParameterIsFoundAnywhereInItsExactCase)
{
    const Config config = MakeConfig("app -logfile x");
    EXPECT_TRUE(config.HasCommandLineParameter("-logfile"));
    EXPECT_TRUE(config.HasCommandLineParameter("-log"));
    EXPECT_TRUE(config.HasCommandLineParameter("gfi"));
    EXPECT_FALSE(config.HasCommandLineParameter("-Log"));
    EXPECT_FALSE(config.HasCommandLineParameter("-logfiles"));
    EXPECT_EQ(config.GetCommandLineParameterValue("-LOGFILE"), "");
}

TEST(ConfigTest, AValueFollowsASpaceOrAnEqualsSign)
{
    EXPECT_EQ(ValueOf("-size", "app -size 10 -mode=fast"), "10");
    EXPECT_EQ(ValueOf("-mode", "app -size 10 -mode=fast"), "fast");
    EXPECT_EQ(ValueOf("-name", "-name = value rest"), "value");
    EXPECT_EQ(ValueOf("-name", "-name   =   value"), "value");
    EXPECT_EQ(ValueOf("-name", "-name    value"), "value");
}

TEST(ConfigTest, ANameAtTheEndHasNoValue)
{
    EXPECT_EQ(ValueOf("-x", "app -x"), "");
    EXPECT_EQ(ValueOf("-x", "app -x   "), "");
    EXPECT_EQ(ValueOf("-x", "app -x="), "");
    EXPECT_EQ(ValueOf("-x", "app -x ="), "");
    EXPECT_EQ(ValueOf("-x", "app -x =  "), "");
    EXPECT_EQ(ValueOf("-x", ""), "");
}

TEST(ConfigTest, AValueCannotBeginWithAMinus)
{
    EXPECT_EQ(ValueOf("-a", "-a -b"), "");
    EXPECT_EQ(ValueOf("-x", "-x = -5"), "");
    EXPECT_EQ(ValueOf("-x", "-x=-5"), "");
    EXPECT_EQ(ValueOf("-x", "-x-5"), "");
}

TEST(ConfigTest, TheFirstOccurrenceCountsEvenInsideALongerName)
{
    EXPECT_EQ(ValueOf("-log", "app -logfile x"), "file");
    EXPECT_EQ(ValueOf("-log", "app -logfile x -log y"), "file");
    EXPECT_EQ(ValueOf("-log", "app -log=first -log=second"), "first");
}

TEST(ConfigTest, OnlyOneEqualsSignAndOnlySpacesAreSkipped)
{
    EXPECT_EQ(ValueOf("-x", "-x==5"), "=5");
    EXPECT_EQ(ValueOf("-x", "-x\t5"), "\t5");
    EXPECT_EQ(ValueOf("-x", "-x \"a b\""), "\"a");
}

TEST(ConfigTest, AnEmptyNameMatchesAtTheStart)
{
    EXPECT_TRUE(MakeConfig("").HasCommandLineParameter(""));
    EXPECT_EQ(ValueOf("", "app -x"), "app");
    EXPECT_EQ(ValueOf("", "-x"), "");
    EXPECT_EQ(ValueOf("", ""), "");
}
