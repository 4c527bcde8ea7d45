// SerializerFrame is what all serializers do around their work: they hold the file meanwhile, and report
// memory that runs out instead of letting the exception pass.
//
//     bool BinarySerializer::Serialize(Object* pObject, File* pFile)
//     {
//         return SerializerFrame::Save(pObject, pFile, &SaveBytes);
//     }

#pragma once

#include "QBase/Value.h"

namespace QBase
{

class File;
class Object;
struct LoadLimits;

namespace SerializerFrame
{

/// False for a null file, and when memory runs out.
bool Save(Object* pObject, File* pFile, bool (*pSave)(Object* pObject, File* pFile));

/// Void when memory runs out. The file is not null.
Value Load(File* pFile, const LoadLimits& limits, Value (*pLoad)(File* pFile, const LoadLimits& limits));

} // namespace SerializerFrame

} // namespace QBase
