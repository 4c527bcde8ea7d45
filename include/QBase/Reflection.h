// Reflection.h turns the members of a class into reflected functions and properties. Source units that
// implement reflected classes include it.
//
//     // Ship.h
//     class Ship : public Object
//     {
//         QBASE_OBJECT(Ship, Object)
//     public:
//         float GetSpeed() const;
//         void SetSpeed(float speed);
//         void Land(Planet* pPlanet);
//     protected:
//         explicit Ship(const Value& value);
//     private:
//         Array<String> mCargo;
//     };
//
//     // Ship.cpp
//     QBASE_IMPLEMENT(Game, Ship) // QBASE_IMPLEMENT_ABSTRACT for a class that cannot be constructed
//
//     void Ship::Implement()
//     {
//         AddFunction<&Ship::Land>("Land");
//         AddProperty<&Ship::GetSpeed, &Ship::SetSpeed>("Speed");
//         AddProperty<&Ship::GetWeight>("Weight");               // a getter alone: read only, not saved
//         AddProperty<&Ship::mCargo>("Cargo");                   // a member; an Array member is an array
//         AddEnum<Ship::Gear>("Gear", {{"Up", Ship::UP}, {"Down", Ship::DOWN}});
//         AddProperty<&Ship::mGear>("Gear");                     // an "Enum" that knows its names
//         AddConstant<Ship::MAX_CREW>("MAX_CREW");
//         Describe("A vessel and its cargo");                    // a line for whoever reads the class
//         AddProperty<&Ship::mCrew>("Crew", {.mpDescription = "How many are on board"});
//     }
//
// Type codes are read off the C++ signatures through ValueTraits. Functions are members, const or not, or
// static, with up to five arguments, each by value or const reference. An overloaded member is chosen with a
// static_cast. The name given is the reflected name; it is written once.
//
// Files and scripts may set an enumeration to any number, so it names its underlying type (enum Gear : int):
// without one, C++ leaves undefined what a number outside the enumerators' range becomes.
// One class gives the names of an enumeration with AddEnum; all properties of that enumeration know them,
// those of other modules too. The EnumInfoObject stands in the class table under "enum " and the name.
//
// A class whose mere construction or whose setters act on something outside the program (files, threads,
// connections) says so with SetActsOutside(): data of strangers then constructs and changes it only where the
// host has named it.
//
// Threads: registration runs while a library loads, on the thread that loads it.

#pragma once

#include "QBase/Array.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Error.h"
#include "QBase/Function.h"
#include "QBase/Object.h"
#include "QBase/Property.h"

#include <cstring>
#include <memory>
#include <tuple>
#include <typeinfo>
#include <utility>

