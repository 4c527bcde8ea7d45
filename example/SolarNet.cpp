// The solar scene in several programs: one moves it on and lets others join, who see the same, draw it and
// change it.
//
//     SolarNet serve example/solar/solar.QXml 800 source.qobj    prints its port, goes on once somebody
//     joined SolarNet join localhost 4711 replica.qobj orbits.svg       until the source ends SolarNet call
//     localhost 4711                               gives the Sun a ninth planet and leaves
//
// `quirl watch localhost:4711` joins as well, and `--relay` passes the scene on.

#include "QNet/Node.h"

#include "QBase/BinarySerializer.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/Error.h"
#include "QBase/FileReplacement.h"
#include "QBase/FileSerializer.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Table.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using QNet::Node;

namespace SolarNet
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds FRAME_TIME(5);
constexpr std::chrono::seconds PATIENCE(30); // of a program that waits for another
constexpr float DAYS_PER_STEP = 2.0f;
constexpr int LAST_WORDS_TIME = 5000; // milliseconds

// The classes of the scene, the same in the same order in every program.
void RegisterClasses(Node* pNode)
{
    Table* const pModule = LoadModule("Solar");
    for (const char* pName : {"Simulation", "Body"}) {
        Object* const pClass = pModule != nullptr ? pModule->Find(pName) : nullptr;
        pNode->GetSerializer()->RegisterType(static_cast<ClassInfoTable*>(pClass));
    }
    pNode->GetSerializer()->RegisterType(List::ClassTable());
}

bool Save(Object* pScene, const char* pPath)
{
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    FileReplacement replacement(pPath);
    return replacement.GetFile() != nullptr && pSerializer->Serialize(pScene, replacement.GetFile()) &&
           replacement.Commit();
}

template <typename T>
T Get(Object* pObject, const char* pProperty)
{
    Property* const pFound = pObject->FindProperty(pProperty);
    return pFound != nullptr ? pFound->Get(pObject).Get<T>() : T();
}

Object* GetSun(Object* pScene)
{
    return pScene != nullptr ? Get<Ptr<Object>>(pScene, "Sun") : nullptr;
}

// The bodies that move around the Sun.
std::vector<Object*> GetPlanets(Object* pScene)
{
    std::vector<Object*> planets;
    Object* const pSun = GetSun(pScene);
    if (pSun == nullptr) {
        return planets;
    }
    const Ptr<Object> pSatellites = Get<Ptr<Object>>(pSun, "Satellites");
    if (pSatellites == nullptr || !pSatellites->IsDerivedType(List::ClassTable())) {
        return planets;
    }
    for (const Ptr<Object>& pPlanet : static_cast<List*>(static_cast<Object*>(pSatellites))->GetObjects()) {
        if (pPlanet != nullptr) {
            planets.push_back(pPlanet);
        }
    }
    return planets;
}

// Updates the node frame by frame until the condition holds. False when it never did.
template <typename Condition>
bool WaitUntil(Node* pNode, Condition isDone)
{
    const auto end = Clock::now() + PATIENCE;
    while (!isDone()) {
        if (Clock::now() > end) {
            Error(QBASE_HERE, "Failed to wait any longer");
            return false;
        }
        pNode->Update();
        std::this_thread::sleep_for(FRAME_TIME);
    }
    return true;
}

// --- serve ---

// What a pass costs.
struct Statistics
{
    int mNumPasses = 0;
    Clock::duration mWork{};
    std::int64_t mNumBytes = 0;
    std::int64_t mNumDeliveries = 0; // passes, each counted once for every peer

    void Print(double seconds) const
    {
        const double microseconds = std::chrono::duration<double, std::micro>(mWork).count();
        std::printf(
            "%d passes, %.0f passes per second, %.0f microseconds of work and %.0f bytes per pass and peer\n",
            mNumPasses, mNumPasses / seconds, microseconds / mNumPasses,
            static_cast<double>(mNumBytes) / static_cast<double>(std::max<std::int64_t>(mNumDeliveries, 1)));
    }
};

std::int64_t CountBytes(const Node* pNode)
{
    std::int64_t numBytes = 0;
    for (int i = 0; i < pNode->GetNumPeers(); ++i) {
        numBytes += pNode->GetPeer(i)->GetNumBytesWritten();
    }
    return numBytes;
}

