// Input from strangers: a text that is no document, a file that is cut short, one that asks for more than it
// may, and a peer that sends nonsense. Each is reported, nothing of it stays, and the program goes on.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/MemoryFile.h"
#include "QBase/ObjectDiffSerializer.h"

#include <string>

using namespace QBase;

// The bytes of a file with a list of two objects.
static std::string SaveSomething()
{
    Ptr<List> pList = List::Construct(Value::Null);
    pList->Insert(Object::Construct(Value::Null));
    pList->Insert(Object::Construct(Value::Null));
    Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("saved", File::MODE_READ | File::MODE_WRITE);
    pSerializer->Serialize(pList, pFile);
    std::string bytes(static_cast<std::size_t>(pFile->GetSize()), '\0');
    pFile->SeekStart(0);
    pFile->Read(bytes.data(), pFile->GetSize());
    return bytes;
}

static bool CanLoad(const Ptr<Serializer>& pSerializer, const std::string& bytes)
{
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->OpenBuffer(bytes.data(), static_cast<int>(bytes.size()), "from a stranger", File::MODE_READ);
    return pSerializer->Deserialize(pFile).AsObject() != nullptr;
}

int main()
{
    const bool bText = CanLoad(AsciiSerializer::Construct(Value::Null), "This is no document.");

    const std::string bytes = SaveSomething();
    Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const bool bWhole = CanLoad(pSerializer, bytes);
    const bool bCut = CanLoad(pSerializer, bytes.substr(0, bytes.size() - 1));
    LoadLimits limits;
    limits.mMaxObjects = 2;
    limits.mbTrusted = false; // nothing that acts on files, threads or connections
    pSerializer->SetLimits(limits);
    const bool bLimited = CanLoad(pSerializer, bytes);

    Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
    pReplica->SetLimits(limits);
    pReplica->AddInStream(pStream);
    pReplica->SetInStreamTrusted(pStream, false); // a stranger stops its stream, not the program
    pStream->Write("\x05\x00\x00\x00nonsense?", 13);
    pReplica->UpdateInput();

    Info("text %d, whole file %d, cut file %d, limited %d, stream stopped %d", bText, bWhole, bCut, bLimited,
         pReplica->GetInStreamInfo().GetAt(0).mbStopped);
}
