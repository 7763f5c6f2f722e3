// Merging 100,000 new records into a table of 100,000 with tarnwick-cli,
// against sort -u over the two files: two programs on the same files, their
// processor time, in the same run, alternated. Fails (exit 1) when a run
// fails or the merge takes longer than sort -u. --short: 1,000 records, one
// run.
#include "measure.h"

#include <nlohmann/json.hpp>

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
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

void WriteRecords(const std::filesystem::path& file, unsigned seed, int records)
{
    static const char* makers[] = {"AMD", "Intel", "VIA", "Zhaoxin", "Hygon"};
    std::mt19937 random(seed);
    std::ofstream out(file, std::ios::binary);
    for (int i = 0; i < records; ++i) {
        const int cores = 1 << (random() % 6);
        out << makers[random() % 5] << ";Processor model " << (random() % 5000) << " rev " << seed << '-' << i
            << ';' << 1000 + random() % 4000 << ';' << 1000 + random() % 5000 << ";1;" << cores << ';' << cores * 2
            << ";Linux;6." << random() % 10 << ';' << 100 + random() % 30000 << ';' << 100 + random() % 400000
            << ';' << (random() % 10 == 0 ? "no" : "yes") << '\n';
    }
}

// One merge by `runner` on a fresh copy of the table: its processor time,
// or -1 (said) when it failed or did not add every record.
double MeasureMerge(const std::filesystem::path& dir, const std::string& runner, int records, BenchOutcome& outcome)
{
    std::filesystem::copy_file(dir / "table.csv", dir / "cpu_results.csv",
                               std::filesystem::copy_options::overwrite_existing);
    const std::string command = ShellQuoted(runner) + " merge --json --results " +
                                ShellQuoted((dir / "cpu_results.csv").string()) + " " +
                                ShellQuoted((dir / "new.csv").string()) + " > " +
                                ShellQuoted((dir / "out.txt").string());
    const double before = CpuMilliseconds(RUSAGE_CHILDREN);
    if (const int status = std::system(command.c_str()); status != 0) {
        outcome.RunFailed("merge by " + runner + " exited with status " +
                          std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1));
        return -1;
    }
    const double took = CpuMilliseconds(RUSAGE_CHILDREN) - before;
    std::ifstream out(dir / "out.txt");
    const nlohmann::json summary = nlohmann::json::parse(out, nullptr, false);
    const bool all = !summary.is_discarded() && summary.value("added", -1) == records &&
                     summary.value("present", -1) == 0 && summary.value("refusedCount", -1) == 0;
    if (!all)
        outcome.RunFailed(std::string("the merge did not add every record: ") +
                          (summary.is_discarded() ? "no JSON" : summary.dump()));
    return all ? took : -1;
}

double MeasureSortUnique(const std::filesystem::path& dir, BenchOutcome& outcome)
{
    const double took = CommandCpuMilliseconds("LC_ALL=C sort -u " + ShellQuoted((dir / "table.csv").string()) + " " +
                                               ShellQuoted((dir / "new.csv").string()) + " > /dev/null");
    if (took < 0)
        outcome.RunFailed("sort -u failed");
    return took;
}

}  // namespace

int main(int argc, char** argv)
{
    BenchStart bench(argc, argv, TARNWICK_CLI);
    if (const int stop = bench.Stop())
        return stop;
    const BenchOptions& options = bench.options;
    BenchOutcome& outcome = bench.outcome;
    const std::filesystem::path& dir = bench.folder.Path();
    const int records = options.shortRun ? ShortRecords : Records;
    const int runs = options.shortRun ? 1 : Runs;
    WriteRecords(dir / "table.csv", 7, records);
    WriteRecords(dir / "new.csv", 8, records);

    std::vector<double> merges, sorts;
    for (int run = 0; run < runs; ++run) {
        merges.push_back(MeasureMerge(dir, options.runner, records, outcome));
        sorts.push_back(MeasureSortUnique(dir, outcome));
        if (outcome.Failed())
            return outcome.Exit();
    }
    std::printf("merge %d new records into a table of %d (processor time, median of %d runs, alternated):\n",
                records, records, runs);
    std::printf("tarnwick-cli merge:         %8.1f ms\n", Median(merges));
    std::printf("sort -u on both files:      %8.1f ms\n", Median(sorts));
    const double ratio = Median(merges) / Median(sorts);
    std::printf("time ratio merge / sort -u: %8.2f  (target <= 1.00)\n", ratio);
    outcome.AtMost("time ratio merge / sort -u", ratio, 1.0);
    return outcome.Exit();
}
