// LinkedList is a singly linked list.
//
//     LinkedList<String> names;
//     names.Insert(String("Io"));       // at the front
//     names.Add(String("Europa"));      // at the back
//     names.Remove(String("Io"));       // true
//     for (const String& name : names) ...
//
// What would surprise:
// - A copied or assigned list shares the nodes of its source: what one list changes behind its first node,
//   the other shows too. Each list keeps a first node and a size of its own, so the size of one is stale
//   after a change through the other; a walk follows the nodes, not the size. A node lives until the last
//   list that reaches it lets it go.
// - Add walks the whole list.
// - Arguments may be elements of the same list, and the destructor of a removed element may use the list: it
//   finds the element already gone.
//
// Threads: nothing here locks; whoever shares a list, or nodes between lists, guards them.

#pragma once

#include "QBase/Error.h"
#include "QBase/Memory.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"

#include <cstddef>
#include <iterator>
#include <type_traits>

namespace QBase
{

template <typename T>
class LinkedList
{
private:
    struct Node
    {
        explicit Node(const T& value) : mValue(value) {}

        // Null, after the allocator's report, when there is no memory.
        static void* operator new(std::size_t size) noexcept
        {
            return Memory::Alloc(static_cast<unsigned>(size), ALLOC_UNKNOWN, QBASE_HERE, true);
        }
        static void operator delete(void* pNode) { Memory::Free(pNode, true); }

        T mValue;
        Node* mpNext = nullptr;  // holds one reference
        int mReferenceCount = 1; // lists that start here, and nodes that lead here
    };

    template <typename Element>
    class BasicIterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = std::remove_const_t<Element>;
        using difference_type = std::ptrdiff_t;
        using pointer = Element*;
        using reference = Element&;

        BasicIterator() = default;
        explicit BasicIterator(Node* pNode) : mpNode(pNode) {}

        Element& operator*() const { return mpNode->mValue; }
        Element* operator->() const { return &mpNode->mValue; }
        BasicIterator& operator++()
        {
            mpNode = mpNode->mpNext;
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
        friend class LinkedList;

        Node* mpNode = nullptr;
    };

public:
    using Iterator = BasicIterator<T>;
    using ConstIterator = BasicIterator<const T>;

    LinkedList() = default;

    /// Shares the other's nodes and takes over its size.
    LinkedList(const LinkedList& other) : mpHead(AddReference(other.mpHead)), mSize(other.mSize) {}
    LinkedList& operator=(const LinkedList& other);
    ~LinkedList();

    /// Inserts at the front.
    void Insert(const T& value);

    /// Appends at the back, which it finds by walking from the front.
    void Add(const T& value);

    /// Inserts behind the element at `position`, which is in this list, without a walk: whoever remembers the
    /// last element appends with it. The place of the new element; end() when there is no memory.
    Iterator InsertBehind(Iterator position, const T& value);

    /// Removes the first element equal to `value`. False when there is none.
    bool Remove(typename LookupArgument<T>::Type value);

    /// Lets all nodes go, front to back.
    void Clear();

    int GetSize() const { return mSize; }

    Iterator begin() { return Iterator(mpHead); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(mpHead); }
    ConstIterator end() const { return ConstIterator(); }

private:
    static Node* AddReference(Node* pNode);
    static void DropReference(Node* pNode);

    Node* mpHead = nullptr; // holds one reference
    int mSize = 0;
};

template <typename T>
LinkedList<T>& LinkedList<T>::operator=(const LinkedList& other)
{
    Node* pOldHead = mpHead;
    mpHead = AddReference(other.mpHead);
    mSize = other.mSize;
    DropReference(pOldHead); // last, because the other list may live in an element of this one
    return *this;
}

template <typename T>
LinkedList<T>::~LinkedList()
{
    while (mpHead) {
        Clear(); // again when a destructor inserted
    }
}

template <typename T>
void LinkedList<T>::Insert(const T& value)
{
    Node* pNode = new Node(value);
    if (!pNode) {
        return;
    }
    pNode->mpNext = mpHead; // with the reference that this list held
    mpHead = pNode;
    ++mSize;
}

template <typename T>
void LinkedList<T>::Add(const T& value)
{
    Node* pNode = new Node(value);
    if (!pNode) {
        return;
    }
    Node** ppLink = &mpHead;
    while (*ppLink) {
        ppLink = &(*ppLink)->mpNext;
    }
    *ppLink = pNode;
    ++mSize;
}

template <typename T>
typename LinkedList<T>::Iterator LinkedList<T>::InsertBehind(Iterator position, const T& value)
{
    Node* pNode = new Node(value);
    if (!pNode) {
        return end();
    }
    pNode->mpNext = position.mpNode->mpNext; // with the reference that the element held
    position.mpNode->mpNext = pNode;
    ++mSize;
    return Iterator(pNode);
}

template <typename T>
bool LinkedList<T>::Remove(typename LookupArgument<T>::Type value)
{
    Node** ppLink = &mpHead;
    while (*ppLink && !((*ppLink)->mValue == value)) {
        ppLink = &(*ppLink)->mpNext;
    }
    Node* pNode = *ppLink;
    if (!pNode) {
        return false;
    }
    *ppLink = AddReference(pNode->mpNext); // another list may start at the node and keep its own way on
    if (mSize > 0) {
        --mSize; // unless stale
    }
    DropReference(pNode);
    return true;
}

template <typename T>
void LinkedList<T>::Clear()
{
    Node* pHead = mpHead;
    mpHead = nullptr;
    mSize = 0;
    DropReference(pHead);
}

template <typename T>
typename LinkedList<T>::Node* LinkedList<T>::AddReference(Node* pNode)
{
    if (pNode) {
        ++pNode->mReferenceCount;
    }
    return pNode;
}

// Destroys the node and those behind it as far as nothing else reaches them, in a loop: lists are long.
template <typename T>
void LinkedList<T>::DropReference(Node* pNode)
{
    while (pNode && --pNode->mReferenceCount == 0) {
        Node* pNext = pNode->mpNext;
        delete pNode;
        pNode = pNext;
    }
}

// Exported, and instantiated in Containers.cpp.
QBASE_EXPORTED_TEMPLATE(LinkedList<Ptr<Object>>);
QBASE_EXPORTED_TEMPLATE(LinkedList<String>);

} // namespace QBase
