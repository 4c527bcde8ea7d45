// QuickIndex finds an entry by its text with a hash that costs less than GenerateHash and in about one look
// at memory: places for five entries lie together. It is an addition to a table that knows all entries; an
// entry may be missing here, because its places are taken or memory is short, and no look-up takes more than
// two groups of places, whatever the texts.
//
//     const std::uint64_t hash = QuickHash(text);
//     index.Insert(hash, pEntry);
//     index.Find(hash, text);
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
        for (std::size_t step = 0; step < NUM_STEPS && mpGroups != nullptr; ++step) {
            const Group& group = mpGroups[GroupOf(hash) ^ step];
            for (std::size_t place = 0; place < GROUP_SIZE; ++place) {
                if (group.mTags[place] == TagOf(hash) && Traits::Key(*group.mpEntries[place]) == text) {
                    return group.mpEntries[place];
                }
            }
            if (FindPlace(group, nullptr) != GROUP_SIZE) {
                break; // what stands elsewhere all the same, since the group was full once, is missed
            }
        }
        return nullptr;
    }

    void Insert(std::uint64_t hash, Entry* pEntry)
    {
        if (2 * mNumEntries >= mNumGroups * GROUP_SIZE) {
            Grow();
        }
        if (mpGroups != nullptr) {
            Place(hash, pEntry);
        }
    }

    /// Forgets all entries and gives the memory back. It does not go by itself: texts are made to the very
    /// end.
    void Free()
    {
        std::free(std::exchange(mpBlock, nullptr));
        mpGroups = nullptr;
        mNumGroups = 0;
        mNumEntries = 0;
    }

    /// Nothing when the entry is not here.
    void Remove(std::uint64_t hash, const Entry* pEntry)
    {
        for (std::size_t step = 0; step < NUM_STEPS && mpGroups != nullptr; ++step) {
            Group& rGroup = mpGroups[GroupOf(hash) ^ step];
            const std::size_t place = FindPlace(rGroup, pEntry);
            if (place != GROUP_SIZE) {
                rGroup.mTags[place] = 0;
                rGroup.mpEntries[place] = nullptr;
                --mNumEntries;
                return;
            }
        }
    }

private:
    static constexpr std::size_t GROUP_SIZE = 5;
    static constexpr std::size_t NUM_STEPS = 2; // groups in which an entry may stand
    static constexpr std::size_t FIRST_SIZE = 2;

    struct alignas(64) Group
    {
        std::uint32_t mTags[GROUP_SIZE]; // a part of the hash, never 0 beside an entry
        Entry* mpEntries[GROUP_SIZE];    // borrowed; null in a free place
    };

    static std::uint32_t TagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32) | 1; }
    std::size_t GroupOf(std::uint64_t hash) const
    {
        return static_cast<std::size_t>(hash) & (mNumGroups - 1);
    }

    // The place of the entry, or a free one for null; GROUP_SIZE when there is none.
    static std::size_t FindPlace(const Group& group, const Entry* pEntry)
    {
        std::size_t place = 0;
        while (place < GROUP_SIZE && group.mpEntries[place] != pEntry) {
            ++place;
        }
        return place;
    }

    void Place(std::uint64_t hash, Entry* pEntry)
    {
        for (std::size_t step = 0; step < NUM_STEPS; ++step) {
            Group& rGroup = mpGroups[GroupOf(hash) ^ step];
            const std::size_t place = FindPlace(rGroup, nullptr);
            if (place != GROUP_SIZE) {
                rGroup.mTags[place] = TagOf(hash);
                rGroup.mpEntries[place] = pEntry;
                ++mNumEntries;
                return;
            }
        }
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
            for (Entry* const pEntry : pOld[i].mpEntries) {
                if (pEntry != nullptr) {
                    Place(QuickHash(Traits::Key(*pEntry)), pEntry);
                }
            }
        }
        std::free(pOldBlock);
    }

    void* mpBlock = nullptr;    // owned
    Group* mpGroups = nullptr;  // in the block
    std::size_t mNumGroups = 0; // a power of two
    std::size_t mNumEntries = 0;
};

} // namespace QBase
