#include "QBase/Function.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"

#include "Support/CapturedMessages.h"
#include "Support/Patterns.h"
#include "Support/Specimen.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

template <typename C>
concept CanConstruct = requires
{
    C::Construct(Value::Null);
};

// A class with one function for each type, which answers its argument.
class Echo : public Object
{
    QBASE_OBJECT(Echo, Object)

public:
    template <typename T>
    static T Repeat(T value)
    {
        return value;
    }

    template <typename T>
    static void Add(const char* pName)
    {
        AddFunction<&Echo::Repeat<T>>(pName);
    }

protected:
    using Object::Object;
};

QBASE_IMPLEMENT(Test, Echo)

void Echo::Implement()
{
    Add<int>("int");
    Add<float>("float");
    Add<bool>("bool");
    Add<String>("String");
    Add<Object*>("Object");
    Add<Ptr<List>>("List");
    Add<Vector2>("Vector2");
    Add<Vector3>("Vector3");
    Add<Vector4>("Vector4");
    Add<Vector2i>("Vector2i");
    Add<Vector3i>("Vector3i");
    Add<Vector4i>("Vector4i");
    Add<Color>("Color");
    Add<Value>("Value");
    Add<Specimen::Gear>("Enum");
    Add<Quaternion>("Quaternion");
}

// A function that is given its types and what it does.
class FreeFunction final : public Function
{
public:
    FreeFunction(Value::Type a1, Value::Type a2, Value::Type a3, Value::Type a4, Value::Type a5)
        : Function(Function::Static, Value::TYPE_BOOL, a1, a2, a3, a4, a5)
    {}

    Value Invoke(Object*, const Value& a1, const Value&, const Value&, const Value&, const Value&) override
    {
        return mWork ? mWork(a1) : Value();
    }
    ClassInfoTable* GetTargetClass() const override { return nullptr; }
    ClassInfoTable* GetArgClass(int) const override { return nullptr; }

    ~FreeFunction() override
    {
        if (mpbDestroyed != nullptr) {
            *mpbDestroyed = true;
        }
    }

    std::function<Value(const Value&)> mWork;
    bool* mpbDestroyed = nullptr;
};

struct FunctionTest : testing::Test
{
    Value Call(const char* pName, const Value& a1 = Value::Null, const Value& a2 = Value::Null,
               const Value& a3 = Value::Null, const Value& a4 = Value::Null, const Value& a5 = Value::Null)
    {
        return mpSpecimen->Call(pName, a1, a2, a3, a4, a5);
    }
    Function* Find(const char* pName) { return mpSpecimen->FindFunction(pName); }

    Ptr<Specimen> mpSpecimen = Specimen::Make();
    CapturedMessages mMessages;
};

} // namespace

TEST_F(FunctionTest, TheCountEndsAtTheFirstVoidAndLaterTypesStay)
{
    const Ptr<FreeFunction> pFunction = new FreeFunction(Value::TYPE_INT, Value::TYPE_VOID, Value::TYPE_FLOAT,
                                                         Value::TYPE_VOID, Value::TYPE_VOID);
    EXPECT_EQ(pFunction->GetNumArgs(), 1);
    EXPECT_EQ(pFunction->GetArgType(0), Value::TYPE_INT);
    EXPECT_EQ(pFunction->GetArgType(1), Value::TYPE_VOID);
    EXPECT_EQ(pFunction->GetArgType(2), Value::TYPE_FLOAT);
    EXPECT_EQ(pFunction->GetArgType(5), Value::TYPE_VOID);
    EXPECT_EQ(pFunction->GetArgType(-1), Value::TYPE_VOID);
    EXPECT_EQ(pFunction->GetType(), Function::Static);
    EXPECT_EQ(pFunction->GetRetType(), Value::TYPE_BOOL);
}

TEST_F(FunctionTest, FiveArgumentsCountFiveAndNoneCountsZero)
{
    const Value::Type i = Value::TYPE_INT;
    const Value::Type v = Value::TYPE_VOID;
    EXPECT_EQ(Ptr<FreeFunction>(new FreeFunction(i, i, i, i, i))->GetNumArgs(), 5);
    EXPECT_EQ(Ptr<FreeFunction>(new FreeFunction(v, i, i, i, i))->GetNumArgs(), 0);
}

