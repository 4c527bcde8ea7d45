#include "QBase/DynamicProperty.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Memory.h"

#include "Support/Assertions.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/Patterns.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

enum Planet
{
    PLANET_EARTH = 3
};

struct DynamicPropertyTest : testing::Test
{
    Property* AddValue(const char* pName, int type)
    {
        return mpObject->AddPropertyValue(pName, static_cast<Value::Type>(type));
    }
    Property* AddArray(const char* pName, int type)
    {
        return mpObject->AddPropertyArray(pName, static_cast<Value::Type>(type));
    }

    Ptr<Object> mpObject = Object::Construct(Value::Null);
    CapturedMessages mMessages;
};

// One value of every type that a dynamic property can have.
std::vector<Value> StorableValues()
{
    return {Value(3),
            Value(2.5f),
            Value(true),
            Value("text"),
            Value(List::Construct(Value::Null)),
            Value(Vector2(1.0f, 2.0f)),
            Value(Vector3(1.0f, 2.0f, 3.0f)),
            Value(Vector4(1.0f, 2.0f, 3.0f, 4.0f)),
            Value(Vector2i(1, 2)),
            Value(Vector3i(1, 2, 3)),
            Value(Vector4i(1, 2, 3, 4)),
            Value(Color(1, 2, 3, 4)),
            Value(PLANET_EARTH),
            Value(Quaternion(1.0f, 2.0f, 3.0f, 4.0f))};
}

} // namespace

TEST_F(DynamicPropertyTest, EveryStorableTypeKeepsItsValueAndType)
{
    for (const Value& value : StorableValues()) {
        const std::string name = "p" + std::to_string(value.GetType());
        Property* const pProperty = mpObject->AddPropertyValueFromValue(name.c_str(), value);
        ASSERT_NE(pProperty, nullptr);
        EXPECT_EQ(pProperty->GetType(), value.GetType());
        EXPECT_TRUE(pProperty->Get(mpObject) == value) << name;
        EXPECT_TRUE(pProperty->IsDynamic());
        EXPECT_FALSE(pProperty->IsArray());
        EXPECT_FALSE(pProperty->IsExcluded());
        EXPECT_EQ(pProperty->GetEnumInfo(), nullptr);
    }
}

TEST_F(DynamicPropertyTest, EveryStorableTypeHasAnArrayThatStartsEmpty)
{
    for (const Value& value : StorableValues()) {
        const std::string name = "a" + std::to_string(value.GetType());
        Property* const pArray = mpObject->AddPropertyArrayFromValue(name.c_str(), value);
        ASSERT_NE(pArray, nullptr);
        EXPECT_EQ(pArray->GetType(), value.GetType());
        EXPECT_TRUE(pArray->IsDynamic());
        EXPECT_TRUE(pArray->IsArray());
        EXPECT_EQ(pArray->GetSize(mpObject), 0);
        pArray->Insert(mpObject, value);
        pArray->Insert(mpObject, value);
        EXPECT_TRUE(pArray->GetAt(mpObject, 1) == value) << name;
        EXPECT_EQ(pArray->Find(mpObject, value), 0) << name;
    }
}

TEST_F(DynamicPropertyTest, ANameThatAClassOrInstancePropertyUsesIsRefused)
{
    mpObject = Specimen::Make();
    EXPECT_EQ(AddValue("Int", Value::TYPE_INT), nullptr);
    EXPECT_THAT(mMessages.TakeError(),
                MatchesPattern("ERROR: Object \\(line [0-9]+\\): Failed to add property value 'Int' to "
                               "'Test.Specimen' - property already exists"));
    EXPECT_EQ(mpObject->GetInstanceTable(), nullptr);
    EXPECT_EQ(AddArray("Int", Value::TYPE_INT), nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith(": Failed to add property array 'Int' to 'Test.Specimen' - "
                                                "property already exists"));
    Property* const pFirst = AddValue("x", Value::TYPE_INT);
    EXPECT_EQ(AddValue("x", Value::TYPE_FLOAT), nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("'x' to 'Test.Specimen' - property already exists"));
    EXPECT_EQ(mpObject->FindProperty("x"), pFirst);
}

TEST_F(DynamicPropertyTest, TypesWithoutStorageAreRefusedAfterTheInstanceTableWasMade)
{
    for (const int type : {0, 13, 16, -1, 1000}) {
        EXPECT_EQ(AddValue("x", type), nullptr);
        EXPECT_THAT(mMessages.TakeError(),
                    EndsWith(": Failed to add property value 'x' to 'QBase.Object' - invalid property type"));
        EXPECT_EQ(AddArray("x", type), nullptr);
        EXPECT_THAT(mMessages.TakeError(),
                    EndsWith(": Failed to add property array 'x' to 'QBase.Object' - invalid property type"));
    }
    ASSERT_NE(mpObject->GetInstanceTable(), nullptr);
    EXPECT_TRUE(mpObject->GetInstanceTable()->GetEntries().begin() ==
                mpObject->GetInstanceTable()->GetEntries().end());
}

