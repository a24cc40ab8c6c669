// Element lists against the standard library: the merge sort of TDoubleList against
// std::list::sort on the same values, and THashListImp::FindEqual against
// std::unordered_map::find on the same keys, hits and misses.
#include <cstdint>
#include <list>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "BenchRatio.h"
#include "collections/DoubleList.h"
#include "collections/HashList.h"
#include "numeric/Randomizer.h"

namespace {

struct IntItem : TListElement {
    explicit IntItem(int v) : value(v) {}
    int Compare(const CollectionElement& other, int) const override
    {
        const int o = static_cast<const IntItem&>(other).value;
        return value < o ? -1 : value > o ? 1 : 0;
    }
    int value;
};

struct IntEntry : THashListElement {
    explicit IntEntry(int32_t k) : key(k) {}
    int Compare(const CollectionElement& other, int) const override
    {
        return key == static_cast<const IntEntry&>(other).key ? 0 : 1;
    }
    // The key itself, as std::hash does for integers.
    unsigned int GetHashedValue() const override { return static_cast<uint32_t>(key); }
    int32_t key;
};

std::vector<int> RandomValues(size_t n, int seed)
{
    TRandomizer random(seed);
    std::vector<int> values(n);
    for (int& v : values)
        v = static_cast<int>(random.Get(0x7FFFFFFF));
    return values;
}

void BM_DoubleListSort(benchmark::State& state)
{
    const std::vector<int> values = RandomValues(static_cast<size_t>(state.range(0)), 17);
    TList<IntItem> list;
    for (int v : values)
        list.Append(new IntItem(v));
    for (auto _ : state) {
        state.PauseTiming();
        size_t i = 0;
        for (IntItem* e = list.GetFirst(); e; e = list.GetNext(e))
            e->value = values[i++];
        state.ResumeTiming();
        list.Sort();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DoubleListSort)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_StdListSort(benchmark::State& state)
{
    const std::vector<int> values = RandomValues(static_cast<size_t>(state.range(0)), 17);
    std::list<int> list(values.begin(), values.end());
    for (auto _ : state) {
        state.PauseTiming();
        size_t i = 0;
        for (int& v : list)
            v = values[i++];
        state.ResumeTiming();
        list.sort();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdListSort)->Arg(1000000)->Unit(benchmark::kMillisecond);

// 100,000 distinct keys in the tables, and as many keys that are in neither; the probes go
// through them in an order unrelated to the order of insertion, so that neither side walks
// its nodes in the order of their allocation.
struct Keys {
    Keys()
    {
        TRandomizer random(99);
        std::unordered_set<int32_t> seen;
        while (present.size() < 100000 || absent.size() < 100000) {
            const int32_t k = static_cast<int32_t>(random.Get(0x7FFFFFFF)) - 0x3FFFFFFF;
            if (!seen.insert(k).second)
                continue;
            (present.size() < 100000 ? present : absent).push_back(k);
        }
        hitProbes = present;
        for (size_t i = hitProbes.size() - 1; i > 0; --i)
            std::swap(hitProbes[i], hitProbes[random.Get(static_cast<unsigned long>(i + 1))]);
    }
    std::vector<int32_t> present;
    std::vector<int32_t> absent;
    std::vector<int32_t> hitProbes;
};

const Keys& GetKeys()
{
    static const Keys keys;
    return keys;
}

void HashListFind(benchmark::State& state, bool hits)
{
    const Keys& keys = GetKeys();
    THashListImp list(static_cast<int>(keys.present.size()));
    for (int32_t k : keys.present)
        list.Add(new IntEntry(k));
    const std::vector<int32_t>& probes = hits ? keys.hitProbes : keys.absent;
    IntEntry probe(0);
    size_t i = 0;
    int64_t found = 0;
    for (auto _ : state) {
        probe.key = probes[i];
        if (++i == probes.size())
            i = 0;
        found += list.FindEqual(probe) != nullptr;
    }
    benchmark::DoNotOptimize(found);
    if (found != (hits ? static_cast<int64_t>(state.iterations()) : 0))
        state.SkipWithError("wrong answers");
}

void UnorderedMapFind(benchmark::State& state, bool hits)
{
    const Keys& keys = GetKeys();
    std::unordered_map<int32_t, IntEntry*> map;
    for (int32_t k : keys.present)
        map.emplace(k, nullptr);
    const std::vector<int32_t>& probes = hits ? keys.hitProbes : keys.absent;
    size_t i = 0;
    int64_t found = 0;
    for (auto _ : state) {
        const int32_t key = probes[i];
        if (++i == probes.size())
            i = 0;
        found += map.find(key) != map.end();
    }
    benchmark::DoNotOptimize(found);
    if (found != (hits ? static_cast<int64_t>(state.iterations()) : 0))
        state.SkipWithError("wrong answers");
}

void BM_HashListFindHit(benchmark::State& state) { HashListFind(state, true); }
void BM_HashListFindMiss(benchmark::State& state) { HashListFind(state, false); }
void BM_UnorderedMapFindHit(benchmark::State& state) { UnorderedMapFind(state, true); }
void BM_UnorderedMapFindMiss(benchmark::State& state) { UnorderedMapFind(state, false); }
BENCHMARK(BM_HashListFindHit);
BENCHMARK(BM_UnorderedMapFindHit);
BENCHMARK(BM_HashListFindMiss);
BENCHMARK(BM_UnorderedMapFindMiss);

}  // namespace

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {
                             {"Sort 1,000,000 elements", "BM_DoubleListSort/1000000", "BM_StdListSort/1000000",
                              "within 1.3 times (ratio >= 0.77)"},
                             {"FindEqual hit among 100,000", "BM_HashListFindHit", "BM_UnorderedMapFindHit",
                              "within 2 times (ratio >= 0.5)"},
                             {"FindEqual miss among 100,000", "BM_HashListFindMiss", "BM_UnorderedMapFindMiss",
                              "within 2 times (ratio >= 0.5)"},
                         });
}
