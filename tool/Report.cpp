#include "Report.h"

#include "System.h"
#include "Text.h"

#include "QBase/Error.h"
#include "QBase/Serializer.h"
#include "QBase/Value.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

namespace Quirl
{

namespace
{

constexpr std::string_view WARNING_MARK = "WARNING: ";
constexpr std::string_view ERROR_MARK = "ERROR: ";
constexpr char ERASE_LINE[] = "\r\033[K";

// "UNIT (line NUMBER): " names a place in the library's sources, which helps none of its users.
std::string_view WithoutUnit(std::string_view text)
{
    constexpr std::string_view lineMark = " (line ";
    const std::size_t mark = text.find(lineMark);
    const std::size_t end = text.find("): ");
    if (mark == text.npos || end == text.npos || end < mark || text.find(' ') != mark) {
        return text;
    }
    return text.substr(end + 3);
}

Message ParseInfo(std::string_view text)
{
    if (text.starts_with(WARNING_MARK)) {
        return {Message::WARNING, std::string(text.substr(WARNING_MARK.size())), {}};
    }
    return {Message::NOTE, std::string(text), {}};
}

Message ParseError(std::string_view text)
{
    if (text.starts_with(ERROR_MARK)) {
        text.remove_prefix(ERROR_MARK.size());
    }
    return {Message::ERROR, std::string(WithoutUnit(text)), {}};
}

} // namespace

const char* GetKindName(Message::Kind kind)
{
    switch (kind) {
    case Message::NOTE:
        return "note";
    case Message::WARNING:
        return "warning";
    default:
        return "error";
    }
}

std::string DescribeMessage(const Message& message)
{
    return message.mText + (message.mPlace.empty() ? "" : " (" + message.mPlace + ")");
}

void PrintMessage(const Message& message)
{
    std::fprintf(stderr, "quirl: %s: %s\n", GetKindName(message.mKind),
                 ToPrintable(DescribeMessage(message)).c_str());
}

// --- Messages ---

class Messages::Collector : public QBase::Object
{
public:
    Collector(Messages& rMessages, Message (*pParse)(std::string_view))
        : mrMessages(rMessages), mpParse(pParse)
    {}

    void Execute(const QBase::Value& value) override
    {
        Message message = mpParse(value.AsString().c_str());
        message.mPlace = QBase::Serializer::GetPlace().c_str();
        const std::lock_guard lock(mrMessages.mMutex);
        mrMessages.mMessages.push_back(std::move(message));
    }

private:
    Messages& mrMessages;
    Message (*mpParse)(std::string_view);
};

Messages::Messages() : mpOldInfoHandler(QBase::GetInfoHandler()), mpOldErrorHandler(QBase::GetErrorHandler())
{
    QBase::SetInfoHandler(new Collector(*this, &ParseInfo));
    QBase::SetErrorHandler(new Collector(*this, &ParseError));
}

Messages::~Messages()
{
    QBase::SetInfoHandler(mpOldInfoHandler);
    QBase::SetErrorHandler(mpOldErrorHandler);
}

std::vector<Message> Messages::Take()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mMessages, {});
}

void Messages::Print()
{
    for (const Message& message : Take()) {
        PrintMessage(message);
    }
}

// --- Progress ---

Progress::Progress(std::string title, std::size_t total) : mTitle(std::move(title)), mTotal(total)
{
    if (IsTerminal(stderr)) {
        mThread = std::thread([this] { Run(); });
    }
}

Progress::~Progress()
{
    if (!mThread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mMutex);
        mbStopped = true;
    }
    mWake.notify_all();
    mThread.join();
}

void Progress::Run()
{
    using Clock = std::chrono::steady_clock;
    constexpr auto patience = std::chrono::milliseconds(400);
    constexpr auto interval = std::chrono::milliseconds(100);

    const Clock::time_point start = Clock::now();
    std::unique_lock lock(mMutex);
    bool bDrawn = false;
    while (!mWake.wait_for(lock, bDrawn ? interval : patience, [this] { return mbStopped; })) {
        Draw(std::chrono::duration<double>(Clock::now() - start).count());
        bDrawn = true;
    }
    if (bDrawn) {
        std::fputs(ERASE_LINE, stderr);
        std::fflush(stderr);
    }
}

void Progress::Draw(double seconds) const
{
    constexpr std::size_t width = 24;
    if (mTotal == 0) {
        std::fprintf(stderr, "%s%.60s ... %.0f s", ERASE_LINE, mTitle.c_str(), seconds);
    } else {
        const std::size_t done = std::min(mDone.load(std::memory_order_relaxed), mTotal);
        const double share = static_cast<double>(done) / static_cast<double>(mTotal);
        const std::string bar(static_cast<std::size_t>(share * width), '#');
        std::fprintf(stderr, "%s%.48s [%-24s] %3.0f %%", ERASE_LINE, mTitle.c_str(), bar.c_str(),
                     100.0 * share);
    }
    std::fflush(stderr);
}

} // namespace Quirl