namespace QBase
{

/// What every reflected class's ClassTable, Construct, Clone and registrar have in common.
QBASE_API ClassInfoTable* RegisterReflectedClass(ClassInfoTable*& rpClassTable, const String& module,
                                                 const String& className, bool bAbstract,
                                                 Value (*pConstruct)(const Value&), void (*pImplement)());
QBASE_API void AddClassEntry(ClassInfoTable* pClassTable, const char* pName, Object* pEntry);
QBASE_API void ReportInterfaceClass(const char* pUnit, int line);

namespace Reflect
{

template <typename T>
using Plain = std::remove_cv_t<std::remove_reference_t<T>>;

template <typename T>
concept Payload = ValueTraits<Plain<T>>::IS_PAYLOAD;

template <typename T>
inline constexpr bool IS_ARRAY = false;
template <typename T>
inline constexpr bool IS_ARRAY<Array<T>> = true;

template <typename T>
concept MutableReference = std::is_lvalue_reference_v<T> && !std::is_const_v<std::remove_reference_t<T>>;

// The class behind an object argument: null for everything else.
template <typename T>
struct Pointee
{
    static ClassInfoTable* GetClass() { return nullptr; }
};
template <typename T>
struct Pointee<T*>
{
    static ClassInfoTable* GetClass() { return T::ClassTable(); }
};
template <typename T>
struct Pointee<Ptr<T>>
{
    static ClassInfoTable* GetClass() { return T::ClassTable(); }
};

template <typename T>
constexpr Value::Type TypeOf()
{
    if constexpr (std::is_void_v<T>) {
        return Value::TYPE_VOID;
    } else {
        return ValueTraits<Plain<T>>::TYPE;
    }
}

// Signature<F> takes a callable's type apart.
template <typename F>
struct Signature
{
    static constexpr bool IS_FUNCTION = false;
};

template <typename R, typename C, typename... A>
struct SignatureOf
{
    static constexpr bool IS_FUNCTION = true;
    static constexpr bool IS_MEMBER = !std::is_void_v<C>;
    static constexpr int NUM_ARGS = sizeof...(A);
    using Result = R;
    using Class = C;
    using Args = std::tuple<A...>;
};

template <typename R, typename... A>
struct Signature<R (*)(A...)> : SignatureOf<R, void, A...>
{};
template <typename R, typename... A>
struct Signature<R (*)(A...) noexcept> : SignatureOf<R, void, A...>
{};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...)> : SignatureOf<R, C, A...>
{};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) const> : SignatureOf<R, C, A...>
{};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) noexcept> : SignatureOf<R, C, A...>
{};
template <typename R, typename C, typename... A>
struct Signature<R (C::*)(A...) const noexcept> : SignatureOf<R, C, A...>
{};

template <typename M>
struct MemberOf
{
    static constexpr bool IS_MEMBER = false;
};
template <typename T, typename C>
requires(!std::is_function_v<T>) struct MemberOf<T C::*>
{
    static constexpr bool IS_MEMBER = true;
    using Type = T;
    using Class = C;
};

// A value that stands for no object without being wrong.
inline bool IsNothing(const Value& value)
{
    return value.IsVoid() || (value.GetType() == Value::TYPE_OBJECT && value.AsObject() == nullptr);
}

struct ArgumentSource
{
    const Value& mValue;
    int mIndex; // counted from 0
};

// Argument holds one argument for the time of a call: its own reference on a text or an object, so that the
// callee may overwrite whatever the caller's Value lives in.
template <typename T>
class Argument
{
public:
    explicit Argument(const ArgumentSource& source) : mValue(ValueTraits<T>::Get(source.mValue)) {}
    T& Get() { return mValue; }

private:
    T mValue;
};

template <typename T>
class Argument<T*>
{
public:
    explicit Argument(const ArgumentSource& source) : mpObject(Take(source)), mKeepAlive(mpObject) {}
    T*& Get() { return mpObject; }

private:
    static T* Take(const ArgumentSource& source)
    {
        T* const pObject = ValueTraits<T*>::Get(source.mValue);
        if (pObject == nullptr && !IsNothing(source.mValue)) {
            ReportForeignArgument(source.mValue, source.mIndex, T::ClassTable());
        }
        return pObject;
    }

    T* mpObject;
    KeepAlive mKeepAlive;
};

template <typename T>
class Argument<Ptr<T>>
{
public:
    explicit Argument(const ArgumentSource& source) : mArgument(source), mpObject(mArgument.Get()) {}
    Ptr<T>& Get() { return mpObject; }

private:
    Argument<T*> mArgument;
    Ptr<T> mpObject;
};

template <typename Args, int Index>
constexpr Value::Type ArgType()
{
    if constexpr (Index < static_cast<int>(std::tuple_size_v<Args>)) {
        return TypeOf<std::tuple_element_t<Index, Args>>();
    } else {
        return Value::TYPE_VOID;
    }
}

template <typename... A>
constexpr bool AreAllPayloads(std::tuple<A...>*)
{
    return (Payload<A> && ...);
}

template <typename... A>
constexpr bool HasMutableReference(std::tuple<A...>*)
{
    return (MutableReference<A> || ...);
}