TEST_F(DynamicPropertyTest, AVoidValueGivesNoProperty)
{
    EXPECT_EQ(mpObject->AddPropertyValueFromValue("x", Value::Null), nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("invalid property type"));
    EXPECT_EQ(mpObject->AddPropertyArrayFromValue("x", Value::Null), nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("invalid property type"));
}

TEST_F(DynamicPropertyTest, ADynamicPropertyMayHideAFunction)
{
    mpObject = Specimen::Make();
    EXPECT_NE(AddValue("One", Value::TYPE_INT), nullptr);
    EXPECT_EQ(mpObject->FindFunction("One"), nullptr);
    EXPECT_TRUE(mpObject->RemoveProperty("One"));
    EXPECT_NE(mpObject->FindFunction("One"), nullptr);
}

TEST_F(DynamicPropertyTest, RemovePropertyTakesOutWhatWasAddedAndNothingElse)
{
    mpObject = Specimen::Make();
    const char* const pEnd = "from 'Test.Specimen' - dynamic property not found";
    EXPECT_FALSE(mpObject->RemoveProperty("Int"));
    EXPECT_THAT(mMessages.TakeError(), EndsWith(std::string("Failed to remove property 'Int' ") + pEnd));
    AddValue("x", Value::TYPE_INT);
    EXPECT_TRUE(mpObject->RemoveProperty("x"));
    EXPECT_EQ(mpObject->FindProperty("x"), nullptr);
    EXPECT_FALSE(mpObject->RemoveProperty("x"));
    EXPECT_THAT(mMessages.TakeError(), EndsWith(std::string("Failed to remove property 'x' ") + pEnd));
    EXPECT_FALSE(mpObject->RemoveProperty("Int"));
    EXPECT_THAT(mMessages.TakeError(), EndsWith(std::string("Failed to remove property 'Int' ") + pEnd));
    mpObject->GetInstanceTable()->Insert("entry", Object::Construct(Value::Null));
    EXPECT_FALSE(mpObject->RemoveProperty("entry"));
    EXPECT_THAT(mMessages.TakeError(), EndsWith(std::string("Failed to remove property 'entry' ") + pEnd));
}

TEST_F(DynamicPropertyTest, ARemovedPropertyLetsItsObjectGoAtOnce)
{
    int destroyed = 0;
    Specimen* const pHeld = Specimen::Make();
    pHeld->mOnDestroy = [&](Specimen*) { ++destroyed; };
    mpObject->AddPropertyValueFromValue("x", pHeld);
    const Ptr<Object> pCopy = mpObject->Copy(); // lists the properties, and holds the object too
    EXPECT_TRUE(pCopy->RemoveProperty("x"));
    EXPECT_EQ(destroyed, 0);
    EXPECT_TRUE(mpObject->RemoveProperty("x"));
    EXPECT_EQ(destroyed, 1);
}

TEST_F(DynamicPropertyTest, PlainStorageTakesTheBitsOfAnyPlainValue)
{
    Property* const pInt = AddValue("int", Value::TYPE_INT);
    pInt->Set(mpObject, 1.0f);
    EXPECT_TRUE(pInt->Get(mpObject) == Value(0x3F800000));
    Property* const pFloat = AddValue("float", Value::TYPE_FLOAT);
    pFloat->Set(mpObject, 0x40200000);
    EXPECT_TRUE(pFloat->Get(mpObject) == Value(2.5f));
    Property* const pVector = AddValue("vector", Value::TYPE_VECTOR2I);
    pVector->Set(mpObject, Vector4i(1, 2, 3, 4));
    EXPECT_TRUE(pVector->Get(mpObject) == Value(Vector2i(1, 2)));
    pVector->Set(mpObject, 7);
    EXPECT_TRUE(pVector->Get(mpObject) == Value(Vector2i(7, 0)));
    Property* const pBool = AddValue("bool", Value::TYPE_BOOL);
    pBool->Set(mpObject, 2);
    EXPECT_TRUE(pBool->Get(mpObject) == Value(true));
    pBool->Set(mpObject, 256); // its first byte is 0
    EXPECT_TRUE(pBool->Get(mpObject) == Value(false));
}

TEST_F(DynamicPropertyTest, PlainStorageNeverTakesAnAddress)
{
    for (const Value& value : {Value("text"), Value(List::Construct(Value::Null))}) {
        Property* const pVector = AddValue(value.AsObject() ? "a" : "b", Value::TYPE_VECTOR4I);
        pVector->Set(mpObject, Vector4i(1, 2, 3, 4));
        pVector->Set(mpObject, value);
        EXPECT_TRUE(pVector->Get(mpObject) == Value(Vector4i(0, 0, 0, 0)));
    }
}

