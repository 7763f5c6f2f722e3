// tarnwick-cli fleet: the result documents of many machines compared, and
// every host that is off named with why.

#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "core/numbers.h"
#include "files/atomic_file.h"
#include "files/path_text.h"
#include "results/fleet.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"

#include <wx/chartype.h>
#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {
namespace {
std::string Statistics(const char* what, const FleetStatistics& s, const FleetOutcome& outcome)
{
    return std::string(what) + ": median " + Points(s.median) + ", spread " + FormatFixed(s.spread, 1) +
           " %, lowest " + Points(s.lowest) + " (" + outcome.hosts[s.lowestHost].host + "), highest " +
           Points(s.highest) + " (" + outcome.hosts[s.highestHost].host + ")";
}

nlohmann::ordered_json StatisticsJson(const FleetStatistics& s, const FleetOutcome& outcome)
{
    return {{"median", WholeNumber(s.median)},
            {"spread", std::round(s.spread * 100.0) / 100.0},
            {"lowest", WholeNumber(s.lowest)},
            {"lowestHost", outcome.hosts[s.lowestHost].host},
            {"highest", WholeNumber(s.highest)},
            {"highestHost", outcome.hosts[s.highestHost].host}};
}

// "AuthenticAMD AMD EPYC (signature A10F11), 2 logical processors"
std::string ProcessorText(const FleetGroup& group)
{
    return group.vendor + " " + group.brand + " (signature " + group.signature + "), " +
           std::to_string(group.logicalProcessors) +
           (group.logicalProcessors == 1 ? " logical processor" : " logical processors");
}
}  // namespace

