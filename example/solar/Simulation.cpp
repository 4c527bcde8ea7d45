#include "Simulation.h"

#include "QBase/Reflection.h"

using namespace QBase;

namespace Solar
{

QBASE_IMPLEMENT(Solar, Simulation)

void Simulation::Implement()
{
    Describe("Moves the bodies around their sun as time goes on");
    AddProperty<&Simulation::mpSun>("Sun");
    AddProperty<&Simulation::mTime>("Time"); // loading it moves nothing: the positions are saved as well
    AddProperty<&Simulation::mStep>("Step");
    AddFunction<&Simulation::SetTime>("SetTime");
}

Simulation::Simulation(const Value&)
{}

void Simulation::SetTime(float time)
{
    mTime = time;
    if (mpSun != nullptr) {
        mpSun->MoveTo(mTime);
    }
}

void Simulation::Execute(const Value&)
{
    SetTime(mTime + mStep);
}

} // namespace Solar
