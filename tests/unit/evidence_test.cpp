#include "core/state.h"
#include "bench/evidence.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "bench/work_cycle.h"
#include "../support/saved_state.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace {
// A clock that starts at `start` and advances `step` ms each reading.
MillisClock Stepping(std::int64_t start, std::int64_t step)
{
    return [now = start - step, step]() mutable { return now += step; };
}

TEST(Samples, EachBlockCountsInTheSecondItsReadingFallsIn)
{
    // Readings 0, 7, 14, ...: blocks end at 7 k ms. Second 0 holds k = 1..142,
    // second 1 k = 143..285, second 2 k = 286..428; k = 429 (3003 ms) ends
    // past the three seconds.
    const TimedRun run = RunTimedBlocks(3000, Stepping(0, 7));
    EXPECT_EQ(run.blocks, 429.0);
    EXPECT_EQ(run.samples.perSecond, (std::vector<std::uint32_t>{142, 143, 143}));
    EXPECT_EQ(run.samples.after, 1u);
    EXPECT_EQ(run.samples.Blocks(), 429u);
    EXPECT_EQ(run.points, 10.0 * 429 / 3);
}

TEST(Samples, AStartAnywhereCountsFromTheStart)
{
    const TimedRun run = RunTimedBlocks(2000, Stepping(1'700'000'000'123, 250));
    EXPECT_EQ(run.samples.perSecond, (std::vector<std::uint32_t>{3, 4}));
    EXPECT_EQ(run.samples.after, 1u);
    EXPECT_EQ(double(run.samples.Blocks()), run.blocks);
}

TEST(Samples, AClockSetBackKeepsCountingInTheSecondReached)
{
    // Readings 0, 600, -5000, -4400, ..., 1000: the blocks of the clock set
    // back count in second 0 until the clock passes 1000 again.
    std::deque<std::int64_t> readings = {0, 600, -5000};
    MillisClock clock = [readings, last = std::int64_t{-5000}]() mutable {
        if (!readings.empty()) {
            last = readings.front();
            readings.pop_front();
            return last;
        }
        return last += 600;
    };
    const TimedRun run = RunTimedBlocks(1000, clock);
    EXPECT_EQ(double(run.samples.Blocks()), run.blocks);
    EXPECT_EQ(run.samples.perSecond.size(), 1u);
    EXPECT_EQ(run.samples.after, 1u);  // the reading at 1000 or past it
}

TEST(Samples, TheLengthsWholeSecondsAreSampledAndTheRestIsAfter)
{
    // 2500 ms: two whole seconds, the points divide by 2; what ends past
    // 2000 ms counts after them.
    const TimedRun run = RunTimedBlocks(2500, Stepping(0, 400));
    EXPECT_EQ(run.samples.perSecond, (std::vector<std::uint32_t>{2, 2}));
    EXPECT_EQ(run.samples.after, 3u);  // 2000, 2400 and 2800 ms
    EXPECT_EQ(run.blocks, 7.0);
    EXPECT_EQ(run.points, 10.0 * 7 / 2);
    EXPECT_EQ(PointsFromSamples({run.samples}, 2500), run.points);
}

TEST(Samples, ARealRunsSamplesAddUpToItsBlocksAndItsPoints)
{
    const TimedRun run = RunTimedBlocks(1000);
    ASSERT_EQ(run.samples.perSecond.size(), 1u);
    EXPECT_EQ(double(run.samples.Blocks()), run.blocks);
    EXPECT_EQ(PointsFromSamples({run.samples}, 1000), run.points);
    EXPECT_GT(run.samples.perSecond[0], 0u);
}

class SampledTests : public ::testing::Test {
protected:
    void SetUp() override
    {
        SpeedTestMillis = 1000;
        PowerTestMillis = 1000;
        HttOption = 0;
        HttOffResult = 0;
    }
    StateGuard m_saved;
};

TEST_F(SampledTests, TheSpeedTestKeepsItsSamplesAndItsPointsAreTheirs)
{
    LastSpeedEvidence = {};
    const double points = RunSpeedBenchmark();
    const TestEvidence& e = LastSpeedEvidence;
    ASSERT_TRUE(e.measured);
    EXPECT_EQ(e.test, "speed");
    EXPECT_EQ(e.millis, 1000);
    ASSERT_EQ(e.threads.size(), 1u);
    EXPECT_EQ(e.points, points);
    EXPECT_EQ(PointsFromSamples(e.threads, e.millis), points);
    EXPECT_EQ(e.summary.seconds, 1u);
    EXPECT_EQ(e.summary.mean, 10.0 * e.threads[0].perSecond[0]);
    EXPECT_EQ(e.conditions.threads, 1u);
    EXPECT_FALSE(EvidenceLine(e).empty());
}