int RunFleet(const Options& options)
{
    // Every document is read and compared in turn; one that cannot be read
    // is refused with why, and the others are compared all the same.
    FleetComparison comparison;
    for (const wxString& file : options.files) {
        const std::string name = file == wxS("-") ? std::string("(standard input)") : ShownUtf8(file);
        std::string bytes;
        const int error = ReadInputFile(file, bytes, MaxResultDocumentBytes);
        if (error == EFBIG)
            comparison.Refuse(name, "it is too large: more than " + std::to_string(MaxResultDocumentBytes) + " bytes");
        else if (error != 0)
            comparison.Refuse(name, "it could not be read (" + Utf8(ErrorText(error)) + ")");
        else
            comparison.Add(name, bytes);
    }
    const FleetOutcome outcome = comparison.Finish();

    // The fleet's table: the steady hosts' records, through the table's own
    // transaction; a new table holds them only.
    bool written = false, tableFailed = false;
    std::size_t added = 0, present = 0;
    std::vector<std::pair<std::string, std::string>> notStored;  // host, why
    if (options.results) {
        MergeSource records;
        records.name = wxS("(the fleet)");
        std::vector<std::string> hosts;  // of each line
        for (const FleetHost& host : outcome.hosts)
            if (host.steady)
                hosts.push_back(host.host);
        for (const std::string& line : FleetRecords(outcome))
            records.bytes += line + "\n";
        StartNewResultsFilesEmpty(true);
        const MergeOutcome merged = MergeResults({records});
        StartNewResultsFilesEmpty(false);
        if (merged.status != 0) {
            HintAfterRefusal();
            tableFailed = true;
        }
        written = merged.Written();
        added = merged.added;
        present = merged.present;
        // A record the table cannot take (too long with its host's name) is
        // named, never dropped in silence.
        for (const MergeNote& note : merged.refused)
            notStored.emplace_back(note.line >= 1 && note.line <= hosts.size() ? hosts[note.line - 1] : std::string("?"),
                                   Utf8(note.reason));
        if (merged.refusedCount > merged.refused.size())
            notStored.emplace_back("...", std::to_string(merged.refusedCount - merged.refused.size()) + " more");
    }

    Report report(options.json);
    AddProvenance(report);
    report["documents"] = options.files.size();
    report["hosts"] = outcome.hosts.size();
    report["flaggedCount"] = outcome.FlaggedCount();
    report["flagged"] = nlohmann::ordered_json::array();
    const std::size_t flagged = outcome.FlaggedCount();
    if (flagged > 0)
        report.Line("Flagged: " + std::to_string(flagged) + " of " + std::to_string(outcome.hosts.size()) +
                    (outcome.hosts.size() == 1 ? " host" : " hosts"));
    else
        report.Line("No host flagged: " + std::to_string(outcome.hosts.size()) +
                    (outcome.hosts.size() == 1 ? " host" : " hosts") + " compared");
    const auto flagsJson = [](const FleetHost& host) {
        nlohmann::ordered_json flags = nlohmann::ordered_json::array();
        for (const FleetFlag flag : host.Flags())
            flags.push_back(FleetFlagName(flag));
        return flags;
    };
    for (const FleetHost& host : outcome.hosts) {
        if (!host.Flagged())
            continue;
        std::string line = "  " + host.host + ":";
        nlohmann::ordered_json reasons = nlohmann::ordered_json::array();
        for (std::size_t k = 0; k < host.reasons.size(); ++k) {
            line += (k == 0 ? " " : "; ") + std::string(FleetFlagName(host.reasons[k].flag)) + " (" +
                    host.reasons[k].text + ")";
            reasons.push_back({{"flag", FleetFlagName(host.reasons[k].flag)}, {"reason", host.reasons[k].text}});
        }
        report.Line(line);
        report["flagged"].push_back(
            {{"host", host.host}, {"file", host.file}, {"flags", flagsJson(host)}, {"reasons", std::move(reasons)}});
    }
    report["refused"] = nlohmann::ordered_json::array();
    if (!outcome.refused.empty())
        report.Line("Refused: " + std::to_string(outcome.refused.size()) +
                    (outcome.refused.size() == 1 ? " document" : " documents"));
    for (const FleetRefusal& refusal : outcome.refused) {
        report.Line("  " + refusal.file + ": " + refusal.reason);
        report["refused"].push_back({{"file", refusal.file}, {"reason", refusal.reason}});
    }
    report["groups"] = nlohmann::ordered_json::array();
    if (!outcome.groups.empty())
        report.Line("Processors:");
    for (const FleetGroup& group : outcome.groups) {
        std::string names;
        nlohmann::ordered_json hosts = nlohmann::ordered_json::array();
        for (const std::size_t k : group.hosts) {
            const FleetHost& host = outcome.hosts[k];
            names += (names.empty() ? "" : ", ") + host.host;
            hosts.push_back({{"host", host.host},
                             {"file", host.file},
                             {"machineId", host.machineId.empty() ? nlohmann::ordered_json(nullptr)
                                                                  : nlohmann::ordered_json(host.machineId)},
                             {"speed", WholeNumber(host.speed)},
                             {"power", WholeNumber(host.power)},
                             {"steady", host.steady},
                             {"heat", host.heat},
                             {"flags", flagsJson(host)}});
        }
        report.Line("  " + ProcessorText(group) + (group.sharedBrand ? " (another signature shares the brand)" : "") +
                    ": " + std::to_string(group.hosts.size()) + (group.hosts.size() == 1 ? " host: " : " hosts: ") +
                    names);
        report.Line("    " + Statistics("speed", group.speed, outcome));
        report.Line("    " + Statistics("power", group.power, outcome));
        report["groups"].push_back({{"vendor", group.vendor},
                                    {"brand", group.brand},
                                    {"signature", group.signature},
                                    {"logicalProcessors", group.logicalProcessors},
                                    {"sharedBrand", group.sharedBrand},
                                    {"hosts", std::move(hosts)},
                                    {"speed", StatisticsJson(group.speed, outcome)},
                                    {"power", StatisticsJson(group.power, outcome)}});
    }
    report["results"] = !options.results ? nlohmann::ordered_json(nullptr)
                                         : nlohmann::ordered_json(ShownUtf8(AbsolutePath(*options.results)));
    report["added"] = added;
    report["present"] = present;
    report["written"] = written;
    report["notStored"] = nlohmann::ordered_json::array();
    for (const auto& [host, why] : notStored)
        report["notStored"].push_back({{"host", host}, {"reason", why}});
    if (options.results && !tableFailed) {
        report.Line("Table " + ShownUtf8(AbsolutePath(*options.results)) + ": " + std::to_string(added) +
                    (added == 1 ? " steady record added, " : " steady records added, ") + std::to_string(present) +
                    " already present");
        for (const auto& [host, why] : notStored)
            report.Line("  the record of " + host + " was not stored: " + why);
    }
    // The comparison is printed even when its table could not be written.
    report.Print();
    if (tableFailed)
        return 1;
    return flagged > 0 || !outcome.refused.empty() || !notStored.empty() ? FleetFlaggedExit : 0;
}
}  // namespace cli
