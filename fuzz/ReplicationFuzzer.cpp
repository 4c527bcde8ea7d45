// Any bytes as what a peer sends. The first byte says whether the stream is trusted and in how large pieces
// the rest arrives. A stream that is not trusted never lets an assertion fail.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/IOStream.h"
#include "QBase/ObjectDiffSerializer.h"

using namespace QBase;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    FuzzRun run;
    run.UndoCycles();
    FuzzInput input(pData, size);
    const int first = input.TakeByte();
    const bool bTrusted = first % 2 != 0;
    if (!bTrusted) {
        run.StopAtAssertions();
    }
    const Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
    pReplica->RegisterType(FuzzList::ClassTable());
    pReplica->RegisterType(FuzzTable::ClassTable());
    pReplica->RegisterType(FuzzNode::ClassTable());
    pReplica->AllowFunction("Touch");
    pReplica->SetFrameSizeLimit(1 << 20);
    const Ptr<IOStream> pIn = IOStream::Construct(Value::Null);
    const Ptr<IOStream> pForwarded = IOStream::Construct(Value::Null);
    pReplica->AddInStream(pIn);
    pReplica->SetInStreamTrusted(pIn, bTrusted);
    pReplica->AddForwardingStream(pForwarded);
    const std::size_t pieceSize = first < 2 ? size : static_cast<std::size_t>(first / 2);
    while (!input.IsEmpty()) {
        const std::string_view piece = input.TakeBytes(pieceSize);
        pIn->Write(piece.data(), static_cast<int>(piece.size()));
        pReplica->UpdateInput();
    }
    FUZZ_EXPECT(pForwarded->BytesAvailable() <= static_cast<int>(size));
    return 0;
}
