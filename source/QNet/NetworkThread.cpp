#include "QNet/NetworkThread.h"

#include <exception>
#include <mutex>
#include <thread>

namespace QNet
{

namespace
{

// Never destroyed: static objects of a host may hold connections to the very end.
struct Meeting
{
    std::mutex mMutex;
    std::weak_ptr<NetworkThread> mpThread;
};

Meeting& GetMeeting()
{
    static Meeting& sMeeting = *new Meeting;
    return sMeeting;
}

// A handler lets an exception out only when memory is short; the others go on.
void Run(asio::io_context& rContext)
{
    for (;;) {
        try {
            rContext.run();
            return;
        } catch (const std::exception&) {
            continue;
        }
    }
}

} // namespace

std::shared_ptr<NetworkThread> NetworkThread::Join(std::string& rTrouble)
{
    Meeting& rMeeting = GetMeeting();
    const std::lock_guard lock(rMeeting.mMutex);
    std::shared_ptr<NetworkThread> pThread = rMeeting.mpThread.lock();
    if (pThread == nullptr) {
        try {
            pThread = std::make_shared<NetworkThread>();
        } catch (const std::exception& exception) {
            rTrouble = exception.what();
            return nullptr;
        }
        rMeeting.mpThread = pThread;
    }
    return pThread;
}

NetworkThread::NetworkThread()
    : mpContext(std::make_shared<asio::io_context>(1)), mWork(asio::make_work_guard(*mpContext))
{
    std::thread([pContext = mpContext] { Run(*pContext); }).detach();
}

} // namespace QNet
