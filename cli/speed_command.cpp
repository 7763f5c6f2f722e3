// tarnwick-cli speed: the speed test, once or repeated.
#include "bench/evidence.h"
#include "bench/speed.h"
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/state.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace cli {
int RunSpeed(const Options& options)
{
    SpeedTestMillis = RunLength(options) * 1000;
    double spread = 0.0;
    const std::vector<TestRun> runs = RunRepeated(options, [&] {
        {
            Progress progress(ShowProgress(options), RunLength(options), "speed test");
            LastSpeedPoints = RunSpeedBenchmark();
        }
        TestRun run;
        run.points = LastSpeedPoints;
        run.evidence = LastSpeedEvidence;
        run.json["test"] = "speed";
        run.json["points"] = WholeNumber(LastSpeedPoints);
        run.json["seconds"] = RunLength(options);
        run.json["shortened"] = options.seconds.has_value();
        run.lines.push_back("Speed test: " + Points(LastSpeedPoints) + " points (" + Length(options) + ")");
        return run;
    }, spread);
    return ReportRuns(options, "speed", "Speed test", runs, spread);
}
}  // namespace cli
