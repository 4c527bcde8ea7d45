#include "QBase/Stream.h"

#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, Stream)

void Stream::Implement()
{
    AddFunction<&Stream::BytesAvailable>("BytesAvailable");
}

Stream::Stream(const Value&)
{}

} // namespace QBase
