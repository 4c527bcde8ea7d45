#include "QBase/ObjectNumbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

using namespace QBase;

namespace
{

// Nobody looks behind these addresses.
std::vector<Object*> ObjectsEvery(std::uintptr_t distance, int count)
{
    std::vector<Object*> objects;
    for (int i = 0; i < count; ++i) {
        objects.push_back(reinterpret_cast<Object*>(std::uintptr_t{0x10010} + distance * unsigned(i)));
    }
    return objects;
}

void ExpectNumbersInOrder(const std::vector<Object*>& objects)
{
    ObjectNumbers numbers;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        ASSERT_EQ(numbers.FindOrAdd(objects[i]), static_cast<int>(i));
        ASSERT_EQ(numbers.GetSize(), static_cast<int>(i) + 1);
    }
    for (std::size_t i = 0; i < objects.size(); ++i) {
        ASSERT_EQ(numbers.FindOrAdd(objects[i]), static_cast<int>(i));
        ASSERT_EQ(numbers.GetAt(static_cast<int>(i)), objects[i]);
    }
    EXPECT_EQ(numbers.GetObjects(), objects);
}

} // namespace

TEST(ObjectNumbersTest, ObjectsAreNumberedInTheOrderInWhichTheyCome)
{
    for (const std::uintptr_t distance : {16, 32, 48, 208, 4096, 65536}) {
        SCOPED_TRACE(distance);
        ExpectNumbersInOrder(ObjectsEvery(distance, 10000));
    }
}

TEST(ObjectNumbersTest, TheOrderOfTheAddressesDoesNotMatter)
{
    std::vector<Object*> objects = ObjectsEvery(64, 10000);
    std::mt19937 random(1);
    std::shuffle(objects.begin(), objects.end(), random);
    ExpectNumbersInOrder(objects);
}

TEST(ObjectNumbersTest, ObjectsWhoseAddressesDifferInTheUppermostBitsAloneAreToldApart)
{
    if constexpr (sizeof(void*) > 4) {
        ExpectNumbersInOrder(ObjectsEvery(std::uintptr_t{1} << (sizeof(void*) * 4 + 4), 1000));
    }
}
