// ObjectDiffHandler receives the changes that ObjectDiff finds in an object graph. Derive from it for undo
// logs, editors, debugging views; ObjectDiffSerializer derives from it to replicate a graph.
//
//     class Journal : public ObjectDiffHandler
//     {
//         QBASE_OBJECT(Journal, ObjectDiffHandler)
//         void OnAddObject(Object* pObject) override;
//         ...
//     };
//
// Objects are borrowed for the time of the call. An object that is referred to is announced before the event
// that refers to it. There is no per-element removal: a shrink is one event with the new size.
//
// Threads: events come on the thread that executes the ObjectDiff.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class List;
class Table;

class QBASE_API ObjectDiffHandler : public Object
{
    QBASE_OBJECT(ObjectDiffHandler, Object)

protected:
    ObjectDiffHandler() = default;
    explicit ObjectDiffHandler(const Value& value) : Object(value) {}
    ObjectDiffHandler(const ObjectDiffHandler& other) = default;
    ObjectDiffHandler& operator=(const ObjectDiffHandler& other) = default;

private:
    friend class ObjectDiff;
    friend class ObjectDiffDescription;
    friend class ObjectDiffPass;

    /// The root differs from that of the previous pass; null when there is none any more.
    virtual void OnNewRoot(Object* pRoot) = 0;

    /// An object is reached for the first time.
    virtual void OnAddObject(Object* pObject) = 0;

    /// An object known from earlier passes was not reached in this one.
    virtual void OnRemoveObject(Object* pObject) = 0;

    virtual void OnAddPropertyValue(Object* pObject, const String& name, const Value& value) = 0;
    virtual void OnModifyPropertyValue(Object* pObject, const String& name, const Value& newValue,
                                       const Value& oldValue) = 0;

    /// A single value disappeared or changed its type.
    virtual void OnRemovePropertyValue(Object* pObject, const String& name, const Value& oldValue) = 0;

    /// An array is new; its elements follow as additions.
    virtual void OnAddPropertyArray(Object* pObject, const String& name, Value::Type elementType) = 0;
    virtual void OnAddPropertyArrayElement(Object* pObject, const String& name, int index,
                                           const Value& value) = 0;
    virtual void OnModifyPropertyArrayElement(Object* pObject, const String& name, int index,
                                              const Value& newValue, const Value& oldValue) = 0;
    virtual void OnDownsizePropertyArray(Object* pObject, const String& name, int newSize,
                                         Value::Type elementType) = 0;

    /// An array disappeared or changed its type.
    virtual void OnRemovePropertyArray(Object* pObject, const String& name, Value::Type elementType) = 0;

    virtual void OnAddTableChild(Table* pTable, const String& name, Object* pChild) = 0;
    virtual void OnModifyTableChild(Table* pTable, const String& name, Object* pNewChild,
                                    Object* pOldChild) = 0;
    virtual void OnRemoveTableChild(Table* pTable, const String& name) = 0;

    virtual void OnAddListChild(List* pList, int index, Object* pChild) = 0;
    virtual void OnModifyListChild(List* pList, int index, Object* pNewChild, Object* pOldChild) = 0;
    virtual void OnDownsizeList(List* pList, int newSize) = 0;
};

} // namespace QBase
