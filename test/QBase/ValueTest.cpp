#include "QBase/Value.h"

#include "QBase/List.h"

#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

using namespace QBase;

namespace
{

enum Plain
{
    PLAIN_SEVEN = 7
};

enum class Scoped : unsigned char
{
    NINE = 9
};

int TypeOf(const Value& value)
{
    return value.GetType();
}

Value ReturnPtr(const Ptr<List>& pList)
{
    return pList;
}

constexpr float INFINITE = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr int INT_LARGEST = std::numeric_limits<int>::max();
constexpr int INT_SMALLEST = std::numeric_limits<int>::min();

// One value of each of the sixteen codes that a value can hold.
std::vector<Value> OneOfEach(Object* pObject)
{
    return {Value(),
            Value(3),
            Value(2.5f),
            Value(true),
            Value("text"),
            Value(pObject),
            Value(Vector2(1.0f, 2.0f)),
            Value(Vector3(1.0f, 2.0f, 3.0f)),
            Value(Vector4(1.0f, 2.0f, 3.0f, 4.0f)),
            Value(Vector2i(1, 2)),
            Value(Vector3i(1, 2, 3)),
            Value(Vector4i(1, 2, 3, 4)),
            Value(Color(1, 2, 3, 4)),
            Value(PLAIN_SEVEN),
            Value(Quaternion(1.0f, 2.0f, 3.0f, 4.0f))};
}

bool IsNumber(const Value& value)
{
    return value.GetType() == Value::TYPE_INT || value.GetType() == Value::TYPE_FLOAT ||
           value.GetType() == Value::TYPE_BOOL || value.GetType() == Value::TYPE_ENUM;
}

// What a value that is neither a T nor a number answers.
template <typename T>
void ExpectNeutralForOtherTypes(const std::vector<Value>& values, Value::Type own, const T& neutral)
{
    for (const Value& value : values) {
        if (value.GetType() != own) {
            EXPECT_TRUE(value.Get<T>() == neutral) << "from type " << value.GetType();
        }
    }
}

} // namespace

TEST(ValueTest, TheTypeCodesAreThoseOfTheFiles)
{
    EXPECT_EQ(Value::TYPE_VOID, 0);
    EXPECT_EQ(Value::TYPE_INT, 1);
    EXPECT_EQ(Value::TYPE_FLOAT, 2);
    EXPECT_EQ(Value::TYPE_BOOL, 3);
    EXPECT_EQ(Value::TYPE_STRING, 4);
    EXPECT_EQ(Value::TYPE_OBJECT, 5);
    EXPECT_EQ(Value::TYPE_VECTOR2, 6);
    EXPECT_EQ(Value::TYPE_VECTOR3, 7);
    EXPECT_EQ(Value::TYPE_VECTOR4, 8);
    EXPECT_EQ(Value::TYPE_VECTOR2I, 9);
    EXPECT_EQ(Value::TYPE_VECTOR3I, 10);
    EXPECT_EQ(Value::TYPE_VECTOR4I, 11);
    EXPECT_EQ(Value::TYPE_COLOR, 12);
    EXPECT_EQ(Value::TYPE_VALUE, 13);
    EXPECT_EQ(Value::TYPE_ENUM, 14);
    EXPECT_EQ(Value::TYPE_QUATERNION, 15);
    static_assert(sizeof(Value::Type) == 4 && std::is_signed_v<std::underlying_type_t<Value::Type>>);
}

TEST(ValueTest, ADefaultValueAndNullAreVoid)
{
    EXPECT_EQ(TypeOf(Value()), 0);
    EXPECT_EQ(TypeOf(Value::Null), 0);
    EXPECT_TRUE(Value::Null.IsVoid());
    EXPECT_TRUE(Value() == Value::Null);
}

TEST(ValueTest, EveryPayloadTypeConstructsItsOwnCode)
{
    Ptr<List> pList = List::Construct(Value::Null);
    std::vector<int> codes;
    for (const Value& value : OneOfEach(pList)) {
        codes.push_back(value.GetType());
    }
    EXPECT_THAT(codes, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15));
}

