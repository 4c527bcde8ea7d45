// quirl watch: joins a graph that another program serves, and prints what changes in it.

#include "Commands.h"
#include "Events.h"
#include "Graph.h"
#include "Input.h"
#include "Limits.h"
#include "Modules.h"
#include "Network.h"
#include "Output.h"
#include "Report.h"
#include "Save.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Function.h"
#include "QBase/SystemFile.h"

#include <chrono>
#include <memory>
#include <thread>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"TEXT(Prints a line for each event: "+ PATH = VALUE" for what is new, "~ PATH = VALUE (was VALUE)" for what changed,
"- PATH" for what is gone. Ends with the source, or with Ctrl-C, and whoever joined here ends as well; the last whole
state is saved. A source that comes back is another one: start quirl watch anew. Exit codes: 0 fine, also when the
source went away between two changes; 2 trouble: nobody was there to join, or the source went away within a change.

Examples:
  quirl watch localhost:4711
  quirl watch localhost:4711 --json | python3 log.py
  quirl watch example.net:4711 --quiet --relay 4712 --save last.qobj
  quirl watch localhost:4711 --capture frames.bin && quirl annotate frames.bin)TEXT";

constexpr std::chrono::milliseconds FRAME_TIME(5);
constexpr std::chrono::seconds SAVE_TIME(1); // between two savings of a graph that goes on changing

struct WatchOptions
{
    std::string mAddress;
    ModuleOptions mModules;
    bool mbGivenModulesOnly = false;
    LimitOptions mLimits;
    bool mbJson = false;
    bool mbQuiet = false;
    std::string mSave;
    std::string mCapture;
    int mRelayPort = -1;
    std::string mRelayAddress;
};

class Watcher
{
public:
    explicit Watcher(const WatchOptions& options)
        : mOptions(options), mEvents(mOutput, options.mbJson ? Events::JSON : Events::TEXT)
    {}

    int Run()
    {
        LoadModules(mOptions.mModules);
        mNetwork.SetLimits(MakeLimits(mOptions.mLimits));
        Capture();
        mNetwork.Join(ParseAddress(mOptions.mAddress));
        if (mOptions.mRelayPort >= 0) {
            Relay();
        }
        WatchForInterrupt();
        bool bFine = true;
        while (mNetwork.GetState() != Network::LOST && !IsInterrupted()) {
            bFine = mNetwork.Update() && bFine;
            GoOn();
            std::this_thread::sleep_for(FRAME_TIME);
        }
        Save();
        if (mNetwork.GetState() == Network::LOST && mbAllowed) {
            TellThatItEnded();
        }
        mNetwork.Leave();
        const Graph last(mNetwork.GetSerializer()->GetRoot()); // takes it apart
        return bFine ? EXIT_FINE : EXIT_TROUBLE;
    }

private:
    // A relay's way to pass frames on, byte for byte, leads to a file as well.
    void Capture()
    {
        if (mOptions.mCapture.empty()) {
            return;
        }
        if (mOptions.mCapture == mOptions.mSave) {
            throw Trouble("Failed to keep the state and the frames in one file " +
                          GetDisplayName(mOptions.mSave) + "; name two");
        }
        Messages messages;
        const Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
        if (pFile == nullptr || !pFile->Open(mOptions.mCapture.c_str(), File::MODE_WRITE)) {
            messages.Print();
            throw Trouble("Failed to capture to " + GetDisplayName(mOptions.mCapture) +
                          "; choose a file that can be written");
        }
        mNetwork.GetSerializer()->AddForwardingStream(pFile);
    }

    void Relay()
    {
        const int port = mNetwork.Serve(mOptions.mRelayAddress, mOptions.mRelayPort);
        if (mOptions.mbJson) {
            mOutput.WriteLine(Json({{"event", "relay"}, {"port", port}}).dump());
        } else {
            mOutput.WriteLine("Relaying at port " + std::to_string(port));
        }
        mOutput.Finish();
    }

