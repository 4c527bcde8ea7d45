#include "QBase/String.h"

#include "QBase/ChainIndex.h"
#include "QBase/CriticalSection.h"
#include "QBase/Error.h"
#include "QBase/FormattedText.h"
#include "QBase/Memory.h"
#include "QBase/QuickIndex.h"
#include "QBase/UTF8.h"
#include "QBase/Utf8Library.h"

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <type_traits>

namespace QBase
{

unsigned GenerateHash(const char* pData, unsigned length)
{
    unsigned hash = length;
    const unsigned step = (length >> 5) + 1;
    for (unsigned i = length; i >= step; i -= step) {
        hash ^= (hash << 5) + (hash >> 2) + static_cast<unsigned char>(pData[i - 1]);
    }
    return hash;
}

String::Entry* String::sHashTable[NUM_BUCKETS];

namespace
{

// Stripe is a lock for a part of the texts. It is held for a few comparisons or one change of what it guards,
// never while anything else is called, so waiting for it is spinning.
class Stripe
{
public:
    class Block
    {
    public:
        explicit Block(Stripe& rStripe) : mrStripe(rStripe)
        {
            while (mrStripe.mbTaken.exchange(true, std::memory_order_acquire)) {
                mrStripe.WaitUntilFree();
            }
        }
        ~Block() { mrStripe.mbTaken.store(false, std::memory_order_release); }
        Block(const Block&) = delete;
        Block& operator=(const Block&) = delete;

    private:
        Stripe& mrStripe;
    };

private:
    void WaitUntilFree() const
    {
        constexpr int NUM_SPINS = 100; // then its holder has probably lost the processor
        for (int spin = 1; mbTaken.load(std::memory_order_relaxed); ++spin) {
            if (spin % NUM_SPINS == 0) {
                std::this_thread::yield();
            }
        }
    }

    std::atomic<bool> mbTaken{false};
};

} // namespace

// The table of all entries: sHashTable, the index of its long chains, and its parts.
//
// The table's lock guards every change, the chains and their index. A look-up of a text that exists needs
// neither: each part of the texts, by their quick hash, has an index of its own with a small lock. Entries
// whose text was repaired are left out of it: they are known by the bytes as they were given. Whoever holds
// the table's lock may read a part without its own.
class StringTable
{
public:
    using Entry = String::Entry;

    struct Deleter
    {
        void operator()(Entry* pEntry) const;
    };

    static CriticalSection* Lock();

    /// An entry that is in no bucket yet, with one reference.
    static std::unique_ptr<Entry, Deleter> NewEntry(std::string_view text, unsigned hash);

    /// The entry in the text's part, with one more reference; null when it is not there.
    static Entry* AccessQuickly(std::string_view text, std::uint64_t quickHash);

    // The caller of these holds the lock.

    /// An entry that AccessQuickly finds the next time, if it did not now.
    static Entry* Find(std::string_view text, unsigned hash, std::uint64_t quickHash);

    /// Links a new entry and lets AccessQuickly find it.
    static void Link(Entry* pEntry, std::uint64_t quickHash);

    /// Links one whose text was repaired, and leaves the text to Find: there may be two in a bucket, and the
    /// newer one counts.
    static void LinkRepaired(Entry* pEntry);

    /// False when the entry is in no bucket.
    static bool Unlink(Entry* pEntry);

private:
    struct Traits
    {
        using Entry = String::Entry;
        static std::string_view Key(const Entry& entry) { return entry.mBuffer; }
    };
    using Index = ChainIndex<Traits>;

    struct alignas(64) Part // a cache line, so that no two threads share one for nothing
    {
        Stripe mLock;
        QuickIndex<Traits> mIndex;
    };
    static constexpr unsigned NUM_PARTS = 256;
    static Part sParts[NUM_PARTS]; // never destroyed

    static Part& PartOf(std::uint64_t quickHash) { return sParts[(quickHash >> 24) % NUM_PARTS]; }

    // How long the chains are, so that nobody has to walk one to know. One that is once too long to be
    // counted counts as long.
    static constexpr std::uint8_t UNCOUNTED = 255;
    static std::uint8_t sChainLengths[String::NUM_BUCKETS];

