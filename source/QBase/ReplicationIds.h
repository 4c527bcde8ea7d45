// ReplicationIds.h holds the numbers by which packets speak of things: one table for objects, and one each
// for what an object calls by name: its properties, its children as a table, its functions.
//
//     IdCounter next;
//     NamedIdTable properties;
//     properties.Assign(pMoon, "Radius", next)->mId;    // 1, and the same again for the same pair
//     properties.Find(pMoon, "Radius");
//     properties.RemoveOwner(pMoon);                    // all that belong to the object
//
// Every look-up takes constant time. A million ids do not fit a processor's caches, so what is used together
// lies together: neighbouring ids in one page, the names of one object in one chain, each table's entries in
// memory of its own. The tables hold the objects. Their memory is outside the library's allocator, whose
// counts speak of objects and texts.

#pragma once

#include "QBase/Object.h"
#include "QBase/ObjectHash.h"
#include "QBase/PooledMemory.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <unordered_map>
#include <utility>

namespace QBase
{

constexpr std::uint32_t NO_ID = 0;

// The numbers that are handed out next, without 0 and without those in use.
class IdCounter
{
public:
    explicit IdCounter(std::uint32_t first = 1) : mNext(first) {}

    template <typename IsUsed>
    std::uint32_t Take(IsUsed isUsed)
    {
        for (;;) {
            const std::uint32_t id = mNext++;
            if (mNext == NO_ID) {
                mNext = 1;
            }
            if (id != NO_ID && !isUsed(id)) {
                return id;
            }
        }
    }

private:
    std::uint32_t mNext;
};

// IdIndex finds entries by id, in pages of neighbours. Neighbouring pages have neighbouring numbers too, so
// that whoever goes through many ids in their order finds the next page where the processor's caches expect
// it. Peers may choose ids as they like: where a group of pages lies depends on a number that they do not
// know, so that they cannot make all pages collide.
template <typename Entry>
class IdIndex
{
public:
    explicit IdIndex(std::pmr::memory_resource& rMemory)
        : mPages(0, PageHash{reinterpret_cast<std::uintptr_t>(this)}, {}, &rMemory)
    {}
    IdIndex(const IdIndex&) = delete;
    IdIndex& operator=(const IdIndex&) = delete;

    /// Null when there is none.
    Entry* Find(std::uint32_t id) const
    {
        const auto found = mPages.find(id / PAGE_SIZE);
        return found == mPages.end() ? nullptr : found->second.mEntries[id % PAGE_SIZE];
    }

    /// Afterwards Insert of that id takes no memory.
    void MakeRoom(std::uint32_t id) { mPages[id / PAGE_SIZE]; }

    /// The id is free.
    void Insert(std::uint32_t id, Entry* pEntry)
    {
        Page& rPage = mPages[id / PAGE_SIZE];
        rPage.mEntries[id % PAGE_SIZE] = pEntry;
        ++rPage.mNumEntries;
    }

    /// The id is in use.
    void Remove(std::uint32_t id)
    {
        const auto page = mPages.find(id / PAGE_SIZE);
        page->second.mEntries[id % PAGE_SIZE] = nullptr;
        if (--page->second.mNumEntries == 0) {
            mPages.erase(page);
        }
    }

private:
    static constexpr std::uint32_t PAGE_SIZE = 16;  // entries; one id alone costs little more than by itself
    static constexpr std::uint32_t GROUP_SIZE = 64; // pages

    struct Page
    {
        std::array<Entry*, PAGE_SIZE> mEntries{};
        std::uint32_t mNumEntries = 0;
    };

    struct PageHash
    {
        std::size_t operator()(std::uint32_t page) const
        {
            std::uint64_t mixed = mSecret + page / GROUP_SIZE;
            mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9u;
            mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EBu;
            return static_cast<std::size_t>(mixed ^ mixed >> 31) + page % GROUP_SIZE;
        }
        std::uint64_t mSecret;
    };

    std::pmr::unordered_map<std::uint32_t, Page, PageHash> mPages;
};

class ObjectIdTable
{
public:
    /// The object, or null. Borrowed.
    Object* Find(std::uint32_t id) const
    {
        const Entry* const pEntry = mIds.Find(id);
        return pEntry != nullptr ? static_cast<Object*>(pEntry->mpObject) : nullptr;
    }

    std::size_t GetSize() const { return mEntries.size(); }

    std::uint32_t Find(const Object* pObject) const
    {
        if (pObject != mpLastObject) {
            const auto found = mEntries.find(pObject);
            if (found == mEntries.end()) {
                return NO_ID;
            }
            mpLastObject = pObject;
            mLastId = found->second.mId;
        }
        return mLastId;
    }

