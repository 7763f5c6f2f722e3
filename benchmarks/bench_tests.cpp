// The speed, power and heat tests measured at full length, each beside what a
// user would run instead (sysbench, stress-ng), in the same run. Fails (exit
// 1) when a run fails or a figure misses its target.
//   bench_tests [--short] [--fail-target]   all measurements (--short: 1 s runs,
//                                           no comparisons, no instruction count)
//   bench_tests heat [--short] [--fail-target]   the heat test's measurements alone
//   bench_tests cycles N                    run N work cycles and exit (for instruction counts)
#include "core/state.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "bench/work_cycle.h"
#include "bench/workers.h"
#include "sensors/heat_readings.h"
#include "sensors/sensors.h"

#include "measure.h"

#include <wx/init.h>
#include <wx/thread.h>
#include <wx/utils.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

namespace {
struct Stats {
    double mean = 0.0;
    double cv = 0.0;  // coefficient of variation, per cent
};

Stats Summarise(const std::vector<double>& values)
{
    Stats s;
    s.mean = std::accumulate(values.begin(), values.end(), 0.0) / values.size();
    double square = 0.0;
    for (double v : values)
        square += (v - s.mean) * (v - s.mean);
    s.cv = values.size() > 1 ? std::sqrt(square / (values.size() - 1)) / s.mean * 100.0 : 0.0;
    return s;
}

std::string Run(const std::string& command)
{
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        std::array<char, 4096> buffer{};
        while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
            output += buffer.data();
        pclose(pipe);
    }
    return output;
}

