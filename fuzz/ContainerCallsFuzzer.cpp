// Arrays, hash tables, linked lists, tables and lists, driven by any sequence of calls beside the standard
// library's containers.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/Array.h"
#include "QBase/HashTable.h"
#include "QBase/LinkedList.h"
#include "QBase/TablePath.h"

#include <algorithm>
#include <iterator>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace QBase;

namespace
{

// Names that fall into few buckets and into many.
String TakeName(FuzzInput& rInput)
{
    return String::Format("%d", rInput.TakeByte());
}

class ArrayCalls
{
public:
    void Run(FuzzInput& rInput)
    {
        const int index = mModel.empty() ? 0 : rInput.TakeByte() % static_cast<int>(mModel.size());
        const String value = TakeName(rInput);
        const auto position = mModel.begin() + index;
        switch (rInput.TakeBelow(8)) {
        case 0:
            mArray.Insert(value);
            mModel.push_back(value);
            break;
        case 7: { // outside: an assertion, and after it the array is as before
            const int outside = rInput.TakeByte() % 2 == 0 ? -1 - index : mArray.GetSize() + 1 + index;
            mArray.InsertAt(outside, value);
            mArray.RemoveAt(outside);
            mArray.GetAt(outside);
            break;
        }
        case 1:
            mArray.InsertAt(index, value);
            mModel.insert(position, value);
            break;
        case 2:
            if (!mModel.empty()) {
                mArray.RemoveAt(index);
                mModel.erase(position);
            }
            break;
        case 3: {
            const auto found = std::find(mModel.begin(), mModel.end(), value);
            FUZZ_EXPECT(mArray.Find(value) ==
                        (found == mModel.end() ? -1 : std::distance(mModel.begin(), found)));
            mArray.Remove(value);
            if (found != mModel.end()) {
                mModel.erase(found);
            }
            break;
        }
        case 4: {
            const Array<String> copy(mArray);
            FUZZ_EXPECT(copy == mArray);
            mArray = copy;
            break;
        }
        case 5:
            if (!mModel.empty()) { // an element of itself
                mArray.Insert(mArray[index]);
                mModel.push_back(String(mModel[static_cast<std::size_t>(index)]));
            }
            break;
        default:
            if (rInput.TakeByte() == 0) {
                mArray.Clear();
                mModel.clear();
            }
            break;
        }
        FUZZ_EXPECT(std::equal(mArray.begin(), mArray.end(), mModel.begin(), mModel.end()));
    }

private:
    Array<String> mArray;
    std::vector<String> mModel;
};

class LinkedListCalls
{
public:
    void Run(FuzzInput& rInput)
    {
        const String value = TakeName(rInput);
        switch (rInput.TakeBelow(6)) {
        case 0:
            mList.Insert(value);
            mModel.push_front(value);
            break;
        case 1:
            mList.Add(value);
            mModel.push_back(value);
            break;
        case 2: {
            const auto found = std::find(mModel.begin(), mModel.end(), value);
            FUZZ_EXPECT(mList.Remove(value) == (found != mModel.end()));
            if (found != mModel.end()) {
                mModel.erase(found);
            }
            break;
        }
        case 3: {
            const int steps = rInput.TakeByte();
            auto position = mList.begin();
            auto modelPosition = mModel.begin();
            for (int i = 0; i < steps && position != mList.end(); ++i) {
                ++position;
                ++modelPosition;
            }
            if (position != mList.end()) {
                mList.InsertBehind(position, value);
                mModel.insert(std::next(modelPosition), value);
            }
            break;
        }
        case 4:
            mShared = mList; // holds the same nodes, whatever this list does next
            break;
        default:
            if (rInput.TakeByte() == 0) {
                mList.Clear();
                mModel.clear();
            }
            break;
        }
        FUZZ_EXPECT(std::equal(mList.begin(), mList.end(), mModel.begin(), mModel.end()));
        FUZZ_EXPECT(mList.GetSize() == static_cast<int>(mModel.size()));
    }

private:
    LinkedList<String> mList;
    LinkedList<String> mShared;
    std::list<String> mModel;
};

// A hash table of few buckets, beside a model that keeps each chain in its order.
class HashTableCalls
{
public:
    HashTableCalls() : mTable(3), mChains(3) {}