TEST_F(SampledTests, EachPowerThreadKeepsItsOwnSamples)
{
    ThreadCount = 3;
    LastPowerEvidence = {};
    const double sum = RunPowerTest();
    const TestEvidence& e = LastPowerEvidence;
    ASSERT_TRUE(e.measured);
    EXPECT_EQ(e.test, "power");
    ASSERT_EQ(e.threads.size(), 3u);
    ASSERT_EQ(e.threadPoints.size(), 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(10.0 * double(e.threads[k].Blocks()), e.threadPoints[k]) << "thread " << k;
        EXPECT_EQ(e.threads[k].perSecond.size(), 1u);
    }
    EXPECT_EQ(PointsFromSamples(e.threads, e.millis), sum);
    EXPECT_EQ(e.points, sum);
    EXPECT_EQ(e.conditions.threads, 3u);
    EXPECT_FALSE(e.htt);
}

TEST_F(SampledTests, AnHttRunKeepsTheFullRunsSamplesNotTheHalfRuns)
{
    ThreadCount = 2;
    HttOption = 1;
    const double sum = RunPowerTest();
    ASSERT_EQ(LastPowerEvidence.threads.size(), 2u);
    EXPECT_EQ(PointsFromSamples(LastPowerEvidence.threads, 1000), sum);
    EXPECT_TRUE(LastPowerEvidence.htt);
}

TEST(Spread, IsTheCoefficientOfVariationInPerCent)
{
    EXPECT_EQ(SpreadPercent({}), 0.0);
    EXPECT_EQ(SpreadPercent({500.0}), 0.0);
    EXPECT_EQ(SpreadPercent({100.0, 100.0, 100.0}), 0.0);
    EXPECT_DOUBLE_EQ(SpreadPercent({90.0, 110.0}), 10.0);
    EXPECT_EQ(SpreadPercent({0.0, 0.0}), 0.0);
}

TEST(Spread, ThreadsAreAddedSecondBySecond)
{
    RunSamples a{{100, 90, 110}, 1};
    RunSamples b{{100, 110, 90}, 0};
    const SampleSummary s = SummarizeSamples({a, b});
    EXPECT_EQ(s.seconds, 3u);
    EXPECT_EQ(s.mean, 2000.0);
    EXPECT_EQ(s.slowest, 2000.0);
    EXPECT_EQ(s.fastest, 2000.0);
    EXPECT_EQ(s.spread, 0.0);
    const SampleSummary one = SummarizeSamples({a});
    EXPECT_EQ(one.slowest, 900.0);
    EXPECT_EQ(one.fastest, 1100.0);
    EXPECT_NEAR(one.spread, 8.165, 0.001);
}

// A steady ten-second run of `threads` threads on a machine that answered
// every question.
TestEvidence Steady(std::uint32_t threads = 1)
{
    TestEvidence e;
    e.measured = true;
    e.test = threads == 1 ? "speed" : "power";
    e.millis = 10000;
    for (std::uint32_t t = 0; t < threads; ++t) {
        e.threads.push_back({std::vector<std::uint32_t>(10, 900), 1});
        e.threadPoints.push_back(10.0 * 9001 / 10);
    }
    e.conditions.otherPercent = 1.0;
    e.conditions.stealPercent = 0.0;
    e.conditions.throttleBefore = 4;
    e.conditions.throttleAfter = 4;
    e.conditions.governors = {"performance", "performance"};
    e.conditions.threadsPerCore = 1;
    e.conditions.logicalProcessors = 2;
    e.conditions.threads = threads;
    CompleteEvidence(e);
    return e;
}

TEST(Verdict, AQuietRunIsSteady)
{
    const TestEvidence e = Steady();
    EXPECT_TRUE(e.verdict.steady);
    EXPECT_TRUE(e.verdict.reasons.empty());
    EXPECT_TRUE(e.verdict.notes.empty());
    EXPECT_EQ(EvidenceLine(e), "This run: 10 one-second samples, spread 0.0 %, steady.");
}