// BoundFunction is the Function over one C++ callable of class C.
template <typename C, auto Callable>
class BoundFunction final : public Function
{
    using Form = Signature<decltype(Callable)>;
    using Args = typename Form::Args;
    using Result = typename Form::Result;

public:
    BoundFunction()
        : Function(Form::IS_MEMBER ? Function::Member : Function::Static, TypeOf<Result>(),
                   ArgType<Args, 0>(), ArgType<Args, 1>(), ArgType<Args, 2>(), ArgType<Args, 3>(),
                   ArgType<Args, 4>())
    {
        LetCalleesDestroyIt();
    }

    Value Invoke(Object* pTarget, const Value& a1, const Value& a2, const Value& a3, const Value& a4,
                 const Value& a5) override
    {
        if constexpr (Form::IS_MEMBER) {
            if (QBASE_UNLIKELY(pTarget == nullptr ||
                               !pTarget->GetClassTable()->IsDerivedFrom(C::ClassTable()))) {
                ReportForeignTarget(pTarget, C::ClassTable());
                return Value();
            }
        }
        const Value* const args[MAX_ARGS] = {&a1, &a2, &a3, &a4, &a5};
        return InvokeWith(pTarget, args, std::make_index_sequence<Form::NUM_ARGS>());
    }

    ClassInfoTable* GetTargetClass() const override { return Form::IS_MEMBER ? C::ClassTable() : nullptr; }

    ClassInfoTable* GetArgClass(int index) const override
    {
        if (index == -1) {
            return Pointee<Plain<Result>>::GetClass();
        }
        return ArgClass(index, std::make_index_sequence<Form::NUM_ARGS>());
    }

private:
    template <std::size_t... I>
    static Value InvokeWith(Object* pTarget, [[maybe_unused]] const Value* const* args,
                            std::index_sequence<I...>)
    {
        [[maybe_unused]] std::tuple<Argument<Plain<std::tuple_element_t<I, Args>>>...> held{
            ArgumentSource{*args[I], static_cast<int>(I)}...};
        const auto call = [&]() -> decltype(auto) {
            if constexpr (Form::IS_MEMBER) {
                return (static_cast<C*>(pTarget)->*Callable)(std::get<I>(held).Get()...);
            } else {
                return Callable(std::get<I>(held).Get()...);
            }
        };
        if constexpr (std::is_void_v<Result>) {
            call();
            return Value();
        } else {
            return ValueTraits<Plain<Result>>::Make(call());
        }
    }

    template <std::size_t... I>
    static ClassInfoTable* ArgClass([[maybe_unused]] int index, std::index_sequence<I...>)
    {
        ClassInfoTable* pClass = nullptr;
        ((static_cast<int>(I) == index
              ? void(pClass = Pointee<Plain<std::tuple_element_t<I, Args>>>::GetClass())
              : void()),
         ...);
        return pClass;
    }
};

// The names of T, if it is an enumeration for which a class of any module has given them with AddEnum.
template <typename T>
EnumInfoObject* EnumInfoFor()
{
    if constexpr (std::is_enum_v<T>) {
        return FindEnumInfo(typeid(T));
    } else {
        return nullptr;
    }
}

// Store assigns a Value to a typed slot, converting as Value::Get does. An object of the wrong class is
// reported and leaves the slot alone.
template <typename T, typename Assign>
void Store(const Value& value, Assign assign)
{
    if constexpr (TypeOf<T>() == Value::TYPE_OBJECT) {
        T pObject = ValueTraits<T>::Get(value);
        if (pObject == nullptr && !IsNothing(value)) {
            ReportForeignObject(value.AsObject(), Pointee<T>::GetClass());
            return;
        }
        assign(std::move(pObject));
    } else {
        assign(ValueTraits<T>::Get(value));
    }
}

