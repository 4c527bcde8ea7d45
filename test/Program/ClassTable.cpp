// Asks for the class table of the one class that the argument names, and for nothing else.

#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Table.h"
#include "QBase/TablePath.h"

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
