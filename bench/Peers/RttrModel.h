// The classes of Model.h as RTTR knows them.

#pragma once

#include "PlainModel.h"

#include <rttr/type>

namespace Bench
{

struct RttrVehicle
{
    virtual ~RttrVehicle() = default;

    int mWheels = 4;
    int mSeats = 5;
    float mWeight = 1.5f;
    std::string mName;

    RTTR_ENABLE()
};

struct RttrCar : RttrVehicle
{
    int mDoors = 3;
    int mGears = 6;
    float mPower = 90.0f;
    std::string mMaker;

    RTTR_ENABLE(RttrVehicle)
};

struct RttrTaxi : RttrCar
{
    int Drive(int distance, float speed) { return mFare += distance + static_cast<int>(speed); }

    int mFare = 0;
    int mLicence = 17;
    float mRate = 2.5f;
    std::string mDriver;

    RTTR_ENABLE(RttrCar)
};

} // namespace Bench