    void GoOn()
    {
        if (!mOptions.mbGivenModulesOnly) {
            for (const std::string& module : mNetwork.GetMissingModules()) {
                TryModule(module);
            }
        }
        AllowFunctions();
        if (mNetwork.GetNumPasses() != mNumPasses) {
            mNumPasses = mNetwork.GetNumPasses();
            mbSaved = false;
            if (!mOptions.mbQuiet) {
                mEvents.Print(mNetwork.GetSerializer()->GetRoot(), mNumPasses);
            }
        }
        if (std::chrono::steady_clock::now() - mSaveTime >= SAVE_TIME) {
            Save();
        }
    }

    // The source may call its replicas as it likes: their functions do to them what they did to the source.
    void AllowFunctions()
    {
        ObjectDiffSerializer* const pSerializer = mNetwork.GetSerializer();
        if (mbAllowed || mNetwork.GetState() == Network::LOST) {
            return;
        }
        const Array<Ptr<ClassInfoTable>> classes = pSerializer->GetRegisteredTypes();
        for (int i = 0; i < classes.GetSize(); ++i) {
            mbAllowed = true;
            for (const auto& entry : classes.GetAt(i)->GetEntries()) {
                if (entry.GetValue() != nullptr && entry.GetValue()->IsDerivedType(Function::ClassTable())) {
                    pSerializer->AllowFunction(entry.GetKey());
                }
            }
        }
    }

    void TellThatItEnded() const
    {
        const bool bSaved = !mOptions.mSave.empty() && mNetwork.GetSerializer()->GetRoot() != nullptr;
        PrintMessage({Message::NOTE,
                      "The source is gone" +
                          (bSaved ? ", its last state is in " + GetDisplayName(mOptions.mSave) : "") +
                          "; start quirl watch anew when it is back",
                      {}});
    }

    void Save()
    {
        Object* const pRoot = mNetwork.GetSerializer()->GetRoot();
        if (mOptions.mSave.empty() || mbSaved || pRoot == nullptr) {
            return;
        }
        SaveFile(mOptions.mSave,
                 Serialize(pRoot, GetFormatOfPath(mOptions.mSave), GetDisplayName(mOptions.mSave)));
        mbSaved = true;
        mSaveTime = std::chrono::steady_clock::now();
    }

    const WatchOptions& mOptions;
    Network mNetwork;
    Output mOutput;
    Events mEvents;
    int mNumPasses = 0;
    bool mbAllowed = false;
    bool mbSaved = true; // nothing changed since
    std::chrono::steady_clock::time_point mSaveTime;
};

} // namespace

void AddWatch(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("watch", "Join a served graph and print what changes");
    const auto pOptions = std::make_shared<WatchOptions>();
    command.AddOption("ADDRESS", pOptions->mAddress, "The source or a relay, as HOST:PORT").Require();
    command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs: a line for each event");
    command.AddFlag("--quiet", pOptions->mbQuiet, "Print no events");
    command.AddOption("--save", pOptions->mSave, "Keep the last state in this file").SetTypeName("FILE");
    command
        .AddOption("--capture", pOptions->mCapture,
                   "Write the frames that were applied, byte for byte, to this file for quirl annotate")
        .SetTypeName("FILE");
    command.AddOption("--relay", pOptions->mRelayPort, "Let others join here as well; 0 takes a free port")
        .SetTypeName("PORT")
        .AllowRange(0, 65535);
    command
        .AddOption("--relay-address", pOptions->mRelayAddress,
                   "Where others may come from, this machine unless given; 0.0.0.0 is everywhere")
        .SetTypeName("ADDRESS");
    AddModuleOptions(command, pOptions->mModules);
    command.AddFlag("--given-modules-only", pOptions->mbGivenModulesOnly,
                    "Load no module that only the source names");
    AddLimitOptions(command, pOptions->mLimits);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = Watcher(*pOptions).Run(); });
}

} // namespace Quirl
