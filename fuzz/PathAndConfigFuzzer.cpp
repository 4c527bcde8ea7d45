// Any text as a path of names and as a command line.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/Config.h"
#include "QBase/TablePath.h"

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    FuzzInput input(pData, size);
    const String name = input.TakeText();
    const String text = input.TakeRestAsText();

    const Ptr<TablePath> pPath = TablePath::Construct(Value(text));
    const String joined = pPath->ToString();
    const Ptr<TablePath> pAgain = TablePath::Construct(Value(joined));
    FUZZ_EXPECT(pAgain->ToString() == joined);
    FUZZ_EXPECT(pAgain->GetName() == pPath->GetName());
    const Ptr<Object> pCopy = pPath->Copy();
    FUZZ_EXPECT(static_cast<TablePath*>(static_cast<Object*>(pCopy))->ToString() == joined);
    pPath->AddNode(name);
    FUZZ_EXPECT(pPath->GetName() == name);

    const Config config(NarrowString(text.c_str()));
    const NarrowString parameter(name.c_str());
    const bool bHas = config.HasCommandLineParameter(parameter);
    FUZZ_EXPECT(bHas == (NarrowString(text.c_str()).find(parameter) != NarrowString::npos));
    const NarrowString value = config.GetCommandLineParameterValue(parameter);
    FUZZ_EXPECT(bHas || value.empty());
    FUZZ_EXPECT(value.find(' ') == NarrowString::npos);
    return 0;
}
