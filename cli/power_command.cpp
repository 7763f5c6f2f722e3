// tarnwick-cli power: the power test, once or repeated.
#include "bench/evidence.h"
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/state.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace cli {
int RunPower(const Options& options)
{
    ApplyPowerOptions(options);
    double spread = 0.0;
    const std::vector<TestRun> runs = RunRepeated(options, [&] {
        MeasurePower(options);
        TestRun run;
        run.points = LastPowerPoints;
        run.evidence = LastPowerEvidence;
        run.json["test"] = "power";
        run.json["points"] = WholeNumber(LastPowerPoints);
        run.json["threads"] = ThreadCount;
        run.json["htt"] = HttOption != 0;
        run.json["httOffResult"] = HttOffResult;
        run.json["perCore"] = WholeNumber(ReferenceCorePoints);
        run.json["perThread"] = WholeNumber(AverageThreadPoints);
        run.json["httEfficiency"] = WholeNumber(HttEfficiency);
        run.json["seconds"] = RunLength(options);
        run.json["shortened"] = options.seconds.has_value();
        run.lines.push_back("Power test: " + Points(LastPowerPoints) + " points with " + std::to_string(ThreadCount) +
                            " threads (" + Length(options) + ")");
        const char* reference = HttOption == 0      ? "the per-thread average"
                                : HttOffResult != 0 ? "the result given with --htt-off-result"
                                : (ThreadCount >> 1) != 0 ? "a run with half the threads"
                                                          : "the earlier reference (one thread: no half run)";
        run.lines.push_back("Per core: " + Points(ReferenceCorePoints) + " (" + reference +
                            ")  Per thread: " + Points(AverageThreadPoints) + "  HTT efficiency: " +
                            Points(HttEfficiency) + "%");
        return run;
    }, spread);
    return ReportRuns(options, "power", "Power test", runs, spread);
}
}  // namespace cli
