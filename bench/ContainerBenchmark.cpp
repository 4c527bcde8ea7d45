// The containers beside those of the standard library.

#include "Model.h"
#include "Rows.h"

#include "QBase/HashTable.h"
#include "QBase/LinkedList.h"
#include "QBase/Table.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Bench
{
namespace
{

constexpr int NUM_ELEMENTS = 100000;

std::string WithSize(const char* pWork)
{
    return std::string(pWork) + " of 100,000";
}

std::vector<String> Names()
{
    std::vector<String> names;
    for (int i = 0; i < NUM_ELEMENTS; ++i) {
        names.push_back(String::Format("name%d", i));
    }
    return names;
}

// --- Rows: appended to, one after another ---

void Append(Array<int>& rArray, int value)
{
    rArray.Insert(value);
}
void Append(std::vector<int>& rVector, int value)
{
    rVector.push_back(value);
}
void Append(QBase::LinkedList<int>& rList, int value)
{
    rList.Insert(value);
}
void Append(std::list<int>& rList, int value)
{
    rList.push_back(value);
}

template <typename Row>
void AppendInts(benchmark::State& state)
{
    for (auto _ : state) {
        Row row;
        for (int i = 0; i < NUM_ELEMENTS; ++i) {
            Append(row, i);
        }
        benchmark::DoNotOptimize(&row);
    }
    CountItems(state, NUM_ELEMENTS);
}

// A list of objects holds each of them.
void AppendToList(benchmark::State& state)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (auto _ : state) {
        const Ptr<List> pList = List::Construct(Value::Null);
        for (int i = 0; i < NUM_ELEMENTS; ++i) {
            pList->Insert(pObject);
        }
    }
    CountItems(state, NUM_ELEMENTS);
}

void AppendSharedPointers(benchmark::State& state)
{
    const auto pObject = std::make_shared<int>(1);
    for (auto _ : state) {
        std::vector<std::shared_ptr<int>> list;
        for (int i = 0; i < NUM_ELEMENTS; ++i) {
            list.push_back(pObject);
        }
        benchmark::DoNotOptimize(list.data());
    }
    CountItems(state, NUM_ELEMENTS);
}

// --- Maps from names ---

class QBaseMap
{
public:
    void Insert(const String& name, int value) { mTable.Insert(name, value); }
    int Find(const String& name) { return *mTable.Find(name); }

private:
    QBase::HashTable<int> mTable{97}; // buckets; beyond a length of their chains an index takes over
};

class StandardMap
{
public:
    void Insert(const String& name, int value) { mMap.insert_or_assign(name, value); }
    int Find(const String& name) { return mMap.find(name)->second; }

private:
    std::unordered_map<String, int> mMap;
};

// A Table holds objects.
class QBaseTable
{
public:
    void Insert(const String& name, int) { mpTable->Insert(name, mpObject); }
    Object* Find(const String& name) { return mpTable->Find(name); }

private:
    Ptr<Object> mpObject = Object::Construct(Value::Null);
    Ptr<QBase::Table> mpTable = QBase::Table::Construct(Value::Null);
};

class StandardTable
{
public:
    void Insert(const String& name, int) { mMap.insert_or_assign(name, mpObject); }
    int* Find(const String& name) { return mMap.find(name)->second.get(); }

private:
    std::shared_ptr<int> mpObject = std::make_shared<int>(1);
    std::unordered_map<String, std::shared_ptr<int>> mMap;
};

template <typename Map>
void Insert(benchmark::State& state)
{
    const std::vector<String> names = Names();
    for (auto _ : state) {
        Map map;
        for (const String& name : names) {
            map.Insert(name, 1);
        }
        benchmark::DoNotOptimize(&map);
    }
    CountItems(state, NUM_ELEMENTS);
}

template <typename Map>
void Find(benchmark::State& state)
{
    const std::vector<String> names = Names();
    Map map;
    for (const String& name : names) {
        map.Insert(name, 1);
    }
    for (auto _ : state) {
        for (const String& name : names) {
            benchmark::DoNotOptimize(map.Find(name));
        }
    }
    CountItems(state, NUM_ELEMENTS);
}

const bool sbEntered = [] {
    const Area area("containers");
    area.Enter(WithSize("append an int to an array"), "QBase", AppendInts<Array<int>>);
    area.Enter(WithSize("append an int to an array"), "std::vector", AppendInts<std::vector<int>>);
    area.Enter(WithSize("append an int to a linked list"), "QBase", AppendInts<QBase::LinkedList<int>>);
    area.Enter(WithSize("append an int to a linked list"), "std::list", AppendInts<std::list<int>>);
    area.Enter(WithSize("append an object to a list"), "QBase", AppendToList);
    area.Enter(WithSize("append an object to a list"), "vector of shared_ptr", AppendSharedPointers);
    area.Enter(WithSize("insert a name into a hash table"), "QBase", Insert<QBaseMap>);
    area.Enter(WithSize("insert a name into a hash table"), "unordered_map", Insert<StandardMap>);
    area.Enter(WithSize("find a name in a hash table"), "QBase", Find<QBaseMap>);
    area.Enter(WithSize("find a name in a hash table"), "unordered_map", Find<StandardMap>);
    area.Enter(WithSize("insert an object into a table"), "QBase", Insert<QBaseTable>);
    area.Enter(WithSize("insert an object into a table"), "map to shared_ptr", Insert<StandardTable>);
    area.Enter(WithSize("find an object in a table"), "QBase", Find<QBaseTable>);
    area.Enter(WithSize("find an object in a table"), "map to shared_ptr", Find<StandardTable>);
    return true;
}();

} // namespace
} // namespace Bench
