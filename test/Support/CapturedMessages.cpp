#include "Support/CapturedMessages.h"

#include "QBase/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

} // namespace

struct CapturedMessages::Log
{
    std::string Take(Kind kind, const char* pName)
    {
        const std::lock_guard lock(mMutex);
        const auto found = std::find_if(mMessages.begin(), mMessages.end(),
                                        [&](const Message& message) { return message.mKind == kind; });
        if (found == mMessages.end()) {
            ADD_FAILURE() << "no " << pName << " was reported";
            return std::string();
        }
        std::string text = std::move(found->mText);
        mMessages.erase(found);
        return text;
    }

    std::mutex mMutex;
    std::vector<Message> mMessages; // guarded by mMutex
};

class CapturedMessages::Recorder : public QBase::Object
{
public:
    Recorder(Log* pLog, Kind kind) : mpLog(pLog), mKind(kind) {}

    void Execute(const QBase::Value& value) override
    {
        EXPECT_EQ(value.GetType(), QBase::Value::TYPE_STRING);
        const std::lock_guard lock(mpLog->mMutex);
        mpLog->mMessages.push_back({mKind, value.AsString().c_str()});
    }

private:
    Log* mpLog; // borrowed
    Kind mKind;
};

CapturedMessages::CapturedMessages()
    : mpLog(new Log), mpOldInfoHandler(QBase::GetInfoHandler()), mpOldErrorHandler(QBase::GetErrorHandler())
{
    QBase::SetInfoHandler(new Recorder(mpLog, Kind::INFO));
    QBase::SetErrorHandler(new Recorder(mpLog, Kind::ERROR));
}

CapturedMessages::~CapturedMessages()
{
    QBase::SetInfoHandler(mpOldInfoHandler);
    QBase::SetErrorHandler(mpOldErrorHandler);
    EXPECT_THAT(TakeAll(), testing::IsEmpty()) << "messages were left untaken";
    delete mpLog;
}

std::string CapturedMessages::TakeError()
{
    return mpLog->Take(Kind::ERROR, "Error");
}

std::string CapturedMessages::TakeInfo()
{
    return mpLog->Take(Kind::INFO, "Info");
}

std::vector<std::string> CapturedMessages::TakeAll()
{
    const std::lock_guard lock(mpLog->mMutex);
    std::vector<std::string> texts;
    for (Message& message : std::exchange(mpLog->mMessages, {})) {
        texts.push_back(std::move(message.mText));
    }
    return texts;
}
