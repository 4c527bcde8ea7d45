#include "QBase/IOStream.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Memory.h"

#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

using namespace QBase;
using ::testing::EndsWith;
using ::testing::StartsWith;

namespace
{

Ptr<IOStream> MakeStream()
{
    return IOStream::Construct(Value::Null);
}

// The bytes allocated for buffers since it was made.
class CapacityCount
{
public:
    std::int64_t Get() const { return Memory::GetBytesAllocated(ALLOC_UNKNOWN) - mBytes; }

private:
    std::int64_t mBytes = Memory::GetBytesAllocated(ALLOC_UNKNOWN);
};

std::string Take(IOStream* pStream, int count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    EXPECT_EQ(pStream->Read(bytes.data(), count), count);
    return bytes;
}

void Put(IOStream* pStream, const std::string& bytes)
{
    EXPECT_EQ(pStream->Write(bytes.data(), static_cast<int>(bytes.size())), static_cast<int>(bytes.size()));
}

} // namespace

TEST(IOStreamTest, AFreshStreamIsEmptyWithACapacityOf8192)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();

    EXPECT_EQ(IOStream::ClassTable()->GetBaseClass(), Stream::ClassTable());
    EXPECT_EQ(pStream->BytesAvailable(), 0);
    EXPECT_EQ(capacity.Get(), 8192);
    pStream = nullptr;
    EXPECT_EQ(capacity.Get(), 0);
}

TEST(IOStreamTest, TheValueItIsConstructedFromDoesNotMatter)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = IOStream::Construct(Value(100000));

    EXPECT_EQ(capacity.Get(), 8192);
}

TEST(IOStreamTest, WritingOneByteTooMuchAdds1024)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();

    Put(pStream, std::string(8192, 'x'));
    EXPECT_EQ(capacity.Get(), 8192);
    Put(pStream, "x");
    EXPECT_EQ(capacity.Get(), 9216);
    EXPECT_EQ(pStream->BytesAvailable(), 8193);
}

TEST(IOStreamTest, WritingMuchMoreGrowsToExactlyThat)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();

    Put(pStream, std::string(10000, 'x'));

    EXPECT_EQ(capacity.Get(), 10000);
}

TEST(IOStreamTest, AShortfallOf1024AndMoreIsTakenAsItIs)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();

    Put(pStream, std::string(8192 + 1023, 'x'));
    EXPECT_EQ(capacity.Get(), 9216);
    Put(pStream, std::string(1 + 1025, 'x'));
    EXPECT_EQ(capacity.Get(), 10241);
}

TEST(IOStreamTest, BytesComeOutInTheOrderTheyWentIn)
{
    Ptr<IOStream> pStream = MakeStream();

    Put(pStream, "abc");
    Put(pStream, "defg");

    EXPECT_EQ(pStream->BytesAvailable(), 7);
    EXPECT_EQ(Take(pStream, 4), "abcd");
    EXPECT_EQ(Take(pStream, 3), "efg");
    EXPECT_EQ(pStream->BytesAvailable(), 0);
}

TEST(IOStreamTest, ReadingOneByteTooManyTakesNothing)
{
    CapturedMessages messages;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, "abc");
    char bytes[4] = {};

    EXPECT_EQ(pStream->Read(bytes, 4), 0);

    const std::string message = messages.TakeError();
    EXPECT_THAT(message, StartsWith("ERROR: IOStream (line "));
    EXPECT_THAT(message, EndsWith("Failed to read from IOStream - out of bounds trying to read 4/3 bytes"));
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(pStream->BytesAvailable(), 3);
    Put(pStream, "d");
    EXPECT_EQ(Take(pStream, 4), "abcd");
}

TEST(IOStreamTest, CountsOfZeroDoNothing)
{
    Ptr<IOStream> pStream = MakeStream();
    void* pData = nullptr;

    EXPECT_EQ(pStream->Read(static_cast<void*>(nullptr), 0), 0);
    EXPECT_EQ(pStream->Write(nullptr, 0), 0);
    EXPECT_EQ(pStream->Read(&pData, 0), 0);
    EXPECT_NE(pData, nullptr);
    EXPECT_EQ(pStream->BytesAvailable(), 0);
}

