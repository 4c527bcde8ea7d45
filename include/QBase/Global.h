// Global.h is the registry of all reflected classes of all loaded modules, and what a host calls first.
//
//     LoadModule("Solar");                                     // runs the module's registrars
//     Ptr<Object> pSun = Construct("Solar", "Body", "Sun");    // made by the class's Construct
//
// The registry only grows: classes are added while their library loads; modules are never unloaded.
//
// Threads: load modules before other threads construct objects.

#pragma once

#include "QBase/Export.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"
#include "QBase/Value.h"

namespace QBase
{

class Object;
class Table;

/// The version of the library that the program runs with; QBase/Version.h has that of the headers.
QBASE_API extern const int g_VersionMajor;
QBASE_API extern const int g_VersionMinor;

// Bucket counts of the tables that are built after a change: a module's table of classes, a class's table,
// a single object's table, and a Table constructed without a size.
QBASE_API extern int g_ModuleTableSize;
QBASE_API extern int g_ClassTableSize;
QBASE_API extern int g_InstanceTableSize;
QBASE_API extern int g_DefaultTableSize;

/// Reports the version through Info and makes the module table if there is none. The first registrar calls
/// it while the library loads, before any host can install a handler.
QBASE_API void Init();

/// Every module's table of classes, by module name; null before Init. Borrowed.
QBASE_API Table* GetModuleTable();

/// The class tables of a module, whose library is loaded first when needed: the file named `name`_Release.
/// Null, after a report, when it cannot be loaded; null silently when it registers nothing under that name.
QBASE_API Table* LoadModule(const String& name);

/// A new object of the class, made from `arg`. Null, after a report, when there is no such class or it is
/// abstract. Loads no module.
QBASE_API Ptr<Object> Construct(const String& module, const String& className,
                                const Value& arg = Value::Null);

} // namespace QBase