bool Have(const char* program)
{
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

// sysbench cpu events per second with `threads` threads for `seconds`.
double Sysbench(int threads, int seconds)
{
    const std::string out = Run("sysbench cpu --threads=" + std::to_string(threads) +
                                " --time=" + std::to_string(seconds) + " run 2>/dev/null");
    const auto at = out.find("events per second:");
    return at == std::string::npos ? 0.0 : std::atof(out.c_str() + at + 18);
}

// Busy and total jiffies of all processors, from /proc/stat.
std::pair<long long, long long> CpuJiffies()
{
    std::ifstream stat("/proc/stat");
    std::string cpu;
    long long user, nice, system, idle, iowait, irq, softirq, steal;
    stat >> cpu >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> steal;
    const long long busy = user + nice + system + irq + softirq + steal;
    return {busy, busy + idle + iowait};
}

double BusyShare(std::pair<long long, long long> before, std::pair<long long, long long> after)
{
    return 100.0 * double(after.first - before.first) / double(after.second - before.second);
}

double PowerRun(std::uint32_t threads, std::vector<TimedRun>* runs = nullptr)
{
    std::mutex lock;
    SetPowerWorkObserver([&](std::uint32_t, const TimedRun& run) {
        const std::lock_guard<std::mutex> guard(lock);
        if (runs != nullptr)
            runs->push_back(run);
    });
    ThreadCount = threads;
    HttOption = 0;
    const double points = RunPowerTest();
    SetPowerWorkObserver(nullptr);
    return points;
}

// The speed points' mean.
double Repeatability(bool shortRun, BenchOutcome& outcome)
{
    const int runs = shortRun ? 2 : 5, seconds = shortRun ? 1 : 2;
    std::printf("\n== Repeatability: speed test, %d runs of %d s\n", runs, seconds);
    SpeedTestMillis = seconds * 1000;
    std::vector<double> speed, peer;
    const bool sysbench = !shortRun && Have("sysbench");
    for (int run = 0; run < runs; ++run) {
        speed.push_back(RunTimedBlocks(SpeedTestMillis).points);
        if (sysbench)
            peer.push_back(Sysbench(1, seconds));
    }
    const Stats s = Summarise(speed);
    std::printf("tarnwick speed points:     mean %9.1f  CV %5.2f %%  (target <= 1 %%)  runs:", s.mean, s.cv);
    for (double v : speed)
        std::printf(" %.0f", v);
    std::printf("\n");
    if (s.mean > 0)
        outcome.AtMost("speed points' coefficient of variation, %", s.cv, 1.0);
    else
        outcome.RunFailed("the speed test gave no points");
    if (shortRun) {
        std::printf("no comparison in a short run\n");
    } else if (sysbench) {
        const Stats p = Summarise(peer);
        std::printf("sysbench cpu --threads=1:  mean %9.1f  CV %5.2f %%  events/s      runs:", p.mean, p.cv);
        for (double v : peer)
            std::printf(" %.0f", v);
        std::printf("\n");
    } else {
        std::printf("sysbench is not installed: no comparison\n");
    }
    return s.mean;
}

// `runs` gets the workers' runs at N = processors. A short run measures only
// N = processors, where the target is, against `speedMean`, the mean of the
// repeatability's 1 s runs.
void Scaling(int online, bool shortRun, double speedMean, BenchOutcome& outcome, std::vector<TimedRun>& runs)
{
    const int seconds = shortRun ? 1 : 2;
    std::printf("\n== Scaling: power points / (N x speed points), HTT off, %d s runs\n", seconds);
    SpeedTestMillis = seconds * 1000;
    PowerTestMillis = seconds * 1000;
    const double single = shortRun ? speedMean : RunTimedBlocks(SpeedTestMillis).points;
    const bool sysbench = !shortRun && Have("sysbench");
    const double peerSingle = sysbench ? Sysbench(1, seconds) : 0.0;
    std::printf("speed points alone: %.0f\n", single);
    for (int n = shortRun ? online : 1; n <= online; ++n) {
        const double power = PowerRun(n, n == online ? &runs : nullptr);
        std::printf("N = %2d: power %8.0f  ratio %.3f", n, power, power / (n * single));
        if (sysbench)
            std::printf("   sysbench ratio %.3f", Sysbench(n, seconds) / (n * peerSingle));
        std::printf("%s\n", n == online ? "  (target >= 0.97 at N = processors)" : "");
        if (n == online && (single <= 0 || power <= 0))
            outcome.RunFailed("the speed or the power test gave no points");
        else if (n == online)
            outcome.AtLeast("power points / (N x speed points) at N = processors", power / (n * single), 0.97);
    }
}

void SensorReading(bool shortRun, BenchOutcome& outcome)
{
    const int readings = shortRun ? 100 : 1000;
    std::printf("\n== Reading every sensor of this machine once (%d readings)\n", readings);
    const MachineSensors sensors("/");
    std::vector<double> micros;
    for (int k = 0; k < readings; ++k) {
        const auto start = std::chrono::steady_clock::now();
        const MachineSensors::Reading reading = sensors.Read();
        micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        if (k == 0)
            std::printf("%zu temperature sensors, frequencies %s\n", reading.celsius.size(),
                        reading.averageMhz ? "answered" : "did not answer");
    }
    std::sort(micros.begin(), micros.end());
    std::printf("median %.1f us, slowest %.1f us  (target < 1000 us)\n", micros[micros.size() / 2], micros.back());
    outcome.Below("median time to read every sensor, us", micros[micros.size() / 2], 1000.0);
}

// A short run takes the one round it measures from `scaled`, the runs of the
// scaling's power test at N = processors.
void ThreadStart(int online, bool shortRun, BenchOutcome& outcome, const std::vector<TimedRun>& scaled)
{
    std::printf("\n== Thread start: spread of the workers' first clock readings\n");
    PowerTestMillis = 1000;
    const int rounds = shortRun ? 1 : 5;
    std::vector<double> spreads;
    for (int round = 0; round < rounds; ++round) {
        std::vector<TimedRun> runs = shortRun ? scaled : std::vector<TimedRun>();
        if (!shortRun)
            PowerRun(online, &runs);
        if (runs.empty()) {
            outcome.RunFailed("no power worker reported its run");
            return;
        }
        std::int64_t first = runs.front().startNanos, last = first;
        for (const TimedRun& run : runs) {
            first = std::min(first, run.startNanos);
            last = std::max(last, run.startNanos);
        }
        spreads.push_back((last - first) / 1e6);
    }
    const double median = Median(spreads);
    std::printf("%d threads, %d runs: largest spread %.3f ms, median %.3f ms  (target <= 1 ms)\n", online, rounds,
                *std::max_element(spreads.begin(), spreads.end()), median);
    outcome.AtMost("median spread of the workers' first clock readings, ms", median, 1.0);
}

void HeatLoad(int online, bool shortRun, BenchOutcome& outcome)
{
    // From the end of second 1 to the end of the test's second to last.
    const int seconds = shortRun ? 3 : 10;
    std::printf("\n== Heat load: busy share of all processors during %d s of a %d s heat test, the sensors\n"
                "   read once a second as the window reads them\n",
                seconds - 2, seconds);
    ThreadCount = online;
    HeatTestMillis = seconds * 1000;
    StartHeatReadings();
    std::pair<long long, long long> before, after;
    int second = 0;
    RunHeatLoop([&] {
        ++second;
        SampleHeatReadings(second);
        SampleHeatWork(second);
        if (second == 1)
            before = CpuJiffies();
        if (second == seconds - 1)
            after = CpuJiffies();
    });
    const double busy = BusyShare(before, after);
    std::printf("tarnwick heat test (%d workers, checks on: %llu checks, %llu errors):  %.1f %% busy  (target >= "
                "99 %%)\n",
                online, static_cast<unsigned long long>(HeatWork.Checks()),
                static_cast<unsigned long long>(HeatWork.Errors()), busy);
    if (HeatWork.Errors() != 0)
        outcome.RunFailed("the heat test's checks found " + std::to_string(HeatWork.Errors()) + " errors");
    outcome.AtLeast("busy share of all processors during the heat test, %", busy, 99.0);
    if (shortRun) {
        std::printf("no comparison in a short run\n");
    } else if (Have("stress-ng")) {
        std::system(("stress-ng --cpu " + std::to_string(online) + " --timeout 10s --quiet &").c_str());
        wxMilliSleep(1000);
        const auto peerBefore = CpuJiffies();
        wxMilliSleep(8000);
        const auto peerAfter = CpuJiffies();
        wxMilliSleep(1500);
        std::printf("stress-ng --cpu %d:               %.1f %% busy\n", online, BusyShare(peerBefore, peerAfter));
    } else {
        std::printf("stress-ng is not installed: no comparison\n");
    }
}

// The heat test's rate of passes per worker over `seconds`, with or without
// its checks, as the window's loop reads it.
double HeatRatePerWorker(int online, int seconds, bool checks)
{
    ThreadCount = online;
    HeatTestMillis = seconds * 1000;
    SetHeatChecks(checks);
    int second = 0;
    RunHeatLoop([&] { SampleHeatWork(++second); });
    SetHeatChecks(true);
    double sum = 0.0;
    int workers = 0;
    for (const std::optional<double>& rate : HeatWork.ProcessorRates())
        if (rate) {
            sum += *rate;
            ++workers;
        }
    return workers > 0 ? sum / workers : 0.0;
}

void HeatChecksCost(int online, bool shortRun, BenchOutcome& outcome)
{
    const int seconds = shortRun ? 1 : 10, rounds = shortRun ? 1 : 4;
    std::printf("\n== Heat checks: passes per second per worker with checks against without, %d s runs\n"
                "   alternated, %d of each\n",
                seconds, rounds);
    std::vector<double> with, without;
    for (int round = 0; round < rounds; ++round) {
        without.push_back(HeatRatePerWorker(online, seconds, false));
        with.push_back(HeatRatePerWorker(online, seconds, true));
        std::printf("round %d: without %.0f, with %.0f passes/s  (%.2f %%)\n", round + 1, without.back(),
                    with.back(), 100.0 * with.back() / without.back());
    }
    const auto median = [](const std::vector<double>& values) { return Median(values); };
    std::printf("median: without %.0f, with %.0f passes/s per worker: %.2f %%  (target >= 98 %%); %llu checks, "
                "%llu errors in the last run\n",
                median(without), median(with), 100.0 * median(with) / median(without),
                static_cast<unsigned long long>(HeatWork.Checks()),
                static_cast<unsigned long long>(HeatWork.Errors()));
    if (median(without) > 0 && median(with) > 0)
        outcome.AtLeast("heat passes with checks / without, %", 100.0 * median(with) / median(without), 98.0);
    else
        outcome.RunFailed("a heat test made no passes");

    // The same cost without the noise of whole runs: one block's checks
    // timed alone, against the time of a block at the rate measured.
    HeatPassRecord record;
    record.t1 = record.t2 = 1764000000000;
    record.after = record.before;
    HeatPass(record.after, record.t1, record.t2);
    char slot[80];
    std::snprintf(slot, sizeof slot, "%f", static_cast<double>(record.t1));
    constexpr int calls = 200000;
    int failed = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int k = 0; k < calls; ++k) {
        failed += CheckHeatPass(record) ? 1 : 0;
        failed += CheckHeatSlot(slot, record.t1) ? 1 : 0;
    }
    const double micros =
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count() / calls;
    const double blockMicros = 65536.0 / median(with) * 1e6;
    std::printf("one block's checks alone: %.3f us against a block of %.0f us: %.4f %% of the work (%d failed)\n",
                micros, blockMicros, 100.0 * micros / blockMicros, failed);
}

