// ConstructFunction.h is the look-up behind Construct: readers that make many objects of one class keep the
// function, and ask the class whether they may.

#pragma once

namespace QBase
{

class ClassInfoTable;
class Function;
class String;
class Table;

/// A registered class; null, silently, when there is none. Borrowed.
ClassInfoTable* FindRegisteredClass(const String& module, const String& className);

/// The function "Construct" of a registered class; null, silently, when there is none. Borrowed.
Function* FindConstructFunction(const String& module, const String& className);

// RegistryTable makes the tables that the registry consists of beside those of the classes: of the modules,
// and of the classes of one. They tell of their changes, which FindConstructFunction has to know of.
class RegistryTable
{
public:
    static Table* New(int numBuckets);

    /// True for a table made here, and for one of a class: it calls RegistryChanged before it changes.
    static bool IsTracked(const Table* pTable);
};

/// Makes FindConstructFunction look at the tables again.
void RegistryChanged();

} // namespace QBase
