#include "QBase/StoredSize.h"

#include <limits>

namespace QBase
{

namespace
{

constexpr std::size_t USUAL_SIZE = std::numeric_limits<int>::max();

std::size_t sLargestSize = USUAL_SIZE;

} // namespace

std::size_t GetLargestStoredSize()
{
    return sLargestSize;
}

void SetLargestStoredSize(std::size_t size)
{
    sLargestSize = size > 0 ? size : USUAL_SIZE;
}

} // namespace QBase
