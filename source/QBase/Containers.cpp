// The instantiations of the container templates that the library exports. Ptr.h, Array.h, HashTable.h and
// LinkedList.h declare them.

#include "QBase/Array.h"
#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/DeferredCall.h"
#include "QBase/DeferredList.h"
#include "QBase/DynamicProperty.h"
#include "QBase/Enum.h"
#include "QBase/ErrorHandler.h"
#include "QBase/File.h"
#include "QBase/FileSerializer.h"
#include "QBase/Function.h"
#include "QBase/HashTable.h"
#include "QBase/IOStream.h"
#include "QBase/LinkedList.h"
#include "QBase/List.h"
#include "QBase/Lock.h"
#include "QBase/MemoryFile.h"
#include "QBase/Object.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Property.h"
#include "QBase/Ptr.h"
#include "QBase/Resource.h"
#include "QBase/Serializer.h"
#include "QBase/Stream.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "QBase/TablePath.h"
#include "QBase/ThreadExecutor.h"
#include "QBase/Timer.h"
#include "QBase/Value.h"

namespace QBase
{

template class Ptr<ArrayPropertyCommon>;
template class Ptr<AsciiSerializer>;
template class Ptr<BinarySerializer>;
template class Ptr<ClassInfoTable>;
template class Ptr<DeferredCall>;
template class Ptr<DeferredList>;
template class Ptr<EnumInfoObject>;
template class Ptr<ErrorHandler>;
template class Ptr<File>;
template class Ptr<FileSerializer>;
template class Ptr<Function>;
template class Ptr<IOStream>;
template class Ptr<List>;
template class Ptr<Lock>;
template class Ptr<MemoryFile>;
template class Ptr<Object>;
template class Ptr<ObjectDiff>;
template class Ptr<ObjectDiffHandler>;
template class Ptr<ObjectDiffSerializer>;
template class Ptr<Property>;
template class Ptr<Resource>;
template class Ptr<Serializer>;
template class Ptr<Stream>;
template class Ptr<SystemFile>;
template class Ptr<Table>;
template class Ptr<TablePath>;
template class Ptr<ThreadExecutor>;
template class Ptr<Timer>;
template class Ptr<ValuePropertyCommon>;

template class Array<Ptr<Object>>;
template class HashTable<Ptr<Object>>;
template class LinkedList<Ptr<Object>>;
template class LinkedList<String>;

} // namespace QBase
