// Shared main for the benchmark programs: runs the benchmarks, then prints for each pair
// how the library's CPU time compares with its peer's, measured in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

struct RatioPair {
    const char* title;
    const char* ours;    // benchmark name of the library's side
    const char* peer;    // benchmark name of the peer
    const char* target;  // the goal, as a reader wants to see it
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (!run.error_occurred && run.run_type == Run::RT_Iteration)
                nanoseconds[run.benchmark_name()] =
                    run.GetAdjustedCPUTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                    benchmark::GetTimeUnitMultiplier(run.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> nanoseconds;
};

inline int RunWithRatios(int argc, char** argv, const std::vector<RatioPair>& pairs)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // A quarter of a second of work first, so that the first benchmark does not pay for the
    // processor leaving its idle clock.
    const auto warm = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
    for (unsigned long spin = 0; std::chrono::steady_clock::now() < warm; ++spin)
        benchmark::DoNotOptimize(spin);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nRatios (peer time / library time; above 1 means the library is faster):\n");
    for (const RatioPair& pair : pairs) {
        auto ours = reporter.nanoseconds.find(pair.ours);
        auto peer = reporter.nanoseconds.find(pair.peer);
        if (ours == reporter.nanoseconds.end() || peer == reporter.nanoseconds.end() || ours->second <= 0) {
            std::printf("  %-48s not measured in this run\n", pair.title);
            continue;
        }
        std::printf("  %-48s %8.2f  (library %.1f ns, peer %.1f ns; target: %s)\n", pair.title,
                    peer->second / ours->second, ours->second, peer->second, pair.target);
    }
    return 0;
}
