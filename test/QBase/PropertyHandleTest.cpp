#include "QBase/PropertyHandle.h"

#include "Support/Specimen.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace QBase;

TEST(PropertyHandleTest, OnlyAHandleWithObjectAndPropertyIsValid)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    Property* const pInt = pSpecimen->FindProperty("Int");
    EXPECT_TRUE(PropertyHandle(pSpecimen, pInt).IsValid());
    EXPECT_FALSE(PropertyHandle(nullptr, pInt).IsValid());
    EXPECT_FALSE(PropertyHandle(pSpecimen, nullptr).IsValid());
    EXPECT_FALSE(PropertyHandle(nullptr, nullptr).IsValid());
    EXPECT_TRUE(pSpecimen->GetPropertyHandle("Int").IsValid());
    EXPECT_FALSE(pSpecimen->GetPropertyHandle("Nowhere").IsValid());
}

TEST(PropertyHandleTest, AHandleHoldsNothing)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    Property* const pInt = pSpecimen->FindProperty("Int");
    const int count = pInt->GetReferenceCount();
    const PropertyHandle handle(pSpecimen, pInt);
    EXPECT_EQ(pSpecimen->GetReferenceCount(), 1);
    EXPECT_EQ(pInt->GetReferenceCount(), count);
    EXPECT_EQ(handle.GetOwner(), static_cast<Object*>(pSpecimen));
    EXPECT_EQ(handle.GetProperty(), pInt);
}

TEST(PropertyHandleTest, AHandleIsTheObjectAndThenTheProperty)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    const PropertyHandle handle = pSpecimen->GetPropertyHandle("Int");
    void* fields[2] = {};
    static_assert(sizeof(fields) == sizeof(handle));
    std::memcpy(fields, &handle, sizeof(fields));
    EXPECT_EQ(fields[0], static_cast<Object*>(pSpecimen));
    EXPECT_EQ(fields[1], pSpecimen->FindProperty("Int"));
}

TEST(PropertyHandleTest, EveryOperationReachesTheProperty)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    PropertyHandle single = pSpecimen->GetPropertyHandle("Int");
    single.Set(4);
    EXPECT_EQ(single.Get().Get<int>(), 4);
    EXPECT_FALSE(single.IsArray());
    EXPECT_EQ(single.GetType(), Value::TYPE_INT);

    PropertyHandle array = pSpecimen->GetPropertyHandle("Ints");
    EXPECT_TRUE(array.IsArray());
    array.Insert(1);
    array.Insert(3);
    array.InsertAt(1, 2);
    array.SetAt(0, 5);
    EXPECT_EQ(array.GetSize(), 3);
    EXPECT_EQ(array.Find(3), 2);
    EXPECT_EQ(array.GetAt(0).Get<int>(), 5);
    array.Remove(2);
    array.RemoveAt(0);
    EXPECT_EQ(array.GetSize(), 1);
    array.Clear();
    EXPECT_EQ(array.GetSize(), 0);
}
