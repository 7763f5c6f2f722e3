// Loading and ranking a results file of 100,000 records, against sorting the
// same file by its speed column with sort(1), in the same run. Fails (exit
// 1) when a run fails or the load takes longer than sort(1) or holds more
// than 1.5 times its table at its peak. --short: 1,000 records, one run.
#include "core/notify.h"
#include "core/state.h"
#include "config/paths.h"
#include "results/results_file.h"

#include "measure.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {
constexpr int Records = 100000;
constexpr int Runs = 7;
constexpr int ShortRecords = 1000;

long StatusKilobytes(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind(field, 0) == 0)
            return std::strtol(line.c_str() + std::string(field).size(), nullptr, 10);
    return -1;
}

void WriteRecords(const std::filesystem::path& file, int records)
{
    static const char* makers[] = {"AMD", "Intel", "VIA", "Zhaoxin", "Hygon"};
    std::mt19937 random(7);
    std::ofstream out(file, std::ios::binary);
    for (int i = 0; i < records; ++i) {
        const int cores = 1 << (random() % 6);
        out << makers[random() % 5] << ";Processor model " << (random() % 5000) << " rev " << i % 97 << ';'
            << 1000 + random() % 4000 << ';' << 1000 + random() % 5000 << ";1;" << cores << ';' << cores * 2
            << ";Linux;6." << random() % 10 << ';' << 100 + random() % 30000 << ';'
            << 100 + random() % 400000 << ';' << (random() % 10 == 0 ? "no" : "yes") << '\n';
    }
}

struct LoadRun {
    double milliseconds;    // processor time, user and system
    double wallMilliseconds;
    double peakMegabytes;   // high-water mark above the resident size before loading
    double tableMegabytes;  // ResultLineCount x ResultLineWidth wide characters
};

// One load in a child process, so that each run starts from the same memory;
// its milliseconds are -1 when it failed or did not load `records`.
LoadRun MeasureLoad(int records)
{
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0)
        return LoadRun{-1, 0, 0, 0};
    const pid_t child = fork();
    if (child < 0) {
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        return LoadRun{-1, 0, 0, 0};
    }
    if (child == 0) {
        close(pipeEnds[0]);
        const long before = StatusKilobytes("VmRSS:");
        const double cpu = CpuMilliseconds(RUSAGE_SELF);
        const auto start = std::chrono::steady_clock::now();
        const int status = AccessResultsFile(ResultsOpLoad);
        const auto stop = std::chrono::steady_clock::now();
        const long peak = StatusKilobytes("VmHWM:");
        LoadRun run{CpuMilliseconds(RUSAGE_SELF) - cpu, std::chrono::duration<double, std::milli>(stop - start).count(),
                    (peak - before) / 1024.0,
                    double(ResultLineCount) * ResultLineWidth * sizeof(wchar_t) / (1024.0 * 1024.0)};
        if (status != 0 || ResultLineCount != records)
            run.milliseconds = -1;
        if (write(pipeEnds[1], &run, sizeof run) != sizeof run)
            _exit(1);
        _exit(0);
    }
    close(pipeEnds[1]);
    LoadRun run{};
    if (read(pipeEnds[0], &run, sizeof run) != sizeof run)
        run.milliseconds = -1;
    close(pipeEnds[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        run.milliseconds = -1;
    return run;
}

// Processor time of sort(1) (all its threads) and of the shell that starts it.
double MeasureSort(const std::filesystem::path& file)
{
    return CommandCpuMilliseconds("LC_ALL=C sort -t';' -k10,10gr " + ShellQuoted(file.string()) + " > /dev/null");
}

}  // namespace

int main(int argc, char** argv)
{
    BenchStart bench(argc, argv);
    if (const int stop = bench.Stop())
        return stop;
    const BenchOptions& options = bench.options;
    BenchOutcome& outcome = bench.outcome;
    const std::filesystem::path& dir = bench.folder.Path();
    const std::filesystem::path file = dir / "cpu_results.csv";
    const int records = options.shortRun ? ShortRecords : Records;
    const int runs = options.shortRun ? 1 : Runs;
    WriteRecords(file, records);
    std::filesystem::current_path(dir);
    SetExecutablePathForTests(wxString::FromUTF8((dir / "tarnwick").string()));
    SetNotifier([](const wxString& text, const wxString&) { std::printf("message: %s\n", text.utf8_str().data()); });

    std::vector<double> loadTimes, wallTimes, sortTimes, peaks;
    double table = 0;
    for (int run = 0; run < runs; ++run) {  // alternated, so both see the same machine
        const LoadRun load = MeasureLoad(records);
        if (load.milliseconds < 0) {
            outcome.RunFailed("the load of " + std::to_string(records) + " records failed or loaded another count");
            return outcome.Exit();
        }
        loadTimes.push_back(load.milliseconds);
        wallTimes.push_back(load.wallMilliseconds);
        peaks.push_back(load.peakMegabytes);
        table = load.tableMegabytes;
        sortTimes.push_back(MeasureSort(file));
        if (sortTimes.back() < 0) {
            outcome.RunFailed("sort(1) failed");
            return outcome.Exit();
        }
    }
    const double load = Median(loadTimes), sort = Median(sortTimes), peak = Median(peaks);
    std::printf("results file: %d records, %.1f MB\n", records,
                std::filesystem::file_size(file) / (1024.0 * 1024.0));
    std::printf("processor time, median of %d runs alternated:\n", runs);
    std::printf("load + rank:                %8.1f ms  (%.1f ms wall)\n", load, Median(wallTimes));
    std::printf("sort -t';' -k10,10gr:       %8.1f ms\n", sort);
    std::printf("time ratio load / sort:     %8.2f  (target <= 1.00)\n", load / sort);
    std::printf("table size:                 %8.1f MB\n", table);
    std::printf("peak memory of the load:    %8.1f MB\n", peak);
    std::printf("memory ratio peak / table:  %8.2f  (target <= 1.50)\n", peak / table);
    outcome.AtMost("time ratio load / sort", load / sort, 1.0);
    outcome.AtMost("memory ratio peak / table", peak / table, 1.5);
    return outcome.Exit();
}
