// ValueBytes is the byte form of values, the same in binary files and on the replication wire: little-endian
// 32-bit words, one byte for a bool, red, green, blue, alpha for a Color. A string is a 32-bit byte count and
// that many bytes. How a value refers to a text or an object is up to the format, which says it in a
// References class:
//
//     struct References
//     {
//         void WriteText(ByteBuffer& rBytes, Value&& text);
//         void WriteObject(ByteBuffer& rBytes, Value&& object);
//         bool ReadText(Source& rBytes, Value& rText); // Source is ByteReader or another ByteSource
//         bool ReadObject(Source& rBytes, Value& rObject); // false, after a report, on bad bytes
//     };
//
//     ValueBytes::Write(bytes, Value(7), references);
//     ValueBytes::Read(reader, Value::TYPE_INT, value, references);

#pragma once

#include "QBase/ByteBuffer.h"
#include "QBase/Value.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace QBase
{

// What is read from bytes, wherever they come from. A Source offers Take, GetRemaining and PutBack.
template <typename Source>
class ByteSource
{
public:
    bool ReadByte(unsigned char& rByte)
    {
        const unsigned char* const p = GetSource().Take(1);
        if (p == nullptr) {
            return false;
        }
        rByte = *p;
        return true;
    }

    bool ReadInt(std::int32_t& rValue);

    /// A count of things of at least `size` bytes each: false, and back in front of it, for one that the
    /// bytes left cannot hold.
    bool ReadCount(std::int32_t& rCount, std::size_t size)
    {
        if (!ReadInt(rCount)) {
            return false;
        }
        if (rCount < 0 || static_cast<std::size_t>(rCount) > GetSource().GetRemaining() / size) {
            GetSource().PutBack(sizeof(rCount));
            return false;
        }
        return true;
    }

private:
    Source& GetSource() { return static_cast<Source&>(*this); }
};

// ByteReader walks over bytes that somebody else owns. Each operation answers false, and stays where it is,
// when there are not enough bytes.
class ByteReader : public ByteSource<ByteReader>
{
public:
    ByteReader(const unsigned char* pBytes, std::size_t size)
        : mpBegin(pBytes), mpNext(pBytes), mpEnd(pBytes + size)
    {}

    std::size_t GetPosition() const { return static_cast<std::size_t>(mpNext - mpBegin); }
    std::size_t GetRemaining() const { return static_cast<std::size_t>(mpEnd - mpNext); }

    /// The next `size` bytes, or null. Borrowed.
    const unsigned char* Take(std::size_t size)
    {
        if (GetRemaining() < size) {
            return nullptr;
        }
        const unsigned char* const pBytes = mpNext;
        mpNext += size;
        return pBytes;
    }

    /// Goes back by `size` bytes, which were taken just before.
    void PutBack(std::size_t size) { mpNext -= size; }

private:
    const unsigned char* mpBegin;
    const unsigned char* mpNext;
    const unsigned char* mpEnd;
};

namespace ValueBytes
{

inline void StoreInt(unsigned char* p, std::int32_t value)
{
    const std::uint32_t bits = static_cast<std::uint32_t>(value);
    p[0] = static_cast<unsigned char>(bits);
    p[1] = static_cast<unsigned char>(bits >> 8);
    p[2] = static_cast<unsigned char>(bits >> 16);
    p[3] = static_cast<unsigned char>(bits >> 24);
}

inline std::int32_t LoadInt(const unsigned char* p)
{
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
        static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24);
}

/// Appends to a ByteBuffer or ByteBlocks.
template <typename Bytes>
void WriteInt(Bytes& rBytes, std::int32_t value)
{
    StoreInt(rBytes.MakeRoom(4), value);
    rBytes.Advance(4);
}

/// The one encoding of a string in files and streams; the null string and the empty one have count 0.
inline void WriteString(ByteBuffer& rBytes, const String& text)
{
    WriteInt(rBytes, static_cast<std::int32_t>(text.size()));
    rBytes.Append(text.c_str(), text.size());
}

/// True for the types that a file or a stream can hold: all but "void", "Value" and unknown codes.
constexpr bool IsStorable(int type)
{
    return type > Value::TYPE_VOID && type < Value::NUM_TYPES && type != Value::TYPE_VALUE;
}

/// The bytes of a value of a plain type; for "String" and "Object" the 4 that a reference has at least.
constexpr std::size_t GetSize(Value::Type type)
{
    constexpr unsigned char SIZES[Value::NUM_TYPES] = {0, 4, 4, 1, 4, 4, 8, 12, 16, 8, 12, 16, 4, 0, 4, 16};
    return SIZES[type];
}

// Both directions between a payload in memory and its bytes: on a little-endian machine they are the same.
inline void ConvertPayload(Value::Type type, unsigned char* pTo, const unsigned char* pFrom, std::size_t size)
{
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(pTo, pFrom, size);
    } else {
        for (std::size_t i = 0; i < size; ++i) {
            const bool bBytewise = type == Value::TYPE_COLOR || type == Value::TYPE_BOOL;
            pTo[i] = pFrom[bBytewise ? i : i ^ 3];
        }
    }
}

