// ChainIndex stands beside the chains of a hash table whose hash only samples its keys, so that thousands of
// them may share a bucket. It finds an entry of a long chain by its key, and an entry's predecessor, without
// a walk. The chains themselves, and the order in them, stay the owner's.
//
//     Entry* pEntry = index.Covers(bucket) ? index.Find(bucket, key) : Walk(bucket, key);
//     index.Link(bucket, pEntry, length > SHORT_CHAIN); // right after pEntry became the head of its chain
//     index.Unlink(bucket, pEntry);                     // right before pEntry leaves its chain
//
// Chains are covered from the time that one longer than SHORT_CHAIN is linked to. Keys may repeat; the newest
// entry is found, the one that a walk from the head meets first. The index takes its memory from malloc, so
// that the counts of the library's allocator stay those of the table; without memory a chain is not covered
// and has to be walked.
//
// `Traits` names the type of an entry, `Entry`, with its `mpNext`, and gives the text it is found by:
// `static std::string_view Key(const Entry&)`.
//
// Threads: the owner's lock guards the index.

#pragma once

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QBase
{

template <typename Traits>
class ChainIndex
{
public:
    using Entry = typename Traits::Entry;

    static constexpr int SHORT_CHAIN = 32; // a walk that costs no more than keeping an index

    bool Covers(unsigned bucket) const { return !mChains.empty() && mChains.count(bucket) != 0; }

    /// The newest entry with this key in a covered chain, or null.
    Entry* Find(unsigned bucket, std::string_view key) const;

    /// Whether the entry is in its covered chain; then also its predecessor, null for the head.
    bool FindPredecessor(unsigned bucket, const Entry* pEntry, Entry** ppPredecessor) const;

    /// `bLong` says whether the chain is to be covered now; one that is covered already stays so.
    void Link(unsigned bucket, Entry* pHead, bool bLong);
    void Unlink(unsigned bucket, Entry* pEntry);

private:
    template <typename T>
    struct PlainAllocator
    {
        using value_type = T;

        PlainAllocator() = default;
        template <typename U>
        PlainAllocator(const PlainAllocator<U>&)
        {}

        T* allocate(std::size_t count)
        {
            if (void* p = std::malloc(count * sizeof(T))) {
                return static_cast<T*>(p);
            }
            throw std::bad_alloc();
        }
        void deallocate(T* p, std::size_t) { std::free(p); }

        bool operator==(const PlainAllocator&) const { return true; }
    };

    template <typename Key, typename Mapped>
    using Map = std::unordered_map<Key, Mapped, std::hash<Key>, std::equal_to<Key>,
                                   PlainAllocator<std::pair<const Key, Mapped>>>;

    struct Place
    {
        Entry* mpPredecessor = nullptr; // in the chain
        Entry* mpOlder = nullptr;       // the next older and newer entries with the same key
        Entry* mpNewer = nullptr;
    };

    struct Chain
    {
        Map<const Entry*, Place> mPlaces;
        Map<std::string_view, Entry*> mNewest; // the key is the text of the entry it leads to
    };

    static void Add(Chain* pChain, Entry* pHead);
    static void AddAll(Chain* pChain, Entry* pHead);
    static void PointAt(Chain* pChain, typename Map<std::string_view, Entry*>::iterator position,
                        Entry* pEntry);

    Map<unsigned, Chain> mChains; // by bucket
};

template <typename Traits>
auto ChainIndex<Traits>::Find(unsigned bucket, std::string_view key) const -> Entry*
{
    const Chain& chain = mChains.find(bucket)->second;
    const auto found = chain.mNewest.find(key);
    return found == chain.mNewest.end() ? nullptr : found->second;
}

template <typename Traits>
bool ChainIndex<Traits>::FindPredecessor(unsigned bucket, const Entry* pEntry, Entry** ppPredecessor) const
{
    const Chain& chain = mChains.find(bucket)->second;
    const auto found = chain.mPlaces.find(pEntry);
    if (found == chain.mPlaces.end()) {
        return false;
    }
    *ppPredecessor = found->second.mpPredecessor;
    return true;
}

template <typename Traits>
void ChainIndex<Traits>::Link(unsigned bucket, Entry* pHead, bool bLong)
{
    if (mChains.empty() && !bLong) {
        return;
    }
    try {
        if (const auto found = mChains.find(bucket); found != mChains.end()) {
            Add(&found->second, pHead);
        } else if (bLong) {
            AddAll(&mChains[bucket], pHead);
        }
    } catch (const std::bad_alloc&) {
        mChains.erase(bucket); // half of an index would lie
    }
}

template <typename Traits>
void ChainIndex<Traits>::Unlink(unsigned bucket, Entry* pEntry)
{
    const auto foundChain = mChains.find(bucket);
    if (foundChain == mChains.end()) {
        return;
    }

    Chain& chain = foundChain->second;
    const auto found = chain.mPlaces.find(pEntry);
    const Place place = found->second;
    chain.mPlaces.erase(found);
    if (pEntry->mpNext) {
        chain.mPlaces.find(pEntry->mpNext)->second.mpPredecessor = place.mpPredecessor;
    }
    if (place.mpOlder) {
        chain.mPlaces.find(place.mpOlder)->second.mpNewer = place.mpNewer;
    }
    if (place.mpNewer) {
        chain.mPlaces.find(place.mpNewer)->second.mpOlder = place.mpOlder;
    } else if (place.mpOlder) {
        PointAt(&chain, chain.mNewest.find(Traits::Key(*pEntry)), place.mpOlder);
    } else {
        chain.mNewest.erase(Traits::Key(*pEntry));
    }

    // Half the length at which a chain becomes covered, so that none flickers between the two.
    if (chain.mPlaces.size() <= SHORT_CHAIN / 2) {
        mChains.erase(foundChain);
    }
}

template <typename Traits>
void ChainIndex<Traits>::Add(Chain* pChain, Entry* pHead)
{
    const auto [newest, bNewKey] = pChain->mNewest.try_emplace(Traits::Key(*pHead), pHead);
    Place& place = pChain->mPlaces[pHead];
    if (!bNewKey) {
        place.mpOlder = newest->second;
        pChain->mPlaces.find(place.mpOlder)->second.mpNewer = pHead;
        PointAt(pChain, newest, pHead);
    }
    if (pHead->mpNext) {
        pChain->mPlaces.find(pHead->mpNext)->second.mpPredecessor = pHead;
    }
}

// The oldest first, as they were linked.
template <typename Traits>
void ChainIndex<Traits>::AddAll(Chain* pChain, Entry* pHead)
{
    std::vector<Entry*, PlainAllocator<Entry*>> entries;
    for (Entry* pEntry = pHead; pEntry; pEntry = pEntry->mpNext) {
        entries.push_back(pEntry);
    }
    for (auto position = entries.rbegin(); position != entries.rend(); ++position) {
        Add(pChain, *position);
    }
}

// The key lives in an entry's text, so it has to change with the entry.
template <typename Traits>
void ChainIndex<Traits>::PointAt(Chain* pChain, typename Map<std::string_view, Entry*>::iterator position,
                                 Entry* pEntry)
{
    auto node = pChain->mNewest.extract(position);
    node.key() = Traits::Key(*pEntry);
    node.mapped() = pEntry;
    pChain->mNewest.insert(std::move(node));
}

} // namespace QBase
