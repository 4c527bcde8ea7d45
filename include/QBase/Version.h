// Version.h says which version of the library the headers belong to, for the preprocessor. g_VersionMajor and
// g_VersionMinor of Global.h tell the same of the library that the program runs with.
//
//     #if QBASE_VERSION >= 20101 // 2.1.1
//
// The build and the packages take the version from here.
//
// Threads: nothing here runs.

#pragma once

/// The parts of the version.
#define QBASE_VERSION_MAJOR 2
#define QBASE_VERSION_MINOR 1
#define QBASE_VERSION_PATCH 0

// One number that grows with each version.
#define QBASE_VERSION (QBASE_VERSION_MAJOR * 10000 + QBASE_VERSION_MINOR * 100 + QBASE_VERSION_PATCH)

// "2.1.0"
#define QBASE_VERSION_TEXT QBASE_VERSION_JOIN(QBASE_VERSION_MAJOR, QBASE_VERSION_MINOR, QBASE_VERSION_PATCH)

#define QBASE_VERSION_JOIN(major, minor, patch) QBASE_VERSION_JOIN_NUMBERS(major, minor, patch)
#define QBASE_VERSION_JOIN_NUMBERS(major, minor, patch) #major "." #minor "." #patch
