// Merging 10,000 result documents (one speed thread and eight power threads
// of ten seconds each) into a table of 100,000 records through the library:
// every document read, checked and judged, its record added, and the added
// records compared with the others of their model. Target: under 2 s.
// Fails (exit 1) when a run fails or the target is missed. --short: 20
// documents into a table of 1,000, one run.
#include "core/notify.h"
#include "config/paths.h"
#include "results/merge.h"
#include "results/record.h"
#include "results/result_document.h"

#include "measure.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {
constexpr int Records = 100000;
constexpr int Documents = 10000;
constexpr int Models = 5000;
constexpr int Runs = 5;
constexpr double TargetSeconds = 2.0;
constexpr int ShortRecords = 1000;
constexpr int ShortDocuments = 20;

void WriteTable(const std::filesystem::path& file, int records)
{
    std::mt19937 random(7);
    std::ofstream out(file, std::ios::binary);
    for (int i = 0; i < records; ++i) {
        const unsigned speed = 8000 + random() % 4000;
        out << "AMD;Processor model " << random() % Models << ';' << 1000 + random() % 4000 << ';'
            << 1000 + random() % 5000 << ";1;8;16;Linux;6." << i << ';' << speed << ';'
            << speed * (6 + random() % 3) << ";yes\n";
    }
}

RunSamples Samples(std::mt19937& random)
{
    RunSamples samples;
    const std::uint32_t rate = 800 + random() % 400;
    for (int second = 0; second < 10; ++second)
        samples.perSecond.push_back(rate + random() % 5);
    samples.after = random() % 3;
    return samples;
}

TestEvidence Evidence(const char* test, std::vector<RunSamples> threads)
{
    TestEvidence e;
    e.measured = true;
    e.test = test;
    e.millis = 10000;
    for (const RunSamples& thread : threads)
        e.threadPoints.push_back(10.0 * static_cast<double>(thread.Blocks()) / 10.0);
    e.threads = std::move(threads);
    e.points = PointsFromSamples(e.threads, e.millis);
    e.conditions.wallSeconds = 10.004;
    e.conditions.otherPercent = 0.8;
    e.conditions.stealPercent = 0.0;
    e.conditions.governors = std::vector<std::string>(16, "performance");
    e.conditions.threadsPerCore = 2;
    e.conditions.logicalProcessors = 16;
    e.conditions.threads = static_cast<std::uint32_t>(e.threads.size());
    CompleteEvidence(e);
    return e;
}

std::vector<MergeSource> MakeDocuments(int documents, std::size_t& bytes)
{
    std::mt19937 random(8);
    std::vector<MergeSource> sources;
    bytes = 0;
    for (int k = 0; k < documents; ++k) {
        ResultDocument d;
        d.version = "1.5.0.0";
        d.workCycle = WorkCycleIdentity;
        d.date = "2026-11-24T09:30:00Z";
        // A record names its machine's processor: the brand is the model.
        const std::string model = "Processor model " + std::to_string(random() % Models);
        d.machine = {"AuthenticAMD", model, "A20F10", model, 16, "6.1.0-27-amd64", "Debian GNU/Linux 12 (bookworm)"};
        d.speed = Evidence("speed", {Samples(random)});
        std::vector<RunSamples> threads;
        for (int t = 0; t < 8; ++t)
            threads.push_back(Samples(random));
        d.power = Evidence("power", std::move(threads));
        d.record = "AMD;" + model + ";3800;4700;1;8;16;Linux;7." + std::to_string(k) + ';';
        d.record += FormatPoints(d.speed.points);
        d.record += ';';
        d.record += FormatPoints(d.power.points);
        d.record += ";yes";
        sources.push_back({wxString::Format(wxS("doc%d.json"), k), WriteResultDocument(d)});
        bytes += sources.back().bytes.size();
    }
    return sources;
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
    const int records = options.shortRun ? ShortRecords : Records;
    const int documents = options.shortRun ? ShortDocuments : Documents;
    const int runs = options.shortRun ? 1 : Runs;
    WriteTable(dir / "table.csv", records);
    std::filesystem::current_path(dir);
    SetExecutablePathForTests(wxString::FromUTF8((dir / "tarnwick").string()));
    SetNotifier([](const wxString& text, const wxString&) { std::printf("message: %s\n", text.utf8_str().data()); });
    std::size_t bytes = 0;
    const std::vector<MergeSource> sources = MakeDocuments(documents, bytes);

    std::vector<double> walls, cpus;
    std::size_t implausible = 0;
    for (int run = 0; run < runs; ++run) {
        std::filesystem::copy_file(dir / "table.csv", dir / "cpu_results.csv",
                                   std::filesystem::copy_options::overwrite_existing);
        const double cpu = CpuMilliseconds(RUSAGE_SELF);
        const auto start = std::chrono::steady_clock::now();
        const MergeOutcome merged = MergeResults(sources);
        const auto stop = std::chrono::steady_clock::now();
        cpus.push_back(CpuMilliseconds(RUSAGE_SELF) - cpu);
        walls.push_back(std::chrono::duration<double, std::milli>(stop - start).count());
        if (merged.status != 0 || merged.documents != std::size_t(documents) ||
            merged.added != std::size_t(documents) || !merged.refused.empty()) {
            char what[160];
            std::snprintf(what, sizeof what, "status %d, %zu documents, %zu added, %zu refused", merged.status,
                          merged.documents, merged.added, merged.refused.size());
            const std::string why =
                merged.refused.empty() ? std::string() : ": " + std::string(merged.refused[0].reason.utf8_str());
            outcome.RunFailed(what + why);
            return outcome.Exit();
        }
        implausible = merged.implausible.size();
    }
    std::printf("merge %d result documents (%.1f MB, 9 threads of 10 s each) into a table of %d records\n"
                "(median of %d runs; %zu added records reported implausible):\n",
                documents, bytes / 1e6, records, runs, implausible);
    std::printf("wall time:       %8.1f ms\n", Median(walls));
    std::printf("processor time:  %8.1f ms\n", Median(cpus));
    std::printf("time / target:   %8.2f  (target <= 1.00: %.1f s)\n", Median(walls) / 1000.0 / TargetSeconds,
                TargetSeconds);
    outcome.AtMost("wall time / target", Median(walls) / 1000.0 / TargetSeconds, 1.0);
    return outcome.Exit();
}
