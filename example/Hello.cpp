#include "QBase/Global.h"
#include "QBase/Reflection.h"

class Planet : public QBase::Object
{
    QBASE_OBJECT(Planet, Object)
    explicit Planet(const QBase::Value&) {}
    float mRadius = 6371; // kilometres
};
QBASE_IMPLEMENT(Hello, Planet)

void Planet::Implement()
{
    AddProperty<&Planet::mRadius>("Radius");
}

int main()
{
    QBase::Ptr<QBase::Object> pMars = QBase::Construct("Hello", "Planet");
    pMars->FindProperty("Radius")->Set(pMars, 3390.0f);
    QBase::Info("The radius of Mars is %g km", pMars->FindProperty("Radius")->Get(pMars).Get<float>());
}