TEST(Verdict, OtherProgramsAreAReasonAboveTenPerCentOfAProcessor)
{
    TestEvidence e = Steady();
    e.conditions.otherPercent = 10.04;  // shown as 10.0 %
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
    e.conditions.otherPercent = 10.1;
    CompleteEvidence(e);
    EXPECT_FALSE(e.verdict.steady);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"another program used 10.1 % of a processor during the run"}));
    e.conditions.otherPercent = 48.2;
    CompleteEvidence(e);
    EXPECT_EQ(EvidenceLine(e), "This run: spread 0.0 %, another program used 48 % of a processor: the score may be low.");
}

TEST(Verdict, TheSpreadIsAReasonAboveTwoPerCent)
{
    TestEvidence e = Steady();
    e.threads[0].perSecond = {900, 900, 900, 900, 900, 900, 900, 900, 860, 940};  // 1.99 %: 2.0
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
    e.threads[0].perSecond = {900, 900, 900, 900, 900, 900, 900, 900, 858, 942};  // 2.09 %
    CompleteEvidence(e);
    ASSERT_FALSE(e.verdict.steady);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"the rate varied 2.1 % from second to second"}));
    EXPECT_EQ(EvidenceLine(e), "This run: spread 2.1 %: the score may be low.");
}

TEST(Verdict, AMovedThrottleCounterIsAReason)
{
    TestEvidence e = Steady();
    e.conditions.throttleAfter = 7;
    CompleteEvidence(e);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"the processor throttled 3 times"}));
    e.conditions.throttleAfter = 5;
    CompleteEvidence(e);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"the processor throttled 1 time"}));
    e.conditions.throttleBefore.reset();
    e.conditions.throttleAfter.reset();
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);  // no counters: nothing to say
}

TEST(Verdict, RunningOnBatteryIsAReason)
{
    TestEvidence e = Steady();
    e.conditions.onBattery = true;
    CompleteEvidence(e);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"running on battery"}));
}

TEST(Verdict, MoreThreadsThanLogicalProcessorsOverstateThePoints)
{
    TestEvidence e = Steady(2);
    EXPECT_TRUE(e.verdict.steady);
    e = Steady(3);
    ASSERT_FALSE(e.verdict.steady);
    EXPECT_EQ(e.verdict.reasons,
              (std::vector<std::string>{"3 threads ran on 2 logical processors: the points overstate the processor"}));
    EXPECT_FALSE(e.verdict.MayBeLow());
    EXPECT_EQ(EvidenceLine(e),
              "This run: spread 0.0 %, 3 threads ran on 2 logical processors: the points overstate the processor.");
}

TEST(Verdict, AnHttRunWithOneThreadACoreMeasuresNothing)
{
    TestEvidence e = Steady(2);
    e.htt = true;
    CompleteEvidence(e);
    ASSERT_EQ(e.verdict.reasons.size(), 1u);
    EXPECT_NE(e.verdict.reasons[0].find("HTT efficiency measures nothing"), std::string::npos);
    e.conditions.threadsPerCore = 2;
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
    e.conditions.threadsPerCore = 0;  // unknown: not a reason
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
}

TEST(Verdict, AGovernorOtherThanPerformanceIsANoteNotAReason)
{
    TestEvidence e = Steady();
    e.conditions.governors = {"performance", "powersave"};
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
    ASSERT_EQ(e.verdict.notes.size(), 1u);
    EXPECT_NE(e.verdict.notes[0].find("not performance"), std::string::npos);
}

TEST(Verdict, StealTimeIsAReasonLikeOtherPrograms)
{
    TestEvidence e = Steady();
    e.conditions.stealPercent = 25.0;
    CompleteEvidence(e);
    ASSERT_FALSE(e.verdict.steady);
    EXPECT_NE(e.verdict.reasons[0].find("25 %"), std::string::npos);
}

TEST(Verdict, EveryReasonIsListed)
{
    TestEvidence e = Steady(3);
    e.conditions.otherPercent = 30.0;
    e.conditions.onBattery = true;
    CompleteEvidence(e);
    EXPECT_EQ(e.verdict.reasons.size(), 3u);
    EXPECT_TRUE(e.verdict.MayBeLow());
}