int Serve(const char* pScenePath, int numPasses, const char* pOutputPath)
{
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    RegisterClasses(pNode);
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pScene = pLoader->Deserialize(pScenePath).AsObject();
    if (pScene == nullptr || !pNode->Serve("", 0)) { // the reason is reported
        return EXIT_FAILURE;
    }
    pScene->FindProperty("Step")->Set(pScene, DAYS_PER_STEP);
    pNode->GetSerializer()->SetRoot(pScene);
    pNode->GetSerializer()->AllowFunction("AddSatellite");
    std::printf("port %d\n", pNode->GetPort());
    std::fflush(stdout);
    if (!WaitUntil(pNode, [&] { return pNode->GetNumPeers() > 0; })) {
        return EXIT_FAILURE;
    }
    pNode->Update(); // the snapshot for the first peer; what follows are changes

    Statistics statistics;
    const auto start = Clock::now();
    while (statistics.mNumPasses < numPasses) {
        const int numPeers = pNode->GetNumPeers();
        const std::int64_t numBytes = CountBytes(pNode);
        const auto begin = Clock::now();
        pScene->Execute(Value::Null);
        pNode->Update();
        statistics.mWork += Clock::now() - begin;
        ++statistics.mNumPasses;
        if (numPeers == pNode->GetNumPeers()) { // nobody came or went
            statistics.mNumBytes += CountBytes(pNode) - numBytes;
            statistics.mNumDeliveries += numPeers;
        }
        std::this_thread::sleep_until(start + statistics.mNumPasses * FRAME_TIME);
    }
    statistics.Print(std::chrono::duration<double>(Clock::now() - start).count());
    pNode->Leave();
    pNode->Flush(LAST_WORDS_TIME);
    return Save(pScene, pOutputPath) ? EXIT_SUCCESS : EXIT_FAILURE;
}

// --- join ---

std::string Format(const char* pFormat, ...) QBASE_PRINTF(1, 2);

std::string Format(const char* pFormat, ...)
{
    char buffer[256];
    va_list arguments;
    va_start(arguments, pFormat);
    std::vsnprintf(buffer, sizeof(buffer), pFormat, arguments);
    va_end(arguments);
    return buffer;
}

// What a replica saw of the planets' ways, drawn as seen from above. Distances from the Sun are drawn by
// their logarithm, so that the inner planets do not vanish in it.
class OrbitDrawing
{
public:
    void Record(Object* pScene)
    {
        for (Object* const pPlanet : GetPlanets(pScene)) {
            Orbit& rOrbit = mOrbits[Get<String>(pPlanet, "Name").c_str()];
            rOrbit.mColor = Get<Color>(pPlanet, "Color");
            rOrbit.mPositions.push_back(Get<Vector3>(pPlanet, "Position"));
        }
    }

    bool Save(const char* pPath) const
    {
        const std::string text = MakeText();
        FileReplacement replacement(pPath);
        const int size = static_cast<int>(text.size());
        return replacement.GetFile() != nullptr && replacement.GetFile()->Write(text.data(), size) == size &&
               replacement.Commit();
    }

private:
    struct Orbit
    {
        Color mColor;
        std::vector<Vector3> mPositions;
    };

    struct Point
    {
        double mX;
        double mY;
    };

    static constexpr double SIZE = 900;
    static constexpr double FIRST_DISTANCE = 30;  // in the scene's unit: what is drawn in the middle
    static constexpr double LAST_DISTANCE = 6000; // what is drawn at the edge

    static Point Place(const Vector3& position)
    {
        const double distance = std::hypot(position.x, position.y);
        const double radius = SIZE / 2 * std::log(std::max(distance / FIRST_DISTANCE, 1.0)) /
                              std::log(LAST_DISTANCE / FIRST_DISTANCE);
        const double angle = std::atan2(position.y, position.x);
        return {SIZE / 2 + radius * std::cos(angle), SIZE / 2 - radius * std::sin(angle)};
    }

    static std::string Escape(const std::string& text)
    {
        std::string escaped;
        for (const char character : text) {
            escaped += character == '<' ? "&lt;" : character == '&' ? "&amp;" : std::string(1, character);
        }
        return escaped;
    }