    void Run(FuzzInput& rInput)
    {
        const String key = TakeName(rInput);
        const String value = TakeName(rInput);
        switch (rInput.TakeBelow(7)) {
        case 0:
        case 1:
            FUZZ_EXPECT(*mTable.Insert(key, value) == value);
            Insert(key, value);
            break;
        case 2:
            mTable.Remove(key);
            Remove(key);
            break;
        case 3:
            Resize(rInput.TakeByte() - 8);
            break;
        case 4: {
            const HashTable<String> copy(mTable);
            mTable = copy; // two times reversed
            break;
        }
        case 5:
            if (const String* const pStored = mTable.Find(key)) { // a value of itself
                FUZZ_EXPECT(mTable.Insert(key, *pStored) != nullptr);
                Insert(key, String(*FindIn(ChainOf(key), key)));
            }
            break;
        default:
            if (rInput.TakeByte() == 0) {
                mTable.Clear();
                mChains.assign(mChains.size(), Chain());
            }
            break;
        }
        Compare(key);
    }

private:
    using Chain = std::list<std::pair<String, String>>; // newest first

    Chain& ChainOf(const String& key) { return mChains[key.hash() % mChains.size()]; }

    static const String* FindIn(const Chain& chain, const String& key)
    {
        for (const auto& [chainKey, value] : chain) {
            if (chainKey == key) {
                return &value;
            }
        }
        return nullptr;
    }

    void Remove(const String& key)
    {
        std::erase_if(ChainOf(key), [&key](const auto& pair) { return pair.first == key; });
    }

    void Insert(const String& key, const String& value)
    {
        Remove(key);
        ChainOf(key).emplace_front(key, value);
    }

    void Resize(int size)
    {
        mTable.Resize(size);
        const std::vector<Chain> old =
            std::exchange(mChains, std::vector<Chain>(static_cast<std::size_t>((std::max)(size, 1))));
        for (const Chain& chain : old) {
            for (const auto& [key, value] : chain) {
                Insert(key, value);
            }
        }
    }

    void Compare(const String& key)
    {
        const String* const pStored = mTable.Find(key);
        const String* const pExpected = FindIn(ChainOf(key), key);
        FUZZ_EXPECT(pExpected ? pStored && *pStored == *pExpected : !pStored);
        FUZZ_EXPECT(mTable.GetTableSize() == static_cast<int>(mChains.size()));
        auto node = mTable.begin();
        for (const Chain& chain : mChains) {
            for (const auto& [chainKey, value] : chain) {
                FUZZ_EXPECT(node != mTable.end() && node->GetKey() == chainKey && node->GetValue() == value);
                ++node;
            }
        }
        FUZZ_EXPECT(node == mTable.end());
    }

    HashTable<String> mTable;
    std::vector<Chain> mChains; // by bucket
};

// A table by name, beside a map of the objects' numbers.
class TableCalls
{
public:
    TableCalls() : mpTable(FuzzTable::Construct(Value(3))) {}

    void Run(FuzzInput& rInput)
    {
        const String name = TakeName(rInput);
        switch (rInput.TakeBelow(6)) {
        case 0:
        case 1: {
            FuzzNode* const pNode = FuzzNode::Construct(Value::Null);
            pNode->mNumber = ++mNumMade;
            mpTable->Insert(name, pNode);
            mModel[name.c_str()] = mNumMade;
            break;
        }
        case 2:
            mpTable->Remove(name);
            mModel.erase(name.c_str());
            break;
        case 3:
            mpTable->Resize(rInput.TakeByte() + 1);
            break;
        case 4: {
            const Ptr<FuzzTable> pClone = MakeClone<FuzzTable>(mpTable);
            FUZZ_EXPECT(pClone->GetTableSize() == mpTable->GetTableSize());
            break;
        }
        default:
            if (rInput.TakeByte() == 0) {
                mpTable->Clear();
                mModel.clear();
            }
            break;
        }
        Compare();
    }

private:
    void Compare()
    {
        std::size_t numEntries = 0;
        for (const auto& node : mpTable->GetEntries()) {
            const auto found = mModel.find(node.GetKey().c_str());
            FUZZ_EXPECT(found != mModel.end());
            Object* const pObject = mpTable->Find(node.GetKey());
            FUZZ_EXPECT(pObject == node.GetValue());
            FUZZ_EXPECT(static_cast<FuzzNode*>(pObject)->mNumber == found->second);
            FUZZ_EXPECT(mpTable->GetName(pObject) == node.GetKey());
            ++numEntries;
        }
        FUZZ_EXPECT(numEntries == mModel.size());
    }

