// tarnwick-cli speed: the speed test, once or repeated.

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
        run.json["shortened"] = options.seconds > 0;
        run.lines.push_back("Speed test: " + Points(LastSpeedPoints) + " points (" + Length(options) + ")");
        return run;
    }, spread);
    return ReportRuns(options, "speed", "Speed test", runs, spread);
}
}  // namespace cli
