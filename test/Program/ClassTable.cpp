// Asks for the class table of the one class that the argument names, and for nothing else.

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

#include <cstring>

using namespace QBase;

namespace
{

struct NamedClass
{
    const char* mpName;
    ClassInfoTable* (*mpClassTable)();
};

constexpr NamedClass CLASSES[] = {
    {"Object", &Object::ClassTable},
    {"Table", &Table::ClassTable},
    {"ClassInfoTable", &ClassInfoTable::ClassTable},
    {"Property", &Property::ClassTable},
    {"ValuePropertyCommon", &ValuePropertyCommon::ClassTable},
    {"ArrayPropertyCommon", &ArrayPropertyCommon::ClassTable},
    {"Function", &Function::ClassTable},
    {"EnumInfoObject", &EnumInfoObject::ClassTable},
    {"TablePath", &TablePath::ClassTable},
    {"List", &List::ClassTable},
    {"ObjectDiffHandler", &ObjectDiffHandler::ClassTable},
    {"ObjectDiff", &ObjectDiff::ClassTable},
    {"ObjectDiffSerializer", &ObjectDiffSerializer::ClassTable},
    {"ErrorHandler", &ErrorHandler::ClassTable},
    {"Lock", &Lock::ClassTable},
    {"DeferredCall", &DeferredCall::ClassTable},
    {"DeferredList", &DeferredList::ClassTable},
    {"ThreadExecutor", &ThreadExecutor::ClassTable},
    {"Timer", &Timer::ClassTable},
    {"Stream", &Stream::ClassTable},
    {"IOStream", &IOStream::ClassTable},
    {"File", &File::ClassTable},
    {"SystemFile", &SystemFile::ClassTable},
    {"MemoryFile", &MemoryFile::ClassTable},
    {"Resource", &Resource::ClassTable},
    {"Serializer", &Serializer::ClassTable},
    {"AsciiSerializer", &AsciiSerializer::ClassTable},
    {"BinarySerializer", &BinarySerializer::ClassTable},
    {"FileSerializer", &FileSerializer::ClassTable},
};

} // namespace

int main(int argumentCount, char** ppArguments)
{
    for (const NamedClass& named : CLASSES) {
        if (argumentCount == 2 && std::strcmp(named.mpName, ppArguments[1]) == 0) {
            return named.mpClassTable() != nullptr ? 0 : 1;
        }
    }
    return 2;
}
