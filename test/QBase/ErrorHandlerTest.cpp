#include "QBase/ErrorHandler.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/ErrorHooks.h"
#include "QBase/Global.h"
#include "Support/CapturedConsole.h"
#include "Support/System.h"

#include <gtest/gtest.h>

#include <string>

using namespace QBase;

namespace
{

std::string g_Question; // what the user was asked last

bool AnswerYes(const char* pCaption, const char* pMessage)
{
    g_Question = std::string(pCaption) + "|" + pMessage;
    return true;
}

bool AnswerNo(const char*, const char*)
{
    return false;
}

class ErrorHandlerTest : public testing::Test
{
protected:
    ErrorHandlerTest()
    {
        g_Question.clear();
        SetQuestionHook(AnswerYes);
    }

    ~ErrorHandlerTest() override
    {
        SetQuestionHook(nullptr);
        SetErrorHandler(nullptr);
    }

    Ptr<ErrorHandler> mpHandler = ErrorHandler::Construct(Value::Null);
};

using ErrorHandlerDeathTest = ErrorHandlerTest;

} // namespace

TEST_F(ErrorHandlerTest, IsTheReflectedClassErrorHandlerOfQBase)
{
    Ptr<Object> pObject = Construct("QBase", "ErrorHandler", Value::Null);
    ASSERT_NE(pObject, nullptr);
    EXPECT_EQ(pObject->GetModuleName(), String("QBase"));
    EXPECT_EQ(pObject->GetClassName(), String("ErrorHandler"));
    EXPECT_TRUE(pObject->IsExactType(ErrorHandler::ClassTable()));
    EXPECT_TRUE(pObject->IsDerivedType(Object::ClassTable()));
}

TEST_F(ErrorHandlerTest, ShowsEachErrorWithAQuestion)
{
    SetErrorHandler(mpHandler);
    Error("Table", 12, "x");
    EXPECT_EQ(g_Question, "Error|ERROR: Table (line 12): x\n\nDo you want to continue execution?");
    EXPECT_EQ(mpHandler->GetNumErrors(), 1);
}

TEST_F(ErrorHandlerTest, TheCaptionOfAnOwnedBoxIsTheWindowsTitleAndError)
{
    int window = 0; // no window of any system, so its title is empty
    mpHandler->SetHwnd(&window);
    mpHandler->Execute(Value("x"));
    EXPECT_EQ(g_Question, " Error|x\n\nDo you want to continue execution?");
    mpHandler->SetHwnd(nullptr);
    mpHandler->Execute(Value("x"));
    EXPECT_EQ(g_Question, "Error|x\n\nDo you want to continue execution?");
}

TEST_F(ErrorHandlerTest, AValueThatIsNoStringCountsAndShowsNothing)
{
    EXPECT_EQ(mpHandler->GetNumErrors(), 0);
    mpHandler->Execute(Value(7));
    mpHandler->Execute(Value::Null);
    mpHandler->Execute(Value(mpHandler));
    EXPECT_EQ(mpHandler->GetNumErrors(), 3);
    EXPECT_EQ(g_Question, "");
}

TEST_F(ErrorHandlerTest, GetNumErrorsIsReflected)
{
    mpHandler->Execute(Value("x"));
    EXPECT_EQ(mpHandler->Call("GetNumErrors"), Value(1));
}

TEST_F(ErrorHandlerTest, ACloneCarriesItsCountOn)
{
    mpHandler->Execute(Value("x"));
    auto* pClone = mpHandler->Clone();
    EXPECT_TRUE(pClone->IsExactType(ErrorHandler::ClassTable()));
    EXPECT_EQ(pClone->GetNumErrors(), 1);
    pClone->Release(); // the clone was born with its source's one reference
}

TEST_F(ErrorHandlerTest, WithoutATerminalItPrintsAndContinues)
{
    SetQuestionHook(nullptr);
    const Solitude nobodyToAsk;
    CapturedConsole console;
    SetErrorHandler(mpHandler);
    Error("Table", 12, "x");
    EXPECT_EQ(console.TakeErrors(),
              "Error\nERROR: Table (line 12): x\n\nDo you want to continue execution?\n");
    EXPECT_EQ(mpHandler->GetNumErrors(), 1);
}

TEST_F(ErrorHandlerDeathTest, TheAnswerNoEndsTheProgramWithExitCodeOne)
{
    SetQuestionHook(AnswerNo);
    SetErrorHandler(mpHandler);
    EXPECT_EXIT(Error("Table", 12, "x"), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(String("under the lock of the string table \xFF"), testing::ExitedWithCode(1), "");
}
