// Merge.h brings a graph that is in use up to date with one that was just loaded: what stands for the same
// thing in both keeps its object and takes over the values that differ, so that who watches the graph sees
// only those. Objects stand for the same thing when the same path leads to them and their class is the same.
//
//     pRoot = Merge(pRoot, pLoaded); // afterwards nothing is left of the loaded graph but what was new in it

#pragma once

#include "QBase/Object.h"
#include "QBase/Ptr.h"

namespace Quirl
{

/// The root from now on: `pLive`, or `pLoaded` when their classes differ. Neither is null. Objects that went
/// out of the graph are taken apart.
QBase::Ptr<QBase::Object> Merge(QBase::Object* pLive, QBase::Object* pLoaded);

} // namespace Quirl
