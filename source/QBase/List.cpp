#include "QBase/List.h"

#include "QBase/ContainerExecution.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT(QBase, List)

void List::Implement()
{
    Describe("Objects in an order of their own");
    AddFunction<&List::Clear>("Clear");
    AddFunction<&List::Find>("Find");
    AddFunction<&List::GetAt>("GetAt");
    AddFunction<&List::GetCapacity>("GetCapacity");
    AddFunction<&List::GetSize>("GetSize");
    AddFunction<&List::Insert>("Insert");
    AddFunction<&List::InsertAt>("InsertAt");
    AddFunction<&List::Remove>("Remove");
    AddFunction<&List::RemoveAt>("RemoveAt");
    AddFunction<&List::SetAt>("SetAt");
}

List::List(const Value&)
{}

List& List::operator=(const List& other)
{
    mObjects = other.mObjects;
    return *this;
}

void List::Insert(Object* pObject)
{
    mObjects.Insert(pObject);
}

// Hosts rely on the unit and line of the four reports below.

void List::InsertAt(int index, Object* pObject)
{
    if (index < 0 || index > mObjects.GetSize()) {
        Error("List", 50, "Failed to insert object to index %d, list size is %d", index, mObjects.GetSize());
        return;
    }
    mObjects.InsertAt(index, pObject);
}

void List::RemoveAt(int index)
{
    if (index < 0 || index >= mObjects.GetSize()) {
        Error("List", 67, "Failed to remove object from index %d, list size is %d", index,
              mObjects.GetSize());
        return;
    }
    mObjects.RemoveAt(index);
}

void List::SetAt(int index, Object* pObject)
{
    if (index < 0 || index >= mObjects.GetSize()) {
        Error("List", 79, "Failed to set object to index %d, list size is %d", index, mObjects.GetSize());
        return;
    }
    mObjects.GetAt(index) = pObject;
}

Object* List::GetAt(int index)
{
    if (index < 0 || index >= mObjects.GetSize()) {
        Error("List", 91, "Failed to get object from index %d, list size is %d", index, mObjects.GetSize());
        return nullptr;
    }
    return mObjects.GetAt(index);
}

int List::Find(Object* pObject) const
{
    for (int i = 0; i < mObjects.GetSize(); ++i) {
        if (static_cast<Object*>(mObjects.GetAt(i)) == pObject) {
            return i;
        }
    }
    return -1;
}

void List::Remove(Object* pObject)
{
    const int index = Find(pObject);
    if (index >= 0) {
        mObjects.RemoveAt(index);
    }
}

void List::Clear()
{
    const KeepAlive keepThis(this); // an object that goes may have held this list
    mObjects.Clear();
}

void List::Execute(const Value& value)
{
    ContainerExecution(value).Run(this);
}

} // namespace QBase