// Answers Property::GetIfChanged and GetAtIfChanged for a typed slot: equality is that of Value, without
// making one.
template <typename T>
bool TakeIfChanged(const T& stored, const Value& known, Value& rValue)
{
    constexpr Value::Type TYPE = TypeOf<T>();
    bool bEqual;
    if constexpr (TYPE == Value::TYPE_STRING) {
        bEqual = known.GetType() == TYPE && known.AsString() == stored;
    } else if constexpr (TYPE == Value::TYPE_OBJECT) {
        bEqual = known.GetType() == TYPE && known.AsObject() == static_cast<const Object*>(stored);
    } else if constexpr (TYPE == Value::TYPE_ENUM) {
        const std::int32_t number = static_cast<std::int32_t>(stored);
        bEqual = ValueBits::IsPlain(known, TYPE, &number, sizeof(number));
    } else if constexpr (TYPE == Value::TYPE_VALUE) {
        bEqual = known == stored;
    } else {
        bEqual = ValueBits::IsPlain(known, TYPE, &stored, sizeof(stored));
    }
    if (!bEqual) {
        rValue = ValueTraits<T>::Make(stored);
    }
    return !bEqual;
}

// AccessorProperty is a single value behind a getter and, unless it is nullptr, a setter.
template <typename C, auto Getter, auto Setter>
class AccessorProperty final : public ValuePropertyCommon
{
    using T = Plain<typename Signature<decltype(Getter)>::Result>;
    static constexpr bool READ_ONLY = std::is_null_pointer_v<decltype(Setter)>;

public:
    AccessorProperty(ClassInfoTable* pOwnerClass, const MemberOptions& options)
        : ValuePropertyCommon(pOwnerClass), mbExcluded(READ_ONLY || options.mbExcluded)
    {}

    Value::Type GetType() const override { return TypeOf<T>(); }
    bool IsExcluded() const override { return mbExcluded; }
    EnumInfoObject* GetEnumInfo() override { return EnumInfoFor<T>(); }
    Property::WriteAccess GetWriteAccess() const override
    {
        return READ_ONLY ? Property::READ_ONLY : Property::WRITABLE;
    }

    Value Get(Object* pObject) override
    {
        return ValueTraits<T>::Make((static_cast<C*>(pObject)->*Getter)());
    }
    bool GetIfChanged(Object* pObject, const Value& known, Value& rValue) override
    {
        return TakeIfChanged<T>((static_cast<C*>(pObject)->*Getter)(), known, rValue);
    }

    void Set(Object* pObject, const Value& value) override
    {
        if constexpr (READ_ONLY) {
            ReportSetReadOnly();
        } else {
            Store<T>(value, [&](const T& stored) { (static_cast<C*>(pObject)->*Setter)(stored); });
        }
    }

private:
    bool mbExcluded;
};

// A type whose Values hold nothing but what a T is.
template <typename T>
concept Direct = requires
{
    requires ValueTraits<T>::IS_DIRECT;
};

// FieldOf makes the PropertyField of a member of class C.
template <typename C, auto Member>
struct FieldOf
{
    using M = typename MemberOf<decltype(Member)>::Type;

    static void* Locate(Object* pObject) { return std::addressof(static_cast<C*>(pObject)->*Member); }

    template <typename T>
    static Object* GetObject(const void* pPointer)
    {
        return static_cast<Object*>(*static_cast<const T*>(pPointer));
    }

    static const void* GetElements(const void* pArray, int& rSize)
    {
        const M& elements = *static_cast<const M*>(pArray);
        rSize = elements.GetSize();
        return elements.begin();
    }

    template <typename T>
    static void Append(void* pArray, const void* pElements, int count)
    {
        const unsigned char* pNext = static_cast<const unsigned char*>(pElements);
        for (int i = 0; i < count; ++i, pNext += sizeof(T)) {
            if constexpr (std::is_same_v<T, bool>) {
                static_cast<M*>(pArray)->Insert(*pNext != 0);
            } else {
                T element;
                std::memcpy(static_cast<void*>(std::addressof(element)), pNext, sizeof(T));
                static_cast<M*>(pArray)->Insert(element);
            }
        }
    }

