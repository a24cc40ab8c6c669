// TArrayBase against std::sort and std::vector on the same pointers, in the same run.
#include <algorithm>
#include <cstring>
#include <vector>

#include "BenchRatio.h"
#include "collections/ArrayBase.h"
#include "numeric/Randomizer.h"

namespace {

struct Number : CollectionElement {
    explicit Number(int value) : value(value) {}
    int Compare(const CollectionElement& other, int) const override
    {
        const int b = static_cast<const Number&>(other).value;
        return value < b ? -1 : value > b ? 1 : 0;
    }
    int value;
};

// One set of elements in one random order, shared by both sides of the sort.
const std::vector<CollectionElement*>& Shuffled(size_t n)
{
    static std::vector<Number> numbers;
    static std::vector<CollectionElement*> pointers;
    if (pointers.size() != n) {
        numbers.clear();
        numbers.reserve(n);
        TRandomizer random(12345);
        for (size_t i = 0; i < n; ++i)
            numbers.emplace_back(static_cast<int>(random.Get(0x7FFFFFFF)));
        pointers.clear();
        for (Number& number : numbers)
            pointers.push_back(&number);
    }
    return pointers;
}

void BM_ArraySort(benchmark::State& state)
{
    const std::vector<CollectionElement*>& input = Shuffled(static_cast<size_t>(state.range(0)));
    TArrayBase array(0, 0, 0);
    array.AllocateBusyCells(static_cast<int>(input.size()));
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(array.GetFirstCell(), input.data(), input.size() * sizeof(CollectionElement*));
        state.ResumeTiming();
        array.Sort();
    }
    if (!array.IsSorted())
        state.SkipWithError("not sorted");
}

void BM_StdSort(benchmark::State& state)
{
    const std::vector<CollectionElement*>& input = Shuffled(static_cast<size_t>(state.range(0)));
    std::vector<CollectionElement*> v(input.size());
    for (auto _ : state) {
        state.PauseTiming();
        std::copy(input.begin(), input.end(), v.begin());
        state.ResumeTiming();
        std::sort(v.begin(), v.end(),
                  [](const CollectionElement* a, const CollectionElement* b) { return a->Compare(*b, 0) < 0; });
    }
    benchmark::DoNotOptimize(v.data());
}

constexpr int kAppended = 1000000;

void BM_ArrayAppend(benchmark::State& state)
{
    Number element(1);
    for (auto _ : state) {
        TArrayBase array(0, static_cast<int>(state.range(0)), 0);
        for (int i = 0; i < kAppended; ++i)
            array.Add(&element);
        benchmark::DoNotOptimize(array.GetFirstCell());
    }
}

void BM_VectorPushBack(benchmark::State& state)
{
    Number element(1);
    for (auto _ : state) {
        std::vector<CollectionElement*> v;
        for (int i = 0; i < kAppended; ++i)
            v.push_back(&element);
        benchmark::DoNotOptimize(v.data());
    }
}

}  // namespace

BENCHMARK(BM_ArraySort)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StdSort)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayAppend)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"Sort 1,000,000 pointers (virtual Compare)", "BM_ArraySort/1000000", "BM_StdSort/1000000",
                           "within 1.5 times of std::sort (ratio at least 0.67)"},
                          {"Append 1,000,000 pointers, expansion size 20", "BM_ArrayAppend/20", "BM_VectorPushBack",
                           "reported"},
                          {"Append 1,000,000 pointers, expansion size 1000", "BM_ArrayAppend/1000",
                           "BM_VectorPushBack", "reported"}});
}
