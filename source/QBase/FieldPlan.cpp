#include "QBase/FieldPlan.h"

#include <algorithm>

namespace QBase
{

FieldPlan::FieldPlan(const std::vector<PropertyList::Entry>& entries) : mPlaces(entries.size())
{
    std::size_t i = 0;
    while (i < entries.size()) {
        const std::size_t begin = i;
        while (i < entries.size() && (entries[i].mbExcluded || entries[i].mField.mSize != 0)) {
            ++i;
        }
        if (i > begin) {
            AddRuns(entries, begin, i);
        } else {
            mPlaces[i++].mPlace = mNumOthers++;
        }
    }
}

void FieldPlan::AddRuns(const std::vector<PropertyList::Entry>& entries, std::size_t begin, std::size_t end)
{
    const auto firstRun = static_cast<std::uint32_t>(mRuns.size());
    std::vector<std::size_t> fields;
    for (std::size_t i = begin; i < end; ++i) {
        if (!entries[i].mbExcluded) {
            fields.push_back(i);
        }
    }
    std::stable_sort(fields.begin(), fields.end(), [&](std::size_t a, std::size_t b) {
        return entries[a].mField.mOffset < entries[b].mField.mOffset;
    });
    for (const std::size_t i : fields) {
        const PropertyList::Field& field = entries[i].mField;
        if (mRuns.size() > firstRun &&
            mRuns.back().mOffset + static_cast<std::int32_t>(mRuns.back().mSize) == field.mOffset) {
            mRuns.back().mSize += field.mSize;
        } else {
            mRuns.push_back({field.mOffset, mNumBytes, field.mSize});
        }
        mPlaces[i].mbField = true;
        mPlaces[i].mPlace = mNumBytes;
        mNumBytes += field.mSize;
    }
    mPlaces[begin].mStretch = {static_cast<std::uint32_t>(end), firstRun,
                               static_cast<std::uint32_t>(mRuns.size())};
}

} // namespace QBase