    template <typename T, bool bArray>
    static constexpr PropertyField Make()
    {
        constexpr bool bPlain = TypeOf<T>() != Value::TYPE_STRING && TypeOf<T>() != Value::TYPE_OBJECT;
        PropertyField field{&Locate, nullptr, nullptr, nullptr, sizeof(T)};
        if constexpr (TypeOf<T>() == Value::TYPE_OBJECT) {
            field.mpGetObject = &GetObject<T>;
        }
        if constexpr (bArray) {
            field.mpGetElements = &GetElements;
        }
        if constexpr (bArray && bPlain) {
            field.mpAppend = &Append<T>;
        }
        return field;
    }

    template <typename T, bool bArray>
    static const PropertyField* Get()
    {
        if constexpr (Direct<T>) {
            static constexpr PropertyField FIELD = Make<T, bArray>();
            return &FIELD;
        } else {
            return nullptr;
        }
    }
};

// FieldProperty is a single value in a member.
template <typename C, auto Member>
class FieldProperty final : public ValuePropertyCommon
{
    using T = typename MemberOf<decltype(Member)>::Type;

public:
    FieldProperty(ClassInfoTable* pOwnerClass, const MemberOptions& options)
        : ValuePropertyCommon(pOwnerClass), mbExcluded(options.mbExcluded)
    {}

    Value::Type GetType() const override { return TypeOf<T>(); }
    bool IsExcluded() const override { return mbExcluded; }
    EnumInfoObject* GetEnumInfo() override { return EnumInfoFor<T>(); }
    const PropertyField* GetField() const override { return FieldOf<C, Member>::template Get<T, false>(); }
    Value Get(Object* pObject) override { return ValueTraits<T>::Make(static_cast<C*>(pObject)->*Member); }
    bool GetIfChanged(Object* pObject, const Value& known, Value& rValue) override
    {
        return TakeIfChanged<T>(static_cast<C*>(pObject)->*Member, known, rValue);
    }

    void Set(Object* pObject, const Value& value) override
    {
        if constexpr (TypeOf<T>() == Value::TYPE_STRING) {
            static_cast<C*>(pObject)->*Member = value.AsString();
        } else {
            Store<T>(value, [&](T&& stored) { static_cast<C*>(pObject)->*Member = std::move(stored); });
        }
    }

private:
    bool mbExcluded;
};

// ArrayFieldProperty is an array in an Array member. Indices are checked by Array itself.
template <typename C, auto Member>
class ArrayFieldProperty final : public ArrayPropertyCommon
{
    using A = typename MemberOf<decltype(Member)>::Type;
    using T = Plain<decltype(std::declval<A&>().GetAt(0))>;

public:
    ArrayFieldProperty(ClassInfoTable* pOwnerClass, const MemberOptions& options)
        : ArrayPropertyCommon(pOwnerClass), mbExcluded(options.mbExcluded)
    {}

    Value::Type GetType() const override { return TypeOf<T>(); }
    bool IsExcluded() const override { return mbExcluded; }
    EnumInfoObject* GetEnumInfo() override { return EnumInfoFor<T>(); }
    const PropertyField* GetField() const override { return FieldOf<C, Member>::template Get<T, true>(); }

