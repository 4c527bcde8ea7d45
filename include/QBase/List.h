// List is an ordered collection of objects. It holds one reference on each of them, so an object
// lives at least as long as its place in the list. Null elements are allowed.
//
//     Ptr<List> pCrew = List::Construct(Value::Null);
//     pCrew->InsertAt(0, pPilot);
//     pCrew->GetAt(7);  // null, after reporting the index and the size
//
// An index comes from scripts and files, so a wrong one is bad data: it is reported and the call
// changes nothing. (Array, which only C++ code reaches, asserts instead.)
//
// Threads: nothing here locks; whoever shares a list guards it.

#pragma once

#include "QBase/Array.h"
#include "QBase/Object.h"

namespace QBase
{

class QBASE_API List : public Object
{
    QBASE_OBJECT(List, Object)

public:
    /// Appends. Takes a reference.
    void Insert(Object* pObject);

    /// Inserts before `index`; an index equal to the size appends. Takes a reference.
    void InsertAt(int index, Object* pObject);

    /// Replaces the element at `index`.
    void SetAt(int index, Object* pObject);

    /// The element at `index`, or null after reporting an index outside the list. Borrowed.
    Object* GetAt(int index);

    /// Takes out the element at `index`; later ones move down.
    void RemoveAt(int index);

    /// The index of the first element that is this very object, or -1.
    int Find(Object* pObject) const;

    /// Takes out the first element that is this very object, if there is one.
    void Remove(Object* pObject);

    /// Takes out all elements.
    void Clear();

    int GetSize() const { return mObjects.GetSize(); }
    int GetCapacity() const { return mObjects.GetCapacity(); }

    /// Executes every element with `value`, by index. A list that is already executing on this thread does
    /// nothing.
    void Execute(const Value& value) override;

    /// The elements, for loops. Borrowed; a change of the list ends the loop's right to go on.
    const Array<Ptr<Object>>& GetObjects() const { return mObjects; }

protected:
    explicit List(const Value& value);
    List(const List& other) = default;
    List& operator=(const List& other);

private:
    Array<Ptr<Object>> mObjects;
};

} // namespace QBase
