// quirl serve: lets other programs join the graph of a file, and follows the file's changes.

#include "Commands.h"
#include "Graph.h"
#include "Input.h"
#include "Merge.h"
#include "Network.h"
#include "Output.h"
#include "Report.h"
#include "System.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char FOOTER[] =
    R"(When the file changes, what is the same in it keeps its place and only values that differ are sent. A file that
does not load is reported, and the last state stays. A file that looks unchanged, by its size, number and times, is
read every two seconds all the same, or more seldom when that takes long. Others change the graph only by calling functions that
--allow names, and never the file. Ends with Ctrl-C. Exit codes: 0 fine, 2 trouble.

Examples:
  quirl serve solar.QXml --port 4711
  quirl serve solar.QXml --port 4711 --address 0.0.0.0 --allow MoveTo)";

constexpr std::chrono::milliseconds FRAME_TIME(10);
constexpr std::chrono::milliseconds LOOK_TIME(100); // between two looks at the file
constexpr std::chrono::seconds READ_TIME(2);        // between two readings of a file that looks the same
constexpr int READ_SHARE = 100;                     // of all time may go into those
constexpr std::size_t MOST_CLASSES = 255;
constexpr int MOST_ITEMS = 65536; // of a list or an array

struct ServeOptions
{
    std::string mPath;
    InputOptions mInput;
    int mPort = 0;
    std::string mAddress;
    std::vector<std::string> mAllowed;
};

// Every class of the modules that the graph's objects come from, those of the objects first: an edit may
// bring in others. Within both groups by name, so that each start gives the same order.
std::vector<ClassInfoTable*> ChooseClasses(const Graph& graph)
{
    std::map<std::string, ClassInfoTable*> used;
    std::map<std::string, ClassInfoTable*> others;
    std::set<std::string> modules = {"QBase"};
    for (std::size_t number = 0; number < graph.GetSize(); ++number) {
        used.emplace(GetFullClassName(graph.GetObject(number)), graph.GetObject(number)->GetClassTable());
        modules.insert(graph.GetObject(number)->GetModuleName().c_str());
    }
    for (const std::string& module : modules) {
        Object* const pModule = GetModuleTable()->Find(module.c_str());
        for (const auto& entry : static_cast<Table*>(pModule)->GetEntries()) {
            const std::string name = module + "." + entry.GetKey().c_str();
            if (used.count(name) == 0 && entry.GetValue() != nullptr &&
                entry.GetValue()->IsDerivedType(ClassInfoTable::ClassTable())) {
                others.emplace(name, static_cast<ClassInfoTable*>(static_cast<Object*>(entry.GetValue())));
            }
        }
    }
    std::vector<ClassInfoTable*> classes;
    for (const auto& group : {used, others}) {
        for (const auto& [name, pClass] : group) {
            if (classes.size() < MOST_CLASSES) {
                classes.push_back(pClass);
            }
        }
    }
    return classes;
}

// Packets have 16 bits for a place. What is larger must not get as far as replication, which relies on that.
void RequireSendable(Object* pRoot)
{
    const Graph graph(pRoot, Graph::BORROWS);
    const auto require = [](int size, const std::string& path) {
        if (size > MOST_ITEMS) {
            throw Trouble("Failed to serve " + Quote(path) + " - it has " + std::to_string(size) +
                          " items, and packets count no more than " + std::to_string(MOST_ITEMS) +
                          "; split it up");
        }
    };
    for (std::size_t number = 0; number < graph.GetSize(); ++number) {
        Object* const pObject = graph.GetObject(number);
        if (pObject->IsDerivedType(List::ClassTable())) {
            require(static_cast<List*>(pObject)->GetSize(), graph.GetPath(number));
        }
        for (const PropertyList::Entry& entry : PropertyList(pObject)) {
            if (entry.mbArray && !entry.mbExcluded) {
                require(entry.mpProperty->GetSize(pObject),
                        graph.GetPath(number) + "." + entry.mName.c_str());
            }
        }
    }
}

class Server
{
public:
    explicit Server(const ServeOptions& options) : mOptions(options) {}

    int Run()
    {
        if (mOptions.mPath == "-") {
            throw Trouble("Failed to serve standard input - it cannot be watched for changes; name a file");
        }
        mLoaded = mSeen = GetFileStamp(mOptions.mPath);
        ReadFile();
        mpRoot = RequireRoot(Input(mOptions.mPath, mBytes, mOptions.mInput));
        RequireSendable(mpRoot);
        RegisterClasses();
        mNetwork.GetSerializer()->SetRoot(mpRoot);
        const int port = mNetwork.Serve(mOptions.mAddress, mOptions.mPort);
        Output output;
        output.WriteLine("Serving " + GetDisplayName(mOptions.mPath) + " at port " + std::to_string(port));
        output.Finish();
        WatchForInterrupt();
        while (!IsInterrupted()) {
            mNetwork.Update();
            FollowFile();
            std::this_thread::sleep_for(FRAME_TIME);
        }
        mNetwork.Leave();
        const Graph last(mpRoot); // takes it apart
        return EXIT_FINE;
    }

private:
    void RegisterClasses()
    {
        ObjectDiffSerializer* const pSerializer = mNetwork.GetSerializer();
        const Graph graph(mpRoot, Graph::BORROWS);
        for (ClassInfoTable* const pClass : ChooseClasses(graph)) {
            pSerializer->RegisterType(pClass);
            mClasses.insert(pClass);
        }
        for (const std::string& function : mOptions.mAllowed) {
            pSerializer->AllowFunction(function.c_str());
        }
    }

