// Any bytes as a binary file. What loads is saved and loaded again and has to be the same graph.

#include "Support/LoadInput.h"
#include "Support/StoredObjects.h"

#include "QBase/BinarySerializer.h"

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    const Ptr<Object> pLoaded = LoadInput<BinarySerializer>(pData, size);
    if (!pLoaded) {
        return 0;
    }
    if (const Ptr<Object> pAgain = SaveAndLoad<BinarySerializer>(pLoaded)) {
        FUZZ_EXPECT(StoredObjects::AreSameGraph(pLoaded, pAgain));
        StoredObjects::Dissolve(pAgain);
    }
    StoredObjects::Dissolve(pLoaded);
    return 0;
}
