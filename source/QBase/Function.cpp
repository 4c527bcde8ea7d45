#include "QBase/Function.h"

#include "QBase/DescribeClass.h"
#include "QBase/Error.h"
#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, Function)

void Function::Implement()
{
    Describe("A function of a class: its kind, its types, and how to call it");
    AddFunction<&Function::GetType>("GetType");
    AddFunction<&Function::GetRetType>("GetRetType");
    AddFunction<&Function::GetNumArgs>("GetNumArgs");
    AddFunction<&Function::GetArgType>("GetArgType");
}

Function::Function(Type type, Value::Type ret, Value::Type a1, Value::Type a2, Value::Type a3, Value::Type a4,
                   Value::Type a5)
    : mType(type), mRetType(ret), mArgTypes{a1, a2, a3, a4, a5}, mNumArgs(0)
{
    while (mNumArgs < MAX_ARGS && mArgTypes[mNumArgs] != Value::TYPE_VOID) {
        ++mNumArgs;
    }
}

QBASE_NULL_THIS_BEGIN

Function* Function::Access()
{
    if (this == nullptr) {
        return nullptr;
    }
    AddReference(this);
    return this;
}

Function* Function::Release()
{
    if (this == nullptr) {
        return nullptr;
    }
    return Object::Release() != nullptr ? this : nullptr;
}

QBASE_NULL_THIS_END

void ReportForeignTarget(Object* pTarget, ClassInfoTable* pExpectedClass)
{
    const std::string expected = DescribeClass(pExpectedClass);
    if (pTarget == nullptr) {
        Error(QBASE_HERE, "Failed to call function of '%s' - no object", expected.c_str());
        return;
    }
    Error(QBASE_HERE, "Failed to call function of '%s' - object is '%s.%s'", expected.c_str(),
          pTarget->GetModuleName().c_str(), pTarget->GetClassName().c_str());
}

void ReportForeignArgument(const Value& value, int index, ClassInfoTable* pExpectedClass)
{
    const std::string expected = DescribeClass(pExpectedClass);
    Object* const pObject = value.AsObject();
    if (pObject == nullptr) {
        Error(QBASE_HERE, "Failed to pass argument %d - the value is no object, expected '%s'", index,
              expected.c_str());
        return;
    }
    Error(QBASE_HERE, "Failed to pass argument %d - object is '%s.%s', expected '%s'", index,
          pObject->GetModuleName().c_str(), pObject->GetClassName().c_str(), expected.c_str());
}

} // namespace QBase
