#include "QBase/Serializer.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Reflection.h"
#include "Support/Bytes.h"
#include "Support/StoredObjects.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// What holds for both formats.

using namespace QBase;
using namespace StoredObjects;

namespace StoredObjects
{

namespace
{

// Holds its moon, which knows its planet without holding it.
class Planet : public Object
{
    QBASE_OBJECT(Planet, Object)

public:
    Planet* GetCenter() const { return mpCenter; }
    void SetCenter(Planet* pCenter) { mpCenter = pCenter; }

    Ptr<Planet> mMoon;
    Array<Ptr<Planet>> mRings;
    Planet* mpCenter = nullptr;

protected:
    explicit Planet(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Planet)

void Planet::Implement()
{
    AddProperty<&Planet::mMoon>("Moon");
    AddProperty<&Planet::mRings>("Rings");
    AddProperty<&Planet::GetCenter, &Planet::SetCenter>("Center");
}

} // namespace

} // namespace StoredObjects

namespace
{

std::vector<Ptr<Serializer>> BothSerializers()
{
    return {Ptr<Serializer>(AsciiSerializer::Construct(Value::Null)),
            Ptr<Serializer>(BinarySerializer::Construct(Value::Null))};
}

std::string Saved(Serializer* pSerializer, Object* pObject)
{
    const Ptr<MemoryFile> pFile = EmptyFile();
    EXPECT_TRUE(pSerializer->Serialize(pObject, pFile));
    return ContentsOf(pFile);
}

Value Loaded(Serializer* pSerializer, const std::string& bytes)
{
    const Ptr<MemoryFile> pFile = FileOf(bytes);
    return pSerializer->Deserialize(pFile);
}

} // namespace

TEST(SerializerTest, SavingLeavesAnUnreferencedRootAloneThatItsObjectsKnowButDoNotHold)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        Planet* const pPlanet = Planet::Construct(Value::Null);
        pPlanet->mMoon = Planet::Construct(Value::Null);
        pPlanet->mMoon->SetCenter(pPlanet);
        const std::string bytes = Saved(pSerializer, pPlanet);
        EXPECT_EQ(pPlanet->GetReferenceCount(), 0);

        const Value loaded = Loaded(pSerializer, bytes);
        Planet* const pLoaded = loaded.Get<Planet*>();
        ASSERT_NE(pLoaded, nullptr);
        EXPECT_EQ(pLoaded->mMoon->GetCenter(), pLoaded);
        const Ptr<Object> pOwner = pPlanet;
    }
}

TEST(SerializerTest, TheResultHoldsTheOnlyReferenceOnTheRoot)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        const Ptr<List> pList = List::Construct(Value::Null);
        pList->Insert(Object::Construct(Value::Null));
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pList));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(loaded.AsObject()->GetReferenceCount(), 1);
        EXPECT_EQ(loaded.Get<List*>()->GetAt(0)->GetReferenceCount(), 1);
    }
}
