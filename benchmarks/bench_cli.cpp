// The command-line runner adds nothing to the score: nine runs of
// "tarnwick-cli speed --seconds 2" against nine runs of the same routine
// called here, alternated in one run. Fails (exit 1) when a run fails or
// the medians differ by more than 1 %.
#include "core/numbers.h"
#include "core/state.h"
#include "bench/speed.h"

#include <wx/init.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {
// Two-second runs vary by a few per cent on a shared machine: the medians of
// nine each are compared.
constexpr int Rounds = 9;

double RunnerPoints()
{
    FILE* pipe = popen(TARNWICK_CLI " speed --seconds 2 --json --quiet", "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 512> buffer{};
    std::string out;
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        out += buffer.data();
    if (pclose(pipe) != 0)
        return -1;
    const nlohmann::json report = nlohmann::json::parse(out, nullptr, false);
    if (report.is_discarded() || !report.contains("points") || !report["points"].is_number())
        return -1;
    return report["points"].get<double>();
}
}  // namespace

int main()
{
    wxInitializer wx;
    SpeedTestMillis = 2000;
    std::vector<double> runner, direct;
    for (int round = 0; round < Rounds; ++round) {
        runner.push_back(RunnerPoints());
        direct.push_back(RunSpeedBenchmark());
    }
    std::printf("tarnwick-cli speed --seconds 2:");
    for (double v : runner)
        std::printf(" %.0f", v);
    std::printf("  median %.0f\n", Median(runner));
    std::printf("RunSpeedBenchmark() directly: ");
    for (double v : direct)
        std::printf(" %.0f", v);
    std::printf("  median %.0f\n", Median(direct));
    const double ratio = Median(runner) / Median(direct);
    std::printf("runner / direct: %.3f  (target within 1 %%)\n", ratio);
    if (*std::min_element(runner.begin(), runner.end()) <= 0 || *std::min_element(direct.begin(), direct.end()) <= 0) {
        std::printf("a run failed: a runner or a direct run gave no points\n");
        return 1;
    }
    if (!(std::fabs(ratio - 1.0) <= 0.01)) {
        std::printf("missed the target: the runner's median is %.1f %% off the direct one\n", (ratio - 1.0) * 100.0);
        return 1;
    }
    return 0;
}