TEST(ValueTest, TheTypeCodeStandsBehindTheSixteenBytesOfThePayload)
{
    static_assert(Value::PAYLOAD_SIZE == 16 && std::is_standard_layout_v<Value>);
    Ptr<List> pList = List::Construct(Value::Null);
    for (const Value& value : OneOfEach(pList)) {
        EXPECT_EQ(static_cast<const void*>(ValueBits::GetPayload(value)), static_cast<const void*>(&value));
        std::int32_t code = -1;
        std::memcpy(&code, ValueBits::GetPayload(value) + 16, sizeof(code));
        EXPECT_EQ(code, value.GetType());
    }
}

TEST(ValueTest, PayloadsFillTheFirstBytesAndTheRestIsZero)
{
    const struct
    {
        Value mValue;
        unsigned char mBytes[16];
    } expected[] = {
        {Value(), {}},
        {Value(0x04030201), {1, 2, 3, 4}},
        {Value(1.0f), {0x00, 0x00, 0x80, 0x3F}},
        {Value(true), {1}},
        {Value(Vector2(1.0f, 2.0f)), {0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40}},
        {Value(Vector3(1.0f, 0.0f, 2.0f)), {0x00, 0x00, 0x80, 0x3F, 0, 0, 0, 0, 0x00, 0x00, 0x00, 0x40}},
        {Value(Vector4(0.0f, 0.0f, 0.0f, 1.0f)),
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0x80, 0x3F}},
        {Value(Vector2i(1, -1)), {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {Value(Vector3i(1, 2, 3)), {1, 0, 0, 0, 2, 0, 0, 0, 3}},
        {Value(Vector4i(1, 2, 3, 4)), {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4}},
        {Value(Color(1, 2, 3, 4)), {1, 2, 3, 4}},
        {Value(PLAIN_SEVEN), {7}},
        {Value(Quaternion(1.0f, 0.0f, 0.0f, 2.0f)),
         {0x00, 0x00, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0x00, 0x40}},
    };
    for (const auto& each : expected) {
        EXPECT_EQ(std::memcmp(ValueBits::GetPayload(each.mValue), each.mBytes, 16), 0)
            << "type " << each.mValue.GetType();
    }
}

TEST(ValueTest, NumbersOfAnyWidthBecomeTheNearestIntOrFloat)
{
    EXPECT_TRUE(Value(4u) == Value(4));
    EXPECT_TRUE(Value(-4L) == Value(-4));
    EXPECT_TRUE(Value(4uL) == Value(4));
    EXPECT_TRUE(Value(-4LL) == Value(-4));
    EXPECT_TRUE(Value(4uLL) == Value(4));
    EXPECT_TRUE(Value(static_cast<short>(-4)) == Value(-4));
    EXPECT_TRUE(Value('A') == Value(65));
    EXPECT_TRUE(Value(0.5) == Value(0.5f));

    EXPECT_TRUE(Value(4000000000u) == Value(INT_LARGEST));
    EXPECT_TRUE(Value(1LL << 40) == Value(INT_LARGEST));
    EXPECT_TRUE(Value(-(1LL << 40)) == Value(INT_SMALLEST));
    EXPECT_TRUE(Value(~0uLL) == Value(INT_LARGEST));
    EXPECT_TRUE(Value(1e300) == Value(std::numeric_limits<float>::max()));
    EXPECT_TRUE(Value(-1e300) == Value(-std::numeric_limits<float>::max()));
    EXPECT_TRUE(Value(static_cast<double>(INFINITE)) == Value(INFINITE));
    EXPECT_TRUE(Value(static_cast<double>(-INFINITE)) == Value(-INFINITE));
    EXPECT_TRUE(std::isnan(Value(std::nan("")).Get<float>()));
}

TEST(ValueTest, EnumeratorsOfEveryKindBecomeEnum)
{
    EXPECT_EQ(TypeOf(Value(PLAIN_SEVEN)), Value::TYPE_ENUM);
    EXPECT_EQ(TypeOf(Value(Scoped::NINE)), Value::TYPE_ENUM);
    EXPECT_EQ(Value(PLAIN_SEVEN).Get<int>(), 7);
    EXPECT_EQ(Value(Scoped::NINE).Get<Scoped>(), Scoped::NINE);
}

TEST(ValueTest, ATypeCodeIsAnEnumeratorLikeAnyOther)
{
    const Value value(Value::TYPE_STRING);
    EXPECT_EQ(TypeOf(value), Value::TYPE_ENUM);
    EXPECT_EQ(value.Get<int>(), 4);
    EXPECT_EQ(TypeOf(ValueTraits<Value::Type>::Make(Value::TYPE_OBJECT)), Value::TYPE_ENUM);
}

TEST(ValueTest, EveryWayFromAPtrToAValueIsAnObject)
{
    Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<List> pConstant = pList;
    const Value direct(pList);
    const Value braced{pList};
    const Value copied = pList;
    const Value fromConstant = pConstant;
    const Value cast = static_cast<Value>(pList);
    const Value moved = ReturnPtr(pList);
    Value assigned;
    assigned = pList;
    const Value conditional = pList ? Value(pList) : Value();
    const Value* const all[] = {&direct, &braced, &copied,   &fromConstant,
                                &cast,   &moved,  &assigned, &conditional};
    for (const Value* const pValue : all) {
        EXPECT_EQ(pValue->GetType(), Value::TYPE_OBJECT);
        EXPECT_EQ(pValue->AsObject(), static_cast<Object*>(pList));
    }
    EXPECT_EQ(TypeOf(pList), Value::TYPE_OBJECT);
    EXPECT_EQ(pList->GetReferenceCount(), 10);
}

TEST(ValueTest, RawPointersToDerivedClassesAreObjects)
{
    Ptr<List> pList = List::Construct(Value::Null);
    List* const pRaw = pList;
    EXPECT_EQ(Value(pRaw).AsObject(), pRaw);
    EXPECT_EQ(TypeOf(pRaw), Value::TYPE_OBJECT);
}

TEST(ValueTest, NullPointersKeepTheTypeObject)
{
    Object* const pNoObject = nullptr;
    List* const pNoList = nullptr;
    EXPECT_EQ(TypeOf(Value(nullptr)), Value::TYPE_OBJECT);
    EXPECT_EQ(TypeOf(Value(pNoObject)), Value::TYPE_OBJECT);
    EXPECT_EQ(TypeOf(Value(pNoList)), Value::TYPE_OBJECT);
    EXPECT_EQ(TypeOf(Value(Ptr<List>())), Value::TYPE_OBJECT);
    EXPECT_EQ(Value(nullptr).AsObject(), nullptr);
}

TEST(ValueTest, PointersToAnythingElseDoNotCompile)
{
    static_assert(!std::is_constructible_v<Value, const Object*>);
    static_assert(!std::is_constructible_v<Value, const List*>);
    static_assert(!std::is_constructible_v<Value, int*>);
    static_assert(!std::is_constructible_v<Value, void*>);
    static_assert(!std::is_constructible_v<Value, const wchar_t*>);
    static_assert(!std::is_constructible_v<Value, Value*>);
    static_assert(!std::is_constructible_v<Value, void (*)()>);
    static_assert(std::is_constructible_v<Value, char*> && std::is_constructible_v<Value, const char*>);
}

TEST(ValueTest, ANullTextIsAnEmptyString)
{
    const char* const pNoText = nullptr;
    EXPECT_EQ(TypeOf(Value(pNoText)), Value::TYPE_STRING);
    EXPECT_TRUE(Value(pNoText).AsString().empty());
}

TEST(ValueTest, NumbersConvertAmongEachOther)
{
    EXPECT_EQ(Value(2.9f).Get<int>(), 2);
    EXPECT_EQ(Value(-2.9f).Get<int>(), -2);
    EXPECT_EQ(Value(true).Get<int>(), 1);
    EXPECT_EQ(Value(PLAIN_SEVEN).Get<int>(), 7);
    EXPECT_EQ(Value(3).Get<float>(), 3.0f);
    EXPECT_EQ(Value(true).Get<float>(), 1.0f);
    EXPECT_EQ(Value(PLAIN_SEVEN).Get<float>(), 7.0f);
    EXPECT_TRUE(Value(-1).Get<bool>());
    EXPECT_FALSE(Value(0).Get<bool>());
    EXPECT_TRUE(Value(0.1f).Get<bool>());
    EXPECT_TRUE(Value(PLAIN_SEVEN).Get<bool>());
    EXPECT_EQ(Value(7).Get<Plain>(), PLAIN_SEVEN);
    EXPECT_EQ(Value(9.4f).Get<Scoped>(), Scoped::NINE);
}

TEST(ValueTest, FloatsBeyondIntSaturateAndNotANumberIsZero)
{
    EXPECT_EQ(Value(1e20f).Get<int>(), INT_LARGEST);
    EXPECT_EQ(Value(2147483648.0f).Get<int>(), INT_LARGEST);
    EXPECT_EQ(Value(-2147483648.0f).Get<int>(), INT_SMALLEST);
    EXPECT_EQ(Value(-1e20f).Get<int>(), INT_SMALLEST);
    EXPECT_EQ(Value(INFINITE).Get<int>(), INT_LARGEST);
    EXPECT_EQ(Value(-INFINITE).Get<int>(), INT_SMALLEST);
    EXPECT_EQ(Value(NOT_A_NUMBER).Get<int>(), 0);
    EXPECT_FALSE(Value(NOT_A_NUMBER).Get<bool>());
    EXPECT_FALSE(Value(-0.0f).Get<bool>());
}

TEST(ValueTest, EveryOtherMismatchAnswersTheNeutralValue)
{
    Ptr<List> pList = List::Construct(Value::Null);
    const std::vector<Value> values = OneOfEach(pList);
    ExpectNeutralForOtherTypes<String>(values, Value::TYPE_STRING, String::Null);
    ExpectNeutralForOtherTypes<Object*>(values, Value::TYPE_OBJECT, nullptr);
    ExpectNeutralForOtherTypes<List*>(values, Value::TYPE_OBJECT, nullptr);
    ExpectNeutralForOtherTypes<Ptr<List>>(values, Value::TYPE_OBJECT, Ptr<List>());
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR2, Vector2(0.0f, 0.0f));
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR3, Vector3(0.0f, 0.0f, 0.0f));
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR4, Vector4(0.0f, 0.0f, 0.0f, 0.0f));
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR2I, Vector2i(0, 0));
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR3I, Vector3i(0, 0, 0));
    ExpectNeutralForOtherTypes(values, Value::TYPE_VECTOR4I, Vector4i(0, 0, 0, 0));
    ExpectNeutralForOtherTypes(values, Value::TYPE_COLOR, Color(0, 0, 0, 0));
    ExpectNeutralForOtherTypes(values, Value::TYPE_QUATERNION, Quaternion(0.0f, 0.0f, 0.0f, 0.0f));
    for (const Value& value : values) {
        if (!IsNumber(value)) {
            EXPECT_EQ(value.Get<int>(), 0) << "from type " << value.GetType();
            EXPECT_EQ(value.Get<float>(), 0.0f) << "from type " << value.GetType();
            EXPECT_FALSE(value.Get<bool>()) << "from type " << value.GetType();
        }
    }
}

