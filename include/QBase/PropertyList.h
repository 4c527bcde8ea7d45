// PropertyList is the list of an object's properties that count, in the order in which they count: the
// object's own table first, then its class's and each base class's, each in walk order, every name once. A
// property counts when it is the one that FindProperty answers for its name. Saving, copying, comparing
// and showing objects all walk this list.
//
//     for (const PropertyList::Entry& entry : PropertyList(pObject))
//         if (!entry.mpProperty->IsExcluded())
//             ...
//
// The list is kept with the table it belongs to and built anew after a change of the table or of a base. A
// PropertyList holds the list that it was made from, and its properties, so the object may change meanwhile.
// Type, shape, exclusion and field of a property are constant; the list keeps them beside it.
//
// Threads: several threads may list objects of one class while no table changes.

#pragma once

#include "QBase/Property.h"

#include <cstdint>

namespace QBase
{

class PropertyListData;

class QBASE_API PropertyList
{
public:
    /// Bytes of the object that are the first ones of the payload of a property's Value: equal bytes are
    /// equal values.
    struct Field
    {
        std::int32_t mOffset = 0; // from the address of the object
        std::uint32_t mSize = 0;  // 0 when there are none, and reading the value takes a call
    };

    /// One property, with what never changes about it.
    struct Entry
    {
        /// What FindProperty takes, and answers; what GetType, IsArray and IsExcluded answer.
        String mName;
        Ptr<Property> mpProperty;
        Value::Type mType;
        bool mbArray;
        bool mbExcluded;

        /// Where a single value that is no object lies, if its property is nothing but a member.
        Field mField;
    };

    explicit PropertyList(const Object* pObject);
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;
    ~PropertyList();

    const Entry* begin() const;
    const Entry* end() const;

    /// The list of the object as it stands now, for those who keep it over many walks. Borrowed from the
    /// object's table until its next change.
    static PropertyListData* GetCurrent(const Object* pObject);

private:
    static void Renew(const ClassInfoTable* pTable, std::uint64_t stamp, const Object* pObject);

    PropertyListData* mpData; // holds one reference
};

} // namespace QBase
