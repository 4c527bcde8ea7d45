// What a unit that met the Windows headers first makes of the library's. Only the Platform/WindowsUnit*.cpp
// include it, behind the macros.

#pragma once

#include "Support/WindowsUnit.h"

#include "QBase/QBase.h"

class Pane : public QBase::Object
{
    QBASE_OBJECT(Pane, Object)

protected:
    explicit Pane(const QBase::Value&) {}
};

QBASE_IMPLEMENT(WindowsUnit, Pane)

void Pane::Implement()
{}

const QBase::String& ClassNameInWindowsUnit(const QBase::Object* pObject)
{
    return pObject->GetClassName();
}