TEST(Verdict, ConditionsThatCouldNotBeReadAreNeverSteady)
{
    TestEvidence e = Steady();
    e.conditions.otherPercent.reset();
    CompleteEvidence(e);
    EXPECT_FALSE(e.verdict.steady);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"conditions could not be read (other programs' share)"}));
    e.conditions.stealPercent.reset();
    e.conditions.logicalProcessors = 0;
    CompleteEvidence(e);
    EXPECT_EQ(e.verdict.reasons, (std::vector<std::string>{"conditions could not be read (other programs' share, "
                                                           "steal time, logical processors)"}));
    // It judges nothing in the run's favour, and nothing against the score.
    EXPECT_FALSE(e.verdict.MayBeLow());
    EXPECT_EQ(EvidenceLine(e), "This run: spread 0.0 %, conditions could not be read (other programs' share, steal "
                               "time, logical processors).");
    // Counters that do not exist on the machine (throttling, temperatures,
    // governors) are no conditions left unread.
    e = Steady();
    e.conditions.throttleBefore.reset();
    e.conditions.throttleAfter.reset();
    e.conditions.highestCelsiusStart.reset();
    e.conditions.governors.clear();
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.steady);
}

TEST(Verdict, FewerThanThreeSamplesAThreadAreTooShortToJudge)
{
    for (const std::uint32_t seconds : {0u, 1u, 2u, 3u}) {
        TestEvidence e = Steady(2);
        e.millis = static_cast<std::int32_t>(seconds * 1000);
        for (RunSamples& thread : e.threads)
            thread.perSecond.assign(seconds, 900);
        CompleteEvidence(e);
        EXPECT_EQ(e.verdict.steady, seconds == 3) << seconds;
        if (seconds < 3) {
            EXPECT_EQ(e.verdict.reasons,
                      (std::vector<std::string>{"too short to judge: " + std::to_string(seconds) +
                                                (seconds == 1 ? " one-second sample" : " one-second samples") +
                                                " a thread, fewer than 3"}))
                << seconds;
        }
    }
}

TEST(Verdict, ReasonsThatMayLowerTheScoreComeFirstAndThoseThatOverstateItAfter)
{
    // Judged in this order: the threads that overstate, then the steal that lowers.
    TestEvidence e = Steady(3);  // three threads on two processors
    e.conditions.stealPercent = 25.0;
    CompleteEvidence(e);
    EXPECT_TRUE(e.verdict.MayBeLow());
    EXPECT_EQ(e.verdict.lowers, (std::vector<bool>{false, true}));
    EXPECT_EQ(EvidenceLine(e), "This run: spread 0.0 %, the host took 25 % of a processor from this machine (steal "
                               "time): the score may be low; 3 threads ran on 2 logical processors: the points "
                               "overstate the processor.");
}

TEST(Verdict, TheThreadWithFewestSamplesDecidesWhetherARunIsTooShort)
{
    TestEvidence e = Steady(2);
    e.threads[1].perSecond.resize(2);
    CompleteEvidence(e);
    EXPECT_FALSE(e.verdict.steady);
    EXPECT_EQ(e.verdict.reasons.front(), "too short to judge: 2 one-second samples a thread, fewer than 3");
}

TEST(Repeat, AGivenNumberOfRunsIsRunWhateverTheySay)
{
    EXPECT_TRUE(WantsAnotherRun(2, {9000}));
    EXPECT_FALSE(WantsAnotherRun(2, {9000, 5000}));
    EXPECT_FALSE(WantsAnotherRun(1, {9000}));
}

TEST(Repeat, AutoRunsThreeAndMoreWhileTheyDifferAtMostSix)
{
    EXPECT_TRUE(WantsAnotherRun(0, {9000}));
    EXPECT_TRUE(WantsAnotherRun(0, {9000, 9000}));
    EXPECT_FALSE(WantsAnotherRun(0, {9000, 9000, 9000}));
    // 100 -/+ d: a spread of 0.8165 d per cent, judged as shown.
    EXPECT_FALSE(WantsAnotherRun(0, {95.67, 100.0, 104.33}));  // 3.54 %: 3.5
    EXPECT_TRUE(WantsAnotherRun(0, {95.63, 100.0, 104.37}));   // 3.57 %: 3.6
    EXPECT_TRUE(WantsAnotherRun(0, {90, 110, 90, 110, 90}));
    EXPECT_FALSE(WantsAnotherRun(0, {90, 110, 90, 110, 90, 110}));  // six: no more
    EXPECT_TRUE(RunsDiffer(SpreadPercent({90, 110, 90, 110, 90, 110})));
    EXPECT_FALSE(RunsDiffer(3.549));
}

TEST(Verdict, NoLineBeforeATest)
{
    EXPECT_EQ(EvidenceLine(TestEvidence{}), "");
}
}  // namespace
