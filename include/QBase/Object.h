// Object is the base of every reflected class. It counts its references, knows its class at run time, can be
// copied, and is read, written and called by name.
//
//     Ptr<Object> pMoon = Construct("Solar", "Body", Value::Null);
//     pMoon->FindProperty("Radius")->Set(pMoon, 1821.6f);
//     pMoon->AddPropertyValueFromValue("Discovered", 1610); // a property of this one object
//     pMoon->Call("Advance", 0.1f);
//
// A class joins in with one line in its body and one in its source unit; Reflection.h shows how.
//
// An object is born with reference count 0. Ptr, Value, tables and lists each hold one reference; the one
// that drops the last destroys the object at once. An object that nothing ever referred to belongs to
// whoever made it. Chains of any length are destroyed without deep recursion.
//
// Threads: the reference count is atomic. Everything else is driven by one thread at a time; reading (finding
// properties, type tests) may happen on several threads while nothing changes.

#pragma once

#include "QBase/Export.h"
#include "QBase/InterlockedInt.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"
#include "QBase/Value.h"

#include <cstddef>
#include <initializer_list>
#include <utility>

// <windows.h> puts a macro over this name. A host that includes it after this header does the same itself.
#undef GetClassName

namespace QBase
{

class ClassInfoTable;
class Function;
class Property;
class PropertyHandle;
template <typename C>
class Implementor;
template <typename C>
class Registrar;

class QBASE_API Object
{
public:
    /// What QBASE_OBJECT declares for each class: its names, its class table, the making of an object, and
    /// the registration of its members.
    static const String& ClassName();
    static const String& ModuleName();
    static ClassInfoTable* ClassTable();
    static Object* Construct(const Value& value);
    static void Implement();

    /// A new object of the same class, made by its copy constructor. For every class but Object itself the
    /// clone carries over the source's reference count and shares its instance table without a reference of
    /// its own: whoever keeps a clone adjusts its count with that in mind. Null, after a report, for an
    /// abstract class.
    virtual Object* Clone();

    /// A clone with every property value copied. Null when Clone answers null.
    virtual Object* Copy();

    /// Copies the property values of this object into the properties of the same name, type and shape of
    /// `pTarget`, adding dynamic properties that it lacks. Excluded properties stay out.
    virtual void CopyTo(Object* pTarget);

    virtual ClassInfoTable* GetClassTable() const;
    virtual const String& GetClassName() const;
    virtual const String& GetModuleName() const;

    /// Does the object's work, if its class has any.
    virtual void Execute(const Value& value);

    virtual ~Object();

    /// Takes one reference; null when called on null.
    Object* Access();

    /// Drops one reference. The object while others remain; null when it was destroyed, or called on null.
    Object* Release();

    int GetReferenceCount() const { return mReferenceCount.Value(); }

    /// Whether the class is this one, or this one or derived from it.
    bool IsExactType(ClassInfoTable* pClassTable) const;
    bool IsDerivedType(ClassInfoTable* pClassTable) const;

    /// The table of properties that only this object has, or null. Borrowed.
    ClassInfoTable* GetInstanceTable() const { return mpInstanceTable; }
    ClassInfoTable* GetInstanceOrClassTable() const;

    /// Holds `pTable` in place of the present instance table.
    void SetInstanceTable(ClassInfoTable* pTable);

    /// The property or function of that name, first of the object itself, then of its class and base
    /// classes. Null when the first entry met is missing or of the other kind. Borrowed.
    Property* FindProperty(const String& name) const;
    Function* FindFunction(const String& name) const;

    /// The object paired with its property of that name; not valid when there is none. Holds nothing.
    PropertyHandle GetPropertyHandle(const String& name);

    /// Adds a property that only this object has. Null, after a report, when the name is taken by a property
    /// or no property can have the type. Borrowed.
    Property* AddPropertyValue(const String& name, Value::Type type);
    Property* AddPropertyArray(const String& name, Value::Type type);

    /// The same with the type of `value`; the single property is set to it, the array starts empty.
    Property* AddPropertyValueFromValue(const String& name, const Value& value);
    Property* AddPropertyArrayFromValue(const String& name, const Value& value);

    /// Takes out a property that AddProperty... added. False, after a report, when there is none.
    bool RemoveProperty(const String& name);

    /// Calls the function of that name. Void, after a report, when there is none.
    Value Call(const String& name, const Value& a1 = Value::Null, const Value& a2 = Value::Null,
               const Value& a3 = Value::Null, const Value& a4 = Value::Null, const Value& a5 = Value::Null);

    /// The counting behind Ptr and Value. Both take a pointer that is not null.
    static void AddReference(Object* pObject) { pObject->mReferenceCount.Increment(); }
    static void DropReference(Object* pObject)
    {
        if (pObject->mReferenceCount.Decrement() <= 0) {
            Destroy(pObject);
        }
    }

    // Objects live in blocks of the library allocator, so that the last release can free them. Null when
    // there is no memory.
    static void* operator new(std::size_t size) noexcept;
    static void* operator new(std::size_t size, const char* pFile, int line) noexcept;
    static void* operator new(std::size_t, void* pPlace) noexcept { return pPlace; }
    static void operator delete(void* pBlock);
    static void operator delete(void* pBlock, const char* pFile, int line);
    static void operator delete(void*, void*) {}

protected:
    Object();
    explicit Object(const Value& value);
    Object(const Object& other);

