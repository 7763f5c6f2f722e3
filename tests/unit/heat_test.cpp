#include "core/state.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/workers.h"
#include "../support/saved_state.h"
#include "../support/simulated_heat_time.h"
#include "views/heat_view.h"

#include <wx/time.h>
#include <wx/utils.h>

#include <gtest/gtest.h>

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace {
class HeatTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ThreadCount = 2;
        HeatState = 0;
    }
    void TearDown() override
    {
        EXPECT_TRUE(WaitForWorkerThreads(5000));
        EXPECT_EQ(LiveWorkerThreads(), 0u);
        SetHeatBufferAllocator(nullptr);
        TakeHeatMessage();
    }

    // Polls the flags every 10 ms for at most `limit` ms; the time it took.
    static long WaitUntilDone(long limit)
    {
        const wxLongLong start = wxGetLocalTimeMillis();
        while (HeatDoneProduct() == 0 && (wxGetLocalTimeMillis() - start).GetValue() < limit)
            wxMilliSleep(10);
        return static_cast<long>((wxGetLocalTimeMillis() - start).GetValue());
    }

    StateGuard m_saved;
};
}  // namespace

TEST_F(HeatTest, ZeroTimeEndsAtOnce)
{
    // The clock stands still: the workers end after their first block,
    // without any time passing.
    const SimulatedHeatTime time(5000);
    HeatTestMillis = 0;
    StartHeatTest();
    EXPECT_EQ(HeatState, 2);
    WaitUntilDone(30000);
    EXPECT_NE(DoneProduct, 0u);
    EXPECT_EQ(HeatWorkNow.load(), 5000);
    FinishHeatTest();
    EXPECT_EQ(HeatState, 1);
    EXPECT_EQ(ThreadDone, nullptr);
}

TEST_F(HeatTest, NegativeTimeEndsAtOnce)
{
    const SimulatedHeatTime time(5000);
    HeatTestMillis = -60000;
    StartHeatTest();
    WaitUntilDone(30000);
    EXPECT_NE(DoneProduct, 0u);
    EXPECT_EQ(HeatWorkNow.load(), 5000);
    FinishHeatTest();
}

TEST_F(HeatTest, AShortRunEndsWithinABlockAfterItsTime)
{
    const SimulatedHeatTime time(10000);
    HeatTestMillis = 1500;
    StartHeatTest();
    const wxLongLong start = HeatStart;
    EXPECT_EQ(start.GetValue(), 10000);
    EXPECT_EQ(HeatWorkNow.load(), start.GetValue());
    EXPECT_EQ(HeatViewNow, start);
    // A millisecond short of the time, the workers go on, block after block.
    SimulatedHeatTime::Set(11499);
    const wxLongLong limit = wxGetLocalTimeMillis() + 30000;  // a worker that never reads the clock fails, later
    while (HeatWorkNow.load() != 11499 && wxGetLocalTimeMillis() < limit)
        wxMilliSleep(1);
    ASSERT_EQ(HeatWorkNow.load(), 11499) << "no worker read the clock again";
    EXPECT_EQ(HeatDoneProduct(), 0u);
    // At the time, each ends the block it is in and stops.
    SimulatedHeatTime::Set(11500);
    WaitUntilDone(30000);
    ASSERT_NE(DoneProduct, 0u);
    EXPECT_EQ(HeatWorkNow.load() - start.GetValue(), 1500);
    FinishHeatTest();
}

TEST_F(HeatTest, EveryProcessorGetsAWorkerWithATenMebibyteBuffer)
{
    std::atomic<int> buffers{0};
    std::atomic<std::size_t> bytes{0};
    SetHeatBufferAllocator([&](std::size_t size) {
        ++buffers;
        bytes = size;
        return new char[size];
    });
    ThreadCount = 16;
    HeatTestMillis = 0;
    StartHeatTest();
    WaitUntilDone(10000);
    EXPECT_EQ(buffers.load(), 16);
    EXPECT_EQ(bytes.load(), 10485760u);
    FinishHeatTest();
}

TEST_F(HeatTest, WithoutMemoryAWorkerLeavesTheMessageAndItsFlagDown)
{
    SetHeatBufferAllocator([](std::size_t) -> char* { return nullptr; });
    ThreadDone.reset(new std::atomic<std::uint32_t>[1]);
    ThreadDone[0].store(0);
    HeatTestMillis = 0;
    RunHeatWork(0);
    EXPECT_EQ(ThreadDone[0].load(), 0u);
    EXPECT_EQ(TakeHeatMessage(), wxString::FromUTF8("M1 - Memorie insuficient\xC3\xA3"));
    EXPECT_EQ(TakeHeatMessage(), "");
}

