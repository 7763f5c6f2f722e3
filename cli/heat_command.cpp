// tarnwick-cli heat: the heat test with its log, its picture, its work
// rate and its checks.

#include "bench/evidence.h"
#include "bench/heat.h"
#include "bench/heat_check.h"
#include "bench/heat_work.h"
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/numbers.h"
#include "core/state.h"
#include "files/output_file.h"
#include "sensors/heat_readings.h"
#include "sensors/sensor_history.h"
#include "views/heat_view.h"
#include "views/layout.h"
#include "views/svg.h"

#include <wx/longlong.h>
#include <wx/string.h>
#include <wx/thread.h>
#include <wx/utils.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cli {
namespace {
// The heat log, one row a second, written row by row into a new file that
// takes the old one's place when the run ends. A row that cannot be written
// is told once, and the run ends with status 1.
class HeatLog {
public:
    HeatLog(OutputFile& file, const wxString& path) : m_file(file), m_path(path) {}
    void Line(const std::string& text)
    {
        if (m_path.empty() || m_error != 0)
            return;
        Fail(m_file.Write(text + "\n"));
    }
    /// Puts the log in place; false when anything of it could not be written.
    bool Close()
    {
        if (!m_path.empty() && m_error == 0)
            Fail(m_file.Finish());
        return m_error == 0;
    }
    bool Failed() const { return m_error != 0; }

private:
    void Fail(int error)
    {
        if (error == 0 || m_error != 0)
            return;
        m_error = error;
        TellOutputProblem(m_path, error);
    }

    OutputFile& m_file;
    wxString m_path;
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
    int error = plot.Write(svg);
    if (error == 0)
        error = plot.Finish();
    if (error != 0) {
        TellOutputProblem(path, error);
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
}  // namespace

bool RunHeatWorkers(const Options& options, const std::function<void(const std::string& row)>& row, double& took)
{
    const auto start = std::chrono::steady_clock::now();
    Progress progress(ShowProgress(options), HeatTestMillis / 1000.0, "heating");
    StartHeatTest();
    // One sample a second, at whole seconds since the start.
    std::int64_t nextSample = 1;
    // The work counts are read once more after the last worker has
    // finished, so that its last blocks count; that reading gets a row of
    // its own only when it falls in a new second.
    const auto sample = [&](bool last) {
        const std::int64_t elapsed = HeatClockMillis() - HeatStart.GetValue();
        const bool due = elapsed >= nextSample * 1000;
        if (due || last)
            SampleHeatWork(elapsed / 1000.0);
        if (!due)
            return;
        row(HeatLogRow(SampleHeatReadings(elapsed / 1000), HeatSensorNames().size()) + WorkLogCells(HeatWork));
        nextSample = elapsed / 1000 + 1;
    };
    while (HeatDoneProduct() == 0) {
        wxMilliSleep(100);
        const wxString message = TakeHeatMessage();
        if (!message.empty()) {
            std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(message).c_str());
            return false;
        }
        sample(false);
    }
    // Every worker has finished: its last blocks count too.
    sample(true);
    FinishHeatTest();
    took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return true;
}

HeatEvidence HeatEvidenceOfRun(double took)
{
    HeatEvidence heat;
    heat.measured = true;
    heat.seconds = static_cast<std::uint32_t>(std::max(1.0, std::round(took)));
    heat.workers = ThreadCount;
    heat.passesPerSecond = HeatWork.CurrentRate();
    if (const std::optional<HeatPace> pace = HeatWork.SustainedPace()) {
        heat.sustainedPercent = pace->percent;
        heat.firstSeconds = pace->firstSeconds;
    }
    heat.slowestPercent = HeatWork.SlowestPercent();
    heat.checks = HeatWork.Checks();
    heat.errors = HeatWork.Errors();
    heat.highestCelsius = HeatReadings.HighestCelsius();
    heat.throttled = HeatReadings.Throttled();
    std::vector<HeatCurvePoint> rates, temperatures;
    for (const HeatRatePoint& point : HeatWork.Rates())
        rates.push_back({point.seconds, point.passesPerSecond});
    for (const TemperaturePoint& point : HeatReadings.TemperatureCurve())
        temperatures.push_back({point.seconds, point.celsius});
    heat.rateCurve = ThinnedCurve(rates);
    heat.temperatureCurve = ThinnedCurve(temperatures);
    return heat;
}

int RunHeat(const Options& options)
{
    // A shortened run stands for one minute unless told otherwise.
    const long minutes = options.minutes.value_or(1);
    HeatTestMillis = options.seconds ? static_cast<std::int32_t>(*options.seconds * 1000)
                                     : static_cast<std::int32_t>(minutes * 60000);
    ThreadCount = static_cast<std::uint32_t>(std::max(wxThread::GetCPUCount(), 1));
    std::string problem;
    if (!TakeHeatFaultFromEnvironment(problem, ThreadCount)) {
        std::fprintf(stderr, "tarnwick-cli: %s\n", problem.c_str());
        return 1;
    }
    // Both outputs are looked at before the test: a wrong path is told at
    // once, not at the end of a long run, and nothing is written then.
    OutputFile logFile, plot;
    if (!OpenOutputs({{"--log", options.log, logFile}, {"--plot", options.plot, plot}}))
        return 1;
    const wxString logPath = options.log.value_or(wxString());
    HeatLog log(logFile, logPath);
    StartHeatReadings();
    log.Line(HeatLogHeader(HeatSensorNames()) + ",passes per second,errors");
    if (log.Failed())
        return 1;
    double took = 0.0;
    if (!RunHeatWorkers(options, [&log](const std::string& row) { log.Line(row); }, took)) {
        // The run ended here: its log keeps what it logged.
        log.Close();
        return 1;
    }
    const bool logged = log.Close();
    if (options.plot && !WritePlot(plot, *options.plot))
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
                (options.seconds ? "run shortened to " + std::to_string(*options.seconds) + " s"
                                 : std::to_string(minutes) + " min") +
                "); " + SensorSummary());
    report.Line("Work: " + WorkSummary(HeatWork));
    for (const std::string& line : ErrorLines(HeatWork))
        report.Line(line);
    report.Print();
    // For scripts: a check failed. The log and the plot are written.
    return HeatWork.Errors() > 0 ? HeatErrorExit : 0;
}
}  // namespace cli
