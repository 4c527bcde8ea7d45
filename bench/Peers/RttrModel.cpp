#if QBASE_HAS_RTTR

#    include "Peers/RttrModel.h"

#    include <rttr/registration>

namespace Bench
{

RTTR_REGISTRATION
{
    using rttr::registration;
    registration::class_<RttrVehicle>("Bench::Vehicle")
        .property("Wheels", &RttrVehicle::mWheels)
        .property("Seats", &RttrVehicle::mSeats)
        .property("Weight", &RttrVehicle::mWeight)
        .property("Name", &RttrVehicle::mName);
    registration::class_<RttrCar>("Bench::Car")
        .property("Doors", &RttrCar::mDoors)
        .property("Gears", &RttrCar::mGears)
        .property("Power", &RttrCar::mPower)
        .property("Maker", &RttrCar::mMaker);
    registration::class_<RttrTaxi>("Bench::Taxi")
        .constructor<>()
        .property("Fare", &RttrTaxi::mFare)
        .property("Licence", &RttrTaxi::mLicence)
        .property("Rate", &RttrTaxi::mRate)
        .property("Driver", &RttrTaxi::mDriver)
        .method("Drive", &RttrTaxi::Drive);
    registration::class_<PlainBody>("Bench::Body")
        .property("Number", &PlainBody::mNumber)
        .property("Layer", &PlainBody::mLayer)
        .property("Mass", &PlainBody::mMass)
        .property("Visible", &PlainBody::mbVisible)
        .property("Name", &PlainBody::mName)
        .property("Position", &PlainBody::mPosition)
        .property("Velocity", &PlainBody::mVelocity)
        .property("Color", &PlainBody::mColor);
}

} // namespace Bench

#endif
