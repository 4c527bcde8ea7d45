// FieldPlan says which properties of a PropertyList lie in fields of their objects (Entry::mField), so
// that whoever keeps what it saw of an object finds out with a few comparisons of bytes, and without a call,
// that nothing has changed.
//
//     if (plan.IsUnchanged(plan.GetStretch(i), pObject, pSeen)) // of the properties from i on
//         i = plan.GetStretch(i).mEnd;
//
// Properties that follow each other in the list, none of which takes a call, are a stretch: since nothing can
// happen while they are read, they are compared all at once, in the order in which they lie in the object.
// What was seen of them is kept as bytes in that same order, so that fields without a gap between them are
// one run, compared in one go. Excluded properties are in nobody's way and belong to any stretch.
//
// Threads: a plan never changes; any number of threads may read it.

#pragma once

#include "QBase/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace QBase
{

class FieldPlan
{
public:
    /// Properties from the one that it is asked for to before `mEnd`; empty when that one takes a call.
    struct Stretch
    {
        std::uint32_t mEnd = 0;
        std::uint32_t mFirstRun = 0;
        std::uint32_t mEndRun = 0;
    };

    explicit FieldPlan(const std::vector<PropertyList::Entry>& entries);

    /// Whether what is seen of the property is kept as bytes.
    bool IsField(std::size_t index) const { return mPlaces[index].mbField; }

    /// Where it is kept among the bytes; of other properties, the how many-th one of those it is.
    std::uint32_t GetPlace(std::size_t index) const { return mPlaces[index].mPlace; }

    std::size_t GetNumBytes() const { return mNumBytes; }
    std::size_t GetNumOthers() const { return mNumOthers; }

    /// The stretch that begins at the property. One that begins before it is not found here.
    const Stretch& GetStretch(std::size_t index) const { return mPlaces[index].mStretch; }

    /// True when the fields of the stretch are what was seen of them.
    bool IsUnchanged(const Stretch& stretch, const Object* pObject, const unsigned char* pSeen) const
    {
        return AreEqual(mRuns.data() + stretch.mFirstRun, mRuns.data() + stretch.mEndRun, pObject, pSeen);
    }

    /// True when all fields are.
    bool IsUnchanged(const Object* pObject, const unsigned char* pSeen) const
    {
        return AreEqual(mRuns.data(), mRuns.data() + mRuns.size(), pObject, pSeen);
    }

private:
    struct Place
    {
        bool mbField = false;
        std::uint32_t mPlace = 0;
        Stretch mStretch;
    };

    struct Run
    {
        std::int32_t mOffset; // in the object
        std::uint32_t mPlace; // among the bytes
        std::uint32_t mSize;
    };

    void AddRuns(const std::vector<PropertyList::Entry>& entries, std::size_t begin, std::size_t end);

    static bool AreEqual(const Run* pRun, const Run* pEnd, const Object* pObject, const unsigned char* pSeen)
    {
        const unsigned char* const pFields = reinterpret_cast<const unsigned char*>(pObject);
        std::uint64_t difference = 0;
        for (; pRun != pEnd; ++pRun) {
            difference |= Difference(pFields + pRun->mOffset, pSeen + pRun->mPlace, pRun->mSize);
        }
        return difference == 0;
    }

    // Not 0 when the bytes differ. Runs are short, and mostly equal.
    static std::uint64_t Difference(const unsigned char* pA, const unsigned char* pB, std::size_t size)
    {
        if (size < sizeof(std::uint64_t)) {
            return size < sizeof(std::uint32_t)
                       ? static_cast<std::uint64_t>(std::memcmp(pA, pB, size) != 0)
                       : WordDifference<std::uint32_t>(pA, pB, 0) |
                             WordDifference<std::uint32_t>(pA, pB, size - sizeof(std::uint32_t));
        }
        const std::size_t last = size - sizeof(std::uint64_t); // the last word may overlap the one before
        std::uint64_t difference = WordDifference<std::uint64_t>(pA, pB, last);
        for (std::size_t i = 0; i < last; i += sizeof(std::uint64_t)) {
            difference |= WordDifference<std::uint64_t>(pA, pB, i);
        }
        return difference;
    }

    template <typename Word>
    static Word WordDifference(const unsigned char* pA, const unsigned char* pB, std::size_t offset)
    {
        Word a;
        Word b;
        std::memcpy(&a, pA + offset, sizeof(Word));
        std::memcpy(&b, pB + offset, sizeof(Word));
        return a ^ b;
    }

    std::vector<Place> mPlaces; // one for each entry of the list
    std::vector<Run> mRuns;
    std::uint32_t mNumBytes = 0;
    std::uint32_t mNumOthers = 0;
};

} // namespace QBase
