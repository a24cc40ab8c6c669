// FindCachedString of a known id against the usual cache of texts: a std::unordered_map
// behind a std::mutex.
#include "BenchRatio.h"

#include <CommonTarn.h>

#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {

constexpr unsigned int kFirstId = 18000, kIdCount = 27;

void BM_FindCachedString(benchmark::State& state)
{
    for (unsigned int id = kFirstId; id < kFirstId + kIdCount; ++id)
        FindCachedString(id);
    unsigned int k = 0;
    size_t length = 0;
    for (auto _ : state) {
        length += FindCachedString(kFirstId + k).length();
        if (++k == kIdCount)
            k = 0;
    }
    benchmark::DoNotOptimize(length);
}

void BM_MutexUnorderedMapFind(benchmark::State& state)
{
    std::mutex lock;
    std::unordered_map<unsigned, std::string> cache;
    char text[2048];
    for (unsigned int id = kFirstId; id < kFirstId + kIdCount; ++id)
        cache.emplace(id, FindString(text, id));
    unsigned int k = 0;
    size_t length = 0;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> hold(lock);
            length += cache.find(kFirstId + k)->second.length();
        }
        if (++k == kIdCount)
            k = 0;
    }
    benchmark::DoNotOptimize(length);
}

BENCHMARK(BM_FindCachedString);
BENCHMARK(BM_MutexUnorderedMapFind);

}  // namespace

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {
                             {"FindCachedString of a known id", "BM_FindCachedString", "BM_MutexUnorderedMapFind",
                              "within 2 times (ratio >= 0.5)"},
                         });
}
