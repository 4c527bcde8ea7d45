// ReplicationIds.h holds the numbers by which packets speak of things: one table for objects, and one each
// for what an object calls by name: its properties, its children as a table, its functions.
//
//     IdCounter next;
//     NamedIdTable properties;
//     properties.Assign(pMoon, "Radius", next)->mId;    // 1, and the same again for the same pair
//     properties.Find(pMoon, "Radius");
//     properties.RemoveOwner(pMoon);                    // all that belong to the object
//
// Every look-up takes constant time. The tables hold the objects. Their memory is outside the library's
// allocator, whose counts speak of objects and texts.

#pragma once

#include "QBase/Object.h"

#include <cstdint>
#include <unordered_map>

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

class ObjectIdTable
{
public:
    /// The object, or null. Borrowed.
    Object* Find(std::uint32_t id) const
    {
        const auto found = mObjects.find(id);
        return found == mObjects.end() ? nullptr : static_cast<Object*>(found->second);
    }

    std::uint32_t Find(const Object* pObject) const
    {
        const auto found = mIds.find(pObject);
        return found == mIds.end() ? NO_ID : found->second;
    }

    /// The id that the object has, or else the next one.
    std::uint32_t Assign(Object* pObject, IdCounter& rNext)
    {
        std::uint32_t id = Find(pObject);
        if (id == NO_ID) {
            id = rNext.Take([this](std::uint32_t used) { return mObjects.count(used) != 0; });
            Record(id, pObject);
        }
        return id;
    }

    /// An id that somebody else gave; it is free.
    void Record(std::uint32_t id, Object* pObject)
    {
        mObjects.emplace(id, pObject);
        mIds[pObject] = id;
    }

    bool Remove(const Object* pObject)
    {
        const auto found = mIds.find(pObject);
        if (found == mIds.end()) {
            return false;
        }
        const auto object = mObjects.find(found->second);
        mIds.erase(found);
        const Ptr<Object> pLast = std::move(object->second); // goes when the tables are whole again
        mObjects.erase(object);
        return true;
    }

private:
    std::unordered_map<std::uint32_t, Ptr<Object>> mObjects;
    std::unordered_map<const Object*, std::uint32_t> mIds;
};

// One named thing of an object.
struct NamedId
{
    NamedId(std::uint32_t id, Object* pOwner, const String& name) : mId(id), mpOwner(pOwner), mName(name) {}

    std::uint32_t mId;
    Ptr<Object> mpOwner;
    String mName;
    Value::Type mType = Value::TYPE_VOID; // of a property: how its values travel; of an array its elements

private:
    friend class NamedIdTable;
    NamedId* mpPrevious = nullptr; // of the same owner
    NamedId* mpNext = nullptr;
};

class NamedIdTable
{
public:
    NamedIdTable() = default;
    NamedIdTable(const NamedIdTable&) = delete;
    NamedIdTable& operator=(const NamedIdTable&) = delete;

    /// Null when there is none. Borrowed until it is removed.
    NamedId* Find(std::uint32_t id)
    {
        const auto found = mIds.find(id);
        return found == mIds.end() ? nullptr : &found->second;
    }

    NamedId* Find(const Object* pOwner, const String& name)
    {
        const auto found = mNames.find({pOwner, name.c_str()});
        return found == mNames.end() ? nullptr : found->second;
    }

    /// The entry of that name, with the next id when it is new.
    NamedId* Assign(Object* pOwner, const String& name, IdCounter& rNext)
    {
        NamedId* const pKnown = Find(pOwner, name);
        if (pKnown != nullptr) {
            return pKnown;
        }
        return Record(rNext.Take([this](std::uint32_t used) { return mIds.count(used) != 0; }), pOwner, name);
    }

    /// An entry under an id that somebody else gave; the id is free. When the name has an id already,
    /// look-ups by name answer the new one.
    NamedId* Record(std::uint32_t id, Object* pOwner, const String& name)
    {
        NamedId* const pEntry = &mIds.try_emplace(id, id, pOwner, name).first->second;
        mNames[{pOwner, pEntry->mName.c_str()}] = pEntry;
        NamedId*& rpFirst = mFirstOfOwner[pOwner];
        pEntry->mpNext = rpFirst;
        if (rpFirst != nullptr) {
            rpFirst->mpPrevious = pEntry;
        }
        rpFirst = pEntry;
        return pEntry;
    }

    void Remove(NamedId* pEntry)
    {
        const auto name = mNames.find({pEntry->mpOwner, pEntry->mName.c_str()});
        if (name != mNames.end() && name->second == pEntry) {
            mNames.erase(name);
        }
        if (pEntry->mpNext != nullptr) {
            pEntry->mpNext->mpPrevious = pEntry->mpPrevious;
        }
        if (pEntry->mpPrevious != nullptr) {
            pEntry->mpPrevious->mpNext = pEntry->mpNext;
        } else if (pEntry->mpNext != nullptr) {
            mFirstOfOwner[pEntry->mpOwner] = pEntry->mpNext;
        } else {
            mFirstOfOwner.erase(pEntry->mpOwner);
        }
        const Ptr<Object> pLast = pEntry->mpOwner; // goes when the tables are whole again
        mIds.erase(pEntry->mId);
    }

    void RemoveOwner(Object* pOwner)
    {
        const KeepAlive keepOwner(pOwner);
        for (auto first = mFirstOfOwner.find(pOwner); first != mFirstOfOwner.end();
             first = mFirstOfOwner.find(pOwner)) {
            Remove(first->second);
        }
    }

private:
    // Names are interned: the address of the text is the name.
    struct Key
    {
        const Object* mpOwner;
        const char* mpName;
        bool operator==(const Key& other) const { return mpOwner == other.mpOwner && mpName == other.mpName; }
    };
    struct KeyHash
    {
        std::size_t operator()(const Key& key) const
        {
            const std::uint64_t owner = reinterpret_cast<std::uintptr_t>(key.mpOwner);
            const std::uint64_t name = reinterpret_cast<std::uintptr_t>(key.mpName);
            const std::uint64_t mixed = (owner * 0x9E3779B97F4A7C15u) ^ (name * 0xC2B2AE3D27D4EB4Fu);
            return static_cast<std::size_t>(mixed ^ (mixed >> 29));
        }
    };

    std::unordered_map<std::uint32_t, NamedId> mIds; // its entries stay where they are
    std::unordered_map<Key, NamedId*, KeyHash> mNames;
    std::unordered_map<const Object*, NamedId*> mFirstOfOwner;
};

} // namespace QBase
