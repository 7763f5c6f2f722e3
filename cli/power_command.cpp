// tarnwick-cli power: the power test, once or repeated.

#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"

#include "app/notify.h"
#include "app/numbers.h"
#include "app/startup.h"
#include "app/state.h"
#include "app/version.h"
#include "bench/evidence.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "bench/work_cycle.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/encoding.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "results/search.h"
#include "sensors/heat_readings.h"
#include "sensors/run_conditions.h"
#include "views/heat_view.h"
#include "views/svg.h"

#include <wx/cmdline.h>
#include <wx/log.h>
#include <wx/msgout.h>
#include <wx/thread.h>
#include <wx/utils.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <cstring>
#include <cstdio>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
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
        run.json["shortened"] = options.seconds > 0;
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
