// The benchmarks as one program; `run` measures with it and makes the report.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

// A second thread, as every program has in which counts and locks have a purpose. Without one the standard
// library counts without atomic operations and a comparison would say little.
class SecondThread
{
public:
    SecondThread() : mThread([this] { WaitForEnd(); }) {}
    ~SecondThread()
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mbEnding = true;
        }
        mEnd.notify_one();
        mThread.join();
    }

private:
    void WaitForEnd()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mEnd.wait(lock, [this] { return mbEnding; });
    }

    std::mutex mMutex;
    std::condition_variable mEnd;
    bool mbEnding = false;
    std::thread mThread;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const SecondThread second;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