TEST(ValueTest, PayloadsComeBackAsTheyWere)
{
    Ptr<List> pList = List::Construct(Value::Null);
    EXPECT_EQ(Value(3).Get<int>(), 3);
    EXPECT_EQ(Value(2.5f).Get<float>(), 2.5f);
    EXPECT_TRUE(Value(true).Get<bool>());
    EXPECT_EQ(Value("Io").Get<String>(), String("Io"));
    EXPECT_EQ(Value(pList).Get<List*>(), static_cast<List*>(pList));
    EXPECT_TRUE(Value(Vector3i(1, 2, 3)).Get<Vector3i>() == Vector3i(1, 2, 3));
    EXPECT_TRUE(Value(Quaternion(1.0f, 2.0f, 3.0f, 4.0f)).Get<Quaternion>() ==
                Quaternion(1.0f, 2.0f, 3.0f, 4.0f));
}

TEST(ValueTest, AnObjectOfAnotherClassAnswersNull)
{
    Ptr<List> pList = List::Construct(Value::Null);
    const Value value = pList;
    EXPECT_EQ(value.Get<Table*>(), nullptr);
    EXPECT_EQ(value.Get<Object*>(), static_cast<Object*>(pList));
}

TEST(ValueTest, AColorLiesInMemoryAsRedGreenBlueAlpha)
{
    const Value value(Color(0x11, 0x22, 0x33, 0x44));
    const unsigned char expected[16] = {0x11, 0x22, 0x33, 0x44};
    EXPECT_EQ(std::memcmp(ValueBits::GetPayload(value), expected, sizeof(expected)), 0);
}

