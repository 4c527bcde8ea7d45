// ObjectNumbers gives objects numbers in the order in which they come, from 0 on, and finds the number of one
// that came before. Its memory is outside the library's allocator, whose counts speak of objects and texts
// only. It holds no references.
//
//     ObjectNumbers numbers;
//     numbers.FindOrAdd(pObject); // 0
//     numbers.FindOrAdd(pOther);  // 1
//     numbers.FindOrAdd(pObject); // 0
//
// Objects that lie near each other have their places in the table near each other: graphs are mostly walked
// in the order in which they were made, and a table that knew nothing of that would miss the processor's
// caches for each object.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QBase
{

class Object;

class ObjectNumbers
{
public:
    /// The object's number; for one that is new the next number, which GetSize answered before.
    int FindOrAdd(Object* pObject)
    {
        if (mObjects.size() * 2 >= mPlaces.size()) {
            Grow();
        }
        const std::uint32_t tag = TagOf(pObject);
        std::size_t i = HomeOf(pObject);
        for (; mPlaces[i].mNumber != FREE; i = NextOf(i)) {
            if (mPlaces[i].mTag == tag && mObjects[mPlaces[i].mNumber - 1] == pObject) {
                return static_cast<int>(mPlaces[i].mNumber) - 1;
            }
        }
        mObjects.push_back(pObject);
        mPlaces[i] = {tag, static_cast<std::uint32_t>(mObjects.size())};
        return GetSize() - 1;
    }

    int GetSize() const { return static_cast<int>(mObjects.size()); }
    Object* GetAt(int number) const { return mObjects[static_cast<std::size_t>(number)]; }

    const std::vector<Object*>& GetObjects() const { return mObjects; }

private:
    static constexpr std::uint32_t FREE = 0;

    struct Place
    {
        std::uint32_t mTag;    // a part of the address
        std::uint32_t mNumber; // counted from 1; FREE without an object
    };

    static std::uint64_t AddressOf(const Object* pObject)
    {
        return reinterpret_cast<std::uintptr_t>(pObject);
    }
    static std::uint32_t TagOf(const Object* pObject)
    {
        return static_cast<std::uint32_t>(AddressOf(pObject) / 16); // blocks begin at such addresses
    }

    // Pages are scattered over the table; within its page each 32 bytes, which hold one object at most, have
    // a place of their own.
    std::size_t HomeOf(const Object* pObject) const
    {
        constexpr std::uint64_t PAGE = 4096;
        const std::uint64_t page = (AddressOf(pObject) / PAGE * 0x9E3779B97F4A7C15u) >> mShift;
        return static_cast<std::size_t>(page + AddressOf(pObject) % PAGE / 32) & (mPlaces.size() - 1);
    }

    std::size_t NextOf(std::size_t i) const { return (i + 1) & (mPlaces.size() - 1); }

    void Grow()
    {
        const std::size_t size = mPlaces.empty() ? 64 : mPlaces.size() * 2;
        mShift = mPlaces.empty() ? 58 : mShift - 1;
        mPlaces = std::vector<Place>(size);
        for (std::size_t number = 1; number <= mObjects.size(); ++number) {
            const Object* const pObject = mObjects[number - 1];
            std::size_t i = HomeOf(pObject);
            while (mPlaces[i].mNumber != FREE) {
                i = NextOf(i);
            }
            mPlaces[i] = {TagOf(pObject), static_cast<std::uint32_t>(number)};
        }
    }

    std::vector<Object*> mObjects;
    std::vector<Place> mPlaces; // a power of two, at most half of them taken
    int mShift = 0;
};

} // namespace QBase
