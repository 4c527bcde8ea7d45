// Where a virtual function stands among those of its class. Hosts that were built earlier call by the place,
// so the order of declaration is part of what a class promises.
//
//     EXPECT_EQ(VirtualSlot(&Stream::Read), VirtualSlot(&Stream::Write) + 1);

#pragma once

#include <cstddef>
#include <cstring>

/// The pointer to a virtual member holds one more than the offset in the table of functions, on every
/// system where the compiler follows the common C++ ABI.
template <typename Member>
std::ptrdiff_t VirtualSlot(Member pMember)
{
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &pMember, sizeof(offset));
    return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}
