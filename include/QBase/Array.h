// Array is a growable array. It starts with room for 8 elements, doubles when it is full and never shrinks.
//
//     Array<int> sizes;
//     sizes.Insert(7);
//     sizes.InsertAt(0, 5);       // 5, 7
//     sizes.Find(7);              // 1; -1 where there is none
//     for (int size : sizes) ...
//
// What would surprise:
// - InsertAt answers the last element of the array, not the inserted one.
// - An index outside the array asserts. A program resumed behind the assertion finds the array unchanged;
//   reading answers a neutral element that belongs to no array.
// - Arguments may be elements of the same array, and the destructor of a removed element may use the array:
//   it finds the element already gone.
// - An element type whose copying can throw needs a move constructor that cannot, as standard strings have.
// - When memory runs out that is reported and the array stays as it was.
//
// Threads: nothing here locks; whoever shares an array guards it.

#pragma once

#include "QBase/Error.h"
#include "QBase/Memory.h"
#include "QBase/Ptr.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace QBase
{

template <typename T>
class Array
{
public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    /// Elements that an array has room for at first.
    static constexpr int INITIAL_CAPACITY = 8;

    Array() : Array(INITIAL_CAPACITY) {}

    /// Copies the elements and takes over the capacity.
    Array(const Array& other);

    /// Takes the storage over; the other array is as new.
    Array(Array&& other) noexcept : Array() { Swap(other); }
    ~Array();

    /// Replaces the elements by copies of the other's; the old ones are destroyed last. The capacity doubles
    /// until they fit.
    Array& operator=(const Array& other);
    Array& operator=(Array&& other) noexcept;

    int GetSize() const { return mSize; }
    int GetCapacity() const { return mCapacity; }

    /// The element at `index`, which has to be in the array. Borrowed until the next change.
    T& GetAt(int index);
    const T& GetAt(int index) const;
    T& operator[](int index) { return GetAt(index); }
    const T& operator[](int index) const { return GetAt(index); }

    /// Appends and answers the new element.
    T& Insert(const T& value);

    /// Inserts before `index`; an index equal to the size appends. Answers the last element of the array.
    T& InsertAt(int index, const T& value);

    /// Takes out the element at `index`, which has to be in the array; later ones move down.
    void RemoveAt(int index);

    /// The index of the first element equal to `value`, or -1.
    int Find(typename LookupArgument<T>::Type value) const;

    /// Removes the first element equal to `value`, if any.
    void Remove(typename LookupArgument<T>::Type value);

    /// Destroys all elements; the storage stays.
    void Clear();

    /// Doubles the capacity.
    void Expand();

    /// Equal sizes and pairwise equal elements; the capacity does not count.
    bool operator==(const Array& other) const;
    bool operator!=(const Array& other) const { return !(*this == other); }

    T* begin() { return mpData; }
    T* end() { return mpData + mSize; }
    const T* begin() const { return mpData; }
    const T* end() const { return mpData + mSize; }

private:
    explicit Array(int capacity) : mSize(0), mCapacity(0), mpData(AllocateSlots(capacity))
    {
        mCapacity = mpData ? capacity : 0;
    }

    static T* AllocateSlots(std::int64_t count);
    static void FreeSlots(T* pSlots) { Memory::Free(pSlots, false); }
    static void MoveToFreeSlot(T* pSlot, T* pElement);
    static void MoveUp(T* pTo, T* pFrom, int count);
    static void MoveDown(T* pTo, T* pFrom, int count);
    static void DestroyElements(T* pElements, int count);
    static T& NeutralElement();

    bool EnsureFreeSlot();
    void ReplaceStorage(T* pData, int size, int capacity);
    void Swap(Array& other);

    int mSize;
    int mCapacity; // 0 only after memory ran out
    T* mpData;     // mCapacity slots; those at and beyond mSize hold no object
};

template <typename T>
Array<T>::Array(const Array& other) : Array(other.mCapacity > 0 ? other.mCapacity : INITIAL_CAPACITY)
{
    if (mCapacity < other.mSize) {
        return; // no memory, as reported
    }
    for (const T& element : other) {
        ::new (mpData + mSize) T(element);
        ++mSize;
    }
}

template <typename T>
Array<T>::~Array()
{
    while (mSize > 0) {
        Clear(); // again when a destructor inserted
    }
    FreeSlots(mpData);
}

template <typename T>
Array<T>& Array<T>::operator=(const Array& other)
{
    if (this == &other) {
        return *this;
    }
    std::int64_t capacity = mCapacity > 0 ? mCapacity : INITIAL_CAPACITY;
    while (capacity < other.mSize) {
        capacity *= 2;
    }
    if (capacity > (std::numeric_limits<int>::max)()) {
        capacity = (std::numeric_limits<int>::max)();
    }
    Array copy(static_cast<int>(capacity));
    if (copy.mCapacity < other.mSize) {
        return *this; // no memory, as reported
    }
    for (const T& element : other) {
        copy.Insert(element);
    }
    Swap(copy);
    return *this;
}

template <typename T>
Array<T>& Array<T>::operator=(Array&& other) noexcept
{
    Array taken(std::move(other));
    Swap(taken);
    return *this;
}

template <typename T>
T& Array<T>::GetAt(int index)
{
    if (!QBASE_ASSERT(index >= 0 && index < mSize)) {
        return NeutralElement();
    }
    return mpData[index];
}

template <typename T>
const T& Array<T>::GetAt(int index) const
{
    if (!QBASE_ASSERT(index >= 0 && index < mSize)) {
        return NeutralElement();
    }
    return mpData[index];
}

template <typename T>
T& Array<T>::Insert(const T& value)
{
    if (mSize < mCapacity) {
        ::new (mpData + mSize) T(value);
        return mpData[mSize++];
    }
    T copy(value); // it may be an element, which growing moves
    if (!EnsureFreeSlot()) {
        return NeutralElement();
    }
    ::new (mpData + mSize) T(std::move(copy));
    return mpData[mSize++];
}

template <typename T>
T& Array<T>::InsertAt(int index, const T& value)
{
    if (!QBASE_ASSERT(index >= 0 && index <= mSize)) {
        return NeutralElement();
    }
    T copy(value); // it may be an element, which making room moves
    if (!EnsureFreeSlot()) {
        return NeutralElement();
    }
    MoveUp(mpData + index + 1, mpData + index, mSize - index);
    ::new (mpData + index) T(std::move(copy));
    ++mSize;
    return mpData[mSize - 1];
}

template <typename T>
void Array<T>::RemoveAt(int index)
{
    if (!QBASE_ASSERT(index >= 0 && index < mSize)) {
        return;
    }
    // The element is taken out first and destroyed last, when its destructor finds the array in order.
    [[maybe_unused]] T removed(std::move_if_noexcept(mpData[index]));
    mpData[index].~T();
    MoveDown(mpData + index, mpData + index + 1, mSize - index - 1);
    --mSize;
}

template <typename T>
int Array<T>::Find(typename LookupArgument<T>::Type value) const
{
    for (int i = 0; i < mSize; ++i) {
        if (mpData[i] == value) {
            return i;
        }
    }
    return -1;
}

template <typename T>
void Array<T>::Remove(typename LookupArgument<T>::Type value)
{
    const int index = Find(value);
    if (index >= 0) {
        RemoveAt(index);
    }
}

template <typename T>
void Array<T>::Clear()
{
    if (mSize == 0) {
        return;
    }
    // The array is empty, without storage, while the destructors run; what they insert gets storage of its
    // own and moves into the old one afterwards.
    T* pData = mpData;
    const int size = mSize;
    const int capacity = mCapacity;
    mpData = nullptr;
    mSize = 0;
    mCapacity = 0;
    DestroyElements(pData, size);
    if (mCapacity > capacity) {
        FreeSlots(pData);
        return;
    }
    MoveDown(pData, mpData, mSize);
    ReplaceStorage(pData, mSize, capacity);
}

template <typename T>
void Array<T>::Expand()
{
    const std::int64_t capacity = mCapacity > 0 ? std::int64_t(mCapacity) * 2 : INITIAL_CAPACITY;
    T* pData = AllocateSlots(capacity);
    if (!pData) {
        return;
    }
    MoveDown(pData, mpData, mSize);
    ReplaceStorage(pData, mSize, static_cast<int>(capacity));
}

template <typename T>
bool Array<T>::operator==(const Array& other) const
{
    if (mSize != other.mSize) {
        return false;
    }
    for (int i = 0; i < mSize; ++i) {
        if (!(mpData[i] == other.mpData[i])) {
            return false;
        }
    }
    return true;
}

// Null, after a report, when there is no memory for so many or no block can be so large.
template <typename T>
T* Array<T>::AllocateSlots(std::int64_t count)
{
    static_assert(alignof(T) <= 16, "Array elements have an alignment of 16 bytes at most");

    constexpr std::int64_t largestBlock = (std::numeric_limits<unsigned>::max)();
    if (count > (std::numeric_limits<int>::max)() || count > largestBlock / std::int64_t(sizeof(T))) {
        Error(QBASE_HERE, "Failed to allocate %lld array elements of %u bytes - too many",
              static_cast<long long>(count), static_cast<unsigned>(sizeof(T)));
        return nullptr;
    }
    const unsigned size = static_cast<unsigned>(count) * static_cast<unsigned>(sizeof(T));
    return static_cast<T*>(Memory::Alloc(size, ALLOC_UNKNOWN, QBASE_HERE, false));
}

template <typename T>
void Array<T>::MoveToFreeSlot(T* pSlot, T* pElement)
{
    ::new (pSlot) T(std::move_if_noexcept(*pElement));
    pElement->~T();
}

// Towards higher addresses, from the end down, so that source and destination may overlap.
template <typename T>
void Array<T>::MoveUp(T* pTo, T* pFrom, int count)
{
    if constexpr (std::is_trivially_copyable_v<T>) {
        if (count > 0) {
            std::memmove(static_cast<void*>(pTo), pFrom, sizeof(T) * static_cast<std::size_t>(count));
        }
    } else {
        for (int i = count - 1; i >= 0; --i) {
            MoveToFreeSlot(pTo + i, pFrom + i);
        }
    }
}

// In ascending order: towards lower addresses, or into other storage.
template <typename T>
void Array<T>::MoveDown(T* pTo, T* pFrom, int count)
{
    if constexpr (std::is_trivially_copyable_v<T>) {
        if (count > 0) {
            std::memmove(static_cast<void*>(pTo), pFrom, sizeof(T) * static_cast<std::size_t>(count));
        }
    } else {
        for (int i = 0; i < count; ++i) {
            MoveToFreeSlot(pTo + i, pFrom + i);
        }
    }
}

template <typename T>
void Array<T>::DestroyElements(T* pElements, int count)
{
    for (int i = 0; i < count; ++i) {
        pElements[i].~T();
    }
}

// What a wrong index answers after the assertion was resumed: one element for all arrays of the type, never
// destroyed, and new each time, whatever was written to it before.
template <typename T>
T& Array<T>::NeutralElement()
{
    static_assert(std::is_default_constructible_v<T>,
                  "Array elements need a default constructor: a wrong index answers a default element");

    alignas(T) static unsigned char sStorage[sizeof(T)];
    static T* const spElement = ::new (sStorage) T();
    *spElement = T();
    return *spElement;
}

template <typename T>
bool Array<T>::EnsureFreeSlot()
{
    if (mSize == mCapacity) {
        Expand();
    }
    return mSize < mCapacity;
}

template <typename T>
void Array<T>::ReplaceStorage(T* pData, int size, int capacity)
{
    FreeSlots(mpData);
    mpData = pData;
    mSize = size;
    mCapacity = capacity;
}

template <typename T>
void Array<T>::Swap(Array& other)
{
    std::swap(mSize, other.mSize);
    std::swap(mCapacity, other.mCapacity);
    std::swap(mpData, other.mpData);
}

// Exported, and instantiated in Containers.cpp.
QBASE_EXPORTED_TEMPLATE(Array<Ptr<Object>>);

} // namespace QBase
