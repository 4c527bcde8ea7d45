// The trees of PlainModel.h as Boost.Serialization takes them, by raw pointers.

#pragma once

#include "PlainModel.h"

#include <boost/serialization/level.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <boost/serialization/vector.hpp>

namespace boost::serialization
{

template <typename Archive>
void serialize(Archive& rArchive, Bench::PlainVector3& rVector, unsigned)
{
    rArchive& make_nvp("x", rVector.mX) & make_nvp("y", rVector.mY) & make_nvp("z", rVector.mZ);
}

template <typename Archive>
void serialize(Archive& rArchive, Bench::PlainColor& rColor, unsigned)
{
    rArchive& make_nvp("r", rColor.mRed) & make_nvp("g", rColor.mGreen) & make_nvp("b", rColor.mBlue) &
        make_nvp("a", rColor.mAlpha);
}

template <typename Archive>
void serialize(Archive&, Bench::PlainShared&, unsigned)
{}

template <typename Archive>
void serialize(Archive& rArchive, Bench::PlainNode& rNode, unsigned)
{
    rArchive& make_nvp("Id", rNode.mId) & make_nvp("Mass", rNode.mMass) &
        make_nvp("Visible", rNode.mbVisible) & make_nvp("Label", rNode.mLabel) &
        make_nvp("Place", rNode.mPlace) & make_nvp("Tint", rNode.mTint) & make_nvp("Shared", rNode.mpShared) &
        make_nvp("Children", rNode.mChildren);
}

} // namespace boost::serialization

// What is no object of its own needs no version and no identity.
BOOST_CLASS_IMPLEMENTATION(Bench::PlainVector3, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(Bench::PlainVector3, boost::serialization::track_never)
BOOST_CLASS_IMPLEMENTATION(Bench::PlainColor, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(Bench::PlainColor, boost::serialization::track_never)
