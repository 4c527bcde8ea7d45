// Input from strangers: a file that is cut short, a text that is no document, and a peer that sends nonsense.
// Each is reported, nothing of it stays, and the program goes on.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Error.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/MemoryFile.h"
#include "QBase/ObjectDiffSerializer.h"

#include <cstring>
#include <vector>

using namespace QBase;

static Ptr<Object> Load(const Ptr<Serializer>& pSerializer, const void* pBytes, int numBytes)
{
    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->OpenBuffer(pBytes, numBytes, "from a stranger", File::MODE_READ);
    return pSerializer->Deserialize(pFile).AsObject();
}

static bool IsStopped(const Ptr<ObjectDiffSerializer>& pReplica)
{
    return pReplica->GetInStreamInfo().GetAt(0).mbStopped;
}

int main()
{
    const char text[] = "This is no document.";
    const bool bText = Load(AsciiSerializer::Construct(Value::Null), text, sizeof(text) - 1);

    Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    pFile->Open("saved", File::MODE_READ | File::MODE_WRITE);
    Ptr<BinarySerializer> pBinary = BinarySerializer::Construct(Value::Null);
    pBinary->Serialize(Ptr<List>(List::Construct(Value::Null)), pFile);
    std::vector<char> bytes(static_cast<std::size_t>(pFile->GetSize()));
    pFile->SeekStart(0);
    pFile->Read(bytes.data(), pFile->GetSize());
    const bool bWhole = Load(pBinary, bytes.data(), static_cast<int>(bytes.size()));
    const bool bCut = Load(pBinary, bytes.data(), static_cast<int>(bytes.size()) - 1);

    Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
    pReplica->AddInStream(pStream);
    pReplica->SetInStreamTrusted(pStream, false); // a stranger stops its stream, not the program
    pReplica->SetFrameSizeLimit(1 << 20);         // bytes
    pStream->Write("\x05\x00\x00\x00nonsense?", 13);
    pReplica->UpdateInput();

    Info("text: %d, whole file: %d, cut file: %d, stream stopped: %d", bText, bWhole, bCut,
         IsStopped(pReplica));
}
