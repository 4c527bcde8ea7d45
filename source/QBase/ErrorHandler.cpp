#include "QBase/ErrorHandler.h"

#include "QBase/ErrorHooks.h"
#include "QBase/Platform/Platform.h"
#include "QBase/Reflection.h"

#include <cstdlib>
#include <string>

namespace QBase
{

QBASE_IMPLEMENT(QBase, ErrorHandler)

namespace
{

QuestionHook g_pQuestionHook = nullptr;

bool AskToContinue(void* pWindow, const std::string& caption, const std::string& message)
{
    return g_pQuestionHook ? g_pQuestionHook(caption.c_str(), message.c_str())
                           : Platform::AskYesNo(pWindow, caption.c_str(), message.c_str());
}

} // namespace

void ErrorHandler::Implement()
{
    Describe("Shows errors and asks whether to go on");
    AddFunction<&ErrorHandler::GetNumErrors>("GetNumErrors");
}

ErrorHandler::ErrorHandler(const Value&)
{}

void ErrorHandler::Execute(const Value& value)
{
    ++mNumErrors;
    if (value.GetType() != Value::TYPE_STRING) {
        return;
    }
    const std::string message =
        std::string(value.AsString().c_str()) + "\n\nDo you want to continue execution?";
    const std::string caption = mHwnd ? Platform::WindowTitle(mHwnd) + " Error" : "Error";
    if (!AskToContinue(mHwnd, caption, message)) {
        std::exit(1);
    }
}

void SetQuestionHook(QuestionHook pHook)
{
    g_pQuestionHook = pHook;
}

} // namespace QBase
