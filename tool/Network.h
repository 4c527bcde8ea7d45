// Network is the tool's way to the module QNet, which it loads by name when a command needs it.
//
//     Network network;                         // throws Trouble without the module
//     network.Join(ParseAddress("localhost:4711"));
//     network.Update();                        // once per frame
//
// Threads: everything belongs to the main thread.

#pragma once

#include "QBase/Object.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Ptr.h"

#include <string>
#include <vector>

namespace Quirl
{

struct Address
{
    std::string mHost;
    int mPort;
};

/// "HOST:PORT" or "[HOST]:PORT". Throws Trouble for anything else.
Address ParseAddress(const std::string& text);

class Network
{
public:
    // As the module's Node has them.
    enum State
    {
        ALONE,
        JOINING,
        JOINED,
        LOST
    };

    Network();
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// The node's serializer. Borrowed.
    QBase::ObjectDiffSerializer* GetSerializer() const { return mpSerializer; }

    /// Lets others join; the port where they do. Throws Trouble when that failed.
    int Serve(const std::string& address, int port);

    /// What the source may cost. Before Join.
    void SetLimits(const QBase::LoadLimits& limits);

    /// Begins to join a source, whose classes become those of the serializer.
    void Join(const Address& address);

    State GetState() const;

    /// Goes on with everything and prints what the library reports. False when an error was among it.
    bool Update();

    /// How many passes of the source were applied.
    int GetNumPasses() const;

    /// Modules that the source's classes are in and that are not loaded; for the time between two updates.
    std::vector<std::string> GetMissingModules() const;

    /// Ends all connections, once everything written is out.
    void Leave();

private:
    QBase::Ptr<QBase::Object> mpNode;
    QBase::ObjectDiffSerializer* mpSerializer = nullptr; // held by the node
};

/// Ctrl-C and a request to end are taken note of from now on, instead of ending the program.
void WatchForInterrupt();
bool IsInterrupted();

} // namespace Quirl
