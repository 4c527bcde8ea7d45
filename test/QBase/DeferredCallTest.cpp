#include "QBase/DeferredCall.h"

#include "QBase/Property.h"

#include "Support/CapturedMessages.h"
#include "Support/TestAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

Ptr<DeferredCall> NewCall()
{
    return DeferredCall::Construct(Value::Null);
}

} // namespace

TEST(DeferredCallTest, ANewCallHasNoObjectNoNameAndNoArguments)
{
    const Ptr<DeferredCall> pCall = NewCall();

    EXPECT_EQ(pCall->GetObject(), nullptr);
    EXPECT_EQ(pCall->GetFunctionName(), String::Null);
    EXPECT_EQ(pCall->GetNumArgs(), 0);
    pCall->Execute(Value::Null);
}

TEST(DeferredCallTest, ExecuteCallsTheFunctionOfTheObjectWithTheArguments)
{
    std::vector<Value> values;
    const Ptr<DeferredCall> pCall = NewCall();
    pCall->Defer(new TestAction([&](const Value& value) { values.push_back(value); }), "Act", "text");

    pCall->Execute(Value(99)); // ignored
    pCall->Execute(Value::Null);

    EXPECT_EQ(values, std::vector<Value>({Value("text"), Value("text")}));
}

TEST(DeferredCallTest, ItHoldsTheObject)
{
    bool bGone = false;
    Ptr<DeferredCall> pCall = NewCall();
    pCall->Defer(new TestAction({}, [&] { bGone = true; }), "Act");

    EXPECT_FALSE(bGone);
    EXPECT_EQ(pCall->GetObject()->GetReferenceCount(), 1);
    pCall = nullptr;
    EXPECT_TRUE(bGone);
}

TEST(DeferredCallTest, DeferReplacesEverythingSetBefore)
{
    const Ptr<DeferredCall> pCall = NewCall();
    pCall->Defer(pCall, "First", 1, 2, 3, 4, 5);
    EXPECT_EQ(pCall->GetNumArgs(), 5);

    pCall->Defer(nullptr, "Second", 6);

    EXPECT_EQ(pCall->GetObject(), nullptr);
    EXPECT_EQ(pCall->GetFunctionName(), String("Second"));
    EXPECT_EQ(pCall->GetNumArgs(), 1);
    EXPECT_EQ(pCall->GetArg(0), Value(6));
    EXPECT_TRUE(pCall->GetArg(4).IsVoid());
}

TEST(DeferredCallTest, GetNumArgsStopsAtTheFirstVoidArgument)
{
    const Ptr<DeferredCall> pCall = NewCall();

    pCall->Defer(nullptr, "F", 1, Value::Null, 3);
    EXPECT_EQ(pCall->GetNumArgs(), 1);
    pCall->SetArgs(Value::Null, 2, 3, 4, 5);
    EXPECT_EQ(pCall->GetNumArgs(), 0);
    pCall->SetArgs(1, 2, 3, 4, 5);
    EXPECT_EQ(pCall->GetNumArgs(), 5);
}

TEST(DeferredCallTest, GetArgOutsideTheFiveArgumentsIsVoid)
{
    const Ptr<DeferredCall> pCall = NewCall();
    pCall->SetArgs(1, 2, 3, 4, 5);

    EXPECT_EQ(pCall->GetArg(4), Value(5));
    EXPECT_TRUE(pCall->GetArg(5).IsVoid());
    EXPECT_TRUE(pCall->GetArg(7).IsVoid());
    EXPECT_TRUE(pCall->GetArg(-1).IsVoid());
}

TEST(DeferredCallTest, AnUnknownFunctionIsReportedAsInAnyCall)
{
    CapturedMessages messages;
    const Ptr<DeferredCall> pCall = NewCall();
    pCall->Defer(new TestAction(TestAction::Work()), "Missing");

    pCall->Execute(Value::Null);

    EXPECT_THAT(messages.TakeError(), EndsWith("Object Call failed: Test.TestAction:Missing"));
}

TEST(DeferredCallTest, ACallMayReplaceItsOwnObjectNameAndArguments)
{
    const Ptr<DeferredCall> pCall = NewCall();
    std::string seen;
    pCall->Defer(new TestAction([&](const Value& value) {
                     pCall->Defer(nullptr, "Other");
                     seen = value.AsString().c_str();
                 }),
                 "Act", String((std::string("made only ") + "for this call").c_str()));

    pCall->Execute(Value::Null);

    EXPECT_EQ(seen, "made only for this call");
    EXPECT_EQ(pCall->GetNumArgs(), 0);
}

TEST(DeferredCallTest, ACallMaySetTheArgumentsOfItsOwnDeferredCallByCall)
{
    const Ptr<DeferredCall> pCall = NewCall();
    pCall->Defer(pCall, "SetArgs", 7, 8);

    pCall->Execute(Value::Null); // sets what it was called with
    EXPECT_EQ(pCall->GetNumArgs(), 2);
    EXPECT_EQ(pCall->GetArg(1), Value(8));
    pCall->SetObject(nullptr); // which it held itself
}

TEST(DeferredCallTest, ACallMayDestroyItsOwnDeferredCall)
{
    Ptr<DeferredCall> pCall = NewCall();
    int calls = 0;
    pCall->Defer(new TestAction([&](const Value&) {
                     pCall = nullptr;
                     ++calls;
                 }),
                 "Act", "argument");

    static_cast<DeferredCall*>(pCall)->Execute(Value::Null);

    EXPECT_EQ(calls, 1);
}

TEST(DeferredCallTest, ObjectAndFunctionNameAreProperties)
{
    const Ptr<Object> pTarget = new TestAction(TestAction::Work());
    const Ptr<DeferredCall> pCall = NewCall();

    pCall->FindProperty("Object")->Set(pCall, pTarget);
    pCall->FindProperty("FunctionName")->Set(pCall, "Act");

    EXPECT_EQ(pCall->GetObject(), pTarget);
    EXPECT_EQ(pCall->FindProperty("Object")->Get(pCall).AsObject(), pTarget);
    EXPECT_EQ(pCall->FindProperty("FunctionName")->Get(pCall), Value("Act"));
}

TEST(DeferredCallTest, ItsFunctionsAreReflected)
{
    const Ptr<DeferredCall> pCall = NewCall();

    pCall->Call("SetArgs", 1, "two");

    EXPECT_EQ(pCall->Call("GetNumArgs"), Value(2));
    EXPECT_EQ(pCall->Call("GetArg", 1), Value("two"));
    EXPECT_TRUE(pCall->Call("GetArg", 7).IsVoid());
}

TEST(DeferredCallTest, AClonedCallHoldsTheSameObjectAndArguments)
{
    int calls = 0;
    DeferredCall* const pCall = DeferredCall::Construct(Value::Null);
    pCall->Defer(new TestAction([&](const Value& value) { calls += value.Get<int>(); }), "Act", 20);
    DeferredCall* const pClone = pCall->Clone();
    delete pCall;

    pClone->Execute(Value::Null);

    EXPECT_EQ(calls, 20);
    delete pClone;
}
