// The reflected classes that the benchmarks work on, and graphs of them.

#pragma once

#include "QBase/Array.h"
#include "QBase/Color.h"
#include "QBase/List.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"
#include "QBase/Stream.h"
#include "QBase/String.h"
#include "QBase/Vector3.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bench
{

using QBase::Array;
using QBase::Color;
using QBase::List;
using QBase::Object;
using QBase::Ptr;
using QBase::Stream;
using QBase::String;
using QBase::Value;
using QBase::Vector3;

// --- Twelve properties over three levels of classes, and a function ---

class Vehicle : public Object
{
    QBASE_OBJECT(Vehicle, Object)

protected:
    using Object::Object;

    int mWheels = 4;
    int mSeats = 5;
    float mWeight = 1.5f;
    String mName;
};

class Car : public Vehicle
{
    QBASE_OBJECT(Car, Vehicle)

protected:
    using Vehicle::Vehicle;

    int mDoors = 3;
    int mGears = 6;
    float mPower = 90.0f;
    String mMaker;
};

class Taxi : public Car
{
    QBASE_OBJECT(Taxi, Car)

public:
    int Drive(int distance, float speed) { return mFare += distance + static_cast<int>(speed); }

protected:
    using Car::Car;

    int mFare = 0;
    int mLicence = 17;
    float mRate = 2.5f;
    String mDriver;
};

// --- Trees that are saved and loaded: six scalars, a shared reference and ten children each ---

class Node : public Object
{
    QBASE_OBJECT(Node, Object)

public:
    int mId = 0;
    float mMass = 0.0f;
    bool mbVisible = false;
    String mLabel;
    Vector3 mPlace;
    Color mTint;
    Ptr<Object> mShared;
    Array<Ptr<Object>> mChildren;

protected:
    using Object::Object;
};

/// A tree of that many nodes. Made once per size; do not change it.
Object* GetTree(std::int64_t size);

// --- Lists of objects that are watched for changes, of eight properties each ---

class Body : public Object
{
    QBASE_OBJECT(Body, Object)

public:
    int mNumber = 0;
    int mLayer = 0;
    float mMass = 1.0f;
    bool mbVisible = true;
    String mName;
    Vector3 mPosition;
    Vector3 mVelocity;
    Color mColor;

protected:
    using Object::Object;
};

// Lists of a thousand bodies each, since a packet has 16 bits for an index.
class Bodies
{
public:
    explicit Bodies(std::int64_t count);

    /// Changes one property of each body whose index is a multiple of `step`.
    void Change(std::size_t step);

    Object* GetRoot() const { return mpRoot; }
    Body* GetAt(std::size_t index) const { return mBodies[index]; }
    std::size_t GetSize() const { return mBodies.size(); }

private:
    Ptr<List> mpRoot;
    std::vector<Body*> mBodies; // borrowed from the lists
    int mPass = 0;
};

// --- Streams ---

// Sink counts what it is given: peers that kept their snapshots would measure the memory.
class Sink : public Stream
{
    QBASE_OBJECT(Sink, Stream)

public:
    int Write(const void*, int count) override;
    int Read(void*, int) override { return 0; }
    int BytesAvailable() override { return 0; }

    std::int64_t mNumBytes = 0;

protected:
    using Stream::Stream;
};

} // namespace Bench
