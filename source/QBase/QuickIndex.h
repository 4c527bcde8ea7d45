// QuickIndex finds an entry by its text with a hash that costs less than GenerateHash and in about one look
// at memory: places for five entries lie together. It is an addition to a table that knows all entries; an
// entry may be left out here, because its places are taken or memory is short, and no look-up takes more than
// four groups of places, whatever the texts; nearly all take one. The index knows how many are left out:
// while none is, what it does not find does not exist.
//
//     const std::uint64_t hash = QuickHash(text);
//     index.Insert(hash, pEntry);
//     index.Find(hash, text);    // null: look in the table, unless index.HasAll()
//     index.Remove(hash, pEntry);
//
// Its memory comes from the C library, so that the counts of Memory stay those of the entries.
//
// Threads: nothing here locks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace QBase
{

/// A hash for tables in memory alone: it differs between systems.
inline std::uint64_t QuickHash(std::string_view text)
{
    const auto mix = [](std::uint64_t bits) {
        bits *= 0x9E3779B97F4A7C15u;
        return bits ^ bits >> 32;
    };
    std::uint64_t hash = text.size();
    for (; text.size() >= 8; text.remove_prefix(8)) {
        std::uint64_t word;
        std::memcpy(&word, text.data(), 8);
        hash = mix(hash ^ word);
    }
    std::uint64_t rest = 0;
    if (text.size() >= 4) { // two words that may overlap
        std::uint32_t words[2];
        std::memcpy(&words[0], text.data(), 4);
        std::memcpy(&words[1], text.data() + text.size() - 4, 4);
        rest = static_cast<std::uint64_t>(words[0]) << 32 | words[1];
    } else {
        for (const char c : text) {
            rest = rest << 8 | static_cast<unsigned char>(c);
        }
    }
    return mix(hash ^ rest);
}

// Traits has `Entry` and Key(entry), the text.
template <typename Traits>
class QuickIndex
{
    using Entry = typename Traits::Entry;

public:
    constexpr QuickIndex() = default;
    QuickIndex(const QuickIndex&) = delete;
    QuickIndex& operator=(const QuickIndex&) = delete;

    /// The entry of that text and hash, or null.
    Entry* Find(std::uint64_t hash, std::string_view text) const
    {
        const std::uint32_t tag = TagOf(hash);
        for (std::size_t step = 0; IsStep(step); ++step) {
            const Group& group = mpGroups[GroupOf(tag) ^ step];
            for (std::size_t place = 0; place < GROUP_SIZE; ++place) {
                if (group.mTags[place] == tag && Traits::Key(*group.mpEntries[place]) == text) {
                    return group.mpEntries[place];
                }
            }
            if (mpGroups[GroupOf(tag)].mNumBehind == 0) {
                break;
            }
        }
        return nullptr;
    }

    /// False when there are entries which Find does not find.
    bool HasAll() const { return mNumLeftOut == 0; }

    /// Of an entry that is not here.
    void Insert(std::uint64_t hash, Entry* pEntry)
    {
        if (IsFilled(2)) {
            Grow();
        }
        bool bPlaced = Place(TagOf(hash), pEntry);
        if (!bPlaced && IsFilled(4)) { // by chance; not by texts that are made to collide
            Grow();
            bPlaced = Place(TagOf(hash), pEntry);
        }
        mNumLeftOut += bPlaced ? 0 : 1;
    }

    /// Counts an entry that Find shall not find.
    void LeaveOut() { ++mNumLeftOut; }

    /// Inserts one that was left out, if now there is a place.
    void InsertLeftOut(std::uint64_t hash, Entry* pEntry)
    {
        --mNumLeftOut;
        Insert(hash, pEntry);
    }

    /// Leaves the entry of that text out from now on, if it is here.
    void LeaveOut(std::uint64_t hash, std::string_view text)
    {
        if (const Entry* const pEntry = Find(hash, text)) {
            Remove(hash, pEntry);
            LeaveOut();
        }
    }

    /// Of an entry that was inserted or left out.
    void Remove(std::uint64_t hash, const Entry* pEntry)
    {
        const std::uint32_t tag = TagOf(hash);
        for (std::size_t step = 0; IsStep(step); ++step) {
            Group& rGroup = mpGroups[GroupOf(tag) ^ step];
            const std::size_t place = FindPlace(rGroup, pEntry);
            if (place != GROUP_SIZE) {
                rGroup.mTags[place] = 0;
                rGroup.mpEntries[place] = nullptr;
                mpGroups[GroupOf(tag)].mNumBehind -= step != 0 ? 1 : 0;
                --mNumEntries;
                return;
            }
        }
        --mNumLeftOut;
    }

    /// Forgets all entries and gives the memory back. It does not go by itself: texts are made to the very
    /// end.
    void Free()
    {
        std::free(std::exchange(mpBlock, nullptr));
        mpGroups = nullptr;
        mNumGroups = 0;
        mNumEntries = 0;
        mNumLeftOut = 0;
    }

private:
    static constexpr std::size_t GROUP_SIZE = 5;
    static constexpr std::size_t NUM_STEPS = 4; // groups in which an entry may stand
    static constexpr std::size_t FIRST_SIZE = 2;

    struct alignas(64) Group
    {
        std::uint32_t mTags[GROUP_SIZE]; // a part of the hash; 0 beside a free place
        std::uint32_t mNumBehind;        // how many that belong here stand in another of their groups
        Entry* mpEntries[GROUP_SIZE];    // borrowed; null in a free place
    };
    static_assert(sizeof(Group) == 64);

    // The tag alone says where its entry belongs, so that growing looks at no entry.
    static std::uint32_t TagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32) | 1; }
    std::size_t GroupOf(std::uint32_t tag) const { return tag >> 1 & (mNumGroups - 1); }

    // Whether an entry has so many groups beside its first.
    bool IsStep(std::size_t step) const { return step < NUM_STEPS && step < mNumGroups; }

    // Whether at least one of so many places is taken.
    bool IsFilled(std::size_t divisor) const { return divisor * mNumEntries >= mNumGroups * GROUP_SIZE; }

    // The place of the entry, or a free one for null; GROUP_SIZE when there is none.
    static std::size_t FindPlace(const Group& group, const Entry* pEntry)
    {
        std::size_t place = 0;
        while (place < GROUP_SIZE && group.mpEntries[place] != pEntry) {
            ++place;
        }
        return place;
    }

    bool Place(std::uint32_t tag, Entry* pEntry)
    {
        for (std::size_t step = 0; IsStep(step); ++step) {
            Group& rGroup = mpGroups[GroupOf(tag) ^ step];
            const std::size_t place = FindPlace(rGroup, nullptr);
            if (place != GROUP_SIZE) {
                rGroup.mTags[place] = tag;
                rGroup.mpEntries[place] = pEntry;
                mpGroups[GroupOf(tag)].mNumBehind += step != 0 ? 1 : 0;
                ++mNumEntries;
                return true;
            }
        }
        return false;
    }

    // Stays as it is when there is no memory.
    void Grow()
    {
        const std::size_t numOld = mNumGroups;
        const std::size_t numGroups = numOld == 0 ? FIRST_SIZE : 2 * numOld;
        void* const pBlock = std::calloc(numGroups + 1, sizeof(Group)); // one more to begin at a line
        if (pBlock == nullptr) {
            return;
        }
        void* const pOldBlock = std::exchange(mpBlock, pBlock);
        const Group* const pOld = mpGroups;
        const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pBlock);
        mpGroups = reinterpret_cast<Group*>((address + alignof(Group) - 1) & ~(alignof(Group) - 1));
        mNumGroups = numGroups;
        mNumEntries = 0;
        for (std::size_t i = 0; i < numOld; ++i) {
            for (std::size_t place = 0; place < GROUP_SIZE; ++place) {
                if (pOld[i].mpEntries[place] != nullptr &&
                    !Place(pOld[i].mTags[place], pOld[i].mpEntries[place])) {
                    LeaveOut();
                }
            }
        }
        std::free(pOldBlock);
    }

    void* mpBlock = nullptr;     // owned
    Group* mpGroups = nullptr;   // in the block
    std::size_t mNumGroups = 0;  // a power of two
    std::size_t mNumEntries = 0; // that have a place
    std::size_t mNumLeftOut = 0;
};

} // namespace QBase
