// Any bytes as an XML file. What loads is saved and loaded twice over; the two later graphs have to be the
// same. (The first one may differ from them in what a document does not keep.)

#include "Support/LoadInput.h"
#include "Support/StoredObjects.h"

#include "QBase/AsciiSerializer.h"

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    const Ptr<Object> pLoaded = LoadInput<AsciiSerializer>(pData, size);
    if (!pLoaded) {
        return 0;
    }
    if (const Ptr<Object> pSecond = SaveAndLoad<AsciiSerializer>(pLoaded)) {
        const Ptr<Object> pThird = SaveAndLoad<AsciiSerializer>(pSecond);
        FUZZ_EXPECT(StoredObjects::AreSameGraph(pSecond, pThird));
        StoredObjects::Dissolve(pThird);
        StoredObjects::Dissolve(pSecond);
    }
    StoredObjects::Dissolve(pLoaded);
    return 0;
}