    /// The id that the object has, or else the next one.
    std::uint32_t Assign(Object* pObject, IdCounter& rNext)
    {
        std::uint32_t id = Find(pObject);
        if (id == NO_ID) {
            id = rNext.Take([this](std::uint32_t used) { return mIds.Find(used) != nullptr; });
            Record(id, pObject);
        }
        return id;
    }

    /// An id that somebody else gave; it is free, and the object has none. Out of memory it throws, and the
    /// object has none still.
    void Record(std::uint32_t id, Object* pObject)
    {
        mIds.MakeRoom(id);
        mIds.Insert(id, &mEntries.emplace(pObject, Entry{pObject, id}).first->second);
    }

    bool Remove(const Object* pObject)
    {
        const auto found = mEntries.find(pObject);
        if (found == mEntries.end()) {
            return false;
        }
        mIds.Remove(found->second.mId);
        mpLastObject = nullptr;
        mLastId = NO_ID;
        const Ptr<Object> pLast = std::move(found->second.mpObject); // goes when the tables are whole again
        mEntries.erase(found);
        return true;
    }

private:
    struct Entry
    {
        Ptr<Object> mpObject;
        std::uint32_t mId;
    };

    PooledMemory mMemory;
    std::pmr::unordered_map<const Object*, Entry, ObjectHash> mEntries{&mMemory}; // which stay where they are
    IdIndex<Entry> mIds{mMemory};
    mutable const Object* mpLastObject = nullptr; // found last; mostly wanted again
    mutable std::uint32_t mLastId = NO_ID;
};

// One named thing of an object.
struct NamedId
{
    NamedId(std::uint32_t id, Object* pOwner, const String& name) : mId(id), mpOwner(pOwner), mName(name) {}

    std::uint32_t mId;
    bool mbCut = false;                   // an array that is longer than packets can count
    bool mbAnswering = true;              // to its name; a later id for the same name takes over
    Value::Type mType = Value::TYPE_VOID; // of a property: how its values travel; of an array its elements
    Object* mpOwner;                      // held by the table
    String mName;

private:
    friend class NameChain;
    NamedId* mpPrevious = nullptr; // of the same owner, in a ring
    NamedId* mpNext = nullptr;
};

// NameChain is what one object calls by name, in the order of its ids. Whoever walks over an object asks for
// its names in that order too, so a search begins behind the last one; a long chain has an index.
class NameChain
{
public:
    NameChain(Object* pOwner, std::pmr::memory_resource& rMemory) : mpOwner(pOwner), mMemory(&rMemory) {}
    NameChain(const NameChain&) = delete;
    NameChain& operator=(const NameChain&) = delete;
    ~NameChain()
    {
        while (!IsEmpty()) {
            Remove(mpFirst);
        }
    }

    bool IsEmpty() const { return mpFirst == nullptr; }
    NamedId* GetFirst() const { return mpFirst; }

    NamedId* Find(const String& name);
    NamedId* Append(std::uint32_t id, const String& name);
    void Remove(NamedId* pEntry);

    Object* GetOwner() const { return mpOwner; }

private:
    static constexpr std::size_t LONGEST_SEARCH = 16;

    // Names are interned: the address of the text is the name.
    using Index = std::pmr::unordered_map<const char*, NamedId*>;

    void BuildIndex();

    Ptr<Object> mpOwner;
    std::pmr::polymorphic_allocator<> mMemory; // of the table
    NamedId* mpFirst = nullptr;
    NamedId* mpExpected = nullptr; // where the next search begins
    std::size_t mCount = 0;
    std::unique_ptr<Index> mpIndex; // of the answering ones, once there were more than LONGEST_SEARCH
};

class NamedIdTable
{
public:
    /// Null when there is none. Borrowed until it is removed.
    NamedId* Find(std::uint32_t id) { return mIds.Find(id); }
    NamedId* Find(const Object* pOwner, const String& name)
    {
        NameChain* const pChain = FindChain(pOwner);
        return pChain != nullptr ? pChain->Find(name) : nullptr;
    }

    /// The entry of that name, with the next id when it is new.
    NamedId* Assign(Object* pOwner, const String& name, IdCounter& rNext)
    {
        NamedId* const pKnown = Find(pOwner, name);
        if (pKnown != nullptr) {
            return pKnown;
        }
        return Record(rNext.Take([this](std::uint32_t used) { return mIds.Find(used) != nullptr; }), pOwner,
                      name);
    }

    /// An entry under an id that somebody else gave; the id is free. When the name has an id already,
    /// look-ups by name answer the new one. Out of memory it throws, and nothing has changed.
    NamedId* Record(std::uint32_t id, Object* pOwner, const String& name)
    {
        mIds.MakeRoom(id);
        NamedId* const pEntry = Append(id, pOwner, name);
        mIds.Insert(id, pEntry);
        return pEntry;
    }

