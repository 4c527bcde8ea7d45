// HashTable maps Strings to values. It has a fixed number of buckets, each a chain with the newest pair in
// front; keys compare by String identity.
//
//     HashTable<int> sizes(97);
//     sizes.Insert(String("Io"), 3643);      // answers the address of the stored value
//     int* pSize = sizes.Find(String("Io")); // null where there is none
//     for (auto& node : sizes) {
//         Info("%s %d", node.GetKey().c_str(), node.GetValue());
//     }
//
// What would surprise:
// - A walk goes by bucket and from the newest pair to the oldest within it. Copying a table and Resize push
//   the pairs in walking order to the front of their chains, so they reverse each chain.
// - The table never resizes by itself. Still each operation takes constant time however long the chains
//   are: once a chain exceeds a small length, an index beside the table knows every pair's place.
// - Inserting under a key that is there replaces the pair, which moves to the front.
// - Arguments may live in the table, and the destructor of a removed value may use the table: it finds the
//   pair already gone.
// - A bucket count below 1 counts as 1. When memory runs out that is reported and the table stays as it was.
//
// Threads: nothing here locks; whoever shares a table guards it. Find changes nothing, so any number of
// threads may read a table that nobody writes.

#pragma once

#include "QBase/Error.h"
#include "QBase/HashTableIndex.h"
#include "QBase/Memory.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace QBase
{

template <typename T>
class HashTable
{
public:
    /// One entry of the table.
    class Node
    {
    public:
        const String& GetKey() const { return mKey; }
        /// The value. Borrowed until the entry is removed.
        T& GetValue() { return mValue; }
        const T& GetValue() const { return mValue; }

    private:
        friend class HashTable;

        Node(const String& key, const T& value) : mKey(key), mValue(value) {}

        // Null, after the allocator's report, when there is no memory.
        static void* operator new(std::size_t size) noexcept
        {
            return Memory::Alloc(static_cast<unsigned>(size), ALLOC_HASHTABLE, QBASE_HERE, true);
        }
        static void operator delete(void* pNode) { Memory::Free(pNode, true); }

        String mKey;
        T mValue; // declared after the key, so it is destroyed before it
        Node* mpNext = nullptr;
    };

private:
    template <typename NodeType>
    class BasicIterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = NodeType*;
        using reference = NodeType&;

        BasicIterator() = default;

        NodeType& operator*() const { return *mpNode; }
        NodeType* operator->() const { return mpNode; }
        BasicIterator& operator++()
        {
            mpNode = mpNode->mpNext;
            SkipEmptyBuckets();
            return *this;
        }
        BasicIterator operator++(int)
        {
            BasicIterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const BasicIterator& other) const { return mpNode == other.mpNode; }

    private:
        friend class HashTable;

        explicit BasicIterator(const HashTable& table) : mpTable(&table) { SkipEmptyBuckets(); }

        void SkipEmptyBuckets()
        {
            while (!mpNode && mNextBucket < mpTable->mTableSize) {
                mpNode = mpTable->mpTable[mNextBucket++];
            }
        }

        const HashTable* mpTable = nullptr;
        int mNextBucket = 0;
        Node* mpNode = nullptr; // null at the end
    };

public:
    using Iterator = BasicIterator<Node>;
    using ConstIterator = BasicIterator<const Node>;

    explicit HashTable(int tableSize);

    /// As many buckets, then every pair inserted in walking order.
    HashTable(const HashTable& other);

    /// Replaces the pairs by copies of the other's, inserted in its walking order; the number of buckets
    /// stays. The old values are destroyed last.
    HashTable& operator=(const HashTable& other);
    ~HashTable();

    /// Stores a copy of the value, in place of any pair that has the key. The address of the stored value;
    /// null when there is no memory, or when the destructor of the replaced value removed it again.
    T* Insert(const String& key, const T& value);

    /// The address of the value, or null.
    T* Find(const String& key);
    const T* Find(const String& key) const;

    /// Removes the pair with the key, if any.
    void Remove(const String& key);

    /// Removes every pair; the number of buckets stays.
    void Clear();

    /// Moves the pairs, without copying them, into so many buckets.
    void Resize(int tableSize);

    int GetTableSize() const { return mTableSize; }

    /// Walks the pairs. Removing the pair that an iterator stands on ends that iterator's life.
    Iterator begin() { return Iterator(*this); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(*this); }
    ConstIterator end() const { return ConstIterator(); }

protected:
    /// The node with the key in the chain of the bucket, or null.
    Node* FindNode(const String& key, int bucket) const;

    /// Unlinks and destroys the node with the key, if any.
    void RemoveNode(const String& key, int bucket);

    /// Allocates the bucket array, or leaves the table as it is and answers false after a report.
    bool InitTable(int tableSize);
    void DeInitTable();

private:
    int BucketOf(const String& key) const;
    void LinkInFront(Node* pNode, int bucket);
    Node* Unlink(const String& key, int bucket, int& nodesPassed);
    Node* UnlinkAll();
    static void DeleteChain(Node* pNode);
    bool InsertPairs(const HashTable& other);
    bool HasLongChain() const;
    void BuildIndex();
    void DropIndex();

    Node** mpTable = nullptr;          // bucket heads
    int mTableSize = 0;                // 0 only after memory ran out
    HashTableIndex* mpIndex = nullptr; // null until a chain grows long
};

