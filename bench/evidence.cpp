#include "bench/evidence.h"

#include "core/numbers.h"
#include "sensors/heat_readings.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

TestEvidence LastSpeedEvidence;
TestEvidence LastPowerEvidence;

double SpreadPercent(const std::vector<double>& values)
{
    if (values.size() < 2)
        return 0.0;
    double sum = 0.0;
    for (double value : values)
        sum += value;
    const double mean = sum / static_cast<double>(values.size());
    if (!(mean > 0.0))
        return 0.0;
    double squares = 0.0;
    for (double value : values)
        squares += (value - mean) * (value - mean);
    return std::sqrt(squares / static_cast<double>(values.size())) / mean * 100.0;
}

SampleSummary SummarizeSamples(const std::vector<RunSamples>& threads)
{
    SampleSummary summary;
    std::size_t seconds = 0;
    for (const RunSamples& thread : threads)
        seconds = std::max(seconds, thread.perSecond.size());
    if (seconds == 0)
        return summary;
    std::vector<double> rates(seconds, 0.0);
    for (const RunSamples& thread : threads)
        for (std::size_t k = 0; k < thread.perSecond.size(); ++k)
            rates[k] += 10.0 * thread.perSecond[k];
    summary.seconds = static_cast<std::uint32_t>(seconds);
    double sum = 0.0;
    for (double rate : rates)
        sum += rate;
    summary.mean = sum / static_cast<double>(seconds);
    summary.slowest = *std::min_element(rates.begin(), rates.end());
    summary.fastest = *std::max_element(rates.begin(), rates.end());
    summary.spread = SpreadPercent(rates);
    return summary;
}

double PointsFromSamples(const std::vector<RunSamples>& threads, std::int32_t millis)
{
    // Each thread's points as its loop computes them, added in thread order
    // as the power test adds them.
    double sum = 0.0;
    for (const RunSamples& thread : threads)
        sum = sum + 10.0 * static_cast<double>(thread.Blocks()) / static_cast<double>(millis / 1000);
    return sum;
}

