// tarnwick-cli record: both tests as a results-file line, stored and saved
// as a result document on request.

#include "bench/evidence.h"
#include "bench/heat_work.h"
#include "bench/speed.h"
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/numbers.h"
#include "core/state.h"
#include "core/version.h"
#include "files/encoding.h"
#include "files/output_file.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/record.h"
#include "results/results_table.h"
#include "sensors/heat_readings.h"
#include "sensors/machine_identity.h"
#include "sensors/run_conditions.h"

#include <wx/chartype.h>
#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {
namespace {
// The fields of this machine's record the kernel knows: rated and maximum
// frequency, processors, cores, the OS version. What stays unknown stays
// empty.
void FillRecordFromKernel()
{
    const MachineTopology topology = ReadMachineTopology(SensorRoot);
    const MachineFacts facts = ReadMachineFacts(SensorRoot);
    const auto whole = [](const std::optional<double>& value) {
        return value && *value > 0.0 ? PointsText(*value) : wxString();
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
// read as Latin-1), the characters no text may hold (controls, separators,
// direction controls) as spaces, at most `limit` bytes cut at a
// character's end.
std::string DocumentText(std::string bytes, std::size_t limit)
{
    if (!IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()))
        bytes = wxString::From8BitData(bytes.data(), bytes.size()).utf8_string();
    std::string clean;
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0; i < bytes.size();) {
        char32_t c = data[i];
        const std::size_t length = c < 0x80 ? 1 : std::max<std::size_t>(Utf8Sequence(data, i, bytes.size(), c), 1);
        if (RefusedCharacterKind(c) != nullptr)
            clean += ' ';
        else
            clean.append(bytes, i, length);
        i += length;
    }
    bytes = std::move(clean);
    if (bytes.size() > limit) {
        std::size_t cut = limit;
        while (cut > 0 && (static_cast<unsigned char>(bytes[cut]) & 0xC0) == 0x80)
            --cut;
        bytes.resize(cut);
    }
    return bytes;
}

// The machine's own host name, as a document may hold it.
std::string MachineHostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        name[0] = '\0';
    std::string text = DocumentText(std::string(name, strnlen(name, sizeof name)), MaxHostName);
    std::replace(text.begin(), text.end(), ';', ',');
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text.empty() ? std::string("localhost") : text;
}

// What the document says beyond the last tests: its host, the heat test
// and every run of a repeated record.
struct DocumentExtras {
    std::string host;
    HeatEvidence heat;
    std::vector<RunSummary> runs;
    std::uint32_t keptRun = 0;
};

ResultDocument MakeDocument(const wxString& line, const DocumentExtras& extras)
{
    constexpr std::size_t MachineText = 256;
    ResultDocument document;
    document.version = TARNWICK_VERSION;
    document.workCycle = WorkCycleIdentity;
    document.date = UtcNow();
    document.record = line.utf8_string();
    const MachineFacts facts = ReadMachineFacts(SensorRoot);
    document.machine.vendor = DocumentText(std::string(CpuVendorId, strnlen(CpuVendorId, sizeof CpuVendorId)), MachineText);
    // The brand as the record's model holds it: its bytes as Latin-1.
    document.machine.brand = DocumentText(
        wxString::From8BitData(CpuBrandString, strnlen(CpuBrandString, sizeof CpuBrandString)).utf8_string(),
        MachineText);
    document.machine.signature = wxString::Format(wxS("%X"), CpuSignature).utf8_string();
    document.machine.modelName = DocumentText(facts.modelName, MachineText);
    document.machine.logicalProcessors = CpuCount;
    document.machine.kernel = DocumentText(facts.kernel, MachineText);
    document.machine.os = DocumentText(facts.osPretty, MachineText);
    document.host.machineName = MachineHostName();
    document.host.name = extras.host.empty() ? document.host.machineName : extras.host;
    document.host.machineId = MachineIdentity(SensorRoot);
    document.speed = LastSpeedEvidence;
    document.power = LastPowerEvidence;
    document.heat = extras.heat;
    document.runs = extras.runs;
    document.keptRun = extras.keptRun;
    return document;
}

