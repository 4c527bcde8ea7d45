// A unit of a host that includes <windows.h> first.

#include <windows.h>

// The build writes this one.
#include "Generated/EveryPublicHeader.h"

#include "Windows/HeadersAfterWindows.h"

// <windows.h> has macros of these names, so a header that trusted its own would declare others.
std::string ClassNameSeenAfterWindows(QBase::Object* pObject)
{
    return pObject->GetClassName().c_str();
}

QBase::Table* ModuleSeenAfterWindows(const char* pName)
{
    return QBase::LoadModule(pName);
}
