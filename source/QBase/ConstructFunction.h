// ConstructFunction.h is the look-up behind Construct: readers that make many objects of one class keep the
// function, and ask the class whether they may.

#pragma once

namespace QBase
{

class ClassInfoTable;
class Function;
class String;

/// A registered class; null, silently, when there is none. Borrowed.
ClassInfoTable* FindRegisteredClass(const String& module, const String& className);

/// The function "Construct" of a registered class; null, silently, when there is none. Borrowed.
Function* FindConstructFunction(const String& module, const String& className);

} // namespace QBase