    std::string MakeText() const
    {
        std::string text =
            Format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %g %g\">\n", SIZE, SIZE);
        text += "<rect width=\"100%\" height=\"100%\" fill=\"#101020\"/>\n";
        text += Format("<circle cx=\"%g\" cy=\"%g\" r=\"9\" fill=\"#ffd84f\"/>\n", SIZE / 2, SIZE / 2);
        for (const auto& [name, orbit] : mOrbits) {
            const std::string color = Format("#%02x%02x%02x", orbit.mColor.r, orbit.mColor.g, orbit.mColor.b);
            text += "<polyline fill=\"none\" stroke=\"" + color + "\" points=\"";
            Point last{-1, -1};
            for (const Vector3& position : orbit.mPositions) {
                const Point point = Place(position);
                if (std::hypot(point.mX - last.mX, point.mY - last.mY) >= 1) {
                    text += Format("%.1f,%.1f ", point.mX, point.mY);
                    last = point;
                }
            }
            const Point end = Place(orbit.mPositions.back());
            text += "\"/>\n" + Format("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"4\" fill=\"", end.mX, end.mY) +
                    color + Format("\"/>\n<text x=\"%.1f\" y=\"%.1f\" ", end.mX + 7, end.mY + 4) +
                    "font-family=\"sans-serif\" font-size=\"13\" fill=\"" + color + "\">" + Escape(name) +
                    "</text>\n";
        }
        return text + "</svg>\n";
    }

    std::map<std::string, Orbit> mOrbits; // by the planet's name
};

Ptr<Node> JoinAt(const char* pHost, int port)
{
    const Ptr<Node> pNode = Node::Construct(Value::Null);
    RegisterClasses(pNode);
    return pNode->Join(pHost, port) ? pNode : Ptr<Node>();
}

int Join(const char* pHost, int port, const char* pOutputPath, const char* pDrawingPath)
{
    const Ptr<Node> pNode = JoinAt(pHost, port);
    if (pNode == nullptr) {
        return EXIT_FAILURE;
    }
    OrbitDrawing drawing;
    int numPasses = 0;
    while (pNode->GetState() != Node::LOST) {
        pNode->Update();
        if (numPasses != pNode->GetNumPasses()) {
            numPasses = pNode->GetNumPasses();
            drawing.Record(pNode->GetRoot());
        }
        std::this_thread::sleep_for(FRAME_TIME);
    }
    Object* const pScene = pNode->GetRoot();
    if (pScene == nullptr || !Save(pScene, pOutputPath) || !drawing.Save(pDrawingPath)) {
        return EXIT_FAILURE;
    }
    std::printf("saw %d passes and %zu planets, until day %g\n", numPasses, GetPlanets(pScene).size(),
                static_cast<double>(Get<float>(pScene, "Time")));
    return EXIT_SUCCESS;
}

// --- call ---

int Call(const char* pHost, int port)
{
    const Ptr<Node> pNode = JoinAt(pHost, port);
    const auto hasPlanets = [&](std::size_t number) {
        return pNode->GetState() == Node::LOST || GetPlanets(pNode->GetRoot()).size() >= number;
    };
    if (pNode == nullptr || !WaitUntil(pNode, [&] { return hasPlanets(1); })) {
        return EXIT_FAILURE;
    }
    const std::size_t numPlanets = GetPlanets(pNode->GetRoot()).size();
    if (Object* const pSun = GetSun(pNode->GetRoot())) {
        pNode->GetSerializer()->BroadcastFunctionCall(pSun, "AddSatellite", "Nine", 400.0f, 0.3f, 1600.0f,
                                                      80.0f);
    }
    if (!WaitUntil(pNode, [&] { return hasPlanets(numPlanets + 1); }) || pNode->GetState() == Node::LOST) {
        return EXIT_FAILURE;
    }
    std::printf("called AddSatellite of the Sun, which had %zu planets and has %zu now\n", numPlanets,
                GetPlanets(pNode->GetRoot()).size());
    pNode->Leave();
    pNode->Flush(LAST_WORDS_TIME);
    return EXIT_SUCCESS;
}

int Main(const std::vector<const char*>& words)
{
    const std::string command = words.empty() ? "" : words[0];
    const auto number = [&](std::size_t index) { return std::atoi(words[index]); };
    if (command == "serve" && words.size() == 4 && number(2) > 0) {
        return Serve(words[1], number(2), words[3]);
    }
    if (command == "join" && words.size() == 5) {
        return Join(words[1], number(2), words[3], words[4]);
    }
    if (command == "call" && words.size() == 3) {
        return Call(words[1], number(2));
    }
    std::fprintf(stderr, "Usage: SolarNet serve SCENE PASSES OUTPUT\n"
                         "       SolarNet join HOST PORT OUTPUT DRAWING\n"
                         "       SolarNet call HOST PORT\n");
    return EXIT_FAILURE;
}

} // namespace SolarNet

int main(int argumentCount, char** ppArguments)
{
    return SolarNet::Main({ppArguments + 1, ppArguments + argumentCount});
}
