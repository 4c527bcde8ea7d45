#include <windows.h>

#include "Support/WindowsUnit.h"

#include "QBase/QBase.h"

const QBase::String& ClassNameInWindowsUnit(const QBase::Object* pObject)
{
    return pObject->GetClassName();
}
