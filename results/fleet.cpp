#include "results/fleet.h"

#include "core/numbers.h"
#include "files/atomic_file.h"
#include "bench/heat_work.h"
#include "results/record.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>

const char* FleetFlagName(FleetFlag flag)
{
    switch (flag) {
    case FleetFlag::Slow: return "slow";
    case FleetFlag::Fast: return "fast";
    case FleetFlag::Unsteady: return "unsteady";
    case FleetFlag::Limited: return "limited";
    case FleetFlag::Throttled: return "throttled";
    case FleetFlag::OnBattery: return "on battery";
    case FleetFlag::NotStable: return "not stable under load";
    case FleetFlag::NotSustained: return "not sustained";
    }
    return "";
}

std::vector<FleetFlag> FleetHost::Flags() const
{
    std::vector<FleetFlag> flags;
    for (const FleetReason& reason : reasons)
        if (std::find(flags.begin(), flags.end(), reason.flag) == flags.end())
            flags.push_back(reason.flag);
    return flags;
}

std::size_t FleetOutcome::FlaggedCount() const
{
    return static_cast<std::size_t>(
        std::count_if(hosts.begin(), hosts.end(), [](const FleetHost& host) { return host.Flagged(); }));
}

namespace {

std::string PointsText(double points)
{
    return FormatFixed(points, 0);
}

// The name a document without a host goes by: its file's name without the
// folder and ".json".
std::string NameOfFile(const std::string& file)
{
    std::string name = NameOf(file);
    if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0)
        name.resize(name.size() - 5);
    return name.empty() ? file : name;
}

FleetFlag FlagOf(ReasonKind kind)
{
    switch (kind) {
    case ReasonKind::Limited: return FleetFlag::Limited;
    case ReasonKind::Throttled: return FleetFlag::Throttled;
    case ReasonKind::Battery: return FleetFlag::OnBattery;
    case ReasonKind::Other:
    case ReasonKind::Short: break;
    }
    return FleetFlag::Unsteady;
}

// The reasons of both runs' verdicts, and the heat test's. A reason both
// runs give (a limit, a battery) is named once for both.
void JudgeHost(const ResultDocument& d, FleetHost& host)
{
    struct Found {
        FleetFlag flag;
        std::string tests, text;
    };
    std::vector<Found> found;
    for (const TestEvidence* e : {&d.speed, &d.power}) {
        if (d.transcribed) {
            found.push_back({FleetFlag::Unsteady, e->test, "transcribed from a table: no samples to judge"});
            continue;
        }
        const Verdict& v = e->verdict;
        for (std::size_t k = 0; k < v.reasons.size(); ++k) {
            const FleetFlag flag = FlagOf(k < v.kinds.size() ? v.kinds[k] : ReasonKind::Other);
            const auto same = std::find_if(found.begin(), found.end(), [&](const Found& f) {
                return f.flag == flag && f.text == v.reasons[k];
            });
            if (same != found.end())
                same->tests += " and " + e->test;
            else
                found.push_back({flag, e->test, v.reasons[k]});
        }
    }
    for (const Found& f : found)
        host.reasons.push_back({f.flag, f.tests + ": " + f.text});
    const HeatEvidence& heat = d.heat;
    if (heat.measured) {
        if (heat.errors > 0)
            host.reasons.push_back(
                {FleetFlag::NotStable, "heat test: " + GroupedNumber(heat.errors) +
                                           (heat.errors == 1 ? " wrong result" : " wrong results") + " in " +
                                           GroupedNumber(heat.checks) + (heat.checks == 1 ? " check" : " checks")});
        if (heat.throttled)
            host.reasons.push_back({FleetFlag::Throttled, "heat test: the processor slowed down at its highest "
                                                          "temperature (thermal throttling)"});
        if (heat.sustainedPercent && *heat.sustainedPercent < SustainedLeastPercent)
            host.reasons.push_back(
                {FleetFlag::NotSustained,
                 "heat test: it sustained " + FormatFixed(*heat.sustainedPercent, 1) + " % of its pace of the first " +
                     (heat.firstSeconds ? FormatFixed(*heat.firstSeconds, 0) + " s" : std::string("seconds")) +
                     ", below " + FormatFixed(SustainedLeastPercent, 0) + " %"});
    }
}

