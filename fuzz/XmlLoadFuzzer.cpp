// Any bytes as an XML file. What loads is saved and loaded twice over; the two later graphs have to be the
// same. (The first one may differ from them in what a document does not keep.)

#include "Support/FuzzRun.h"
#include "Support/StoredObjects.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/MemoryFile.h"

using namespace QBase;

namespace
{

// Null when the graph holds what no document can.
Ptr<Object> SaveAndLoad(Object* pRoot)
{
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    FUZZ_EXPECT(pFile->Open("copy", File::MODE_READ | File::MODE_WRITE));
    if (!pSerializer->Serialize(pRoot, pFile)) {
        return nullptr;
    }
    pFile->SeekStart(0);
    const Ptr<Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();
    FUZZ_EXPECT(pLoaded);
    return pLoaded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    if (size == 0) {
        return 0;
    }
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    FUZZ_EXPECT(pFile->OpenBuffer(pData, static_cast<int>(size), "input", File::MODE_READ));
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    const Ptr<Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();
    if (!pLoaded) {
        return 0;
    }
    const Ptr<Object> pSecond = SaveAndLoad(pLoaded);
    if (pSecond) {
        const Ptr<Object> pThird = SaveAndLoad(pSecond);
        FUZZ_EXPECT(StoredObjects::AreSameGraph(pSecond, pThird));
        StoredObjects::Dissolve(pThird);
        StoredObjects::Dissolve(pSecond);
    }
    StoredObjects::Dissolve(pLoaded);
    return 0;
}
