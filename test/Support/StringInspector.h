// StringInspector looks into the table of interned texts.

#pragma once

#include "QBase/String.h"

#include <cstddef>
#include <string>
#include <vector>

namespace QBase
{

class StringInspector
{
public:
    static unsigned BucketOf(const String& string) { return string.hash() % String::NUM_BUCKETS; }
    static unsigned NumBuckets() { return String::NUM_BUCKETS; }

    /// The texts of a bucket, from its head on.
    static std::vector<std::string> Chain(unsigned bucket)
    {
        std::vector<std::string> texts;
        for (const String::Entry* pEntry = String::sHashTable[bucket]; pEntry; pEntry = pEntry->mpNext) {
            texts.emplace_back(pEntry->mBuffer.c_str());
        }
        return texts;
    }

    /// Where the members of an entry stand, in the order text, length, count, hash, next.
    static std::vector<std::size_t> EntryLayout()
    {
        using Entry = String::Entry;
        return {offsetof(Entry, mBuffer), offsetof(Entry, mLength), offsetof(Entry, mRefCount),
                offsetof(Entry, mHash), offsetof(Entry, mpNext)};
    }

    static int ReferenceCount(const String& string) { return string.mpEntry->mRefCount.Value(); }

    /// Drops the only reference of an entry that is in no bucket.
    static void DropStrayEntry()
    {
        String::Entry stray;
        stray.mRefCount.Increment();
        String::ReleaseEntry(&stray);
    }

    /// The same by the destructor of a String.
    static void DestroyStrayString()
    {
        String::Entry stray;
        const String string(&stray);
    }
};

} // namespace QBase
