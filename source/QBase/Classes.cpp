// Registers every class of the library, bases first, before any other registrar runs: the registry's walk
// order is then the same whatever order the linker put the units in.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/DeferredCall.h"
#include "QBase/DeferredList.h"
#include "QBase/Enum.h"
#include "QBase/ErrorHandler.h"
#include "QBase/File.h"
#include "QBase/FileSerializer.h"
#include "QBase/Function.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/Lock.h"
#include "QBase/MemoryFile.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Property.h"
#include "QBase/Resource.h"
#include "QBase/Serializer.h"
#include "QBase/Stream.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "QBase/TablePath.h"
#include "QBase/ThreadExecutor.h"
#include "QBase/Timer.h"

namespace QBase
{

namespace
{

template <typename Class, typename Base>
struct Registration
{
    Registration() { RegisterClassTables(&Base::ClassTable, &Class::ClassTable); }
};

struct Registrations
{
    Registration<Object, Object> mObject;
    Registration<Table, Object> mTable;
    Registration<ClassInfoTable, Table> mClassInfoTable;
    Registration<Property, Object> mProperty;
    Registration<ValuePropertyCommon, Property> mValuePropertyCommon;
    Registration<ArrayPropertyCommon, Property> mArrayPropertyCommon;
    Registration<Function, Object> mFunction;
    Registration<EnumInfoObject, Object> mEnumInfoObject;
    Registration<TablePath, Object> mTablePath;
    Registration<List, Object> mList;
    Registration<ObjectDiffHandler, Object> mObjectDiffHandler;
    Registration<ObjectDiff, Object> mObjectDiff;
    Registration<ObjectDiffSerializer, ObjectDiffHandler> mObjectDiffSerializer;
    Registration<ErrorHandler, Object> mErrorHandler;
    Registration<Lock, Object> mLock;
    Registration<DeferredCall, Object> mDeferredCall;
    Registration<DeferredList, Object> mDeferredList;
    Registration<ThreadExecutor, Object> mThreadExecutor;
    Registration<Timer, Object> mTimer;
    Registration<Stream, Object> mStream;
    Registration<IOStream, Stream> mIOStream;
    Registration<File, Stream> mFile;
    Registration<SystemFile, File> mSystemFile;
    Registration<MemoryFile, File> mMemoryFile;
    Registration<Resource, Object> mResource;
    Registration<Serializer, Object> mSerializer;
    Registration<AsciiSerializer, Serializer> mAsciiSerializer;
    Registration<BinarySerializer, Serializer> mBinarySerializer;
    Registration<FileSerializer, Object> mFileSerializer;
};

[[maybe_unused]] const Registrations sRegistrations QBASE_INITIALISE_EARLY;

} // namespace

} // namespace QBase
