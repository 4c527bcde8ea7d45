// PositionIndex finds the position that something has in a list: an object, a name, a path. It is a flat
// hash table from 64-bit keys to positions, with memory of its own outside the library's allocator, whose
// counts speak of objects and texts only.
//
//     PositionIndex index;
//     index.Insert(PositionIndex::KeyOf(pObject), 0);
//     index.Find(PositionIndex::KeyOf(pObject));       // 0; NONE for what was never inserted
//
// An address is its own key. Texts share a key when their hashes collide: Find and Insert then go by a
// predicate that looks at the position's text.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace QBase
{

class PositionIndex
{
public:
    static constexpr int NONE = -1;

    static std::uint64_t KeyOf(const void* pAddress) { return reinterpret_cast<std::uintptr_t>(pAddress); }
    static std::uint64_t KeyOf(std::string_view text) { return std::hash<std::string_view>()(text); }

    /// The position inserted with the key, or NONE.
    int Find(std::uint64_t key) const
    {
        return Find(key, [](int) { return true; });
    }

    /// The first position inserted with the key for which `isMeant(position)` holds, or NONE.
    template <typename Predicate>
    int Find(std::uint64_t key, Predicate isMeant) const
    {
        if (mSlots.empty()) {
            return NONE;
        }
        for (std::size_t i = Home(key); mSlots[i].mPosition != NONE; i = (i + 1) & (mSlots.size() - 1)) {
            if (mSlots[i].mKey == key && isMeant(mSlots[i].mPosition)) {
                return mSlots[i].mPosition;
            }
        }
        return NONE;
    }

    /// Adds a position that Find does not know.
    void Insert(std::uint64_t key, int position)
    {
        if (mSize * 2 >= mSlots.size()) {
            Grow();
        }
        Place({key, position});
        ++mSize;
    }

private:
    struct Slot
    {
        std::uint64_t mKey = 0;
        int mPosition = NONE; // NONE in a free slot
    };

    // The upper bits of the product: addresses differ in the middle, hashes anywhere.
    std::size_t Home(std::uint64_t key) const
    {
        return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15u) >> mShift);
    }

    void Place(const Slot& slot)
    {
        std::size_t i = Home(slot.mKey);
        while (mSlots[i].mPosition != NONE) {
            i = (i + 1) & (mSlots.size() - 1);
        }
        mSlots[i] = slot;
    }

    void Grow()
    {
        std::vector<Slot> old(mSlots.empty() ? 64 : mSlots.size() * 2);
        old.swap(mSlots);
        mShift = old.empty() ? 58 : mShift - 1;
        for (const Slot& slot : old) {
            if (slot.mPosition != NONE) {
                Place(slot);
            }
        }
    }

    std::vector<Slot> mSlots; // a power of two, at most half of them taken
    std::size_t mSize = 0;
    int mShift = 0;
};

} // namespace QBase
