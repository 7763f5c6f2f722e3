#include "cli/runner.h"

#include "cli/options.h"

#include "app/notify.h"
#include "app/numbers.h"
#include "app/startup.h"
#include "app/state.h"
#include "app/version.h"
#include "bench/heat.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "bench/work_cycle.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "results/search.h"
#include "sensors/heat_readings.h"
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
#include <cerrno>
#include <chrono>
#include <condition_variable>
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
};

// "elapsed / total s, phase" on standard error, refreshed four times a
// second while a run lasts; only when standard error is a terminal.
class Progress {
public:
    Progress(bool enabled, double totalSeconds) : m_enabled(enabled), m_total(totalSeconds)
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
    const char* m_phase = "full run";
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

std::string JsonString(const wxString& text)
{
    std::string out = "\"";
    for (unsigned char c : ShownText(text).utf8_string()) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

// A number for JSON: infinities and NaN (an HTT efficiency without a
// reference) have no JSON form and are written as null.
std::string JsonNumber(double value)
{
    if (value != value || value == std::numeric_limits<double>::infinity() ||
        value == -std::numeric_limits<double>::infinity())
        return "null";
    char text[64];
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
}

std::string Points(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
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

int Speed(const Options& options)
{
    SpeedTestMillis = RunLength(options) * 1000;
    {
        Progress progress(ShowProgress(options), RunLength(options));
        LastSpeedPoints = RunSpeedBenchmark();
    }
    if (options.json)
        std::printf("{\"test\": \"speed\", \"points\": %s, \"seconds\": %d, \"shortened\": %s}\n",
                    JsonNumber(LastSpeedPoints).c_str(), RunLength(options), options.seconds > 0 ? "true" : "false");
    else
        std::printf("Speed test: %s points (%s)\n", Points(LastSpeedPoints).c_str(), Length(options).c_str());
    return 0;
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
    Progress progress(ShowProgress(options), total);
    std::atomic<std::uint32_t> finished{0};
    const std::uint32_t fullRun = ThreadCount;
    SetPowerWorkObserver([&](std::uint32_t, const TimedRun&) {
        if (++finished == fullRun)
            progress.SetPhase("half run");
    });
    LastPowerPoints = RunPowerTest();
    SetPowerWorkObserver(nullptr);
}

int Power(const Options& options)
{
    ApplyPowerOptions(options);
    MeasurePower(options);
    if (options.json) {
        std::printf("{\"test\": \"power\", \"points\": %s, \"threads\": %u, \"htt\": %s, \"httOffResult\": %u, "
                    "\"perCore\": %s, \"perThread\": %s, \"httEfficiency\": %s, \"seconds\": %d, "
                    "\"shortened\": %s}\n",
                    JsonNumber(LastPowerPoints).c_str(), ThreadCount, HttOption != 0 ? "true" : "false",
                    HttOffResult, JsonNumber(ReferenceCorePoints).c_str(), JsonNumber(AverageThreadPoints).c_str(),
                    JsonNumber(HttEfficiency).c_str(), RunLength(options), options.seconds > 0 ? "true" : "false");
        return 0;
    }
    std::printf("Power test: %s points with %u threads (%s)\n", Points(LastPowerPoints).c_str(), ThreadCount,
                Length(options).c_str());
    const char* reference = HttOption == 0      ? "the per-thread average"
                            : HttOffResult != 0 ? "the result given with --htt-off-result"
                            : (ThreadCount >> 1) != 0 ? "a run with half the threads"
                                                      : "the earlier reference (one thread: no half run)";
    std::printf("Per core: %s (%s)  Per thread: %s  HTT efficiency: %s%%\n", Points(ReferenceCorePoints).c_str(),
                reference, Points(AverageThreadPoints).c_str(), Points(HttEfficiency).c_str());
    return 0;
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

int Heat(const Options& options)
{
    HeatTestMillis = options.seconds > 0 ? static_cast<std::int32_t>(options.seconds * 1000)
                                         : static_cast<std::int32_t>(options.minutes * 60000);
    ThreadCount = static_cast<std::uint32_t>(std::max(wxThread::GetCPUCount(), 1));
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
    log.Line(HeatLogHeader(HeatSensorNames()));
    if (log.Failed())
        return 1;
    const auto start = std::chrono::steady_clock::now();
    {
        Progress progress(ShowProgress(options), HeatTestMillis / 1000.0);
        progress.SetPhase("heating");
        StartHeatTest();
        // One sample a second, at whole seconds since the start.
        std::int64_t nextSample = 1;
        const auto sample = [&] {
            const std::int64_t elapsed = HeatClockMillis() - HeatStart.GetValue();
            if (elapsed < nextSample * 1000)
                return;
            log.Line(HeatLogRow(SampleHeatReadings(elapsed / 1000), HeatSensorNames().size()));
            nextSample = elapsed / 1000 + 1;
        };
        while (HeatDoneProduct() == 0) {
            wxMilliSleep(100);
            const wxString message = TakeHeatMessage();
            if (!message.empty()) {
                std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(message).c_str());
                return 1;
            }
            sample();
        }
        FinishHeatTest();
    }
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool logged = log.Close();
    if (!options.plot.empty() && !WritePlot(plot, options.plot))
        return 1;
    if (!logged)
        return 1;
    if (options.json) {
        const auto number = [](const std::optional<double>& value) { return value ? JsonNumber(*value) : "null"; };
        std::printf("{\"test\": \"heat\", \"workers\": %u, \"milliseconds\": %d, \"seconds\": %.0f, "
                    "\"highestCelsius\": %s, \"lowestMhz\": %s, \"throttled\": %s}\n",
                    ThreadCount, HeatTestMillis, took, number(HeatReadings.HighestCelsius()).c_str(),
                    number(HeatReadings.LowestMhz()).c_str(), HeatReadings.Throttled() ? "true" : "false");
    } else {
        std::printf("Heat test: %u workers busy for %.0f s (%s); %s\n", ThreadCount, took,
                    options.seconds > 0 ? ("run shortened to " + std::to_string(options.seconds) + " s").c_str()
                                        : (std::to_string(options.minutes) + " min").c_str(),
                    SensorSummary().c_str());
    }
    return 0;
}

int Info(const Options& options)
{
    if (options.json) {
        std::printf("{\"processor\": %s, \"vendor\": %s, \"signature\": \"%X\", \"family\": %u, \"model\": %u, "
                    "\"stepping\": %u, \"extendedFamily\": %u, \"extendedModel\": %u, \"type\": %u, "
                    "\"cores\": %u, \"htt\": %u, \"logicalProcessors\": %u}\n",
                    JsonString(CpuDisplayName).c_str(), JsonString(wxString::From8BitData(CpuVendorId)).c_str(),
                    CpuSignature, CpuFamily, CpuModel, CpuStepping, CpuExtendedFamily, CpuExtendedModel, CpuType,
                    CpuCores, CpuHtt, CpuCount);
        return 0;
    }
    std::printf("Processor:           %s\n", Utf8(CpuDisplayName).c_str());
    std::printf("Vendor:              %s\n", CpuVendorId);
    std::printf("Signature:           %X\n", CpuSignature);
    std::printf("Family: %X  Model: %X  Stepping: %X\n", CpuFamily, CpuModel, CpuStepping);
    std::printf("Extended family: %X  Extended model: %X  Type: %X\n", CpuExtendedFamily, CpuExtendedModel, CpuType);
    std::printf("Cores: %u  HTT: %u\n", CpuCores, CpuHtt);
    std::printf("Logical processors:  %u\n", CpuCount);
    std::printf("(as CPUID reports them; they may not match the hardware)\n");
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
    if (options.searching) {
        SetSearchText(options.search);
        FindResults();
        if (options.json) {
            std::printf("{\"search\": %s, \"hits\": [", JsonString(SearchText.get()).c_str());
            for (std::int32_t j = 0; j < SearchHitCount; ++j)
                std::printf("%s%s", j ? ", " : "", JsonString(SearchHits.get() + j * SearchHitWidth).c_str());
            std::printf("]}\n");
            return 0;
        }
        std::printf("%d search results for: %s\n", SearchHitCount, Utf8(SearchText.get()).c_str());
        for (std::int32_t j = 0; j < SearchHitCount; ++j)
            std::printf("%s\n", Utf8(SearchHits.get() + j * SearchHitWidth).c_str());
        return 0;
    }
    if (options.json)
        std::printf("{\"results\": [");
    else
        std::printf("%5s %9s %9s  %s\n", "Place", "Speed", "Power", "Processor");
    for (std::int32_t k = 0; k < RankedCount; ++k) {
        const std::int32_t line = static_cast<std::int32_t>(SpeedRanking[k].line);
        SplitResultRecord(static_cast<std::uint32_t>(line));
        const wxString name = RecordTitle.get();
        const double power = ParseReal(RecordFields[FieldPowerPoints].get());
        if (options.json)
            std::printf("%s{\"place\": %d, \"speed\": %s, \"power\": %s, \"processor\": %s, \"line\": %s}",
                        k ? ", " : "", k + 1, JsonNumber(SpeedRanking[k].score).c_str(), JsonNumber(power).c_str(),
                        JsonString(name).c_str(), JsonString(Row(line)).c_str());
        else
            std::printf("%5d %9s %9s  %s\n", k + 1, Points(SpeedRanking[k].score).c_str(), Points(power).c_str(),
                        Utf8(name).c_str());
    }
    if (options.json)
        std::printf("]}\n");
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

int Record(const Options& options)
{
    SpeedTestMillis = RunLength(options) * 1000;
    ApplyPowerOptions(options);
    {
        Progress progress(ShowProgress(options), RunLength(options));
        progress.SetPhase("speed test");
        LastSpeedPoints = RunSpeedBenchmark();
    }
    MeasurePower(options);
    FillRecordFromLastTest();
    const wxString line = JoinRecordFields();
    if (options.append) {
        // A failure is told by the file routine: which file, and why.
        BackupPending = 1;
        if (AccessResultsFile(ResultsOpAppend) != 0) {
            HintAfterRefusal();
            std::printf("%s\n", Utf8(line).c_str());
            return 1;
        }
    }
    if (options.json)
        std::printf("{\"line\": %s, \"appended\": %s, \"shortened\": %s}\n", JsonString(line).c_str(),
                    options.append ? "true" : "false", options.seconds > 0 ? "true" : "false");
    else
        std::printf("%s\n", Utf8(line).c_str());
    return 0;
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
    const MergeOutcome outcome = MergeResults(sources);
    if (outcome.status != 0) {
        HintAfterRefusal();
        return 1;
    }
    if (options.json) {
        std::printf("{\"added\": %zu, \"present\": %zu, \"refused\": [", outcome.added, outcome.present);
        for (std::size_t k = 0; k < outcome.refused.size(); ++k) {
            const RefusedLine& refused = outcome.refused[k];
            std::printf("%s{\"file\": %s, \"line\": %zu, \"reason\": %s}", k ? ", " : "",
                        JsonString(refused.source).c_str(), refused.line, JsonString(refused.reason).c_str());
        }
        std::printf("], \"written\": %s}\n", outcome.written ? "true" : "false");
        return 0;
    }
    for (const RefusedLine& refused : outcome.refused)
        std::fprintf(stderr, "tarnwick-cli: %s:%zu: refused: %s\n", Utf8(refused.source).c_str(), refused.line,
                     Utf8(refused.reason).c_str());
    std::printf("%zu added, %zu already present, %zu refused\n", outcome.added, outcome.present,
                outcome.refused.size());
    return 0;
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
    const auto number = [&](const wxString& name, long minimum, long maximum, long& value) -> wxString {
        if (!parser.Found(name, &value))
            return wxString();
        if (value < minimum || value > maximum)
            return wxString::Format(wxS("--%s must be a whole number from %ld to %ld"), name, minimum, maximum);
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
    if (*command->required != '\0' && !parser.Found(command->required)) {
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
            return wxString::Format(wxS("--%s needs a %s"), name, FindCliOption(name)->value);
    options.searching = parser.Found(wxS("search"), &options.search);
    options.search = ArgumentText(options.search);
    options.noLock = parser.Found(wxS("no-lock"));
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
        wxMessageOutputStderr toStandardOutput(stdout);
        wxMessageOutput* before = wxMessageOutput::Set(&toStandardOutput);
        parser.Usage();
        wxMessageOutput::Set(before);
        return 0;
    }
    if (parsed != 0) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n",
                     Utf8(parseError.empty() ? wxString(wxS("bad command line")) : parseError).c_str());
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
