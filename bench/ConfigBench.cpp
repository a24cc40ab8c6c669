// A TConfig of 100,000 values in 1,000 groups, built and read back by name, against
// Boost.PropertyTree's ptree::put and ptree::get with the same paths. Each value is reached
// from the root: our side moves to the root, down into the group and sets or gets the value;
// the peer puts or gets "group.value". Then a file of about 10 MiB: Load against read_info of
// the same tree, and the written form in memory against write_info into a string.
#include <CommonTarn.h>
#include <TarnNames.h>

#include <boost/property_tree/info_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
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

namespace {

// 10 MiB of configuration: 250,000 texts in 5,000 groups, in both forms, on disk.
struct BigFiles {
    std::string ours, info;
    TFileName oursName;
    BigFiles()
        : ours((std::filesystem::temp_directory_path() / "ConfigBench.cfg").string()),
          info((std::filesystem::temp_directory_path() / "ConfigBench.info").string())
    {
        TConfig config("Big");
        boost::property_tree::ptree tree;
        for (int g = 0; g < 5000; ++g) {
            const std::string group = "Group" + std::to_string(g);
            config.MoveToRoot();
            config.MoveDown(group.c_str());
            for (int v = 0; v < 50; ++v) {
                const std::string name = "Value" + std::to_string(v);
                const std::string text = "the text of value " + std::to_string(g * 50 + v);
                config.SetValue(text.c_str(), name.c_str());
                tree.put_child(boost::property_tree::ptree::path_type(group + "." + name),
                               boost::property_tree::ptree(text));
            }
        }
        unsigned int size = 0;
        char* block = config.GetAsBlock(&size);
        std::ofstream(ours, std::ios::binary).write(block, size);
        NH_Heap::FreeMem(block);
        boost::property_tree::write_info(info, tree);
        char windowsName[1024];
        ConvertPosixToWindowsName(ours.c_str(), windowsName, sizeof windowsName);
        oursName = windowsName;
    }
    ~BigFiles()
    {
        std::remove(ours.c_str());
        std::remove(info.c_str());
    }
};

const BigFiles& Files()
{
    static const BigFiles files;
    return files;
}

}  // namespace

static void BM_ConfigLoad10MiB(benchmark::State& state)
{
    const BigFiles& files = Files();
    for (auto _ : state) {
        TConfig config("Big");
        config.Load(files.oursName);
        benchmark::DoNotOptimize(config.GetNumKeys());
    }
}
BENCHMARK(BM_ConfigLoad10MiB)->Unit(benchmark::kMillisecond);

static void BM_PtreeReadInfo10MiB(benchmark::State& state)
{
    const BigFiles& files = Files();
    for (auto _ : state) {
        boost::property_tree::ptree tree;
        boost::property_tree::read_info(files.info, tree);
        benchmark::DoNotOptimize(tree.size());
    }
}
BENCHMARK(BM_PtreeReadInfo10MiB)->Unit(benchmark::kMillisecond);

static void BM_ConfigGetAsBlock10MiB(benchmark::State& state)
{
    TConfig config("Big");
    config.Load(Files().oursName);
    for (auto _ : state) {
        unsigned int size = 0;
        char* block = config.GetAsBlock(&size);
        benchmark::DoNotOptimize(block);
        NH_Heap::FreeMem(block);
    }
}
BENCHMARK(BM_ConfigGetAsBlock10MiB)->Unit(benchmark::kMillisecond);

static void BM_PtreeWriteInfo10MiB(benchmark::State& state)
{
    boost::property_tree::ptree tree;
    boost::property_tree::read_info(Files().info, tree);
    for (auto _ : state) {
        std::ostringstream out;
        boost::property_tree::write_info(out, tree);
        benchmark::DoNotOptimize(out.str().size());
    }
}
BENCHMARK(BM_PtreeWriteInfo10MiB)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"Build 100,000 values in 1,000 groups, read back", "BM_ConfigBuildAndRead",
                           "BM_PtreePutAndGet", "at least 1"},
                          {"Read 100,000 values back by name", "BM_ConfigRead", "BM_PtreeGet", "for information"},
                          {"Load a 10 MiB file", "BM_ConfigLoad10MiB", "BM_PtreeReadInfo10MiB",
                           "with Save, at least 2"},
                          {"Write the 10 MiB form in memory", "BM_ConfigGetAsBlock10MiB", "BM_PtreeWriteInfo10MiB",
                           "for information, until Save"}});
}
