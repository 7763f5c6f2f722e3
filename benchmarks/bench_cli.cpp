// The command-line runner adds nothing to the score: five runs of
// "tarnwick-cli speed --seconds 2" against five runs of the same routine
// called here, alternated in one run.
#include "core/state.h"
#include "bench/speed.h"

#include <wx/init.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {
double RunnerPoints()
{
    FILE* pipe = popen(TARNWICK_CLI " speed --seconds 2 --json --quiet", "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 512> buffer{};
    std::string out;
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        out += buffer.data();
    pclose(pipe);
    const auto at = out.find("\"points\": ");
    return at == std::string::npos ? -1 : std::atof(out.c_str() + at + 10);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}
}  // namespace

int main()
{
    wxInitializer wx;
    SpeedTestMillis = 2000;
    std::vector<double> runner, direct;
    for (int round = 0; round < 5; ++round) {
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
    std::printf("runner / direct: %.3f  (target within 1 %%)\n", Median(runner) / Median(direct));
    return 0;
}
