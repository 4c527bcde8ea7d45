#include "Support/CapturedMessages.h"

#include "Support/CapturedConsole.h"

#include "QBase/ErrorHooks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

namespace
{

enum class Kind
{
    INFO,
    ERROR
};

struct Message
{
    Kind mKind;
    std::string mText;
};

std::mutex g_Mutex;
std::vector<Message> g_Messages; // guarded by g_Mutex
std::unique_ptr<CapturedConsole> g_pConsole;

void Record(const char* pText)
{
    std::string text(pText);
    text.pop_back();
    const std::lock_guard lock(g_Mutex);
    g_Messages.push_back({text.rfind("ERROR: ", 0) == 0 ? Kind::ERROR : Kind::INFO, std::move(text)});
}

std::string Take(Kind kind, const char* pName)
{
    const std::lock_guard lock(g_Mutex);
    const auto found = std::find_if(g_Messages.begin(), g_Messages.end(),
                                    [&](const Message& message) { return message.mKind == kind; });
    if (found == g_Messages.end()) {
        ADD_FAILURE() << "no " << pName << " was reported";
        return std::string();
    }
    std::string text = std::move(found->mText);
    g_Messages.erase(found);
    return text;
}

} // namespace

CapturedMessages::CapturedMessages()
{
    g_Messages.clear();
    g_pConsole = std::make_unique<CapturedConsole>();
    QBase::SetDebuggerOutputHook(Record);
}

CapturedMessages::~CapturedMessages()
{
    g_pConsole.reset();
    EXPECT_THAT(TakeAll(), testing::IsEmpty()) << "messages were left untaken";
}

std::string CapturedMessages::TakeError()
{
    return Take(Kind::ERROR, "Error");
}

std::string CapturedMessages::TakeInfo()
{
    return Take(Kind::INFO, "Info");
}

std::vector<std::string> CapturedMessages::TakeAll()
{
    const std::lock_guard lock(g_Mutex);
    std::vector<std::string> texts;
    for (Message& message : std::exchange(g_Messages, {})) {
        texts.push_back(std::move(message.mText));
    }
    return texts;
}
