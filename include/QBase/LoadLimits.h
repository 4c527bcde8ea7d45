// LoadLimits says how much a file, or a peer that is not trusted, may ask of the program before it is
// refused.
//
//     pSerializer->SetLimits({.mMaxObjects = 10000, .mbTrusted = false});
//     pSerializer->Deserialize(pUpload);       // void, after a report, when there are more objects
//
//     LoadLimits limits;
//     limits.Set("Memory", 64 << 20);          // by name, for command lines and scripts
//     limits.mClasses = {"Solar.Body", "QBase.List"};
//     pReplica->SetLimits(limits);             // for streams that are not trusted
//
// What is over a limit is reported with the limit and its place; a load then answers nothing and leaves
// nothing behind, and a stream is stopped. The limits that stand here at first let every honest file through.
// They bound memory: small records must not make more and more large objects.
//
// Threads: a plain value.

#pragma once

#include "QBase/String.h"

#include <cstdint>
#include <vector>

namespace QBase
{

struct QBASE_API LoadLimits
{
    /// The limit that limits nothing.
    static constexpr std::int64_t UNLIMITED = INT64_MAX;

    /// Bytes of input: of a file, in binary from its position on; of a frame of packets, which has 16 MiB at
    /// most when nothing else is said.
    std::int64_t mMaxBytes = UNLIMITED;

    /// Objects of a file; objects that the streams of an ObjectDiffSerializer made and that still have an id.
    std::int64_t mMaxObjects = UNLIMITED;

    /// References on the shortest way from the root to an object; the root has none. Setting it costs one
    /// walk over the graph: at the end of a load, and of each UpdateInput that received something.
    std::int64_t mMaxNesting = UNLIMITED;

    /// Bytes of a text or name, in UTF-8.
    std::int64_t mMaxStringLength = UNLIMITED;

    /// Bytes that loaded objects, with what is in them, take of Memory: the first number, and the second for
    /// each byte of input. Objects of the library's own classes take less than 60 bytes for each of their
    /// file or stream, but for IOStream, which has a buffer of 8192.
    std::int64_t mMaxMemory = std::int64_t{256} << 20;
    std::int64_t mMaxMemoryPerByte = 64;

    /// As "Module.Class". With any, the others are refused, those derived from them too. Without any, all are
    /// allowed, but untrusted data neither makes nor changes objects of classes that act outside the program:
    /// those of files, threads and connections. See ClassInfoTable::ActsOutside.
    std::vector<String> mClasses{};

    /// Whether what is loaded may act outside the program. For files: streams are asked themselves.
    bool mbTrusted = true;

    /// Sets a limit by its name: "Bytes", "Objects", "Nesting", "StringLength", "Memory" or "MemoryPerByte".
    /// False, after a report, for any other name and for a number below 0.
    bool Set(const String& name, std::int64_t limit);
};

} // namespace QBase
