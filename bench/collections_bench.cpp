// The collections against their standard counterparts: string-keyed lookups
// in a map whose table is sized for its contents, and appending to a
// growable array element by element.
#include "KVDbase/collections/XArray.h"
#include "KVDbase/collections/XMap.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

const int nKeys = 100000;
const int nLookups = 1000000;
const int nAdds = 10000000;

// The keys, and the order of the million lookups: every key found.
struct XLookupSet {
    std::vector<std::string> keys;
    std::vector<int> order;

    XLookupSet()
    {
        keys.reserve(nKeys);
        for (int i = 0; i < nKeys; ++i)
            keys.push_back("layer/" + std::to_string(i * 7919) + "/band");
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> pick(0, nKeys - 1);
        order.reserve(nLookups);
        for (int i = 0; i < nLookups; ++i)
            order.push_back(pick(rng));
    }
};

const XLookupSet& Lookups()
{
    static const XLookupSet set;
    return set;
}

void BM_XMapStringToPtr_Lookup(benchmark::State& state)
{
    const XLookupSet& set = Lookups();
    XMapStringToPtr map;
    map.InitHashTable(131071);  // a prime above the key count
    for (int i = 0; i < nKeys; ++i)
        map.SetAt(set.keys[i].c_str(), reinterpret_cast<void*>(static_cast<intptr_t>(i + 1)));
    for (auto _ : state) {
        intptr_t nSum = 0;
        for (int i : set.order) {
            void* p = nullptr;
            map.Lookup(set.keys[i].c_str(), p);
            nSum += reinterpret_cast<intptr_t>(p);
        }
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * nLookups);
}
BENCHMARK(BM_XMapStringToPtr_Lookup)->Unit(benchmark::kMillisecond);

void BM_StdUnorderedMap_Lookup(benchmark::State& state)
{
    const XLookupSet& set = Lookups();
    std::unordered_map<std::string, void*> map;
    map.reserve(nKeys);
    for (int i = 0; i < nKeys; ++i)
        map[set.keys[i]] = reinterpret_cast<void*>(static_cast<intptr_t>(i + 1));
    for (auto _ : state) {
        intptr_t nSum = 0;
        for (int i : set.order) {
            auto it = map.find(set.keys[i]);
            nSum += reinterpret_cast<intptr_t>(it->second);
        }
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * nLookups);
}
BENCHMARK(BM_StdUnorderedMap_Lookup)->Unit(benchmark::kMillisecond);

void BM_XDWordArray_Add(benchmark::State& state)
{
    for (auto _ : state) {
        XDWordArray array;
        for (int i = 0; i < nAdds; ++i)
            array.Add(static_cast<DWORD>(i));
        benchmark::DoNotOptimize(array.GetData());
    }
    state.SetItemsProcessed(state.iterations() * nAdds);
}
BENCHMARK(BM_XDWordArray_Add)->Unit(benchmark::kMillisecond);

void BM_StdVector_PushBack(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<DWORD> vector;
        for (int i = 0; i < nAdds; ++i)
            vector.push_back(static_cast<DWORD>(i));
        benchmark::DoNotOptimize(vector.data());
    }
    state.SetItemsProcessed(state.iterations() * nAdds);
}
BENCHMARK(BM_StdVector_PushBack)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