    /// Copies nothing: identity, count and instance table stay with their object.
    Object& operator=(const Object& other);

private:
    friend class Implementor<Object>;
    friend class KeepAlive;

    using BaseClass = Object;

    static void Destroy(Object* pObject);
    static void DestroyNow(Object* pObject);
    static bool LetWait(Object* pObject);
    static void DestroyWaiting();

    ClassInfoTable* GetOrCreateInstanceTable();
    Property* AddDynamicProperty(const String& name, Value::Type type, bool bArray);

    ClassInfoTable* mpInstanceTable; // holds one reference, or is one of its sharers
    InterlockedInt mReferenceCount;

    static ClassInfoTable* spClassTable;
    static Implementor<Object> sImplementor;
};

// KeepAlive holds an object that somebody else handed in during a call. Unlike Ptr it never destroys an
// object that arrived without any reference: such an object belongs to the caller.
class QBASE_API KeepAlive
{
public:
    explicit KeepAlive(Object* pObject);
    ~KeepAlive();
    KeepAlive(const KeepAlive&) = delete;
    KeepAlive& operator=(const KeepAlive&) = delete;

private:
    Object* mpObject; // holds one reference; or null
    bool mbWasReferenced;
};

// What a registration call can say about an entry beside its name and members.
struct MemberOptions
{
    bool mbExcluded = false;             // neither saved nor compared
    const char* mpDescription = nullptr; // one line for those who read the class's description
};

// Implementor<C> is the static registrar of class C: constructing it files C under its module and links it
// to its base class. One per reflected class, run while the library that defines the class loads.
QBASE_API void RegisterClassTables(ClassInfoTable* (*pBaseClassTable)(), ClassInfoTable* (*pClassTable)());

template <typename C>
class Implementor
{
public:
    Implementor() { RegisterClassTables(&C::BaseClass::ClassTable, &C::ClassTable); }
};

} // namespace QBase

// QBASE_OBJECT(Class, Base) declares what every reflected class repeats. It leaves the class private.
#define QBASE_OBJECT(Class, Base) QBASE_OBJECT_WITH_CONSTRUCT(public, Class, Base)

// The same for a class whose Construct is not for everybody: `Access` is public, protected or private.
#define QBASE_OBJECT_WITH_CONSTRUCT(Access, Class, Base)                                                     \
    Access:                                                                                                  \
    static Class* Construct(const ::QBase::Value& value);                                                    \
                                                                                                             \
public:                                                                                                      \
    static const ::QBase::String& ClassName();                                                               \
    static const ::QBase::String& ModuleName();                                                              \
    static ::QBase::ClassInfoTable* ClassTable();                                                            \
    static void Implement();                                                                                 \
    Class* Clone() override;                                                                                 \
    ::QBase::ClassInfoTable* GetClassTable() const override;                                                 \
    const ::QBase::String& GetClassName() const override;                                                    \
    const ::QBase::String& GetModuleName() const override;                                                   \
                                                                                                             \
private:                                                                                                     \
    using ThisClass = Class;                                                                                 \
    using BaseClass = Base;                                                                                  \
    friend class ::QBase::Implementor<Class>;                                                                \
    friend class ::QBase::Registrar<Class>;                                                                  \
    template <auto Callable, typename C = Class>                                                             \
    static void AddFunction(const char* pName, const ::QBase::MemberOptions& options = {})                   \
    {                                                                                                        \
        ::QBase::Registrar<C>::template AddFunction<Callable>(pName, options);                               \
    }                                                                                                        \
    template <auto Getter, auto Setter, typename C = Class>                                                  \
    static void AddProperty(const char* pName, const ::QBase::MemberOptions& options = {})                   \
    {                                                                                                        \
        ::QBase::Registrar<C>::template AddProperty<Getter, Setter>(pName, options);                         \
    }                                                                                                        \
    template <auto Member, typename C = Class>                                                               \
    static void AddProperty(const char* pName, const ::QBase::MemberOptions& options = {})                   \
    {                                                                                                        \
        ::QBase::Registrar<C>::template AddProperty<Member>(pName, options);                                 \
    }                                                                                                        \
    template <auto Constant, typename C = Class>                                                             \
    static void AddConstant(const char* pName, const ::QBase::MemberOptions& options = {})                   \
    {                                                                                                        \
        ::QBase::Registrar<C>::template AddConstant<Constant>(pName, options);                               \
    }                                                                                                        \
    template <typename E, typename C = Class>                                                                \
    static void AddEnum(const char* pName, ::std::initializer_list<::std::pair<const char*, E>> keys,        \
                        const char* pDescription = nullptr)                                                  \
    {                                                                                                        \
        ::QBase::Registrar<C>::template AddEnum<E>(pName, keys, pDescription);                               \
    }                                                                                                        \
    template <typename C = Class>                                                                            \
    static void Describe(const char* pDescription)                                                           \
    {                                                                                                        \
        ::QBase::Registrar<C>::Describe(pDescription);                                                       \
    }                                                                                                        \
    template <typename C = Class>                                                                            \
    static void SetActsOutside()                                                                             \
    {                                                                                                        \
        ::QBase::Registrar<C>::SetActsOutside();                                                             \
    }                                                                                                        \
    static ::QBase::ClassInfoTable* spClassTable;                                                            \
    static ::QBase::Implementor<Class> sImplementor;