template <typename T>
HashTable<T>::HashTable(int tableSize)
{
    if (!InitTable(tableSize)) {
        InitTable(1);
    }
}

template <typename T>
HashTable<T>::HashTable(const HashTable& other) : HashTable(other.mTableSize)
{
    if (!InsertPairs(other)) {
        Clear(); // no half copies
    }
}

template <typename T>
HashTable<T>& HashTable<T>::operator=(const HashTable& other)
{
    if (this == &other) {
        return *this;
    }
    HashTable copy(mTableSize);
    if (!copy.InsertPairs(other)) {
        return *this;
    }
    std::swap(mpTable, copy.mpTable);
    std::swap(mTableSize, copy.mTableSize);
    std::swap(mpIndex, copy.mpIndex);
    return *this;
}

template <typename T>
HashTable<T>::~HashTable()
{
    while (begin() != end()) {
        Clear(); // again when a destructor inserted
    }
    DropIndex();
    DeInitTable();
}

template <typename T>
T* HashTable<T>::Insert(const String& key, const T& value)
{
    if (mTableSize == 0 && !InitTable(1)) {
        return nullptr;
    }
    // Copied before anything is removed: key and value may live in the pair that goes.
    Node* pNode = new Node(key, value);
    if (!pNode) {
        return nullptr;
    }
    const int bucket = BucketOf(pNode->mKey);
    int nodesPassed = 0;
    Node* pReplaced = Unlink(pNode->mKey, bucket, nodesPassed);
    LinkInFront(pNode, bucket);
    if (!mpIndex && nodesPassed >= HashTableIndex::CHAIN_LIMIT) {
        BuildIndex();
    }
    if (!pReplaced) {
        return &pNode->mValue;
    }
    const String ownKey(pNode->mKey);
    delete pReplaced; // its destructor may change the table once more
    return Find(ownKey);
}

template <typename T>
T* HashTable<T>::Find(const String& key)
{
    Node* pNode = FindNode(key, BucketOf(key));
    return pNode ? &pNode->mValue : nullptr;
}

template <typename T>
const T* HashTable<T>::Find(const String& key) const
{
    const Node* pNode = FindNode(key, BucketOf(key));
    return pNode ? &pNode->mValue : nullptr;
}

template <typename T>
void HashTable<T>::Remove(const String& key)
{
    RemoveNode(key, BucketOf(key));
}

template <typename T>
void HashTable<T>::Clear()
{
    DeleteChain(UnlinkAll());
}

template <typename T>
void HashTable<T>::Resize(int tableSize)
{
    Node** const pOldTable = mpTable;
    const int oldTableSize = mTableSize;
    if (!InitTable(tableSize)) {
        return;
    }
    DropIndex();
    for (int bucket = 0; bucket < oldTableSize; ++bucket) {
        for (Node* pNode = pOldTable[bucket]; pNode;) {
            Node* pNext = pNode->mpNext;
            LinkInFront(pNode, BucketOf(pNode->mKey));
            pNode = pNext;
        }
    }
    Memory::Free(pOldTable, true);
    if (HasLongChain()) {
        BuildIndex();
    }
}

template <typename T>
typename HashTable<T>::Node* HashTable<T>::FindNode(const String& key, int bucket) const
{
    if (mpIndex) {
        return static_cast<Node*>(mpIndex->Find(key.c_str()).mpNode);
    }
    Node* pNode = mTableSize > 0 ? mpTable[bucket] : nullptr;
    while (pNode && !(pNode->mKey == key)) {
        pNode = pNode->mpNext;
    }
    return pNode;
}

template <typename T>
void HashTable<T>::RemoveNode(const String& key, int bucket)
{
    int nodesPassed = 0;
    delete Unlink(key, bucket, nodesPassed);
}

template <typename T>
bool HashTable<T>::InitTable(int tableSize)
{
    const int size = tableSize < 1 ? 1 : tableSize;
    if (std::int64_t(size) * std::int64_t(sizeof(Node*)) > (std::numeric_limits<unsigned>::max)()) {
        Error(QBASE_HERE, "Failed to allocate %d hash table buckets - too many", size);
        return false;
    }
    const unsigned bytes = static_cast<unsigned>(size) * static_cast<unsigned>(sizeof(Node*));
    auto pTable = static_cast<Node**>(Memory::Alloc(bytes, ALLOC_HASHTABLE, QBASE_HERE, true));
    if (!pTable) {
        return false;
    }
    for (int bucket = 0; bucket < size; ++bucket) {
        pTable[bucket] = nullptr;
    }
    mpTable = pTable;
    mTableSize = size;
    return true;
}

