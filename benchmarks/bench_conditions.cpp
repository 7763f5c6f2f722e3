// Reading the run conditions of this machine as each test does: one snapshot
// before, one after, and their comparison. Together they must stay under
// 5 ms, so that they do not weigh on a short test. Fails (exit 1) when the
// median misses that. --short: 100 repetitions.
#include "bench/evidence.h"
#include "sensors/run_conditions.h"

#include "measure.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace {
constexpr int Warmup = 50;
constexpr int Repetitions = 2000;
constexpr int ShortWarmup = 5;
constexpr int ShortRepetitions = 100;
constexpr double TargetMilliseconds = 5.0;

double Milliseconds(std::chrono::steady_clock::duration span)
{
    return std::chrono::duration<double, std::milli>(span).count();
}
}  // namespace

int main(int argc, char** argv)
{
    BenchOptions options;
    if (!ParseBenchOptions(argc, argv, options))
        return 2;
    BenchOutcome outcome(options);
    const int warmup = options.shortRun ? ShortWarmup : Warmup;
    const int repetitions = options.shortRun ? ShortRepetitions : Repetitions;
    const MachineTopology topology = ReadMachineTopology("/");
    std::vector<double> pairs, singles;
    pairs.reserve(repetitions);
    singles.reserve(repetitions);
    int answered = 0;  // comparisons with a share of other programs
    for (int k = 0; k < warmup + repetitions; ++k) {
        const auto start = std::chrono::steady_clock::now();
        // As a test reads them: the snapshot before, then the one after
        // with the topology, combined.
        const ConditionsSnapshot before = ConditionsBeforeRun();
        const auto middle = std::chrono::steady_clock::now();
        const RunConditions run = ConditionsAfterRun(before, 1);
        const auto stop = std::chrono::steady_clock::now();
        if (k < warmup)
            continue;
        pairs.push_back(Milliseconds(stop - start));
        singles.push_back(Milliseconds(middle - start));
        answered += run.otherPercent.has_value();
    }
    const ConditionsSnapshot last = ReadConditionsSnapshot("/");
    std::printf("machine: %u logical processors, %zu governors, throttle counters %s, sensors %s\n",
                topology.logicalProcessors, topology.governors.size(), last.throttleCount ? "yes" : "no",
                last.highestCelsius || last.lowestMhz ? "yes" : "no");
    std::printf("wall time of %d repetitions after %d to warm up:\n", repetitions, warmup);
    std::printf("one snapshot:              median %7.3f ms, worst %7.3f ms\n", Median(singles),
                *std::max_element(singles.begin(), singles.end()));
    const double median = Median(pairs), worst = *std::max_element(pairs.begin(), pairs.end());
    std::printf("before + after (topology): median %7.3f ms, worst %7.3f ms  (target < %.1f ms: %s)\n", median,
                worst, TargetMilliseconds, median < TargetMilliseconds ? "met" : "missed");
    std::printf("comparisons with a share of other programs: %d of %d\n", answered, repetitions);
    outcome.Below("before + after (topology), median ms", median, TargetMilliseconds);
    return outcome.Exit();
}