TEST(ValueTest, AnyByteButZeroIsATrueBool)
{
    const unsigned char two = 2;
    const Value value = ValueBits::MakePlain(Value::TYPE_BOOL, &two, 1);
    EXPECT_TRUE(value.Get<bool>());
    EXPECT_TRUE(value == Value(true));
}

TEST(ValueTest, ASignallingNotANumberKeepsItsBits)
{
    const std::uint32_t bits = 0x7FA00001u;
    const Value value = ValueBits::MakePlain(Value::TYPE_FLOAT, &bits, sizeof(bits));
    const Value copy = value;
    std::uint32_t read = 0;
    ValueBits::CopyPlain(copy, &read, sizeof(read));
    EXPECT_EQ(read, bits);
}

TEST(ValueTest, ValuesAreEqualWhenTypeAndBitsAreEqual)
{
    EXPECT_TRUE(Value(NOT_A_NUMBER) == Value(NOT_A_NUMBER));
    EXPECT_FALSE(Value(0.0f) == Value(-0.0f));
    EXPECT_FALSE(Value(1) == Value(1.0f));
    EXPECT_FALSE(Value(7) == Value(PLAIN_SEVEN));
    EXPECT_TRUE(Value("Io") == Value(String("Io")));
    EXPECT_FALSE(Value("Io") == Value("io"));
    EXPECT_TRUE(Value(Vector2(1.0f, NOT_A_NUMBER)) == Value(Vector2(1.0f, NOT_A_NUMBER)));
    EXPECT_FALSE(Value(Vector2i(1, 2)) == Value(Vector2i(1, 3)));
    EXPECT_TRUE(Value(1) != Value(2));
    Ptr<List> pFirst = List::Construct(Value::Null);
    Ptr<List> pSecond = List::Construct(Value::Null);
    EXPECT_TRUE(Value(pFirst) == Value(pFirst));
    EXPECT_FALSE(Value(pFirst) == Value(pSecond));
}