template <typename T>
void HashTable<T>::DeInitTable()
{
    Memory::Free(mpTable, true);
    mpTable = nullptr;
    mTableSize = 0;
}

template <typename T>
int HashTable<T>::BucketOf(const String& key) const
{
    return mTableSize > 0 ? static_cast<int>(key.hash() % static_cast<unsigned>(mTableSize)) : 0;
}

template <typename T>
void HashTable<T>::LinkInFront(Node* pNode, int bucket)
{
    Node* pOldHead = mpTable[bucket];
    pNode->mpNext = pOldHead;
    mpTable[bucket] = pNode;
    if (!mpIndex) {
        return;
    }
    if (pOldHead) {
        mpIndex->SetPredecessor(pOldHead->mKey.c_str(), pNode);
    }
    if (!mpIndex->Insert(pNode->mKey.c_str(), pNode, nullptr)) {
        DropIndex(); // the chains still hold everything
    }
}

// Takes the node with the key out of its chain and hands it over; null when there is none. Counts the nodes
// it had to pass.
template <typename T>
typename HashTable<T>::Node* HashTable<T>::Unlink(const String& key, int bucket, int& nodesPassed)
{
    Node* pPredecessor = nullptr;
    Node* pNode = nullptr;
    if (mpIndex) {
        const HashTableIndex::Place place = mpIndex->Find(key.c_str());
        pPredecessor = static_cast<Node*>(place.mpPredecessor);
        pNode = static_cast<Node*>(place.mpNode);
    } else {
        pNode = mTableSize > 0 ? mpTable[bucket] : nullptr;
        while (pNode && !(pNode->mKey == key)) {
            pPredecessor = pNode;
            pNode = pNode->mpNext;
            ++nodesPassed;
        }
    }
    if (!pNode) {
        return nullptr;
    }
    (pPredecessor ? pPredecessor->mpNext : mpTable[bucket]) = pNode->mpNext;
    if (mpIndex) {
        mpIndex->Remove(key.c_str());
        if (pNode->mpNext) {
            mpIndex->SetPredecessor(pNode->mpNext->mKey.c_str(), pPredecessor);
        }
    }
    return pNode;
}

// Empties the table and hands over its nodes as one chain in walking order.
template <typename T>
typename HashTable<T>::Node* HashTable<T>::UnlinkAll()
{
    DropIndex();
    Node* pFirst = nullptr;
    Node** ppLink = &pFirst;
    for (int bucket = 0; bucket < mTableSize; ++bucket) {
        *ppLink = std::exchange(mpTable[bucket], nullptr);
        while (*ppLink) {
            ppLink = &(*ppLink)->mpNext;
        }
    }
    return pFirst;
}

template <typename T>
void HashTable<T>::DeleteChain(Node* pNode)
{
    while (pNode) {
        Node* pNext = pNode->mpNext;
        delete pNode;
        pNode = pNext;
    }
}

template <typename T>
bool HashTable<T>::InsertPairs(const HashTable& other)
{
    for (const Node& node : other) {
        if (!Insert(node.mKey, node.mValue)) {
            return false;
        }
    }
    return true;
}

template <typename T>
bool HashTable<T>::HasLongChain() const
{
    for (int bucket = 0; bucket < mTableSize; ++bucket) {
        int length = 0;
        for (const Node* pNode = mpTable[bucket]; pNode; pNode = pNode->mpNext) {
            if (++length > HashTableIndex::CHAIN_LIMIT) {
                return true;
            }
        }
    }
    return false;
}

// Without memory for an index the table goes on without one.
template <typename T>
void HashTable<T>::BuildIndex()
{
    mpIndex = HashTableIndex::New();
    for (int bucket = 0; mpIndex && bucket < mTableSize; ++bucket) {
        Node* pPredecessor = nullptr;
        for (Node* pNode = mpTable[bucket]; pNode; pNode = pNode->mpNext) {
            if (!mpIndex->Insert(pNode->mKey.c_str(), pNode, pPredecessor)) {
                DropIndex();
                return;
            }
            pPredecessor = pNode;
        }
    }
}

template <typename T>
void HashTable<T>::DropIndex()
{
    HashTableIndex::Delete(mpIndex);
    mpIndex = nullptr;
}

// Exported, and instantiated in Containers.cpp.
QBASE_EXPORTED_TEMPLATE(HashTable<Ptr<Object>>);

} // namespace QBase
