// One of two processes that share a scene over TCP, perhaps on two systems. The last line that each prints
// tells the size and the hash of the graph in the end; they are the same when the replica is.
//
//     GraphPeer serve PORTFILE SCENE PASSES    # writes the port that it took into a file
//     GraphPeer join PORT

#include "QNet/Node.h"

#include "QBase/BinarySerializer.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/FileReplacement.h"
#include "QBase/FileSerializer.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/MemoryFile.h"
#include "QBase/Table.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

using namespace QBase;

namespace
{

constexpr std::chrono::seconds TIME_LIMIT(60);

Ptr<QNet::Node> MakeNode()
{
    const Ptr<QNet::Node> pNode = QNet::Node::Construct(Value::Null);
    ObjectDiffSerializer* const pSerializer = pNode->GetSerializer();
    pSerializer->RegisterType(Object::ClassTable());
    pSerializer->RegisterType(List::ClassTable());
    Table* const pSolar = LoadModule("Solar");
    for (const char* pClass : {"Simulation", "Body"}) {
        pSerializer->RegisterType(static_cast<ClassInfoTable*>(pSolar->Find(pClass)));
    }
    return pNode;
}

// Updates the node until the answer is true. False when it never was.
template <typename Condition>
bool UpdateUntil(QNet::Node* pNode, Condition isDone)
{
    const auto end = std::chrono::steady_clock::now() + TIME_LIMIT;
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > end) {
            std::puts("nothing happens");
            return false;
        }
        pNode->Update();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void PrintGraph(Object* pRoot)
{
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("graph", File::MODE_READ | File::MODE_WRITE);
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    pSerializer->Serialize(pRoot, pFile);
    pFile->SeekStart(0);
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    for (int i = 0; i < pFile->GetSize(); ++i) {
        unsigned char byte = 0;
        pFile->Read(&byte, 1);
        hash = (hash ^ byte) * 1099511628211u;
    }
    std::printf("graph %d %08lX%08lX\n", pFile->GetSize(), static_cast<unsigned long>(hash >> 32),
                static_cast<unsigned long>(hash & 0xFFFFFFFFu));
}

bool WritePort(const char* pPath, int port)
{
    const std::string text = std::to_string(port);
    FileReplacement replacement(pPath);
    return replacement.GetFile()->Write(text.data(), static_cast<int>(text.size())) ==
               static_cast<int>(text.size()) &&
           replacement.Commit();
}

int Serve(const char* pPortFile, const char* pScene, int numPasses)
{
    const Ptr<QNet::Node> pNode = MakeNode();
    const Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
    const Ptr<Object> pRoot = pLoader->Deserialize(pScene).AsObject();
    pNode->GetSerializer()->SetRoot(pRoot);
    if (!pNode->Serve("", 0) || !WritePort(pPortFile, pNode->GetPort()) ||
        !UpdateUntil(pNode, [&] { return pNode->GetNumPeers() == 1; })) {
        return EXIT_FAILURE;
    }
    for (int pass = 0; pass < numPasses; ++pass) {
        pRoot->Execute(Value::Null);
        pNode->Update();
    }
    PrintGraph(pRoot);
    if (!pNode->Flush(60000)) {
        return EXIT_FAILURE;
    }
    pNode->Leave();
    return EXIT_SUCCESS;
}

int Join(int port)
{
    const Ptr<QNet::Node> pNode = MakeNode();
    if (!pNode->Join("127.0.0.1", port) ||
        !UpdateUntil(pNode, [&] { return pNode->GetState() == QNet::Node::LOST; }) ||
        pNode->GetRoot() == nullptr) {
        return EXIT_FAILURE;
    }
    std::printf("%d passes\n", pNode->GetNumPasses());
    PrintGraph(pNode->GetRoot());
    return EXIT_SUCCESS;
}

} // namespace

int main(int numWords, char** ppWords)
{
    if (numWords == 5 && std::strcmp(ppWords[1], "serve") == 0) {
        return Serve(ppWords[2], ppWords[3], std::atoi(ppWords[4]));
    }
    if (numWords == 3 && std::strcmp(ppWords[1], "join") == 0) {
        return Join(std::atoi(ppWords[2]));
    }
    return EXIT_FAILURE;
}
