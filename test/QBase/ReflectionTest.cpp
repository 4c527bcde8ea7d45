#include "QBase/Reflection.h"

#include "QBase/DynamicProperty.h"
#include "QBase/Global.h"
#include "QBase/List.h"

#include "Support/Specimen.h"
#include "Support/WindowsUnit.h"

#include <gtest/gtest.h>

using namespace QBase;

namespace
{

class Registered : public Specimen
{
    QBASE_OBJECT(Registered, Specimen)

public:
    int Overloaded(int) { return 1; }
    int Overloaded(float) { return 2; }
    Object* GiveConstant() const { return nullptr; }
    const String& GetTitle() const noexcept { return mTitle; }
    void SetTitle(String title) { mTitle = title; }
    static Ptr<List> MakeList() { return List::Construct(Value::Null); }
    static void DoNothing() noexcept {}

    String mTitle;

    static constexpr int DOZEN = 12;

protected:
    explicit Registered(const Value& value) : Specimen(value) {}
};

QBASE_IMPLEMENT(Test, Registered)

void Registered::Implement()
{
    AddFunction<static_cast<int (Registered::*)(float)>(&Registered::Overloaded)>("Overloaded");
    AddFunction<&Registered::GiveConstant>("GiveConstant");
    AddFunction<&Registered::MakeList>("MakeList");
    AddFunction<&Registered::DoNothing>("DoNothing");
    AddFunction<&Specimen::One>("Inherited");
    AddProperty<&Registered::GetTitle, &Registered::SetTitle>("Title");
    AddProperty<&Specimen::mInt>("InheritedInt");
    AddConstant<DOZEN>("DOZEN");
    AddConstant<Specimen::Gear::DOWN>("DOWN");
    AddConstant<true>("YES");
}

struct ReflectionTest : testing::Test
{
    Value Get(const char* pName) { return mpObject->FindProperty(pName)->Get(mpObject); }

    Ptr<Registered> mpObject = Registered::Construct(Value::Null);
};

} // namespace

TEST_F(ReflectionTest, AnOverloadIsChosenByACast)
{
    EXPECT_EQ(mpObject->Call("Overloaded", 3).Get<int>(), 2);
    EXPECT_EQ(mpObject->FindFunction("Overloaded")->GetArgType(0), Value::TYPE_FLOAT);
}

TEST_F(ReflectionTest, ResultsThatNobodyHoldsYetReachTheCaller)
{
    const Value list = mpObject->Call("MakeList");
    ASSERT_NE(list.AsObject(), nullptr);
    EXPECT_EQ(list.AsObject()->GetReferenceCount(), 1);
    EXPECT_TRUE(mpObject->Call("GiveConstant") == Value(nullptr));
    EXPECT_TRUE(mpObject->Call("DoNothing").IsVoid());
}

TEST_F(ReflectionTest, MembersOfABaseClassRegisterInTheDerivedOne)
{
    EXPECT_EQ(mpObject->Call("Inherited", 5).Get<int>(), 5);
    EXPECT_EQ(mpObject->FindFunction("Inherited")->GetTargetClass(), Registered::ClassTable());
    mpObject->FindProperty("InheritedInt")->Set(mpObject, 6);
    EXPECT_EQ(mpObject->mInt, 6);
    EXPECT_EQ(mpObject->FindProperty("InheritedInt")->GetOwnerClass(), Registered::ClassTable());
}

TEST_F(ReflectionTest, EntriesOfTheBaseClassAreFound)
{
    EXPECT_EQ(mpObject->Call("Five", 1).Get<int>(), 1);
    mpObject->FindProperty("Level")->Set(mpObject, 4);
    EXPECT_EQ(Get("DoubleLevel").Get<int>(), 8);
    EXPECT_EQ(Registered::ClassTable()->Find("Level"), nullptr);
}

TEST_F(ReflectionTest, AGetterByReferenceAndASetterByValueAreOneProperty)
{
    mpObject->FindProperty("Title")->Set(mpObject, "Captain");
    EXPECT_EQ(mpObject->mTitle, String("Captain"));
    EXPECT_EQ(Get("Title").AsString(), String("Captain"));
}

TEST_F(ReflectionTest, ConstantsOfEveryPlainKindAreProperties)
{
    EXPECT_TRUE(Get("DOZEN") == Value(12));
    EXPECT_TRUE(Get("DOWN") == Value(Specimen::Gear::DOWN));
    EXPECT_TRUE(Get("YES") == Value(true));
    EXPECT_EQ(mpObject->FindProperty("DOWN")->GetEnumInfo()->GetKeyFromValue(1), String("Down"));
    EXPECT_EQ(mpObject->FindProperty("DOZEN")->GetEnumInfo(), nullptr);
}

TEST_F(ReflectionTest, AnEnumerationsNamesStandInTheClassTable)
{
    Object* const pInfo = Specimen::ClassTable()->Find("enum Gear");
    ASSERT_TRUE(pInfo != nullptr && pInfo->IsExactType(EnumInfoObject::ClassTable()));
    EXPECT_EQ(mpObject->FindProperty("Gear")->GetEnumInfo(), pInfo);
    EXPECT_EQ(static_cast<EnumInfoObject*>(pInfo)->GetValueFromKey("Down"), 1);
}

TEST_F(ReflectionTest, AReflectedTypeCodeIsAnEnum)
{
    const Value type = mpObject->FindProperty("Text")->Call("GetType");
    EXPECT_EQ(type.GetType(), Value::TYPE_ENUM);
    EXPECT_EQ(type.Get<int>(), Value::TYPE_STRING);
}

TEST_F(ReflectionTest, CloneMakesAnObjectOfTheSameClass)
{
    mpObject->mTitle = "Captain";
    const Ptr<Registered> pClone = mpObject->Clone();
    pClone->Release(); // the clone started at the source's count
    EXPECT_TRUE(pClone->IsExactType(Registered::ClassTable()));
    EXPECT_EQ(pClone->mTitle, String("Captain"));
}

TEST_F(ReflectionTest, AUnitBehindTheWindowsHeadersCallsTheSameGetClassName)
{
    EXPECT_EQ(&ClassNameInWindowsUnit(mpObject), &mpObject->GetClassName());
}

TEST_F(ReflectionTest, AUnitBehindTheWindowsHeadersHasClassesOfItsOwn)
{
    const Ptr<Object> pPane = Construct("WindowsUnit", "Pane");
    ASSERT_NE(pPane, nullptr);
    EXPECT_EQ(pPane->GetClassName(), String("Pane"));
}
