#include "QBase/Stream.h"

#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, Stream)

void Stream::Implement()
{
    Describe("A queue of bytes that is written at one end and read at the other");
    AddFunction<&Stream::BytesAvailable>("BytesAvailable");
}

Stream::Stream(const Value&)
{}

} // namespace QBase