// Each test's evidence line and notes, on standard error; each run of a
// repeated record and the heat test's findings. --quiet leaves them, as it
// does on speed and power: it hides the progress line only.
void PrintEvidence(const Options& options, const DocumentExtras& extras)
{
    if (options.json)
        return;
    for (std::size_t k = 0; k < extras.runs.size(); ++k)
        std::fprintf(stderr, "Run %zu of %zu: speed %s points, power %s points, %s%s\n", k + 1, extras.runs.size(),
                     Points(extras.runs[k].speed).c_str(), Points(extras.runs[k].power).c_str(),
                     extras.runs[k].steady ? "steady" : "unsteady",
                     k == extras.keptRun ? " (kept: the nearest the median)" : "");
    if (extras.heat.measured) {
        const HeatEvidence& heat = extras.heat;
        std::string line = "Heat test: " + std::to_string(heat.workers) + " workers for " +
                           std::to_string(heat.seconds) + " s";
        if (heat.sustainedPercent && heat.firstSeconds)
            line += ", sustained " + FormatFixed(*heat.sustainedPercent, 0) + " % of the first " +
                    FormatFixed(*heat.firstSeconds, 0) + " s";
        line += ", " + GroupedNumber(heat.checks) + (heat.checks == 1 ? " check, " : " checks, ") +
                (heat.errors == 0 ? std::string("no errors")
                                  : GroupedNumber(heat.errors) + (heat.errors == 1 ? " error" : " errors"));
        if (heat.highestCelsius)
            line += ", highest temperature " + FormatFixed(*heat.highestCelsius, 0) + " \u00B0C";
        if (heat.throttled)
            line += ", thermal throttling";
        std::fprintf(stderr, "%s.\n", line.c_str());
    }
    for (const TestEvidence* evidence : {&LastSpeedEvidence, &LastPowerEvidence}) {
        std::fprintf(stderr, "%s test. %s\n", evidence == &LastSpeedEvidence ? "Speed" : "Power",
                     EvidenceLine(*evidence).c_str());
        for (const std::string& note : evidence->verdict.notes)
            std::fprintf(stderr, "Note: %s.\n", note.c_str());
    }
}

// The document of the last tests as merge will read it; an empty text, with
// why in `problem`, when merge would refuse it (a run too long for a
// document, a thread that could not start).
std::string SavedDocument(const wxString& line, const DocumentExtras& extras, std::string& problem)
{
    const std::string text = WriteResultDocument(MakeDocument(line, extras));
    ResultDocument read;
    problem = ReadResultDocument(text, read);
    if (problem.empty())
        problem = CheckResultDocument(read);
    return problem.empty() ? text : std::string();
}
}  // namespace

