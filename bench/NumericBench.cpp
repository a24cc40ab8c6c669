// TRandomizer::Get against std::minstd_rand, and ComputeCrc32 against zlib's crc32.
#include <random>
#include <vector>

#include "BenchRatio.h"
#include "numeric/NumericHelpers.h"
#include "numeric/Randomizer.h"

#ifdef HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

const std::vector<unsigned char>& Data16MiB()
{
    static const std::vector<unsigned char> data = [] {
        std::vector<unsigned char> v(16u << 20);
        std::mt19937 random(1);
        for (unsigned char& c : v)
            c = static_cast<unsigned char>(random());
        return v;
    }();
    return data;
}

const int kDrawsPerIteration = 1024;

}  // namespace

static void BM_ComputeCrc32_16MiB(benchmark::State& state)
{
    const std::vector<unsigned char>& data = Data16MiB();
    for (auto _ : state) {
        unsigned long crc = ComputeCrc32(data.data(), static_cast<unsigned long>(data.size()));
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}
BENCHMARK(BM_ComputeCrc32_16MiB);

#ifdef HAVE_ZLIB
static void BM_ZlibCrc32_16MiB(benchmark::State& state)
{
    const std::vector<unsigned char>& data = Data16MiB();
    for (auto _ : state) {
        uLong crc = crc32(0, data.data(), static_cast<uInt>(data.size()));
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}
BENCHMARK(BM_ZlibCrc32_16MiB);
#endif

static void BM_RandomizerGet1000(benchmark::State& state)
{
    TRandomizer random(12345);
    for (auto _ : state) {
        unsigned long sum = 0;
        for (int i = 0; i < kDrawsPerIteration; ++i)
            sum += random.Get(1000);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kDrawsPerIteration);
}
BENCHMARK(BM_RandomizerGet1000);

static void BM_MinstdRand1000(benchmark::State& state)
{
    std::minstd_rand random(12345);
    for (auto _ : state) {
        unsigned long sum = 0;
        for (int i = 0; i < kDrawsPerIteration; ++i)
            sum += random() % 1000;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kDrawsPerIteration);
}
BENCHMARK(BM_MinstdRand1000);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"ComputeCrc32, 16 MiB, vs zlib crc32", "BM_ComputeCrc32_16MiB", "BM_ZlibCrc32_16MiB",
                           "at least 1 (as fast as zlib)"},
                          {"TRandomizer::Get(1000) vs std::minstd_rand % 1000", "BM_RandomizerGet1000",
                           "BM_MinstdRand1000", "at least 0.83 (within 1.2 times)"}});
}
