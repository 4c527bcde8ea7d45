// CallFrame looks at the frames that a relay passes on to its source, which may come from anybody: the relay
// answers for them.
//
//     HoldsCallsOnly(bytes); // true for packets of kind 17, whole and in order
//
// Threads: nothing here locks.

#pragma once

#include <string>

namespace QNet
{

/// Whether the packets of a frame are function calls, each whole.
bool HoldsCallsOnly(const std::string& packets);

} // namespace QNet
