// A module with two classes, the derived one registered first.

#include "Cargo.h"

#include "QBase/Global.h"
#include "QBase/Reflection.h"

using namespace QBase;

namespace
{

class Vessel : public Object
{
    QBASE_OBJECT(Vessel, Object)

public:
    int GetCrew() const { return mCrew; }

protected:
    explicit Vessel(const Value& value) : Object(value), mCrew(value.Get<int>()) {}

private:
    int mCrew;
};

class Ferry : public Vessel
{
    QBASE_OBJECT(Ferry, Vessel)

public:
    int GetDecks() const { return 2; }

protected:
    using Vessel::Vessel;

private:
    Cargo mCargo = Cargo::NONE;
};

QBASE_IMPLEMENT(Harbour, Ferry)
QBASE_IMPLEMENT(Harbour, Vessel)

void Ferry::Implement()
{
    AddFunction<&Ferry::GetDecks>("GetDecks");
    AddEnum<Cargo>("Cargo", {{"None", Cargo::NONE}, {"Fish", Cargo::FISH}});
    AddProperty<&Ferry::mCargo>("Cargo");
}

void Vessel::Implement()
{
    AddProperty<&Vessel::GetCrew>("Crew");
}

} // namespace
