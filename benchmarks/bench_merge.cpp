// Merging 100,000 new records into a table of 100,000 with tarnwick-cli,
// against sort -u over the two files: two programs on the same files, their
// processor time, in the same run, alternated.
#include "measure.h"

#include <nlohmann/json.hpp>

#include <sys/resource.h>

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

void WriteRecords(const std::filesystem::path& file, unsigned seed)
{
    static const char* makers[] = {"AMD", "Intel", "VIA", "Zhaoxin", "Hygon"};
    std::mt19937 random(seed);
    std::ofstream out(file, std::ios::binary);
    for (int i = 0; i < Records; ++i) {
        const int cores = 1 << (random() % 6);
        out << makers[random() % 5] << ";Processor model " << (random() % 5000) << " rev " << seed << '-' << i
            << ';' << 1000 + random() % 4000 << ';' << 1000 + random() % 5000 << ";1;" << cores << ';' << cores * 2
            << ";Linux;6." << random() % 10 << ';' << 100 + random() % 30000 << ';' << 100 + random() % 400000
            << ';' << (random() % 10 == 0 ? "no" : "yes") << '\n';
    }
}

// One merge by the runner on a fresh copy of the table: its processor time,
// or -1 when it did not add every record.
double MeasureMerge(const std::filesystem::path& dir)
{
    std::filesystem::copy_file(dir / "table.csv", dir / "cpu_results.csv",
                               std::filesystem::copy_options::overwrite_existing);
    const std::string command = "'" TARNWICK_CLI "' merge --json --results '" + (dir / "cpu_results.csv").string() +
                                "' '" + (dir / "new.csv").string() + "' > '" + (dir / "out.txt").string() + "'";
    const double before = CpuMilliseconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0)
        return -1;
    const double took = CpuMilliseconds(RUSAGE_CHILDREN) - before;
    std::ifstream out(dir / "out.txt");
    const nlohmann::json summary = nlohmann::json::parse(out, nullptr, false);
    const bool all = !summary.is_discarded() && summary.value("added", -1) == Records &&
                     summary.value("present", -1) == 0 && summary.value("refusedCount", -1) == 0;
    if (!all)
        std::printf("the merge did not add every record: %s\n", summary.is_discarded() ? "no JSON" : summary.dump().c_str());
    return all ? took : -1;
}

double MeasureSortUnique(const std::filesystem::path& dir)
{
    return CommandCpuMilliseconds("LC_ALL=C sort -u '" + (dir / "table.csv").string() + "' '" +
                                  (dir / "new.csv").string() + "' > /dev/null");
}

}  // namespace

int main()
{
    char pattern[] = "/tmp/tarnwick-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        return 1;
    const std::filesystem::path dir = pattern;
    WriteRecords(dir / "table.csv", 7);
    WriteRecords(dir / "new.csv", 8);

    std::vector<double> merges, sorts;
    for (int run = 0; run < Runs; ++run) {
        merges.push_back(MeasureMerge(dir));
        sorts.push_back(MeasureSortUnique(dir));
        if (merges.back() < 0 || sorts.back() < 0) {
            std::printf("a run failed\n");
            return 1;
        }
    }
    std::printf("merge %d new records into a table of %d (processor time, median of %d runs, alternated):\n",
                Records, Records, Runs);
    std::printf("tarnwick-cli merge:         %8.1f ms\n", Median(merges));
    std::printf("sort -u on both files:      %8.1f ms\n", Median(sorts));
    const double ratio = Median(merges) / Median(sorts);
    std::printf("time ratio merge / sort -u: %8.2f  (target <= 1.00)\n", ratio);
    std::filesystem::remove_all(dir);
    if (ratio > 1.0) {
        std::printf("missed the target: merge took %.2f times the time of sort -u\n", ratio);
        return 1;
    }
    return 0;
}