    void Insert(Object* pObject, const Value& value) override
    {
        Store<T>(value, [&](const T& stored) { Elements(pObject).Insert(stored); });
    }
    void InsertAt(Object* pObject, int index, const Value& value) override
    {
        Store<T>(value, [&](const T& stored) { Elements(pObject).InsertAt(index, stored); });
    }
    void Remove(Object* pObject, const Value& value) override
    {
        const int index = Find(pObject, value);
        if (index >= 0) {
            Elements(pObject).RemoveAt(index);
        }
    }
    void RemoveAt(Object* pObject, int index) override { Elements(pObject).RemoveAt(index); }
    int Find(Object* pObject, const Value& value) const override
    {
        A& elements = Elements(pObject);
        for (int i = 0; i < elements.GetSize(); ++i) {
            if (ValueTraits<T>::Make(elements.GetAt(i)) == value) {
                return i;
            }
        }
        return -1;
    }
    void SetAt(Object* pObject, int index, const Value& value) override
    {
        A& elements = Elements(pObject);
        if (!QBASE_ASSERT_TEXT(index >= 0 && index < elements.GetSize(), "QBase/Array", __LINE__,
                               "ASSERT( index >= 0 && index < mSize )")) {
            return;
        }
        Store<T>(value, [&](const T& stored) { elements.GetAt(index) = stored; });
    }
    Value GetAt(Object* pObject, int index) override
    {
        return ValueTraits<T>::Make(Elements(pObject).GetAt(index));
    }
    bool GetAtIfChanged(Object* pObject, int index, const Value& known, Value& rValue) override
    {
        return TakeIfChanged<T>(Elements(pObject).GetAt(index), known, rValue);
    }
    void Clear(Object* pObject) override { Elements(pObject).Clear(); }
    int GetSize(Object* pObject) const override { return Elements(pObject).GetSize(); }

private:
    static A& Elements(Object* pObject) { return static_cast<C*>(pObject)->*Member; }

    bool mbExcluded;
};

// ConstantProperty is a value fixed at compile time.
template <auto Constant>
class ConstantProperty final : public ValuePropertyCommon
{
    using T = std::remove_cv_t<decltype(Constant)>;

public:
    explicit ConstantProperty(ClassInfoTable* pOwnerClass) : ValuePropertyCommon(pOwnerClass) {}

    Value::Type GetType() const override { return TypeOf<T>(); }
    bool IsExcluded() const override { return true; }
    EnumInfoObject* GetEnumInfo() override { return EnumInfoFor<T>(); }
    Property::WriteAccess GetWriteAccess() const override { return Property::CONSTANT; }
    Value Get(Object*) override { return ValueTraits<T>::Make(Constant); }
    void Set(Object*, const Value&) override { ReportSetConstant(); }
};

} // namespace Reflect

// Registrar<C> carries out the registration calls of C::Implement.
template <typename C>
class Registrar
{
public:
    template <auto Callable>
    static void AddFunction(const char* pName, const MemberOptions& options)
    {
        using Form = Reflect::Signature<decltype(Callable)>;
        static_assert(Form::IS_FUNCTION,
                      "AddFunction takes the address of a member function or of a static function");
        if constexpr (Form::IS_FUNCTION) {
            using Args = typename Form::Args;
            constexpr Args* pArgs = nullptr;
            constexpr bool bFewArgs = Form::NUM_ARGS <= Function::MAX_ARGS;
            constexpr bool bPayloads = Reflect::AreAllPayloads(pArgs);
            constexpr bool bResult =
                std::is_void_v<typename Form::Result> || Reflect::Payload<typename Form::Result>;
            constexpr bool bInputs = !Reflect::HasMutableReference(pArgs);
            static_assert(bFewArgs, "A reflected function takes at most five arguments");
            static_assert(bPayloads, "A reflected function has an argument whose type no Value can carry");
            static_assert(bResult, "A reflected function has a result whose type no Value can carry");
            static_assert(bInputs, "A reflected function takes its arguments by value or const reference");
            if constexpr (bFewArgs && bPayloads && bResult && bInputs) {
                Add(pName, options, new Reflect::BoundFunction<C, Callable>());
            }
        }
    }

