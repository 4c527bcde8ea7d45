// Config answers what an application was asked for on its command line.
//
//     Config config("app -size 10 -mode=fast -log");
//     config.HasCommandLineParameter("-log");         // true
//     config.GetCommandLineParameterValue("-size");   // "10"; "-size=10" and "-size = 10" mean the same
//
// A name is searched as plain text, and its first occurrence counts wherever it stands: with "-logfile x"
// the value of "-log" is "file". Values hold no space, do not begin with "-", and quotes mean nothing.
//
// Threads: nothing here locks; reading from several threads is fine.

#pragma once

#include "QBase/Allocator.h"
#include "QBase/Export.h"

namespace QBase
{

class QBASE_API Config
{
public:
    /// Keeps the text unchanged and reports it through Info.
    explicit Config(const NarrowString& commandLine);

    /// Whether the name occurs in the command line, in exactly this case.
    bool HasCommandLineParameter(const NarrowString& name) const;

    /// The value behind the name's first occurrence, or an empty text.
    NarrowString GetCommandLineParameterValue(const NarrowString& name) const;

private:
    NarrowString mCommandLine;
};

} // namespace QBase
