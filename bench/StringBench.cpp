// String against std::string: a copy of a 1 KiB text, and a text built one character at a time.
#include <CommonTarn.h>

#include <string>

#include "BenchRatio.h"

static void BM_StringCopy1KiB(benchmark::State& state)
{
    const String source('x', 1024);
    for (auto _ : state) {
        String copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
BENCHMARK(BM_StringCopy1KiB);

static void BM_StdStringCopy1KiB(benchmark::State& state)
{
    const std::string source(1024, 'x');
    for (auto _ : state) {
        std::string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_StdStringCopy1KiB);

static const int kAppendCount = 1000000;

static void BM_StringAppendChars(benchmark::State& state)
{
    for (auto _ : state) {
        String text;
        for (int i = 0; i < kAppendCount; ++i)
            text += static_cast<char>('a' + (i & 15));
        benchmark::DoNotOptimize(text.c_str());
    }
}
BENCHMARK(BM_StringAppendChars)->Unit(benchmark::kMillisecond);

static void BM_StdStringPushBack(benchmark::State& state)
{
    for (auto _ : state) {
        std::string text;
        for (int i = 0; i < kAppendCount; ++i)
            text.push_back(static_cast<char>('a' + (i & 15)));
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(BM_StdStringPushBack)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
                         {{"copy a 1 KiB text", "BM_StringCopy1KiB", "BM_StdStringCopy1KiB", "at least 10"},
                          {"append 1,000,000 characters one at a time", "BM_StringAppendChars",
                           "BM_StdStringPushBack", "at least 0.5 (within 2 times)"}});
}