TEST_F(HeatTest, AWorkerRaisesItsOwnFlagOnly)
{
    ThreadDone.reset(new std::atomic<std::uint32_t>[3]);
    for (int k = 0; k < 3; ++k)
        ThreadDone[k].store(0);
    HeatTestMillis = 0;
    RunHeatWork(1);
    EXPECT_EQ(ThreadDone[0].load(), 0u);
    EXPECT_EQ(ThreadDone[1].load(), 1u);
    EXPECT_EQ(ThreadDone[2].load(), 0u);
}

namespace {
// The percentage the heat view shows beside its bar, or "(none)".
wxString PercentShown(const ViewLayout& layout)
{
    for (const ViewItem& item : layout)
        if (item.kind == ViewItem::Kind::Text && item.x == 280 && item.y == 80)
            return item.text;
    return wxS("(none)");
}
}  // namespace

TEST_F(HeatTest, TwoMinutesEndWithinABlockAfterTheirTimeAndTheViewShowsAHundredPerCent)
{
    const SimulatedHeatTime time(1700000000000);
    HeatTestMillis = 120000;
    ThreadCount = 2;
    std::vector<std::uint32_t> products;  // the flags' product taken before each second
    std::vector<wxString> percents;       // the view's percentage after each second
    RunHeatLoop([&] {
        EXPECT_EQ(HeatState, 2);
        products.push_back(DoneProduct);
        percents.push_back(PercentShown(LayoutHeatView(HeatClockMillis())));
    });

    EXPECT_EQ(HeatState, 1);
    EXPECT_EQ(ThreadDone, nullptr);
    // Every worker stopped at the end of the block in which 120 s were
    // reached: its reading then is the last one.
    EXPECT_EQ(HeatWorkNow.load() - HeatStart.GetValue(), 120000);
    // The product taken before the 121st second finds every flag up; that
    // second and its repaint still follow, then the loop ends.
    ASSERT_EQ(products.size(), 121u);
    EXPECT_EQ(HeatStart, 1700000000000);
    EXPECT_EQ(SimulatedHeatTime::Read() - HeatStart.GetValue(), 121000);
    for (std::size_t k = 0; k < 120; ++k)
        EXPECT_EQ(products[k], 0u) << "second " << k + 1;
    EXPECT_EQ(products[120], 1u);
    // The view follows the simulated clock while the test runs...
    EXPECT_EQ(percents[0], "1 %");
    EXPECT_EQ(percents[59], "50 %");
    EXPECT_EQ(percents[119], "100 %");
    EXPECT_EQ(HeatViewNow, SimulatedHeatTime::Read());
    // ... and shows the whole bar red at 100 % afterwards.
    const ViewLayout finished = LayoutHeatView(HeatClockMillis());
    EXPECT_EQ(PercentShown(finished), "100 %");
    EXPECT_NE(std::find(finished.begin(), finished.end(), RectangleItem(10, 80, 250, 16, wxS("RED"))),
              finished.end());
}

TEST_F(HeatTest, TheClockIsTheRealOneUnlessReplaced)
{
    {
        const SimulatedHeatTime time(42);
        EXPECT_EQ(HeatClockMillis(), 42);
    }
    const std::int64_t before = wxGetLocalTimeMillis().GetValue();
    const std::int64_t now = HeatClockMillis();
    EXPECT_GE(now, before);
    EXPECT_LE(now, wxGetLocalTimeMillis().GetValue());
}

TEST_F(HeatTest, WithoutTimeTheLoopEndsAfterOneOrTwoSeconds)
{
    // Each turn of the loop sleeps one second (simulated: that second lasts
    // until the workers are done). The product taken before the first or
    // the second sleep finds their flags up.
    const SimulatedHeatTime time(0);
    HeatTestMillis = 0;
    int seconds = 0;
    RunHeatLoop([&] { ++seconds; });
    EXPECT_GE(seconds, 1);
    EXPECT_LE(seconds, 2);
    EXPECT_EQ(SimulatedHeatTime::Read(), 1000L * seconds);
    EXPECT_EQ(HeatState, 1);
}

// ---- the work counts and the checks of real workers

