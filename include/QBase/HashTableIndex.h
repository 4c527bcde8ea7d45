// HashTableIndex tells a HashTable with long chains where each key's node stands in its chain, so that a
// table stays fast however many keys share a bucket, while the chains keep their order.
//
// It knows keys by the identity of their text and nodes by address. Its memory comes from the standard
// heap, not from Memory, whose counts show what the table itself holds.
//
// Threads: nothing here locks. Find may run on several threads at once.

#pragma once

#include "QBase/Export.h"

namespace QBase
{

class QBASE_API HashTableIndex
{
public:
    // A table builds its index when a chain grows longer than this.
    static constexpr int CHAIN_LIMIT = 16;

    /// Where a key is.
    struct Place
    {
        void* mpNode;        // null when the key is unknown
        void* mpPredecessor; // null for the first node of a chain
    };

    /// An empty index, handed over; null when there is no memory. Delete gives it back; null does nothing.
    static HashTableIndex* New();
    static void Delete(HashTableIndex* pIndex);

    /// Adds a key that is not in the index. False, and the key stays unknown, when there is no memory.
    bool Insert(const char* pKey, void* pNode, void* pPredecessor);

    /// Where the key is, in one step.
    Place Find(const char* pKey) const;
    /// Tells that another node comes before that of the key now.
    void SetPredecessor(const char* pKey, void* pPredecessor);
    /// Forgets the key.
    void Remove(const char* pKey);

private:
    struct Storage;

    HashTableIndex() = default;
    ~HashTableIndex();
    HashTableIndex(const HashTableIndex&) = delete;
    HashTableIndex& operator=(const HashTableIndex&) = delete;

    Storage* mpStorage = nullptr;
};

} // namespace QBase
