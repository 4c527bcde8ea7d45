// Stream is the library's channel of bytes: whatever moves bytes, be it a file, a block of memory, a queue or
// a connection of the host's own, is written and read through these three operations.
//
//     void SendGreeting(Stream* pStream)
//     {
//         pStream->Write("hello", 5);
//     }
//
// Counts are bytes. A stream that cannot do all of what was asked reports it and answers with the number of
// bytes it did; no count, however wrong, makes it touch bytes outside of `pData` and its own.
//
// Threads: nothing here locks; whoever shares a stream guards it.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class QBASE_API Stream : public Object
{
    QBASE_OBJECT(Stream, Object)

public:
    /// Writes `count` bytes. The number of bytes written.
    virtual int Write(const void* pData, int count) = 0;

    /// Reads `count` bytes. The number of bytes read.
    virtual int Read(void* pData, int count) = 0;

    /// How many bytes can be read now.
    virtual int BytesAvailable() = 0;

protected:
    explicit Stream(const Value& value);
    Stream(const Stream& other) = default;
    Stream& operator=(const Stream& other) = default;
};

} // namespace QBase
