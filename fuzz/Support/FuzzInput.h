// FuzzInput hands out the bytes of one input as the numbers, choices and texts that a target asks for. At its
// end everything is 0 or empty.
//
//     while (!input.IsEmpty()) {
//         switch (input.TakeBelow(3)) { ...
//
// Threads: one at a time.

#pragma once

#include "QBase/String.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* pData, std::size_t size) : mRest(reinterpret_cast<const char*>(pData), size)
    {}

    bool IsEmpty() const { return mRest.empty(); }

    int TakeByte()
    {
        if (IsEmpty()) {
            return 0;
        }
        const int byte = static_cast<unsigned char>(mRest.front());
        mRest.remove_prefix(1);
        return byte;
    }

    /// 0 to `limit` - 1; `limit` is 1 to 256.
    int TakeBelow(int limit) { return TakeByte() % limit; }

    int TakeInt()
    {
        std::int32_t value = 0;
        const std::string_view bytes = TakeBytes(sizeof(value));
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }

    /// The next bytes, as many as there are at most.
    std::string_view TakeBytes(std::size_t count)
    {
        const std::string_view bytes = mRest.substr(0, (std::min)(count, mRest.size()));
        mRest.remove_prefix(bytes.size());
        return bytes;
    }

    /// A text of as many bytes as the next byte says, up to its first zero byte. Never a broken one: each
    /// String made of a broken text is unlike all others.
    QBase::String TakeText() { return CleanText(TakeBytes(static_cast<std::size_t>(TakeByte()))); }
    QBase::String TakeRestAsText() { return CleanText(TakeRest()); }

    std::string_view TakeRest() { return TakeBytes(mRest.size()); }

private:
    static QBase::String CleanText(std::string_view bytes)
    {
        const QBase::String repaired(std::string(bytes).c_str());
        return QBase::String(std::string(repaired.c_str()).c_str());
    }

    std::string_view mRest;
};
