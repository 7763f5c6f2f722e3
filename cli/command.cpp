// What the commands of tarnwick-cli share: the progress line, the run
// lengths, repeated runs and their report, outputs and the results table.

#include "cli/command.h"

#include "bench/evidence.h"
#include "bench/power.h"
#include "bench/work_cycle.h"
#include "cli/options.h"
#include "cli/report.h"
#include "config/paths.h"
#include "core/numbers.h"
#include "core/state.h"
#include "core/version.h"
#include "files/atomic_file.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/record.h"

#include <wx/buffer.h>
#include <wx/chartype.h>
#include <wx/strconv.h>

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace cli {
bool ShowProgress(const Options& options)
{
    return !options.quiet && isatty(STDERR_FILENO) != 0;
}

// Text for the terminal: UTF-8, and a file name's bytes as they were.
std::string Utf8(const wxString& text)
{
    return PathToBytes(text);
}

// Text typed as an argument that is not a file name: in the locale's
// encoding when it is one, else as its bytes were read.
wxString ArgumentText(const wxString& argument)
{
    const std::string bytes = PathToBytes(argument);
    const wxWCharBuffer text = wxConvLibc.cMB2WC(bytes.c_str());
    return text && std::string(wxConvLibc.cWC2MB(text.data())) == bytes ? wxString(text.data()) : argument;
}

std::string Points(double value)
{
    return FormatPoints(value);
}

std::string PadLeft(std::string text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

int RunLength(const Options& options)
{
    return options.seconds ? static_cast<int>(*options.seconds) : 10;
}

std::string Length(const Options& options)
{
    if (options.seconds)
        return "run shortened to " + std::to_string(*options.seconds) + " s; points normalised to the full test";
    return "10 s";
}

// The version and the measured work, with every score.
void AddProvenance(Report& report)
{
    report["version"] = TARNWICK_VERSION;
    report["workCycle"] = WorkCycleIdentity;
}

// The evidence line and the notes of one run, for the text form.
void AddEvidenceLines(Report& report, const TestEvidence& evidence)
{
    report.Line(EvidenceLine(evidence));
    for (const std::string& note : evidence.verdict.notes)
        report.Line("Note: " + note + ".");
}


int WantedRuns(const Options& options)
{
    if (!options.repeat)
        return 1;
    return options.repeat->automatic ? 0 : static_cast<int>(options.repeat->runs);
}

// The runs --repeat asks for: N, or three and more while they differ by more
// than 3.5 %, at most six.
std::vector<TestRun> RunRepeated(const Options& options, const std::function<TestRun()>& runOnce, double& spread)
{
    std::vector<TestRun> runs;
    std::vector<double> points;
    const int wanted = WantedRuns(options);
    do {
        runs.push_back(runOnce());
        points.push_back(runs.back().points);
    } while (WantsAnotherRun(wanted, points));
    spread = SpreadPercent(points);
    return runs;
}

// Reports the runs of a test: one as it always was, several with each run,
// the median and the spread between them. Returns the exit status.
int ReportRuns(const Options& options, const char* test, const char* title, const std::vector<TestRun>& runs,
               double spread)
{
    Report report(options.json);
    bool unsteady = false;
    for (const TestRun& run : runs)
        unsteady = unsteady || !run.evidence.verdict.steady;
    if (!options.repeat) {
        report.Json() = runs.front().json;
        AddProvenance(report);
        report["evidence"] = EvidenceToJson(runs.front().evidence);
        for (const std::string& line : runs.front().lines)
            report.Line(line);
        AddEvidenceLines(report, runs.front().evidence);
    } else {
        std::vector<double> points;
        report["test"] = test;
        report["runs"] = nlohmann::ordered_json::array();
        for (std::size_t k = 0; k < runs.size(); ++k) {
            const TestRun& run = runs[k];
            points.push_back(run.points);
            nlohmann::ordered_json json = run.json;
            json.erase("test");
            json["evidence"] = EvidenceToJson(run.evidence);
            report["runs"].push_back(std::move(json));
            report.Line("Run " + std::to_string(k + 1) + " of " + std::to_string(runs.size()) + ":");
            for (const std::string& line : run.lines)
                report.Line("  " + line);
            report.Line("  " + EvidenceLine(run.evidence));
        }
        const double median = Median(points);
        report["median"] = WholeNumber(median);
        report["spread"] = std::round(spread * 100.0) / 100.0;
        report["seconds"] = RunLength(options);
        report["shortened"] = options.seconds.has_value();
        AddProvenance(report);
        std::string summary = std::string(title) + ": median " + Points(median) + " points of " +
                              std::to_string(runs.size()) + " runs, spread between runs " +
                              FormatFixed(spread, 1) + " %";
        if (options.repeat->automatic && RunsDiffer(spread)) {
            summary += " (still above 3.5 % after six runs)";
            unsteady = true;
        }
        report.Line(summary + " (" + Length(options) + ")");
        for (const std::string& note : runs.back().evidence.verdict.notes)
            report.Line("Note: " + note + ".");
    }
    report["steady"] = !unsteady;
    report.Print();
    return options.strict && unsteady ? UnsteadyExit : 0;
}

void TellOutputProblem(const OutputFailure& failure)
{
    std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(failure.Text()).c_str());
}

void TellOutputProblem(const wxString& path, int error)
{
    TellOutputProblem(OutputFailure{OutputFailure::Kind::Error, error, path, {}});
}

namespace {
// The files of the program an output must never replace.
std::vector<KeptFile> ProgramFiles()
{
    const FilePaths paths = UpdateFilePaths();
    std::vector<KeptFile> kept{{wxS("the results table"), IdentifyFile(paths.resultsFile)},
                               {wxS("the settings file"), IdentifyFile(paths.configFile)}};
    // The table's backup is beside the file its path leads to.
    std::string resolved, refused;
    if (!paths.resultsFile.empty() && ResolvePath(PathToBytes(paths.resultsFile), resolved, refused) == 0)
        kept.push_back({wxS("the results table's backup"),
                        IdentifyFile(PathFromBytes(FolderOf(resolved) + "/" + ResultsBackupName(NameOf(resolved))))});
    return kept;
}
}  // namespace

bool OpenOutputs(const std::vector<NamedOutput>& outputs)
{
    std::vector<KeptFile> kept = ProgramFiles();
    for (const NamedOutput& output : outputs) {
        if (!output.path)
            continue;
        if (const OutputFailure failure = output.file.Open(*output.path, kept)) {
            TellOutputProblem(failure);
            return false;
        }
        if (output.file.Replacing())
            kept.push_back({wxString::Format(wxS("the file of %s as well"), output.option), output.file.Identity()});
    }
    return true;
}

// Loads the results table; false (the problem told) when it cannot be used.
bool LoadResults()
{
    const int status = AccessResultsFile(ResultsOpLoad);
    if (status != 0 && !LastResultsProblemTold())
        std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(ResultsProblemText()).c_str());
    return status == 0;
}

