// A program that draws frames while other work goes on. A worker thread simulates a falling ball under a
// ThreadExecutor and hands each result to the main thread through a DeferredList; a Timer measures the
// frames; a script that reads like one long function runs a few steps per frame, on a fiber.
//
//     Frames [NUMBER OF FRAMES]

#include "QBase/DeferredList.h"
#include "QBase/Error.h"
#include "QBase/Fiber.h"
#include "QBase/Reflection.h"
#include "QBase/ThreadExecutor.h"
#include "QBase/Timer.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace QBase;

namespace Frames
{

// What the main thread shows. Only the main thread touches it, so nothing in it locks.
class Screen : public Object
{
    QBASE_OBJECT(Screen, Object)

public:
    float GetHeight() const { return mHeight; }
    int GetNumResults() const { return mNumResults; }

    void ShowHeight(float height)
    {
        mHeight = height;
        ++mNumResults;
    }

private:
    explicit Screen(const Value&) {}

    float mHeight = 0.0f; // metres
    int mNumResults = 0;
};

QBASE_IMPLEMENT(Frames, Screen)

void Screen::Implement()
{
    AddFunction<&Screen::ShowHeight>("ShowHeight");
}

// One step of the simulation with each Execute. Only the executor's thread touches it.
class Ball : public Object
{
    QBASE_OBJECT(Ball, Object)

public:
    Ball(DeferredList* pResults, Screen* pScreen) : mpResults(pResults), mpScreen(pScreen) {}

    void Execute(const Value& step) override
    {
        const float seconds = step.Get<float>();
        mSpeed -= 9.81f * seconds;
        mHeight += mSpeed * seconds;
        if (mHeight < 0.0f) {
            mHeight = -mHeight;
            mSpeed = -0.9f * mSpeed;
        }
        mpResults->InsertCall(mpScreen, "ShowHeight", mHeight); // runs on the main thread
    }

private:
    explicit Ball(const Value&) {}

    Ptr<DeferredList> mpResults;
    Ptr<Screen> mpScreen;
    float mHeight = 20.0f; // metres
    float mSpeed = 0.0f;   // metres per second
};

QBASE_IMPLEMENT(Frames, Ball)

void Ball::Implement()
{}

// A story told over many frames, in one function.
class Script
{
public:
    Script() : mpFrames(Fiber::CreateFromThread()), mpStory(Fiber::Create(&Script::Run, 0, this)) {}
    ~Script()
    {
        Fiber::Delete(mpStory);
        Fiber::DeleteFromThread(mpFrames);
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    int GetNumSteps() const { return mNumSteps; }

    /// Goes on until the script waits for the next frame.
    void Advance() { Fiber::SwitchTo(mpStory); }

private:
    static void QBASE_ENTRY Run(void* pScript)
    {
        Script& script = *static_cast<Script*>(pScript);
        script.Say("The ball falls");
        script.WaitFrames(3);
        script.Say("and falls");
        script.WaitFrames(5);
        script.Say("and comes up again.");
        for (;;) {
            script.WaitFrames(1);
        }
    }

    void Say(const char* pText)
    {
        Info("%s", pText);
        ++mNumSteps;
    }

    void WaitFrames(int numFrames)
    {
        for (int i = 0; i < numFrames; ++i) {
            Fiber::SwitchTo(mpFrames);
        }
    }

    void* mpFrames; // the main thread's own fiber
    void* mpStory;
    int mNumSteps = 0;
};

int Main(int numFrames)
{
    const Ptr<DeferredList> pResults = DeferredList::Construct(Value::Null);
    const Ptr<Screen> pScreen = Screen::Construct(Value::Null);
    const Ptr<Timer> pTimer = Timer::Construct(Value::Null);
    const Ptr<ThreadExecutor> pExecutor = ThreadExecutor::Construct(Value::Null);
    pExecutor->SetExecutable(new Ball(pResults, pScreen));
    pExecutor->SetExecutableArg(0.1f); // seconds that one step simulates
    pExecutor->SetSleep(2);            // milliseconds
    pExecutor->Start();

    Script script;
    for (int frame = 0; frame < numFrames; ++frame) {
        pTimer->Execute(Value::Null);
        pResults->Execute(Value::Null); // everything the simulation handed over since the last frame
        script.Advance();
        Info("Frame %2d after %3d ms: %3d results, height %5.1f m", frame, pTimer->GetDt(),
             pScreen->GetNumResults(), static_cast<double>(pScreen->GetHeight()));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    pExecutor->Stop();
    pResults->Execute(Value::Null); // what came after the last frame

    Info("%d frames in %d ms showed %d results; the script said %d things", numFrames, pTimer->GetTime(),
         pScreen->GetNumResults(), script.GetNumSteps());
    return pScreen->GetNumResults() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace Frames

int main(int argumentCount, char** ppArguments)
{
    const int numFrames = argumentCount > 1 ? std::atoi(ppArguments[1]) : 12;
    if (numFrames <= 0) {
        std::fprintf(stderr, "Usage: Frames [NUMBER OF FRAMES]\n");
        return EXIT_FAILURE;
    }
    return Frames::Main(numFrames);
}