    void Remove(NamedId* pEntry)
    {
        NameChain* const pChain = FindChain(pEntry->mpOwner);
        mIds.Remove(pEntry->mId);
        pChain->Remove(pEntry);
        if (pChain->IsEmpty()) {
            RemoveChain(pChain);
        }
    }

    void RemoveOwner(const Object* pOwner)
    {
        NameChain* const pChain = FindChain(pOwner);
        if (pChain == nullptr) {
            return;
        }
        while (!pChain->IsEmpty()) {
            mIds.Remove(pChain->GetFirst()->mId);
            pChain->Remove(pChain->GetFirst());
        }
        RemoveChain(pChain);
    }

private:
    NameChain* FindChain(const Object* pOwner)
    {
        if (mpLastChain == nullptr || mpLastChain->GetOwner() != pOwner) {
            const auto found = mChains.find(pOwner);
            mpLastChain = found != mChains.end() ? &found->second : nullptr;
        }
        return mpLastChain;
    }

    NamedId* Append(std::uint32_t id, Object* pOwner, const String& name)
    {
        if (NameChain* const pKnown = FindChain(pOwner)) {
            return pKnown->Append(id, name);
        }
        NameChain& rChain = mChains.try_emplace(pOwner, pOwner, mMemory).first->second;
        try {
            return rChain.Append(id, name);
        } catch (const std::bad_alloc&) {
            RemoveChain(&rChain);
            throw;
        }
    }

    void RemoveChain(NameChain* pChain)
    {
        const Ptr<Object> pLast = pChain->GetOwner(); // goes when the tables are whole again
        mpLastChain = nullptr;
        mChains.erase(pLast);
    }

    PooledMemory mMemory;
    std::pmr::unordered_map<const Object*, NameChain, ObjectHash> mChains{
        &mMemory}; // which stay where they are
    IdIndex<NamedId> mIds{mMemory};
    NameChain* mpLastChain = nullptr; // found last; mostly wanted again
};

inline NamedId* NameChain::Find(const String& name)
{
    if (mpIndex != nullptr) {
        const auto found = mpIndex->find(name.c_str());
        return found == mpIndex->end() ? nullptr : found->second;
    }
    NamedId* pEntry = mpExpected;
    for (std::size_t i = 0; i < mCount; ++i) {
        if (pEntry->mName == name && pEntry->mbAnswering) {
            mpExpected = pEntry->mpNext;
            return pEntry;
        }
        pEntry = pEntry->mpNext;
    }
    return nullptr;
}

// What takes memory comes before what changes anything.
inline NamedId* NameChain::Append(std::uint32_t id, const String& name)
{
    NamedId* const pOld = Find(name);
    if (mCount == LONGEST_SEARCH && mpIndex == nullptr) {
        BuildIndex();
    }
    NamedId* const pEntry = mMemory.new_object<NamedId>(id, mpOwner, name);
    if (mpIndex != nullptr) {
        try {
            (*mpIndex)[pEntry->mName.c_str()] = pEntry;
        } catch (const std::bad_alloc&) {
            mMemory.delete_object(pEntry);
            throw;
        }
    }
    if (pOld != nullptr) {
        pOld->mbAnswering = false;
    }
    if (mpFirst == nullptr) {
        mpFirst = mpExpected = pEntry->mpPrevious = pEntry->mpNext = pEntry;
    } else {
        pEntry->mpPrevious = mpFirst->mpPrevious;
        pEntry->mpNext = mpFirst;
        pEntry->mpPrevious->mpNext = mpFirst->mpPrevious = pEntry;
    }
    ++mCount;
    return pEntry;
}

inline void NameChain::BuildIndex()
{
    auto pIndex = std::make_unique<Index>(mMemory);
    NamedId* pEntry = mpFirst;
    do {
        if (pEntry->mbAnswering) {
            pIndex->emplace(pEntry->mName.c_str(), pEntry);
        }
        pEntry = pEntry->mpNext;
    } while (pEntry != mpFirst);
    mpIndex = std::move(pIndex);
}

inline void NameChain::Remove(NamedId* pEntry)
{
    if (mpIndex != nullptr && pEntry->mbAnswering) {
        mpIndex->erase(pEntry->mName.c_str());
    }
    if (--mCount == 0) {
        mpFirst = mpExpected = nullptr;
    } else {
        pEntry->mpPrevious->mpNext = pEntry->mpNext;
        pEntry->mpNext->mpPrevious = pEntry->mpPrevious;
        mpFirst = mpFirst == pEntry ? pEntry->mpNext : mpFirst;
        mpExpected = mpExpected == pEntry ? pEntry->mpNext : mpExpected;
    }
    mMemory.delete_object(pEntry);
}

} // namespace QBase
