// String is the name and text type of the library: immutable UTF-8 text, interned. Every distinct text
// lives once in a process-wide table, and a String is one pointer to that entry, so copying counts a
// reference, equality compares two pointers, and the hash was computed when the text was first seen.
//
//     String name("Camera");
//     name == String("Camera");                        // true, without looking at a character
//     String label = String::Format("%s %d", name.c_str(), 7);
//     label.length();                                  // code points; size() counts bytes
//
// What would surprise:
// - `name == "Camera"` does not compile: it could mean a comparison of addresses. Say String("Camera").
// - String::Null, String() and String(nullptr) are one entry; String("") is empty too, but another entry.
// - Bytes that are no UTF-8 are replaced by "?" and reported. The entry keeps the hash and the bucket of the
//   bytes as given, so a repaired text and the same text given clean are two entries that compare unequal.
// - A wide text that is no UTF-16 raises the UTF-8 library's exceptions.
// - There is no order; sort by c_str() where one is needed.
//
// Threads: Strings may be made, copied and dropped on any thread. Making the first of a text and dropping the
// last take the table's lock; copying, and dropping any other reference, take none, and making a further one
// takes one of many small locks for a moment, so that threads hardly ever meet. The repair report is
// delivered under that (recursive) lock, so an error handler may make Strings but must not wait for another
// thread that does.

#pragma once

#include "QBase/Allocator.h"
#include "QBase/Export.h"
#include "QBase/InterlockedInt.h"

#include <cstddef>
#include <functional>

namespace QBase
{

/// The hash of all interned texts and of the tables keyed by them. It reads every byte of up to 31, and at
/// most 31 of more, from the last towards the first.
QBASE_API unsigned GenerateHash(const char* pData, unsigned length);

class QBASE_API String
{
public:
    String() : mpEntry(AccessEntry(&sEmpty)) {}
    String(std::nullptr_t) : String() {}

    /// A null pointer gives the null string. Invalid UTF-8 is repaired and reported.
    String(const char* pText);

    /// UTF-16 units up to the terminator, or whole code points where wchar_t has room for them.
    String(const wchar_t* pText);

    String(const String& other) : mpEntry(AccessEntry(other.mpEntry)) {}
    ~String() { ReleaseEntry(mpEntry); }

    void operator=(const String& other);

    bool operator==(const String& other) const { return mpEntry == other.mpEntry; }
    bool operator!=(const String& other) const { return mpEntry != other.mpEntry; }
    void operator<=>(const String& other) const = delete; // would compare addresses

    /// GenerateHash of the bytes the entry was made from.
    unsigned hash() const { return mpEntry->mHash; }

    /// The number of code points.
    unsigned length() const { return mpEntry->mLength; }

    /// The number of bytes, the terminator not counted.
    unsigned size() const { return static_cast<unsigned>(mpEntry->mBuffer.size()); }

    /// Whether the text has no bytes.
    bool empty() const { return mpEntry->mBuffer.empty(); }

    /// The zero-terminated bytes, valid while any String refers to this text.
    const char* c_str() const { return mpEntry->mBuffer.c_str(); }
    operator const char*() const { return c_str(); }

    /// The text itself. Borrowed.
    const NarrowString& buffer_utf8() const { return mpEntry->mBuffer; }

    /// The text as UTF-16, one unit per element on every platform.
    WideString buffer_utf16() const;

    /// Formats like printf, then interns. A null format gives the null string.
    static String Format(const char* pFormat, ...) QBASE_PRINTF(1, 2);

    /// The null string: what String() makes.
    static const String& Null;

private:
    friend class StringInspector; // of the tests
    friend class StringStatics;
    friend class StringTable;
    friend struct std::hash<String>;

    struct Entry
    {
        NarrowString mBuffer; // always valid UTF-8
        unsigned mLength = 0; // code points
        InterlockedInt mRefCount;
        unsigned mHash = 0; // of the bytes as they were given, before any repair
        Entry* mpNext = nullptr;
    };

    static constexpr unsigned NUM_BUCKETS = 65537;

    explicit String(Entry* pEntry) : mpEntry(AccessEntry(pEntry ? pEntry : &sEmpty)) {}

    // Nobody counts who refers to the null string, which is never freed: objects are full of them.
    static Entry* AccessEntry(Entry* pEntry)
    {
        if (pEntry != &sEmpty) {
            pEntry->mRefCount.Increment();
        }
        return pEntry;
    }
    static Entry* AccessOrCreateEntry(const char* pText);
    static void ReleaseEntry(Entry* pEntry)
    {
        if (pEntry != &sEmpty && !pEntry->mRefCount.DecrementUnlessLast()) {
            ReleaseLast(pEntry);
        }
    }
    static void ReleaseLast(Entry* pEntry);
    static void DeleteEntry(Entry* pEntry);

    static Entry* sHashTable[NUM_BUCKETS];
    static Entry& sEmpty; // in no bucket, never freed

    Entry* mpEntry; // holds one reference, never null
};

} // namespace QBase

// By entry, not by hash(): texts whose sampled hashes collide still spread over a standard container.
template <>
struct std::hash<QBase::String>
{
    std::size_t operator()(const QBase::String& string) const noexcept
    {
        return std::hash<const void*>()(string.mpEntry);
    }
};
