// A graph and its replica, kept equal over a stream of bytes. Here the stream is a queue in memory; a stream
// of your own, or those of the module QNet, carry the bytes to other programs.

#include "QBase/Error.h"
#include "QBase/IOStream.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"

using namespace QBase;

class Lamp : public Object
{
    QBASE_OBJECT(Lamp, Object)

public:
    void Switch(bool bOn) { mbOn = bOn; }

protected:
    explicit Lamp(const Value&) {}

private:
    bool mbOn = false;
    Ptr<Lamp> mpNext;
};

QBASE_IMPLEMENT(Replicate, Lamp)

void Lamp::Implement()
{
    AddProperty<&Lamp::mbOn>("On");
    AddProperty<&Lamp::mpNext>("Next");
    AddFunction<&Lamp::Switch>("Switch");
}

static bool IsOn(Object* pLamp)
{
    return pLamp->FindProperty("On")->Get(pLamp).Get<bool>();
}

int main()
{
    Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    Ptr<Object> pLamp = Lamp::Construct(Value::Null);

    Ptr<ObjectDiffSerializer> pSource = ObjectDiffSerializer::Construct(Value::Null);
    pSource->RegisterType(Lamp::ClassTable()); // the same classes in the same order at both ends
    pSource->SetRoot(pLamp);
    pSource->AddOutStream(pStream);

    Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
    pReplica->RegisterType(Lamp::ClassTable());
    pReplica->AddInStream(pStream);

    pSource->Execute(Value::Null); // once per frame: writes what changed
    Info("%d bytes for the whole graph", pStream->BytesAvailable());
    pReplica->UpdateInput(); // once per frame: applies what arrived
    Info("the replica is %s", IsOn(pReplica->GetRoot()) ? "on" : "off");

    pLamp->Call("Switch", true);
    pLamp->FindProperty("Next")->Set(pLamp, Lamp::Construct(Value::Null));
    pSource->Execute(Value::Null);
    Info("%d bytes for what changed", pStream->BytesAvailable());
    pReplica->UpdateInput();
    Info("the replica is %s", IsOn(pReplica->GetRoot()) ? "on" : "off");

    pSource->Execute(Value::Null);
    Info("%d bytes for nothing", pStream->BytesAvailable());

    pSource->BroadcastFunctionCall(pLamp, "Switch", false); // a call of the replica's object
    pSource->Execute(Value::Null);
    pReplica->UpdateInput();
    Info("the replica is %s, the source is %s", IsOn(pReplica->GetRoot()) ? "on" : "off",
         IsOn(pLamp) ? "on" : "off");
}