/// The same between a payload and bytes of which neither has more than the type's own.
inline void CopyPayload(Value::Type type, unsigned char* pTo, const unsigned char* pFrom)
{
    switch (GetSize(type)) { // each a copy of a known size, which takes an instruction or two
    case 1:
        return ConvertPayload(type, pTo, pFrom, 1);
    case 4:
        return ConvertPayload(type, pTo, pFrom, 4);
    case 8:
        return ConvertPayload(type, pTo, pFrom, 8);
    case 12:
        return ConvertPayload(type, pTo, pFrom, 12);
    default:
        return ConvertPayload(type, pTo, pFrom, Value::PAYLOAD_SIZE);
    }
}

/// Turns the bytes of values of a plain type, one behind the other, into payloads in place.
inline void ToPayloads(Value::Type type, unsigned char* pBytes, int count)
{
    if constexpr (std::endian::native != std::endian::little) {
        for (int i = 0; i < count; ++i, pBytes += GetSize(type)) {
            unsigned char bytes[Value::PAYLOAD_SIZE];
            std::memcpy(bytes, pBytes, GetSize(type));
            ConvertPayload(type, pBytes, bytes, GetSize(type));
        }
    }
}

/// Appends a value of a plain type, given as its payload, to a ByteBuffer or ByteBlocks.
template <typename Bytes>
void WritePlain(Bytes& rBytes, Value::Type type, const void* pPayload)
{
    CopyPayload(type, rBytes.MakeRoom(Value::PAYLOAD_SIZE), static_cast<const unsigned char*>(pPayload));
    rBytes.Advance(GetSize(type));
}

/// Appends a value of a storable type.
template <typename References>
void Write(ByteBuffer& rBytes, Value&& value, References& rReferences)
{
    const Value::Type type = value.GetType();
    if (type == Value::TYPE_OBJECT) {
        rReferences.WriteObject(rBytes, std::move(value));
    } else if (type == Value::TYPE_STRING) {
        rReferences.WriteText(rBytes, std::move(value));
    } else {
        // All 16 bytes are copied, which the compiler does at once, and only those of the type are kept.
        const std::size_t size = GetSize(type);
        ConvertPayload(type, rBytes.MakeRoom(Value::PAYLOAD_SIZE), ValueBits::GetPayload(value),
                       Value::PAYLOAD_SIZE);
        rBytes.Advance(size);
    }
}

/// Reads a value of a storable type into one that is void. False when there are not enough bytes, or the
/// References say so.
template <typename Source, typename References>
bool Read(Source& rBytes, Value::Type type, Value& rValue, References& rReferences)
{
    if (type == Value::TYPE_OBJECT) {
        return rReferences.ReadObject(rBytes, rValue);
    }
    if (type == Value::TYPE_STRING) {
        return rReferences.ReadText(rBytes, rValue);
    }
    const std::size_t size = GetSize(type);
    const unsigned char* const pBytes = rBytes.Take(size);
    if (pBytes == nullptr) {
        return false;
    }
    if constexpr (std::endian::native == std::endian::little) {
        ValueBits::SetPlain(rValue, type, pBytes, size);
    } else {
        unsigned char payload[Value::PAYLOAD_SIZE];
        ConvertPayload(type, payload, pBytes, size);
        ValueBits::SetPlain(rValue, type, payload, size);
    }
    return true;
}

} // namespace ValueBytes

template <typename Source>
bool ByteSource<Source>::ReadInt(std::int32_t& rValue)
{
    const unsigned char* const p = GetSource().Take(4);
    if (p == nullptr) {
        return false;
    }
    rValue = ValueBytes::LoadInt(p);
    return true;
}

} // namespace QBase
