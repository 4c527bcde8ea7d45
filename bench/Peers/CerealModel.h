// The trees of PlainModel.h as cereal takes them, by shared pointers.

#pragma once

#include "PlainModel.h"

#include <cereal/types/memory.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

namespace Bench
{

template <typename Archive>
void serialize(Archive& rArchive, PlainVector3& rVector)
{
    rArchive(cereal::make_nvp("x", rVector.mX), cereal::make_nvp("y", rVector.mY),
             cereal::make_nvp("z", rVector.mZ));
}

template <typename Archive>
void serialize(Archive& rArchive, PlainColor& rColor)
{
    rArchive(cereal::make_nvp("r", rColor.mRed), cereal::make_nvp("g", rColor.mGreen),
             cereal::make_nvp("b", rColor.mBlue), cereal::make_nvp("a", rColor.mAlpha));
}

template <typename Archive>
void serialize(Archive&, PlainShared&)
{}

template <typename Archive>
void serialize(Archive& rArchive, SharedNode& rNode)
{
    rArchive(cereal::make_nvp("Id", rNode.mId), cereal::make_nvp("Mass", rNode.mMass),
             cereal::make_nvp("Visible", rNode.mbVisible), cereal::make_nvp("Label", rNode.mLabel),
             cereal::make_nvp("Place", rNode.mPlace), cereal::make_nvp("Tint", rNode.mTint),
             cereal::make_nvp("Shared", rNode.mpShared), cereal::make_nvp("Children", rNode.mChildren));
}

} // namespace Bench
