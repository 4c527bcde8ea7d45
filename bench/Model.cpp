#include "Model.h"

#include "QBase/Reflection.h"

#include <map>

namespace Bench
{

QBASE_IMPLEMENT(Bench, Vehicle)
QBASE_IMPLEMENT(Bench, Car)
QBASE_IMPLEMENT(Bench, Taxi)
QBASE_IMPLEMENT(Bench, Node)
QBASE_IMPLEMENT(Bench, Body)
QBASE_IMPLEMENT(Bench, Sink)

void Vehicle::Implement()
{
    AddProperty<&Vehicle::mWheels>("Wheels");
    AddProperty<&Vehicle::mSeats>("Seats");
    AddProperty<&Vehicle::mWeight>("Weight");
    AddProperty<&Vehicle::mName>("Name");
}

void Car::Implement()
{
    AddProperty<&Car::mDoors>("Doors");
    AddProperty<&Car::mGears>("Gears");
    AddProperty<&Car::mPower>("Power");
    AddProperty<&Car::mMaker>("Maker");
}

void Taxi::Implement()
{
    AddProperty<&Taxi::mFare>("Fare");
    AddProperty<&Taxi::mLicence>("Licence");
    AddProperty<&Taxi::mRate>("Rate");
    AddProperty<&Taxi::mDriver>("Driver");
    AddFunction<&Taxi::Drive>("Drive");
}

void Node::Implement()
{
    AddProperty<&Node::mId>("Id");
    AddProperty<&Node::mMass>("Mass");
    AddProperty<&Node::mbVisible>("Visible");
    AddProperty<&Node::mLabel>("Label");
    AddProperty<&Node::mPlace>("Place");
    AddProperty<&Node::mTint>("Tint");
    AddProperty<&Node::mShared>("Shared");
    AddProperty<&Node::mChildren>("Children");
}

void Body::Implement()
{
    AddProperty<&Body::mNumber>("Number");
    AddProperty<&Body::mLayer>("Layer");
    AddProperty<&Body::mMass>("Mass");
    AddProperty<&Body::mbVisible>("Visible");
    AddProperty<&Body::mName>("Name");
    AddProperty<&Body::mPosition>("Position");
    AddProperty<&Body::mVelocity>("Velocity");
    AddProperty<&Body::mColor>("Color");
}

void Sink::Implement()
{}

// --- Graphs ---

namespace
{

Ptr<Object> MakeTree(std::int64_t size)
{
    std::vector<Ptr<Node>> nodes;
    std::vector<Ptr<Object>> shared;
    for (int i = 0; i < 64; ++i) {
        shared.push_back(Ptr<Object>(Object::Construct(Value::Null)));
    }
    for (std::int64_t i = 0; i < size; ++i) {
        Ptr<Node> pNode = Node::Construct(Value::Null);
        pNode->mId = static_cast<int>(i);
        pNode->mMass = static_cast<float>(i) * 0.37f;
        pNode->mbVisible = i % 3 == 0;
        pNode->mLabel = String::Format("label %d", static_cast<int>(i % 1000));
        pNode->mPlace = Vector3(static_cast<float>(i), 0.5f, -1.25f);
        pNode->mTint = Color(1, 2, 3, static_cast<std::uint8_t>(i));
        pNode->mShared = shared[static_cast<std::size_t>(i % 64)];
        if (i > 0) {
            nodes[static_cast<std::size_t>((i - 1) / 10)]->mChildren.Insert(pNode);
        }
        nodes.push_back(pNode);
    }
    return Ptr<Object>(static_cast<Object*>(nodes[0]));
}

} // namespace

Object* GetTree(std::int64_t size)
{
    static std::map<std::int64_t, Ptr<Object>> sTrees;
    Ptr<Object>& rpTree = sTrees[size];
    if (rpTree == nullptr) {
        rpTree = MakeTree(size);
    }
    return rpTree;
}

Bodies::Bodies(std::int64_t count) : mpRoot(List::Construct(Value::Null))
{
    List* pGroup = nullptr;
    for (std::int64_t i = 0; i < count; ++i) {
        if (i % 1000 == 0) {
            pGroup = List::Construct(Value::Null);
            mpRoot->Insert(pGroup);
        }
        Body* const pBody = Body::Construct(Value::Null);
        pGroup->Insert(pBody);
        mBodies.push_back(pBody);
    }
}

void Bodies::Change(std::size_t step)
{
    ++mPass;
    for (std::size_t i = 0; i < mBodies.size(); i += step) {
        mBodies[i]->mNumber = mPass;
    }
}

int Sink::Write(const void*, int count)
{
    mNumBytes += count;
    return count;
}

} // namespace Bench
