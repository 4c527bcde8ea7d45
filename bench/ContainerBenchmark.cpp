// The containers beside those of the standard library.

#include "QBase/Array.h"
#include "QBase/HashTable.h"
#include "QBase/LinkedList.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

using namespace QBase;

namespace
{

std::vector<String> Names(std::int64_t count)
{
    std::vector<String> names;
    for (std::int64_t i = 0; i < count; ++i) {
        names.push_back(String::Format("name%d", static_cast<int>(i)));
    }
    return names;
}

void ArrayAppend(benchmark::State& state)
{
    for (auto _ : state) {
        Array<int> array;
        for (int i = 0; i < state.range(0); ++i) {
            array.Insert(i);
        }
        benchmark::DoNotOptimize(array.begin());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ArrayAppend)->Arg(8)->Arg(1000)->Arg(1000000);

void VectorAppend(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<int> vector;
        for (int i = 0; i < state.range(0); ++i) {
            vector.push_back(i);
        }
        benchmark::DoNotOptimize(vector.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(VectorAppend)->Arg(8)->Arg(1000)->Arg(1000000);

void ArrayOfPtrAppend(benchmark::State& state)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (auto _ : state) {
        Array<Ptr<Object>> array;
        for (int i = 0; i < state.range(0); ++i) {
            array.Insert(pObject);
        }
        benchmark::DoNotOptimize(array.begin());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ArrayOfPtrAppend)->Arg(8)->Arg(1000)->Arg(1000000);

void VectorOfSharedPtrAppend(benchmark::State& state)
{
    const auto pObject = std::make_shared<int>(1);
    for (auto _ : state) {
        std::vector<std::shared_ptr<int>> vector;
        for (int i = 0; i < state.range(0); ++i) {
            vector.push_back(pObject);
        }
        benchmark::DoNotOptimize(vector.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(VectorOfSharedPtrAppend)->Arg(8)->Arg(1000)->Arg(1000000);

// 97 buckets whatever the number of names: chains grow, and beyond a length the index takes over.
void HashTableInsert(benchmark::State& state)
{
    const std::vector<String> names = Names(state.range(0));
    for (auto _ : state) {
        HashTable<int> table(97);
        for (const String& name : names) {
            table.Insert(name, 1);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(HashTableInsert)->Arg(50)->Arg(1000)->Arg(100000);

void UnorderedMapInsert(benchmark::State& state)
{
    const std::vector<String> names = Names(state.range(0));
    for (auto _ : state) {
        std::unordered_map<String, int> map;
        for (const String& name : names) {
            map.insert_or_assign(name, 1);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(UnorderedMapInsert)->Arg(50)->Arg(1000)->Arg(100000);

void HashTableFind(benchmark::State& state)
{
    const std::vector<String> names = Names(state.range(0));
    HashTable<int> table(97);
    for (const String& name : names) {
        table.Insert(name, 1);
    }
    for (auto _ : state) {
        for (const String& name : names) {
            benchmark::DoNotOptimize(table.Find(name));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(HashTableFind)->Arg(50)->Arg(1000)->Arg(100000);

void UnorderedMapFind(benchmark::State& state)
{
    const std::vector<String> names = Names(state.range(0));
    std::unordered_map<String, int> map;
    for (const String& name : names) {
        map.insert_or_assign(name, 1);
    }
    for (auto _ : state) {
        for (const String& name : names) {
            benchmark::DoNotOptimize(map.find(name));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(UnorderedMapFind)->Arg(50)->Arg(1000)->Arg(100000);

void LinkedListInsertAndClear(benchmark::State& state)
{
    for (auto _ : state) {
        LinkedList<int> list;
        for (int i = 0; i < state.range(0); ++i) {
            list.Insert(i);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(LinkedListInsertAndClear)->Arg(1000)->Arg(100000);

} // namespace
