// tarnwick-cli report as a user runs it: the page of the shipped template
// table (target: under 50 ms), and of 10,000 result documents of 2-processor
// machines (targets: under 3 s and under 30 MB at its peak), which then opens
// in headless Chromium (target: under 5 s to load and paint). Each figure
// is the median of its runs. Fails (exit 1) when a run fails or a target is
// missed, naming which. --short: 20 documents, the table 3 times, the
// documents once, and no Chromium (its start-up alone takes seconds; the
// report_browser test opens pages).
#include "../tests/support/document_builder.h"

#include "measure.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {
constexpr int Documents = 10000;
constexpr int TableRuns = 21;
constexpr int FleetRuns = 3;
constexpr double TableTargetMs = 50.0;
constexpr double FleetTargetSeconds = 3.0;
constexpr double FleetTargetMb = 30.0;
constexpr double OpenTargetSeconds = 5.0;
constexpr int ShortDocuments = 20;
constexpr int ShortTableRuns = 3;

std::string Read(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Runs the report `runs` times: the median wall time and processor time in
// ms and peak memory in MB; false (said) when a run fails or its summary is
// not the one wanted.
bool Measure(const std::vector<std::string>& arguments, const std::filesystem::path& dir, int runs,
             int wantedDocuments, double& wallMs, double& cpuMs, double& peakMb, BenchOutcome& outcome)
{
    std::vector<double> walls, cpus, peaks;
    const std::string output = (dir / "summary.json").string();
    for (int run = 0; run < runs; ++run) {
        long peak = 0;
        double cpu = 0;
        const auto start = std::chrono::steady_clock::now();
        const int status = SpawnMeasured(arguments, output, peak, &cpu);
        cpus.push_back(cpu);
        walls.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        peaks.push_back(peak / 1024.0);
        const nlohmann::json summary = nlohmann::json::parse(Read(output), nullptr, false);
        if (status != 0 || summary.is_discarded() || summary.value("shown", -1) != wantedDocuments) {
            outcome.RunFailed(arguments[0] + " report exited with status " + std::to_string(status) + ", output " +
                              Read(output).substr(0, 300));
            return false;
        }
    }
    wallMs = Median(walls);
    cpuMs = Median(cpus);
    peakMb = Median(peaks);
    return true;
}

void Within(const char* what, double value, double target, const char* unit, BenchOutcome& outcome)
{
    std::printf("%-34s %9.1f %s  (target < %.0f %s)\n", what, value, unit, target, unit);
    outcome.Below(std::string(what) + " (" + unit + ")", value, target);
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
    const int documents = options.shortRun ? ShortDocuments : Documents;

    // The template table.
    std::filesystem::copy_file(std::filesystem::path(TARNWICK_DOC) / "cpu_results_original.csv", dir / "table.csv");
    double tableMs = 0, tableCpuMs = 0, tableMb = 0;
    const bool tableRan = Measure({options.runner, "report", "--json", "--results", (dir / "table.csv").string(),
                                   "--output", (dir / "table.html").string()},
                                  dir, options.shortRun ? ShortTableRuns : TableRuns, 0, tableMs, tableCpuMs, tableMb,
                                  outcome);

    // 10,000 documents, one host slow.
    std::mt19937 random(9);
    std::vector<std::string> arguments = {options.runner, "report", "--json", "--output",
                                          (dir / "fleet.html").string()};
    for (int k = 0; k < documents; ++k) {
        FleetDocumentKind kind;
        kind.rateFactor = k == documents - 1 ? 0.8 : 1.0;
        const std::string file = (dir / ("node-" + std::to_string(k) + ".json")).string();
        std::ofstream(file, std::ios::binary) << WriteResultDocument(FleetDocument(random, "node-" + std::to_string(k), kind));
        arguments.push_back(file);
    }
    double fleetMs = 0, fleetCpuMs = 0, fleetMb = 0;
    const bool fleetRan =
        Measure(arguments, dir, options.shortRun ? 1 : FleetRuns, documents, fleetMs, fleetCpuMs, fleetMb, outcome);
    const double pageMb = std::filesystem::exists(dir / "fleet.html") ? std::filesystem::file_size(dir / "fleet.html") / 1e6 : 0;

    // Opened in Chromium: load and paint, the median of three.
    double openSeconds = -1;
    const std::string opened = (dir / "open.txt").string();
    const std::string command = std::string("/usr/bin/python3 ") +
                                ShellQuoted(std::string(TARNWICK_SOURCE_DIR) + "/benchmarks/report_open.py") + " " +
                                ShellQuoted((dir / "fleet.html").string()) + " 3" +
                                " > " + ShellQuoted(opened);
    const bool openRan = fleetRan && !options.shortRun && std::system(command.c_str()) == 0 &&
                         std::sscanf(Read(opened).c_str(), "seconds %lf", &openSeconds) == 1;
    if (fleetRan && !options.shortRun && !openRan)
        outcome.RunFailed("Chromium did not open the page: " + Read(opened).substr(0, 300));

    const std::string many = options.shortRun ? std::to_string(documents) : "10,000";
    std::printf("tarnwick-cli report (medians; the processor: tarnwick-cli info)\n");
    if (tableRan) {
        Within("template table: wall time", tableMs, TableTargetMs, "ms", outcome);
        std::printf("%-34s %9.1f MB\n", "template table: peak memory", tableMb);
    }
    if (fleetRan) {
        Within((many + " documents: wall time").c_str(), fleetMs / 1000.0, FleetTargetSeconds, "s", outcome);
        std::printf("%-34s %9.1f s\n", (many + " documents: processor time").c_str(), fleetCpuMs / 1000.0);
        Within((many + " documents: peak memory").c_str(), fleetMb, FleetTargetMb, "MB", outcome);
        std::printf("%-34s %9.1f MB\n", (many + " documents: page").c_str(), pageMb);
    }
    if (options.shortRun)
        std::printf("%-34s not opened in a short run\n", (many + " documents: Chromium").c_str());
    if (openRan)
        Within((many + " documents: opened in Chromium").c_str(), openSeconds, OpenTargetSeconds, "s", outcome);
    return outcome.Exit();
}
