#include "QBase/Property.h"

#include "QBase/DynamicProperty.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/Reflection.h"

#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/Patterns.h"
#include "Support/Specimen.h"
#include "Support/StoredObjects.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

struct PropertyTest : testing::Test
{
    Property* Find(const char* pName) { return mpSpecimen->FindProperty(pName); }
    Value Get(const char* pName) { return Find(pName)->Get(mpSpecimen); }
    void Set(const char* pName, const Value& value) { Find(pName)->Set(mpSpecimen, value); }

    Ptr<Specimen> mpSpecimen = Specimen::Make();
};

// The whole text of a report of the property classes, but for its line.
auto IsReport(const std::string& text)
{
    return MatchesPattern("ERROR: QBase/Property \\(line [0-9]+\\): " + text);
}

// Two different values of each type, and the properties of Everything that hold such.
struct TwoValues
{
    const char* mpSingle;
    const char* mpArray; // null where the class has none
    Value mFirst;
    Value mSecond;
};

std::vector<TwoValues> ValuesOfEveryType(Object* pOne, Object* pOther)
{
    using StoredObjects::Everything;
    return {{"int", "ints", 3, 4},
            {"float", "floats", 0.0f, -0.0f}, // equality goes by bits
            {"bool", "bools", false, true},
            {"String", "Strings", String("Io"), String("Europa")},
            {"Object", "Objects", Value(pOne), Value(pOther)},
            {"Vector2", nullptr, Vector2(1, 2), Vector2(1, 3)},
            {"Vector3", "Vector3s", Vector3(1, 2, 3), Vector3(1, 2, 4)},
            {"Vector4", nullptr, Vector4(1, 2, 3, 4), Vector4(1, 2, 3, 5)},
            {"Vector2i", nullptr, Vector2i(1, 2), Vector2i(1, 3)},
            {"Vector3i", nullptr, Vector3i(1, 2, 3), Vector3i(1, 2, 4)},
            {"Vector4i", nullptr, Vector4i(1, 2, 3, 4), Vector4i(1, 2, 3, 5)},
            {"Color", "Colors", Color(1, 2, 3, 4), Color(1, 2, 3, 5)},
            {"Enum", "Enums", Value(Everything::EAGER), Value(Everything::WILD)},
            {"Quaternion", nullptr, Quaternion(0, 0, 0, 1), Quaternion(0, 0, 1, 0)}};
}

void ExpectToTellChanges(Property* pSingle, Property* pArray, Object* pObject, const TwoValues& values)
{
    const Value untouched("untouched");
    Value read = untouched;
    pSingle->Set(pObject, values.mFirst);
    EXPECT_FALSE(pSingle->GetIfChanged(pObject, values.mFirst, read));
    EXPECT_EQ(read, untouched);
    EXPECT_TRUE(pSingle->GetIfChanged(pObject, values.mSecond, read));
    EXPECT_EQ(read, values.mFirst);
    EXPECT_TRUE(pSingle->GetIfChanged(pObject, Value::Null, read));
    pSingle->Set(pObject, Value::Null);
    if (pArray == nullptr) {
        return;
    }
    pArray->Insert(pObject, values.mSecond);
    pArray->Insert(pObject, values.mFirst);
    read = untouched;
    EXPECT_FALSE(pArray->GetAtIfChanged(pObject, 1, values.mFirst, read));
    EXPECT_EQ(read, untouched);
    EXPECT_TRUE(pArray->GetAtIfChanged(pObject, 0, values.mFirst, read));
    EXPECT_EQ(read, values.mSecond);
    EXPECT_TRUE(pArray->GetAtIfChanged(pObject, 1, Value::Null, read));
    EXPECT_EQ(read, values.mFirst);
    pArray->Clear(pObject);
}

// A member of each kind behind which there is more than a name, and one that stands behind another base.
class Odd : public Burdened
{
    QBASE_OBJECT(Odd, Burdened)

public:
    enum Small : unsigned char
    {
        NONE,
        SOME
    };

