// FrameStream lets the frames that come over a stream through only when they are whole, and from a source
// only when the pass that they belong to is: so a replica never shows half of a change, and a relay can
// describe it to a late peer at any time. An empty frame ends a pass; it stays here.
//
//     Ptr<FrameStream> pFrames = new FrameStream(pStream, FrameStream::WHOLE_PASSES, limit);
//     pSerializer->AddInStream(pFrames);
//     pFrames->TakeArrived();            // once per frame
//     pSerializer->UpdateInput();        // applies whole passes
//     pFrames->GetNumBytesHeld();        // what came of the next
//
// A frame over the limit is let through as it is, for the serializer to report. What arrives after
// TakeArrived waits for the next: a peer that never stops sending does not keep a frame loop from going on.
//
// Threads: driven by one thread at a time, as its stream.

#pragma once

#include "QNet/ByteQueue.h"

#include "QBase/Stream.h"

#include <cstddef>

namespace QNet
{

class FrameStream : public QBase::Stream
{
    QBASE_OBJECT(FrameStream, QBase::Stream)

public:
    static constexpr int SIZE_BYTES = 4; // in front of each frame

    enum Unit
    {
        WHOLE_FRAMES,
        WHOLE_PASSES
    };

    /// Holds the stream.
    FrameStream(QBase::Stream* pStream, Unit unit, int sizeLimit);

    /// Goes straight to the stream.
    int Write(const void* pData, int count) override { return mpStream->Write(pData, count); }
    int Read(void* pData, int count) override;
    int BytesAvailable() override;

    /// Takes over what arrived, and lets through what is whole.
    void TakeArrived();

    /// Whether something is left to be read here, now or after the next TakeArrived.
    bool HasMore() { return mReady.GetSize() > 0 || mpStream->BytesAvailable() > 0; }

    /// What arrived and is not whole.
    int GetNumBytesHeld() const { return static_cast<int>(mArrived.GetSize()); }

    /// How many passes, or frames, were let through.
    int GetNumUnits() const { return mNumUnits; }

private:
    void FindWholeUnits();
    void LetThrough(std::size_t size);

    QBase::Ptr<QBase::Stream> mpStream;
    Unit mUnit;
    std::size_t mSizeLimit;
    ByteQueue mArrived;
    ByteQueue mReady;
    std::size_t mNumWhole = 0; // bytes of mArrived that are whole frames of a pass under way
    int mNumUnits = 0;
    bool mbOverLimit = false; // everything goes through
};

} // namespace QNet
