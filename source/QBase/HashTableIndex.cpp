#include "QBase/HashTableIndex.h"

#include <new>
#include <unordered_map>

namespace QBase
{

struct HashTableIndex::Storage
{
    std::unordered_map<const void*, Place> mPlaces;
};

HashTableIndex* HashTableIndex::New()
{
    HashTableIndex* pIndex = new (std::nothrow) HashTableIndex;
    if (!pIndex) {
        return nullptr;
    }
    pIndex->mpStorage = new (std::nothrow) Storage;
    if (!pIndex->mpStorage) {
        delete pIndex;
        return nullptr;
    }
    return pIndex;
}

void HashTableIndex::Delete(HashTableIndex* pIndex)
{
    delete pIndex;
}

HashTableIndex::~HashTableIndex()
{
    delete mpStorage;
}

bool HashTableIndex::Insert(const char* pKey, void* pNode, void* pPredecessor)
{
    try {
        mpStorage->mPlaces.emplace(pKey, Place{pNode, pPredecessor});
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

HashTableIndex::Place HashTableIndex::Find(const char* pKey) const
{
    auto place = mpStorage->mPlaces.find(pKey);
    return place == mpStorage->mPlaces.end() ? Place{nullptr, nullptr} : place->second;
}

void HashTableIndex::SetPredecessor(const char* pKey, void* pPredecessor)
{
    auto place = mpStorage->mPlaces.find(pKey);
    if (place != mpStorage->mPlaces.end()) {
        place->second.mpPredecessor = pPredecessor;
    }
}

void HashTableIndex::Remove(const char* pKey)
{
    mpStorage->mPlaces.erase(pKey);
}

} // namespace QBase