    // Loads the file anew once it has changed and been left alone for a moment. A file may change and look
    // the same: its clock stands still for a while, or somebody writes to it through mapped memory. So its
    // bytes are read now and then.
    void FollowFile()
    {
        const auto now = std::chrono::steady_clock::now();
        if (now - mLookTime < LOOK_TIME) {
            return;
        }
        mLookTime = now;
        const FileStamp stamp = GetFileStamp(mOptions.mPath);
        const bool bAtRest = stamp == mSeen;
        const bool bLooksSame = stamp == mLoaded;
        mSeen = stamp;
        if (!bAtRest || (bLooksSame && (stamp == FileStamp() || now < mReadTime))) {
            return;
        }
        mLoaded = stamp;
        const bool bWasRead = std::exchange(mbRead, false);
        try {
            const bool bSameBytes = !ReadFile();
            mbRead = true;
            if (!bSameBytes || (!bLooksSame && !mbServed)) {
                Load();
            }
        } catch (const Trouble& trouble) {
            if (mbRead || bWasRead || !bLooksSame) { // it is told once that a file cannot be read
                PrintMessage({Message::WARNING, std::string(trouble.what()) + "; the last state stays", {}});
            }
        }
    }

    // False when the bytes are those that were read last.
    bool ReadFile()
    {
        const auto start = std::chrono::steady_clock::now();
        mReadTime = start + READ_TIME;
        std::string bytes = ReadInput(mOptions.mPath);
        const auto end = std::chrono::steady_clock::now();
        mReadTime = std::max(mReadTime, end + READ_SHARE * (end - start));
        std::swap(mBytes, bytes);
        return mBytes != bytes;
    }

    void Load()
    {
        mbServed = false;
        const Input input(mOptions.mPath, mBytes, mOptions.mInput);
        Object* const pLoaded = RequireRoot(input);
        RequireSendable(pLoaded);
        TakeOver(pLoaded);
        mbServed = true;
    }

    void TakeOver(Object* pLoaded)
    {
        Messages messages;
        mpRoot = Merge(mpRoot, pLoaded);
        mNetwork.GetSerializer()->SetRoot(mpRoot);
        messages.Print();
        const Graph graph(mpRoot, Graph::BORROWS);
        for (std::size_t number = 0; number < graph.GetSize(); ++number) {
            if (mClasses.insert(graph.GetObject(number)->GetClassTable()).second) {
                PrintMessage({Message::WARNING,
                              "Objects of " + GetFullClassName(graph.GetObject(number)) +
                                  " stay behind, since nobody agreed on that class; start quirl serve anew",
                              {}});
            }
        }
    }

    const ServeOptions& mOptions;
    Network mNetwork;
    Ptr<Object> mpRoot;
    std::set<const ClassInfoTable*> mClasses; // registered, or told to be missing
    FileStamp mLoaded;
    FileStamp mSeen;
    std::string mBytes;                              // of the file, when it was read last
    bool mbRead = true;                              // false when it could not be
    bool mbServed = true;                            // false when they did not load
    std::chrono::steady_clock::time_point mReadTime; // of the next reading, if nothing seems to change
    std::chrono::steady_clock::time_point mLookTime;
};

} // namespace

void AddServe(const Command& program, int& rExitCode)
{
    const Command command = program.AddCommand("serve", "Let other programs join the graph of a file");
    const auto pOptions = std::make_shared<ServeOptions>();
    command.AddOption("FILE", pOptions->mPath, "The file, followed as it changes").Require();
    command.AddOption("--port", pOptions->mPort, "Where others join; 0 takes a free port")
        .SetTypeName("N")
        .AllowRange(0, 65535)
        .Require();
    command
        .AddOption("--address", pOptions->mAddress,
                   "Where others may come from, this machine unless given; 0.0.0.0 is everywhere")
        .SetTypeName("ADDRESS");
    command.AddRepeatable("--allow", pOptions->mAllowed, "A function that others may call (repeatable)")
        .SetTypeName("NAME");
    AddInputOptions(command, pOptions->mInput);
    command.SetFooter(FOOTER);
    command.SetAction([pOptions, &rExitCode] { rExitCode = Server(*pOptions).Run(); });
}

} // namespace Quirl