TEST_F(FunctionTest, TheKindsHaveFixedNumbers)
{
    EXPECT_EQ(Function::Member, 0);
    EXPECT_EQ(Function::Static, 1);
}

TEST_F(FunctionTest, ItsConstructionIsReported)
{
    EXPECT_EQ(Construct("QBase", "Function"), nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith(": Failed to Construct interface class"));
    static_assert(!CanConstruct<Function>); // only the registry asks for it
    static_assert(CanConstruct<Property>);
}

TEST_F(FunctionTest, TheVirtualFunctionsKeepTheirPlaces)
{
    const std::ptrdiff_t first = VirtualSlot(&Function::Invoke);
    EXPECT_EQ(first, VirtualSlot(&Property::GetType)); // the first behind those of Object
    EXPECT_EQ(VirtualSlot(&Function::GetTargetClass), first + 1);
    EXPECT_EQ(VirtualSlot(&Function::GetArgClass), first + 2);
}

TEST_F(FunctionTest, AccessAndReleaseAnswerTheFunction)
{
    const Value::Type v = Value::TYPE_VOID;
    Function* const pFunction = new FreeFunction(v, v, v, v, v);
    EXPECT_EQ(pFunction->Access(), pFunction);
    EXPECT_EQ(pFunction->Access(), pFunction);
    EXPECT_EQ(pFunction->Release(), pFunction);
    EXPECT_EQ(pFunction->Release(), nullptr);
}

TEST_F(FunctionTest, SignaturesAreReadOffTheMembers)
{
    const struct
    {
        const char* mpName;
        Function::Type mKind;
        Value::Type mResult;
        std::vector<Value::Type> mArgs;
    } expected[] = {
        {"Nothing", Function::Member, Value::TYPE_VOID, {}},
        {"One", Function::Member, Value::TYPE_INT, {Value::TYPE_INT}},
        {"Two", Function::Member, Value::TYPE_FLOAT, {Value::TYPE_FLOAT, Value::TYPE_BOOL}},
        {"Three",
         Function::Member,
         Value::TYPE_STRING,
         {Value::TYPE_STRING, Value::TYPE_STRING, Value::TYPE_STRING}},
        {"Four",
         Function::Member,
         Value::TYPE_VALUE,
         {Value::TYPE_VALUE, Value::TYPE_VALUE, Value::TYPE_INT, Value::TYPE_INT}},
        {"Five",
         Function::Static,
         Value::TYPE_INT,
         {Value::TYPE_INT, Value::TYPE_INT, Value::TYPE_INT, Value::TYPE_INT, Value::TYPE_INT}},
        {"TakeList", Function::Member, Value::TYPE_OBJECT, {Value::TYPE_OBJECT}},
        {"TakeTable", Function::Member, Value::TYPE_OBJECT, {Value::TYPE_OBJECT}},
        {"TakeGear", Function::Member, Value::TYPE_ENUM, {Value::TYPE_ENUM}},
        {"TakeVector", Function::Member, Value::TYPE_VECTOR3, {Value::TYPE_VECTOR3}},
        {"TakeColor", Function::Member, Value::TYPE_COLOR, {Value::TYPE_COLOR}},
    };
    for (const auto& signature : expected) {
        Function* const pFunction = Find(signature.mpName);
        ASSERT_NE(pFunction, nullptr) << signature.mpName;
        EXPECT_EQ(pFunction->GetType(), signature.mKind) << signature.mpName;
        EXPECT_EQ(pFunction->GetRetType(), signature.mResult) << signature.mpName;
        EXPECT_EQ(pFunction->GetNumArgs(), static_cast<int>(signature.mArgs.size())) << signature.mpName;
        for (int i = 0; i < Function::MAX_ARGS; ++i) {
            const bool bDeclared = i < static_cast<int>(signature.mArgs.size());
            EXPECT_EQ(pFunction->GetArgType(i),
                      bDeclared ? signature.mArgs[static_cast<std::size_t>(i)] : Value::TYPE_VOID)
                << signature.mpName << " argument " << i;
        }
    }
}

