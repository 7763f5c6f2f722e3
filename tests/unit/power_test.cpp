#include "core/state.h"
#include "bench/power.h"
#include "bench/work_cycle.h"
#include "bench/workers.h"
#include "../support/saved_state.h"

#include <wx/thread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {
struct Finished {
    std::uint32_t index;
    double start;
    double points;
};

// Runs power tests of one second a thread and records every finished worker.
class PowerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PowerTestMillis = 1000;
        ThreadCount = 2;
        HttOption = 0;
        HttOffResult = 0;
        HalfThreadCount = 0;
        ReferenceCorePoints = 0.0;
        SetPowerWorkObserver([this](std::uint32_t index, const TimedRun& run) {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_finished.push_back({index, run.startMillis, run.points});
        });
    }
    void TearDown() override
    {
        // Every worker is gone soon after its flag went up.
        EXPECT_TRUE(WaitForWorkerThreads(5000));
        EXPECT_EQ(LiveWorkerThreads(), 0u);
        SetPowerWorkObserver(nullptr);
    }

    std::vector<Finished> Finishes()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_finished;
    }

    static std::vector<std::uint32_t> Indices(std::vector<Finished> runs)
    {
        std::vector<std::uint32_t> indices;
        for (const Finished& f : runs)
            indices.push_back(f.index);
        std::sort(indices.begin(), indices.end());
        return indices;
    }

    static double Sum(const std::vector<Finished>& runs, std::size_t from, std::size_t to)
    {
        // In index order, as the test adds them.
        std::vector<Finished> part(runs.begin() + from, runs.begin() + to);
        std::sort(part.begin(), part.end(), [](const Finished& a, const Finished& b) { return a.index < b.index; });
        double sum = 0.0;
        for (const Finished& f : part)
            sum += f.points;
        return sum;
    }

private:
    StateGuard m_saved;
    std::mutex m_lock;
    std::vector<Finished> m_finished;
};
}  // namespace

TEST_F(PowerTest, ZeroThreadsReturnMinusTwoAndStartNothing)
{
    ThreadCount = 0;
    EXPECT_EQ(RunPowerTest(), -2.0);
    EXPECT_TRUE(Finishes().empty());
    EXPECT_EQ(ThreadPoints, nullptr);
    EXPECT_EQ(ThreadDone, nullptr);
}

