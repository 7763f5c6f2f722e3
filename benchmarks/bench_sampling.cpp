// The timed loop with its per-second samples against the same loop without
// them: instructions per block (under callgrind, when valgrind is there)
// and scores, alternated on the real clock. Fails (exit 1) when a run fails
// or the instructions differ by more than 1 %; a short run without valgrind
// is skipped (exit 77).
//   bench_sampling [--short] [--fail-target]   both measurements
//   bench_sampling blocks sampled|bare N       run N blocks on a stepping clock and exit
#include "bench/work_cycle.h"

#include "measure.h"

#include <wx/init.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {
// The loop as it was before the samples: the same work, the same clock
// readings, no counting.
template <class Cycle>
[[gnu::always_inline]] inline TimedRun BareBlocksOf(std::int32_t millis, const MillisClock& clock, Cycle&& cycle)
{
    WorkState state;
    state.bytesC[0] = 0;
    state.valuesC[0] = 0.0;
    TimedRun run;
    run.startMillis = static_cast<double>(clock());
    double now = run.startMillis;
    const double limit = static_cast<double>(millis);
    volatile double blocks = 0.0;
    while (limit > now - run.startMillis) {
        volatile double cycles = 0.0;
        while (cycles < 100.0) {
            cycle(state);
            cycles = cycles + 1.0;
        }
        now = static_cast<double>(clock());
        blocks = blocks + 1.0;
    }
    run.blocks = blocks;
    run.endMillis = now;
    run.points = 10.0 * run.blocks / static_cast<double>(millis / 1000);
    return run;
}

[[gnu::noinline]] TimedRun Bare(std::int32_t millis, const MillisClock& clock)
{
    return BareBlocksOf(millis, clock, [](WorkState& state) { RunWorkCycle(state); });
}

[[gnu::noinline]] TimedRun Sampled(std::int32_t millis, const MillisClock& clock)
{
    return RunTimedBlocksOf(millis, clock, [](WorkState& state) { RunWorkCycle(state); });
}

// N blocks: a clock that steps 1 ms a reading over an N ms run, so each
// block ends in a second of its own now and then, as in a real run.
int RunBlocks(const char* mode, const char* count)
{
    char* end = nullptr;
    const long blocks = std::strtol(count, &end, 10);
    const bool sampled = std::strcmp(mode, "sampled") == 0;
    if ((!sampled && std::strcmp(mode, "bare") != 0) || end == count || *end != '\0' || blocks < 1 ||
        blocks > 1000000) {
        std::fprintf(stderr, "usage: bench_sampling blocks sampled|bare N (N from 1 to 1000000)\n");
        return 2;
    }
    MillisClock clock = [now = std::int64_t{-1}]() mutable { return ++now; };
    const TimedRun run = sampled ? Sampled(static_cast<std::int32_t>(blocks), clock)
                                 : Bare(static_cast<std::int32_t>(blocks), clock);
    std::printf("%.0f blocks\n", run.blocks);
    return run.blocks == double(blocks) ? 0 : 1;
}

// `mode` running `blocks` blocks under callgrind, started; null when it
// could not start. The counts do not depend on the load, so the runs go on
// side by side.
FILE* StartInstructions(const std::string& self, const char* mode, long blocks)
{
    const std::string command = "valgrind --tool=callgrind --callgrind-out-file=/dev/null " + ShellQuoted(self) +
                                " blocks " + mode + " " + std::to_string(blocks) + " 2>&1 >/dev/null";
    return popen(command.c_str(), "r");
}

// The instructions of a run StartInstructions started, from callgrind's
// summary; -1 when it failed.
double Instructions(FILE* pipe)
{
    if (pipe == nullptr)
        return -1;
    double collected = -1;
    std::array<char, 512> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr)
        if (const char* at = std::strstr(line.data(), "Collected :"))
            collected = std::strtod(at + std::strlen("Collected :"), nullptr);
    return pclose(pipe) == 0 ? collected : -1;
}

double Spread(const std::vector<double>& values)
{
    if (values.size() < 2)
        return 0.0;
    double sum = 0.0;
    for (double v : values)
        sum += v;
    const double mean = sum / values.size();
    double squares = 0.0;
    for (double v : values)
        squares += (v - mean) * (v - mean);
    return std::sqrt(squares / (values.size() - 1)) / mean * 100.0;
}
}  // namespace

int main(int argc, char** argv)
{
    wxInitializer initializer;
    if (argc == 4 && std::strcmp(argv[1], "blocks") == 0)
        return RunBlocks(argv[2], argv[3]);
    BenchOptions options;
    if (!ParseBenchOptions(argc, argv, options))
        return 2;
    BenchOutcome outcome(options);

    // Instructions: twice the blocks against once, so that what both pay
    // once (start-up, the first touch of the pages) drops out.
    const long blocks = options.shortRun ? 2 : 1000;
    if (std::system("command -v valgrind >/dev/null 2>&1") != 0) {
        if (options.shortRun) {
            std::printf("skipped: valgrind is not installed (scripts/install-deps.sh bench)\n");
            return 77;
        }
        outcome.RunFailed("valgrind is not installed (scripts/install-deps.sh bench)");
        return outcome.Exit();
    }
    const std::string self = argv[0];
    double perBlock[2] = {-1, -1};
    FILE* runs[2][2];
    for (int sampled = 0; sampled < 2; ++sampled)
        for (int twice = 0; twice < 2; ++twice)
            runs[sampled][twice] = StartInstructions(self, sampled ? "sampled" : "bare", (1 + twice) * blocks);
    for (int sampled = 0; sampled < 2; ++sampled) {
        const char* mode = sampled ? "sampled" : "bare";
        const double small = Instructions(runs[sampled][0]), large = Instructions(runs[sampled][1]);
        if (small > 0 && large > small)
            perBlock[sampled] = (large - small) / blocks;
        else
            outcome.RunFailed(std::string("valgrind gave no instruction count of the ") + mode + " loop");
    }
    if (perBlock[0] > 0 && perBlock[1] > 0) {
        const double ratio = perBlock[1] / perBlock[0];
        std::printf("instructions per block: sampled %.0f, without samples %.0f, ratio %.5f (target within 1 %%)\n",
                    perBlock[1], perBlock[0], ratio);
        outcome.NearOne("instructions per block, sampled / without samples", ratio, 0.01);
    }

    // Scores: 2-second runs of each, alternated ten times.
    const std::int32_t millis = options.shortRun ? 1000 : 2000;
    const int rounds = options.shortRun ? 1 : 10;
    std::vector<double> bare, sampled;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(Bare(millis, ReadClockMillis).points);
        sampled.push_back(Sampled(millis, ReadClockMillis).points);
    }
    std::printf("scores of %d s runs, %d alternated: sampled median %.0f (spread %.2f %%), without samples median "
                "%.0f (spread %.2f %%), ratio %.4f\n",
                millis / 1000, rounds, Median(sampled), Spread(sampled), Median(bare), Spread(bare),
                Median(sampled) / Median(bare));
    return outcome.Exit();
}
