// ThreadMemory tells how many bytes the calling thread has taken and not given back, so that a load can be
// held against a limit without a count of its own.
//
//     const std::int64_t before = ThreadMemory::GetBytes();
//     ...
//     if (ThreadMemory::GetBytes() - before > limit)
//
// These are the bytes of Memory, and those that somebody takes elsewhere and reports by a ForeignBytes. What
// one thread takes and another gives back is missing from the one and negative in the other.

#pragma once

#include <cstdint>

namespace QBase
{

namespace ThreadMemory
{

std::int64_t GetBytes();

void AddForeign(std::int64_t numBytes);

} // namespace ThreadMemory

// Bytes outside of Memory, for as long as this lives.
template <std::int64_t NUM_BYTES>
class ForeignBytes
{
public:
    ForeignBytes() { ThreadMemory::AddForeign(NUM_BYTES); }
    ~ForeignBytes() { ThreadMemory::AddForeign(-NUM_BYTES); }
    ForeignBytes(const ForeignBytes&) = delete;
    ForeignBytes& operator=(const ForeignBytes&) = delete;
};

} // namespace QBase
