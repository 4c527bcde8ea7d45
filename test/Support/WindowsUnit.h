// A unit that included the Windows headers before the library's, whose macros stand over ordinary names.

#pragma once

namespace QBase
{

class Object;
class String;

} // namespace QBase

/// GetClassName as that unit sees it.
const QBase::String& ClassNameInWindowsUnit(const QBase::Object* pObject);