    template <auto Getter, auto Setter>
    static void AddProperty(const char* pName, const MemberOptions& options)
    {
        using Get = Reflect::Signature<decltype(Getter)>;
        using Set = Reflect::Signature<decltype(Setter)>;
        constexpr bool bGetter = IsGetter<Get>();
        constexpr bool bSetter = IsSetter<Set>();
        static_assert(
            bGetter,
            "A property's getter is a member function without arguments whose result a Value can carry");
        static_assert(bSetter,
                      "A property's setter is a member function with one argument that a Value can carry");
        if constexpr (bGetter && bSetter) {
            constexpr bool bSame =
                std::is_same_v<Reflect::Plain<typename Get::Result>,
                               Reflect::Plain<std::tuple_element_t<0, typename Set::Args>>>;
            static_assert(bSame, "A property's getter and setter are about the same type");
            Add(pName, options, new Reflect::AccessorProperty<C, Getter, Setter>(C::ClassTable(), options));
        }
    }

    template <auto Member>
    static void AddProperty(const char* pName, const MemberOptions& options)
    {
        using Data = Reflect::MemberOf<decltype(Member)>;
        using Get = Reflect::Signature<decltype(Member)>;
        if constexpr (Data::IS_MEMBER) {
            if constexpr (Reflect::IS_ARRAY<typename Data::Type>) {
                using A = typename Data::Type;
                constexpr bool bPayload = Reflect::Payload<decltype(std::declval<A&>().GetAt(0))>;
                static_assert(bPayload, "An array property has elements whose type no Value can carry");
                if constexpr (bPayload) {
                    Add(pName, options, new Reflect::ArrayFieldProperty<C, Member>(C::ClassTable(), options));
                }
            } else {
                constexpr bool bPayload = Reflect::Payload<typename Data::Type>;
                static_assert(bPayload, "A property is over a member whose type no Value can carry");
                if constexpr (bPayload) {
                    Add(pName, options, new Reflect::FieldProperty<C, Member>(C::ClassTable(), options));
                }
            }
        } else {
            constexpr bool bGetter = IsGetter<Get>();
            static_assert(bGetter, "AddProperty takes a member, a getter, or a getter and a setter");
            if constexpr (bGetter) {
                Add(pName, options,
                    new Reflect::AccessorProperty<C, Member, nullptr>(C::ClassTable(), options));
            }
        }
    }

    template <auto Constant>
    static void AddConstant(const char* pName, const MemberOptions& options)
    {
        constexpr bool bPayload = Reflect::Payload<decltype(Constant)>;
        static_assert(bPayload, "A constant has a type that no Value can carry");
        if constexpr (bPayload) {
            Add(pName, options, new Reflect::ConstantProperty<Constant>(C::ClassTable()));
        }
    }

    template <typename E>
    static void AddEnum(const char* pName, std::initializer_list<std::pair<const char*, E>> keys,
                        const char* pDescription)
    {
        static_assert(std::is_enum_v<E>, "AddEnum takes an enumeration");
        EnumInfoObject* const pInfo = EnumInfoObject::Construct(Value::Null);
        if (pInfo == nullptr) {
            return;
        }
        for (const auto& [pKey, value] : keys) {
            pInfo->InsertEnum(pKey, static_cast<int>(value));
        }
        Add((NarrowString("enum ") + pName).c_str(), {.mpDescription = pDescription}, pInfo);
        SetEnumInfo(typeid(E), pInfo);
    }

    static void Describe(const char* pDescription)
    {
        C::ClassTable()->SetDescription(String::Null, pDescription);
    }

    static void SetActsOutside() { C::ClassTable()->SetActsOutside(); }

private:
    static void Add(const char* pName, const MemberOptions& options, Object* pEntry)
    {
        AddClassEntry(C::ClassTable(), pName, pEntry);
        if (options.mpDescription != nullptr) {
            C::ClassTable()->SetDescription(pName, options.mpDescription);
        }
    }