FleetStatistics Statistics(const std::vector<FleetHost>& hosts, const std::vector<std::size_t>& members,
                           double FleetHost::*score)
{
    FleetStatistics s;
    std::vector<double> values;
    for (const std::size_t k : members)
        values.push_back(hosts[k].*score);
    s.median = Median(values);
    s.spread = SpreadPercent(values);
    s.lowestHost = s.highestHost = members.front();
    for (const std::size_t k : members) {
        if (hosts[k].*score < hosts[s.lowestHost].*score)
            s.lowestHost = k;
        if (hosts[k].*score > hosts[s.highestHost].*score)
            s.highestHost = k;
    }
    s.lowest = hosts[s.lowestHost].*score;
    s.highest = hosts[s.highestHost].*score;
    return s;
}

// The median of `sorted` with the entry at `skip` left out.
double MedianWithout(const std::vector<double>& sorted, std::size_t skip)
{
    const std::size_t n = sorted.size() - 1;
    const auto at = [&](std::size_t i) { return sorted[i < skip ? i : i + 1]; };
    return n % 2 != 0 ? at(n / 2) : (at(n / 2 - 1) + at(n / 2)) / 2.0;
}

std::size_t IndexOf(const std::vector<double>& sorted, double value)
{
    return static_cast<std::size_t>(std::lower_bound(sorted.begin(), sorted.end(), value) - sorted.begin());
}

// Each host against the other hosts of its processor: more than FleetOffZ
// modified Z-scores (median and median absolute deviation of the others)
// and more than FleetOffPercent from their median. The others of each host
// are all but one: their median is read off the sorted scores, and their
// deviations off the sorted deviations from that median (at most three
// medians occur), so a group of thousands takes n log n, not n squared.
void FlagOffHosts(std::vector<FleetHost>& hosts, const std::vector<std::size_t>& members, double FleetHost::*score,
                  const char* what)
{
    if (members.size() < FleetLeastPeers + 1)
        return;
    std::vector<double> sorted;
    for (const std::size_t j : members)
        sorted.push_back(hosts[j].*score);
    std::sort(sorted.begin(), sorted.end());
    std::map<double, std::vector<double>> deviationsFrom;
    for (const std::size_t k : members) {
        const double value = hosts[k].*score;
        const double median = MedianWithout(sorted, IndexOf(sorted, value));
        std::vector<double>& deviations = deviationsFrom[median];
        if (deviations.empty()) {
            for (const double other : sorted)
                deviations.push_back(std::fabs(other - median));
            std::sort(deviations.begin(), deviations.end());
        }
        const double mad = MedianWithout(deviations, IndexOf(deviations, std::fabs(value - median)));
        const double off = value - median;
        // With no deviation among the others, any difference is infinitely far.
        const double z = mad > 0.0 ? 0.6745 * off / mad
                                   : off == 0.0 ? 0.0 : std::copysign(std::numeric_limits<double>::infinity(), off);
        const double percent = median > 0.0 ? off / median * 100.0 : 0.0;
        if (std::fabs(z) <= FleetOffZ || std::fabs(percent) <= FleetOffPercent)
            continue;
        const bool slow = off < 0;
        std::string text = std::string(what) + " " + PointsText(value) + " points, " +
                           FormatFixed(std::fabs(percent), 1) + (slow ? " % below" : " % above") + " the median " +
                           PointsText(median) + " of the " + std::to_string(members.size() - 1) +
                           " other hosts of its processor";
        if (std::isfinite(z))
            text += " (" + FormatFixed(std::fabs(z), 1) + " modified Z-scores)";
        hosts[k].reasons.push_back({slow ? FleetFlag::Slow : FleetFlag::Fast, std::move(text)});
    }
}
}  // namespace

