#include "cli/runner.h"

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

namespace {
constexpr int UsageError = 2;

// Collects what the command-line parser reports, to print it on one line.
class CollectOutput : public wxMessageOutput {
public:
    wxString first;

    void Output(const wxString& text) override
    {
        if (first.empty())
            first = wxString(text).Trim().Trim(false);
    }
};

struct Options {
    wxString command;
    bool json = false;
    bool quiet = false;
    long seconds = 0;  ///< 0: the full length
    long threads = -1;
    int htt = -1;  ///< -1 as the processor says, 0 off, 1 on
    long httOffResult = -1;
    long minutes = -1;
    bool searching = false;
    wxString search;
    bool append = false;
    wxString results;                 ///< --results: another results file
    wxString log;                     ///< --log: the heat test's readings, one CSV row a second
    wxString plot;                    ///< --plot: the heat view with its readings, as SVG
    std::vector<wxString> files;      ///< merge's files; "-" is standard input
    bool noLock = false;              ///< --no-lock: change the table even where it cannot be locked
    int repeat = 0;                   ///< --repeat: runs (0: one, without a summary); RepeatAuto
    bool strict = false;              ///< --strict: exit 3 on an unsteady run
    wxString save;                    ///< --save: the result document
    bool steadyOnly = false;          ///< --steady-only: merge refuses unsteady documents
};

constexpr int RepeatAuto = -1;
constexpr int UnsteadyExit = 3;

// "elapsed / total s, phase" on standard error, refreshed four times a
// second while a run lasts; only when standard error is a terminal.
class Progress {
public:
    Progress(bool enabled, double totalSeconds, const char* phase)
        : m_enabled(enabled), m_total(totalSeconds), m_phase(phase)
    {
        if (m_enabled)
            m_ticker = std::thread([this] { Tick(); });
    }
    ~Progress()
    {
        if (!m_enabled)
            return;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_stop = true;
        }
        m_wake.notify_all();
        m_ticker.join();
        std::fprintf(stderr, "\r%60s\r", "");
    }
    void SetPhase(const char* phase)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_phase = phase;
    }

private:
    void Tick()
    {
        const auto start = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(m_lock);
        while (!m_stop) {
            const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::fprintf(stderr, "\r%5.0f / %.0f s, %s   ", elapsed, m_total, m_phase);
            std::fflush(stderr);
            m_wake.wait_for(lock, std::chrono::milliseconds(250));
        }
    }

    bool m_enabled;
    double m_total;
    const char* m_phase;
    bool m_stop = false;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::thread m_ticker;
};

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
    char text[64];
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
}