TEST(IOStreamTest, WrongCountsReadNothing)
{
    CapturedMessages messages;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, "abc");
    char byte = 'x';
    void* pData = &byte;

    EXPECT_EQ(pStream->Read(&byte, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds trying to read -1/3 bytes"));
    EXPECT_EQ(pStream->Read(&byte, INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds trying to read -2147483648/3 bytes"));
    EXPECT_EQ(pStream->Read(&byte, INT_MAX), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds trying to read 2147483647/3 bytes"));
    EXPECT_EQ(pStream->Read(&pData, -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("out of bounds trying to read -1/3 bytes"));
    EXPECT_EQ(pData, nullptr);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(Take(pStream, 3), "abc");
}

TEST(IOStreamTest, WrongCountsWriteNothing)
{
    CapturedMessages messages;
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, "abc");

    EXPECT_EQ(pStream->Write("x", -1), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to IOStream - invalid count -1"));
    EXPECT_EQ(pStream->Write("x", INT_MIN), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to IOStream - invalid count -2147483648"));
    EXPECT_EQ(pStream->Write("x", INT_MAX), 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to IOStream - invalid count 2147483647"));
    EXPECT_EQ(capacity.Get(), 8192);
    EXPECT_EQ(Take(pStream, 3), "abc");
}

TEST(IOStreamTest, AWriteWithoutMemoryLosesNothing)
{
    CapturedMessages messages;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, "abc");
    const std::string bytes(20000, 'x');

    CapturedConsole console; // where the allocator speaks
    Memory::SetFailureHook([](unsigned size, AllocType) { return size == 20003; });
    const int numWritten = pStream->Write(bytes.data(), 20000);
    Memory::SetFailureHook(nullptr);
    console.TakeErrors();

    EXPECT_EQ(numWritten, 0);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to write to IOStream - out of memory"));
    Put(pStream, "def");
    EXPECT_EQ(Take(pStream, 6), "abcdef");
}

TEST(IOStreamTest, AStreamMadeWithoutMemoryTriesAgainAtTheFirstWrite)
{
    CapturedConsole console; // where the allocator speaks
    Memory::SetFailureHook([](unsigned size, AllocType) { return size == 8192; });
    Ptr<IOStream> pStream = MakeStream();
    Memory::SetFailureHook(nullptr);
    console.TakeErrors();

    EXPECT_EQ(pStream->BytesAvailable(), 0);
    Put(pStream, "abc");
    EXPECT_EQ(Take(pStream, 3), "abc");
}

TEST(IOStreamTest, ReadingInPlacePointsIntoTheStream)
{
    CapturedMessages messages;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, "abcdef");
    void* pFirst = nullptr;
    void* pSecond = nullptr;

    EXPECT_EQ(pStream->Read(&pFirst, 2), 2);
    EXPECT_EQ(pStream->Read(&pSecond, 3), 3);

    EXPECT_EQ(std::memcmp(pFirst, "ab", 2), 0);
    EXPECT_EQ(std::memcmp(pSecond, "cde", 3), 0);
    EXPECT_EQ(static_cast<char*>(pFirst) + 2, pSecond);
    EXPECT_EQ(pStream->Read(&pFirst, 2), 0);
    EXPECT_EQ(pFirst, nullptr);
    EXPECT_THAT(messages.TakeError(),
                EndsWith("Failed to read from IOStream - out of bounds trying to read 2/1 bytes"));
    EXPECT_EQ(pStream->BytesAvailable(), 1);
}

TEST(IOStreamTest, ReadingInPlaceTakesPointersOfEveryType)
{
    Ptr<IOStream> pStream = MakeStream();
    const std::uint32_t number = 7;
    Put(pStream, "abcd");
    pStream->Write(&number, 4);
    char* pText = nullptr;
    const std::uint32_t* pNumber = nullptr;

    EXPECT_EQ(pStream->Read(&pText, 4), 4);
    EXPECT_EQ(pStream->Read(&pNumber, 4), 4);

    EXPECT_EQ(std::string(pText, 4), "abcd");
    EXPECT_EQ(*pNumber, 7u);
}

TEST(IOStreamTest, SpaceThatWasReadIsUsedAgain)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();
    std::string expected;

    for (int i = 0; i < 100; ++i) {
        Put(pStream, std::string(3000, static_cast<char>('a' + i % 26)) + std::to_string(1000 + i));
        EXPECT_EQ(Take(pStream, 3004),
                  std::string(3000, static_cast<char>('a' + i % 26)) + std::to_string(1000 + i));
    }

    EXPECT_EQ(capacity.Get(), 8192);
}

TEST(IOStreamTest, CapacityIsThatOfAStreamWhoseUnreadBytesMoveToTheFrontOnEachWrite)
{
    const CapacityCount capacity;
    Ptr<IOStream> pStream = MakeStream();
    Put(pStream, std::string(8192, 'x'));
    Take(pStream, 192);

    Put(pStream, std::string(192, 'y'));
    EXPECT_EQ(capacity.Get(), 8192);
    EXPECT_EQ(pStream->BytesAvailable(), 8192);
    Put(pStream, "z");
    EXPECT_EQ(capacity.Get(), 9216);
    EXPECT_EQ(Take(pStream, 8193), std::string(8000, 'x') + std::string(192, 'y') + "z");
}

TEST(IOStreamTest, MixedTrafficKeepsOrderAndCapacity)
{
    const CapacityCount count;
    Ptr<IOStream> pStream = MakeStream();
    std::deque<char> model;
    std::int64_t capacity = 8192;
    std::uint32_t random = 1;
    const auto next = [&](std::uint32_t limit) {
        random = random * 1664525u + 1013904223u;
        return static_cast<int>((random >> 8) % limit);
    };

    for (int round = 0; round < 4000; ++round) {
        const int numWritten = next(round % 1000 < 500 ? 3000 : 1000);
        std::string bytes(static_cast<std::size_t>(numWritten), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(next(256));
        }
        Put(pStream, bytes);
        model.insert(model.end(), bytes.begin(), bytes.end());
        const std::int64_t needed = static_cast<std::int64_t>(model.size());
        if (needed > capacity) {
            capacity += needed - capacity < 1024 ? 1024 : needed - capacity;
        }
        ASSERT_EQ(count.Get(), capacity);

        const int numRead = std::min(next(2500), static_cast<int>(model.size()));
        const std::string expected(model.begin(), model.begin() + numRead);
        model.erase(model.begin(), model.begin() + numRead);
        if (round % 2 == 0) {
            ASSERT_EQ(Take(pStream, numRead), expected);
        } else {
            const char* pBytes = nullptr;
            ASSERT_EQ(pStream->Read(&pBytes, numRead), numRead);
            ASSERT_EQ(std::string(pBytes, static_cast<std::size_t>(numRead)), expected);
        }
        ASSERT_EQ(pStream->BytesAvailable(), static_cast<int>(model.size()));
    }
}

TEST(IOStreamTest, ManySmallWritesCostLinearTime)
{
    Ptr<IOStream> pStream = MakeStream();
    constexpr int numWrites = (64 << 20) / 4;

    for (int i = 0; i < numWrites; ++i) {
        if (pStream->Write(&i, 4) != 4) {
            FAIL() << "at write " << i;
        }
    }

    EXPECT_EQ(pStream->BytesAvailable(), 64 << 20);
}

TEST(IOStreamTest, TrafficBehindALongBacklogCostsLinearTime)
{
    // One byte short of full, full, and with room: a move of the backlog for each write would take 16 MiB
    // a million times over.
    for (int spare : {0, 1, 4096}) {
        const CapacityCount capacity;
        Ptr<IOStream> pStream = MakeStream();
        const std::vector<char> backlog(16 << 20, 'x');
        pStream->Write(backlog.data(), static_cast<int>(backlog.size()));
        int taken = 0;
        pStream->Read(&taken, spare == 0 ? 0 : 4);
        std::vector<char> freed(static_cast<std::size_t>(spare));
        pStream->Read(freed.data(), spare);
        const int numBytes = pStream->BytesAvailable();

        for (int i = 0; i < 1000000; ++i) {
            if (pStream->Read(&taken, 4) != 4 || pStream->Write(&i, 4) != 4) {
                FAIL() << "at round " << i;
            }
        }

        EXPECT_EQ(pStream->BytesAvailable(), numBytes);
        EXPECT_EQ(capacity.Get(), 16 << 20);
    }
}

TEST(IOStreamTest, AGrowingBacklogCostsLinearTime)
{
    Ptr<IOStream> pStream = MakeStream();
    const std::vector<char> backlog(16 << 20, 'x');
    pStream->Write(backlog.data(), static_cast<int>(backlog.size()));
    char bytes[2048] = {};

    for (int i = 0; i < 30000; ++i) {
        pStream->Read(bytes, 1024);
        pStream->Write(bytes, 2048);
    }

    EXPECT_EQ(pStream->BytesAvailable(), (16 << 20) + 30000 * 1024);
}

TEST(IOStreamTest, ACloneIsFreshAndEmpty)
{
    for (bool bSourceFirst : {true, false}) {
        const CapacityCount capacity;
        IOStream* pSource = IOStream::Construct(Value::Null);
        Put(pSource, std::string(10000, 'x'));

        IOStream* pClone = pSource->Clone();

        EXPECT_EQ(pClone->BytesAvailable(), 0);
        EXPECT_EQ(capacity.Get(), 10000 + 8192);
        delete (bSourceFirst ? pSource : pClone);
        IOStream* pLeft = bSourceFirst ? pClone : pSource;
        Put(pLeft, "abc");
        EXPECT_EQ(pLeft->BytesAvailable(), bSourceFirst ? 3 : 10003);
        delete pLeft;
        EXPECT_EQ(capacity.Get(), 0);
    }
}

TEST(IOStreamTest, AssignmentMovesNoBytes)
{
    struct OnStack : IOStream
    {
        OnStack() : IOStream(Value::Null) {}
    };
    OnStack source;
    OnStack target;
    Put(&source, "abc");
    Put(&target, "0123");
    source.Access();

    target = source;

    EXPECT_EQ(target.GetReferenceCount(), 0);
    EXPECT_EQ(source.GetReferenceCount(), 1);
    EXPECT_EQ(Take(&source, 3), "abc");
    EXPECT_EQ(Take(&target, 4), "0123");
}