const FleetHost* FleetComparison::Add(const std::string& name, std::string_view bytes, ResultDocument* document)
{
    ResultDocument d;
    std::string problem = ReadResultDocument(bytes, d);
    if (problem.empty())
        problem = CheckResultDocument(d);
    if (!problem.empty()) {
        m_outcome.refused.push_back({name, problem});
        return nullptr;
    }
    FleetHost host;
    host.file = name;
    host.host = d.host.name;
    if (host.host.empty()) {
        // A document made before hosts were named goes by its file's name,
        // or by its whole path when another has taken that name.
        host.host = NameOfFile(name);
        if (m_hostFiles.count(host.host) != 0)
            host.host = name;
        if (const std::string why = HostNameProblem(host.host); !why.empty()) {
            m_outcome.refused.push_back({name, "it names no host, and its file's name cannot name one (" + why + ")"});
            return nullptr;
        }
    }
    if (const auto first = m_hostFiles.find(host.host); first != m_hostFiles.end()) {
        // Two machines of one name (two "localhost"s) are told apart by
        // their identifiers; one machine's two documents are one too many.
        const std::string& firstId = first->second.second;
        if (d.host.machineId.empty() || firstId.empty() || d.host.machineId == firstId) {
            m_outcome.refused.push_back({name, "it is a second document of the host " + host.host +
                                                   " (the first is " + first->second.first + ")"});
            return nullptr;
        }
        host.host += " (machine " + d.host.machineId.substr(0, 8) + ")";
        if (m_hostFiles.count(host.host) != 0) {
            m_outcome.refused.push_back({name, "it is a second document of the host " + host.host});
            return nullptr;
        }
    }
    m_hostFiles.emplace(host.host, std::make_pair(name, d.host.machineId));
    host.machineId = d.host.machineId;
    host.vendor = d.machine.vendor;
    host.brand = d.machine.brand;
    host.signature = d.machine.signature;
    host.logicalProcessors = d.machine.logicalProcessors;
    host.record = d.record;
    host.speed = d.speed.points;
    host.power = d.power.points;
    host.steady = !d.transcribed && d.speed.verdict.steady && d.power.verdict.steady;
    host.heat = d.heat.measured;
    JudgeHost(d, host);
    m_outcome.hosts.push_back(std::move(host));
    if (document != nullptr)
        *document = std::move(d);
    return &m_outcome.hosts.back();
}

void FleetComparison::Refuse(const std::string& name, const std::string& reason)
{
    m_outcome.refused.push_back({name, reason});
}

FleetOutcome CompareFleet(const std::vector<FleetSource>& sources)
{
    FleetComparison comparison;
    for (const FleetSource& source : sources)
        comparison.Add(source.name, source.bytes);
    return comparison.Finish();
}

FleetOutcome FleetComparison::Finish()
{
    FleetOutcome outcome = std::move(m_outcome);
    m_outcome = FleetOutcome();
    m_hostFiles.clear();
    // Groups by processor, never by brand alone.
    std::map<std::tuple<std::string, std::string, std::string, std::uint32_t>, std::vector<std::size_t>> groups;
    for (std::size_t k = 0; k < outcome.hosts.size(); ++k) {
        const FleetHost& h = outcome.hosts[k];
        groups[{h.vendor, h.brand, h.signature, h.logicalProcessors}].push_back(k);
    }
    std::map<std::string, int> brands;
    for (const auto& [key, members] : groups)
        ++brands[std::get<1>(key)];
    for (auto& [key, members] : groups) {
        FleetGroup group;
        std::tie(group.vendor, group.brand, group.signature, group.logicalProcessors) = key;
        std::sort(members.begin(), members.end(), [&](std::size_t a, std::size_t b) {
            return outcome.hosts[a].host < outcome.hosts[b].host;
        });
        group.hosts = members;
        group.sharedBrand = brands[group.brand] > 1;
        group.speed = Statistics(outcome.hosts, members, &FleetHost::speed);
        group.power = Statistics(outcome.hosts, members, &FleetHost::power);
        FlagOffHosts(outcome.hosts, members, &FleetHost::speed, "speed");
        FlagOffHosts(outcome.hosts, members, &FleetHost::power, "power");
        outcome.groups.push_back(std::move(group));
    }
    // Each host's reasons in the order of the flags.
    for (FleetHost& host : outcome.hosts)
        std::stable_sort(host.reasons.begin(), host.reasons.end(),
                         [](const FleetReason& a, const FleetReason& b) { return a.flag < b.flag; });
    return outcome;
}

std::string FleetRecordOf(const std::string& record, std::string host)
{
    // A host name holds no ";" (a name from a file's name may: it becomes ",").
    std::replace(host.begin(), host.end(), ';', ',');
    const RecordView<char> fields = SplitRecord(std::string_view(record));
    if (fields.count <= FieldRatedFrequency)
        return "";
    const std::string_view model = fields[FieldModel];
    const std::size_t end = static_cast<std::size_t>(model.data() - record.data()) + model.size();
    return record.substr(0, end) + " [" + host + "]" + record.substr(end);
}

std::vector<std::string> FleetRecords(const FleetOutcome& outcome)
{
    std::vector<std::string> lines;
    for (const FleetHost& host : outcome.hosts) {
        if (!host.steady)
            continue;
        if (std::string line = FleetRecordOf(host.record, host.host); !line.empty())
            lines.push_back(std::move(line));
    }
    return lines;
}
