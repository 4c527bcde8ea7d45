// NetworkThread is the module's own thread: it moves the bytes of all connections. It runs while anybody
// holds it, and then until the work that is under way is done; nobody ever waits for its end.
//
//     std::string trouble;
//     std::shared_ptr<NetworkThread> pThread = NetworkThread::Join(trouble); // null when there can be none
//     asio::post(pThread->GetContext(), [] { ... });
//
// What runs there calls nothing of QBase, so that handlers and reports belong to the callers' threads.
//
// Threads: any thread may join and leave.

#pragma once

#include "QNet/Asio.h"

#include <memory>
#include <string>

namespace QNet
{

class NetworkThread
{
public:
    /// The thread that runs, or a new one.
    static std::shared_ptr<NetworkThread> Join(std::string& rTrouble);

    NetworkThread();
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    asio::io_context& GetContext() { return *mpContext; }

private:
    std::shared_ptr<asio::io_context> mpContext; // shared with the thread
    asio::executor_work_guard<asio::io_context::executor_type> mWork;
};

} // namespace QNet
