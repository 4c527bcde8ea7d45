#include "ByteWalk.h"

#include "Text.h"

using namespace QBase;

namespace Quirl
{

namespace
{

const unsigned char* GetBytes(std::string_view bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

} // namespace

// Lets the library's reader of values ask the walk about texts and objects. Their meaning stands here, since
// no Value holds them.
struct WalkReferences
{
    bool ReadText(ByteReader&, Value&)
    {
        mMeaning = mWalk.TakeText();
        return true;
    }

    bool ReadObject(ByteReader&, Value&)
    {
        mMeaning = mWalk.TakeObject();
        return true;
    }

    ByteWalk& mWalk;
    std::string mMeaning;
};

ByteWalk::ByteWalk(std::string_view bytes, const std::function<void(const Note&)>& take)
    : mBytes(bytes), mTake(take), mReader(GetBytes(bytes), bytes.size())
{}

Ending ByteWalk::Run()
{
    try {
        Walk();
    } catch (const Stopped& stopped) {
        return {mSaid, stopped.mReason};
    }
    return {mSaid, {}};
}

int ByteWalk::TakeInt()
{
    int number = 0;
    if (!mReader.ReadInt(number)) {
        Stop("a number of 4 bytes is cut off");
    }
    return number;
}

unsigned ByteWalk::TakeShort()
{
    const unsigned char* const p = mReader.Take(2);
    if (p == nullptr) {
        Stop("a number of 2 bytes is cut off");
    }
    return p[0] | static_cast<unsigned>(p[1]) << 8;
}

int ByteWalk::TakeByte()
{
    unsigned char byte = 0;
    if (!mReader.ReadByte(byte)) {
        Stop("a byte is missing");
    }
    return byte;
}

std::string_view ByteWalk::TakeBytes(std::size_t size)
{
    const unsigned char* const p = mReader.Take(size);
    if (p == nullptr) {
        Stop(std::to_string(size - mReader.GetRemaining()) + " bytes are missing");
    }
    return {reinterpret_cast<const char*>(p), size};
}

int ByteWalk::TakeCount(std::size_t size, const char* pWhat)
{
    int count = 0;
    if (mReader.ReadCount(count, size)) {
        return count;
    }
    if (!mReader.ReadInt(count)) {
        Stop(std::string("the ") + pWhat + " is cut off");
    }
    Stop(std::string("the ") + pWhat + " " + std::to_string(count) + " is more than the " +
         std::to_string(mReader.GetRemaining()) + " bytes left can hold");
}

std::string ByteWalk::TakeValue(Value::Type type)
{
    WalkReferences references{*this, {}};
    Value value;
    if (!ValueBytes::Read(mReader, type, value, references)) {
        Stop(std::string("a value of type ") + GetTypeName(type) + " is cut off");
    }
    return value.IsVoid() ? references.mMeaning : ToText(value, nullptr);
}

Value::Type ByteWalk::CheckType(int type, bool bVoid, bool bValue) const
{
    if (ValueBytes::IsStorable(type) || (bVoid && type == Value::TYPE_VOID) ||
        (bValue && type == Value::TYPE_VALUE)) {
        return static_cast<Value::Type>(type);
    }
    Stop("there is no type " + std::to_string(type));
}

void ByteWalk::Say(const std::string& meaning)
{
    const std::size_t position = mBase + mReader.GetPosition();
    mTake({mSaid, position - mSaid, mDepth, meaning});
    mSaid = position;
}

void ByteWalk::Stop(const std::string& reason) const
{
    throw Stopped{reason};
}

void ByteWalk::Narrow(std::size_t size)
{
    mBase += mReader.GetPosition();
    mReader = ByteReader(GetBytes(mBytes) + mBase, size);
}

void ByteWalk::Widen()
{
    mBase += mReader.GetPosition();
    mReader = ByteReader(GetBytes(mBytes) + mBase, mBytes.size() - mBase);
}

} // namespace Quirl