TEST_F(DynamicPropertyTest, TextAndObjectStorageTakesItsOwnTypeOnly)
{
    Property* const pText = mpObject->AddPropertyValueFromValue("text", "Io");
    pText->Set(mpObject, 7);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("value of type 1 does not fit type 4"));
    EXPECT_EQ(pText->Get(mpObject).AsString(), String("Io"));
    pText->Set(mpObject, Value::Null);
    EXPECT_TRUE(pText->Get(mpObject) == Value(String::Null));

    const Ptr<List> pList = List::Construct(Value::Null);
    Property* const pObject = mpObject->AddPropertyValueFromValue("object", pList);
    EXPECT_EQ(pList->GetReferenceCount(), 2);
    pObject->Set(mpObject, "text");
    EXPECT_THAT(mMessages.TakeError(), EndsWith("value of type 4 does not fit type 5"));
    EXPECT_EQ(pObject->Get(mpObject).AsObject(), static_cast<Object*>(pList));
    pObject->Set(mpObject, Value::Null);
    EXPECT_TRUE(pObject->Get(mpObject) == Value(nullptr));
    EXPECT_EQ(pList->GetReferenceCount(), 1);

    Property* const pTexts = AddArray("texts", Value::TYPE_STRING);
    pTexts->Insert(mpObject, 7);
    EXPECT_THAT(mMessages.TakeError(), EndsWith("value of type 1 does not fit type 4"));
    EXPECT_EQ(pTexts->GetSize(mpObject), 0);
}

TEST_F(DynamicPropertyTest, AnEnumStaysAnEnum)
{
    Property* const pEnum = mpObject->AddPropertyValueFromValue("planet", PLANET_EARTH);
    EXPECT_EQ(pEnum->GetType(), Value::TYPE_ENUM);
    pEnum->Set(mpObject, 5);
    EXPECT_EQ(pEnum->Get(mpObject).GetType(), Value::TYPE_ENUM);
    EXPECT_EQ(pEnum->Get(mpObject).Get<int>(), 5);
}

TEST_F(DynamicPropertyTest, ArrayOperationsKeepOrderAndTakeFirstMatches)
{
    Property* const pArray = AddArray("a", Value::TYPE_INT);
    for (const int element : {1, 2, 1}) {
        pArray->Insert(mpObject, element);
    }
    pArray->Remove(mpObject, 1);
    pArray->Remove(mpObject, 9);
    pArray->InsertAt(mpObject, 2, 4);
    pArray->SetAt(mpObject, 0, 3);
    EXPECT_EQ(pArray->GetSize(mpObject), 3);
    EXPECT_EQ(pArray->GetAt(mpObject, 0).Get<int>(), 3);
    EXPECT_EQ(pArray->GetAt(mpObject, 1).Get<int>(), 1);
    EXPECT_EQ(pArray->GetAt(mpObject, 2).Get<int>(), 4);
    EXPECT_EQ(pArray->Find(mpObject, 9), -1);
    EXPECT_EQ(pArray->Find(mpObject, 3.0f), -1); // another type
    pArray->RemoveAt(mpObject, 0);
    EXPECT_EQ(pArray->GetSize(mpObject), 2);
    pArray->Clear(mpObject);
    EXPECT_EQ(pArray->GetSize(mpObject), 0);
}

TEST_F(DynamicPropertyTest, TheObjectArgumentIsNotUsed)
{
    Property* const pInt = AddValue("x", Value::TYPE_INT);
    pInt->Set(nullptr, 4);
    EXPECT_EQ(pInt->Get(nullptr).Get<int>(), 4);
}

TEST_F(DynamicPropertyTest, AResumedWrongIndexChangesNothing)
{
    ResumedAssertions resumed;
    Property* const pArray = AddArray("a", Value::TYPE_OBJECT);
    const Ptr<List> pList = List::Construct(Value::Null);
    pArray->SetAt(mpObject, 0, pList);
    pArray->InsertAt(mpObject, 1, pList);
    pArray->RemoveAt(mpObject, 0);
    EXPECT_EQ(pArray->GetAt(mpObject, -1).AsObject(), nullptr);
    EXPECT_EQ(mMessages.TakeAll().size(), 4u);
    EXPECT_EQ(pArray->GetSize(mpObject), 0);
    EXPECT_EQ(pList->GetReferenceCount(), 1);
}

TEST_F(DynamicPropertyTest, AShortageOfMemoryIsNotTakenForAnInvalidType)
{
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_OBJECT; });
    Property* pProperty = nullptr;
    {
        const CapturedConsole console; // where Memory itself reports
        pProperty = mpObject->AddPropertyValue("first", Value::TYPE_INT);
    }
    Memory::SetFailureHook(nullptr);
    EXPECT_EQ(pProperty, nullptr);
    EXPECT_THAT(mMessages.TakeError(), EndsWith(" - out of memory"));
}

TEST_F(DynamicPropertyTest, WithoutMemoryForTheEntryThereIsNoProperty)
{
    AddValue("first", Value::TYPE_INT);
    const String name = "second";
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_HASHTABLE; });
    Property* const pProperty = mpObject->AddPropertyValue(name, Value::TYPE_INT);
    Memory::SetFailureHook(nullptr);
    EXPECT_EQ(pProperty, nullptr);
    EXPECT_EQ(mpObject->FindProperty(name), nullptr);
    mMessages.TakeAll();
}
