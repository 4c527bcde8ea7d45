// Advances a scene by a fixed number of steps on a thread of its own, shows how far it is, and saves it.
//
//     SolarRun example/solar/solar.QXml 1000 later.QXml
//
// Any object file will do whose root does its work in Execute. A path with "QXml" in it is XML, every other
// one binary.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/FileReplacement.h"
#include "QBase/FileSerializer.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/ThreadExecutor.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

using namespace QBase;

namespace SolarRun
{

// Executes a scene until it has done so often enough, then stops its executor.
class Countdown : public Object
{
    QBASE_OBJECT(Countdown, Object)

public:
    Countdown(Object* pScene, int numSteps, ThreadExecutor* pExecutor)
        : mpScene(pScene), mpExecutor(pExecutor), mNumSteps(numSteps)
    {}

    void Execute(const Value& value) override
    {
        mpScene->Execute(value);
        if (++mNumDone >= mNumSteps) {
            mpExecutor->Stop(); // no further call; the thread is joined by whoever stops it from outside
        }
    }

    int GetNumDone() const { return mNumDone; }

private:
    Ptr<Object> mpScene;
    ThreadExecutor* mpExecutor = nullptr; // borrowed: the executor holds this object
    int mNumSteps = 0;
    std::atomic<int> mNumDone{0};
};

QBASE_IMPLEMENT_ABSTRACT(SolarRun, Countdown)

void Countdown::Implement()
{}

// Draws a bar that grows to its full width.
class ProgressBar
{
public:
    explicit ProgressBar(const char* pTitle) { std::printf("%s |", pTitle); }
    ~ProgressBar() { std::printf("|\n"); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Show(int done, int all)
    {
        const int width = static_cast<int>(static_cast<long long>(WIDTH) * done / all);
        for (; mWidth < width; ++mWidth) {
            std::putchar('#');
        }
        std::fflush(stdout);
    }

private:
    static constexpr int WIDTH = 50;

    int mWidth = 0;
};

bool Advance(Object* pScene, int numSteps)
{
    const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
    const Ptr<Countdown> pCountdown = new Countdown(pScene, numSteps, pExecutor);
    pExecutor->SetExecutable(static_cast<Object*>(pCountdown));
    pExecutor->SetSleep(0);
    pExecutor->Start();
    ProgressBar bar("Advancing");
    while (pExecutor->IsRunning()) {
        bar.Show(pCountdown->GetNumDone(), numSteps);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    pExecutor->Stop();
    bar.Show(pCountdown->GetNumDone(), numSteps);
    return pCountdown->GetNumDone() == numSteps;
}

bool Save(Object* pScene, const char* pPath)
{
    Ptr<Serializer> pSerializer = BinarySerializer::Construct(Value::Null);
    if (std::strstr(pPath, "QXml") != nullptr) {
        pSerializer = AsciiSerializer::Construct(Value::Null);
    }
    FileReplacement replacement(pPath);
    return replacement.GetFile() != nullptr && pSerializer->Serialize(pScene, replacement.GetFile()) &&
           replacement.Commit();
}

int Main(const char* pScenePath, int numSteps, const char* pOutputPath)
{
    LoadModule("Solar");
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pScene = pLoader->Deserialize(pScenePath).AsObject();
    if (pScene == nullptr) { // the reason is reported
        return EXIT_FAILURE;
    }
    if (!Advance(pScene, numSteps)) {
        return EXIT_FAILURE;
    }
    if (Property* const pTime = pScene->FindProperty("Time")) {
        Info("%d steps brought the scene to day %g", numSteps,
             static_cast<double>(pTime->Get(pScene).Get<float>()));
    }
    return Save(pScene, pOutputPath) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace SolarRun

int main(int argumentCount, char** ppArguments)
{
    const int numSteps = argumentCount == 4 ? std::atoi(ppArguments[2]) : 0;
    if (numSteps <= 0) {
        std::fprintf(stderr, "Usage: SolarRun SCENE STEPS OUTPUT\n");
        return EXIT_FAILURE;
    }
    return SolarRun::Main(ppArguments[1], numSteps, ppArguments[3]);
}
