// Ptr is the owning pointer to a reference-counted object. It holds one reference; the count lives in the
// object itself, so a Ptr can be made from a raw pointer anywhere and at any time.
//
//     Ptr<Table> pScene = Table::Construct(Value::Null); // the first reference
//     Ptr<Object> pCopy = pScene;                        // a second one on the same object
//     pScene = nullptr;                                  // drops the first
//     pCopy->GetClassName();                             // unchecked, as with a raw pointer
//
// What would surprise:
// - A new object has no reference yet. The first Ptr on it, a temporary one included, owns it and destroys
//   it when it goes; code that only looks at an object therefore takes a raw pointer.
// - An assignment stores the new pointer before it drops the old object, so the destructor of the old object
//   already sees the new pointer, and `p = p->mpNext` is safe although the old object held the new one.
// - Objects come from the library allocator as object blocks, because dropping the last reference returns
//   them there.
//
// Any class with static AddReference(T*) and DropReference(T*) can be pointed to; Object has them.
//
// Threads: the count is atomic, so Ptrs to one object may be copied and dropped on any thread. One Ptr is as
// thread-safe as an int.

#pragma once

#include "QBase/Export.h"

#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace QBase
{

class ArrayPropertyCommon;
class AsciiSerializer;
class BinarySerializer;
class ClassInfoTable;
class DeferredCall;
class DeferredList;
class EnumInfoObject;
class ErrorHandler;
class File;
class FileSerializer;
class Function;
class IOStream;
class List;
class Lock;
class MemoryFile;
class Object;
class ObjectDiff;
class ObjectDiffHandler;
class ObjectDiffSerializer;
class Property;
class Resource;
class Serializer;
class Stream;
class SystemFile;
class Table;
class TablePath;
class ThreadExecutor;
class Timer;
class Value;
class ValuePropertyCommon;

// Value, named so that a template can give it back before it is defined.
template <typename T>
struct ValueHolding
{
    using Type = Value;
};

template <typename T>
class Ptr
{
public:
    Ptr() = default;
    Ptr(T* pObject) : mpObject(pObject) { AddReference(); }
    Ptr(const Ptr& other) : mpObject(other.mpObject) { AddReference(); }
    Ptr(Ptr&& other) noexcept : mpObject(std::exchange(other.mpObject, nullptr)) {}

    /// From a Ptr to a derived class.
    template <typename U>
    requires std::convertible_to<U*, T*> Ptr(const Ptr<U>& other) : Ptr(other.mpObject) {}
    template <typename U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : mpObject(std::exchange(other.mpObject, nullptr)) {}

    ~Ptr() { DropReference(mpObject); }

    /// Takes over a reference that the caller has, instead of one more.
    static Ptr Adopt(T* pObject)
    {
        Ptr adopted;
        adopted.mpObject = pObject;
        return adopted;
    }

    /// References the new object, stores it, then drops the old one. All answer the new raw pointer.
    T* operator=(T* pObject) { return Replace(Ptr(pObject)); }
    T* operator=(const Ptr& other) { return Replace(Ptr(other)); }
    T* operator=(Ptr&& other) noexcept { return Replace(Ptr(std::move(other))); }
    template <typename U>
    requires std::convertible_to<U*, T*> T* operator=(const Ptr<U>& other) { return Replace(Ptr(other)); }
    template <typename U>
    requires std::convertible_to<U*, T*> T* operator=(Ptr<U>&& other) noexcept
    {
        return Replace(Ptr(std::move(other)));
    }

    /// The raw pointer, unchecked. Borrowed.
    operator T*() const { return mpObject; }
    T* operator->() const { return mpObject; }

    /// A Value that holds the object. Needs Value.h and the definition of T.
    operator typename ValueHolding<T>::Type() const
    {
        return typename ValueHolding<T>::Type(static_cast<Object*>(mpObject));
    }

private:
    template <typename U>
    friend class Ptr;

    // The old object is dropped with `replacement`, when this pointer no longer names it. The answer is read
    // before, because this pointer may live inside the old object.
    T* Replace(Ptr replacement)
    {
        T* pObject = replacement.mpObject;
        std::swap(mpObject, replacement.mpObject);
        return pObject;
    }

    void AddReference() const
    {
        if (mpObject) {
            T::AddReference(mpObject);
        }
    }

    static void DropReference(T* pObject)
    {
        if (pObject) {
            T::DropReference(pObject);
        }
    }

    T* mpObject = nullptr; // holds one reference; may be null
};

// The library exports the Ptrs to its classes. Each is declared here, where nothing can have used it yet, and
// instantiated in Containers.cpp.
QBASE_EXPORTED_TEMPLATE(Ptr<ArrayPropertyCommon>);
QBASE_EXPORTED_TEMPLATE(Ptr<AsciiSerializer>);
QBASE_EXPORTED_TEMPLATE(Ptr<BinarySerializer>);
QBASE_EXPORTED_TEMPLATE(Ptr<ClassInfoTable>);
QBASE_EXPORTED_TEMPLATE(Ptr<DeferredCall>);
QBASE_EXPORTED_TEMPLATE(Ptr<DeferredList>);
QBASE_EXPORTED_TEMPLATE(Ptr<EnumInfoObject>);
QBASE_EXPORTED_TEMPLATE(Ptr<ErrorHandler>);
QBASE_EXPORTED_TEMPLATE(Ptr<File>);
QBASE_EXPORTED_TEMPLATE(Ptr<FileSerializer>);
QBASE_EXPORTED_TEMPLATE(Ptr<Function>);
QBASE_EXPORTED_TEMPLATE(Ptr<IOStream>);
QBASE_EXPORTED_TEMPLATE(Ptr<List>);
QBASE_EXPORTED_TEMPLATE(Ptr<Lock>);
QBASE_EXPORTED_TEMPLATE(Ptr<MemoryFile>);
QBASE_EXPORTED_TEMPLATE(Ptr<Object>);
QBASE_EXPORTED_TEMPLATE(Ptr<ObjectDiff>);
QBASE_EXPORTED_TEMPLATE(Ptr<ObjectDiffHandler>);
QBASE_EXPORTED_TEMPLATE(Ptr<ObjectDiffSerializer>);
QBASE_EXPORTED_TEMPLATE(Ptr<Property>);
QBASE_EXPORTED_TEMPLATE(Ptr<Resource>);
QBASE_EXPORTED_TEMPLATE(Ptr<Serializer>);
QBASE_EXPORTED_TEMPLATE(Ptr<Stream>);
QBASE_EXPORTED_TEMPLATE(Ptr<SystemFile>);
QBASE_EXPORTED_TEMPLATE(Ptr<Table>);
QBASE_EXPORTED_TEMPLATE(Ptr<TablePath>);
QBASE_EXPORTED_TEMPLATE(Ptr<ThreadExecutor>);
QBASE_EXPORTED_TEMPLATE(Ptr<Timer>);
QBASE_EXPORTED_TEMPLATE(Ptr<ValuePropertyCommon>);

// Comparisons are those of the raw pointers. Without these, the two conversions of a Ptr would compete.
template <typename T, typename U>
bool operator==(const Ptr<T>& a, const Ptr<U>& b)
{
    return static_cast<T*>(a) == static_cast<U*>(b);
}

template <typename T, typename U>
bool operator==(const Ptr<T>& a, U* pB)
{
    return static_cast<T*>(a) == pB;
}

template <typename T>
bool operator==(const Ptr<T>& a, std::nullptr_t)
{
    return static_cast<T*>(a) == nullptr;
}

// How a container takes an element that it only looks for. A pointer is enough to look for a Ptr: making a
// Ptr of it would destroy an object that has no reference yet.
template <typename T>
struct LookupArgument
{
    using Type = const T&;
};

template <typename T>
struct LookupArgument<Ptr<T>>
{
    using Type = T*;
};

} // namespace QBase

template <typename T>
struct std::hash<QBase::Ptr<T>>
{
    std::size_t operator()(const QBase::Ptr<T>& pObject) const noexcept
    {
        return std::hash<T*>()(static_cast<T*>(pObject));
    }
};
