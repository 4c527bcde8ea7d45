// Any bytes as an XML file. What loads is saved and loaded twice over; the two later graphs have to be the
// same. (The first one may differ from them in what a document does not keep.) A comment behind it changes
// nothing, although the reader then takes the document as a whole instead of element by element.

#include "Support/LoadInput.h"
#include "Support/StoredObjects.h"

#include "QBase/AsciiSerializer.h"

#include <cstdint>
#include <string_view>
#include <vector>

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    const Ptr<Object> pLoaded = LoadInput<AsciiSerializer>(pData, size);
    if (!pLoaded) {
        return 0;
    }
    std::vector<std::uint8_t> commented(pData, pData + size);
    for (const char c : std::string_view("<!-- -->")) {
        commented.push_back(static_cast<std::uint8_t>(c));
    }
    const Ptr<Object> pWhole = LoadInput<AsciiSerializer>(commented.data(), commented.size());
    FUZZ_EXPECT(pWhole && StoredObjects::AreSameGraph(pLoaded, pWhole));
    StoredObjects::Dissolve(pWhole);
    if (const Ptr<Object> pSecond = SaveAndLoad<AsciiSerializer>(pLoaded)) {
        const Ptr<Object> pThird = SaveAndLoad<AsciiSerializer>(pSecond);
        FUZZ_EXPECT(StoredObjects::AreSameGraph(pSecond, pThird));
        StoredObjects::Dissolve(pThird);
        StoredObjects::Dissolve(pSecond);
    }
    StoredObjects::Dissolve(pLoaded);
    return 0;
}
