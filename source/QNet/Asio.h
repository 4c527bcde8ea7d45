// Asio.h is the one way to the network library: it stands alone, without the parts that are going away, and
// no public header of the module includes it.

#pragma once

#define ASIO_STANDALONE
#define ASIO_NO_DEPRECATED

#include <asio.hpp>

// <windows.h>, which comes along there, puts a macro over these names.
#undef GetClassName
#undef RegisterClass
