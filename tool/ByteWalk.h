// ByteWalk is what the walks over all forms of bytes have in common: it takes things one after the other and
// hands on a note for each.
//
//     class FrameWalk : public ByteWalk
//     ...
//     const int size = TakeInt();
//     Say("frame of " + std::to_string(size) + " bytes");
//
// Each Take reads on; Say makes a note of all that was taken since the last one. Stop ends the walk with a
// reason, from wherever it is.

#pragma once

#include "Annotation.h"

#include "QBase/Value.h"
#include "QBase/ValueBytes.h"

#include <string>
#include <string_view>

namespace Quirl
{

class ByteWalk
{
public:
    ByteWalk(std::string_view bytes, const std::function<void(const Note&)>& take);
    virtual ~ByteWalk() = default;

    Ending Run();

protected:
    // Ends the walk.
    struct Stopped
    {
        std::string mReason;
    };

    /// The walk itself.
    virtual void Walk() = 0;

    /// How a value of "String" or "Object" stands in these bytes; what it means.
    virtual std::string TakeText() = 0;
    virtual std::string TakeObject() = 0;

    int TakeInt();
    unsigned TakeId() { return static_cast<unsigned>(TakeInt()); }
    unsigned TakeShort();
    int TakeByte();
    std::string_view TakeBytes(std::size_t size);

    /// A count of things that take at least `size` bytes each; `pWhat` names it when there is no room.
    int TakeCount(std::size_t size, const char* pWhat);

    /// What a value of the type means.
    std::string TakeValue(QBase::Value::Type type);

    /// A byte that is the code of a type, and one that is allowed here.
    QBase::Value::Type CheckType(int type, bool bVoid, bool bValue) const;

    void Say(const std::string& meaning);
    [[noreturn]] void Stop(const std::string& reason) const;

    std::size_t GetRemaining() const { return mReader.GetRemaining(); }

    /// Goes on with these bytes alone, and later with those behind.
    void Narrow(std::size_t size);
    void Widen();

    int mDepth = 0;

private:
    friend struct WalkReferences;

    std::string_view mBytes;
    const std::function<void(const Note&)>& mTake;
    QBase::ByteReader mReader;
    std::size_t mBase = 0; // of the reader's bytes
    std::size_t mSaid = 0; // where the next note begins
};

} // namespace Quirl
