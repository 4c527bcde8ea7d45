// The standard library's own headers come first, as they do in a host that has to live with these macros.
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

// What <windows.h> defines.
#define GetClassName GetClassNameA
#define GetObject GetObjectA
#define GetMessage GetMessageA
#define CreateFile CreateFileA
#define DeleteFile DeleteFileA
#define Yield()
#define ERROR 0
#define IN
#define OUT
#define near
#define far
#define small char
#define interface struct
#define min(a, b) (((a) < (b)) ? (a) : (b))
#define max(a, b) (((a) > (b)) ? (a) : (b))

#include "Support/WindowsUnit.h"

#include "QBase/Allocator.h"
#include "QBase/Array.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/Color.h"
#include "QBase/Config.h"
#include "QBase/CriticalSection.h"
#include "QBase/DynamicProperty.h"
#include "QBase/Enum.h"
#include "QBase/Error.h"
#include "QBase/ErrorHandler.h"
#include "QBase/Export.h"
#include "QBase/File.h"
#include "QBase/FileReplacement.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/HashTable.h"
#include "QBase/HashTableIndex.h"
#include "QBase/IOStream.h"
#include "QBase/InterlockedInt.h"
#include "QBase/LinkedList.h"
#include "QBase/List.h"
#include "QBase/Math.h"
#include "QBase/Matrix3.h"
#include "QBase/Matrix4.h"
#include "QBase/Memory.h"
#include "QBase/MemoryFile.h"
#include "QBase/Object.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/Property.h"
#include "QBase/PropertyHandle.h"
#include "QBase/PropertyList.h"
#include "QBase/Ptr.h"
#include "QBase/Quaternion.h"
#include "QBase/Reflection.h"
#include "QBase/Resource.h"
#include "QBase/Stream.h"
#include "QBase/String.h"
#include "QBase/StringConverter.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "QBase/TablePath.h"
#include "QBase/UTF8.h"
#include "QBase/Value.h"
#include "QBase/Vector2.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"
#include "QBase/VectorLength.h"

const QBase::String& ClassNameInWindowsUnit(const QBase::Object* pObject)
{
    return pObject->GetClassName();
}
