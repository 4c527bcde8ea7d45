#include "Body.h"

#include "QBase/Reflection.h"

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace QBase;

namespace Solar
{

namespace
{

constexpr double GRAVITY = 6.6743e-11; // N m^2 / kg^2
constexpr double MASS_UNIT = 1e24;     // kg
constexpr double KILOMETRES_PER_DISTANCE = 1e6;
constexpr double DEGREE = std::numbers::pi / 180.0;

// Kepler's equation M = E - e sin E, solved by Newton's steps; a few are enough for any planet's ellipse.
double EccentricAnomaly(double meanAnomaly, double eccentricity)
{
    double anomaly = meanAnomaly;
    for (int step = 0; step < 16; ++step) {
        const double error = anomaly - eccentricity * std::sin(anomaly) - meanAnomaly;
        anomaly -= error / (1.0 - eccentricity * std::cos(anomaly));
        if (std::abs(error) < 1e-12) {
            break;
        }
    }
    return anomaly;
}

} // namespace

QBASE_IMPLEMENT(Solar, Body)

void Body::Implement()
{
    Describe("A star, planet or moon, and what orbits it");
    AddEnum<Kind>("Kind", {{"Star", STAR}, {"Planet", PLANET}, {"Moon", MOON}});
    AddProperty<&Body::mName>("Name");
    AddProperty<&Body::mKind>("Kind");
    AddProperty<&Body::mColor>("Color");
    AddProperty<&Body::mMass>("Mass");
    AddProperty<&Body::mRadius>("Radius");
    AddProperty<&Body::mDistance>("Distance");
    AddProperty<&Body::mEccentricity>("Eccentricity");
    AddProperty<&Body::mPeriod>("Period");
    AddProperty<&Body::mAnomaly>("Anomaly");
    AddProperty<&Body::mPosition>("Position");
    AddProperty<&Body::GetCenter, &Body::SetCenter>("Center");
    AddProperty<&Body::mpSatellites>("Satellites");
    AddFunction<&Body::SetOrbit>("SetOrbit");
    AddFunction<&Body::AddSatellite>("AddSatellite");
    AddFunction<&Body::MoveTo>("MoveTo");
    AddFunction<&Body::GetAbsolutePosition>("GetAbsolutePosition");
    AddFunction<&Body::GetCenterDistance>("GetCenterDistance");
    AddFunction<&Body::GetSurfaceGravity>("GetSurfaceGravity");
}

Body::Body(const Value& value) : mName(value.Get<String>()), mColor(255, 255, 255)
{}

Body::Body(const Body& other)
    : Object(other), mName(other.mName), mKind(other.mKind), mColor(other.mColor), mMass(other.mMass),
      mRadius(other.mRadius), mDistance(other.mDistance), mEccentricity(other.mEccentricity),
      mPeriod(other.mPeriod), mAnomaly(other.mAnomaly), mPosition(other.mPosition)
{}

Body::~Body()
{
    SetCenter(nullptr);
    for (Body* const pBody : mOrbiting) {
        pBody->mpCenter = nullptr;
    }
}

void Body::SetCenter(Body* pCenter)
{
    for (const Body* pBody = pCenter; pBody != nullptr; pBody = pBody->mpCenter) {
        if (pBody == this) {
            Error(QBASE_HERE, "Failed to set center of '%s' - it would move around itself", mName.c_str());
            return;
        }
    }
    if (mpCenter != nullptr) {
        mpCenter->ForgetOrbiting(this);
    }
    mpCenter = pCenter;
    if (mpCenter != nullptr) {
        mpCenter->mOrbiting.push_back(this);
    }
}

void Body::ForgetOrbiting(Body* pBody)
{
    mOrbiting.erase(std::remove(mOrbiting.begin(), mOrbiting.end(), pBody), mOrbiting.end());
}

void Body::SetOrbit(Body* pCenter, float distance, float eccentricity, float period, float anomaly)
{
    mDistance = distance;
    mEccentricity = eccentricity;
    mPeriod = period;
    mAnomaly = anomaly;
    SetCenter(pCenter);
    if (mpCenter == nullptr || mpCenter != pCenter) {
        return;
    }
    if (pCenter->mpSatellites == nullptr) {
        pCenter->mpSatellites = List::Construct(Value::Null);
    }
    if (pCenter->mpSatellites != nullptr && pCenter->mpSatellites->Find(this) < 0) {
        pCenter->mpSatellites->Insert(this);
    }
}

Body* Body::AddSatellite(const String& name, float distance, float eccentricity, float period, float anomaly)
{
    const Ptr<Body> pBody = Body::Construct(name);
    if (pBody == nullptr) {
        return nullptr;
    }
    pBody->mKind = mKind == STAR ? PLANET : MOON;
    pBody->SetOrbit(this, distance, eccentricity, period, anomaly);
    return mpSatellites != nullptr && mpSatellites->Find(pBody) >= 0 ? static_cast<Body*>(pBody) : nullptr;
}

void Body::MoveTo(float time)
{
    if (mPeriod != 0.0f) {
        const double turns = static_cast<double>(time) / mPeriod;
        const double mean = mAnomaly * DEGREE + 2.0 * std::numbers::pi * (turns - std::floor(turns));
        const double e = std::clamp(static_cast<double>(mEccentricity), 0.0, 0.99);
        const double anomaly = EccentricAnomaly(mean, e);
        mPosition = Vector3(static_cast<float>(mDistance * (std::cos(anomaly) - e)),
                            static_cast<float>(mDistance * std::sqrt(1.0 - e * e) * std::sin(anomaly)), 0.0f);
    }
    if (mpSatellites == nullptr) {
        return;
    }
    for (const Ptr<Object>& pObject : mpSatellites->GetObjects()) {
        if (pObject != nullptr && pObject->IsDerivedType(Body::ClassTable())) {
            Body* const pBody = static_cast<Body*>(static_cast<Object*>(pObject));
            if (pBody->mpCenter == this) { // so a list that leads back here ends
                pBody->MoveTo(time);
            }
        }
    }
}

Vector3 Body::GetAbsolutePosition() const
{
    Vector3 position = mPosition;
    for (const Body* pCenter = mpCenter; pCenter != nullptr; pCenter = pCenter->mpCenter) {
        position += pCenter->mPosition;
    }
    return position;
}

float Body::GetCenterDistance() const
{
    return static_cast<float>(mPosition.Length() * KILOMETRES_PER_DISTANCE);
}

float Body::GetSurfaceGravity() const
{
    const double metres = mRadius * 1000.0;
    return mRadius > 0.0f ? static_cast<float>(GRAVITY * mMass * MASS_UNIT / (metres * metres)) : 0.0f;
}

} // namespace Solar