namespace {
// Shares are shown with one decimal below 20 %, whole above; the verdict
// judges the value as shown, so that "2.0 %" is never called too much.
int Decimals(double value)
{
    return value < 20.0 ? 1 : 0;
}

double AsShown(double value)
{
    const double scale = Decimals(value) == 1 ? 10.0 : 1.0;
    return std::round(value * scale) / scale;
}

std::string Percent(double value)
{
    return FormatFixed(value, Decimals(value)) + " %";
}

// A number with at most `decimals` decimals, without trailing zeros:
// "1.5", "2", "0.25".
std::string LimitText(double value, int decimals)
{
    std::string text = FormatFixed(value, decimals);
    if (text.find('.') != std::string::npos) {
        while (text.back() == '0')
            text.pop_back();
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}
}  // namespace

bool Verdict::MayBeLow() const
{
    for (const bool lower : lowers)
        if (lower)
            return true;
    return false;
}

Verdict JudgeRun(const TestEvidence& evidence)
{
    Verdict verdict;
    const RunConditions& c = evidence.conditions;
    const auto reason = [&](std::string text, bool lowers = true, ReasonKind kind = ReasonKind::Other) {
        verdict.steady = false;
        verdict.reasons.push_back(std::move(text));
        verdict.lowers.push_back(lowers);
        verdict.kinds.push_back(kind);
    };
    // What could not be read judges nothing in the run's favour.
    std::string unread;
    const auto missing = [&unread](bool gone, const char* what) {
        if (gone)
            unread += (unread.empty() ? "" : ", ") + std::string(what);
    };
    missing(!c.otherPercent, "other programs' share");
    missing(!c.stealPercent, "steal time");
    missing(c.logicalProcessors == 0, "logical processors");
    if (!unread.empty())
        reason("conditions could not be read (" + unread + ")", false);
    // The samples of the thread that has fewest.
    std::size_t samples = evidence.threads.empty() ? 0 : evidence.threads.front().perSecond.size();
    for (const RunSamples& thread : evidence.threads)
        samples = std::min(samples, thread.perSecond.size());
    if (samples < SteadyLeastSamples)
        reason("too short to judge: " + std::to_string(samples) +
                   (samples == 1 ? " one-second sample" : " one-second samples") + " a thread, fewer than " +
                   std::to_string(SteadyLeastSamples),
               false, ReasonKind::Short);
    if (c.otherPercent && AsShown(*c.otherPercent) > SteadyOtherPercent)
        reason("another program used " + Percent(*c.otherPercent) + " of a processor during the run");
    if (AsShown(evidence.summary.spread) > SteadySpreadPercent)
        reason("the rate varied " + Percent(evidence.summary.spread) + " from second to second");
    if (const std::uint64_t throttles = c.Throttles())
        reason("the processor throttled " + std::to_string(throttles) + (throttles == 1 ? " time" : " times"), true,
               ReasonKind::Throttled);
    if (const std::uint64_t periods = c.GroupThrottles())
        reason("its control group throttled it in " + std::to_string(periods) +
                   (periods == 1 ? " period (" : " periods (") + LimitText(c.GroupThrottledMicros() / 1000.0, 0) +
                   " ms in all)",
               true, ReasonKind::Throttled);
    if (c.onBattery)
        reason("running on battery", true, ReasonKind::Battery);
    if (c.affinity && c.logicalProcessors != 0 && *c.affinity < c.logicalProcessors)
        reason("limited to " + std::to_string(*c.affinity) + " of the " + std::to_string(c.logicalProcessors) +
                   " logical processors by its affinity" +
                   (c.affinityList.empty() ? std::string() : " (" + c.affinityList + ")") +
                   ": the score measures the limit, not the processor",
               true, ReasonKind::Limited);
    if (const std::optional<double> limit = c.CpuLimit();
        limit && c.logicalProcessors != 0 && *limit < static_cast<double>(c.logicalProcessors))
        reason("limited to " + LimitText(*limit, 2) + (LimitText(*limit, 2) == "1" ? " processor" : " processors") +
                   " by its control group: the score measures the limit, not the processor",
               true, ReasonKind::Limited);
    if (c.logicalProcessors != 0 && c.threads > c.logicalProcessors)
        reason(std::to_string(c.threads) + " threads ran on " + std::to_string(c.logicalProcessors) +
               " logical processors: the points overstate the processor",
               false);
    if (evidence.htt && c.threadsPerCore == 1)
        reason("an HTT run on a processor whose cores run one thread each: the HTT efficiency measures nothing",
               false);
    if (c.stealPercent && AsShown(*c.stealPercent) > SteadyOtherPercent)
        reason("the host took " + Percent(*c.stealPercent) + " of a processor from this machine (steal time)");

    bool otherGovernor = false;
    for (const std::string& governor : c.governors)
        otherGovernor = otherGovernor || governor != "performance";
    if (otherGovernor)
        verdict.notes.push_back("the frequency governor is " + c.governors.front() +
                                (c.governors.size() > 1 ? " (and others)" : "") +
                                ", not performance: the clock may change during a run");
    return verdict;
}

void CompleteEvidence(TestEvidence& evidence)
{
    evidence.summary = SummarizeSamples(evidence.threads);
    evidence.threadSpread = SpreadPercent(evidence.threadPoints);
    evidence.verdict = JudgeRun(evidence);
}

std::string EvidenceLine(const TestEvidence& evidence)
{
    if (!evidence.measured)
        return {};
    const SampleSummary& s = evidence.summary;
    std::string line = "This run: ";
    const std::string spread = "spread " + Percent(s.spread);
    if (evidence.verdict.steady) {
        line += std::to_string(s.seconds) + (s.seconds == 1 ? " one-second sample" : " one-second samples");
        line += ", " + spread + ", steady.";
        return line;
    }
    line += spread;
    // The spread is said already; "during the run" goes without saying here.
    // The reasons that may lower the score come first and are followed by
    // that warning; those that say something else come after it.
    const std::string during = " during the run";
    const Verdict& verdict = evidence.verdict;
    std::string lowering, other;
    for (std::size_t k = 0; k < verdict.reasons.size(); ++k) {
        std::string reason = verdict.reasons[k];
        if (reason.rfind("the rate varied", 0) == 0)
            continue;
        if (const std::size_t at = reason.find(during); at != std::string::npos)
            reason.erase(at, during.size());
        (k < verdict.lowers.size() && verdict.lowers[k] ? lowering : other) += ", " + reason;
    }
    if (verdict.MayBeLow()) {
        line += lowering;
        line += ": the score may be low";
        if (!other.empty()) {
            line += ';';
            line.append(other, 1);
        }
    } else {
        line += other;
    }
    return line + ".";
}

bool RunsDiffer(double spreadPercent)
{
    return AsShown(spreadPercent) > RepeatSpreadPercent;
}

bool WantsAnotherRun(int wanted, const std::vector<double>& points)
{
    const int runs = static_cast<int>(points.size());
    if (wanted > 0)
        return runs < wanted;
    if (runs < RepeatAutoFirst)
        return true;
    return runs < RepeatAutoMost && RunsDiffer(SpreadPercent(points));
}

ConditionsSnapshot ConditionsBeforeRun()
{
    return ReadConditionsSnapshot(SensorRoot);
}

RunConditions ConditionsAfterRun(const ConditionsSnapshot& before, std::uint32_t threads)
{
    const ConditionsSnapshot after = ReadConditionsSnapshot(SensorRoot);
    // Read each time: a governor may be changed, a processor taken offline.
    return CompareConditions(before, after, ReadMachineTopology(SensorRoot), threads, ::sysconf(_SC_CLK_TCK));
}

std::vector<HeatCurvePoint> ThinnedCurve(const std::vector<HeatCurvePoint>& points, std::size_t most)
{
    if (points.size() <= most || most < 2)
        return points.size() <= most ? points : std::vector<HeatCurvePoint>(points.begin(), points.begin() + most);
    std::vector<HeatCurvePoint> kept;
    kept.reserve(most);
    const std::size_t last = points.size() - 1;
    for (std::size_t k = 0; k < most; ++k)
        kept.push_back(points[k * last / (most - 1)]);
    return kept;
}
