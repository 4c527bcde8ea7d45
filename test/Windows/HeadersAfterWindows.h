// What a unit sees that includes <windows.h> before our headers, for comparison with one that does not
// include it at all.

#pragma once

#include <string>

namespace QBase
{
class Object;
class Table;
} // namespace QBase

std::string ClassNameSeenAfterWindows(QBase::Object* pObject);
QBase::Table* ModuleSeenAfterWindows(const char* pName);
