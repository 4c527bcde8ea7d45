#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/Property.h"

#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace QBase;

namespace
{

struct EnumInfoObjectTest : testing::Test
{
    EnumInfoObjectTest()
    {
        mpColors->InsertEnum("Red", 0);
        mpColors->InsertEnum("Green", 1);
    }

    Ptr<EnumInfoObject> mpColors = EnumInfoObject::Construct(Value::Null);
};

} // namespace

TEST_F(EnumInfoObjectTest, KeysAndValuesLeadToEachOther)
{
    EXPECT_EQ(mpColors->GetValueFromKey("Green"), 1);
    EXPECT_EQ(mpColors->GetValueFromKey("Red"), 0);
    EXPECT_EQ(mpColors->GetKeyFromValue(0), String("Red"));
    EXPECT_EQ(mpColors->GetKeyFromValue(1), String("Green"));
}

TEST_F(EnumInfoObjectTest, AKeyNeverInsertedIsZeroAndFindPropertyTellsThemApart)
{
    EXPECT_EQ(mpColors->GetValueFromKey("Blue"), 0);
    EXPECT_EQ(mpColors->FindProperty("Blue"), nullptr);
    EXPECT_NE(mpColors->FindProperty("Red"), nullptr);
}

TEST_F(EnumInfoObjectTest, AValueWithoutKeyIsTheNullString)
{
    EXPECT_EQ(&mpColors->GetKeyFromValue(7), &String::Null);
    const Ptr<EnumInfoObject> pEmpty = EnumInfoObject::Construct(Value::Null);
    EXPECT_EQ(&pEmpty->GetKeyFromValue(0), &String::Null);
}

TEST_F(EnumInfoObjectTest, TheKeyIsTheOneInTheTable)
{
    const String& key = mpColors->GetKeyFromValue(1);
    const auto& entries = mpColors->GetInstanceTable()->GetEntries();
    EXPECT_TRUE(std::any_of(entries.begin(), entries.end(),
                            [&](const auto& node) { return &node.GetKey() == &key; }));
}

TEST_F(EnumInfoObjectTest, TheValueItIsMadeOfIsIgnored)
{
    const Ptr<EnumInfoObject> pInfo = EnumInfoObject::Construct("Red");
    EXPECT_EQ(pInfo->GetInstanceTable(), nullptr);
    EXPECT_EQ(pInfo->FindProperty("Red"), nullptr);
}

TEST_F(EnumInfoObjectTest, AnEnumerationHasTheNamesThatWereSetLast)
{
    enum class Local : int
    {
    };
    EXPECT_EQ(FindEnumInfo(typeid(Local)), nullptr);
    const int count = mpColors->GetReferenceCount();
    SetEnumInfo(typeid(Local), EnumInfoObject::Construct(Value::Null));
    SetEnumInfo(typeid(Local), mpColors);
    EXPECT_EQ(FindEnumInfo(typeid(Local)), static_cast<EnumInfoObject*>(mpColors));
    EXPECT_EQ(mpColors->GetReferenceCount(), count + 1);
    SetEnumInfo(typeid(Local), nullptr);
    EXPECT_EQ(mpColors->GetReferenceCount(), count);
}

TEST_F(EnumInfoObjectTest, EnumeratorsAreDynamicIntProperties)
{
    Property* const pGreen = mpColors->FindProperty("Green");
    EXPECT_TRUE(pGreen->IsDynamic());
    EXPECT_EQ(pGreen->GetType(), Value::TYPE_INT);
    EXPECT_EQ(mpColors->GetInstanceTable()->GetTableSize(), 31);
}

TEST_F(EnumInfoObjectTest, OfSeveralKeysWithOneValueTheFirstInTableOrderAnswers)
{
    mpColors->InsertEnum("AlsoGreen", 1);
    String first;
    for (const auto& node : mpColors->GetInstanceTable()->GetEntries()) {
        if (first.empty() && mpColors->GetValueFromKey(node.GetKey()) == 1) {
            first = node.GetKey();
        }
    }
    EXPECT_EQ(mpColors->GetKeyFromValue(1), first);
}

TEST_F(EnumInfoObjectTest, ATakenKeyIsReportedAndKeepsItsValue)
{
    CapturedMessages messages;
    mpColors->InsertEnum("Red", 5);
    EXPECT_THAT(messages.TakeError(), testing::EndsWith("Failed to add property value 'Red' to "
                                                        "'QBase.EnumInfoObject' - property already exists"));
    EXPECT_EQ(mpColors->GetValueFromKey("Red"), 0);
}

TEST_F(EnumInfoObjectTest, OnlyNumbersAmongItsPropertiesAreEnumerators)
{
    mpColors->AddPropertyValueFromValue("Text", "zero");
    mpColors->AddPropertyValueFromValue("Float", 7.0f);
    mpColors->AddPropertyArray("Array", Value::TYPE_INT);
    mpColors->GetInstanceTable()->Insert("Nothing", nullptr);
    mpColors->RemoveProperty("Red");
    EXPECT_EQ(&mpColors->GetKeyFromValue(0), &String::Null);
    EXPECT_EQ(&mpColors->GetKeyFromValue(7), &String::Null);
    EXPECT_EQ(mpColors->GetValueFromKey("Text"), 0);
    EXPECT_EQ(mpColors->GetValueFromKey("Array"), 0);
    mpColors->AddPropertyValueFromValue("Enum", Value::TYPE_QUATERNION);
    EXPECT_EQ(mpColors->GetKeyFromValue(15), String("Enum"));
}

TEST_F(EnumInfoObjectTest, ItsFunctionsAreReflected)
{
    Function* const pInsert = mpColors->FindFunction("InsertEnum");
    ASSERT_NE(pInsert, nullptr);
    EXPECT_EQ(pInsert->GetNumArgs(), 2);
    EXPECT_EQ(pInsert->GetArgType(0), Value::TYPE_STRING);
    EXPECT_EQ(pInsert->GetArgType(1), Value::TYPE_INT);
    EXPECT_EQ(mpColors->FindFunction("GetKeyFromValue")->GetRetType(), Value::TYPE_STRING);
    EXPECT_EQ(mpColors->FindFunction("GetValueFromKey")->GetRetType(), Value::TYPE_INT);
    mpColors->Call("InsertEnum", "Blue", 2);
    EXPECT_EQ(mpColors->Call("GetKeyFromValue", 2).AsString(), String("Blue"));
    EXPECT_EQ(mpColors->Call("GetValueFromKey", "Blue").Get<int>(), 2);
    EXPECT_EQ(mpColors->Call("GetKeyFromValue", 9).AsString(), String::Null);
}
