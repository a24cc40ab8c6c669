// A TConfig of 100,000 values in 1,000 groups, built and read back by name, against
// Boost.PropertyTree's ptree::put and ptree::get with the same paths. Each value is reached
// from the root: our side moves to the root, down into the group and sets or gets the value;
// the peer puts or gets "group.value".
#include <CommonTarn.h>

#include <boost/property_tree/ptree.hpp>
#include <string>
#include <vector>

#include "BenchRatio.h"

namespace {

const int kGroups = 1000;
const int kValuesPerGroup = 100;

struct Names {
    std::vector<std::string> groups, values, paths;
    Names()
    {
        for (int g = 0; g < kGroups; ++g)
            groups.push_back("Group" + std::to_string(g));
        for (int v = 0; v < kValuesPerGroup; ++v)
            values.push_back("Value" + std::to_string(v));
        for (int g = 0; g < kGroups; ++g)
            for (int v = 0; v < kValuesPerGroup; ++v)
                paths.push_back(groups[g] + "." + values[v]);
    }
};

const Names& AllNames()
{
    static const Names names;
    return names;
}

void Build(TConfig& config)
{
    const Names& n = AllNames();
    for (int g = 0; g < kGroups; ++g)
        for (int v = 0; v < kValuesPerGroup; ++v) {
            config.MoveToRoot();
            config.MoveDown(n.groups[g].c_str());
            config.SetValue(g * kValuesPerGroup + v, n.values[v].c_str());
        }
}

long ReadBack(TConfig& config)
{
    const Names& n = AllNames();
    long sum = 0;
    for (int g = 0; g < kGroups; ++g)
        for (int v = 0; v < kValuesPerGroup; ++v) {
            config.MoveToRoot();
            config.MoveDown(n.groups[g].c_str());
            sum += config.GetValue(-1, n.values[v].c_str());
        }
    return sum;
}

void Build(boost::property_tree::ptree& tree)
{
    const Names& n = AllNames();
    for (int i = 0; i < kGroups * kValuesPerGroup; ++i)
        tree.put(n.paths[static_cast<size_t>(i)], i);
}

long ReadBack(const boost::property_tree::ptree& tree)
{
    const Names& n = AllNames();
    long sum = 0;
    for (int i = 0; i < kGroups * kValuesPerGroup; ++i)
        sum += tree.get<int>(n.paths[static_cast<size_t>(i)]);
    return sum;
}

const long kSum = static_cast<long>(kGroups) * kValuesPerGroup * (kGroups * kValuesPerGroup - 1) / 2;

}  // namespace

static void BM_ConfigBuildAndRead(benchmark::State& state)
{
    for (auto _ : state) {
        TConfig config("Bench");
        Build(config);
        if (ReadBack(config) != kSum)
            state.SkipWithError("wrong sum");
    }
}
BENCHMARK(BM_ConfigBuildAndRead)->Unit(benchmark::kMillisecond);

static void BM_PtreePutAndGet(benchmark::State& state)
{
    for (auto _ : state) {
        boost::property_tree::ptree tree;
        Build(tree);
        if (ReadBack(tree) != kSum)
            state.SkipWithError("wrong sum");
    }
}
BENCHMARK(BM_PtreePutAndGet)->Unit(benchmark::kMillisecond);

static void BM_ConfigRead(benchmark::State& state)
{
    TConfig config("Bench");
    Build(config);
    for (auto _ : state)
        benchmark::DoNotOptimize(ReadBack(config));
}
BENCHMARK(BM_ConfigRead)->Unit(benchmark::kMillisecond);

static void BM_PtreeGet(benchmark::State& state)
{
    boost::property_tree::ptree tree;
    Build(tree);
    for (auto _ : state)
        benchmark::DoNotOptimize(ReadBack(tree));
}
BENCHMARK(BM_PtreeGet)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"Build 100,000 values in 1,000 groups, read back", "BM_ConfigBuildAndRead",
                           "BM_PtreePutAndGet", "at least 1"},
                          {"Read 100,000 values back by name", "BM_ConfigRead", "BM_PtreeGet", "for information"}});
}
