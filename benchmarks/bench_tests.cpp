// The speed, power and heat tests measured at full length, each beside what a
// user would run instead (sysbench, stress-ng), in the same run.
//   bench_tests            all measurements
//   bench_tests cycles N   run N work cycles and exit (for instruction counts)
#include "core/numbers.h"
#include "core/state.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "bench/work_cycle.h"
#include "bench/workers.h"
#include "sensors/heat_readings.h"
#include "sensors/sensors.h"

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

void Repeatability()
{
    std::printf("\n== Repeatability: speed test, 5 runs of 2 s\n");
    SpeedTestMillis = 2000;
    std::vector<double> speed, peer;
    const bool sysbench = Have("sysbench");
    for (int run = 0; run < 5; ++run) {
        speed.push_back(RunTimedBlocks(SpeedTestMillis).points);
        if (sysbench)
            peer.push_back(Sysbench(1, 2));
    }
    const Stats s = Summarise(speed);
    std::printf("tarnwick speed points:     mean %9.1f  CV %5.2f %%  (target <= 1 %%)  runs:", s.mean, s.cv);
    for (double v : speed)
        std::printf(" %.0f", v);
    std::printf("\n");
    if (sysbench) {
        const Stats p = Summarise(peer);
        std::printf("sysbench cpu --threads=1:  mean %9.1f  CV %5.2f %%  events/s      runs:", p.mean, p.cv);
        for (double v : peer)
            std::printf(" %.0f", v);
        std::printf("\n");
    } else {
        std::printf("sysbench is not installed: no comparison\n");
    }
}

void Scaling(int online)
{
    std::printf("\n== Scaling: power points / (N x speed points), HTT off, 2 s runs\n");
    SpeedTestMillis = 2000;
    PowerTestMillis = 2000;
    const double single = RunTimedBlocks(SpeedTestMillis).points;
    const bool sysbench = Have("sysbench");
    const double peerSingle = sysbench ? Sysbench(1, 2) : 0.0;
    std::printf("speed points alone: %.0f\n", single);
    for (int n = 1; n <= online; ++n) {
        const double power = PowerRun(n);
        std::printf("N = %2d: power %8.0f  ratio %.3f", n, power, power / (n * single));
        if (sysbench)
            std::printf("   sysbench ratio %.3f", Sysbench(n, 2) / (n * peerSingle));
        std::printf("%s\n", n == online ? "  (target >= 0.97 at N = processors)" : "");
    }
}

void SensorReading()
{
    std::printf("\n== Reading every sensor of this machine once (1000 readings)\n");
    const MachineSensors sensors("/");
    std::vector<double> micros;
    for (int k = 0; k < 1000; ++k) {
        const auto start = std::chrono::steady_clock::now();
        const MachineSensors::Reading reading = sensors.Read();
        micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        if (k == 0)
            std::printf("%zu temperature sensors, frequencies %s\n", reading.celsius.size(),
                        reading.averageMhz ? "answered" : "did not answer");
    }
    std::printf("median %.1f us, slowest %.1f us  (target < 1000 us)\n", Median(micros),
                *std::max_element(micros.begin(), micros.end()));
}

void ThreadStart(int online)
{
    std::printf("\n== Thread start: spread of the workers' first clock readings\n");
    PowerTestMillis = 1000;
    std::vector<double> spreads;
    for (int round = 0; round < 5; ++round) {
        std::vector<TimedRun> runs;
        PowerRun(online, &runs);
        std::int64_t first = runs.front().startNanos, last = first;
        for (const TimedRun& run : runs) {
            first = std::min(first, run.startNanos);
            last = std::max(last, run.startNanos);
        }
        spreads.push_back((last - first) / 1e6);
    }
    std::printf("%d threads, 5 runs: largest spread %.3f ms, median %.3f ms  (target <= 1 ms)\n", online,
                *std::max_element(spreads.begin(), spreads.end()), Median(spreads));
}

void HeatLoad(int online)
{
    std::printf("\n== Heat load: busy share of all processors during 8 s of a 10 s heat test, the sensors\n"
                "   read once a second as the window reads them\n");
    ThreadCount = online;
    HeatTestMillis = 10000;
    StartHeatReadings();
    std::pair<long long, long long> before, after;
    int second = 0;
    RunHeatLoop([&] {
        ++second;
        SampleHeatReadings(second);
        SampleHeatWork(second);
        if (second == 1)
            before = CpuJiffies();
        if (second == 9)
            after = CpuJiffies();
    });
    std::printf("tarnwick heat test (%d workers, checks on: %llu checks, %llu errors):  %.1f %% busy  (target >= "
                "99 %%)\n",
                online, static_cast<unsigned long long>(HeatWork.Checks()),
                static_cast<unsigned long long>(HeatWork.Errors()), BusyShare(before, after));
    if (Have("stress-ng")) {
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

void HeatChecksCost(int online)
{
    std::printf("\n== Heat checks: passes per second per worker with checks against without, 10 s runs\n"
                "   alternated, 4 of each\n");
    std::vector<double> with, without;
    for (int round = 0; round < 4; ++round) {
        without.push_back(HeatRatePerWorker(online, 10, false));
        with.push_back(HeatRatePerWorker(online, 10, true));
        std::printf("round %d: without %.0f, with %.0f passes/s  (%.2f %%)\n", round + 1, without.back(),
                    with.back(), 100.0 * with.back() / without.back());
    }
    std::printf("median: without %.0f, with %.0f passes/s per worker: %.2f %%  (target >= 98 %%); %llu checks, "
                "%llu errors in the last run\n",
                Median(without), Median(with), 100.0 * Median(with) / Median(without),
                static_cast<unsigned long long>(HeatWork.Checks()),
                static_cast<unsigned long long>(HeatWork.Errors()));

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
    const double blockMicros = 65536.0 / Median(with) * 1e6;
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
        auto state = std::make_unique<WorkState>();
        for (int n = std::atoi(argv[2]); n > 0; --n)
            RunWorkCycle(*state);
        return 0;
    }
    const int online = wxThread::GetCPUCount();
    std::printf("Processors online: %d\n", online);
    if (argc == 2 && std::string(argv[1]) == "heat") {  // the heat test's measurements alone
        HeatLoad(online);
        HeatChecksCost(online);
        return 0;
    }
    Repeatability();
    Scaling(online);
    ThreadStart(online);
    SensorReading();
    HeatLoad(online);
    HeatChecksCost(online);
    Instructions(argv[0]);
    WaitForWorkerThreads(10000);
    return 0;
}
