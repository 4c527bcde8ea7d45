// Export.h says what the module QNet offers to programs that link to it. Others load it by name and reach
// its classes through the registry.
//
//     class QNET_API TcpStream : public QBase::Stream { ... };
//
// Threads: nothing here runs.

#pragma once

#include "QBase/Export.h"

// QNet_EXPORTS is defined by the build while the module itself is compiled.
#if defined(QNet_EXPORTS)
#    define QNET_API QBASE_MODULE_EXPORT
#else
#    define QNET_API QBASE_MODULE_IMPORT
#endif
