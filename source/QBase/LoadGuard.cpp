#include "QBase/LoadGuard.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Object.h"

#include <algorithm>

namespace QBase
{

namespace
{

// The sum, or no limit where it would be more. Neither limit is below 0.
std::int64_t AddLimits(std::int64_t limit, std::int64_t more)
{
    return more > 0 && limit > LoadLimits::UNLIMITED - more ? LoadLimits::UNLIMITED : limit + more;
}

std::int64_t MaxMemory(const LoadLimits& limits, std::int64_t numBytes)
{
    const std::int64_t perByte = limits.mMaxMemoryPerByte;
    if (perByte > 0 && numBytes > LoadLimits::UNLIMITED / perByte) {
        return LoadLimits::UNLIMITED;
    }
    return AddLimits(limits.mMaxMemory, perByte * numBytes);
}

std::string NameOf(const Object* pObject)
{
    return std::string(pObject->GetModuleName().c_str()) + "." + pObject->GetClassName().c_str();
}

} // namespace

LoadGuard::LoadGuard(const LoadLimits& limits, bool bTrusted, std::int64_t numBytes,
                     std::int64_t memoryBefore)
    : mLimits(limits), mbTrusted(bTrusted), mNumBytes(numBytes), mMaxMemory(MaxMemory(limits, numBytes)),
      mMemoryEnd(AddLimits(mMaxMemory, ThreadMemory::GetBytes() - memoryBefore))
{}

std::string LoadGuard::CheckBytes() const
{
    return mNumBytes > mLimits.mMaxBytes
               ? "its " + std::to_string(mNumBytes) + " bytes are over the limit of " +
                     std::to_string(mLimits.mMaxBytes) + " bytes"
               : std::string();
}

std::string LoadGuard::CheckClass(const ClassInfoTable* pClass, const std::string& className) const
{
    if (pClass == nullptr) {
        return std::string();
    }
    if (!mLimits.mClasses.empty()) {
        return IsListed(className) ? std::string() : "class " + className + " is not allowed";
    }
    return !mbTrusted && pClass->ActsOutside() ? DescribeOutside(className) : std::string();
}

std::string LoadGuard::CheckChange(Object* pObject) const
{
    if (mbTrusted || !pObject->GetClassTable()->ActsOutside()) {
        return std::string();
    }
    const std::string className = NameOf(pObject);
    return IsListed(className) ? std::string() : DescribeOutside(className);
}

bool LoadGuard::IsListed(const std::string& className) const
{
    return std::any_of(mLimits.mClasses.begin(), mLimits.mClasses.end(),
                       [&](const String& allowed) { return className == allowed.c_str(); });
}

std::string LoadGuard::DescribeOutside(const std::string& className)
{
    return "class " + className + " acts outside the program and is not allowed";
}

void LoadGuard::Disregard(std::int64_t numBytes)
{
    mMemoryEnd = AddLimits(mMemoryEnd, numBytes);
}

std::string LoadGuard::DescribeNumObjects(const std::string& className) const
{
    return "one more object, of " + className + ", is over the limit of " +
           std::to_string(mLimits.mMaxObjects) + " objects";
}

std::string LoadGuard::DescribeLength(std::size_t length) const
{
    return "a text of " + std::to_string(length) + " bytes is over the limit of " +
           std::to_string(mLimits.mMaxStringLength) + " bytes";
}

std::string LoadGuard::DescribeMemory(Object* pObject) const
{
    return "an object of " + NameOf(pObject) + " takes the objects over the limit of " +
           std::to_string(mMaxMemory) + " bytes of memory";
}

std::string LoadGuard::DescribeNesting(Object* pObject, int position) const
{
    return (position < 0 ? "an object" : "object " + std::to_string(position)) + " of " + NameOf(pObject) +
           " is nested deeper than the limit of " + std::to_string(mLimits.mMaxNesting) + " references";
}

} // namespace QBase