    static Index& LongChains();
    static unsigned BucketOf(unsigned hash) { return hash % String::NUM_BUCKETS; }
    static Entry* FindInBucket(std::string_view text, unsigned hash);
    static void LinkInBucket(Entry* pEntry);
    static void RemoveFromPart(const Entry* pEntry);
    static bool FindPredecessor(unsigned bucket, const Entry* pEntry, Entry** ppPredecessor);
};

void StringTable::Deleter::operator()(Entry* pEntry) const
{
    pEntry->~Entry();
    Memory::Free(pEntry, true);
}

// Made on first use and never destroyed, since Strings are made before and dropped after all else.
CriticalSection* StringTable::Lock()
{
    static CriticalSection* spLock = [] {
        void* p = Memory::Alloc(sizeof(CriticalSection), ALLOC_UNKNOWN, "String", __LINE__, true);
        return p ? new (p) CriticalSection : throw std::bad_alloc();
    }();
    return spLock;
}

StringTable::Index& StringTable::LongChains()
{
    static Index& sIndex = *new Index;
    return sIndex;
}

std::unique_ptr<String::Entry, StringTable::Deleter> StringTable::NewEntry(std::string_view text,
                                                                           unsigned hash)
{
    const auto freeBlock = [](void* p) { Memory::Free(p, true); };
    std::unique_ptr<void, decltype(freeBlock)> pBlock(
        Memory::Alloc(sizeof(Entry), ALLOC_UNKNOWN, "String", __LINE__, true), freeBlock);
    if (!pBlock) {
        throw std::bad_alloc();
    }
    std::unique_ptr<Entry, Deleter> pEntry(
        new (pBlock.get()) Entry{NarrowString(text), 0, InterlockedInt(1), hash, nullptr});
    pBlock.release();
    return pEntry;
}

constinit StringTable::Part StringTable::sParts[NUM_PARTS];
std::uint8_t StringTable::sChainLengths[String::NUM_BUCKETS];

// An entry without references is on its way out: its thread waits for the part.
String::Entry* StringTable::AccessQuickly(std::string_view text, std::uint64_t quickHash)
{
    Part& rPart = PartOf(quickHash);
    const Stripe::Block block(rPart.mLock);
    Entry* const pEntry = rPart.mIndex.Find(quickHash, text);
    return pEntry != nullptr && pEntry->mRefCount.IncrementUnlessZero() ? pEntry : nullptr;
}

String::Entry* StringTable::Find(std::string_view text, unsigned hash, std::uint64_t quickHash)
{
    Part& rPart = PartOf(quickHash);
    if (Entry* const pEntry = rPart.mIndex.Find(quickHash, text)) {
        return pEntry; // another thread was faster
    }
    Entry* const pEntry = rPart.mIndex.HasAll() ? nullptr : FindInBucket(text, hash);
    if (pEntry != nullptr) {
        const Stripe::Block block(rPart.mLock);
        rPart.mIndex.InsertLeftOut(quickHash, pEntry);
    }
    return pEntry;
}

String::Entry* StringTable::FindInBucket(std::string_view text, unsigned hash)
{
    const unsigned bucket = BucketOf(hash);
    int steps = 0;
    for (Entry* pEntry = String::sHashTable[bucket]; pEntry; pEntry = pEntry->mpNext) {
        if (std::string_view(pEntry->mBuffer) == text) {
            return pEntry;
        }
        if (++steps == Index::SHORT_CHAIN && LongChains().Covers(bucket)) {
            return LongChains().Find(bucket, text);
        }
    }
    return nullptr;
}

void StringTable::Link(Entry* pEntry, std::uint64_t quickHash)
{
    LinkInBucket(pEntry);
    Part& rPart = PartOf(quickHash);
    const Stripe::Block block(rPart.mLock);
    rPart.mIndex.Insert(quickHash, pEntry);
}

void StringTable::LinkRepaired(Entry* pEntry)
{
    LinkInBucket(pEntry);
    const std::uint64_t quickHash = QuickHash(pEntry->mBuffer);
    Part& rPart = PartOf(quickHash);
    const Stripe::Block block(rPart.mLock);
    rPart.mIndex.LeaveOut(quickHash, pEntry->mBuffer);
    rPart.mIndex.LeaveOut();
}

void StringTable::LinkInBucket(Entry* pEntry)
{
    const unsigned bucket = BucketOf(pEntry->mHash);
    pEntry->mpNext = String::sHashTable[bucket];
    String::sHashTable[bucket] = pEntry;
    std::uint8_t& rLength = sChainLengths[bucket];
    if (rLength != UNCOUNTED) {
        ++rLength;
    }
    LongChains().Link(bucket, pEntry, rLength > Index::SHORT_CHAIN);
}

void StringTable::RemoveFromPart(const Entry* pEntry)
{
    const std::uint64_t quickHash = QuickHash(pEntry->mBuffer);
    Part& rPart = PartOf(quickHash);
    const Stripe::Block block(rPart.mLock);
    rPart.mIndex.Remove(quickHash, pEntry);
}

bool StringTable::Unlink(Entry* pEntry)
{
    const unsigned bucket = BucketOf(pEntry->mHash);
    Entry* pPredecessor = nullptr;
    if (!FindPredecessor(bucket, pEntry, &pPredecessor)) {
        return false;
    }
    RemoveFromPart(pEntry);
    LongChains().Unlink(bucket, pEntry);
    (pPredecessor ? pPredecessor->mpNext : String::sHashTable[bucket]) = pEntry->mpNext;
    if (sChainLengths[bucket] != UNCOUNTED) {
        --sChainLengths[bucket];
    }
    return true;
}

bool StringTable::FindPredecessor(unsigned bucket, const Entry* pEntry, Entry** ppPredecessor)
{
    if (LongChains().Covers(bucket)) {
        return LongChains().FindPredecessor(bucket, pEntry, ppPredecessor);
    }
    *ppPredecessor = nullptr;
    for (Entry* pNode = String::sHashTable[bucket]; pNode; pNode = pNode->mpNext) {
        if (pNode == pEntry) {
            return true;
        }
        *ppPredecessor = pNode;
    }
    return false;
}

namespace
{

// Most texts are, and need no decoding.
bool IsAscii(std::string_view text)
{
    std::uint64_t bits = 0;
    for (; text.size() >= sizeof(bits); text.remove_prefix(sizeof(bits))) {
        std::uint64_t word;
        std::memcpy(&word, text.data(), sizeof(word));
        bits |= word;
    }
    for (const char character : text) {
        bits |= static_cast<unsigned char>(character);
    }
    return (bits & 0x8080808080808080u) == 0;
}

// One "?" for each invalid sequence.
NarrowString Repaired(const NarrowString& text)
{
    NarrowString repaired;
    repaired.reserve(text.size());
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(repaired), '?');
    return repaired;
}

// A wide character is a UTF-16 unit or, where wchar_t has the room, any code point. The UTF-8 library cuts
// each to 16 bits, so the pairs are put together here; what fits nowhere raises the library's exceptions.
NarrowString Narrowed(const wchar_t* pText)
{
    using Unit = std::make_unsigned_t<wchar_t>;
    NarrowString narrow;
    while (*pText) {
        std::uint32_t codePoint = static_cast<Unit>(*pText++);
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            const std::uint32_t trail = static_cast<Unit>(*pText);
            if (codePoint > 0xDBFF || trail < 0xDC00 || trail > 0xDFFF) {
                throw utf8::invalid_utf16(static_cast<std::uint16_t>(codePoint));
            }
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (trail - 0xDC00);
            ++pText;
        }
        UTF8::Append(narrow, codePoint);
    }
    return narrow;
}

} // namespace