int RunRecord(const Options& options)
{
    // The table first when the record is to be stored: a record that could
    // not be stored is not measured. Without --append the table is not used.
    if (options.append && !LoadResults())
        return 1;
    SpeedTestMillis = RunLength(options) * 1000;
    ApplyPowerOptions(options);
    std::string heatProblem;
    if (options.heatMinutes.value_or(0) > 0 && !TakeHeatFaultFromEnvironment(heatProblem, CpuCount)) {
        std::fprintf(stderr, "tarnwick-cli: %s\n", heatProblem.c_str());
        return 1;
    }
    // The document's file is looked at before the tests: a wrong path is
    // told at once, not after them.
    OutputFile saved;
    if (!OpenOutputs({{"--save", options.save, saved}}))
        return 1;
    // Both tests, as often as --repeat asks; the run nearest the median of
    // both scores is kept.
    struct Run {
        TestEvidence speed, power;
        double speedPoints = 0.0, powerPoints = 0.0;
    };
    std::vector<Run> runs;
    std::vector<double> speeds, powers;
    const int wanted = WantedRuns(options);
    do {
        {
            Progress progress(ShowProgress(options), RunLength(options), "speed test");
            LastSpeedPoints = RunSpeedBenchmark();
        }
        MeasurePower(options);
        runs.push_back({LastSpeedEvidence, LastPowerEvidence, LastSpeedPoints, LastPowerPoints});
        speeds.push_back(LastSpeedPoints);
        powers.push_back(LastPowerPoints);
    } while (WantsAnotherRun(wanted, speeds) || (wanted == 0 && WantsAnotherRun(0, powers)));
    DocumentExtras extras;
    extras.host = options.host.value_or(std::string());
    if (runs.size() > 1) {
        const double speedMedian = Median(speeds), powerMedian = Median(powers);
        const auto distance = [&](const Run& run) {
            return std::fabs(run.speedPoints - speedMedian) / std::max(speedMedian, 1.0) +
                   std::fabs(run.powerPoints - powerMedian) / std::max(powerMedian, 1.0);
        };
        for (std::uint32_t k = 1; k < runs.size(); ++k)
            if (distance(runs[k]) < distance(runs[extras.keptRun]))
                extras.keptRun = k;
        for (const Run& run : runs)
            extras.runs.push_back({run.speedPoints, run.powerPoints, run.speed.summary.spread,
                                   run.power.summary.spread, run.speed.verdict.steady && run.power.verdict.steady});
        const Run& kept = runs[extras.keptRun];
        LastSpeedEvidence = kept.speed;
        LastPowerEvidence = kept.power;
        LastSpeedPoints = kept.speedPoints;
        LastPowerPoints = kept.powerPoints;
    }
    FillRecordFromLastTest();
    FillRecordFromKernel();
    const wxString line = JoinRecordFields();
    const bool unsteady = !LastSpeedEvidence.verdict.steady || !LastPowerEvidence.verdict.steady;
    // The heat test after both: every processor busy, as the heat command runs it.
    bool heatFailed = false;
    if (options.heatMinutes.value_or(0) > 0) {
        const std::uint32_t powerThreads = ThreadCount;
        ThreadCount = CpuCount;
        HeatTestMillis = options.seconds ? static_cast<std::int32_t>(*options.seconds * 1000)
                                         : static_cast<std::int32_t>(*options.heatMinutes * 60000);
        StartHeatReadings();
        double took = 0.0;
        // A heat test that could not run leaves the record and its document
        // without it: what speed and power measured is not lost.
        heatFailed = !RunHeatWorkers(options, [](const std::string&) {}, took);
        if (heatFailed)
            std::fprintf(stderr, "tarnwick-cli: the heat test did not finish; the record and its document are "
                                 "given without it\n");
        else
            extras.heat = HeatEvidenceOfRun(took);
        ThreadCount = powerThreads;
    }

    Report report(options.json);
    report["line"] = ShownUtf8(line);
    report["appended"] = false;
    report["shortened"] = options.seconds.has_value();
    report["saved"] = nullptr;
    AddProvenance(report);
    report["speed"] = EvidenceToJson(LastSpeedEvidence);
    report["power"] = EvidenceToJson(LastPowerEvidence);
    report["heat"] = HeatToJson(extras.heat);
    if (!extras.runs.empty()) {
        nlohmann::ordered_json each = nlohmann::ordered_json::array();
        for (const RunSummary& run : extras.runs)
            each.push_back({{"speed", WholeNumber(run.speed)},
                            {"power", WholeNumber(run.power)},
                            {"steady", run.steady}});
        report["repeats"] = {{"kept", extras.keptRun},
                             {"runs", std::move(each)},
                             {"speedSpread", std::round(SpreadPercent(speeds) * 100.0) / 100.0},
                             {"powerSpread", std::round(SpreadPercent(powers) * 100.0) / 100.0}};
    }
    report["steady"] = !unsteady;
    // The text form is the record line alone, to be added to a results
    // file; the evidence goes to standard error. When the line cannot be
    // stored it is printed all the same, so that the result is not lost.
    // A document on standard output has it to itself: the line goes to
    // standard error then.
    report.Line(Utf8(line));
    std::FILE* const out = saved.ToStandardOutput() ? stderr : stdout;

    if (options.save) {
        const wxString& save = *options.save;
        std::string problem;
        const std::string document = SavedDocument(line, extras, problem);
        if (document.empty()) {
            std::fprintf(stderr, "tarnwick-cli: no result document was written to %s: %s\n",
                         Utf8(AbsolutePath(save)).c_str(), problem.c_str());
            report.Print(out);
            return 1;
        }
        int error = saved.Write(document);
        if (error == 0)
            error = saved.Finish();
        if (error != 0) {
            TellOutputProblem(save, error);
            report.Print(out);
            return 1;
        }
        report["saved"] = save == wxS("-") ? std::string("-") : ShownUtf8(AbsolutePath(save));
    }
    if (options.append && options.strict && unsteady) {
        report.Print(out);
        std::fprintf(stderr, "tarnwick-cli: the run was not steady, so with --strict its record was not stored\n");
        PrintEvidence(options, extras);
        return UnsteadyExit;
    }
    if (options.append) {
        // A failure is told by the file routine: which file, and why.
        BackupPending = 1;
        if (AccessResultsFile(ResultsOpAppend) != 0) {
            HintAfterRefusal();
            report.Print(out);
            return 1;
        }
        report["appended"] = true;
    }
    report.Print(out);
    PrintEvidence(options, extras);
    if (heatFailed)
        return 1;
    // As the heat command: a processor that computed a wrong result.
    if (extras.heat.measured && extras.heat.errors > 0)
        return HeatErrorExit;
    return options.strict && unsteady ? UnsteadyExit : 0;
}
}  // namespace cli
