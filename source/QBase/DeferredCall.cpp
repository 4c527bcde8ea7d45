#include "QBase/DeferredCall.h"

#include "QBase/Reflection.h"

#include <utility>

namespace QBase
{

QBASE_IMPLEMENT(QBase, DeferredCall)

void DeferredCall::Implement()
{
    Describe("A call that is kept and made when it is executed");
    AddProperty<&DeferredCall::GetObject, &DeferredCall::SetObject>("Object");
    AddProperty<&DeferredCall::GetFunctionName, &DeferredCall::SetFunctionName>("FunctionName");
    AddFunction<&DeferredCall::SetArgs>("SetArgs");
    AddFunction<&DeferredCall::GetArg>("GetArg");
    AddFunction<&DeferredCall::GetNumArgs>("GetNumArgs");
}

DeferredCall::DeferredCall(const Value&)
{}

void DeferredCall::Defer(Object* pObject, const String& functionName, const Value& a1, const Value& a2,
                         const Value& a3, const Value& a4, const Value& a5)
{
    // Whatever the old object and arguments destroy as they go finds the new ones in place.
    const Ptr<Object> pOld = mpObject;
    mpObject = pObject;
    mFunctionName = functionName;
    SetArgs(a1, a2, a3, a4, a5);
}

void DeferredCall::SetArgs(const Value& a1, const Value& a2, const Value& a3, const Value& a4,
                           const Value& a5)
{
    Value args[MAX_ARGS] = {a1, a2, a3, a4, a5};
    for (int i = 0; i < MAX_ARGS; ++i) {
        std::swap(mArgs[i], args[i]);
    }
}

Value DeferredCall::GetArg(int index) const
{
    return index >= 0 && index < MAX_ARGS ? mArgs[index] : Value();
}

int DeferredCall::GetNumArgs() const
{
    int numArgs = 0;
    while (numArgs < MAX_ARGS && !mArgs[numArgs].IsVoid()) {
        ++numArgs;
    }
    return numArgs;
}

void DeferredCall::Execute(const Value&)
{
    if (mpObject == nullptr) {
        return;
    }
    // The call may replace all of this, or destroy it.
    const Ptr<Object> pObject = mpObject;
    const String functionName = mFunctionName;
    const Value args[MAX_ARGS] = {mArgs[0], mArgs[1], mArgs[2], mArgs[3], mArgs[4]};
    pObject->Call(functionName, args[0], args[1], args[2], args[3], args[4]);
}

} // namespace QBase
