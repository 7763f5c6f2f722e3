// The timed loop with its per-second samples against the same loop without
// them: instructions per block (under callgrind, when valgrind is there)
// and scores, alternated on the real clock.
//   bench_sampling                     both measurements
//   bench_sampling blocks sampled|bare N   run N blocks on a stepping clock and exit
#include "core/numbers.h"
#include "bench/work_cycle.h"

#include <wx/init.h>

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
int RunBlocks(bool sampled, long blocks)
{
    MillisClock clock = [now = std::int64_t{-1}]() mutable { return ++now; };
    const TimedRun run = sampled ? Sampled(static_cast<std::int32_t>(blocks), clock)
                                 : Bare(static_cast<std::int32_t>(blocks), clock);
    std::printf("%.0f blocks\n", run.blocks);
    return run.blocks == double(blocks) ? 0 : 1;
}

// Instructions of `mode` running `blocks` blocks, from callgrind's summary;
// -1 when valgrind is missing or failed.
double Instructions(const std::string& self, const char* mode, long blocks)
{
    const std::string command = "valgrind --tool=callgrind --callgrind-out-file=/dev/null '" + self + "' blocks " +
                                mode + " " + std::to_string(blocks) + " 2>&1 >/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
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
        return RunBlocks(std::strcmp(argv[2], "sampled") == 0, std::strtol(argv[3], nullptr, 10));

    // Instructions: 2000 blocks against 1000, so that what both pay once
    // (start-up, the first touch of the pages) drops out.
    const std::string self = argv[0];
    double perBlock[2] = {-1, -1};
    for (int sampled = 0; sampled < 2; ++sampled) {
        const char* mode = sampled ? "sampled" : "bare";
        const double small = Instructions(self, mode, 1000), large = Instructions(self, mode, 2000);
        if (small > 0 && large > 0)
            perBlock[sampled] = (large - small) / 1000;
    }
    if (perBlock[0] > 0 && perBlock[1] > 0)
        std::printf("instructions per block: sampled %.0f, without samples %.0f, ratio %.5f (target within 1 %%)\n",
                    perBlock[1], perBlock[0], perBlock[1] / perBlock[0]);
    else
        std::printf("instructions per block: valgrind is not available\n");

    // Scores: 2-second runs of each, alternated ten times.
    std::vector<double> bare, sampled;
    for (int round = 0; round < 10; ++round) {
        bare.push_back(Bare(2000, ReadClockMillis).points);
        sampled.push_back(Sampled(2000, ReadClockMillis).points);
    }
    std::printf("scores of 2 s runs, 10 alternated: sampled median %.0f (spread %.2f %%), without samples median %.0f "
                "(spread %.2f %%), ratio %.4f\n",
                Median(sampled), Spread(sampled), Median(bare), Spread(bare), Median(sampled) / Median(bare));
    return 0;
}
