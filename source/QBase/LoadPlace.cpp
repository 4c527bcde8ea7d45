#include "QBase/LoadPlace.h"

#include "QBase/StackState.h"

namespace QBase
{

LoadPlace::LoadPlace() : mpOuter(CurrentStackState().mpLoadPlace)
{
    CurrentStackState().mpLoadPlace = this;
}

LoadPlace::~LoadPlace()
{
    CurrentStackState().mpLoadPlace = mpOuter;
}

const LoadPlace* LoadPlace::Current()
{
    return CurrentStackState().mpLoadPlace;
}

} // namespace QBase