    template <typename Get>
    static constexpr bool IsGetter()
    {
        if constexpr (Get::IS_FUNCTION) {
            if constexpr (Get::IS_MEMBER && Get::NUM_ARGS == 0 && !std::is_void_v<typename Get::Result>) {
                return Reflect::Payload<typename Get::Result>;
            }
        }
        return false;
    }

    template <typename Set>
    static constexpr bool IsSetter()
    {
        if constexpr (Set::IS_FUNCTION) {
            if constexpr (Set::IS_MEMBER && Set::NUM_ARGS == 1) {
                return Reflect::Payload<std::tuple_element_t<0, typename Set::Args>>;
            }
        }
        return false;
    }
};

} // namespace QBase

// What both kinds of reflected class define.
#define QBASE_IMPLEMENT_COMMON(Module, Class, bAbstract)                                                     \
    const ::QBase::String& Class::ClassName()                                                                \
    {                                                                                                        \
        static const ::QBase::String& sName = *new ::QBase::String(#Class);                                  \
        return sName;                                                                                        \
    }                                                                                                        \
    const ::QBase::String& Class::ModuleName()                                                               \
    {                                                                                                        \
        static const ::QBase::String& sName = *new ::QBase::String(#Module);                                 \
        return sName;                                                                                        \
    }                                                                                                        \
    ::QBase::ClassInfoTable* Class::spClassTable;                                                            \
    ::QBase::ClassInfoTable* Class::ClassTable()                                                             \
    {                                                                                                        \
        if (spClassTable != nullptr) {                                                                       \
            return spClassTable;                                                                             \
        }                                                                                                    \
        return ::QBase::RegisterReflectedClass(                                                              \
            spClassTable, ModuleName(), ClassName(), bAbstract,                                              \
            [](const ::QBase::Value& value) {                                                                \
                return ::QBase::Value(static_cast<::QBase::Object*>(Construct(value)));                      \
            },                                                                                               \
            &Class::Implement);                                                                              \
    }                                                                                                        \
    ::QBase::ClassInfoTable* Class::GetClassTable() const                                                    \
    {                                                                                                        \
        return ClassTable();                                                                                 \
    }                                                                                                        \
    const ::QBase::String& Class::GetClassName() const                                                       \
    {                                                                                                        \
        return ClassName();                                                                                  \
    }                                                                                                        \
    const ::QBase::String& Class::GetModuleName() const                                                      \
    {                                                                                                        \
        return ModuleName();                                                                                 \
    }                                                                                                        \
    ::QBase::Implementor<Class> Class::sImplementor;

// QBASE_IMPLEMENT(Module, Class) stands once in the source unit of a class that can be constructed. Inside
// namespaces, give the class's plain name and stand in its namespace.
#define QBASE_IMPLEMENT(Module, Class)                                                                       \
    QBASE_IMPLEMENT_COMMON(Module, Class, false)                                                             \
    Class* Class::Construct(const ::QBase::Value& value)                                                     \
    {                                                                                                        \
        return new (#Class, __LINE__) Class(value);                                                          \
    }                                                                                                        \
    Class* Class::Clone()                                                                                    \
    {                                                                                                        \
        return new (#Class, __LINE__) Class(*this);                                                          \
    }

// QBASE_IMPLEMENT_ABSTRACT(Module, Class) is for a class that cannot: Construct and Clone report it.
#define QBASE_IMPLEMENT_ABSTRACT(Module, Class)                                                              \
    QBASE_IMPLEMENT_COMMON(Module, Class, true)                                                              \
    Class* Class::Construct(const ::QBase::Value&)                                                           \
    {                                                                                                        \
        ::QBase::ReportInterfaceClass(#Module "/" #Class, __LINE__);                                         \
        return nullptr;                                                                                      \
    }                                                                                                        \
    Class* Class::Clone()                                                                                    \
    {                                                                                                        \
        ::QBase::ReportInterfaceClass(#Module "/" #Class, __LINE__);                                         \
        return nullptr;                                                                                      \
    }