TEST_F(FunctionTest, TargetAndArgumentClassesAreKnown)
{
    EXPECT_EQ(Find("TakeList")->GetTargetClass(), Specimen::ClassTable());
    EXPECT_EQ(Find("Five")->GetTargetClass(), nullptr);
    EXPECT_EQ(Find("TakeList")->GetArgClass(0), List::ClassTable());
    EXPECT_EQ(Find("TakeList")->GetArgClass(-1), List::ClassTable());
    EXPECT_EQ(Find("TakeTable")->GetArgClass(0), Table::ClassTable());
    EXPECT_EQ(Find("TakeList")->GetArgClass(1), nullptr);
    EXPECT_EQ(Find("One")->GetArgClass(0), nullptr);
    EXPECT_EQ(Find("Nothing")->GetArgClass(-1), nullptr);
}

TEST_F(FunctionTest, CallsReachTheMembersWithTheirArguments)
{
    EXPECT_TRUE(Call("Nothing").IsVoid());
    EXPECT_EQ(mpSpecimen->mCalls, 1);
    EXPECT_EQ(Call("One", 4).Get<int>(), 4);
    EXPECT_EQ(Call("Two", 2.5f, true).Get<float>(), 2.5f);
    EXPECT_EQ(Call("Three", "a", "b", "c").AsString(), String("a|b|c"));
    EXPECT_TRUE(Call("Four", "any", 1, 2, 3) == Value("any"));
    EXPECT_EQ(Call("Five", 1, 2, 3, 4, 5).Get<int>(), 54321);
    EXPECT_TRUE(Call("TakeGear", Specimen::Gear::DOWN) == Value(Specimen::Gear::DOWN));
    EXPECT_TRUE(Call("TakeVector", Vector3(1.0f, 2.0f, 3.0f)) == Value(Vector3(1.0f, 2.0f, 3.0f)));
    EXPECT_TRUE(Call("TakeColor", Color(1, 2, 3, 4)) == Value(Color(1, 2, 3, 4)));
    const Ptr<List> pList = List::Construct(Value::Null);
    EXPECT_EQ(Call("TakeList", pList).AsObject(), static_cast<Object*>(pList));
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    EXPECT_EQ(Call("TakeTable", pTable).AsObject(), static_cast<Object*>(pTable));
    EXPECT_EQ(pTable->GetReferenceCount(), 1);
}

TEST_F(FunctionTest, NumbersConvertAndMissingArgumentsTakeTheirDefault)
{
    EXPECT_EQ(Call("One", 4.9f).Get<int>(), 4);
    EXPECT_EQ(Call("One", true).Get<int>(), 1);
    EXPECT_EQ(Call("One", Specimen::Gear::DOWN).Get<int>(), 1);
    EXPECT_EQ(Call("Two", 3, 1).Get<float>(), 3.0f);
    EXPECT_EQ(Call("One").Get<int>(), 0);
    EXPECT_EQ(Call("One", "text").Get<int>(), 0);
    EXPECT_EQ(Call("Three", "a").AsString(), String("a||"));
    EXPECT_EQ(Call("Three", 1, "b").AsString(), String("|b|"));
    EXPECT_TRUE(Call("TakeVector", 5) == Value(Vector3(0.0f, 0.0f, 0.0f)));
    EXPECT_TRUE(Call("Four").IsVoid());
    EXPECT_EQ(Call("TakeList").AsObject(), nullptr);
    EXPECT_EQ(Call("TakeList", Value(nullptr)).AsObject(), nullptr);
}

TEST_F(FunctionTest, AnArgumentOfAnotherClassIsReportedAndPassedAsNull)
{
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    EXPECT_TRUE(Call("TakeList", pTable) == Value(nullptr));
    EXPECT_THAT(mMessages.TakeError(),
                EndsWith("Failed to pass argument 0 - object is 'QBase.Table', expected 'QBase.List'"));
    EXPECT_TRUE(Call("TakeList", 3) == Value(nullptr));
    EXPECT_THAT(mMessages.TakeError(),
                EndsWith("Failed to pass argument 0 - the value is no object, expected 'QBase.List'"));
}

