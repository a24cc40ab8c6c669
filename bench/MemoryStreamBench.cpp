// TMemoryStream::Put of single bytes against std::vector<char>::push_back, with the default
// growth step and with a step of 64 KiB.
#include <CommonTarn.h>

#include <vector>

#include "BenchRatio.h"

static const int kByteCount = 10000000;

static void PutBytes(benchmark::State& state, unsigned int growStep)
{
    for (auto _ : state) {
        TMemoryStream stream(growStep, 1);
        for (int i = 0; i < kByteCount; ++i)
            stream.Put(static_cast<char>(i));
        benchmark::DoNotOptimize(stream.GetStart());
    }
}

static void BM_MemoryStreamPutDefaultStep(benchmark::State& state)
{
    PutBytes(state, TMemoryStream::kMinGrowStep);
}
BENCHMARK(BM_MemoryStreamPutDefaultStep)->Unit(benchmark::kMillisecond);

static void BM_MemoryStreamPut64KiBStep(benchmark::State& state)
{
    PutBytes(state, 64 * 1024);
}
BENCHMARK(BM_MemoryStreamPut64KiBStep)->Unit(benchmark::kMillisecond);

static void BM_VectorPushBack(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<char> bytes;
        for (int i = 0; i < kByteCount; ++i)
            bytes.push_back(static_cast<char>(i));
        benchmark::DoNotOptimize(bytes.data());
    }
}
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"Put 10,000,000 bytes, default step (32)", "BM_MemoryStreamPutDefaultStep",
                           "BM_VectorPushBack", "at least 0.5 (within 2 times)"},
                          {"Put 10,000,000 bytes, 64 KiB step", "BM_MemoryStreamPut64KiBStep", "BM_VectorPushBack",
                           "at least 1"}});
}