// Instructions of `cycles` work cycles as valgrind counts them.
long long CountInstructions(const std::string& self, int cycles)
{
    const std::string out = Run("valgrind --tool=callgrind --callgrind-out-file=/dev/null '" + self +
                                "' cycles " + std::to_string(cycles) + " 2>&1");
    const auto at = out.find("Collected : ");
    return at == std::string::npos ? -1 : std::atoll(out.c_str() + at + 12);
}

void Instructions(const std::string& self)
{
    std::printf("\n== Instructions per work cycle (valgrind callgrind)\n");
    if (!Have("valgrind")) {
        std::printf("valgrind is not installed\n");
        return;
    }
    const long long none = CountInstructions(self, 0), ten = CountInstructions(self, 10);
    if (none < 0 || ten < 0) {
        std::printf("valgrind gave no count\n");
        return;
    }
    std::printf("%lld instructions per cycle (10 cycles: %lld, start-up alone: %lld)\n", (ten - none) / 10, ten,
                none);
}
}  // namespace

int main(int argc, char** argv)
{
    wxInitializer wx;
    if (argc == 3 && std::string(argv[1]) == "cycles") {
        char* end = nullptr;
        const long cycles = std::strtol(argv[2], &end, 10);
        if (end == argv[2] || *end != '\0' || cycles < 0 || cycles > 100000000) {
            std::fprintf(stderr, "usage: bench_tests cycles N (N from 0 to 100000000)\n");
            return 2;
        }
        auto state = std::make_unique<WorkState>();
        for (long n = cycles; n > 0; --n)
            RunWorkCycle(*state);
        return 0;
    }
    // The heat test's measurements alone.
    const bool heatOnly = argc >= 2 && std::string(argv[1]) == "heat";
    if (heatOnly) {
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    BenchOptions options;
    if (!ParseBenchOptions(argc, argv, options))
        return 2;
    BenchOutcome outcome(options);
    const int online = std::max(wxThread::GetCPUCount(), 1);
    std::printf("Processors online: %d\n", online);
    if (!heatOnly) {
        const double speedMean = Repeatability(options.shortRun, outcome);
        std::vector<TimedRun> scaled;
        Scaling(online, options.shortRun, speedMean, outcome, scaled);
        ThreadStart(online, options.shortRun, outcome, scaled);
        SensorReading(options.shortRun, outcome);
    }
    HeatLoad(online, options.shortRun, outcome);
    HeatChecksCost(online, options.shortRun, outcome);
    if (!heatOnly && !options.shortRun)
        Instructions(argv[0]);
    WaitForWorkerThreads(10000);
    return outcome.Exit();
}