TEST_F(FunctionTest, ATargetThatIsNullOrOfAnotherClassIsRefused)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    const Value& none = Value::Null;
    EXPECT_TRUE(Find("One")->Invoke(nullptr, 1, none, none, none, none).IsVoid());
    EXPECT_THAT(mMessages.TakeError(), EndsWith("Failed to call function of 'Test.Specimen' - no object"));
    EXPECT_TRUE(Find("One")->Invoke(pList, 1, none, none, none, none).IsVoid());
    EXPECT_THAT(mMessages.TakeError(),
                EndsWith("Failed to call function of 'Test.Specimen' - object is 'QBase.List'"));
}

TEST_F(FunctionTest, AStaticFunctionNeedsNoTarget)
{
    EXPECT_EQ(Find("Five")->Invoke(nullptr, 1, 0, 0, 0, 0).Get<int>(), 1);
}

TEST_F(FunctionTest, AnUnknownNameIsReportedAndAnswersVoid)
{
    EXPECT_TRUE(Call("Nowhere").IsVoid());
    EXPECT_THAT(mMessages.TakeError(), MatchesPattern("ERROR: Object \\(line [0-9]+\\): Object Call "
                                                      "failed: Test\\.Specimen:Nowhere"));
}

TEST_F(FunctionTest, ANameThatOnlyAPropertyCarriesCannotBeCalled)
{
    EXPECT_TRUE(Call("Int").IsVoid());
    EXPECT_THAT(mMessages.TakeError(), EndsWith(": Object Call failed: Test.Specimen:Int"));
}

TEST_F(FunctionTest, AnInstanceFunctionIsCalledFirstAndMayRemoveItself)
{
    const Value::Type v = Value::TYPE_VOID;
    mpSpecimen->AddPropertyValue("x", Value::TYPE_INT);
    FreeFunction* const pFunction = new FreeFunction(Value::TYPE_VALUE, v, v, v, v);
    int answer = 42; // captured, so read from the function's own memory
    pFunction->mWork = [this, answer](const Value&) {
        mpSpecimen->GetInstanceTable()->Remove("One");
        return Value(answer);
    };
    mpSpecimen->GetInstanceTable()->Insert("One", pFunction);
    EXPECT_EQ(Call("One", 7).Get<int>(), 42);
    EXPECT_EQ(Call("One", 7).Get<int>(), 7);
}

TEST_F(FunctionTest, AFunctionOfTheClassMayRemoveItselfToo)
{
    const Value::Type v = Value::TYPE_VOID;
    bool bDestroyed = false;
    FreeFunction* const pFunction = new FreeFunction(Value::TYPE_VALUE, v, v, v, v);
    pFunction->mpbDestroyed = &bDestroyed;
    pFunction->mWork = [&](const Value&) {
        Specimen::ClassTable()->Remove("Brief");
        EXPECT_FALSE(bDestroyed);
        return Value(42);
    };
    Specimen::ClassTable()->Insert("Brief", pFunction);
    EXPECT_EQ(Call("Brief").Get<int>(), 42);
    EXPECT_TRUE(bDestroyed);
    EXPECT_EQ(Find("Brief"), nullptr);
}

TEST_F(FunctionTest, AConstructThatReplacesItselfIsHeldMeanwhile)
{
    const Value::Type v = Value::TYPE_VOID;
    const Ptr<Object> pOld = Echo::ClassTable()->Find("Construct");
    bool bDestroyed = false;
    FreeFunction* const pFunction = new FreeFunction(Value::TYPE_VALUE, v, v, v, v);
    pFunction->mpbDestroyed = &bDestroyed;
    pFunction->mWork = [&](const Value&) {
        Echo::ClassTable()->Insert("Construct", pOld);
        EXPECT_FALSE(bDestroyed);
        return Value(List::Construct(Value::Null));
    };
    Echo::ClassTable()->Insert("Construct", pFunction);
    EXPECT_TRUE(Construct("Test", "Echo")->IsExactType(List::ClassTable()));
    EXPECT_TRUE(bDestroyed);
    EXPECT_TRUE(Construct("Test", "Echo")->IsExactType(Echo::ClassTable()));
}