    Ptr<FuzzTable> mpTable;
    std::map<std::string, int> mModel;
    int mNumMade = 0;
};

// A list with any index, also wrong ones.
class ListCalls
{
public:
    ListCalls() : mpList(FuzzList::Construct(Value::Null)) {}

    void Run(FuzzInput& rInput)
    {
        const int index = rInput.TakeByte() - 8;
        const int size = static_cast<int>(mModel.size());
        const bool bInside = index >= 0 && index < size;
        const Ptr<FuzzNode> pNode = FuzzNode::Construct(Value::Null);
        switch (rInput.TakeBelow(6)) {
        case 0:
            mpList->Insert(pNode);
            mModel.push_back(pNode);
            break;
        case 1:
            mpList->InsertAt(index, pNode);
            if (index >= 0 && index <= size) {
                mModel.insert(mModel.begin() + index, pNode);
            }
            break;
        case 2:
            mpList->SetAt(index, pNode);
            if (bInside) {
                mModel[static_cast<std::size_t>(index)] = pNode;
            }
            break;
        case 3:
            mpList->RemoveAt(index);
            if (bInside) {
                mModel.erase(mModel.begin() + index);
            }
            break;
        case 4:
            if (bInside) {
                const auto first =
                    std::find(mModel.begin(), mModel.end(), mModel[static_cast<std::size_t>(index)]);
                mpList->Remove(*first);
                mModel.erase(first);
            }
            break;
        default:
            if (rInput.TakeByte() == 0) {
                mpList->Clear();
                mModel.clear();
            }
            break;
        }
        FUZZ_EXPECT(mpList->GetSize() == static_cast<int>(mModel.size()));
        for (int i = 0; i < mpList->GetSize(); ++i) {
            FUZZ_EXPECT(mpList->GetAt(i) == mModel[static_cast<std::size_t>(i)]);
        }
    }

private:
    Ptr<FuzzList> mpList;
    std::vector<Ptr<FuzzNode>> mModel;
};

// Nested tables by path, where a path leads through what is no table.
void RunPaths(FuzzInput& rInput)
{
    const Ptr<FuzzTable> pRoot = FuzzTable::Construct(Value(5));
    for (int i = 0; i < 8 && !rInput.IsEmpty(); ++i) {
        const Ptr<TablePath> pPath = TablePath::Construct(Value(rInput.TakeText()));
        const Ptr<Object> pObject = rInput.TakeByte() % 2 == 0
                                        ? Ptr<Object>(FuzzTable::Construct(Value::Null))
                                        : Ptr<Object>(FuzzNode::Construct(Value::Null));
        switch (rInput.TakeBelow(3)) {
        case 0:
            pRoot->InsertPath(pPath, pObject);
            break;
        case 1:
            pRoot->RemovePath(pPath);
            FUZZ_EXPECT(pRoot->FindPath(pPath) == nullptr);
            break;
        default:
            pRoot->FindPath(pPath);
            break;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    FuzzRun run;
    run.UndoCycles();
    FuzzInput input(pData, size);
    RunPaths(input);
    ArrayCalls array;
    LinkedListCalls linkedList;
    TableCalls table;
    ListCalls list;
    HashTableCalls hashTable;
    while (!input.IsEmpty()) {
        switch (input.TakeBelow(5)) {
        case 0:
            array.Run(input);
            break;
        case 1:
            linkedList.Run(input);
            break;
        case 2:
            table.Run(input);
            break;
        case 3:
            hashTable.Run(input);
            break;
        default:
            list.Run(input);
            break;
        }
    }
    return 0;
}
