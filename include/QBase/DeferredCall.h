// DeferredCall remembers a call, a function of an object with its arguments, and makes it when it is
// executed.
//
//     Ptr<DeferredCall> pCall = DeferredCall::Construct(Value::Null);
//     pCall->Defer(pDoor, "Open", 90.0f);
//     pCall->Execute(Value::Null); // pDoor->Call("Open", 90.0f)
//
// It holds the object. What the call returns is dropped. DeferredList queues such calls between threads.
//
// Threads: nothing here locks; a call is handed from one thread to another as a whole.

#pragma once

#include "QBase/Object.h"
#include "QBase/Ptr.h"

// <windows.h> puts a macro over this name. A host that includes it after this header does the same itself.
#undef GetObject

namespace QBase
{

class QBASE_API DeferredCall : public Object
{
    QBASE_OBJECT(DeferredCall, Object)

public:
    /// As many as a Function takes.
    static constexpr int MAX_ARGS = 5;

    /// Sets everything at once. Holds `pObject`.
    void Defer(Object* pObject, const String& functionName, const Value& a1 = Value::Null,
               const Value& a2 = Value::Null, const Value& a3 = Value::Null, const Value& a4 = Value::Null,
               const Value& a5 = Value::Null);

    /// The object to call; null makes no call. Borrowed.
    Object* GetObject() const { return mpObject; }
    void SetObject(Object* pObject) { mpObject = pObject; }

    const String& GetFunctionName() const { return mFunctionName; }
    void SetFunctionName(const String& functionName) { mFunctionName = functionName; }

    /// Sets all arguments; void ones behind the last are not passed on.
    void SetArgs(const Value& a1, const Value& a2, const Value& a3, const Value& a4, const Value& a5);

    /// The argument at `index`, counted from 0; void for any other index.
    Value GetArg(int index) const;

    /// The arguments before the first void one.
    int GetNumArgs() const;

    /// Makes the call. The argument is not used.
    void Execute(const Value& value) override;

protected:
    explicit DeferredCall(const Value& value);
    DeferredCall(const DeferredCall& other) = default;

private:
    Ptr<Object> mpObject; // may be null
    String mFunctionName;
    Value mArgs[MAX_ARGS];
};

} // namespace QBase