TEST_F(FunctionTest, AMemberMayRemoveTheFunctionThatCallsIt)
{
    mpSpecimen->AddPropertyValue("x", Value::TYPE_INT);
    mpSpecimen->GetInstanceTable()->Insert("Hook",
                                           new Reflect::BoundFunction<Specimen, &Specimen::CallHook>());
    mpSpecimen->mOnCall = [&](const Value& given) {
        mpSpecimen->SetInstanceTable(nullptr);
        return given;
    };
    EXPECT_EQ(Call("Hook", "answer").AsString(), String("answer"));
    EXPECT_EQ(Find("Hook"), nullptr);
}

TEST_F(FunctionTest, EveryDeclaredTypeAdaptsEveryGivenOne)
{
    const Ptr<Echo> pEcho = Echo::Construct(Value::Null);
    const Ptr<List> pList = List::Construct(Value::Null);
    const std::vector<Value> given = {Value(),
                                      Value(3),
                                      Value(2.5f),
                                      Value(true),
                                      Value("text"),
                                      Value(pList),
                                      Value(nullptr),
                                      Value(pEcho),
                                      Value(Vector2(1.0f, 2.0f)),
                                      Value(Vector3(1.0f, 2.0f, 3.0f)),
                                      Value(Vector4(1.0f, 2.0f, 3.0f, 4.0f)),
                                      Value(Vector2i(1, 2)),
                                      Value(Vector3i(1, 2, 3)),
                                      Value(Vector4i(1, 2, 3, 4)),
                                      Value(Color(1, 2, 3, 4)),
                                      Value(Specimen::Gear::DOWN),
                                      Value(Quaternion(1.0f, 2.0f, 3.0f, 4.0f))};
    const auto check = [&](const char* pDeclared, const Value& value, const Value& expected, bool bReport) {
        EXPECT_TRUE(pEcho->Call(pDeclared, value) == expected)
            << "type " << value.GetType() << " given for " << pDeclared;
        EXPECT_EQ(mMessages.TakeAll().size(), bReport ? 1u : 0u)
            << "type " << value.GetType() << " given for " << pDeclared;
    };
    for (const Value& value : given) {
        const bool bNothing = value.IsVoid() || value == Value(nullptr);
        check("int", value, value.Get<int>(), false);
        check("float", value, value.Get<float>(), false);
        check("bool", value, value.Get<bool>(), false);
        check("String", value, value.Get<String>(), false);
        check("Object", value, value.Get<Object*>(), !bNothing && value.AsObject() == nullptr);
        check("List", value, value.Get<List*>(), !bNothing && value.Get<List*>() == nullptr);
        check("Vector2", value, value.Get<Vector2>(), false);
        check("Vector3", value, value.Get<Vector3>(), false);
        check("Vector4", value, value.Get<Vector4>(), false);
        check("Vector2i", value, value.Get<Vector2i>(), false);
        check("Vector3i", value, value.Get<Vector3i>(), false);
        check("Vector4i", value, value.Get<Vector4i>(), false);
        check("Color", value, value.Get<Color>(), false);
        check("Value", value, value, false);
        check("Enum", value, value.Get<Specimen::Gear>(), false);
        check("Quaternion", value, value.Get<Quaternion>(), false);
    }
}

TEST_F(FunctionTest, ACalleeMayOverwriteTheArgumentItWasCalledWith)
{
    Value argument = "first";
    mpSpecimen->mOnCall = [&](const Value& given) {
        argument = 5;
        return given;
    };
    EXPECT_EQ(Call("CallHook", argument).AsString(), String("first"));

    Value list = List::Construct(Value::Null);
    const auto dropAndAnswer = [](Value* pOwner, List* pList) {
        *pOwner = 5;
        return pList->GetSize();
    };
    mpSpecimen->mOnCall = [&](const Value& given) { return dropAndAnswer(&list, given.Get<List*>()); };
    EXPECT_EQ(Call("CallHook", list).Get<int>(), 0);
}

TEST_F(FunctionTest, TheReflectedQueriesAnswerForScripts)
{
    EXPECT_EQ(Find("Two")->Call("GetNumArgs").Get<int>(), 2);
    EXPECT_EQ(Find("Two")->Call("GetArgType", 1).Get<int>(), Value::TYPE_BOOL);
    EXPECT_EQ(Find("Two")->Call("GetRetType").Get<int>(), Value::TYPE_FLOAT);
    EXPECT_EQ(Find("Two")->Call("GetType").Get<int>(), Function::Member);
}
