#include "Support/Specimen.h"

#include "QBase/Reflection.h"

#include <string>

using namespace QBase;

QBASE_IMPLEMENT(Test, Specimen)
QBASE_IMPLEMENT(Test, Burdened)

void Specimen::Implement()
{
    AddFunction<&Specimen::Nothing>("Nothing");
    AddFunction<&Specimen::One>("One");
    AddFunction<&Specimen::Two>("Two");
    AddFunction<&Specimen::Three>("Three");
    AddFunction<&Specimen::Four>("Four");
    AddFunction<&Specimen::Five>("Five");
    AddFunction<&Specimen::TakeList>("TakeList");
    AddFunction<&Specimen::TakeTable>("TakeTable");
    AddFunction<&Specimen::TakeGear>("TakeGear");
    AddFunction<&Specimen::TakeVector>("TakeVector");
    AddFunction<&Specimen::TakeColor>("TakeColor");
    AddFunction<&Specimen::CallHook>("CallHook");
    AddProperty<&Specimen::GetLevel, &Specimen::SetLevel>("Level");
    AddProperty<&Specimen::GetDoubleLevel>("DoubleLevel");
    AddProperty<&Specimen::GetRoot, &Specimen::SetRoot>("Root");
    AddProperty<&Specimen::mInt>("Int");
    AddProperty<&Specimen::mFloat>("Float");
    AddProperty<&Specimen::mbBool>("Bool");
    AddProperty<&Specimen::mText>("Text");
    AddProperty<&Specimen::mpObject>("Object");
    AddProperty<&Specimen::mpList>("List");
    AddProperty<&Specimen::mAny>("Any");
    AddProperty<&Specimen::mVector2i>("Vector2i");
    AddProperty<&Specimen::mQuaternion>("Quaternion");
    AddEnum<Gear>("Gear", {{"Up", Gear::UP}, {"Down", Gear::DOWN}});
    AddProperty<&Specimen::mGear>("Gear");
    AddProperty<&Specimen::mCache>("Cache", {.mbExcluded = true});
    AddProperty<&Specimen::mInts>("Ints");
    AddProperty<&Specimen::mTexts>("Texts");
    AddProperty<&Specimen::mLists>("Lists");
    AddProperty<&Specimen::mGears>("Gears");
    AddConstant<MAX_CREW>("MAX_CREW");
}

void Burdened::Implement()
{}

Specimen::Specimen(const Value& value) : Object(value)
{}

Ptr<Specimen> Specimen::MakeSpeaker(const char* pName, std::vector<std::string>* pSpoken)
{
    const Ptr<Specimen> pSpeaker = Make();
    pSpeaker->mOnExecute = [pName, pSpoken](const Value& value) {
        pSpoken->push_back(std::string(pName) + value.AsString().c_str());
    };
    return pSpeaker;
}

Specimen::~Specimen()
{
    if (mOnDestroy) {
        mOnDestroy(this);
    }
}

void Specimen::Execute(const Value& value)
{
    if (mOnExecute) {
        mOnExecute(value);
    }
}

String Specimen::Three(const String& a, const String& b, const String& c) const
{
    return String((std::string(a.c_str()) + "|" + b.c_str() + "|" + c.c_str()).c_str());
}

Burdened::Burdened(const Value& value) : Object(value)
{}
