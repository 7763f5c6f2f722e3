// What a speed or power run measured besides its points: the blocks of each
// second, their spread, the run's conditions, and a verdict on whether the
// score can be trusted.
#pragma once

#include "bench/work_cycle.h"
#include "sensors/run_conditions.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Names the measured work. Changed only when the work cycle's operations
/// change: scores of different work are never compared.
constexpr const char* WorkCycleIdentity = "tarnwick-cycle-1";

/// The per-second rates (points a second: 10 x blocks) of whole seconds.
struct SampleSummary {
    std::uint32_t seconds = 0;
    double mean = 0.0;
    double slowest = 0.0;
    double fastest = 0.0;
    double spread = 0.0;  ///< coefficient of variation, per cent (0 under two seconds)
};

/// The rates of `perSecond` summed second by second over the threads.
SampleSummary SummarizeSamples(const std::vector<RunSamples>& threads);

/// Coefficient of variation of `values` in per cent (population deviation
/// over the mean); 0 under two values or a mean of 0.
double SpreadPercent(const std::vector<double>& values);

/// The verdict thresholds.
constexpr double SteadySpreadPercent = 2.0;       ///< per-second rates at most this spread
constexpr double SteadyOtherPercent = 10.0;       ///< other programs at most this share of a processor

/// What a reason of a verdict is about, for those who sort machines by it.
enum class ReasonKind {
    Other,      ///< other programs, steal, spread, conditions not read, too many threads
    Short,      ///< too short to judge
    Limited,    ///< the process was held to fewer processors than the machine has
    Throttled,  ///< the processor or the control group throttled the run
    Battery,    ///< the machine ran on battery
};

struct Verdict {
    bool steady = true;
    std::vector<std::string> reasons;  ///< why it is unsteady, in plain words
    std::vector<bool> lowers;          ///< for each reason: it may lower the score (others overstate it or judge nothing)
    std::vector<ReasonKind> kinds;     ///< for each reason: what it is about
    std::vector<std::string> notes;    ///< worth knowing, not a reason

    /// Whether a reason may have lowered the score.
    bool MayBeLow() const;
};

/// One point of a heat test's curve: seconds into the test and a value.
struct HeatCurvePoint {
    double seconds = 0.0;
    double value = 0.0;

    bool operator==(const HeatCurvePoint&) const = default;
};

/// The most points a curve of a document keeps: a longer test's curve is
/// thinned evenly.
constexpr std::size_t HeatCurveMost = 720;

/// What a heat test run with the speed and power tests found (record --heat).
struct HeatEvidence {
    bool measured = false;
    std::uint32_t seconds = 0;  ///< how long the workers ran
    std::uint32_t workers = 0;
    std::optional<double> passesPerSecond;   ///< the work rate at the end
    std::optional<double> sustainedPercent;  ///< the pace at the end against the pace at the start
    std::optional<double> firstSeconds;      ///< how long the start whose pace is compared was
    std::optional<double> slowestPercent;    ///< the slowest processor against the fastest
    std::uint64_t checks = 0;
    std::uint64_t errors = 0;  ///< checks that found a wrong result
    std::optional<double> highestCelsius;
    bool throttled = false;  ///< the processor slowed down at its highest temperature
    /// Over the test: the work rate of all processors (passes a second) and
    /// the headline temperature (degrees C); empty when not known.
    std::vector<HeatCurvePoint> rateCurve;
    std::vector<HeatCurvePoint> temperatureCurve;
};

/// `points` thinned evenly to at most `most`, the first and last kept (with
/// `most` below 2, the first `most` points).
std::vector<HeatCurvePoint> ThinnedCurve(const std::vector<HeatCurvePoint>& points, std::size_t most = HeatCurveMost);

/// A pace below this per cent of the first minute's is not sustained.
constexpr double SustainedLeastPercent = 90.0;

/// One of the runs of a repeated record: its points and whether both tests
/// were steady.
struct RunSummary {
    double speed = 0.0;
    double power = 0.0;
    double speedSpread = 0.0;  ///< per-second spread, per cent
    double powerSpread = 0.0;
    bool steady = false;
};

/// Fewer one-second samples a thread than this are too few to judge a run.
constexpr std::uint32_t SteadyLeastSamples = 3;

/// One speed or power run with its evidence.
struct TestEvidence {
    bool measured = false;  ///< false until a test has run
    std::string test;       ///< "speed" or "power"
    std::int32_t millis = 0;  ///< the run length the points divide by
    std::vector<RunSamples> threads;   ///< one for the speed test
    std::vector<double> threadPoints;  ///< each thread's points
    double points = 0.0;
    bool htt = false;       ///< an HTT run (the power test's option)
    SampleSummary summary;
    double threadSpread = 0.0;  ///< spread of threadPoints, per cent
    RunConditions conditions;
    Verdict verdict;
};

/// Judges a run from its samples and conditions.
Verdict JudgeRun(const TestEvidence& evidence);

/// Fills summary, threadSpread and verdict from the rest.
void CompleteEvidence(TestEvidence& evidence);

/// The points a run's samples give: 10 x blocks / whole seconds of the
/// length, summed over the threads (the points formula, thread by thread).
double PointsFromSamples(const std::vector<RunSamples>& threads, std::int32_t millis);

/// The chart's and the runner's line: "This run: 10 one-second samples,
/// spread 0.4 %, steady." or "This run: spread 7.2 %, another program used
/// 48 % of a processor: the score may be low."
std::string EvidenceLine(const TestEvidence& evidence);

/// --repeat auto: three runs, and more while the spread between them is
/// above this (as shown, to one decimal), at most six.
constexpr double RepeatSpreadPercent = 3.5;
constexpr int RepeatAutoFirst = 3;
constexpr int RepeatAutoMost = 6;

/// Whether the spread between runs is above RepeatSpreadPercent, judged on
/// the value as shown (one decimal).
bool RunsDiffer(double spreadPercent);

/// Whether a repeated test wants another run after the runs that gave
/// `points`: `wanted` runs, or with `wanted` 0 (auto) three and more while
/// they differ, at most six.
bool WantsAnotherRun(int wanted, const std::vector<double>& points);

/// The evidence of the last speed and power runs (the window's and the
/// runner's; one thread writes them, after the run).
extern TestEvidence LastSpeedEvidence;
extern TestEvidence LastPowerEvidence;

/// Reads the snapshot before a run, under SensorRoot.
ConditionsSnapshot ConditionsBeforeRun();
/// Reads the snapshot after a run and combines it with `before`.
RunConditions ConditionsAfterRun(const ConditionsSnapshot& before, std::uint32_t threads);