    int GetNumber() const { return mNumber; }
    void SetNumber(int number) { mNumber = number; }

    int mNumber = 0;
    Small mSmall = NONE;
    Value mAny;
    Array<Small> mSmalls;
    Ptr<Burdened> mFriend;
    Array<Ptr<Burdened>> mFriends;

    static constexpr int LIMIT = 7;

protected:
    explicit Odd(const Value& value) : Burdened(value) {}
};

QBASE_IMPLEMENT(Test, Odd)

void Odd::Implement()
{
    AddProperty<&Odd::GetNumber, &Odd::SetNumber>("Number");
    AddProperty<&Odd::GetNumber>("ReadOnlyNumber");
    AddProperty<&Odd::mSmall>("Small");
    AddProperty<&Odd::mAny>("Any");
    AddProperty<&Odd::mSmalls>("Smalls");
    AddProperty<&Odd::mFriend>("Friend");
    AddProperty<&Odd::mFriends>("Friends");
    AddConstant<LIMIT>("LIMIT");
}

// Whether a member or an element is what the Value holds.
void ExpectToBe(const PropertyField& field, const void* pElement, const Value& value)
{
    if (value.GetType() == Value::TYPE_STRING) {
        EXPECT_EQ(*static_cast<const String*>(pElement), value.AsString());
    } else if (value.GetType() == Value::TYPE_OBJECT) {
        EXPECT_EQ(field.mpGetObject(pElement), value.AsObject());
    } else {
        EXPECT_EQ(std::memcmp(pElement, ValueBits::GetPayload(value), field.mElementSize), 0);
    }
}

} // namespace