TEST_F(PowerTest, WithoutHttTheReferenceIsTheAverageAndTheEfficiencyExactlyZero)
{
    ThreadCount = 2;
    const double sum = RunPowerTest();
    const auto runs = Finishes();
    ASSERT_EQ(Indices(runs), (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(sum, Sum(runs, 0, 2));
    EXPECT_GT(sum, 0.0);
    EXPECT_EQ(PointsSum, sum);
    EXPECT_EQ(AverageThreadPoints, sum / 2);
    EXPECT_EQ(ReferenceCorePoints, AverageThreadPoints);
    EXPECT_EQ(HttEfficiency, 0.0);
    EXPECT_EQ(HalfThreadCount, 0u);  // left as it was without the HTT option
    EXPECT_EQ(ThreadPoints, nullptr);  // freed after the run
    EXPECT_EQ(ThreadDone, nullptr);
}

TEST_F(PowerTest, WithHttEightThreadsRunTwiceAndTheFirstSumIsReturned)
{
    ThreadCount = 8;
    HttOption = 1;
    const double sum = RunPowerTest();
    const auto runs = Finishes();
    ASSERT_EQ(runs.size(), 12u);
    EXPECT_EQ(HalfThreadCount, 4u);
    EXPECT_EQ(Indices({runs.begin(), runs.begin() + 8}), (std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Indices({runs.begin() + 8, runs.end()}), (std::vector<std::uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(sum, Sum(runs, 0, 8));
    EXPECT_EQ(PointsSum, sum);
    EXPECT_EQ(AverageThreadPoints, sum / 8);
    EXPECT_EQ(ReferenceCorePoints, Sum(runs, 8, 12) / 4);
    EXPECT_DOUBLE_EQ(HttEfficiency, (2 * AverageThreadPoints - ReferenceCorePoints) / ReferenceCorePoints * 100);
}

TEST_F(PowerTest, ATypedResultIsTheReferenceAndNoSecondRunIsMade)
{
    ThreadCount = 2;
    HttOption = 1;
    HttOffResult = 1200;
    const double sum = RunPowerTest();
    EXPECT_EQ(Finishes().size(), 2u);
    EXPECT_EQ(ReferenceCorePoints, 1200.0);
    EXPECT_DOUBLE_EQ(HttEfficiency, (2 * sum / 2 - 1200.0) / 1200.0 * 100);
}

TEST_F(PowerTest, SevenThreadsWithHttMakeAHalfRunOfThree)
{
    ThreadCount = 7;
    HttOption = 1;
    RunPowerTest();
    const auto runs = Finishes();
    ASSERT_EQ(runs.size(), 10u);
    EXPECT_EQ(HalfThreadCount, 3u);
    EXPECT_EQ(Indices({runs.begin() + 7, runs.end()}), (std::vector<std::uint32_t>{0, 1, 2}));
}

TEST_F(PowerTest, OneThreadWithHttKeepsTheEarlierReference)
{
    ThreadCount = 1;
    HttOption = 1;
    ReferenceCorePoints = 777.0;
    const double sum = RunPowerTest();
    EXPECT_EQ(Finishes().size(), 1u);
    EXPECT_EQ(HalfThreadCount, 0u);
    EXPECT_EQ(ReferenceCorePoints, 777.0);
    EXPECT_DOUBLE_EQ(HttEfficiency, (2 * sum - 777.0) / 777.0 * 100);
}

TEST_F(PowerTest, ThreadsStartTogetherAndEachRunsItsFullTime)
{
    ThreadCount = 4;
    RunPowerTest();
    const auto runs = Finishes();
    ASSERT_EQ(runs.size(), 4u);
    double first = runs[0].start, last = runs[0].start;
    for (const Finished& f : runs) {
        first = std::min(first, f.start);
        last = std::max(last, f.start);
        EXPECT_GE(f.points, 10.0);  // at least one block in one second
    }
    EXPECT_LT(last - first, 200.0);
}

TEST(PowerFigures, TypedResultOf1200WithAnAverageOf900GivesFiftyPerCent)
{
    const PowerFigures f = ComputePowerFigures(7200.0, 8, 1, 4, 1200, 0.0, 0.0);
    EXPECT_EQ(f.average, 900.0);
    EXPECT_EQ(f.reference, 1200.0);
    EXPECT_EQ(2 * f.average - f.reference, 600.0);
    EXPECT_EQ(f.efficiency, 50.0);
}

TEST(PowerFigures, HalfRunAverageIsTheReference)
{
    // The example of the manual: 8 threads, 41248 points, a reference of 8100.
    const PowerFigures f = ComputePowerFigures(41248.0, 8, 1, 4, 0, 32400.0, 0.0);
    EXPECT_EQ(f.average, 5156.0);
    EXPECT_EQ(f.reference, 8100.0);
    EXPECT_NEAR(f.efficiency, 27.3, 0.05);
}

TEST(PowerFigures, WithoutHttTheEfficiencyIsExactlyZero)
{
    const PowerFigures f = ComputePowerFigures(3000.0, 3, 0, 0, 1200, 0.0, 55.0);
    EXPECT_EQ(f.reference, 1000.0);
    EXPECT_EQ(f.efficiency, 0.0);
}

TEST(PowerFigures, WithHttButNoHalfRunTheEarlierReferenceStays)
{
    const PowerFigures f = ComputePowerFigures(1000.0, 1, 1, 0, 0, 0.0, 800.0);
    EXPECT_EQ(f.reference, 800.0);
    EXPECT_EQ(f.efficiency, 150.0);
}
