// LoadGuard holds one load, or one frame of a stream, against the limits of its host. Each question answers
// what is wrong, as a part of a report, or an empty text when all is well.
//
//     LoadGuard guard(limits, limits.mbTrusted, numBytes);
//     std::string trouble = guard.CheckClass(pClass, "Solar.Body");
//     ...
//     trouble = guard.CheckMemory(pObject);
//
// Classes are named as "Module.Class". While nothing is wrong each question costs a comparison, but for
// CheckClass with a list of classes, which goes through the list.

#pragma once

#include "QBase/LoadLimits.h"
#include "QBase/ThreadMemory.h"

#include <cstddef>
#include <string>

namespace QBase
{

class ClassInfoTable;
class Object;

class LoadGuard
{
public:
    /// Memory counts from now on, `memoryBefore` bytes being taken by then.
    LoadGuard(const LoadLimits& limits, bool bTrusted, std::int64_t numBytes, std::int64_t memoryBefore = 0);

    /// Whether the input is short enough.
    std::string CheckBytes() const;

    /// Whether there may be objects of the class, which is null when there is none of that name: others say
    /// so.
    std::string CheckClass(const ClassInfoTable* pClass, const std::string& className) const;

    /// Whether an object that is there already may be changed.
    std::string CheckChange(Object* pObject) const;

    /// Whether there may be so many objects. The last of them would be of the class.
    bool AllowsObjects(std::int64_t numObjects) const { return numObjects <= mLimits.mMaxObjects; }
    std::string DescribeNumObjects(const std::string& className) const;

    std::string CheckStringLength(std::size_t length) const
    {
        return static_cast<std::int64_t>(length) > mLimits.mMaxStringLength ? DescribeLength(length)
                                                                            : std::string();
    }

    /// Whether there was memory for the latest object, or for its contents.
    bool HasMemory() const { return ThreadMemory::GetBytes() <= mMemoryEnd; }
    std::string DescribeMemory(Object* pObject) const;
    std::string CheckMemory(Object* pObject) const
    {
        return HasMemory() ? std::string() : DescribeMemory(pObject);
    }

    /// Leaves bytes out that were taken since the beginning.
    void Disregard(std::int64_t numBytes);

    bool HasNestingLimit() const { return mLimits.mMaxNesting != LoadLimits::UNLIMITED; }
    std::int64_t GetMaxNesting() const { return mLimits.mMaxNesting; }
    std::string DescribeNesting(Object* pObject, int position = -1) const; // in a file

private:
    bool IsListed(const std::string& className) const;
    static std::string DescribeOutside(const std::string& className);
    std::string DescribeLength(std::size_t length) const;

    LoadLimits mLimits; // a copy: what is loaded may change those of the serializer
    bool mbTrusted;
    std::int64_t mNumBytes;
    std::int64_t mMaxMemory;
    std::int64_t mMemoryEnd; // what ThreadMemory may say at most
};

} // namespace QBase
