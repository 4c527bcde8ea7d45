// Any bytes as a binary file. What loads is saved and loaded again and has to be the same graph.

#include "Support/FuzzRun.h"
#include "Support/StoredObjects.h"

#include "QBase/BinarySerializer.h"
#include "QBase/MemoryFile.h"

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    if (size == 0) {
        return 0;
    }
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    FUZZ_EXPECT(pFile->OpenBuffer(pData, static_cast<int>(size), "input", File::MODE_READ));
    const Ptr<BinarySerializer> pSerializer = BinarySerializer::Construct(Value::Null);
    const Ptr<Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();
    if (!pLoaded) {
        return 0;
    }
    const Ptr<MemoryFile> pCopy = MemoryFile::Construct(Value::Null);
    FUZZ_EXPECT(pCopy->Open("copy", File::MODE_READ | File::MODE_WRITE));
    if (pSerializer->Serialize(pLoaded, pCopy)) {
        pCopy->SeekStart(0);
        const Ptr<Object> pAgain = pSerializer->Deserialize(pCopy).AsObject();
        FUZZ_EXPECT(StoredObjects::AreSameGraph(pLoaded, pAgain));
        StoredObjects::Dissolve(pAgain);
    }
    StoredObjects::Dissolve(pLoaded);
    return 0;
}
