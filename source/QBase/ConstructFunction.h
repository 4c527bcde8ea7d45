// ConstructFunction.h is the look-up behind Construct: readers that make many objects of one class keep the
// function.

#pragma once

namespace QBase
{

class Function;
class String;

/// The function "Construct" of a registered class; null, silently, when there is none. Borrowed.
Function* FindConstructFunction(const String& module, const String& className);

} // namespace QBase
