// FrameBuffer is the memory in which a frame is put together: packet after packet, with room in front for the
// 32-bit count of their bytes, so that a frame goes out in one Write.
//
//     frame.SeekStart();
//     frame.GetBytes().Append(...);      // packets
//     frame.Close(frame.Tell());         // writes the count in front
//     pStream->Write(frame.GetData(), frame.Tell() + FrameBuffer::SIZE_BYTES);
//
// Positions count the packets' bytes alone. One packet too many is moved to the start of the next frame by
// KeepFrom.

#pragma once

#include "QBase/ByteBuffer.h"
#include "QBase/ValueBytes.h"

#include <cstring>

namespace QBase
{

class FrameBuffer
{
public:
    static constexpr int FRAME_SIZE = 32768; // a longer frame holds one packet
    static constexpr int SIZE_BYTES = 4;

    FrameBuffer() { ValueBytes::WriteInt(mBytes, 0); }

    int Tell() const { return static_cast<int>(mBytes.GetSize()) - SIZE_BYTES; }

    /// Forgets the bytes from `position` on.
    void Seek(int position) { mBytes.Truncate(static_cast<std::size_t>(position + SIZE_BYTES)); }

    /// Forgets the bytes before `position`, and moves the others to the start.
    void KeepFrom(int position)
    {
        const int kept = Tell() - position;
        unsigned char* const pStart = mBytes.GetData() + SIZE_BYTES;
        std::memmove(pStart, pStart + position, static_cast<std::size_t>(kept));
        Seek(kept);
    }

    ByteBuffer& GetBytes() { return mBytes; }

    /// The frame of the first `size` bytes, their count in front.
    const unsigned char* Close(int size)
    {
        ValueBytes::StoreInt(mBytes.GetData(), size);
        return mBytes.GetData();
    }

private:
    ByteBuffer mBytes;
};

} // namespace QBase
