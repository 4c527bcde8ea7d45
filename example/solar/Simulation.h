// Simulation moves a solar system on, one step with each Execute, and remembers the time.
//
//     Ptr<FileSerializer> pLoader = FileSerializer::Construct(Value::Null);
//     Ptr<Object> pSimulation = pLoader->Deserialize("solar.QXml").AsObject();
//     pSimulation->Execute(Value::Null);                // a quarter of a day later
//     pSimulation->FindProperty("Time")->Get(pSimulation);
//
// Threads: a simulation is driven by one thread at a time, for example a ThreadExecutor's.

#pragma once

#include "Body.h"

namespace Solar
{

class Simulation : public QBase::Object
{
    QBASE_OBJECT(Simulation, QBase::Object)

public:
    /// Days since the epoch.
    float GetTime() const { return mTime; }

    /// Goes to that time; every body moves there.
    void SetTime(float time);

    Body* GetSun() const { return mpSun; }

    /// One step on. The argument is not used.
    void Execute(const QBase::Value& value) override;

protected:
    explicit Simulation(const QBase::Value& value);
    Simulation(const Simulation& other) = default;

private:
    QBase::Ptr<Body> mpSun; // everything else moves around it
    float mTime = 0.0f;     // days since the epoch
    float mStep = 0.25f;    // days
};

} // namespace Solar