TEST(ValueTest, ASmallerPayloadLeavesNothingOfALargerOneBehind)
{
    Value value = Vector4i(1, 2, 3, 4);
    value = 1;
    EXPECT_TRUE(value == Value(1));
}

TEST(ValueTest, CopiesOfAnObjectValueHoldOneReferenceEach)
{
    Ptr<List> pList = List::Construct(Value::Null);
    {
        const Value first = pList;
        EXPECT_EQ(pList->GetReferenceCount(), 2);
        const Value second = first;
        EXPECT_EQ(pList->GetReferenceCount(), 3);
    }
    EXPECT_EQ(pList->GetReferenceCount(), 1);
}

TEST(ValueTest, TheLastValueDestroysItsObject)
{
    int destroyed = 0;
    {
        Specimen* const pSpecimen = Specimen::Make();
        pSpecimen->mOnDestroy = [&](Specimen*) { ++destroyed; };
        Value first = pSpecimen;
        const Value second = first;
        first = 1;
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(ValueTest, AMovedValueLeavesVoidBehind)
{
    Ptr<List> pList = List::Construct(Value::Null);
    Value source = pList;
    const Value target = std::move(source);
    EXPECT_TRUE(source.IsVoid());
    EXPECT_EQ(target.AsObject(), static_cast<Object*>(pList));
    EXPECT_EQ(pList->GetReferenceCount(), 2);
}

TEST(ValueTest, AssigningAValueToItselfKeepsIt)
{
    Value value = List::Construct(Value::Null);
    const Value& same = value;
    value = same;
    EXPECT_EQ(value.AsObject()->GetReferenceCount(), 1);
}

TEST(ValueTest, ADestructorThatReadsTheOverwrittenValueFindsTheNewOne)
{
    Value value;
    int seen = 0;
    Specimen* const pSpecimen = Specimen::Make();
    pSpecimen->mOnDestroy = [&](Specimen*) { seen = value.Get<int>(); };
    value = pSpecimen;
    value = 8;
    EXPECT_EQ(seen, 8);
}

TEST(ValueTest, AValueThatLivesInItsOwnObjectCanBeAssigned)
{
    Value value = Specimen::Make();
    value.Get<Specimen*>()->mAny = "inner";
    value = value.Get<Specimen*>()->mAny;
    EXPECT_EQ(value.AsString(), String("inner"));
}
