// Arrays, hash tables, linked lists, tables and lists, driven by any sequence of calls beside the standard
// library's containers.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/Array.h"
#include "QBase/HashTable.h"
#include "QBase/LinkedList.h"
#include "QBase/TablePath.h"

#include <iterator>
#include <list>
#include <map>
#include <string>
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
        switch (rInput.TakeBelow(7)) {
        case 0:
            mArray.Insert(value);
            mModel.push_back(value);
            break;
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
        switch (rInput.TakeBelow(4)) {
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
    std::list<String> mModel;
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
    while (!input.IsEmpty()) {
        switch (input.TakeBelow(4)) {
        case 0:
            array.Run(input);
            break;
        case 1:
            linkedList.Run(input);
            break;
        case 2:
            table.Run(input);
            break;
        default:
            list.Run(input);
            break;
        }
    }
    return 0;
}
