// Body is one celestial body: what it is made of, and the ellipse on which it moves around its centre.
//
//     Ptr<Body> pEarth = Body::Construct("Earth");
//     pEarth->SetOrbit(pSun, 149.598f, 0.0167f, 365.256f, 357.5f);
//     pEarth->MoveTo(91.3); // a quarter of a year after the epoch
//     pEarth->GetPosition(); // relative to the Sun
//
// The orbit is Kepler's: a body knows where it is at any time from its elements alone, so a saved scene goes
// on exactly where it stood, whatever the step. Orbits lie in one plane.
//
// Units: masses 10^24 kg, radii km, distances 10^6 km, times days, angles degrees. A negative period is a
// retrograde orbit; a period of 0 stands still.

#pragma once

#include "QBase/List.h"
#include "QBase/Object.h"

#include <vector>

namespace Solar
{

class Body : public QBase::Object
{
    QBASE_OBJECT(Body, QBase::Object)

public:
    enum Kind : int
    {
        STAR,
        PLANET,
        MOON
    };

    const QBase::String& GetName() const { return mName; }
    QBase::List* GetSatellites() const { return mpSatellites; }

    /// Relative to the centre.
    const QBase::Vector3& GetPosition() const { return mPosition; }

    /// Relative to the body that everything else moves around.
    QBase::Vector3 GetAbsolutePosition() const;

    /// The body that this one moves around; null for the one in the middle. Not held: the centre holds its
    /// satellites, and when it goes they stand alone.
    Body* GetCenter() const { return mpCenter; }
    void SetCenter(Body* pCenter);

    /// Gives the body its ellipse and makes it the last satellite of `pCenter`.
    void SetOrbit(Body* pCenter, float distance, float eccentricity, float period, float anomaly);

    /// A new body on an ellipse around this one, which makes it the last of its satellites and holds it. Null
    /// when there is no memory.
    Body* AddSatellite(const QBase::String& name, float distance, float eccentricity, float period,
                       float anomaly);

    /// Puts the body, and every satellite of it, where it is `time` after the epoch.
    void MoveTo(float time);

    /// Kilometres from the centre.
    float GetCenterDistance() const;

    /// What a mass of 1 kg weighs on the surface, in newtons; 0 without a radius.
    float GetSurfaceGravity() const;

    ~Body() override;

protected:
    /// A "String" value names the body.
    explicit Body(const QBase::Value& value);

    /// The copy has no centre and no satellites: Copy brings them over by their properties.
    Body(const Body& other);

private:
    void ForgetOrbiting(Body* pBody);

    QBase::String mName;
    Kind mKind = PLANET;
    QBase::Color mColor;
    float mMass = 0.0f;
    float mRadius = 0.0f;
    float mDistance = 0.0f; // semi-major axis
    float mEccentricity = 0.0f;
    float mPeriod = 0.0f;
    float mAnomaly = 0.0f; // mean anomaly at the epoch, 2000-01-01 12:00
    QBase::Vector3 mPosition;
    Body* mpCenter = nullptr;     // borrowed; told by the centre's destructor
    std::vector<Body*> mOrbiting; // whose centre this is
    QBase::Ptr<QBase::List> mpSatellites;
};

} // namespace Solar
