#include "Network.h"

#include "Modules.h"
#include "Report.h"
#include "Text.h"

#include "QBase/Global.h"
#include "QBase/Property.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdint>
#include <sstream>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char MODULE[] = "QNet";
constexpr int HIGHEST_PORT = 65535;
constexpr int LAST_WORDS_TIME = 2000; // milliseconds

volatile std::sig_atomic_t g_bInterrupted = 0;

void TakeNote(int)
{
    g_bInterrupted = 1;
}

void SetSetting(Object* pNode, const char* pName, const Value& value)
{
    pNode->FindProperty(pName)->Set(pNode, value);
}

} // namespace

Address ParseAddress(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const bool bBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    Address address{bBrackets ? host.substr(1, host.size() - 2) : host, 0};
    if (colon != text.npos) {
        const char* const pEnd = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data() + colon + 1, pEnd, address.mPort);
        if (result.ptr == pEnd && result.ec == std::errc() && address.mPort > 0 &&
            address.mPort <= HIGHEST_PORT && !host.empty()) {
            return address;
        }
    }
    throw Trouble("Failed to read the address " + Quote(text) +
                  " - it is no HOST:PORT; write localhost:4711 or [::1]:4711, for example");
}

Network::Network()
{
    RequireModule(MODULE);
    mpNode = Construct(MODULE, "Node");
    if (mpNode == nullptr) {
        throw Trouble(
            "Failed to construct QNet.Node - the module is another one; take the one that came with quirl");
    }
    mpSerializer =
        static_cast<ObjectDiffSerializer*>(mpNode->FindProperty("Serializer")->Get(mpNode).AsObject());
    // What a stranger's program sends must not stop this one. The frames' bytes are there before memory for
    // them is asked for, so their size needs no limit.
    SetSetting(mpNode, "SourceTrusted", false);
    SetSetting(mpNode, "SourceFrameSizeLimit", INT_MAX);
    SetSetting(mpNode, "Adopting", true);
}

Network::~Network() = default;

int Network::Serve(const std::string& address, int port)
{
    Messages messages;
    const bool bServing = mpNode->Call("Serve", address.c_str(), port).Get<bool>();
    messages.Print();
    if (!bServing) {
        throw Trouble("Failed to serve at port " + std::to_string(port) +
                      "; choose another port or address, or --port 0 for a free port");
    }
    return mpNode->Call("GetPort").Get<int>();
}

void Network::SetLimits(const LoadLimits& limits)
{
    SetSetting(mpNode, "SourceFrameSizeLimit",
               static_cast<int>(std::min<std::int64_t>(limits.mMaxBytes, INT_MAX)));
    mpSerializer->SetLimits(limits);
}

void Network::Join(const Address& address)
{
    Messages messages;
    const bool bJoining = mpNode->Call("Join", address.mHost.c_str(), address.mPort).Get<bool>();
    messages.Print();
    if (!bJoining) {
        throw Trouble("Failed to join " + Quote(address.mHost) + "; check the address");
    }
}

Network::State Network::GetState() const
{
    return static_cast<State>(mpNode->Call("GetState").Get<int>());
}

bool Network::Update()
{
    Messages messages;
    mpNode->Execute(Value::Null);
    bool bFine = true;
    for (const Message& message : messages.Take()) {
        PrintMessage(message);
        bFine = bFine && message.mKind != Message::ERROR;
    }
    return bFine;
}

int Network::GetNumPasses() const
{
    return mpNode->Call("GetNumPasses").Get<int>();
}

std::vector<std::string> Network::GetMissingModules() const
{
    std::istringstream text(mpNode->Call("GetMissingModules").AsString().c_str());
    std::vector<std::string> modules;
    for (std::string module; text >> module;) {
        modules.push_back(module);
    }
    return modules;
}

void Network::Leave()
{
    Messages messages;
    mpNode->Call("Leave");
    mpNode->Call("Flush", LAST_WORDS_TIME);
    messages.Print();
}

void WatchForInterrupt()
{
    std::signal(SIGINT, &TakeNote);
    std::signal(SIGTERM, &TakeNote);
}

bool IsInterrupted()
{
    return g_bInterrupted != 0;
}

} // namespace Quirl
