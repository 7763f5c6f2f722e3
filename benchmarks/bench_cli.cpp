// The command-line runner adds nothing to the score: nine runs of
// "tarnwick-cli speed --seconds 2" against nine runs of the same routine
// called here, alternated in one run. Fails (exit 1) when a run fails or
// the medians differ by more than 1 %. --short: one run of 1 s a side.
#include "core/state.h"
#include "bench/speed.h"

#include "measure.h"

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

double RunnerPoints(const std::string& runner, int seconds)
{
    const std::string command = ShellQuoted(runner) + " speed --seconds " + std::to_string(seconds) + " --json --quiet";
    FILE* pipe = popen(command.c_str(), "r");
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

int main(int argc, char** argv)
{
    BenchOptions options;
    if (!ParseBenchOptions(argc, argv, options, TARNWICK_CLI))
        return 2;
    BenchOutcome outcome(options);
    wxInitializer wx;
    const int seconds = options.shortRun ? 1 : 2;
    const int rounds = options.shortRun ? 1 : Rounds;
    SpeedTestMillis = seconds * 1000;
    std::vector<double> runner, direct;
    for (int round = 0; round < rounds; ++round) {
        runner.push_back(RunnerPoints(options.runner, seconds));
        direct.push_back(RunSpeedBenchmark());
    }
    std::printf("tarnwick-cli speed --seconds %d:", seconds);
    for (double v : runner)
        std::printf(" %.0f", v);
    std::printf("  median %.0f\n", Median(runner));
    std::printf("RunSpeedBenchmark() directly: ");
    for (double v : direct)
        std::printf(" %.0f", v);
    std::printf("  median %.0f\n", Median(direct));
    const double ratio = Median(runner) / Median(direct);
    std::printf("runner / direct: %.3f  (target within 1 %%)\n", ratio);
    if (*std::min_element(runner.begin(), runner.end()) <= 0 || *std::min_element(direct.begin(), direct.end()) <= 0)
        outcome.RunFailed("a runner or a direct run gave no points");
    else
        outcome.NearOne("the runner's median over the direct one", ratio, 0.01);
    return outcome.Exit();
}
