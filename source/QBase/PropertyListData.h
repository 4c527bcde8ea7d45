// PropertyListData.h is what a PropertyList and the table it belongs to share.

#pragma once

#include "QBase/FieldPlan.h"
#include "QBase/PropertyList.h"

#include <atomic>
#include <utility>
#include <vector>

namespace QBase
{

// PropertyListData is one built list, shared by its table and by the PropertyLists that walk it.
class PropertyListData
{
public:
    explicit PropertyListData(std::vector<PropertyList::Entry> entries)
        : mEntries(std::move(entries)), mFieldPlan(mEntries)
    {}
    PropertyListData(const PropertyListData&) = delete;
    PropertyListData& operator=(const PropertyListData&) = delete;

    void Access() { mReferenceCount.fetch_add(1, std::memory_order_relaxed); }
    void Release()
    {
        if (mReferenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    const std::vector<PropertyList::Entry>& GetEntries() const { return mEntries; }
    const FieldPlan& GetFieldPlan() const { return mFieldPlan; }

private:
    // Outside the library allocator, whose counts speak of objects.
    const std::vector<PropertyList::Entry> mEntries;
    const FieldPlan mFieldPlan;
    std::atomic<int> mReferenceCount{1};
};

} // namespace QBase
