#include "QBase/SerializerFrame.h"

#include "QBase/Error.h"
#include "QBase/File.h"

#include <new>

namespace QBase
{

namespace SerializerFrame
{

bool Save(Object* pObject, File* pFile, bool (*pSave)(Object* pObject, File* pFile))
{
    if (pFile == nullptr) {
        return false;
    }
    const KeepAlive keepFile(pFile);
    try {
        return pSave(pObject, pFile);
    } catch (const std::bad_alloc&) {
        Error(QBASE_HERE, "Failed to serialize to file '%s' - out of memory", pFile->GetFilename().c_str());
        return false;
    }
}

Value Load(File* pFile, const LoadLimits& limits, Value (*pLoad)(File* pFile, const LoadLimits& limits))
{
    const KeepAlive keepFile(pFile);
    try {
        return pLoad(pFile, limits);
    } catch (const std::bad_alloc&) {
        Error(QBASE_HERE, "Failed to deserialize file '%s' - out of memory", pFile->GetFilename().c_str());
        return Value();
    }
}

} // namespace SerializerFrame

} // namespace QBase
