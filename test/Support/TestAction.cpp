#include "Support/TestAction.h"

#include "QBase/Reflection.h"

using namespace QBase;

QBASE_IMPLEMENT(Test, TestAction)

void TestAction::Implement()
{
    AddFunction<&TestAction::Act>("Act");
}

TestAction::TestAction(const Value&)
{}

TestAction::~TestAction()
{
    if (mAtEnd) {
        mAtEnd();
    }
}

void TestAction::Execute(const Value& value)
{
    if (mWork) {
        mWork(value);
    }
}
