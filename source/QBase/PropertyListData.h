// PropertyListData.h is what a PropertyList and the table it belongs to share.

#pragma once

#include "QBase/PropertyList.h"

#include <atomic>
#include <vector>

namespace QBase
{

// PropertyListData is one built list, shared by its table and by the PropertyLists that walk it.
class PropertyListData
{
public:
    void Access() { mReferenceCount.fetch_add(1, std::memory_order_relaxed); }
    void Release()
    {
        if (mReferenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    std::vector<PropertyList::Entry>& GetEntries() { return mEntries; }
    const std::vector<PropertyList::Entry>& GetEntries() const { return mEntries; }

private:
    std::vector<PropertyList::Entry> mEntries; // outside the library allocator, whose counts speak of objects
    std::atomic<int> mReferenceCount{1};
};

} // namespace QBase
