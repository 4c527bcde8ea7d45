// DescribeClass gives a class's name for messages, as module.class, found through the registry.

#pragma once

#include <string>

namespace QBase
{

class ClassInfoTable;

std::string DescribeClass(const ClassInfoTable* pClassTable);

} // namespace QBase