std::string PadLeft(std::string text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

int RunLength(const Options& options)
{
    return options.seconds > 0 ? static_cast<int>(options.seconds) : 10;
}

std::string Length(const Options& options)
{
    if (options.seconds > 0)
        return "run shortened to " + std::to_string(options.seconds) + " s; points normalised to the full test";
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

// One run of a test: its points, its evidence, and the members and lines
// that describe it.
struct TestRun {
    double points = 0.0;
    TestEvidence evidence;
    nlohmann::ordered_json json;
    std::vector<std::string> lines;
};

double Median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

// The runs --repeat asks for: N, or three and more while they differ by more
// than 3.5 %, at most six.
std::vector<TestRun> RunRepeated(const Options& options, const std::function<TestRun()>& runOnce, double& spread)
{
    std::vector<TestRun> runs;
    std::vector<double> points;
    const int wanted = options.repeat == RepeatAuto ? 0 : std::max(options.repeat, 1);
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
    if (options.repeat == 0) {
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
        report["shortened"] = options.seconds > 0;
        AddProvenance(report);
        std::string summary = std::string(title) + ": median " + Points(median) + " points of " +
                              std::to_string(runs.size()) + " runs, spread between runs " +
                              FormatFixed(spread, 1) + " %";
        if (options.repeat == RepeatAuto && RunsDiffer(spread)) {
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

int Speed(const Options& options)
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

void ApplyPowerOptions(const Options& options)
{
    PowerTestMillis = RunLength(options) * 1000;
    if (options.threads >= 0)
        ThreadCount = static_cast<std::uint32_t>(options.threads);
    if (options.htt >= 0)
        HttOption = static_cast<std::uint32_t>(options.htt);
    if (options.httOffResult >= 0)
        HttOffResult = static_cast<std::uint32_t>(options.httOffResult);
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

int Power(const Options& options)
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

// Why an output the user named cannot be written, on one line.
void TellOutputProblem(const wxString& path, int error, const std::string& refusedLink)
{
    if (error == EACCES && !refusedLink.empty())
        std::fprintf(stderr, "tarnwick-cli: %s could not be written: %s\n", Utf8(AbsolutePath(path)).c_str(),
                     Utf8(RefusedLinkText(PathFromBytes(refusedLink))).c_str());
    else
        std::fprintf(stderr, "tarnwick-cli: %s could not be written (%s)\n", Utf8(AbsolutePath(path)).c_str(),
                     Utf8(ErrorText(error)).c_str());
}

// The heat log, one row a second, written row by row (a stopped run keeps
// what it logged). A row that cannot be written is told once, and the run
// ends with status 1.
class HeatLog {
public:
    /// False, with the reason told, when the file cannot be opened.
    bool Open(const wxString& path)
    {
        m_path = path;
        int error = 0;
        std::string refused;
        m_fd = OpenStreamOutput(path, error, refused);
        if (m_fd < 0) {
            TellOutputProblem(path, error, refused);
            return false;
        }
        return true;
    }
    ~HeatLog()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    void Line(const std::string& text)
    {
        if (m_fd < 0 || m_error != 0)
            return;
        const std::string line = text + "\n";
        Fail(WriteAll(m_fd, line.data(), line.size()));
    }
    /// Closes the log; false when anything of it could not be written.
    bool Close()
    {
        if (m_fd >= 0) {
            const int fd = m_fd;
            m_fd = -1;
            Fail(::close(fd) == 0 ? 0 : errno);
        }
        return m_error == 0;
    }
    bool Failed() const { return m_error != 0; }

private:
    void Fail(int error)
    {
        if (error == 0 || m_error != 0)
            return;
        m_error = error;
        TellOutputProblem(m_path, error, {});
    }

    wxString m_path;
    int m_fd = -1;
    int m_error = 0;
};

// The finished heat view with its readings, as an SVG picture.
bool WritePlot(OutputFile& plot, const wxString& path)
{
    const ViewLayout layout = LayoutHeatView(HeatClockMillis());
    int bottom = 200;
    for (const ViewItem& item : layout)
        bottom = std::max(bottom, (item.kind == ViewItem::Kind::Line ? std::max(item.y, item.y2) : item.y) + 40);
    const std::string svg = LayoutToSvg(layout, 900, bottom, 12);
    if (const int error = plot.Finish(svg)) {
        TellOutputProblem(path, error, {});
        return false;
    }
    return true;
}

// What the sensors said, for the summary line.
std::string SensorSummary()
{
    const std::optional<double> highest = HeatReadings.HighestCelsius();
    const std::optional<double> lowest = HeatReadings.LowestMhz();
    if (!highest && !lowest)
        return "no temperature or frequency sensor answered";
    std::string text = highest ? "highest temperature " + Points(*highest) + " \u00B0C"
                               : std::string("no temperature sensor answered");
    text += lowest ? ", lowest frequency " + FormatFixed(*lowest / 1000.0, 2) + " GHz"
                   : std::string(", no frequency sensor answered");
    if (HeatReadings.Throttled())
        text += "; the processor slowed down at its highest temperature (thermal throttling)";
    return text;
}

// The work rate and the checks, for the summary.
std::string WorkSummary(const HeatWorkHistory& work)
{
    std::string text = "work rate ";
    const std::optional<double> current = work.CurrentRate();
    text += current ? FormatPassRate(*current) + " at the end" : std::string("unknown (no block was finished)");
    if (const std::optional<HeatPace> pace = work.SustainedPace())
        text += ", sustained " + FormatFixed(pace->percent, 0) + " % of the first " +
                FormatFixed(pace->firstSeconds, 0) + " s";
    if (const std::optional<double> slowest = work.SlowestPercent())
        text += ", slowest processor " + FormatFixed(*slowest, 0) + " % of the fastest";
    const std::uint64_t checks = work.Checks(), errors = work.Errors();
    text += "; " + GroupedNumber(checks) + (checks == 1 ? " check, " : " checks, ") +
            (errors == 0 ? std::string("no errors") : GroupedNumber(errors) + (errors == 1 ? " error" : " errors"));
    return text;
}

// One line for each processor that failed a check: when, and what it got.
std::vector<std::string> ErrorLines(const HeatWorkHistory& work)
{
    std::vector<std::string> lines;
    if (work.Samples().empty())
        return lines;
    const std::vector<HeatWorkerReading>& workers = work.Samples().back().workers;
    for (std::uint32_t k = 0; k < workers.size(); ++k) {
        if (workers[k].errors == 0)
            continue;
        std::string line = "Processor " + std::to_string(work.Processor(k)) + " computed a wrong result";
        for (const HeatCheckError& error : work.ErrorList())
            if (error.worker == k) {
                line += " at " + ElapsedClock(error.millis) + " (" + error.check + " check: " + error.failure.value +
                        " should be " + error.failure.expected + ", was " + error.failure.found + ")";
                break;
            }
        line += ", " + GroupedNumber(workers[k].errors) + (workers[k].errors == 1 ? " error" : " errors") +
                " in all \u2014 this machine is not stable under load";
        lines.push_back(line);
    }
    return lines;
}

nlohmann::ordered_json WorkJson(const HeatWorkHistory& work)
{
    const auto number = [](const std::optional<double>& value) {
        return value ? WholeNumber(*value) : nlohmann::ordered_json(nullptr);
    };
    nlohmann::ordered_json json;
    nlohmann::ordered_json perSecond = nlohmann::ordered_json::array();
    for (const HeatRatePoint& point : work.Rates())
        perSecond.push_back({{"seconds", std::round(point.seconds * 1000.0) / 1000.0},
                             {"passesPerSecond", WholeNumber(std::round(point.passesPerSecond))}});
    json["passesPerBlock"] = HeatBlockPasses;
    json["passesPerSecond"] = work.CurrentRate() ? WholeNumber(std::round(*work.CurrentRate()))
                                                 : nlohmann::ordered_json(nullptr);
    const std::optional<HeatPace> pace = work.SustainedPace();
    json["sustainedPercent"] = pace ? WholeNumber(pace->percent) : nlohmann::ordered_json(nullptr);
    json["firstSeconds"] = pace ? WholeNumber(pace->firstSeconds) : nlohmann::ordered_json(nullptr);
    json["lastSeconds"] = pace ? WholeNumber(pace->lastSeconds) : nlohmann::ordered_json(nullptr);
    json["slowestPercent"] = number(work.SlowestPercent());
    json["perSecond"] = perSecond;
    nlohmann::ordered_json processors = nlohmann::ordered_json::array();
    const std::vector<std::optional<double>> rates = work.ProcessorRates();
    for (std::uint32_t k = 0; k < rates.size(); ++k) {
        const HeatWorkerReading& reading = work.Samples().back().workers[k];
        processors.push_back({{"processor", work.Processor(k)},
                              {"kept", work.Kept(k)},
                              {"passes", std::uint64_t(reading.blocks) * HeatBlockPasses},
                              {"passesPerSecond", rates[k] ? WholeNumber(std::round(*rates[k]))
                                                           : nlohmann::ordered_json(nullptr)},
                              {"checks", reading.checks},
                              {"errors", reading.errors}});
    }
    json["perProcessor"] = processors;
    json["checks"] = work.Checks();
    json["errors"] = work.Errors();
    nlohmann::ordered_json errors = nlohmann::ordered_json::array();
    for (const HeatCheckError& error : work.ErrorList())
        errors.push_back({{"processor", error.processor},
                          {"seconds", error.millis / 1000.0},
                          {"check", error.check},
                          {"value", error.failure.value},
                          {"expected", error.failure.expected},
                          {"found", error.failure.found}});
    json["errorList"] = errors;
    return json;
}

// The log's work columns: the rate of the second (empty before the first
// block) and the errors so far.
std::string WorkLogCells(const HeatWorkHistory& work)
{
    std::string cells = ",";
    const std::vector<HeatRatePoint>& rates = work.Rates();
    if (!rates.empty() && !work.Samples().empty() && rates.back().seconds == work.Samples().back().seconds)
        cells += FormatFixed(rates.back().passesPerSecond, 0);
    return cells + "," + std::to_string(work.Errors());
}

int Heat(Options options)
{
    // A shortened run stands for one minute unless told otherwise.
    if (options.minutes < 0)
        options.minutes = 1;
    HeatTestMillis = options.seconds > 0 ? static_cast<std::int32_t>(options.seconds * 1000)
                                         : static_cast<std::int32_t>(options.minutes * 60000);
    ThreadCount = static_cast<std::uint32_t>(std::max(wxThread::GetCPUCount(), 1));
    std::string problem;
    if (!TakeHeatFaultFromEnvironment(problem)) {
        std::fprintf(stderr, "tarnwick-cli: %s\n", problem.c_str());
        return 1;
    }
    // Both outputs are opened before the test: a wrong path is told at
    // once, not at the end of a long run.
    HeatLog log;
    if (!options.log.empty() && !log.Open(options.log))
        return 1;
    OutputFile plot;
    if (!options.plot.empty()) {
        std::string refused;
        if (const int error = plot.Open(options.plot, refused)) {
            TellOutputProblem(options.plot, error, refused);
            return 1;
        }
    }
    StartHeatReadings();
    log.Line(HeatLogHeader(HeatSensorNames()) + ",passes per second,errors");
    if (log.Failed())
        return 1;
    const auto start = std::chrono::steady_clock::now();
    {
        Progress progress(ShowProgress(options), HeatTestMillis / 1000.0, "heating");
        StartHeatTest();
        // One sample a second, at whole seconds since the start.
        std::int64_t nextSample = 1;
        // The work counts are read once more after the last worker has
        // finished, so that its last blocks count; that reading gets a row of
        // its own only when it falls in a new second.
        const auto sample = [&](bool last) {
            const std::int64_t elapsed = HeatClockMillis() - HeatStart.GetValue();
            const bool row = elapsed >= nextSample * 1000;
            if (row || last)
                SampleHeatWork(elapsed / 1000.0);
            if (!row)
                return;
            log.Line(HeatLogRow(SampleHeatReadings(elapsed / 1000), HeatSensorNames().size()) +
                     WorkLogCells(HeatWork));
            nextSample = elapsed / 1000 + 1;
        };
        while (HeatDoneProduct() == 0) {
            wxMilliSleep(100);
            const wxString message = TakeHeatMessage();
            if (!message.empty()) {
                std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(message).c_str());
                return 1;
            }
            sample(false);
        }
        // Every worker has finished: its last blocks count too.
        sample(true);
        FinishHeatTest();
    }
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool logged = log.Close();
    if (!options.plot.empty() && !WritePlot(plot, options.plot))
        return 1;
    if (!logged)
        return 1;
    const auto number = [](const std::optional<double>& value) {
        return value ? WholeNumber(*value) : nlohmann::ordered_json(nullptr);
    };
    Report report(options.json);
    report["test"] = "heat";
    report["workers"] = ThreadCount;
    report["milliseconds"] = HeatTestMillis;
    report["seconds"] = WholeNumber(took);
    report["highestCelsius"] = number(HeatReadings.HighestCelsius());
    report["lowestMhz"] = number(HeatReadings.LowestMhz());
    report["throttled"] = HeatReadings.Throttled();
    report["work"] = WorkJson(HeatWork);
    report.Line("Heat test: " + std::to_string(ThreadCount) + " workers busy for " + Points(took) + " s (" +
                (options.seconds > 0 ? "run shortened to " + std::to_string(options.seconds) + " s"
                                     : std::to_string(options.minutes) + " min") +
                "); " + SensorSummary());
    report.Line("Work: " + WorkSummary(HeatWork));
    for (const std::string& line : ErrorLines(HeatWork))
        report.Line(line);
    report.Print();
    // For scripts: a check failed. The log and the plot are written.
    return HeatWork.Errors() > 0 ? 4 : 0;
}

int Info(const Options& options)
{
    Report report(options.json);
    report["processor"] = ShownUtf8(CpuDisplayName);
    report["vendor"] = ShownUtf8(wxString::From8BitData(CpuVendorId));
    report["signature"] = wxString::Format(wxS("%X"), CpuSignature).utf8_string();
    report["family"] = CpuFamily;
    report["model"] = CpuModel;
    report["stepping"] = CpuStepping;
    report["extendedFamily"] = CpuExtendedFamily;
    report["extendedModel"] = CpuExtendedModel;
    report["type"] = CpuType;
    report["cores"] = CpuCores;
    report["htt"] = CpuHtt;
    report["logicalProcessors"] = CpuCount;
    const auto line = [&](const char* format, auto... values) {
        char text[512];
        std::snprintf(text, sizeof text, format, values...);
        report.Line(text);
    };
    report.Line("Processor:           " + Utf8(CpuDisplayName));
    line("Vendor:              %s", CpuVendorId);
    line("Signature:           %X", CpuSignature);
    line("Family: %X  Model: %X  Stepping: %X", CpuFamily, CpuModel, CpuStepping);
    line("Extended family: %X  Extended model: %X  Type: %X", CpuExtendedFamily, CpuExtendedModel, CpuType);
    line("Cores: %u  HTT: %u", CpuCores, CpuHtt);
    line("Logical processors:  %u", CpuCount);
    report.Line("(as CPUID reports them; they may not match the hardware)");
    report.Print();
    return 0;
}

// Loads the results table; false (the problem told) when it cannot be used.
bool LoadResults()
{
    const int status = AccessResultsFile(ResultsOpLoad);
    if (status != 0 && !LastResultsProblemTold())
        std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(ResultsProblemText()).c_str());
    return status == 0;
}

const wchar_t* Row(std::int32_t line)
{
    return ResultLines.get() + std::size_t(line) * std::size_t(ResultLineWidth);
}

int Results(const Options& options)
{
    if (!LoadResults())
        return 1;
    Report report(options.json);
    if (options.searching) {
        SetSearchText(options.search);
        FindResults();
        report["search"] = ShownUtf8(SearchText.get());
        report["hits"] = nlohmann::ordered_json::array();
        report.Line(std::to_string(SearchHitCount) + " search results for: " + Utf8(SearchText.get()));
        for (std::int32_t j = 0; j < SearchHitCount; ++j) {
            const wxString hit = SearchHits.get() + j * SearchHitWidth;
            report["hits"].push_back(ShownUtf8(hit));
            report.Line(Utf8(hit));
        }
        report.Print();
        return 0;
    }
    report["results"] = nlohmann::ordered_json::array();
    report.Line("Place     Speed     Power  Processor");
    for (std::int32_t k = 0; k < RankedCount; ++k) {
        const std::int32_t line = static_cast<std::int32_t>(SpeedRanking[k].line);
        SplitResultRecord(static_cast<std::uint32_t>(line));
        const wxString name = RecordTitle.get();
        const double power = ParseReal(RecordFields[FieldPowerPoints].get());
        report["results"].push_back({{"place", k + 1},
                                     {"speed", WholeNumber(SpeedRanking[k].score)},
                                     {"power", WholeNumber(power)},
                                     {"processor", ShownUtf8(name)},
                                     {"line", ShownUtf8(Row(line))}});
        report.Line(PadLeft(std::to_string(k + 1), 5) + " " + PadLeft(Points(SpeedRanking[k].score), 9) + " " +
                    PadLeft(Points(power), 9) + "  " + Utf8(name));
    }
    report.Print();
    return 0;
}

// Tells why a change of the table was not made, when the file routine's
// message wants a word about the command line.
void HintAfterRefusal()
{
    if (LastResultsProblem().kind == FileFailure::Kind::NotLocked)
        std::fprintf(stderr, "tarnwick-cli: --no-lock makes the change anyway, at the risk of losing a change "
                             "another program makes at the same time\n");
}

// The fields of this machine's record the kernel knows: rated and maximum
// frequency, processors, cores, the OS version. What stays unknown stays
// empty.
void FillRecordFromKernel()
{
    const MachineTopology topology = ReadMachineTopology(SensorRoot);
    const MachineFacts facts = ReadMachineFacts(SensorRoot);
    const auto whole = [](const std::optional<double>& value) {
        return value && *value > 0.0 ? wxString::Format(wxS("%.0f"), *value) : wxString();
    };
    SetRecordField(FieldRatedFrequency, whole(topology.baseMhz));
    SetRecordField(FieldMaximumFrequency, whole(topology.maxMhz));
    if (topology.packages != 0)
        SetRecordField(FieldProcessors, wxString::Format(wxS("%u"), topology.packages));
    if (topology.cores != 0)
        SetRecordField(FieldCores, wxString::Format(wxS("%u"), topology.cores));
    // "Debian 12": the distribution's first word and its version.
    const std::string name = facts.osName.substr(0, facts.osName.find(' '));
    std::string version = name;
    if (!facts.osVersion.empty())
        version += (version.empty() ? "" : " ") + facts.osVersion;
    wxString field = wxString::FromUTF8(version.c_str());
    field.Replace(wxS(";"), wxS(","));
    SetRecordField(FieldOsVersion, field);
}

std::string UtcNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

// A machine's name as a document holds it: text (bytes that are no UTF-8
// read as Latin-1), control characters as spaces, at most `limit` bytes
// cut at a character's end.
std::string DocumentText(std::string bytes, std::size_t limit)
{
    if (!IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()))
        bytes = wxString::From8BitData(bytes.data(), bytes.size()).utf8_string();
    for (char& c : bytes)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    if (bytes.size() > limit) {
        std::size_t cut = limit;
        while (cut > 0 && (static_cast<unsigned char>(bytes[cut]) & 0xC0) == 0x80)
            --cut;
        bytes.resize(cut);
    }
    return bytes;
}

ResultDocument MakeDocument(const wxString& line)
{
    constexpr std::size_t MachineText = 256;
    ResultDocument document;
    document.version = TARNWICK_VERSION;
    document.workCycle = WorkCycleIdentity;
    document.date = UtcNow();
    document.record = line.utf8_string();
    const MachineFacts facts = ReadMachineFacts(SensorRoot);
    document.machine.vendor = DocumentText(std::string(CpuVendorId, strnlen(CpuVendorId, sizeof CpuVendorId)), MachineText);
    document.machine.brand =
        DocumentText(std::string(CpuBrandString, strnlen(CpuBrandString, sizeof CpuBrandString)), MachineText);
    document.machine.signature = wxString::Format(wxS("%X"), CpuSignature).utf8_string();
    document.machine.modelName = DocumentText(facts.modelName, MachineText);
    document.machine.logicalProcessors = CpuCount;
    document.machine.kernel = DocumentText(facts.kernel, MachineText);
    document.machine.os = DocumentText(facts.osPretty, MachineText);
    document.speed = LastSpeedEvidence;
    document.power = LastPowerEvidence;
    return document;
}

// The document of the last tests as merge will read it; an empty text, with
// why in `problem`, when merge would refuse it (a run too long for a
// document, a thread that could not start).
std::string SavedDocument(const wxString& line, std::string& problem)
{
    const std::string text = WriteResultDocument(MakeDocument(line));
    ResultDocument read;
    problem = ReadResultDocument(text, read);
    if (problem.empty())
        problem = CheckResultDocument(read);
    return problem.empty() ? text : std::string();
}

int Record(const Options& options)
{
    SpeedTestMillis = RunLength(options) * 1000;
    ApplyPowerOptions(options);
    // The document's file is opened before the tests: a wrong path is told
    // at once, not after them.
    OutputFile saved;
    if (!options.save.empty()) {
        std::string refused;
        if (const int error = saved.Open(options.save, refused)) {
            TellOutputProblem(options.save, error, refused);
            return 1;
        }
    }
    {
        Progress progress(ShowProgress(options), RunLength(options), "speed test");
        LastSpeedPoints = RunSpeedBenchmark();
    }
    MeasurePower(options);
    FillRecordFromLastTest();
    FillRecordFromKernel();
    const wxString line = JoinRecordFields();
    const bool unsteady = !LastSpeedEvidence.verdict.steady || !LastPowerEvidence.verdict.steady;

    Report report(options.json);
    report["line"] = ShownUtf8(line);
    report["appended"] = false;
    report["shortened"] = options.seconds > 0;
    report["saved"] = nullptr;
    AddProvenance(report);
    report["speed"] = EvidenceToJson(LastSpeedEvidence);
    report["power"] = EvidenceToJson(LastPowerEvidence);
    report["steady"] = !unsteady;
    // The text form is the record line alone, to be added to a results
    // file; the evidence goes to standard error. When the line cannot be
    // stored it is printed all the same, so that the result is not lost.
    report.Line(Utf8(line));

    if (!options.save.empty()) {
        std::string problem;
        const std::string document = SavedDocument(line, problem);
        if (document.empty()) {
            std::fprintf(stderr, "tarnwick-cli: no result document was written to %s: %s\n",
                         Utf8(AbsolutePath(options.save)).c_str(), problem.c_str());
            report.Print();
            return 1;
        }
        if (const int error = saved.Finish(document)) {
            TellOutputProblem(options.save, error, {});
            report.Print();
            return 1;
        }
        report["saved"] = ShownUtf8(AbsolutePath(options.save));
    }
    if (options.append) {
        // A failure is told by the file routine: which file, and why.
        BackupPending = 1;
        if (AccessResultsFile(ResultsOpAppend) != 0) {
            HintAfterRefusal();
            report.Print();
            return 1;
        }
        report["appended"] = true;
    }
    report.Print();
    if (!options.json && !options.quiet)
        for (const TestEvidence* evidence : {&LastSpeedEvidence, &LastPowerEvidence}) {
            std::fprintf(stderr, "%s test. %s\n", evidence == &LastSpeedEvidence ? "Speed" : "Power",
                         EvidenceLine(*evidence).c_str());
            for (const std::string& note : evidence->verdict.notes)
                std::fprintf(stderr, "Note: %s.\n", note.c_str());
        }
    return options.strict && unsteady ? UnsteadyExit : 0;
}

// Reads an input to merge whole, at most `limit` bytes; 0 or the errno
// (EFBIG when there is more).
int ReadInput(const wxString& file, std::string& bytes, std::size_t limit)
{
    if (file == wxS("-"))
        return ReadAll(STDIN_FILENO, bytes, limit);
    const int fd = ::open(PathToBytes(file).c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    struct stat info {};
    int error = ::fstat(fd, &info) != 0 ? errno : S_ISDIR(info.st_mode) ? EISDIR : 0;
    if (error == 0)
        error = ReadAll(fd, bytes, limit);
    ::close(fd);
    return error;
}

// Every file read whole, with a size bound, before the table is touched:
// one that cannot be read stops the merge with the table unchanged.
int Merge(const Options& options)
{
    std::vector<MergeSource> sources;
    const std::uint64_t limit = ResultsFileLimit();
    for (const wxString& file : options.files) {
        MergeSource source;
        source.name = file == wxS("-") ? wxString(wxS("(standard input)")) : file;
        const int error = ReadInput(file, source.bytes, limit);
        if (error == EFBIG) {
            std::fprintf(stderr, "tarnwick-cli: %s is too large to merge (more than %.1f MB); the results table is "
                                 "unchanged\n",
                         Utf8(source.name).c_str(), double(limit) / 1e6);
            return 1;
        }
        if (error != 0) {
            std::fprintf(stderr, "tarnwick-cli: %s could not be read (%s); the results table is unchanged\n",
                         Utf8(source.name).c_str(), Utf8(ErrorText(error)).c_str());
            return 1;
        }
        sources.push_back(std::move(source));
    }

    // A table that cannot be changed is told by the file routine: which
    // file, and why.
    MergeOptions mergeOptions;
    mergeOptions.steadyOnly = options.steadyOnly;
    const MergeOutcome outcome = MergeResults(sources, mergeOptions);
    if (outcome.status != 0) {
        HintAfterRefusal();
        return 1;
    }
    // Where a refused line or an implausible record is: the file, and the
    // line when it is one of a results file.
    const auto place = [](const wxString& source, std::size_t line) {
        return line == 0 ? Utf8(source) : Utf8(source) + ":" + std::to_string(line);
    };
    Report report(options.json);
    report["added"] = outcome.added;
    report["present"] = outcome.present;
    report["documents"] = outcome.documents;
    report["refused"] = nlohmann::ordered_json::array();
    for (const RefusedLine& refused : outcome.refused) {
        report["refused"].push_back(
            {{"file", ShownUtf8(refused.source)}, {"line", refused.line}, {"reason", ShownUtf8(refused.reason)}});
        if (!options.json)
            std::fprintf(stderr, "tarnwick-cli: %s: refused: %s\n", place(refused.source, refused.line).c_str(),
                         Utf8(refused.reason).c_str());
    }
    report["implausible"] = nlohmann::ordered_json::array();
    for (const ImplausibleRecord& record : outcome.implausible) {
        report["implausible"].push_back(
            {{"file", ShownUtf8(record.source)}, {"line", record.line}, {"reason", ShownUtf8(record.reason)}});
        if (!options.json)
            std::fprintf(stderr, "tarnwick-cli: %s: looks implausible: %s\n",
                         place(record.source, record.line).c_str(), Utf8(record.reason).c_str());
    }
    report["written"] = outcome.written;
    std::string summary = std::to_string(outcome.added) + " added, " + std::to_string(outcome.present) +
                          " already present, " + std::to_string(outcome.refused.size()) + " refused";
    if (!outcome.implausible.empty())
        summary += ", " + std::to_string(outcome.implausible.size()) + " implausible";
    report.Line(summary);
    report.Print();
    // The table was written either way; --strict tells a script that not
    // everything was taken.
    return options.strict && !outcome.refused.empty() ? UnsteadyExit : 0;
}

// Checks the options against the command; an empty text when they fit.
wxString Problem(const wxCmdLineParser& parser, Options& options)
{
    const CliCommand* command = FindCliCommand(options.command.utf8_str());
    if (command == nullptr)
        return wxString::Format(wxS("unknown command '%s'"), options.command);
    const auto takes = [](const std::vector<const char*>& names, const char* name) {
        return std::any_of(names.begin(), names.end(), [name](const char* n) { return std::strcmp(n, name) == 0; });
    };
    for (const CliOption& option : CliOptions())
        if (parser.Found(option.name) && !takes(command->options, option.name) &&
            !takes(CliCommonOptions(), option.name))
            return wxString::Format(wxS("--%s does not go with '%s'"), option.name, options.command);
    // Whole numbers are read here, not by the parser: one message for a
    // value that is no number and one that is out of range.
    const auto number = [&](const wxString& name, long minimum, long maximum, long& value) -> wxString {
        wxString text;
        if (!parser.Found(name, &text))
            return wxString();
        if (text.empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption(name.utf8_str())));
        long read = 0;
        const bool digits = text.find_first_not_of(wxS("+-0123456789")) == wxString::npos;
        if (!digits || !text.ToLong(&read) || read < minimum || read > maximum)
            return wxString::Format(wxS("--%s must be a whole number from %ld to %ld"), name, minimum, maximum);
        value = read;
        return wxString();
    };
    for (const wxString& problem :
         {number(wxS("seconds"), 1, 35791 * 60, options.seconds), number(wxS("threads"), 1, 100000, options.threads),
          number(wxS("htt-off-result"), 0, std::numeric_limits<std::int32_t>::max(), options.httOffResult),
          number(wxS("minutes"), 0, 35791, options.minutes)})
        if (!problem.empty())
            return problem;
    if (parser.Found(wxS("htt")) && parser.Found(wxS("no-htt")))
        return wxS("--htt and --no-htt exclude each other");
    if (parser.Found(wxS("htt")))
        options.htt = 1;
    if (parser.Found(wxS("no-htt")))
        options.htt = 0;
    if (*command->required != '\0' && !parser.Found(command->required) &&
        !(*command->unless != '\0' && parser.Found(command->unless))) {
        const CliOption* needed = FindCliOption(command->required);
        return wxString::Format(wxS("%s needs --%s %s"), command->name, command->required,
                                needed != nullptr && needed->value != nullptr ? needed->value : "");
    }
    for (std::size_t k = 1; k < parser.GetParamCount(); ++k)
        options.files.push_back(parser.GetParam(k));
    if (*command->operands != '\0' && options.files.empty())
        return wxString::Format(wxS("%s needs at least one FILE (- reads standard input)"), command->name);
    if (*command->operands == '\0' && !options.files.empty())
        return wxString::Format(wxS("unexpected '%s' after '%s'"), options.files.front(), options.command);
    for (auto [name, value] : {std::pair{"results", &options.results}, {"log", &options.log}, {"plot", &options.plot}})
        if (parser.Found(name, value) && value->empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption(name)));
    options.searching = parser.Found(wxS("search"), &options.search);
    options.search = ArgumentText(options.search);
    options.noLock = parser.Found(wxS("no-lock"));
    options.strict = parser.Found(wxS("strict"));
    options.steadyOnly = parser.Found(wxS("steady-only"));
    if (parser.Found(wxS("save"), &options.save) && options.save.empty())
        return wxString::FromUTF8(NeedsValue(*FindCliOption("save")));
    wxString repeat;
    if (parser.Found(wxS("repeat"), &repeat)) {
        long runs = 0;
        if (repeat == wxS("auto"))
            options.repeat = RepeatAuto;
        else if (repeat.ToLong(&runs) && runs >= 1 && runs <= 100)
            options.repeat = static_cast<int>(runs);
        else
            return wxS("--repeat must be a whole number from 1 to 100, or auto");
    }
    options.append = parser.Found(wxS("append"));
    options.json = parser.Found(wxS("json"));
    options.quiet = parser.Found(wxS("quiet"));
    return wxString();
}

}  // namespace

int RunCommandLine(const std::vector<wxString>& arguments)
{
    std::vector<std::wstring> texts;
    std::vector<wchar_t*> argv;
    for (const wxString& argument : arguments)
        texts.push_back(argument.ToStdWstring());
    for (std::wstring& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    wxCmdLineParser parser(int(texts.size()), argv.data());
    DescribeCommandLine(parser);
    auto* collected = new CollectOutput;
    wxMessageOutput* previous = wxMessageOutput::Set(collected);
    const int parsed = parser.Parse(false);
    wxMessageOutput::Set(previous);
    const wxString parseError = collected->first;
    delete collected;

    if (parsed == -1) {
        std::fputs(HelpText().c_str(), stdout);
        return 0;
    }
    if (parsed != 0) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n",
                     ParserProblem(Utf8(parseError)).c_str());
        return UsageError;
    }
    if (parser.Found(wxS("version"))) {
        std::printf("tarnwick-cli " TARNWICK_VERSION "\n");
        return 0;
    }
    Options options;
    if (parser.GetParamCount() == 0) {
        std::fprintf(stderr, "tarnwick-cli: no command given (see tarnwick-cli --help)\n");
        return UsageError;
    }
    options.command = parser.GetParam(0);
    const wxString problem = Problem(parser, options);
    if (!problem.empty()) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n", Utf8(problem).c_str());
        return UsageError;
    }

    SetNotifier([](const wxString& text, const wxString&) {
        // The window's words name the usual file; a script may have named
        // another with --results, so the runner names the file it made.
        if (text == wxS("cpu_results.csv was created from original template!"))
            std::fprintf(stderr, "tarnwick-cli: %s was created from the template %s\n",
                         Utf8(ResultsFilePath).c_str(), Utf8(ResultsTemplatePath).c_str());
        else
            std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(text).c_str());
    });
    AllowChangesWithoutLock(options.noLock);
    InitProcessorGlobals(wxThread::GetCPUCount());
    if (!options.results.empty())
        SetResultsFilePath(options.results);
    if (options.command == wxS("record") && !LoadResults())
        return 1;
    if (options.command == wxS("merge"))
        return Merge(options);

    if (options.command == wxS("speed"))
        return Speed(options);
    if (options.command == wxS("power"))
        return Power(options);
    if (options.command == wxS("heat"))
        return Heat(options);
    if (options.command == wxS("info"))
        return Info(options);
    if (options.command == wxS("results"))
        return Results(options);
    return Record(options);
}