TEST_F(PropertyTest, TheAbstractClassesReportTheirConstruction)
{
    CapturedMessages messages;
    EXPECT_EQ(Property::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), IsReport("Failed to Construct interface class"));
    EXPECT_EQ(ValuePropertyCommon::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to Construct interface class"));
    EXPECT_EQ(ArrayPropertyCommon::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to Construct interface class"));
}

TEST_F(PropertyTest, TheVirtualFunctionsKeepTheirPlaces)
{
    const std::ptrdiff_t first = VirtualSlot(&Property::GetType);
    EXPECT_GT(first, VirtualSlot(&Object::Execute));
    EXPECT_EQ(VirtualSlot(&Property::IsArray), first + 1);
    EXPECT_EQ(VirtualSlot(&Property::IsExcluded), first + 2);
    EXPECT_EQ(VirtualSlot(&Property::IsDynamic), first + 3);
    EXPECT_EQ(VirtualSlot(&Property::GetEnumInfo), first + 4);
    EXPECT_EQ(VirtualSlot(&Property::Get), first + 5);
    EXPECT_EQ(VirtualSlot(&Property::Set), first + 6);
    EXPECT_EQ(VirtualSlot(&Property::Insert), first + 7);
    EXPECT_EQ(VirtualSlot(&Property::InsertAt), first + 8);
    EXPECT_EQ(VirtualSlot(&Property::Remove), first + 9);
    EXPECT_EQ(VirtualSlot(&Property::RemoveAt), first + 10);
    EXPECT_EQ(VirtualSlot(&Property::Find), first + 11);
    EXPECT_EQ(VirtualSlot(&Property::SetAt), first + 12);
    EXPECT_EQ(VirtualSlot(&Property::GetAt), first + 13);
    EXPECT_EQ(VirtualSlot(&Property::Clear), first + 14);
    EXPECT_EQ(VirtualSlot(&Property::GetSize), first + 15);
}

TEST_F(PropertyTest, ASingleValueReportsEveryArrayOperationAndAnswersNeutrally)
{
    CapturedMessages messages;
    Property* const pInt = Find("Int");
    mpSpecimen->mInt = 5;
    pInt->Insert(mpSpecimen, 1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Insert value to non-array property"));
    pInt->InsertAt(mpSpecimen, 0, 1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to InsertAt value to non-array property"));
    pInt->Remove(mpSpecimen, 1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Remove value from non-array property"));
    pInt->RemoveAt(mpSpecimen, 0);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to RemoveAt value from non-array property"));
    EXPECT_EQ(pInt->Find(mpSpecimen, 1), -1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Find value from non-array property"));
    pInt->SetAt(mpSpecimen, 0, 1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to SetAt value to non-array property"));
    EXPECT_TRUE(pInt->GetAt(mpSpecimen, 0).IsVoid());
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to GetAt value from non-array property"));
    pInt->Clear(mpSpecimen);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Clear non-array property"));
    EXPECT_EQ(pInt->GetSize(mpSpecimen), 0);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to GetSize from non-array property"));
    EXPECT_EQ(mpSpecimen->mInt, 5);
}

TEST_F(PropertyTest, AnArrayReportsGetAndSet)
{
    CapturedMessages messages;
    mpSpecimen->mInts.Insert(4);
    Set("Ints", 1);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Set array property"));
    EXPECT_TRUE(Get("Ints").IsVoid());
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Get array property"));
    EXPECT_EQ(mpSpecimen->mInts.GetSize(), 1);
}

TEST_F(PropertyTest, AConstantReportsSetAndKeepsItsValue)
{
    CapturedMessages messages;
    EXPECT_EQ(Get("MAX_CREW").Get<int>(), 5);
    Set("MAX_CREW", 6);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Set Constant value"));
    EXPECT_EQ(Get("MAX_CREW").Get<int>(), 5);
}

TEST_F(PropertyTest, AGetterAloneIsReadOnly)
{
    CapturedMessages messages;
    mpSpecimen->mLevel = 4;
    EXPECT_EQ(Get("DoubleLevel").Get<int>(), 8);
    Set("DoubleLevel", 6);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to Set read-only property"));
    EXPECT_EQ(Get("DoubleLevel").Get<int>(), 8);
}

TEST_F(PropertyTest, ItsWriteAccessIsToldWithoutAnObject)
{
    EXPECT_EQ(Find("MAX_CREW")->GetWriteAccess(), Property::CONSTANT);
    EXPECT_EQ(Find("MAX_CREW")->Get(nullptr).Get<int>(), 5);
    EXPECT_EQ(Find("DoubleLevel")->GetWriteAccess(), Property::READ_ONLY);
    for (const char* const pName : {"Int", "Level", "Ints", "Cache"}) {
        EXPECT_EQ(Find(pName)->GetWriteAccess(), Property::WRITABLE) << pName;
    }
    EXPECT_EQ(mpSpecimen->AddPropertyValueFromValue("Own", 1)->GetWriteAccess(), Property::WRITABLE);
}

TEST_F(PropertyTest, ConstantsReadOnlyAndExcludedPropertiesStayOutOfFiles)
{
    EXPECT_TRUE(Find("MAX_CREW")->IsExcluded());
    EXPECT_TRUE(Find("DoubleLevel")->IsExcluded());
    EXPECT_TRUE(Find("Cache")->IsExcluded());
    for (const char* const pName : {"Int", "Level", "Any", "Ints", "Object", "Gear"}) {
        EXPECT_FALSE(Find(pName)->IsExcluded()) << pName;
    }
}

TEST_F(PropertyTest, ClassPropertiesAreNotDynamicAndTellTheirShapeAndType)
{
    const struct
    {
        const char* mpName;
        Value::Type mType;
        bool mbArray;
    } expected[] = {
        {"Level", Value::TYPE_INT, false},
        {"Root", Value::TYPE_OBJECT, false},
        {"Int", Value::TYPE_INT, false},
        {"Float", Value::TYPE_FLOAT, false},
        {"Bool", Value::TYPE_BOOL, false},
        {"Text", Value::TYPE_STRING, false},
        {"Object", Value::TYPE_OBJECT, false},
        {"List", Value::TYPE_OBJECT, false},
        {"Any", Value::TYPE_VALUE, false},
        {"Vector2i", Value::TYPE_VECTOR2I, false},
        {"Quaternion", Value::TYPE_QUATERNION, false},
        {"Gear", Value::TYPE_ENUM, false},
        {"MAX_CREW", Value::TYPE_INT, false},
        {"Ints", Value::TYPE_INT, true},
        {"Texts", Value::TYPE_STRING, true},
        {"Lists", Value::TYPE_OBJECT, true},
        {"Gears", Value::TYPE_ENUM, true},
    };
    for (const auto& property : expected) {
        EXPECT_EQ(Find(property.mpName)->GetType(), property.mType) << property.mpName;
        EXPECT_EQ(Find(property.mpName)->IsArray(), property.mbArray) << property.mpName;
        EXPECT_FALSE(Find(property.mpName)->IsDynamic()) << property.mpName;
    }
}

TEST_F(PropertyTest, OnlyEnumPropertiesNameTheirValues)
{
    ASSERT_NE(Find("Gear")->GetEnumInfo(), nullptr);
    EXPECT_EQ(Find("Gear")->GetEnumInfo()->GetKeyFromValue(1), String("Down"));
    EXPECT_EQ(Find("Gears")->GetEnumInfo(), Find("Gear")->GetEnumInfo());
    EXPECT_EQ(Find("Int")->GetEnumInfo(), nullptr);
    EXPECT_EQ(Find("Ints")->GetEnumInfo(), nullptr);
}

TEST_F(PropertyTest, SetReachesTheMemberOrTheSetter)
{
    Set("Level", 3);
    Set("Text", "Io");
    Set("Gear", Specimen::Gear::DOWN);
    Set("Vector2i", Vector2i(1, 2));
    Set("Any", 2.5f);
    EXPECT_EQ(mpSpecimen->mLevel, 3);
    EXPECT_EQ(mpSpecimen->mText, String("Io"));
    EXPECT_EQ(mpSpecimen->mGear, Specimen::Gear::DOWN);
    EXPECT_TRUE(Get("Vector2i") == Value(Vector2i(1, 2)));
    EXPECT_TRUE(Get("Any") == Value(2.5f));
    EXPECT_EQ(Get("Gear").GetType(), Value::TYPE_ENUM);
}

TEST_F(PropertyTest, SetConvertsNumbersAndTakesTheNeutralValueOtherwise)
{
    Set("Int", 2.9f);
    Set("Float", 3);
    Set("Bool", 7);
    Set("Gear", 1);
    EXPECT_EQ(mpSpecimen->mInt, 2);
    EXPECT_EQ(mpSpecimen->mFloat, 3.0f);
    EXPECT_TRUE(mpSpecimen->mbBool);
    EXPECT_EQ(mpSpecimen->mGear, Specimen::Gear::DOWN);
    Set("Int", "text");
    EXPECT_EQ(mpSpecimen->mInt, 0);
}

TEST_F(PropertyTest, AnObjectOfAnotherClassIsReportedAndChangesNothing)
{
    CapturedMessages messages;
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    const Ptr<List> pList = List::Construct(Value::Null);
    Set("Root", pTable);
    Set("Root", pList);
    EXPECT_THAT(messages.TakeError(),
                IsReport("Failed to set property - object is 'QBase.List', expected 'QBase.Table'"));
    Set("Root", 5);
    EXPECT_THAT(messages.TakeError(),
                IsReport("Failed to set property - the value is no object, expected 'QBase.Table'"));
    EXPECT_EQ(static_cast<Table*>(mpSpecimen->mpRoot), static_cast<Table*>(pTable));
    Set("Root", Value::Null);
    EXPECT_EQ(static_cast<Table*>(mpSpecimen->mpRoot), nullptr);
    Find("Lists")->Insert(mpSpecimen, pTable);
    EXPECT_THAT(messages.TakeError(), EndsWith("object is 'QBase.Table', expected 'QBase.List'"));
    EXPECT_EQ(mpSpecimen->mLists.GetSize(), 0);
}

TEST_F(PropertyTest, ArrayOperationsWorkOnTheMember)
{
    Property* const pTexts = Find("Texts");
    for (const char* const pText : {"a", "b", "a"}) {
        pTexts->Insert(mpSpecimen, pText);
    }
    EXPECT_EQ(pTexts->GetSize(mpSpecimen), 3);
    EXPECT_EQ(pTexts->Find(mpSpecimen, "a"), 0);
    EXPECT_EQ(pTexts->Find(mpSpecimen, "z"), -1);
    pTexts->Remove(mpSpecimen, "a");
    pTexts->Remove(mpSpecimen, "z");
    pTexts->InsertAt(mpSpecimen, 1, "c");
    pTexts->SetAt(mpSpecimen, 0, "d");
    ASSERT_EQ(mpSpecimen->mTexts.GetSize(), 3);
    EXPECT_EQ(mpSpecimen->mTexts[0], String("d"));
    EXPECT_EQ(mpSpecimen->mTexts[1], String("c"));
    EXPECT_EQ(pTexts->GetAt(mpSpecimen, 2).AsString(), String("a"));
    pTexts->RemoveAt(mpSpecimen, 0);
    EXPECT_EQ(mpSpecimen->mTexts.GetSize(), 2);
    pTexts->Clear(mpSpecimen);
    EXPECT_EQ(mpSpecimen->mTexts.GetSize(), 0);
}

TEST_F(PropertyTest, AResumedWrongIndexChangesNothingAndHoldsNothing)
{
    CapturedMessages messages;
    ResumedAssertions resumed;
    const Ptr<List> pList = List::Construct(Value::Null);
    Property* const pLists = Find("Lists");
    pLists->SetAt(mpSpecimen, 0, pList);
    pLists->InsertAt(mpSpecimen, 1, pList);
    pLists->RemoveAt(mpSpecimen, -1);
    EXPECT_EQ(pLists->GetAt(mpSpecimen, 0).AsObject(), nullptr);
    EXPECT_EQ(resumed.GetCount(), 4);
    EXPECT_EQ(messages.TakeAll().size(), 4u);
    EXPECT_EQ(mpSpecimen->mLists.GetSize(), 0);
    EXPECT_EQ(pList->GetReferenceCount(), 1);
}

TEST(PropertyDeathTest, AnIndexOutsideAClassArrayAsserts)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    Property* const pInts = pSpecimen->FindProperty("Ints");
    EXPECT_ASSERTION(pInts->SetAt(pSpecimen, 0, 1), "index >= 0 && index < mSize");
    EXPECT_ASSERTION(pInts->GetAt(pSpecimen, -1), "index >= 0 && index < mSize");
    EXPECT_ASSERTION(pInts->InsertAt(pSpecimen, 1, 1), "index >= 0 && index <= mSize");
}

TEST_F(PropertyTest, ScriptsReachTheOperationsByName)
{
    Property* const pInts = Find("Ints");
    pInts->Call("Insert", mpSpecimen, 3);
    pInts->Call("InsertAt", mpSpecimen, 0, 4);
    pInts->Call("SetAt", mpSpecimen, 1, 5);
    EXPECT_EQ(pInts->Call("GetSize", mpSpecimen).Get<int>(), 2);
    EXPECT_EQ(pInts->Call("Find", mpSpecimen, 5).Get<int>(), 1);
    EXPECT_EQ(pInts->Call("GetAt", mpSpecimen, 0).Get<int>(), 4);
    pInts->Call("Remove", mpSpecimen, 4);
    pInts->Call("RemoveAt", mpSpecimen, 0);
    EXPECT_EQ(mpSpecimen->mInts.GetSize(), 0);
    pInts->Call("Insert", mpSpecimen, 3);
    pInts->Call("Clear", mpSpecimen);
    EXPECT_EQ(mpSpecimen->mInts.GetSize(), 0);
    EXPECT_TRUE(pInts->Call("IsArray").Get<bool>());
    EXPECT_EQ(pInts->Call("GetType").Get<int>(), Value::TYPE_INT);
    EXPECT_EQ(Find("Gear")->Call("GetEnumInfo").AsObject(), Find("Gear")->GetEnumInfo());
    Find("Int")->Call("Set", mpSpecimen, 9);
    EXPECT_EQ(Find("Int")->Call("Get", mpSpecimen).Get<int>(), 9);
}

TEST_F(PropertyTest, ScriptsGetAReportForAWrongIndexOrObject)
{
    CapturedMessages messages;
    Property* const pInts = Find("Ints");
    for (const char* const pName : {"RemoveAt", "SetAt", "GetAt"}) {
        EXPECT_TRUE(pInts->Call(pName, mpSpecimen, 0, 1).IsVoid());
        EXPECT_THAT(messages.TakeError(), EndsWith("index 0 is outside the array of size 0"));
    }
    pInts->Call("InsertAt", mpSpecimen, -1, 1);
    EXPECT_THAT(messages.TakeError(), EndsWith("index -1 is outside the array of size 0"));
    const Ptr<List> pList = List::Construct(Value::Null);
    EXPECT_TRUE(Find("Int")->Call("Get", pList).IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("the object is not of the property's class"));
    EXPECT_TRUE(Find("Int")->Call("Get").IsVoid());
    EXPECT_THAT(messages.TakeError(), EndsWith("the object is not of the property's class"));
    Find("Int")->Call("GetAt", mpSpecimen, 0);
    EXPECT_THAT(messages.TakeError(), IsReport("Tried to GetAt value from non-array property"));
}

TEST_F(PropertyTest, AnObjectThatGoesFindsThePropertyWithoutIt)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    Property* const pObject = pSpecimen->FindProperty("Object");
    Specimen* const pHeld = Specimen::Make();
    Object* pSeen = pHeld;
    pHeld->mOnDestroy = [&](Specimen*) { pSeen = pObject->Get(pSpecimen).AsObject(); };
    pObject->Set(pSpecimen, pHeld);
    pObject->Set(pSpecimen, Value::Null);
    EXPECT_EQ(pSeen, nullptr);
}

TEST_F(PropertyTest, AChangeIsToldForEveryTypeOfTheMembersOfAClass)
{
    const Ptr<Object> pObject = StoredObjects::Everything::Construct(Value::Null);
    for (const TwoValues& values : ValuesOfEveryType(mpSpecimen, pObject)) {
        SCOPED_TRACE(values.mpSingle);
        Property* const pArray = values.mpArray != nullptr ? pObject->FindProperty(values.mpArray) : nullptr;
        ExpectToTellChanges(pObject->FindProperty(values.mpSingle), pArray, pObject, values);
    }
}

TEST_F(PropertyTest, AChangeIsToldForEveryTypeOfDynamicProperties)
{
    const Ptr<Object> pOther = Object::Construct(Value::Null);
    for (const TwoValues& values : ValuesOfEveryType(mpSpecimen, pOther)) {
        SCOPED_TRACE(values.mpSingle);
        const Ptr<Property> pSingle = CreateDynamicValue(values.mFirst.GetType());
        const Ptr<Property> pArray = CreateDynamicArray(values.mFirst.GetType());
        ExpectToTellChanges(pSingle, pArray, nullptr, values);
    }
}

TEST_F(PropertyTest, AMemberOfEveryTypeIsReachedWhereItStands)
{
    const Ptr<Object> pObject = StoredObjects::Everything::Construct(Value::Null);
    for (const TwoValues& values : ValuesOfEveryType(mpSpecimen, pObject)) {
        SCOPED_TRACE(values.mpSingle);
        Property* const pSingle = pObject->FindProperty(values.mpSingle);
        const PropertyField* const pField = pSingle->GetField();
        ASSERT_NE(pField, nullptr);
        pSingle->Set(pObject, values.mSecond);
        ExpectToBe(*pField, pField->mpLocate(pObject), values.mSecond);
        EXPECT_EQ(pField->mpGetObject != nullptr, pSingle->GetType() == Value::TYPE_OBJECT);
        EXPECT_EQ(pField->mpGetElements, nullptr);
        EXPECT_EQ(pField->mpAppend, nullptr);
        pSingle->Set(pObject, Value::Null);
    }
}

TEST_F(PropertyTest, TheElementsOfAnArrayOfEveryTypeLieOneBehindTheOther)
{
    const Ptr<Object> pObject = StoredObjects::Everything::Construct(Value::Null);
    for (const TwoValues& values : ValuesOfEveryType(mpSpecimen, pObject)) {
        if (values.mpArray == nullptr) {
            continue;
        }
        SCOPED_TRACE(values.mpArray);
        Property* const pArray = pObject->FindProperty(values.mpArray);
        const PropertyField* const pField = pArray->GetField();
        ASSERT_NE(pField, nullptr);
        int size = -1;
        pField->mpGetElements(pField->mpLocate(pObject), size);
        EXPECT_EQ(size, 0);
        pArray->Insert(pObject, values.mFirst);
        pArray->Insert(pObject, values.mSecond);
        const void* const pElements = pField->mpGetElements(pField->mpLocate(pObject), size);
        EXPECT_EQ(size, 2);
        ExpectToBe(*pField, pElements, values.mFirst);
        ExpectToBe(*pField, static_cast<const char*>(pElements) + pField->mElementSize, values.mSecond);
        pArray->Clear(pObject);
    }
}

TEST_F(PropertyTest, ElementsOfPlainTypesAreAppendedFromTheirBytes)
{
    const Ptr<StoredObjects::Everything> pObject = StoredObjects::Everything::Construct(Value::Null);
    const auto append = [&](const char* pName, const void* pElements, int count) {
        const PropertyField& field = *pObject->FindProperty(pName)->GetField();
        field.mpAppend(field.mpLocate(pObject), pElements, count);
    };
    pObject->mInts.Insert(1);
    const int numbers[] = {2, 3};
    append("ints", numbers, 2);
    EXPECT_THAT(pObject->mInts, testing::ElementsAre(1, 2, 3));
    append("bools", "\0\x80\x01", 3);
    EXPECT_THAT(pObject->mBools, testing::ElementsAre(false, true, true));
    append("Colors", "\1\2\3\4", 1);
    EXPECT_EQ(pObject->mColors.GetAt(0), Color(1, 2, 3, 4));
    EXPECT_EQ(pObject->FindProperty("Strings")->GetField()->mpAppend, nullptr);
    EXPECT_EQ(pObject->FindProperty("Objects")->GetField()->mpAppend, nullptr);
}

TEST_F(PropertyTest, OnlyAPropertyThatIsNothingButAMemberHasAField)
{
    const Ptr<Odd> pOdd = Odd::Construct(Value::Null);
    for (const char* const pName : {"Number", "ReadOnlyNumber", "Small", "Any", "Smalls", "LIMIT"}) {
        EXPECT_EQ(pOdd->FindProperty(pName)->GetField(), nullptr) << pName;
    }
    EXPECT_EQ(pOdd->AddPropertyValue("Dynamic", Value::TYPE_INT)->GetField(), nullptr);
    EXPECT_EQ(pOdd->AddPropertyArray("DynamicArray", Value::TYPE_INT)->GetField(), nullptr);
}

TEST_F(PropertyTest, AFieldFindsObjectsThatDoNotBeginWithTheirObjectPart)
{
    const Ptr<Odd> pOdd = Odd::Construct(Value::Null);
    const Ptr<Odd> pOther = Odd::Construct(Value::Null);
    pOdd->mFriend = pOther;
    pOdd->mFriends.Insert(nullptr);
    pOdd->mFriends.Insert(pOther);
    const PropertyField& single = *pOdd->FindProperty("Friend")->GetField();
    EXPECT_EQ(single.mpGetObject(single.mpLocate(pOdd)), static_cast<Object*>(pOther));
    const PropertyField& array = *pOdd->FindProperty("Friends")->GetField();
    int size = 0;
    const char* const pElements = static_cast<const char*>(array.mpGetElements(array.mpLocate(pOdd), size));
    EXPECT_EQ(array.mpGetObject(pElements), nullptr);
    EXPECT_EQ(array.mpGetObject(pElements + array.mElementSize), static_cast<Object*>(pOther));
}
