// Function describes one callable of a class, its kind, its result type and up to five argument types, and
// calls it with Values.
//
//     Function* pAdvance = pMoon->FindFunction("Advance");
//     pAdvance->GetArgType(0);                 // Value::TYPE_FLOAT
//     pMoon->Call("Advance", 0.1f);            // the usual way to call
//
// Arguments adapt to the declared types: numbers convert among each other, a missing (void) argument becomes
// the neutral value, an object of the wrong class becomes null after a report, "Value" takes anything. A
// member function refuses a target that is null or of another class with a report and a void result.
//
// Threads: once registered a Function never changes; a call is as thread-safe as what it calls.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class QBASE_API Function : public Object
{
public:
    /// What a function is called on.
    enum Type : std::int32_t
    {
        Member = 0, // called on an object
        Static = 1  // called without one
    };

    /// The most arguments that a call carries.
    static constexpr int MAX_ARGS = 5;

    QBASE_OBJECT_WITH_CONSTRUCT(private, Function, Object)

public:
    /// Calls with `pTarget` (null for Static). The callee may take the Function out of its table: CallOn
    /// keeps it alive meanwhile.
    virtual Value Invoke(Object* pTarget, const Value& a1, const Value& a2, const Value& a3, const Value& a4,
                         const Value& a5) = 0;

    /// The class that the target must be of; null for Static. Borrowed.
    virtual ClassInfoTable* GetTargetClass() const = 0;

    /// The class that an "Object" argument must be of, counted from 0; -1 asks for the result. Null when
    /// there is no such argument or it is no object. Borrowed.
    virtual ClassInfoTable* GetArgClass(int index) const = 0;

    /// Invoke for callers that do not hold the Function themselves.
    Value CallOn(Object* pTarget, const Value& a1, const Value& a2, const Value& a3, const Value& a4,
                 const Value& a5)
    {
        const Ptr<Function> pKept = mbHeldByCalls ? this : nullptr;
        return Invoke(pTarget, a1, a2, a3, a4, a5);
    }

    Type GetType() const { return mType; }
    Value::Type GetRetType() const { return mRetType; }

    /// The number of leading arguments before the first "void".
    int GetNumArgs() const { return mNumArgs; }

    /// The declared type of argument `index`, counted from 0, also behind the first "void"; "void" outside
    /// 0 to 4.
    Value::Type GetArgType(int index) const
    {
        return index < 0 || index >= MAX_ARGS ? Value::TYPE_VOID : mArgTypes[index];
    }

    /// As Object's, also on null.
    Function* Access();
    Function* Release();

protected:
    Function(Type type, Value::Type ret, Value::Type a1, Value::Type a2, Value::Type a3, Value::Type a4,
             Value::Type a5);
    Function(const Function& other) = default;

    /// For the constructor of a concrete Function whose Invoke touches nothing of itself once the callable
    /// runs: calls of it save the reference.
    void LetCalleesDestroyIt() { mbHeldByCalls = false; }

private:
    Type mType;
    Value::Type mRetType;
    Value::Type mArgTypes[MAX_ARGS];
    int mNumArgs;
    bool mbHeldByCalls = true;
};

/// The reports of the concrete functions.
QBASE_API void ReportForeignTarget(Object* pTarget, ClassInfoTable* pExpectedClass);
QBASE_API void ReportForeignArgument(const Value& value, int index, ClassInfoTable* pExpectedClass);

} // namespace QBase
