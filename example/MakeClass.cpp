// What a class can tell about itself: members, getters and setters, arrays, enumerations, constants,
// functions, what is not saved, and a line that describes it.

#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/Reflection.h"

using namespace QBase;

class Ship : public Object
{
    QBASE_OBJECT(Ship, Object)

public:
    enum Engine : int // names its underlying type, because files may set it to any number
    {
        SAIL,
        STEAM
    };
    static constexpr int MAX_CREW = 40;

    float GetKnots() const { return mMetresPerSecond * 1.944f; }
    void SetKnots(float knots) { mMetresPerSecond = knots / 1.944f; }
    int GetNumCrew() const { return mCrew.GetSize(); }
    bool Board(const String& name)
    {
        const bool bRoom = mCrew.GetSize() < MAX_CREW;
        if (bRoom) {
            mCrew.Insert(name);
        }
        return bRoom;
    }

protected:
    explicit Ship(const Value& name) : mName(name.Get<String>()) {}

private:
    String mName;
    Engine mEngine = SAIL;
    float mMetresPerSecond = 0;
    Array<String> mCrew;
    int mNumDrawn = 0;
};

QBASE_IMPLEMENT(Fleet, Ship)

void Ship::Implement()
{
    Describe("A ship of a fleet");
    AddEnum<Engine>("Engine", {{"Sail", SAIL}, {"Steam", STEAM}});
    AddProperty<&Ship::mName>("Name", {.mpDescription = "Painted at the bow"});
    AddProperty<&Ship::mEngine>("Engine");                           // an enumeration, by its names in XML
    AddProperty<&Ship::GetKnots, &Ship::SetKnots>("Speed");          // a getter and a setter
    AddProperty<&Ship::GetNumCrew>("NumCrew");                       // a getter alone: read only, not saved
    AddProperty<&Ship::mCrew>("Crew");                               // an Array member: an array
    AddProperty<&Ship::mNumDrawn>("NumDrawn", {.mbExcluded = true}); // neither saved nor compared
    AddConstant<MAX_CREW>("MAX_CREW");
    AddFunction<&Ship::Board>("Board");
}

int main()
{
    Ptr<Object> pShip = Construct("Fleet", "Ship", "Beagle");
    pShip->FindProperty("Engine")->Set(pShip, Ship::STEAM);
    pShip->FindProperty("Speed")->Set(pShip, 8);
    const bool bAboard = pShip->Call("Board", "Ada").Get<bool>();

    Info("%s", pShip->FindProperty("Name")->Get(pShip).AsString().c_str());
    Info("%g knots", pShip->FindProperty("Speed")->Get(pShip).Get<float>());
    Info("%d of %d: %s", pShip->FindProperty("NumCrew")->Get(pShip).Get<int>(),
         pShip->FindProperty("MAX_CREW")->Get(pShip).Get<int>(),
         pShip->FindProperty("Crew")->GetAt(pShip, 0).AsString().c_str());
    return bAboard ? 0 : 1;
}