namespace {
// The number worker `k` will go by: the k-th processor this process may use
// when there is one for every worker, else its own index.
std::int32_t ExpectedProcessor(std::uint32_t k, std::uint32_t workers)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return static_cast<std::int32_t>(k);
    std::vector<std::int32_t> allowed;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &set))
            allowed.push_back(cpu);
    return allowed.size() >= workers ? allowed[k] : static_cast<std::int32_t>(k);
}
}  // namespace

TEST_F(HeatTest, WorkersPublishTheirBlocksAndTwoChecksForEach)
{
    const SimulatedHeatTime time(1700000000000);
    HeatTestMillis = 120000;
    ThreadCount = 2;
    SetHeatFault(std::nullopt);
    int second = 0;
    RunHeatLoop([&] { SampleHeatWork(++second); });

    ASSERT_EQ(HeatWork.Samples().size(), 121u);
    const std::vector<HeatWorkerReading>& last = HeatWork.Samples().back().workers;
    ASSERT_EQ(last.size(), 2u);
    const std::vector<std::optional<double>> rates = HeatWork.ProcessorRates();
    for (std::uint32_t k = 0; k < 2; ++k) {
        SCOPED_TRACE(k);
        EXPECT_GE(last[k].blocks, 1u);
        EXPECT_TRUE(last[k].done);
        EXPECT_EQ(last[k].checks, 2ull * last[k].blocks);
        EXPECT_EQ(last[k].errors, 0u);
        // The last block ended when the 120 s were reached.
        EXPECT_EQ(last[k].endMillis, 120000u);
        ASSERT_TRUE(rates[k]);
        EXPECT_DOUBLE_EQ(*rates[k], last[k].blocks * 65536.0 / 120.0);
        EXPECT_EQ(HeatWork.Processor(k), ExpectedProcessor(k, 2));
        // Counts never go back.
        for (std::size_t s = 1; s < HeatWork.Samples().size(); ++s)
            ASSERT_GE(HeatWork.Samples()[s].workers[k].blocks, HeatWork.Samples()[s - 1].workers[k].blocks);
    }
    EXPECT_EQ(HeatWork.Checks(), 2ull * (last[0].blocks + last[1].blocks));
    EXPECT_EQ(HeatWork.Errors(), 0u);
    EXPECT_TRUE(HeatWork.ErrorList().empty());
    EXPECT_FALSE(HeatWork.Rates().empty());
}

TEST_F(HeatTest, RealWorkersCheckWithoutErrors)
{
    HeatTestMillis = 1500;
    ThreadCount = 2;
    SetHeatFault(std::nullopt);
    StartHeatTest();
    WaitUntilDone(30000);
    SampleHeatWork(2.0);
    FinishHeatTest();
    const std::vector<HeatWorkerReading>& workers = HeatWork.Samples().back().workers;
    for (const HeatWorkerReading& worker : workers) {
        EXPECT_GE(worker.blocks, 1u);
        EXPECT_EQ(worker.checks, 2ull * worker.blocks);
        EXPECT_EQ(worker.errors, 0u);
    }
    const std::optional<double> rate = HeatWork.CurrentRate();
    ASSERT_TRUE(rate);
    EXPECT_GT(*rate, 0.0);
}

TEST_F(HeatTest, TheFaultSwitchFailsTheChecksOfOneProcessorFromItsSecondOn)
{
    HeatTestMillis = 2500;
    ThreadCount = 2;
    const std::int32_t faulty = ExpectedProcessor(1, 2);
    SetHeatFault(HeatFault{faulty, 1});
    StartHeatTest();
    WaitUntilDone(30000);
    SampleHeatWork(3.0);
    FinishHeatTest();
    SetHeatFault(std::nullopt);

    const std::vector<HeatWorkerReading>& workers = HeatWork.Samples().back().workers;
    ASSERT_EQ(workers.size(), 2u);
    EXPECT_EQ(workers[0].errors, 0u);
    EXPECT_GT(workers[1].errors, 0u);
    EXPECT_LT(workers[1].errors, workers[1].blocks) << "the blocks of the first second passed";
    EXPECT_EQ(HeatWork.Errors(), workers[1].errors);
    ASSERT_FALSE(HeatWork.ErrorList().empty());
    for (const HeatCheckError& error : HeatWork.ErrorList()) {
        EXPECT_EQ(error.worker, 1u);
        EXPECT_EQ(error.processor, faulty);
        EXPECT_GE(error.millis, 1000);
        EXPECT_EQ(error.check, "pass");
        EXPECT_EQ(error.failure.value, "product");
    }
}