// Tells why a change of the table was not made, when the file routine's
// message wants a word about the command line.
void HintAfterRefusal()
{
    if (LastResultsProblem().kind == FileFailure::Kind::NotLocked)
        std::fprintf(stderr, "tarnwick-cli: --no-lock makes the change anyway, at the risk of losing a change "
                             "another program makes at the same time\n");
}

void ApplyPowerOptions(const Options& options)
{
    PowerTestMillis = RunLength(options) * 1000;
    if (options.threads)
        ThreadCount = static_cast<std::uint32_t>(*options.threads);
    if (options.htt)
        HttOption = 1;
    if (options.noHtt)
        HttOption = 0;
    if (options.httOffResult)
        HttOffResult = static_cast<std::uint32_t>(*options.httOffResult);
}

void MeasurePower(const Options& options)
{
    const bool halfRun = HttOption != 0 && (ThreadCount >> 1) != 0 && HttOffResult == 0;
    const double total = (PowerTestMillis / 1000 + 1) * (halfRun ? 2.0 : 1.0);
    // The phases name the threads, not the length: "full" would read as
    // "not shortened".
    Progress progress(ShowProgress(options), total, "power test, all threads");
    std::atomic<std::uint32_t> finished{0};
    const std::uint32_t allThreads = ThreadCount;
    SetPowerWorkObserver([&](std::uint32_t, const TimedRun&) {
        if (++finished == allThreads)
            progress.SetPhase("per-core run, half the threads");
    });
    LastPowerPoints = RunPowerTest();
    SetPowerWorkObserver(nullptr);
}
}  // namespace cli