String::String(const char* pText) : mpEntry(AccessOrCreateEntry(pText))
{}

String::String(const wchar_t* pText)
    : mpEntry(pText ? AccessOrCreateEntry(Narrowed(pText).c_str()) : AccessEntry(&sEmpty))
{}

void String::operator=(const String& other)
{
    Entry* pOld = mpEntry;
    mpEntry = AccessEntry(other.mpEntry);
    ReleaseEntry(pOld);
}

WideString String::buffer_utf16() const
{
    WideString wide;
    utf8::utf8to16(mpEntry->mBuffer.begin(), mpEntry->mBuffer.end(), std::back_inserter(wide));
    return wide;
}

String String::Format(const char* pFormat, ...)
{
    if (!pFormat) {
        return Null;
    }
    std::va_list arguments;
    va_start(arguments, pFormat);
    const FormattedText text({}, pFormat, arguments);
    va_end(arguments);
    return String(text.c_str());
}

String::Entry* String::AccessOrCreateEntry(const char* pText)
{
    if (!pText) {
        return AccessEntry(&sEmpty);
    }
    const std::string_view text(pText);
    const std::uint64_t quickHash = QuickHash(text);
    if (Entry* pEntry = StringTable::AccessQuickly(text, quickHash)) {
        return pEntry;
    }
    const unsigned hash = GenerateHash(pText, static_cast<unsigned>(text.size()));
    const bool bAscii = IsAscii(text);
    const bool bValid = bAscii || utf8::is_valid(text.begin(), text.end());
    CriticalSection::Block block(StringTable::Lock());
    if (Entry* pEntry = StringTable::Find(text, hash, quickHash)) {
        return AccessEntry(pEntry);
    }

    auto pEntry = StringTable::NewEntry(text, hash);
    if (!bValid) {
        pEntry->mBuffer = Repaired(pEntry->mBuffer);
    }
    pEntry->mLength = bAscii ? static_cast<unsigned>(text.size()) : UTF8::Length(pEntry->mBuffer);
    // The hash stays that of the bytes as given, so a repaired text and the same text given clean are two
    // entries.
    if (!bValid) {
        Error("String", 185, "Fixed invalid UTF8 string '%s'", pEntry->mBuffer.c_str());
    }
    // Linked last: a handler of the report may have put entries of its own into the bucket.
    if (bValid) {
        StringTable::Link(pEntry.get(), quickHash);
    } else {
        StringTable::LinkRepaired(pEntry.get());
    }
    return pEntry.release();
}

void String::ReleaseLast(Entry* pEntry)
{
    // Under the lock, so that no other look-up finds an entry that is on its way out.
    CriticalSection::Block block(StringTable::Lock());
    if (pEntry->mRefCount.Decrement() <= 0) {
        DeleteEntry(pEntry);
    }
}

void String::DeleteEntry(Entry* pEntry)
{
    if (pEntry == &sEmpty) {
        return;
    }
    const bool bFound = StringTable::Unlink(pEntry);
    if (!QBASE_ASSERT_TEXT(bFound, "String", 218, "ASSERT( pEntryNode )")) {
        return;
    }
    StringTable::Deleter()(pEntry);
}

} // namespace QBase
